// Regions as objects: made from rectangles, polygons, ellipses and data, combined and asked. Curved ones are built from the
// rows of the fills; rows that are alike become one rectangle. They reach from -2^20 to 2^20 and hold at most 2^22
// rectangles.
#include "platform/gdi/ellipse.h"
#include "platform/gdi/gdi_state.h"
#include "platform/gdi/scratch.h"

#include <cstring>

using namespace kb;
using namespace kb::gdi;

namespace {

constexpr int32_t reach = 1 << 20;
constexpr Box reachBox{-reach, -reach, reach, reach};
constexpr size_t mostBoxes = size_t{1} << 22;

// Gathers spans by rising rows and grows the last band while rows stay alike.
class BandBuilder {
public:
    void add(int64_t y, int64_t x0, int64_t x1) {
        const auto row = static_cast<int32_t>(y);
        if (row != row_) endRow(row);
        const auto from = static_cast<int32_t>(std::max<int64_t>(x0, -reach)),
                   to = static_cast<int32_t>(std::min<int64_t>(x1, reach));
        if (from >= to) return;
        if (boxes_.size() > rowStart_ && boxes_.back().x2 == from) { // spans that touch are one
            boxes_.back().x2 = to;
            return;
        }
        boxes_.push_back({from, row, to, row + 1});
        if (boxes_.size() > mostBoxes) throw std::bad_alloc();
    }
    void finish(Region& region) {
        endRow(INT32_MAX);
        pixman_region32_t built;
        if (!pixman_region32_init_rects(&built, boxes_.data(), static_cast<int>(boxes_.size()))) throw std::bad_alloc();
        pixman_region32_fini(&region.set);
        region.set = built;
    }

private:
    void endRow(int32_t next) {
        const size_t count = boxes_.size() - rowStart_, before = rowStart_ - bandStart_;
        bool alike = count && count == before && boxes_[bandStart_].y2 == boxes_[rowStart_].y1;
        for (size_t i = 0; alike && i < count; ++i)
            alike = boxes_[bandStart_ + i].x1 == boxes_[rowStart_ + i].x1 &&
                    boxes_[bandStart_ + i].x2 == boxes_[rowStart_ + i].x2;
        if (alike) {
            for (size_t i = bandStart_; i < rowStart_; ++i) ++boxes_[i].y2;
            boxes_.resize(rowStart_);
        } else {
            bandStart_ = rowStart_;
            rowStart_ = boxes_.size();
        }
        row_ = next;
    }
    std::vector<pixman_box32_t> boxes_;
    size_t bandStart_ = 0, rowStart_ = 0;
    int32_t row_ = INT32_MIN;
};

Ref<Region> newRegion() { return Ref<Region>::adopt(Pool<Region>::make()); }
HRGN publishRegion(Ref<Region> region) { return publish<HRGN>(gdiState().regions, std::move(region)); }

Box ordered(int left, int top, int right, int bottom) {
    return {std::min(left, right), std::min(top, bottom), std::max(left, right), std::max(top, bottom)};
}

HRGN roundRegion(const Box& box, int64_t cornerWidth, int64_t cornerHeight) {
    return guarded<HRGN>(nullptr, [&] {
        Ref<Region> region = newRegion();
        if (!box.empty()) {
            BandBuilder bands;
            RoundRows(box, cornerWidth, cornerHeight).fill(reachBox, [&](int64_t y, int64_t x0, int64_t x1) {
                bands.add(y, x0, x1);
            });
            bands.finish(*region);
        }
        return publishRegion(std::move(region));
    });
}

} // namespace

KB_API HRGN CreateRectRgn(int left, int top, int right, int bottom) {
    return guarded<HRGN>(
        nullptr, [&] { return publishRegion(Ref<Region>::adopt(Pool<Region>::make(ordered(left, top, right, bottom)))); });
}

KB_API HRGN CreateRectRgnIndirect(const RECT* pRect) {
    return pRect ? CreateRectRgn(pRect->left, pRect->top, pRect->right, pRect->bottom) : nullptr;
}

KB_API HRGN CreatePolygonRgn(const POINT* pPoints, int count, int fillMode) {
    return CreatePolyPolygonRgn(pPoints, &count, 1, fillMode);
}

HRGN kb::gdi::polygonRegion(const POINT* points, const INT* counts, int polygons, int fillMode, const Box& reach) {
    if (!points || !counts || polygons < 1 || (fillMode != ALTERNATE && fillMode != WINDING)) return nullptr;
    return guarded<HRGN>(nullptr, [&]() -> HRGN {
        PolygonFiller& filler = scratch().filler;
        filler.begin(intersect(reach, reachBox));
        for (int i = 0; i < polygons; ++i) {
            if (counts[i] < 2) return nullptr;
            filler.add(points, static_cast<size_t>(counts[i]));
            points += counts[i];
        }
        BandBuilder bands;
        filler.fill(fillMode, [&](int64_t y, int64_t x0, int64_t x1) { bands.add(y, x0, x1); });
        Ref<Region> region = newRegion();
        bands.finish(*region);
        return publishRegion(std::move(region));
    });
}

KB_API HRGN CreatePolyPolygonRgn(const POINT* pPoints, const INT* pCounts, int polygons, int fillMode) {
    return polygonRegion(pPoints, pCounts, polygons, fillMode, reachBox);
}

KB_API HRGN KbCreatePolygonRgnWithin(const POINT* pPoints, int count, int fillMode, const RECT* pWithin) {
    if (!pWithin) return nullptr;
    return polygonRegion(pPoints, &count, 1, fillMode, {pWithin->left, pWithin->top, pWithin->right, pWithin->bottom});
}

KB_API HRGN CreateEllipticRgn(int left, int top, int right, int bottom) {
    const Box box = ordered(left, top, right, bottom);
    return roundRegion(box, static_cast<int64_t>(box.right) - box.left, static_cast<int64_t>(box.bottom) - box.top);
}

KB_API HRGN CreateEllipticRgnIndirect(const RECT* pRect) {
    return pRect ? CreateEllipticRgn(pRect->left, pRect->top, pRect->right, pRect->bottom) : nullptr;
}

KB_API HRGN CreateRoundRectRgn(int left, int top, int right, int bottom, int width, int height) {
    return roundRegion(ordered(left, top, right, bottom), width, height);
}

KB_API int CombineRgn(HRGN hDest, HRGN hA, HRGN hB, int mode) {
    Region* dest = findRegion(hDest);
    Region* a = dest ? findRegion(hA) : nullptr;
    if (!a || mode < RGN_AND || mode > RGN_COPY) return ERROR;
    Region* b = mode == RGN_COPY ? a : findRegion(hB);
    if (!b) return ERROR;
    pixman_region32_t result;
    pixman_region32_init(&result);
    bool ok = false;
    switch (mode) {
    case RGN_AND: ok = pixman_region32_intersect(&result, &a->set, &b->set); break;
    case RGN_OR: ok = pixman_region32_union(&result, &a->set, &b->set); break;
    case RGN_DIFF: ok = pixman_region32_subtract(&result, &a->set, &b->set); break;
    case RGN_COPY: ok = pixman_region32_copy(&result, &a->set); break;
    case RGN_XOR: {
        pixman_region32_t both;
        pixman_region32_init(&both);
        ok = pixman_region32_intersect(&both, &a->set, &b->set) && pixman_region32_union(&result, &a->set, &b->set) &&
             pixman_region32_subtract(&result, &result, &both);
        pixman_region32_fini(&both);
        break;
    }
    default: break;
    }
    if (!ok) {
        pixman_region32_fini(&result);
        SetLastError(ERROR_OUT_OF_MEMORY);
        return ERROR;
    }
    pixman_region32_fini(&dest->set);
    dest->set = result;
    return dest->kind();
}

KB_API int OffsetRgn(HRGN hRgn, int dx, int dy) {
    Region* region = findRegion(hRgn);
    if (!region) return ERROR;
    pixman_region32_translate(&region->set, dx, dy);
    return region->kind();
}

KB_API BOOL SetRectRgn(HRGN hRgn, int left, int top, int right, int bottom) {
    Region* region = findRegion(hRgn);
    if (!region) return FALSE;
    Region fresh(ordered(left, top, right, bottom));
    std::swap(region->set, fresh.set);
    return TRUE;
}

KB_API BOOL PtInRegion(HRGN hRgn, int x, int y) {
    const Region* region = findRegion(hRgn);
    return region && pixman_region32_contains_point(&region->set, x, y, nullptr);
}

KB_API BOOL RectInRegion(HRGN hRgn, const RECT* pRect) {
    const Region* region = findRegion(hRgn);
    if (!region || !pRect) return FALSE;
    const Box b = ordered(pRect->left, pRect->top, pRect->right, pRect->bottom);
    if (b.empty()) return FALSE;
    pixman_box32_t box{b.left, b.top, b.right, b.bottom};
    return pixman_region32_contains_rectangle(&region->set, &box) != PIXMAN_REGION_OUT;
}

KB_API BOOL EqualRgn(HRGN hA, HRGN hB) {
    const Region* a = findRegion(hA);
    const Region* b = findRegion(hB);
    return a && b && pixman_region32_equal(&a->set, &b->set);
}

KB_API int GetRgnBox(HRGN hRgn, RECT* pOut) {
    const Region* region = findRegion(hRgn);
    if (!region || !pOut) return ERROR;
    const Box b = region->bounds();
    *pOut = {b.left, b.top, b.right, b.bottom};
    if (region->kind() == NULLREGION) *pOut = {0, 0, 0, 0};
    return region->kind();
}

KB_API DWORD GetRegionData(HRGN hRgn, DWORD size, RGNDATA* pOut) {
    const Region* region = findRegion(hRgn);
    if (!region) return 0;
    int count;
    const pixman_box32_t* boxes = region->boxes(&count);
    const size_t needed = sizeof(RGNDATAHEADER) + static_cast<size_t>(count) * sizeof(RECT);
    if (!pOut) return static_cast<DWORD>(needed);
    if (size < needed) return 0;
    RGNDATAHEADER& head = pOut->rdh;
    head = {sizeof(RGNDATAHEADER), RDH_RECTANGLES, static_cast<DWORD>(count), static_cast<DWORD>(needed - sizeof head), {}};
    GetRgnBox(hRgn, &head.rcBound);
    static_assert(sizeof(pixman_box32_t) == sizeof(RECT)); // left, top, right, bottom in both
    if (count) std::memcpy(pOut->Buffer, boxes, static_cast<size_t>(count) * sizeof(RECT));
    return static_cast<DWORD>(needed);
}

KB_API HRGN ExtCreateRegion(const void* pTransform, DWORD size, const RGNDATA* pData) {
    if (pTransform || !pData || size < sizeof(RGNDATAHEADER)) return nullptr;
    const RGNDATAHEADER& head = pData->rdh;
    if (head.dwSize != sizeof head || head.iType != RDH_RECTANGLES) return nullptr;
    if (head.nCount > (size - sizeof head) / sizeof(RECT) || head.nCount > mostBoxes) return nullptr;
    return guarded<HRGN>(nullptr, [&] {
        std::vector<pixman_box32_t> boxes;
        boxes.reserve(head.nCount);
        for (DWORD i = 0; i < head.nCount; ++i) {
            pixman_box32_t b;
            std::memcpy(&b, pData->Buffer + i * sizeof b, sizeof b);
            if (b.x1 < b.x2 && b.y1 < b.y2) boxes.push_back(b);
        }
        Ref<Region> region = newRegion();
        pixman_region32_fini(&region->set);
        if (!pixman_region32_init_rects(&region->set, boxes.data(), static_cast<int>(boxes.size()))) {
            pixman_region32_init(&region->set);
            throw std::bad_alloc();
        }
        return publishRegion(std::move(region));
    });
}

KB_API uint64_t KbRegionArea(HRGN hRgn) {
    const Region* region = findRegion(hRgn);
    if (!region) return 0;
    int count;
    const pixman_box32_t* boxes = region->boxes(&count);
    uint64_t area = 0;
    for (int i = 0; i < count; ++i)
        area += static_cast<uint64_t>(static_cast<int64_t>(boxes[i].x2) - boxes[i].x1) *
                static_cast<uint64_t>(static_cast<int64_t>(boxes[i].y2) - boxes[i].y1);
    return area;
}

KB_API BOOL KbPointInEllipse(const RECT* pRect, int x, int y) {
    if (!pRect) return FALSE;
    const Box box = ordered(pRect->left, pRect->top, pRect->right, pRect->bottom);
    const auto holds = [x, y](const Box& b) { return x >= b.left && x < b.right && y >= b.top && y < b.bottom; };
    if (!holds(box) || !holds(reachBox)) return FALSE;
    const int64_t width = static_cast<int64_t>(box.right) - box.left, height = static_cast<int64_t>(box.bottom) - box.top;
    const RoundRows::Row row = RoundRows(box, width, height).row(y);
    return x >= row.x0 && x < row.x1;
}
