// Pages of PDF documents that render and burn write: their sizes, the images in them pixel by pixel, and that nothing of what a
// redaction covers is left in any stream.
#include "tests/apps/kann_pictures.h"

#include <libdeflate.h>

#include <algorithm>
#include <memory>
#include <regex>

namespace {

struct PdfStream {
    std::string dictionary, bytes;
    int number(const std::string& key) const {
        std::smatch found;
        return std::regex_search(dictionary, found, std::regex("/" + key + " (\\d+)")) ? std::stoi(found[1]) : -1;
    }
    bool isImage() const {
        return dictionary.find("/Subtype /Image") != std::string::npos && dictionary.find("/SMask") == std::string::npos;
    }
};

std::string inflated(const std::string& packed) {
    const std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor*)> reader(
        libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    std::string bytes(std::size_t{1} << 20, '\0');
    std::size_t used = 0, size = 0;
    const auto result =
        libdeflate_zlib_decompress_ex(reader.get(), packed.data(), packed.size(), bytes.data(), bytes.size(), &used, &size);
    EXPECT_EQ(result, LIBDEFLATE_SUCCESS);
    bytes.resize(result == LIBDEFLATE_SUCCESS ? size : 0);
    return bytes;
}

std::vector<PdfStream> streamsOf(const std::string& pdf) {
    std::vector<PdfStream> streams;
    for (std::size_t at = 0; (at = pdf.find("stream\n", at)) != std::string::npos;) {
        const std::size_t begin = at + 7, end = pdf.find("\nendstream", begin), head = pdf.rfind(" obj", at);
        if (end == std::string::npos || head == std::string::npos) break;
        PdfStream stream{pdf.substr(head, at - head), pdf.substr(begin, end - begin)};
        if (stream.dictionary.find("/FlateDecode") != std::string::npos) stream.bytes = inflated(stream.bytes);
        streams.push_back(std::move(stream));
        at = end + 10;
    }
    return streams;
}

std::vector<PdfStream> imagesOf(const std::string& pdf) {
    std::vector<PdfStream> streams = streamsOf(pdf);
    std::erase_if(streams, [](const PdfStream& stream) { return !stream.isImage(); });
    return streams;
}

std::vector<std::string> mediaBoxes(const std::string& pdf) {
    std::vector<std::string> boxes;
    const std::regex box("/MediaBox \\[ ?([^\\]]*?) ?\\]");
    for (std::sregex_iterator i(pdf.begin(), pdf.end(), box), end; i != end; ++i) boxes.push_back((*i)[1]);
    return boxes;
}

class KannPdfTest : public KannPictureTest {
protected:
    static constexpr int width = 80, height = 60;
    // No two rows or columns alike, so that any piece of it is known again.
    static Color mark(int x, int y) {
        const auto value = [x, y](int a, int b) { return static_cast<std::uint8_t>(40 + (x * a + y * b) % 199); };
        return {value(7, 31), value(13, 5), value(3, 17)};
    }
    void makeMarks(const std::string& name) const {
        saveBitmap(path(name), width, height, 24, KB_FORMAT_PNG, [](KernelBitmap& bitmap) {
            bitmap.XResolution = 72;
            bitmap.YResolution = 144;
            for (int y = 0; y < height; ++y) {
                std::uint8_t* row = K_WritableBitmapRow(&bitmap, y);
                for (int x = 0; x < width; ++x, row += 3) std::ranges::copy(mark(x, y), row);
            }
        });
    }
};

} // namespace

TEST_F(KannPdfTest, PagesHaveTheSizesOfTheirImages) {
    makeScan("scan.tif", 3); // 64 x 48 at 300 dots
    done({"add", "new:64x48", "rect", "--rect", "20,10,40,30", "-o", "one.kba"});
    done({"pages", "one.kba", "insert", "last", "one.kba", "-o", "two.kba"});
    done({"render", "scan.tif", "one.kba", "-o", "all.pdf"});
    const std::string pdf = read("all.pdf");
    EXPECT_TRUE(pdf.starts_with("%PDF-"));
    EXPECT_EQ(mediaBoxes(pdf), std::vector<std::string>(3, "0 0 15.36 11.52"));
    const std::vector<PdfStream> images = imagesOf(pdf);
    ASSERT_EQ(images.size(), 3u);
    for (const PdfStream& image : images) {
        EXPECT_EQ(image.number("Width"), 64);
        EXPECT_EQ(image.number("Height"), 48);
        EXPECT_EQ(image.number("BitsPerComponent"), 1);
    }
    done({"render", "scan.tif", "one.kba", "-o", "again.pdf"});
    EXPECT_EQ(read("again.pdf"), pdf);
    done({"burn", "scan.tif", "one.kba", "-o", "burned.pdf"});
    EXPECT_EQ(read("burned.pdf"), pdf);
    done({"render", "scan.tif", "one.kba", "--page", "2", "-o", "second.pdf"});
    EXPECT_EQ(mediaBoxes(read("second.pdf")).size(), 1u);
    EXPECT_TRUE(kann({"render", "scan.tif", "one.kba", "--format", "pdf", "-o", "-"}).out == pdf);

    const KannResult shorter = kann({"render", "scan.tif", "two.kba", "-o", "short.pdf"});
    EXPECT_EQ(shorter.status, 3);
    EXPECT_EQ(shorter.err, "kann: two.kba: it has no page 3\n");
    EXPECT_EQ(mediaBoxes(read("short.pdf")).size(), 3u);
}

TEST_F(KannPdfTest, AnnotationsAreShapesAndTextOverTheImage) {
    makeMarks("page.png");
    done({"add", "new:80x60", "rect", "--rect", "10,10,70,50", "--fore-color", "red", "-o", "tree.kba"});
    done({"add", "tree.kba", "text", "--rect", "10,10,70,50", "--text", "abc", "--font-size", "12", "-o", "tree.kba"});
    done({"render", "page.png", "tree.kba", "-o", "page.pdf"});
    const std::string pdf = read("page.pdf");
    EXPECT_EQ(mediaBoxes(pdf), std::vector<std::string>{"0 0 80 30"});
    EXPECT_NE(pdf.find("/Type /Font"), std::string::npos);
    const std::vector<PdfStream> images = imagesOf(pdf);
    ASSERT_EQ(images.size(), 1u);
    ASSERT_EQ(images[0].bytes.size(), std::size_t{3} * width * height);
    int wrong = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < 3; ++c)
                wrong += static_cast<std::uint8_t>(images[0].bytes[static_cast<std::size_t>((y * width + x) * 3 + c)]) !=
                         mark(x, y)[static_cast<std::size_t>(2 - c)];
        }
    }
    EXPECT_EQ(wrong, 0);
}

TEST_F(KannPdfTest, NothingOfWhatARedactionCoversIsInTheDocument) {
    makeMarks("page.png");
    // The second reaches over the edge of the page and is half as large as the image.
    done({"add", "new:40x30", "redact", "--rect", "5,5,20,15", "-o", "tree.kba"});
    done({"add", "tree.kba", "redact", "--rect", "30,20,60,40", "-o", "tree.kba"});
    for (const char* command : {"render", "burn"}) {
        done({command, "page.png", "tree.kba", "-o", "page.pdf"});
        const std::vector<PdfStream> images = imagesOf(read("page.pdf"));
        ASSERT_EQ(images.size(), 1u);
        ASSERT_EQ(images[0].bytes.size(), std::size_t{3} * width * height);
        constexpr Box first{10, 10, 40, 30}, second{60, 40, 120, 80};
        int wrong = 0;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const Color due = first.holds(x, y) || second.holds(x, y) ? black : mark(x, y);
                for (int c = 0; c < 3; ++c)
                    wrong += static_cast<std::uint8_t>(images[0].bytes[static_cast<std::size_t>((y * width + x) * 3 + c)]) !=
                             due[static_cast<std::size_t>(2 - c)];
            }
        }
        EXPECT_EQ(wrong, 0);
        std::string covered; // eight pixels of a row, red first and blue first
        for (int x = 20; x < 28; ++x) {
            for (int c = 0; c < 3; ++c) covered += static_cast<char>(mark(x, 20)[static_cast<std::size_t>(2 - c)]);
        }
        const std::string turned(covered.rbegin(), covered.rend());
        for (const PdfStream& stream : streamsOf(read("page.pdf"))) {
            EXPECT_EQ(stream.bytes.find(covered), std::string::npos);
            EXPECT_EQ(stream.bytes.find(turned), std::string::npos);
        }
    }
}

TEST_F(KannPdfTest, FailuresLeaveTheOldDocument) {
    makeMarks("page.png");
    write("old.pdf", "old");
    done({"add", "new:40x30", "rect", "--rect", "5,5,20,15", "-o", "tree.kba"});
    const struct {
        std::vector<std::string> words;
        int status;
    } rows[] = {
        {{"render", "gone.png", "tree.kba", "-o", "old.pdf"}, 1},
        {{"render", "page.png", "tree.kba", "--page", "2", "-o", "old.pdf"}, 1},
        {{"render", "page.png", "tree.kba", "--scale", "2", "-o", "old.pdf"}, 2},
        {{"render", "page.png", "tree.kba", "--select", "2", "-o", "old.pdf"}, 2},
        {{"render", "page.png", "tree.kba", "--format", "pdf", "-o", "/dev/full"}, 1},
    };
    for (const auto& row : rows) {
        const KannResult result = kann(row.words);
        EXPECT_EQ(result.status, row.status) << result.err;
        EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
        EXPECT_EQ(read("old.pdf"), "old");
    }
}
