// The walk from front to back and the hit rules of the types.
#include "store/hit_test.h"
#include "store/hit_index.h"
#include "store/hit_shapes.h"
#include "store/measure.h"
#include "store/regions.h"
#include "store/shared_pictures.h"

#include <algorithm>
#include <new>

namespace kbann {
namespace {

// An audio glyph is narrower than its rectangle.
constexpr int audioGlyphWidth = 7813, audioWidth = 14982;
constexpr int32_t pinMargin = 5;

std::span<const AnnPoint> pointsOf(const AnnObject& record) { return {record.pPoints.data(), record.nPoints()}; }

bool isFilled(const AnnObject& record) { return record.nFillMode || record.nFillPattern; }

bool hitLine(const AnnObject& record, POINT point, bool bClosed) {
    return annHitPolyline(record.xfToClient, pointsOf(record), record.dLineWidth, point, bClosed);
}

bool inPolygon(const AnnObject& record, POINT point) {
    return annInPolygon(record.xfToClient, pointsOf(record), annFillModeOf(record), point);
}

bool inQuad(const AnnObject& record, POINT point) { return annInQuad(record.xfToClient, record.quad, point); }

bool onFrame(const AnnObject& record, POINT point) {
    return annHitFrame(record.xfToClient, record.quad, record.dLineWidth, point);
}

bool hitAudio(const AnnObject& record, POINT point) {
    RECT r = record.rcInvalid;
    r.right = r.left + MulDiv(r.right - r.left, audioGlyphWidth, audioWidth);
    return annHitMask(r, annGlyphMask(HitMask::audio), point);
}

bool hitPolygon(const AnnObject& record, POINT point) {
    if (isFilled(record)) {
        if (inPolygon(record, point)) return true;
        if (annRound(annScale(record.dLineWidth, record.xfToClient)) < 2) return false;
    }
    return hitLine(record, point, true);
}

bool hitStamp(const AnnObject& record, POINT point) {
    const bool hasPicture = record.bitmap.Allocated || record.metafile.nHandle;
    if (!hasPicture && record.nLineStyle != ANN_LINE_NULL && onFrame(record, point)) return true;
    return inQuad(record, point);
}

bool hitLeg(const AnnObject& record, POINT point, uint32_t first, const RECT& text) {
    return annHitRuler(record, point, record.pPoints[first], record.pPoints[first + 1], text);
}

bool hitMeasure(const AnnObject& record, POINT point) {
    const MeasurePart& measure = *record.pMeasure;
    switch (record.nType) {
    case ANN_OBJECT_RULER: return record.nPoints() >= 2 && hitLeg(record, point, 0, measure.rcDistanceText);
    case ANN_OBJECT_CROSSPRODUCT:
        return record.nPoints() >= 5 &&
               (hitLeg(record, point, 0, measure.rcDistanceText) || hitLeg(record, point, 3, measure.rcDistance2Text));
    default: // protractor
        if (record.uShowFlags) {
            if (record.nPoints() >= 2 && hitLeg(record, point, 0, measure.rcDistanceText)) return true;
            if (record.nPoints() >= 3 && hitLeg(record, point, 1, measure.rcDistance2Text)) return true;
        } else if (hitLine(record, point, false)) {
            return true;
        }
        return annHolds(measure.rcAngleText, point) || annHitArc(record, point);
    }
}

bool hitPushpin(const AnnObject& record, POINT point) {
    if (!annHolds(record.rcInvalid, point)) return false;
    if (record.nUserMode == ANN_USERMODE_DESIGN || record.nActiveState) return true;
    const KernelBitmap& closed = record.pPushpin->bitmap2;
    RECT sheet;
    if (!closed.Allocated || !annQuadRect(record.xfToClient, record.quad, sheet)) return false;
    const AnnMatrix& m = record.xfToClient;
    const double w = closed.Width, h = closed.Height;
    const int32_t left = annAdd(sheet.left, pinMargin), top = annAdd(sheet.top, pinMargin);
    return annHolds({left, top, annAdd(left, annRound(m.a * w + m.b * h)), annAdd(top, annRound(m.c * w + m.d * h))}, point);
}

bool hitByType(const AnnObject& record, POINT point) {
    switch (record.nType) {
    case ANN_OBJECT_CONTAINER: return !record.pParent && annHolds(record.rcInvalid, point);
    case ANN_OBJECT_POINTER: return annHitPointer(record, point);
    case ANN_OBJECT_AUDIO: return hitAudio(record, point);
    case ANN_OBJECT_VIDEO: return annHitMask(record.rcInvalid, annGlyphMask(HitMask::video), point);
    case ANN_OBJECT_BUTTON:
    case ANN_OBJECT_HOTSPOT:
    case ANN_OBJECT_NOTE: return annHolds(record.rcInvalid, point);
    case ANN_OBJECT_ELLIPSE:
        return annInEllipse(record.xfToClient, record.quad, record.dLineWidth, !isFilled(record), point);
    case ANN_OBJECT_FREEHAND:
    case ANN_OBJECT_LINE:
    case ANN_OBJECT_POLYLINE: return hitLine(record, point, false);
    case ANN_OBJECT_HILITE:
    case ANN_OBJECT_REDACT:
    case ANN_OBJECT_TEXT: return inQuad(record, point);
    case ANN_OBJECT_POLYGON: return hitPolygon(record, point);
    case ANN_OBJECT_RECT: return isFilled(record) ? hitStamp(record, point) : onFrame(record, point);
    case ANN_OBJECT_STAMP: return hitStamp(record, point);
    case ANN_OBJECT_RULER:
    case ANN_OBJECT_CROSSPRODUCT:
    case ANN_OBJECT_PROTRACTOR: return hitMeasure(record, point);
    case ANN_OBJECT_POINT: return annHolds(annShapeBounds(record, record.xfToClient), point);
    case ANN_OBJECT_PUSHPIN: return hitPushpin(record, point);
    case ANN_OBJECT_FREEHANDHOTSPOT: return inPolygon(record, point);
    case ANN_OBJECT_AUTOMATION: return false;
    }
    return false;
}

bool canBeHit(const AnnObject& record) { return record.bVisible && !record.pszLockKey; }

bool inRectangles(const AnnObject& record, POINT point) {
    return annHolds(record.rcBounds, point) || annHolds(record.rcName, point);
}

// The test of an object that the walk has come to; fills in the hit.
bool testObject(AnnObject& record, Hit& hit) {
    if (!inRectangles(record, hit.point) || !canBeHit(record) || !annIsDrawable(record, record.xfToClient)) return false;
    if (record.bSelected && record.nUserMode == ANN_USERMODE_DESIGN) {
        const uint32_t handle = annHandleAt(record.pHandles.data(), record.nHandles, hit.point);
        if (handle < record.nHandles) {
            hit = {&record, ANN_HIT_HANDLE, record.pHandles[handle]};
            return true;
        }
    }
    if (!annHitObject(record, hit.point)) return false;
    hit.record = &record;
    hit.result = record.bShowName && annHolds(record.rcName, hit.point) ? ANN_HIT_NAME : ANN_HIT_BODY;
    return true;
}

} // namespace

uint32_t annHandleAt(const POINT* pHandles, uint32_t nHandles, POINT point) {
    constexpr int32_t before = 3, behind = 4;
    uint32_t i = 0;
    while (i < nHandles && !annHolds({annAdd(pHandles[i].x, -before), annAdd(pHandles[i].y, -before),
                                      annAdd(pHandles[i].x, behind), annAdd(pHandles[i].y, behind)},
                                     point))
        ++i;
    return i;
}

bool annHitObject(const AnnObject& record, POINT point) {
    try {
        return annHolds(record.rcName, point) || hitByType(record, point);
    } catch (const std::bad_alloc&) {
        return false; // what can't be made isn't hit
    }
}

Hit annHitTestPlain(AnnObject& root, POINT point, uint64_t& looked) {
    Hit hit{.point = point};
    // The front-most objects are come to without a look at the rectangles around them.
    AnnObject* record = &root;
    while (record->pLastChild && canBeHit(*record)) record = record->pLastChild;
    while (record != &root) {
        ++looked;
        if (record->pLastChild) {
            if (canBeHit(*record) && inRectangles(*record, point)) {
                record = record->pLastChild;
                continue;
            }
        } else if (testObject(*record, hit)) {
            return hit;
        }
        while (record != &root && !record->pPrev) record = record->pParent; // containers that were entered aren't tested
        if (record != &root) record = record->pPrev;
    }
    testObject(root, hit);
    return hit;
}

Hit annHitTest(AnnObject& root, POINT point) {
    if (root.pHitIndex && root.pHitIndex->covers(point)) {
        Hit hit{.point = point};
        const auto test = [&hit](AnnObject& record) { return testObject(record, hit); };
        if (!root.pHitIndex->find(point, test)) testObject(root, hit);
        return hit;
    }
    uint64_t looked = 0;
    const Hit hit = annHitTestPlain(root, point, looked);
    if (looked >= HitIndex::smallTree && !root.pHitIndex) root.pHitIndex.reset(new (std::nothrow) HitIndex);
    if (root.pHitIndex) root.pHitIndex->walked(root, looked);
    return hit;
}

} // namespace kbann
