/* Finding objects by pixels, selecting by point and rectangle, regions and areas. Pixels are client pixels. */
#ifndef KBANN_HIT_TESTING_H
#define KBANN_HIT_TESTING_H

#include "contracts/return_codes.h"
#include "kbann/constants.h"
#include "kbann/types.h"
#include "platform/gdi.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Finds the front-most object at a point in the whole tree of hObject; hidden and locked objects are passed over, a hidden
 * or locked container with all that is in it. Lines count as at least 3 pixels wide. A root container answers to what no
 * object on it answers to.
 * pPoint: in and out; on ANN_HIT_HANDLE (of a selected object, in design mode) it becomes the handle's exact position.
 * pnResult: ANN_HIT_*. phObject: the object, null for a miss, which is ANN_HIT_NONE with SUCCESS.
 * ERROR_INV_PARAMETER: bad handle, null pointer. */
KB_API int K_AnnHitTest(HANNOBJECT hObject, POINT* pPoint, uint32_t* pnResult, HANNOBJECT* phObject);
/* K_AnnHitTest, and what is hit is selected, unless it is a container; SUCCESS too when nothing is.
 * ERROR_INV_PARAMETER: bad handle, null pointer. */
KB_API int K_AnnSelectPoint(HANNOBJECT hObject, const POINT* pPoint);
/* Selects what of the whole tree of hObject lies in the rectangle with all its bounds; nothing is deselected. Groups are
 * selected whole; hidden and locked objects stay as they are. ERROR_INV_PARAMETER: bad handle, null pointer. */
KB_API int K_AnnSelectRect(HANNOBJECT hObject, const RECT* pRect);
/* Number of selected objects among hObject and all below it. ERROR_INV_PARAMETER, of the next two as well: bad handle, null
 * pointer. */
KB_API int K_AnnGetSelectCount(HANNOBJECT hObject, uint32_t* puCount);
/* The same objects, depth first: an object, then its children. pItems has room for what K_AnnGetSelectCount gives. */
KB_API int K_AnnGetSelectItems(HANNOBJECT hObject, HANNOBJECT* pItems);
/* Union of the bounds of the selected objects among hObject and all below it, all zero when there is none. */
KB_API int K_AnnGetSelectRect(HANNOBJECT hObject, RECT* pRect);
/* A new region of the object, the caller's to delete with DeleteObject. pXForm null: in the object's own space.
 * Quads: button, hilite, hotspot, note, rect, redact, stamp, text. An ellipse, filled and widened by half its line. Polygons by
 * their fill mode: freehand, polygon, polyline, freehand hotspot; fewer than two points make an empty region, and so does
 * geometry that isn't finite. Regions reach from -2^20 to 2^20.
 * ERROR_INV_PARAMETER: bad handle, null pointer, types without region, perspectives other than 0, 2, 4 and 8, a zero
 * denominator. ERROR_NO_MEMORY. After a failure *phRgn is as it was. */
KB_API int K_AnnGetRgnHandle(HANNOBJECT hObject, const AnnRgnXForm* pXForm, HRGN* phRgn);
/* Number of pixels of the object's region in its own space. Codes as K_AnnGetRgnHandle. */
KB_API int K_AnnGetArea(HANNOBJECT hObject, uint32_t* puCount);

#ifdef __cplusplus
}
#endif
#endif
