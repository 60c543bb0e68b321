// Lines with a pen. Thin pens: one pixel a step of the longer axis, the pixel nearest to the line, halves towards the
// smaller coordinate, so that neither the direction nor the clip of a line changes its pixels. Wide pens: a round pen drawn
// along the segments, every pixel whose point is within half a width. The pen of an even width sits half a pixel up and
// left of the point, in the spirit of edges that are in at left and top; that makes it symmetrical, and no pixel's point
// ever lies on its rim. Dash patterns are lists of on and off lengths in pen widths that go on round corners.
#pragma once

#include "platform/gdi/surface.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace kb::gdi {

struct FPoint {
    double x, y;
};

struct DashPattern {
    int count;      // even
    int lengths[6]; // on, off ...
    int total;
};
// Null for pens without dashes.
const DashPattern* dashPattern(int penStyle);

// Where a point of the pattern stands: `length` along the figure in units of the pattern.
inline bool dashIsOn(const DashPattern& dash, int64_t length) {
    auto rest = static_cast<int>(length % dash.total);
    int i = 0;
    while (rest >= dash.lengths[i]) rest -= dash.lengths[i++];
    return i % 2 == 0;
}

constexpr int64_t floorInt(double v) {
    const auto i = static_cast<int64_t>(v);
    return i - (v < static_cast<double>(i));
}
constexpr int64_t ceilInt(double v) {
    const auto i = static_cast<int64_t>(v);
    return i + (v > static_cast<double>(i));
}

// A segment of a thin line from `a` up to, but without, `b`: step k of `steps` is the pixel `major` + k along the longer
// axis.
struct ThinSegment {
    int64_t steps = 0;
    bool xMajor = true;
    int majorSign = 1, minorSign = 1;
    int64_t majorDelta = 0, minorDelta = 0; // absolute
    POINT start{};
    int64_t first = 0, last = 0; // visible steps first..last-1

    // False when nothing of it is in the clip; `steps` is set all the same.
    bool set(POINT a, POINT b, const Box& clip);
    // Whole pixels on the shorter axis at step k.
    int64_t minorAt(int64_t k) const;
};

// Calls sink(x, y, k) for the visible pixels; gives the number of steps of the whole segment.
template <class Sink> int64_t thinLine(POINT a, POINT b, const Box& clip, Sink&& sink) {
    ThinSegment s;
    if (!s.set(a, b, clip)) return s.steps;
    const int64_t minor = s.minorAt(s.first);
    int64_t x = s.start.x, y = s.start.y;
    (s.xMajor ? x : y) += s.majorSign * s.first;
    (s.xMajor ? y : x) += s.minorSign * minor;
    // Twice the distance past the middle between two pixels; above zero means the next one, zero too when going down in
    // value.
    Wide error = static_cast<Wide>(2) * s.first * s.minorDelta - static_cast<Wide>(2) * minor * s.majorDelta - s.majorDelta;
    if (s.minorSign > 0) error -= 1;
    auto e = static_cast<int64_t>(error);
    for (int64_t k = s.first; k < s.last; ++k) {
        sink(x, y, k);
        (s.xMajor ? x : y) += s.majorSign;
        e += 2 * s.minorDelta;
        if (e >= 0) {
            (s.xMajor ? y : x) += s.minorSign;
            e -= 2 * s.majorDelta;
        }
    }
    return s.steps;
}

// A round pen of a width above 1.
class RoundPen {
public:
    RoundPen(int width, const Box& clip) : clip_(clip), radius_(width / 2.0), shift_(width % 2 ? 0.0 : -0.5) {}

    double radius() const { return radius_; }

    // Rows of all pixels within half a width of the segment.
    template <class Sink> void capsule(FPoint a, FPoint b, Sink&& sink) const {
        a.x += shift_, a.y += shift_, b.x += shift_, b.y += shift_;
        if (b.y < a.y) std::swap(a, b);
        const double r = radius_;
        if (b.y + r < clip_.top || a.y - r > clip_.bottom) return;
        if (std::max(a.x, b.x) + r < clip_.left || std::min(a.x, b.x) - r > clip_.right) return;
        const int64_t top = std::max<int64_t>(ceilInt(a.y - r), clip_.top);
        const int64_t bottom = std::min<int64_t>(floorInt(b.y + r) + 1, clip_.bottom);
        const double dx = b.x - a.x, dy = b.y - a.y, r2 = r * r;
        double nx = 0, ny = 0; // from the middle line to the right-hand edge
        if (const double length = std::sqrt(dx * dx + dy * dy); length > 0) {
            nx = dy / length * r;
            ny = -dx / length * r;
        }
        const double slope = dy > 0 ? dx / dy : 0;
        const double rightFrom = a.y + ny, rightTo = b.y + ny, leftFrom = a.y - ny, leftTo = b.y - ny;
        const double rightX = a.x + nx, leftX = a.x - nx;
        // Each side is an arc of a's disc, the straight edge, an arc of b's disc; the rows where they change cut the
        // capsule in bands whose rows need no choice.
        const auto cut = [&](double y) { return std::clamp(ceilInt(y), top, bottom); };
        const int64_t leftEdge = cut(leftFrom), leftEnd = cut(leftTo), rightEdge = cut(rightFrom), rightEnd = cut(rightTo);
        int64_t row = top;
        while (row < bottom) { // each band moves on to its end
            int64_t until = bottom;
            for (const int64_t change : {leftEdge, leftEnd, rightEdge, rightEnd})
                if (change > row && change < until) until = change;
            const FPoint leftMiddle = row < leftEdge ? a : b, rightMiddle = row < rightEdge ? a : b;
            const bool leftStraight = row >= leftEdge && row < leftEnd, rightStraight = row >= rightEdge && row < rightEnd;
            const auto leftArc = [&](double y) { return leftMiddle.x - halfChord(r2, y - leftMiddle.y); };
            const auto rightArc = [&](double y) { return rightMiddle.x + halfChord(r2, y - rightMiddle.y); };
            const auto leftLine = [&](double y) { return leftX + (y - leftFrom) * slope; };
            const auto rightLine = [&](double y) { return rightX + (y - rightFrom) * slope; };
            const auto band = [&](auto&& left, auto&& right) {
                for (; row < until; ++row) {
                    const auto y = static_cast<double>(row);
                    const int64_t x0 = ceilInt(left(y)), x1 = floorInt(right(y)) + 1;
                    if (x0 < x1) sink(row, x0, x1);
                }
            };
            if (leftStraight)
                rightStraight ? band(leftLine, rightLine) : band(leftLine, rightArc);
            else
                rightStraight ? band(leftArc, rightLine) : band(leftArc, rightArc);
        }
    }

    // The part t0..t1 (0..1) of a segment that can be seen; false when there is none.
    bool visiblePart(FPoint a, FPoint b, double& t0, double& t1) const;

private:
    static double halfChord(double r2, double d) {
        const double h = r2 - d * d;
        return h > 0 ? std::sqrt(h) : 0;
    }
    Box clip_;
    double radius_, shift_;
};

// Calls piece(from, to) for every visible "on" run of a dashed wide segment whose start lies `phase` pixels along the
// pattern.
template <class Piece> void dashedSegment(const RoundPen& pen, const DashPattern& dash, FPoint a, FPoint b, double phase,
                                          double length, Piece&& piece) {
    double t0, t1;
    if (!pen.visiblePart(a, b, t0, t1)) return;
    const double unit = pen.radius() * 2;
    const double period = dash.total * unit;
    const double from = phase + t0 * length, to = phase + t1 * length;
    const auto at = [&](double s) {
        const double t = length > 0 ? (s - phase) / length : 0;
        return FPoint{a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
    };
    for (double base = std::floor(from / period) * period; base <= to; base += period) {
        double s = base;
        for (int i = 0; i < dash.count; i += 2) {
            const double begin = std::max(s, from), end = std::min(s + dash.lengths[i] * unit, to);
            if (begin <= end) piece(at(begin), at(end));
            s += (dash.lengths[i] + dash.lengths[i + 1]) * unit;
        }
        if (base + period == base) return; // so far out that the pattern is lost
    }
}

} // namespace kb::gdi
