// The recorder's slots, and the records that create what stands in them.
#include "platform/gdi/gdi_state.h"
#include "platform/gdi/recorder.h"

#include <cstddef>
#include <cstring>

namespace kb::gdi {

namespace {

bool lives(const Pen& pen) { return pen.stock || gdiState().pens.find(pen.handle) == &pen; }
bool lives(const Brush& brush) { return brush.stock || gdiState().brushes.find(brush.handle) == &brush; }
bool lives(const Font& font) { return font.stock || gdiState().fonts.find(font.handle) == &font; }
bool lives(const Palette& palette) { return palette.stock || gdiState().palettes.find(palette.handle) == &palette; }

bool holds(const DcState& s, const Counted* object) {
    return s.pen.get() == object || s.brush.get() == object || s.font.get() == object || s.palette.get() == object;
}

// The object behind a slot when the file can do without it, else null.
template <class Held> const Counted* unused(const DeviceContext& dc, const Held& held) {
    return std::visit(
        [&](const auto& ref) -> const Counted* {
            if constexpr (std::is_same_v<std::decay_t<decltype(ref)>, std::monostate>) {
                return nullptr;
            } else {
                if (lives(*ref) || holds(dc.state, ref.get())) return nullptr;
                const bool saved =
                    std::any_of(dc.saved.begin(), dc.saved.end(), [&](const DcState& s) { return holds(s, ref.get()); });
                return saved ? nullptr : ref.get();
            }
        },
        held);
}

} // namespace

// Looking through many slots for each new object would make a long drawing slow; few are always looked through.
void Recorder::sweep(const DeviceContext& dc) {
    constexpr size_t few = 64;
    const size_t inUse = slots_.size() - free_.size();
    if (inUse > few && inUse < sweepAt_) return;
    for (size_t i = 0; i < slots_.size(); ++i) {
        const Counted* object = unused(dc, slots_[i]);
        if (!object) continue;
        known_.erase(object);
        deleteSlot(static_cast<Slot>(i));
    }
    sweepAt_ = std::max(few, 2 * (slots_.size() - free_.size()));
}

// A player puts each object into the lowest free slot, so the lowest is the only one there is to choose.
Recorder::Slot Recorder::takeSlot(DeviceContext& dc) {
    sweep(dc);
    if (!free_.empty()) {
        const Slot slot = *free_.begin();
        free_.erase(free_.begin());
        return slot;
    }
    if (slots_.size() >= INT16_MAX) throw Refused();
    slots_.emplace_back();
    return static_cast<Slot>(slots_.size() - 1);
}

void Recorder::freeSlot(Slot slot) {
    slots_[slot] = {};
    free_.insert(slot);
}

void Recorder::deleteSlot(Slot slot) {
    file_.record(RecordType::deleteObject, {RecordWord::raw(slot)});
    freeSlot(slot);
}

template <class T> Recorder::Slot Recorder::slotOf(DeviceContext& dc, T& object) {
    if (const auto it = known_.find(&object); it != known_.end()) return it->second;
    const Slot slot = takeSlot(dc);
    slots_[slot] = Ref<T>(&object);
    known_.emplace(&object, slot);
    create(object);
    return slot;
}
template Recorder::Slot Recorder::slotOf(DeviceContext&, Brush&);
template Recorder::Slot Recorder::slotOf(DeviceContext&, Font&);

template <class T> bool Recorder::selectObject(DeviceContext& dc, T& object, RecordType how) noexcept {
    return attempt([&] {
        if (holds(dc.state, &object) && known_.count(&object)) return true; // in force in the file too
        file_.record(how, {RecordWord::raw(slotOf(dc, object))});
        return true;
    });
}

bool Recorder::select(DeviceContext& dc, Pen& pen) noexcept { return selectObject(dc, pen, RecordType::selectObject); }
bool Recorder::select(DeviceContext& dc, Brush& brush) noexcept { return selectObject(dc, brush, RecordType::selectObject); }
bool Recorder::select(DeviceContext& dc, Font& font) noexcept { return selectObject(dc, font, RecordType::selectObject); }
bool Recorder::select(DeviceContext& dc, Palette& palette) noexcept {
    return selectObject(dc, palette, RecordType::selectPalette);
}

void Recorder::create(const Pen& pen) {
    file_.record(RecordType::createPenIndirect, {pen.style, pen.width, 0, lowWord(pen.color), highWord(pen.color)});
}

void Recorder::create(const Brush& brush) {
    if (!brush.pattern) {
        file_.record(RecordType::createBrushIndirect, {static_cast<int>(brush.style), lowWord(brush.color),
                                                       highWord(brush.color), static_cast<int64_t>(brush.hatch)});
        return;
    }
    // As rows of one bit, which take the colours of the context that they are played on, or of 24.
    const PatternImage& image = *brush.pattern;
    PixelReader rows;
    rows.width = image.width;
    rows.height = image.height;
    rows.bits = image.mono ? 1 : 24;
    rows.stride = static_cast<ptrdiff_t>(rowBytes(image.width, rows.bits, 8));
    std::vector<uint8_t> bytes(static_cast<size_t>(rows.stride) * static_cast<size_t>(image.height));
    const uint32_t* pixel = image.pixels.data();
    for (int y = 0; y < image.height; ++y) {
        uint8_t* row = &bytes[static_cast<size_t>(y) * static_cast<size_t>(rows.stride)];
        for (int x = 0; x < image.width; ++x, ++pixel) {
            if (image.mono)
                row[x / 8] = static_cast<uint8_t>(row[x / 8] | *pixel << (7 - x % 8));
            else
                std::memcpy(row + static_cast<ptrdiff_t>(x) * 3, pixel, 3);
        }
    }
    rows.top = bytes.data();
    file_.begin(RecordType::dibCreatePatternBrush, {image.mono ? BS_PATTERN : BS_DIBPATTERN, DIB_RGB_COLORS});
    file_.dib(rows, ColorTable::standard(1), 0, image.height);
    file_.end();
}

void Recorder::create(const Font& font) {
    const LOGFONTA& f = font.logical;
    file_.begin(RecordType::createFontIndirect, {f.lfHeight, f.lfWidth, f.lfEscapement, f.lfOrientation, f.lfWeight});
    file_.put(&f.lfItalic, 8); // to pitch and family, a byte each in this order
    static_assert(offsetof(LOGFONTA, lfPitchAndFamily) == offsetof(LOGFONTA, lfItalic) + 7);
    file_.put(f.lfFaceName, strnlen(f.lfFaceName, LF_FACESIZE - 1) + 1);
    file_.end();
}

void Recorder::create(const Palette& palette) {
    file_.begin(RecordType::createPalette, {0x300, RecordWord::raw(static_cast<uint32_t>(palette.entries.size()))});
    file_.put(palette.entries.data(), palette.entries.size() * sizeof(PALETTEENTRY));
    file_.end();
}

// Boxes come in bands: those of one band have the same top and bottom.
bool Recorder::createRegion(const Region& region) {
    int count;
    const pixman_box32_t* boxes = region.boxes(&count);
    constexpr int regionType = 6;
    constexpr size_t fixedBytes = 22;
    int64_t bands = 0, longest = 0;
    for (int i = 0, end; i < count; i = end, ++bands) {
        for (end = i; end < count && boxes[end].y1 == boxes[i].y1; ++end) {}
        longest = std::max<int64_t>(longest, 2 * (int64_t{end} - i));
    }
    if (bands > INT16_MAX || longest > INT16_MAX) return false;
    const int64_t bytes = static_cast<int64_t>(fixedBytes) + bands * 8 + int64_t{count} * 4;
    const Box b = region.bounds();
    file_.begin(RecordType::createRegion, {0, regionType, 0, 0, bytes, bands, longest, b.left, b.top, b.right, b.bottom});
    for (int i = 0, end; i < count; i = end) {
        for (end = i; end < count && boxes[end].y1 == boxes[i].y1; ++end) {}
        const int64_t numbers = 2 * (int64_t{end} - i);
        for (const int64_t v : {numbers, int64_t{boxes[i].y1}, int64_t{boxes[i].y2}}) file_.word(v);
        for (int k = i; k < end; ++k) {
            file_.word(boxes[k].x1);
            file_.word(boxes[k].x2);
        }
        file_.word(numbers);
    }
    file_.end();
    return true;
}

template <class Use> bool Recorder::withRegion(DeviceContext& dc, const Region& region, Use&& use) {
    const Slot slot = takeSlot(dc);
    const bool created = createRegion(region);
    if (created) use(slot);
    created ? deleteSlot(slot) : freeSlot(slot);
    return created;
}

bool Recorder::region(DeviceContext& dc, const RegionCall& call) {
    return attempt([&] {
        if (!beginDrawing(dc)) return false;
        const bool needsBrush = call.verb == AreaVerb::fill || call.verb == AreaVerb::frame;
        const Slot brush = needsBrush ? slotOf(dc, const_cast<Brush&>(*call.brush)) : Slot{0};
        return withRegion(dc, call.region, [&](Slot slot) {
            const RecordWord r = RecordWord::raw(slot), b = RecordWord::raw(brush);
            switch (call.verb) {
            case AreaVerb::fill: file_.record(RecordType::fillRegion, {r, b}); break;
            case AreaVerb::paint: file_.record(RecordType::paintRegion, {r}); break;
            case AreaVerb::invert: file_.record(RecordType::invertRegion, {r}); break;
            case AreaVerb::frame: file_.record(RecordType::frameRegion, {r, b, call.height, call.width}); break;
            }
        });
    });
}

// The whole clip as one region. It mustn't stand in slot 0, because 0 in the record takes the clip away; a pen that nobody
// selects fills that slot meanwhile.
bool Recorder::writeClip(DeviceContext& dc) {
    if (!dc.state.clip.bounded) {
        file_.record(RecordType::selectClipRegion, {0});
        clip_ = {};
        return true;
    }
    Region whole;
    clipAsRegion(dc.state.clip, whole);
    if (!dc.state.map.identity) logicalRegion(dc, whole, whole);
    const bool fills = slots_.empty() || free_.count(0);
    if (fills) {
        takeSlot(dc);
        create(Pen(PS_NULL, 0, 0));
    }
    const bool written =
        withRegion(dc, whole, [&](Slot slot) { file_.record(RecordType::selectClipRegion, {RecordWord::raw(slot)}); });
    if (fills) deleteSlot(0);
    if (written) clip_ = {};
    return written;
}

} // namespace kb::gdi
