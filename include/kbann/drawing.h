/* Drawing of a tree on a device context, over what is there already. */
#ifndef KBANN_DRAWING_H
#define KBANN_DRAWING_H

#include "contracts/return_codes.h"
#include "kbann/types.h"
#include "platform/gdi.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Draws an object, its children over it, and then its following siblings: for a whole tree pass its root. Selected objects
 * get their handles in design mode, locked ones their icon, named ones their name. An invisible container hides all that
 * is in it. Of the tree only derived values may change: sizes of arrow heads, the region of a transparent picture.
 * hDC: the context to draw on, in client pixels; its state is given back as it was. pRect: the part in client pixels that
 * is needed, or null for all of the object. Nothing is drawn beyond 8000 pixels from the origin.
 * ERROR_INV_PARAMETER: bad object. What can't be drawn is absent; on a dead context nothing is drawn, with SUCCESS. */
KB_API int K_AnnDraw(HDC hDC, const RECT* pRect, HANNOBJECT hObject);

#ifdef __cplusplus
}
#endif
#endif
