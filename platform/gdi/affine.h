// Plane maps x' = a x + c y + e, y' = b x + d y + f in doubles. Files choose the numbers, so a map may come out infinite
// or as no number at all: whoever uses one asks first.
#pragma once

#include "platform/gdi/pen_stroke.h"

#include <cmath>

namespace kb::gdi {

struct Affine {
    double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;

    FPoint at(double x, double y) const { return {a * x + c * y + e, b * x + d * y + f}; }
    FPoint vector(double x, double y) const { return {a * x + c * y, b * x + d * y}; }
    // This map, and then the next.
    Affine then(const Affine& n) const {
        return {a * n.a + b * n.c, a * n.b + b * n.d,       c * n.a + d * n.c,
                c * n.b + d * n.d, e * n.a + f * n.c + n.e, e * n.b + f * n.d + n.f};
    }
    double determinant() const { return a * d - b * c; }
    bool upright() const { return b == 0 && c == 0; }
    bool usable() const {
        return std::isfinite(a) && std::isfinite(b) && std::isfinite(c) && std::isfinite(d) && std::isfinite(e) &&
               std::isfinite(f);
    }
    // The way back; all zeros when there is none.
    Affine inverse() const {
        const double det = determinant();
        if (!std::isfinite(det) || det == 0) return {0, 0, 0, 0, 0, 0};
        return {d / det, -b / det, -c / det, a / det, (c * f - d * e) / det, (b * e - a * f) / det};
    }
};

inline double lengthOf(FPoint v) { return std::hypot(v.x, v.y); }

// To the nearest whole number, halves away from zero, held to 32 bits; what is no number is 0.
inline int32_t roundAway(double v) {
    if (!(v > -2147483647.0)) return v <= -2147483647.0 ? INT32_MIN : 0;
    if (v > 2147483646.0) return INT32_MAX;
    return static_cast<int32_t>(v < 0 ? v - 0.5 : v + 0.5);
}

} // namespace kb::gdi
