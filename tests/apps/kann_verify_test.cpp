// kann verify: a clean file passes, and one leak of each kind, made on purpose, is found.
#include "tests/apps/redact_fixture.h"
#include "tests/rasterio/profile_fixture.h"

#include <algorithm>
#include <functional>

namespace {

const std::vector<std::array<int, 4>> areas{{10, 8, 33, 21}, {60, 30, 75, 53}};

struct Leak {
    const char* name;
    const char* file;
    std::function<void(std::string& bytes)> make;
    const char* told;
};

class KannVerifyTest : public RedactTest {
protected:
    void SetUp() override {
        RedactTest::SetUp();
        writeRegions("areas.json", areas);
    }
    void redactInto(const std::string& out, const PageKind& kind) const {
        makePage(kind.file, kind);
        done({"redact", kind.file, "--regions", "areas.json", "-o", out});
        done({"verify", out, "areas.json"});
    }
    void expectFound(const Leak& leak) const {
        SCOPED_TRACE(leak.name);
        std::string bytes = read(leak.file);
        leak.make(bytes);
        const std::string name = std::string("leak") + std::string(leak.file).substr(std::string_view(leak.file).find('.'));
        write(name, bytes);
        const KannResult result = kann({"verify", name, "areas.json"});
        EXPECT_EQ(result.status, 5) << result.err;
        EXPECT_NE(result.err.find(leak.told), std::string::npos) << result.err;
        EXPECT_EQ(result.out, "");
    }
};

} // namespace

TEST_F(KannVerifyTest, LeaksInPng) {
    redactInto("clean.png", {"", "in.png", 8, 0, 1, true});
    redactInto("bits.png", {"", "bits_in.png", 1});
    const auto before = [](std::string_view chunk, const std::string& part) {
        return [chunk, part](std::string& bytes) { bytes = withPngChunk(bytes, chunk, part); };
    };
    const auto repack = [](const std::function<void(std::string&)>& change) {
        return [change](std::string& bytes) {
            const std::size_t at = bytes.find("IDAT") - 4;
            const auto size = static_cast<std::size_t>(static_cast<std::uint8_t>(bytes[at + 2])) << 8 |
                              static_cast<std::uint8_t>(bytes[at + 3]);
            std::string data = bytes.substr(at + 8, size);
            change(data);
            bytes = bytes.substr(0, at) + pngChunk("IDAT", data) + bytes.substr(at + 12 + size);
        };
    };
    for (const Leak& leak : std::vector<Leak>{
             {"text", "clean.png", before("IDAT", pngChunk("tEXt", std::string("a\0b", 3))),
              "chunk tEXt: isn't part of the picture"},
             {"unknown chunk", "clean.png", before("IEND", pngChunk("prVt", "private")), "chunk prVt"},
             {"metadata preview", "clean.png", before("IDAT", pngChunk("eXIf", "MM")),
              "chunk eXIf: is or may hold a second image"},
             {"animation", "clean.png", before("IEND", pngChunk("fdAT", "....")),
              "chunk fdAT: is or may hold a second image"},
             {"second resolution", "clean.png", before("IDAT", pngChunk("pHYs", "123456781")), "chunk pHYs"},
             {"profile that is none", "clean.png", before("IDAT", pngChunk("iCCP", std::string("a\0\0xxxxxxxxxx", 13))),
              "colour profile"},
             {"bytes behind the end", "clean.png", [](std::string& bytes) { bytes += "x"; }, "behind the end"},
             {"data behind the coded rows", "clean.png", repack([](std::string& data) { data += "hidden"; }),
              "chunk IDAT: data that isn't shown"},
             {"empty data chunk", "clean.png", before("IEND", pngChunk("IDAT", "")), "chunk IDAT"},
             {"broken checksum", "clean.png", [](std::string& bytes) { bytes[bytes.find("pHYs") + 13] ^= 1; }, "chunk pHYs"},
         }) {
        expectFound(leak);
    }
}

TEST_F(KannVerifyTest, LeaksInJpeg) {
    redactInto("clean.jpg", {"", "in.jpg", 24});
    const auto at20 = [](const std::string& part) { return [part](std::string& bytes) { bytes.insert(20, part); }; };
    std::string small = read("clean.jpg");
    for (const Leak& leak : std::vector<Leak>{
             {"comment", "clean.jpg", at20(jpegMarker(0xFE, "words")), "marker FFFE: isn't part of the picture"},
             {"metadata", "clean.jpg", at20(jpegMarker(0xE1, std::string("Exif\0\0MM\0*\0\0\0\10\0\0\0\0\0\0", 20))),
              "marker FFE1"},
             {"preview in a JFIF extension", "clean.jpg", at20(jpegMarker(0xE0, std::string("JFXX\0\20....", 10))),
              "second image"},
             {"several pictures", "clean.jpg", at20(jpegMarker(0xE2, std::string("MPF\0....", 8))), "second image"},
             {"unknown application", "clean.jpg", at20(jpegMarker(0xED, "Photo")), "marker FFED"},
             {"profile that is none", "clean.jpg", at20(jpegMarker(0xE2, std::string("ICC_PROFILE\0\1\1....", 18))),
              "belong to nothing"},
             {"a second file behind the end", "clean.jpg", [small](std::string& bytes) { bytes += small; },
              "behind the end"},
             {"bytes before the end", "clean.jpg", [](std::string& bytes) { bytes.insert(bytes.size() - 2, "hidden"); },
              "belong to nothing"},
             {"a table that isn't used", "clean.jpg", at20(jpegMarker(0xDB, "\3" + std::string(64, 'q'))),
              "belong to nothing"},
             {"bytes between markers", "clean.jpg", at20("\xFF\xFF\xFF\xFF"), "belong to nothing"},
         }) {
        expectFound(leak);
    }
    // Blocks at an edge: a file that is covered three pixels less far.
    std::vector<std::array<int, 4>> less = areas;
    less[0][2] -= 3;
    writeRegions("less.json", less);
    done({"redact", "in.jpg", "--regions", "less.json", "-o", "leak.jpg"});
    done({"verify", "leak.jpg", "less.json"});
    const KannResult result = kann({"verify", "leak.jpg", "areas.json"});
    EXPECT_EQ(result.status, 5);
    EXPECT_NE(result.err.find("aren't black"), std::string::npos) << result.err;
}

TEST_F(KannVerifyTest, LeaksInTiff) {
    redactInto("plain.tif", {"", "in.tif", 8, KB_COMPRESS_NONE});
    redactInto("lzw.tif", {"", "in.tif", 8, KB_COMPRESS_LZW});
    redactInto("deflate.tif", {"", "in.tif", 8, KB_COMPRESS_DEFLATE});
    redactInto("packbits.tif", {"", "in.tif", 8, KB_COMPRESS_PACKBITS});
    redactInto("g4.tif", {"", "in.tif", 1, KB_COMPRESS_G4});
    redactInto("g3.tif", {"", "in.tif", 1, KB_COMPRESS_G3});
    redactInto("bits.tif", {"", "in.tif", 1, KB_COMPRESS_NONE});
    redactInto("opacity.tif", {"", "in.tif", 32, KB_COMPRESS_NONE, KB_VIEW_TOP_LEFT, false, false, true});
    // The strip is moved behind the end with room for more.
    const auto lengthen = [](std::string& bytes) {
        const std::size_t offset = entryOf(bytes, 273), count = entryOf(bytes, 279);
        ASSERT_EQ(numberAt(bytes, offset + 4), 1u);
        const bool isShort = bytes[offset + 2] == 3;
        ASSERT_FALSE(isShort);
        const std::uint32_t at = numberAt(bytes, offset + 8),
                            size = numberAt(bytes, count + 8) & (bytes[count + 2] == 3 ? 0xFFFFu : ~0u);
        const std::string strip = bytes.substr(at, size);
        bytes.replace(at, size, size, '\0');
        putNumber(bytes, offset + 8, static_cast<std::uint32_t>(bytes.size()));
        putNumber(bytes, count + 8, size + 6);
        bytes += strip + "hidden";
    };
    for (const char* file : {"plain.tif", "lzw.tif", "deflate.tif", "packbits.tif", "g4.tif", "g3.tif"})
        expectFound({file, file, lengthen, "tag 273: data that isn't shown"});
    for (const Leak& leak : std::vector<Leak>{
             {"bytes behind the end", "lzw.tif", [](std::string& bytes) { bytes += "x"; }, "behind the end"},
             {"bytes that nothing refers to", "lzw.tif",
              [](std::string& bytes) {
                  const std::size_t directory = numberAt(bytes, 4);
                  const std::size_t length = 2 + 12 * static_cast<std::size_t>(bytes[directory]) + 4;
                  const std::string moved = bytes.substr(directory, length);
                  bytes += std::string(bytes.size() % 2, '\0') + "hidden";
                  putNumber(bytes, 4, static_cast<std::uint32_t>(bytes.size()));
                  bytes += moved;
              },
              "belong to nothing"},
             {"room beside a value", "lzw.tif", [](std::string& bytes) { bytes[entryOf(bytes, 259) + 10] = 'x'; },
              "tag 259"},
             {"bits behind the rows", "bits.tif",
              [](std::string& bytes) { bytes[numberAt(bytes, entryOf(bytes, 273) + 8) + 9] |= 1; }, "data that isn't shown"},
             {"colours that nobody looks up", "lzw.tif",
              [](std::string& bytes) { addEntry(bytes, 320, 3, 768, std::string(1536, 'x')); }, "tag 320"},
             {"a tag twice", "lzw.tif", [](std::string& bytes) { addEntry(bytes, 282, 5, 1, "SECRET! "); }, "tag 282"},
             {"colours that are multiplied away", "opacity.tif",
              [](std::string& bytes) { bytes[entryOf(bytes, 338) + 8] = 1; }, "can't be judged"},
             {"a chain that loops", "lzw.tif",
              [](std::string& bytes) {
                  const std::size_t directory = numberAt(bytes, 4);
                  putNumber(bytes, directory + 2 + 12 * static_cast<std::size_t>(bytes[directory]), numberAt(bytes, 4));
              },
              "can't be judged"},
         }) {
        expectFound(leak);
    }
    const struct {
        std::uint16_t tag;
        const char* told;
    } tags[] = {{270, "tag 270: isn't part of the picture"},
                {700, "tag 700"},
                {330, "tag 330: is or may hold a second image"},
                {34665, "tag 34665"},
                {34675, "colour profile"},
                {254, "tag 254"},
                {50341, "tag 50341"}};
    for (const auto& row : tags) {
        write("leak.tif", read("lzw.tif"));
        EXPECT_EQ(K_RewriteFileTag(path("leak.tif").c_str(), 1, row.tag, 4, 1, "\1\0\0"), SUCCESS);
        const KannResult result = kann({"verify", "leak.tif", "areas.json"});
        EXPECT_EQ(result.status, 5) << row.tag;
        EXPECT_NE(result.err.find(row.told), std::string::npos) << result.err;
    }
    // What isn't written here can't be judged.
    makePage("jpeg.tif", {"", "jpeg.tif", 8, KB_COMPRESS_JPEG});
    const KannResult result = kann({"verify", "jpeg.tif", "areas.json"});
    EXPECT_EQ(result.status, 5);
    EXPECT_NE(result.err.find("can't be judged"), std::string::npos) << result.err;
}

TEST_F(KannVerifyTest, LeaksInBmp) {
    redactInto("clean.bmp", {"", "in.bmp", 24}); // rows of 225 bytes, padded to 228
    for (const Leak& leak : std::vector<Leak>{
             {"bytes behind the end", "clean.bmp", [](std::string& bytes) { bytes += "x"; }, "behind the end"},
             {"reserved word", "clean.bmp", [](std::string& bytes) { bytes[6] = 1; }, "data that isn't shown"},
             {"room behind a row", "clean.bmp", [](std::string& bytes) { bytes[54 + 226] = 1; }, "data that isn't shown"},
             {"bytes before the rows", "clean.bmp",
              [](std::string& bytes) {
                  bytes.insert(54, "hide");
                  putNumber(bytes, 10, 58);
                  putNumber(bytes, 2, static_cast<std::uint32_t>(bytes.size()));
              },
              "belong to nothing"},
         }) {
        expectFound(leak);
    }
}

TEST_F(KannVerifyTest, ProfilesThatHoldMoreThanColours) {
    const std::string loud = test::usualProfile(false, {{"vued", "text" + test::bigEndian(0) + "SECRET PIXELS"}});
    const auto save = [&](const std::string& from, const std::string& to, const std::string& profile) {
        KernelBitmap bitmap{};
        ASSERT_EQ(K_LoadFile(path(from).c_str(), &bitmap, 0, 0, nullptr, nullptr), SUCCESS);
        EXPECT_EQ(K_SetFileTag(34675, 7, static_cast<std::uint32_t>(profile.size()), profile.data()), SUCCESS);
        EXPECT_EQ(K_SaveFile(path(to).c_str(), &bitmap, formatOf(to), nullptr), SUCCESS);
        K_FreeBitmap(&bitmap);
    };
    const auto expectLeak = [&](const std::string& name, const char* told) {
        const KannResult result = kann({"verify", name, "areas.json"});
        EXPECT_EQ(result.status, 5);
        EXPECT_NE(result.err.find(told), std::string::npos) << result.err;
    };
    makePage("in.tif", {"", "in.tif", 24});
    for (const char* extension : {".png", ".tif", ".jpg"}) {
        SCOPED_TRACE(extension);
        const std::string in = std::string("loud") + extension, out = std::string("out") + extension;
        save("in.tif", in, loud);
        done({"redact", in, "--regions", "areas.json", "-o", out});
        EXPECT_NE(read(out).find(std::string_view(extension) == ".png" ? "iCCP" : "acsp"), std::string::npos);
        EXPECT_EQ(read(out).find("SECRET"), std::string::npos);
        done({"verify", out, "areas.json"});
        if (std::string_view(extension) == ".jpg") continue; // another coding: it would ring
        save(out, in, loud);
        expectLeak(in, "holds more than its colours");
    }
    std::string bytes = read("out.png");
    const std::size_t at = bytes.find("iCCP") - 4;
    const auto size =
        static_cast<std::size_t>(static_cast<std::uint8_t>(bytes[at + 2])) << 8 | static_cast<std::uint8_t>(bytes[at + 3]);
    const std::string data = bytes.substr(at + 8 + 7, size - 7); // without its name
    write("named.png", bytes.replace(at, 12 + size, pngChunk("iCCP", "John Doe, SSN 123-45-6789" + data)));
    expectLeak("named.png", "chunk iCCP: data that isn't shown");
    // What can't be written anew is left out, whatever the formats.
    const std::string tables = test::usualProfile(false, {{"A2B0", "mft2" + std::string(60, '\0')}});
    for (const char* out : {"out.jpg", "out.png", "out.tif"}) {
        save("in.tif", "tables.jpg", tables);
        const KannResult result = kann({"redact", "tables.jpg", "--regions", "areas.json", "-o", out});
        EXPECT_EQ(result.status, 3);
        EXPECT_NE(result.err.find("the colour profile"), std::string::npos) << result.err;
    }
}

TEST_F(KannVerifyTest, UnseenBytesOfOtherPages) {
    redactInto("clean.tif", {"", "in.tif", 8, KB_COMPRESS_LZW});
    write("leak.tif", read("clean.tif"));
    makePage("leak.tif", {"", "leak.tif", 32, KB_COMPRESS_NONE}, 2, true);
    KannResult result = kann({"verify", "leak.tif", "areas.json"});
    EXPECT_EQ(result.status, 5);
    EXPECT_NE(result.err.find("page 2: a fourth byte"), std::string::npos) << result.err;
    RGBQUAD palette[256] = {};
    palette[7] = {1, 2, 3, 0};
    KernelBitmap bitmap{};
    ASSERT_EQ(K_CreateBitmap(&bitmap, 1, width, height, 8, KB_ORDER_BGR, palette, 1, 0, 0), SUCCESS);
    KernelSaveOptions options{};
    K_DefaultSaveOptions(&options, sizeof options);
    options.uFlags = SAVE_INSERTPAGE;
    options.nPageNumber = -1;
    ASSERT_EQ(K_SaveFile(path("clean.tif").c_str(), &bitmap, KB_FORMAT_TIFF, &options), SUCCESS);
    K_FreeBitmap(&bitmap);
    result = kann({"verify", "clean.tif", "areas.json"});
    EXPECT_EQ(result.status, 5);
    EXPECT_NE(result.err.find("page 2: the palette"), std::string::npos) << result.err;
}

TEST_F(KannVerifyTest, UncoveredPixelsAndColours) {
    for (const PageKind& kind : {PageKind{"", "in.tif", 24, KB_COMPRESS_LZW}, PageKind{"", "in.png", 8, 0, 1, true},
                                 PageKind{"", "in.bmp", 1, 0, 1, true}, PageKind{"", "in.tif", 12, 0, 1, false, true}}) {
        const std::string out = std::string("clean") + std::string(kind.file).substr(2);
        redactInto(out, kind);
        // The last pixel of an area, by its lowest bit.
        KernelBitmap bitmap{};
        ASSERT_EQ(K_LoadFile(path(out).c_str(), &bitmap, 0, 0, nullptr, nullptr), SUCCESS);
        const int bit = 32 * kind.bits + kind.bits - 1;
        const int row = bitmap.ViewPerspective == KB_VIEW_BOTTOM_LEFT ? height - 1 - 20 : 20;
        K_WritableBitmapRow(&bitmap, row)[bit / 8] ^= static_cast<std::uint8_t>(0x80 >> bit % 8);
        ASSERT_EQ(K_SaveFile(path(out).c_str(), &bitmap, formatOf(out), nullptr), SUCCESS);
        K_FreeBitmap(&bitmap);
        const KannResult result = kann({"verify", out, "areas.json"});
        EXPECT_EQ(result.status, 5);
        EXPECT_NE(result.err.find("the area 10,8,33,21 isn't of one colour"), std::string::npos) << result.err;
    }
    RGBQUAD palette[256] = {};
    palette[7] = {1, 2, 3, 0};
    KernelBitmap bitmap{};
    ASSERT_EQ(K_CreateBitmap(&bitmap, 1, width, height, 8, KB_ORDER_BGR, palette, 1, 0, 0), SUCCESS);
    for (const char* name : {"leak.png", "leak.tif", "leak.bmp"}) {
        ASSERT_EQ(K_SaveFile(path(name).c_str(), &bitmap, formatOf(name), nullptr), SUCCESS);
        const KannResult result = kann({"verify", name, "areas.json"});
        EXPECT_EQ(result.status, 5);
        EXPECT_NE(result.err.find("palette"), std::string::npos) << result.err;
    }
    K_FreeBitmap(&bitmap);
}

TEST_F(KannVerifyTest, AnnotationDataMayStayWithoutPixels) {
    redactInto("clean.tif", {"", "in.tif", 24, KB_COMPRESS_LZW});
    done({"add", "new:75x53", "rect", "--rect", "1,1,9,9", "-o", "rect.kba"});
    done({"attach", "clean.tif", "rect.kba", "-o", "tagged.tif"});
    done({"verify", "tagged.tif", "areas.json"});
    std::string twice = read("tagged.tif");
    addEntry(twice, 32932, 1, 26, "SECRET PIXELS SECRET PIXEL");
    write("twice.tif", twice);
    const KannResult second = kann({"verify", "twice.tif", "areas.json"});
    EXPECT_EQ(second.status, 5);
    EXPECT_NE(second.err.find("tag 32932: data that isn't shown"), std::string::npos) << second.err;
    // The same with a comment of a byte behind it.
    write("longer.kba", read("rect.kba") + "hidden");
    std::string data = read("longer.kba");
    EXPECT_EQ(
        K_RewriteFileTag(path("tagged.tif").c_str(), 1, 32932, 1, static_cast<std::uint32_t>(data.size()), data.data()),
        SUCCESS);
    EXPECT_EQ(kann({"verify", "tagged.tif", "areas.json"}).status, 5);
    // A redaction that holds what it covers.
    done({"add", "new:75x53", "redact", "--rect", "10,8,33,21", "-o", "redact.kba"});
    EXPECT_EQ(kann({"mask", "in.tif", "redact.kba", "-o", "masked.tif", "--store", "keep.kba"}).status, 0);
    done({"attach", "clean.tif", "keep.kba", "-o", "tagged.tif"});
    const KannResult result = kann({"verify", "tagged.tif", "areas.json"});
    EXPECT_EQ(result.status, 5);
    EXPECT_NE(result.err.find("annotation data with pixels"), std::string::npos) << result.err;
    EXPECT_EQ(K_RewriteFileTag(path("tagged.tif").c_str(), 1, 32932, 1, 20, "anything else at all"), SUCCESS);
    EXPECT_EQ(kann({"verify", "tagged.tif", "areas.json"}).status, 5);
}

TEST_F(KannVerifyTest, OtherPagesThatShowTheSame) {
    writeRegions("areas.json", {{40, 30, 160, 80}});
    makeText("in.tif", 1);
    makeText("in.tif", 2, true);
    makeText("in.tif", 3, true);
    done({"redact", "in.tif", "--regions", "areas.json", "-o", "clean.tif"});
    done({"verify", "clean.tif", "areas.json"});
    // Two letters, within one of the cells by which pages are compared, and a field of the page.
    constexpr std::array<int, 4> word{69, 31, 75, 35}, field{40, 30, 160, 80};
    const struct {
        const char* name;
        int scale, angle;
        bool mirrored, inverted;
        std::array<int, 4> area = field;
    } rows_[] = {{"the page itself", 1, 0, false, false},
                 {"a small one", 4, 0, false, false},
                 {"turned", 1, 9000, false, false},
                 {"small and turned", 4, 27000, false, false},
                 {"mirrored", 2, 0, true, false},
                 {"a negative", 1, 0, false, true},
                 {"a word", 1, 0, false, false, word},
                 {"a word, turned", 1, 9000, false, false, word},
                 {"a word, mirrored and negative", 1, 0, true, true, word}};
    for (const auto& row : rows_) {
        SCOPED_TRACE(row.name);
        writeRegions("areas.json", {row.area});
        done({"redact", "in.tif", "--regions", "areas.json", "-o", "leak.tif"});
        makeText("copy.tif", 1, false, row.scale);
        KernelBitmap bitmap{};
        ASSERT_EQ(K_LoadFile(path("copy.tif").c_str(), &bitmap, 0, 0, nullptr, nullptr), SUCCESS);
        EXPECT_EQ(row.angle ? K_RotateBitmap(&bitmap, row.angle, 1, 0) : SUCCESS, SUCCESS);
        EXPECT_EQ(row.mirrored ? K_ReverseBitmap(&bitmap) : SUCCESS, SUCCESS);
        for (int y = 0; row.inverted && y < bitmap.Height; ++y) {
            std::uint8_t* pixel = K_WritableBitmapRow(&bitmap, y);
            std::transform(pixel, pixel + bitmap.Width, pixel, [](std::uint8_t v) { return static_cast<std::uint8_t>(~v); });
        }
        KernelSaveOptions options{};
        K_DefaultSaveOptions(&options, sizeof options);
        options.uFlags = SAVE_INSERTPAGE;
        options.nPageNumber = -1;
        ASSERT_EQ(K_SaveFile(path("leak.tif").c_str(), &bitmap, KB_FORMAT_TIFF, &options), SUCCESS);
        K_FreeBitmap(&bitmap);
        const KannResult result = kann({"verify", "leak.tif", "areas.json"});
        EXPECT_EQ(result.status, 5);
        EXPECT_NE(result.err.find("page 4: looks like page 1"), std::string::npos) << result.err;
        EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
    }
}

TEST_F(KannVerifyTest, CopiesThatAreCoveredTooAreNone) {
    makeText("in.tif", 1);
    makeText("in.tif", 1, true);
    write("areas.json",
          R"({"schema":1,"pages":[{"page":1,"regions":[[40,30,160,80]]},{"page":2,"regions":[[40,30,160,80]]}]})");
    done({"redact", "in.tif", "--regions", "areas.json", "-o", "clean.tif"});
    done({"verify", "clean.tif", "areas.json"});
    write("areas.json",
          R"({"schema":1,"pages":[{"page":1,"regions":[[40,30,160,80]]},{"page":2,"regions":[[40,30,150,80]]}]})");
    const KannResult result = kann({"redact", "in.tif", "--regions", "areas.json", "-o", "new.tif"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("page 2: looks like page 1"), std::string::npos) << result.err;
    EXPECT_FALSE(exists("new.tif"));
}

TEST_F(KannVerifyTest, WhatCantBeAskedOrJudged) {
    redactInto("clean.png", {"", "in.png", 24});
    done({"add", "new:75x53", "rect", "--rect", "1,1,9,9", "-o", "rect.kba"});
    write("short.png", read("clean.png").substr(0, 200));
    std::vector<std::array<int, 4>> wide = areas;
    wide.push_back({100, 10, 120, 20});
    writeRegions("wide.json", wide);
    const struct {
        std::vector<std::string> arguments;
        int status;
    } table[] = {
        {{"clean.png"}, 2},
        {{}, 2},
        {{"clean.png", "rect.kba"}, 5}, // no redaction in it
        {{"gone.png", "areas.json"}, 1},
        {{"clean.png", "gone.json"}, 1},
        {{"areas.json", "areas.json"}, 1},
        {{"short.png", "areas.json"}, 5},
        {{"clean.png", "wide.json"}, 5}, // a list that was made for a larger page
        {{"clean.png", "areas.json", "--page", "1"}, 1},
        {{"clean.png", "--regions", "areas.json", "--page", "1"}, 2},
        {{"clean.png", "--regions", "areas.json", "--store-page", "1"}, 2},
    };
    for (const auto& row : table) {
        std::vector<std::string> arguments{"verify"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        EXPECT_EQ(kann(arguments).status, row.status) << (row.arguments.empty() ? "" : row.arguments[0]);
    }
}
