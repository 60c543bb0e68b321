// Change of depth: colours that fit survive, greys stay grey, fixed palettes are used for the rest.
#include "raster_fixture.h"

#include <gtest/gtest.h>

#include <set>

using namespace test;

namespace {

int change(const KernelBitmap& from, Image& to, int bits, int mode = 0) {
    return K_ChangeBitmapDepth(&from, &to.b, bits, mode, 0, 0, 0, 0, 0);
}
std::vector<COLORREF> colors(const KernelBitmap& b) {
    std::vector<COLORREF> out;
    for (int y = 0; y < b.Height; ++y) {
        for (int x = 0; x < b.Width; ++x) out.push_back(K_GetBitmapPixel(&b, y, x));
    }
    return out;
}

TEST(Depth, WideningAndBackKeepsEveryColour) {
    for (const int from : allDepths) {
        for (const int to : allDepths) {
            if (to <= from || (from >= 12 && to == 16)) continue;
            SCOPED_TRACE(::testing::Message() << from << " to " << to);
            Image image, wide, back;
            makeNoise(image, 11, 5, from, orderFor(from), KB_VIEW_BOTTOM_LEFT, 12);
            image.b.XResolution = 204;
            ASSERT_EQ(change(image.b, wide, to), SUCCESS);
            EXPECT_EQ(wide.b.BitsPerPixel, to);
            EXPECT_EQ(wide.b.ViewPerspective, KB_VIEW_BOTTOM_LEFT);
            EXPECT_EQ(wide.b.XResolution, 204);
            EXPECT_EQ(colors(wide.b), colors(image.b));
            if (from != 12 && from != 16) { // their low bits aren't in a colour
                ASSERT_EQ(change(wide.b, back, from), SUCCESS);
                EXPECT_EQ(colors(back.b), colors(image.b));
            }
        }
    }
}

TEST(Depth, FewColoursAreKeptExactly) {
    for (const int colorsUsed : {2, 16, 17, 256, 300}) {
        Image image, four, eight;
        ASSERT_EQ(K_CreateBitmap(&image.b, 1, colorsUsed, 1, 24, KB_ORDER_BGR, nullptr, 1, 0, 0), SUCCESS);
        for (int x = 0; x < colorsUsed; ++x) {
            uint8_t* p = K_WritableBitmapRow(&image.b, 0) + x * 3;
            p[0] = static_cast<uint8_t>(x), p[1] = static_cast<uint8_t>(x / 256 * 40), p[2] = 7;
        }
        ASSERT_EQ(change(image.b, four, 4), SUCCESS);
        ASSERT_EQ(change(image.b, eight, 8), SUCCESS);
        EXPECT_EQ(colors(four.b) == colors(image.b), colorsUsed <= 16) << colorsUsed;
        EXPECT_EQ(colors(eight.b) == colors(image.b), colorsUsed <= 256) << colorsUsed;
    }
}

TEST(Depth, ManyColoursTakeTheNearestOfTheFixedPalette) {
    Image image, eight, four;
    makeNoise(image, 64, 64, 24, KB_ORDER_BGR, 1, 99);
    ASSERT_EQ(change(image.b, eight, 8), SUCCESS);
    ASSERT_EQ(change(image.b, four, 4), SUCCESS);
    EXPECT_EQ(four.b.nColors, 16u);
    for (const Image* made : {&eight, &four}) {
        for (int y = 0; y < 64; ++y) {
            for (int x = 0; x < 64; ++x) {
                const COLORREF wanted = K_GetBitmapPixel(&image.b, y, x), got = K_GetBitmapPixel(&made->b, y, x);
                const auto distance = [wanted](int r, int g, int b) {
                    const int dr = GetRValue(wanted) - r, dg = GetGValue(wanted) - g, db = GetBValue(wanted) - b;
                    return dr * dr + dg * dg + db * db;
                };
                const int shown = distance(GetRValue(got), GetGValue(got), GetBValue(got));
                for (uint32_t i = 0; i < made->b.nColors; ++i) {
                    const RGBQUAD& q = made->b.pPalette[i];
                    ASSERT_LE(shown, distance(q.rgbRed, q.rgbGreen, q.rgbBlue));
                }
            }
        }
    }
}

TEST(Depth, GreyStaysGrey) {
    for (const int from : {8, 12, 16}) {
        Image image;
        makeNoise(image, 16, 16, from, KB_ORDER_GREY, 1, 5);
        EXPECT_EQ(K_IsGrayscaleBitmap(&image.b), 1);
        for (const int to : {1, 4, 8, 12, 16}) {
            Image made;
            ASSERT_EQ(change(image.b, made, to), SUCCESS);
            EXPECT_EQ(K_IsGrayscaleBitmap(&made.b), 1) << from << " to " << to;
        }
    }
    Image colour;
    makeNoise(colour, 4, 4, 24, KB_ORDER_BGR, 1, 5);
    EXPECT_EQ(K_IsGrayscaleBitmap(&colour.b), 0);
    const RGBQUAD palette[2] = {{0, 0, 0, 0}, {0, 0, 255, 0}};
    Image red;
    makeNoise(red, 4, 4, 1, KB_ORDER_BGR, 1, 5, palette);
    EXPECT_EQ(K_IsGrayscaleBitmap(&red.b), 0);
}

TEST(Depth, OneBitIsCutAtHalfBrightnessOrDiffused) {
    Image ramp, plain, diffused;
    ASSERT_EQ(K_CreateBitmap(&ramp.b, 1, 256, 64, 8, KB_ORDER_GREY, nullptr, 1, 0, 0), SUCCESS);
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 256; ++x) K_WritableBitmapRow(&ramp.b, y)[x] = static_cast<uint8_t>(x);
    }
    ASSERT_EQ(change(ramp.b, plain, 1), SUCCESS);
    ASSERT_EQ(change(ramp.b, diffused, 1, 1), SUCCESS);
    int white[8] = {};
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 256; ++x) {
            ASSERT_EQ(rawAt(plain.b, y, x), x >= 128 ? 1u : 0u);
            white[x / 32] += static_cast<int>(rawAt(diffused.b, y, x));
        }
    }
    for (int band = 0; band < 8; ++band) EXPECT_NEAR(white[band], 32 * 64 * (band * 32 + 16) / 256, 90) << band;
}

TEST(Depth, InPlaceKeepsTheRegionAndRefusesOddArguments) {
    Image image;
    makeNoise(image, 8, 8, 24, KB_ORDER_BGR, 1, 2);
    ASSERT_EQ(K_SetBitmapRgnWhole(&image.b, 0, 0, 1), SUCCESS);
    ASSERT_EQ(K_ChangeBitmapDepth(&image.b, &image.b, 8, 0, 0, 0, 0, 0, 0), SUCCESS);
    uint32_t area = 0;
    EXPECT_EQ(K_GetBitmapRgnArea(&image.b, &area), SUCCESS);
    EXPECT_EQ(area, 64u);
    EXPECT_EQ(K_ChangeBitmapDepth(&image.b, &image.b, 3, 0, 0, 0, 0, 0, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_ChangeBitmapDepth(&image.b, &image.b, 8, 2, 0, 0, 0, 0, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(image.b.BitsPerPixel, 8);
}

TEST(Palette, EntriesAndNearest) {
    RGBQUAD palette[16] = {};
    for (int i = 0; i < 16; ++i) palette[i] = {static_cast<BYTE>(i * 16), 0, static_cast<BYTE>(255 - i), 0};
    Image image;
    ASSERT_EQ(K_CreateBitmap(&image.b, 1, 2, 2, 4, KB_ORDER_BGR, palette, 1, 0, 0), SUCCESS);
    RGBQUAD got[16];
    EXPECT_EQ(K_GetBitmapPalette(&image.b, 0, 16, got), 16);
    EXPECT_EQ(got[15].rgbBlue, 240);
    EXPECT_EQ(K_GetBitmapPalette(&image.b, 14, 16, got), 2);
    EXPECT_EQ(K_GetBitmapPalette(&image.b, 16, 1, got), 0);
    EXPECT_EQ(K_GetBitmapPalette(&image.b, -1, 1, got), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_NearestPaletteIndex(&image.b, RGB(250, 3, 85)), 5);
    HPALETTE handle = K_CreateBitmapPaletteHandle(&image.b);
    PALETTEENTRY entry{};
    ASSERT_EQ(GetPaletteEntries(handle, 3, 1, &entry), 1u);
    EXPECT_EQ(entry.peBlue, 48);
    DeleteObject(handle);
    Image deep;
    makeNoise(deep, 2, 2, 24, KB_ORDER_BGR, 1, 1);
    EXPECT_EQ(K_NearestPaletteIndex(&deep.b, 0), -1);
    EXPECT_EQ(K_CreateBitmapPaletteHandle(&deep.b), nullptr);
}

} // namespace
