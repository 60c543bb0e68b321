// Making, describing and deleting pens, brushes and fonts, and what is common to handles of all kinds.
#include "platform/gdi/dib.h"
#include "platform/gdi/gdi_state.h"

#include <cstring>

using namespace kb;
using namespace kb::gdi;

static_assert(sizeof(LOGFONTA) == 60 && sizeof(BITMAPINFOHEADER) == 40 && sizeof(BITMAPCOREHEADER) == 12);
static_assert(sizeof(RGBQUAD) == 4 && sizeof(RGBTRIPLE) == 3 && sizeof(PALETTEENTRY) == 4 && sizeof(LOGPALETTE) == 8);
static_assert(sizeof(RGNDATAHEADER) == 32 && sizeof(METAFILEPICT) == 16 && sizeof(LOGPEN) == 16);

namespace {

template <class T> BOOL deleteFrom(HandleTable<T>& table, uint32_t handle) {
    T* object = table.find(handle);
    if (!object) {
        SetLastError(ERROR_BAD_HANDLE);
        return FALSE;
    }
    if (object->stock) return TRUE;
    if (!table.remove(handle)) return FALSE; // another thread was first
    Ref<T>::drop(object);
    return TRUE;
}

std::unique_ptr<PatternImage> patternOf(const PixelReader& source) {
    constexpr int limit = 4096;
    if (source.width < 1 || source.height < 1 || source.width > limit || source.height > limit) return nullptr;
    auto image = std::make_unique<PatternImage>();
    image->width = source.width;
    image->height = source.height;
    image->mono = source.mono;
    image->pixels.reserve(static_cast<size_t>(source.width) * static_cast<size_t>(source.height));
    for (int y = 0; y < source.height; ++y)
        for (int x = 0; x < source.width; ++x) image->pixels.push_back(source.mono ? source.raw(x, y) : source.rgb(x, y));
    return image;
}

HBRUSH publishPattern(std::unique_ptr<PatternImage> image) {
    if (!image) return nullptr;
    auto brush = Ref<Brush>::adopt(Pool<Brush>::make(static_cast<UINT>(BS_PATTERN), 0u, 0u));
    brush->pattern = std::move(image);
    return publish<HBRUSH>(gdiState().brushes, std::move(brush));
}

int copyOut(const void* record, size_t recordSize, int size, void* pOut) {
    if (!pOut) return static_cast<int>(recordSize);
    if (size <= 0) return 0;
    const size_t n = std::min(recordSize, static_cast<size_t>(size));
    std::memcpy(pOut, record, n);
    return static_cast<int>(n);
}

} // namespace

KB_API HPEN CreatePen(int style, int width, COLORREF color) {
    if (style < PS_SOLID || style > PS_INSIDEFRAME) style = PS_SOLID;
    if (width < 0) width = width == INT32_MIN ? INT32_MAX : -width;
    return guarded<HPEN>(
        nullptr, [&] { return publish<HPEN>(gdiState().pens, Ref<Pen>::adopt(Pool<Pen>::make(style, width, color))); });
}

KB_API HPEN CreatePenIndirect(const LOGPEN* pPen) {
    return pPen ? CreatePen(static_cast<int>(pPen->lopnStyle & 0xF), pPen->lopnWidth.x, pPen->lopnColor) : nullptr;
}

KB_API HBRUSH CreateSolidBrush(COLORREF color) {
    const LOGBRUSH brush{BS_SOLID, color, 0};
    return CreateBrushIndirect(&brush);
}

KB_API HBRUSH CreateHatchBrush(int style, COLORREF color) {
    const LOGBRUSH brush{BS_HATCHED, color, static_cast<ULONG_PTR>(style)};
    return CreateBrushIndirect(&brush);
}

KB_API HBRUSH CreatePatternBrush(HBITMAP hBitmap) {
    return guarded<HBRUSH>(nullptr, [&]() -> HBRUSH {
        const Bitmap* bitmap = findObject(gdiState().bitmaps, hBitmap);
        return bitmap ? publishPattern(patternOf(PixelReader(bitmap->surface))) : nullptr;
    });
}

KB_API HBRUSH CreateDIBPatternBrushPt(const void* pPackedDib, UINT usage) {
    if (!pPackedDib) return nullptr;
    return guarded<HBRUSH>(nullptr, [&]() -> HBRUSH {
        PixelReader reader;
        const auto* info = static_cast<const BITMAPINFO*>(pPackedDib);
        if (!readDib(info, usage, static_cast<const uint8_t*>(pPackedDib) + dibHeaderBytes(info), reader)) return nullptr;
        return publishPattern(patternOf(reader));
    });
}

KB_API HBRUSH CreateBrushIndirect(const LOGBRUSH* pBrush) {
    if (!pBrush) return nullptr;
    switch (pBrush->lbStyle) {
    case BS_PATTERN: return CreatePatternBrush(toHandle<HBITMAP>(static_cast<uint32_t>(pBrush->lbHatch)));
    case BS_DIBPATTERN: {
        const auto hMemory = toHandle<HGLOBAL>(static_cast<uint32_t>(pBrush->lbHatch));
        const void* bytes = GlobalLock(hMemory);
        if (!bytes) return nullptr;
        const auto* info = static_cast<const BITMAPINFO*>(bytes);
        const SIZE_T size = GlobalSize(hMemory);
        HBRUSH brush = nullptr;
        if (packedDibFits(info, size)) brush = CreateDIBPatternBrushPt(bytes, pBrush->lbColor & 0xFFFF);
        GlobalUnlock(hMemory);
        return brush;
    }
    case BS_HATCHED:
        if (pBrush->lbHatch > HS_DIAGCROSS) return nullptr;
        break;
    case BS_SOLID:
    case BS_NULL: break;
    default: return nullptr;
    }
    return guarded<HBRUSH>(nullptr, [&] {
        return publish<HBRUSH>(gdiState().brushes,
                               Ref<Brush>::adopt(Pool<Brush>::make(pBrush->lbStyle, pBrush->lbColor, pBrush->lbHatch)));
    });
}

KB_API HFONT CreateFontIndirectA(const LOGFONTA* pFont) {
    if (!pFont) return nullptr;
    LOGFONTA font = *pFont;
    // Bytes behind the name's end must not tell equal fonts apart.
    const size_t length = strnlen(font.lfFaceName, LF_FACESIZE - 1);
    std::memset(font.lfFaceName + length, 0, LF_FACESIZE - length);
    return guarded<HFONT>(nullptr,
                          [&] { return publish<HFONT>(gdiState().fonts, Ref<Font>::adopt(Pool<Font>::make(font))); });
}

KB_API HFONT CreateFontA(int height, int width, int escapement, int orientation, int weight, DWORD italic, DWORD underline,
                         DWORD strikeOut, DWORD charSet, DWORD outPrecision, DWORD clipPrecision, DWORD quality,
                         DWORD pitchAndFamily, const char* pszFace) {
    LOGFONTA font{};
    font.lfHeight = height;
    font.lfWidth = width;
    font.lfEscapement = escapement;
    font.lfOrientation = orientation;
    font.lfWeight = weight;
    font.lfItalic = italic != 0;
    font.lfUnderline = underline != 0;
    font.lfStrikeOut = strikeOut != 0;
    font.lfCharSet = static_cast<BYTE>(charSet);
    font.lfOutPrecision = static_cast<BYTE>(outPrecision);
    font.lfClipPrecision = static_cast<BYTE>(clipPrecision);
    font.lfQuality = static_cast<BYTE>(quality);
    font.lfPitchAndFamily = static_cast<BYTE>(pitchAndFamily);
    if (pszFace) std::memcpy(font.lfFaceName, pszFace, strnlen(pszFace, LF_FACESIZE - 1));
    return CreateFontIndirectA(&font);
}

KB_API BOOL DeleteObject(HGDIOBJ hObject) {
    GdiState& gdi = gdiState();
    const uint32_t handle = handleValue(hObject);
    switch (handleKind(handle)) {
    case HandleKind::pen: return deleteFrom(gdi.pens, handle);
    case HandleKind::brush: return deleteFrom(gdi.brushes, handle);
    case HandleKind::font: return deleteFrom(gdi.fonts, handle);
    case HandleKind::bitmap: return deleteFrom(gdi.bitmaps, handle);
    case HandleKind::region: return deleteFrom(gdi.regions, handle);
    case HandleKind::palette: return deleteFrom(gdi.palettes, handle);
    default: SetLastError(ERROR_BAD_HANDLE); return FALSE;
    }
}

KB_API DWORD GetObjectType(HGDIOBJ hObject) {
    const GdiState& gdi = gdiState();
    const uint32_t handle = handleValue(hObject);
    switch (handleKind(handle)) {
    case HandleKind::pen: return gdi.pens.find(handle) ? OBJ_PEN : 0;
    case HandleKind::brush: return gdi.brushes.find(handle) ? OBJ_BRUSH : 0;
    case HandleKind::font: return gdi.fonts.find(handle) ? OBJ_FONT : 0;
    case HandleKind::bitmap: return gdi.bitmaps.find(handle) ? OBJ_BITMAP : 0;
    case HandleKind::region: return gdi.regions.find(handle) ? OBJ_REGION : 0;
    case HandleKind::palette: return gdi.palettes.find(handle) ? OBJ_PAL : 0;
    case HandleKind::metafile: {
        const Metafile* metafile = gdi.metafiles.find(handle);
        if (!metafile) return 0;
        return metafile->enhanced ? OBJ_ENHMETAFILE : OBJ_METAFILE;
    }
    case HandleKind::deviceContext: {
        const DeviceContext* dc = gdi.contexts.find(handle);
        if (!dc) return 0;
        if (dc->kind == DcKind::recording) return OBJ_METADC;
        return dc->kind == DcKind::memory ? OBJ_MEMDC : OBJ_DC;
    }
    default: return 0;
    }
}

KB_API int GetObjectA(HGDIOBJ hObject, int size, void* pOut) {
    const GdiState& gdi = gdiState();
    const uint32_t handle = handleValue(hObject);
    switch (handleKind(handle)) {
    case HandleKind::pen:
        if (const Pen* pen = gdi.pens.find(handle)) {
            const LOGPEN record{static_cast<UINT>(pen->style), {pen->width, 0}, pen->color};
            return copyOut(&record, sizeof record, size, pOut);
        }
        break;
    case HandleKind::brush:
        if (const Brush* brush = gdi.brushes.find(handle)) {
            LOGBRUSH record{};
            record.lbStyle = brush->style;
            record.lbColor = brush->color;
            record.lbHatch = brush->hatch;
            return copyOut(&record, sizeof record, size, pOut);
        }
        break;
    case HandleKind::font:
        if (const Font* font = gdi.fonts.find(handle)) return copyOut(&font->logical, sizeof font->logical, size, pOut);
        break;
    case HandleKind::bitmap:
        if (const Bitmap* bitmap = gdi.bitmaps.find(handle)) {
            BITMAP record{};
            const Surface& s = bitmap->surface;
            record.bmWidth = s.width;
            record.bmHeight = s.height;
            record.bmWidthBytes = static_cast<LONG>(s.stride < 0 ? -s.stride : s.stride);
            record.bmPlanes = 1;
            record.bmBitsPixel = static_cast<WORD>(s.bits);
            record.bmBits = bitmap->section ? const_cast<uint8_t*>(bitmap->storage.data()) : nullptr;
            return copyOut(&record, sizeof record, size, pOut);
        }
        break;
    case HandleKind::palette:
        if (const Palette* palette = gdi.palettes.find(handle)) {
            const auto count = static_cast<WORD>(palette->entries.size());
            return copyOut(&count, sizeof count, size, pOut);
        }
        break;
    default: break;
    }
    SetLastError(ERROR_BAD_HANDLE);
    return 0;
}
