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
 * or locked container with all that is in it.
 * pPoint: in and out; on ANN_HIT_HANDLE it becomes the handle's exact position. pnResult: ANN_HIT_*. phObject: the object,
 * null for a miss, which is ANN_HIT_NONE with SUCCESS. ERROR_INV_PARAMETER: bad handle, null pointer. */
KB_API int K_AnnHitTest(HANNOBJECT hObject, POINT* pPoint, uint32_t* pnResult, HANNOBJECT* phObject);
/* K_AnnHitTest, and what is hit is selected, unless it is a container. */
KB_API int K_AnnSelectPoint(HANNOBJECT hObject, const POINT* pPoint);
/* Selects what lies in the rectangle with all its bounds; nothing is deselected. Groups are selected whole. */
KB_API int K_AnnSelectRect(HANNOBJECT hObject, const RECT* pRect);
/* Number of selected objects among hObject and all below it. */
KB_API int K_AnnGetSelectCount(HANNOBJECT hObject, uint32_t* puCount);
/* The same objects, depth first: an object, then its children. pItems has room for what K_AnnGetSelectCount gives. */
KB_API int K_AnnGetSelectItems(HANNOBJECT hObject, HANNOBJECT* pItems);
/* Union of the bounds of the selected objects among hObject and all below it; empty when there is none. */
KB_API int K_AnnGetSelectRect(HANNOBJECT hObject, RECT* pRect);
/* A new region of the object, the caller's to delete with DeleteObject. pXForm null: in the object's own space.
 * ERROR_INV_PARAMETER: bad handle, null pointer, types without region, perspectives other than 0, 2, 4 and 8. */
KB_API int K_AnnGetRgnHandle(HANNOBJECT hObject, const AnnRgnXForm* pXForm, HRGN* phRgn);
/* Number of pixels of the object's region in its own space. Codes as K_AnnGetRgnHandle. */
KB_API int K_AnnGetArea(HANNOBJECT hObject, uint32_t* puCount);

#ifdef __cplusplus
}
#endif
#endif
