// kann burn: what becomes part of the pixels, and everything that stays as it was.
#include "tests/apps/kann_pictures.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numbers>

namespace {

class KannBurnTest : public KannPictureTest {
protected:
    // A frame of one pixel from 10, 10 to 30, 20 in a tree of 40 x 30.
    void makeFrame(const std::string& store, const std::string& color = "black") const {
        done({"add", "new:40x30", "rect", "--rect", "10,10,30,20", "--fore-color", color, "--line-width", "0", "-o", store});
    }
    static bool inFrame(int x, int y) {
        constexpr Box outer{10, 10, 31, 21}, inner{11, 11, 30, 20};
        return outer.holds(x, y) && !inner.holds(x, y);
    }
    static Color frame(int x, int y) { return inFrame(x, y) ? black : white; }

    std::string tagText(const std::string& name, std::uint16_t tag, int page) const {
        KernelLoadOptions options{};
        K_DefaultLoadOptions(&options, sizeof options);
        options.nPageNumber = page;
        std::uint16_t type = 0;
        std::uint32_t count = 0;
        const int size = K_GetFileTag(path(name).c_str(), tag, &type, &count, nullptr, &options);
        std::string value(static_cast<std::size_t>(std::max(size, 0)), '\0');
        if (size > 0) K_GetFileTag(path(name).c_str(), tag, &type, &count, value.data(), &options);
        return value;
    }
};

constexpr std::uint16_t descriptionTag = 270, annotationTag = 32932, ascii = 2;

} // namespace

TEST_F(KannBurnTest, DepthResolutionAndCompressionStay) {
    makeFrame("tree.kba");
    const struct {
        const char* name;
        int bits, format, compression;
    } rows[] = {
        {"a.tif", 1, KB_FORMAT_TIFF, KB_COMPRESS_G4},
        {"a.tif", 1, KB_FORMAT_TIFF, KB_COMPRESS_G3},
        {"a.tif", 1, KB_FORMAT_TIFF, KB_COMPRESS_PACKBITS},
        {"a.tif", 4, KB_FORMAT_TIFF, KB_COMPRESS_NONE},
        {"a.tif", 8, KB_FORMAT_TIFF, KB_COMPRESS_DEFLATE},
        {"a.tif", 24, KB_FORMAT_TIFF, KB_COMPRESS_LZW},
        {"a.tif", 32, KB_FORMAT_TIFF, KB_COMPRESS_DEFLATE},
        {"a.png", 1, KB_FORMAT_PNG, 0},
        {"a.png", 8, KB_FORMAT_PNG, 0},
        {"a.png", 24, KB_FORMAT_PNG, 0},
        {"a.bmp", 8, KB_FORMAT_BMP, 0},
        {"a.bmp", 24, KB_FORMAT_BMP, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.name) + " " + std::to_string(row.bits) + " " + std::to_string(row.compression));
        KernelSaveOptions options{};
        K_DefaultSaveOptions(&options, sizeof options);
        options.nCompression = row.compression;
        makeWhite(row.name, 40, 30, row.format, row.bits, &options);
        const KernelFileInfo before = fileInfo(row.name);
        done({"burn", row.name, "tree.kba", "-o", row.name});
        const KernelFileInfo after = fileInfo(row.name);
        EXPECT_EQ(after.nFormat, before.nFormat);
        EXPECT_EQ(after.nBitsPerPixel, before.nBitsPerPixel);
        EXPECT_EQ(after.nCompression, before.nCompression);
        EXPECT_EQ(after.nXResolution, before.nXResolution);
        EXPECT_EQ(after.nYResolution, before.nYResolution);
        expectPicture(row.name, 40, 30, frame);
    }
    makeWhite("page.png", 40, 30);
    done({"burn", "page.png", "tree.kba", "-o", "page.jpg"});
    EXPECT_EQ(fileInfo("page.jpg").nFormat, KB_FORMAT_JPEG);
}

TEST_F(KannBurnTest, OtherPagesStayAndTheDataGoes) {
    makeScan("scan.tif", 3);
    const std::string note = "second page";
    KernelSaveOptions options{};
    K_DefaultSaveOptions(&options, sizeof options);
    options.uFlags = SAVE_REPLACEPAGE;
    options.nPageNumber = 2;
    ASSERT_EQ(K_SetFileTag(descriptionTag, ascii, static_cast<std::uint32_t>(note.size() + 1), note.c_str()), SUCCESS);
    makeWhite("scan.tif", 64, 48, KB_FORMAT_TIFF, 1, &options);
    done({"add", "new:64x48", "rect", "--rect", "10,10,30,20", "--line-width", "0", "-o", "tree.kba"});
    for (const char* page : {"1", "2"}) done({"attach", "scan.tif", "tree.kba", "--page", page, "-o", "scan.tif"});

    done({"burn", "scan.tif", "--page", "2", "-o", "out.tif"});
    expectPicture("out.tif", 64, 48, frame, 2);
    EXPECT_EQ(tagText("out.tif", annotationTag, 2), "");
    EXPECT_STREQ(tagText("out.tif", descriptionTag, 2).c_str(), note.c_str());
    EXPECT_EQ(fileInfo("out.tif").nPages, 3);
    EXPECT_EQ(tagText("out.tif", annotationTag, 1), read("tree.kba"));
    for (const int page : {1, 3}) EXPECT_EQ(pixels("out.tif", page), pixels("scan.tif", page));
    // One more page, to a format that has only one.
    done({"burn", "scan.tif", "--page", "1", "-o", "out.png"});
    EXPECT_EQ(fileInfo("out.png").nBitsPerPixel, 1);
}

TEST_F(KannBurnTest, AnnotationsStandAsTheImageIsSeen) {
    for (int perspective = KB_VIEW_TOP_LEFT; perspective <= KB_VIEW_LEFT_BOTTOM; ++perspective) {
        for (const int bits : {1, 8, 24}) {
            SCOPED_TRACE(std::to_string(perspective) + " " + std::to_string(bits));
            const bool sideways = perspective == KB_VIEW_LEFT_TOP || perspective == KB_VIEW_RIGHT_TOP ||
                                  perspective == KB_VIEW_RIGHT_BOTTOM || perspective == KB_VIEW_LEFT_BOTTOM;
            makeFrame("tree.kba");
            makeWhite("turned.tif", sideways ? 30 : 40, sideways ? 40 : 30, KB_FORMAT_TIFF, bits, nullptr, perspective);
            done({"burn", "turned.tif", "tree.kba", "-o", "out.tif"});
            EXPECT_EQ(fileInfo("out.tif").nViewPerspective, perspective);
            expectPicture("out.tif", 40, 30, frame);
        }
    }
}

TEST_F(KannBurnTest, TheRootIsFittedAndStoredZoomDoesntCount) {
    done({"add", "new:20x15", "rect", "--rect", "5,5,15,10", "--line-width", "0", "-o", "half.kba"});
    std::string stored = read("half.kba");
    for (const auto& [keyword, value] : {std::pair("SCALARX", "3.5"), std::pair("OFFSETY", "42")}) {
        const std::size_t at = stored.find("\n" + std::string(keyword) + "\r\n") + std::string(keyword).size() + 3;
        stored.replace(at, stored.find("\r\n", at) - at, value);
    }
    write("zoomed.kba", stored);
    makeWhite("page.png", 40, 30);
    done({"burn", "page.png", "zoomed.kba", "-o", "out.png"});
    expectPicture("out.png", 40, 30, frame);
    done({"render", "page.png", "zoomed.kba", "-o", "rendered.png"});
    EXPECT_EQ(pixels("out.png"), pixels("rendered.png"));

    // Beyond what a window shows.
    makeWhite("wide.tif", 8300, 24, KB_FORMAT_TIFF, 1);
    done({"add", "new:8300x24", "rect", "--rect", "4000,4,8200,20", "--back-color", "black", "--fill-mode", "opaque",
          "--line-width", "0", "-o", "bar.kba"});
    done({"burn", "wide.tif", "bar.kba", "-o", "wide.tif"});
    constexpr Box bar{4000, 4, 8201, 21};
    expectPicture("wide.tif", 8300, 24, [&](int x, int y) { return bar.holds(x, y) ? black : white; });
}

// Pixels by whether the point that turns onto them lies in the upright object; those on its edge aren't looked at.
TEST_F(KannBurnTest, TurnedAnnotations) {
    constexpr double left = 20, top = 20, right = 60, bottom = 32, edge = 2;
    const auto isWithin = [](double u, double v, double by) { return std::fabs(u) < 20 + by && std::fabs(v) < 6 + by; };
    const auto isWithinEllipse = [](double u, double v, double by) { return std::hypot(u / (20 + by), v / (6 + by)) < 1; };
    saveBitmap(path("ink.png"), 40, 12, 24, KB_FORMAT_PNG, [](KernelBitmap&) {}); // black
    const struct {
        std::vector<std::string> object;
        double degrees;
        bool (*isInside)(double u, double v, double by);
    } rows[] = {
        {{"rect", "--back-color", "black", "--fill-mode", "opaque"}, 30, isWithin},
        {{"rect", "--back-color", "black", "--fill-mode", "opaque"}, 270, isWithin},
        {{"ellipse", "--back-color", "black", "--fill-mode", "opaque"}, 60, isWithinEllipse},
        {{"stamp", "--image", "ink.png"}, 20, isWithin},
        {{"redact", "--back-color", "black"}, 135, isWithin},
    };
    const struct {
        int bits, perspective;
    } pages[] = {{1, KB_VIEW_TOP_LEFT}, {24, KB_VIEW_TOP_LEFT}, {8, KB_VIEW_RIGHT_TOP}};
    for (const auto& page : pages) {
        const bool sideways = page.perspective == KB_VIEW_RIGHT_TOP;
        makeWhite("page.tif", sideways ? 60 : 80, sideways ? 80 : 60, KB_FORMAT_TIFF, page.bits, nullptr, page.perspective);
        for (const auto& row : rows) {
            SCOPED_TRACE(row.object[0] + " by " + std::to_string(row.degrees) + ", bits " + std::to_string(page.bits));
            std::vector<std::string> words{"add", "new:80x60"};
            words.insert(words.end(), row.object.begin(), row.object.end());
            words.insert(words.end(),
                         {"--rect", "20,20,60,32", "--rotate", std::to_string(row.degrees), "-o", "turned.kba"});
            done(words);
            done({"burn", "page.tif", "turned.kba", "-o", "out.tif"});
            const double angle = row.degrees * std::numbers::pi / 180;
            const std::vector<std::uint8_t> got = pixels("out.tif");
            ASSERT_EQ(got.size(), 80u * 60u * 3u);
            int wrong = 0;
            for (int y = 0; y < 60; ++y) {
                for (int x = 0; x < 80; ++x) {
                    const double dx = x + 0.5 - (left + right) / 2, dy = y + 0.5 - (top + bottom) / 2;
                    const double u = dx * std::cos(angle) + dy * std::sin(angle),
                                 v = dy * std::cos(angle) - dx * std::sin(angle); // clockwise, since rows go down
                    const int value = got[(static_cast<std::size_t>(y) * 80 + static_cast<std::size_t>(x)) * 3];
                    if (row.isInside(u, v, -edge)) wrong += value != 0;
                    if (!row.isInside(u, v, edge)) wrong += value != 255;
                }
            }
            EXPECT_EQ(wrong, 0);
        }
    }
}

TEST_F(KannBurnTest, SidesBeyondSixteenBits) {
    constexpr int side = 70'000, across = 24;
    constexpr Box bar{66'000, 4, 69'901, 21};
    for (const bool high : {false, true}) {
        SCOPED_TRACE(high ? "high" : "wide");
        const int width = high ? across : side, height = high ? side : across;
        KernelSaveOptions options{};
        K_DefaultSaveOptions(&options, sizeof options);
        options.nCompression = KB_COMPRESS_G4;
        makeWhite("page.tif", width, height, KB_FORMAT_TIFF, 1, &options);
        done({"add", high ? "new:24x70000" : "new:70000x24", "rect", "--rect",
              high ? "4,66000,20,69900" : "66000,4,69900,20", "--back-color", "black", "--fill-mode", "opaque",
              "--line-width", "0", "-o", "bar.kba"});
        done({"burn", "page.tif", "bar.kba", "-o", "out.tif"});
        EXPECT_EQ(fileInfo("out.tif").nCompression, KB_COMPRESS_G4);
        expectPicture("out.tif", width, height,
                      [&](int x, int y) { return (high ? bar.holds(y, x) : bar.holds(x, y)) ? black : white; });
    }
}

TEST_F(KannBurnTest, OnTransparentImagesAnnotationsAreOpaque) {
    saveBitmap(path("clear.png"), 40, 30, 32, KB_FORMAT_PNG, [](KernelBitmap& bitmap) { bitmap.Alpha = 1; });
    for (const char* color : {"black", "white", "red"}) { // black is what lies there unseen
        SCOPED_TRACE(color);
        makeFrame("tree.kba", color);
        done({"burn", "clear.png", "tree.kba", "-o", "out.png"});
        KernelBitmap bitmap{};
        ASSERT_EQ(K_LoadFile(path("out.png").c_str(), &bitmap, 0, 0, nullptr, nullptr), SUCCESS);
        ASSERT_EQ(bitmap.BitsPerPixel, 32);
        int wrong = 0;
        for (int y = 0; y < bitmap.Height; ++y) {
            const std::uint8_t* row = K_BitmapRowPointer(&bitmap, y);
            for (int x = 0; x < bitmap.Width; ++x) wrong += row[x * 4 + 3] != (inFrame(x, y) ? 255 : 0);
        }
        EXPECT_EQ(wrong, 0);
        K_FreeBitmap(&bitmap);
    }
}

TEST_F(KannBurnTest, WithoutAnnotationsTheFileIsCopied) {
    makeScan("scan.tif", 2);
    const KannResult result = kann({"burn", "scan.tif", "-o", "out.tif"});
    EXPECT_EQ(result.status, 3);
    EXPECT_NE(result.err.find("scan.tif: the page carries no annotation data"), std::string::npos);
    EXPECT_EQ(read("out.tif"), read("scan.tif"));
}

TEST_F(KannBurnTest, WhatCantBeDrawnOnIsRefusedAndLostDepthIsTold) {
    makeFrame("tree.kba");
    saveBitmap(path("grey.tif"), 40, 30, 16, KB_FORMAT_TIFF, [](KernelBitmap& bitmap) { bitmap.Order = KB_ORDER_GREY; });
    write("old.tif", "old");
    const KannResult refused = kann({"burn", "grey.tif", "tree.kba", "-o", "old.tif"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("grey of 12 or 16 bits takes no annotations (code -16)"), std::string::npos) << refused.err;
    EXPECT_EQ(read("old.tif"), "old");

    // Two pixels of 48 bits, written by hand: directory behind the pixels, 14 entries at most.
    const auto word = [](unsigned value) { return std::string{static_cast<char>(value), static_cast<char>(value >> 8)}; };
    const auto entry = [&word](unsigned tag, unsigned type, unsigned count, unsigned value) {
        return word(tag) + word(type) + word(count) + word(0) + word(value) + word(0);
    };
    constexpr unsigned bitsAt = 8, pixelsAt = 14, directoryAt = 26, shorts = 3, longs = 4;
    write("deep.tif", std::string("II*\0", 4) + word(directoryAt) + word(0) + word(16) + word(16) + word(16) +
                          std::string(12, '\x7F') + word(9) + entry(256, shorts, 1, 2) + entry(257, shorts, 1, 1) +
                          entry(258, shorts, 3, bitsAt) + entry(259, shorts, 1, 1) + entry(262, shorts, 1, 2) +
                          entry(273, longs, 1, pixelsAt) + entry(277, shorts, 1, 3) + entry(278, shorts, 1, 1) +
                          entry(279, longs, 1, 12) + word(0) + word(0));
    const KannResult told = kann({"burn", "deep.tif", "tree.kba", "-o", "out.tif"});
    EXPECT_EQ(told.status, 3) << told.err;
    EXPECT_EQ(told.err, "kann: deep.tif: 16 bits a colour became 8\n");
    EXPECT_EQ(fileInfo("out.tif").nBitsPerPixel, 24);
}

TEST_F(KannBurnTest, SeveralInputsKeepTheirFormats) {
    makeFrame("tree.kba");
    makeWhite("a.png", 40, 30);
    makeWhite("b.tif", 40, 30, KB_FORMAT_TIFF, 8);
    std::filesystem::create_directory(path("results"));
    done({"burn", "a.png", "b.tif", "--store", "tree.kba", "--out-dir", "results"});
    expectPicture("results/a.png", 40, 30, frame);
    expectPicture("results/b.tif", 40, 30, frame);
    EXPECT_EQ(fileInfo("results/b.tif").nFormat, KB_FORMAT_TIFF);
    write("c.wmf", "x");
    EXPECT_EQ(kann({"burn", "a.png", "c.wmf", "--store", "tree.kba", "--out-dir", "results"}).status, 2);
}
