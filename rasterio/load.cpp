// Loading of images from files and memory: tells the format and hands the bytes to its reader. Readers of one-page formats
// get the whole file, which is read once; the reader of paged files gets the stream.
#include "rasterio/image_io.h"

#include "rasterio/scratch.h"

#include <new>

using namespace kb;

namespace {

int readFormat(int format, ByteView data, const LoadLimits& limits, KernelBitmap* b, KernelFileInfo* info) {
    switch (format) {
    case KB_FORMAT_PNG: return loadPng(data, limits, b, info);
    case KB_FORMAT_JPEG: return loadJpeg(data, limits, b, info);
    case KB_FORMAT_BMP: return loadBmp(data, limits, b, info);
    case KB_FORMAT_TIFF: {
        MemoryStream stream(data);
        return loadTiff(stream, limits, b, info);
    }
    case KB_FORMAT_WMF:
    case KB_FORMAT_EMF: return loadMetafileImage(data, limits, b, info);
    default: return ERROR_FILE_FORMAT;
    }
}

int readStream(ByteStream& stream, const LoadLimits& limits, KernelBitmap* b, KernelFileInfo* info) {
    uint8_t head[64];
    const int64_t headBytes = stream.read(head, sizeof head);
    if (headBytes < 0) return ERROR_FILE_READ;
    const int format = K_RecognizeFormat(head, static_cast<size_t>(headBytes));
    if (format == KB_FORMAT_TIFF) return loadTiff(stream, limits, b, info);
    if (format == KB_FORMAT_UNKNOWN) return ERROR_FILE_FORMAT;
    const int64_t size = stream.size();
    if (size < headBytes || stream.seek(0, SEEK_SET) != 0) return ERROR_FILE_READ; // a pipe can't be read twice
    Scratch whole(static_cast<size_t>(size));
    if (!whole.data()) return ERROR_NO_MEMORY;
    const int64_t got = stream.read(whole.data(), static_cast<size_t>(size));
    if (got < 0) return ERROR_FILE_READ;
    return readFormat(format, {whole.data(), static_cast<size_t>(got)}, limits, b, info);
}

// The one way through all loads: limits, failed memory, the bitmap zeroed after a failure.
template <class Read> int load(const KernelLoadOptions* options, KernelBitmap* b, KernelFileInfo* info, Read&& read) {
    const LoadLimits limits = limitsOf(options);
    if (limits.page < 1) return ERROR_PAGE_NOT_FOUND;
    KernelFileInfo found{};
    if (info) found.uFlags = info->uFlags;
    int result;
    try {
        result = read(limits, &found);
    } catch (const std::bad_alloc&) {
        result = ERROR_NO_MEMORY;
    }
    if (result == SUCCESS && info) *info = found;
    if (result != SUCCESS) K_FreeBitmap(b);
    return result;
}

int loadPath(const char* path, KernelBitmap* b, const KernelLoadOptions* options, KernelFileInfo* info) {
    if (b) *b = {};
    if (!path) return ERROR_INV_PARAMETER;
    return load(options, b, info, [&](const LoadLimits& limits, KernelFileInfo* found) {
        FileStream stream(path, 0);
        return stream.isOpen() ? readStream(stream, limits, b, found) : ERROR_FILE_OPEN;
    });
}

int loadBytes(const void* data, size_t size, KernelBitmap* b, const KernelLoadOptions* options, KernelFileInfo* info) {
    if (b) *b = {};
    if (!data) return ERROR_INV_PARAMETER;
    return load(options, b, info, [&](const LoadLimits& limits, KernelFileInfo* found) {
        return readFormat(K_RecognizeFormat(data, size), {static_cast<const uint8_t*>(data), size}, limits, b, found);
    });
}

} // namespace

extern "C" {

int K_FileInfo(const char* pszPath, KernelFileInfo* pInfo, int, const KernelLoadOptions* pOptions) {
    return pInfo ? loadPath(pszPath, nullptr, pOptions, pInfo) : ERROR_INV_PARAMETER;
}

int K_MemoryFileInfo(const void* pData, KernelFileInfo* pInfo, size_t size, int, int) {
    return pInfo ? loadBytes(pData, size, nullptr, nullptr, pInfo) : ERROR_INV_PARAMETER;
}

int K_LoadFile(const char* pszPath, KernelBitmap* b, int, int, const KernelLoadOptions* pOptions, KernelFileInfo* pInfo) {
    return b ? loadPath(pszPath, b, pOptions, pInfo) : ERROR_INV_PARAMETER;
}

int K_LoadMemory(const void* pData, KernelBitmap* b, int, int bits, size_t size, const KernelLoadOptions* pOptions,
                 KernelFileInfo* pInfo) {
    if (!b) return ERROR_INV_PARAMETER;
    *b = {};
    if (bits && !isPixelDepth(bits)) return ERROR_INV_PARAMETER;
    KernelFileInfo info{};
    if (pInfo) info = *pInfo;
    int result = loadBytes(pData, size, b, pOptions, &info);
    if (result == SUCCESS && bits) result = K_ChangeBitmapDepth(b, b, bits, 0, 0, 0, 0, 0, 0);
    if (result != SUCCESS) {
        K_FreeBitmap(b);
        return result;
    }
    if (bits) info.nBitsPerPixel = bits;
    if (pInfo) *pInfo = info;
    return SUCCESS;
}

} // extern "C"
