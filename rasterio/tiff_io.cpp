// Client calls of libtiff.
#include "rasterio/tiff_io.h"

#include <climits>
#include <cstdlib>

namespace kb {
namespace {

ByteStream& streamOf(thandle_t handle) { return *static_cast<ByteStream*>(handle); }

tmsize_t readBytes(thandle_t handle, void* out, tmsize_t count) {
    return count < 0 ? -1 : streamOf(handle).read(out, static_cast<size_t>(count));
}
tmsize_t writeBytes(thandle_t handle, void* data, tmsize_t count) {
    return count < 0 ? -1 : streamOf(handle).write(data, static_cast<size_t>(count));
}
toff_t seekTo(thandle_t handle, toff_t offset, int origin) {
    return static_cast<toff_t>(streamOf(handle).seek(static_cast<int64_t>(offset), origin));
}
int closeNothing(thandle_t) { return 0; }
toff_t sizeOf(thandle_t handle) { return static_cast<toff_t>(std::max<int64_t>(0, streamOf(handle).size())); }
// A copy of the whole file; without one libtiff reads piece by piece.
int mapWhole(thandle_t handle, void** base, toff_t* size) {
    constexpr toff_t largest = toff_t{1} << 30;
    const toff_t bytes = sizeOf(handle);
    if (!bytes || bytes > largest) return 0;
    void* memory = std::malloc(static_cast<size_t>(bytes));
    if (!memory) return 0;
    if (!streamOf(handle).readAt(0, memory, static_cast<size_t>(bytes))) {
        std::free(memory);
        return 0;
    }
    *base = memory;
    *size = bytes;
    return 1;
}
void unmapWhole(thandle_t, void* base, toff_t) { std::free(base); }
int silent(TIFF*, void*, const char*, const char*, va_list) { return 1; }

} // namespace

TiffPointer openTiff(ByteStream& stream, const char* mode, uint64_t maxAllocation) {
    stream.seek(0, SEEK_SET); // where libtiff takes a fresh file to be
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (!options) return nullptr;
    TIFFOpenOptionsSetErrorHandlerExtR(options, silent, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options, silent, nullptr);
    if (maxAllocation)
        TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(std::min<uint64_t>(maxAllocation, INT64_MAX)));
    TIFF* tiff = TIFFClientOpenExt("image", mode, &stream, readBytes, writeBytes, seekTo, closeNothing, sizeOf, mapWhole,
                                   unmapWhole, options);
    TIFFOpenOptionsFree(options);
    return TiffPointer(tiff);
}

} // namespace kb
