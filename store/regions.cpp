// Regions of quads, ellipses and polygons under a matrix that the caller describes.
#include "store/regions.h"
#include "store/hit_shapes.h"

#include <algorithm>

namespace kbann {
namespace {

HRGN emptyRegion() { return CreateRectRgn(0, 0, 0, 0); }

// Grown by that many pixels on each side, or less for a negative number; what is empty stays so.
RECT grown(const RECT& r, int64_t by) {
    const RECT made = annIsEmpty(r) ? RECT{} : annInflate(r, by);
    return annIsEmpty(made) ? RECT{} : made;
}

// The polygon scaled about the middle of its box, so that the box is that much wider and higher, but not below 0.
std::vector<POINT> grown(const std::vector<POINT>& polygon, int64_t by) {
    PointBox box;
    for (const POINT& p : polygon) box.add({double(p.x), double(p.y)});
    const AnnPoint middle{(box.left + box.right) / 2, (box.top + box.bottom) / 2};
    const auto factor = [by](double length) {
        return length > 0 ? std::max(length + static_cast<double>(by), 0.0) / length : 1.0;
    };
    const double across = factor(box.right - box.left), down = factor(box.bottom - box.top);
    std::vector<POINT> scaled(polygon.size());
    std::ranges::transform(polygon, scaled.begin(), [&](const POINT& p) {
        return annRound(AnnPoint{middle.x + (p.x - middle.x) * across, middle.y + (p.y - middle.y) * down});
    });
    return scaled;
}

HRGN polygonRegion(const std::vector<POINT>& points, int fillMode) {
    return points.size() < 2 ? emptyRegion() : CreatePolygonRgn(points.data(), static_cast<int>(points.size()), fillMode);
}

HRGN ellipticRegion(const RECT& r) {
    return annIsEmpty(r) ? emptyRegion() : CreateEllipticRgn(r.left, r.top, r.right, r.bottom);
}

// `outer` less `inner`, both taken over.
HRGN subtracted(HRGN outer, HRGN inner) {
    const bool made = outer && inner && CombineRgn(outer, outer, inner, RGN_DIFF) != RGN_ERROR;
    if (inner) DeleteObject(inner);
    if (made) return outer;
    if (outer) DeleteObject(outer);
    return nullptr;
}

AnnMatrix about(double x, double y, const AnnMatrix& m) {
    return annMul(annMul({1, 0, 0, 1, -x, -y}, m), {1, 0, 0, 1, x, y});
}

AnnMatrix turnBy(double angle) { return {std::cos(angle), -std::sin(angle), std::sin(angle), std::cos(angle), 0, 0}; }

// The perspectives that a region can be asked for in, and what they do about the middle of the object.
bool viewStep(uint32_t uViewPerspective, AnnMatrix& step) {
    switch (uViewPerspective) {
    case 0: step = identityMatrix; return true;
    case 2: step = {1, 0, 0, -1, 0, 0}; return true;
    case 4: step = turnBy(1.570796326794895); return true;
    case 8: step = turnBy(4.712388980384685); return true;
    default: return false;
    }
}

int matrixOf(const AnnObject& record, const AnnRgnXForm* pXForm, AnnMatrix& matrix) {
    matrix = identityMatrix;
    if (!pXForm) return SUCCESS;
    AnnMatrix step;
    if (!pXForm->nScalarDenX || !pXForm->nScalarDenY || !viewStep(pXForm->uViewPerspective, step))
        return ERROR_INV_PARAMETER;
    matrix = {double(pXForm->nScalarNumX) / pXForm->nScalarDenX,
              0,
              0,
              double(pXForm->nScalarNumY) / pXForm->nScalarDenY,
              double(pXForm->nOffsetX),
              double(pXForm->nOffsetY)};
    if (!pXForm->uViewPerspective) return SUCCESS;
    RECT seen;
    annDeviceRect(record, matrix, seen, nullptr, 0);
    matrix = annMul(matrix, about((double(seen.left) + seen.right) / 2, (double(seen.top) + seen.bottom) / 2, step));
    return SUCCESS;
}

} // namespace

EllipseOutline annEllipseOutline(const AnnMatrix& matrix, const AnnPoint (&quad)[3], double width, bool bHollow) {
    const int64_t t = annLineTolerance(width, matrix);
    EllipseOutline made;
    RECT rect;
    made.upright = annQuadRect(matrix, quad, rect);
    if (made.upright) {
        made.outer = grown(rect, t / 2);
        if (bHollow) made.inner = grown(made.outer, -t);
    } else {
        const std::vector<POINT> polygon = annEllipsePolygon(matrix, quad);
        made.outerPolygon = grown(polygon, t);
        if (bHollow) made.innerPolygon = grown(polygon, -((t + 1) / 2 + 1));
    }
    return made;
}

HRGN annEllipseRegion(const AnnMatrix& matrix, const AnnPoint (&quad)[3], double width, bool bHollow) {
    const EllipseOutline e = annEllipseOutline(matrix, quad, width, bHollow);
    const HRGN outer = e.upright ? ellipticRegion(e.outer) : polygonRegion(e.outerPolygon, WINDING);
    if (!bHollow) return outer;
    return subtracted(outer, e.upright ? ellipticRegion(e.inner) : polygonRegion(e.innerPolygon, WINDING));
}

HRGN annPolygonRegion(const AnnMatrix& matrix, std::span<const AnnPoint> points, int fillMode) {
    std::vector<POINT> pixels(points.size());
    std::ranges::transform(points, pixels.begin(), [&](AnnPoint p) { return annRound(annApply(matrix, p)); });
    return polygonRegion(pixels, fillMode);
}

int annObjectRegion(const AnnObject& record, const AnnRgnXForm* pXForm, HRGN& region) {
    const std::span<const AnnPoint> points{record.pPoints.data(), record.nPoints()};
    enum class Form : uint8_t { quad, ellipse, polygon } form;
    switch (record.nType) {
    case ANN_OBJECT_BUTTON:
    case ANN_OBJECT_HILITE:
    case ANN_OBJECT_HOTSPOT:
    case ANN_OBJECT_NOTE:
    case ANN_OBJECT_RECT:
    case ANN_OBJECT_REDACT:
    case ANN_OBJECT_STAMP:
    case ANN_OBJECT_TEXT: form = Form::quad; break;
    case ANN_OBJECT_ELLIPSE: form = Form::ellipse; break;
    case ANN_OBJECT_FREEHAND:
    case ANN_OBJECT_POLYGON:
    case ANN_OBJECT_POLYLINE:
    case ANN_OBJECT_FREEHANDHOTSPOT: form = Form::polygon; break;
    default: return ERROR_INV_PARAMETER;
    }
    AnnMatrix matrix;
    if (const int code = matrixOf(record, pXForm, matrix); code != SUCCESS) return code;
    HRGN made = nullptr;
    if (!annIsDrawable(record, matrix))
        made = emptyRegion(); // as it is drawn nowhere
    else if (form == Form::quad)
        made = annQuadRegion(matrix, record.quad);
    else if (form == Form::ellipse)
        made = annEllipseRegion(matrix, record.quad, record.dLineWidth, false);
    else
        made = annPolygonRegion(matrix, points, annFillModeOf(record));
    if (!made) return ERROR_NO_MEMORY;
    region = made;
    return SUCCESS;
}

} // namespace kbann
