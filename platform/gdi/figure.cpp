// Outlines of point chains with every kind of pen.
#include "platform/gdi/figure.h"

namespace kb::gdi {

void loadPen(const DeviceContext& dc, PenState& pen) {
    const Pen& selected = *dc.state.pen;
    if (selected.style == PS_NULL) return;
    constexpr int widest = 1 << 20;
    pen.width = std::min(dc.state.map.identity ? selected.width : dc.state.map.deviceWidth(selected.width), widest);
    if (pen.width < 1) pen.width = 1;
    pen.form = pen.width > 1 ? PenForm::wide : PenForm::thin;
    pen.insideFrame = selected.style == PS_INSIDEFRAME;
    pen.dash = dashPattern(selected.style);
    penPaint(dc, selected.color, pen.on);
    if (pen.dash && dc.state.bkMode == OPAQUE) {
        pen.paintsGaps = true;
        penPaint(dc, dc.state.bkColor, pen.gap);
    }
}

namespace {

// Calls sink(y, x0, x1) for the thin outline; the dash pattern goes on from segment to segment.
template <class Sink>
void thinOutline(const Box& clip, const DashPattern* dash, const POINT* points, size_t count, bool closed, Sink&& sink) {
    int64_t along = 0;
    const size_t segments = closed ? count : count - 1;
    for (size_t i = 0; i < segments; ++i) {
        const POINT a = points[i], b = points[i + 1 < count ? i + 1 : 0];
        if (dash) {
            along += thinLine(a, b, clip, [&](int64_t x, int64_t y, int64_t k) {
                if (dashIsOn(*dash, along + k)) sink(y, x, x + 1);
            });
            along %= dash->total;
        } else {
            thinLine(a, b, clip, [&](int64_t x, int64_t y, int64_t) { sink(y, x, x + 1); });
        }
    }
}

FPoint toPoint(POINT p) { return {static_cast<double>(p.x), static_cast<double>(p.y)}; }

template <class Point, class Sink> void wideOutline(const RoundPen& round, const DashPattern* dash, const Point* points,
                                                    size_t count, bool closed, Sink&& sink) {
    const auto at = [points](size_t i) {
        if constexpr (std::is_same_v<Point, POINT>)
            return toPoint(points[i]);
        else
            return points[i];
    };
    if (count == 1) {
        round.capsule(at(0), at(0), sink);
        return;
    }
    double along = 0;
    const size_t segments = closed ? count : count - 1;
    for (size_t i = 0; i < segments; ++i) {
        const FPoint a = at(i), b = at(i + 1 < count ? i + 1 : 0);
        if (!dash) {
            round.capsule(a, b, sink);
            continue;
        }
        const double length = std::hypot(b.x - a.x, b.y - a.y);
        dashedSegment(round, *dash, a, b, along, length, [&](FPoint from, FPoint to) { round.capsule(from, to, sink); });
        along = std::fmod(along + length, dash->total * round.radius() * 2);
    }
}

} // namespace

void drawContours(const DeviceContext& dc, const PenState& pen, const Brush* brush, const POINT* points,
                  const size_t* counts, size_t contours, int fillMode) {
    const Box clip = dc.clipBox();
    const bool closed = fillMode != 0;
    const auto eachContour = [&](auto&& visit) {
        const POINT* p = points;
        for (size_t i = 0; i < contours; p += counts[i++]) visit(p, counts[i]);
    };
    const auto fill = [&](auto&& sink) {
        PolygonFiller& filler = scratch().filler;
        filler.begin(clip);
        eachContour([&](const POINT* p, size_t count) { filler.add(p, count); });
        filler.fill(fillMode, sink);
    };
    if (pen.form == PenForm::thin && !pen.dash && !brush && strokesDirectly(pen, false) && dc.surface.bits >= 8 &&
        dc.state.rop2 != R2_NOP) {
        const Painter painter = dc.painter(pen.on);
        if (painter.rectangular() && !clip.empty()) {
            eachContour([&](const POINT* p, size_t count) { drawThinDirect(painter, p, count, closed); });
            return;
        }
    }
    drawFigure(dc, pen, closed ? brush : nullptr, fill, [&](StrokePart part, auto&& sink) {
        const DashPattern* dash = part == StrokePart::dashes ? pen.dash : nullptr;
        const RoundPen round(pen.width, clip);
        eachContour([&](const POINT* p, size_t count) {
            if (pen.form == PenForm::thin)
                thinOutline(clip, dash, p, count, closed, sink);
            else
                wideOutline(round, dash, p, count, closed, sink);
        });
    });
}

} // namespace kb::gdi
