// libtiff over our byte streams: opened through client calls alone, silent, and with a bound on single allocations.
#pragma once

#include "rasterio/image_io.h"

#include <tiffio.h>

#include <memory>

namespace kb {

struct CloseTiff {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using TiffPointer = std::unique_ptr<TIFF, CloseTiff>;

// mode: as TIFFOpen's; a file opened to be read without "m" is held in memory as a whole if that can be had. The stream
// outlives the handle. `maxAllocation`: bytes of one piece of memory, 0 for no bound.
TiffPointer openTiff(ByteStream& stream, const char* mode, uint64_t maxAllocation);

} // namespace kb
