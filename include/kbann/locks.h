/* Locks: a guard against changes with the mouse and against lifting a redaction, not an access right: properties can be set
 * on a locked object. A key is stored scrambled, not encrypted. */
#ifndef KBANN_LOCKS_H
#define KBANN_LOCKS_H

#include "contracts/return_codes.h"
#include "kbann/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Locks the objects that the flags let pass and deselects them; a locked one keeps its key, an empty key locks nothing,
 * nor does one that memory fails for. Others are passed over. ANN_FLAG_CHECKMENU tests the menu item
 * ANN_AUTOTEXT_MENU_LOCK; ANN_FLAG_USER has no effect. pszKey: of any length, copied. ERROR_INV_PARAMETER: bad handle,
 * null key. */
KB_API int K_AnnLock(HANNOBJECT hObject, const char* pszKey, uint32_t uFlags);
/* Unlocks those that the flags let pass and that have this very key, upper and lower case told apart. Menu item
 * ANN_AUTOTEXT_MENU_UNLOCK. ERROR_ANN_LOCKED: some have another one and stay locked; those with this one are open.
 * ERROR_INV_PARAMETER: bad handle, null key. */
KB_API int K_AnnUnlock(HANNOBJECT hObject, const char* pszKey, uint32_t uFlags);
/* *pbLocked: 1 or 0. ERROR_INV_PARAMETER: bad handle, null pointer. */
KB_API int K_AnnGetLocked(HANNOBJECT hObject, BOOL* pbLocked);

#ifdef __cplusplus
}
#endif
#endif
