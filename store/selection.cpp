// Selection by rectangle. It has the results of the property's setter called for one object after the other, in linear time:
// a group is selected once, not once for each member, and what is below a selected container is derived anew once, when the
// walk leaves the outermost of them.
#include "store/selection.h"
#include "store/properties.h"

namespace kbann {
namespace {

bool liesIn(const RECT& b, const RECT& r) {
    return b.left >= r.left && b.left < r.right && b.top >= r.top && b.top < r.bottom && b.right >= r.left &&
           b.right <= r.right && b.bottom >= r.top && b.bottom <= r.bottom;
}

class RectSelection {
public:
    explicit RectSelection(const RECT& rect) : rect_(rect) {}

    void run(AnnObject& root) {
        AnnObject* record = &root;
        uint32_t level = 0;
        for (;;) {
            visit(*record, groupTaken_[level]);
            if (record->pFirstChild) {
                groupTaken_[++level] = false;
                record = record->pFirstChild;
                continue;
            }
            while (record != &root && !record->pNext) {
                record = record->pParent;
                --level;
                leave(*record);
            }
            if (record == &root) return;
            record = record->pNext;
        }
    }

private:
    void visit(AnnObject& record, bool& groupTaken) {
        if (groupTaken && !record.isContainer()) return; // it has been selected with its group, or can't be
        if (!liesIn(record.rcBounds, rect_) || !annMaySelect(record)) return;
        if (!groupTaken && record.pParent && record.pParent->bGrouping) {
            groupTaken = true;
            for (AnnObject* member = record.pParent->pFirstChild; member; member = member->pNext)
                if (!member->isContainer()) select(*member);
            if (!record.isContainer()) return;
        }
        select(record);
    }

    void select(AnnObject& record) {
        if (!annMaySelect(record)) return;
        annUpdateBefore(record, Repaint::handles);
        record.bSelected = 1;
        if (outermost_) return; // its handles stay where they are
        if (record.pFirstChild)
            outermost_ = &record;
        else
            annUpdate(record, Repaint::handles);
    }

    void leave(AnnObject& record) {
        if (outermost_ != &record) return;
        outermost_ = nullptr;
        annUpdate(record, Repaint::handles);
    }

    const RECT& rect_;
    AnnObject* outermost_ = nullptr;              // selected container that the walk is in; below it nothing is derived yet
    bool groupTaken_[maxTreeDepth + 2] = {false}; // by level: the list belongs to a group that has been selected
};

} // namespace

void annSelectRect(AnnObject& root, const RECT& rect) { RectSelection(rect).run(root); }

} // namespace kbann
