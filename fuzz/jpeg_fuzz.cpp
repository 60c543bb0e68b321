// Files that begin like JPEG go through the reader, whatever follows, and have areas filled. What was filled has to be judged
// as such, and to come out of a second coding as the same bytes.
#include "fuzz/image_fuzz.h"

#include <cstring>

namespace {

void fillAreas(const uint8_t* data, size_t size) {
    constexpr RECT areas[] = {{3, 2, 30, 19}, {25, 10, 70, 40}};
    HGLOBAL filled = nullptr, again = nullptr;
    size_t filledSize = 0, againSize = 0;
    if (K_FillJpegAreas(data, size, areas, 2, 0, &filled, &filledSize) != SUCCESS) return;
    const void* bytes = GlobalLock(filled);
    uint32_t bad = 0;
    if (K_CheckJpegAreas(bytes, filledSize, areas, 2, 0, &bad) != SUCCESS || bad) __builtin_trap();
    if (K_FillJpegAreas(bytes, filledSize, nullptr, 0, 0, &again, &againSize) != SUCCESS) __builtin_trap();
    if (againSize != filledSize || std::memcmp(bytes, GlobalLock(again), againSize)) __builtin_trap();
    GlobalFree(filled);
    GlobalFree(again);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (fuzz::loadPages(data, size, KB_FORMAT_JPEG)) fillAreas(data, size);
    return 0;
}
