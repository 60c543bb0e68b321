// Making of the box index, and what of asking isn't inline.
#include "store/hit_index.h"
#include "store/tree.h"

#include <algorithm>
#include <bit>

namespace kbann {

void HitIndexDelete::operator()(HitIndex* index) const noexcept { delete index; }

void annForgetBoxes(AnnObject& record) noexcept {
    if (HitIndex* index = annTop(&record)->pHitIndex.get()) index->forget();
}

void HitIndex::walked(AnnObject& root, uint64_t objects) noexcept {
    looked_ += objects;
    if (ready_ || looked_ < countAt_) return;
    uint64_t count = 0;
    for (const AnnObject* r = &root; r && count <= looked_; r = annNextInTree(r, &root)) ++count;
    if (count > looked_) { // counting cost no more than the walks did, and is done again when they have cost twice that
        countAt_ = 2 * looked_;
        return;
    }
    try {
        build(root);
    } catch (const std::bad_alloc&) {
        *this = {};
    }
}

void HitIndex::build(AnnObject& root) {
    boxes_.clear();
    entries_.clear();
    containers_.clear();
    gather(root);
    // About as many squares as objects, so that a few objects don't cost a whole pyramid.
    levels_ = std::clamp<uint32_t>((static_cast<uint32_t>(std::bit_width(entries_.size())) + 1) / 2, 1, mostLevels);
    fillSquares();
    ready_ = true;
}

// All objects without children in the order of the walk, and the containers above them.
void HitIndex::gather(AnnObject& root) {
    containers_.push_back({&root, none, true});
    if (!root.pLastChild) return;
    uint32_t container = 0;
    for (AnnObject* record = root.pLastChild;;) {
        if (record->pLastChild) {
            const bool onChain = containers_[container].onChain && !record->pNext;
            containers_.push_back({record, container, onChain});
            container = static_cast<uint32_t>(containers_.size() - 1);
            record = record->pLastChild;
            continue;
        }
        const RECT box = annIntersect(annUnion(record->rcBounds, record->rcName), area);
        if (!annIsEmpty(box)) {
            boxes_.push_back(box);
            entries_.push_back({record, container});
        }
        while (!record->pPrev) {
            record = containers_[container].record;
            if (record == &root) return;
            container = containers_[container].parent;
        }
        record = record->pPrev;
    }
}

template <class Visit> void HitIndex::forEachSquare(const RECT& box, Visit&& visit) const {
    const auto side = static_cast<uint32_t>(std::max(box.right - box.left, box.bottom - box.top));
    const auto needed = static_cast<uint32_t>(std::bit_width(side - 1)); // squares of 2^needed pixels are as large as it
    const uint32_t level = std::min(areaShift - needed, levels_ - 1), shift = areaShift - level;
    const uint32_t first = ((1u << 2 * level) - 1) / 3;
    const auto square = [shift](int32_t at) { return static_cast<uint32_t>(at) >> shift; };
    for (uint32_t y = square(box.top); y <= square(box.bottom - 1); ++y)
        for (uint32_t x = square(box.left); x <= square(box.right - 1); ++x) visit(first + (y << level) + x);
}

void HitIndex::fillSquares() {
    const uint32_t squares = ((1u << 2 * levels_) - 1) / 3;
    squareStarts_.assign(size_t{squares} + 1, 0);
    for (const RECT& box : boxes_) forEachSquare(box, [&](uint32_t square) { ++squareStarts_[square]; });
    uint32_t sum = 0;
    for (uint32_t& start : squareStarts_) sum += start, start = sum; // ends for now
    items_.resize(sum);
    // From the back, each square's end moves to its start.
    for (auto place = static_cast<uint32_t>(boxes_.size()); place-- > 0;)
        forEachSquare(boxes_[place], [&](uint32_t square) { items_[--squareStarts_[square]] = place; });
}

HitIndex::Head HitIndex::headAt(uint32_t level, POINT point) const {
    const uint32_t shift = areaShift - level;
    const uint32_t x = static_cast<uint32_t>(point.x) >> shift, y = static_cast<uint32_t>(point.y) >> shift;
    const uint32_t square = ((1u << 2 * level) - 1) / 3 + (y << level) + x;
    return {items_.data() + squareStarts_[square], items_.data() + squareStarts_[square + 1]};
}

// Whether the walk enters the container at the point. Containers are asked from the top down, once a query.
bool HitIndex::isOpen(uint32_t container, POINT point) {
    uint32_t path[maxTreeDepth + 1];
    uint32_t depth = 0;
    while (container != none && containers_[container].asked != query_) {
        path[depth++] = container;
        container = containers_[container].parent;
    }
    bool open = container == none || containers_[container].open;
    while (depth) {
        Container& c = containers_[path[--depth]];
        const AnnObject& r = *c.record;
        open =
            open && r.bVisible && !r.pszLockKey && (c.onChain || annHolds(r.rcBounds, point) || annHolds(r.rcName, point));
        c.open = open;
        c.asked = query_;
    }
    return open;
}

void HitIndex::forgetVerdicts() {
    for (Container& c : containers_) c.asked = 0;
    query_ = 1;
}

} // namespace kbann
