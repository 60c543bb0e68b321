// Exported functions: making, copying, destroying, linking and walking of objects.
#include "kbann/auto_text.h"
#include "kbann/geometry.h"
#include "kbann/objects.h"
#include "kbann/properties.h"
#include "store/geometry.h"
#include "store/grouping.h"
#include "store/library.h"
#include "store/properties.h"
#include "store/tree.h"

using namespace kbann;

namespace {

int createObject(uint32_t nType, HANNOBJECT* phObject) {
    if (!phObject || nType >= objectTypeCount) return ERROR_INV_PARAMETER;
    AnnObject* record = annNewRecord(nType);
    if (!record) return ERROR_NO_MEMORY;
    annInitDefaults(*record);
    *phObject = annToHandle(record);
    return SUCCESS;
}

int setVisible(HANNOBJECT hObject, BOOL bVisible) {
    return annSetChecked(hObject, Property::visible, {.number = static_cast<uint32_t>(bVisible)}, 0);
}

int createContainer(HWND hWnd, const AnnRect* pRect, BOOL bVisible, HANNOBJECT* phContainer) {
    HANNOBJECT hMade = nullptr;
    int code = phContainer ? createObject(ANN_OBJECT_CONTAINER, &hMade) : ERROR_INV_PARAMETER;
    if (code != SUCCESS) return code;
    if (hWnd) code = K_AnnSetWnd(hMade, hWnd);
    if (code == SUCCESS && pRect) code = K_AnnSetRect(hMade, pRect);
    if (code == SUCCESS) code = setVisible(hMade, bVisible);
    if (code == SUCCESS)
        *phContainer = hMade;
    else
        annFreeRecord(annFromHandle(hMade));
    return code;
}

int createItem(HANNOBJECT hContainer, uint32_t nType, BOOL bVisible, HANNOBJECT* phObject) {
    HANNOBJECT hMade = nullptr;
    int code = phObject ? createObject(nType, &hMade) : ERROR_INV_PARAMETER;
    if (code != SUCCESS) return code;
    code = annInsert(hContainer, hMade, ANN_IFLAG_STAMP, noMenuItem, nullptr);
    if (code == SUCCESS) code = setVisible(hMade, bVisible);
    if (code == SUCCESS)
        *phObject = hMade;
    else if (AnnObject* record = annFromHandle(hMade))
        annDestroy(record, ANN_IFLAG_NOEVENT, noMenuItem);
    return code;
}

// The related record's handle, null for none.
template <class Relation> int getRelated(HANNOBJECT hObject, HANNOBJECT* phRelated, Relation&& relation) {
    AnnObject* record = annFromHandle(hObject);
    if (!record || !phRelated) return ERROR_INV_PARAMETER;
    *phRelated = annToHandle(relation(record));
    return SUCCESS;
}

enum class End : uint8_t { front, back };

// The object, and with it each container above it, goes to that end of its list.
int moveToEnd(HANNOBJECT hObject, End end) {
    AnnObject* record = annFromHandle(hObject);
    if (!record) return ERROR_INV_PARAMETER;
    if (!record->pParent) return ERROR_FEATURE_NOT_SUPPORTED;
    for (; record->pParent; record = record->pParent) {
        AnnObject& parent = *record->pParent;
        if (record == (end == End::front ? parent.pLastChild : parent.pFirstChild)) continue;
        annUnlink(*record);
        if (end == End::front) {
            annLinkLast(parent, *record);
        } else {
            record->pNext = parent.pFirstChild;
            parent.pFirstChild->pPrev = record;
            parent.pFirstChild = record; // annUnlink has let the tree's boxes be forgotten
        }
        annUpdate(*record, Repaint::object);
    }
    return SUCCESS;
}

int getObjectFromTag(HANNOBJECT hObject, uint32_t uFlags, uint32_t uTag, HANNOBJECT* phTagObject) {
    AnnObject* record = annFromHandle(hObject);
    if (!record || !phTagObject) return ERROR_INV_PARAMETER;
    *phTagObject = nullptr;
    annWalk(record, uFlags, nullptr, [&](AnnObject& found) {
        if (found.uTag != uTag) return static_cast<int>(SUCCESS);
        *phTagObject = annToHandle(&found);
        return static_cast<int>(ERROR_FAILURE); // ends the walk
    });
    return *phTagObject ? SUCCESS : ERROR_BAD_TAG;
}

} // namespace

int K_AnnCreate(uint32_t nType, HANNOBJECT* phObject) {
    return exported([&] { return createObject(nType, phObject); });
}

int K_AnnCreateContainer(HWND hWnd, const AnnRect* pRect, BOOL bVisible, HANNOBJECT* phContainer) {
    return exported([&] { return createContainer(hWnd, pRect, bVisible, phContainer); });
}

int K_AnnCreateItem(HANNOBJECT hContainer, uint32_t nType, BOOL bVisible, HANNOBJECT* phObject) {
    return exported([&] { return createItem(hContainer, nType, bVisible, phObject); });
}

int K_AnnDestroy(HANNOBJECT hObject, uint32_t uFlags) {
    return exported([&]() -> int {
        AnnObject* record = annFromHandle(hObject);
        return record ? annDestroy(record, uFlags & 0xFF, ANN_AUTOTEXT_MENU_DELETE) : ERROR_INV_PARAMETER;
    });
}

int K_AnnCopy(HANNOBJECT hObject, HANNOBJECT* phCopy) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || !phCopy) return ERROR_INV_PARAMETER;
        int code = SUCCESS;
        *phCopy = annToHandle(annCopyTree(*record, code));
        return code;
    });
}

int K_AnnInsert(HANNOBJECT hContainer, HANNOBJECT hObject, BOOL bStripContainer) {
    return exported(
        [&] { return annInsert(hContainer, hObject, bStripContainer ? ANN_FLAG_NOTCONTAINER : 0, noMenuItem, nullptr); });
}

int K_AnnRemove(HANNOBJECT hObject) {
    return exported([&] { return annRemove(hObject, 0); });
}

int K_AnnEnumerate(HANNOBJECT hObject, AnnEnumProc pfnCallback, void* pUser, uint32_t uFlags, const char* pszUserList) {
    return exported([&]() -> int {
        AnnObject* record = annFromHandle(hObject);
        if (!record || !pfnCallback) return ERROR_INV_PARAMETER;
        return annWalk(record, uFlags, pszUserList,
                       [&](AnnObject& found) { return pfnCallback(annToHandle(&found), pUser); });
    });
}

int K_AnnBringToFront(HANNOBJECT hObject) {
    return exported([&] { return moveToEnd(hObject, End::front); });
}

int K_AnnSendToBack(HANNOBJECT hObject) {
    return exported([&] { return moveToEnd(hObject, End::back); });
}

int K_AnnGetItem(HANNOBJECT hContainer, HANNOBJECT* phItem) {
    return exported([&] { return getRelated(hContainer, phItem, [](AnnObject* r) { return r->pFirstChild; }); });
}

int K_AnnGetContainer(HANNOBJECT hObject, HANNOBJECT* phContainer) {
    return exported([&] { return getRelated(hObject, phContainer, [](AnnObject* r) { return r->pParent; }); });
}

int K_AnnGetTopContainer(HANNOBJECT hObject, HANNOBJECT* phContainer) {
    return exported([&] { return getRelated(hObject, phContainer, annTop); });
}

int K_AnnGetObjectFromTag(HANNOBJECT hObject, uint32_t uFlags, uint32_t uTag, HANNOBJECT* phTagObject) {
    return exported([&] { return getObjectFromTag(hObject, uFlags, uTag, phTagObject); });
}

int K_AnnGroup(HANNOBJECT hContainer, uint32_t uFlags, const char* pszUserList) {
    return exported([&] { return annGroup(hContainer, uFlags & 0xFF, pszUserList); });
}

int K_AnnUngroup(HANNOBJECT hContainer, uint32_t uFlags, const char* pszUserList) {
    return exported([&] { return annUngroup(hContainer, uFlags & 0xFF, pszUserList); });
}
