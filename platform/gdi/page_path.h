// Paths of a page in device pixels, kept within what the library under it can number: figures that reach farther are cut
// there, far outside of the page.
#pragma once

#include "platform/gdi/pen_stroke.h"

#include <cairo.h>
#include <vector>

namespace kb::gdi {

class PagePath {
public:
    PagePath() = default;
    PagePath(cairo_t* cairo, double pointsX, double pointsY)
        : cairo_(cairo), reachX_(reach / pointsX), reachY_(reach / pointsY) {}

    void begin() const { cairo_new_path(cairo_); }
    // The inside of a closed chain.
    void area(std::vector<FPoint>& points) const;
    void area(double left, double top, double right, double bottom) const;
    // The line along a chain, to be stroked.
    void line(const std::vector<FPoint>& points, bool closed) const;
    bool holds(FPoint p) const { return std::abs(p.x) <= reachX_ && std::abs(p.y) <= reachY_; }

private:
    static constexpr double reach = 4'000'000; // points of 1/72 inch
    void chain(const std::vector<FPoint>& points, bool closed) const;

    cairo_t* cairo_ = nullptr;
    double reachX_ = 0, reachY_ = 0;
};

} // namespace kb::gdi
