// Life of a context: made, saved, restored, given its objects and modes, asked what it can do.
#include "platform/gdi/device_context.h"

#include "platform/gdi/gdi_state.h"

namespace kb::gdi {

void DeviceContext::useBitmap(Ref<Bitmap> bitmap) {
    if (bitmap.get() == state.bitmap.get()) return;
    Bitmap* old = state.bitmap.get();
    bool oldHeld = false; // a saved state may still come back to it
    for (const DcState& s : saved) oldHeld = oldHeld || s.bitmap.get() == old;
    if (old && !old->stock && !oldHeld) old->selectedIn = nullptr;
    surface = bitmap->surface;
    if (!bitmap->stock) bitmap->selectedIn = this;
    state.bitmap = std::move(bitmap);
}

Box deviceBox(const DeviceContext& dc, int64_t left, int64_t top, int64_t right, int64_t bottom) {
    const Mapping& map = dc.state.map;
    Box b;
    if (map.identity)
        b = {saturate(left), saturate(top), saturate(right), saturate(bottom)};
    else
        b = {map.deviceX(left), map.deviceY(top), map.deviceX(right), map.deviceY(bottom)};
    if (b.left > b.right) std::swap(b.left, b.right);
    if (b.top > b.bottom) std::swap(b.top, b.bottom);
    return b;
}

void resetState(DeviceContext& dc) {
    const GdiState& gdi = gdiState();
    dc.saved.clear();
    dc.state = {};
    dc.state.pen = Ref<Pen>(gdi.blackPen);
    dc.state.brush = Ref<Brush>(gdi.whiteBrush);
    dc.state.font = Ref<Font>(gdi.systemFont);
    dc.state.palette = Ref<Palette>(gdi.defaultPalette);
}

DeviceContext* makeContext(DcKind kind, const DeviceContext* like) {
    GdiState& gdi = gdiState();
    auto* dc = Pool<DeviceContext>::make();
    dc->kind = kind;
    dc->dpiX = like ? like->dpiX : gdi.dpiX.load();
    dc->dpiY = like ? like->dpiY : gdi.dpiY.load();
    resetState(*dc);
    return dc;
}

HDC publishContext(DeviceContext* dc) {
    dc->handle = gdiState().contexts.add(dc);
    if (!dc->handle) {
        Pool<DeviceContext>::recycle(dc);
        SetLastError(ERROR_OUT_OF_MEMORY);
    }
    return dc->handle ? toHandle<HDC>(dc->handle) : nullptr;
}

void freeContext(DeviceContext* dc) {
    gdiState().contexts.remove(dc->handle);
    for (DcState& s : dc->saved)
        if (s.bitmap && !s.bitmap->stock) s.bitmap->selectedIn = nullptr;
    if (dc->state.bitmap && !dc->state.bitmap->stock) dc->state.bitmap->selectedIn = nullptr;
    Pool<DeviceContext>::recycle(dc);
}

namespace {

// Swaps a selected object for the one behind a handle.
template <class T> HGDIOBJ select(DeviceContext& dc, const HandleTable<T>& table, HGDIOBJ hObject, Ref<T>& slot) {
    T* object = findObject(table, hObject);
    if (!object || (dc.output && !dc.output->select(dc, *object))) return nullptr;
    const uint32_t old = slot->handle;
    if (object != slot.get()) slot = Ref<T>(object);
    return toHandle<HGDIOBJ>(old);
}

HGDIOBJ selectBitmap(DeviceContext& dc, HGDIOBJ hObject) {
    Bitmap* bitmap = findObject(gdiState().bitmaps, hObject);
    if (!bitmap || dc.kind != DcKind::memory) return nullptr;
    if (bitmap->selectedIn && bitmap->selectedIn != &dc) return nullptr;
    const uint32_t old = dc.state.bitmap->handle;
    dc.useBitmap(Ref<Bitmap>(bitmap));
    return toHandle<HGDIOBJ>(old);
}

// Sets a mode that must lie in a range; gives the former one or `failure`.
template <class Value>
Value setMode(HDC hDC, Setting setting, Value DcState::*member, Value value, Value lowest, Value highest, Value failure) {
    DeviceContext* dc = findDc(hDC);
    if (!dc || value < lowest || value > highest) return failure;
    const Value old = std::exchange(dc->state.*member, value);
    if (dc->output) dc->output->changed(*dc, setting, static_cast<int32_t>(value), 0);
    return old;
}

template <class Value> Value getMode(HDC hDC, Value DcState::*member, Value failure) {
    const DeviceContext* dc = findDc(hDC);
    return dc ? dc->state.*member : failure;
}

} // namespace
} // namespace kb::gdi

using namespace kb;
using namespace kb::gdi;

KB_API HDC CreateCompatibleDC(HDC hDC) {
    return guarded<HDC>(nullptr, [&]() -> HDC {
        const DeviceContext* like = nullptr;
        if (hDC && !(like = findDc(hDC))) return nullptr;
        DeviceContext* dc = makeContext(DcKind::memory, like);
        dc->useBitmap(Ref<Bitmap>(gdiState().defaultBitmap));
        return publishContext(dc);
    });
}

KB_API HDC KbCreateSurfaceDC(void* pPixels, int width, int height, int stride, int bits, const RGBQUAD* pPalette,
                             UINT colors) {
    constexpr int limit = 1 << 27;
    if (width < 0 || height < 0 || width > limit || height > limit) return nullptr;
    if (bits != 1 && bits != 8 && bits != 24 && bits != 32) return nullptr;
    if (!pPixels && width && height) return nullptr;
    if (height > 1 && rowBytes(width, bits, 8) > std::abs(static_cast<int64_t>(stride))) return nullptr;
    return guarded<HDC>(nullptr, [&] {
        std::unique_ptr<ColorTable> table;
        if (bits <= 8) table = std::make_unique<ColorTable>(ColorTable::from(pPalette, pPalette ? colors : 0, bits));
        DeviceContext* dc = makeContext(DcKind::borrowed, nullptr);
        dc->surface = {static_cast<uint8_t*>(pPixels), stride, width, height, bits, table.get(), bits == 1 && !pPalette};
        dc->ownColors = std::move(table);
        return publishContext(dc);
    });
}

KB_API BOOL KbSetSurfaceDpi(HDC hDC, int x, int y) {
    DeviceContext* dc = findDc(hDC);
    if (!dc || dc->kind == DcKind::pages || x < 1 || x > 32767 || y < 1 || y > 32767) return FALSE;
    dc->dpiX = x;
    dc->dpiY = y;
    return TRUE;
}

KB_API BOOL KbGetSurface(HDC hDC, KbSurface* pOut) {
    const DeviceContext* dc = findDc(hDC);
    if (!dc || !pOut || !dc->surface.top) return FALSE;
    *pOut = {dc->surface.top, dc->surface.stride, dc->surface.width, dc->surface.height, dc->surface.bits};
    return TRUE;
}

KB_API BOOL DeleteDC(HDC hDC) {
    DeviceContext* dc = findDc(hDC);
    if (!dc || dc->kind == DcKind::screen) return FALSE;
    freeContext(dc);
    return TRUE;
}

KB_API HDC GetDC(HWND) {
    return guarded<HDC>(nullptr, [] { return publishContext(makeContext(DcKind::screen, nullptr)); });
}

KB_API int ReleaseDC(HWND, HDC hDC) {
    DeviceContext* dc = findDc(hDC);
    if (!dc || dc->kind != DcKind::screen) return 0;
    freeContext(dc);
    return 1;
}

KB_API int SaveDC(HDC hDC) {
    return guardedOn(hDC, 0, [&] {
        DeviceContext* dc = findDc(hDC);
        if (!dc) return 0;
        dc->saved.push_back(dc->state);
        if (dc->output) dc->output->changed(*dc, Setting::saved, 0, 0);
        return static_cast<int>(dc->saved.size());
    });
}

KB_API BOOL RestoreDC(HDC hDC, int level) {
    DeviceContext* dc = findDc(hDC);
    if (!dc) return FALSE;
    const auto depth = static_cast<int64_t>(dc->saved.size());
    const int64_t target = level < 0 ? depth + level : static_cast<int64_t>(level) - 1;
    if (level == 0 || target < 0 || target >= depth) return FALSE;
    // Bitmaps of states that are dropped are let go of one by one, each against what is still held.
    while (static_cast<int64_t>(dc->saved.size()) > target) {
        DcState state = std::move(dc->saved.back());
        dc->saved.pop_back();
        if (state.bitmap) dc->useBitmap(state.bitmap);
        dc->state = std::move(state);
    }
    if (dc->output) dc->output->changed(*dc, Setting::restored, static_cast<int32_t>(depth - target), 0);
    return TRUE;
}

KB_API int GetDeviceCaps(HDC hDC, int index) {
    const DeviceContext* dc = findDc(hDC);
    if (!dc) return 0;
    const bool screen = dc->kind == DcKind::screen || dc->kind == DcKind::recording;
    int width = screen ? 1920 : dc->surface.width, height = screen ? 1080 : dc->surface.height;
    if (dc->kind == DcKind::pages) {
        const Box page = dc->output->bounds();
        width = page.right;
        height = page.bottom;
    }
    switch (index) {
    case DRIVERVERSION: return 0x0400;
    case TECHNOLOGY:
        if (dc->kind == DcKind::recording) return DT_METAFILE;
        return dc->kind == DcKind::pages ? DT_RASPRINTER : DT_RASDISPLAY;
    case HORZSIZE: return MulDiv(width, 254, dc->dpiX * 10);
    case VERTSIZE: return MulDiv(height, 254, dc->dpiY * 10);
    case HORZRES: return width;
    case VERTRES: return height;
    case BITSPIXEL: return dc->surface.bits;
    case PLANES: return 1;
    case NUMBRUSHES:
    case NUMPENS: return -1; // as many as asked for
    case NUMCOLORS: return dc->surface.bits <= 8 ? static_cast<int>(dc->surface.colors->count) : -1;
    case CURVECAPS: return 0x1FF;
    case LINECAPS: return 0xFE;
    case POLYGONALCAPS: return 0xFF;
    case TEXTCAPS: return 0x7807;
    case CLIPCAPS: return 1;
    case RASTERCAPS: return RC_BITBLT | RC_BITMAP64 | RC_DI_BITMAP | RC_DIBTODEV | RC_STRETCHBLT | RC_STRETCHDIB;
    case ASPECTX:
    case ASPECTY: return 36;
    case ASPECTXY: return 51;
    case LOGPIXELSX: return dc->dpiX;
    case LOGPIXELSY: return dc->dpiY;
    case COLORRES: return 24;
    default: return 0;
    }
}

KB_API HGDIOBJ SelectObject(HDC hDC, HGDIOBJ hObject) {
    return guarded<HGDIOBJ>(nullptr, [&]() -> HGDIOBJ {
        DeviceContext* dc = findDc(hDC);
        if (!dc) return nullptr;
        GdiState& gdi = gdiState();
        switch (handleKind(handleValue(hObject))) {
        case HandleKind::pen: return select(*dc, gdi.pens, hObject, dc->state.pen);
        case HandleKind::brush: return select(*dc, gdi.brushes, hObject, dc->state.brush);
        case HandleKind::font: return select(*dc, gdi.fonts, hObject, dc->state.font);
        case HandleKind::bitmap: return selectBitmap(*dc, hObject);
        case HandleKind::region: {
            const int kind = SelectClipRgn(hDC, static_cast<HRGN>(hObject));
            return kind == ERROR ? HGDI_ERROR : toHandle<HGDIOBJ>(static_cast<uint32_t>(kind));
        }
        default: SetLastError(ERROR_BAD_HANDLE); return nullptr;
        }
    });
}

KB_API HGDIOBJ GetCurrentObject(HDC hDC, UINT type) {
    const DeviceContext* dc = findDc(hDC);
    if (!dc) return nullptr;
    const DcState& s = dc->state;
    switch (type) {
    case OBJ_PEN: return toHandle<HGDIOBJ>(s.pen->handle);
    case OBJ_BRUSH: return toHandle<HGDIOBJ>(s.brush->handle);
    case OBJ_FONT: return toHandle<HGDIOBJ>(s.font->handle);
    case OBJ_PAL: return toHandle<HGDIOBJ>(s.palette->handle);
    case OBJ_BITMAP: return s.bitmap ? toHandle<HGDIOBJ>(s.bitmap->handle) : nullptr;
    default: return nullptr;
    }
}

KB_API COLORREF SetTextColor(HDC hDC, COLORREF color) {
    return setMode(hDC, Setting::textColor, &DcState::textColor, color & 0xFFFFFF, 0u, 0xFFFFFFu, CLR_INVALID);
}
KB_API COLORREF GetTextColor(HDC hDC) { return getMode(hDC, &DcState::textColor, CLR_INVALID); }
KB_API COLORREF SetBkColor(HDC hDC, COLORREF color) {
    return setMode(hDC, Setting::bkColor, &DcState::bkColor, color & 0xFFFFFF, 0u, 0xFFFFFFu, CLR_INVALID);
}
KB_API COLORREF GetBkColor(HDC hDC) { return getMode(hDC, &DcState::bkColor, CLR_INVALID); }
KB_API int SetBkMode(HDC hDC, int mode) {
    return setMode(hDC, Setting::bkMode, &DcState::bkMode, mode, TRANSPARENT, OPAQUE, 0);
}
KB_API int GetBkMode(HDC hDC) { return getMode(hDC, &DcState::bkMode, 0); }
KB_API int SetROP2(HDC hDC, int mode) { return setMode(hDC, Setting::rop2, &DcState::rop2, mode, R2_BLACK, R2_WHITE, 0); }
KB_API int GetROP2(HDC hDC) { return getMode(hDC, &DcState::rop2, 0); }
KB_API int SetPolyFillMode(HDC hDC, int mode) {
    return setMode(hDC, Setting::polyFillMode, &DcState::polyFillMode, mode, ALTERNATE, WINDING, 0);
}
KB_API int GetPolyFillMode(HDC hDC) { return getMode(hDC, &DcState::polyFillMode, 0); }
KB_API UINT SetTextAlign(HDC hDC, UINT mode) {
    return setMode(hDC, Setting::textAlign, &DcState::textAlign, mode, 0u, 0x1FFu, GDI_ERROR);
}
KB_API UINT GetTextAlign(HDC hDC) { return getMode(hDC, &DcState::textAlign, GDI_ERROR); }
KB_API int SetStretchBltMode(HDC hDC, int mode) {
    return setMode(hDC, Setting::stretchMode, &DcState::stretchMode, mode, BLACKONWHITE, HALFTONE, 0);
}
KB_API int GetStretchBltMode(HDC hDC) { return getMode(hDC, &DcState::stretchMode, 0); }

KB_API BOOL SetBrushOrgEx(HDC hDC, int x, int y, POINT* pOld) {
    DeviceContext* dc = findDc(hDC);
    if (!dc) return FALSE;
    const POINT old = std::exchange(dc->state.brushOrigin, POINT{x, y});
    if (pOld) *pOld = old;
    return TRUE;
}

KB_API BOOL GetBrushOrgEx(HDC hDC, POINT* pOut) {
    const DeviceContext* dc = findDc(hDC);
    if (!dc || !pOut) return FALSE;
    *pOut = dc->state.brushOrigin;
    return TRUE;
}
