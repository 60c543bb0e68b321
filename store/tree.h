// The object tree: links, walks with filter flags, events, inserting, removing, destroying. The order of a child list is the
// z-order, its head the back. Trees are at most maxTreeDepth deep, so what recurses by depth is bounded.
#pragma once

#include "store/handles.h"

#include <string_view>

namespace kbann {

// Internal bits behind ANN_FLAG_*.
inline constexpr uint32_t ANN_IFLAG_NOEVENT = 0x8000;
inline constexpr uint32_t ANN_IFLAG_STAMP = 0x4000;
inline constexpr uint32_t ANN_IFLAG_NOGROUP = 0x2000;

inline constexpr int noMenuItem = -1;

AnnObject* annTop(AnnObject* record);
AnnObject* annFirst(AnnObject* record);      // first sibling
AnnObject* annLast(AnnObject* record);       // last sibling
uint32_t annDepth(const AnnObject* record);  // containers above it
uint32_t annHeight(const AnnObject* record); // levels below it

// Pure links, no events and no derived fields: appends behind the last child, takes out (pParent stays in annUnlink).
void annLinkLast(AnnObject& container, AnnObject& record);
void annUnlink(AnnObject& record);

// Whether a user name passes a list of names with commas between them.
bool annUserInList(const Text& user, const char* pszUserList);
// Whether the menu item is enabled for the object.
bool annMenuItemEnabled(const AnnObject& record, int nMenuItem);

// What walks filter by. `checks` are the ANN_FLAG_* bits looked at in that walk.
bool annPasses(const AnnObject& record, uint32_t uFlags, uint32_t checks, int nMenuItem, const char* pszUserList);

using WalkProc = int (*)(AnnObject& record, void* data);
// Visits the objects that pass; a result other than SUCCESS ends it and is the result. Without ANN_FLAG_RECURSE an object
// that fails the filter ends it with ERROR_FEATURE_NOT_SUPPORTED.
int annWalk(AnnObject* record, WalkProc callback, void* data, uint32_t uFlags, const char* pszUserList);
template <class Visit> int annWalk(AnnObject* record, uint32_t uFlags, const char* pszUserList, Visit&& visit) {
    return annWalk(
        record, [](AnnObject& r, void* data) { return (*static_cast<std::remove_reference_t<Visit>*>(data))(r); }, &visit,
        uFlags, pszUserList);
}

// The same over the objects that pass, with ANN_FLAG_CHECKMENU by the menu item too; the others are passed over. With
// bSiblings it begins with the object and goes on through those in front of it.
int annWalkPassing(AnnObject* record, WalkProc callback, void* data, uint32_t uFlags, bool bSiblings, int nMenuItem);
template <class Visit> int annWalkPassing(AnnObject* record, uint32_t uFlags, bool bSiblings, int nMenuItem, Visit&& visit) {
    return annWalkPassing(
        record, [](AnnObject& r, void* data) { return (*static_cast<std::remove_reference_t<Visit>*>(data))(r); }, &visit,
        uFlags, bSiblings, nMenuItem);
}

// Tells the window of the tree, for the object, its children and (bWalkSiblings) the objects in front of it.
void annNotify(AnnObject* record, uint32_t nEvent, bool bWalkSiblings);

int annInsert(HANNOBJECT hContainer, HANNOBJECT hObject, uint32_t uFlags, int nMenuItem, const char* pszUserList);
int annRemove(HANNOBJECT handle, uint32_t uFlags);
int annDestroy(AnnObject* record, uint32_t uFlags, int nMenuItem);
// Destroys the empty containers in a container, but not a root.
void annPruneEmpty(HANNOBJECT hContainer);

} // namespace kbann
