// Cutting of chains to the reach of a page: areas side by side, lines segment by segment.
#include "platform/gdi/page_path.h"

#include <algorithm>

namespace kb::gdi {

namespace {

// Cuts the inside of a chain along one side: `depth` is above 0 within.
template <class Depth> void cutArea(std::vector<FPoint>& points, Depth&& depth) {
    std::vector<FPoint> kept;
    for (size_t i = 0; i < points.size(); ++i) {
        const FPoint a = points[i], b = points[i + 1 < points.size() ? i + 1 : 0];
        const double from = depth(a), to = depth(b);
        if (from >= 0) kept.push_back(a);
        if ((from < 0) != (to < 0)) {
            const double t = from / (from - to);
            kept.push_back({a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t});
        }
    }
    points = std::move(kept);
}

// The part of a segment within the reach; false when there is none.
bool cutLine(FPoint& a, FPoint& b, double reachX, double reachY) {
    double t0 = 0, t1 = 1;
    const auto cut = [&](double start, double delta, double limit) {
        if (delta == 0) return std::abs(start) <= limit;
        const double u = (-limit - start) / delta, v = (limit - start) / delta;
        t0 = std::max(t0, std::min(u, v));
        t1 = std::min(t1, std::max(u, v));
        return t0 <= t1;
    };
    const double dx = b.x - a.x, dy = b.y - a.y;
    if (!cut(a.x, dx, reachX) || !cut(a.y, dy, reachY)) return false;
    const FPoint start = a;
    a = {start.x + dx * t0, start.y + dy * t0};
    b = {start.x + dx * t1, start.y + dy * t1};
    return true;
}

} // namespace

void PagePath::chain(const std::vector<FPoint>& points, bool closed) const {
    for (size_t i = 0; i < points.size(); ++i) (i ? cairo_line_to : cairo_move_to)(cairo_, points[i].x, points[i].y);
    if (closed && !points.empty()) cairo_close_path(cairo_);
}

void PagePath::area(std::vector<FPoint>& points) const {
    if (!std::all_of(points.begin(), points.end(), [&](FPoint p) { return holds(p); })) {
        cutArea(points, [&](FPoint p) { return p.x + reachX_; });
        cutArea(points, [&](FPoint p) { return reachX_ - p.x; });
        cutArea(points, [&](FPoint p) { return p.y + reachY_; });
        cutArea(points, [&](FPoint p) { return reachY_ - p.y; });
    }
    chain(points, true);
}

void PagePath::area(double left, double top, double right, double bottom) const {
    left = std::clamp(left, -reachX_, reachX_), right = std::clamp(right, -reachX_, reachX_);
    top = std::clamp(top, -reachY_, reachY_), bottom = std::clamp(bottom, -reachY_, reachY_);
    if (left < right && top < bottom) cairo_rectangle(cairo_, left, top, right - left, bottom - top);
}

void PagePath::line(const std::vector<FPoint>& points, bool closed) const {
    if (std::all_of(points.begin(), points.end(), [&](FPoint p) { return holds(p); })) {
        chain(points, closed);
        return;
    }
    const size_t segments = closed ? points.size() : points.size() - 1;
    for (size_t i = 0; i < segments; ++i) {
        FPoint a = points[i], b = points[i + 1 < points.size() ? i + 1 : 0];
        if (!cutLine(a, b, reachX_, reachY_)) continue;
        cairo_move_to(cairo_, a.x, a.y);
        cairo_line_to(cairo_, b.x, b.y);
    }
}

} // namespace kb::gdi
