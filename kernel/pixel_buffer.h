// Counted pixel buffers. Records share one until one of them writes (record.h). The palette stands in the buffer so that a
// record copied by value needs no second allocation and its palette pointer lives as long as its pixels.
#pragma once

#include "contracts/raster_kernel.h"

#include <atomic>
#include <cstddef>

struct KernelPixels {
    std::atomic<uint32_t> owners{1};
    std::atomic<uint32_t> drawn{0}; // owners that are open contexts drawing into the rows
    uint8_t* rows = nullptr;
    size_t size = 0;   // bytes of all rows
    size_t mapped = 0; // bytes of the mapping, 0 when the rows follow this record in memory
    RGBQUAD palette[256] = {};
};

namespace kb {

// Most bytes that one image may take; larger ones are refused as out of memory before the system is asked.
inline constexpr size_t maxPixelBytes = size_t{1} << 34;

// A buffer with one owner, or null. Rows are zero when `zeroed`, else left as they come.
KernelPixels* allocatePixels(size_t size, bool zeroed) noexcept;
void retainPixels(KernelPixels* pixels) noexcept;
void releasePixels(KernelPixels* pixels) noexcept; // null is allowed

} // namespace kb
