// Affine maps and the conversions from doubles to pixels. Conversions saturate, and what is not a number becomes 0, so that
// no coordinate of a file can overflow.
#pragma once

#include "kbann/types.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace kbann {

inline constexpr AnnMatrix identityMatrix{1, 0, 0, 1, 0, 0};

inline bool annIsIdentity(const AnnMatrix& m) {
    return m.a == 1 && m.b == 0 && m.c == 0 && m.d == 1 && m.e == 0 && m.f == 0;
}

// The very same numbers, what isn't a number too.
inline bool annIsSame(const AnnMatrix& m, const AnnMatrix& n) { return !std::memcmp(&m, &n, sizeof m); }

inline AnnPoint annApply(const AnnMatrix& m, AnnPoint p) {
    return {m.a * p.x + m.b * p.y + m.e, m.c * p.x + m.d * p.y + m.f};
}

// The matrix that applies `first` and then `second`.
inline AnnMatrix annMul(const AnnMatrix& first, const AnnMatrix& second) {
    return {second.a * first.a + second.b * first.c,
            second.a * first.b + second.b * first.d,
            second.c * first.a + second.d * first.c,
            second.c * first.b + second.d * first.d,
            second.a * first.e + second.b * first.f + second.e,
            second.c * first.e + second.d * first.f + second.f};
}

// A turn or a scaling, told about the origin, about another point instead.
inline AnnMatrix annAbout(AnnPoint center, const AnnMatrix& m) {
    return annMul(annMul({1, 0, 0, 1, -center.x, -center.y}, m), {1, 0, 0, 1, center.x, center.y});
}

// Clockwise as seen with y downward.
inline AnnMatrix annRotation(double degrees) {
    const double theta = degrees * 0.017453292519943278;
    return {std::cos(theta), -std::sin(theta), std::sin(theta), std::cos(theta), 0, 0};
}

// The zero matrix for one that has no inverse.
inline AnnMatrix annInverse(const AnnMatrix& m) {
    const double determinant = m.a * m.d - m.b * m.c;
    if (determinant == 0 || !std::isfinite(determinant)) return {};
    const double a = m.d / determinant, b = -m.b / determinant, c = -m.c / determinant, d = m.a / determinant;
    return {a, b, c, d, -(a * m.e + b * m.f), -(c * m.e + d * m.f)};
}

inline int32_t annTruncate(double x) {
    if (std::isnan(x)) return 0;
    if (x >= static_cast<double>(std::numeric_limits<int32_t>::max())) return std::numeric_limits<int32_t>::max();
    if (x <= static_cast<double>(std::numeric_limits<int32_t>::min())) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(x);
}

inline int32_t annRound(double x) { return annTruncate(x >= 0 ? x + 0.5 : x - 0.5); }

inline POINT annRound(AnnPoint p) { return {annRound(p.x), annRound(p.y)}; }

// A length (line width, font size) under a matrix.
inline double annScale(double length, const AnnMatrix& m) {
    return annIsIdentity(m) ? length : length * std::sqrt(std::fabs(m.a * m.d));
}

inline bool annIsFinite(AnnPoint p) { return std::isfinite(p.x) && std::isfinite(p.y); }

// a + b - c with saturation, for rectangles that lie at the ends of the number range.
inline int32_t annAdd(int32_t a, int64_t b) {
    const int64_t sum = a + b;
    return sum > std::numeric_limits<int32_t>::max()   ? std::numeric_limits<int32_t>::max()
           : sum < std::numeric_limits<int32_t>::min() ? std::numeric_limits<int32_t>::min()
                                                       : static_cast<int32_t>(sum);
}

// --- Rectangles in pixels ---

inline bool annIsEmpty(const RECT& r) { return r.left >= r.right || r.top >= r.bottom; }

inline bool annSame(const RECT& a, const RECT& b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

// Left and top are in, right and bottom out.
inline bool annHolds(const RECT& r, POINT p) { return p.x >= r.left && p.x < r.right && p.y >= r.top && p.y < r.bottom; }

inline RECT annIntersect(const RECT& a, const RECT& b) {
    const RECT r{a.left > b.left ? a.left : b.left, a.top > b.top ? a.top : b.top, a.right < b.right ? a.right : b.right,
                 a.bottom < b.bottom ? a.bottom : b.bottom};
    return annIsEmpty(r) ? RECT{} : r;
}

inline RECT annUnion(const RECT& a, const RECT& b) {
    if (annIsEmpty(a)) return annIsEmpty(b) ? RECT{} : b;
    if (annIsEmpty(b)) return a;
    return {a.left < b.left ? a.left : b.left, a.top < b.top ? a.top : b.top, a.right > b.right ? a.right : b.right,
            a.bottom > b.bottom ? a.bottom : b.bottom};
}

inline RECT annInflate(const RECT& r, int64_t by) {
    return {annAdd(r.left, -by), annAdd(r.top, -by), annAdd(r.right, by), annAdd(r.bottom, by)};
}

// How far a span must move to lie in an outer one: first to the near end, then to the far one, no further than the near.
inline int32_t annPushInto(int32_t low, int32_t high, int32_t outerLow, int32_t outerHigh) {
    if (low < outerLow) return annAdd(outerLow, -int64_t{low});
    if (high <= outerHigh) return 0;
    const int32_t toHigh = annAdd(outerHigh, -int64_t{high}), toLow = annAdd(outerLow, -int64_t{low});
    return toHigh > toLow ? toHigh : toLow;
}

// A rectangle moved into a box, as far as it goes in, and cut to it. `by` receives how far.
inline RECT annHoldInside(const RECT& r, const RECT& box, POINT& by) {
    by = {annPushInto(r.left, r.right, box.left, box.right), annPushInto(r.top, r.bottom, box.top, box.bottom)};
    return annIntersect({annAdd(r.left, by.x), annAdd(r.top, by.y), annAdd(r.right, by.x), annAdd(r.bottom, by.y)}, box);
}

// A growing box of points.
struct PointBox {
    double left = std::numeric_limits<double>::infinity(), top = left, right = -left, bottom = -left;

    void add(AnnPoint p) {
        if (p.x < left) left = p.x;
        if (p.x > right) right = p.x;
        if (p.y < top) top = p.y;
        if (p.y > bottom) bottom = p.y;
    }
    bool empty() const { return !(left <= right && top <= bottom); }
    AnnRect rect() const { return empty() ? AnnRect{} : AnnRect{left, top, right, bottom}; }
    // The pixels around it: down and up to whole numbers.
    RECT pixels() const {
        if (empty()) return {};
        return {annTruncate(std::floor(left)), annTruncate(std::floor(top)), annTruncate(std::ceil(right)),
                annTruncate(std::ceil(bottom))};
    }
};

} // namespace kbann
