// Exported functions: rectangles, points and transforms.
#include "kbann/geometry.h"
#include "kbann/object_types.h"
#include "store/geometry.h"
#include "store/library.h"
#include "store/tree.h"

#include <algorithm>

using namespace kbann;

namespace {

constexpr TypeSet typesWithPoints = typesPointer | typesPoints;
constexpr TypeSet typesWithRect = typesQuad | typeSet(ANN_OBJECT_LINE, ANN_OBJECT_POINTER);

int setRect(HANNOBJECT hObject, const AnnRect* pRect) {
    AnnObject* record = annFromHandle(hObject);
    if (!record || !pRect || !hasType(typesWithRect, record->nType)) return ERROR_INV_PARAMETER;
    const AnnPoint leftTop{pRect->left, pRect->top}, rightBottom{pRect->right, pRect->bottom};
    if (record->nPoints() < 2 && (!record->pPoints.reset(2) || !record->pHandles.reset(4))) return ERROR_NO_MEMORY;
    if (record->nType == ANN_OBJECT_POINTER) {
        record->ptPointerTail = leftTop;
        record->ptPointerTip = rightBottom;
    }
    record->quad[0] = leftTop;
    record->quad[1] = {pRect->left, pRect->bottom};
    record->quad[2] = rightBottom;
    record->pPoints[0] = leftTop;
    record->pPoints[1] = rightBottom;
    annUpdate(*record, Repaint::object);
    return SUCCESS;
}

// The name's rectangle, back from the client's pixels.
AnnRect nameRect(const AnnObject& record) {
    const RECT& r = record.rcName;
    PointBox box;
    for (const AnnPoint& p : {AnnPoint{double(r.left), double(r.top)}, AnnPoint{double(r.right), double(r.top)},
                              AnnPoint{double(r.left), double(r.bottom)}, AnnPoint{double(r.right), double(r.bottom)}})
        box.add(annApply(record.xfFromClient, p));
    return box.rect();
}

// How many points a type has to have; 0: any number.
uint32_t exactPointCount(uint32_t nType) {
    switch (nType) {
    case ANN_OBJECT_POINTER:
    case ANN_OBJECT_LINE:
    case ANN_OBJECT_RULER: return 2;
    case ANN_OBJECT_CROSSPRODUCT: return 5;
    case ANN_OBJECT_POINT: return 1;
    case ANN_OBJECT_PROTRACTOR: return 3;
    default: return 0;
    }
}

int setPoints(HANNOBJECT hObject, const AnnPoint* pPoints, uint32_t nPoints) {
    AnnObject* record = annFromHandle(hObject);
    if (!record) return ERROR_INV_PARAMETER;
    if (!hasType(typesWithPoints, record->nType)) return ERROR_FEATURE_NOT_SUPPORTED;
    const uint32_t exact = exactPointCount(record->nType);
    if (exact && nPoints != exact) return ERROR_INV_PARAMETER;
    const uint32_t count = pPoints ? nPoints : 0;
    int code = SUCCESS;
    if (!record->pPoints.assign({pPoints, count}) || !record->pHandles.reset(count ? std::max(count, 5u) : 0)) {
        record->pPoints.clear();
        code = ERROR_NO_MEMORY;
    }
    if (code == SUCCESS && count && record->nType == ANN_OBJECT_POINTER) {
        record->ptPointerTip = pPoints[0];
        record->ptPointerTail = pPoints[1];
    }
    annUpdate(*record, Repaint::object);
    return code;
}

// Runs the walk; each object turns about the caller's centre or its own.
template <class Make>
int transformWalk(HANNOBJECT hObject, Transform how, double degrees, const AnnPoint* pCenter, uint32_t uFlags, Make&& make) {
    AnnObject* record = annFromHandle(hObject);
    if (!record) return ERROR_INV_PARAMETER;
    return annWalk(record, uFlags, nullptr, [&](AnnObject& found) -> int {
        const AnnPoint center = pCenter ? *pCenter : found.ptCenter;
        const int code = annApplyMatrix(found, how, annAbout(center, make()), degrees);
        annUpdate(found, uFlags & ANN_FLAG_NOINVALIDATE ? Repaint::none : Repaint::object);
        return code;
    });
}

} // namespace

int K_AnnSetRect(HANNOBJECT hObject, const AnnRect* pRect) {
    return exported([&] { return setRect(hObject, pRect); });
}

int K_AnnGetRect(HANNOBJECT hObject, AnnRect* pRect, AnnRect* pNameRect) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record) return ERROR_INV_PARAMETER;
        if (pRect) *pRect = record->annBounds;
        if (pNameRect) *pNameRect = annShowsName(*record) ? nameRect(*record) : AnnRect{};
        return SUCCESS;
    });
}

int K_AnnGetBoundingRect(HANNOBJECT hObject, RECT* pRect, RECT* pNameRect) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record) return ERROR_INV_PARAMETER;
        if (pRect) *pRect = record->rcBounds;
        if (pNameRect) *pNameRect = record->bShowName ? record->rcName : RECT{};
        return SUCCESS;
    });
}

int K_AnnSetPoints(HANNOBJECT hObject, const AnnPoint* pPoints, uint32_t nPoints) {
    return exported([&] { return setPoints(hObject, pPoints, nPoints); });
}

int K_AnnGetPoints(HANNOBJECT hObject, AnnPoint* pPoints) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || !pPoints) return ERROR_INV_PARAMETER;
        if (!hasType(typesWithPoints, record->nType)) return ERROR_FEATURE_NOT_SUPPORTED;
        std::ranges::copy(record->pPoints, pPoints);
        return SUCCESS;
    });
}

int K_AnnGetPointCount(HANNOBJECT hObject, uint32_t* pnPoints) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (!record || !pnPoints) return ERROR_INV_PARAMETER;
        if (!hasType(typesWithPoints, record->nType)) return ERROR_FEATURE_NOT_SUPPORTED;
        *pnPoints = record->nPoints();
        return SUCCESS;
    });
}

int K_AnnMove(HANNOBJECT hObject, double dX, double dY, uint32_t uFlags) {
    return exported([&] {
        constexpr AnnPoint origin{};
        return transformWalk(hObject, Transform::moveOrResize, 0, &origin, uFlags,
                             [&] { return AnnMatrix{1, 0, 0, 1, dX, dY}; });
    });
}

int K_AnnResize(HANNOBJECT hObject, double dScaleX, double dScaleY, const AnnPoint* pCenter, uint32_t uFlags) {
    return exported([&]() -> int {
        const AnnObject* record = annFromHandle(hObject);
        if (record && record->nType == ANN_OBJECT_POINT) return ERROR_INV_PARAMETER;
        return transformWalk(hObject, Transform::moveOrResize, 0, pCenter, uFlags,
                             [&] { return AnnMatrix{dScaleX, 0, 0, dScaleY, 0, 0}; });
    });
}

int K_AnnRotate(HANNOBJECT hObject, double dAngle, const AnnPoint* pCenter, uint32_t uFlags) {
    return exported([&] {
        const AnnMatrix turn = annRotation(dAngle);
        return transformWalk(hObject, Transform::rotate, dAngle, pCenter, uFlags, [&] { return turn; });
    });
}

int K_AnnFlip(HANNOBJECT hObject, const AnnPoint* pCenter, uint32_t uFlags) {
    return exported([&] {
        return transformWalk(hObject, Transform::flip, 0, pCenter, uFlags, [] { return AnnMatrix{1, 0, 0, -1, 0, 0}; });
    });
}

int K_AnnReverse(HANNOBJECT hObject, const AnnPoint* pCenter, uint32_t uFlags) {
    return exported([&] {
        return transformWalk(hObject, Transform::reverse, 0, pCenter, uFlags, [] { return AnnMatrix{-1, 0, 0, 1, 0, 0}; });
    });
}
