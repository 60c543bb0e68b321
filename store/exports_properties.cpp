// Exported functions: the members of the property family. Each names its row of the table; the few with rules of their
// own stand at the end.
#include "kbann/properties.h"
#include "store/library.h"
#include "store/properties.h"
#include "store/tree.h"

using namespace kbann;

namespace {

int set(HANNOBJECT hObject, Property id, uint32_t value, uint32_t uFlags) {
    return exported([&] { return annSetChecked(hObject, id, {.number = value}, uFlags); });
}
int set(HANNOBJECT hObject, Property id, BOOL value, uint32_t uFlags) {
    return set(hObject, id, static_cast<uint32_t>(value), uFlags);
}
int set(HANNOBJECT hObject, Property id, double value, uint32_t uFlags) {
    return exported([&] { return annSetChecked(hObject, id, {.real = value}, uFlags); });
}
int set(HANNOBJECT hObject, Property id, const void* value, uint32_t uFlags) {
    return exported([&] { return annSetChecked(hObject, id, {.pointer = value}, uFlags); });
}
int get(HANNOBJECT hObject, Property id, void* out) {
    return exported([&] { return annGetProperty(hObject, id, out); });
}

} // namespace

int K_AnnSetFontBold(HANNOBJECT hObject, BOOL bBold, uint32_t uFlags) {
    return set(hObject, Property::fontBold, bBold, uFlags);
}
int K_AnnGetFontBold(HANNOBJECT hObject, BOOL* pbBold) { return get(hObject, Property::fontBold, pbBold); }

int K_AnnSetFontItalic(HANNOBJECT hObject, BOOL bItalic, uint32_t uFlags) {
    return set(hObject, Property::fontItalic, bItalic, uFlags);
}
int K_AnnGetFontItalic(HANNOBJECT hObject, BOOL* pbItalic) { return get(hObject, Property::fontItalic, pbItalic); }

int K_AnnSetFontStrikeThrough(HANNOBJECT hObject, BOOL bStrikeThrough, uint32_t uFlags) {
    return set(hObject, Property::fontStrikeThrough, bStrikeThrough, uFlags);
}
int K_AnnGetFontStrikeThrough(HANNOBJECT hObject, BOOL* pbStrikeThrough) {
    return get(hObject, Property::fontStrikeThrough, pbStrikeThrough);
}

int K_AnnSetFontUnderline(HANNOBJECT hObject, BOOL bUnderline, uint32_t uFlags) {
    return set(hObject, Property::fontUnderline, bUnderline, uFlags);
}
int K_AnnGetFontUnderline(HANNOBJECT hObject, BOOL* pbUnderline) {
    return get(hObject, Property::fontUnderline, pbUnderline);
}

int K_AnnSetSelected(HANNOBJECT hObject, BOOL bSelected, uint32_t uFlags) {
    return set(hObject, Property::selected, bSelected, uFlags);
}
int K_AnnGetSelected(HANNOBJECT hObject, BOOL* pbSelected) { return get(hObject, Property::selected, pbSelected); }

int K_AnnSetTag(HANNOBJECT hObject, uint32_t uTag, uint32_t uFlags) { return set(hObject, Property::tag, uTag, uFlags); }
int K_AnnGetTag(HANNOBJECT hObject, uint32_t* puTag) { return get(hObject, Property::tag, puTag); }

int K_AnnSetGrouping(HANNOBJECT hObject, BOOL bGrouping, uint32_t uFlags) {
    return set(hObject, Property::grouping, bGrouping, uFlags);
}
int K_AnnGetGrouping(HANNOBJECT hObject, BOOL* pbGrouping) { return get(hObject, Property::grouping, pbGrouping); }

int K_AnnSetFontSize(HANNOBJECT hObject, double dFontSize, uint32_t uFlags) {
    return set(hObject, Property::fontSize, dFontSize, uFlags);
}
int K_AnnGetFontSize(HANNOBJECT hObject, double* pdFontSize) { return get(hObject, Property::fontSize, pdFontSize); }

int K_AnnSetForeColor(HANNOBJECT hObject, COLORREF crFore, uint32_t uFlags) {
    return set(hObject, Property::foreColor, crFore, uFlags);
}
int K_AnnGetForeColor(HANNOBJECT hObject, COLORREF* pcrFore) { return get(hObject, Property::foreColor, pcrFore); }

int K_AnnSetBackColor(HANNOBJECT hObject, COLORREF crBack, uint32_t uFlags) {
    return set(hObject, Property::backColor, crBack, uFlags);
}
int K_AnnGetBackColor(HANNOBJECT hObject, COLORREF* pcrBack) { return get(hObject, Property::backColor, pcrBack); }

int K_AnnSetLineWidth(HANNOBJECT hObject, double dLineWidth, uint32_t uFlags) {
    return set(hObject, Property::lineWidth, dLineWidth, uFlags);
}
int K_AnnGetLineWidth(HANNOBJECT hObject, double* pdLineWidth) { return get(hObject, Property::lineWidth, pdLineWidth); }

int K_AnnSetLineStyle(HANNOBJECT hObject, uint32_t nLineStyle, uint32_t uFlags) {
    return set(hObject, Property::lineStyle, nLineStyle, uFlags);
}
int K_AnnGetLineStyle(HANNOBJECT hObject, uint32_t* pnLineStyle) { return get(hObject, Property::lineStyle, pnLineStyle); }

int K_AnnSetFillPattern(HANNOBJECT hObject, uint32_t nFillPattern, uint32_t uFlags) {
    return set(hObject, Property::fillPattern, nFillPattern, uFlags);
}
int K_AnnGetFillPattern(HANNOBJECT hObject, uint32_t* pnFillPattern) {
    return get(hObject, Property::fillPattern, pnFillPattern);
}

int K_AnnSetPolyFillMode(HANNOBJECT hObject, uint32_t nPolyFillMode, uint32_t uFlags) {
    return set(hObject, Property::polyFillMode, nPolyFillMode, uFlags);
}
int K_AnnGetPolyFillMode(HANNOBJECT hObject, uint32_t* pnPolyFillMode) {
    return get(hObject, Property::polyFillMode, pnPolyFillMode);
}

int K_AnnSetROP2(HANNOBJECT hObject, uint32_t nROP2, uint32_t uFlags) { return set(hObject, Property::rop2, nROP2, uFlags); }
int K_AnnGetROP2(HANNOBJECT hObject, uint32_t* pnROP2) { return get(hObject, Property::rop2, pnROP2); }

int K_AnnSetTransparent(HANNOBJECT hObject, BOOL bTransparent, uint32_t uFlags) {
    return set(hObject, Property::transparent, bTransparent, uFlags);
}
int K_AnnGetTransparent(HANNOBJECT hObject, BOOL* pbTransparent) {
    return get(hObject, Property::transparent, pbTransparent);
}

int K_AnnSetTransparentColor(HANNOBJECT hObject, COLORREF crTransparent, uint32_t uFlags) {
    return set(hObject, Property::transparentColor, crTransparent, uFlags);
}
int K_AnnGetTransparentColor(HANNOBJECT hObject, COLORREF* pcrTransparent) {
    return get(hObject, Property::transparentColor, pcrTransparent);
}

int K_AnnSetBitmap(HANNOBJECT hObject, const KernelBitmap* pBitmap, uint32_t uFlags) {
    return set(hObject, Property::bitmap, pBitmap, uFlags);
}
int K_AnnGetBitmap(HANNOBJECT hObject, KernelBitmap* pBitmap) { return get(hObject, Property::bitmap, pBitmap); }

int K_AnnSetSecondaryBitmap(HANNOBJECT hObject, const KernelBitmap* pBitmap, uint32_t uFlags) {
    return set(hObject, Property::secondaryBitmap, pBitmap, uFlags);
}
int K_AnnGetSecondaryBitmap(HANNOBJECT hObject, KernelBitmap* pBitmap) {
    return get(hObject, Property::secondaryBitmap, pBitmap);
}

int K_AnnSetScalarX(HANNOBJECT hObject, double dScalarX, uint32_t uFlags) {
    return set(hObject, Property::scalarX, dScalarX, uFlags);
}
int K_AnnGetScalarX(HANNOBJECT hObject, double* pdScalarX) { return get(hObject, Property::scalarX, pdScalarX); }

int K_AnnSetScalarY(HANNOBJECT hObject, double dScalarY, uint32_t uFlags) {
    return set(hObject, Property::scalarY, dScalarY, uFlags);
}
int K_AnnGetScalarY(HANNOBJECT hObject, double* pdScalarY) { return get(hObject, Property::scalarY, pdScalarY); }

int K_AnnSetOffsetX(HANNOBJECT hObject, double dOffsetX, uint32_t uFlags) {
    return set(hObject, Property::offsetX, dOffsetX, uFlags);
}
int K_AnnGetOffsetX(HANNOBJECT hObject, double* pdOffsetX) { return get(hObject, Property::offsetX, pdOffsetX); }

int K_AnnSetOffsetY(HANNOBJECT hObject, double dOffsetY, uint32_t uFlags) {
    return set(hObject, Property::offsetY, dOffsetY, uFlags);
}
int K_AnnGetOffsetY(HANNOBJECT hObject, double* pdOffsetY) { return get(hObject, Property::offsetY, pdOffsetY); }

int K_AnnSetBitmapDpiX(HANNOBJECT hObject, double dDpiX, uint32_t uFlags) {
    return set(hObject, Property::bitmapDpiX, dDpiX, uFlags);
}
int K_AnnGetBitmapDpiX(HANNOBJECT hObject, double* pdDpiX) { return get(hObject, Property::bitmapDpiX, pdDpiX); }

int K_AnnSetBitmapDpiY(HANNOBJECT hObject, double dDpiY, uint32_t uFlags) {
    return set(hObject, Property::bitmapDpiY, dDpiY, uFlags);
}
int K_AnnGetBitmapDpiY(HANNOBJECT hObject, double* pdDpiY) { return get(hObject, Property::bitmapDpiY, pdDpiY); }

int K_AnnSetGaugeLength(HANNOBJECT hObject, double dGaugeLength, uint32_t uFlags) {
    return set(hObject, Property::gaugeLength, dGaugeLength, uFlags);
}
int K_AnnGetGaugeLength(HANNOBJECT hObject, double* pdGaugeLength) {
    return get(hObject, Property::gaugeLength, pdGaugeLength);
}

int K_AnnSetShowFlags(HANNOBJECT hObject, uint32_t uShowFlags, uint32_t uFlags) {
    return set(hObject, Property::showFlags, uShowFlags, uFlags);
}
int K_AnnGetShowFlags(HANNOBJECT hObject, uint32_t* puShowFlags) { return get(hObject, Property::showFlags, puShowFlags); }

int K_AnnSetDpiX(HANNOBJECT hObject, double dDpiX, uint32_t uFlags) { return set(hObject, Property::dpiX, dDpiX, uFlags); }
int K_AnnGetDpiX(HANNOBJECT hObject, double* pdDpiX) { return get(hObject, Property::dpiX, pdDpiX); }

int K_AnnSetDpiY(HANNOBJECT hObject, double dDpiY, uint32_t uFlags) { return set(hObject, Property::dpiY, dDpiY, uFlags); }
int K_AnnGetDpiY(HANNOBJECT hObject, double* pdDpiY) { return get(hObject, Property::dpiY, pdDpiY); }

int K_AnnSetHyperlinkMenuEnable(HANNOBJECT hObject, BOOL bEnable, uint32_t uFlags) {
    return set(hObject, Property::hyperlinkMenuEnable, bEnable, uFlags);
}
int K_AnnGetHyperlinkMenuEnable(HANNOBJECT hObject, BOOL* pbEnable) {
    return get(hObject, Property::hyperlinkMenuEnable, pbEnable);
}

int K_AnnSetFontName(HANNOBJECT hObject, const char* pszFontName, uint32_t uFlags) {
    return set(hObject, Property::fontName, pszFontName, uFlags);
}
int K_AnnGetFontName(HANNOBJECT hObject, char* pszFontName) { return get(hObject, Property::fontName, pszFontName); }
int K_AnnGetFontNameLen(HANNOBJECT hObject, uint32_t* puLength) {
    return exported([&] { return annGetStringLength(hObject, Property::fontName, puLength); });
}

int K_AnnShowLockedIcon(HANNOBJECT hObject, BOOL bShow, uint32_t uFlags) {
    return set(hObject, Property::showLockedIcon, bShow, uFlags);
}

int K_AnnGetFillMode(HANNOBJECT hObject, uint32_t* pnFillMode) { return get(hObject, Property::fillMode, pnFillMode); }
int K_AnnGetType(HANNOBJECT hObject, uint32_t* pnType) { return get(hObject, Property::type, pnType); }
int K_AnnGetActiveState(HANNOBJECT hObject, uint32_t* pnActiveState) {
    return get(hObject, Property::activeState, pnActiveState);
}
int K_AnnGetUserMode(HANNOBJECT hObject, uint32_t* pnUserMode) { return get(hObject, Property::userMode, pnUserMode); }
int K_AnnGetTool(HANNOBJECT hAutomation, uint32_t* pnTool) { return get(hAutomation, Property::tool, pnTool); }
int K_AnnGetVisible(HANNOBJECT hObject, BOOL* pbVisible) { return get(hObject, Property::visible, pbVisible); }

// --- Members with rules of their own ---

int K_AnnSetVisible(HANNOBJECT hObject, BOOL bVisible, uint32_t uFlags, const char* pszUserList) {
    return exported([&] {
        return annSetChecked(hObject, Property::visible, {.number = static_cast<uint32_t>(bVisible)}, uFlags, pszUserList);
    });
}

// A text is opaque or not: letters have no translucent ground.
int K_AnnSetFillMode(HANNOBJECT hObject, uint32_t nFillMode, uint32_t uFlags) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (record && record->nType == ANN_OBJECT_TEXT && nFillMode == ANN_FILLMODE_TRANSLUCENT) return ERROR_INV_PARAMETER;
        return annSetChecked(hObject, Property::fillMode, {.number = nFillMode}, uFlags);
    });
}

// A ruler's text is its measured length, which can be read alone.
int K_AnnSetText(HANNOBJECT hObject, const char* pszText, uint32_t uFlags) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (record && record->nType == ANN_OBJECT_RULER) return ERROR_FEATURE_NOT_SUPPORTED;
        return annSetChecked(hObject, Property::text, {.pointer = pszText}, uFlags);
    });
}

int K_AnnGetText(HANNOBJECT hObject, char* pszText) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || !pszText || record->nType != ANN_OBJECT_RULER)
            return annGetProperty(hObject, Property::text, pszText);
        const Text& text = record->pMeasure->pszDistance;
        std::memcpy(pszText, text.c_str(), size_t{text.length()} + 1);
        return SUCCESS;
    });
}

int K_AnnGetTextLen(HANNOBJECT hObject, uint32_t* puLength) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || !puLength || record->nType != ANN_OBJECT_RULER)
            return annGetStringLength(hObject, Property::text, puLength);
        *puLength = record->pMeasure->pszDistance.length();
        return SUCCESS;
    });
}

// -1 for a flag or the text and a null offset leave that value alone. The text is compared as a pointer, never read then.
int K_AnnSetName(HANNOBJECT hObject, BOOL bShowName, const char* pszName, const AnnPoint* pOffset, BOOL bAutoAdjust,
                 uint32_t uFlags) {
    return exported([&]() -> int {
        if (!annFromHandle(hObject)) return ERROR_INV_PARAMETER;
        int code = SUCCESS;
        if (bShowName != -1) code = set(hObject, Property::showName, bShowName, uFlags);
        if (code == SUCCESS && reinterpret_cast<intptr_t>(pszName) != -1)
            code = set(hObject, Property::name, pszName, uFlags);
        if (code == SUCCESS && pOffset) code = set(hObject, Property::nameOffset, static_cast<const void*>(pOffset), uFlags);
        if (code == SUCCESS && bAutoAdjust != -1) code = set(hObject, Property::nameAutoAdjust, bAutoAdjust, uFlags);
        return code;
    });
}

int K_AnnGetName(HANNOBJECT hObject, BOOL* pbShowName, uint32_t* puLength, char* pszName, AnnPoint* pOffset,
                 BOOL* pbAutoAdjust) {
    return exported([&]() -> int {
        if (!annFromHandle(hObject)) return ERROR_INV_PARAMETER;
        int code = SUCCESS;
        if (pbShowName) code = annGetProperty(hObject, Property::showName, pbShowName);
        if (code == SUCCESS && puLength) code = annGetStringLength(hObject, Property::name, puLength);
        if (code == SUCCESS && pszName) code = annGetProperty(hObject, Property::name, pszName);
        if (code == SUCCESS && pOffset) code = annGetProperty(hObject, Property::nameOffset, pOffset);
        if (code == SUCCESS && pbAutoAdjust) code = annGetProperty(hObject, Property::nameAutoAdjust, pbAutoAdjust);
        return code;
    });
}

int K_AnnSetNodes(HANNOBJECT hObject, BOOL bShowNodes, uint32_t nGapNodes, uint32_t uFlags) {
    return exported([&]() -> int {
        const int code = set(hObject, Property::showNodes, bShowNodes, uFlags);
        return code == SUCCESS && bShowNodes ? set(hObject, Property::gapNodes, nGapNodes, uFlags) : code;
    });
}

int K_AnnGetNodes(HANNOBJECT hObject, BOOL* pbShowNodes, uint32_t* pnGapNodes) {
    return exported([&]() -> int {
        if (!pbShowNodes || !pnGapNodes) return ERROR_INV_PARAMETER;
        const int code = annGetProperty(hObject, Property::showNodes, pbShowNodes);
        return code == SUCCESS ? annGetProperty(hObject, Property::gapNodes, pnGapNodes) : code;
    });
}

// The application's own tools lie from ANN_TOOL_USER_FIRST to ANN_TOOL_USER_LAST; between there is none.
int K_AnnSetTool(HANNOBJECT hAutomation, uint32_t nTool) {
    return exported([&]() -> int {
        if (!annFromHandle(hAutomation)) return ERROR_INV_PARAMETER;
        if ((nTool > ANN_TOOL_LAST && nTool < ANN_TOOL_USER_FIRST) || nTool > ANN_TOOL_USER_LAST) return ERROR_INV_PARAMETER;
        return set(hAutomation, Property::tool, nTool, 0u);
    });
}

namespace {

Property autoBackColor(uint32_t nType) {
    switch (nType) {
    case ANN_OBJECT_HILITE: return Property::hiliteBack;
    case ANN_OBJECT_NOTE:
    case ANN_OBJECT_PUSHPIN: return Property::noteBack;
    case ANN_OBJECT_REDACT: return Property::redactBack;
    default: return Property::backColor;
    }
}

bool isAutomation(HANNOBJECT handle) {
    const AnnObject* record = annFromHandle(handle);
    return record && record->nType == ANN_OBJECT_AUTOMATION;
}

// The whole tree has the same value: it is set at the root.
int setOnTree(HANNOBJECT hObject, Property id, uint32_t value) {
    AnnObject* record = annFromHandle(hObject);
    if (!record) return ERROR_INV_PARAMETER;
    return annSetChecked(annToHandle(annTop(record)), id, {.number = value}, ANN_FLAG_RECURSE);
}

} // namespace

int K_AnnSetAutoBackColor(HANNOBJECT hAutomation, uint32_t nType, COLORREF crBack) {
    return exported([&]() -> int {
        return isAutomation(hAutomation) ? set(hAutomation, autoBackColor(nType), crBack, 0u) : ERROR_INV_PARAMETER;
    });
}

int K_AnnGetAutoBackColor(HANNOBJECT hAutomation, uint32_t nType, COLORREF* pcrBack) {
    return exported([&]() -> int {
        return isAutomation(hAutomation) ? annGetProperty(hAutomation, autoBackColor(nType), pcrBack) : ERROR_INV_PARAMETER;
    });
}

int K_AnnSetWnd(HANNOBJECT hObject, HWND hWnd) {
    return exported([&] { return setOnTree(hObject, Property::window, kb::handleValue(hWnd)); });
}

int K_AnnGetWnd(HANNOBJECT hObject, HWND* phWnd) {
    return exported([&]() -> int {
        uint32_t value = 0;
        const int code = phWnd ? annGetProperty(hObject, Property::window, &value) : ERROR_INV_PARAMETER;
        if (code == SUCCESS) *phWnd = kb::toHandle<HWND>(value);
        return code;
    });
}

int K_AnnSetUserMode(HANNOBJECT hObject, uint32_t nUserMode) {
    return exported([&] { return setOnTree(hObject, Property::userMode, nUserMode); });
}

int K_AnnSetUser(HANNOBJECT hObject, const char* pszOldUser, const char* pszNewUser, uint32_t uFlags) {
    return exported([&]() -> int {
        AnnObject* record = annFromHandle(hObject);
        return record ? annReplaceUser(*record, pszOldUser, pszNewUser, uFlags) : ERROR_INV_PARAMETER;
    });
}
