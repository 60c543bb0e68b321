// Bitmap records into packed device-independent bitmaps, and the layouts that a DIB can have.
#include "kernel/record.h"

#include "platform/sys.h"

#include <algorithm>

namespace kb {

int copyAsDib(KernelBitmap* out, const KernelBitmap& b) noexcept {
    OwnedBitmap upright;
    if (const int result = copyUpright(&upright.record, b); result != SUCCESS) return result;
    const KernelBitmap& from = upright.record;
    if (from.BitsPerPixel == 12 || from.BitsPerPixel == 16) {
        const int bits = from.Order == KB_ORDER_GREY ? 8 : 24;
        if (const int result = K_ChangeBitmapDepth(&from, &upright.record, bits, 0, 0, 0, 0, 0, 0); result != SUCCESS)
            return result;
    }
    if (from.BitsPerPixel >= 24 && from.Order == KB_ORDER_RGB) {
        if (const int result = unshare(&upright.record); result != SUCCESS) return result;
        withPixels(from.BitsPerPixel, [&](auto pixel) {
            for (int32_t y = 0; y < from.Height; ++y) {
                uint8_t* row = ownRowOf(upright.record, y);
                for (int32_t x = 0; x < from.Width; ++x) pixel.put(row, x, swapRedBlue(pixel.get(row, x)));
            }
        });
        upright.record.Order = KB_ORDER_BGR;
    }
    upright.moveTo(out);
    return SUCCESS;
}

} // namespace kb

using namespace kb;

extern "C" HGLOBAL K_BitmapToDIBHandle(const KernelBitmap* b) {
    if (checkImage(b) != SUCCESS) return nullptr;
    OwnedBitmap dib;
    if (copyAsDib(&dib.record, *b) != SUCCESS) return nullptr;
    const KernelBitmap& from = dib.record;
    const size_t tableBytes = from.nColors * sizeof(RGBQUAD), rowBytes = static_cast<size_t>(from.BytesPerLine);
    const size_t imageBytes = rowBytes * static_cast<size_t>(from.Height);
    if (imageBytes > UINT32_MAX) return nullptr; // its size field couldn't say it
    HGLOBAL handle = GlobalAlloc(GMEM_MOVEABLE, sizeof(BITMAPINFOHEADER) + tableBytes + imageBytes);
    auto* out = static_cast<uint8_t*>(GlobalLock(handle));
    if (!out) {
        if (handle) GlobalFree(handle);
        return nullptr;
    }
    const auto pelsPerMeter = [](int32_t dots) { return static_cast<LONG>(std::clamp(dots, 0, 1000000) / 0.0254 + 0.5); };
    const BITMAPINFOHEADER header{.biSize = sizeof(BITMAPINFOHEADER),
                                  .biWidth = from.Width,
                                  .biHeight = from.Height,
                                  .biPlanes = 1,
                                  .biBitCount = static_cast<WORD>(from.BitsPerPixel),
                                  .biCompression = BI_RGB,
                                  .biSizeImage = static_cast<DWORD>(imageBytes),
                                  .biXPelsPerMeter = pelsPerMeter(from.XResolution),
                                  .biYPelsPerMeter = pelsPerMeter(from.YResolution),
                                  .biClrUsed = from.nColors,
                                  .biClrImportant = 0};
    std::memcpy(out, &header, sizeof header);
    out += sizeof header;
    if (tableBytes) std::memcpy(out, from.pPalette, tableBytes);
    out += tableBytes;
    const bool bottomUp = from.ViewPerspective == KB_VIEW_BOTTOM_LEFT;
    for (int32_t y = 0; y < from.Height; ++y, out += rowBytes) {
        std::memcpy(out, rowOf(from, bottomUp ? y : from.Height - 1 - y), rowBytes);
    }
    GlobalUnlock(handle);
    return handle;
}
