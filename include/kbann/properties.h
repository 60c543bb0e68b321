/* Properties of objects: setters and getters.
 *
 * Setters take the object, the value and uFlags (ANN_FLAG_* or-ed, 0 for the object alone). With flags they walk:
 * an object that doesn't pass is left out without ending the walk; one whose type hasn't the property ends it with
 * ERROR_FEATURE_NOT_SUPPORTED, or is left out too under ANN_FLAG_RECURSE. ANN_FLAG_CHECKMENU tests the menu item named
 * with the property, and nothing where none is named. ANN_FLAG_USER without a user list takes objects that have no user.
 * Each change is repainted at once unless ANN_FLAG_NOINVALIDATE.
 *
 * Results of all setters: SUCCESS. ERROR_INV_PARAMETER: bad handle, or a value out of the range told; nothing has
 * changed. ERROR_FEATURE_NOT_SUPPORTED: as above; objects before have changed. ERROR_NO_MEMORY with texts and images: the
 * text or image of the object is empty then, its old value gone.
 * Results of all getters: SUCCESS; ERROR_INV_PARAMETER: bad handle, null pointer; ERROR_FEATURE_NOT_SUPPORTED: the type
 * hasn't the property. They read the one object and change nothing; after a failure what they point to is as it was.
 *
 * Flags are 0 or 1, any other value counts as 1 where it is tested. An automation carries what new objects take over,
 * and so has most properties. Text getters copy into a buffer of the length that the Len getter gives (bytes without the
 * end) plus one; no size is passed. */
#ifndef KBANN_PROPERTIES_H
#define KBANN_PROPERTIES_H

#include "contracts/raster_kernel.h"
#include "contracts/return_codes.h"
#include "kbann/constants.h"
#include "kbann/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- Kind and state --------------------------------------------------------------------------------------------------- */

/* ANN_OBJECT_* of an object. All types. */
KB_API int K_AnnGetType(HANNOBJECT hObject, uint32_t* pnType);

/* Shown or hidden. All types. Hiding also deselects. An object that has a user is shown only if pszUserList (names
 * separated by commas, without blanks; may be null) holds that name; else it stays hidden, with SUCCESS. ANN_FLAG_USER
 * compares with the same list. */
KB_API int K_AnnSetVisible(HANNOBJECT hObject, BOOL bVisible, uint32_t uFlags, const char* pszUserList);
KB_API int K_AnnGetVisible(HANNOBJECT hObject, BOOL* pbVisible);

/* Selected or not. All types. A hidden or locked object stays as it is, with SUCCESS. In a group the other members that
 * aren't containers follow. */
KB_API int K_AnnSetSelected(HANNOBJECT hObject, BOOL bSelected, uint32_t uFlags);
KB_API int K_AnnGetSelected(HANNOBJECT hObject, BOOL* pbSelected);

/* A number of the application's; nothing interprets it. All types. */
KB_API int K_AnnSetTag(HANNOBJECT hObject, uint32_t uTag, uint32_t uFlags);
KB_API int K_AnnGetTag(HANNOBJECT hObject, uint32_t* puTag);

/* ANN_ACTIVE_*. Audio, button, hotspot, video, automation, freehand hotspot, pushpin. */
KB_API int K_AnnGetActiveState(HANNOBJECT hObject, uint32_t* pnActiveState);

/* Objects of this container are selected as one. Containers alone. */
KB_API int K_AnnSetGrouping(HANNOBJECT hContainer, BOOL bGrouping, uint32_t uFlags);
KB_API int K_AnnGetGrouping(HANNOBJECT hContainer, BOOL* pbGrouping);

/* The window that shows the tree; null for none. Set in the whole tree of hObject, borrowed. */
KB_API int K_AnnSetWnd(HANNOBJECT hObject, HWND hWnd);
KB_API int K_AnnGetWnd(HANNOBJECT hObject, HWND* phWnd);

/* ANN_USERMODE_DESIGN or ANN_USERMODE_RUN, set in the whole tree of hObject. ERROR_INV_PARAMETER above 1. */
KB_API int K_AnnSetUserMode(HANNOBJECT hObject, uint32_t nUserMode);
KB_API int K_AnnGetUserMode(HANNOBJECT hObject, uint32_t* pnUserMode);

/* On each object that passes the flags and whose user is pszOldUser, the user becomes pszNewUser. Null and "" both mean no
 * user. Compared exactly. All types; ANN_FLAG_CHECKMENU and ANN_FLAG_USER have no effect. Repaints nothing.
 * ERROR_INV_PARAMETER: bad handle. ERROR_NO_MEMORY: the object has no user then. */
KB_API int K_AnnSetUser(HANNOBJECT hObject, const char* pszOldUser, const char* pszNewUser, uint32_t uFlags);

/* Draw the locked icon on a locked object. All types. */
KB_API int K_AnnShowLockedIcon(HANNOBJECT hObject, BOOL bShow, uint32_t uFlags);

/* --- Font ------------------------------------------------------------------------------------------------------------- */

/* Font attributes; all types, menu item FONT. */
KB_API int K_AnnSetFontBold(HANNOBJECT hObject, BOOL bBold, uint32_t uFlags);
KB_API int K_AnnGetFontBold(HANNOBJECT hObject, BOOL* pbBold);
KB_API int K_AnnSetFontItalic(HANNOBJECT hObject, BOOL bItalic, uint32_t uFlags);
KB_API int K_AnnGetFontItalic(HANNOBJECT hObject, BOOL* pbItalic);
KB_API int K_AnnSetFontStrikeThrough(HANNOBJECT hObject, BOOL bStrikeThrough, uint32_t uFlags);
KB_API int K_AnnGetFontStrikeThrough(HANNOBJECT hObject, BOOL* pbStrikeThrough);
KB_API int K_AnnSetFontUnderline(HANNOBJECT hObject, BOOL bUnderline, uint32_t uFlags);
KB_API int K_AnnGetFontUnderline(HANNOBJECT hObject, BOOL* pbUnderline);

/* Height in container units; ERROR_INV_PARAMETER below 0. All types, menu item FONT. */
KB_API int K_AnnSetFontSize(HANNOBJECT hObject, double dFontSize, uint32_t uFlags);
KB_API int K_AnnGetFontSize(HANNOBJECT hObject, double* pdFontSize);

/* Typeface; null or "" for the platform's own choice. All types, menu item FONT. */
KB_API int K_AnnSetFontName(HANNOBJECT hObject, const char* pszFontName, uint32_t uFlags);
KB_API int K_AnnGetFontName(HANNOBJECT hObject, char* pszFontName);
KB_API int K_AnnGetFontNameLen(HANNOBJECT hObject, uint32_t* puLength);

/* --- Colours, lines and fills ----------------------------------------------------------------------------------------- */

/* Colour of lines, text and hatches (menu item FOREGROUNDCOLOR) and of fills (BACKGROUNDCOLOR), 0x00BBGGRR. All types. */
KB_API int K_AnnSetForeColor(HANNOBJECT hObject, COLORREF crFore, uint32_t uFlags);
KB_API int K_AnnGetForeColor(HANNOBJECT hObject, COLORREF* pcrFore);
KB_API int K_AnnSetBackColor(HANNOBJECT hObject, COLORREF crBack, uint32_t uFlags);
KB_API int K_AnnGetBackColor(HANNOBJECT hObject, COLORREF* pcrBack);

/* Width in container units, 0 for the thinnest line; ERROR_INV_PARAMETER below 0. Container, pointer, ellipse, freehand,
 * line, polygon, polyline, rect, automation, stamp, ruler, cross product, protractor, freehand hotspot. Menu item LINE. */
KB_API int K_AnnSetLineWidth(HANNOBJECT hObject, double dLineWidth, uint32_t uFlags);
KB_API int K_AnnGetLineWidth(HANNOBJECT hObject, double* pdLineWidth);

/* ANN_LINE_*; ERROR_INV_PARAMETER above 5. The same types and menu item. */
KB_API int K_AnnSetLineStyle(HANNOBJECT hObject, uint32_t nLineStyle, uint32_t uFlags);
KB_API int K_AnnGetLineStyle(HANNOBJECT hObject, uint32_t* pnLineStyle);

/* ANN_FILLPATTERN_*; ERROR_INV_PARAMETER above 6. Container, ellipse, polygon, rect, automation, stamp. Menu item FILL. */
KB_API int K_AnnSetFillPattern(HANNOBJECT hObject, uint32_t nFillPattern, uint32_t uFlags);
KB_API int K_AnnGetFillPattern(HANNOBJECT hObject, uint32_t* pnFillPattern);

/* ANN_FILLMODE_*; ERROR_INV_PARAMETER above 2, and for translucent on a text object. All types but hilite, note, redact,
 * pushpin. Menu item FILL. On types that have a raster operation, translucent sets it to AND; opaque takes AND back to
 * copy. */
KB_API int K_AnnSetFillMode(HANNOBJECT hObject, uint32_t nFillMode, uint32_t uFlags);
KB_API int K_AnnGetFillMode(HANNOBJECT hObject, uint32_t* pnFillMode);

/* ANN_POLYFILL_*; ERROR_INV_PARAMETER above 1. Polygon, automation. Menu item FILL. */
KB_API int K_AnnSetPolyFillMode(HANNOBJECT hObject, uint32_t nPolyFillMode, uint32_t uFlags);
KB_API int K_AnnGetPolyFillMode(HANNOBJECT hObject, uint32_t* pnPolyFillMode);

/* ANN_ROP2_*; other values draw like copy. ERROR_INV_PARAMETER when hObject is a hilite, redact or text. Pointer, ellipse,
 * freehand, line, polygon, polyline, rect, automation, stamp, ruler, cross product, protractor, freehand hotspot. Menu
 * item ROP2. A fill that isn't transparent becomes translucent with AND, opaque with any other. */
KB_API int K_AnnSetROP2(HANNOBJECT hObject, uint32_t nROP2, uint32_t uFlags);
KB_API int K_AnnGetROP2(HANNOBJECT hObject, uint32_t* pnROP2);

/* --- Text and name ---------------------------------------------------------------------------------------------------- */

/* Text of a text, note or pushpin; caption of a button; what a stamp shows in place of a picture (setting it drops image
 * and metafile). Null or "" for none. Also audio, video, cross product, protractor. Menu item TEXT.
 * A ruler's text is its measured length: the getters give it, the setter gives ERROR_FEATURE_NOT_SUPPORTED. */
KB_API int K_AnnSetText(HANNOBJECT hObject, const char* pszText, uint32_t uFlags);
KB_API int K_AnnGetText(HANNOBJECT hObject, char* pszText);
KB_API int K_AnnGetTextLen(HANNOBJECT hObject, uint32_t* puLength);

/* Name of an object, drawn above its top left corner when it is shown. All types, menu item NAME.
 * bShowName, bAutoAdjust (keep the name inside the container): 0 or 1, -1 leaves as is. pszName: null or "" for none,
 * (const char*)-1 leaves as is. pOffset: shift from the standard place in container units, null leaves as is.
 * The four are set one after the other; a failure ends the call, those before have changed. */
KB_API int K_AnnSetName(HANNOBJECT hObject, BOOL bShowName, const char* pszName, const AnnPoint* pOffset, BOOL bAutoAdjust,
                        uint32_t uFlags);
/* Each pointer may be null. puLength: receives the name's length, to size pszName by in a second call. */
KB_API int K_AnnGetName(HANNOBJECT hObject, BOOL* pbShowName, uint32_t* puLength, char* pszName, AnnPoint* pOffset,
                        BOOL* pbAutoAdjust);

/* --- Images ----------------------------------------------------------------------------------------------------------- */

/* Image of a stamp, point or pushpin; pixels saved from under a redact. Null or a record without pixels for none. The
 * setter keeps a copy (pixels shared until one side writes) and drops a metafile, and the text of a stamp.
 * The getter gives a record that borrows the object's pixels: K_FreeBitmap only clears it, K_CopyBitmap makes an own one.
 * It is good until the object's image changes. ERROR_INV_BITMAP with a zeroed record: there is no image. */
KB_API int K_AnnSetBitmap(HANNOBJECT hObject, const KernelBitmap* pBitmap, uint32_t uFlags);
KB_API int K_AnnGetBitmap(HANNOBJECT hObject, KernelBitmap* pBitmap);

/* Image that a pushpin shows in run mode. Menu item SECONDARYFILE. As above. */
KB_API int K_AnnSetSecondaryBitmap(HANNOBJECT hObject, const KernelBitmap* pBitmap, uint32_t uFlags);
KB_API int K_AnnGetSecondaryBitmap(HANNOBJECT hObject, KernelBitmap* pBitmap);

/* The image has a transparent colour (menu item TRANSPARENT); which one (TRANSPARENTCOLOR). Stamp, point, automation. */
KB_API int K_AnnSetTransparent(HANNOBJECT hObject, BOOL bTransparent, uint32_t uFlags);
KB_API int K_AnnGetTransparent(HANNOBJECT hObject, BOOL* pbTransparent);
KB_API int K_AnnSetTransparentColor(HANNOBJECT hObject, COLORREF crTransparent, uint32_t uFlags);
KB_API int K_AnnGetTransparentColor(HANNOBJECT hObject, COLORREF* pcrTransparent);

/* --- Scale ------------------------------------------------------------------------------------------------------------ */

/* An object's own scale about its top left corner, and its offset in units of its container (client pixels for a root).
 * All types. On a root they are the zoom and the scroll of a view. */
KB_API int K_AnnSetScalarX(HANNOBJECT hObject, double dScalarX, uint32_t uFlags);
KB_API int K_AnnGetScalarX(HANNOBJECT hObject, double* pdScalarX);
KB_API int K_AnnSetScalarY(HANNOBJECT hObject, double dScalarY, uint32_t uFlags);
KB_API int K_AnnGetScalarY(HANNOBJECT hObject, double* pdScalarY);
KB_API int K_AnnSetOffsetX(HANNOBJECT hObject, double dOffsetX, uint32_t uFlags);
KB_API int K_AnnGetOffsetX(HANNOBJECT hObject, double* pdOffsetX);
KB_API int K_AnnSetOffsetY(HANNOBJECT hObject, double dOffsetY, uint32_t uFlags);
KB_API int K_AnnGetOffsetY(HANNOBJECT hObject, double* pdOffsetY);

/* --- Measurement ------------------------------------------------------------------------------------------------------ */

/* Resolution of the image under a measurement object in dots an inch; ERROR_INV_PARAMETER below 0, a value below 1 counts
 * as 150. Ruler, cross product, protractor, automation. */
KB_API int K_AnnSetBitmapDpiX(HANNOBJECT hObject, double dDpiX, uint32_t uFlags);
KB_API int K_AnnGetBitmapDpiX(HANNOBJECT hObject, double* pdDpiX);
KB_API int K_AnnSetBitmapDpiY(HANNOBJECT hObject, double dDpiY, uint32_t uFlags);
KB_API int K_AnnGetBitmapDpiY(HANNOBJECT hObject, double* pdDpiY);

/* Length of the gauge ends in container units. Ruler, cross product, protractor, automation. Menu item RULER. */
KB_API int K_AnnSetGaugeLength(HANNOBJECT hObject, double dGaugeLength, uint32_t uFlags);
KB_API int K_AnnGetGaugeLength(HANNOBJECT hObject, double* pdGaugeLength);

/* ANN_SHOW_* or-ed. The same types and menu item. */
KB_API int K_AnnSetShowFlags(HANNOBJECT hObject, uint32_t uShowFlags, uint32_t uFlags);
KB_API int K_AnnGetShowFlags(HANNOBJECT hObject, uint32_t* puShowFlags);

/* Show selection handles on the points, and how many points lie between two handles (0: a handle on each). nGapNodes is
 * stored only if bShowNodes is true. Freehand, polyline, polygon, freehand hotspot, automation. Menu item NODES. */
KB_API int K_AnnSetNodes(HANNOBJECT hObject, BOOL bShowNodes, uint32_t nGapNodes, uint32_t uFlags);
KB_API int K_AnnGetNodes(HANNOBJECT hObject, BOOL* pbShowNodes, uint32_t* pnGapNodes);

/* --- Automation objects alone ----------------------------------------------------------------------------------------- */

/* Resolution at which point sizes of dialogs count, in dots an inch; ERROR_INV_PARAMETER below 0, a value below 1 counts
 * as 150. */
KB_API int K_AnnSetDpiX(HANNOBJECT hAutomation, double dDpiX, uint32_t uFlags);
KB_API int K_AnnGetDpiX(HANNOBJECT hAutomation, double* pdDpiX);
KB_API int K_AnnSetDpiY(HANNOBJECT hAutomation, double dDpiY, uint32_t uFlags);
KB_API int K_AnnGetDpiY(HANNOBJECT hAutomation, double* pdDpiY);

/* The context menu offers hyperlinks. */
KB_API int K_AnnSetHyperlinkMenuEnable(HANNOBJECT hAutomation, BOOL bEnable, uint32_t uFlags);
KB_API int K_AnnGetHyperlinkMenuEnable(HANNOBJECT hAutomation, BOOL* pbEnable);

/* ANN_TOOL_*, what a press with the mouse makes. ERROR_INV_PARAMETER for 49 to 255 and above 512. */
KB_API int K_AnnSetTool(HANNOBJECT hAutomation, uint32_t nTool);
KB_API int K_AnnGetTool(HANNOBJECT hAutomation, uint32_t* pnTool);

/* Fill colour of new objects by type: hilite, note and pushpin (one colour), redact, all others (one colour).
 * ERROR_INV_PARAMETER, also from the getter, when hAutomation is no automation. */
KB_API int K_AnnSetAutoBackColor(HANNOBJECT hAutomation, uint32_t nType, COLORREF crBack);
KB_API int K_AnnGetAutoBackColor(HANNOBJECT hAutomation, uint32_t nType, COLORREF* pcrBack);

#ifdef __cplusplus
}
#endif
#endif
