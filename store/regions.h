// Platform regions of objects, the caller's to delete; null when memory fails. Each has a test for one pixel in
// store/hit_shapes.h.
#pragma once

#include "store/geometry.h"

namespace kbann {

// How the device fills an object's polygon.
inline int annFillModeOf(const AnnObject& record) { return record.nPolyFillMode ? ALTERNATE : WINDING; }

// An ellipse as it is hit: widened by half a line, less, when it is hollow, what lies further inside than the line.
struct EllipseOutline {
    bool upright = false;
    RECT outer{}, inner{};                         // of an upright ellipse
    std::vector<POINT> outerPolygon, innerPolygon; // of a turned one
};
// Throws std::bad_alloc.
EllipseOutline annEllipseOutline(const AnnMatrix& matrix, const AnnPoint (&quad)[3], double width, bool bHollow);

HRGN annEllipseRegion(const AnnMatrix& matrix, const AnnPoint (&quad)[3], double width, bool bHollow);
// Empty for fewer than two points.
HRGN annPolygonRegion(const AnnMatrix& matrix, std::span<const AnnPoint> points, int fillMode);

// The region of an object as K_AnnGetRgnHandle gives it.
int annObjectRegion(const AnnObject& record, const AnnRgnXForm* pXForm, HRGN& region);

} // namespace kbann
