// Windows: handle, procedure, messages sent at once, repaint requests on record.
#include "platform/user/state.h"

#include <algorithm>
#include <new>

namespace kb {

UserState& userState() {
    static UserState& state = *new UserState;
    return state;
}

} // namespace kb

namespace {

constexpr size_t maxInvalidRects = 65'536;

kb::Window* findWindow(HWND hWnd) { return kb::userState().windows.find(kb::handleValue(hWnd)); }

} // namespace

extern "C" {

HWND KbCreateWindow(WNDPROC procedure, LONG_PTR userData, int width, int height) {
    auto* window = new (std::nothrow) kb::Window;
    if (!window) return nullptr;
    window->procedure = procedure ? procedure : DefWindowProcA;
    window->userData = userData;
    window->width = width;
    window->height = height;
    const uint32_t handle = kb::userState().windows.add(window);
    if (!handle) delete window;
    return kb::toHandle<HWND>(handle);
}

BOOL DestroyWindow(HWND hWnd) {
    auto* window = kb::userState().windows.remove(kb::handleValue(hWnd));
    if (window) kb::leaveClipboard(hWnd);
    delete window;
    return window != nullptr;
}

BOOL IsWindow(HWND hWnd) { return findWindow(hWnd) != nullptr; }

BOOL GetClientRect(HWND hWnd, RECT* pRect) {
    const auto* window = findWindow(hWnd);
    if (!window || !pRect) return FALSE;
    *pRect = {0, 0, window->width, window->height};
    return TRUE;
}

LONG_PTR GetWindowLongPtrA(HWND hWnd, int index) {
    const auto* window = findWindow(hWnd);
    if (!window) return 0;
    return index == GWLP_WNDPROC    ? reinterpret_cast<LONG_PTR>(window->procedure)
           : index == GWLP_USERDATA ? window->userData
                                    : 0;
}

LONG_PTR SetWindowLongPtrA(HWND hWnd, int index, LONG_PTR value) {
    auto* window = findWindow(hWnd);
    if (!window) return 0;
    const LONG_PTR old = GetWindowLongPtrA(hWnd, index);
    if (index == GWLP_WNDPROC)
        window->procedure = reinterpret_cast<WNDPROC>(value);
    else if (index == GWLP_USERDATA)
        window->userData = value;
    return old;
}

LRESULT SendMessageA(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam) {
    const auto* window = findWindow(hWnd);
    return window && window->procedure ? window->procedure(hWnd, message, wParam, lParam) : 0;
}

LRESULT DefWindowProcA(HWND, UINT, WPARAM, LPARAM) { return 0; }

BOOL InvalidateRect(HWND hWnd, const RECT* pRect, BOOL) {
    auto* window = findWindow(hWnd);
    if (!window) return FALSE;
    const RECT rect = pRect ? *pRect : RECT{0, 0, window->width, window->height};
    if (rect.left >= rect.right || rect.top >= rect.bottom) return TRUE;
    auto& list = window->invalid;
    try {
        if (list.size() < maxInvalidRects) return list.push_back(rect), TRUE;
    } catch (const std::bad_alloc&) {
        if (list.empty()) return FALSE;
    }
    RECT& last = list.back();
    last = {std::min(last.left, rect.left), std::min(last.top, rect.top), std::max(last.right, rect.right),
            std::max(last.bottom, rect.bottom)};
    return TRUE;
}

BOOL GetUpdateRect(HWND hWnd, RECT* pRect, BOOL) {
    const auto* window = findWindow(hWnd);
    if (!window || window->invalid.empty()) {
        if (pRect) *pRect = {};
        return FALSE;
    }
    RECT all = window->invalid.front();
    for (const RECT& r : window->invalid)
        all = {std::min(all.left, r.left), std::min(all.top, r.top), std::max(all.right, r.right),
               std::max(all.bottom, r.bottom)};
    if (pRect) *pRect = all;
    return TRUE;
}

BOOL ValidateRect(HWND hWnd, const RECT*) {
    auto* window = findWindow(hWnd);
    if (!window) return FALSE;
    window->invalid.clear();
    return TRUE;
}

UINT KbGetInvalidRects(HWND hWnd, RECT* pRects, UINT capacity) {
    const auto* window = findWindow(hWnd);
    if (!window) return 0;
    if (pRects) std::copy_n(window->invalid.begin(), std::min<size_t>(capacity, window->invalid.size()), pRects);
    return static_cast<UINT>(window->invalid.size());
}

BOOL SetPropA(HWND hWnd, ATOM atom, HANDLE value) {
    auto* window = findWindow(hWnd);
    if (!window || !atom) return FALSE;
    try {
        window->properties[atom] = value;
    } catch (const std::bad_alloc&) {
        return FALSE;
    }
    return TRUE;
}

HANDLE GetPropA(HWND hWnd, ATOM atom) {
    const auto* window = findWindow(hWnd);
    if (!window) return nullptr;
    const auto found = window->properties.find(atom);
    return found == window->properties.end() ? nullptr : found->second;
}

HANDLE RemovePropA(HWND hWnd, ATOM atom) {
    const HANDLE value = GetPropA(hWnd, atom);
    if (auto* window = findWindow(hWnd)) window->properties.erase(atom);
    return value;
}

} // extern "C"
