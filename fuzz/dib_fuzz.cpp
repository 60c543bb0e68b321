// Packed device-independent bitmaps that nobody vouches for, and back into memory.
#include "fuzz/image_fuzz.h"

#include "platform/sys.h"

#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 16) return 0;
    // Sides come first in the header; huge ones, which need run-length data, only cost time here.
    int32_t sides[2];
    std::memcpy(sides, data + 4, sizeof sides);
    if (data[0] != 12 && std::abs(static_cast<int64_t>(sides[0])) * std::abs(static_cast<int64_t>(sides[1])) > 1 << 16)
        return 0;
    KernelBitmap b{};
    const int result = K_BitmapFromDIBBytes(&b, data, size, data[size - 1] & 1 ? 0 : data[size - 2]);
    if (result != SUCCESS) {
        if (b.Allocated) __builtin_trap();
        return 0;
    }
    fuzz::useImage(b);
    HGLOBAL handle = K_BitmapToDIBHandle(&b);
    KernelBitmap again{};
    if (!handle || K_BitmapFromDIBHandle(&again, handle) != SUCCESS || again.Width != b.Width) __builtin_trap();
    K_FreeBitmap(&again);
    GlobalFree(handle);
    K_FreeBitmap(&b);
    return 0;
}
