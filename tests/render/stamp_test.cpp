// Stamps: the quick way of painting a turned image against the stepwise one, what goes which way, text in the middle, and
// stamps that can't be drawn.
#include "render/drawing.h"
#include "store/geometry.h"
#include "tests/render/canvas.h"
#include "tests/render/golden.h"

#include <cmath>
#include <limits>

using namespace kbann;
using namespace kbann::test;

namespace {

constexpr COLORREF ground = RGB(0, 255, 255);

struct Picture {
    // Slow gradients, so that the nearest pixel and a mixture are close to each other; a dark top left corner.
    Picture(int width, int height, int bits = 24) {
        EXPECT_EQ(K_CreateBitmap(&bitmap, 1, width, height, bits, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
        for (int y = 0; y < height && bits >= 24; ++y) {
            uint8_t* row = K_WritableBitmapRow(&bitmap, y);
            for (int x = 0; x < width; ++x, row += bits / 8) {
                row[0] = static_cast<uint8_t>(40 + 60 * y / height);
                row[1] = static_cast<uint8_t>(40 + 100 * x / width);
                row[2] = static_cast<uint8_t>(80 + 100 * (x + y) / (width + height));
            }
        }
    }
    ~Picture() { K_FreeBitmap(&bitmap); }
    KernelBitmap bitmap{};
};

struct StampTest : ::testing::Test {
    Tree tree;
    HANNOBJECT stamp = makeItem(tree.root, ANN_OBJECT_STAMP);

    void place(AnnPoint a, AnnPoint b, AnnPoint c) {
        AnnObject& object = record(stamp);
        object.quad[0] = a;
        object.quad[1] = b;
        object.quad[2] = c;
        annUpdate(object, Repaint::none);
    }
    // A quad about a middle: sides, turned by degrees, its top moved sideways.
    void placeTurned(AnnPoint middle, double w, double h, double degrees, double lean = 0, bool mirrored = false) {
        const double t = degrees * M_PI / 180, c = std::cos(t), s = std::sin(t);
        const auto corner = [&](double x, double y) {
            if (mirrored) x = -x;
            return AnnPoint{middle.x + c * x - s * y, middle.y + s * x + c * y};
        };
        place(corner(-w / 2 + lean, -h / 2), corner(-w / 2 - lean, h / 2), corner(w / 2 - lean, h / 2));
    }
    bool draw(Canvas& canvas, bool quickly) {
        AnnObject& object = record(stamp);
        const RECT all{0, 0, canvas.bitmap.Width, canvas.bitmap.Height};
        const Drawing d{canvas.dc, all, object, object.xfToClient};
        return quickly ? annDrawStamp(d) : annDrawStampStepwise(d);
    }
};

int channel(COLORREF c, int i) { return static_cast<int>(c >> 8 * i & 255); }

double toSegment(double x, double y, AnnPoint a, AnnPoint b) {
    const double dx = b.x - a.x, dy = b.y - a.y, length = dx * dx + dy * dy;
    const double t = length > 0 ? std::clamp(((x - a.x) * dx + (y - a.y) * dy) / length, 0.0, 1.0) : 0;
    return std::hypot(x - a.x - t * dx, y - a.y - t * dy);
}

// Both ways show the same picture: inside the colours differ by a little (the nearest of a slow gradient, taken once for the
// scaling and once for each turn and shear), and what only one of them paints lies at most one pixel from the outline.
TEST_F(StampTest, QuickAndStepwiseAgree) {
    const Picture picture(120, 80);
    ASSERT_EQ(K_AnnSetBitmap(stamp, &picture.bitmap, 0), SUCCESS);
    double worstMean = 0;
    int worst = 0;
    for (const double degrees : {0.0, 7.0, 30.0, 45.0, 100.0, 183.0, 260.0, 315.0}) {
        for (const double lean : {0.0, 20.0, -20.0, 75.0, -75.0}) { // of a height of 100: at 75 it leans by 56 degrees
            for (const bool mirrored : {false, true}) {
                SCOPED_TRACE(::testing::Message() << degrees << " degrees, lean " << lean << (mirrored ? ", mirrored" : ""));
                placeTurned({200, 200}, 150, 100, degrees, lean, mirrored);
                Canvas quick(400, 400, ground), stepwise(400, 400, ground);
                ASSERT_TRUE(draw(quick, true));
                ASSERT_TRUE(draw(stepwise, false));
                const auto [p] = annQuadCorners(record(stamp).xfToClient, record(stamp).quad);
                double sum = 0;
                int count = 0, onlyOne = 0;
                for (int y = 0; y < 400; ++y) {
                    for (int x = 0; x < 400; ++x) {
                        double edge = 1e9;
                        for (int i = 0; i < 4; ++i) edge = std::min(edge, toSegment(x + 0.5, y + 0.5, p[i], p[(i + 1) % 4]));
                        const COLORREF a = quick.at(x, y), b = stepwise.at(x, y);
                        if (edge <= 2) continue; // the mixture at an edge, and the white that a turn brings in
                        onlyOne += (a == ground) != (b == ground);
                        if (a == ground || b == ground) continue;
                        for (int i = 0; i < 3; ++i) {
                            const int difference = std::abs(channel(a, i) - channel(b, i));
                            worst = std::max(worst, difference);
                            sum += difference;
                        }
                        count += 3;
                    }
                }
                EXPECT_EQ(onlyOne, 0);
                ASSERT_GT(count, 3 * 9000);
                worstMean = std::max(worstMean, sum / count);
            }
        }
    }
    EXPECT_LE(worstMean, 1.5);
    EXPECT_LE(worst, 6);
}

TEST_F(StampTest, TheTopLeftOfThePictureIsAtCornerA) {
    Picture picture(60, 40);
    for (int y = 0; y < 12; ++y) std::memset(K_WritableBitmapRow(&picture.bitmap, y), 0, 3 * 18);
    ASSERT_EQ(K_AnnSetBitmap(stamp, &picture.bitmap, 0), SUCCESS);
    for (int turn = 0; turn < 8; ++turn) {
        for (const double lean : {0.0, 30.0, -60.0}) {
            for (const bool mirrored : {false, true}) {
                for (const bool quickly : {false, true}) {
                    SCOPED_TRACE(::testing::Message() << turn << " eighths, lean " << lean << ", mirrored " << mirrored
                                                      << ", quickly " << quickly);
                    placeTurned({150, 150}, 120, 80, 45 * turn, lean, mirrored);
                    Canvas canvas(300, 300, ground);
                    ASSERT_TRUE(draw(canvas, quickly));
                    const auto [p] = annQuadCorners(identityMatrix, record(stamp).quad);
                    const auto at = [&](double across, double down) {
                        return canvas.at(static_cast<int>(p[0].x + (p[3].x - p[0].x) * across + (p[1].x - p[0].x) * down),
                                         static_cast<int>(p[0].y + (p[3].y - p[0].y) * across + (p[1].y - p[0].y) * down));
                    };
                    EXPECT_EQ(at(0.15, 0.15), RGB(0, 0, 0));
                    for (const auto& [across, down] : {std::pair{0.85, 0.15}, {0.15, 0.85}, {0.85, 0.85}}) {
                        EXPECT_NE(at(across, down), RGB(0, 0, 0));
                        EXPECT_NE(at(across, down), ground);
                    }
                }
            }
        }
    }
}

TEST_F(StampTest, UprightAndHardlyTurnedImagesAreScaledAndPainted) {
    const Picture picture(40, 20);
    ASSERT_EQ(K_AnnSetBitmap(stamp, &picture.bitmap, 0), SUCCESS);
    place({10, 10}, {10, 50}, {90, 50});
    Canvas canvas(120, 80, ground);
    ASSERT_TRUE(draw(canvas, true));
    for (int y = 10; y < 50; ++y)
        for (int x = 10; x < 90; ++x)
            ASSERT_EQ(canvas.at(x, y), K_GetBitmapPixel(&picture.bitmap, (y - 10) / 2, (x - 10) / 2));
    // A third of a degree: the pixels are those of the upright image, the outline is the turned one.
    const Picture wide(400, 200);
    ASSERT_EQ(K_AnnSetBitmap(stamp, &wide.bitmap, 0), SUCCESS);
    placeTurned({250, 150}, 400, 200, 0.33);
    Canvas turned(500, 300, ground);
    ASSERT_TRUE(draw(turned, true));
    const auto [p] = annQuadCorners(identityMatrix, record(stamp).quad);
    PointBox box;
    for (const AnnPoint& corner : p) box.add(corner);
    const RECT target = box.pixels();
    const int w = target.right - target.left, h = target.bottom - target.top;
    int cut = 0;
    for (int y = target.top; y < target.bottom; ++y) {
        for (int x = target.left; x < target.right; ++x) {
            const COLORREF color = turned.at(x, y);
            if (color == ground)
                ++cut;
            else
                ASSERT_EQ(color, K_GetBitmapPixel(&wide.bitmap, (2 * (y - target.top) + 1) * 200 / (2 * h),
                                                  (2 * (x - target.left) + 1) * 400 / (2 * w)));
        }
    }
    EXPECT_GT(cut, 200); // the corners of the box
}

// Where nothing but quarter turns is left, the pixels are those of the image on either way, and there is no zoom at which the
// stamp is too large.
TEST_F(StampTest, UprightImagesAtAnyZoom) {
    const Picture picture(60, 40);
    for (int turn = 0; turn < 4; ++turn) {
        for (const bool mirrored : {false, true}) {
            SCOPED_TRACE(::testing::Message() << turn << " quarters, mirrored " << mirrored);
            ASSERT_EQ(K_AnnSetBitmap(stamp, &picture.bitmap, 0), SUCCESS);
            placeTurned({100, 100}, 120, 80, 90 * turn, 0, mirrored);
            Canvas quick(200, 200, ground), stepwise(200, 200, ground);
            ASSERT_TRUE(draw(quick, true));
            ASSERT_TRUE(draw(stepwise, false));
            int others = 0;
            for (int y = 0; y < 200; ++y)
                for (int x = 0; x < 200; ++x) others += quick.at(x, y) != stepwise.at(x, y);
            EXPECT_EQ(others, 0);
            EXPECT_GE(quick.countOther(ground), 120 * 80);
            for (const bool transparent : {false, true}) {
                Picture four(2, 2);
                for (int y = 0; y < 2; ++y)
                    for (int x = 0; x < 2; ++x)
                        std::memset(K_WritableBitmapRow(&four.bitmap, y) + 3 * x, 10 + 100 * y + 50 * x, 3);
                ASSERT_EQ(K_AnnSetBitmap(stamp, &four.bitmap, 0), SUCCESS);
                K_AnnSetTransparent(stamp, transparent, 0);
                K_AnnSetTransparentColor(stamp, 0x0A0A0A, 0);
                placeTurned({100, 100}, 4e6, 3e6, 90 * turn, 0, mirrored);
                Canvas zoomed(200, 200, ground);
                ASSERT_TRUE(draw(zoomed, true));
                const auto [p] = annQuadCorners(identityMatrix, record(stamp).quad);
                for (int y = 0; y < 2; ++y) {
                    for (int x = 0; x < 2; ++x) { // one pixel of the image in each quarter of the canvas
                        const AnnPoint& to = p[x ? (y ? 2 : 3) : (y ? 1 : 0)];
                        const auto color = static_cast<COLORREF>(0x010101 * (10 + 100 * y + 50 * x));
                        for (const int away : {2, 95})
                            EXPECT_EQ(zoomed.at(to.x > 100 ? 100 + away : 99 - away, to.y > 100 ? 100 + away : 99 - away),
                                      transparent && !x && !y ? ground : color);
                    }
                }
            }
            K_AnnSetTransparent(stamp, FALSE, 0);
        }
    }
}

TEST_F(StampTest, TransparencyAndRasterModes) {
    Picture picture(80, 60);
    for (int y = 0; y < 30; ++y) std::memset(K_WritableBitmapRow(&picture.bitmap, y), 0xFF, 3 * 40);
    ASSERT_EQ(K_AnnSetBitmap(stamp, &picture.bitmap, 0), SUCCESS);
    ASSERT_EQ(K_AnnSetTransparent(stamp, TRUE, 0), SUCCESS);
    placeTurned({100, 100}, 120, 90, 30);
    EXPECT_FALSE(K_BitmapHasRgn(&record(stamp).bitmap));
    Canvas quick(200, 200, ground), stepwise(200, 200, ground);
    ASSERT_TRUE(draw(quick, true));
    EXPECT_TRUE(K_BitmapHasRgn(&record(stamp).bitmap)); // found at the first paint
    ASSERT_TRUE(draw(stepwise, false));
    const auto [p] = annQuadCorners(identityMatrix, record(stamp).quad);
    const auto at = [&p](const Canvas& canvas, double across, double down) {
        return canvas.at(static_cast<int>(p[0].x + (p[3].x - p[0].x) * across + (p[1].x - p[0].x) * down),
                         static_cast<int>(p[0].y + (p[3].y - p[0].y) * across + (p[1].y - p[0].y) * down));
    };
    for (const Canvas* canvas : {&quick, &stepwise}) {
        EXPECT_EQ(at(*canvas, 0.25, 0.25), ground);
        EXPECT_NE(at(*canvas, 0.75, 0.25), ground);
        EXPECT_NE(at(*canvas, 0.25, 0.75), ground);
    }
    ASSERT_EQ(K_AnnSetTransparent(stamp, FALSE, 0), SUCCESS);
    Canvas plain(200, 200, ground);
    ASSERT_TRUE(draw(plain, true));
    struct {
        uint32_t rop;
        COLORREF (*made)(COLORREF s, COLORREF d);
    } rows[] = {{ANN_ROP2_AND, [](COLORREF s, COLORREF d) { return s & d; }},
                {ANN_ROP2_XOR, [](COLORREF s, COLORREF d) { return s ^ d; }}};
    for (const auto& row : rows) {
        ASSERT_EQ(K_AnnSetROP2(stamp, row.rop, 0), SUCCESS);
        Canvas canvas(200, 200, ground);
        ASSERT_TRUE(draw(canvas, true));
        for (const double across : {0.2, 0.5, 0.8})
            EXPECT_EQ(at(canvas, across, 0.6), row.made(at(plain, across, 0.6), ground));
    }
}

// Devices whose pixels can't be mixed go stepwise: the quick way's result is the stepwise one's.
TEST_F(StampTest, OtherDevicesGoStepwise) {
    const Picture picture(80, 60);
    ASSERT_EQ(K_AnnSetBitmap(stamp, &picture.bitmap, 0), SUCCESS);
    placeTurned({100, 100}, 120, 90, 30);
    for (const int bits : {1, 4, 8}) {
        Canvas quick(200, 200, 0xFFFFFF, bits), stepwise(200, 200, 0xFFFFFF, bits);
        const bool shadow = bits == 4; // drawn on 24 bits and brought back
        ASSERT_TRUE(draw(quick, true));
        ASSERT_TRUE(draw(stepwise, false));
        int others = 0, painted = 0;
        for (int y = 0; y < 200; ++y) {
            for (int x = 0; x < 200; ++x) {
                others += quick.at(x, y) != stepwise.at(x, y);
                painted += stepwise.at(x, y) != 0xFFFFFF;
            }
        }
        EXPECT_EQ(others == 0, !shadow) << bits;
        EXPECT_GT(painted, 2000) << bits;
    }
}

TEST_F(StampTest, WhatCantBeDrawnIsAbsentWithItsName) {
    const Picture picture(30, 20);
    ASSERT_EQ(K_AnnSetBitmap(stamp, &picture.bitmap, 0), SUCCESS);
    K_AnnSetName(stamp, TRUE, "name", nullptr, 0, 0);
    struct {
        const char* name;
        AnnPoint a, b, c;
    } rows[] = {
        {"no height", {10, 50}, {10, 50}, {90, 50}},
        {"a line", {10, 10}, {50, 50}, {90, 90}},
        {"beyond all sides", {0, 0}, {0, 1e300}, {1e300, 1e300}},
        {"beyond all sides, turned", {1e300, 0}, {0, 1e300}, {1e300, 2e300}},
        {"leaning, of no height", {1e7, 49.9}, {0, 50}, {100, 50}},
        {"not a number", {std::nan(""), 10}, {10, 50}, {90, 50}},
        {"infinite", {10, 10}, {10, std::numeric_limits<double>::infinity()}, {90, 50}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        place(row.a, row.b, row.c);
        Canvas canvas(120, 100, ground);
        const RECT all{0, 0, 120, 100};
        const AnnObject& object = record(stamp);
        EXPECT_FALSE(annDrawObject({canvas.dc, all, record(stamp), object.xfToClient}));
        EXPECT_EQ(canvas.countOther(ground), 0);
    }
    constexpr COLORREF blank = 0xFFFFFF; // which all depths have
    // A zoom that is within reason, and one whose work bitmaps would not be: those are no way to go.
    for (const double side : {3000.0, 300'000.0}) {
        placeTurned({60, 50}, side, side, 30);
        for (const int bits : {24, 8}) {
            Canvas canvas(120, 100, blank, bits);
            const bool possible = bits == 24 || side == 3000;
            EXPECT_EQ(draw(canvas, true), possible);
            EXPECT_EQ(canvas.countOther(blank), possible ? 120 * 100 : 0);
        }
    }
}

// Leaning by all but 90 degrees, of which the shears by 45 degrees are made at once: one by one they took minutes.
TEST_F(StampTest, ThinStampsThatLeanFar) {
    constexpr COLORREF blank = 0xFFFFFF;
    const Picture picture(30, 20);
    ASSERT_EQ(K_AnnSetBitmap(stamp, &picture.bitmap, 0), SUCCESS);
    for (const double far : {1e3, 1e6, 1.6e7}) {
        for (const int bits : {24, 8}) {
            SCOPED_TRACE(::testing::Message() << far << ", " << bits << " bits");
            place({far, 49}, {0, 50}, {100, 50});
            Canvas canvas(120, 100, blank, bits);
            EXPECT_TRUE(draw(canvas, true));
            for (int y = 0; y < 100; ++y) {
                if (y == 49) continue; // the row in which it may be seen
                for (int x = 0; x < 120; ++x) ASSERT_EQ(canvas.at(x, y), blank);
            }
        }
    }
}

TEST_F(StampTest, TextStandsInTheMiddle) {
    K_AnnSetText(stamp, "one\r\ntwo lines\n\rx", 0);
    K_AnnSetFontSize(stamp, 14, 0);
    K_AnnSetBackColor(stamp, ground, 0);
    K_AnnSetForeColor(stamp, 0, 0);
    K_AnnSetFillMode(stamp, ANN_FILLMODE_OPAQUE, 0);
    K_AnnSetLineStyle(stamp, ANN_LINE_NULL, 0);
    for (const bool lying : {false, true}) {
        if (lying)
            place({170, 20}, {20, 20}, {20, 140}); // a quarter turn
        else
            place({20, 20}, {20, 140}, {170, 140});
        Canvas canvas(200, 200, ground);
        ASSERT_TRUE(draw(canvas, true));
        int left = 999, top = 999, right = 0, bottom = 0;
        for (int y = 0; y < 200; ++y) {
            for (int x = 0; x < 200; ++x) {
                if (canvas.at(x, y) == ground) continue;
                left = std::min(left, x), right = std::max(right, x), top = std::min(top, y), bottom = std::max(bottom, y);
            }
        }
        EXPECT_NEAR((left + right) / 2.0, 95, 4);
        EXPECT_NEAR((top + bottom) / 2.0, 80, 4);
        const int width = right - left, height = bottom - top;
        EXPECT_GT(lying ? height : width, 40);           // the second line
        EXPECT_NEAR(lying ? width : height, 3 * 16, 10); // three lines: a pair of breaks counts once
    }
}

using StampGolden = StampTest;

TEST_F(StampGolden, StampsThatLean) {
    Picture picture(60, 40);
    const HDC dc = K_BitmapDC(&picture.bitmap);
    const RECT mark{4, 4, 24, 16};
    FillRect(dc, &mark, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    K_ReleaseBitmapDC(dc);
    K_AnnDestroy(stamp, 0);
    int at = 0;
    for (const double lean : {0.0, 18.0, -18.0, 45.0, -45.0}) {
        for (const double degrees : {0.0, 30.0, 120.0, 250.0}) {
            for (const bool text : {false, true}) {
                stamp = makeItem(tree.root, ANN_OBJECT_STAMP);
                K_AnnSetName(stamp, FALSE, nullptr, nullptr, 0, 0);
                if (text) {
                    K_AnnSetText(stamp, "PAID\rtwice", 0);
                    K_AnnSetFontSize(stamp, 12, 0);
                    K_AnnSetForeColor(stamp, RGB(200, 0, 0), 0);
                } else {
                    ASSERT_EQ(K_AnnSetBitmap(stamp, &picture.bitmap, 0), SUCCESS);
                }
                const double x = 85 + 160 * (at % 6), y = 80 + 145 * (at / 6);
                placeTurned({x, y}, 70, 50, degrees, lean, text && degrees == 120);
                ++at;
            }
        }
    }
    const AnnRect page{0, 0, 980, 1020};
    K_AnnSetRect(tree.root, &page);
    Canvas canvas(980, 1020);
    canvas.draw(tree.root);
    expectGolden(canvas.bitmap, "stamps_that_lean");
}

} // namespace
