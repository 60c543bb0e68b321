// Pictures in objects: painting with transparency and raster mode, and the point, which is nothing but its picture.
#include "contracts/raster_kernel.h"
#include "render/drawing.h"

namespace kbann {
namespace {

constexpr int regionOfColor = 6;
constexpr DWORD sourceXorInverted = 0x00990066;

DWORD rasterOperation(uint32_t nROP2, bool bInvertXor) {
    if (nROP2 == ANN_ROP2_AND) return SRCAND;
    if (nROP2 == ANN_ROP2_XOR) return bInvertXor ? sourceXorInverted : SRCINVERT;
    return SRCCOPY;
}

} // namespace

void annPaintBitmap(HDC hDC, const AnnObject& record, KernelBitmap& bitmap, const RECT* pSource, const RECT& target,
                    const RECT* pClip, bool bInvertXor) {
    const uint32_t earlier = K_SetDisplayMode(0x85, 0x81);
    const HPALETTE palette = K_CreatePaintPalette(hDC, &bitmap);
    const HPALETTE oldPalette = palette ? SelectPalette(hDC, palette, TRUE) : nullptr;
    if (palette) RealizePalette(hDC);

    if (record.bTransparent && !K_BitmapHasRgn(&bitmap)) K_SetBitmapRgnColor(&bitmap, record.crTransparent, regionOfColor);
    const DWORD rop = rasterOperation(record.nROP2, bInvertXor);
    const auto paint = record.bTransparent ? K_PaintBitmapRgn : K_PaintBitmap;
    paint(hDC, &bitmap, pSource, nullptr, &target, pClip, rop);

    if (palette) {
        SelectPalette(hDC, oldPalette, TRUE);
        DeleteObject(palette);
    }
    K_SetDisplayMode(UINT32_MAX, earlier);
}

bool annDrawPoint(const Drawing& d) {
    if (!d.record.bitmap.Allocated) return true;
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    annPaintBitmap(d.hDC, d.record, d.record.bitmap, nullptr, annShapeBounds(d.record, d.matrix), &d.clip, true);
    return true;
}

} // namespace kbann
