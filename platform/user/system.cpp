// System colours and sizes, and the names of clipboard formats.
#include "platform/user/state.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

namespace {

struct Row {
    int index;
    uint32_t value;
};

constexpr auto systemColors = std::to_array<Row>({{COLOR_WINDOW, 0xFFFFFF},
                                                  {COLOR_WINDOWFRAME, 0x000000},
                                                  {COLOR_WINDOWTEXT, 0x000000},
                                                  {COLOR_BTNFACE, 0xC0C0C0},
                                                  {COLOR_BTNSHADOW, 0x808080},
                                                  {COLOR_BTNTEXT, 0x000000},
                                                  {COLOR_BTNHIGHLIGHT, 0xFFFFFF}});

constexpr auto systemMetrics = std::to_array<Row>({{SM_CXSCREEN, 1280},
                                                   {SM_CYSCREEN, 1024},
                                                   {SM_CXBORDER, 1},
                                                   {SM_CYBORDER, 1},
                                                   {SM_CXDOUBLECLK, 4},
                                                   {SM_CYDOUBLECLK, 4}});

template <class Rows> uint32_t lookUp(const Rows& rows, int index) {
    const auto found = std::ranges::find(rows, index, &Row::index);
    return found == rows.end() ? 0 : found->value;
}

constexpr UINT firstFormat = 0xC000;

} // namespace

extern "C" {

COLORREF GetSysColor(int index) { return lookUp(systemColors, index); }
int GetSystemMetrics(int index) { return static_cast<int>(lookUp(systemMetrics, index)); }

UINT RegisterClipboardFormatA(const char* pszName) {
    if (!pszName || !*pszName) return 0;
    auto& state = kb::userState();
    const std::lock_guard lock(state.mutex);
    auto& names = state.clipboardFormats;
    try {
        auto found = std::ranges::find(names, pszName);
        if (found == names.end()) found = names.insert(names.end(), pszName);
        return firstFormat + static_cast<UINT>(found - names.begin());
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

int GetClipboardFormatNameA(UINT format, char* pszName, int size) {
    auto& state = kb::userState();
    const std::lock_guard lock(state.mutex);
    if (!pszName || size <= 0 || format < firstFormat || format - firstFormat >= state.clipboardFormats.size()) return 0;
    const auto& name = state.clipboardFormats[format - firstFormat];
    const size_t length = std::min(name.size(), static_cast<size_t>(size) - 1);
    std::memcpy(pszName, name.data(), length);
    pszName[length] = 0;
    return static_cast<int>(length);
}

} // extern "C"
