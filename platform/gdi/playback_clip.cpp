// Regions and clips of a file, and what drawing costs within them. Regions are built no farther than can be seen, and only
// when it is known how many rectangles they may come to: n that overlap can make n x n.
#include "platform/gdi/device_context.h"
#include "platform/gdi/playback.h"
#include "platform/gdi/playback_applied.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace kb::gdi {

RegionHolder::RegionHolder(HRGN region) : handle(region) {
    if (!region) throw std::bad_alloc();
}

namespace {

RegionRef emptyRegion() { return std::make_shared<RegionHolder>(CreateRectRgn(0, 0, 0, 0)); }

size_t boxCount(HRGN region) { return GetRegionData(region, 0, nullptr) / sizeof(RECT); }

void addBoxes(HRGN region, std::vector<RECT>& boxes) {
    std::vector<uint32_t> memory(GetRegionData(region, 0, nullptr) / 4);
    auto* data = reinterpret_cast<RGNDATA*>(memory.data());
    if (!GetRegionData(region, static_cast<DWORD>(memory.size() * 4), data)) return;
    if (!data->rdh.nCount) return;
    const size_t before = boxes.size();
    boxes.resize(before + data->rdh.nCount);
    std::memcpy(boxes.data() + before, data->Buffer, data->rdh.nCount * sizeof(RECT));
}

// What the boxes come to at most when each is cut at all the rows where one begins or ends.
double cutBoxes(const std::vector<RECT>& boxes) {
    std::vector<LONG> tops, bottoms;
    for (const RECT& b : boxes) {
        if (b.left >= b.right || b.top >= b.bottom) continue;
        tops.push_back(b.top);
        bottoms.push_back(b.bottom);
    }
    std::sort(tops.begin(), tops.end());
    std::sort(bottoms.begin(), bottoms.end());
    double total = 0, open = 0;
    for (size_t t = 0, b = 0; b < bottoms.size();) {
        const LONG row = t < tops.size() ? std::min(tops[t], bottoms[b]) : bottoms[b];
        for (; b < bottoms.size() && bottoms[b] == row; ++b) --open;
        for (; t < tops.size() && tops[t] == row; ++t) ++open;
        total += open;
    }
    return total;
}

double overlap(double a, double b, double low, double high) {
    return std::max(std::min(std::max(a, b), high) - std::max(std::min(a, b), low), 0.0);
}

} // namespace

bool Playback::affordRegion(const std::vector<RECT>& boxes) {
    if (!budget.pay(static_cast<double>(boxes.size()) * cost::regionBox)) return false;
    const double made = cutBoxes(boxes);
    // The memory is held once it is known how much it has become; until then there must be room for the worst.
    const bool room = made * sizeof(RECT) <= static_cast<double>(budget.bytesLeft());
    return budget.pay(room ? made * cost::regionBox : INFINITY);
}

RegionRef Playback::hold(HRGN region) {
    const auto holder = std::make_shared<RegionHolder>(region);
    holder->held = budget.hold(boxCount(region) * sizeof(RECT));
    return exhausted() ? emptyRegion() : holder;
}

RegionRef Playback::polygonsOf(const std::vector<POINT>& points, const std::vector<INT>& counts, int fillMode,
                               const RECT& reach) {
    if (counts.empty()) return emptyRegion();
    double rows = static_cast<double>(points.size());
    for (size_t i = 0, first = 0; i < counts.size(); first += static_cast<size_t>(counts[i++]))
        for (size_t k = 0, n = static_cast<size_t>(counts[i]); k < n; ++k)
            rows += overlap(points[first + k].y, points[first + (k + 1) % n].y, reach.top, reach.bottom);
    if (!budget.pay(rows * cost::edgeRow)) return emptyRegion();
    return hold(polygonRegion(points.data(), counts.data(), static_cast<int>(counts.size()), fillMode,
                              {reach.left, reach.top, reach.right, reach.bottom}));
}

RegionRef Playback::regionOf(const std::vector<RECT>& boxes, const Affine& toDevice, const RECT& reach) {
    if (exhausted() || !toDevice.usable()) return emptyRegion();
    const auto at = [&](LONG x, LONG y) {
        const FPoint p = toDevice.at(x, y);
        // Regions of polygons reach so far.
        return POINT{std::clamp(roundAway(p.x), -(1 << 20), 1 << 20), std::clamp(roundAway(p.y), -(1 << 20), 1 << 20)};
    };
    if (toDevice.upright()) {
        std::vector<RECT> placed;
        for (const RECT& b : boxes) {
            const POINT p = at(b.left, b.top), q = at(b.right, b.bottom);
            placed.push_back({std::min(p.x, q.x), std::min(p.y, q.y), std::max(p.x, q.x), std::max(p.y, q.y)});
        }
        if (!affordRegion(placed)) return emptyRegion();
        const size_t bytes = placed.size() * sizeof(RECT);
        std::vector<uint32_t> memory((sizeof(RGNDATAHEADER) + bytes) / 4);
        const RGNDATAHEADER header{
            sizeof header, RDH_RECTANGLES, static_cast<DWORD>(placed.size()), static_cast<DWORD>(bytes), {}};
        std::memcpy(memory.data(), &header, sizeof header);
        if (bytes) std::memcpy(reinterpret_cast<uint8_t*>(memory.data()) + sizeof header, placed.data(), bytes);
        return hold(ExtCreateRegion(nullptr, static_cast<DWORD>(memory.size() * 4),
                                    reinterpret_cast<const RGNDATA*>(memory.data())));
    }
    std::vector<POINT> points;
    points.reserve(boxes.size() * 4);
    const bool turned = toDevice.determinant() < 0;
    for (const RECT& b : boxes) {
        const POINT corners[4] = {at(b.left, b.top), at(b.right, b.top), at(b.right, b.bottom), at(b.left, b.bottom)};
        for (int i = 0; i < 4; ++i) points.push_back(corners[turned ? 3 - i : i]);
    }
    return polygonsOf(points, std::vector<INT>(boxes.size(), 4), WINDING, reach);
}

RegionRef Playback::combine(const RegionRef& now, const RegionRef& with, int mode) {
    if (mode == RGN_COPY || (!now && mode == RGN_AND)) return with;
    // Without a clip everything counts as in.
    constexpr int far = 1 << 24;
    const RegionRef all = now ? now : std::make_shared<RegionHolder>(CreateRectRgn(-far, -far, far, far));
    std::vector<RECT> both;
    addBoxes(all->handle, both);
    addBoxes(with->handle, both);
    if (!affordRegion(both)) return emptyRegion();
    RegionHolder result(CreateRectRgn(0, 0, 0, 0));
    if (CombineRgn(result.handle, all->handle, with->handle, mode) == ERROR) throw std::bad_alloc();
    return hold(std::exchange(result.handle, nullptr));
}

// ---- clip ----

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
        RECT box{};
        const int kind = GetRgnBox(region->handle, &box);
        if (kind == COMPLEXREGION) {
            budget.pay(static_cast<double>(boxCount(region->handle)) * cost::regionBox);
            if (ExtSelectClipRgn(hDC_, region->handle, RGN_AND) == ERROR) throw std::bad_alloc();
            continue;
        }
        // A rectangle is what every kind of destination can keep.
        POINT corners[2] = {{box.left, box.top}, {box.right, box.bottom}};
        DPtoLP(hDC_, corners, 2);
        if (IntersectClipRect(hDC_, corners[0].x, corners[0].y, corners[1].x, corners[1].y) == ERROR) throw std::bad_alloc();
    }
    seen_ = seenOf(hDC_);
    a.clip = state.clip;
    a.metaClip = state.metaClip;
    a.clipKnown = true;
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
    RegionHolder moved(CreateRectRgn(0, 0, 0, 0));
    if (!budget.pay(static_cast<double>(boxCount(state.clip->handle)) * cost::regionBox)) return;
    if (CombineRgn(moved.handle, state.clip->handle, nullptr, RGN_COPY) == ERROR) throw std::bad_alloc();
    OffsetRgn(moved.handle, roundAway(shift.x), roundAway(shift.y));
    state.clip = hold(std::exchange(moved.handle, nullptr));
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
        state.clip = combine(state.clip, polygonsOf(points, counts, state.polyFillMode, reach_), mode);
    }
    path_.clear();
}

void Playback::paintRegion(const std::vector<RECT>& boxes, RegionPaint paint, const ObjectRef& with, double width,
                           double height) {
    if (!usable_ || exhausted()) return;
    if (measuring) {
        for (const RECT& b : boxes) {
            to(b.left, b.top);
            to(b.right, b.bottom);
        }
        return;
    }
    const ObjectRef kept = std::exchange(state.brush, with ? with : state.brush);
    syncClip();
    syncModes();
    syncBrush();
    state.brush = kept;
    // Regions to be drawn are in units of the destination; where those are finer than its pixels, nothing is lost.
    const RegionRef region = regionOf(boxes, map_, reachUnits_);
    const bool framed = paint == RegionPaint::frame;
    // A frame is what four moved copies leave.
    if (framed && !budget.pay(8 * static_cast<double>(boxCount(region->handle)) * cost::regionBox)) return;
    RECT box{};
    GetRgnBox(region->handle, &box);
    if (!affordBox(box, cost::fillPixel)) return;
    const auto hBrush = static_cast<HBRUSH>(GetCurrentObject(hDC_, OBJ_BRUSH));
    if (paint == RegionPaint::invert)
        drew(InvertRgn(hDC_, region->handle));
    else if (paint == RegionPaint::fill)
        drew(FillRgn(hDC_, region->handle, hBrush));
    else
        drew(FrameRgn(hDC_, region->handle, hBrush, std::max(roundAway(lengthOf(map_.vector(width, 0))), 1),
                      std::max(roundAway(lengthOf(map_.vector(0, height))), 1)));
}

// ---- what drawing costs ----

double Playback::seenPixels(double left, double top, double right, double bottom) const {
    return overlap(left, right, seen_.left, seen_.right) * std::abs(device_.a) *
           (overlap(top, bottom, seen_.top, seen_.bottom) * std::abs(device_.d));
}

double Playback::strokeWidth() const {
    const PlayPen& p = pen();
    if (state.pen && p.style == PS_NULL) return 0;
    return std::max(p.width * penScale() * std::sqrt(std::abs(device_.determinant())), 1.0);
}

// A wide line as the box that it lies in or by its length, whichever is less.
double Playback::segmentCost(POINT a, POINT b, double width) const {
    const double x = overlap(a.x, b.x, seen_.left, seen_.right) * std::abs(device_.a),
                 y = overlap(a.y, b.y, seen_.top, seen_.bottom) * std::abs(device_.d);
    if (width <= 1) return cost::vertex + std::max(x, y) * cost::linePixel;
    const double half = width / 2;
    const double area = seenPixels(std::min(a.x, b.x) - half, std::min(a.y, b.y) - half, std::max(a.x, b.x) + half,
                                   std::max(a.y, b.y) + half);
    return cost::vertex + std::min(area, (x + y + width) * width) * cost::linePixel;
}

bool Playback::affordBox(const RECT& box, double pixelCost, bool outlined) {
    if (!raster_) return !exhausted();
    double price = cost::vertex + seenPixels(box.left, box.top, box.right, box.bottom) * pixelCost;
    const double width = outlined ? strokeWidth() : 0;
    if (width > 0) {
        const POINT corners[5] = {
            {box.left, box.top}, {box.right, box.top}, {box.right, box.bottom}, {box.left, box.bottom}, {box.left, box.top}};
        for (size_t i = 0; i < 4; ++i) price += segmentCost(corners[i], corners[i + 1], width);
    }
    return budget.pay(price);
}

template <class Count> bool Playback::affordContours(const std::vector<Count>& counts, bool filled, bool outlined) {
    double price = static_cast<double>(points_.size()) * cost::vertex;
    // What curves and wide lines become in a recording is larger than the records that ask for them.
    if (!raster_) return budget.keep(points_.size() * 4) && budget.pay(price);
    const double width = outlined ? strokeWidth() : 0;
    POINT low{INT32_MAX, INT32_MAX}, high{INT32_MIN, INT32_MIN};
    double rows = 0;
    size_t first = 0;
    for (const Count count : counts) {
        const auto n = static_cast<size_t>(count);
        for (size_t i = 0; i < n; ++i) {
            const POINT p = points_[first + i], q = points_[first + (i + 1 < n ? i + 1 : 0)];
            if (filled) {
                low = {std::min(low.x, p.x), std::min(low.y, p.y)};
                high = {std::max(high.x, p.x), std::max(high.y, p.y)};
                rows += overlap(p.y, q.y, seen_.top, seen_.bottom);
            }
            if (width > 0 && (filled || i + 1 < n)) price += segmentCost(p, q, width);
        }
        first += n;
    }
    if (filled && !points_.empty())
        price += rows * std::abs(device_.d) * cost::edgeRow + seenPixels(low.x, low.y, high.x, high.y) * cost::fillPixel;
    return budget.pay(price);
}
template bool Playback::affordContours(const std::vector<INT>&, bool, bool);
template bool Playback::affordContours(const std::vector<DWORD>&, bool, bool);

} // namespace kb::gdi
