// Shapes and lines: upright ones by the device's own rectangle and ellipse, turned ones as polygons.
#include "render/device_points.h"
#include "render/drawing.h"

#include <algorithm>
#include <new>
#include <numbers>
#include <vector>

namespace kbann {
namespace {

constexpr double maxEllipseVertices = 65'536;

bool drawQuadPolygon(const Drawing& d) {
    const auto corners = annQuadCorners(d.matrix, d.record.quad);
    POINT points[4];
    std::ranges::transform(corners.p, points, [](AnnPoint p) { return annRound(p); });
    return Polygon(d.hDC, points, 4);
}

// An ellipse of a turned quad, a vertex a pixel of its longer way round.
std::vector<POINT> ellipsePolygon(const Drawing& d) {
    const auto [p] = annQuadCorners(d.matrix, d.record.quad);
    const AnnPoint first{(p[2].x - p[1].x) / 2, (p[2].y - p[1].y) / 2}, second{(p[0].x - p[1].x) / 2, (p[0].y - p[1].y) / 2};
    const AnnPoint center{(p[0].x + p[2].x) / 2, (p[0].y + p[2].y) / 2};
    const double length = std::clamp(std::hypot(first.x - second.x, first.y - second.y), 1.0, maxEllipseVertices / 4);
    const double step = std::numbers::pi / 2 / length;
    std::vector<POINT> points;
    points.reserve(static_cast<size_t>(4 * length) + 2);
    for (int i = 0;; ++i) {
        const double angle = i * step;
        if (angle >= 2 * std::numbers::pi) break;
        const double c = std::cos(angle), s = std::sin(angle);
        const POINT at{annRound(center.x + c * first.x + s * second.x), annRound(center.y + c * first.y + s * second.y)};
        if (points.empty() || at.x != points.back().x || at.y != points.back().y) points.push_back(at);
    }
    return points;
}

} // namespace

bool annDrawRectShape(const Drawing& d) {
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    RECT r;
    if (!annQuadRect(d.matrix, d.record.quad, r)) return drawQuadPolygon(d);
    return Rectangle(d.hDC, r.left, r.top, r.right, r.bottom);
}

bool annDrawEllipse(const Drawing& d) {
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    RECT r;
    if (annQuadRect(d.matrix, d.record.quad, r)) return Ellipse(d.hDC, r.left, r.top, r.right, r.bottom);
    try {
        const auto points = ellipsePolygon(d);
        return Polygon(d.hDC, points.data(), static_cast<int>(points.size()));
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool annDrawOpenLine(const Drawing& d) {
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    DevicePoints points;
    if (!points.assign({d.record.pPoints.data(), d.record.nPoints()}, d.matrix)) return false;
    return points.size() < 2 || Polyline(d.hDC, points.data(), points.size());
}

bool annDrawPolygon(const Drawing& d) {
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    DevicePoints points;
    if (!points.assign({d.record.pPoints.data(), d.record.nPoints()}, d.matrix)) return false;
    return points.size() < 2 || Polygon(d.hDC, points.data(), points.size());
}

// The head is always filled in the pen's colour; a thin pen draws the shaft as a line of its own, a wide one by its width.
bool annDrawPointer(const Drawing& d) {
    d.record.dArrowWidth = d.record.dArrowLength = annArrowSize(d.record, d.matrix);
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    const LOGBRUSH head{d.record.nLineStyle == ANN_LINE_NULL ? UINT{BS_NULL} : UINT{BS_SOLID}, d.record.crFore, 0};
    const HBRUSH brush = CreateBrushIndirect(&head);
    if (!brush) return false;
    const HGDIOBJ old = SelectObject(d.hDC, brush);
    const auto [p] = annPointerOutline(d.record, d.matrix);
    if (annRound(annScale(d.record.dLineWidth, d.matrix)) <= 1) {
        const POINT shaft[2] = {p[2], p[3]}, arrow[4] = {p[0], p[1], p[2], p[5]};
        Polyline(d.hDC, shaft, 2);
        Polygon(d.hDC, arrow, 4);
    } else {
        Polygon(d.hDC, p, 6);
    }
    SelectObject(d.hDC, old);
    DeleteObject(brush);
    return true;
}

} // namespace kbann
