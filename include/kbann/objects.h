/* Objects and trees: making, copying, destroying, linking and walking.
 *
 * An object is free or stands in a tree. A free object belongs to the application, which inserts or destroys it; the
 * root of a tree belongs to it too. Only containers have children. A child list runs from the back of the z-order to the
 * front. All objects of a tree have the same window and the same user mode.
 *
 * Events go synchronously to the window of the tree (WM_KBANNEVENT). The application may run in the middle of an insert,
 * a remove or a destroy, and must not change the list that is being worked on.
 *
 * uFlags is any of ANN_FLAG_* or-ed, 0 for the object alone. pszUserList counts with ANN_FLAG_USER alone: user names
 * separated by commas, without blanks, compared exactly; null or "" takes the objects that have no user. */
#ifndef KBANN_OBJECTS_H
#define KBANN_OBJECTS_H

#include "contracts/return_codes.h"
#include "kbann/constants.h"
#include "kbann/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- Life ------------------------------------------------------------------------------------------------------------- */

/* Makes an invisible object with the defaults of its type, outside any tree.
 * nType: ANN_OBJECT_CONTAINER (0) to ANN_OBJECT_FREEHANDHOTSPOT (23). phObject: receives the object, the caller's.
 * ERROR_INV_PARAMETER: null pointer, type above 23. ERROR_NO_MEMORY. On failure *phObject stays as it was. */
KB_API int K_AnnCreate(uint32_t nType, HANNOBJECT* phObject);

/* Makes a root container. hWnd: window that shows it, or null. pRect: its rectangle, or null for none yet.
 * bVisible: shown or not. phContainer: receives the container, the caller's.
 * ERROR_INV_PARAMETER: null phContainer. ERROR_NO_MEMORY. On failure nothing is left behind. */
KB_API int K_AnnCreateContainer(HWND hWnd, const AnnRect* pRect, BOOL bVisible, HANNOBJECT* phContainer);

/* Makes an object and appends it in front of the other children of hContainer, to which it then belongs. It gets a new
 * identity across copies. nType, phObject as in K_AnnCreate. Sends ANN_EVENT_INSERT.
 * ERROR_INV_PARAMETER: bad handle, no container, null pointer, type above 23. ERROR_NO_MEMORY. On failure the tree is as
 * it was. */
KB_API int K_AnnCreateItem(HANNOBJECT hContainer, uint32_t nType, BOOL bVisible, HANNOBJECT* phObject);

/* Destroys an object, a container with all that is in it. With flags, the objects of the walk that pass them: those of a
 * container that goes go in any case. Before each one the application is asked (ANN_EVENT_AUTOITEMCHANGING, nChange 0);
 * an answer of 0 or below ends the call with that value, one above 1 spares the object. Sends ANN_EVENT_REMOVE. Handles
 * of what has gone are dead. ANN_FLAG_USER has no effect here.
 * ERROR_INV_PARAMETER: bad handle. After an end before time, objects handled before stay destroyed. */
KB_API int K_AnnDestroy(HANNOBJECT hObject, uint32_t uFlags);

/* Copies an object with all its descendants, selection, tags and window included. phCopy: receives the copy, free, the
 * caller's. ERROR_INV_PARAMETER: bad handle, null pointer. ERROR_NO_MEMORY, or the code of a failed picture copy. On
 * failure *phCopy is null and nothing is left behind. */
KB_API int K_AnnCopy(HANNOBJECT hObject, HANNOBJECT* phCopy);

/* --- Links ------------------------------------------------------------------------------------------------------------ */

/* Moves an object into a container, in front of its children; the object leaves its old container. Coordinates stay as
 * numbers and now count in the new container. bStripContainer: move the children of hObject instead, and destroy hObject
 * when it is empty then. Sends ANN_EVENT_REMOVE for an old container and ANN_EVENT_INSERT.
 * SUCCESS without any change or event when the object is in that container already.
 * ERROR_INV_PARAMETER: bad handle, hContainer no container, or the object itself or one below it; or a tree deeper than
 * 512. On failure the trees are as they were. */
KB_API int K_AnnInsert(HANNOBJECT hContainer, HANNOBJECT hObject, BOOL bStripContainer);

/* Takes an object with its children out of its container; it belongs to the caller then. Its window stays set. Sends
 * ANN_EVENT_REMOVE. ERROR_INV_PARAMETER: bad handle. */
KB_API int K_AnnRemove(HANNOBJECT hObject);

/* Brings an object in front of its siblings (behind them), its container in front of its own siblings, and so on to the
 * root. ERROR_INV_PARAMETER: bad handle. ERROR_FEATURE_NOT_SUPPORTED: the object has no container. */
KB_API int K_AnnBringToFront(HANNOBJECT hObject);
KB_API int K_AnnSendToBack(HANNOBJECT hObject);

/* --- Walks ------------------------------------------------------------------------------------------------------------ */

/* Calls pfnEnum for each object that the flags let pass, from back to front, containers before their children. pUser is
 * handed on. The callback must not change the lists being walked.
 * ERROR_INV_PARAMETER: bad handle, null callback. ERROR_FEATURE_NOT_SUPPORTED: without ANN_FLAG_RECURSE an object didn't
 * pass; the walk ends there. Any result of the callback other than SUCCESS. ANN_FLAG_CHECKMENU has no effect here. */
KB_API int K_AnnEnumerate(HANNOBJECT hObject, AnnEnumProc pfnEnum, void* pUser, uint32_t uFlags, const char* pszUserList);

/* First child (the hindmost), container, or root of an object's tree (itself when it is one). phFound: receives the
 * handle, borrowed; null when there is none. ERROR_INV_PARAMETER: bad handle, null pointer. */
KB_API int K_AnnGetItem(HANNOBJECT hObject, HANNOBJECT* phFound);
KB_API int K_AnnGetContainer(HANNOBJECT hObject, HANNOBJECT* phFound);
KB_API int K_AnnGetTopContainer(HANNOBJECT hObject, HANNOBJECT* phFound);

/* First object of the walk that has the tag uTag. phFound: receives the handle, borrowed, null when there is none.
 * ERROR_INV_PARAMETER: bad handle, null pointer. ERROR_BAD_TAG: none found, also where a flag has ended the walk. */
KB_API int K_AnnGetObjectFromTag(HANNOBJECT hObject, uint32_t uFlags, uint32_t uTag, HANNOBJECT* phFound);

/* --- Groups ----------------------------------------------------------------------------------------------------------- */

/* Moves the children of hContainer that pass the flags into a new container in front of them, whose objects are selected
 * as one. Containers left empty are destroyed. Children whose menu item GROUP is off stay under ANN_FLAG_CHECKMENU.
 * ERROR_INV_PARAMETER: bad handle, no container. ERROR_NO_MEMORY: the group couldn't be made, nothing has changed. */
KB_API int K_AnnGroup(HANNOBJECT hContainer, uint32_t uFlags, const char* pszUserList);

/* Dissolves the groups among the children of hContainer that pass the flags: all their objects that aren't containers
 * come to lie directly in hContainer, emptied containers are destroyed. Errors as in K_AnnGroup, with UNGROUP. */
KB_API int K_AnnUngroup(HANNOBJECT hContainer, uint32_t uFlags, const char* pszUserList);

#ifdef __cplusplus
}
#endif
#endif
