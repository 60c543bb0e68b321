// Builds a region of the graphics layer out of runs of pixels, row by row from the top. Rows that repeat the one above
// make its rectangles taller instead of adding new ones.
#pragma once

#include "platform/gdi.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace kb {

// Throws std::bad_alloc.
class RegionBuilder {
public:
    // Runs of one row come from left to right; those that meet become one.
    void addRun(int32_t left, int32_t right) {
        if (!row_.empty() && row_.back().right >= left)
            row_.back().right = std::max(row_.back().right, right);
        else
            row_.push_back({left, right});
    }
    void endRow(int32_t y) {
        if (row_ == former_) {
            for (size_t i = rects_.size() - former_.size(); i < rects_.size(); ++i) rects_[i].bottom = y + 1;
        } else {
            for (const Run& run : row_) rects_.push_back({run.left, y, run.right, y + 1});
            former_.swap(row_);
        }
        row_.clear();
    }
    // Row y is like the one above.
    void repeatRow(int32_t y) {
        row_ = former_;
        endRow(y);
    }
    // The region, or null when memory fails; an empty region when there was no run.
    HRGN make() {
        if (rects_.empty()) return CreateRectRgn(0, 0, 0, 0);
        const size_t bytes = rects_.size() * sizeof(RECT);
        if (bytes > UINT32_MAX / 2) return nullptr;
        RGNDATAHEADER head{.dwSize = sizeof(RGNDATAHEADER),
                           .iType = RDH_RECTANGLES,
                           .nCount = static_cast<DWORD>(rects_.size()),
                           .nRgnSize = static_cast<DWORD>(bytes),
                           .rcBound = rects_.front()};
        for (const RECT& r : rects_) {
            head.rcBound = {std::min(head.rcBound.left, r.left), std::min(head.rcBound.top, r.top),
                            std::max(head.rcBound.right, r.right), std::max(head.rcBound.bottom, r.bottom)};
        }
        std::vector<RECT> data(rects_.size() + sizeof head / sizeof(RECT));
        static_assert(sizeof head % sizeof(RECT) == 0);
        std::memcpy(data.data(), &head, sizeof head);
        std::copy(rects_.begin(), rects_.end(), data.begin() + sizeof head / sizeof(RECT));
        return ExtCreateRegion(nullptr, static_cast<DWORD>(data.size() * sizeof(RECT)),
                               reinterpret_cast<const RGNDATA*>(data.data()));
    }

private:
    struct Run {
        int32_t left, right;
        bool operator==(const Run&) const = default;
    };
    std::vector<Run> row_, former_;
    std::vector<RECT> rects_;
};

} // namespace kb
