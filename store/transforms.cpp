// Moving, resizing, rotating and mirroring: a matrix applied to an object's geometry in the way that suits its type. What
// must stay readable (a note, a button) goes with its position alone.
#include "contracts/raster_kernel.h"
#include "kbann/object_types.h"
#include "store/geometry.h"

#include <algorithm>

namespace kbann {
namespace {

enum class Way : uint8_t { nothing, geometry, pointer, position };

void applyGeometry(AnnObject& record, const AnnMatrix& m) {
    for (AnnPoint& p : record.quad) p = annApply(m, p);
    for (AnnPoint& p : record.pPoints) p = annApply(m, p);
}

// Tip and tail stand in the points too, so both must be there.
void applyPointer(AnnObject& record, const AnnMatrix& m) {
    if (record.nPoints() != 2) return;
    record.ptPointerTip = annApply(m, record.ptPointerTip);
    record.ptPointerTail = annApply(m, record.ptPointerTail);
    for (AnnPoint& p : record.pPoints) p = annApply(m, p);
}

void applyPosition(AnnObject& record, const AnnMatrix& m) {
    PointBox box;
    for (const AnnPoint& p : annQuadCorners(identityMatrix, record.quad).p) box.add(p);
    const AnnPoint middle{(box.left + box.right) / 2, (box.top + box.bottom) / 2};
    const AnnPoint moved = annApply(m, middle);
    for (AnnPoint& p : record.quad) p = {p.x + moved.x - middle.x, p.y + moved.y - middle.y};
}

Way wayOf(const AnnObject& record, Transform how) {
    switch (record.nType) {
    case ANN_OBJECT_AUTOMATION: return Way::nothing;
    case ANN_OBJECT_POINTER: return Way::pointer;
    case ANN_OBJECT_STAMP:
        if (how == Transform::rotate)
            return record.metafile.nHandle && !record.bitmap.Allocated ? Way::position : Way::geometry;
        return how == Transform::moveOrResize ? Way::geometry : Way::position;
    case ANN_OBJECT_TEXT: return how == Transform::flip || how == Transform::reverse ? Way::position : Way::geometry;
    case ANN_OBJECT_AUDIO:
    case ANN_OBJECT_BUTTON:
    case ANN_OBJECT_HOTSPOT:
    case ANN_OBJECT_NOTE:
    case ANN_OBJECT_VIDEO:
    case ANN_OBJECT_PUSHPIN: return how == Transform::moveOrResize ? Way::geometry : Way::position;
    default: return Way::geometry;
    }
}

// The pixels that an object brings along turn with it.
int transformPicture(AnnObject& record, Transform how, double degrees) {
    if (!record.bitmap.Allocated) return SUCCESS;
    const bool redact = record.nType == ANN_OBJECT_REDACT;
    if (how == Transform::flip && (redact || record.nType == ANN_OBJECT_STAMP)) return K_FlipBitmap(&record.bitmap);
    if (how == Transform::reverse && redact) return K_ReverseBitmap(&record.bitmap);
    if (how != Transform::rotate || !redact) return SUCCESS;
    constexpr double radians = 0.017453292519943278, hundredths = 5729.577951308239;
    if (!K_BitmapHasRgn(&record.bitmap)) {
        const int code = K_SetBitmapRgnWhole(&record.bitmap, 0, 0, 1);
        if (code != SUCCESS) return code;
    }
    return K_RotateBitmap(&record.bitmap, annTruncate(0.5 + degrees * radians * hundredths), 1, 0);
}

} // namespace

int annApplyMatrix(AnnObject& record, Transform how, const AnnMatrix& matrix, double degrees) {
    if (const int code = transformPicture(record, how, degrees); code != SUCCESS) return code;
    switch (wayOf(record, how)) {
    case Way::nothing: break;
    case Way::geometry: applyGeometry(record, matrix); break;
    case Way::pointer: applyPointer(record, matrix); break;
    case Way::position: applyPosition(record, matrix); break;
    }
    return SUCCESS;
}

void annApplyTransform(const AnnMatrix& matrix, AnnObject& record) {
    if (hasType(typesQuad, record.nType)) {
        for (AnnPoint& p : record.quad) p = annApply(matrix, p);
    } else if (record.nType == ANN_OBJECT_POINTER) {
        applyPointer(record, matrix);
    } else if (record.nType == ANN_OBJECT_CROSSPRODUCT && record.nPoints() == 5) {
        AnnPoint points[5];
        std::ranges::copy(record.pPoints, points);
        annCrossSquare(&matrix, points);
        std::ranges::copy(points, record.pPoints.begin());
    } else if (record.nType != ANN_OBJECT_AUTOMATION) {
        for (AnnPoint& p : record.pPoints) p = annApply(matrix, p);
    }
    annUpdate(record, Repaint::object);
}

} // namespace kbann
