// Half-widths of ellipse rows, and arcs as chains of points.
#include "platform/gdi/ellipse.h"

#include <cmath>
#include <numbers>

namespace kb::gdi {

RoundRows::RoundRows(const Box& box, int64_t cornerWidth, int64_t cornerHeight)
    : box_(box), cornerWidth_(std::min(std::abs(cornerWidth), static_cast<int64_t>(box.right) - box.left)),
      cornerHeight_(std::min(std::abs(cornerHeight), static_cast<int64_t>(box.bottom) - box.top)) {}

RoundRows::Row RoundRows::row(int64_t y) const {
    const int64_t w = cornerWidth_, h = cornerHeight_;
    if (w <= 0 || h <= 0) return {box_.left, box_.right};
    // Twice the distance from the middle row of the upper or lower corners; rows between the two are full.
    const int64_t up = 2 * static_cast<int64_t>(box_.top) + h - 1 - 2 * y;
    const int64_t down = 2 * y - (2 * static_cast<int64_t>(box_.bottom) - h - 1);
    const int64_t d = std::max({up, down, int64_t{0}});
    if (d == 0) return {box_.left, box_.right};
    // Twice the reach from the middle column: the largest k of the parity of w - 1 with (k/w)^2 + (d/h)^2 <= 1.
    int64_t k;
    if (d == lastD_) {
        k = lastK_;
    } else {
        if (w <= 32767 && h <= 32767) {
            const int64_t square = w * w * (h * h - d * d) / (h * h);
            k = static_cast<int64_t>(std::sqrt(static_cast<double>(square)));
            if (k * k > square)
                --k;
            else if ((k + 1) * (k + 1) <= square)
                ++k;
        } else {
            const double t = static_cast<double>(d) / static_cast<double>(h);
            k = floorInt(static_cast<double>(w) * std::sqrt((1 - t) * (1 + t)));
        }
        if ((k ^ (w - 1)) & 1) --k;
        lastD_ = d;
        lastK_ = k;
    }
    if (k < 0) return {1, 0};
    const int64_t inset = (w - 1 - k) / 2;
    return {box_.left + inset, box_.right - inset};
}

void flattenArc(double cx, double cy, double a, double b, double from, double sweep, std::vector<FPoint>& out) {
    const double radius = std::max({a, b, 0.5});
    const double step = 2 * std::acos(std::max(1 - 0.1 / radius, -1.0));
    const double wanted = std::ceil(std::abs(sweep) / std::max(step, 1e-9));
    // A multiple of four, so that a whole ellipse has its points mirrored on both axes.
    const auto count = static_cast<int>(std::clamp(std::ceil(wanted / 4) * 4, 8.0, 65536.0));
    const bool whole = std::abs(sweep) >= 2 * std::numbers::pi - 1e-12;
    if (whole && from == 0) {
        const size_t start = out.size();
        const auto n = static_cast<size_t>(count), quarter = n / 4;
        out.resize(start + n);
        FPoint* p = out.data() + start;
        const double angle = std::numbers::pi / 2 / static_cast<double>(quarter);
        for (size_t i = 0; i <= quarter; ++i) {
            double c = i == quarter ? 0 : a, s = i == 0 ? 0 : b;
            if (i && i < quarter) {
                c = a * std::cos(angle * static_cast<double>(i));
                s = b * std::sin(angle * static_cast<double>(i));
            }
            p[i] = {cx + c, cy + s};
            p[2 * quarter - i] = {cx - c, cy + s};
            p[2 * quarter + i] = {cx - c, cy - s};
            p[i ? n - i : 0] = {cx + c, i ? cy - s : cy};
        }
        return;
    }
    for (int i = 0; i <= count; ++i) {
        const double t = from + sweep * i / count;
        out.push_back({cx + a * std::cos(t), cy + b * std::sin(t)});
    }
}

ArcSpan Axes::span(POINT from, POINT to) const {
    const auto angle = [&](POINT p) { return std::atan2((p.y - cy) * std::max(a, 0.5), (p.x - cx) * std::max(b, 0.5)); };
    ArcSpan span{angle(from), 0};
    span.sweep = angle(to) - span.first;
    while (span.sweep >= -1e-12) span.sweep -= 2 * std::numbers::pi;
    return span;
}

} // namespace kb::gdi
