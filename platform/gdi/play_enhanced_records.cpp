// The records of enhanced metafiles, in the order of their numbers.
#include "platform/gdi/play_enhanced.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kb::gdi {

namespace {

using P = EnhancedPlayer;
using R = EnhancedRecord;

template <class Value> bool setInRange(Value& to, int64_t value, int lowest, int highest) {
    if (value >= lowest && value <= highest) to = static_cast<Value>(value);
    return true;
}

// ---- objects ----

template <class Object> bool putObject(P& p, const R& r, Object&& object) {
    p.out.objects.put(r.dword(8), p.out.make(std::forward<Object>(object)));
    return true;
}

bool selectObject(P& p, const R& r) {
    const uint32_t index = r.dword(8);
    if (index & 0x80000000u)
        p.out.selectStock(index & 0x7FFFFFFF);
    else
        p.out.select(p.out.objects.find(index));
    return true;
}

bool createPen(P& p, const R& r) {
    PlayPen pen;
    pen.style = static_cast<int>(r.dword(12) & 0xF);
    if (pen.style > PS_INSIDEFRAME) pen.style = PS_SOLID;
    pen.width = std::abs(static_cast<double>(r.number(16)));
    pen.color = r.dword(24);
    return putObject(p, r, std::move(pen));
}

bool createBrush(P& p, const R& r) {
    PlayBrush brush;
    brush.style = r.dword(12);
    brush.color = r.dword(16);
    brush.hatch = r.number(20);
    if (brush.style == BS_HATCHED && (brush.hatch < 0 || brush.hatch > HS_DIAGCROSS)) brush.style = BS_SOLID;
    if (brush.style > BS_HATCHED) brush.style = BS_NULL;
    return putObject(p, r, std::move(brush));
}

bool createExtendedPen(P& p, const R& r) {
    constexpr uint32_t geometricType = 0x10000, capMask = 0xF00, joinMask = 0xF000;
    const uint32_t style = r.dword(28);
    PlayPen pen;
    pen.style = static_cast<int>(style & 0xF);
    pen.geometric = (style & 0xF0000) == geometricType;
    pen.cap = (style & capMask) == 0x100 ? LineCap::square : (style & capMask) == 0x200 ? LineCap::flat : LineCap::round;
    pen.join = (style & joinMask) == 0x1000   ? LineJoin::bevel
               : (style & joinMask) == 0x2000 ? LineJoin::miter
                                              : LineJoin::round;
    pen.width = pen.geometric ? r.dword(32) : 0; // a cosmetic pen is a pixel wide
    pen.color = r.dword(40);
    if (r.dword(36) == BS_NULL) pen.style = PS_NULL;
    constexpr uint32_t mostEntries = 16;
    const uint32_t entries = r.dword(48);
    if (pen.style == PlayPen::userDashes) {
        if (!r.has(52, uint64_t{entries} * 4)) return false;
        double sum = 0;
        for (uint32_t i = 0; i < std::min(entries, mostEntries); ++i) {
            pen.dashes.push_back(r.dword(52 + 4 * i));
            sum += pen.dashes.back();
        }
        if (!(sum > 0)) pen.style = PS_SOLID;
    } else if (pen.style > PS_INSIDEFRAME) {
        pen.style = pen.style == 8 ? PS_DOT : PS_SOLID; // 8: every other pixel
    }
    return putObject(p, r, std::move(pen));
}

bool createFont(P& p, const R& r) {
    PlayFont font;
    LOGFONTA& f = font.logical;
    f.lfHeight = r.number(12);
    f.lfWidth = r.number(16);
    f.lfEscapement = r.number(20);
    f.lfOrientation = r.number(24);
    f.lfWeight = r.number(28);
    const uint8_t* b = r.bytes + 32;
    f.lfItalic = b[0];
    f.lfUnderline = b[1];
    f.lfStrikeOut = b[2];
    f.lfCharSet = b[3];
    f.lfQuality = b[6];
    f.lfPitchAndFamily = b[7];
    // Names of faces on this side are bytes; letters beyond them find no face in any case.
    for (size_t i = 0; i + 1 < LF_FACESIZE && r.has(40 + 2 * i, 2); ++i) {
        const int32_t c = r.half(40 + 2 * i);
        if (!c) break;
        f.lfFaceName[i] = c > 0 && c < 0x100 ? static_cast<char>(c) : '?';
    }
    return putObject(p, r, std::move(font));
}

bool createPalette(P& p, const R& r) {
    const uint32_t count = r.dword(12) >> 16;
    if (!r.has(16, uint64_t{count} * 4)) return false;
    PlayPalette palette;
    for (uint32_t i = 0; i < count; ++i) palette.colors.push_back(r.dword(16 + 4 * i) & 0xFFFFFF);
    return putObject(p, r, std::move(palette));
}

bool selectPalette(P& p, const R& r) {
    const ObjectRef object = p.out.objects.find(r.dword(8));
    p.out.state.palette = object && std::holds_alternative<PlayPalette>(*object) ? object : nullptr;
    return true;
}

bool setPaletteEntries(P& p, const R& r) {
    const size_t start = r.dword(12), count = r.dword(16);
    if (!r.has(20, uint64_t{count} * 4)) return false;
    const ObjectRef object = p.out.objects.find(r.dword(8));
    auto* palette = object ? std::get_if<PlayPalette>(object.get()) : nullptr;
    for (size_t i = 0; palette && i < count && start + i < palette->colors.size(); ++i)
        palette->colors[start + i] = r.dword(20 + 4 * i) & 0xFFFFFF;
    return true;
}

// ---- mapping ----

Affine readTransform(const R& r, size_t at) {
    return {r.real(at), r.real(at + 4), r.real(at + 8), r.real(at + 12), r.real(at + 16), r.real(at + 20)};
}

bool modifyWorld(P& p, const R& r) {
    const Affine change = readTransform(r, 8);
    switch (r.dword(32)) {
    case 1: p.setWorld({}); break;
    case 2: p.setWorld(change.then(p.out.state.world)); break;
    case 3: p.setWorld(p.out.state.world.then(change)); break;
    case 4: p.setWorld(change); break;
    default: break;
    }
    return true;
}

template <bool window> bool scaleExtent(P& p, const R& r) {
    const double xNumber = r.number(8), xBy = r.number(12), yNumber = r.number(16), yBy = r.number(20);
    if (xNumber == 0 || xBy == 0 || yNumber == 0 || yBy == 0) return true;
    const PageMapping& page = p.out.state.page;
    p.setExtent(window, (window ? page.windowWidth : page.viewportWidth) * xNumber / xBy,
                (window ? page.windowHeight : page.viewportHeight) * yNumber / yBy);
    return true;
}

// ---- lines and curves ----

// `count` points of 16 or 32 bits from `at` on, behind the current position if that is where the figure starts.
template <bool small> bool readPoints(P& p, const R& r, uint64_t at, uint64_t count, bool fromPosition = false) {
    constexpr size_t each = small ? 4 : 8;
    if (count > r.size || !r.has(at, count * each)) return false;
    p.points.clear();
    if (fromPosition) p.points.push_back(p.out.state.position);
    for (size_t i = 0; i < count; ++i) {
        const size_t k = at + i * each;
        if (small)
            p.points.push_back({static_cast<double>(r.half(k)), static_cast<double>(r.half(k + 2))});
        else
            p.points.push_back(r.point(k));
    }
    return true;
}

enum class Poly { bezier, polygon, polyline, bezierTo, lineTo };

template <Poly form, bool small> bool poly(P& p, const R& r) {
    constexpr bool fromPosition = form == Poly::bezierTo || form == Poly::lineTo;
    if (!readPoints<small>(p, r, 28, r.dword(24), fromPosition)) return false;
    if (p.points.size() < 2) return true;
    switch (form) {
    case Poly::bezier:
    case Poly::bezierTo: p.out.bezier(p.points.data(), p.points.size()); break;
    case Poly::polygon: {
        const auto n = static_cast<uint32_t>(p.points.size());
        p.out.polyPolygon(p.points.data(), &n, 1);
        break;
    }
    case Poly::polyline: p.out.polyline(p.points.data(), p.points.size()); break;
    case Poly::lineTo: p.out.polylineTo(p.points.data(), p.points.size()); break;
    }
    if (fromPosition) p.out.state.position = p.points.back();
    return true;
}

template <bool closed, bool small> bool polyPoly(P& p, const R& r) {
    const uint64_t figures = r.dword(24), total = r.dword(28);
    if (!r.has(32, figures * 4)) return false;
    p.counts.clear();
    uint64_t sum = 0;
    for (size_t i = 0; i < figures; ++i) {
        p.counts.push_back(r.dword(32 + 4 * i));
        sum += p.counts.back();
    }
    if (sum > total || !readPoints<small>(p, r, 32 + figures * 4, total)) return false;
    if (closed)
        p.out.polyPolygon(p.points.data(), p.counts.data(), p.counts.size());
    else
        p.out.polyPolyline(p.points.data(), p.counts.data(), p.counts.size());
    return true;
}

template <bool small> bool polyDraw(P& p, const R& r) {
    const uint64_t count = r.dword(24), kinds = 28 + count * (small ? 4 : 8);
    if (!readPoints<small>(p, r, 28, count) || !r.has(kinds, count)) return false;
    constexpr uint8_t closes = 1, line = 2, curve = 4, move = 6;
    const std::vector<FPoint> points = p.points;
    const bool ownPath = !p.out.inPath();
    if (ownPath) p.out.beginPath();
    p.out.continuePath();
    for (size_t i = 0; i < count; ++i) {
        const uint8_t kind = r.bytes[kinds + i];
        size_t last = i;
        if ((kind & move) == move) {
            p.out.moveTo(points[i].x, points[i].y);
            continue;
        }
        if (kind & curve) {
            last = i + 2;
            if (last >= count) break;
            const FPoint four[4] = {p.out.state.position, points[i], points[i + 1], points[last]};
            p.out.bezier(four, 4);
            p.out.state.position = points[last];
        } else if (kind & line) {
            p.out.lineTo(points[i].x, points[i].y);
        }
        i = last;
        if (r.bytes[kinds + i] & closes) p.out.closeFigure();
    }
    if (ownPath) p.out.paintPath(false, true);
    return true;
}

template <Playback::ArcForm form> bool arc(P& p, const R& r) {
    p.out.arc(form, r.box(8), true, r.point(24), r.point(32));
    return true;
}

// ---- regions ----

bool readRegion(const R& r, size_t at, uint64_t bytes, std::vector<RECT>& boxes) {
    constexpr size_t head = sizeof(RGNDATAHEADER);
    if (bytes < head || !r.has(at, bytes)) return false;
    const uint64_t count = r.dword(at + 8);
    if (count > (bytes - head) / sizeof(RECT)) return false;
    for (size_t i = 0; i < count; ++i) boxes.push_back(r.box(at + head + i * sizeof(RECT)));
    return true;
}

bool selectClipRegion(P& p, const R& r) {
    const auto mode = static_cast<int>(std::min(r.dword(12), 99u));
    std::vector<RECT> boxes;
    if (r.dword(8) == 0) {
        p.out.clipRegion(nullptr, Playback::Frame::picture, mode);
        return true;
    }
    if (!readRegion(r, 16, r.dword(8), boxes)) return false;
    p.out.clipRegion(&boxes, Playback::Frame::picture, mode);
    return true;
}

template <Playback::RegionPaint paint, bool hasBrush> bool paintRegion(P& p, const R& r) {
    constexpr bool frame = paint == Playback::RegionPaint::frame;
    constexpr size_t data = frame ? 40 : hasBrush ? 32 : 28;
    std::vector<RECT> boxes;
    if (!readRegion(r, data, r.dword(24), boxes)) return false;
    ObjectRef brush;
    if (hasBrush) {
        const uint32_t index = r.dword(28);
        if (index & 0x80000000u) {
            const ObjectRef kept = p.out.state.brush;
            p.out.selectStock(index & 0x7FFFFFFF);
            brush = std::exchange(p.out.state.brush, kept);
        } else {
            brush = p.out.objects.find(index);
        }
        if (!brush || !std::holds_alternative<PlayBrush>(*brush)) return true;
    }
    p.out.paintRegion(boxes, paint, brush, frame ? r.number(32) : 1, frame ? r.number(36) : 1);
    return true;
}

bool setPosition(P& p, const R& r) {
    const FPoint at = r.point(8);
    p.out.moveTo(at.x, at.y);
    return true;
}

constexpr EnhancedRow rows[] = {
    {2, 28, poly<Poly::bezier, false>},
    {3, 28, poly<Poly::polygon, false>},
    {4, 28, poly<Poly::polyline, false>},
    {5, 28, poly<Poly::bezierTo, false>},
    {6, 28, poly<Poly::lineTo, false>},
    {7, 32, polyPoly<false, false>},
    {8, 32, polyPoly<true, false>},
    {9, 16, [](P& p, const R& r) { return p.setExtent(true, r.number(8), r.number(12)), true; }},
    {10, 16,
     [](P& p, const R& r) {
         p.out.state.page.windowX = r.number(8);
         p.out.state.page.windowY = r.number(12);
         return p.out.mapChanged(), true;
     }},
    {11, 16, [](P& p, const R& r) { return p.setExtent(false, r.number(8), r.number(12)), true; }},
    {12, 16,
     [](P& p, const R& r) {
         p.out.state.page.viewportX = r.number(8);
         p.out.state.page.viewportY = r.number(12);
         return p.out.mapChanged(), true;
     }},
    {13, 16,
     [](P& p, const R& r) {
         p.out.state.brushOrigin = r.point(8);
         return p.out.state.brushOriginSet = true;
     }},
    {15, 20, [](P& p, const R& r) { return p.out.setPixel(r.number(8), r.number(12), r.dword(16)), true; }},
    {17, 12, [](P& p, const R& r) { return p.setMapMode(r.number(8)), true; }},
    {18, 12, [](P& p, const R& r) { return setInRange(p.out.state.bkMode, r.number(8), TRANSPARENT, OPAQUE); }},
    {19, 12, [](P& p, const R& r) { return setInRange(p.out.state.polyFillMode, r.number(8), ALTERNATE, WINDING); }},
    {20, 12, [](P& p, const R& r) { return setInRange(p.out.state.rop2, r.number(8), R2_BLACK, R2_WHITE); }},
    {21, 12, [](P& p, const R& r) { return setInRange(p.out.state.stretchMode, r.number(8), BLACKONWHITE, HALFTONE); }},
    {22, 12, [](P& p, const R& r) { return p.out.state.textAlign = r.dword(8), true; }},
    {24, 12, [](P& p, const R& r) { return p.out.state.textColor = p.out.color(r.dword(8)), true; }},
    {25, 12, [](P& p, const R& r) { return p.out.state.bkColor = p.out.color(r.dword(8)), true; }},
    {26, 16, [](P& p, const R& r) { return p.out.offsetClip(r.number(8), r.number(12)), true; }},
    {27, 16, setPosition},
    {28, 8, [](P& p, const R&) { return p.out.setMetaRegion(), true; }},
    {29, 24, [](P& p, const R& r) { return p.out.clipBox(r.box(8), RGN_DIFF), true; }},
    {30, 24, [](P& p, const R& r) { return p.out.clipBox(r.box(8), RGN_AND), true; }},
    {31, 24, scaleExtent<false>},
    {32, 24, scaleExtent<true>},
    {33, 8, [](P& p, const R&) { return p.out.save(); }},
    {34, 12, [](P& p, const R& r) { return p.out.restore(r.number(8)), true; }},
    {35, 32, [](P& p, const R& r) { return p.setWorld(readTransform(r, 8)), true; }},
    {36, 36, modifyWorld},
    {37, 12, selectObject},
    {38, 28, createPen},
    {39, 24, createBrush},
    {40, 12, [](P& p, const R& r) { return p.out.objects.put(r.dword(8), nullptr), true; }},
    {41, 28,
     [](P& p, const R& r) { return p.out.angleArc(r.point(8), r.dword(16), r.real(20), r.real(24)), true; }},
    {42, 24, [](P& p, const R& r) { return p.out.ellipse(r.box(8), true), true; }},
    {43, 24, [](P& p, const R& r) { return p.out.rectangle(r.box(8), true), true; }},
    {44, 32, [](P& p, const R& r) { return p.out.roundRect(r.box(8), true, r.number(24), r.number(28)), true; }},
    {45, 40, arc<Playback::ArcForm::arc>},
    {46, 40, arc<Playback::ArcForm::chord>},
    {47, 40, arc<Playback::ArcForm::pie>},
    {48, 12, selectPalette},
    {49, 16, createPalette},
    {50, 20, setPaletteEntries},
    {51, 16,
     [](P& p, const R& r) {
         constexpr uint32_t most = 65536;
         if (r.dword(12) > most) return true; // none can have so many
         return p.out.resizePalette(p.out.objects.find(r.dword(8)), r.dword(12)), true;
     }},
    {53, 24, [](P& p, const R& r) { return p.out.floodFill(r.number(8), r.number(12), r.dword(16), r.dword(20)), true; }},
    {54, 16, [](P& p, const R& r) { return p.out.lineTo(r.number(8), r.number(12)), true; }},
    {55, 40, arc<Playback::ArcForm::arcTo>},
    {56, 28, polyDraw<false>},
    {57, 12, [](P& p, const R& r) { return p.out.state.clockwise = r.dword(8) == 2, true; }},
    {58, 12, [](P& p, const R& r) { return p.out.state.miterLimit = r.number(8), true; }},
    {59, 8, [](P& p, const R&) { return p.out.beginPath(), true; }},
    {60, 8, [](P& p, const R&) { return p.out.endPath(), true; }},
    {61, 8, [](P& p, const R&) { return p.out.closeFigure(), true; }},
    {62, 24, [](P& p, const R&) { return p.out.paintPath(true, false), true; }},
    {63, 24, [](P& p, const R&) { return p.out.paintPath(true, true), true; }},
    {64, 24, [](P& p, const R&) { return p.out.paintPath(false, true), true; }},
    {65, 8, [](P&, const R&) { return true; }}, // flatten: paths are flat here
    {66, 8, [](P& p, const R&) { return p.out.widenPath(), true; }},
    {67, 12, [](P& p, const R& r) { return p.out.clipToPath(static_cast<int>(std::min(r.dword(8), 99u))), true; }},
    {68, 8, [](P& p, const R&) { return p.out.abortPath(), true; }},
    {71, 64, paintRegion<Playback::RegionPaint::fill, true>},
    {72, 72, paintRegion<Playback::RegionPaint::frame, true>},
    {73, 60, paintRegion<Playback::RegionPaint::invert, false>},
    {74, 60, paintRegion<Playback::RegionPaint::fill, false>},
    {75, 16, selectClipRegion},
    {76, 100, enhancedBitBlt},
    {77, 108, enhancedStretchBlt},
    {78, 128, enhancedMaskBlt},
    {79, 140, enhancedPlgBlt},
    {80, 76, enhancedDibToDevice},
    {81, 80, enhancedStretchDib},
    {82, 40, createFont},
    {83, 76, [](P& p, const R& r) { return enhancedText(p, r, false); }},
    {84, 76, [](P& p, const R& r) { return enhancedText(p, r, true); }},
    {85, 28, poly<Poly::bezier, true>},
    {86, 28, poly<Poly::polygon, true>},
    {87, 28, poly<Poly::polyline, true>},
    {88, 28, poly<Poly::bezierTo, true>},
    {89, 28, poly<Poly::lineTo, true>},
    {90, 32, polyPoly<false, true>},
    {91, 32, polyPoly<true, true>},
    {92, 28, polyDraw<true>},
    {93, 32, [](P& p, const R& r) { return enhancedPatternBrush(p, r, true); }},
    {94, 32, [](P& p, const R& r) { return enhancedPatternBrush(p, r, false); }},
    {95, 52, createExtendedPen},
    {96, 40, [](P& p, const R& r) { return enhancedPolyText(p, r, false); }},
    {97, 40, [](P& p, const R& r) { return enhancedPolyText(p, r, true); }},
    {108, 36, enhancedSmallText},
    {114, 108, enhancedAlphaBlend},
    {115, 12,
     [](P& p, const R& r) {
         p.out.state.rightToLeft = r.dword(8) & 1;
         return p.out.mapChanged(), true;
     }},
    {116, 108, enhancedTransparentBlt},
    {118, 36, enhancedGradient},
    {120, 16,
     [](P& p, const R& r) {
         p.out.state.breakExtra = r.number(8);
         p.out.state.breakCount = r.number(12);
         return true;
     }},
};
static_assert([] {
    for (size_t i = 1; i < std::size(rows); ++i)
        if (rows[i - 1].type >= rows[i].type) return false;
    return true;
}());

// Row of each type, from 1; 0 where there is none.
constexpr auto places = [] {
    std::array<uint8_t, 128> table{};
    for (size_t i = 0; i < std::size(rows); ++i) table[rows[i].type] = static_cast<uint8_t>(i + 1);
    return table;
}();

} // namespace

const EnhancedRow* findEnhancedRow(uint32_t type) {
    return type < places.size() && places[type] ? &rows[places[type] - 1] : nullptr;
}

} // namespace kb::gdi
