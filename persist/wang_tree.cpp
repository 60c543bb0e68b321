// Building the tree. The rule is told as a walk from the last mark to the first in which each container takes all marks
// behind it that name its number as their father's and that no container further back has taken. So a mark's container is the
// nearest one before it with that number. Taken that way, one pass with a sorted list of the containers serves, where the walk
// would look at every mark once for each container.
#include "persist/wang_tree.h"
#include "store/tree.h"

#include <algorithm>

namespace kbann {
namespace {

constexpr double widestImage = 32000;

struct Numbered {
    uint32_t number; // of a container
    uint32_t place;  // in the list
    bool operator<(const Numbered& other) const {
        return number != other.number ? number < other.number : place < other.place;
    }
};

double sideOf(double side) { return side >= 1 && side <= widestImage ? side : widestImage; }

AnnObject* newRoot(const WangImage& image) {
    AnnObject* root = annNewRecord(ANN_OBJECT_CONTAINER);
    if (!root) return nullptr;
    annInitDefaults(*root);
    root->bVisible = 1;
    const double right = sideOf(image.width) - 1, bottom = sideOf(image.height) - 1;
    root->quad[0] = {0, 0};
    root->quad[1] = {right, 0};
    root->quad[2] = {right, bottom};
    return root;
}

} // namespace

RecordList::~RecordList() {
    for (AnnObject* record : records) {
        // Those that had been linked already are here themselves.
        record->pParent = record->pFirstChild = record->pLastChild = record->pNext = record->pPrev = nullptr;
        annFreeRecord(record);
    }
}

int annWangBuildTree(RecordList& list, AnnObject*& root, const WangImage& image) {
    auto& records = list.records;
    root = nullptr;
    if (records.empty()) return SUCCESS;
    std::vector<Numbered> containers;
    for (uint32_t i = 0; i < records.size(); ++i)
        if (records[i]->isContainer()) containers.push_back({records[i]->nSaveId, i});
    std::ranges::sort(containers, std::less<>{});

    std::vector<uint32_t> depth(records.size(), 0); // containers above
    std::vector<AnnObject*> left;
    uint32_t deepest = 0;
    for (uint32_t i = 0; i < records.size(); ++i) {
        AnnObject& record = *records[i];
        const auto behind = std::lower_bound(containers.begin(), containers.end(), Numbered{record.nFatherId, i});
        if (behind == containers.begin() || std::prev(behind)->number != record.nFatherId) {
            left.push_back(&record);
            continue;
        }
        const uint32_t father = std::prev(behind)->place;
        depth[i] = depth[father] + 1;
        deepest = std::max(deepest, depth[i]);
        if (deepest > maxTreeDepth) return ERROR_FILE_READ; // at once: linking climbs to the root
        annLinkLast(*records[father], record);
    }
    const bool isTree = left.size() == 1 && left.front()->isContainer();
    if (deepest + (isTree ? 0 : 1) > maxTreeDepth) return ERROR_FILE_READ;
    AnnObject* top = isTree ? left.front() : newRoot(image);
    if (!top) return ERROR_NO_MEMORY;
    if (!isTree) {
        for (AnnObject* record : left) annLinkLast(*top, *record);
    }
    records.clear();
    root = top;
    return SUCCESS;
}

} // namespace kbann
