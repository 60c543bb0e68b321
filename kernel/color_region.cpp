// Colour regions: the part of an image that isn't of one colour, or any region that the caller hands over. A region is an
// object of the graphics layer in stored pixels. It is built from runs of pixels; runs that repeat in the row below grow
// into one rectangle, which keeps the regions of typical stamps small.
#include "kernel/record.h"
#include "kernel/region_builder.h"

#include <algorithm>
#include <new>
#include <vector>

namespace kb {
namespace {

// A region of all pixels whose raw value fulfils `isIn`; null when memory fails.
template <class IsIn> HRGN regionOfPixels(const KernelBitmap& b, IsIn&& isIn) noexcept {
    try {
        RegionBuilder builder;
        withPixels(b.BitsPerPixel, [&](auto pixel) {
            for (int32_t y = 0; y < b.Height; ++y) {
                const uint8_t* row = rowOf(b, y);
                for (int32_t x = 0; x < b.Width;) {
                    if (!isIn(pixel.get(row, x))) {
                        ++x;
                        continue;
                    }
                    const int32_t left = x;
                    while (x < b.Width && isIn(pixel.get(row, x))) ++x;
                    builder.addRun(left, x);
                }
                builder.endRow(y);
            }
        });
        return builder.make();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void setRegion(KernelBitmap* b, HRGN region) {
    if (b->hRegion) DeleteObject(b->hRegion);
    b->hRegion = region;
}

} // namespace

HRGN maskToRegion(const KernelBitmap& mask) noexcept {
    try {
        RegionBuilder builder;
        for (int32_t y = 0; y < mask.Height; ++y) {
            const uint8_t* row = rowOf(mask, y);
            for (int32_t x = findBit(row, 0, mask.Width, true); x < mask.Width;) {
                const int32_t end = findBit(row, x, mask.Width, false);
                builder.addRun(x, end);
                x = findBit(row, end, mask.Width, true);
            }
            builder.endRow(y);
        }
        return builder.make();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

int regionToMask(const KernelBitmap& b, KernelBitmap* mask) noexcept {
    OwnedBitmap made;
    if (const int result = makeImage(&made.record, {.width = b.Width, .height = b.Height, .bits = 1}); result != SUCCESS)
        return result;
    made.record.ViewPerspective = b.ViewPerspective;
    const DWORD bytes = GetRegionData(b.hRegion, 0, nullptr);
    if (bytes < sizeof(RGNDATAHEADER)) return ERROR_NO_MEMORY;
    try {
        std::vector<RECT> data((bytes + sizeof(RECT) - 1) / sizeof(RECT));
        if (!GetRegionData(b.hRegion, bytes, reinterpret_cast<RGNDATA*>(data.data()))) return ERROR_NO_MEMORY;
        RGNDATAHEADER head;
        std::memcpy(&head, data.data(), sizeof head);
        for (size_t i = 0; i < head.nCount; ++i) {
            const RECT& r = data[sizeof head / sizeof(RECT) + i];
            const int32_t left = std::max(r.left, 0), right = std::min(r.right, b.Width);
            for (int32_t y = std::max(r.top, 0); y < std::min(r.bottom, b.Height); ++y) {
                uint8_t* row = ownRowOf(made.record, y);
                int32_t x = left;
                for (; x < right && x % 8; ++x) PixelAccess<1>::put(row, x, 1);
                for (; x + 8 <= right; x += 8) row[x / 8] = 0xFF;
                for (; x < right; ++x) PixelAccess<1>::put(row, x, 1);
            }
        }
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
    made.moveTo(mask);
    return SUCCESS;
}

} // namespace kb

using namespace kb;

extern "C" {

int K_BitmapHasRgn(const KernelBitmap* b) { return b && b->hRegion; }

int K_SetBitmapRgnColor(KernelBitmap* b, COLORREF color, int mode) {
    if (!b || b->Borrowed || mode != KB_REGION_NOT_COLOR) return ERROR_INV_PARAMETER;
    if (checkImage(b) != SUCCESS) return SUCCESS;
    HRGN region = nullptr;
    const uint32_t wanted = fromColorRef(color) & 0xFFFFFFu;
    if (b->BitsPerPixel <= 8) {
        std::array<bool, 256> isIn;
        for (uint32_t i = 0; i < isIn.size(); ++i) {
            const uint32_t shown = i < b->nColors ? fromQuad(b->pPalette[i]) & 0xFFFFFFu : 0;
            isIn[i] = shown != wanted;
        }
        region = regionOfPixels(*b, [&](uint32_t value) { return isIn[value]; });
    } else {
        const ColorLayout layout = colorLayout(*b);
        region = regionOfPixels(*b, [&](uint32_t value) { return (directColor(layout, value) & 0xFFFFFFu) != wanted; });
    }
    if (!region) return ERROR_NO_MEMORY;
    setRegion(b, region);
    return SUCCESS;
}

int K_SetBitmapRgnWhole(KernelBitmap* b, int r1, int r2, int mode) {
    if (!b || b->Borrowed || r1 || r2 || mode != 1) return ERROR_INV_PARAMETER;
    if (b->Width < 1 || b->Height < 1) return ERROR_INV_BITMAP;
    HRGN region = CreateRectRgn(0, 0, b->Width, b->Height);
    if (!region) return ERROR_NO_MEMORY;
    setRegion(b, region);
    return SUCCESS;
}

int K_SetBitmapRgnHandle(KernelBitmap* b, const POINT* pOffset, HRGN hRgn, int mode) {
    if (!b || b->Borrowed || mode < 0 || mode > 3) return ERROR_INV_PARAMETER;
    if (!hRgn) {
        setRegion(b, nullptr);
        return SUCCESS;
    }
    RECT box;
    if (GetRgnBox(hRgn, &box) == RGN_ERROR) return ERROR_INV_PARAMETER;
    if (b->Width < 1 || b->Height < 1) return ERROR_INV_BITMAP;
    // A record without a region stands for its whole image.
    HRGN made = CreateRectRgn(0, 0, b->Width, b->Height);
    HRGN shifted = CreateRectRgn(0, 0, 0, 0);
    bool fits = made && shifted && CombineRgn(shifted, hRgn, nullptr, RGN_COPY) != RGN_ERROR &&
                (!pOffset || OffsetRgn(shifted, pOffset->x, pOffset->y) != RGN_ERROR) &&
                CombineRgn(shifted, shifted, made, RGN_AND) != RGN_ERROR;
    static constexpr std::array<int, 4> operations{RGN_COPY, RGN_AND, RGN_OR, RGN_DIFF};
    const int operation = operations[static_cast<size_t>(mode)];
    if (operation == RGN_COPY)
        fits = fits && CombineRgn(made, shifted, nullptr, RGN_COPY) != RGN_ERROR;
    else
        fits = fits && CombineRgn(made, b->hRegion ? b->hRegion : made, shifted, operation) != RGN_ERROR;
    if (shifted) DeleteObject(shifted);
    if (!fits) {
        if (made) DeleteObject(made);
        return ERROR_NO_MEMORY;
    }
    setRegion(b, made);
    return SUCCESS;
}

int K_GetBitmapRgnArea(const KernelBitmap* b, uint32_t* pArea) {
    if (!b || !pArea) return ERROR_INV_PARAMETER;
    const uint64_t area = b->hRegion ? KbRegionArea(b->hRegion) : 0;
    *pArea = static_cast<uint32_t>(std::min<uint64_t>(area, UINT32_MAX));
    return SUCCESS;
}

} // extern "C"
