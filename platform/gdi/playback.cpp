// State, objects and mapping of a file that is played, and the destination's objects and modes kept in step with them.
#include "platform/gdi/playback.h"

#include "platform/gdi/device_context.h"
#include "platform/gdi/playback_applied.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

namespace kb::gdi {

// ---- objects ----

void ObjectTable::put(size_t slot, ObjectRef object) {
    if (slot >= most) return;
    if (slot >= slots_.size()) {
        if (!object) return;
        slots_.resize(slot + 1);
    }
    slots_[slot] = std::move(object);
}

bool ObjectTable::add(ObjectRef object) {
    if (!free_.empty()) {
        std::pop_heap(free_.begin(), free_.end(), std::greater<>());
        slots_[free_.back()] = std::move(object);
        free_.pop_back();
        return true;
    }
    if (slots_.size() >= most) return false;
    slots_.push_back(std::move(object));
    return true;
}

void ObjectTable::remove(size_t slot) {
    if (slot >= slots_.size() || !slots_[slot]) return;
    slots_[slot] = nullptr;
    free_.push_back(slot);
    std::push_heap(free_.begin(), free_.end(), std::greater<>());
}

// ---- life ----

namespace {

// Destination units to pixels, as the context itself maps them.
Affine deviceMap(HDC hDC) {
    POINT windowOrigin{}, viewportOrigin{};
    SIZE window{1, 1}, viewport{1, 1};
    GetWindowOrgEx(hDC, &windowOrigin);
    GetViewportOrgEx(hDC, &viewportOrigin);
    GetWindowExtEx(hDC, &window);
    GetViewportExtEx(hDC, &viewport);
    PageMapping page;
    page.windowX = windowOrigin.x;
    page.windowY = windowOrigin.y;
    page.viewportX = viewportOrigin.x;
    page.viewportY = viewportOrigin.y;
    if (window.cx && window.cy && viewport.cx && viewport.cy) {
        page.windowWidth = window.cx;
        page.windowHeight = window.cy;
        page.viewportWidth = viewport.cx;
        page.viewportHeight = viewport.cy;
    }
    return page.map();
}

} // namespace

Playback::Playback(HDC hDC, const Affine& placement, bool mirrored, size_t bytes)
    : hDC_(hDC), placement_(placement), device_(deviceMap(hDC)), mirrored_(mirrored),
      workLeft_((size_t{1} << 24) + bytes * 16), applied_(std::make_unique<Applied>()) {
    applied_->ownPen = GetCurrentObject(hDC, OBJ_PEN);
    applied_->ownBrush = GetCurrentObject(hDC, OBJ_BRUSH);
    applied_->ownFont = GetCurrentObject(hDC, OBJ_FONT);
    // The file's clips only cut away from what can be drawn on now; they may be moved about before they do.
    RECT seen{};
    if (GetClipBox(hDC, &seen) <= NULLREGION || GetDeviceCaps(hDC, TECHNOLOGY) == DT_METAFILE)
        seen = {-(1 << 20), -(1 << 20), 1 << 20, 1 << 20}; // a recording has no edges
    const auto around = [](POINT p, POINT q) {
        const int64_t width = std::abs(static_cast<int64_t>(q.x) - p.x), height = std::abs(static_cast<int64_t>(q.y) - p.y);
        return RECT{saturate(std::min(p.x, q.x) - width), saturate(std::min(p.y, q.y) - height),
                    saturate(std::max(p.x, q.x) + width), saturate(std::max(p.y, q.y) + height)};
    };
    POINT corners[2] = {{seen.left, seen.top}, {seen.right, seen.bottom}};
    reachUnits_ = around(corners[0], corners[1]);
    LPtoDP(hDC, corners, 2);
    reach_ = around(corners[0], corners[1]);
    enterDestination();
    mapChanged();
}

Playback::~Playback() {
    leaveDestination();
    applied_->release();
}

void Playback::enterDestination() {
    level_ = SaveDC(hDC_);
    applied_->modes = applied_->clipKnown = false;
    applied_->penSelected = applied_->brushSelected = applied_->fontSelected = false;
}

void Playback::leaveDestination() {
    if (level_) RestoreDC(hDC_, level_);
    level_ = 0;
}

void Playback::mapChanged() {
    map_ = state.world.then(state.page.map()).then(placement_);
    usable_ = map_.usable();
}

void Playback::spend(size_t work) { workLeft_ = workLeft_ > work ? workLeft_ - work : 0; }

bool Playback::save() {
    constexpr size_t deepest = 4096;
    if (saved_.size() >= deepest) return false;
    saved_.push_back(state);
    return true;
}

void Playback::restore(int level) {
    const auto depth = static_cast<int64_t>(saved_.size());
    const int64_t target = level < 0 ? depth + level : static_cast<int64_t>(level) - 1;
    if (level == 0 || target < 0 || target >= depth) return; // never beyond what the file itself has saved
    state = std::move(saved_[static_cast<size_t>(target)]);
    saved_.resize(static_cast<size_t>(target));
    mapChanged();
}

const std::vector<COLORREF>* Playback::paletteColors() const {
    const auto* palette = state.palette ? std::get_if<PlayPalette>(state.palette.get()) : nullptr;
    return palette ? &palette->colors : nullptr;
}

COLORREF Playback::color(COLORREF value) const {
    if (value >> 24 != 1) return value & 0xFFFFFF;
    const std::vector<COLORREF>* colors = paletteColors();
    const size_t index = value & 0xFFFF;
    return colors && index < colors->size() ? (*colors)[index] : 0;
}

void Playback::select(const ObjectRef& object) {
    if (!object) return;
    if (std::holds_alternative<PlayPen>(*object))
        state.pen = object;
    else if (std::holds_alternative<PlayBrush>(*object))
        state.brush = object;
    else if (std::holds_alternative<PlayFont>(*object))
        state.font = object;
    else if (const auto* region = std::get_if<PlayRegion>(object.get()))
        clipRegion(&region->boxes, Frame::logical, RGN_COPY);
}

void Playback::selectStock(unsigned index) {
    const HGDIOBJ stock = GetStockObject(static_cast<int>(index));
    LOGPEN pen;
    LOGBRUSH brush;
    LOGFONTA font;
    switch (GetObjectType(stock)) {
    case OBJ_PEN:
        if (GetObjectA(stock, sizeof pen, &pen)) {
            PlayPen made;
            made.style = static_cast<int>(pen.lopnStyle);
            made.color = pen.lopnColor;
            state.pen = std::make_shared<PlayObject>(std::move(made));
        }
        break;
    case OBJ_BRUSH:
        if (GetObjectA(stock, sizeof brush, &brush)) {
            PlayBrush made;
            made.style = brush.lbStyle;
            made.color = brush.lbColor;
            state.brush = std::make_shared<PlayObject>(std::move(made));
        }
        break;
    case OBJ_FONT:
        if (GetObjectA(stock, sizeof font, &font)) {
            PlayFont made;
            made.logical = font;
            state.font = std::make_shared<PlayObject>(std::move(made));
        }
        break;
    default: break;
    }
}

const PlayPen& Playback::pen() const {
    static const PlayPen own;
    return state.pen ? std::get<PlayPen>(*state.pen) : own;
}

const PlayBrush& Playback::brush() const {
    static const PlayBrush own;
    return state.brush ? std::get<PlayBrush>(*state.brush) : own;
}

const LOGFONTA& Playback::font() const {
    if (state.font) return std::get<PlayFont>(*state.font).logical;
    return applied_->own();
}

// ---- the destination ----

void Playback::syncClip() {
    Applied& a = *applied_;
    if (a.clipKnown && a.clip == state.clip && a.metaClip == state.metaClip) return;
    // A clip of the destination only ever gets narrower; to widen it the state from before the play is taken again.
    if (a.clipKnown && (a.clip || a.metaClip)) {
        leaveDestination();
        enterDestination();
    }
    for (const RegionRef& region : {state.metaClip, state.clip}) {
        if (!region) continue;
        RECT box;
        const int kind = GetRgnBox(region->handle, &box);
        if (kind == COMPLEXREGION) {
            spend(GetRegionData(region->handle, 0, nullptr) / sizeof(RECT));
            ExtSelectClipRgn(hDC_, region->handle, RGN_AND);
            continue;
        }
        // A rectangle is what every kind of destination can keep.
        if (kind == NULLREGION) box = {0, 0, 0, 0};
        POINT corners[2] = {{box.left, box.top}, {box.right, box.bottom}};
        DPtoLP(hDC_, corners, 2);
        IntersectClipRect(hDC_, corners[0].x, corners[0].y, corners[1].x, corners[1].y);
    }
    a.clip = state.clip;
    a.metaClip = state.metaClip;
    a.clipKnown = true;
}

void Playback::syncModes() {
    Applied& a = *applied_;
    const auto set = [&](auto& was, const auto& is, auto&& setter) {
        if (a.modes && was == is) return;
        was = is;
        setter(hDC_, is);
    };
    set(a.textColor, state.textColor, SetTextColor);
    set(a.bkColor, state.bkColor, SetBkColor);
    set(a.bkMode, state.bkMode, SetBkMode);
    set(a.rop2, state.rop2, SetROP2);
    set(a.polyFillMode, state.polyFillMode, SetPolyFillMode);
    set(a.stretchMode, state.stretchMode, SetStretchBltMode);
    if (state.brushOriginSet) {
        const Affine toDevice = placement_.then(device_);
        const FPoint p = toDevice.at(state.brushOrigin.x, state.brushOrigin.y);
        SetBrushOrgEx(hDC_, roundAway(p.x), roundAway(p.y), nullptr);
    }
    a.modes = true;
}

void Playback::selectPen(int style, int width, COLORREF penColor) {
    Applied& a = *applied_;
    if (a.pen && a.penStyle == style && a.penWidth == width && a.penColor == penColor) {
        if (!a.penSelected) SelectObject(hDC_, a.pen);
        a.penSelected = true;
        return;
    }
    const HPEN made = CreatePen(style, width, penColor);
    if (!made) return;
    SelectObject(hDC_, made);
    if (a.pen) DeleteObject(a.pen);
    a.pen = made;
    a.penStyle = style;
    a.penWidth = width;
    a.penColor = penColor;
    a.penSelected = true;
}

void Playback::syncPen() {
    Applied& a = *applied_;
    if (!state.pen) {
        SelectObject(hDC_, a.ownPen);
        a.penSelected = false;
        return;
    }
    const PlayPen& p = pen();
    double width = p.width;
    if (!(width > 0) || (p.geometric ? false : p.dashes.size() > 0)) width = 0;
    const int style = p.style == PlayPen::userDashes ? PS_DASH : p.style;
    const int scaled = std::min(roundAway(width * penScale()), 1 << 26);
    selectPen(style, scaled <= 1 ? 0 : scaled, color(p.color));
}

void Playback::selectSolid(COLORREF solid) {
    Applied& a = *applied_;
    if (a.brush && a.brushSolid && a.brushColor == solid) {
        if (!a.brushSelected) SelectObject(hDC_, a.brush);
        a.brushSelected = true;
        return;
    }
    const HBRUSH made = CreateSolidBrush(solid);
    if (!made) return;
    a.putBrush(hDC_, made);
    a.brushSolid = true;
    a.brushColor = solid;
    a.brushObject = nullptr;
}

void Playback::selectNullBrush() {
    SelectObject(hDC_, GetStockObject(NULL_BRUSH));
    applied_->brushSelected = false;
}

void Playback::syncBrush() {
    Applied& a = *applied_;
    if (!state.brush) {
        SelectObject(hDC_, a.ownBrush);
        a.brushSelected = false;
        return;
    }
    const PlayBrush& b = brush();
    if (b.style == BS_NULL) {
        selectNullBrush();
        return;
    }
    if (b.style == BS_SOLID) {
        selectSolid(color(b.color));
        return;
    }
    if (a.brush && !a.brushSolid && a.brushObject == state.brush && !b.mono) {
        if (!a.brushSelected) SelectObject(hDC_, a.brush);
        a.brushSelected = true;
        return;
    }
    HBRUSH made = nullptr;
    if (b.style == BS_HATCHED) {
        made = CreateHatchBrush(b.hatch, color(b.color));
    } else if (b.pattern && b.pattern.width <= 4096 && b.pattern.height <= 4096) {
        spend(static_cast<size_t>(b.pattern.width) * static_cast<size_t>(b.pattern.height) / 4);
        std::vector<uint32_t> packed(b.pattern.head);
        const size_t head = packed.size() * 4;
        packed.resize((head + b.pattern.bytes + 3) / 4);
        std::memcpy(reinterpret_cast<uint8_t*>(packed.data()) + head, b.pattern.bits, b.pattern.bytes);
        if (b.mono) {
            const COLORREF two[2] = {state.textColor, state.bkColor};
            for (size_t i = 0; i < 2; ++i)
                packed[sizeof(BITMAPINFOHEADER) / 4 + i] = swapRedBlue(two[i]); // 0x00RRGGBB is blue, green, red in memory
        }
        made = CreateDIBPatternBrushPt(packed.data(), DIB_RGB_COLORS);
    }
    if (!made) {
        selectNullBrush();
        return;
    }
    a.putBrush(hDC_, made);
    a.brushSolid = false;
    a.brushObject = state.brush;
}

void Playback::syncFont(const LOGFONTA& wanted) {
    Applied& a = *applied_;
    if (a.font && std::memcmp(&a.fontMade, &wanted, sizeof wanted) == 0) {
        if (!a.fontSelected) SelectObject(hDC_, a.font);
        a.fontSelected = true;
        return;
    }
    const HFONT made = CreateFontIndirectA(&wanted);
    if (!made) return;
    SelectObject(hDC_, made);
    if (a.font) DeleteObject(a.font);
    a.font = made;
    a.fontMade = wanted;
    a.fontSelected = true;
}

// ---- clip ----

RegionRef Playback::regionOf(const std::vector<RECT>& boxes, const Affine& toDevice, const RECT& reach) {
    spend(boxes.size() * 8);
    if (exhausted() || !toDevice.usable()) return std::make_shared<RegionHolder>(CreateRectRgn(0, 0, 0, 0));
    const auto at = [&](LONG x, LONG y) {
        const FPoint p = toDevice.at(x, y);
        // Regions of polygons reach so far.
        return POINT{std::clamp(roundAway(p.x), -(1 << 20), 1 << 20), std::clamp(roundAway(p.y), -(1 << 20), 1 << 20)};
    };
    HRGN region;
    if (toDevice.upright()) {
        std::vector<uint32_t> memory((sizeof(RGNDATAHEADER) + boxes.size() * sizeof(RECT)) / 4);
        const auto count = static_cast<DWORD>(boxes.size());
        const RGNDATAHEADER header{sizeof header, RDH_RECTANGLES, count, count * static_cast<DWORD>(sizeof(RECT)), {}};
        std::memcpy(memory.data(), &header, sizeof header);
        auto* out = reinterpret_cast<RECT*>(reinterpret_cast<uint8_t*>(memory.data()) + sizeof header);
        for (const RECT& b : boxes) {
            const POINT p = at(b.left, b.top), q = at(b.right, b.bottom);
            *out++ = {std::min(p.x, q.x), std::min(p.y, q.y), std::max(p.x, q.x), std::max(p.y, q.y)};
        }
        region =
            ExtCreateRegion(nullptr, static_cast<DWORD>(memory.size() * 4), reinterpret_cast<const RGNDATA*>(memory.data()));
    } else {
        std::vector<POINT> points;
        points.reserve(boxes.size() * 4);
        const bool turned = toDevice.determinant() < 0;
        for (const RECT& b : boxes) {
            const POINT corners[4] = {at(b.left, b.top), at(b.right, b.top), at(b.right, b.bottom), at(b.left, b.bottom)};
            for (int i = 0; i < 4; ++i) points.push_back(corners[turned ? 3 - i : i]);
        }
        const std::vector<INT> counts(boxes.size(), 4);
        region = polygonRegion(points.data(), counts.data(), static_cast<int>(counts.size()), WINDING,
                               {reach.left, reach.top, reach.right, reach.bottom});
    }
    return std::make_shared<RegionHolder>(region ? region : CreateRectRgn(0, 0, 0, 0));
}

RegionRef Playback::combine(const RegionRef& now, const RegionRef& with, int mode) {
    if (mode == RGN_COPY || (!now && mode == RGN_AND)) return with;
    // Without a clip everything counts as in.
    constexpr int far = 1 << 24;
    RegionRef all = now ? now : std::make_shared<RegionHolder>(CreateRectRgn(-far, -far, far, far));
    const HRGN result = CreateRectRgn(0, 0, 0, 0);
    const RegionRef made = std::make_shared<RegionHolder>(result);
    CombineRgn(result, all->handle, with->handle, mode);
    spend(GetRegionData(result, 0, nullptr) / sizeof(RECT));
    return made;
}

void Playback::clipRegion(const std::vector<RECT>* boxes, Frame frame, int mode) {
    if (mode < RGN_AND || mode > RGN_COPY || measuring) return;
    if (!boxes) {
        if (mode == RGN_COPY) state.clip = nullptr;
        return;
    }
    state.clip =
        combine(state.clip, regionOf(*boxes, (frame == Frame::logical ? map_ : placement_).then(device_), reach_), mode);
}

void Playback::clipBox(const RECT& box, int mode) {
    const std::vector<RECT> one{box};
    clipRegion(&one, Frame::logical, mode);
}

void Playback::offsetClip(double dx, double dy) {
    if (!state.clip || !usable_) return;
    const FPoint shift = map_.then(device_).vector(dx, dy);
    const HRGN moved = CreateRectRgn(0, 0, 0, 0);
    const RegionRef made = std::make_shared<RegionHolder>(moved);
    CombineRgn(moved, state.clip->handle, nullptr, RGN_COPY);
    spend(GetRegionData(moved, 0, nullptr) / sizeof(RECT));
    OffsetRgn(moved, roundAway(shift.x), roundAway(shift.y));
    state.clip = made;
}

void Playback::setMetaRegion() {
    if (state.clip) state.metaClip = combine(state.metaClip, state.clip, RGN_AND);
    state.clip = nullptr;
}

void Playback::clipToPath(int mode) {
    inPath_ = false;
    if (!measuring && usable_ && mode >= RGN_AND && mode <= RGN_COPY) {
        std::vector<POINT> points;
        std::vector<INT> counts;
        for (const FlatPath::Figure& figure : path_.figures) {
            if (figure.count < 2) continue;
            for (size_t i = 0; i < figure.count; ++i) {
                const FPoint p = path_.points[figure.first + i], q = device_.at(p.x, p.y);
                points.push_back({roundAway(q.x), roundAway(q.y)});
            }
            counts.push_back(static_cast<INT>(figure.count));
        }
        const HRGN region = counts.empty()
                                ? CreateRectRgn(0, 0, 0, 0)
                                : polygonRegion(points.data(), counts.data(), static_cast<int>(counts.size()),
                                                state.polyFillMode, {reach_.left, reach_.top, reach_.right, reach_.bottom});
        if (region) state.clip = combine(state.clip, std::make_shared<RegionHolder>(region), mode);
    }
    path_.clear();
}

void Playback::paintRegion(const std::vector<RECT>& boxes, RegionPaint paint, const ObjectRef& with, double width,
                           double height) {
    if (!usable_) return;
    if (measuring) {
        for (const RECT& b : boxes) {
            to(b.left, b.top);
            to(b.right, b.bottom);
        }
        return;
    }
    if (exhausted()) return;
    const ObjectRef kept = std::exchange(state.brush, with ? with : state.brush);
    syncClip();
    syncModes();
    syncBrush();
    // Regions to be drawn are in units of the destination; where those are finer than its pixels, nothing is lost.
    const RegionRef region = regionOf(boxes, map_, reachUnits_);
    const auto hBrush = static_cast<HBRUSH>(GetCurrentObject(hDC_, OBJ_BRUSH));
    if (paint == RegionPaint::invert)
        InvertRgn(hDC_, region->handle);
    else if (paint == RegionPaint::fill)
        FillRgn(hDC_, region->handle, hBrush);
    else
        FrameRgn(hDC_, region->handle, hBrush, std::max(roundAway(lengthOf(map_.vector(width, 0))), 1),
                 std::max(roundAway(lengthOf(map_.vector(0, height))), 1));
    state.brush = kept;
}

} // namespace kb::gdi
