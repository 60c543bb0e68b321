// Lines, polygons and rectangles of a context: logical coordinates to device points, and the figures they make.
#include "platform/gdi/figure.h"
#include "platform/gdi/gdi_state.h"

using namespace kb;
using namespace kb::gdi;

namespace {

// The caller's points when the mapping changes nothing, else a converted copy in scratch memory.
const POINT* devicePoints(const DeviceContext& dc, const POINT* points, size_t count) {
    if (dc.state.map.identity) return points;
    std::vector<POINT>& copy = scratch().points;
    copy.resize(count);
    for (size_t i = 0; i < count; ++i) copy[i] = dc.state.map.device(points[i]);
    return copy.data();
}

BOOL openLines(DeviceContext& dc, const POINT* points, const size_t* counts, size_t contours, size_t total) {
    if (dc.output) return dc.output->lines(dc, points, counts, contours);
    PenState pen;
    loadPen(dc, pen);
    if (pen.form == PenForm::none) return TRUE;
    drawContours(dc, pen, nullptr, devicePoints(dc, points, total), counts, contours, 0);
    return TRUE;
}

// Adds up lengths of contours of at least `least` points; false for a bad one.
template <class Count> bool readCounts(const Count* pCounts, size_t contours, size_t least, size_t& total) {
    std::vector<size_t>& counts = scratch().counts;
    counts.clear();
    total = 0;
    for (size_t i = 0; i < contours; ++i) {
        if (static_cast<int64_t>(pCounts[i]) < static_cast<int64_t>(least)) return false;
        counts.push_back(static_cast<size_t>(pCounts[i]));
        total += counts.back();
    }
    return true;
}

// A rectangle with a thin plain outline: no sets, no polygon.
void thinRectangle(const DeviceContext& dc, const PenState& pen, const Box& b) {
    Paint paint;
    if (brushPaint(dc, *dc.state.brush, tableOfRop2(dc.state.rop2), paint, scratch().brushCells))
        dc.painter(paint).rect({saturate(int64_t{b.left} + 1), saturate(int64_t{b.top} + 1), b.right - 1, b.bottom - 1});
    Painter painter = dc.painter(pen.on);
    painter.rect({b.left, b.top, b.right, b.top + 1});
    if (b.bottom - 1 > b.top) painter.rect({b.left, b.bottom - 1, b.right, b.bottom});
    if (b.top + 1 >= b.bottom - 1) return;
    painter.rect({b.left, b.top + 1, b.left + 1, b.bottom - 1});
    if (b.right - 1 > b.left) painter.rect({b.right - 1, b.top + 1, b.right, b.bottom - 1});
}

template <class Draw> BOOL onContext(HDC hDC, Draw&& draw) {
    return guardedOn<BOOL>(hDC, FALSE, [&]() -> BOOL {
        DeviceContext* dc = findDc(hDC);
        return dc ? draw(*dc) : FALSE;
    });
}

} // namespace

KB_API BOOL MoveToEx(HDC hDC, int x, int y, POINT* pOld) {
    DeviceContext* dc = findDc(hDC);
    if (!dc) return FALSE;
    const POINT old = std::exchange(dc->state.position, POINT{x, y});
    if (dc->output) dc->output->changed(*dc, Setting::position, x, y);
    if (pOld) *pOld = old;
    return TRUE;
}

KB_API BOOL GetCurrentPositionEx(HDC hDC, POINT* pOut) {
    const DeviceContext* dc = findDc(hDC);
    if (!dc || !pOut) return FALSE;
    *pOut = dc->state.position;
    return TRUE;
}

KB_API BOOL LineTo(HDC hDC, int x, int y) {
    return onContext(hDC, [&](DeviceContext& dc) {
        const POINT points[2] = {dc.state.position, {x, y}};
        const size_t count = 2;
        if (!(dc.output ? dc.output->linesTo(dc, points + 1, 1) : openLines(dc, points, &count, 1, count))) return FALSE;
        dc.state.position = points[1];
        return TRUE;
    });
}

KB_API BOOL Polyline(HDC hDC, const POINT* pPoints, int count) {
    if (!pPoints || count < 2) return FALSE;
    return onContext(hDC, [&](DeviceContext& dc) {
        const auto n = static_cast<size_t>(count);
        return openLines(dc, pPoints, &n, 1, n);
    });
}

KB_API BOOL PolylineTo(HDC hDC, const POINT* pPoints, DWORD count) {
    if (!pPoints || !count) return FALSE;
    return onContext(hDC, [&](DeviceContext& dc) {
        std::vector<POINT> all{dc.state.position};
        all.insert(all.end(), pPoints, pPoints + count);
        const size_t n = all.size();
        if (!(dc.output ? dc.output->linesTo(dc, pPoints, count) : openLines(dc, all.data(), &n, 1, n))) return FALSE;
        dc.state.position = all.back();
        return TRUE;
    });
}

KB_API BOOL PolyPolyline(HDC hDC, const POINT* pPoints, const DWORD* pCounts, DWORD polylines) {
    if (!pPoints || !pCounts || !polylines) return FALSE;
    return onContext(hDC, [&](DeviceContext& dc) -> BOOL {
        size_t total;
        if (!readCounts(pCounts, polylines, 2, total)) return FALSE;
        return openLines(dc, pPoints, scratch().counts.data(), polylines, total);
    });
}

KB_API BOOL Polygon(HDC hDC, const POINT* pPoints, int count) { return PolyPolygon(hDC, pPoints, &count, 1); }

KB_API BOOL PolyPolygon(HDC hDC, const POINT* pPoints, const INT* pCounts, int polygons) {
    if (!pPoints || !pCounts || polygons < 1) return FALSE;
    return onContext(hDC, [&](DeviceContext& dc) -> BOOL {
        size_t total;
        if (!readCounts(pCounts, static_cast<size_t>(polygons), 2, total)) return FALSE;
        if (dc.output) return dc.output->polygons(dc, pPoints, scratch().counts.data(), static_cast<size_t>(polygons));
        PenState pen;
        loadPen(dc, pen);
        const Brush* brush = dc.state.brush->style == BS_NULL ? nullptr : dc.state.brush.get();
        drawContours(dc, pen, brush, devicePoints(dc, pPoints, total), scratch().counts.data(),
                     static_cast<size_t>(polygons), dc.state.polyFillMode);
        return TRUE;
    });
}

KB_API BOOL Rectangle(HDC hDC, int left, int top, int right, int bottom) {
    return onContext(hDC, [&](DeviceContext& dc) {
        if (dc.output) return BOOL{dc.output->shape(dc, {ShapeForm::rectangle, {left, top, right, bottom}})};
        Box b = deviceBox(dc, left, top, right, bottom);
        if (b.empty()) return TRUE;
        PenState pen;
        loadPen(dc, pen);
        if (pen.form == PenForm::none) {
            Paint paint;
            if (brushPaint(dc, *dc.state.brush, tableOfRop2(dc.state.rop2), paint, scratch().brushCells))
                dc.painter(paint).rect({b.left, b.top, b.right - 1, b.bottom - 1});
            return TRUE;
        }
        if (pen.form == PenForm::thin && !pen.dash) {
            thinRectangle(dc, pen, b);
            return TRUE;
        }
        b = insideFrame(pen, b);
        if (b.empty()) return TRUE;
        const POINT corners[4] = {
            {b.left, b.top}, {b.right - 1, b.top}, {b.right - 1, b.bottom - 1}, {b.left, b.bottom - 1}};
        const size_t count = 4;
        drawContours(dc, pen, dc.state.brush.get(), corners, &count, 1, ALTERNATE);
        return TRUE;
    });
}

namespace {

// FillRect's family ignores the raster operation.
int fillBox(HDC hDC, const RECT* pRect, HBRUSH hBrush, bool frame) {
    return guardedOn(hDC, 0, [&] {
        DeviceContext* dc = findDc(hDC);
        const Brush* brush = dc && pRect ? findObject(gdiState().brushes, hBrush) : nullptr;
        if (!brush) return 0;
        if (pRect->left >= pRect->right || pRect->top >= pRect->bottom) return 1;
        if (dc->output) return int{dc->output->box(*dc, {frame ? AreaVerb::frame : AreaVerb::fill, *pRect, brush})};
        Paint paint;
        if (!brushPaint(*dc, *brush, tableOfRop2(R2_COPYPEN), paint, scratch().brushCells)) return 1;
        const Box b = deviceBox(*dc, pRect->left, pRect->top, pRect->right, pRect->bottom);
        Painter painter = dc->painter(paint);
        if (!frame) {
            painter.rect(b);
            return 1;
        }
        const int wx = std::max(dc->state.map.deviceWidth(1), 1), wy = std::max(dc->state.map.deviceHeight(1), 1);
        const int top = saturate(int64_t{b.top} + wy), bottom = saturate(int64_t{b.bottom} - wy);
        painter.rect({b.left, b.top, b.right, std::min(top, b.bottom)});
        painter.rect({b.left, std::max(bottom, top), b.right, b.bottom});
        painter.rect({b.left, top, std::min(saturate(int64_t{b.left} + wx), b.right), bottom});
        painter.rect({std::max(saturate(int64_t{b.right} - wx), saturate(int64_t{b.left} + wx)), top, b.right, bottom});
        return 1;
    });
}

} // namespace

KB_API int FillRect(HDC hDC, const RECT* pRect, HBRUSH hBrush) { return fillBox(hDC, pRect, hBrush, false); }
KB_API int FrameRect(HDC hDC, const RECT* pRect, HBRUSH hBrush) { return fillBox(hDC, pRect, hBrush, true); }

KB_API BOOL InvertRect(HDC hDC, const RECT* pRect) {
    return onContext(hDC, [&](DeviceContext& dc) -> BOOL {
        if (!pRect) return FALSE;
        if (pRect->left >= pRect->right || pRect->top >= pRect->bottom) return TRUE;
        if (dc.output) return dc.output->box(dc, {AreaVerb::invert, *pRect, nullptr});
        Paint paint;
        paint.setSolid(0, tableOfRop2(R2_NOT), dc.surface.bits);
        dc.painter(paint).rect(deviceBox(dc, pRect->left, pRect->top, pRect->right, pRect->bottom));
        return TRUE;
    });
}

KB_API COLORREF SetPixel(HDC hDC, int x, int y, COLORREF color) {
    DeviceContext* dc = findDc(hDC);
    if (!dc || !PtVisible(hDC, x, y)) return CLR_INVALID;
    if (dc->output) {
        color &= 0xFFFFFF;
        return guardedOn(hDC, CLR_INVALID, [&] { return dc->output->pixel(*dc, {x, y}, color) ? color : CLR_INVALID; });
    }
    const POINT p = dc->state.map.device({x, y});
    Paint paint;
    paint.setSolid(dc->surface.pixelFor(color), tableOfRop2(R2_COPYPEN), dc->surface.bits);
    dc->painter(paint).span(p.y, p.x, int64_t{p.x} + 1);
    return dc->surface.colorOf(dc->surface.get(p.x, p.y));
}

KB_API BOOL SetPixelV(HDC hDC, int x, int y, COLORREF color) { return SetPixel(hDC, x, y, color) != CLR_INVALID; }

KB_API COLORREF GetPixel(HDC hDC, int x, int y) {
    const DeviceContext* dc = findDc(hDC);
    if (!dc || dc->output || !PtVisible(hDC, x, y)) return CLR_INVALID;
    const POINT p = dc->state.map.device({x, y});
    return dc->surface.colorOf(dc->surface.get(p.x, p.y));
}
