// What a metafile tells of the picture before it is played.
#pragma once

#include "contracts/raster_kernel.h"

#include <cstdint>
#include <cstring>
#include <span>

namespace kb {

using MetafileBits = std::span<const uint8_t>;

// A number of the bits; 0 beyond their end.
template <class T> T metafileNumber(MetafileBits bits, size_t at) {
    T value{};
    if (at <= bits.size() && sizeof value <= bits.size() - at) std::memcpy(&value, bits.data() + at, sizeof value);
    return value;
}

// Gives the holder of a handle that was just made box and size. A classic metafile has the window that it sets first, else no
// box and the size of what it draws, both at 96 units an inch; an enhanced one the size of its frame, out of its bits.
// SUCCESS or ERROR_NO_MEMORY, the holder as it was.
int measureMetafile(MetafileBits bits, KernelMetafile* m) noexcept;
// Size of a box at so many units an inch, in 1/100 millimetre.
void sizeFromBox(KernelMetafile* m, const RECT& box, int unitsPerInch) noexcept;

} // namespace kb
