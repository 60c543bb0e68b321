// Exported functions: hit tests, selection by place, regions and areas.
#include "kbann/hit_testing.h"
#include "kbann/properties.h"
#include "store/library.h"
#include "store/regions.h"
#include "store/selection.h"
#include "store/tree.h"

#include <algorithm>

using namespace kbann;

int K_AnnHitTest(HANNOBJECT hObject, POINT* pPoint, uint32_t* pnResult, HANNOBJECT* phObject) {
    return exported([&]() -> int {
        AnnObject* record = annFromHandle(hObject);
        if (!record || !pPoint || !pnResult || !phObject) return ERROR_INV_PARAMETER;
        const Hit hit = annHitTest(*annTop(record), *pPoint);
        *pPoint = hit.point;
        *pnResult = hit.result;
        *phObject = annToHandle(hit.record);
        return SUCCESS;
    });
}

int K_AnnSelectPoint(HANNOBJECT hObject, const POINT* pPoint) {
    return exported([&]() -> int {
        AnnObject* record = annFromHandle(hObject);
        if (!record || !pPoint) return ERROR_INV_PARAMETER;
        const Hit hit = annHitTest(*annTop(record), *pPoint);
        return hit.record ? K_AnnSetSelected(annToHandle(hit.record), TRUE, ANN_FLAG_NOTCONTAINER) : int{SUCCESS};
    });
}

int K_AnnSelectRect(HANNOBJECT hObject, const RECT* pRect) {
    return exported([&]() -> int {
        AnnObject* record = annFromHandle(hObject);
        if (!record || !pRect) return ERROR_INV_PARAMETER;
        annSelectRect(*annTop(record), *pRect);
        return SUCCESS;
    });
}

int K_AnnGetSelectCount(HANNOBJECT hObject, uint32_t* puCount) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || !puCount) return ERROR_INV_PARAMETER;
        uint32_t count = 0;
        annForEachSelected(*record, [&count](const AnnObject&) { ++count; });
        *puCount = count;
        return SUCCESS;
    });
}

int K_AnnGetSelectItems(HANNOBJECT hObject, HANNOBJECT* pItems) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || !pItems) return ERROR_INV_PARAMETER;
        annForEachSelected(*record, [&pItems](const AnnObject& found) { *pItems++ = annToHandle(&found); });
        return SUCCESS;
    });
}

int K_AnnGetSelectRect(HANNOBJECT hObject, RECT* pRect) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || !pRect) return ERROR_INV_PARAMETER;
        RECT rect{};
        annForEachSelected(*record, [&rect](const AnnObject& found) { rect = annUnion(rect, found.rcBounds); });
        *pRect = rect;
        return SUCCESS;
    });
}

int K_AnnGetRgnHandle(HANNOBJECT hObject, const AnnRgnXForm* pXForm, HRGN* phRgn) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        return record && phRgn ? annObjectRegion(*record, pXForm, *phRgn) : int{ERROR_INV_PARAMETER};
    });
}

int K_AnnGetArea(HANNOBJECT hObject, uint32_t* puCount) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || !puCount) return ERROR_INV_PARAMETER;
        HRGN region = nullptr;
        if (const int code = annObjectRegion(*record, nullptr, region); code != SUCCESS) return code;
        *puCount = static_cast<uint32_t>(std::min<uint64_t>(KbRegionArea(region), UINT32_MAX));
        DeleteObject(region);
        return SUCCESS;
    });
}
