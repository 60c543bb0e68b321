// Groups: objects moved into a container of their own that is selected as one, and back.
#include "store/grouping.h"
#include "kbann/auto_text.h"
#include "kbann/objects.h"
#include "store/tree.h"

namespace kbann {
namespace {

// A visible container over the same rectangle and in the same window, outside the tree.
int makeSibling(const AnnObject& container, HANNOBJECT* phMade) {
    const AnnRect bounds = container.annBounds;
    return K_AnnCreateContainer(kb::toHandle<HWND>(container.hWnd), &bounds, TRUE, phMade);
}

uint32_t gatherFlags(uint32_t uFlags) {
    return (uFlags & ~uint32_t{ANN_FLAG_NOTCONTAINER}) | ANN_FLAG_NOTTHIS | ANN_FLAG_NOINVALIDATE | ANN_IFLAG_NOEVENT;
}

} // namespace

// Failures of the moves are no failure of the call: what could be moved has moved.
int annGroup(HANNOBJECT hContainer, uint32_t uFlags, const char* pszUserList) {
    const AnnObject* container = annFromHandle(hContainer);
    if (!container || !container->isContainer()) return ERROR_INV_PARAMETER;
    if (annDepth(container) + annHeight(container) + 1 > maxTreeDepth) return ERROR_INV_PARAMETER;
    HANNOBJECT hGroup = nullptr;
    const int code = makeSibling(*container, &hGroup);
    if (code != SUCCESS) return code;
    annInsert(hGroup, hContainer, gatherFlags(uFlags), ANN_AUTOTEXT_MENU_GROUP, pszUserList);
    annInsert(hContainer, hGroup, ANN_FLAG_NOINVALIDATE, noMenuItem, nullptr);
    if (AnnObject* group = annFromHandle(hGroup)) group->bGrouping = 1;
    annPruneEmpty(hContainer);
    return SUCCESS;
}

int annUngroup(HANNOBJECT hContainer, uint32_t uFlags, const char* pszUserList) {
    const AnnObject* container = annFromHandle(hContainer);
    if (!container || !container->isContainer()) return ERROR_INV_PARAMETER;
    HANNOBJECT hScratch = nullptr;
    const int code = makeSibling(*container, &hScratch);
    if (code != SUCCESS) return code;
    annInsert(hScratch, hContainer, gatherFlags(uFlags), ANN_AUTOTEXT_MENU_UNGROUP, pszUserList);
    annInsert(hContainer, hScratch, ANN_FLAG_NOTCONTAINER | ANN_FLAG_RECURSE | ANN_FLAG_NOINVALIDATE, noMenuItem, nullptr);
    annPruneEmpty(hContainer);
    if (AnnObject* scratch = annFromHandle(hScratch)) annDestroy(scratch, ANN_FLAG_NOINVALIDATE, noMenuItem);
    return SUCCESS;
}

} // namespace kbann
