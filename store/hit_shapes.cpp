// Segments, outlines, masks and insides, a pixel at a time.
#include "store/hit_shapes.h"
#include "store/measure.h"
#include "store/regions.h"

#include <algorithm>
#include <cstdlib>
#include <numbers>

namespace kbann {
namespace {

__extension__ typedef __int128 Wide;

constexpr int32_t thinnest = 3;
constexpr int32_t regionReach = 1 << 20; // regions end there
constexpr COLORREF black = 0, blackOfPalette = 0x1000000;

// MulDiv for differences of any two coordinates; `divisor` is above 0.
int64_t scaled(int64_t number, int64_t numerator, int64_t divisor) {
    const Wide product = Wide{number} * numerator, half = divisor / 2;
    return static_cast<int64_t>((product + (product < 0 ? -half : half)) / divisor);
}

// Along the running axis (u) and across it (v).
struct Slope {
    int64_t u0, v0, u1, v1;
};

bool nearSlope(Slope s, int64_t u, int64_t v, int64_t h) {
    if (s.u0 > s.u1) s = {s.u1, s.v1, s.u0, s.v0};
    if (u < s.u0 - h || u > s.u1 + h) return false;
    return std::llabs(v - s.v0 - scaled(u - s.u0, s.v1 - s.v0, s.u1 - s.u0)) <= h;
}

// Winding of a polygon's outline about a pixel, as the device's filler has it: an edge counts when it lies on the pixel or to
// the left of it in the pixel's row; upper ends are in, lower ones out.
class Winding {
public:
    explicit Winding(POINT at) : at_(at) {}
    void edge(POINT a, POINT b) {
        const int direction = a.y < b.y ? 1 : -1;
        if (direction < 0) std::swap(a, b);
        if (at_.y < a.y || at_.y >= b.y) return;
        const int64_t height = int64_t{b.y} - a.y;
        if (Wide{int64_t{at_.x} - a.x} * height < Wide{int64_t{at_.y} - a.y} * (int64_t{b.x} - a.x)) return;
        winding_ += direction;
        odd_ = !odd_;
    }
    bool inside(int fillMode) const { return fillMode == WINDING ? winding_ != 0 : odd_; }

private:
    POINT at_;
    int64_t winding_ = 0;
    bool odd_ = false;
};

bool inReach(POINT p) { return annHolds({-regionReach, -regionReach, regionReach, regionReach}, p); }

// `pixel(i)` gives the polygon's points one after the other.
template <class Pixel> bool inPolygon(size_t count, Pixel&& pixel, int fillMode, POINT point) {
    if (count < 2 || !inReach(point)) return false;
    Winding winding(point);
    const POINT first = pixel(0);
    POINT from = first;
    for (size_t i = 1; i < count; ++i) {
        const POINT to = pixel(i);
        winding.edge(from, to);
        from = to;
    }
    winding.edge(from, first);
    return winding.inside(fillMode);
}

// An angle brought into 0 to 2 pi.
double turned(double angle) { return angle < 0 ? angle + 2 * std::numbers::pi : angle; }

} // namespace

int32_t annLineTolerance(double width, const AnnMatrix& matrix) {
    const int32_t t = annRound(annScale(width, matrix));
    return t < 4 ? thinnest : t;
}

bool annHitSegment(POINT a, POINT b, int32_t width, POINT point) {
    const int64_t h = int64_t{width < 4 ? thinnest : width} / 2 + 1;
    const int64_t dx = int64_t{b.x} - a.x, dy = int64_t{b.y} - a.y;
    if (!dx || !dy)
        return point.x >= std::min(a.x, b.x) - h && point.x <= std::max(a.x, b.x) + h && point.y >= std::min(a.y, b.y) - h &&
               point.y <= std::max(a.y, b.y) + h;
    if (std::llabs(dy) > std::llabs(dx)) return nearSlope({a.y, a.x, b.y, b.x}, point.y, point.x, h);
    return nearSlope({a.x, a.y, b.x, b.y}, point.x, point.y, h);
}

bool annHitPolyline(const AnnMatrix& matrix, std::span<const AnnPoint> points, double width, POINT point, bool bClosed) {
    if (points.size() < 2) return false;
    const int32_t pixels = annRound(annScale(width, matrix));
    const POINT first = annRound(annApply(matrix, points[0]));
    POINT from = first;
    for (const AnnPoint& next : points.subspan(1)) {
        const POINT to = annRound(annApply(matrix, next));
        if (annHitSegment(from, to, pixels, point)) return true;
        from = to;
    }
    return bClosed && annHitSegment(from, first, pixels, point);
}

bool annHitFrame(const AnnMatrix& matrix, const AnnPoint (&quad)[3], double width, POINT point) {
    const int32_t t = annLineTolerance(width, matrix);
    RECT rect;
    if (!annQuadRect(matrix, quad, rect)) {
        const AnnPoint corners[4] = {quad[0], quad[1], quad[2], annFourthCorner(quad)};
        return annHitPolyline(matrix, corners, t, point, true); // scales the tolerance once more
    }
    const RECT outer = annInflate(rect, t / 2);
    return !annIsEmpty(rect) && annHolds(outer, point) && !annHolds(annInflate(outer, -int64_t{t}), point);
}

bool annHitPointer(const AnnObject& record, POINT point) {
    const auto [p] = annPointerOutline(record, record.xfToClient);
    const int32_t width = annRound(annScale(record.dLineWidth, record.xfToClient));
    const auto onOutline = [&](std::span<const POINT> outline) {
        POINT from = outline.back();
        return std::ranges::any_of(outline,
                                   [&](POINT to) { return annHitSegment(std::exchange(from, to), to, width, point); });
    };
    if (width < 2) return annHitSegment(p[2], p[3], width, point) || onOutline(std::array{p[0], p[1], p[2], p[5]});
    return onOutline(p) || annInPolygon(p, annFillModeOf(record), point);
}

bool annHitMask(const RECT& rect, const KernelBitmap& mask, POINT point) {
    if (!annHolds(rect, point)) return false;
    if (!mask.Allocated) return true;
    const auto place = [](int64_t at, int64_t length, int32_t pixels) {
        return static_cast<int>(scaled(at, pixels, length));
    };
    const int column = place(int64_t{point.x} - rect.left, int64_t{rect.right} - rect.left, mask.Width);
    int row = place(int64_t{point.y} - rect.top, int64_t{rect.bottom} - rect.top, mask.Height);
    if (mask.ViewPerspective == KB_VIEW_BOTTOM_LEFT) row = mask.Height - 1 - row;
    const COLORREF color = K_GetBitmapPixel(&mask, row, column);
    return color == black || color == blackOfPalette;
}

bool annHitRuler(const AnnObject& record, POINT point, AnnPoint first, AnnPoint second, const RECT& text) {
    const AnnMatrix& m = record.xfToClient;
    const int32_t t = annLineTolerance(record.dLineWidth, m);
    const RulerStrokes strokes = annRulerStrokes(record, &m, first, second, annScale(record.dGaugeLength, m));
    for (uint32_t i = 0; i < strokes.count; ++i)
        if (annHitSegment(strokes.ends[i][0], strokes.ends[i][1], t, point)) return true;
    return record.uShowFlags & ANN_SHOW_LENGTH && annHolds(text, point);
}

bool annHitArc(const AnnObject& record, POINT point) {
    if (record.nPoints() != 3) return false;
    const AnnMatrix& m = record.xfToClient;
    const double radius = annScale(record.dArcRadius, m), half = std::max(annScale(record.dLineWidth, m), 6.0) / 2;
    if (annTruncate(radius) < 1) return false; // isn't drawn
    POINT p[3];
    std::ranges::transform(record.pPoints, p, [&](AnnPoint at) { return annRound(annApply(m, at)); });
    // Counter-clockwise as seen, with y down.
    const auto direction = [&](POINT at) { return std::atan2(double(p[1].y) - at.y, double(at.x) - p[1].x); };
    const double distance = std::hypot(double(point.x) - p[1].x, double(point.y) - p[1].y);
    if (distance < radius - half || distance > radius + half) return false;
    const int from = annArcSide(record, p);
    if (from == 1) return !record.bAcute; // the whole circle, or nothing
    const double start = direction(p[from]);
    return turned(direction(point) - start) <= turned(direction(p[2 - from]) - start);
}

bool annInQuad(const AnnMatrix& matrix, const AnnPoint (&quad)[3], POINT point) {
    RECT rect;
    if (annQuadRect(matrix, quad, rect)) return annHolds(rect, point);
    const AnnPoint corners[4] = {quad[0], quad[1], quad[2], annFourthCorner(quad)};
    return annInPolygon(matrix, corners, WINDING, point);
}

bool annInPolygon(const AnnMatrix& matrix, std::span<const AnnPoint> points, int fillMode, POINT point) {
    return inPolygon(
        points.size(), [&](size_t i) { return annRound(annApply(matrix, points[i])); }, fillMode, point);
}

bool annInPolygon(std::span<const POINT> points, int fillMode, POINT point) {
    return inPolygon(
        points.size(), [&](size_t i) { return points[i]; }, fillMode, point);
}

bool annInEllipse(const AnnMatrix& matrix, const AnnPoint (&quad)[3], double width, bool bHollow, POINT point) {
    const EllipseOutline e = annEllipseOutline(matrix, quad, width, bHollow);
    if (e.upright) return KbPointInEllipse(&e.outer, point.x, point.y) && !KbPointInEllipse(&e.inner, point.x, point.y);
    return annInPolygon(e.outerPolygon, WINDING, point) && !annInPolygon(e.innerPolygon, WINDING, point);
}

} // namespace kbann
