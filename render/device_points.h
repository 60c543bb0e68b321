// The points of an object in pixels; those of a small one without an allocation.
#pragma once

#include "store/geometry.h"

#include <algorithm>
#include <memory>
#include <span>

namespace kbann {

class DevicePoints {
public:
    // False when memory fails.
    bool assign(std::span<const AnnPoint> points, const AnnMatrix& matrix) {
        POINT* to = inside_;
        if (points.size() > std::size(inside_)) {
            heap_.reset(static_cast<POINT*>(KbAlloc(points.size() * sizeof(POINT))));
            if (!heap_) return false;
            to = heap_.get();
        }
        std::ranges::transform(points, to, [&](AnnPoint p) { return annRound(annApply(matrix, p)); });
        points_ = to;
        count_ = static_cast<int>(points.size());
        return true;
    }
    const POINT* data() const { return points_; }
    int size() const { return count_; }

private:
    struct Release {
        void operator()(POINT* p) const { KbFree(p); }
    };
    POINT inside_[128];
    std::unique_ptr<POINT, Release> heap_;
    const POINT* points_ = inside_;
    int count_ = 0;
};

} // namespace kbann
