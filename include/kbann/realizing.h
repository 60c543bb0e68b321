/* Sending a tree somewhere else than its window: into the pixels of an image and, for redactions, out again; to a printer. */
#ifndef KBANN_REALIZING_H
#define KBANN_REALIZING_H

#include "contracts/raster_kernel.h"
#include "contracts/return_codes.h"
#include "kbann/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Draws an object and all below it on a context, scaled so that its bounds fill pRect (device pixels; null: its own
 * bounds). No handles, no locked icons. ERROR_INV_PARAMETER: bad object. */
KB_API int K_AnnPrint(HDC hDC, const RECT* pRect, HANNOBJECT hObject);
/* Draws the object and all below it into the pixels. pRect: viewed pixels that the bounds of the object (of its container,
 * for an item) are fitted to; null: 0, 0 to the stored width and height, which suits perspectives whose sides aren't
 * swapped. bRedactOnly: redactions alone, and the pixels under each are kept in the object so that K_AnnUnrealize can put
 * them back; of one that reaches beyond the image the part on it, of one beside the image nothing. ERROR_INV_PARAMETER:
 * bad object, no pixels or borrowed ones, 12 or 16 bit grey. ERROR_NO_MEMORY: redactions that were reached before keep
 * their pixels. */
KB_API int K_AnnRealize(KernelBitmap* pBitmap, const RECT* pRect, HANNOBJECT hObject, BOOL bRedactOnly);
/* Puts the kept pixels of redactions back, bit for bit where the redaction is still where it was; the objects hold none
 * afterwards. They are put back in drawing order: where a redaction was realized in a later call over one that was covered
 * already, it has kept that one's black, which stands there in the end. pRect: as for K_AnnRealize, and the same as there.
 * bSelected: of selected ones alone.
 * ERROR_ANN_LOCKED: some are locked and stay covered, all others have been put back. ERROR_INV_PARAMETER: as K_AnnRealize,
 * nothing has changed. ERROR_NO_MEMORY: redactions that weren't reached still hold their pixels. */
KB_API int K_AnnUnrealize(KernelBitmap* pBitmap, const RECT* pRect, HANNOBJECT hObject, BOOL bSelected);

#ifdef __cplusplus
}
#endif
#endif
