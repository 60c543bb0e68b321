// Merging: a counting sort by row, then each row by column. Rows are short, so insertion is the rule.
#include "platform/gdi/intervals.h"

namespace kb::gdi {

void IntervalSet::merge() {
    merged_ = true;
    if (items_.empty()) return;
    int32_t low = items_[0].y, high = low;
    for (const Interval& i : items_) {
        low = std::min(low, i.y);
        high = std::max(high, i.y);
    }
    const auto rows = static_cast<size_t>(high - low) + 1;
    rowStart_.assign(rows + 1, 0);
    for (const Interval& i : items_) ++rowStart_[static_cast<size_t>(i.y - low) + 1];
    for (size_t r = 0; r < rows; ++r) rowStart_[r + 1] += rowStart_[r];
    sortedItems_.resize(items_.size());
    for (const Interval& i : items_) sortedItems_[rowStart_[static_cast<size_t>(i.y - low)]++] = i;
    // Each entry has moved to its row's end, which is the next row's start.
    items_.clear();
    uint32_t from = 0;
    for (size_t r = 0; r < rows; ++r) {
        const uint32_t to = rowStart_[r];
        Interval* const first = sortedItems_.data() + from;
        Interval* const last = sortedItems_.data() + to;
        const auto byColumn = [](const Interval& a, const Interval& b) { return a.x0 < b.x0; };
        if (to - from > 32) {
            std::sort(first, last, byColumn);
        } else {
            for (Interval* p = first; p < last; ++p) {
                const Interval v = *p;
                Interval* q = p;
                for (; q > first && v.x0 < q[-1].x0; --q) *q = q[-1];
                *q = v;
            }
        }
        for (Interval* p = first; p < last; ++p) {
            if (p > first && p->x0 <= items_.back().x1)
                items_.back().x1 = std::max(items_.back().x1, p->x1);
            else
                items_.push_back(*p);
        }
        from = to;
    }
}

} // namespace kb::gdi
