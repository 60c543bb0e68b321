// Every exported function of the object store as a row: getters by what they read into, the others as calls with plain
// arguments. Tests run them with bad handles, missing pointers and failing memory.
#pragma once

#include "tests/store/support.h"

namespace kbann::test {

union Out {
    BOOL flag;
    uint32_t number;
    double real;
    HANNOBJECT handle;
    HWND window;
    KernelBitmap bitmap;
    RECT rect;
    HANDLE metafile;
    AnnPoint points[8];
    char text[64];
};

struct Getter {
    const char* name;
    int (*get)(HANNOBJECT, Out*); // null asks for the missing out-pointer
    uint32_t type;                // of an object that has it
};

// The getter called with that member of Out.
template <auto Function, auto Member> int into(HANNOBJECT handle, Out* out) {
    if constexpr (requires { Function(handle, &(out->*Member)); })
        return Function(handle, out ? &(out->*Member) : nullptr);
    else
        return Function(handle, out ? out->*Member : nullptr); // an array
}

inline const Getter getters[] = {
    {"K_AnnGetType", into<K_AnnGetType, &Out::number>, ANN_OBJECT_RECT},
    {"K_AnnGetVisible", into<K_AnnGetVisible, &Out::flag>, ANN_OBJECT_RECT},
    {"K_AnnGetSelected", into<K_AnnGetSelected, &Out::flag>, ANN_OBJECT_RECT},
    {"K_AnnGetTag", into<K_AnnGetTag, &Out::number>, ANN_OBJECT_RECT},
    {"K_AnnGetActiveState", into<K_AnnGetActiveState, &Out::number>, ANN_OBJECT_BUTTON},
    {"K_AnnGetGrouping", into<K_AnnGetGrouping, &Out::flag>, ANN_OBJECT_CONTAINER},
    {"K_AnnGetWnd", into<K_AnnGetWnd, &Out::window>, ANN_OBJECT_RECT},
    {"K_AnnGetUserMode", into<K_AnnGetUserMode, &Out::number>, ANN_OBJECT_RECT},
    {"K_AnnGetFontBold", into<K_AnnGetFontBold, &Out::flag>, ANN_OBJECT_RECT},
    {"K_AnnGetFontItalic", into<K_AnnGetFontItalic, &Out::flag>, ANN_OBJECT_RECT},
    {"K_AnnGetFontStrikeThrough", into<K_AnnGetFontStrikeThrough, &Out::flag>, ANN_OBJECT_RECT},
    {"K_AnnGetFontUnderline", into<K_AnnGetFontUnderline, &Out::flag>, ANN_OBJECT_RECT},
    {"K_AnnGetFontSize", into<K_AnnGetFontSize, &Out::real>, ANN_OBJECT_RECT},
    {"K_AnnGetFontName", into<K_AnnGetFontName, &Out::text>, ANN_OBJECT_TEXT},
    {"K_AnnGetFontNameLen", into<K_AnnGetFontNameLen, &Out::number>, ANN_OBJECT_TEXT},
    {"K_AnnGetForeColor", into<K_AnnGetForeColor, &Out::number>, ANN_OBJECT_RECT},
    {"K_AnnGetBackColor", into<K_AnnGetBackColor, &Out::number>, ANN_OBJECT_RECT},
    {"K_AnnGetLineWidth", into<K_AnnGetLineWidth, &Out::real>, ANN_OBJECT_RECT},
    {"K_AnnGetLineStyle", into<K_AnnGetLineStyle, &Out::number>, ANN_OBJECT_RECT},
    {"K_AnnGetFillPattern", into<K_AnnGetFillPattern, &Out::number>, ANN_OBJECT_RECT},
    {"K_AnnGetFillMode", into<K_AnnGetFillMode, &Out::number>, ANN_OBJECT_RECT},
    {"K_AnnGetPolyFillMode", into<K_AnnGetPolyFillMode, &Out::number>, ANN_OBJECT_POLYGON},
    {"K_AnnGetROP2", into<K_AnnGetROP2, &Out::number>, ANN_OBJECT_RECT},
    {"K_AnnGetText", into<K_AnnGetText, &Out::text>, ANN_OBJECT_NOTE},
    {"K_AnnGetTextLen", into<K_AnnGetTextLen, &Out::number>, ANN_OBJECT_NOTE},
    {"K_AnnGetBitmap", into<K_AnnGetBitmap, &Out::bitmap>, ANN_OBJECT_POINT},
    {"K_AnnGetSecondaryBitmap", into<K_AnnGetSecondaryBitmap, &Out::bitmap>, ANN_OBJECT_PUSHPIN},
    {"K_AnnGetMetafile", into<K_AnnGetMetafile, &Out::metafile>, ANN_OBJECT_HOTSPOT},
    {"K_AnnGetTransparent", into<K_AnnGetTransparent, &Out::flag>, ANN_OBJECT_STAMP},
    {"K_AnnGetTransparentColor", into<K_AnnGetTransparentColor, &Out::number>, ANN_OBJECT_STAMP},
    {"K_AnnGetScalarX", into<K_AnnGetScalarX, &Out::real>, ANN_OBJECT_RECT},
    {"K_AnnGetScalarY", into<K_AnnGetScalarY, &Out::real>, ANN_OBJECT_RECT},
    {"K_AnnGetOffsetX", into<K_AnnGetOffsetX, &Out::real>, ANN_OBJECT_RECT},
    {"K_AnnGetOffsetY", into<K_AnnGetOffsetY, &Out::real>, ANN_OBJECT_RECT},
    {"K_AnnGetBitmapDpiX", into<K_AnnGetBitmapDpiX, &Out::real>, ANN_OBJECT_RULER},
    {"K_AnnGetBitmapDpiY", into<K_AnnGetBitmapDpiY, &Out::real>, ANN_OBJECT_RULER},
    {"K_AnnGetGaugeLength", into<K_AnnGetGaugeLength, &Out::real>, ANN_OBJECT_RULER},
    {"K_AnnGetShowFlags", into<K_AnnGetShowFlags, &Out::number>, ANN_OBJECT_RULER},
    {"K_AnnGetUnitLen", into<K_AnnGetUnitLen, &Out::number>, ANN_OBJECT_RULER},
    {"K_AnnGetDistance", [](HANNOBJECT h, Out* o) { return K_AnnGetDistance(h, o ? &o->real : nullptr, nullptr); },
     ANN_OBJECT_CROSSPRODUCT},
    {"K_AnnGetAngle", into<K_AnnGetAngle, &Out::real>, ANN_OBJECT_PROTRACTOR},
    {"K_AnnGetLocked", into<K_AnnGetLocked, &Out::flag>, ANN_OBJECT_RECT},
    {"K_AnnGetDpiX", into<K_AnnGetDpiX, &Out::real>, ANN_OBJECT_AUTOMATION},
    {"K_AnnGetDpiY", into<K_AnnGetDpiY, &Out::real>, ANN_OBJECT_AUTOMATION},
    {"K_AnnGetHyperlinkMenuEnable", into<K_AnnGetHyperlinkMenuEnable, &Out::flag>, ANN_OBJECT_AUTOMATION},
    {"K_AnnGetTool", into<K_AnnGetTool, &Out::number>, ANN_OBJECT_AUTOMATION},
    {"K_AnnGetItem", into<K_AnnGetItem, &Out::handle>, ANN_OBJECT_CONTAINER},
    {"K_AnnGetContainer", into<K_AnnGetContainer, &Out::handle>, ANN_OBJECT_RECT},
    {"K_AnnGetTopContainer", into<K_AnnGetTopContainer, &Out::handle>, ANN_OBJECT_RECT},
    {"K_AnnCopy", into<K_AnnCopy, &Out::handle>, ANN_OBJECT_RECT},
    {"K_AnnGetSelectCount", into<K_AnnGetSelectCount, &Out::number>, ANN_OBJECT_RECT},
    {"K_AnnGetSelectItems", into<K_AnnGetSelectItems, &Out::handle>, ANN_OBJECT_RECT},
    {"K_AnnGetSelectRect", into<K_AnnGetSelectRect, &Out::rect>, ANN_OBJECT_RECT},
    {"K_AnnGetArea", into<K_AnnGetArea, &Out::number>, ANN_OBJECT_RECT},
    {"K_AnnGetPointCount", into<K_AnnGetPointCount, &Out::number>, ANN_OBJECT_LINE},
    {"K_AnnGetPoints", [](HANNOBJECT h, Out* o) { return K_AnnGetPoints(h, o ? o->points : nullptr); }, ANN_OBJECT_LINE},
    {"K_AnnGetAutoBackColor", [](HANNOBJECT h, Out* o) { return K_AnnGetAutoBackColor(h, 0, o ? &o->number : nullptr); },
     ANN_OBJECT_AUTOMATION},
    {"K_AnnGetObjectFromTag", [](HANNOBJECT h, Out* o) { return K_AnnGetObjectFromTag(h, 0, 0, o ? &o->handle : nullptr); },
     ANN_OBJECT_RECT},
};

struct Action {
    const char* name;
    int (*run)(HANNOBJECT);
};

template <auto Function, auto Value> int with(HANNOBJECT handle) { return Function(handle, Value, 0); }

inline constexpr AnnRect box{1, 2, 3, 4};

// Into an image and out of it again.
inline int realizeAndBack(HANNOBJECT handle) {
    KernelBitmap image{};
    int code = K_CreateBitmap(&image, 1, 40, 40, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0);
    if (code == SUCCESS) code = K_AnnRealize(&image, nullptr, handle, TRUE);
    if (code == SUCCESS) code = K_AnnUnrealize(&image, nullptr, handle, FALSE);
    K_FreeBitmap(&image);
    return code;
}

inline const Action actions[] = {
    {"K_AnnSetSelected", with<K_AnnSetSelected, TRUE>},
    {"K_AnnSetTag", with<K_AnnSetTag, 1>},
    {"K_AnnSetGrouping", with<K_AnnSetGrouping, TRUE>},
    {"K_AnnShowLockedIcon", with<K_AnnShowLockedIcon, TRUE>},
    {"K_AnnSetFontBold", with<K_AnnSetFontBold, TRUE>},
    {"K_AnnSetFontItalic", with<K_AnnSetFontItalic, TRUE>},
    {"K_AnnSetFontStrikeThrough", with<K_AnnSetFontStrikeThrough, TRUE>},
    {"K_AnnSetFontUnderline", with<K_AnnSetFontUnderline, TRUE>},
    {"K_AnnSetFontSize", with<K_AnnSetFontSize, 1.0>},
    {"K_AnnSetFontName", [](HANNOBJECT h) { return K_AnnSetFontName(h, "x", 0); }},
    {"K_AnnSetForeColor", with<K_AnnSetForeColor, 1u>},
    {"K_AnnSetBackColor", with<K_AnnSetBackColor, 1u>},
    {"K_AnnSetLineWidth", with<K_AnnSetLineWidth, 1.0>},
    {"K_AnnSetLineStyle", with<K_AnnSetLineStyle, 1u>},
    {"K_AnnSetFillPattern", with<K_AnnSetFillPattern, 1u>},
    {"K_AnnSetFillMode", with<K_AnnSetFillMode, 1u>},
    {"K_AnnSetPolyFillMode", with<K_AnnSetPolyFillMode, 1u>},
    {"K_AnnSetROP2", with<K_AnnSetROP2, 1u>},
    {"K_AnnSetText", [](HANNOBJECT h) { return K_AnnSetText(h, "x", 0); }},
    {"K_AnnSetBitmap", with<K_AnnSetBitmap, nullptr>},
    {"K_AnnSetSecondaryBitmap", with<K_AnnSetSecondaryBitmap, nullptr>},
    {"K_AnnSetMetafile", [](HANNOBJECT h) { return K_AnnSetMetafile(h, nullptr, ANN_METAFILE_PAID, 0); }},
    {"K_AnnPrint",
     [](HANNOBJECT h) {
         const HDC screen = GetDC(nullptr);
         const int code = K_AnnPrint(screen, nullptr, h);
         ReleaseDC(nullptr, screen);
         return code;
     }},
    {"K_AnnRealize", realizeAndBack},
    {"K_AnnSetTransparent", with<K_AnnSetTransparent, TRUE>},
    {"K_AnnSetTransparentColor", with<K_AnnSetTransparentColor, 1u>},
    {"K_AnnSetScalarX", with<K_AnnSetScalarX, 1.0>},
    {"K_AnnSetScalarY", with<K_AnnSetScalarY, 1.0>},
    {"K_AnnSetOffsetX", with<K_AnnSetOffsetX, 1.0>},
    {"K_AnnSetOffsetY", with<K_AnnSetOffsetY, 1.0>},
    {"K_AnnSetBitmapDpiX", with<K_AnnSetBitmapDpiX, 1.0>},
    {"K_AnnSetBitmapDpiY", with<K_AnnSetBitmapDpiY, 1.0>},
    {"K_AnnSetGaugeLength", with<K_AnnSetGaugeLength, 1.0>},
    {"K_AnnSetShowFlags", with<K_AnnSetShowFlags, 1u>},
    {"K_AnnSetUnit", [](HANNOBJECT h) { return K_AnnSetUnit(h, ANN_UNIT_INCHES, "Zoll", 20, 0); }},
    {"K_AnnGetUnit", [](HANNOBJECT h) { return K_AnnGetUnit(h, nullptr, nullptr, nullptr); }},
    {"K_AnnSetProtractorOptions",
     [](HANNOBJECT h) { return K_AnnSetProtractorOptions(h, FALSE, ANN_ANGLE_RADIANS, "r", 20, 10, 0); }},
    {"K_AnnGetProtractorOptions",
     [](HANNOBJECT h) { return K_AnnGetProtractorOptions(h, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); }},
    {"K_AnnLock", [](HANNOBJECT h) { return K_AnnLock(h, "key", 0); }},
    {"K_AnnUnlock", [](HANNOBJECT h) { return K_AnnUnlock(h, "key", 0); }},
    {"K_AnnSetDpiX", with<K_AnnSetDpiX, 1.0>},
    {"K_AnnSetDpiY", with<K_AnnSetDpiY, 1.0>},
    {"K_AnnSetHyperlinkMenuEnable", with<K_AnnSetHyperlinkMenuEnable, TRUE>},
    {"K_AnnSetVisible", [](HANNOBJECT h) { return K_AnnSetVisible(h, TRUE, 0, nullptr); }},
    {"K_AnnSetTool", [](HANNOBJECT h) { return K_AnnSetTool(h, 1); }},
    {"K_AnnSetName",
     [](HANNOBJECT h) { return K_AnnSetName(h, -1, reinterpret_cast<const char*>(intptr_t{-1}), nullptr, -1, 0); }},
    {"K_AnnGetName", [](HANNOBJECT h) { return K_AnnGetName(h, nullptr, nullptr, nullptr, nullptr, nullptr); }},
    {"K_AnnSetNodes", [](HANNOBJECT h) { return K_AnnSetNodes(h, TRUE, 1, 0); }},
    {"K_AnnGetNodes",
     [](HANNOBJECT h) {
         BOOL show;
         uint32_t gap;
         return K_AnnGetNodes(h, &show, &gap);
     }},
    {"K_AnnSetAutoBackColor", [](HANNOBJECT h) { return K_AnnSetAutoBackColor(h, 0, 0); }},
    {"K_AnnSetWnd", [](HANNOBJECT h) { return K_AnnSetWnd(h, nullptr); }},
    {"K_AnnSetUserMode", [](HANNOBJECT h) { return K_AnnSetUserMode(h, 0); }},
    {"K_AnnSetUser", [](HANNOBJECT h) { return K_AnnSetUser(h, "a", "b", 0); }},
    {"K_AnnSetRect", [](HANNOBJECT h) { return K_AnnSetRect(h, &box); }},
    {"K_AnnGetRect", [](HANNOBJECT h) { return K_AnnGetRect(h, nullptr, nullptr); }},
    {"K_AnnGetBoundingRect", [](HANNOBJECT h) { return K_AnnGetBoundingRect(h, nullptr, nullptr); }},
    {"K_AnnSetPoints", [](HANNOBJECT h) { return K_AnnSetPoints(h, nullptr, 0); }},
    {"K_AnnMove", [](HANNOBJECT h) { return K_AnnMove(h, 1, 1, 0); }},
    {"K_AnnResize", [](HANNOBJECT h) { return K_AnnResize(h, 1, 1, nullptr, 0); }},
    {"K_AnnRotate", [](HANNOBJECT h) { return K_AnnRotate(h, 1, nullptr, 0); }},
    {"K_AnnFlip", [](HANNOBJECT h) { return K_AnnFlip(h, nullptr, 0); }},
    {"K_AnnReverse", [](HANNOBJECT h) { return K_AnnReverse(h, nullptr, 0); }},
    {"K_AnnDestroy", [](HANNOBJECT h) { return K_AnnDestroy(h, 0); }},
    {"K_AnnRemove", [](HANNOBJECT h) { return K_AnnRemove(h); }},
    {"K_AnnInsert", [](HANNOBJECT h) { return K_AnnInsert(h, h, FALSE); }},
    {"K_AnnCreateItem",
     [](HANNOBJECT h) {
         HANNOBJECT made;
         return K_AnnCreateItem(h, ANN_OBJECT_RECT, TRUE, &made);
     }},
    {"K_AnnBringToFront", [](HANNOBJECT h) { return K_AnnBringToFront(h); }},
    {"K_AnnSendToBack", [](HANNOBJECT h) { return K_AnnSendToBack(h); }},
    {"K_AnnGroup", [](HANNOBJECT h) { return K_AnnGroup(h, 0, nullptr); }},
    {"K_AnnUngroup", [](HANNOBJECT h) { return K_AnnUngroup(h, 0, nullptr); }},
    {"K_AnnEnumerate",
     [](HANNOBJECT h) {
         return K_AnnEnumerate(
             h, [](HANNOBJECT, void*) { return int{SUCCESS}; }, nullptr, 0, nullptr);
     }},
    {"K_AnnHitTest",
     [](HANNOBJECT h) {
         POINT point{2, 3};
         uint32_t result;
         HANNOBJECT found;
         return K_AnnHitTest(h, &point, &result, &found);
     }},
    {"K_AnnSelectPoint",
     [](HANNOBJECT h) {
         const POINT point{2, 3};
         return K_AnnSelectPoint(h, &point);
     }},
    {"K_AnnSelectRect",
     [](HANNOBJECT h) {
         const RECT rect{-9, -9, 99, 99};
         return K_AnnSelectRect(h, &rect);
     }},
    {"K_AnnGetRgnHandle",
     [](HANNOBJECT h) {
         const AnnRgnXForm form{KB_VIEW_LEFT_TOP, 2, 1, 2, 1, 0, 0};
         HRGN region = nullptr;
         const int code = K_AnnGetRgnHandle(h, &form, &region);
         if (code == SUCCESS) DeleteObject(region);
         return code;
     }},
    {"K_AnnDraw", [](HANNOBJECT h) { return K_AnnDraw(nullptr, nullptr, h); }},
    {"K_AnnSaveTag",
     [](HANNOBJECT h) {
         const int code = K_AnnSaveTag(h, ANN_FMT_NATIVE, FALSE);
         K_SetFileTag(ANN_TAG_TIFF, 1, 0, nullptr);
         return code;
     }},
    {"K_AnnSaveMemory",
     [](HANNOBJECT h) {
         HGLOBAL memory = nullptr;
         const int code = K_AnnSaveMemory(h, ANN_FMT_NATIVE, FALSE, &memory, nullptr, nullptr);
         if (code == SUCCESS) GlobalFree(memory);
         return code;
     }},
    {"K_AnnSaveOffset", [](HANNOBJECT h) { return K_AnnSaveOffset(-1, 0, nullptr, h, ANN_FMT_NATIVE, FALSE, nullptr); }},
};

} // namespace kbann::test
