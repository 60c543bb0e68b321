// Device-independent bitmaps: fixtures byte by byte, every depth there and back, and headers that lie.
#include "raster_fixture.h"

#include "platform/sys.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace test;

namespace {

// 3 x 2, built as rows as viewed; R red, G green, B blue, W white, K black, a half grey.
struct Fixture {
    const char* name;
    const char* hex;
    int bits, perspective;
    const char* pixels;
};

const Fixture fixtures[] = {
    {"core header, 1 bit", R"(
        0C000000 0300 0200 0100 0100  # 12 bytes, 3 x 2, 1 plane, 1 bit
        000000 FFFFFF                 # black, white
        A0000000                      # bottom row W K W
        40000000                      # top row    K W K
     )",
     1, KB_VIEW_BOTTOM_LEFT, "KWKWKW"},
    {"24 bits, bottom-up", R"(
        28000000 03000000 02000000 0100 1800 00000000 00000000 00000000 00000000 00000000 00000000
        0000FF 00FF00 FF0000 000000   # R G B
        FFFFFF 000000 FFFFFF 000000   # W K W
     )",
     24, KB_VIEW_BOTTOM_LEFT, "WKWRGB"},
    {"24 bits, top-down", R"(
        28000000 03000000 FEFFFFFF 0100 1800 00000000 00000000 00000000 00000000 00000000 00000000
        0000FF 00FF00 FF0000 000000
        FFFFFF 000000 FFFFFF 000000
     )",
     24, KB_VIEW_TOP_LEFT, "RGBWKW"},
    {"4 bits, three colours", R"(
        28000000 03000000 02000000 0100 0400 00000000 00000000 00000000 00000000 03000000 00000000
        0000FF00 00FF0000 FF000000    # R G B
        01200000  10200000
     )",
     4, KB_VIEW_BOTTOM_LEFT, "GRBRGB"},
    {"16 bits, 5-5-5", R"(
        28000000 03000000 02000000 0100 1000 00000000 00000000 00000000 00000000 00000000 00000000
        007C E003 1F00 0000           # R G B
        FF7F 0000 FF7F 0000
     )",
     16, KB_VIEW_BOTTOM_LEFT, "WKWRGB"},
    {"16 bits, 5-6-5 masks behind the header", R"(
        28000000 03000000 02000000 0100 1000 03000000 00000000 00000000 00000000 00000000 00000000
        00F80000 E0070000 1F000000
        00F8 E007 1F00 0000
        FFFF 0000 FFFF 0000
     )",
     24, KB_VIEW_BOTTOM_LEFT, "WKWRGB"},
    {"32 bits, masks red last", R"(
        28000000 03000000 02000000 0100 2000 03000000 00000000 00000000 00000000 00000000 00000000
        FF000000 00FF0000 0000FF00
        FF000000 00FF0000 0000FF00
        FFFFFF00 00000000 FFFFFF00
     )",
     24, KB_VIEW_BOTTOM_LEFT, "WKWRGB"},
    {"RLE8: run, absolute, end of line, delta", R"(
        28000000 03000000 02000000 0100 0800 01000000 00000000 00000000 00000000 04000000 00000000
        00000000 0000FF00 00FF0000 FF000000
        0003 010203 00                # absolute R G B, padded
        0000                          # end of line
        0002 0100                     # one to the right
        0201                          # R R
        0001
     )",
     8, KB_VIEW_BOTTOM_LEFT, "KRRRGB"},
    {"RLE4: run of two in turn, absolute", R"(
        28000000 03000000 02000000 0100 0400 02000000 00000000 00000000 00000000 04000000 00000000
        00000000 0000FF00 00FF0000 FF000000
        0312                          # R G R
        0000
        0003 3120                     # B R G
        0001
     )",
     4, KB_VIEW_BOTTOM_LEFT, "BRGRGR"},
};

char letter(COLORREF c) {
    if (c == RGB(255, 0, 0)) return 'R';
    if (c == RGB(0, 255, 0)) return 'G';
    if (c == RGB(0, 0, 255)) return 'B';
    return c == RGB(255, 255, 255) ? 'W' : c == 0 ? 'K' : '?';
}

TEST(DibRead, Fixtures) {
    for (const Fixture& f : fixtures) {
        SCOPED_TRACE(f.name);
        const auto dib = bytesOf(f.hex);
        Image image;
        ASSERT_EQ(K_BitmapFromDIBBytes(&image.b, dib.data(), dib.size(), 0), SUCCESS);
        EXPECT_EQ(image.b.BitsPerPixel, f.bits);
        EXPECT_EQ(image.b.ViewPerspective, f.perspective);
        ASSERT_EQ(K_NormalizeBitmap(&image.b), SUCCESS);
        std::string pixels;
        for (int y = 0; y < 2; ++y) {
            for (int x = 0; x < 3; ++x) pixels += letter(K_GetBitmapPixel(&image.b, y, x));
        }
        EXPECT_EQ(pixels, f.pixels);
        // Cut anywhere, it is refused; the trusted form reads the same bytes.
        for (size_t size = 0; size < dib.size(); ++size) {
            const std::vector<uint8_t> cut(dib.begin(), dib.begin() + static_cast<std::ptrdiff_t>(size));
            KernelBitmap none{};
            const int result = K_BitmapFromDIBBytes(&none, cut.data(), cut.size(), 0);
            if (result == SUCCESS) {
                EXPECT_GE(size + 3, dib.size()) << "only the end mark of a full image may be missing";
            }
            K_FreeBitmap(&none);
        }
        Image trusted;
        ASSERT_EQ(K_BitmapFromDIB(&trusted.b, reinterpret_cast<const BITMAPINFO*>(dib.data()), nullptr), SUCCESS);
        ASSERT_EQ(K_NormalizeBitmap(&trusted.b), SUCCESS);
        EXPECT_EQ(raws(trusted.b), raws(image.b));
    }
}

TEST(DibRead, HostileHeaders) {
    struct Row {
        const char* name;
        size_t offset;
        int bytes;
        uint32_t value;
        int expected;
    };
    const Row rows[] = {
        {"header size 0", 0, 4, 0, ERROR_FILE_READ},
        {"header size 41", 0, 4, 41, ERROR_FILE_READ},
        {"header longer than the data", 0, 4, 124, ERROR_FILE_READ},
        {"width 0", 4, 4, 0, ERROR_FILE_READ},
        {"width negative", 4, 4, 0x80000000u, ERROR_FILE_READ},
        {"width huge", 4, 4, 0x7FFFFFFF, ERROR_FILE_READ},
        {"height 0", 8, 4, 0, ERROR_FILE_READ},
        {"height of all bits", 8, 4, 0x80000000u, ERROR_FILE_READ},
        {"height above the data", 8, 4, 3, ERROR_FILE_READ},
        {"two planes", 12, 2, 2, ERROR_FILE_READ},
        {"0 bits", 14, 2, 0, ERROR_FILE_READ},
        {"2 bits", 14, 2, 2, ERROR_FEATURE_NOT_SUPPORTED},
        {"33 bits", 14, 2, 33, ERROR_FILE_READ},
        {"JPEG inside", 16, 4, 4, ERROR_FEATURE_NOT_SUPPORTED},
        {"PNG inside, 0 bits", 14, 4, 0x00050000, ERROR_FEATURE_NOT_SUPPORTED},
        {"runs at 24 bits", 16, 4, 1, ERROR_FILE_READ},
        {"masks at 24 bits", 16, 4, 3, ERROR_FILE_READ},
        {"a table of 2^32 colours", 32, 4, 0xFFFFFFFF, ERROR_FILE_READ},
        {"a table that fills the data", 32, 4, 20, ERROR_FILE_READ},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        auto dib = bytesOf(fixtures[1].hex);
        for (int i = 0; i < r.bytes; ++i) dib[r.offset + static_cast<size_t>(i)] = static_cast<uint8_t>(r.value >> (8 * i));
        KernelBitmap b{};
        EXPECT_EQ(K_BitmapFromDIBBytes(&b, dib.data(), dib.size(), 0), r.expected);
        EXPECT_EQ(b.Allocated, 0u);
    }
    const auto dib = bytesOf(fixtures[1].hex);
    KernelBitmap b{};
    EXPECT_EQ(K_BitmapFromDIBBytes(&b, dib.data(), dib.size(), dib.size() + 1), ERROR_FILE_READ);
    EXPECT_EQ(K_BitmapFromDIBBytes(&b, dib.data(), dib.size(), SIZE_MAX), ERROR_FILE_READ);
    EXPECT_EQ(K_BitmapFromDIBBytes(&b, nullptr, 0, 0), ERROR_INV_PARAMETER);
}

TEST(DibRead, OpacityNeedsItsMask) {
    const auto dib = bytesOf(R"(
        38000000 01000000 01000000 0100 2000 03000000 00000000 130B0000 130B0000 00000000 00000000
        0000FF00 00FF0000 FF000000 000000FF
        10203040
    )");
    Image image;
    ASSERT_EQ(K_BitmapFromDIBBytes(&image.b, dib.data(), dib.size(), 0), SUCCESS);
    EXPECT_EQ(image.b.Alpha, 1u);
    EXPECT_EQ(rawAt(image.b, 0, 0), 0x40302010u);
    EXPECT_EQ(image.b.XResolution, 72);
}

TEST(DibWrite, EveryDepthAndPerspectiveComesBack) {
    for (const int bits : allDepths) {
        for (int width = 1; width <= 33; width += 4) {
            for (int perspective = 1; perspective <= 8; ++perspective) {
                SCOPED_TRACE(::testing::Message() << bits << " bits " << width << " perspective " << perspective);
                Image image, back;
                makeNoise(image, width, 4, bits, orderFor(bits), perspective, 55);
                image.b.XResolution = image.b.YResolution = 300;
                HGLOBAL handle = K_BitmapToDIBHandle(&image.b);
                ASSERT_NE(handle, nullptr);
                ASSERT_EQ(K_BitmapFromDIBHandle(&back.b, handle), SUCCESS);
                EXPECT_EQ(GlobalFlags(handle) & 0xFF, 0u); // still the caller's, unlocked
                GlobalFree(handle);
                EXPECT_EQ(back.b.BitsPerPixel, bits == 12 || bits == 16 ? 8 : bits);
                EXPECT_EQ(back.b.XResolution, 300);
                EXPECT_EQ(viewSize(back.b), viewSize(image.b));
                Image shallow;
                ASSERT_EQ(K_ChangeBitmapDepth(&image.b, &shallow.b, 8, 0, 0, 0, 0, 0, 0), SUCCESS);
                EXPECT_EQ(viewed(back.b), viewed(bits == 12 || bits == 16 ? shallow.b : image.b));
            }
        }
    }
    Image red;
    ASSERT_EQ(K_CreateBitmap(&red.b, 1, 1, 1, 24, KB_ORDER_RGB, nullptr, 1, 0, 0), SUCCESS);
    K_WritableBitmapRow(&red.b, 0)[0] = 255;
    HGLOBAL handle = K_BitmapToDIBHandle(&red.b);
    const auto* dib = static_cast<const uint8_t*>(GlobalLock(handle));
    EXPECT_EQ(dib[40 + 2], 255);
    EXPECT_EQ(dib[40], 0);
    GlobalFree(handle);
    EXPECT_EQ(K_BitmapToDIBHandle(nullptr), nullptr);
}

} // namespace
