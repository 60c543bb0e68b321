// The blitting calls: areas in logical units to device pixels, choice of source, pattern and colours.
#include "platform/gdi/blit.h"
#include "platform/gdi/gdi_state.h"
#include "platform/gdi/scratch.h"

using namespace kb;
using namespace kb::gdi;

namespace {

uint8_t codeOf(DWORD rop) { return static_cast<uint8_t>(rop >> 16); }

// What a blit answers: its rows. A height may be the one number that has no opposite.
int rowsOf(int height) { return saturate(std::abs(int64_t{height})); }

BlitArea deviceArea(const DeviceContext& dc, int64_t x, int64_t y, int64_t width, int64_t height) {
    const Mapping& map = dc.state.map;
    if (map.identity) return {x, y, width, height};
    const int64_t left = map.deviceX(x), top = map.deviceY(y);
    return {left, top, map.deviceX(x + width) - left, map.deviceY(y + height) - top};
}

// An operation without a source.
BOOL patternBlit(const DeviceContext& dc, const BlitArea& area, uint8_t code) {
    Paint paint;
    const uint32_t table = tableOfRop3(code);
    if (!rop3NeedsPattern(code))
        paint.setSolid(0, table, dc.surface.bits);
    else if (!brushPaint(dc, *dc.state.brush, table, paint, scratch().brushCells))
        return TRUE;
    dc.painter(paint).rect(boxOf(area));
    return TRUE;
}

// False when the selected brush, which the operation needs, is hollow.
bool loadPattern(const DeviceContext& dc, uint8_t code, Paint& paint, const Paint*& pattern) {
    pattern = nullptr;
    if (!rop3NeedsPattern(code)) return true;
    if (!brushPaint(dc, *dc.state.brush, tableOfRop2(R2_COPYPEN), paint, scratch().brushCells)) return false;
    pattern = &paint;
    return true;
}

void blitTo(const DeviceContext& dc, const BlitArea& to, const PixelReader& source, const BlitArea& from, DWORD rop,
            COLORREF sourceBackground) {
    Paint paint;
    const Paint* pattern;
    const uint8_t code = codeOf(rop);
    if (!loadPattern(dc, code, paint, pattern)) return;
    PixelConverter convert(source, dc.surface, dc.state.textColor, dc.state.bkColor, sourceBackground);
    blit({dc.surface, dc.clipBox(), dc.state.clip.region.get()}, to, source, from, code, dc.state.stretchMode, convert,
         pattern);
}

// A copy of the part of the source that is read, for stretches within one surface.
void snapshot(PixelReader& source, BlitArea& from, std::vector<uint8_t>& memory) {
    const Box part = intersect(boxOf(from), {0, 0, source.width, source.height});
    if (part.empty()) return;
    const auto bytes = static_cast<size_t>(rowBytes(source.width, source.bits, 8));
    memory.resize(bytes * static_cast<size_t>(part.bottom - part.top));
    for (int y = part.top; y < part.bottom; ++y) {
        const uint8_t* row = source.top + source.stride * y;
        std::copy(row, row + bytes, memory.begin() + static_cast<ptrdiff_t>(bytes) * (y - part.top));
    }
    source.top = memory.data();
    source.stride = static_cast<ptrdiff_t>(bytes);
    source.height = part.bottom - part.top;
    from.y -= part.top;
}

BOOL blitBetween(HDC hDC, int x, int y, int width, int height, HDC hSource, int xSource, int ySource, int widthSource,
                 int heightSource, DWORD rop) {
    return guardedOn<BOOL>(hDC, FALSE, [&]() -> BOOL {
        DeviceContext* dc = findDc(hDC);
        if (!dc) return FALSE;
        const BlitArea to = deviceArea(*dc, x, y, width, height);
        const BlitArea logical{x, y, width, height};
        if (!rop3NeedsSource(codeOf(rop)))
            return dc->output ? dc->output->pattern(*dc, logical, rop) : patternBlit(*dc, to, codeOf(rop));
        const DeviceContext* other = findDc(hSource);
        if (!other || other->output) return FALSE;
        BlitArea from = deviceArea(*other, xSource, ySource, widthSource, heightSource);
        PixelReader source(other->surface);
        if (dc->output)
            return dc->output->image(*dc, {logical, source, from, rop, dc->state.textColor, dc->state.bkColor, true});
        std::vector<uint8_t> copy;
        const bool sameSize = to.width == from.width && to.height == from.height;
        if (other->surface.top == dc->surface.top && !sameSize) snapshot(source, from, copy);
        blitTo(*dc, to, source, from, rop, other->state.bkColor);
        return TRUE;
    });
}

} // namespace

KB_API BOOL PatBlt(HDC hDC, int x, int y, int width, int height, DWORD rop) {
    if (rop3NeedsSource(codeOf(rop))) return FALSE;
    return blitBetween(hDC, x, y, width, height, nullptr, 0, 0, 0, 0, rop);
}

KB_API BOOL BitBlt(HDC hDC, int x, int y, int width, int height, HDC hSource, int xSource, int ySource, DWORD rop) {
    return blitBetween(hDC, x, y, width, height, hSource, xSource, ySource, width, height, rop);
}

KB_API BOOL StretchBlt(HDC hDC, int x, int y, int width, int height, HDC hSource, int xSource, int ySource, int widthSource,
                       int heightSource, DWORD rop) {
    return blitBetween(hDC, x, y, width, height, hSource, xSource, ySource, widthSource, heightSource, rop);
}

KB_API int StretchDIBits(HDC hDC, int x, int y, int width, int height, int xSource, int ySource, int widthSource,
                         int heightSource, const void* pBits, const BITMAPINFO* pInfo, UINT usage, DWORD rop) {
    return guardedOn(hDC, 0, [&] {
        DeviceContext* dc = findDc(hDC);
        if (!dc) return 0;
        const BlitArea to = deviceArea(*dc, x, y, width, height);
        const BlitArea logical{x, y, width, height};
        if (!rop3NeedsSource(codeOf(rop))) {
            const bool done = dc->output ? dc->output->pattern(*dc, logical, rop) : patternBlit(*dc, to, codeOf(rop));
            return done ? rowsOf(heightSource) : 0;
        }
        PixelReader source;
        if (!readDib(pInfo, usage, pBits, source)) return 0;
        BlitArea from{xSource, ySource, widthSource, heightSource};
        if (source.stride < 0)
            from.y = static_cast<int64_t>(source.height) - ySource - heightSource; // counted from the bottom
        if (dc->output) {
            const ImageCall call{logical, source, from, rop, dc->state.textColor, dc->state.bkColor, true};
            return dc->output->image(*dc, call) ? rowsOf(heightSource) : 0;
        }
        blitTo(*dc, to, source, from, rop, CLR_INVALID);
        return rowsOf(heightSource);
    });
}

KB_API int SetDIBitsToDevice(HDC hDC, int x, int y, DWORD width, DWORD height, int xSource, int ySource, UINT start,
                             UINT lines, const void* pBits, const BITMAPINFO* pInfo, UINT usage) {
    return guardedOn(hDC, 0, [&] {
        DeviceContext* dc = findDc(hDC);
        PixelReader source;
        if (!dc || !readDib(pInfo, usage, pBits, source)) return 0;
        if (start >= static_cast<UINT>(source.height)) return 0;
        lines = std::min(lines, static_cast<UINT>(source.height) - start);
        if (!lines) return 0;
        const POINT corner = dc->state.map.device({x, y});
        // Only the given rows are there: the reader is narrowed to them, and rows outside of it are left alone.
        int64_t top = ySource;
        if (source.stride < 0) {
            top = static_cast<int64_t>(source.height) - ySource - height -
                  (static_cast<int64_t>(source.height) - start - lines);
            source.top = static_cast<const uint8_t*>(pBits) - source.stride * (static_cast<int64_t>(lines) - 1);
        } else {
            top -= start;
        }
        source.height = static_cast<int>(lines);
        const BlitArea from{xSource, top, width, height};
        if (dc->output) {
            const ImageCall call{{x, y, width, height}, source, from, SRCCOPY, 0, 0, false};
            return dc->output->image(*dc, call) ? static_cast<int>(lines) : 0;
        }
        blitTo(*dc, {corner.x, corner.y, width, height}, source, from, SRCCOPY, CLR_INVALID);
        return static_cast<int>(lines);
    });
}
