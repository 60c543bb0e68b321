// What the image targets do with their bytes: load every page within a small pixel limit, look at each pixel, and take the
// image through the operations that a viewer would use on it.
#pragma once

#include "contracts/raster_io.h"
#include "platform/sys.h"

#include <cstdint>

namespace fuzz {

inline void useImage(KernelBitmap& b) {
    uint32_t sum = 0;
    for (int y = 0; y < b.Height; y += b.Height / 8 + 1) {
        for (int x = 0; x < b.Width; x += b.Width / 8 + 1) sum += K_GetBitmapPixel(&b, y, x);
    }
    KernelBitmap copy{};
    if (K_CopyBitmap(&copy, &b) == SUCCESS) {
        K_SetBitmapRgnColor(&copy, static_cast<COLORREF>(sum & 0xFFFFFF), 6);
        K_NormalizeBitmap(&copy);
        K_ChangeBitmapDepth(&copy, &copy, sum & 1 ? 8 : 24, 0, 0, 0, 0, 0, 0);
        K_FreeBitmap(&copy);
    }
}

// The walks over a file that look for what a load passes by.
inline void judgeFile(const uint8_t* data, size_t size) {
    const auto ignore = [](const KernelLeftover*, void*) -> int { return SUCCESS; };
    K_FindLeftovers(data, size, ignore, nullptr);
    HGLOBAL profile = nullptr;
    size_t profileSize = 0;
    if (K_LoadColorProfile(data, size, 1, &profile, &profileSize) == SUCCESS) GlobalFree(profile);
}

// Loads the pages of a file in memory, at most a few; gives whether the first one was an image.
inline bool loadPages(const uint8_t* data, size_t size, int format) {
    K_SetPixelLimit(1 << 16); // larger ones find nothing new and cost time
    if (K_RecognizeFormat(data, size) != format) return false;
    judgeFile(data, size);
    KernelFileInfo info{};
    K_MemoryFileInfo(data, &info, size, 0, 0);
    KernelLoadOptions options;
    K_DefaultLoadOptions(&options, sizeof options);
    bool first = false;
    for (options.nPageNumber = 1; options.nPageNumber <= 4; ++options.nPageNumber) {
        KernelBitmap b{};
        const int result = K_LoadMemory(data, &b, 0, 0, size, &options, nullptr);
        if (result == ERROR_PAGE_NOT_FOUND) break;
        if (result != SUCCESS) {
            if (b.Allocated || b.pPixels) __builtin_trap(); // a failed load leaves nothing
            continue;
        }
        first = first || options.nPageNumber == 1;
        useImage(b);
        K_FreeBitmap(&b);
    }
    return first;
}

} // namespace fuzz
