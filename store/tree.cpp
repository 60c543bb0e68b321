// Links, walks, events, inserting, removing, destroying. After each sent message a record and its next one are looked up
// again by handle, since the application may have destroyed them.
#include "store/tree.h"
#include "kbann/auto_text.h"
#include "platform/user.h"
#include "store/geometry.h"
#include "store/hit_index.h"
#include "store/library.h"
#include "store/properties.h"

#include <algorithm>

namespace kbann {

AnnObject* annTop(AnnObject* record) {
    while (record && record->pParent) record = record->pParent;
    return record;
}

AnnObject* annFirst(AnnObject* record) {
    if (record && record->pParent) return record->pParent->pFirstChild;
    while (record && record->pPrev) record = record->pPrev;
    return record;
}

AnnObject* annLast(AnnObject* record) {
    if (record && record->pParent) return record->pParent->pLastChild;
    while (record && record->pNext) record = record->pNext;
    return record;
}

uint32_t annDepth(const AnnObject* record) {
    uint32_t depth = 0;
    while ((record = record->pParent)) ++depth;
    return depth;
}

uint32_t annHeight(const AnnObject* top) {
    if (!top->pFirstChild) return 0;
    const uint32_t base = annDepth(top);
    uint32_t deepest = 0;
    for (const AnnObject* r = top; r; r = annNextInTree(r, top))
        if (r->pFirstChild) deepest = std::max(deepest, annDepth(r) + 1 - base);
    return deepest;
}

void annLinkLast(AnnObject& container, AnnObject& record) {
    record.pParent = &container;
    record.pPrev = container.pLastChild;
    record.pNext = nullptr;
    (record.pPrev ? record.pPrev->pNext : container.pFirstChild) = &record;
    container.pLastChild = &record;
    record.pHitIndex.reset();
    annForgetBoxes(container);
}

void annUnlink(AnnObject& record) {
    AnnObject* parent = record.pParent;
    annForgetBoxes(record);
    if (record.pPrev)
        record.pPrev->pNext = record.pNext;
    else if (parent && parent->pFirstChild == &record)
        parent->pFirstChild = record.pNext;
    if (record.pNext)
        record.pNext->pPrev = record.pPrev;
    else if (parent && parent->pLastChild == &record)
        parent->pLastChild = record.pPrev;
    record.pPrev = record.pNext = nullptr;
}

bool annUserInList(const Text& user, const char* pszUserList) {
    const std::string_view list = pszUserList ? pszUserList : "";
    if (!user) return list.empty();
    // A name may hold commas itself, so the list isn't split: a match must begin and end at its edges.
    const std::string_view name = user.view();
    for (size_t at = list.find(name); at != std::string_view::npos; at = list.find(name, at + 1)) {
        const size_t end = at + name.size();
        if ((at == 0 || list[at - 1] == ',') && (end == list.size() || list[end] == ',')) return true;
    }
    return false;
}

bool annMenuItemEnabled(const AnnObject& record, int nMenuItem) {
    const auto bit = [nMenuItem](const MenuTable& table) {
        const auto item = static_cast<uint32_t>(nMenuItem);
        return (table[item / 8] >> (7 - item % 8) & 1) != 0;
    };
    if (nMenuItem < 0 || nMenuItem >= static_cast<int>(menuItemCount) || !record.pItemMenu) return true;
    return !bit(record.pItemMenu->itemMenuEnableMask) || bit(record.pItemMenu->itemMenuEnable);
}

bool annPasses(const AnnObject& record, uint32_t uFlags, uint32_t checks, int nMenuItem, const char* pszUserList) {
    const uint32_t look = uFlags & checks;
    if (look & ANN_FLAG_SELECTED && !record.bSelected) return false;
    if (look & ANN_FLAG_NOTCONTAINER && record.isContainer()) return false;
    if (look & ANN_FLAG_CHECKMENU && !annMenuItemEnabled(record, nMenuItem)) return false;
    if (look & ANN_FLAG_USER && !annUserInList(record.pszUser, pszUserList)) return false;
    return true;
}

namespace {

struct Walk {
    WalkProc callback;
    void* data;
    uint32_t uFlags, checks;
    int nMenuItem;
    const char* pszUserList;
    bool endsAtFiltered; // with an error, unless it goes down into children
};

int walkList(const Walk& walk, AnnObject* record, bool bSiblings) {
    while (record) {
        const uint32_t self = record->hSelf, next = record->pNext ? record->pNext->hSelf : 0;
        if (annPasses(*record, walk.uFlags, walk.checks, walk.nMenuItem, walk.pszUserList)) {
            const int result = walk.callback(*record, walk.data);
            if (result != SUCCESS) return result;
            record = annFromHandle(self);
        } else if (walk.endsAtFiltered && !(walk.uFlags & ANN_FLAG_RECURSE)) {
            return ERROR_FEATURE_NOT_SUPPORTED;
        }
        if (record && walk.uFlags & ANN_FLAG_RECURSE && record->pFirstChild) {
            const int result = walkList(walk, record->pFirstChild, true);
            if (result != SUCCESS) return result;
            record = annFromHandle(self);
        }
        if (!bSiblings) break;
        record = record ? record->pNext : annFromHandle(next);
    }
    return SUCCESS;
}

LRESULT sendEvent(uint32_t hWnd, uint32_t nEvent, LPARAM lParam) {
    return SendMessageA(kb::toHandle<HWND>(hWnd), WM_KBANNEVENT, nEvent, lParam);
}

// The application's answer: 1 lets the object go.
int askToDestroy(const AnnObject& record) {
    if (!record.hWnd) return SUCCESS;
    AnnItemChanging change{sizeof(AnnItemChanging), record.hSelf, 0, 1, 0.0};
    sendEvent(record.hWnd, ANN_EVENT_AUTOITEMCHANGING, reinterpret_cast<LPARAM>(&change));
    return change.bAllow;
}

constexpr uint32_t destroyChecks = ANN_FLAG_SELECTED | ANN_FLAG_NOTCONTAINER | ANN_FLAG_CHECKMENU;

int destroyList(AnnObject* record, uint32_t uFlags, bool bSiblings, int nMenuItem) {
    int answer = SUCCESS;
    while (record) {
        const uint32_t self = record->hSelf;
        uint32_t next = record->pNext ? record->pNext->hSelf : 0;
        bool goes = annPasses(*record, uFlags, destroyChecks, nMenuItem, nullptr);
        if (goes && !(uFlags & ANN_IFLAG_NOEVENT)) {
            answer = askToDestroy(*record);
            goes = answer == SUCCESS;
            if (answer < SUCCESS) return answer;
            record = annFromHandle(self);
        }
        if (record && !goes) {
            if (uFlags & ANN_FLAG_RECURSE && record->pFirstChild) {
                const int result = destroyList(record->pFirstChild, uFlags, true, nMenuItem);
                if (result != SUCCESS) return result;
                record = annFromHandle(self);
            }
        } else if (record) {
            if (!(uFlags & ANN_FLAG_NOINVALIDATE)) annUpdateBefore(*record, Repaint::object);
            if (record->pFirstChild) {
                const uint32_t below = ANN_FLAG_RECURSE | (uFlags & (ANN_FLAG_NOINVALIDATE | ANN_IFLAG_NOEVENT));
                const int result = destroyList(record->pFirstChild, below, true, noMenuItem);
                if (result != SUCCESS) return result;
                record = annFromHandle(self);
            }
            if (record) {
                next = record->pNext ? record->pNext->hSelf : 0;
                if (!record->pFirstChild) {
                    annRemove(annToHandle(record), uFlags);
                    if (AnnObject* removed = annFromHandle(self)) annFreeTree(removed); // an event may have filled it
                    record = nullptr;
                }
            }
        }
        if (!bSiblings) break;
        record = record ? record->pNext : annFromHandle(next);
    }
    return SUCCESS;
}

void notifyList(uint32_t handle, uint32_t nEvent, bool bWalkSiblings) {
    AnnObject* record = annFromHandle(handle);
    while (record && record->hWnd) {
        const uint32_t next = record->pNext ? record->pNext->hSelf : 0, self = record->hSelf;
        sendEvent(record->hWnd, nEvent, static_cast<LPARAM>(self));
        record = annFromHandle(self);
        if (record && record->pFirstChild) {
            notifyList(record->pFirstChild->hSelf, nEvent, true);
            record = annFromHandle(self);
        }
        if (!bWalkSiblings) break;
        record = record ? record->pNext : annFromHandle(next);
    }
}

bool isAtOrBelow(const AnnObject* record, const AnnObject* top) {
    while (record && record != top) record = record->pParent;
    return record == top;
}

// What a move carries through its steps.
struct Move {
    AnnObject& container;
    uint32_t uFlags;
    int nMenuItem;
    const char* pszUserList;
    AnnObject* firstMoved = nullptr;

    void append(AnnObject& record, Repaint repaint) {
        annLinkLast(container, record);
        annUpdate(record, repaint);
        if (!firstMoved) firstMoved = &record;
    }
};

constexpr uint32_t moveChecks = ANN_FLAG_SELECTED | ANN_FLAG_NOTCONTAINER | ANN_FLAG_CHECKMENU | ANN_FLAG_USER;

void moveFiltered(Move& move, AnnObject* record, bool bSiblings) {
    while (record) {
        AnnObject* next = bSiblings ? record->pNext : nullptr;
        if (annPasses(*record, move.uFlags, moveChecks, move.nMenuItem, move.pszUserList)) {
            annUnlink(*record);
            move.append(*record, move.uFlags & ANN_FLAG_NOINVALIDATE ? Repaint::none : Repaint::object);
        }
        if (move.uFlags & ANN_FLAG_RECURSE && record->pFirstChild) moveFiltered(move, record->pFirstChild, true);
        record = next;
    }
}

void giveTreeValues(AnnObject& object, const AnnObject& container, uint32_t uFlags, int nMenuItem) {
    const uint32_t flags = (uFlags & (ANN_FLAG_SELECTED | ANN_FLAG_CHECKMENU)) | ANN_FLAG_RECURSE;
    annSetProperty(&object, Property::window, {.number = container.hWnd}, flags, nMenuItem, nullptr);
    annSetProperty(&object, Property::userMode, {.number = container.nUserMode}, flags, nMenuItem, nullptr);
    if (uFlags & ANN_IFLAG_STAMP) annSetProperty(&object, Property::serial, {}, flags, nMenuItem, nullptr);
}

} // namespace

int annWalk(AnnObject* record, WalkProc callback, void* data, uint32_t uFlags, const char* pszUserList) {
    const Walk walk{callback,   data,        uFlags, ANN_FLAG_SELECTED | ANN_FLAG_NOTCONTAINER | ANN_FLAG_USER,
                    noMenuItem, pszUserList, true};
    const bool children = uFlags & ANN_FLAG_NOTTHIS;
    return walkList(walk, children && record ? record->pFirstChild : record, children);
}

int annWalkPassing(AnnObject* record, WalkProc callback, void* data, uint32_t uFlags, bool bSiblings, int nMenuItem) {
    const Walk walk{callback,  data,    uFlags, ANN_FLAG_SELECTED | ANN_FLAG_NOTCONTAINER | ANN_FLAG_CHECKMENU,
                    nMenuItem, nullptr, false};
    const bool children = !bSiblings && uFlags & ANN_FLAG_NOTTHIS;
    return walkList(walk, children && record ? record->pFirstChild : record, children || bSiblings);
}

void annNotify(AnnObject* record, uint32_t nEvent, bool bWalkSiblings) {
    if (record) notifyList(record->hSelf, nEvent, bWalkSiblings);
}

int annDestroy(AnnObject* record, uint32_t uFlags, int nMenuItem) {
    if (nMenuItem == noMenuItem) uFlags &= ~uint32_t{ANN_FLAG_CHECKMENU};
    const bool children = uFlags & ANN_FLAG_NOTTHIS;
    return destroyList(children && record ? record->pFirstChild : record, uFlags, children, nMenuItem);
}

int annRemove(HANNOBJECT handle, uint32_t uFlags) {
    AnnObject* record = annFromHandle(handle);
    if (!record) return ERROR_INV_PARAMETER;
    if (record->pParent && !(uFlags & ANN_IFLAG_NOEVENT)) {
        annNotify(record, ANN_EVENT_REMOVE, false);
        record = annFromHandle(handle);
        if (!record) return SUCCESS;
    }
    if (!(uFlags & ANN_FLAG_NOINVALIDATE)) annUpdate(*record, Repaint::object);
    annUnlink(*record);
    record->pParent = nullptr;
    return SUCCESS;
}

int annInsert(HANNOBJECT hContainer, HANNOBJECT hObject, uint32_t uFlags, int nMenuItem, const char* pszUserList) {
    AnnObject* container = annFromHandle(hContainer);
    AnnObject* object = annFromHandle(hObject);
    if (!container || !object || !container->isContainer()) return ERROR_INV_PARAMETER;
    if (object->pParent == container) return SUCCESS;
    if (isAtOrBelow(container, object)) return ERROR_INV_PARAMETER;
    const bool childList = uFlags & (ANN_FLAG_NOTCONTAINER | ANN_FLAG_NOTTHIS);
    const auto tooDeep = [&] { return annDepth(container) + annHeight(object) + (childList ? 0 : 1) > maxTreeDepth; };
    if (tooDeep()) return ERROR_INV_PARAMETER;
    if (nMenuItem == noMenuItem) uFlags &= ~uint32_t{ANN_FLAG_CHECKMENU};
    const bool leaves =
        object->pParent && annPasses(*object, uFlags, ANN_FLAG_CHECKMENU, nMenuItem, nullptr); // an old list to leave
    giveTreeValues(*object, *container, uFlags, nMenuItem);

    Move move{*container, uFlags, nMenuItem, pszUserList};
    const bool filtered = uFlags & (ANN_FLAG_SELECTED | ANN_FLAG_RECURSE | ANN_FLAG_CHECKMENU);
    if (!childList && leaves && (!filtered || annPasses(*object, uFlags, moveChecks, nMenuItem, pszUserList))) {
        annRemove(hObject, uFlags & ANN_FLAG_NOINVALIDATE);
        container = annFromHandle(hContainer);
        object = annFromHandle(hObject);
        if (!container || !object || isAtOrBelow(container, object) || tooDeep()) return ERROR_INV_PARAMETER;
    }
    if (filtered) {
        moveFiltered(move, childList ? object->pFirstChild : object, childList);
    } else if (childList) {
        AnnObject* chain = object->pFirstChild;
        annForgetBoxes(*object);
        object->pFirstChild = object->pLastChild = nullptr;
        for (AnnObject* next; chain; chain = next) {
            next = chain->pNext;
            move.append(*chain, Repaint::object);
        }
    } else {
        move.append(*object, Repaint::object);
    }
    const uint32_t first = move.firstMoved ? move.firstMoved->hSelf : 0;

    if (uFlags & ANN_FLAG_NOTCONTAINER && !object->pFirstChild) { // the emptied source goes
        if (leaves) annRemove(hObject, uFlags & ANN_FLAG_NOINVALIDATE);
        if (AnnObject* emptied = annFromHandle(hObject)) annDestroy(emptied, 0, noMenuItem);
    }
    if (!(uFlags & ANN_IFLAG_NOEVENT)) annNotify(annFromHandle(first), ANN_EVENT_INSERT, true);
    return SUCCESS;
}

void annPruneEmpty(HANNOBJECT hContainer) {
    AnnObject* record = annFromHandle(hContainer);
    if (!record) return;
    for (AnnObject* child = record->pFirstChild; child;) {
        const uint32_t next = child->pNext ? child->pNext->hSelf : 0;
        if (child->isContainer()) annPruneEmpty(annToHandle(child));
        child = annFromHandle(next);
    }
    record = annFromHandle(hContainer);
    if (record && record->isContainer() && record->pParent && !record->pFirstChild)
        annDestroy(record, ANN_FLAG_NOINVALIDATE, noMenuItem);
}

} // namespace kbann
