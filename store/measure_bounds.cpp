// The shape of measurement objects: strokes, the side of an arc, places of texts, rectangles.
#include "store/measure.h"

#include <algorithm>
#include <numbers>

namespace kbann {
namespace {

constexpr double armsMeet = 0.001; // radians
constexpr int32_t smallestGap = 3; // pixels between a line and its text

// How far a text's left or top lies from where it starts: so many gaps, radii of the arc, and sizes of its own.
struct Shift {
    int8_t gaps, radii, sizes;
    int64_t of(int64_t gap, int64_t radius, int64_t size) const { return gaps * gap + radii * radius + sizes * size; }
};

struct TextShift {
    Shift x, y;
    RECT at(POINT start, int32_t gap, int32_t radius, SIZE size) const {
        RECT r;
        r.left = annAdd(start.x, x.of(gap, radius, size.cx));
        r.top = annAdd(start.y, y.of(gap, radius, size.cy));
        r.right = annAdd(r.left, size.cx);
        r.bottom = annAdd(r.top, size.cy);
        return r;
    }
};

// Beside the end of a line: [to the left of the other end][above it].
constexpr TextShift lineShifts[2][2] = {{{{1, 0, 0}, {1, 0, 0}}, {{1, 0, 0}, {-1, 0, -1}}},
                                        {{{-1, 0, -1}, {1, 0, 0}}, {{-1, 0, -1}, {-1, 0, -1}}}};

// In a quadrant about the vertex: 1 right and above, 2 left and above, 3 left and below, 4 right and below.
constexpr TextShift quadrantShifts[4] = {
    {{1, 0, 0}, {-1, -1, -1}}, {{-1, -1, -1}, {-1, 0, -1}}, {{-1, -1, -1}, {1, 0, 0}}, {{1, 1, 0}, {1, 0, 0}}};

// Where the angle's text stands, by the quadrants of the first arm (rows) and the second (columns): away from both. Arms in
// opposite quadrants leave two; the second is for a turn of more than half from the upper one's end.
struct QuadrantChoice {
    uint8_t narrow, wide;
};
constexpr QuadrantChoice quadrantChoices[4][4] = {{{3, 3}, {4, 4}, {2, 4}, {2, 2}},
                                                  {{4, 4}, {4, 4}, {1, 1}, {3, 1}},
                                                  {{2, 4}, {1, 1}, {1, 1}, {1, 1}},
                                                  {{2, 2}, {3, 1}, {1, 1}, {2, 2}}};

int quadrantOf(AnnPoint vertex, AnnPoint end) {
    const bool right = end.x >= vertex.x, above = end.y < vertex.y;
    if (above) return right ? 1 : 2;
    return right ? 4 : 3;
}

int textQuadrant(const AnnPoint (&points)[3]) {
    const int row = quadrantOf(points[1], points[0]), column = quadrantOf(points[1], points[2]);
    const double first = annDirection(points[1], points[0]), second = annDirection(points[1], points[2]);
    const double turn = row <= 2 ? second - first : first - second;
    const QuadrantChoice& choice = quadrantChoices[row - 1][column - 1];
    return turn <= halfTurn ? choice.narrow : choice.wide;
}

int32_t gapBeside(const AnnObject& record, const AnnMatrix* matrix, double share) {
    const double width = matrix ? annScale(record.dLineWidth, *matrix) : record.dLineWidth;
    return std::max(smallestGap, annTruncate(width * share));
}

RECT containerBox(const AnnObject& record, const AnnMatrix* matrix) {
    const AnnObject& parent = *record.pParent;
    if (!matrix) return parent.rcBounds;
    PointBox box;
    // The way through the object's own space; multiplied out it could put a whole number just beside itself.
    const AnnMatrix there = annIsSame(*matrix, record.xfToClient)
                                ? parent.xfToClient
                                : annMul(annMul(*matrix, record.xfFromClient), parent.xfToClient);
    for (const AnnPoint& corner : annQuadCorners(there, parent.quad).p) box.add(corner);
    return box.pixels();
}

// Held inside the container, out of the way of another rectangle that shares an edge with it.
RECT settle(const AnnObject& record, const AnnMatrix* matrix, RECT text, const RECT* avoid) {
    RECT box{};
    POINT moved;
    if (record.pParent) {
        box = containerBox(record, matrix);
        text = annHoldInside(text, box, moved);
    }
    if (!avoid || annIsEmpty(annIntersect(text, *avoid))) return text;
    if (text.left != avoid->left && text.top != avoid->top) return text;
    const int64_t height = int64_t{text.bottom} - text.top;
    text.top = annAdd(avoid->top, -height);
    if (record.pParent && text.top < box.top) text.top = avoid->bottom;
    text.bottom = annAdd(text.top, height);
    return record.pParent ? annHoldInside(text, box, moved) : text;
}

// A line's text and the end that it goes to. Of two ends that are level in x the lower one is the further.
struct Anchor {
    POINT from, at;
};
Anchor anchorOf(const POINT (&line)[2], TextEnd end) {
    const POINT &p = line[0], &q = line[1];
    const bool firstIsFurther = p.x != q.x ? p.x > q.x : p.y > q.y;
    const bool atFirst = end == TextEnd::first || (end == TextEnd::furtherRight && firstIsFurther);
    return atFirst ? Anchor{q, p} : Anchor{p, q};
}

void addPixel(RECT& box, POINT p) { box = annUnion(box, {p.x, p.y, annAdd(p.x, 1), annAdd(p.y, 1)}); }

// The box of the arc with its vertex. The arc runs counter-clockwise from point `side` to point 2 - `side`; the four
// outermost points of its circle count if it passes them.
RECT arcBox(const AnnObject& record, const POINT (&points)[3], double radius) {
    const int side = annArcSide(record, points);
    const bool whole = side == 1;
    if (whole && record.bAcute) return {};
    const auto pointAt = [&points](int i) { return AnnPoint{double(points[i].x), double(points[i].y)}; };
    const AnnPoint vertex = pointAt(1);
    PointBox box;
    box.add(vertex);
    // An end of the arc, a radius along its arm (to the right for an arm without length), and its direction.
    const auto endOn = [&](int i) {
        const AnnPoint arm{pointAt(i).x - vertex.x, pointAt(i).y - vertex.y};
        const double length = std::hypot(arm.x, arm.y);
        const AnnPoint unit = length < 0.1 ? AnnPoint{1, 0} : AnnPoint{arm.x / length, arm.y / length};
        box.add({vertex.x + radius * unit.x, vertex.y + radius * unit.y});
        return std::atan2(unit.y, unit.x);
    };
    const auto turnBack = [](double turn) { return turn < 0 ? turn + 2 * std::numbers::pi : turn; };
    const double from = endOn(whole ? 0 : side), to = endOn(whole ? 2 : 2 - side);
    const double sweep = turnBack(from - to);
    constexpr double quarter = std::numbers::pi / 2;
    constexpr struct {
        double direction;
        int8_t x, y;
    } outermost[] = {{0, 1, 0}, {quarter, 0, 1}, {2 * quarter, -1, 0}, {-quarter, 0, -1}};
    for (const auto& o : outermost)
        if (whole || turnBack(from - o.direction) <= sweep) box.add({vertex.x + o.x * radius, vertex.y + o.y * radius});
    constexpr double beyond = 0.9; // the pixel that an end lies in
    return {annTruncate(box.left), annTruncate(box.top), annTruncate(box.right + beyond), annTruncate(box.bottom + beyond)};
}

} // namespace

bool annGaugeShows(const AnnObject& record) { return record.dGaugeLength >= 1.0 && record.uShowFlags & ANN_SHOW_GAUGE; }

RulerStrokes annRulerStrokes(const AnnObject& record, const AnnMatrix* matrix, AnnPoint first, AnnPoint second,
                             double gauge) {
    if (matrix) {
        first = annApply(*matrix, first);
        second = annApply(*matrix, second);
    }
    if (!annGaugeShows(record)) return {{{annRound(first), annRound(second)}}, 1};
    const AnnPoint along{first.x - second.x, first.y - second.y};
    const double length = std::hypot(along.x, along.y);
    const AnnPoint unit = length < 0.001 ? AnnPoint{1, 0} : AnnPoint{along.x / length, along.y / length};
    const AnnPoint across{gauge / 2 * unit.y, -gauge / 2 * unit.x};
    const auto end = [&](AnnPoint p, double side) {
        return annRound(AnnPoint{p.x + side * across.x, p.y + side * across.y});
    };
    return {{{end(first, 1), end(first, -1)}, {annRound(first), annRound(second)}, {end(second, 1), end(second, -1)}}, 3};
}

int annArcSide(const AnnObject& record, const POINT (&points)[3]) {
    const auto direction = [&points](int i) {
        return annDirection({double(points[1].x), double(points[1].y)}, {double(points[i].x), double(points[i].y)});
    };
    double d = direction(0) - direction(2);
    if (d < 0) d += wholeTurn;
    int side = d <= halfTurn ? 0 : 2;
    if (d >= wholeTurn || d <= armsMeet) side = 1;
    return record.bAcute ? side : 2 - side;
}

RECT annPlaceLineText(const AnnObject& record, const AnnMatrix* matrix, const POINT (&line)[2], TextEnd end, SIZE size,
                      const RECT* avoid) {
    const auto [from, at] = anchorOf(line, end);
    const int32_t gap = gapBeside(record, matrix, 0.7);
    RECT text = lineShifts[at.x < from.x][at.y < from.y].at(at, gap, 0, size);
    if (at.y == from.y) { // beside a level line: on its height
        text.top = annAdd(at.y, -int64_t{size.cy / 2});
        text.bottom = annAdd(text.top, size.cy);
    }
    return settle(record, matrix, text, avoid);
}

RECT annPlaceAngleText(const AnnObject& record, const AnnMatrix* matrix, const AnnPoint (&points)[3], double radius,
                       SIZE size, const RECT* avoid) {
    const int32_t gap = gapBeside(record, matrix, 0.5);
    const POINT vertex{annTruncate(points[1].x), annTruncate(points[1].y)};
    const TextShift& shift = quadrantShifts[textQuadrant(points) - 1];
    return settle(record, matrix, shift.at(vertex, gap, record.bAcute ? 0 : annRound(radius), size), avoid);
}

RECT annRulerBounds(const AnnObject& record, const AnnMatrix& matrix, std::span<const AnnPoint> points, const Text& text,
                    uint32_t uOptions, TextExtents& extents, RECT& textRect) {
    RECT bounds{};
    textRect = {};
    if (points.size() < 2) return bounds;
    const double gauge = annRound(annScale(record.dGaugeLength, matrix));
    const RulerStrokes strokes = annRulerStrokes(record, &matrix, points[0], points[1], gauge);
    for (const auto& stroke : std::span(strokes.ends, strokes.count))
        for (const POINT& end : stroke) addPixel(bounds, end);
    if (uOptions & boundsWithoutTexts || !text || !(record.uShowFlags & ANN_SHOW_LENGTH)) return bounds;
    const TextEnd end = uOptions & boundsTextAtFirst    ? TextEnd::first
                        : uOptions & boundsTextAtSecond ? TextEnd::second
                                                        : TextEnd::furtherRight;
    textRect = annPlaceLineText(record, &matrix, strokes.line(), end, extents.of(record, matrix, text), nullptr);
    return annUnion(bounds, textRect);
}

namespace {

RECT crossBounds(const AnnObject& record, const AnnMatrix& matrix, uint32_t uOptions, TextExtents& extents,
                 MeasureTexts& texts) {
    RECT bounds{};
    if (record.nPoints() < 5) return bounds;
    const MeasurePart& part = *record.pMeasure;
    const struct {
        uint32_t without, firstPoint;
        const Text& text;
        RECT& place;
    } lines[] = {{boundsWithoutFirstLine, 0, part.pszDistance, texts.distance},
                 {boundsWithoutSecondLine, 3, part.pszDistance2, texts.distance2}};
    for (const auto& line : lines)
        if (!(uOptions & line.without))
            bounds = annUnion(bounds, annRulerBounds(record, matrix, {record.pPoints.data() + line.firstPoint, 2}, line.text,
                                                     uOptions, extents, line.place));
    return bounds;
}

RECT protractorBounds(const AnnObject& record, const AnnMatrix& matrix, uint32_t uOptions, TextExtents& extents,
                      MeasureTexts& texts) {
    if (record.nPoints() != 3) return {};
    const MeasurePart& part = *record.pMeasure;
    const std::span<const AnnPoint> own{record.pPoints.data(), 3};
    AnnPoint points[3];
    POINT pixels[3];
    PointBox box;
    for (int i = 0; i < 3; ++i) {
        points[i] = annApply(matrix, own[static_cast<size_t>(i)]);
        pixels[i] = annRound(points[i]);
        box.add(points[i]);
    }
    RECT bounds = box.pixels();
    const uint32_t withoutTexts = uOptions & boundsWithoutTexts;
    if (record.uShowFlags) {
        bounds = annRulerBounds(record, matrix, own.first(2), part.pszDistance, withoutTexts | boundsTextAtFirst, extents,
                                texts.distance);
        bounds = annUnion(bounds, annRulerBounds(record, matrix, own.subspan(1), part.pszDistance2,
                                                 withoutTexts | boundsTextAtSecond, extents, texts.distance2));
    }
    if (bounds.left == bounds.right) bounds.right = annAdd(bounds.right, 1);
    if (bounds.top == bounds.bottom) bounds.bottom = annAdd(bounds.bottom, 1);
    const double radius = annScale(record.dArcRadius, matrix);
    if (part.pszAngle && !withoutTexts) {
        texts.angle = annPlaceAngleText(record, &matrix, points, radius, extents.of(record, matrix, part.pszAngle), nullptr);
        bounds = annUnion(bounds, texts.angle);
    }
    return radius > 1.0 ? annUnion(bounds, arcBox(record, pixels, radius)) : bounds;
}

} // namespace

RECT annMeasureBounds(const AnnObject& record, const AnnMatrix& matrix, uint32_t uOptions, TextExtents& extents,
                      MeasureTexts& texts) {
    texts = {};
    if (record.nType == ANN_OBJECT_CROSSPRODUCT) return crossBounds(record, matrix, uOptions, extents, texts);
    if (record.nType == ANN_OBJECT_PROTRACTOR) return protractorBounds(record, matrix, uOptions, extents, texts);
    return annRulerBounds(record, matrix, {record.pPoints.data(), record.nPoints()}, record.pMeasure->pszDistance, uOptions,
                          extents, texts.distance);
}

} // namespace kbann
