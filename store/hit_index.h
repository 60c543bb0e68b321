// A box index of one tree for topmost hits. It holds nothing that a hit test is decided by: only which objects' rectangles
// may hold a pixel, from front to back; whether they are visible, unlocked, selected and how they are shaped is looked up
// when they are asked. So it goes stale by changes of rectangles and links alone, and its answers are those of the walk.
//
// Objects lie in squares of the client area: a pyramid of grids, each object in the finest grid whose squares are no smaller
// than it, so in four squares at most, whatever its size. What lies outside the area isn't there; points outside walk.
//
// It is made when the walks over the unchanged tree have looked at as many objects as the tree has. So a drag, which changes
// the tree between hits, never pays for it, and an idle tree pays no more than twice what the better way would have cost.
#pragma once

#include "store/matrix.h"
#include "store/record.h"

#include <vector>

namespace kbann {

class HitIndex {
public:
    // The tree has changed.
    void forget() noexcept {
        ready_ = false;
        looked_ = 0;
        countAt_ = firstCount;
    }
    // A walk has looked at so many objects; may make the index. Failing memory leaves things to the walk.
    void walked(AnnObject& root, uint64_t objects) noexcept;
    // Whether the index tells about the point.
    bool covers(POINT point) const { return ready_ && annHolds(area, point); }

    // Calls test(record) for the objects whose rectangles may hold the point, front to back, until it gives true. Only those
    // in containers that the walk would enter. The root isn't among them.
    template <class Test> bool find(POINT point, Test&& test) {
        Head heads[mostLevels];
        for (uint32_t level = 0; level < levels_; ++level) heads[level] = headAt(level, point);
        if (!++query_) forgetVerdicts();
        for (;;) {
            uint32_t front = none, from = 0;
            for (uint32_t level = 0; level < levels_; ++level) {
                Head& head = heads[level];
                while (head.at != head.end && *head.at < front && !annHolds(boxes_[*head.at], point)) ++head.at;
                if (head.at == head.end || *head.at >= front) continue;
                front = *head.at;
                from = level;
            }
            if (front == none) return false;
            ++heads[from].at;
            if (isOpen(entries_[front].container, point) && test(*entries_[front].record)) return true;
        }
    }

    // Trees that are walked in fewer steps have no index.
    static constexpr uint64_t smallTree = 64;

private:
    static constexpr uint32_t areaShift = 13;                         // the area's side, a power of 2
    static constexpr RECT area{0, 0, 1 << areaShift, 1 << areaShift}; // no smaller than what is drawn
    static constexpr uint32_t mostLevels = 9;                         // down to squares of 32 pixels
    static constexpr uint64_t firstCount = 1024;                      // objects looked at before a tree is counted
    static constexpr uint32_t none = UINT32_MAX;

    struct Entry {
        AnnObject* record;
        uint32_t container; // index of its container
    };
    struct Container {
        AnnObject* record;
        uint32_t parent;
        bool onChain;       // reached from the root by last children alone: entered without a look at its rectangle
        bool open = false;  // the verdict of the query
        uint32_t asked = 0; // query of the verdict
    };
    struct Head {
        const uint32_t *at, *end;
    };

    void build(AnnObject& root);
    void gather(AnnObject& root);
    void fillSquares();
    template <class Visit> void forEachSquare(const RECT& box, Visit&& visit) const;
    Head headAt(uint32_t level, POINT point) const;
    bool isOpen(uint32_t container, POINT point);
    void forgetVerdicts();

    std::vector<RECT> boxes_;            // by place from the front
    std::vector<Entry> entries_;         // the same
    std::vector<Container> containers_;  // a parent stands before its children
    std::vector<uint32_t> squareStarts_; // into items_; the squares of level 0, then those of level 1 ...
    std::vector<uint32_t> items_;        // places of the objects in a square, rising
    uint32_t levels_ = 0;
    uint32_t query_ = 0;
    bool ready_ = false;
    uint64_t looked_ = 0, countAt_ = firstCount;
};

// Must follow every change of links, and of the rectangles of an object or of what is below it.
void annForgetBoxes(AnnObject& record) noexcept;

} // namespace kbann
