// A set of pixels gathered as intervals of rows in any order, cut to a box: for figures whose parts overlap under a raster
// operation that must touch each pixel once. Sorting waits until the set is read. The set is merged when it has grown
// to twice what it was after the last merge, so it never holds much more than the box's pixels.
#pragma once

#include "platform/gdi/surface.h"

#include <cstdint>
#include <span>
#include <vector>

namespace kb::gdi {

struct Interval {
    int32_t y, x0, x1;
};

class IntervalSet {
public:
    void begin(const Box& clip) {
        clip_ = clip;
        items_.clear();
        mergeAt_ = firstMerge;
        merged_ = true;
    }
    void add(int64_t y, int64_t x0, int64_t x1) {
        if (y < clip_.top || y >= clip_.bottom || x1 <= clip_.left || x0 >= clip_.right || x0 >= x1) return;
        items_.push_back({static_cast<int32_t>(y), static_cast<int32_t>(std::max<int64_t>(x0, clip_.left)),
                          static_cast<int32_t>(std::min<int64_t>(x1, clip_.right))});
        merged_ = false;
        if (items_.size() >= mergeAt_) {
            merge();
            mergeAt_ = std::max(firstMerge, items_.size() * 2);
        }
    }
    // Sorted by row and column, disjoint.
    std::span<const Interval> sorted() {
        if (!merged_) merge();
        return items_;
    }
    // Hands out what of x0..x1-1 in row y isn't in the set. Rows must not fall between calls of one pass; `cursor` begins
    // at 0.
    template <class Sink> void outside(size_t& cursor, int64_t y, int64_t x0, int64_t x1, Sink&& sink) {
        const std::span<const Interval> all = sorted();
        while (cursor < all.size() && all[cursor].y < y) ++cursor;
        for (size_t i = cursor; i < all.size() && all[i].y == y && x0 < x1; ++i) {
            if (all[i].x1 <= x0) continue;
            if (all[i].x0 >= x1) break;
            if (all[i].x0 > x0) sink(y, x0, static_cast<int64_t>(all[i].x0));
            x0 = all[i].x1;
        }
        if (x0 < x1) sink(y, x0, x1);
    }

private:
    static constexpr size_t firstMerge = size_t{1} << 20;
    void merge();

    Box clip_;
    std::vector<Interval> items_, sortedItems_;
    std::vector<uint32_t> rowStart_;
    size_t mergeAt_ = firstMerge;
    bool merged_ = true;
};

} // namespace kb::gdi
