// Rows of ellipses and rounded rectangles that fill a box of pixels, measured between the middles of pixels, so that they
// are the same from left and right, top and bottom. Row by row in exact integers up to 32,767 pixels a side.
#pragma once

#include "platform/gdi/pen_stroke.h"
#include "platform/gdi/surface.h"

#include <vector>

namespace kb::gdi {

class RoundRows {
public:
    // Corner ellipses are cut to the box.
    RoundRows(const Box& box, int64_t cornerWidth, int64_t cornerHeight);

    const Box& box() const { return box_; }
    struct Row {
        int64_t x0, x1; // empty when x0 >= x1
    };
    Row row(int64_t y) const;

    // Calls sink(y, x0, x1) for every row within the clip.
    template <class Sink> void fill(const Box& clip, Sink&& sink) const {
        const int64_t bottom = std::min(box_.bottom, clip.bottom);
        for (int64_t y = std::max(box_.top, clip.top); y < bottom; ++y) {
            const Row r = row(y);
            if (r.x0 < r.x1) sink(y, r.x0, r.x1);
        }
    }

    // The pixels of the shape that have a neighbour beside, above or below outside of it (`border`), and all others
    // (`inside`).
    template <class Border, class Inside> void split(const Box& clip, Border&& border, Inside&& inside) const {
        const int64_t top = std::max(box_.top, clip.top), bottom = std::min(box_.bottom, clip.bottom);
        if (top >= bottom) return;
        constexpr Row none{1, 0};
        Row above = top - 1 >= box_.top ? row(top - 1) : none, here = row(top);
        for (int64_t y = top; y < bottom; ++y) {
            const Row below = y + 1 < box_.bottom ? row(y + 1) : none;
            if (here.x0 < here.x1) {
                int64_t x0 = here.x0 + 1, x1 = here.x1 - 1;
                if (above.x0 < above.x1 && below.x0 < below.x1) {
                    x0 = std::max({x0, above.x0, below.x0});
                    x1 = std::min({x1, above.x1, below.x1});
                } else {
                    x1 = x0;
                }
                if (x0 < x1) {
                    border(y, here.x0, x0);
                    inside(y, x0, x1);
                    border(y, x1, here.x1);
                } else {
                    border(y, here.x0, here.x1);
                }
            }
            above = here;
            here = below;
        }
    }

private:
    Box box_;
    int64_t cornerWidth_, cornerHeight_;
    mutable int64_t lastD_ = -1, lastK_ = 0; // rows come in pairs and threes
};

// The part of an ellipse between two rays: parameter of the ellipse in radians, y down.
struct ArcSpan {
    double first, sweep;
};

// Middle and half-axes of the curve through the outermost pixels of a box.
struct Axes {
    double cx, cy, a, b;
    explicit Axes(const Box& box)
        : cx((static_cast<double>(box.left) + box.right - 1) / 2), cy((static_cast<double>(box.top) + box.bottom - 1) / 2),
          a((static_cast<double>(box.right) - 1 - box.left) / 2), b((static_cast<double>(box.bottom) - 1 - box.top) / 2) {}
    // Counter-clockwise on a surface whose y points down: angles fall. Equal rays give the whole ellipse.
    ArcSpan span(POINT from, POINT to) const;
};

// The part of an ellipse from angle `from` (radians, parameter of the ellipse, y down) through `sweep`; points lie within a
// tenth of a pixel of the curve, at most 65,536 of them.
void flattenArc(double cx, double cy, double a, double b, double from, double sweep, std::vector<FPoint>& out);

} // namespace kb::gdi
