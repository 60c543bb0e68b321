// Pictures in objects: painting with transparency and raster mode, and the point, which is nothing but its picture.
#include "contracts/raster_kernel.h"
#include "render/drawing.h"

namespace kbann {

PaintSettings::PaintSettings(HDC hDC, const KernelBitmap& bitmap)
    : hDC_(hDC), earlier_(K_SetDisplayMode(0x85, 0x81)), palette_(K_CreatePaintPalette(hDC, &bitmap)),
      oldPalette_(palette_ ? SelectPalette(hDC, palette_, TRUE) : nullptr) {
    if (palette_) RealizePalette(hDC);
}

PaintSettings::~PaintSettings() {
    if (palette_) {
        SelectPalette(hDC_, oldPalette_, TRUE);
        DeleteObject(palette_);
    }
    K_SetDisplayMode(UINT32_MAX, earlier_);
}

DWORD annRasterOperation(uint32_t nROP2, bool bInvertXor) {
    if (nROP2 == ANN_ROP2_AND) return SRCAND;
    if (nROP2 == ANN_ROP2_XOR) return bInvertXor ? DWORD{KB_ROP_XOR_INVERTED} : SRCINVERT;
    return SRCCOPY;
}

void annFindTransparency(const AnnObject& record, KernelBitmap& bitmap) {
    if (record.bTransparent && !K_BitmapHasRgn(&bitmap))
        K_SetBitmapRgnColor(&bitmap, record.crTransparent, KB_REGION_NOT_COLOR);
}

void annPaintBitmap(HDC hDC, const AnnObject& record, KernelBitmap& bitmap, const RECT* pSource, const RECT& target,
                    const RECT* pClip, bool bInvertXor) {
    const PaintSettings settings(hDC, bitmap);
    annFindTransparency(record, bitmap);
    const auto paint = record.bTransparent ? K_PaintBitmapRgn : K_PaintBitmap;
    paint(hDC, &bitmap, pSource, nullptr, &target, pClip, annRasterOperation(record.nROP2, bInvertXor));
}

bool annDrawPoint(const Drawing& d) {
    if (!d.record.bitmap.Allocated) return true;
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
    annPaintBitmap(d.hDC, d.record, d.record.bitmap, nullptr, annShapeBounds(d.record, d.matrix), &d.clip, true);
    return true;
}

} // namespace kbann
