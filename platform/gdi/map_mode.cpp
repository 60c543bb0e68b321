// Map modes of a context. Fixed modes are so many units an inch by the resolution of the context, with y pointing up.
// Under MM_ISOTROPIC the viewport is shrunk on one axis so that both axes have the same scale.
#include "platform/gdi/map_mode.h"

#include "platform/gdi/gdi_state.h"

#include <cmath>

namespace kb::gdi {

void Mapping::update() {
    identity = windowOrigin.x == 0 && windowOrigin.y == 0 && viewportOrigin.x == 0 && viewportOrigin.y == 0 &&
               windowExtent.cx == viewportExtent.cx && windowExtent.cy == viewportExtent.cy;
}

int32_t Mapping::toDevice(int64_t v, int32_t from, int32_t fromExtent, int32_t to, int32_t toExtent) {
    const int64_t d = v - from;
    if (fromExtent == toExtent) return saturate(d + to);
    // |d| is below 2^33 and extents below 2^32, so the product needs more than 64 bits.
    const Wide product = static_cast<Wide>(d) * toExtent * 2 * (fromExtent < 0 ? -1 : 1);
    const Wide divisor = static_cast<Wide>(fromExtent < 0 ? -static_cast<int64_t>(fromExtent) : fromExtent) * 2;
    const Wide half = divisor / 2;
    const Wide r = (product >= 0 ? product + half : product - half) / divisor + to;
    return static_cast<int32_t>(r > INT32_MAX ? INT32_MAX : r < INT32_MIN ? INT32_MIN : r);
}

int32_t Mapping::length(int64_t v, int64_t multiply, int64_t divide) {
    if (multiply == divide) return saturate(v < 0 ? -v : v);
    const Wide product = static_cast<Wide>(v) * multiply;
    const Wide size = product < 0 ? -product : product;
    const Wide by = divide < 0 ? -divide : divide;
    const Wide r = (size + by / 2) / by;
    return r > INT32_MAX ? INT32_MAX : static_cast<int32_t>(r);
}

int unitsPerInch(int mode) {
    constexpr int units[] = {254, 2540, 100, 1000, 1440}; // MM_LOMETRIC to MM_TWIPS
    return mode > MM_LOMETRIC && mode <= MM_TWIPS ? units[mode - MM_LOMETRIC] : units[0];
}

namespace {

bool ownExtents(const Mapping& map) { return map.mode == MM_ISOTROPIC || map.mode == MM_ANISOTROPIC; }

void keepRatio(const DeviceContext& dc, Mapping& map) {
    if (map.mode != MM_ISOTROPIC) return;
    const double sx = std::abs(static_cast<double>(map.viewportExtent.cx) / map.windowExtent.cx) / dc.dpiX;
    const double sy = std::abs(static_cast<double>(map.viewportExtent.cy) / map.windowExtent.cy) / dc.dpiY;
    const auto shrink = [](LONG& extent, double factor) {
        const double v = std::floor(std::abs(static_cast<double>(extent)) * factor + 0.5);
        const auto size = static_cast<LONG>(std::max(v, 1.0));
        extent = extent < 0 ? -size : size;
    };
    if (sx > sy)
        shrink(map.viewportExtent.cx, sy / sx);
    else if (sy > sx)
        shrink(map.viewportExtent.cy, sx / sy);
}

int32_t first(POINT p) { return p.x; }
int32_t second(POINT p) { return p.y; }
int32_t first(SIZE s) { return s.cx; }
int32_t second(SIZE s) { return s.cy; }

template <class Value, class Change>
BOOL change(HDC hDC, Setting setting, Value Mapping::*member, Value value, Value* pOld, Change&& allowed) {
    DeviceContext* dc = findDc(hDC);
    if (!dc) return FALSE;
    Mapping& map = dc->state.map;
    if (pOld) *pOld = map.*member;
    // A recording keeps extents in every mode: whoever plays it into a frame takes them for the picture's size.
    if (dc->output) dc->output->changed(*dc, setting, first(value), second(value));
    if (!allowed(map)) return TRUE;
    map.*member = value;
    keepRatio(*dc, map);
    map.update();
    return TRUE;
}

template <class Value> BOOL read(HDC hDC, Value Mapping::*member, Value* pOut) {
    const DeviceContext* dc = findDc(hDC);
    if (!dc || !pOut) return FALSE;
    *pOut = dc->state.map.*member;
    return TRUE;
}

bool always(const Mapping&) { return true; }

} // namespace
} // namespace kb::gdi

using namespace kb::gdi;

KB_API int SetMapMode(HDC hDC, int mode) {
    DeviceContext* dc = findDc(hDC);
    if (!dc || mode < MM_TEXT || mode > MM_ANISOTROPIC) return 0;
    Mapping& map = dc->state.map;
    const int old = map.mode;
    map.mode = mode;
    if (mode == MM_TEXT) {
        map.windowExtent = map.viewportExtent = {1, 1};
    } else if (mode != MM_ANISOTROPIC) {
        const int units = unitsPerInch(mode);
        map.windowExtent = {units, units};
        map.viewportExtent = {dc->dpiX, -dc->dpiY};
    }
    map.update();
    if (dc->output) dc->output->changed(*dc, Setting::mapMode, mode, 0);
    return old;
}

KB_API int GetMapMode(HDC hDC) {
    const DeviceContext* dc = findDc(hDC);
    return dc ? dc->state.map.mode : 0;
}

KB_API BOOL SetWindowOrgEx(HDC hDC, int x, int y, POINT* pOld) {
    return change<POINT>(hDC, Setting::windowOrigin, &Mapping::windowOrigin, {x, y}, pOld, always);
}
KB_API BOOL GetWindowOrgEx(HDC hDC, POINT* pOut) { return read(hDC, &Mapping::windowOrigin, pOut); }
KB_API BOOL SetViewportOrgEx(HDC hDC, int x, int y, POINT* pOld) {
    return change<POINT>(hDC, Setting::viewportOrigin, &Mapping::viewportOrigin, {x, y}, pOld, always);
}
KB_API BOOL GetViewportOrgEx(HDC hDC, POINT* pOut) { return read(hDC, &Mapping::viewportOrigin, pOut); }
KB_API BOOL SetWindowExtEx(HDC hDC, int x, int y, SIZE* pOld) {
    return x && y ? change<SIZE>(hDC, Setting::windowExtent, &Mapping::windowExtent, {x, y}, pOld, ownExtents) : FALSE;
}
KB_API BOOL GetWindowExtEx(HDC hDC, SIZE* pOut) { return read(hDC, &Mapping::windowExtent, pOut); }
KB_API BOOL SetViewportExtEx(HDC hDC, int x, int y, SIZE* pOld) {
    return x && y ? change<SIZE>(hDC, Setting::viewportExtent, &Mapping::viewportExtent, {x, y}, pOld, ownExtents) : FALSE;
}
KB_API BOOL GetViewportExtEx(HDC hDC, SIZE* pOut) { return read(hDC, &Mapping::viewportExtent, pOut); }

KB_API BOOL LPtoDP(HDC hDC, POINT* pPoints, int count) {
    const DeviceContext* dc = findDc(hDC);
    if (!dc || (!pPoints && count > 0) || count < 0) return FALSE;
    for (int i = 0; i < count; ++i) pPoints[i] = dc->state.map.device(pPoints[i]);
    return TRUE;
}

KB_API BOOL DPtoLP(HDC hDC, POINT* pPoints, int count) {
    const DeviceContext* dc = findDc(hDC);
    if (!dc || (!pPoints && count > 0) || count < 0) return FALSE;
    const Mapping& map = dc->state.map;
    for (int i = 0; i < count; ++i) pPoints[i] = {map.logicalX(pPoints[i].x), map.logicalY(pPoints[i].y)};
    return TRUE;
}
