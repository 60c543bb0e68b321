// Turned painting against exact arithmetic pixel by pixel, the vector loops against the plain ones, and the pasting of parts.
// The loops aren't exported, so they are compiled into this file.
#include "kernel/turned_spans.cpp"
#include "raster_fixture.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>

using namespace test;

namespace {

constexpr double pi = 3.14159265358979323846;
constexpr DWORD sourceXorInverted = 0x00990066;

TEST(TurnedSpans, VectorsSampleAndWriteWhatThePlainLoopsDo) {
    if (!kb::haveVectors()) GTEST_SKIP() << "no 256-bit vectors here";
    Random random(5);
    for (int round = 0; round < 20000; ++round) {
        SCOPED_TRACE(round);
        const int bytes = random.below(2) ? 3 : 4;
        const auto width = static_cast<int32_t>(1 + random.below(70)), height = static_cast<int32_t>(1 + random.below(40));
        // As long as the pixels and no longer: a read behind them shows under the sanitizer.
        const ptrdiff_t stride = (width * bytes + 3) / 4 * 4;
        const auto size = static_cast<size_t>(stride * (height - 1) + width * bytes);
        const std::unique_ptr<uint8_t[]> pixels(new uint8_t[size]);
        for (size_t i = 0; i < size; ++i) pixels[i] = static_cast<uint8_t>(random());
        const kb::SampleSource source{pixels.get(), stride, width, height, bytes};
        const auto position = [&](int32_t side) {
            return (int64_t{random.below(static_cast<uint32_t>(side) + 4)} - 2) * 65536 + random.below(65536);
        };
        const auto step = [&] {
            return static_cast<int64_t>(random.below(1u << (10 + round % 20))) * (random.below(2) ? 1 : -1);
        };
        const kb::SampleLine line{position(width), position(height), step(), round % 7 ? step() : 0};
        const int count = 1 + static_cast<int>(random.below(kb::maxRun));
        std::array<uint32_t, kb::maxRun> plain{}, vectors{};
        kb::sampleRun(source, line, count, plain.data(), false);
        kb::sampleRun(source, line, count, vectors.data(), true);
        ASSERT_EQ(plain, vectors);

        const auto mix = static_cast<kb::Mix>(random.below(4));
        std::array<uint8_t, kb::maxRun * 4> targetPlain;
        for (uint8_t& b : targetPlain) b = static_cast<uint8_t>(random());
        auto targetVectors = targetPlain;
        kb::writeRun(plain.data(), count, targetPlain.data(), bytes, mix, false);
        kb::writeRun(plain.data(), count, targetVectors.data(), bytes, mix, true);
        ASSERT_EQ(targetPlain, targetVectors);
    }
}

struct Corners {
    double p[6]; // top left, bottom left, bottom right
};

Corners turnedBox(double x, double y, double w, double h, double degrees, double shear = 0, bool mirrored = false) {
    const double c = std::cos(degrees * pi / 180), s = std::sin(degrees * pi / 180);
    Corners out{};
    const double local[3][2] = {{-w / 2 + shear, -h / 2}, {-w / 2, h / 2}, {w / 2, h / 2}};
    for (int i = 0; i < 3; ++i) {
        const double lx = mirrored ? -local[i][0] : local[i][0], ly = local[i][1];
        out.p[2 * i] = x + c * lx - s * ly;
        out.p[2 * i + 1] = y + s * lx + c * ly;
    }
    return out;
}

// An upright image of 24 or 32 bits with a context on it, filled with one value.
struct Target {
    Target(int width, int height, int bits, uint8_t fill) {
        EXPECT_EQ(K_CreateBitmap(&image.b, 1, width, height, bits, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
        for (int y = 0; y < height; ++y)
            std::memset(K_WritableBitmapRow(&image.b, y), fill, static_cast<size_t>(width * image.b.BitsPerPixel / 8));
        dc = K_BitmapDC(&image.b);
    }
    ~Target() { K_ReleaseBitmapDC(dc); }
    uint32_t at(int x, int y) const { return rawAt(image.b, y, x); }
    Image image;
    HDC dc = nullptr;
};

// Where a target pixel's middle lies on the image as viewed.
std::pair<double, double> placeOf(const Corners& c, int width, int height, double x, double y) {
    const double ax = c.p[4] - c.p[2], ay = c.p[5] - c.p[3], bx = c.p[2] - c.p[0], by = c.p[3] - c.p[1];
    const double det = ax * by - ay * bx, dx = x - c.p[0], dy = y - c.p[1];
    return {(dx * by - dy * bx) / det * width, (ax * dy - ay * dx) / det * height};
}

TEST(Turned, MixesTheFourNeighboursInEveryDepthAndPerspective) {
    for (const int bits : allDepths) {
        for (int perspective = 1; perspective <= 8; ++perspective) {
            const int order = bits >= 24 && perspective % 2 ? KB_ORDER_RGB : orderFor(bits);
            const bool mirrored = perspective % 3 == 0;
            SCOPED_TRACE(::testing::Message() << bits << " bits, perspective " << perspective << ", order " << order);
            Image image, upright;
            makeNoise(image, 13, 9, bits, order, perspective, static_cast<uint32_t>(bits + perspective));
            ASSERT_EQ(K_CopyBitmap(&upright.b, &image.b), SUCCESS);
            ASSERT_EQ(K_NormalizeBitmap(&upright.b), SUCCESS);
            const int width = upright.b.Width, height = upright.b.Height;
            const auto color = [&](int x, int y, int channel) {
                const COLORREF c = K_GetBitmapPixel(&upright.b, std::clamp(y, 0, height - 1), std::clamp(x, 0, width - 1));
                return double(c >> 8 * channel & 255);
            };
            const Corners corners = turnedBox(50.3, 47.8, 70, 40, 25.0 * perspective, 11, mirrored);
            Target target(100, 100, perspective % 2 ? 24 : 32, 0x5A);
            ASSERT_EQ(K_PaintBitmapTurned(target.dc, &image.b, corners.p, nullptr, SRCCOPY, 0), SUCCESS);
            double worst = 0;
            for (int y = 0; y < 100; ++y) {
                for (int x = 0; x < 100; ++x) {
                    const auto [u, v] = placeOf(corners, width, height, x + 0.5, y + 0.5);
                    const double margin = std::min({u, v, width - u, height - v});
                    if (std::abs(margin) < 1e-6) continue;
                    const uint32_t made = target.at(x, y);
                    if (margin < 0) {
                        ASSERT_EQ(made & 0xFFFFFF, 0x5A5A5Au) << x << ", " << y;
                        continue;
                    }
                    const double left = std::floor(u - 0.5), top = std::floor(v - 0.5), fx = u - 0.5 - left,
                                 fy = v - 0.5 - top;
                    for (int channel = 0; channel < 3; ++channel) { // COLORREF has red low, the pixel has it high
                        const auto at = [&](int dx, int dy) {
                            return color(static_cast<int>(left) + dx, static_cast<int>(top) + dy, channel);
                        };
                        const double expected =
                            (at(0, 0) * (1 - fx) + at(1, 0) * fx) * (1 - fy) + (at(0, 1) * (1 - fx) + at(1, 1) * fx) * fy;
                        worst = std::max(worst, std::abs(expected - double(made >> (16 - 8 * channel) & 255)));
                    }
                }
            }
            EXPECT_LE(worst, 3.0); // weights of 1/256 on steps of up to 255, twice
        }
    }
}

TEST(Turned, RasterOperationsClipAndMapMode) {
    Image image;
    makeNoise(image, 40, 30, 24, KB_ORDER_BGR, 1, 3);
    const Corners corners = turnedBox(60, 60, 80, 50, 33);
    for (const int bits : {24, 32}) {
        Target copy(120, 120, bits, 0xC3);
        ASSERT_EQ(K_PaintBitmapTurned(copy.dc, &image.b, corners.p, nullptr, SRCCOPY, 0), SUCCESS);
        Target marked(120, 120, bits, 0); // which pixels are painted
        ASSERT_EQ(K_PaintBitmapTurned(marked.dc, &image.b, corners.p, nullptr, sourceXorInverted, 0), SUCCESS);
        const uint32_t used = bits == 24 ? 0xFFFFFFu : ~0u, ground = 0xC3C3C3C3u & used;
        struct {
            DWORD rop;
            uint32_t (*made)(uint32_t s, uint32_t d);
        } rows[] = {{SRCAND, [](uint32_t s, uint32_t d) { return s & d; }},
                    {SRCINVERT, [](uint32_t s, uint32_t d) { return s ^ d; }},
                    {sourceXorInverted, [](uint32_t s, uint32_t d) { return ~(s ^ d); }}};
        for (const auto& row : rows) {
            Target target(120, 120, bits, 0xC3);
            const HRGN clip = CreateEllipticRgn(20, 20, 90, 80);
            SelectClipRgn(target.dc, clip);
            const RECT narrower{30, 0, 120, 120};
            ASSERT_EQ(K_PaintBitmapTurned(target.dc, &image.b, corners.p, &narrower, row.rop, 0), SUCCESS);
            int painted = 0;
            for (int y = 0; y < 120; ++y) {
                for (int x = 0; x < 120; ++x) {
                    const bool isIn = x >= 30 && PtInRegion(clip, x, y) && marked.at(x, y) != 0;
                    const uint32_t source = copy.at(x, y);
                    ASSERT_EQ(target.at(x, y), isIn ? row.made(source, ground) & used : ground) << x << ", " << y;
                    painted += isIn;
                }
            }
            EXPECT_GT(painted, 1500);
            RECT box;
            GetClipBox(target.dc, &box);
            EXPECT_EQ(box.left, 20); // the caller's clip is as it was
            DeleteObject(clip);
        }
        // The same place told in units of a third of a pixel, counted from elsewhere.
        Target scaled(120, 120, bits, 0xC3);
        SetMapMode(scaled.dc, MM_ANISOTROPIC);
        SetWindowOrgEx(scaled.dc, -30, 60, nullptr);
        SetWindowExtEx(scaled.dc, 300, 300, nullptr);
        SetViewportExtEx(scaled.dc, 100, 100, nullptr);
        Corners logical = corners;
        for (int i = 0; i < 6; ++i) logical.p[i] = corners.p[i] * 3 + (i % 2 ? 60 : -30);
        ASSERT_EQ(K_PaintBitmapTurned(scaled.dc, &image.b, logical.p, nullptr, SRCCOPY, 0), SUCCESS);
        int others = 0;
        for (int y = 0; y < 120; ++y)
            for (int x = 0; x < 120; ++x) others += scaled.at(x, y) != copy.at(x, y);
        EXPECT_LE(others, 4); // rounding of the doubles
    }
}

TEST(Turned, OnlyWhatLiesInTheRegion) {
    Image image;
    ASSERT_EQ(K_CreateBitmap(&image.b, 1, 40, 40, 32, KB_ORDER_BGR, nullptr, KB_VIEW_RIGHT_TOP, 0, 0), SUCCESS);
    for (int y = 0; y < 40; ++y) {
        uint8_t* row = K_WritableBitmapRow(&image.b, y);
        for (int x = 0; x < 40; ++x) row[4 * x + 2] = y < 20 && x < 20 ? 255 : 9; // red where stored rows and columns begin
    }
    ASSERT_EQ(K_SetBitmapRgnColor(&image.b, RGB(255, 0, 0), 6), SUCCESS);
    const Corners corners = turnedBox(50, 50, 40, 40, 0.0); // at its own size
    Target target(100, 100, 24, 0x77);
    ASSERT_EQ(K_PaintBitmapTurned(target.dc, &image.b, corners.p, nullptr, SRCCOPY, 1), SUCCESS);
    for (int y = 0; y < 100; ++y) {
        for (int x = 0; x < 100; ++x) {
            const bool inside = x >= 30 && x < 70 && y >= 30 && y < 70;
            const bool transparent = x >= 50 && y < 50; // stored top left is seen top right
            ASSERT_EQ(target.at(x, y), inside && !transparent ? 0x090000u : 0x777777u) << x << ", " << y;
        }
    }
}

TEST(Turned, CodesAndCoordinatesOutOfAllBounds) {
    Image image, empty, one;
    makeNoise(image, 20, 10, 24, KB_ORDER_BGR, 1, 1);
    const Corners corners = turnedBox(20, 20, 20, 20, 30);
    Target target(40, 40, 24, 1);
    EXPECT_EQ(K_PaintBitmapTurned(nullptr, &image.b, corners.p, nullptr, SRCCOPY, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_PaintBitmapTurned(target.dc, nullptr, corners.p, nullptr, SRCCOPY, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_PaintBitmapTurned(target.dc, &image.b, nullptr, nullptr, SRCCOPY, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_PaintBitmapTurned(target.dc, &empty.b, corners.p, nullptr, SRCCOPY, 0), ERROR_INV_BITMAP);
    EXPECT_EQ(K_PaintBitmapTurned(target.dc, &image.b, corners.p, nullptr, SRCPAINT, 0), ERROR_FEATURE_NOT_SUPPORTED);
    const HDC screen = GetDC(nullptr);
    EXPECT_EQ(K_PaintBitmapTurned(screen, &image.b, corners.p, nullptr, SRCCOPY, 0), ERROR_FEATURE_NOT_SUPPORTED);
    ReleaseDC(nullptr, screen);
    ASSERT_EQ(K_CreateBitmap(&one.b, 1, 30, 30, 1, KB_ORDER_BGR, nullptr, 1, 0, 0), SUCCESS);
    const HDC oneBit = K_BitmapDC(&one.b);
    EXPECT_EQ(K_PaintBitmapTurned(oneBit, &image.b, corners.p, nullptr, SRCCOPY, 0), ERROR_FEATURE_NOT_SUPPORTED);
    K_ReleaseBitmapDC(oneBit);

    const double infinite = std::numeric_limits<double>::infinity();
    for (const double bad : {infinite, -infinite, std::nan("")}) {
        Corners c = corners;
        c.p[3] = bad;
        EXPECT_EQ(K_PaintBitmapTurned(target.dc, &image.b, c.p, nullptr, SRCCOPY, 0), ERROR_INV_PARAMETER);
    }
    const Corners flat{{5, 5, 15, 15, 35, 35}};
    EXPECT_EQ(K_PaintBitmapTurned(target.dc, &image.b, flat.p, nullptr, SRCCOPY, 0), SUCCESS);
    EXPECT_EQ(target.at(20, 20), 0x010101u);
    // Far too large, far too small, far away: the result is right where doubles still tell, and it always ends.
    for (const double size : {1e-300, 1e-12, 1e5, 1e9, 1e15, 1e150, 1e300}) {
        for (const double at : {20.0, -1e9, 1e18}) {
            const Corners c = turnedBox(at, 20, size, size, 30);
            EXPECT_EQ(K_PaintBitmapTurned(target.dc, &image.b, c.p, nullptr, SRCCOPY, 0), SUCCESS);
        }
    }
    // One pixel of the image over all that can be seen.
    const Corners huge = turnedBox(20, 20, 1e9, 1e9, 30);
    ASSERT_EQ(K_PaintBitmapTurned(target.dc, &image.b, huge.p, nullptr, SRCCOPY, 0), SUCCESS);
    for (const auto& [x, y] : {std::pair{0, 0}, {39, 0}, {0, 39}, {39, 39}}) EXPECT_EQ(target.at(x, y), target.at(20, 20));
}

TEST(Paste, PutsBackWhatWasCopiedAtEveryDepth) {
    Random random(11);
    for (const int bits : allDepths) {
        for (int round = 0; round < 60; ++round) {
            SCOPED_TRACE(::testing::Message() << bits << " bits, round " << round);
            Image image, part, other;
            makeNoise(image, 37, 23, bits, orderFor(bits), 1, static_cast<uint32_t>(round + 1));
            makeNoise(other, 37, 23, bits, orderFor(bits), 1, static_cast<uint32_t>(round + 1000));
            const int x = static_cast<int>(random.below(37)), y = static_cast<int>(random.below(23)),
                      w = 1 + static_cast<int>(random.below(20)), h = 1 + static_cast<int>(random.below(12)),
                      toX = static_cast<int>(random.below(60)) - 20, toY = static_cast<int>(random.below(40)) - 15;
            ASSERT_EQ(K_CopyBitmapRect(&part.b, &image.b, x, y, w, h), SUCCESS);
            auto expected = raws(other.b);
            for (int row = 0; row < part.b.Height; ++row) {
                for (int column = 0; column < part.b.Width; ++column) {
                    ASSERT_EQ(rawAt(part.b, row, column), rawAt(image.b, y + row, x + column));
                    const int c = toX + column, r = toY + row;
                    if (c >= 0 && c < 37 && r >= 0 && r < 23)
                        expected[static_cast<size_t>(r * 37 + c)] = rawAt(part.b, row, column);
                }
            }
            Image shared; // has its own pixels afterwards
            ASSERT_EQ(K_CopyBitmap(&shared.b, &other.b), SUCCESS);
            const auto before = raws(shared.b);
            EXPECT_EQ(K_PasteBitmapRect(&other.b, &part.b, toX, toY), SUCCESS);
            EXPECT_EQ(raws(other.b), expected);
            EXPECT_EQ(raws(shared.b), before);
        }
    }
    Image grey, colored, empty;
    makeNoise(grey, 8, 8, 8, KB_ORDER_BGR, 1, 1);
    RGBQUAD palette[256] = {};
    palette[7] = {1, 2, 3, 0};
    makeNoise(colored, 8, 8, 8, KB_ORDER_BGR, 1, 1, palette);
    EXPECT_EQ(K_PasteBitmapRect(&grey.b, &colored.b, 0, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_PasteBitmapRect(&grey.b, &grey.b, 0, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_PasteBitmapRect(&grey.b, &empty.b, 0, 0), ERROR_INV_BITMAP);
    EXPECT_EQ(K_PasteBitmapRect(nullptr, &grey.b, 0, 0), ERROR_INV_PARAMETER);
    Image far;
    makeNoise(far, 8, 8, 8, KB_ORDER_BGR, 1, 2);
    const auto before = raws(far.b);
    EXPECT_EQ(K_PasteBitmapRect(&far.b, &grey.b, INT32_MAX, INT32_MIN), SUCCESS);
    EXPECT_EQ(raws(far.b), before);
}

} // namespace
