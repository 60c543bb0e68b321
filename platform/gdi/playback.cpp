// State, objects and mapping of a file that is played, and the destination's objects and modes kept in step with them.
#include "platform/gdi/playback.h"

#include "platform/gdi/gdi_state.h"
#include "platform/gdi/playback_applied.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>
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

PageMapping pageOf(HDC hDC) {
    POINT windowOrigin{}, viewportOrigin{};
    SIZE window{}, viewport{};
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
    return page;
}

void keepRatio(PageMapping& page, double resolutionX, double resolutionY) {
    const double sx = std::abs(page.viewportWidth / page.windowWidth) / resolutionX,
                 sy = std::abs(page.viewportHeight / page.windowHeight) / resolutionY;
    if (sx > sy)
        page.viewportWidth *= sy / sx;
    else
        page.viewportHeight *= sx / sy;
}

RECT seenOf(HDC hDC) {
    RECT seen{};
    if (GetClipBox(hDC, &seen) == ERROR) throw std::bad_alloc();
    constexpr int far = 1 << 20, farthest = (1 << 30) - 1; // whose differences have 32 bits
    POINT ends[2] = {{-far, -far}, {far, far}};
    DPtoLP(hDC, ends, 2);
    for (POINT& p : ends) p = {std::clamp(p.x, -farthest, farthest), std::clamp(p.y, -farthest, farthest)};
    const auto inner = [](LONG a, LONG b, LONG p, LONG q, LONG& low, LONG& high) {
        low = std::max(std::min(a, b), std::min(p, q));
        high = std::max(std::min(std::max(a, b), std::max(p, q)), low);
    };
    RECT box;
    inner(seen.left, seen.right, ends[0].x, ends[1].x, box.left, box.right);
    inner(seen.top, seen.bottom, ends[0].y, ends[1].y, box.top, box.bottom);
    return box;
}

namespace {

double pixelsOf(HDC hDC) {
    constexpr double recorded = 1 << 20; // as if it were a screen
    if (GetDeviceCaps(hDC, TECHNOLOGY) == DT_METAFILE) return recorded;
    const RECT seen = seenOf(hDC);
    const Affine toDevice = pageOf(hDC).map();
    return (static_cast<double>(seen.right) - seen.left) * (static_cast<double>(seen.bottom) - seen.top) *
           std::abs(toDevice.determinant());
}

} // namespace

Playback::Playback(HDC hDC, const Affine& placement, bool mirrored, size_t bytes)
    : budget(bytes, pixelsOf(hDC)), hDC_(hDC), plain_(placement), device_(pageOf(hDC).map()), plainMirrored_(mirrored),
      raster_(GetDeviceCaps(hDC, TECHNOLOGY) == DT_RASDISPLAY), recording_(GetDeviceCaps(hDC, TECHNOLOGY) == DT_METAFILE),
      seen_(seenOf(hDC)), applied_(std::make_unique<Applied>()) {
    applied_->ownPen = GetCurrentObject(hDC, OBJ_PEN);
    applied_->ownBrush = GetCurrentObject(hDC, OBJ_BRUSH);
    applied_->ownFont = GetCurrentObject(hDC, OBJ_FONT);
    // The file's clips only cut away from what can be drawn on now; they may be moved about before they do.
    const auto around = [](POINT p, POINT q) {
        const int64_t width = std::abs(static_cast<int64_t>(q.x) - p.x), height = std::abs(static_cast<int64_t>(q.y) - p.y);
        return RECT{saturate(std::min(p.x, q.x) - width), saturate(std::min(p.y, q.y) - height),
                    saturate(std::max(p.x, q.x) + width), saturate(std::max(p.y, q.y) + height)};
    };
    POINT corners[2] = {{seen_.left, seen_.top}, {seen_.right, seen_.bottom}};
    reachUnits_ = around(corners[0], corners[1]);
    LPtoDP(hDC, corners, 2);
    reach_ = around(corners[0], corners[1]);
    SetLastError(0); // what drew() asks for
    enterDestination();
    mapChanged();
}

Playback::~Playback() {
    leaveDestination();
    applied_->release();
}

void Playback::enterDestination() {
    level_ = SaveDC(hDC_);
    if (!level_) throw std::bad_alloc(); // nothing could be put back
    applied_->modes = applied_->clipKnown = false;
    applied_->penSelected = applied_->brushSelected = applied_->fontSelected = false;
}

void Playback::leaveDestination() {
    if (level_) RestoreDC(hDC_, level_);
    level_ = 0;
}

void Playback::drew(bool answer) {
    if (answer) return;
    if (GetLastError() == ERROR_OUT_OF_MEMORY) throw std::bad_alloc();
    refused_ = true;
}

void Playback::mapChanged() {
    placement_ = state.rightToLeft ? Affine{-1, 0, 0, 1, 2 * middle_, 0}.then(plain_) : plain_;
    mirrored_ = plainMirrored_ != state.rightToLeft;
    map_ = state.world.then(state.page.map()).then(placement_);
    usable_ = map_.usable();
}

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

namespace {

size_t bytesOf(const PlayObject& object) {
    return std::visit(
        [](const auto& o) -> size_t {
            using Kind = std::decay_t<decltype(o)>;
            constexpr size_t beside = 64; // what the allocator adds
            if constexpr (std::is_same_v<Kind, PlayBrush>)
                return sizeof(PlayObject) + beside + o.pattern.head.size() * 4 + o.pattern.unpacked.size();
            else if constexpr (std::is_same_v<Kind, PlayPalette>)
                return sizeof(PlayObject) + beside + o.colors.size() * sizeof(COLORREF);
            else if constexpr (std::is_same_v<Kind, PlayRegion>)
                return sizeof(PlayObject) + beside + o.boxes.size() * sizeof(RECT);
            else
                return sizeof(PlayObject) + beside;
        },
        object);
}

} // namespace

ObjectRef Playback::make(PlayObject&& object) {
    struct Kept {
        PlayBudget::Held held;
        PlayObject object;
    };
    PlayBudget::Held held = budget.hold(bytesOf(object));
    if (exhausted()) return nullptr;
    auto kept = std::make_shared<Kept>(Kept{std::move(held), std::move(object)});
    return ObjectRef(kept, &kept->object);
}

void Playback::resizePalette(const ObjectRef& object, size_t count) {
    auto* palette = object ? std::get_if<PlayPalette>(object.get()) : nullptr;
    if (!palette || count <= palette->colors.size()) {
        if (palette) palette->colors.resize(count);
        return;
    }
    palette->grown = {};
    palette->grown = budget.hold(count * sizeof(COLORREF));
    if (!exhausted()) palette->colors.resize(count);
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
            state.pen = make(std::move(made));
        }
        break;
    case OBJ_BRUSH:
        if (GetObjectA(stock, sizeof brush, &brush)) {
            PlayBrush made;
            made.style = brush.lbStyle;
            made.color = brush.lbColor;
            state.brush = make(std::move(made));
        }
        break;
    case OBJ_FONT:
        if (GetObjectA(stock, sizeof font, &font)) {
            PlayFont made;
            made.logical = font;
            state.font = make(std::move(made));
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
    if (!made) throw std::bad_alloc();
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
    if (!made) throw std::bad_alloc();
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
    PlayBrush& b = std::get<PlayBrush>(*state.brush);
    switch (b.style) {
    case BS_SOLID: selectSolid(color(b.color)); break;
    case BS_PATTERN: selectPattern(b); break;
    case BS_HATCHED:
        if (a.brush && !a.brushSolid && a.brushObject == state.brush) {
            if (!a.brushSelected) SelectObject(hDC_, a.brush);
            a.brushSelected = true;
            break;
        }
        if (const HBRUSH made = CreateHatchBrush(b.hatch, color(b.color))) {
            a.putBrush(hDC_, made);
            a.brushSolid = false;
            a.brushObject = state.brush;
            break;
        }
        throw std::bad_alloc();
    default: selectNullBrush(); break;
    }
}

void Playback::selectPattern(PlayBrush& b) {
    const DibImage& image = b.pattern;
    constexpr int largest = 4096;
    if (!image || image.width > largest || image.height > largest) {
        selectNullBrush();
        return;
    }
    const size_t pixels = static_cast<size_t>(image.width) * static_cast<size_t>(image.height);
    // A figure with another pattern than the one before has it spread out again; at few colours every figure has.
    if (raster_ && (applied_->spread != state.brush || GetDeviceCaps(hDC_, BITSPIXEL) < 24) &&
        !budget.pay(static_cast<double>(pixels) * cost::blitPixel)) {
        selectNullBrush();
        return;
    }
    applied_->spread = state.brush;
    std::array<COLORREF, 2> two{};
    if (b.mono) two = {state.textColor, state.bkColor};
    if (!b.made.handle || b.made.colors != two) {
        b.made = {};
        PlayBudget::Held held = budget.hold(pixels * sizeof(uint32_t));
        if (!budget.pay(static_cast<double>(pixels) * cost::blitPixel)) {
            selectNullBrush();
            return;
        }
        std::vector<uint32_t> packed(image.head);
        const size_t head = packed.size() * 4;
        packed.resize((head + image.bytes + 3) / 4);
        std::memcpy(reinterpret_cast<uint8_t*>(packed.data()) + head, image.bits, image.bytes);
        if (b.mono)
            for (size_t i = 0; i < 2; ++i) // 0x00RRGGBB is blue, green, red in memory
                packed[sizeof(BITMAPINFOHEADER) / 4 + i] = swapRedBlue(two[i]);
        const HBRUSH made = CreateDIBPatternBrushPt(packed.data(), DIB_RGB_COLORS);
        if (!made) {
            if (GetLastError() == ERROR_OUT_OF_MEMORY) throw std::bad_alloc();
            selectNullBrush(); // no picture that a brush can have
            return;
        }
        b.made = MadeBrush(made, two[0], two[1], std::move(held));
    }
    SelectObject(hDC_, b.made.handle);
    applied_->brushSelected = false;
}

void Playback::syncFont(const LOGFONTA& wanted) {
    Applied& a = *applied_;
    if (a.font && std::memcmp(&a.fontMade, &wanted, sizeof wanted) == 0) {
        if (!a.fontSelected) SelectObject(hDC_, a.font);
        a.fontSelected = true;
        return;
    }
    const HFONT made = CreateFontIndirectA(&wanted);
    if (!made) throw std::bad_alloc();
    SelectObject(hDC_, made);
    if (a.font) DeleteObject(a.font);
    a.font = made;
    a.fontMade = wanted;
    a.fontSelected = true;
}

} // namespace kb::gdi
