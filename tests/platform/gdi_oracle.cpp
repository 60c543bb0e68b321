// Random figures at every depth, raster operation, pen, brush and clip, compared pixel by pixel with the slow model. Each
// figure is drawn on its own picture of noise, so a failure shows the one figure that fails. KB_SEED repeats a run.
#include "platform/gdi.h"
#include "tests/oracle/pixel_model.h"

#include <cmath>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <sstream>

namespace {

using oracle::Picture;
constexpr int width = 37, height = 29;

struct Canvas {
    Picture model;
    std::vector<uint8_t> bytes;
    int stride;
    HDC dc;

    Canvas(int bits, std::mt19937& random) : model{width, height, bits, {}, {}}, stride((width * bits + 31) / 32 * 4 + 4) {
        std::vector<RGBQUAD> quads;
        if (bits <= 8) {
            for (unsigned i = 0; i < 1u << bits; ++i) {
                const uint32_t rgb = bits == 1 ? i * 0xFFFFFF : random() & 0xFFFFFF;
                model.palette.push_back(rgb);
                quads.push_back({static_cast<BYTE>(rgb), static_cast<BYTE>(rgb >> 8), static_cast<BYTE>(rgb >> 16), 0});
            }
        }
        bytes.resize(static_cast<size_t>(stride * height));
        for (auto& b : bytes) b = static_cast<uint8_t>(random());
        // Every other picture has its last row first in memory.
        const bool upsideDown = random() & 1;
        dc = KbCreateSurfaceDC(upsideDown ? bytes.data() + stride * (height - 1) : bytes.data(), width, height,
                               upsideDown ? -stride : stride, bits, quads.empty() ? nullptr : quads.data(),
                               static_cast<UINT>(quads.size()));
        flipped = upsideDown;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) model.pixels.push_back(read(x, y));
    }
    ~Canvas() { DeleteDC(dc); }
    uint32_t read(int x, int y) const {
        const uint8_t* row = bytes.data() + stride * (flipped ? height - 1 - y : y);
        if (model.bits == 1) return row[x / 8] >> (7 - x % 8) & 1u;
        uint32_t v = 0;
        for (int i = 0; i < model.bits / 8; ++i) v |= static_cast<uint32_t>(row[x * model.bits / 8 + i]) << 8 * i;
        return v;
    }
    bool flipped = false;
};

struct Scene {
    std::ostringstream text;
    int penStyle, penWidth, rop, bkMode, fillMode, brush; // brush: -1 hollow, 0 solid, 1.. hatch + 1
    COLORREF pen, fill, back;
    POINT origin;
    std::vector<RECT> clip; // all of them narrow the clip; the last one is cut out when `hole`
    bool hole;
};

int between(std::mt19937& r, int low, int high) {
    return low + static_cast<int>(r() % static_cast<unsigned>(high - low + 1));
}

POINT point(std::mt19937& r) {
    // Mostly on or near the picture, some far away.
    if (r() % 12 == 0) return {between(r, -3000, 3000), between(r, -3000, 3000)};
    return {between(r, -12, width + 12), between(r, -12, height + 12)};
}

Scene makeScene(std::mt19937& r) {
    Scene s{};
    s.penStyle = r() % 5 == 0 ? PS_NULL : r() % 4 == 0 ? between(r, PS_DASH, PS_DASHDOTDOT) : PS_SOLID;
    s.penWidth = r() % 2 ? between(r, 0, 1) : between(r, 2, 9);
    if (s.penStyle != PS_SOLID && s.penStyle != PS_NULL) s.penWidth = 1; // wide dashes have a test of their own
    s.rop = r() % 3 == 0 ? R2_COPYPEN : between(r, R2_BLACK, R2_WHITE);
    s.bkMode = between(r, TRANSPARENT, OPAQUE);
    s.fillMode = between(r, ALTERNATE, WINDING);
    s.brush = between(r, -1, 6);
    s.pen = r() & 0xFFFFFF, s.fill = r() & 0xFFFFFF, s.back = r() & 0xFFFFFF;
    s.origin = {between(r, -9, 9), between(r, -9, 9)};
    for (int i = between(r, 0, 2); i > 0; --i) {
        const int x = between(r, -3, width), y = between(r, -3, height);
        s.clip.push_back({x, y, x + between(r, 0, 25), y + between(r, 0, 25)});
    }
    s.hole = s.clip.size() == 2 && r() % 2;
    s.text << "pen " << s.penStyle << '/' << s.penWidth << " rop " << s.rop << " bk " << s.bkMode << " fill mode "
           << s.fillMode << " brush " << s.brush << " clips " << s.clip.size() << (s.hole ? " hole " : " ");
    return s;
}

void prepare(HDC dc, const Scene& s) {
    DeleteObject(SelectObject(dc, CreatePen(s.penStyle, s.penWidth, s.pen)));
    HBRUSH brush = s.brush < 0    ? static_cast<HBRUSH>(GetStockObject(NULL_BRUSH))
                   : s.brush == 0 ? CreateSolidBrush(s.fill)
                                  : CreateHatchBrush(s.brush - 1, s.fill);
    DeleteObject(SelectObject(dc, brush));
    SetROP2(dc, s.rop);
    SetBkMode(dc, s.bkMode);
    SetBkColor(dc, s.back);
    SetPolyFillMode(dc, s.fillMode);
    SetBrushOrgEx(dc, s.origin.x, s.origin.y, nullptr);
    for (size_t i = 0; i < s.clip.size(); ++i) {
        const RECT& c = s.clip[i];
        if (s.hole && i == 1)
            ExcludeClipRect(dc, c.left, c.top, c.right, c.bottom);
        else
            IntersectClipRect(dc, c.left, c.top, c.right, c.bottom);
    }
}

bool visible(const Scene& s, int x, int y) {
    for (size_t i = 0; i < s.clip.size(); ++i) {
        const RECT& c = s.clip[i];
        const bool in = x >= c.left && x < c.right && y >= c.top && y < c.bottom;
        if (in == (s.hole && i == 1)) return false;
    }
    return true;
}

enum Touch { none, inside, dash, gap };

void apply(Picture& p, const Scene& s, const std::function<Touch(int, int)>& touch) {
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            if (!visible(s, x, y)) continue;
            Touch t = touch(x, y);
            COLORREF color = s.pen;
            if (t == inside) {
                const bool on =
                    s.brush == 0 || (s.brush > 0 && oracle::hatchOn(s.brush - 1, x - s.origin.x, y - s.origin.y));
                if (s.brush < 0 || (!on && s.bkMode == TRANSPARENT)) t = none;
                color = on ? s.fill : s.back;
            }
            if (t == gap) {
                color = s.back;
                if (s.bkMode == TRANSPARENT) t = none;
            }
            if (t != none) p.at(x, y) = oracle::rop2(s.rop, p.pixelFor(color), p.at(x, y), p.used());
        }
}

// Whether step `length` of a thin dashed outline is on.
bool dashOn(int style, int64_t length) {
    static const std::vector<int> runs[] = {{18, 6}, {3, 3}, {9, 6, 3, 6}, {9, 3, 3, 3, 3, 3}};
    int total = 0;
    for (int run : runs[style - 1]) total += run;
    length %= total;
    size_t i = 0;
    for (; length >= runs[style - 1][i]; ++i) length -= runs[style - 1][i];
    return i % 2 == 0;
}

Touch outlineAt(const Scene& s, const std::vector<POINT>& p, bool closed, int x, int y) {
    if (s.penStyle == PS_NULL) return none;
    Touch found = none;
    int64_t along = 0;
    for (size_t i = 0; i + 1 < p.size() + closed; ++i) {
        const POINT a = p[i], b = p[(i + 1) % p.size()];
        const int64_t dx = std::abs(int64_t{b.x} - a.x), dy = std::abs(int64_t{b.y} - a.y);
        if (s.penWidth > 1 ? oracle::inCapsule(a, b, s.penWidth, x, y) : oracle::onThinLine(a, b, x, y)) {
            const int64_t k = dx >= dy ? std::abs(int64_t{x} - a.x) : std::abs(int64_t{y} - a.y);
            if (s.penStyle == PS_SOLID || dashOn(s.penStyle, along + k)) return dash;
            found = gap;
        }
        along += std::max(dx, dy);
    }
    return found;
}

std::string describe(const std::vector<POINT>& points) {
    std::ostringstream out;
    for (POINT p : points) out << '(' << p.x << ',' << p.y << ')';
    return out.str();
}

// Draws one random figure on both sides.
void drawFigure(std::mt19937& r, Scene& s, Canvas& canvas) {
    const HDC dc = canvas.dc;
    std::vector<POINT> points;
    for (int n = between(r, 2, 7); n > 0; --n) points.push_back(point(r));
    const auto count = static_cast<int>(points.size());
    RECT box{between(r, -8, width), between(r, -8, height), 0, 0};
    box.right = box.left + between(r, 0, 30);
    box.bottom = box.top + between(r, 0, 25);
    const RECT drawn = s.penStyle == PS_NULL ? RECT{box.left, box.top, box.right - 1, box.bottom - 1} : box;
    const auto inBox = [&](int x, int y) {
        return x >= drawn.left && x < drawn.right && y >= drawn.top && y < drawn.bottom;
    };
    switch (r() % 5) {
    case 0:
        s.text << "Polyline " << describe(points);
        Polyline(dc, points.data(), count);
        s.brush = -1;
        return apply(canvas.model, s, [&](int x, int y) { return outlineAt(s, points, false, x, y); });
    case 1:
        s.text << "Polygon " << describe(points);
        Polygon(dc, points.data(), count);
        return apply(canvas.model, s, [&](int x, int y) {
            const Touch t = outlineAt(s, points, true, x, y);
            return t != none ? t : oracle::inPolygons({points}, s.fillMode, x, y) ? inside : none;
        });
    case 2: {
        std::vector<POINT> more;
        for (int n = between(r, 2, 5); n > 0; --n) more.push_back(point(r));
        s.text << "PolyPolygon " << describe(points) << ' ' << describe(more);
        std::vector<POINT> all = points;
        all.insert(all.end(), more.begin(), more.end());
        const INT counts[2] = {count, static_cast<INT>(more.size())};
        if (s.penStyle != PS_SOLID) s.penStyle = PS_NULL, DeleteObject(SelectObject(dc, CreatePen(PS_NULL, 0, 0)));
        PolyPolygon(dc, all.data(), counts, 2);
        return apply(canvas.model, s, [&](int x, int y) {
            if (outlineAt(s, points, true, x, y) != none || outlineAt(s, more, true, x, y) != none) return dash;
            return oracle::inPolygons({points, more}, s.fillMode, x, y) ? inside : none;
        });
    }
    case 3: {
        s.text << "Rectangle " << box.left << ',' << box.top << ',' << box.right << ',' << box.bottom;
        Rectangle(dc, box.left, box.top, box.right, box.bottom);
        if (box.left >= box.right || box.top >= box.bottom) return;
        const std::vector<POINT> corners{
            {box.left, box.top}, {box.right - 1, box.top}, {box.right - 1, box.bottom - 1}, {box.left, box.bottom - 1}};
        const bool thin = s.penStyle == PS_SOLID && s.penWidth <= 1;
        return apply(canvas.model, s, [&](int x, int y) {
            const bool border = inBox(x, y) && (x == box.left || x == box.right - 1 || y == box.top || y == box.bottom - 1);
            const Touch t = thin ? (border ? dash : none) : outlineAt(s, corners, true, x, y);
            return t != none ? t : inBox(x, y) ? inside : none;
        });
    }
    default:
        if (s.penStyle != PS_NULL) { // wide and dashed ellipses are compared by distance elsewhere
            s.penStyle = PS_SOLID;
            s.penWidth = 1;
            DeleteObject(SelectObject(dc, CreatePen(PS_SOLID, 1, s.pen)));
        }
        s.text << "Ellipse " << box.left << ',' << box.top << ',' << box.right << ',' << box.bottom;
        Ellipse(dc, box.left, box.top, box.right, box.bottom);
        return apply(canvas.model, s, [&](int x, int y) {
            if (!oracle::inEllipse(drawn, x, y)) return none;
            const bool edge = !oracle::inEllipse(drawn, x - 1, y) || !oracle::inEllipse(drawn, x + 1, y) ||
                              !oracle::inEllipse(drawn, x, y - 1) || !oracle::inEllipse(drawn, x, y + 1);
            return edge && s.penStyle != PS_NULL ? dash : inside;
        });
    }
}

TEST(GdiOracle, FiguresMatchTheModel) {
    const char* given = std::getenv("KB_SEED");
    const unsigned first = given ? static_cast<unsigned>(std::atoi(given)) : 1, last = given ? first : 12000;
    for (unsigned seed = first; seed <= last; ++seed) {
        std::mt19937 random(seed);
        constexpr int depths[] = {1, 8, 24, 32};
        Canvas canvas(depths[seed % 4], random);
        Scene scene = makeScene(random);
        prepare(canvas.dc, scene);
        const std::vector<uint8_t> before = canvas.bytes;
        drawFigure(random, scene, canvas);
        DeleteObject(SelectObject(canvas.dc, GetStockObject(BLACK_PEN)));
        DeleteObject(SelectObject(canvas.dc, GetStockObject(WHITE_BRUSH)));
        int wrong = 0;
        std::ostringstream where;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                if (canvas.read(x, y) != canvas.model.at(x, y) && ++wrong <= 5)
                    where << " (" << x << ',' << y << ") is " << std::hex << canvas.read(x, y) << ", should be "
                          << canvas.model.at(x, y) << std::dec;
        ASSERT_EQ(wrong, 0) << "seed " << seed << ", " << depths[seed % 4] << " bits: " << scene.text.str() << where.str();
        for (int y = 0; y < height; ++y) // bytes behind the rows
            for (int i = (width * canvas.model.bits + 7) / 8; i < canvas.stride; ++i)
                ASSERT_EQ(canvas.bytes[static_cast<size_t>(y * canvas.stride + i)],
                          before[static_cast<size_t>(y * canvas.stride + i)])
                    << "seed " << seed << " wrote behind row " << y;
    }
}

// Wide ellipses follow the true curve within a tenth of a pixel: clearly near pixels are set, clearly far ones not.
TEST(GdiOracle, WideEllipsesKeepTheirDistance) {
    for (const int pen : {2, 3, 5, 8})
        for (const SIZE size : {SIZE{40, 30}, SIZE{60, 12}, SIZE{25, 61}}) {
            SCOPED_TRACE(testing::Message() << "pen " << pen << " size " << size.cx << 'x' << size.cy);
            constexpr int side = 80;
            std::vector<uint32_t> pixels(side * side);
            const HDC dc = KbCreateSurfaceDC(pixels.data(), side, side, side * 4, 32, nullptr, 0);
            SelectObject(dc, GetStockObject(NULL_BRUSH));
            const HGDIOBJ old = SelectObject(dc, CreatePen(PS_SOLID, pen, 0xFFFFFF));
            SetROP2(dc, R2_XORPEN); // a pixel touched twice would be lost
            Ellipse(dc, 9, 9, 9 + size.cx, 9 + size.cy);
            DeleteObject(SelectObject(dc, old));
            DeleteDC(dc);
            const double cx = 9 + (size.cx - 1) / 2.0, cy = 9 + (size.cy - 1) / 2.0, shift = pen % 2 ? 0 : 0.5;
            for (int y = 0; y < side; ++y)
                for (int x = 0; x < side; ++x) {
                    double nearest = 1e9;
                    for (int i = 0; i < 720; ++i) {
                        const double t = i * 6.283185307179586 / 720;
                        nearest = std::min(nearest, std::hypot(x + shift - cx - (size.cx - 1) / 2.0 * std::cos(t),
                                                               y + shift - cy - (size.cy - 1) / 2.0 * std::sin(t)));
                    }
                    const bool set = pixels[static_cast<size_t>(y * side + x)] != 0;
                    if (std::abs(nearest - pen / 2.0) < 0.12) continue;
                    EXPECT_EQ(set, nearest < pen / 2.0) << x << ',' << y;
                }
        }
}

// On and off runs of wide dashes are as long as the pattern says, in pen widths, with round caps reaching into the gaps.
TEST(GdiOracle, WideDashesScaleWithThePen) {
    constexpr int length = 400, w = 4;
    std::vector<uint32_t> pixels(length * 20);
    const HDC dc = KbCreateSurfaceDC(pixels.data(), length, 20, length * 4, 32, nullptr, 0);
    SetBkMode(dc, TRANSPARENT);
    const HGDIOBJ old = SelectObject(dc, CreatePen(PS_DASHDOT, w, 0xFFFFFF));
    MoveToEx(dc, 10, 10, nullptr);
    LineTo(dc, 1000, 10);
    DeleteObject(SelectObject(dc, old));
    DeleteDC(dc);
    for (int x = 0; x < length; ++x) {
        int s = x - 10, d = w; // distance to the nearest on run, in pixels
        for (int base = 0; base < length; base += 24 * w)
            for (auto [from, to] : {std::pair{0, 9}, {15, 18}})
                d = std::min(d, std::max({base + from * w - s, s - base - to * w, 0}));
        if (d == w / 2) continue; // the rim of a cap
        EXPECT_EQ(pixels[static_cast<size_t>(10 * length + x)] != 0, d < w / 2) << x;
    }
}

} // namespace
