// Palettes. Surfaces keep their own colours, so a palette is a list of entries that is handed about and asked.
#include "platform/gdi/gdi_state.h"

using namespace kb;
using namespace kb::gdi;

KB_API HPALETTE CreatePalette(const LOGPALETTE* pPalette) {
    if (!pPalette || pPalette->palVersion != 0x300 || !pPalette->palNumEntries || pPalette->palNumEntries > 1024)
        return nullptr;
    return guarded<HPALETTE>(nullptr, [&] {
        auto palette = Ref<Palette>::adopt(Pool<Palette>::make());
        palette->entries.assign(pPalette->palPalEntry, pPalette->palPalEntry + pPalette->palNumEntries);
        return publish<HPALETTE>(gdiState().palettes, std::move(palette));
    });
}

KB_API UINT GetPaletteEntries(HPALETTE hPalette, UINT start, UINT count, PALETTEENTRY* pOut) {
    const Palette* palette = findObject(gdiState().palettes, hPalette);
    if (!palette) return 0;
    const auto size = static_cast<UINT>(palette->entries.size());
    if (!pOut) return size;
    if (start >= size) return 0;
    count = std::min(count, size - start);
    std::copy_n(palette->entries.begin() + start, count, pOut);
    return count;
}

KB_API HPALETTE SelectPalette(HDC hDC, HPALETTE hPalette, BOOL) {
    DeviceContext* dc = findDc(hDC);
    Palette* palette = dc ? findObject(gdiState().palettes, hPalette) : nullptr;
    if (!palette || (dc->output && !dc->output->select(*dc, *palette))) return nullptr;
    const uint32_t old = dc->state.palette->handle;
    dc->state.palette = Ref<Palette>(palette);
    return toHandle<HPALETTE>(old);
}

KB_API UINT RealizePalette(HDC hDC) {
    DeviceContext* dc = findDc(hDC);
    if (!dc) return GDI_ERROR;
    if (dc->output) dc->output->changed(*dc, Setting::paletteRealized, 0, 0);
    return 0;
}

KB_API COLORREF GetNearestColor(HDC hDC, COLORREF color) {
    const DeviceContext* dc = findDc(hDC);
    return dc ? dc->surface.colorOf(dc->surface.pixelFor(color)) : CLR_INVALID;
}
