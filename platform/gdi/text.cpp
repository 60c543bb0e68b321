// Text calls: layout by whole-pixel advances, alignment, background, turned lines. Widths don't depend on depth or angle.
#include "platform/gdi/gdi_state.h"
#include "platform/gdi/scratch.h"
#include "platform/gdi/text_layout.h"

#include <cmath>
#include <cstring>

using namespace kb;
using namespace kb::gdi;

namespace {

// The box u0..u1, v0..v1 of the line in one colour, without raster operation.
void fillBlock(const DeviceContext& dc, const Box& clip, const TextLine& line, bool turned, double u0, double v0, double u1,
               double v1, COLORREF color) {
    Paint paint;
    paint.setSolid(dc.surface.pixelFor(color), tableOfRop2(R2_COPYPEN), dc.surface.bits);
    Painter painter(dc.surface, paint, clip, dc.state.clip.region.get());
    const POINT corners[4] = {line.at(u0, v0), line.at(u1, v0), line.at(u1, v1), line.at(u0, v1)};
    if (!turned) {
        painter.rect({corners[0].x, corners[0].y, corners[2].x, corners[2].y});
        return;
    }
    PolygonFiller& filler = scratch().filler;
    filler.begin(clip);
    filler.add(corners, 4);
    filler.fill(WINDING, [&](int64_t y, int64_t x0, int64_t x1) { painter.span(y, x0, x1); });
}

// Char: uint8_t for windows-1252, char32_t for Unicode.
template <class Char>
void drawText(DeviceContext& dc, POINT at, UINT options, const RECT* rect, const Char* text, size_t count, const INT* dx) {
    Box clip = dc.clipBox();
    if (rect && options & (ETO_OPAQUE | ETO_CLIPPED)) {
        const Box box = deviceBox(dc, rect->left, rect->top, rect->right, rect->bottom);
        if (options & ETO_OPAQUE) {
            Paint paint;
            paint.setSolid(dc.surface.pixelFor(dc.state.bkColor), tableOfRop2(R2_COPYPEN), dc.surface.bits);
            dc.painter(paint).rect(box);
        }
        if (options & ETO_CLIPPED) clip = intersect(clip, box);
    }
    if (!count) return;
    RealisedFont& font = realisedFont(dc);
    const TEXTMETRICA& metrics = font.metrics();
    const TextLine line = placeText(dc, font, at, text, count, dx);
    if (clip.empty()) return;
    const auto width = static_cast<double>(line.width);
    if (dc.state.bkMode == OPAQUE)
        fillBlock(dc, clip, line, font.turned(), 0, -metrics.tmAscent, width, metrics.tmDescent, dc.state.bkColor);
    GlyphPainter painter(dc, clip, dc.state.textColor);
    const bool grey = dc.surface.bits >= 24;
    if (!font.turned()) {
        auto x = static_cast<int64_t>(line.x);
        const auto y = static_cast<int64_t>(line.y);
        painter.announce(
            {saturate(x), saturate(y - metrics.tmAscent), saturate(x + line.width), saturate(y + metrics.tmDescent)});
        for (size_t i = 0; i < count; ++i) {
            font.draw(text[i], painter, x, y, grey);
            x += advanceOf(dc, font, text, dx, i);
        }
    } else {
        int64_t along = 0;
        for (size_t i = 0; i < count; ++i) {
            const POINT p = line.at(static_cast<double>(along), 0);
            font.draw(text[i], painter, p.x, p.y, grey);
            along += advanceOf(dc, font, text, dx, i);
        }
    }
    const auto bar = [&](int top) {
        fillBlock(dc, clip, line, font.turned(), 0, top, width, top + font.lineWidth(), dc.state.textColor);
    };
    if (metrics.tmUnderlined) bar(font.underlineTop());
    if (metrics.tmStruckOut) bar(font.strikeOutTop());
}

template <class Body> BOOL withFont(HDC hDC, Body&& body) {
    return guarded<BOOL>(FALSE, [&]() -> BOOL {
        DeviceContext* dc = findDc(hDC);
        return dc ? body(*dc, realisedFont(*dc)) : FALSE;
    });
}

// The character at unit `i`, which is left on its last unit. Half a pair stands for itself.
char32_t nextCode(const uint16_t* text, UINT count, UINT& i) {
    const char32_t unit = text[i];
    if ((unit & 0xFC00) != 0xD800 || i + 1 >= count || (text[i + 1] & 0xFC00) != 0xDC00) return unit;
    return 0x10000 + ((unit & 0x3FF) << 10) + (text[++i] & 0x3FFu);
}

const uint8_t* bytesOf(const char* text) { return reinterpret_cast<const uint8_t*>(text); }

} // namespace

KB_API BOOL TextOutA(HDC hDC, int x, int y, const char* pText, int count) {
    return count < 0 ? FALSE : ExtTextOutA(hDC, x, y, 0, nullptr, pText, static_cast<UINT>(count), nullptr);
}

KB_API BOOL ExtTextOutA(HDC hDC, int x, int y, UINT options, const RECT* pRect, const char* pText, UINT count,
                        const INT* pDx) {
    return guardedOn<BOOL>(hDC, FALSE, [&]() -> BOOL {
        DeviceContext* dc = findDc(hDC);
        if (!dc || (count && !pText) || count > INT32_MAX) return FALSE;
        if (dc->output) {
            std::vector<char32_t> text(count);
            for (UINT i = 0; i < count; ++i) text[i] = unicodeOf(bytesOf(pText)[i]);
            return dc->output->text(*dc, {{x, y}, options, pRect, text.data(), count, pDx});
        }
        drawText(*dc, {x, y}, options, pRect, bytesOf(pText), count, pDx);
        return TRUE;
    });
}

KB_API BOOL ExtTextOutW(HDC hDC, int x, int y, UINT options, const RECT* pRect, const uint16_t* pText, UINT count,
                        const INT* pDx) {
    return guardedOn<BOOL>(hDC, FALSE, [&]() -> BOOL {
        DeviceContext* dc = findDc(hDC);
        if (!dc || (count && !pText) || count > INT32_MAX) return FALSE;
        std::vector<char32_t> codes;
        std::vector<INT> advances;
        for (UINT i = 0; i < count; ++i) {
            if (pDx) advances.push_back(pDx[i]);
            codes.push_back(nextCode(pText, count, i));
        }
        const INT* dx = pDx ? advances.data() : nullptr;
        if (dc->output) return dc->output->text(*dc, {{x, y}, options, pRect, codes.data(), codes.size(), dx});
        drawText(*dc, {x, y}, options, pRect, codes.data(), codes.size(), dx);
        return TRUE;
    });
}

void kb::gdi::textExtentsWide(HDC hDC, const uint16_t* text, UINT count, INT* ends) {
    std::fill(ends, ends + count, 0);
    withFont(hDC, [&](DeviceContext& dc, RealisedFont& font) {
        int64_t width = 0;
        for (UINT i = 0; i < count; ++i) {
            const UINT first = i;
            width += font.advance(nextCode(text, count, i));
            for (UINT k = first; k <= i; ++k) ends[k] = dc.state.map.logicalWidth(width);
        }
        return TRUE;
    });
}

KB_API BOOL GetTextExtentPoint32A(HDC hDC, const char* pText, int count, SIZE* pOut) {
    return GetTextExtentExPointA(hDC, pText, count, 0, nullptr, nullptr, pOut);
}

KB_API BOOL GetTextExtentExPointA(HDC hDC, const char* pText, int count, int maxExtent, INT* pFit, INT* pDx, SIZE* pOut) {
    if (count < 0 || (count && !pText) || !pOut) return FALSE;
    return withFont(hDC, [&](DeviceContext& dc, RealisedFont& font) {
        const Mapping& map = dc.state.map;
        int64_t width = 0;
        int fit = 0;
        for (int i = 0; i < count; ++i) {
            width += font.advance(bytesOf(pText)[i]);
            const int32_t logical = map.logicalWidth(width);
            if (pFit && fit == i && logical <= maxExtent) fit = i + 1;
            if (pDx && (!pFit || fit == i + 1)) pDx[i] = logical;
        }
        if (pFit) *pFit = fit;
        *pOut = {map.logicalWidth(width), map.logicalHeight(font.metrics().tmHeight)};
        return TRUE;
    });
}

KB_API BOOL GetCharWidth32A(HDC hDC, UINT first, UINT last, INT* pOut) {
    if (first > last || last > 255 || !pOut) return FALSE;
    return withFont(hDC, [&](DeviceContext& dc, RealisedFont& font) {
        const bool identity = dc.state.map.identity;
        for (UINT c = first; c <= last; ++c) {
            const int advance = font.advance(static_cast<uint8_t>(c));
            pOut[c - first] = identity ? advance : dc.state.map.logicalWidth(advance);
        }
        return TRUE;
    });
}

KB_API BOOL GetTextMetricsA(HDC hDC, TEXTMETRICA* pOut) {
    if (!pOut) return FALSE;
    return withFont(hDC, [&](DeviceContext& dc, RealisedFont& font) {
        *pOut = font.metrics();
        const Mapping& map = dc.state.map;
        if (map.identity) return TRUE;
        pOut->tmAscent = map.logicalHeight(pOut->tmAscent);
        pOut->tmDescent = map.logicalHeight(pOut->tmDescent);
        pOut->tmHeight = pOut->tmAscent + pOut->tmDescent;
        pOut->tmInternalLeading = map.logicalHeight(pOut->tmInternalLeading);
        pOut->tmExternalLeading = map.logicalHeight(pOut->tmExternalLeading);
        pOut->tmAveCharWidth = map.logicalWidth(pOut->tmAveCharWidth);
        pOut->tmMaxCharWidth = map.logicalWidth(pOut->tmMaxCharWidth);
        return TRUE;
    });
}

KB_API int GetTextFaceA(HDC hDC, int size, char* pszOut) {
    int written = 0;
    withFont(hDC, [&](DeviceContext&, RealisedFont& font) {
        const std::string& name = font.faceName();
        if (!pszOut) {
            written = static_cast<int>(name.size()) + 1;
            return TRUE;
        }
        if (size <= 0) return FALSE;
        const size_t n = std::min(name.size(), static_cast<size_t>(size) - 1);
        std::memcpy(pszOut, name.data(), n);
        pszOut[n] = 0;
        written = static_cast<int>(n) + 1;
        return TRUE;
    });
    return written;
}
