// Setting and lifting locks over a walk.
#include "store/locks.h"
#include "kbann/auto_text.h"
#include "store/geometry.h"
#include "store/tree.h"

#include <string_view>

namespace kbann {
namespace {

constexpr uint32_t walkFlags = ANN_FLAG_SELECTED | ANN_FLAG_NOTCONTAINER | ANN_FLAG_NOTTHIS | ANN_FLAG_RECURSE |
                               ANN_FLAG_NOINVALIDATE | ANN_FLAG_CHECKMENU;

// The last thing done to an object: the application may destroy it meanwhile.
void tell(HWND hEventWnd, uint32_t nEvent, uint32_t handle) {
    if (hEventWnd) SendMessageA(hEventWnd, WM_KBANNEVENT, nEvent, static_cast<LPARAM>(handle));
}

} // namespace

int annLock(AnnObject& record, const char* pszKey, uint32_t uFlags, bool bSiblings, HWND hEventWnd) {
    const Repaint repaint = uFlags & ANN_FLAG_NOINVALIDATE ? Repaint::none : Repaint::object;
    return annWalkPassing(&record, uFlags & walkFlags, bSiblings, ANN_AUTOTEXT_MENU_LOCK, [&](AnnObject& found) -> int {
        if (found.pszLockKey) return SUCCESS;
        annUpdateBefore(found, repaint);
        found.pszLockKey.assign(pszKey);
        found.bSelected = 0;
        annUpdate(found, repaint);
        if (found.pszLockKey) tell(hEventWnd, ANN_EVENT_LOCKED, found.hSelf); // an empty key locks nothing
        return SUCCESS;
    });
}

int annUnlock(AnnObject& record, const char* pszKey, uint32_t uFlags, bool bSiblings, HWND hEventWnd) {
    const Repaint repaint = uFlags & ANN_FLAG_NOINVALIDATE ? Repaint::none : Repaint::object;
    const std::string_view key = pszKey;
    int noted = SUCCESS;
    const int code =
        annWalkPassing(&record, uFlags & walkFlags, bSiblings, ANN_AUTOTEXT_MENU_UNLOCK, [&](AnnObject& found) -> int {
            if (!found.pszLockKey) return SUCCESS;
            if (found.pszLockKey.view() != key) {
                noted = ERROR_ANN_LOCKED;
                return SUCCESS;
            }
            found.pszLockKey.clear();
            annUpdate(found, repaint);
            tell(hEventWnd, ANN_EVENT_UNLOCKED, found.hSelf);
            return SUCCESS;
        });
    return code == SUCCESS ? noted : code;
}

} // namespace kbann
