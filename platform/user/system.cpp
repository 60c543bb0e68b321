// System colours and sizes.
#include "platform/user.h"

#include <algorithm>
#include <array>
#include <cstdint>

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

} // namespace

extern "C" {

COLORREF GetSysColor(int index) { return lookUp(systemColors, index); }
int GetSystemMetrics(int index) { return static_cast<int>(lookUp(systemMetrics, index)); }

} // extern "C"
