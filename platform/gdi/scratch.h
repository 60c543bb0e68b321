// Working memory of the rasterisers, kept by each thread so that drawing many small figures allocates nothing. It is given
// back when a figure has made it grow beyond what is usual.
#pragma once

#include "platform/gdi/intervals.h"
#include "platform/gdi/pen_stroke.h"
#include "platform/gdi/polygon_fill.h"
#include "platform/gdi/span_writer.h"

#include <vector>

namespace kb::gdi {

struct Scratch {
    IntervalSet strokeOn, strokeAll;
    PolygonFiller filler;
    std::vector<POINT> points;
    std::vector<POINT> flat;
    std::vector<FPoint> path;
    std::vector<size_t> counts;
    Cells brushCells;
    std::vector<uint8_t> rows[4];
    std::vector<int32_t> columns;
};

inline Scratch& scratch() {
    static thread_local Scratch s;
    return s;
}

} // namespace kb::gdi
