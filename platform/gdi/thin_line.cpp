// The fast way for one-pixel lines: pixels are changed through a pointer that walks over the surface. Segments that lie in
// the clip as a whole, nearly all of them, need no exact clipping.
#include "platform/gdi/figure.h"

#include <cstring>

namespace kb::gdi {

namespace {

template <int bytes, bool fill> inline void changePixel(uint8_t* p, uint32_t a, uint32_t x) {
    if constexpr (bytes == 4) {
        uint32_t d = x;
        if constexpr (!fill) {
            std::memcpy(&d, p, 4);
            d = (d & a) ^ x;
        }
        std::memcpy(p, &d, 4);
    } else if constexpr (bytes == 1) {
        *p = static_cast<uint8_t>(fill ? x : (*p & a) ^ x);
    } else {
        uint16_t low = static_cast<uint16_t>(x);
        auto high = static_cast<uint8_t>(x >> 16);
        if constexpr (!fill) {
            std::memcpy(&low, p, 2);
            low = static_cast<uint16_t>((low & a) ^ x);
            high = static_cast<uint8_t>((p[2] & a >> 16) ^ x >> 16);
        }
        std::memcpy(p, &low, 2);
        p[2] = high;
    }
}

template <int bytes, bool fill> void walk(const Painter& painter, const POINT* points, size_t count, bool closed) {
    const Surface& s = painter.surface();
    const Box clip = painter.clip();
    const uint32_t a = painter.paint().andBits, v = painter.paint().xorBits;
    const auto width = static_cast<uint32_t>(clip.right - clip.left), height = static_cast<uint32_t>(clip.bottom - clip.top);
    const auto inside = [&](POINT p) {
        return static_cast<uint32_t>(p.x) - static_cast<uint32_t>(clip.left) < width &&
               static_cast<uint32_t>(p.y) - static_cast<uint32_t>(clip.top) < height;
    };
    const size_t segments = closed ? count : count - 1;
    bool fromInside = inside(points[0]);
    for (size_t i = 0; i < segments; ++i) {
        const POINT from = points[i], to = points[i + 1 < count ? i + 1 : 0];
        const bool toInside = inside(to);
        if (!(fromInside && toInside)) {
            fromInside = toInside;
            thinLine(from, to, clip, [&](int64_t x, int64_t y, int64_t) {
                changePixel<bytes, fill>(s.row(static_cast<int>(y)) + x * bytes, a, v);
            });
            continue;
        }
        // Inside a surface differences fit 28 bits.
        const int dx = to.x - from.x, dy = to.y - from.y;
        const int ax = dx < 0 ? -dx : dx, ay = dy < 0 ? -dy : dy;
        const ptrdiff_t stepX = dx < 0 ? -bytes : bytes, stepY = dy < 0 ? -s.stride : s.stride;
        const bool xMajor = ax >= ay;
        const int major = xMajor ? ax : ay, minor = xMajor ? ay : ax;
        const ptrdiff_t majorStep = xMajor ? stepX : stepY, minorStep = xMajor ? stepY : stepX;
        int error = -major - ((xMajor ? dy : dx) < 0 ? 0 : 1);
        uint8_t* p = s.row(from.y) + static_cast<ptrdiff_t>(from.x) * bytes;
        for (int k = 0; k < major; ++k) {
            changePixel<bytes, fill>(p, a, v);
            error += 2 * minor;
            const int over = ~(error >> 31); // all ones when the line has passed the middle
            p += majorStep + (minorStep & static_cast<ptrdiff_t>(over));
            error -= 2 * major & over;
        }
    }
}

} // namespace

void drawThinDirect(const Painter& painter, const POINT* points, size_t count, bool closed) {
    if (painter.idle() || count == 0) return;
    const bool fill = painter.paint().kind == PaintKind::fill;
    switch (painter.surface().bits) {
    case 8: return fill ? walk<1, true>(painter, points, count, closed) : walk<1, false>(painter, points, count, closed);
    case 24: return fill ? walk<3, true>(painter, points, count, closed) : walk<3, false>(painter, points, count, closed);
    default: return fill ? walk<4, true>(painter, points, count, closed) : walk<4, false>(painter, points, count, closed);
    }
}

} // namespace kb::gdi
