// Turning, mirroring, shearing and scaling against a per-pixel reading of the image as it is viewed.
#include "raster_fixture.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace test;

namespace {

using Pixels = std::vector<uint32_t>;

// A viewed image, and its quarter turn clockwise and mirrorings by definition.
struct View {
    int width, height;
    Pixels pixels;
};
View viewOf(const KernelBitmap& b) {
    const auto [w, h] = viewSize(b);
    return {w, h, viewed(b)};
}
uint32_t at(const View& v, int x, int y) {
    return v.pixels[static_cast<size_t>(y) * static_cast<size_t>(v.width) + static_cast<size_t>(x)];
}
View quarter(const View& v) {
    View out{v.height, v.width, {}};
    for (int y = 0; y < out.height; ++y) {
        for (int x = 0; x < out.width; ++x) out.pixels.push_back(at(v, y, v.height - 1 - x));
    }
    return out;
}
View mirrored(const View& v, bool across) {
    View out{v.width, v.height, {}};
    for (int y = 0; y < v.height; ++y) {
        for (int x = 0; x < v.width; ++x)
            out.pixels.push_back(at(v, across ? v.width - 1 - x : x, across ? y : v.height - 1 - y));
    }
    return out;
}
void expectView(const KernelBitmap& b, const View& expected) {
    const View got = viewOf(b);
    ASSERT_EQ(got.width, expected.width);
    ASSERT_EQ(got.height, expected.height);
    EXPECT_EQ(got.pixels, expected.pixels);
}

TEST(Transform, EveryDepthWidthAndPerspective) {
    for (const int bits : allDepths) {
        for (const int width : {1, 2, 3, 7, 8, 9, 15, 17, 31, 33}) {
            for (int perspective = 1; perspective <= 8; ++perspective) {
                SCOPED_TRACE(::testing::Message() << bits << " bits, " << width << " wide, perspective " << perspective);
                Image image;
                makeNoise(image, width, 5, bits, orderFor(bits), perspective, static_cast<uint32_t>(bits * 100 + width));
                const View before = viewOf(image.b);
                int w, h;
                K_GetBitmapViewSize(&image.b, &w, &h);
                EXPECT_EQ(w, before.width);
                EXPECT_EQ(h, before.height);
                struct Step {
                    const char* name;
                    int angle;
                };
                View expected = before;
                for (const Step step : {Step{"90", 9000}, Step{"-270", -27000}, Step{"180", 18000}}) {
                    SCOPED_TRACE(step.name);
                    ASSERT_EQ(K_RotateBitmap(&image.b, step.angle, 1, 0), SUCCESS);
                    expected = quarter(expected);
                    if (step.angle == 18000) expected = quarter(expected);
                    expectView(image.b, expected);
                }
                Image other;
                makeNoise(other, width, 5, bits, orderFor(bits), perspective, static_cast<uint32_t>(bits * 100 + width));
                ASSERT_EQ(K_FlipBitmap(&other.b), SUCCESS);
                expectView(other.b, mirrored(before, false));
                ASSERT_EQ(K_ReverseBitmap(&other.b), SUCCESS);
                expectView(other.b, mirrored(mirrored(before, false), true));
                ASSERT_EQ(K_NormalizeBitmap(&other.b), SUCCESS);
                EXPECT_EQ(other.b.ViewPerspective, KB_VIEW_TOP_LEFT);
                expectView(other.b, mirrored(mirrored(before, false), true));
            }
        }
    }
}

TEST(Transform, RectanglesFindTheirStoredPixels) {
    for (int perspective = 1; perspective <= 8; ++perspective) {
        SCOPED_TRACE(perspective);
        Image image, part;
        makeNoise(image, 20, 9, 8, KB_ORDER_BGR, perspective, 4);
        const View whole = viewOf(image.b);
        RECT r{2, 1, 6, 4};
        ASSERT_EQ(K_RectToBitmapView(&image.b, 0, &r), SUCCESS);
        ASSERT_EQ(K_CopyBitmapRect(&part.b, &image.b, r.left, r.top, r.right - r.left, r.bottom - r.top), SUCCESS);
        View expected{4, 3, {}};
        for (int y = 1; y < 4; ++y) {
            for (int x = 2; x < 6; ++x) expected.pixels.push_back(at(whole, x, y));
        }
        expectView(part.b, expected);
    }
}

TEST(Transform, FreeAnglesKeepTheMiddleAndFillTheCorners) {
    for (const int bits : allDepths) {
        SCOPED_TRACE(bits);
        Image image;
        ASSERT_EQ(K_CreateBitmap(&image.b, 1, 40, 20, bits, orderFor(bits), nullptr, 1, 0, 0), SUCCESS);
        ASSERT_EQ(K_RotateBitmap(&image.b, 3000, 1, RGB(255, 255, 255)), SUCCESS);
        const double c = std::cos(M_PI / 6), s = std::sin(M_PI / 6);
        EXPECT_EQ(image.b.Width, static_cast<int>(std::ceil(40 * c + 20 * s)));
        EXPECT_EQ(image.b.Height, static_cast<int>(std::ceil(40 * s + 20 * c)));
        EXPECT_EQ(K_GetBitmapPixel(&image.b, 0, 0), RGB(255, 255, 255));
        EXPECT_EQ(K_GetBitmapPixel(&image.b, image.b.Height / 2, image.b.Width / 2), RGB(0, 0, 0));
        int inside = 0;
        for (int y = 0; y < image.b.Height; ++y) {
            for (int x = 0; x < image.b.Width; ++x) inside += K_GetBitmapPixel(&image.b, y, x) == 0;
        }
        EXPECT_NEAR(inside, 800, 24); // the area stays, but for the rim
    }
}

TEST(Transform, RotationIsClockwise) {
    Image image;
    ASSERT_EQ(K_CreateBitmap(&image.b, 1, 21, 21, 24, 1, nullptr, 1, 0, 0), SUCCESS);
    K_WritableBitmapRow(&image.b, 10)[19 * 3 + 2] = 255; // red at the right end of the middle row
    ASSERT_EQ(K_RotateBitmap(&image.b, 4500, 1, 0), SUCCESS);
    int redX = -1, redY = -1;
    for (int y = 0; y < image.b.Height; ++y) {
        for (int x = 0; x < image.b.Width; ++x) {
            if (K_GetBitmapPixel(&image.b, y, x) == RGB(255, 0, 0)) redX = x, redY = y;
        }
    }
    EXPECT_GT(redX, image.b.Width / 2);
    EXPECT_GT(redY, image.b.Height / 2);
}

TEST(Transform, ShearMovesOneEnd) {
    struct Row {
        int angle, growth;
        bool topMoves;
    };
    for (const Row& r : {Row{4500, 10, true}, Row{-4500, 10, false}, Row{2657, 5, true}, Row{10, 0, true}}) {
        SCOPED_TRACE(r.angle);
        Image image;
        ASSERT_EQ(K_CreateBitmap(&image.b, 1, 4, 10, 8, 1, nullptr, 1, 0, 0), SUCCESS);
        ASSERT_EQ(K_ShearBitmap(&image.b, r.angle, 1, RGB(255, 255, 255)), SUCCESS);
        ASSERT_EQ(image.b.Width, 4 + r.growth);
        const auto firstBlack = [&](int row) {
            int x = 0;
            while (x < image.b.Width && rawAt(image.b, row, x)) ++x;
            return x;
        };
        for (int y = 0; y < 10; ++y) { // every row keeps its four pixels
            int black = 0;
            for (int x = 0; x < image.b.Width; ++x) black += rawAt(image.b, y, x) == 0;
            EXPECT_EQ(black, 4);
        }
        EXPECT_LE(firstBlack(r.topMoves ? 9 : 0), 0);
        EXPECT_GE(firstBlack(r.topMoves ? 0 : 9), std::max(0, r.growth - 1));
    }
    Image image;
    makeNoise(image, 4, 4, 8, 1, 1, 1);
    EXPECT_EQ(K_ShearBitmap(&image.b, 4501, 1, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_RotateBitmap(&image.b, 100, 2, 0), ERROR_INV_PARAMETER);
}

// All at once is pixel for pixel the same as one after the other.
TEST(Transform, FurtherShearsAddUp) {
    for (const int height : {1, 2, 7}) {
        for (const int times : {-5, -1, 0, 1, 3, 40}) {
            for (const int angle : {0, 10, 2657, 4400, 4500}) {
                for (int perspective = 1; perspective <= 8; perspective += 4) {
                    SCOPED_TRACE(::testing::Message() << height << " rows, " << times << " times and " << angle);
                    const int sign = times < 0 ? -1 : 1;
                    Image one, other;
                    makeNoise(one, 5, height, 8, 1, perspective, 3);
                    makeNoise(other, 5, height, 8, 1, perspective, 3);
                    ASSERT_EQ(K_SetBitmapRgnColor(&one.b, K_GetBitmapPixel(&one.b, 0, 1), KB_REGION_NOT_COLOR), SUCCESS);
                    ASSERT_EQ(K_SetBitmapRgnColor(&other.b, K_GetBitmapPixel(&other.b, 0, 1), KB_REGION_NOT_COLOR), SUCCESS);
                    for (int i = 0; i < std::abs(times); ++i)
                        ASSERT_EQ(K_ShearBitmap(&one.b, sign * 4500, 1, RGB(255, 255, 255)), SUCCESS);
                    ASSERT_EQ(K_ShearBitmap(&one.b, sign * angle, 1, RGB(255, 255, 255)), SUCCESS);
                    ASSERT_EQ(K_ShearBitmapFurther(&other.b, times, sign * angle, RGB(255, 255, 255)), SUCCESS);
                    expectView(other.b, viewOf(one.b));
                    EXPECT_TRUE(EqualRgn(one.b.hRegion, other.b.hRegion));
                }
            }
        }
    }
    Image image;
    makeNoise(image, 4, 4, 8, 1, 1, 1);
    EXPECT_EQ(K_ShearBitmapFurther(&image.b, 1, -1, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_ShearBitmapFurther(&image.b, 1 << 22, 0, 0), ERROR_INV_PARAMETER); // beyond all sides
    EXPECT_EQ(K_ShearBitmapFurther(&image.b, INT32_MIN, 0, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_ShearBitmapFurther(nullptr, 1, 0, 0), ERROR_INV_PARAMETER);
}

TEST(Transform, TurningTheViewTouchesNoPixel) {
    for (int perspective = 1; perspective <= 8; ++perspective) {
        for (const bool reversed : {false, true}) {
            for (int quarters = -3; quarters <= 5; ++quarters) {
                SCOPED_TRACE(::testing::Message() << perspective << ", reversed " << reversed << ", " << quarters);
                Image image;
                makeNoise(image, 7, 5, 8, 1, perspective, 9);
                View expected = viewOf(image.b);
                if (reversed) expected = mirrored(expected, true);
                for (int i = 0; i < quarters + 4; ++i) expected = quarter(expected);
                const KernelPixels* pixels = image.b.pPixels;
                image.b.Borrowed = 1;
                ASSERT_EQ(K_TurnBitmapView(&image.b, quarters, reversed), SUCCESS);
                image.b.Borrowed = 0;
                EXPECT_EQ(image.b.pPixels, pixels);
                expectView(image.b, expected);
            }
        }
    }
    EXPECT_EQ(K_TurnBitmapView(nullptr, 1, 0), ERROR_INV_PARAMETER);
}

TEST(Transform, ScalingTakesPixelCentres) {
    for (const int bits : allDepths) {
        for (int from = 1; from <= 8; ++from) {
            for (const auto& [width, height] : {std::pair{1, 1}, {5, 3}, {9, 7}, {33, 20}}) {
                for (const int to : {1, from}) {
                    SCOPED_TRACE(::testing::Message()
                                 << bits << " bits, perspective " << from << " to " << to << ", " << width << "x" << height);
                    Image source, target;
                    makeNoise(source, 9, 7, bits, orderFor(bits), from, 31);
                    ASSERT_EQ(K_CreateBitmap(&target.b, 1, width, height, bits, orderFor(bits), nullptr, to, 0, 0), SUCCESS);
                    ASSERT_EQ(K_ScaleBitmapInto(&source.b, &target.b), SUCCESS);
                    const View in = viewOf(source.b), out = viewOf(target.b);
                    for (int y = 0; y < out.height; ++y) {
                        for (int x = 0; x < out.width; ++x) {
                            const int fromX = (2 * x + 1) * in.width / (2 * out.width),
                                      fromY = (2 * y + 1) * in.height / (2 * out.height);
                            ASSERT_EQ(at(out, x, y), at(in, fromX, fromY)) << x << "," << y;
                        }
                    }
                }
            }
        }
    }
}

TEST(Transform, WorkBitmapsTakeTheSourceAlong) {
    Image source;
    makeNoise(source, 6, 4, 8, KB_ORDER_BGR, KB_VIEW_RIGHT_TOP, 8);
    source.b.XResolution = 300;
    source.b.YResolution = 200;
    KernelBitmap work{};
    ASSERT_EQ(K_CreateBitmapLike(&work, &source.b, 10, 20, 8, 7), SUCCESS);
    int width, height;
    K_GetBitmapViewSize(&work, &width, &height);
    EXPECT_EQ(width, 10); // as stored and as viewed
    EXPECT_EQ(work.Width, 10);
    EXPECT_EQ(work.XResolution, 200); // rows and columns have changed places
    EXPECT_EQ(work.YResolution, 300);
    ASSERT_EQ(K_ScaleBitmapInto(&source.b, &work), SUCCESS);
    EXPECT_EQ(viewed(work).front(), viewed(source.b).front());
    K_ReleaseWorkBitmap(&work, 7);
    EXPECT_EQ(work.Allocated, 0u);
}

} // namespace
