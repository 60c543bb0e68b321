// Palettes of bitmap records: reading entries, nearest entries, palette objects of the graphics layer.
#include "kernel/record.h"

#include <algorithm>

namespace kb {

uint32_t nearestIndex(const RGBQUAD* palette, uint32_t colors, uint32_t color) noexcept {
    uint32_t best = 0, bestDistance = UINT32_MAX;
    for (uint32_t i = 0; i < colors; ++i) {
        const int red = static_cast<int>(palette[i].rgbRed) - static_cast<int>(redOf(color));
        const int green = static_cast<int>(palette[i].rgbGreen) - static_cast<int>(greenOf(color));
        const int blue = static_cast<int>(palette[i].rgbBlue) - static_cast<int>(blueOf(color));
        const auto distance = static_cast<uint32_t>(red * red + green * green + blue * blue);
        if (distance >= bestDistance) continue;
        best = i;
        bestDistance = distance;
        if (!distance) break;
    }
    return best;
}

uint32_t valueOfColor(const KernelBitmap& b, uint32_t color) noexcept {
    const ColorLayout layout = colorLayout(b);
    return layout == ColorLayout::indexed ? nearestIndex(b.pPalette, b.nColors, color) : directValue(layout, color);
}

} // namespace kb

using namespace kb;

extern "C" {

int K_GetBitmapPalette(const KernelBitmap* b, int first, int count, RGBQUAD* pOut) {
    if (!b || !pOut || first < 0 || count < 0) return ERROR_INV_PARAMETER;
    if (!b->pPalette || static_cast<uint32_t>(first) >= b->nColors) return 0;
    const int copied = std::min(count, static_cast<int>(b->nColors) - first);
    std::copy_n(b->pPalette + first, copied, pOut);
    return copied;
}

HPALETTE K_CreateBitmapPaletteHandle(const KernelBitmap* b) {
    if (!b || !b->pPalette || !b->nColors) return nullptr;
    struct {
        LOGPALETTE head;
        PALETTEENTRY more[255];
    } palette{};
    palette.head.palVersion = 0x300;
    palette.head.palNumEntries = static_cast<WORD>(b->nColors);
    auto* out = reinterpret_cast<uint8_t*>(&palette) + offsetof(LOGPALETTE, palPalEntry);
    for (uint32_t i = 0; i < b->nColors; ++i) {
        const PALETTEENTRY entry{b->pPalette[i].rgbRed, b->pPalette[i].rgbGreen, b->pPalette[i].rgbBlue, 0};
        std::memcpy(out + i * sizeof entry, &entry, sizeof entry);
    }
    return CreatePalette(&palette.head);
}

int K_NearestPaletteIndex(const KernelBitmap* b, COLORREF color) {
    if (!b || !b->pPalette || !b->nColors) return -1;
    return static_cast<int>(nearestIndex(b->pPalette, b->nColors, fromColorRef(color)));
}

HPALETTE K_CreatePaintPalette(HDC hDC, const KernelBitmap* b) {
    if (!hDC || !(GetDeviceCaps(hDC, RASTERCAPS) & RC_PALETTE)) return nullptr;
    return K_CreateBitmapPaletteHandle(b);
}

} // extern "C"
