// What annUpdate derives: bounds, centre, matrices, rectangles in client pixels, handles, the place of the name. One pass
// over a subtree in drawing order, as each object stands on what its container has got before it.
#include "store/geometry.h"
#include "kbann/object_types.h"
#include "platform/user.h"
#include "store/handles.h"
#include "store/hit_index.h"
#include "store/measure.h"

#include <algorithm>
#include <charconv>

namespace kbann {
namespace {

constexpr RECT clientLimit{0, 0, 8000, 8000};
constexpr int32_t handleRoom = 7; // pixels a selected object needs for its handles

AnnMatrix shift(double dx, double dy) { return {1, 0, 0, 1, dx, dy}; }

AnnMatrix toClient(const AnnObject& record) {
    const double left = record.annBounds.left, top = record.annBounds.top;
    const AnnMatrix scaled{record.dScalarX, 0, 0, record.dScalarY, 0, 0};
    AnnMatrix m = annMul(annMul(shift(-left, -top), scaled), shift(record.dOffsetX + left, record.dOffsetY + top));
    if (const AnnObject* parent = record.pParent) {
        m.e += parent->annBounds.left;
        m.f += parent->annBounds.top;
        m = annMul(m, parent->xfToClient);
    }
    return m;
}

AnnPoint centerOf(const AnnObject& record) {
    if (record.nType == ANN_OBJECT_CROSSPRODUCT && record.nPoints() >= 3) return record.pPoints[2];
    if (record.nType == ANN_OBJECT_PROTRACTOR && record.nPoints() >= 2) return record.pPoints[1];
    const AnnRect& b = record.annBounds;
    return {(b.left + b.right) / 2, (b.top + b.bottom) / 2};
}

bool handleRoomFor(AnnObject& record, uint32_t count) {
    if (record.pHandles.size() >= count || record.pHandles.reset(std::max(count, 5u))) return true;
    record.nHandles = 0;
    return false;
}

void setHandles(AnnObject& record, std::span<const AnnPoint> points) {
    if (!handleRoomFor(record, static_cast<uint32_t>(points.size()))) return;
    std::ranges::transform(points, record.pHandles.begin(),
                           [&](AnnPoint p) { return annRound(annApply(record.xfToClient, p)); });
    record.nHandles = static_cast<uint32_t>(points.size());
}

// The first point, each nGapNodes + 1 further on, and always the last.
void setNodeHandles(AnnObject& record) {
    const uint64_t count = record.nPoints();
    record.nHandles = 0;
    if (!record.bShowNodes || !count) return;
    const uint64_t step = uint64_t{record.nGapNodes} + 1;
    const uint64_t handles = count == 1 ? 1 : (count - 2) / step + 2;
    if (!handleRoomFor(record, static_cast<uint32_t>(handles))) return;
    for (uint64_t i = 0; i < handles; ++i)
        record.pHandles[i] = annRound(annApply(record.xfToClient, record.pPoints[std::min(i * step, count - 1)]));
    record.nHandles = static_cast<uint32_t>(handles);
}

void computeHandles(AnnObject& record) {
    switch (record.nType) {
    case ANN_OBJECT_AUTOMATION: record.nHandles = 0; break;
    case ANN_OBJECT_POINTER: setHandles(record, std::array{record.ptPointerTip, record.ptPointerTail}); break;
    case ANN_OBJECT_LINE:
    case ANN_OBJECT_FREEHAND:
    case ANN_OBJECT_POLYLINE:
    case ANN_OBJECT_POLYGON:
    case ANN_OBJECT_FREEHANDHOTSPOT: setNodeHandles(record); break;
    case ANN_OBJECT_RULER:
    case ANN_OBJECT_CROSSPRODUCT:
    case ANN_OBJECT_POINT:
    case ANN_OBJECT_PROTRACTOR: setHandles(record, {record.pPoints.data(), record.nPoints()}); break;
    default:
        setHandles(record, std::array{record.quad[0], record.quad[1], record.quad[2], annFourthCorner(record.quad)});
        break;
    }
}

RECT pointPictureRect(const AnnObject& record, const AnnMatrix& m) {
    if (record.pPoints.empty()) return {};
    const AnnPoint p = annApply(m, record.pPoints[0]);
    const double w = m.a * record.bitmap.Width + m.b * record.bitmap.Height;
    const double h = m.c * record.bitmap.Width + m.d * record.bitmap.Height;
    return {annTruncate(p.x - w / 2), annTruncate(p.y - h / 2), annTruncate(p.x + (w + 1) / 2),
            annTruncate(p.y + (h + 1) / 2)};
}

RECT boxOf(std::span<const AnnPoint> points, const AnnMatrix& m) {
    PointBox box;
    for (const AnnPoint& p : points) box.add(annApply(m, p));
    return box.pixels();
}

// The value that stored data would bring back.
double storedValue(double x) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, x, std::chars_format::general, 9).ptr;
    std::from_chars(text, end, x);
    return x;
}

// Whether stored data brings back the scales that an object's space comes from.
bool hasStoredScales(const AnnObject& record) {
    for (const AnnObject* at = &record; at; at = at->pParent)
        if (storedValue(at->dScalarX) != at->dScalarX || storedValue(at->dScalarY) != at->dScalarY) return false;
    return true;
}

// Offsets count in whole pixels once scaled. One that lies on the edge of a pixel could fall off it when it and the scales have
// been stored with nine digits, and would be corrected anew at each load: it goes a quarter of a pixel in.
void steadyOffset(AnnPoint& offset, const AnnObject& parent) {
    if (storedValue(offset.x) == offset.x && storedValue(offset.y) == offset.y && hasStoredScales(parent)) return;
    const AnnMatrix& there = parent.xfToClient;
    const AnnMatrix& back = parent.xfFromClient;
    const auto nudge = [](double pixels) {
        constexpr double lost = 1e-7; // at most, of a number that is the product of some rounded ones
        const double size = std::fabs(pixels), behindEdge = size - std::floor(size), margin = lost * size;
        if (size < 0.5) return 0.0; // cut off, 0 has no edge
        if (behindEdge <= margin) return std::copysign(0.25, pixels);
        return 1 - behindEdge <= margin ? -std::copysign(0.25, pixels) : 0.0;
    };
    const AnnPoint by{nudge(there.a * offset.x + there.b * offset.y), nudge(there.c * offset.x + there.d * offset.y)};
    offset.x += back.a * by.x + back.b * by.y;
    offset.y += back.c * by.x + back.d * by.y;
}

// Whether a rectangle touches places where pixel coordinates saturate, or nearly so.
bool isFarOut(const RECT& r) {
    constexpr LONG limit = 1 << 30;
    return std::min({r.left, r.top, r.right, r.bottom}) < -limit || std::max({r.left, r.top, r.right, r.bottom}) > limit;
}

// Whether so many units make a pixel that an offset in units can't hit one.
bool hasNoPixels(const AnnMatrix& fromClient) {
    constexpr double limit = 1e12;
    const double most =
        std::max({std::fabs(fromClient.a), std::fabs(fromClient.b), std::fabs(fromClient.c), std::fabs(fromClient.d)});
    return !(most < limit);
}

// Whether an offset leads so far that its stored digits don't tell a pixel, or is no number.
bool isBeyondDigits(const AnnPoint& offset, const AnnMatrix& fromClient) {
    constexpr double pixels = 1e6;
    const double across = std::max(std::fabs(fromClient.a), std::fabs(fromClient.b)),
                 down = std::max(std::fabs(fromClient.c), std::fabs(fromClient.d));
    return !(std::fabs(offset.x) <= pixels * across && std::fabs(offset.y) <= pixels * down);
}

// The offset remembers a correction. One taken back may come out a pixel short and need another. Where coordinates saturate or
// units are lost, corrections never come to an end, and an offset would change with each load: there none is remembered.
void placeName(AnnObject& record, TextExtents& extents) {
    record.rcName = {};
    if (!annShowsName(record)) return;
    POINT pushed{};
    for (int attempt = 0; attempt < 4; ++attempt) {
        record.rcName = annPlaceName(record, record.xfToClient, record.rcBounds, extents, pushed);
        if (!pushed.x && !pushed.y) break;
        const AnnMatrix& back = record.pParent->xfFromClient;
        if (isFarOut(record.rcBounds) || isFarOut(record.pParent->rcBounds) || hasNoPixels(back)) break;
        if (isBeyondDigits(record.ptNameOffset, back)) break;
        record.ptNameOffset.x += back.a * pushed.x + back.b * pushed.y;
        record.ptNameOffset.y += back.c * pushed.x + back.d * pushed.y;
        steadyOffset(record.ptNameOffset, *record.pParent);
    }
}

void computeOne(AnnObject& record, TextExtents& extents) {
    annBoundsOf(record, nullptr, record.annBounds);
    record.ptCenter = centerOf(record);
    record.xfToClient = toClient(record);
    record.xfFromClient = annInverse(record.xfToClient);
    if (record.nType == ANN_OBJECT_POINTER)
        record.dArrowWidth = record.dArrowLength = annArrowSize(record, record.xfToClient);
    record.rcBounds = hasType(typesMeasured, record.nType) ? annComputeMeasures(record, extents)
                                                           : annShapeBounds(record, record.xfToClient);
    computeHandles(record);
    record.ptBrushOrg = {record.rcBounds.left, record.rcBounds.top};

    int32_t width = annRound(annScale(record.dLineWidth, record.xfToClient));
    if (record.bSelected && record.bShowNodes) width = std::max(width, handleRoom);
    const bool lineTold = record.nLineStyle == ANN_LINE_NULL || width;
    record.rcBounds = annInflate(record.rcBounds, lineTold ? (int64_t{width} + 1) / 2 : 1);

    placeName(record, extents);
    record.rcInvalid = annIntersect(annUnion(record.rcBounds, record.rcName), clientLimit);
    if (record.pParent) record.rcInvalid = annIntersect(record.rcInvalid, record.pParent->rcInvalid);
    record.bDerived = true;
}

void requestRepaint(const AnnObject& record, Repaint repaint) {
    if (!record.hWnd || !record.bVisible || repaint == Repaint::none) return;
    const HWND window = kb::toHandle<HWND>(record.hWnd);
    if (repaint == Repaint::object) {
        InvalidateRect(window, &record.rcInvalid, FALSE);
        return;
    }
    for (uint32_t i = 0; i < record.nHandles; ++i) {
        const POINT& p = record.pHandles[i];
        const RECT square{annAdd(p.x, -3), annAdd(p.y, -3), annAdd(p.x, 4), annAdd(p.y, 4)};
        InvalidateRect(window, &square, FALSE);
    }
}

} // namespace

void annBoundsOf(const AnnObject& record, const AnnMatrix* matrix, AnnRect& out) {
    const AnnMatrix& m = matrix ? *matrix : identityMatrix;
    PointBox box;
    if (hasType(typesQuad, record.nType)) {
        for (const AnnPoint& corner : annQuadCorners(m, record.quad).p) box.add(corner);
    } else if (record.nType == ANN_OBJECT_POINTER) {
        box.add(annApply(m, record.ptPointerTip));
        box.add(annApply(m, record.ptPointerTail));
    } else if (record.nType == ANN_OBJECT_CROSSPRODUCT) {
        if (record.nPoints() < 5) return;
        AnnPoint points[5];
        std::copy_n(record.pPoints.begin(), 5, points);
        annCrossSquare(&m, points);
        for (const AnnPoint& p : points) box.add(p);
    } else if (record.nType == ANN_OBJECT_POINT && record.nPoints()) {
        const AnnPoint p = annApply(m, record.pPoints[0]);
        const double w = m.a * record.bitmap.Width + m.b * record.bitmap.Height;
        const double h = m.c * record.bitmap.Width + m.d * record.bitmap.Height;
        box.add({p.x - w / 2, p.y - h / 2});
        box.add({p.x + w / 2, p.y + h / 2});
    } else if (record.nType == ANN_OBJECT_AUTOMATION) {
        return;
    } else {
        for (const AnnPoint& p : record.pPoints) box.add(annApply(m, p));
    }
    out = box.rect();
}

RECT annShapeBounds(const AnnObject& record, const AnnMatrix& matrix, uint32_t uOptions) {
    switch (record.nType) {
    case ANN_OBJECT_AUTOMATION: return {};
    case ANN_OBJECT_POINTER: {
        RECT box{};
        for (const POINT& p : annPointerOutline(record, matrix).p)
            box = annUnion(box, {p.x, p.y, annAdd(p.x, 1), annAdd(p.y, 1)});
        return box;
    }
    case ANN_OBJECT_POINT: return pointPictureRect(record, matrix);
    case ANN_OBJECT_RULER:
    case ANN_OBJECT_CROSSPRODUCT:
    case ANN_OBJECT_PROTRACTOR: {
        TextExtents extents;
        MeasureTexts places;
        return annMeasureBounds(record, matrix, uOptions, extents, places);
    }
    case ANN_OBJECT_LINE:
    case ANN_OBJECT_FREEHAND:
    case ANN_OBJECT_POLYLINE:
    case ANN_OBJECT_POLYGON:
    case ANN_OBJECT_FREEHANDHOTSPOT:
        return record.nPoints() < 2 ? RECT{} : boxOf({record.pPoints.data(), record.nPoints()}, matrix);
    default: return boxOf(std::array{record.quad[0], record.quad[1], record.quad[2], annFourthCorner(record.quad)}, matrix);
    }
}

RECT annPlaceName(const AnnObject& record, const AnnMatrix& matrix, const RECT& bounds, TextExtents& extents, POINT& shift) {
    shift = {};
    const SIZE extent = extents.of(record, matrix, record.pszName);
    const AnnObject* parent = record.pParent;
    POINT offset{};
    if (parent) {
        const AnnMatrix& m = parent->xfToClient;
        offset = {annTruncate(m.a * record.ptNameOffset.x + m.b * record.ptNameOffset.y),
                  annTruncate(m.c * record.ptNameOffset.x + m.d * record.ptNameOffset.y)};
    }
    RECT name;
    name.left = annAdd(bounds.left, offset.x);
    name.bottom = annAdd(bounds.top, offset.y);
    name.right = annAdd(name.left, extent.cx);
    name.top = annAdd(name.bottom, -int64_t{extent.cy});
    if (!record.bNameAutoAdjust || !parent) return name;

    PointBox corners;
    for (const AnnPoint& p : annQuadCorners(parent->xfToClient, parent->quad).p) corners.add(p);
    return annHoldInside(name, corners.pixels(), shift);
}

void annDeviceRect(const AnnObject& record, const AnnMatrix& matrix, RECT& out, RECT* pName, uint32_t uOptions) {
    out = annShapeBounds(record, matrix, uOptions);
    int32_t width = annRound(annScale(record.dLineWidth, matrix));
    if (!width && record.nLineStyle != ANN_LINE_NULL) width = 1;
    out = annInflate(out, (int64_t{width} + 1) / 2);
    if (!pName) return;
    TextExtents extents;
    POINT pushed;
    *pName = annShowsName(record) ? annPlaceName(record, matrix, out, extents, pushed) : RECT{};
}

void annComputeGeometry(AnnObject& top) {
    TextExtents extents;
    bool moved = false;
    for (AnnObject* record = &top; record; record = annNextInTree<AnnObject>(record, &top)) {
        const RECT bounds = record->rcBounds, name = record->rcName;
        computeOne(*record, extents);
        moved |= !annSame(bounds, record->rcBounds) || !annSame(name, record->rcName);
    }
    if (moved) annForgetBoxes(top);
}

void annUpdateBefore(AnnObject& record, Repaint repaint) {
    if (!record.bDerived) return annUpdate(record, repaint);
    requestRepaint(record, repaint);
}

void annUpdate(AnnObject& record, Repaint repaint) {
    requestRepaint(record, repaint);
    annComputeGeometry(record);
    requestRepaint(record, repaint);
}

} // namespace kbann
