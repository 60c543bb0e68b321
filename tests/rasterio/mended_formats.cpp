// Edges of the one-page formats and of the loads: kinds of JPEG that can't be read, short palettes and wild resolutions in
// PNG, and what a load leaves in record and information after success and failure.
#include "file_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace test;

namespace {

TEST(Jpeg, OtherKindsAreNotSupported) {
    Image image;
    makeNoise(image, 16, 16, 24, KB_ORDER_BGR, 1, 4);
    const Bytes bytes = save(image.b, KB_FORMAT_JPEG);
    const uint8_t frame[] = {0xFF, 0xC0};
    const auto at = static_cast<size_t>(std::search(bytes.begin(), bytes.end(), frame, frame + 2) - bytes.begin());
    ASSERT_LT(at, bytes.size());
    struct Row {
        const char* name;
        size_t offset;
        uint8_t value;
        int expected;
    };
    for (const Row& r : {Row{"12 bits", 4, 12, ERROR_FEATURE_NOT_SUPPORTED},
                         {"differential", 1, 0xC5, ERROR_FEATURE_NOT_SUPPORTED},
                         {"differential, arithmetic", 1, 0xCD, ERROR_FEATURE_NOT_SUPPORTED},
                         {"no components", 9, 0, ERROR_FILE_READ}}) {
        SCOPED_TRACE(r.name);
        Bytes changed = bytes;
        changed[at + r.offset] = r.value;
        Image back;
        EXPECT_EQ(load(changed, back), r.expected);
        EXPECT_EQ(back.b.Allocated, 0u);
    }
}

// Larger than the writer's first buffer by far.
TEST(Jpeg, LargeFilesAreWhole) {
    Image image, back;
    makeNoise(image, 700, 500, 24, KB_ORDER_BGR, 1, 6);
    const Bytes bytes = save(image.b, KB_FORMAT_JPEG);
    ASSERT_GT(bytes.size(), size_t{300000});
    EXPECT_EQ(bytes[bytes.size() - 1], 0xD9); // the end mark
    EXPECT_EQ(load(bytes, back), SUCCESS);
}

// Data of a chunk of a PNG, by its name.
Bytes chunkOf(const Bytes& png, const char* name) {
    const auto found = std::search(png.begin(), png.end(), name, name + 4);
    if (found == png.end()) return {};
    const auto length = static_cast<size_t>(found[-4] << 24 | found[-3] << 16 | found[-2] << 8 | found[-1]);
    return {found + 4, found + 4 + static_cast<std::ptrdiff_t>(length)};
}

TEST(Png, ShortPalettesAreFilledUp) {
    for (const int bits : {1, 4, 8}) {
        SCOPED_TRACE(bits);
        RGBQUAD palette[256] = {};
        palette[0] = {10, 20, 30, 0};
        Image image, back;
        makeNoise(image, 30, 20, bits, KB_ORDER_BGR, 1, 9, palette);
        image.b.nColors = 1;
        const Bytes png = save(image.b, KB_FORMAT_PNG);
        EXPECT_EQ(chunkOf(png, "PLTE").size(), size_t{3} << bits);
        ASSERT_EQ(load(png, back), SUCCESS);
        EXPECT_EQ(raws(back.b), raws(image.b));
        EXPECT_EQ(colorsViewed(back.b), colorsViewed(image.b));
    }
}

TEST(Png, ResolutionsStayInTheirField) {
    struct Row {
        int dots;
        Bytes expected;
    };
    for (const Row& r : {Row{300, {0, 0, 0x2E, 0x23}}, {INT32_MAX, {0x7F, 0xFF, 0xFF, 0xFF}}}) {
        Image image;
        makeNoise(image, 3, 2, 8, KB_ORDER_BGR, 1, 9);
        image.b.XResolution = image.b.YResolution = r.dots;
        const Bytes field = chunkOf(save(image.b, KB_FORMAT_PNG), "pHYs");
        ASSERT_EQ(field.size(), 9u);
        EXPECT_EQ(Bytes(field.begin(), field.begin() + 4), r.expected);
        EXPECT_EQ(Bytes(field.begin() + 4, field.begin() + 8), r.expected);
    }
}

TEST(Load, InformationTellsTheRecord) {
    Image image;
    makeNoise(image, 9, 5, 8, KB_ORDER_BGR, 1, 9);
    for (const int format : {KB_FORMAT_PNG, KB_FORMAT_BMP, KB_FORMAT_JPEG, KB_FORMAT_TIFF}) {
        const Bytes bytes = save(image.b, format);
        for (const int bits : {0, 1, 24, 32}) {
            SCOPED_TRACE(::testing::Message() << format << " at " << bits);
            Image back;
            KernelFileInfo info{};
            info.uFlags = 0x1000;
            ASSERT_EQ(K_LoadMemory(bytes.data(), &back.b, 0, bits, bytes.size(), nullptr, &info), SUCCESS);
            EXPECT_EQ(info.nBitsPerPixel, back.b.BitsPerPixel);
            EXPECT_EQ(info.uFlags, 0x1000u);
        }
    }
}

TEST(Load, FailuresZeroTheRecord) {
    const uint8_t text[] = {'t', 'e', 'x', 't'};
    const auto zeroed = [](auto&& call) {
        KernelBitmap b;
        std::memset(&b, 0x5A, sizeof b);
        const KernelBitmap zero{};
        EXPECT_LT(call(&b), SUCCESS);
        return b.pPixels == zero.pPixels && b.hRegion == zero.hRegion && !b.Allocated && !b.Width && !b.pPalette;
    };
    EXPECT_TRUE(zeroed([](KernelBitmap* b) { return K_LoadFile(nullptr, b, 0, 1, nullptr, nullptr); }));
    EXPECT_TRUE(zeroed([](KernelBitmap* b) { return K_LoadFile("/nowhere/file.png", b, 0, 1, nullptr, nullptr); }));
    EXPECT_TRUE(zeroed([](KernelBitmap* b) { return K_LoadMemory(nullptr, b, 0, 0, 4, nullptr, nullptr); }));
    EXPECT_TRUE(zeroed([&](KernelBitmap* b) { return K_LoadMemory(text, b, 0, 0, 4, nullptr, nullptr); }));
    EXPECT_TRUE(zeroed([&](KernelBitmap* b) { return K_LoadMemory(text, b, 0, 5, 4, nullptr, nullptr); }));
}

} // namespace
