// Shapes and lines: upright ones by the device's own rectangle and ellipse, turned ones as polygons.
#include "render/device_points.h"
#include "render/drawing.h"

#include <algorithm>
#include <new>

namespace kbann {
namespace {

bool drawQuadPolygon(const Drawing& d) {
    const auto corners = annQuadCorners(d.matrix, d.record.quad);
    POINT points[4];
    std::ranges::transform(corners.p, points, [](AnnPoint p) { return annRound(p); });
    return Polygon(d.hDC, points, 4);
}

} // namespace

bool annDrawRectShape(const Drawing& d) {
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
    RECT r;
    if (!annUprightRect(d, r)) return drawQuadPolygon(d);
    return Rectangle(d.hDC, r.left, r.top, r.right, r.bottom);
}

bool annDrawEllipse(const Drawing& d) {
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
    RECT r;
    if (annUprightRect(d, r)) return Ellipse(d.hDC, r.left, r.top, r.right, r.bottom);
    try {
        const auto points = annEllipsePolygon(d.matrix, d.record.quad);
        return Polygon(d.hDC, points.data(), static_cast<int>(points.size()));
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool annDrawOpenLine(const Drawing& d) {
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
    DevicePoints points;
    if (!points.assign({d.record.pPoints.data(), d.record.nPoints()}, d.matrix)) return false;
    return points.size() < 2 || Polyline(d.hDC, points.data(), points.size());
}

bool annDrawPolygon(const Drawing& d) {
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
    DevicePoints points;
    if (!points.assign({d.record.pPoints.data(), d.record.nPoints()}, d.matrix)) return false;
    return points.size() < 2 || Polygon(d.hDC, points.data(), points.size());
}

// The head is always filled in the pen's colour; a thin pen draws the shaft as a line of its own, a wide one by its width.
bool annDrawPointer(const Drawing& d) {
    d.record.dArrowWidth = d.record.dArrowLength = annArrowSize(d.record, d.matrix);
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
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
