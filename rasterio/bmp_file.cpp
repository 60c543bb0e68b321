// BMP files: a file header of 14 bytes before a device-independent bitmap, which the kernel reads and writes.
#include "rasterio/image_io.h"

#include "platform/sys.h"

namespace kb {
namespace {

constexpr size_t fileHeaderBytes = 14;

uint32_t dword(const uint8_t* p) {
    return p[0] | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}
void putDword(uint8_t* p, uint32_t value) {
    for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(value >> (8 * i));
}

// Sides out of the header before anything is made; the kernel checks the rest of it.
bool sidesOf(ByteView dib, int64_t* width, int64_t* height) {
    if (dib.size() < 16) return false;
    const bool core = dword(dib.data()) == 12;
    *width = core ? dib[4] | dib[5] << 8 : static_cast<int32_t>(dword(dib.data() + 4));
    *height = core ? dib[6] | dib[7] << 8 : std::abs(int64_t{static_cast<int32_t>(dword(dib.data() + 8))});
    return *width > 0;
}

} // namespace

int loadBmp(ByteView data, const LoadLimits& limits, KernelBitmap* b, KernelFileInfo* info) {
    if (limits.page != 1) return ERROR_PAGE_NOT_FOUND;
    if (data.size() <= fileHeaderBytes) return ERROR_FILE_READ;
    const ByteView dib = data.subspan(fileHeaderBytes);
    int64_t width, height;
    if (!sidesOf(dib, &width, &height)) return ERROR_FILE_READ;
    if (const int result = checkSize(static_cast<uint64_t>(width), static_cast<uint64_t>(height), limits); result != SUCCESS)
        return result;
    const size_t offset = dword(data.data() + 10);
    if (offset && offset < fileHeaderBytes + 12) return ERROR_FILE_READ;
    LoadedBitmap loaded;
    const int result = K_BitmapFromDIBBytes(&loaded.record, dib.data(), dib.size(), offset ? offset - fileHeaderBytes : 0);
    if (result != SUCCESS) return result;
    const KernelBitmap& r = loaded.record;
    *info = {.nFormat = KB_FORMAT_BMP,
             .nWidth = r.Width,
             .nHeight = r.Height,
             .nBitsPerPixel = r.BitsPerPixel,
             .nXResolution = r.XResolution,
             .nYResolution = r.YResolution,
             .uFlags = info->uFlags,
             .nPages = 1,
             .nPage = 1,
             .nCompression = 0,
             .nViewPerspective = r.ViewPerspective};
    if (b) loaded.moveTo(b);
    return SUCCESS;
}

int saveBmp(const KernelBitmap& b, const KernelSaveOptions&, Bytes* out) {
    HGLOBAL handle = K_BitmapToDIBHandle(&b);
    if (!handle) return ERROR_NO_MEMORY;
    const auto* dib = static_cast<const uint8_t*>(GlobalLock(handle));
    const size_t size = GlobalSize(handle);
    BITMAPINFOHEADER header;
    std::memcpy(&header, dib, sizeof header);
    const size_t tableBytes = header.biClrUsed * sizeof(RGBQUAD), bitsOffset = sizeof header + tableBytes;
    // Opacity needs the longer header that names its bits.
    constexpr uint32_t longHeaderBytes = 108;
    const bool alpha = b.Alpha && header.biBitCount == 32;
    const size_t headerBytes = alpha ? longHeaderBytes : sizeof header;
    const size_t imageOffset = fileHeaderBytes + headerBytes + tableBytes, total = imageOffset + (size - bitsOffset);
    int result = SUCCESS;
    if (total > UINT32_MAX) {
        result = ERROR_FEATURE_NOT_SUPPORTED;
    } else {
        try {
            out->assign(total, 0);
        } catch (const std::exception&) {
            result = ERROR_NO_MEMORY;
        }
    }
    if (result == SUCCESS) {
        uint8_t* p = out->data();
        p[0] = 'B';
        p[1] = 'M';
        putDword(p + 2, static_cast<uint32_t>(total));
        putDword(p + 10, static_cast<uint32_t>(imageOffset));
        p += fileHeaderBytes;
        if (alpha) {
            header.biSize = longHeaderBytes;
            header.biCompression = BI_BITFIELDS;
            constexpr auto masks = std::to_array<uint32_t>({0xFF0000, 0xFF00, 0xFF, 0xFF000000});
            for (size_t i = 0; i < masks.size(); ++i) putDword(p + 40 + i * 4, masks[i]);
            putDword(p + 56, 0x73524742); // colour space sRGB
        }
        std::memcpy(p, &header, sizeof header);
        std::memcpy(p + headerBytes, dib + sizeof header, size - sizeof header);
    }
    GlobalUnlock(handle);
    GlobalFree(handle);
    return result;
}

} // namespace kb
