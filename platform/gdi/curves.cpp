// Ellipses, rounded rectangles and arcs. Filled shapes and their thin outlines come from exact rows; wide and dashed
// outlines and the arcs from chains of points within a tenth of a pixel.
#include "platform/gdi/ellipse.h"
#include "platform/gdi/figure.h"
#include "platform/gdi/gdi_state.h"

#include <cmath>
#include <numbers>

using namespace kb;
using namespace kb::gdi;

namespace {

void roundPath(const Box& box, double cornerA, double cornerB, std::vector<FPoint>& path) {
    const Axes axes(box);
    path.clear();
    if (cornerA >= axes.a && cornerB >= axes.b) {
        flattenArc(axes.cx, axes.cy, axes.a, axes.b, 0, 2 * std::numbers::pi, path);
        return;
    }
    const double a = std::min(cornerA, axes.a), b = std::min(cornerB, axes.b);
    constexpr double quarter = std::numbers::pi / 2;
    const double x0 = axes.cx - axes.a + a, x1 = axes.cx + axes.a - a, y0 = axes.cy - axes.b + b, y1 = axes.cy + axes.b - b;
    flattenArc(x1, y1, a, b, 0, quarter, path);
    flattenArc(x0, y1, a, b, quarter, quarter, path);
    flattenArc(x0, y0, a, b, 2 * quarter, quarter, path);
    flattenArc(x1, y0, a, b, 3 * quarter, quarter, path);
}

// Rounded points, neighbours that fall together left out.
void roundPoints(const std::vector<FPoint>& path, std::vector<POINT>& out) {
    out.clear();
    for (const FPoint& p : path) {
        const POINT q{saturate(floorInt(p.x + 0.5)), saturate(floorInt(p.y + 0.5))};
        if (out.empty() || out.back().x != q.x || out.back().y != q.y) out.push_back(q);
    }
}

template <class Sink> void widePath(const PenState& pen, const Box& clip, StrokePart part, const std::vector<FPoint>& path,
                                    bool closed, Sink&& sink) {
    const RoundPen round(pen.width, clip);
    const size_t segments = closed ? path.size() : path.size() - 1;
    double along = 0;
    for (size_t i = 0; i < segments; ++i) {
        const FPoint a = path[i], b = path[i + 1 < path.size() ? i + 1 : 0];
        if (part == StrokePart::all) {
            round.capsule(a, b, sink);
            continue;
        }
        const double length = std::hypot(b.x - a.x, b.y - a.y);
        dashedSegment(round, *pen.dash, a, b, along, length, [&](FPoint from, FPoint to) { round.capsule(from, to, sink); });
        along = std::fmod(along + length, pen.dash->total * pen.width);
    }
}

BOOL roundShape(HDC hDC, int left, int top, int right, int bottom, bool ellipse, int width, int height) {
    return guardedOn<BOOL>(hDC, FALSE, [&]() -> BOOL {
        DeviceContext* dc = findDc(hDC);
        if (!dc) return FALSE;
        if (dc->output)
            return dc->output->shape(
                *dc, {ellipse ? ShapeForm::ellipse : ShapeForm::roundRect, {left, top, right, bottom}, {width, height}});
        PenState pen;
        loadPen(*dc, pen);
        Box b = deviceBox(*dc, left, top, right, bottom);
        if (pen.form == PenForm::none && !b.empty()) b = {b.left, b.top, b.right - 1, b.bottom - 1};
        b = insideFrame(pen, b);
        if (b.empty()) return TRUE;
        const int64_t boxWidth = static_cast<int64_t>(b.right) - b.left, boxHeight = static_cast<int64_t>(b.bottom) - b.top;
        const int64_t cornerWidth = ellipse ? boxWidth : std::min<int64_t>(dc->state.map.deviceWidth(width), boxWidth);
        const int64_t cornerHeight = ellipse ? boxHeight : std::min<int64_t>(dc->state.map.deviceHeight(height), boxHeight);
        const RoundRows rows(b, cornerWidth, cornerHeight);
        const Box clip = dc->clipBox();
        const Brush* brush = dc->state.brush->style == BS_NULL ? nullptr : dc->state.brush.get();
        const auto fillRows = [&](auto&& sink) { rows.fill(clip, sink); };
        if (pen.form == PenForm::none) {
            drawFigure(*dc, pen, brush, fillRows, [](StrokePart, auto&&) {});
            return TRUE;
        }
        const auto ignore = [](int64_t, int64_t, int64_t) {};
        if (pen.form == PenForm::thin && !pen.dash) {
            drawFigure(
                *dc, pen, brush, [&](auto&& sink) { rows.split(clip, ignore, sink); },
                [&](StrokePart, auto&& sink) { rows.split(clip, sink, ignore); });
            return TRUE;
        }
        std::vector<FPoint>& path = scratch().path;
        const double reach = ellipse ? INFINITY : static_cast<double>(cornerWidth - 1) / 2;
        const double rise = ellipse ? INFINITY : static_cast<double>(cornerHeight - 1) / 2;
        roundPath(b, std::max(reach, 0.0), std::max(rise, 0.0), path);
        if (pen.form == PenForm::wide) {
            // What of the rows the wide outline doesn't cover lies well inside of the path.
            drawFigure(*dc, pen, brush, fillRows,
                       [&](StrokePart part, auto&& sink) { widePath(pen, clip, part, path, true, sink); });
            return TRUE;
        }
        std::vector<POINT>& points = scratch().flat;
        roundPoints(path, points);
        const size_t count = points.size();
        drawContours(*dc, pen, brush, points.data(), &count, 1, WINDING);
        return TRUE;
    });
}

BOOL arcShape(HDC hDC, ShapeForm form, const RECT& r, POINT start, POINT end) {
    return guardedOn<BOOL>(hDC, FALSE, [&]() -> BOOL {
        DeviceContext* dc = findDc(hDC);
        if (!dc) return FALSE;
        if (dc->output) return dc->output->shape(*dc, {form, r, start, end});
        PenState pen;
        loadPen(*dc, pen);
        Box b = deviceBox(*dc, r.left, r.top, r.right, r.bottom);
        if (pen.form == PenForm::none && !b.empty()) b = {b.left, b.top, b.right - 1, b.bottom - 1};
        b = insideFrame(pen, b);
        if (b.empty()) return TRUE;
        const Axes axes(b);
        const ArcSpan span = axes.span(dc->state.map.device(start), dc->state.map.device(end));
        std::vector<FPoint>& path = scratch().path;
        path.clear();
        flattenArc(axes.cx, axes.cy, axes.a, axes.b, span.first, span.sweep, path);
        if (form == ShapeForm::pie) path.push_back({axes.cx, axes.cy});
        const bool closed = form != ShapeForm::arc;
        const Brush* brush = closed && dc->state.brush->style != BS_NULL ? dc->state.brush.get() : nullptr;
        std::vector<POINT>& points = scratch().flat;
        roundPoints(path, points);
        const size_t count = points.size();
        if (pen.form != PenForm::wide) {
            drawContours(*dc, pen, brush, points.data(), &count, 1, closed ? WINDING : 0);
            return TRUE;
        }
        const Box clip = dc->clipBox();
        drawFigure(
            *dc, pen, brush,
            [&](auto&& sink) {
                PolygonFiller& filler = scratch().filler;
                filler.begin(clip);
                filler.add(points.data(), count);
                filler.fill(WINDING, sink);
            },
            [&](StrokePart part, auto&& sink) { widePath(pen, clip, part, path, closed, sink); });
        return TRUE;
    });
}

} // namespace

KB_API BOOL Ellipse(HDC hDC, int left, int top, int right, int bottom) {
    return roundShape(hDC, left, top, right, bottom, true, 0, 0);
}

KB_API BOOL RoundRect(HDC hDC, int left, int top, int right, int bottom, int width, int height) {
    return roundShape(hDC, left, top, right, bottom, false, width, height);
}

KB_API BOOL Arc(HDC hDC, int left, int top, int right, int bottom, int xStart, int yStart, int xEnd, int yEnd) {
    return arcShape(hDC, ShapeForm::arc, {left, top, right, bottom}, {xStart, yStart}, {xEnd, yEnd});
}
KB_API BOOL Chord(HDC hDC, int left, int top, int right, int bottom, int xStart, int yStart, int xEnd, int yEnd) {
    return arcShape(hDC, ShapeForm::chord, {left, top, right, bottom}, {xStart, yStart}, {xEnd, yEnd});
}
KB_API BOOL Pie(HDC hDC, int left, int top, int right, int bottom, int xStart, int yStart, int xEnd, int yEnd) {
    return arcShape(hDC, ShapeForm::pie, {left, top, right, bottom}, {xStart, yStart}, {xEnd, yEnd});
}
