// Round shapes and what is drawn along edges, against plain geometry: points well inside of a figure are filled, points
// well outside are untouched, outlines lie on the curve; borders, frames and inverted rectangles pixel by pixel.
#include "platform/gdi.h"
#include "platform/sys.h"

#include <cmath>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <numbers>
#include <vector>

namespace {

constexpr int side = 80;
constexpr uint32_t paper = 0xFFFFFF, ink = 0x0000FF, filling = 0x00FF00;

struct Sheet {
    std::vector<uint32_t> pixels = std::vector<uint32_t>(side * side, paper);
    HDC dc = KbCreateSurfaceDC(pixels.data(), side, side, side * 4, 32, nullptr, 0);
    explicit Sheet(int penWidth = 1, int penStyle = PS_SOLID) {
        const HPEN pen = CreatePen(penStyle, penWidth, RGB(0, 0, 255));
        const HBRUSH brush = CreateSolidBrush(RGB(0, 255, 0));
        SelectObject(dc, pen), SelectObject(dc, brush);
        DeleteObject(pen), DeleteObject(brush);
    }
    ~Sheet() { DeleteDC(dc); }
    uint32_t at(int x, int y) const { return pixels[static_cast<size_t>(y * side + x)]; }
};

// A figure as a signed distance: below 0 inside; `curve` is the distance from the outline that is drawn.
struct Place {
    double inside, curve;
};

// Compares every pixel but those within `doubt` of a border that rounding may move.
void compare(const Sheet& s, double half, bool filled, const std::function<Place(double, double)>& placeOf) {
    constexpr double doubt = 1.1;
    int wrong = 0, sure = 0;
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            const Place p = placeOf(x, y);
            uint32_t want;
            if (p.curve > half + doubt)
                want = filled && p.inside < 0 ? filling : paper;
            else if (p.curve < half - doubt)
                want = ink;
            else
                continue;
            ++sure;
            if (s.at(x, y) == want) continue;
            if (++wrong <= 3) ADD_FAILURE() << x << ',' << y << " is " << std::hex << s.at(x, y) << ", not " << want;
        }
    EXPECT_GT(sure, side * side / 2);
    EXPECT_EQ(wrong, 0);
}

// Distance of a point from the polyline through the ellipse's points between two parameters.
double fromPolyline(const std::vector<std::pair<double, double>>& points, bool closed, double x, double y) {
    double best = 1e9;
    for (size_t i = 0; i + (closed ? 0 : 1) < points.size(); ++i) {
        const auto [ax, ay] = points[i];
        const auto [bx, by] = points[(i + 1) % points.size()];
        const double dx = bx - ax, dy = by - ay, length = dx * dx + dy * dy;
        const double t = length > 0 ? std::clamp(((x - ax) * dx + (y - ay) * dy) / length, 0.0, 1.0) : 0;
        best = std::min(best, std::hypot(x - ax - t * dx, y - ay - t * dy));
    }
    return best;
}

enum class Kind { arc, chord, pie };

TEST(GdiFigures, ArcsChordsAndPiesFollowTheirRays) {
    constexpr double turn = 2 * std::numbers::pi;
    const RECT box{10, 16, 70, 61};
    const double cx = (box.left + box.right - 1) / 2.0, cy = (box.top + box.bottom - 1) / 2.0,
                 a = (box.right - 1 - box.left) / 2.0, b = (box.bottom - 1 - box.top) / 2.0;
    const struct {
        const char* name;
        POINT from, to; // off the middle; the ends of rays
    } rows[] = {{"upper right quarter", {100, 0}, {0, -100}},
                {"three quarters", {0, -100}, {100, 0}},
                {"upper half", {100, 0}, {-100, 0}},
                {"lower half", {-100, 0}, {100, 0}},
                {"a slice", {40, -10}, {30, -30}},
                {"all but a slice", {30, -30}, {40, -10}},
                {"rays that meet", {20, 20}, {20, 20}}};
    for (const Kind kind : {Kind::arc, Kind::chord, Kind::pie})
        for (const int width : {1, 5})
            for (const auto& row : rows) {
                SCOPED_TRACE(testing::Message() << row.name << " kind " << static_cast<int>(kind) << " width " << width);
                // The middle lies between pixels across, so the rays' ends are half a pixel off at most.
                const int mx = static_cast<int>(cx), my = static_cast<int>(cy);
                Sheet s(width);
                const auto draw = kind == Kind::arc ? Arc : kind == Kind::chord ? Chord : Pie;
                ASSERT_TRUE(draw(s.dc, box.left, box.top, box.right, box.bottom, mx + row.from.x, my + row.from.y,
                                 mx + row.to.x, my + row.to.y));
                // Angles rise counter-clockwise as seen, on the circle that the ellipse comes from.
                const auto angleOf = [&](POINT p) { return std::atan2(-(my + p.y - cy) / b, (mx + p.x - cx) / a); };
                const double first = angleOf(row.from);
                double sweep = angleOf(row.to) - first;
                while (sweep <= 1e-9) sweep += turn;
                std::vector<std::pair<double, double>> outline;
                for (int i = 0; i <= 400; ++i) {
                    const double t = first + sweep * i / 400;
                    outline.emplace_back(cx + a * std::cos(t), cy - b * std::sin(t));
                }
                if (kind == Kind::pie) outline.emplace_back(cx, cy);
                const bool closed = kind != Kind::arc;
                compare(s, width / 2.0, closed, [&](double x, double y) -> Place {
                    bool inside = std::hypot((x - cx) / a, (y - cy) / b) < 1;
                    if (kind == Kind::pie) {
                        double t = std::atan2(-(y - cy) / b, (x - cx) / a) - first;
                        while (t < 0) t += turn;
                        inside = inside && t < sweep;
                    } else { // the side of the line through both ends that the arc lies on
                        const auto [x0, y0] = outline.front();
                        const auto [x1, y1] = outline.back();
                        const double across = (x1 - x0) * (y - y0) - (y1 - y0) * (x - x0);
                        if (std::hypot(x1 - x0, y1 - y0) > 1e-6) inside = inside && across > 0;
                    }
                    return {inside ? -1.0 : 1.0, fromPolyline(outline, closed, x, y)};
                });
            }
}

// Distance from a rectangle with elliptic corners, sampled along its border.
TEST(GdiFigures, RoundedRectanglesAndEllipses) {
    const struct {
        const char* name;
        RECT box;
        int cornerWidth, cornerHeight;
    } rows[] = {{"round corners", {5, 8, 71, 60}, 21, 21},
                {"flat corners", {5, 8, 71, 60}, 41, 11},
                {"corners as large as the box", {9, 9, 60, 50}, 51, 41},
                {"corners larger than the box", {9, 9, 60, 50}, 500, 500}};
    for (const int width : {1, 6})
        for (const auto& row : rows) {
            SCOPED_TRACE(testing::Message() << row.name << " width " << width);
            Sheet s(width);
            const RECT& r = row.box;
            ASSERT_TRUE(RoundRect(s.dc, r.left, r.top, r.right, r.bottom, row.cornerWidth, row.cornerHeight));
            const double w = r.right - r.left, h = r.bottom - r.top;
            const double a = (std::min<double>(row.cornerWidth, w) - 1) / 2,
                         b = (std::min<double>(row.cornerHeight, h) - 1) / 2;
            const double x0 = r.left + a, x1 = r.right - 1 - a, y0 = r.top + b, y1 = r.bottom - 1 - b;
            std::vector<std::pair<double, double>> outline;
            for (int quarter = 0; quarter < 4; ++quarter)
                for (int i = 0; i <= 60; ++i) {
                    const double t = (quarter + i / 60.0) * std::numbers::pi / 2;
                    outline.emplace_back((quarter == 0 || quarter == 3 ? x1 : x0) + a * std::cos(t),
                                         (quarter < 2 ? y1 : y0) + b * std::sin(t));
                }
            compare(s, width / 2.0, true, [&](double x, double y) -> Place {
                const double dx = std::max({x0 - x, x - x1, 0.0}), dy = std::max({y0 - y, y - y1, 0.0});
                bool inside = x > r.left && x < r.right - 1 && y > r.top && y < r.bottom - 1;
                if (dx > 0 && dy > 0) inside = inside && std::hypot(dx / a, dy / b) < 1;
                return {inside ? -1.0 : 1.0, fromPolyline(outline, true, x, y)};
            });
            // Both halves mirror each other.
            for (int y = 0; y < side; ++y)
                for (int x = 0; x < side; ++x) {
                    const int mx = r.left + r.right - 1 - x, my = r.top + r.bottom - 1 - y;
                    if (width > 1 || mx < 0 || mx >= side || my < 0 || my >= side) continue;
                    ASSERT_TRUE(s.at(x, y) == s.at(mx, y) && s.at(x, y) == s.at(x, my)) << x << ',' << y;
                }
        }
}

TEST(GdiFigures, InsideFramePensStayInside) {
    using Draw = BOOL (*)(HDC, int, int, int, int);
    for (const Draw draw : {Draw{Rectangle}, Draw{Ellipse}})
        for (const int width : {2, 3, 8, 9}) {
            Sheet inside(width, PS_INSIDEFRAME), solid(width);
            draw(inside.dc, 10, 12, 61, 50), draw(solid.dc, 10, 12, 61, 50);
            RECT box{side, side, 0, 0}, other = box;
            for (int y = 0; y < side; ++y)
                for (int x = 0; x < side; ++x) {
                    const auto grow = [&](RECT& r) {
                        r = {std::min(r.left, x), std::min(r.top, y), std::max(r.right, x + 1), std::max(r.bottom, y + 1)};
                    };
                    if (inside.at(x, y) != paper) grow(box);
                    if (solid.at(x, y) != paper) grow(other);
                }
            EXPECT_TRUE(box.left == 10 && box.top == 12 && box.right == 61 && box.bottom == 50)
                << width << ": " << box.left << ' ' << box.top << ' ' << box.right << ' ' << box.bottom;
            EXPECT_TRUE(other.left < 10 && other.right > 61 - (width == 2)) << "a solid pen goes beyond";
        }
}

TEST(GdiFigures, FramesAndInvertedRectangles) {
    const HBRUSH blue = CreateSolidBrush(RGB(0, 0, 255));
    for (const RECT r :
         {RECT{10, 10, 30, 25}, RECT{5, 5, 6, 20}, RECT{5, 5, 20, 7}, RECT{-5, 70, 90, 90}, RECT{20, 20, 10, 30}}) {
        SCOPED_TRACE(testing::Message() << r.left << ' ' << r.top << ' ' << r.right << ' ' << r.bottom);
        Sheet framed, inverted;
        SetROP2(framed.dc, R2_NOP); // of no account here
        EXPECT_NE(FrameRect(framed.dc, &r, blue), 0);
        EXPECT_TRUE(InvertRect(inverted.dc, &r));
        for (int y = 0; y < side; ++y)
            for (int x = 0; x < side; ++x) {
                const bool in = x >= r.left && x < r.right && y >= r.top && y < r.bottom;
                const bool edge = x == r.left || x == r.right - 1 || y == r.top || y == r.bottom - 1;
                ASSERT_EQ(framed.at(x, y), in && edge ? ink : paper) << x << ',' << y;
                ASSERT_EQ(inverted.at(x, y) & 0xFFFFFF, in ? 0u : paper) << x << ',' << y;
            }
    }
    // A region's frame: what of it lies within that many pixels of its border, sideways or up and down.
    const HRGN region = CreateRectRgn(10, 10, 60, 50), hole = CreateRectRgn(30, 25, 45, 35);
    CombineRgn(region, region, hole, RGN_DIFF);
    Sheet s;
    EXPECT_TRUE(FrameRgn(s.dc, region, blue, 3, 2));
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            bool near = false;
            for (int d = -3; d <= 3; ++d) near = near || !PtInRegion(region, x + d, y);
            for (int d = -2; d <= 2; ++d) near = near || !PtInRegion(region, x, y + d);
            const bool in = PtInRegion(region, x, y);
            // At an inner corner the two directions may be taken together.
            const bool corner = in && !near && x >= 27 && x < 48 && y >= 23 && y < 37;
            if (corner) continue;
            ASSERT_EQ(s.at(x, y), in && near ? ink : paper) << x << ',' << y;
        }
    DeleteObject(region), DeleteObject(hole), DeleteObject(blue);
}

TEST(GdiFigures, NegativeExtentsMirrorLines) {
    Sheet plain, mirrored;
    const POINT points[] = {{5, 5}, {40, 9}, {60, 50}, {8, 44}};
    SetMapMode(mirrored.dc, MM_ANISOTROPIC);
    SetWindowExtEx(mirrored.dc, 1, 1, nullptr);
    SetViewportExtEx(mirrored.dc, -1, -1, nullptr);
    SetViewportOrgEx(mirrored.dc, side - 1, side - 1, nullptr);
    POINT turned[4];
    for (int i = 0; i < 4; ++i) turned[i] = {side - 1 - points[i].x, side - 1 - points[i].y};
    ASSERT_TRUE(Polyline(plain.dc, points, 4));
    ASSERT_TRUE(Polyline(mirrored.dc, turned, 4));
    EXPECT_EQ(plain.pixels, mirrored.pixels);
    EXPECT_FALSE(Polyline(plain.dc, points, 1));
    EXPECT_FALSE(Polyline(plain.dc, nullptr, 3));
}

// Eight by eight cells, mono in the context's colours and in colour, wherever the origin lies.
TEST(GdiFigures, PatternBrushesRepeatFromTheOrigin) {
    const uint16_t rows[8] = {0x01, 0x82, 0x44, 0xA8, 0x50, 0xF0, 0x03, 0xFF};
    std::vector<uint32_t> cells(64);
    for (size_t i = 0; i < 64; ++i) cells[i] = static_cast<uint32_t>(i * 0x030507 & 0xFFFFFF);
    for (const bool mono : {true, false})
        for (const POINT origin : {POINT{0, 0}, POINT{3, 5}, POINT{-3, 13}}) {
            SCOPED_TRACE(testing::Message() << "mono " << mono << " from " << origin.x << ',' << origin.y);
            const HBITMAP bitmap =
                CreateBitmap(8, 8, 1, mono ? 1 : 32, mono ? static_cast<const void*>(rows) : cells.data());
            const HBRUSH brush = CreatePatternBrush(bitmap);
            DeleteObject(bitmap);
            ASSERT_NE(brush, nullptr);
            Sheet s;
            SetTextColor(s.dc, RGB(1, 2, 3)), SetBkColor(s.dc, RGB(9, 8, 7));
            SetBrushOrgEx(s.dc, origin.x, origin.y, nullptr);
            const HGDIOBJ old = SelectObject(s.dc, brush);
            ASSERT_TRUE(PatBlt(s.dc, 7, 9, 30, 25, PATCOPY));
            SelectObject(s.dc, old);
            DeleteObject(brush);
            for (int y = 9; y < 34; ++y)
                for (int x = 7; x < 37; ++x) {
                    const int u = (x - origin.x + 800) % 8, v = (y - origin.y + 800) % 8;
                    // Rows of words: the first byte in memory is the left one.
                    const bool bit = rows[v] >> (7 - u) & 1;
                    const uint32_t want = !mono ? cells[static_cast<size_t>(v * 8 + u)] : bit ? 0x090807 : 0x010203;
                    ASSERT_EQ(s.at(x, y) & 0xFFFFFF, want) << x << ',' << y;
                }
        }
}

// Two by two pixels become one.
TEST(GdiFigures, ShrinkingModesMergePixels) {
    const struct {
        int mode;
        uint32_t color; // of the four below
        int bit;        // of 1 0 1 1
    } rows[] = {{BLACKONWHITE, 0, 0}, {WHITEONBLACK, 0xFFFF30, 1}, {COLORONCOLOR, 0, -1}, {HALFTONE, 0, -1}};
    const uint32_t four[4] = {0xFF0010, 0x00FF20, 0xFF0030, 0x000000};
    for (const auto& row : rows)
        for (const int bits : {24, 32}) {
            SCOPED_TRACE(testing::Message() << "mode " << row.mode << " bits " << bits);
            const int unit = bits / 8;
            uint8_t from[2 * 8] = {}, to[8] = {};
            for (int i = 0; i < 4; ++i)
                for (int k = 0; k < 3; ++k) from[i / 2 * 8 + i % 2 * unit + k] = static_cast<uint8_t>(four[i] >> 8 * k);
            const HDC source = KbCreateSurfaceDC(from, 2, 2, 8, bits, nullptr, 0),
                      target = KbCreateSurfaceDC(to, 1, 1, 8, bits, nullptr, 0);
            EXPECT_NE(SetStretchBltMode(target, row.mode), 0);
            ASSERT_TRUE(StretchBlt(target, 0, 0, 1, 1, source, 0, 0, 2, 2, SRCCOPY));
            const uint32_t got = to[0] | static_cast<uint32_t>(to[1]) << 8 | static_cast<uint32_t>(to[2]) << 16;
            if (row.mode == HALFTONE) {
                for (int k = 0; k < 3; ++k) {
                    uint32_t sum = 2;
                    for (const uint32_t c : four) sum += c >> 8 * k & 0xFF;
                    EXPECT_EQ(got >> 8 * k & 0xFF, sum / 4) << "the mean, rounded";
                }
            } else if (row.mode == COLORONCOLOR) {
                EXPECT_TRUE(got == four[0] || got == four[1] || got == four[2] || got == four[3]) << std::hex << got;
            } else {
                EXPECT_EQ(got, row.color) << std::hex << got;
            }
            DeleteDC(source), DeleteDC(target);
        }
    for (const auto& row : rows) {
        if (row.bit < 0) continue;
        uint8_t from[2] = {0x80, 0xC0}, to[1] = {0x55};
        const HDC source = KbCreateSurfaceDC(from, 2, 2, 1, 1, nullptr, 0),
                  target = KbCreateSurfaceDC(to, 1, 1, 1, 1, nullptr, 0);
        SetStretchBltMode(target, row.mode);
        ASSERT_TRUE(StretchBlt(target, 0, 0, 1, 1, source, 0, 0, 2, 2, SRCCOPY));
        EXPECT_EQ(to[0] >> 7, row.bit) << row.mode;
        EXPECT_EQ(to[0] & 0x7F, 0x55) << "the bits beside it stay";
        DeleteDC(source), DeleteDC(target);
    }
    Sheet s;
    EXPECT_EQ(SetStretchBltMode(s.dc, 5), 0);
    EXPECT_EQ(SetStretchBltMode(s.dc, 0), 0);
    EXPECT_EQ(GetStretchBltMode(s.dc), BLACKONWHITE);
}

} // namespace
