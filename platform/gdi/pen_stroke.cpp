// Clipping of lines to the steps that can be seen, by exact arithmetic for thin lines.
#include "platform/gdi/pen_stroke.h"

namespace kb::gdi {

const DashPattern* dashPattern(int penStyle) {
    static constexpr DashPattern dash{2, {18, 6}, 24}, dot{2, {3, 3}, 6}, dashDot{4, {9, 6, 3, 6}, 24},
        dashDotDot{6, {9, 3, 3, 3, 3, 3}, 24};
    switch (penStyle) {
    case PS_DASH: return &dash;
    case PS_DOT: return &dot;
    case PS_DASHDOT: return &dashDot;
    case PS_DASHDOTDOT: return &dashDotDot;
    default: return nullptr;
    }
}

namespace {

// Steps 0..steps-1 cut to those whose coordinate start + sign x k lies in low..high-1.
void cutSteps(int64_t start, int sign, int64_t low, int64_t high, int64_t& first, int64_t& last) {
    if (sign > 0) {
        first = std::max(first, low - start);
        last = std::min(last, high - start);
    } else {
        first = std::max(first, start - high + 1);
        last = std::min(last, start - low + 1);
    }
}

} // namespace

int64_t ThinSegment::minorAt(int64_t k) const {
    if (!majorDelta) return 0;
    // u = k x minor / major, rounded to the nearest whole; a half goes to the smaller coordinate.
    const Wide twice = static_cast<Wide>(2) * k * minorDelta;
    if (minorSign > 0) return static_cast<int64_t>((twice + majorDelta - 1) / (static_cast<Wide>(2) * majorDelta));
    return static_cast<int64_t>((twice + majorDelta) / (static_cast<Wide>(2) * majorDelta));
}

bool ThinSegment::set(POINT a, POINT b, const Box& clip) {
    const int64_t dx = static_cast<int64_t>(b.x) - a.x, dy = static_cast<int64_t>(b.y) - a.y;
    const int64_t ax = std::abs(dx), ay = std::abs(dy);
    start = a;
    xMajor = ax >= ay;
    majorDelta = xMajor ? ax : ay;
    minorDelta = xMajor ? ay : ax;
    majorSign = (xMajor ? dx : dy) < 0 ? -1 : 1;
    minorSign = (xMajor ? dy : dx) < 0 ? -1 : 1;
    steps = last = majorDelta;
    first = 0;
    if (clip.empty()) return false;
    const int64_t majorStart = xMajor ? a.x : a.y, minorStart = xMajor ? a.y : a.x;
    cutSteps(majorStart, majorSign, xMajor ? clip.left : clip.top, xMajor ? clip.right : clip.bottom, first, last);
    if (first >= last) return false;
    // The shorter axis never falls behind: its first and last visible whole pixels bound the steps.
    int64_t from = 0, to = minorDelta + 1;
    cutSteps(minorStart, minorSign, xMajor ? clip.top : clip.left, xMajor ? clip.bottom : clip.right, from, to);
    if (from >= to) return false;
    // The first step k with minorAt(k) >= m, by halving: minorAt never falls.
    const auto firstWith = [this](int64_t m, int64_t low, int64_t high) {
        while (low < high) {
            const int64_t middle = low + (high - low) / 2;
            if (minorAt(middle) >= m)
                high = middle;
            else
                low = middle + 1;
        }
        return low;
    };
    if (minorAt(first) < from) first = firstWith(from, first, last);
    if (first < last && minorAt(last - 1) >= to) last = firstWith(to, first, last);
    return first < last;
}

bool RoundPen::visiblePart(FPoint a, FPoint b, double& t0, double& t1) const {
    t0 = 0;
    t1 = 1;
    const double margin = radius_ + 1;
    const auto cut = [&](double start, double delta, double low, double high) {
        if (delta == 0) return start >= low && start <= high;
        const double u = (low - start) / delta, v = (high - start) / delta;
        t0 = std::max(t0, std::min(u, v));
        t1 = std::min(t1, std::max(u, v));
        return t0 <= t1;
    };
    return cut(a.x, b.x - a.x, clip_.left - margin, clip_.right + margin) &&
           cut(a.y, b.y - a.y, clip_.top - margin, clip_.bottom + margin);
}

} // namespace kb::gdi
