// Selecting by point and rectangle, and what is selected.
#pragma once

#include "store/hit_test.h"

namespace kbann {

// Selects all objects of the tree whose bounds lie in the rectangle, groups whole.
void annSelectRect(AnnObject& root, const RECT& rect);

// Calls visit(record) for the selected objects among `top` and all below it: an object, then its children.
template <class Visit> void annForEachSelected(const AnnObject& top, Visit&& visit) {
    for (const AnnObject* record = &top; record; record = annNextInTree(record, &top))
        if (record->bSelected) visit(*record);
}

} // namespace kbann
