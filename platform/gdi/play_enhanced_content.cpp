// The records of enhanced metafiles that carry text or pixels. Their parts are found by offsets, each checked against the
// record; a bitmap that isn't whole isn't drawn, and the play goes on.
#include "platform/gdi/play_enhanced.h"

#include <algorithm>

namespace kb::gdi {

namespace {

using P = EnhancedPlayer;
using R = EnhancedRecord;

constexpr UINT glyphNumbers = 0x0010, pairsOfAdvances = 0x2000;

struct TextPart {
    FPoint at;
    uint64_t count, text, advances; // offsets from the record
    UINT options;
    RECT box;
    bool wide, advanced;
};

bool drawText(P& p, const R& r, const TextPart& part) {
    TextRun call;
    call.at = part.at;
    call.options = part.options;
    call.hasBox = part.box.left < part.box.right && part.box.top < part.box.bottom;
    call.box = part.box;
    call.advanced = part.advanced;
    // Lines of one record may all point at the same text.
    if (!r.has(part.text, part.count * (part.wide ? 2 : 1)) ||
        !p.out.budget.pay(static_cast<double>(part.count) * cost::letter))
        return false;
    const uint64_t step = part.options & pairsOfAdvances ? 8 : 4;
    if (part.advances && r.has(part.advances, part.count * step))
        for (uint64_t i = 0; i < part.count; ++i) call.advance.push_back(r.number(part.advances + i * step));
    const uint8_t* text = r.bytes + part.text;
    if (!part.wide) {
        decodeText(text, part.count, p.out.font().lfCharSet, call);
    } else {
        for (uint64_t i = 0; i < part.count; ++i) {
            auto unit = static_cast<uint16_t>(text[2 * i] | text[2 * i + 1] << 8);
            // Numbers of glyphs mean something in one font file alone; in the common ones the letters stand in order, from
            // the space as the fourth glyph.
            if (part.options & glyphNumbers) unit = static_cast<uint16_t>(unit >= 3 && unit <= 97 ? unit + 29 : ' ');
            call.text.push_back(unit);
        }
    }
    p.out.text(call);
    return true;
}

TextPart readTextPart(const R& r, size_t at, bool wide, bool advanced) {
    return {r.point(at), r.dword(at + 8), r.dword(at + 12), r.dword(at + 36), r.dword(at + 16), r.box(at + 20),
            wide,        advanced};
}

constexpr uint32_t advancedMode = 2;

// Header and pixels at the offsets that four numbers from `at` on tell.
bool dibAt(P& p, const R& r, size_t at, UINT usage, DibImage& image, int64_t rows = -1) {
    const uint64_t head = r.dword(at), headBytes = r.dword(at + 4), bits = r.dword(at + 8), bitsBytes = r.dword(at + 12);
    if (!headBytes || !bitsBytes || !r.has(head, headBytes) || !r.has(bits, bitsBytes)) return false;
    return loadDib({r.bytes + head, static_cast<size_t>(headBytes), r.bytes + bits, static_cast<size_t>(bitsBytes), usage,
                    p.out.paletteColors(), p.out.budget.bytesLeft(), rows},
                   image);
}

// A source context had a mapping of its own: its logical units to pixels of the picture.
SourceArea sourceArea(const R& r, size_t transformAt, FPoint from, double width, double height) {
    const Affine t{r.real(transformAt),      r.real(transformAt + 4),  r.real(transformAt + 8),
                   r.real(transformAt + 12), r.real(transformAt + 16), r.real(transformAt + 20)};
    if (!t.usable() || !t.upright() || t.a == 0 || t.d == 0) return {from.x, from.y, width, height};
    const FPoint p = t.at(from.x, from.y);
    return {p.x, p.y, width * t.a, height * t.d};
}

struct Blit {
    FPoint to;
    double width, height;
    SourceArea from;
};

Blit readBlit(const R& r, bool sized) {
    Blit b{r.point(24), static_cast<double>(r.number(32)), static_cast<double>(r.number(36)), {}};
    b.from = sourceArea(r, 52, r.point(44), sized ? r.number(100) : b.width, sized ? r.number(104) : b.height);
    return b;
}

bool blit(P& p, const R& r, bool sized) {
    const Blit b = readBlit(r, sized);
    const DWORD rop = r.dword(40);
    if (!r.dword(88)) { // no bitmap: pattern and destination alone
        p.out.patBlt(b.to.x, b.to.y, b.width, b.height, rop);
        return true;
    }
    DibImage image;
    if (dibAt(p, r, 84, r.dword(80), image)) p.out.stretchDib(image, b.to.x, b.to.y, b.width, b.height, b.from, rop);
    return true;
}

} // namespace

bool enhancedText(P& p, const R& r, bool wide) {
    return drawText(p, r, readTextPart(r, 36, wide, r.dword(24) == advancedMode));
}

bool enhancedPolyText(P& p, const R& r, bool wide) {
    const uint64_t lines = r.dword(36);
    if (!r.has(40, lines * 40)) return false;
    for (size_t i = 0; i < lines; ++i)
        if (!drawText(p, r, readTextPart(r, 40 + i * 40, wide, r.dword(24) == advancedMode))) return false;
    return true;
}

bool enhancedSmallText(P& p, const R& r) {
    constexpr UINT noBox = 0x100, bytes = 0x200;
    TextPart part{
        r.point(8), r.dword(16), 36, 0, r.dword(20), {0, 0, 0, 0}, !(r.dword(20) & bytes), r.dword(24) == advancedMode};
    if (!(part.options & noBox)) {
        if (!r.has(36, 16)) return false;
        part.box = r.box(36);
        part.text = 52;
    }
    if (!part.wide) {
        // Bytes here are the low halves of Unicode, whatever the font's charset.
        if (!r.has(part.text, part.count)) return false;
        TextRun call;
        call.at = part.at;
        call.options = part.options;
        call.hasBox = part.text == 52 && part.box.left < part.box.right && part.box.top < part.box.bottom;
        call.box = part.box;
        call.advanced = part.advanced;
        call.text.assign(r.bytes + part.text, r.bytes + part.text + part.count);
        p.out.text(call);
        return true;
    }
    return drawText(p, r, part);
}

bool enhancedBitBlt(P& p, const R& r) { return blit(p, r, false); }
bool enhancedStretchBlt(P& p, const R& r) { return blit(p, r, true); }

bool enhancedMaskBlt(P& p, const R& r) {
    const Blit b = readBlit(r, false);
    DibImage image, mask;
    const bool masked = r.dword(116) && dibAt(p, r, 112, r.dword(108), mask);
    dibAt(p, r, 84, r.dword(80), image);
    p.out.maskBlt(image, masked ? &mask : nullptr, b.to.x, b.to.y, b.width, b.height, b.from, r.point(100), r.dword(40));
    return true;
}

bool enhancedPlgBlt(P& p, const R& r) {
    const FPoint corners[3] = {r.point(24), r.point(32), r.point(40)};
    const SourceArea from = sourceArea(r, 64, r.point(48), r.number(56), r.number(60));
    DibImage image, mask;
    const bool masked = r.dword(128) && dibAt(p, r, 124, r.dword(120), mask);
    if (dibAt(p, r, 96, r.dword(92), image)) p.out.plgBlt(image, masked ? &mask : nullptr, corners, from, r.point(112));
    return true;
}

bool enhancedDibToDevice(P& p, const R& r) {
    const uint32_t start = r.dword(68), lines = r.dword(72);
    DibImage image;
    constexpr uint32_t most = 1 << 24;
    if (start > most || lines > most || !lines || !dibAt(p, r, 48, r.dword(64), image, lines)) return true;
    p.out.dibToDevice(image, r.number(24), r.number(28), r.number(32), r.number(36), r.number(40), r.number(44),
                      static_cast<int>(start), static_cast<int>(lines));
    return true;
}

bool enhancedStretchDib(P& p, const R& r) {
    DibImage image;
    const DWORD rop = r.dword(68);
    const double width = r.number(72), height = r.number(76);
    if (!r.dword(52)) {
        p.out.patBlt(r.number(24), r.number(28), width, height, rop);
        return true;
    }
    if (!dibAt(p, r, 48, r.dword(64), image)) return true;
    SourceArea from{static_cast<double>(r.number(32)), static_cast<double>(r.number(36)), static_cast<double>(r.number(40)),
                    static_cast<double>(r.number(44))};
    if (!image.topDown) from.y = image.height - from.y - from.height; // rows count from the bottom here
    p.out.stretchDib(image, r.number(24), r.number(28), width, height, from, rop);
    return true;
}

bool enhancedAlphaBlend(P& p, const R& r) {
    const Blit b = readBlit(r, true);
    DibImage image;
    if (dibAt(p, r, 84, r.dword(80), image))
        p.out.alphaBlend(image, b.to.x, b.to.y, b.width, b.height, b.from, r.bytes[42], r.bytes[43] & 1);
    return true;
}

bool enhancedTransparentBlt(P& p, const R& r) {
    const Blit b = readBlit(r, true);
    DibImage image;
    if (dibAt(p, r, 84, r.dword(80), image))
        p.out.transparentBlt(image, b.to.x, b.to.y, b.width, b.height, b.from, p.out.color(r.dword(40)));
    return true;
}

bool enhancedGradient(P& p, const R& r) {
    const uint64_t vertices = r.dword(24), figures = r.dword(28);
    const uint32_t mode = r.dword(32);
    if (!r.has(36, vertices * 16) || mode > 2) return false;
    const uint64_t at = 36 + vertices * 16, each = mode == 2 ? 12 : 8;
    if (!r.has(at, figures * each)) return false;
    const auto vertex = [&](uint64_t index) {
        const size_t k = 36 + static_cast<size_t>(index) * 16;
        const auto channel = [&](size_t i) { return r.bytes[k + 8 + 2 * i + 1]; }; // the high byte of 16 bits
        return Playback::Vertex{r.point(k), static_cast<double>(channel(0)), static_cast<double>(channel(1)),
                                static_cast<double>(channel(2))};
    };
    for (uint64_t i = 0; i < figures; ++i) {
        if (p.out.exhausted()) return false;
        const size_t k = at + i * each;
        const uint32_t a = r.dword(k), b = r.dword(k + 4), c = mode == 2 ? r.dword(k + 8) : 0;
        if (a >= vertices || b >= vertices || c >= vertices) return false;
        if (mode == 2)
            p.out.gradientTriangle(vertex(a), vertex(b), vertex(c));
        else
            p.out.gradientRect(vertex(a), vertex(b), mode == 1);
    }
    return true;
}

bool enhancedPatternBrush(P& p, const R& r, bool mono) {
    PlayBrush brush;
    brush.style = BS_PATTERN;
    brush.mono = mono;
    if (!dibAt(p, r, 16, r.dword(12), brush.pattern)) brush.style = BS_NULL;
    brush.mono = mono && brush.pattern && brush.pattern.depth() == 1;
    p.out.objects.put(r.dword(8), p.out.make(std::move(brush)));
    return true;
}

} // namespace kb::gdi
