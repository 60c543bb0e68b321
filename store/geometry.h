// Where an object is: what annUpdate derives from its geometry, and the shapes that drawing, hit testing and repainting
// share.
#pragma once

#include "platform/gdi.h"
#include "store/matrix.h"
#include "store/record.h"

#include <span>
#include <vector>

namespace kbann {

enum class Repaint : uint8_t { none, object, handles };

// Must follow every change of an object: asks for a repaint of where it was and where it is, and derives anew the fields
// of it and of all that is below it.
void annUpdate(AnnObject& record, Repaint repaint);
// Before a change, when the derived fields still hold: the repaint alone is asked for.
void annUpdateBefore(AnnObject& record, Repaint repaint);
// Derives the fields of an object and all its descendants.
void annComputeGeometry(AnnObject& top);
// Extent of the object under a matrix (null: none). Leaves `out` alone for types without geometry.
void annBoundsOf(const AnnObject& record, const AnnMatrix* matrix, AnnRect& out);

// The fourth corner comes out of the three.
inline AnnPoint annFourthCorner(const AnnPoint (&quad)[3]) {
    return {quad[0].x + quad[2].x - quad[1].x, quad[0].y + quad[2].y - quad[1].y};
}
struct QuadCorners {
    AnnPoint p[4];
};
// Corners A, B, C, D under a matrix.
QuadCorners annQuadCorners(const AnnMatrix& matrix, const AnnPoint (&quad)[3]);
// Whether a quad is an upright rectangle under a matrix, within 0.9 pixel; gives that rectangle, whose right and bottom
// edges lie one pixel further than the geometry, as the device leaves the last row and column out. The rectangle is cut to
// `limit` on all sides; what is drawn on pixels takes annUprightRect, which goes as far as images do.
inline constexpr int32_t quadRectLimit = 32'000; // what devices of 16 bits can hold
bool annQuadRect(const AnnMatrix& matrix, const AnnPoint (&quad)[3], RECT& out, int32_t limit = quadRectLimit);
// Region of a quad, the caller's; null on failure.
HRGN annQuadRegion(const AnnMatrix& matrix, const AnnPoint (&quad)[3]);

// The ellipse of a turned quad in pixels, a vertex a pixel of its longer way round. Throws std::bad_alloc.
std::vector<POINT> annEllipsePolygon(const AnnMatrix& matrix, const AnnPoint (&quad)[3]);
// Geometry that isn't finite is drawn nowhere and never hit.
bool annIsDrawable(const AnnObject& record, const AnnMatrix& matrix);

// Head and shaft of a pointer in client pixels: tip, wing 1, notch, tail, notch, wing 2.
struct PointerOutline {
    POINT p[6];
};
double annArrowSize(const AnnObject& record, const AnnMatrix& matrix);
PointerOutline annPointerOutline(const AnnObject& record, const AnnMatrix& matrix);

// The five points of a cross product under a transform; the second line is turned to a right angle with the first.
void annCrossSquare(const AnnMatrix* matrix, AnnPoint (&points)[5]);

// The font of the object under a matrix, turned by tenths of a degree counter-clockwise.
LOGFONTA annFontOf(const AnnMatrix& matrix, const AnnObject& record, int tenths);
// The same, made; the caller's.
HFONT annMakeFont(const AnnMatrix& matrix, const AnnObject& record, int tenths);

class TextExtents;

// The shape's rectangle in pixels before any room for the line; empty for types without geometry. Options as for
// annDeviceRect.
RECT annShapeBounds(const AnnObject& record, const AnnMatrix& matrix, uint32_t uOptions = 0);
// Where the name stands, above the top left corner of `bounds`; `shift` receives how far it was pushed into the parent.
RECT annPlaceName(const AnnObject& record, const AnnMatrix& matrix, const RECT& bounds, TextExtents& extents, POINT& shift);
inline bool annShowsName(const AnnObject& record) { return record.bShowName && record.pszName; }

// The rectangle under any matrix as drawing needs it: without the selection's room. The name's rectangle if asked for.
// Options: bit 1 leaves out the texts of measurement objects, bits 2 and 4 the first and second line of a cross product.
void annDeviceRect(const AnnObject& record, const AnnMatrix& matrix, RECT& out, RECT* pName, uint32_t uOptions);

// Applies a matrix to an object's geometry, in the way that `how` tells.
enum class Transform : uint8_t { moveOrResize, flip, reverse, rotate };
int annApplyMatrix(AnnObject& record, Transform how, const AnnMatrix& matrix, double degrees);

// Takes a whole object through a matrix, whatever its type, and derives its fields anew. Pixels that it brings along stay.
void annApplyTransform(const AnnMatrix& matrix, AnnObject& record);

} // namespace kbann
