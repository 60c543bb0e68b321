// What the recorder writes for settings and figures.
#include "platform/gdi/recorder.h"

#include "platform/gdi/gdi_state.h"
#include "platform/gdi/masked_rows.h"
#include "platform/gdi/pen_stroke.h"

namespace kb::gdi {

namespace {

constexpr size_t mostPoints = INT16_MAX;

enum class Form : uint8_t { none, number, color, pair }; // pair: the second value in front of the first

struct SettingRow {
    Setting setting;
    RecordType type;
    Form form;
};
constexpr SettingRow settingRows[] = {
    {Setting::bkMode, RecordType::setBkMode, Form::number},
    {Setting::rop2, RecordType::setRop2, Form::number},
    {Setting::polyFillMode, RecordType::setPolyFillMode, Form::number},
    {Setting::stretchMode, RecordType::setStretchBltMode, Form::number},
    {Setting::textAlign, RecordType::setTextAlign, Form::number},
    {Setting::textColor, RecordType::setTextColor, Form::color},
    {Setting::bkColor, RecordType::setBkColor, Form::color},
    {Setting::mapMode, RecordType::setMapMode, Form::number},
    {Setting::windowOrigin, RecordType::setWindowOrg, Form::pair},
    {Setting::windowExtent, RecordType::setWindowExt, Form::pair},
    {Setting::viewportOrigin, RecordType::setViewportOrg, Form::pair},
    {Setting::viewportExtent, RecordType::setViewportExt, Form::pair},
    {Setting::position, RecordType::moveTo, Form::pair},
    {Setting::clipOffset, RecordType::offsetClipRgn, Form::pair},
    {Setting::saved, RecordType::saveDc, Form::none},
    {Setting::restored, RecordType::restoreDc, Form::number},
    {Setting::paletteRealized, RecordType::realizePalette, Form::none},
};
consteval bool inOrder() {
    for (size_t i = 0; i < std::size(settingRows); ++i)
        if (settingRows[i].setting != Setting{static_cast<uint8_t>(i)}) return false;
    return true;
}
static_assert(inOrder());

} // namespace

// So far that nothing that can be recorded lies outside, and a rectangle of it still has sides of 32 bits.
Box Recorder::bounds() const {
    constexpr int32_t reach = (1 << 30) - 1;
    return {-reach, -reach, reach, reach};
}

void Recorder::changed(DeviceContext& dc, Setting setting, int32_t a, int32_t b) noexcept {
    attempt([&] {
        if (setting == Setting::saved) savedClips_.push_back(clip_);
        if (setting == Setting::restored) {
            clip_ = savedClips_[savedClips_.size() - static_cast<size_t>(a)];
            savedClips_.resize(savedClips_.size() - static_cast<size_t>(a));
            a = -a; // relative to the present state
        }
        if (setting == Setting::clipOffset && clip_.held) { // what isn't recorded moves along
            auto moved = Ref<Region>::adopt(Pool<Region>::make());
            if (!pixman_region32_copy(&moved->set, &clip_.held->set)) throw std::bad_alloc();
            const POINT by = dc.state.map.deviceShift({a, b});
            pixman_region32_translate(&moved->set, by.x, by.y);
            clip_.held = std::move(moved);
        }
        const SettingRow& row = settingRows[static_cast<size_t>(setting)];
        switch (row.form) {
        case Form::none: file_.record(row.type, {}); break;
        case Form::number: file_.record(row.type, {a}); break;
        case Form::color:
            file_.record(row.type, {lowWord(static_cast<uint32_t>(a)), highWord(static_cast<uint32_t>(a))});
            break;
        case Form::pair: file_.record(row.type, {b, a}); break;
        }
        return true;
    });
}

void Recorder::clipCut(DeviceContext&, const RECT& r, bool excluded) noexcept {
    attempt([&] {
        file_.record(excluded ? RecordType::excludeClipRect : RecordType::intersectClipRect,
                     {r.bottom, r.right, r.top, r.left});
        return true;
    });
}

void Recorder::clipCombined(DeviceContext& dc, const Region* region, int mode) noexcept {
    attempt([&] {
        if (mode == RGN_AND && region->kind() != COMPLEXREGION) {
            const Box b = region->bounds();
            const Mapping& map = dc.state.map;
            file_.record(RecordType::intersectClipRect,
                         {map.logicalY(b.bottom), map.logicalX(b.right), map.logicalY(b.top), map.logicalX(b.left)});
            return true;
        }
        if (mode == RGN_AND) {
            auto narrowed = Ref<Region>::adopt(Pool<Region>::make());
            const bool done = clip_.held ? pixman_region32_intersect(&narrowed->set, &clip_.held->set, &region->set)
                                         : pixman_region32_copy(&narrowed->set, &region->set);
            if (!done) throw std::bad_alloc();
            clip_.held = std::move(narrowed);
            return true;
        }
        clip_.stale = true;
        return writeClip(dc); // else what is drawn is refused until the clip is one that a file can hold
    });
}

bool Recorder::lines(DeviceContext& dc, const POINT* points, const size_t* counts, size_t contours) {
    return attempt([&] {
        if (!beginDrawing(dc)) return false;
        for (size_t i = 0; i < contours; points += counts[i++]) {
            // A long chain becomes several, each of which begins where the one before has ended.
            for (size_t from = 0; from + 1 < counts[i];) {
                const size_t count = std::min(counts[i] - from, mostPoints);
                file_.begin(RecordType::polyline, {static_cast<int64_t>(count)});
                for (size_t k = from; k < from + count; ++k) {
                    file_.word(points[k].x);
                    file_.word(points[k].y);
                }
                file_.end();
                from += count - 1;
            }
        }
        return true;
    });
}

bool Recorder::linesTo(DeviceContext& dc, const POINT* points, size_t count) {
    return attempt([&] {
        if (!beginDrawing(dc)) return false;
        for (size_t i = 0; i < count; ++i) file_.record(RecordType::lineTo, {points[i].y, points[i].x});
        return true;
    });
}

bool Recorder::polygons(DeviceContext& dc, const POINT* points, const size_t* counts, size_t contours) {
    return attempt([&] {
        size_t total = 0;
        for (size_t i = 0; i < contours; ++i) {
            if (counts[i] > mostPoints) return false;
            total += counts[i];
        }
        if (contours > mostPoints) return false;
        if (!beginDrawing(dc)) return false;
        if (contours == 1) {
            file_.begin(RecordType::polygon, {static_cast<int64_t>(total)});
        } else {
            file_.begin(RecordType::polyPolygon, {static_cast<int64_t>(contours)});
            for (size_t i = 0; i < contours; ++i) file_.word(static_cast<int64_t>(counts[i]));
        }
        for (size_t i = 0; i < total; ++i) {
            file_.word(points[i].x);
            file_.word(points[i].y);
        }
        file_.end();
        return true;
    });
}

bool Recorder::shape(DeviceContext& dc, const ShapeCall& call) {
    return attempt([&] {
        if (!beginDrawing(dc)) return false;
        const RECT& r = call.box;
        const POINT a = call.first, b = call.second;
        const auto arc = [&](RecordType type) {
            file_.record(type, {b.y, b.x, a.y, a.x, r.bottom, r.right, r.top, r.left});
        };
        switch (call.form) {
        case ShapeForm::rectangle: file_.record(RecordType::rectangle, {r.bottom, r.right, r.top, r.left}); break;
        case ShapeForm::ellipse: file_.record(RecordType::ellipse, {r.bottom, r.right, r.top, r.left}); break;
        case ShapeForm::roundRect: file_.record(RecordType::roundRect, {a.y, a.x, r.bottom, r.right, r.top, r.left}); break;
        case ShapeForm::arc: arc(RecordType::arc); break;
        case ShapeForm::chord: arc(RecordType::chord); break;
        case ShapeForm::pie: arc(RecordType::pie); break;
        }
        return true;
    });
}

// These calls have no record of their own: their brush is selected for pattern blits, and the context's own again.
bool Recorder::box(DeviceContext& dc, const BoxCall& call) {
    return attempt([&] {
        if (!beginDrawing(dc)) return false;
        const RECT& r = call.box;
        const auto blit = [&](int64_t left, int64_t top, int64_t right, int64_t bottom, DWORD rop) {
            if (left < right && top < bottom)
                file_.record(RecordType::patBlt, {lowWord(rop), highWord(rop), bottom - top, right - left, top, left});
        };
        if (call.verb == AreaVerb::invert) return blit(r.left, r.top, r.right, r.bottom, DSTINVERT), true;
        const auto select = [&](Slot slot) { file_.record(RecordType::selectObject, {RecordWord::raw(slot)}); };
        const Slot brush = slotOf(dc, const_cast<Brush&>(*call.brush));
        select(brush);
        if (call.verb == AreaVerb::fill) {
            blit(r.left, r.top, r.right, r.bottom, PATCOPY);
        } else {
            const int64_t innerTop = std::min(int64_t{r.top} + 1, int64_t{r.bottom});
            const int64_t innerBottom = std::max(int64_t{r.bottom} - 1, innerTop);
            const int64_t innerLeft = std::min(int64_t{r.left} + 1, int64_t{r.right});
            blit(r.left, r.top, r.right, innerTop, PATCOPY);
            blit(r.left, innerBottom, r.right, r.bottom, PATCOPY);
            blit(r.left, innerTop, innerLeft, innerBottom, PATCOPY);
            blit(std::max(int64_t{r.right} - 1, innerLeft), innerTop, r.right, innerBottom, PATCOPY);
        }
        select(slotOf(dc, *dc.state.brush));
        return true;
    });
}

bool Recorder::pixel(DeviceContext& dc, POINT at, COLORREF color) {
    return attempt([&] {
        if (!beginDrawing(dc)) return false;
        file_.record(RecordType::setPixel, {lowWord(color), highWord(color), at.y, at.x});
        return true;
    });
}

bool Recorder::pattern(DeviceContext& dc, const BlitArea& to, DWORD rop) {
    return attempt([&] {
        if (!beginDrawing(dc)) return false;
        file_.record(RecordType::patBlt, {lowWord(rop), highWord(rop), to.height, to.width, to.y, to.x});
        return true;
    });
}

namespace {

bool fits(int64_t v) { return v >= INT16_MIN && v <= INT16_MAX; }

} // namespace

// Only the rows that are read are kept: `from` counts from the source's top row, a record from the last of its rows.
bool Recorder::writeImage(const ImageCall& call, const PixelReader& source, const BlitArea& from, const ColorTable& colors,
                          DWORD rop) {
    const Box part = intersect(boxOf(from), {0, 0, source.width, source.height});
    const int64_t rows = int64_t{part.bottom} - part.top;
    const int64_t ySource = rows - (from.y - part.top) - from.height;
    for (const int64_t v : {from.x, ySource, from.width, from.height})
        if (!fits(v)) return false;
    const BlitArea& to = call.to;
    if (call.stretched)
        file_.begin(RecordType::stretchDib, {lowWord(rop), highWord(rop), DIB_RGB_COLORS, from.height, from.width, ySource,
                                             from.x, to.height, to.width, to.y, to.x});
    else
        file_.begin(RecordType::setDibToDev, {DIB_RGB_COLORS, rows, 0, ySource, from.x, to.height, to.width, to.y, to.x});
    file_.dib(source, colors, part.top, part.bottom);
    file_.end();
    return true;
}

bool Recorder::image(DeviceContext& dc, const ImageCall& call) {
    return attempt([&] {
        const PixelReader& source = call.source;
        const Box part = intersect(boxOf(call.from), {0, 0, source.width, source.height});
        if (part.empty() || !call.to.width || !call.to.height) return true;
        if (clip_.held && !clip_.stale && call.stretched && call.rop >> 16 == SRCCOPY >> 16)
            return maskedImage(dc, call, part);
        if (!beginDrawing(dc)) return false;
        ColorTable colors = source.colors;
        if (source.mono) {
            colors.count = 2;
            colors.rgb[0] = swapRedBlue(call.text);
            colors.rgb[1] = swapRedBlue(call.background);
        }
        return writeImage(call, source, call.from, colors, call.rop);
    });
}

// The image through the clip that is held back: blackened where it shows, then added with black all around. Each pixel of
// the source shows if the device pixel under its middle is in the region.
bool Recorder::maskedImage(const DeviceContext& dc, const ImageCall& call, const Box& part) {
    const int width = part.right - part.left, height = part.bottom - part.top;
    MaskedRows rows(width, height);
    const Mapping& map = dc.state.map;
    const auto axis = [](int32_t start, int32_t end, int64_t from, int64_t size) {
        return [=](int i) {
            const double t = (i + 0.5 - static_cast<double>(from)) / static_cast<double>(size);
            return saturate(floorInt(start + (static_cast<double>(end) - start) * t));
        };
    };
    const BlitArea &to = call.to, &from = call.from;
    const auto deviceX = axis(map.deviceX(to.x), map.deviceX(to.x + to.width), from.x, from.width);
    const auto deviceY = axis(map.deviceY(to.y), map.deviceY(to.y + to.height), from.y, from.height);
    const PixelReader& source = call.source;
    const uint32_t mono[2] = {swapRedBlue(call.text), swapRedBlue(call.background)};
    for (int y = 0; y < height; ++y) {
        const int32_t row = deviceY(part.top + y);
        for (int x = 0; x < width; ++x) {
            if (!pixman_region32_contains_point(&clip_.held->set, deviceX(part.left + x), row, nullptr)) continue;
            const uint32_t pixel = source.raw(part.left + x, part.top + y);
            rows.show(x, y, source.mono ? mono[pixel & 1] : source.toRgb(pixel));
        }
    }
    const BlitArea rest{from.x - part.left, from.y - part.top, from.width, from.height};
    return writeImage(call, rows.mask(), rest, rows.mask().colors, SRCAND) &&
           writeImage(call, rows.picture(), rest, rows.mask().colors, SRCPAINT);
}

std::vector<uint8_t> Recorder::finish() noexcept {
    std::vector<uint8_t> bytes;
    attempt([&] {
        bytes = file_.finish(static_cast<uint16_t>(slots_.size()));
        return true;
    });
    return lost_ ? std::vector<uint8_t>() : std::move(bytes);
}

} // namespace kb::gdi

using namespace kb;
using namespace kb::gdi;

KB_API HDC CreateMetaFileA(const char* pszFile) {
    if (pszFile) return nullptr;
    return guarded<HDC>(nullptr, [] {
        auto recorder = std::make_unique<Recorder>();
        DeviceContext* dc = makeContext(DcKind::recording, nullptr);
        dc->output = std::move(recorder);
        dc->surface.bits = 24; // what bitmaps that go with it are made of
        return publishContext(dc);
    });
}

KB_API HMETAFILE CloseMetaFile(HDC hDC) {
    DeviceContext* dc = findDc(hDC);
    if (!dc || dc->kind != DcKind::recording) {
        SetLastError(ERROR_BAD_HANDLE);
        return nullptr;
    }
    std::vector<uint8_t> bytes = static_cast<Recorder&>(*dc->output).finish();
    freeContext(dc);
    if (bytes.empty()) {
        SetLastError(ERROR_OUT_OF_MEMORY);
        return nullptr;
    }
    return guarded<HMETAFILE>(nullptr, [&] {
        auto metafile = Ref<Metafile>::adopt(Pool<Metafile>::make());
        metafile->bytes = std::move(bytes);
        return publish<HMETAFILE>(gdiState().metafiles, std::move(metafile));
    });
}
