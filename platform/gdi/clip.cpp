// Clipping of contexts, and drawing of regions.
#include "platform/gdi/gdi_state.h"
#include "platform/gdi/scratch.h"

namespace kb::gdi {

void clipToBox(Clip& clip, const Box& box) {
    if (!clip.bounded) {
        clip.box = box;
        clip.bounded = true;
        return;
    }
    const Box cut = intersect(clip.box, box);
    if (clip.region && !box.contains(clip.box)) {
        const Region with(cut);
        Clip narrowed;
        auto region = Ref<Region>::adopt(Pool<Region>::make());
        if (!pixman_region32_intersect(&region->set, &clip.region->set, &with.set)) throw std::bad_alloc();
        setClipRegion(narrowed, *region);
        clip = narrowed;
        return;
    }
    clip.box = cut;
}

void setClipRegion(Clip& clip, const Region& region) {
    Clip made;
    made.bounded = true;
    made.box = region.bounds();
    if (region.kind() == NULLREGION) made.box = {};
    if (region.kind() == COMPLEXREGION) {
        made.region = Ref<Region>::adopt(Pool<Region>::make());
        if (!pixman_region32_copy(&made.region->set, &region.set)) throw std::bad_alloc();
    }
    clip = std::move(made);
}

int clipKind(const DeviceContext& dc) {
    const Box box = dc.visibleBox();
    if (box.empty()) return NULLREGION;
    if (!dc.state.clip.region) return SIMPLEREGION;
    const Region visible(box);
    Region cut;
    pixman_region32_intersect(&cut.set, &dc.state.clip.region->set, &visible.set);
    return cut.kind();
}

void clipAsRegion(const Clip& clip, Region& out) {
    Region made(clip.bounded ? clip.box : Box{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX});
    if (clip.region && !pixman_region32_copy(&made.set, &clip.region->set)) throw std::bad_alloc();
    std::swap(made.set, out.set);
}

namespace {

void combineClip(DeviceContext& dc, Region& with, int mode) {
    Region now, result;
    clipAsRegion(dc.state.clip, now);
    bool ok = true;
    switch (mode) {
    case RGN_AND: ok = pixman_region32_intersect(&result.set, &now.set, &with.set); break;
    case RGN_OR: ok = pixman_region32_union(&result.set, &now.set, &with.set); break;
    case RGN_DIFF: ok = pixman_region32_subtract(&result.set, &now.set, &with.set); break;
    default: {
        Region both;
        ok = pixman_region32_intersect(&both.set, &now.set, &with.set) &&
             pixman_region32_union(&result.set, &now.set, &with.set) &&
             pixman_region32_subtract(&result.set, &result.set, &both.set);
        break;
    }
    }
    if (!ok) throw std::bad_alloc();
    setClipRegion(dc.state.clip, result);
}

} // namespace

namespace {

// toBox(box): where a box of the region lies in the result.
template <class ToBox> void mapRegion(const Region& region, Region& out, ToBox&& toBox) {
    int count;
    const pixman_box32_t* boxes = region.boxes(&count);
    std::vector<pixman_box32_t> mapped;
    mapped.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        const Box b = toBox(boxes[i]);
        if (!b.empty()) mapped.push_back({b.left, b.top, b.right, b.bottom});
    }
    Region made;
    pixman_region32_fini(&made.set);
    if (!pixman_region32_init_rects(&made.set, mapped.data(), static_cast<int>(mapped.size()))) {
        pixman_region32_init(&made.set);
        throw std::bad_alloc();
    }
    std::swap(made.set, out.set);
}

} // namespace

void deviceRegion(const DeviceContext& dc, const Region& region, Region& out) {
    mapRegion(region, out, [&](const pixman_box32_t& b) { return deviceBox(dc, b.x1, b.y1, b.x2, b.y2); });
}

void logicalRegion(const DeviceContext& dc, const Region& region, Region& out) {
    const Mapping& map = dc.state.map;
    mapRegion(region, out, [&](const pixman_box32_t& b) {
        const auto [left, right] = std::minmax({map.logicalX(b.x1), map.logicalX(b.x2)});
        const auto [top, bottom] = std::minmax({map.logicalY(b.y1), map.logicalY(b.y2)});
        return Box{left, top, right, bottom};
    });
}

// What is left when the region is cut with itself, moved by the border's size to all four sides.
void frameRegion(const Region& region, int width, int height, Region& border) {
    Region inner, moved;
    if (!pixman_region32_copy(&inner.set, &region.set)) throw std::bad_alloc();
    const POINT shifts[] = {{width, 0}, {-width, 0}, {0, height}, {0, -height}};
    for (const POINT& shift : shifts) {
        if (!pixman_region32_copy(&moved.set, &region.set)) throw std::bad_alloc();
        pixman_region32_translate(&moved.set, shift.x, shift.y);
        if (!pixman_region32_intersect(&inner.set, &inner.set, &moved.set)) throw std::bad_alloc();
    }
    if (!pixman_region32_subtract(&border.set, &region.set, &inner.set)) throw std::bad_alloc();
}

namespace {

BOOL drawRegion(DeviceContext& dc, const Region& region, const Paint& paint) {
    const Region* device = &region;
    Region mapped;
    if (!dc.state.map.identity) {
        deviceRegion(dc, region, mapped);
        device = &mapped;
    }
    Painter painter = dc.painter(paint);
    int count;
    const pixman_box32_t* boxes = device->boxes(&count);
    for (int i = 0; i < count; ++i) painter.rect({boxes[i].x1, boxes[i].y1, boxes[i].x2, boxes[i].y2});
    return TRUE;
}

template <class Action> int onClip(HDC hDC, Action&& action) {
    return guardedOn<int>(hDC, ERROR, [&] {
        DeviceContext* dc = findDc(hDC);
        return dc ? action(*dc) : ERROR;
    });
}

BOOL fillRegion(HDC hDC, HRGN hRgn, const Brush* brush) {
    return guardedOn<BOOL>(hDC, FALSE, [&]() -> BOOL {
        DeviceContext* dc = findDc(hDC);
        const Region* region = dc ? findRegion(hRgn) : nullptr;
        if (!region) return FALSE;
        if (dc->output) return dc->output->region(*dc, {brush ? AreaVerb::fill : AreaVerb::paint, *region, brush});
        Paint paint;
        if (!brushPaint(*dc, brush ? *brush : *dc->state.brush, tableOfRop2(dc->state.rop2), paint, scratch().brushCells))
            return TRUE;
        return drawRegion(*dc, *region, paint);
    });
}

} // namespace
} // namespace kb::gdi

using namespace kb;
using namespace kb::gdi;

KB_API int SelectClipRgn(HDC hDC, HRGN hRgn) { return ExtSelectClipRgn(hDC, hRgn, RGN_COPY); }

KB_API int ExtSelectClipRgn(HDC hDC, HRGN hRgn, int mode) {
    return onClip(hDC, [&](DeviceContext& dc) -> int {
        if (mode < RGN_AND || mode > RGN_COPY || (!hRgn && mode != RGN_COPY)) return ERROR;
        Region* region = hRgn ? findRegion(hRgn) : nullptr;
        if (hRgn && !region) return ERROR;
        if (!region)
            dc.state.clip = {};
        else if (mode == RGN_COPY)
            setClipRegion(dc.state.clip, *region);
        else
            combineClip(dc, *region, mode);
        if (dc.output) dc.output->clipCombined(dc, region, mode);
        return clipKind(dc);
    });
}

KB_API int IntersectClipRect(HDC hDC, int left, int top, int right, int bottom) {
    return onClip(hDC, [&](DeviceContext& dc) {
        clipToBox(dc.state.clip, deviceBox(dc, left, top, right, bottom));
        if (dc.output) dc.output->clipCut(dc, {left, top, right, bottom}, false);
        return clipKind(dc);
    });
}

KB_API int ExcludeClipRect(HDC hDC, int left, int top, int right, int bottom) {
    return onClip(hDC, [&](DeviceContext& dc) {
        Region box(deviceBox(dc, left, top, right, bottom));
        combineClip(dc, box, RGN_DIFF);
        if (dc.output) dc.output->clipCut(dc, {left, top, right, bottom}, true);
        return clipKind(dc);
    });
}

KB_API int OffsetClipRgn(HDC hDC, int dx, int dy) {
    return onClip(hDC, [&](DeviceContext& dc) {
        if (dc.state.clip.bounded) {
            Region now;
            clipAsRegion(dc.state.clip, now);
            const POINT by = dc.state.map.deviceShift({dx, dy});
            pixman_region32_translate(&now.set, by.x, by.y);
            setClipRegion(dc.state.clip, now);
        }
        if (dc.output) dc.output->changed(dc, Setting::clipOffset, dx, dy);
        return clipKind(dc);
    });
}

KB_API int GetClipBox(HDC hDC, RECT* pOut) {
    return onClip(hDC, [&](DeviceContext& dc) -> int {
        if (!pOut) return ERROR;
        const Box box = dc.visibleBox();
        Region visible(box);
        if (dc.state.clip.region && !pixman_region32_intersect(&visible.set, &visible.set, &dc.state.clip.region->set))
            throw std::bad_alloc();
        const Box b = visible.bounds();
        const Mapping& map = dc.state.map;
        if (visible.kind() == NULLREGION)
            *pOut = {0, 0, 0, 0};
        else
            *pOut = {map.logicalX(b.left), map.logicalY(b.top), map.logicalX(b.right), map.logicalY(b.bottom)};
        return visible.kind();
    });
}

KB_API int GetClipRgn(HDC hDC, HRGN hRgn) {
    return guarded(-1, [&] {
        DeviceContext* dc = findDc(hDC);
        Region* region = dc ? findRegion(hRgn) : nullptr;
        if (!region) return -1;
        if (!dc->state.clip.bounded) return 0;
        clipAsRegion(dc->state.clip, *region);
        return 1;
    });
}

KB_API BOOL PtVisible(HDC hDC, int x, int y) {
    const DeviceContext* dc = findDc(hDC);
    if (!dc) return FALSE;
    const POINT p = dc->state.map.device({x, y});
    const Box b = dc->visibleBox();
    if (p.x < b.left || p.x >= b.right || p.y < b.top || p.y >= b.bottom) return FALSE;
    return !dc->state.clip.region || pixman_region32_contains_point(&dc->state.clip.region->set, p.x, p.y, nullptr);
}

KB_API BOOL RectVisible(HDC hDC, const RECT* pRect) {
    const DeviceContext* dc = findDc(hDC);
    if (!dc || !pRect) return FALSE;
    const Box b = intersect(dc->visibleBox(), deviceBox(*dc, pRect->left, pRect->top, pRect->right, pRect->bottom));
    if (b.empty()) return FALSE;
    pixman_box32_t box{b.left, b.top, b.right, b.bottom};
    return !dc->state.clip.region ||
           pixman_region32_contains_rectangle(&dc->state.clip.region->set, &box) != PIXMAN_REGION_OUT;
}

KB_API BOOL FillRgn(HDC hDC, HRGN hRgn, HBRUSH hBrush) {
    const Brush* brush = findObject(gdiState().brushes, hBrush);
    return brush ? fillRegion(hDC, hRgn, brush) : FALSE;
}

KB_API BOOL PaintRgn(HDC hDC, HRGN hRgn) { return fillRegion(hDC, hRgn, nullptr); }

KB_API BOOL InvertRgn(HDC hDC, HRGN hRgn) {
    return guardedOn<BOOL>(hDC, FALSE, [&]() -> BOOL {
        DeviceContext* dc = findDc(hDC);
        const Region* region = dc ? findRegion(hRgn) : nullptr;
        if (!region) return FALSE;
        if (dc->output) return dc->output->region(*dc, {AreaVerb::invert, *region, nullptr});
        Paint paint;
        paint.setSolid(0, tableOfRop2(R2_NOT), dc->surface.bits);
        return drawRegion(*dc, *region, paint);
    });
}

KB_API BOOL FrameRgn(HDC hDC, HRGN hRgn, HBRUSH hBrush, int width, int height) {
    return guardedOn<BOOL>(hDC, FALSE, [&]() -> BOOL {
        DeviceContext* dc = findDc(hDC);
        const Region* region = dc ? findRegion(hRgn) : nullptr;
        const Brush* brush = region ? findObject(gdiState().brushes, hBrush) : nullptr;
        if (!brush || width < 1 || height < 1) return FALSE;
        if (dc->output) return dc->output->region(*dc, {AreaVerb::frame, *region, brush, width, height});
        Region border;
        frameRegion(*region, width, height, border);
        Paint paint;
        if (!brushPaint(*dc, *brush, tableOfRop2(dc->state.rop2), paint, scratch().brushCells)) return TRUE;
        return drawRegion(*dc, border, paint);
    });
}
