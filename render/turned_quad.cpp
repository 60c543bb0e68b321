// Quads that are turned, mirrored or skewed: their axes, and clipping to them.
#include "render/device_points.h"
#include "render/drawing.h"
#include "store/measure.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kbann {
namespace {

constexpr double pi = std::numbers::pi;

// No image has longer sides; widths within it can be added and subtracted without care.
constexpr int32_t farthestPixel = 1 << 24;

bool records(HDC hDC) { return GetDeviceCaps(hDC, TECHNOLOGY) == DT_METAFILE; }

// Takes the region over; false when there is none.
bool narrowClip(HDC hDC, HRGN region) {
    if (!region) return false;
    const bool narrowed = ExtSelectClipRgn(hDC, region, RGN_AND) != ERROR;
    DeleteObject(region);
    return narrowed;
}

// The region of a polygon as far as it can be seen: a quad may be of any size, and each of its rows would count.
HRGN polygonSeen(HDC hDC, std::span<const POINT> points, int fillMode) {
    RECT seen;
    if (GetClipBox(hDC, &seen) == ERROR) return nullptr;
    POINT corner[2] = {{annAdd(seen.left, -1), annAdd(seen.top, -1)}, {annAdd(seen.right, 1), annAdd(seen.bottom, 1)}};
    if (!LPtoDP(hDC, corner, 2)) return nullptr;
    seen = annInflate({std::min(corner[0].x, corner[1].x), std::min(corner[0].y, corner[1].y),
                       std::max(corner[0].x, corner[1].x), std::max(corner[0].y, corner[1].y)},
                      1);
    return KbCreatePolygonRgnWithin(points.data(), static_cast<int>(points.size()), fillMode, &seen);
}

// Regions count in device units, so a scaling context's own mapping is applied too. False when there is none.
bool addMapping(HDC hDC, AnnMatrix& matrix) {
    const int mode = GetMapMode(hDC);
    if (mode != MM_ISOTROPIC && mode != MM_ANISOTROPIC) return false;
    POINT window{}, viewport{};
    SIZE windowSize{1, 1}, viewportSize{1, 1};
    GetWindowOrgEx(hDC, &window);
    GetViewportOrgEx(hDC, &viewport);
    GetWindowExtEx(hDC, &windowSize);
    GetViewportExtEx(hDC, &viewportSize);
    const double sx = windowSize.cx ? double(viewportSize.cx) / windowSize.cx : 1.0;
    const double sy = windowSize.cy ? double(viewportSize.cy) / windowSize.cy : 1.0;
    matrix = annMul(matrix, {sx, 0, 0, sy, viewport.x - window.x * sx, viewport.y - window.y * sy});
    return true;
}

} // namespace

bool annUprightRect(const Drawing& d, RECT& out) {
    return annQuadRect(d.matrix, d.record.quad, out, records(d.hDC) ? quadRectLimit : farthestPixel);
}

int annTextAngle(double theta) { return annRound(theta * -572.9577951308238); }

TurnedQuad annTurnQuad(const AnnMatrix& matrix, const AnnPoint (&quad)[3]) {
    const auto [corner] = annQuadCorners(matrix, quad);
    TurnedQuad q{corner[0], corner[1], corner[2], annDirection(corner[1], corner[2]), annDirection(corner[1], corner[0]),
                 0,         false};
    q.delta = q.theta - q.firstPhi;
    while (q.delta < 0) q.delta += 2 * pi;
    while (q.delta >= 2 * pi) q.delta -= 2 * pi;
    q.mirrored = q.delta > pi;
    if (q.mirrored) {
        q.theta -= pi;
        q.a = {q.a.x + q.c.x - q.b.x, q.a.y + q.c.y - q.b.y};
        std::swap(q.b, q.c);
    }
    return q;
}

bool annClipToQuad(const Drawing& d) {
    if (records(d.hDC)) return true;
    AnnMatrix matrix = d.matrix;
    const bool scales = addMapping(d.hDC, matrix);
    RECT r;
    if (!annQuadRect(matrix, d.record.quad, r, farthestPixel)) {
        POINT points[4];
        std::ranges::transform(annQuadCorners(matrix, d.record.quad).p, points, [](AnnPoint p) { return annRound(p); });
        return narrowClip(d.hDC, polygonSeen(d.hDC, points, WINDING));
    }
    if (scales) return narrowClip(d.hDC, CreateRectRgnIndirect(&r));
    return IntersectClipRect(d.hDC, r.left, r.top, r.right, r.bottom) != ERROR;
}

bool annClipToPolygon(const Drawing& d, std::span<const AnnPoint> points) {
    if (records(d.hDC)) return true;
    AnnMatrix matrix = d.matrix;
    addMapping(d.hDC, matrix);
    DevicePoints device;
    return device.assign(points, matrix) &&
           narrowClip(d.hDC, polygonSeen(d.hDC, {device.data(), static_cast<size_t>(device.size())},
                                         d.record.nPolyFillMode ? ALTERNATE : WINDING));
}

} // namespace kbann
