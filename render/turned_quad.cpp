// Quads that are turned, mirrored or skewed: their axes, and clipping to them.
#include "render/device_points.h"
#include "render/drawing.h"
#include "store/measure.h"

#include <cmath>
#include <numbers>

namespace kbann {
namespace {

constexpr double pi = std::numbers::pi;

bool records(HDC hDC) { return GetDeviceCaps(hDC, TECHNOLOGY) == DT_METAFILE; }

void narrowClip(HDC hDC, HRGN region) {
    if (!region) return;
    ExtSelectClipRgn(hDC, region, RGN_AND);
    DeleteObject(region);
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

void annClipToQuad(const Drawing& d) {
    if (records(d.hDC)) return;
    AnnMatrix matrix = d.matrix;
    if (RECT r; !addMapping(d.hDC, matrix) && annQuadRect(matrix, d.record.quad, r))
        IntersectClipRect(d.hDC, r.left, r.top, r.right, r.bottom);
    else
        narrowClip(d.hDC, annQuadRegion(matrix, d.record.quad));
}

void annClipToPolygon(const Drawing& d, std::span<const AnnPoint> points) {
    if (records(d.hDC)) return;
    AnnMatrix matrix = d.matrix;
    addMapping(d.hDC, matrix);
    DevicePoints device;
    if (device.assign(points, matrix))
        narrowClip(d.hDC, CreatePolygonRgn(device.data(), device.size(), d.record.nPolyFillMode ? ALTERNATE : WINDING));
}

} // namespace kbann
