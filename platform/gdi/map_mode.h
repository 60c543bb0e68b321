// Logical to device coordinates and back: (p - window origin) x viewport extent / window extent + viewport origin, rounded
// half away from zero and held to 32 bits.
#pragma once

#include "platform/gdi/surface.h"

#include <cstdint>

namespace kb::gdi {

// Of a fixed mode; MM_ISOTROPIC begins as MM_LOMETRIC.
int unitsPerInch(int mode);

struct Mapping {
    int mode = MM_TEXT;
    POINT windowOrigin{0, 0}, viewportOrigin{0, 0};
    SIZE windowExtent{1, 1}, viewportExtent{1, 1};
    bool identity = true;

    void update();
    int32_t deviceX(int64_t x) const {
        return toDevice(x, windowOrigin.x, windowExtent.cx, viewportOrigin.x, viewportExtent.cx);
    }
    int32_t deviceY(int64_t y) const {
        return toDevice(y, windowOrigin.y, windowExtent.cy, viewportOrigin.y, viewportExtent.cy);
    }
    int32_t logicalX(int64_t x) const {
        return toDevice(x, viewportOrigin.x, viewportExtent.cx, windowOrigin.x, windowExtent.cx);
    }
    int32_t logicalY(int64_t y) const {
        return toDevice(y, viewportOrigin.y, viewportExtent.cy, windowOrigin.y, windowExtent.cy);
    }
    POINT device(POINT p) const {
        if (identity) return p;
        return {deviceX(p.x), deviceY(p.y)};
    }
    // By how much moving by (x, y) moves on the device.
    POINT deviceShift(POINT by) const {
        if (identity) return by;
        return {saturate(int64_t{deviceX(by.x)} - deviceX(0)), saturate(int64_t{deviceY(by.y)} - deviceY(0))};
    }
    // Lengths: never negative.
    int32_t deviceWidth(int64_t w) const { return length(w, viewportExtent.cx, windowExtent.cx); }
    int32_t deviceHeight(int64_t h) const { return length(h, viewportExtent.cy, windowExtent.cy); }
    int32_t logicalWidth(int64_t w) const { return length(w, windowExtent.cx, viewportExtent.cx); }
    int32_t logicalHeight(int64_t h) const { return length(h, windowExtent.cy, viewportExtent.cy); }

private:
    static int32_t toDevice(int64_t v, int32_t from, int32_t fromExtent, int32_t to, int32_t toExtent);
    static int32_t length(int64_t v, int64_t multiply, int64_t divide);
};

} // namespace kb::gdi
