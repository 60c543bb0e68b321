// The records of classic metafiles that carry text or pixels.
#include "platform/gdi/play_classic.h"

#include <algorithm>

namespace kb::gdi {

namespace {

using P = ClassicPlayer;
using R = ClassicRecord;

void drawText(P& p, const uint8_t* bytes, size_t count, TextRun& call) {
    decodeText(bytes, count, p.out.font().lfCharSet, call);
    p.out.text(call);
}

// The bitmap from word `at` on; what isn't whole isn't drawn, and the play goes on.
bool dibAt(P& p, const R& r, size_t at, UINT usage, DibImage& image) {
    if (at * 2 >= r.size) return false;
    return loadDib({r.bytes + at * 2, r.size - at * 2, nullptr, 0, usage, p.out.paletteColors(), p.out.budget.bytesLeft()},
                   image);
}

// Without a bitmap there is a spare word before the destination.
bool withoutBitmap(const R& r, size_t words) { return r.size == words * 2; }

bool blit(P& p, const R& r, bool device, bool stretch) {
    const DWORD rop = r.dword(0);
    const size_t sizes = stretch ? 2 : 0; // source height and width
    const FPoint from = r.point(2 + sizes);
    if (withoutBitmap(r, 9 + sizes)) {
        const size_t at = 5 + sizes;
        p.out.patBlt(r.number(at + 3), r.number(at + 2), r.number(at + 1), r.number(at), rop);
        return true;
    }
    const size_t at = 4 + sizes;
    const double width = r.number(at + 1), height = r.number(at), x = r.number(at + 3), y = r.number(at + 2);
    SourceArea area{from.x, from.y, width, height};
    if (stretch) {
        area.width = r.number(3);
        area.height = r.number(2);
    }
    DibImage image;
    const bool whole = device ? loadDeviceBitmap(r.bytes + (at + 4) * 2, r.size - (at + 4) * 2, 0, p.out.state.textColor,
                                                 p.out.state.bkColor, image)
                              : dibAt(p, r, at + 4, DIB_RGB_COLORS, image);
    if (!whole) return true;
    // Equal sizes are in logical units of both sides: the source's own are its pixels.
    if (!stretch) {
        area.width = std::min<double>(std::abs(area.width), image.width - from.x);
        area.height = std::min<double>(std::abs(area.height), image.height - from.y);
        p.out.stretchDib(image, x, y, std::copysign(area.width, width), std::copysign(area.height, height), area, rop);
        return true;
    }
    p.out.stretchDib(image, x, y, width, height, area, rop);
    return true;
}

} // namespace

bool classicTextOut(P& p, const R& r) {
    const size_t count = r.word(0), padded = (count + 1) / 2 * 2;
    if (!r.has(2, padded + 4)) return false;
    TextRun call;
    call.at = r.point(1 + padded / 2);
    drawText(p, r.bytes + 2, count, call);
    return true;
}

bool classicExtTextOut(P& p, const R& r) {
    const size_t count = r.word(2);
    TextRun call;
    call.at = r.point(0);
    call.options = r.word(3);
    size_t at = 8;
    if (call.options & (ETO_OPAQUE | ETO_CLIPPED)) {
        if (!r.has(at, 8)) return false;
        call.hasBox = true;
        call.box = {r.number(4), r.number(5), r.number(6), r.number(7)};
        at += 8;
    }
    if (!r.has(at, count)) return false;
    const size_t widths = at + (count + 1) / 2 * 2;
    if (r.has(widths, count * 2))
        for (size_t i = 0; i < count; ++i) call.advance.push_back(r.number(widths / 2 + i));
    drawText(p, r.bytes + at, count, call);
    return true;
}

bool classicBitBlt(P& p, const R& r) { return blit(p, r, true, false); }
bool classicDibBitBlt(P& p, const R& r) { return blit(p, r, false, false); }
bool classicStretchBlt(P& p, const R& r) { return blit(p, r, true, true); }
bool classicDibStretchBlt(P& p, const R& r) { return blit(p, r, false, true); }

bool classicStretchDib(P& p, const R& r) {
    DibImage image;
    if (!dibAt(p, r, 11, r.word(2), image)) return true;
    const FPoint from = r.point(5), to = r.point(9);
    SourceArea area{from.x, from.y, static_cast<double>(r.number(4)), static_cast<double>(r.number(3))};
    if (!image.topDown) area.y = image.height - from.y - area.height; // rows count from the bottom here
    p.out.stretchDib(image, to.x, to.y, r.number(8), r.number(7), area, r.dword(0));
    return true;
}

bool classicSetDibToDevice(P& p, const R& r) {
    const int lines = r.number(1), start = r.number(2);
    DibImage image;
    if (lines <= 0 || start < 0 || 18 >= r.size) return true;
    DibSource source{r.bytes + 18, r.size - 18, nullptr, 0, r.word(0), p.out.paletteColors(), p.out.budget.bytesLeft()};
    source.rows = lines;
    if (!loadDib(source, image)) return true;
    const FPoint from = r.point(3), to = r.point(7);
    p.out.dibToDevice(image, to.x, to.y, from.x, from.y, r.number(6), r.number(5), start, lines);
    return true;
}

bool classicDibPatternBrush(P& p, const R& r) {
    PlayBrush brush;
    brush.style = BS_PATTERN;
    // A pattern of the device's own kind takes the colours in force; one with a table of colours keeps them.
    brush.mono = r.word(0) == BS_PATTERN;
    const UINT usage = brush.mono ? DIB_RGB_COLORS : r.word(1);
    if (!dibAt(p, r, 2, usage, brush.pattern)) brush.style = BS_NULL;
    brush.mono = brush.mono && brush.pattern && brush.pattern.depth() == 1;
    p.out.objects.add(p.out.make(std::move(brush)));
    return true;
}

bool classicPatternBrush(P& p, const R& r) {
    PlayBrush brush;
    brush.style = BS_PATTERN;
    constexpr size_t spare = 22; // an address of the recording machine, and unused words
    if (!loadDeviceBitmap(r.bytes, r.size, spare, 0, 0xFFFFFF, brush.pattern)) brush.style = BS_NULL;
    brush.mono = brush.pattern && brush.pattern.depth() == 1;
    p.out.objects.add(p.out.make(std::move(brush)));
    return true;
}

} // namespace kb::gdi
