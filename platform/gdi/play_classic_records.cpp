// The records of classic metafiles, in the order of their numbers. Parameters stand in the file last one first.
#include "platform/gdi/play_classic.h"

#include <algorithm>
#include <iterator>

namespace kb::gdi {

namespace {

using P = ClassicPlayer;
using R = ClassicRecord;

template <class Value> void setInRange(Value& to, int value, int lowest, int highest) {
    if (value >= lowest && value <= highest) to = value;
}

template <class Object> bool addObject(P& p, Object&& object) {
    p.out.objects.add(p.out.make(std::forward<Object>(object)));
    return true;
}
// Objects that nothing can be drawn with keep their number.
bool addPlaceholder(P& p, const R&) { return addObject(p, std::monostate{}); }

bool createPen(P& p, const R& r) {
    PlayPen pen;
    pen.style = r.number(0) & 0xF;
    if (pen.style > PS_INSIDEFRAME) pen.style = PS_SOLID;
    pen.width = std::abs(r.number(1));
    pen.color = r.dword(3);
    return addObject(p, std::move(pen));
}

bool createFont(P& p, const R& r) {
    PlayFont font;
    LOGFONTA& f = font.logical;
    f.lfHeight = r.number(0);
    f.lfWidth = r.number(1);
    f.lfEscapement = r.number(2);
    f.lfOrientation = r.number(3);
    f.lfWeight = r.number(4);
    const uint8_t* b = r.bytes + 10;
    f.lfItalic = b[0];
    f.lfUnderline = b[1];
    f.lfStrikeOut = b[2];
    f.lfCharSet = b[3];
    f.lfQuality = b[6];
    f.lfPitchAndFamily = b[7];
    const size_t room = std::min<size_t>(r.size - 18, LF_FACESIZE - 1);
    const auto* face = reinterpret_cast<const char*>(r.bytes + 18);
    std::memcpy(f.lfFaceName, face, strnlen(face, room));
    return addObject(p, std::move(font));
}

bool createBrush(P& p, const R& r) {
    PlayBrush brush;
    brush.style = r.word(0);
    brush.color = r.dword(1);
    brush.hatch = r.number(3);
    if (brush.style == BS_HATCHED && (brush.hatch < 0 || brush.hatch > HS_DIAGCROSS)) brush.style = BS_SOLID;
    if (brush.style > BS_HATCHED) brush.style = BS_NULL; // patterns have records of their own
    return addObject(p, std::move(brush));
}

bool createPalette(P& p, const R& r) {
    const size_t count = r.word(1);
    if (!r.has(4, count * 4)) return false;
    PlayPalette palette;
    for (size_t i = 0; i < count; ++i) palette.colors.push_back(r.dword(2 + 2 * i) & 0xFFFFFF);
    return addObject(p, std::move(palette));
}

bool selectPalette(P& p, const R& r) {
    const ObjectRef object = p.out.objects.find(r.word(0));
    if (object && std::holds_alternative<PlayPalette>(*object)) p.out.state.palette = object;
    return true;
}

// The palette in force is changed, wherever else it is in force.
bool setPaletteEntries(P& p, const R& r) {
    const size_t start = r.word(0), count = r.word(1);
    if (!r.has(4, count * 4)) return false;
    auto* palette = p.out.state.palette ? std::get_if<PlayPalette>(p.out.state.palette.get()) : nullptr;
    for (size_t i = 0; palette && i < count && start + i < palette->colors.size(); ++i)
        palette->colors[start + i] = r.dword(2 + 2 * i) & 0xFFFFFF;
    return true;
}

bool createRegion(P& p, const R& r) {
    // Chain, type, count, bytes, scans, longest scan, box; then a scan: count, top, bottom, pairs, count again.
    PlayRegion region;
    const size_t scans = r.word(5);
    size_t at = 11;
    for (size_t i = 0; i < scans; ++i) {
        if (!r.has(at * 2, 6)) return false;
        const size_t count = r.word(at);
        if (!r.has(at * 2, 6 + count * 2 + 2)) return false;
        const int top = r.number(at + 1), bottom = r.number(at + 2);
        for (size_t k = 0; k + 2 <= count; k += 2)
            region.boxes.push_back({r.number(at + 3 + k), top, r.number(at + 4 + k), bottom});
        at += 3 + count + 1;
    }
    return addObject(p, std::move(region));
}

const std::vector<RECT>* regionBoxes(P& p, size_t slot, ObjectRef& keep) {
    keep = p.out.objects.find(slot);
    const auto* region = keep ? std::get_if<PlayRegion>(keep.get()) : nullptr;
    return region ? &region->boxes : nullptr;
}
ObjectRef brushAt(P& p, size_t slot) {
    ObjectRef object = p.out.objects.find(slot);
    return object && std::holds_alternative<PlayBrush>(*object) ? object : nullptr;
}

bool selectClipRegion(P& p, const R& r) {
    ObjectRef keep;
    const std::vector<RECT>* boxes = regionBoxes(p, r.word(0), keep);
    if (boxes || r.word(0) == 0) p.out.clipRegion(boxes, Playback::Frame::logical, RGN_COPY);
    return true;
}

template <Playback::RegionPaint paint, bool hasBrush> bool paintRegion(P& p, const R& r) {
    ObjectRef keep;
    const std::vector<RECT>* boxes = regionBoxes(p, r.word(0), keep);
    const ObjectRef brush = hasBrush ? brushAt(p, r.word(1)) : nullptr;
    if (!boxes || (hasBrush && !brush)) return true;
    const bool frame = paint == Playback::RegionPaint::frame;
    p.out.paintRegion(*boxes, paint, brush, frame ? r.number(3) : 1, frame ? r.number(2) : 1);
    return true;
}

bool readPoints(P& p, const R& r, size_t firstWord, size_t count) {
    if (!r.has(firstWord * 2, count * 4)) return false;
    p.points.clear();
    for (size_t i = 0; i < count; ++i)
        p.points.push_back(
            {static_cast<double>(r.number(firstWord + 2 * i)), static_cast<double>(r.number(firstWord + 2 * i + 1))});
    return true;
}

template <bool closed> bool poly(P& p, const R& r) {
    const uint32_t count = r.word(0);
    if (!readPoints(p, r, 1, count)) return false;
    if (closed)
        p.out.polyPolygon(p.points.data(), &count, 1);
    else
        p.out.polyPolyline(p.points.data(), &count, 1);
    return true;
}

bool polyPolygon(P& p, const R& r) {
    const size_t polygons = r.word(0);
    if (!r.has(2, polygons * 2)) return false;
    std::vector<uint32_t> counts(polygons);
    size_t total = 0;
    for (size_t i = 0; i < polygons; ++i) total += counts[i] = r.word(1 + i);
    if (!readPoints(p, r, 1 + polygons, total)) return false;
    p.out.polyPolygon(p.points.data(), counts.data(), polygons);
    return true;
}

template <Playback::ArcForm form> bool arc(P& p, const R& r) {
    p.out.arc(form, r.box(4), false, r.point(2), r.point(0));
    return true;
}

bool patBlt(P& p, const R& r) {
    const FPoint at = r.point(4);
    p.out.patBlt(at.x, at.y, r.number(3), r.number(2), r.dword(0));
    return true;
}

// A row without a handler of its own name is short enough to stand here.
constexpr ClassicRow rows[] = {
    {0x001E, 0, [](P& p, const R&) { return p.out.save(); }},
    {0x0035, 0, [](P&, const R&) { return true; }}, // realize palette: pixels keep their colours
    {0x0037, 2, setPaletteEntries},
    {0x00F7, 2, createPalette},
    {0x00F8, 0, addPlaceholder}, // a brush of the first version
    {0x0102, 1, [](P& p, const R& r) { return setInRange(p.out.state.bkMode, r.number(0), TRANSPARENT, OPAQUE), true; }},
    {0x0103, 1, [](P& p, const R& r) { return p.setMapMode(r.number(0)), true; }},
    {0x0104, 1, [](P& p, const R& r) { return setInRange(p.out.state.rop2, r.number(0), R2_BLACK, R2_WHITE), true; }},
    {0x0106, 1,
     [](P& p, const R& r) { return setInRange(p.out.state.polyFillMode, r.number(0), ALTERNATE, WINDING), true; }},
    {0x0107, 1,
     [](P& p, const R& r) { return setInRange(p.out.state.stretchMode, r.number(0), BLACKONWHITE, HALFTONE), true; }},
    {0x0108, 1, [](P& p, const R& r) { return p.out.state.charExtra = r.number(0), true; }},
    {0x0127, 1, [](P& p, const R& r) { return p.out.restore(r.number(0)), true; }},
    {0x012A, 1, paintRegion<Playback::RegionPaint::invert, false>},
    {0x012B, 1, paintRegion<Playback::RegionPaint::fill, false>},
    {0x012C, 1, selectClipRegion},
    {0x012D, 1, [](P& p, const R& r) { return p.out.select(p.out.objects.find(r.word(0))), true; }},
    {0x012E, 1, [](P& p, const R& r) { return p.out.state.textAlign = r.word(0), true; }},
    {0x0139, 1, [](P& p, const R& r) { return p.out.resizePalette(p.out.state.palette, r.word(0)), true; }},
    {0x0142, 2, classicDibPatternBrush},
    {0x01F0, 1, [](P& p, const R& r) { return p.out.objects.remove(r.word(0)), true; }},
    {0x01F9, 0, classicPatternBrush},
    {0x0201, 2, [](P& p, const R& r) { return p.out.state.bkColor = p.out.color(r.dword(0)), true; }},
    {0x0209, 2, [](P& p, const R& r) { return p.out.state.textColor = p.out.color(r.dword(0)), true; }},
    {0x020A, 2,
     [](P& p, const R& r) {
         p.out.state.breakCount = r.number(0);
         p.out.state.breakExtra = r.number(1);
         return true;
     }},
    {0x020B, 2,
     [](P& p, const R& r) {
         p.out.state.page.windowX = r.number(1);
         p.out.state.page.windowY = r.number(0);
         return p.changed(), true;
     }},
    {0x020C, 2, [](P& p, const R& r) { return p.setWindowExtent(r.number(1), r.number(0)), true; }},
    {0x020D, 2, [](P& p, const R& r) { return p.setViewportOrigin(r.number(1), r.number(0)), true; }},
    {0x020E, 2, [](P& p, const R& r) { return p.setViewportExtent(r.number(1), r.number(0)), true; }},
    {0x020F, 2,
     [](P& p, const R& r) {
         p.out.state.page.windowX += r.number(1);
         p.out.state.page.windowY += r.number(0);
         return p.changed(), true;
     }},
    {0x0211, 2, [](P& p, const R& r) { return p.offsetViewport(r.number(1), r.number(0)), true; }},
    {0x0213, 2, [](P& p, const R& r) { return p.out.lineTo(r.number(1), r.number(0)), true; }},
    {0x0214, 2, [](P& p, const R& r) { return p.out.moveTo(r.number(1), r.number(0)), true; }},
    {0x0220, 2, [](P& p, const R& r) { return p.out.offsetClip(r.number(1), r.number(0)), true; }},
    {0x0228, 2, paintRegion<Playback::RegionPaint::fill, true>},
    {0x0234, 1, selectPalette},
    {0x02FA, 5, createPen},
    {0x02FB, 9, createFont},
    {0x02FC, 4, createBrush},
    {0x0324, 1, poly<true>},
    {0x0325, 1, poly<false>},
    {0x0410, 4,
     [](P& p, const R& r) { return p.scaleExtent(true, r.number(3), r.number(2), r.number(1), r.number(0)), true; }},
    {0x0412, 4,
     [](P& p, const R& r) { return p.scaleExtent(false, r.number(3), r.number(2), r.number(1), r.number(0)), true; }},
    {0x0415, 4, [](P& p, const R& r) { return p.out.clipBox(r.box(0), RGN_DIFF), true; }},
    {0x0416, 4, [](P& p, const R& r) { return p.out.clipBox(r.box(0), RGN_AND), true; }},
    {0x0418, 4, [](P& p, const R& r) { return p.out.ellipse(r.box(0), false), true; }},
    {0x0419, 4,
     [](P& p, const R& r) { return p.out.floodFill(r.number(3), r.number(2), r.dword(0), FLOODFILLBORDER), true; }},
    {0x041B, 4, [](P& p, const R& r) { return p.out.rectangle(r.box(0), false), true; }},
    {0x041F, 4, [](P& p, const R& r) { return p.out.setPixel(r.number(3), r.number(2), r.dword(0)), true; }},
    {0x0429, 4, paintRegion<Playback::RegionPaint::frame, true>},
    {0x0436, 2, setPaletteEntries},
    {0x0521, 3, classicTextOut},
    {0x0538, 1, polyPolygon},
    {0x0548, 5, [](P& p, const R& r) { return p.out.floodFill(r.number(4), r.number(3), r.dword(1), r.word(0)), true; }},
    {0x061C, 6, [](P& p, const R& r) { return p.out.roundRect(r.box(2), false, r.number(1), r.number(0)), true; }},
    {0x061D, 6, patBlt},
    {0x06FD, 0, addPlaceholder}, // bitmaps of the first version
    {0x06FE, 0, addPlaceholder},
    {0x06FF, 11, createRegion},
    {0x0817, 8, arc<Playback::ArcForm::arc>},
    {0x081A, 8, arc<Playback::ArcForm::pie>},
    {0x0830, 8, arc<Playback::ArcForm::chord>},
    {0x0922, 8, classicBitBlt},
    {0x0940, 8, classicDibBitBlt},
    {0x0A32, 4, classicExtTextOut},
    {0x0B23, 10, classicStretchBlt},
    {0x0B41, 10, classicDibStretchBlt},
    {0x0D33, 9, classicSetDibToDevice},
    {0x0F43, 11, classicStretchDib},
};
static_assert([] {
    for (size_t i = 1; i < std::size(rows); ++i)
        if (rows[i - 1].function >= rows[i].function) return false;
    return true;
}());

} // namespace

const ClassicRow* findClassicRow(uint32_t function) {
    const auto* row = std::lower_bound(std::begin(rows), std::end(rows), function,
                                       [](const ClassicRow& r, uint32_t value) { return r.function < value; });
    return row != std::end(rows) && row->function == function ? row : nullptr;
}

} // namespace kb::gdi
