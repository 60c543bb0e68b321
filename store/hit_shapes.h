// Whether a pixel lies on a shape. Lines are at least 3 pixels wide here, so that thin ones can be met. Where a platform
// region would tell, its answer is worked out without making one: the pixels are the same.
#pragma once

#include "store/geometry.h"

namespace kbann {

// The width that a line has under the matrix when it is to be hit: rounded, or 3 if that is below 4.
int32_t annLineTolerance(double width, const AnnMatrix& matrix);

// A segment of pixels, `width` pixels wide (3 if below 4), with a pixel or two around it.
bool annHitSegment(POINT a, POINT b, int32_t width, POINT point);
// The segments between consecutive points under the matrix, and with bClosed from the last to the first; one point has none.
// The width is scaled by the matrix.
bool annHitPolyline(const AnnMatrix& matrix, std::span<const AnnPoint> points, double width, POINT point, bool bClosed);
// The outline of a quad.
bool annHitFrame(const AnnMatrix& matrix, const AnnPoint (&quad)[3], double width, POINT point);
// The outline of a pointer, its inside too where its line is 2 pixels wide or wider.
bool annHitPointer(const AnnObject& record, POINT point);
// The black pixels of a mask stretched over a rectangle; a mask that isn't allocated is black all over.
bool annHitMask(const RECT& rect, const KernelBitmap& mask, POINT point);
// A measured line: its strokes, and the rectangle of its text if shown.
bool annHitRuler(const AnnObject& record, POINT point, AnnPoint first, AnnPoint second, const RECT& text);
// The arc of a protractor with three points.
bool annHitArc(const AnnObject& record, POINT point);

// The pixels of annQuadRegion, annPolygonRegion and annEllipseRegion. The last throws std::bad_alloc.
bool annInQuad(const AnnMatrix& matrix, const AnnPoint (&quad)[3], POINT point);
bool annInPolygon(const AnnMatrix& matrix, std::span<const AnnPoint> points, int fillMode, POINT point);
bool annInPolygon(std::span<const POINT> points, int fillMode, POINT point);
bool annInEllipse(const AnnMatrix& matrix, const AnnPoint (&quad)[3], double width, bool bHollow, POINT point);

} // namespace kbann
