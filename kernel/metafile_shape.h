// What a metafile's bits tell of the picture before it is played.
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

// Gives the holder of a handle that was just made box and size: of a classic metafile the window that it sets first, else the
// extent of its coordinates, at 96 units an inch; of an enhanced one the frame.
void measureMetafile(MetafileBits bits, KernelMetafile* m);
// Size of a box at so many units an inch, in 1/100 millimetre.
void sizeFromBox(KernelMetafile* m, int unitsPerInch);

} // namespace kb
