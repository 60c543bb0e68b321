// Exported functions: locks.
#include "kbann/locks.h"
#include "store/library.h"
#include "store/locks.h"

using namespace kbann;

int K_AnnLock(HANNOBJECT hObject, const char* pszKey, uint32_t uFlags) {
    return exported([&]() -> int {
        AnnObject* record = annFromHandle(hObject);
        return record && pszKey ? annLock(*record, pszKey, uFlags, false, nullptr) : ERROR_INV_PARAMETER;
    });
}

int K_AnnUnlock(HANNOBJECT hObject, const char* pszKey, uint32_t uFlags) {
    return exported([&]() -> int {
        AnnObject* record = annFromHandle(hObject);
        return record && pszKey ? annUnlock(*record, pszKey, uFlags, false, nullptr) : ERROR_INV_PARAMETER;
    });
}

int K_AnnGetLocked(HANNOBJECT hObject, BOOL* pbLocked) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || !pbLocked) return ERROR_INV_PARAMETER;
        *pbLocked = record->pszLockKey ? TRUE : FALSE;
        return SUCCESS;
    });
}
