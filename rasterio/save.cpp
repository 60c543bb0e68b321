// Saving of bitmap records to files and memory. New files are built in memory and written in one go; TIFF pages are written
// into the file itself. No failure leaves half an image behind: a file that was made here is taken away again, an older one
// that couldn't be written whole is left empty.
#include "rasterio/color_profile.h"
#include "rasterio/image_io.h"
#include "rasterio/tiff_directory.h"

#include "platform/sys.h"

#include <unistd.h>

#include <new>

using namespace kb;

namespace {

KernelSaveOptions optionsOr(const KernelSaveOptions* options) {
    KernelSaveOptions made{};
    if (options) made = *options;
    return made;
}

int encode(const KernelBitmap& b, int format, const KernelSaveOptions& options, Bytes* out) {
    switch (format) {
    case KB_FORMAT_PNG: return savePng(b, options, out);
    case KB_FORMAT_JPEG: return saveJpeg(b, options, out);
    case KB_FORMAT_BMP: return saveBmp(b, options, out);
    case KB_FORMAT_TIFF: {
        BlockStream stream;
        const int result = saveTiff(b, options, {}, stream);
        *out = std::move(stream.bytes);
        return result;
    }
    default: return ERROR_FILE_FORMAT;
    }
}

constexpr int createAndWrite = 1 | 0x100 | 0x200, readAndWrite = 2;

int saveBytes(const char* path, const Bytes& bytes) {
    const bool isNew = access(path, F_OK) != 0;
    FileStream stream(path, createAndWrite);
    if (!stream.isOpen()) return ERROR_FILE_OPEN;
    const bool written = stream.write(bytes.data(), bytes.size()) == static_cast<int64_t>(bytes.size());
    if (!written) stream.truncate(0);
    if (stream.close() && written) return SUCCESS;
    if (isNew) unlink(path);
    return ERROR_FILE_WRITE;
}

int saveNew(const char* path, const KernelBitmap& b, int format, const KernelSaveOptions& options) {
    Bytes bytes;
    const int result = encode(b, format, options, &bytes);
    return result == SUCCESS ? saveBytes(path, bytes) : result;
}

int savePage(const char* path, const KernelBitmap& b, const KernelSaveOptions& options) {
    PagePlace place{.append = true, .replaces = (options.uFlags & SAVE_REPLACEPAGE) != 0, .page = options.nPageNumber};
    // A page behind the last: nothing is replaced.
    if (place.page == -1) place.replaces = false;
    FileStream stream(path, readAndWrite);
    if (!stream.isOpen() && GetLastError() != ERROR_FILE_MISSING) return ERROR_FILE_OPEN;
    if (!stream.isOpen() || stream.size() == 0) {
        stream.close();
        return place.page == -1 || place.page == 1 ? saveNew(path, b, KB_FORMAT_TIFF, options) : ERROR_PAGE_NOT_FOUND;
    }
    const int result = saveTiff(b, options, place, stream);
    return stream.close() || result != SUCCESS ? result : ERROR_FILE_WRITE;
}

int saveFile(const char* path, const KernelBitmap& b, int format, const KernelSaveOptions& options) {
    const uint32_t placing = options.uFlags & (SAVE_REPLACEPAGE | SAVE_INSERTPAGE);
    if (placing && format != KB_FORMAT_TIFF) return ERROR_FEATURE_NOT_SUPPORTED;
    return placing ? savePage(path, b, options) : saveNew(path, b, format, options);
}

template <class Save> int guarded(const KernelBitmap* b, int format, Save&& save) {
    if (!b) return ERROR_INV_PARAMETER;
    if (!K_BitmapRowPointer(b, 0)) return ERROR_INV_BITMAP;
    int result;
    try {
        result = save();
    } catch (const std::bad_alloc&) {
        result = ERROR_NO_MEMORY;
    }
    if (result == SUCCESS && format == KB_FORMAT_TIFF) clearQueuedTiffTags();
    if (result == SUCCESS && format != KB_FORMAT_TIFF) K_SetFileTag(profileTag, 0, 0, nullptr);
    return result;
}

} // namespace

extern "C" {

int K_SaveFile(const char* pszPath, const KernelBitmap* b, int format, const KernelSaveOptions* pOptions) {
    if (!pszPath) return ERROR_INV_PARAMETER;
    return guarded(b, format, [&] { return saveFile(pszPath, *b, format, optionsOr(pOptions)); });
}

int K_SaveMemory(const KernelBitmap* b, int format, const KernelSaveOptions* pOptions, HGLOBAL* phMem, size_t* puSize) {
    if (!phMem || !puSize) return ERROR_INV_PARAMETER;
    return guarded(b, format, [&] {
        Bytes bytes;
        if (const int result = encode(*b, format, optionsOr(pOptions), &bytes); result != SUCCESS)
            return static_cast<int>(result);
        HGLOBAL handle = GlobalAlloc(GMEM_MOVEABLE, bytes.size());
        void* block = handle ? GlobalLock(handle) : nullptr;
        if (!block) {
            if (handle) GlobalFree(handle);
            return static_cast<int>(ERROR_NO_MEMORY);
        }
        std::memcpy(block, bytes.data(), bytes.size());
        GlobalUnlock(handle);
        *phMem = handle;
        *puSize = bytes.size();
        return static_cast<int>(SUCCESS);
    });
}

} // extern "C"
