// Locks: the key that an object was locked with, and the walks that set and lift it.
#pragma once

#include "platform/user.h"
#include "store/handles.h"

namespace kbann {

// Locks the objects that pass and deselects them. One that is locked already keeps its key; an empty key, or one that
// memory fails for, leaves the object unlocked. With bSiblings it goes on through the objects in front. hEventWnd gets
// ANN_EVENT_LOCKED for each; null for no events.
int annLock(AnnObject& record, const char* pszKey, uint32_t uFlags, bool bSiblings, HWND hEventWnd);
// Unlocks those that pass and have this very key, with ANN_EVENT_UNLOCKED. ERROR_ANN_LOCKED, after all others are done:
// some have another one.
int annUnlock(AnnObject& record, const char* pszKey, uint32_t uFlags, bool bSiblings, HWND hEventWnd);

} // namespace kbann
