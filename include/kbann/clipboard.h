/* The clipboard: trees with all their properties in the library's own format, and pictures of them for other programs.
 *
 * hObject: an object, drawn or saved with all below it. bSelected: selected objects alone. bCheckMenu: only those that the
 * menu item of the call (copy or cut) is enabled for. */
#ifndef KBANN_CLIPBOARD_H
#define KBANN_CLIPBOARD_H

#include "contracts/return_codes.h"
#include "kbann/constants.h"
#include "kbann/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Puts an object on the clipboard, which the object's window opens (without one: the calling thread). uFormat: ANN_FMT_NATIVE
 * or ANN_FMT_ENCODED, a stream that can be pasted; ANN_FMT_WMF, a metafile of the size of the whole tree, the object where it
 * stands in it. bEmpty: what was there goes first, even if the form is then refused. Two calls make a full copy: a stream
 * with bEmpty set, then ANN_FMT_WMF without.
 * ERROR_INV_PARAMETER: bad handle. ERROR_FAILURE: the clipboard can't be opened. ERROR_FEATURE_NOT_SUPPORTED: another form.
 * ERROR_NO_MEMORY, and the errors of K_AnnSaveMemory: nothing was put there. */
KB_API int K_AnnCopyToClipboard(HANNOBJECT hObject, uint32_t uFormat, BOOL bSelected, BOOL bEmpty, BOOL bCheckMenu);

/* The same, and on success what was taken is destroyed. Objects that the item "cut" isn't enabled for stay, with bCheckMenu or
 * without, but for those in a container that goes: it takes all with it, and with bCheckMenu they aren't on the clipboard
 * either. With bSelected and nothing selected nothing is destroyed. */
KB_API int K_AnnCutToClipboard(HANNOBJECT hObject, uint32_t uFormat, BOOL bSelected, BOOL bEmpty, BOOL bCheckMenu);

/* Makes a new tree of what is on the clipboard, the caller's, without a window. hWnd: the window that opens the clipboard, or
 * null. Data of earlier versions is read too. ERROR_INV_PARAMETER: no place for the result. ERROR_FAILURE: the clipboard can't be
 * opened. ERROR_FEATURE_NOT_SUPPORTED: it holds no annotations. The errors of K_AnnLoadMemory. A failure leaves *phObject. */
KB_API int K_AnnCopyFromClipboard(HWND hWnd, HANNOBJECT* phObject);

/* *pbReady: TRUE if there is something to paste; a picture isn't. ERROR_INV_PARAMETER: null. */
KB_API int K_AnnClipboardReady(BOOL* pbReady);

#ifdef __cplusplus
}
#endif
#endif
