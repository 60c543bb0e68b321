// Colour regions, painting on device contexts, and contexts on bitmap records.
#include "raster_fixture.h"

#include <gtest/gtest.h>

using namespace test;

namespace {

struct Surface {
    Surface(int width, int height, int bits = 24, COLORREF fill = RGB(255, 255, 255)) {
        K_CreateBitmap(&image.b, 1, width, height, bits, KB_ORDER_BGR, nullptr, 1, 0, 0);
        hDC = K_BitmapDC(&image.b);
        HBRUSH brush = CreateSolidBrush(fill);
        const RECT all{0, 0, width, height};
        FillRect(hDC, &all, brush);
        DeleteObject(brush);
    }
    ~Surface() { K_ReleaseBitmapDC(hDC); }
    COLORREF at(int x, int y) const { return K_GetBitmapPixel(&image.b, y, x); }
    Image image;
    HDC hDC;
};

COLORREF colorViewed(const KernelBitmap& b, int x, int y) {
    RECT r{x, y, x + 1, y + 1};
    K_RectToBitmapView(&b, 0, &r);
    return K_GetBitmapPixel(&b, r.top, r.left);
}

TEST(ColorRegion, IsWhatIsNotOfTheColour) {
    for (const int bits : {1, 4, 8, 24, 32}) {
        for (const int width : {1, 7, 8, 9, 33}) {
            SCOPED_TRACE(::testing::Message() << bits << " " << width);
            Image image;
            makeNoise(image, width, 9, bits, KB_ORDER_BGR, 1, 14);
            const COLORREF color = K_GetBitmapPixel(&image.b, 0, 0);
            ASSERT_EQ(K_SetBitmapRgnColor(&image.b, color, 6), SUCCESS);
            EXPECT_EQ(K_BitmapHasRgn(&image.b), 1);
            uint32_t area = 0, expected = 0;
            for (int y = 0; y < 9; ++y) {
                for (int x = 0; x < width; ++x) {
                    const bool in = K_GetBitmapPixel(&image.b, y, x) != color;
                    expected += in;
                    ASSERT_EQ(PtInRegion(image.b.hRegion, x, y) != 0, in) << x << "," << y;
                }
            }
            EXPECT_EQ(K_GetBitmapRgnArea(&image.b, &area), SUCCESS);
            EXPECT_EQ(area, expected);
        }
    }
    KernelBitmap empty{};
    EXPECT_EQ(K_SetBitmapRgnColor(&empty, 0, 6), SUCCESS); // no pixels, no effect
    EXPECT_EQ(K_BitmapHasRgn(&empty), 0);
    EXPECT_EQ(K_SetBitmapRgnColor(nullptr, 0, 6), ERROR_INV_PARAMETER);
}

TEST(ColorRegion, HandlesCombineAndCount) {
    KernelBitmap b{};
    ASSERT_EQ(K_InitBitmap(&b, 100, 50, 1), SUCCESS); // regions need no pixels
    HRGN region = CreateRectRgn(10, 10, 30, 20);
    const POINT offset{-10, -10};
    struct Row {
        const char* name;
        int mode;
        uint32_t area;
    };
    uint32_t area;
    ASSERT_EQ(K_SetBitmapRgnHandle(&b, &offset, region, 0), SUCCESS);
    K_GetBitmapRgnArea(&b, &area);
    EXPECT_EQ(area, 200u);
    for (const Row& r : {Row{"add", 2, 300}, Row{"intersect", 1, 200}, Row{"subtract", 3, 0}}) {
        SCOPED_TRACE(r.name);
        ASSERT_EQ(K_SetBitmapRgnHandle(&b, nullptr, region, r.mode), SUCCESS);
        K_GetBitmapRgnArea(&b, &area);
        // 0,0-20,10 and 10,10-30,20 touch at a corner only
        EXPECT_EQ(area, r.mode == 2 ? 400u : r.mode == 1 ? 200u : 0u);
    }
    EXPECT_EQ(K_SetBitmapRgnHandle(&b, nullptr, nullptr, 0), SUCCESS);
    EXPECT_EQ(K_BitmapHasRgn(&b), 0);
    EXPECT_EQ(K_SetBitmapRgnHandle(&b, nullptr, region, 4), ERROR_INV_PARAMETER);
    DeleteObject(region);
    EXPECT_EQ(K_SetBitmapRgnHandle(&b, nullptr, region, 0), ERROR_INV_PARAMETER); // dead
    K_FreeBitmap(&b);
}

TEST(ColorRegion, TurnsWithTheImage) {
    for (int perspective = 1; perspective <= 8; ++perspective) {
        for (const int angle : {0, 9000, 18000, 27000}) {
            SCOPED_TRACE(::testing::Message() << "perspective " << perspective << " angle " << angle);
            Image image;
            makeNoise(image, 13, 6, 1, KB_ORDER_BGR, perspective, 5);
            ASSERT_EQ(K_SetBitmapRgnColor(&image.b, 0, 6), SUCCESS);
            ASSERT_EQ(K_RotateBitmap(&image.b, angle, 1, RGB(255, 255, 255)), SUCCESS);
            ASSERT_EQ(K_ReverseBitmap(&image.b), SUCCESS);
            Image copy;
            ASSERT_EQ(K_CopyBitmap(&copy.b, &image.b), SUCCESS);
            for (int y = 0; y < image.b.Height; ++y) {
                for (int x = 0; x < image.b.Width; ++x)
                    ASSERT_EQ(PtInRegion(copy.b.hRegion, x, y) != 0, rawAt(image.b, y, x) == 1);
            }
        }
    }
}

TEST(Paint, EqualSizeCopiesExactly) {
    for (const int bits : allDepths) {
        for (int perspective = 1; perspective <= 8; ++perspective) {
            SCOPED_TRACE(::testing::Message() << bits << " bits, perspective " << perspective);
            Image image;
            makeNoise(image, 9, 6, bits, orderFor(bits), perspective, 40);
            const auto [w, h] = viewSize(image.b);
            Surface surface(20, 20);
            const RECT target{3, 4, 3 + w, 4 + h};
            ASSERT_EQ(K_PaintBitmap(surface.hDC, &image.b, nullptr, nullptr, &target, nullptr, SRCCOPY), SUCCESS);
            for (int y = 0; y < 20; ++y) {
                for (int x = 0; x < 20; ++x) {
                    const bool in = x >= 3 && x < 3 + w && y >= 4 && y < 4 + h;
                    ASSERT_EQ(surface.at(x, y), in ? colorViewed(image.b, x - 3, y - 4) : RGB(255, 255, 255))
                        << x << "," << y;
                }
            }
        }
    }
    Image alpha, palette;
    makeNoise(alpha, 5, 5, 32, KB_ORDER_BGR, 1, 3);
    Surface deep(5, 5, 32);
    ASSERT_EQ(K_PaintBitmap(deep.hDC, &alpha.b, nullptr, nullptr, nullptr, nullptr, SRCCOPY), SUCCESS);
    EXPECT_EQ(raws(deep.image.b), raws(alpha.b)); // the fourth byte too
    makeNoise(palette, 5, 5, 8, KB_ORDER_BGR, 1, 3);
    Surface grey(5, 5, 8);
    ASSERT_EQ(K_PaintBitmap(grey.hDC, &palette.b, nullptr, nullptr, nullptr, nullptr, SRCCOPY), SUCCESS);
    EXPECT_EQ(raws(grey.image.b), raws(palette.b));
}

TEST(Paint, ScalesMirrorsAndClips) {
    struct Row {
        const char* name;
        RECT source, target;
    };
    const Row rows[] = {{"larger", {0, 0, 9, 6}, {2, 1, 29, 19}},        {"smaller", {0, 0, 9, 6}, {5, 5, 9, 8}},
                        {"part", {2, 1, 7, 5}, {0, 0, 15, 12}},          {"left to right", {0, 0, 9, 6}, {27, 2, 9, 8}},
                        {"top to bottom", {0, 0, 9, 6}, {3, 28, 12, 4}}, {"both, part", {1, 2, 4, 6}, {30, 30, 6, 14}}};
    for (const Row& r : rows) {
        for (const int perspective : {1, 2, 5}) {
            SCOPED_TRACE(::testing::Message() << r.name << ", perspective " << perspective);
            Image image;
            makeNoise(image, perspective == 5 ? 6 : 9, perspective == 5 ? 9 : 6, 24, KB_ORDER_BGR, perspective, 44);
            Surface surface(32, 32);
            const RECT clip{4, 4, 28, 28};
            ASSERT_EQ(K_PaintBitmap(surface.hDC, &image.b, &r.source, nullptr, &r.target, &clip, SRCCOPY), SUCCESS);
            const int left = std::min(r.target.left, r.target.right), top = std::min(r.target.top, r.target.bottom);
            const int width = std::abs(r.target.right - r.target.left), height = std::abs(r.target.bottom - r.target.top);
            for (int y = 0; y < 32; ++y) {
                for (int x = 0; x < 32; ++x) {
                    COLORREF expected = RGB(255, 255, 255);
                    if (x >= std::max(left, 4) && x < std::min(left + width, 28) && y >= std::max(top, 4) &&
                        y < std::min(top + height, 28)) {
                        const int dx = r.target.right < r.target.left ? width - 1 - (x - left) : x - left;
                        const int dy = r.target.bottom < r.target.top ? height - 1 - (y - top) : y - top;
                        const int w = r.source.right - r.source.left, h = r.source.bottom - r.source.top;
                        // A mirrored target samples the mirrored picture.
                        const auto sample = [](int d, int from, int to, bool mirrors) {
                            const int place = mirrors ? to - 1 - d : d;
                            const int found = (2 * place + 1) * from / (2 * to);
                            return mirrors ? from - 1 - found : found;
                        };
                        expected = colorViewed(image.b, r.source.left + sample(dx, w, width, r.target.right < r.target.left),
                                               r.source.top + sample(dy, h, height, r.target.bottom < r.target.top));
                    }
                    ASSERT_EQ(surface.at(x, y), expected) << x << "," << y;
                }
            }
        }
    }
}

TEST(Paint, RegionBecomesTheClip) {
    for (const int scale : {1, 3}) {
        for (int perspective = 1; perspective <= 8; ++perspective) {
            SCOPED_TRACE(::testing::Message() << "scale " << scale << " perspective " << perspective);
            Image image;
            makeNoise(image, 8, 5, 1, KB_ORDER_BGR, perspective, 17);
            const auto [w, h] = viewSize(image.b);
            ASSERT_EQ(K_SetBitmapRgnColor(&image.b, RGB(255, 255, 255), 6), SUCCESS);
            Surface surface(40, 40, 24, RGB(0, 0, 255));
            const RECT target{5, 6, 5 + w * scale, 6 + h * scale};
            ASSERT_EQ(K_PaintBitmapRgn(surface.hDC, &image.b, nullptr, nullptr, &target, nullptr, SRCCOPY), SUCCESS);
            for (int y = 0; y < h * scale; ++y) {
                for (int x = 0; x < w * scale; ++x) {
                    const bool black = colorViewed(image.b, x / scale, y / scale) == 0;
                    ASSERT_EQ(surface.at(5 + x, 6 + y), black ? RGB(0, 0, 0) : RGB(0, 0, 255)) << x << "," << y;
                }
            }
            // The context's own clip is what it was.
            SetPixel(surface.hDC, 0, 0, RGB(1, 2, 3));
            EXPECT_EQ(surface.at(0, 0), RGB(1, 2, 3));
        }
    }
}

TEST(Paint, SourceClipAndRasterOperation) {
    Image image;
    ASSERT_EQ(K_CreateBitmap(&image.b, 1, 4, 4, 24, KB_ORDER_BGR, nullptr, 1, 0, 0), SUCCESS);
    Surface surface(8, 8, 24, RGB(0x55, 0x55, 0x55));
    const RECT clip{1, 1, 3, 3}, target{0, 0, 8, 8};
    ASSERT_EQ(K_PaintBitmap(surface.hDC, &image.b, nullptr, &clip, &target, nullptr, NOTSRCCOPY), SUCCESS);
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            const bool in = x >= 2 && x < 6 && y >= 2 && y < 6;
            EXPECT_EQ(surface.at(x, y), in ? RGB(255, 255, 255) : RGB(0x55, 0x55, 0x55));
        }
    }
    EXPECT_EQ(K_PaintBitmap(nullptr, &image.b, nullptr, nullptr, nullptr, nullptr, SRCCOPY), ERROR_INV_PARAMETER);
    KernelBitmap empty{};
    EXPECT_EQ(K_PaintBitmap(surface.hDC, &empty, nullptr, nullptr, nullptr, nullptr, SRCCOPY), ERROR_INV_BITMAP);
}

TEST(BitmapContext, DrawsOnEveryLayout) {
    for (const int bits : allDepths) {
        for (int perspective = 1; perspective <= 8; ++perspective) {
            SCOPED_TRACE(::testing::Message() << bits << " bits, perspective " << perspective);
            Image image, before;
            makeNoise(image, 11, 7, bits, orderFor(bits), perspective, 90);
            ASSERT_EQ(K_CopyBitmap(&before.b, &image.b), SUCCESS);
            HDC hDC = K_BitmapDC(&image.b);
            ASSERT_NE(hDC, nullptr);
            HBRUSH brush = CreateSolidBrush(RGB(255, 255, 255));
            const RECT box{2, 1, 5, 4};
            FillRect(hDC, &box, brush);
            DeleteObject(brush);
            ASSERT_EQ(K_ReleaseBitmapDC(hDC), SUCCESS);
            EXPECT_EQ(K_ReleaseBitmapDC(hDC), ERROR_INV_PARAMETER);
            const auto [w, h] = viewSize(image.b);
            const auto now = viewed(image.b), then = viewed(before.b);
            for (int y = 0; y < h; ++y) {
                for (int x = 0; x < w; ++x) {
                    const auto i = static_cast<size_t>(y * w + x);
                    if (x >= 2 && x < 5 && y >= 1 && y < 4)
                        ASSERT_EQ(colorViewed(image.b, x, y), RGB(255, 255, 255)) << x << "," << y;
                    else
                        ASSERT_EQ(now[i], then[i]) << x << "," << y; // every bit, also those a shadow can't hold
                }
            }
        }
    }
    KernelBitmap empty{};
    EXPECT_EQ(K_BitmapDC(&empty), nullptr);
    EXPECT_EQ(K_ReleaseBitmapDC(nullptr), ERROR_INV_PARAMETER);
}

void fillAll(HDC hDC, COLORREF color) {
    HBRUSH brush = CreateSolidBrush(color);
    const RECT box{0, 0, 100, 100};
    FillRect(hDC, &box, brush);
    DeleteObject(brush);
}

TEST(BitmapContext, CopiesKeepWhatTheyGot) {
    for (const int bits : allDepths) {
        SCOPED_TRACE(bits);
        Image image, during, after;
        makeNoise(image, 9, 5, bits, orderFor(bits), 1, 7);
        const auto before = raws(image.b);
        HDC hDC = K_BitmapDC(&image.b);
        ASSERT_EQ(K_CopyBitmap(&during.b, &image.b), SUCCESS);
        // Rows that are put in the record while a context is open are drawn over, not lost.
        const std::vector<uint8_t> zeros(static_cast<size_t>(image.b.BytesPerLine), 0);
        ASSERT_GT(K_PutBitmapRow(&image.b, zeros.data(), 2, image.b.BytesPerLine), 0);
        fillAll(hDC, RGB(255, 255, 255));
        ASSERT_EQ(K_ReleaseBitmapDC(hDC), SUCCESS);
        EXPECT_EQ(raws(during.b), before);
        EXPECT_EQ(K_GetBitmapPixel(&image.b, 1, 1), RGB(255, 255, 255));
        ASSERT_EQ(K_CopyBitmap(&after.b, &image.b), SUCCESS);
        EXPECT_EQ(K_BitmapRowPointer(&after.b, 0), K_BitmapRowPointer(&image.b, 0)); // shared again
        hDC = K_BitmapDC(&image.b);
        fillAll(hDC, RGB(0, 0, 0));
        ASSERT_EQ(K_ReleaseBitmapDC(hDC), SUCCESS);
        EXPECT_EQ(K_GetBitmapPixel(&after.b, 1, 1), RGB(255, 255, 255));
    }
}

TEST(BitmapContext, RecordsMayGoBeforeTheirContext) {
    for (const int bits : allDepths) {
        for (const bool replaced : {false, true}) {
            SCOPED_TRACE(::testing::Message() << bits << (replaced ? " replaced" : " freed"));
            const bool direct = bits == 1 || bits == 8 || bits >= 24;
            Image image;
            makeNoise(image, 40, 30, bits, orderFor(bits), 1, 7);
            HDC hDC = K_BitmapDC(&image.b);
            ASSERT_NE(hDC, nullptr);
            K_FreeBitmap(&image.b);
            if (replaced) makeNoise(image, 3, 2, bits, orderFor(bits), 1, 8);
            const auto before = raws(image.b);
            fillAll(hDC, RGB(1, 200, 3));
            EXPECT_EQ(K_ReleaseBitmapDC(hDC), direct ? SUCCESS : ERROR_INV_BITMAP);
            EXPECT_EQ(K_ReleaseBitmapDC(hDC), ERROR_INV_PARAMETER);
            EXPECT_EQ(raws(image.b), before);
        }
    }
}

TEST(Paint, RectanglesOfAnySize) {
    constexpr int32_t low = INT32_MIN, high = INT32_MAX;
    struct Row {
        const char* name;
        RECT source;
        bool hasTarget;
        RECT target;
        int expected;
        bool paints; // pixel 0, 0
    };
    const Row rows[] = {
        {"source wider than 32 bits", {low, low, high, high}, false, {}, SUCCESS, false},
        {"source from 0", {0, 0, high, high}, false, {}, SUCCESS, true},
        {"source that begins far away", {low, 0, 4, 4}, false, {}, SUCCESS, false},
        {"target wider than 32 bits", {0, 0, 4, 4}, true, {low, 0, high, 4}, ERROR_INV_PARAMETER, false},
        {"mirrored target taller than 32 bits", {0, 0, 4, 4}, true, {0, high, 4, low}, ERROR_INV_PARAMETER, false},
        {"source wider, target small", {low, low, high, high}, true, {0, 0, 4, 4}, SUCCESS, false},
    };
    for (const Row& r : rows) {
        for (const bool region : {false, true}) {
            SCOPED_TRACE(::testing::Message() << r.name << (region ? ", region" : ""));
            Surface target(8, 8);
            Image image;
            ASSERT_EQ(K_CreateBitmap(&image.b, 1, 4, 4, 24, KB_ORDER_BGR, nullptr, 1, 0, 0), SUCCESS);
            if (region) {
                ASSERT_EQ(K_SetBitmapRgnColor(&image.b, RGB(1, 2, 3), 6), SUCCESS);
            }
            EXPECT_EQ((region ? K_PaintBitmapRgn : K_PaintBitmap)(target.hDC, &image.b, &r.source, nullptr,
                                                                  r.hasTarget ? &r.target : nullptr, nullptr, SRCCOPY),
                      r.expected);
            EXPECT_EQ(target.at(0, 0) == 0u, r.paints);
        }
    }
}

} // namespace
