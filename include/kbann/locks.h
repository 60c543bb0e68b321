/* Locks: a guard against changes with the mouse and against lifting a redaction, not an access right: properties can be set
 * on a locked object. A key is stored scrambled, not encrypted. */
#ifndef KBANN_LOCKS_H
#define KBANN_LOCKS_H

#include "contracts/return_codes.h"
#include "kbann/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Locks the objects that the flags let pass and deselects them; a locked one keeps its key, an empty key locks nothing.
 * ERROR_INV_PARAMETER: bad handle, null key. ERROR_FEATURE_NOT_SUPPORTED: without ANN_FLAG_RECURSE, an object that the
 * flags don't let pass. */
KB_API int K_AnnLock(HANNOBJECT hObject, const char* pszKey, uint32_t uFlags);
/* Unlocks those that have this very key. ERROR_ANN_LOCKED: some have another one and stay locked. */
KB_API int K_AnnUnlock(HANNOBJECT hObject, const char* pszKey, uint32_t uFlags);
/* *pbLocked: 1 or 0. */
KB_API int K_AnnGetLocked(HANNOBJECT hObject, BOOL* pbLocked);

#ifdef __cplusplus
}
#endif
#endif
