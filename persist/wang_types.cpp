// Marks and objects, as tables. A rectangle and a stamp become one of several marks, by their state.
#include "persist/wang_types.h"
#include "kbann/object_types.h"
#include "store/geometry.h"

#include <algorithm>
#include <array>

namespace kbann {
namespace {

struct KindRow {
    uint32_t nType;
    WangKind kind;
};

constexpr WangKind boxMark{
    .uType = wangHollowRect, .lineSize = WangLineSize::one, .path = WangPath::none, .bInPure = false, .bText = false};
constexpr WangKind playedMark{
    .uType = wangHollowRect, .lineSize = WangLineSize::one, .path = WangPath::none, .bInPure = false, .bText = true};
constexpr WangKind noteMark{
    .uType = wangNote, .lineSize = WangLineSize::none, .path = WangPath::none, .bInPure = true, .bText = true};

constexpr WangKind lineMark(uint32_t uType, WangPath path) {
    return {.uType = uType, .lineSize = WangLineSize::own, .path = path, .bInPure = true, .bText = false};
}

constexpr WangKind plainMark(uint32_t uType, WangLineSize lineSize) {
    return {.uType = uType, .lineSize = lineSize, .path = WangPath::none, .bInPure = true, .bText = false};
}

// In the order of the type numbers.
constexpr auto kindRows = std::to_array<KindRow>({
    {ANN_OBJECT_CONTAINER, boxMark},
    {ANN_OBJECT_POINTER, lineMark(wangLine, WangPath::ends)},
    {ANN_OBJECT_AUDIO, playedMark},
    {ANN_OBJECT_BUTTON, {wangNote, WangLineSize::one, WangPath::none, false, true}},
    {ANN_OBJECT_ELLIPSE, lineMark(wangFreehand, WangPath::ellipse)},
    {ANN_OBJECT_FREEHAND, lineMark(wangFreehand, WangPath::list)},
    {ANN_OBJECT_HILITE, plainMark(wangFilledRect, WangLineSize::own)},
    {ANN_OBJECT_HOTSPOT, boxMark},
    {ANN_OBJECT_LINE, lineMark(wangLine, WangPath::list)},
    {ANN_OBJECT_NOTE, noteMark},
    {ANN_OBJECT_POLYGON, lineMark(wangFreehand, WangPath::closedList)},
    {ANN_OBJECT_POLYLINE, lineMark(wangFreehand, WangPath::list)},
    {ANN_OBJECT_RECT, plainMark(wangFilledRect, WangLineSize::own)},
    {ANN_OBJECT_REDACT, plainMark(wangFilledRect, WangLineSize::none)},
    {ANN_OBJECT_STAMP, plainMark(wangImage, WangLineSize::none)},
    {ANN_OBJECT_TEXT, {wangText, WangLineSize::none, WangPath::none, true, true}},
    {ANN_OBJECT_AUTOMATION, boxMark},
    {ANN_OBJECT_RULER, lineMark(wangLine, WangPath::list)},
    {ANN_OBJECT_CROSSPRODUCT, lineMark(wangFreehand, WangPath::cross)},
    {ANN_OBJECT_POINT, plainMark(wangImage, WangLineSize::none)},
    {ANN_OBJECT_PROTRACTOR, lineMark(wangFreehand, WangPath::list)},
    {ANN_OBJECT_VIDEO, playedMark},
    {ANN_OBJECT_PUSHPIN, noteMark},
    {ANN_OBJECT_FREEHANDHOTSPOT, lineMark(wangFreehand, WangPath::list)},
});

consteval bool kindRowsAreInOrder() {
    for (uint32_t i = 0; i < kindRows.size(); ++i)
        if (kindRows[i].nType != i) return false;
    return kindRows.size() == ANN_OBJECT_LAST;
}
static_assert(kindRowsAreInOrder());

struct ObjectRow {
    uint32_t uType;
    WangObject object;
};

// Filled rectangles stand apart: they depend on the highlighting.
constexpr auto objectRows = std::to_array<ObjectRow>({
    {wangImage, {ANN_OBJECT_STAMP, {}}},
    {wangLinkedImage, {ANN_OBJECT_STAMP, {}}},
    {wangLine, {ANN_OBJECT_LINE, {}}},
    {wangFreehand, {ANN_OBJECT_FREEHAND, {}}},
    {wangHollowRect, {ANN_OBJECT_RECT, ANN_FILLMODE_TRANSPARENT}},
    {wangText, {ANN_OBJECT_TEXT, {}}},
    {wangTextFile, {ANN_OBJECT_TEXT, {}}},
    {wangTextStamp, {ANN_OBJECT_STAMP, {}}},
    {wangNote, {ANN_OBJECT_NOTE, {}}},
    {wangForm, {ANN_OBJECT_STAMP, {}}},
});

} // namespace

WangKind annWangKindOf(const AnnObject& object) {
    WangKind kind = kindRows[object.nType].kind;
    if (object.nType == ANN_OBJECT_RECT) {
        RECT upright;
        if (!annQuadRect(identityMatrix, object.quad, upright)) return lineMark(wangFreehand, WangPath::corners);
        if (object.nFillPattern == 0 && object.nFillMode == ANN_FILLMODE_TRANSPARENT) kind.uType = wangHollowRect;
    } else if (object.nType == ANN_OBJECT_STAMP && !object.bitmap.Allocated) {
        return {
            .uType = wangTextStamp, .lineSize = WangLineSize::own, .path = WangPath::none, .bInPure = true, .bText = true};
    }
    return kind;
}

void annWangPathOf(const AnnObject& object, WangPath path, std::vector<POINT>& points) {
    points.clear();
    const auto add = [&points](const AnnPoint& p) { points.push_back(annRound(p)); };
    switch (path) {
    case WangPath::none: return;
    case WangPath::ends:
        add(object.ptPointerTip);
        add(object.ptPointerTail);
        return;
    case WangPath::ellipse: points = annEllipsePolygon(identityMatrix, object.quad); break;
    case WangPath::list:
    case WangPath::closedList: std::ranges::for_each(object.pPoints, add); break;
    case WangPath::corners: std::ranges::for_each(annQuadCorners(identityMatrix, object.quad).p, add); break;
    case WangPath::cross:
        // One stroke along both lines. With fewer points there are no two lines: they go out as they are.
        if (object.nPoints() < 5) {
            std::ranges::for_each(object.pPoints, add);
            return;
        }
        for (const uint32_t i : {0u, 2u, 3u, 4u, 2u, 1u}) add(object.pPoints[i]);
        return;
    }
    if (path != WangPath::list && !points.empty()) points.push_back(points.front());
}

std::optional<WangObject> annWangObjectOf(const WangAttributes& attributes) {
    const auto uType = static_cast<uint32_t>(attributes.uType);
    if (uType == wangFilledRect) {
        return attributes.bHighlighting ? WangObject{ANN_OBJECT_HILITE, ANN_FILLMODE_TRANSLUCENT}
                                        : WangObject{ANN_OBJECT_RECT, ANN_FILLMODE_OPAQUE};
    }
    const auto row = std::ranges::find(objectRows, uType, &ObjectRow::uType);
    return row == objectRows.end() ? std::nullopt : std::optional(row->object);
}

} // namespace kbann
