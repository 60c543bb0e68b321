/* Geometry of objects. Coordinates are doubles in container space: an object's numbers count from the top left corner of
 * its container's rectangle, y down. A zoom is the root's scalars, a scroll its offsets (kbann/properties.h).
 *
 * Families: quad types (container, audio, button, ellipse, hilite, hotspot, note, rect, redact, stamp, text, video,
 * pushpin) are a parallelogram; a pointer has tip and tail; line and ruler have 2 points, a cross product 5, a point
 * object 1, a protractor 3 (arm, vertex, arm); freehand, polygon, polyline and freehand hotspot any number. An automation
 * has no geometry. A transform of a container leaves its children's numbers alone unless the flags reach them. */
#ifndef KBANN_GEOMETRY_H
#define KBANN_GEOMETRY_H

#include "contracts/return_codes.h"
#include "kbann/constants.h"
#include "kbann/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Sets the geometry from a rectangle: quad types; line (from left, top to right, bottom); pointer (tail at left, top, tip
 * at right, bottom). Left may lie right of right.
 * ERROR_INV_PARAMETER: bad handle, null pointer, another type. ERROR_NO_MEMORY: the object is without points then. */
KB_API int K_AnnSetRect(HANNOBJECT hObject, const AnnRect* pRect);

/* pRect: receives the bounds of the geometry; pNameRect: the rectangle of the shown name in the object's space, all zero
 * when no name is shown. Either may be null. All types. ERROR_INV_PARAMETER: bad handle. */
KB_API int K_AnnGetRect(HANNOBJECT hObject, AnnRect* pRect, AnnRect* pNameRect);

/* The same in client pixels as drawn, with room for the line's width. Either may be null. ERROR_INV_PARAMETER: bad
 * handle. */
KB_API int K_AnnGetBoundingRect(HANNOBJECT hObject, RECT* pRect, RECT* pNameRect);

/* Sets the points of a pointer (tip, tail) or of a point type; they are copied. nPoints: as many as the type has.
 * With null points or 0, where the type has any number, the object stays without points.
 * ERROR_INV_PARAMETER: bad handle, a count that the type hasn't. ERROR_FEATURE_NOT_SUPPORTED: another type.
 * ERROR_NO_MEMORY: the object is without points then. */
KB_API int K_AnnSetPoints(HANNOBJECT hObject, const AnnPoint* pPoints, uint32_t nPoints);

/* Copies the points into pPoints, which has room for what K_AnnGetPointCount gives. Pointer and point types.
 * ERROR_INV_PARAMETER: bad handle, null pointer. ERROR_FEATURE_NOT_SUPPORTED: another type. */
KB_API int K_AnnGetPoints(HANNOBJECT hObject, AnnPoint* pPoints);
KB_API int K_AnnGetPointCount(HANNOBJECT hObject, uint32_t* pnPoints);

/* Transforms of the objects that the flags let pass, one by one. pCenter: the fixed point in container space, or null for
 * each object's own centre. Objects that stand upright (audio, button, hotspot, note, video, pushpin; text under flips)
 * change their place alone; pictures of stamps and redactions turn and flip along.
 * All give ERROR_INV_PARAMETER for a bad handle, and ERROR_FEATURE_NOT_SUPPORTED when, without ANN_FLAG_RECURSE, an object
 * doesn't pass the flags: the walk ends there, objects before it have changed. Codes of a failed picture pass through.
 * ANN_FLAG_CHECKMENU has no effect here; ANN_FLAG_USER lets objects pass that have no user. */

/* Shifts by dx, dy container units. */
KB_API int K_AnnMove(HANNOBJECT hObject, double dx, double dy, uint32_t uFlags);
/* Scales by dScaleX, dScaleY (1 leaves as is). ERROR_INV_PARAMETER also when hObject is a point object. */
KB_API int K_AnnResize(HANNOBJECT hObject, double dScaleX, double dScaleY, const AnnPoint* pCenter, uint32_t uFlags);
/* Turns by dAngle degrees, clockwise as seen. */
KB_API int K_AnnRotate(HANNOBJECT hObject, double dAngle, const AnnPoint* pCenter, uint32_t uFlags);
/* Mirrors top to bottom (K_AnnFlip) or left to right (K_AnnReverse). */
KB_API int K_AnnFlip(HANNOBJECT hObject, const AnnPoint* pCenter, uint32_t uFlags);
KB_API int K_AnnReverse(HANNOBJECT hObject, const AnnPoint* pCenter, uint32_t uFlags);

#ifdef __cplusplus
}
#endif
#endif
