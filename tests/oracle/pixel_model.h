// A slow and obvious model of drawing: every pixel of a small picture is asked, by exact arithmetic, whether it belongs to a
// figure's outline or inside, and is then changed by the truth table of the raster operation. Shares no code with the
// rasterisers it is compared with.
#pragma once

#include "platform/gdi.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

namespace oracle {

__extension__ typedef __int128 Wide;

struct Picture {
    int width, height, bits;
    std::vector<uint32_t> palette; // 0x00RRGGBB, below 24 bits
    std::vector<uint32_t> pixels;

    uint32_t used() const { return bits == 32 ? ~0u : (1u << bits) - 1; }
    uint32_t& at(int x, int y) { return pixels[static_cast<size_t>(y * width + x)]; }
    uint32_t pixelFor(COLORREF c) const {
        const int r = GetRValue(c), g = GetGValue(c), b = GetBValue(c);
        if (bits >= 24) return static_cast<uint32_t>(r << 16 | g << 8 | b);
        uint32_t best = 0;
        int bestDistance = INT32_MAX;
        for (uint32_t i = 0; i < palette.size(); ++i) {
            const int dr = r - static_cast<int>(palette[i] >> 16), dg = g - static_cast<int>(palette[i] >> 8 & 255),
                      db = b - static_cast<int>(palette[i] & 255);
            if (const int d = dr * dr + dg * dg + db * db; d < bestDistance) {
                bestDistance = d;
                best = i;
            }
        }
        return best;
    }
};

// Bit by bit: the result for pattern bit p and destination bit d is bit 2p + d of mode - 1.
inline uint32_t rop2(int mode, uint32_t p, uint32_t d, uint32_t used) {
    uint32_t r = 0;
    for (uint32_t bit = 1; bit; bit <<= 1) {
        const int index = (p & bit ? 2 : 0) + (d & bit ? 1 : 0);
        if ((mode - 1) >> index & 1) r |= bit;
    }
    return r & used;
}

inline uint32_t rop3(uint32_t code, uint32_t p, uint32_t s, uint32_t d, uint32_t used) {
    uint32_t r = 0;
    for (uint32_t bit = 1; bit; bit <<= 1) {
        const int index = (p & bit ? 4 : 0) + (s & bit ? 2 : 0) + (d & bit ? 1 : 0);
        if (code >> index & 1) r |= bit;
    }
    return r & used;
}

inline int64_t floorDiv(int64_t a, int64_t b) { return a / b - ((a % b != 0) && ((a < 0) != (b < 0))); }

// On the thin line from a up to b, without b: one pixel a step, nearest to the line, halves to the smaller coordinate.
inline bool onThinLine(POINT a, POINT b, int x, int y) {
    const int64_t dx = int64_t{b.x} - a.x, dy = int64_t{b.y} - a.y;
    const bool flat = std::abs(dx) >= std::abs(dy);
    const int64_t major = flat ? dx : dy, minor = flat ? dy : dx;
    const int64_t k = flat ? int64_t{x} - a.x : int64_t{y} - a.y;
    if (major == 0 || (major > 0 ? k < 0 || k >= major : k > 0 || k <= major)) return false;
    // exact = start + k minor / major; nearest with halves down = ceil(exact - 1/2)
    int64_t n = 2 * k * minor - major, d = 2 * major;
    if (d < 0) n = -n, d = -d;
    const int64_t ceil = -floorDiv(-n, d);
    return (flat ? int64_t{y} - a.y : int64_t{x} - a.x) == ceil;
}

// Within half a width of the segment; even widths sit half a pixel up and left. All in half pixels.
inline bool inCapsule(POINT a, POINT b, int width, int x, int y) {
    const int64_t shift = width % 2 ? 0 : 1;
    const int64_t ax = 2 * int64_t{a.x} - shift, ay = 2 * int64_t{a.y} - shift;
    const int64_t dx = 2 * (int64_t{b.x} - a.x), dy = 2 * (int64_t{b.y} - a.y);
    const int64_t px = 2 * int64_t{x} - ax, py = 2 * int64_t{y} - ay;
    const int64_t w = width, length = dx * dx + dy * dy, along = px * dx + py * dy;
    if (along <= 0 || length == 0) return px * px + py * py <= w * w;
    if (along >= length) return (px - dx) * (px - dx) + (py - dy) * (py - dy) <= w * w;
    const int64_t across = px * dy - py * dx;
    return static_cast<Wide>(across) * across <= static_cast<Wide>(w) * w * length;
}

// Left and top edges are in, right and bottom edges out.
inline bool inPolygons(const std::vector<std::vector<POINT>>& polygons, int fillMode, int x, int y) {
    int winding = 0, crossings = 0;
    for (const auto& points : polygons)
        for (size_t i = 0; i < points.size(); ++i) {
            POINT a = points[i], b = points[(i + 1) % points.size()];
            int direction = 1;
            if (a.y > b.y) {
                std::swap(a, b);
                direction = -1;
            }
            if (y < a.y || y >= b.y) continue;
            // The edge is at or left of the pixel.
            const Wide h = Wide{b.y} - a.y;
            if (Wide{a.x} * h + (Wide{y} - a.y) * (Wide{b.x} - a.x) <= Wide{x} * h) {
                winding += direction;
                ++crossings;
            }
        }
    return fillMode == WINDING ? winding != 0 : crossings % 2 != 0;
}

// Of the ellipse that fills the pixels left..right-1, top..bottom-1, measured between pixel middles.
inline bool inEllipse(const RECT& r, int x, int y) {
    const int64_t w = int64_t{r.right} - r.left, h = int64_t{r.bottom} - r.top;
    const int64_t dx = 2 * int64_t{x} - (int64_t{r.left} + r.right - 1),
                  dy = 2 * int64_t{y} - (int64_t{r.top} + r.bottom - 1);
    if (w <= 0 || h <= 0) return false;
    return static_cast<Wide>(dx * dx) * (h * h) + static_cast<Wide>(dy * dy) * (w * w) <= static_cast<Wide>(w * w) * (h * h);
}

inline bool hatchOn(int style, int x, int y) {
    x &= 7;
    y &= 7;
    switch (style) {
    case HS_HORIZONTAL: return y == 4;
    case HS_VERTICAL: return x == 4;
    case HS_FDIAGONAL: return x == y;
    case HS_BDIAGONAL: return x + y == 7;
    case HS_CROSS: return x == 4 || y == 4;
    default: return x == y || x + y == 7;
    }
}

} // namespace oracle
