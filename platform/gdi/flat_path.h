// Paths as chains of points: curves are flattened when they are added. And the outline of a pen that moves along them.
#pragma once

#include "platform/gdi/affine.h"

#include <cstddef>
#include <vector>

namespace kb::gdi {

// Points are in units of the destination, where a tenth can't be seen.
class FlatPath {
public:
    struct Figure {
        size_t first, count;
        bool closed;
    };
    void clear() {
        points.clear();
        figures.clear();
        open_ = false;
    }
    bool empty() const { return figures.empty(); }
    bool open() const { return open_; } // whether a figure can go on
    void moveTo(FPoint p);
    void lineTo(FPoint p);
    void curveTo(FPoint a, FPoint b, FPoint end);
    void close();
    // The part of an ellipse from an angle through a sweep (radians), by the images of its middle and its two half axes;
    // it goes on from the last point.
    void arc(FPoint middle, FPoint axisA, FPoint axisB, double from, double sweep);
    FPoint last() const { return points.back(); }

    std::vector<FPoint> points;
    std::vector<Figure> figures;

private:
    // What a file asks for beyond this is left out: far more than any picture draws at a time.
    static constexpr size_t mostPoints = size_t{1} << 20;
    bool open_ = false;
};

enum class LineCap : uint8_t { round, square, flat };
enum class LineJoin : uint8_t { round, bevel, miter };

struct StrokeStyle {
    double width = 1;
    LineCap cap = LineCap::round;
    LineJoin join = LineJoin::round;
    double miterLimit = 10;
    std::vector<double> dashes; // on, off ... in units of the path; none: unbroken
    // Dashes beyond it are left out.
    double left = -INFINITY, top = -INFINITY, right = INFINITY, bottom = INFINITY;
};

// Adds closed figures that together, under WINDING, cover what the pen covers: one for each piece, all turning the same
// way.
void strokeOutline(const FlatPath& path, const StrokeStyle& style, FlatPath& out);

} // namespace kb::gdi
