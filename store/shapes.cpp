// Shapes that drawing, bounds and hit testing share: quads, pointer outlines, the right angle of a cross product, fonts.
#include "kbann/object_types.h"
#include "store/geometry.h"

#include <algorithm>
#include <cstring>
#include <numbers>

namespace kbann {
namespace {

constexpr double uprightTolerance = 0.9;
constexpr int32_t maxFontHeight = 32'000;
constexpr double maxEllipseVertices = 65'536;

bool near(double a, double b) { return std::fabs(a - b) <= uprightTolerance; }

} // namespace

QuadCorners annQuadCorners(const AnnMatrix& matrix, const AnnPoint (&quad)[3]) {
    return {annApply(matrix, quad[0]), annApply(matrix, quad[1]), annApply(matrix, quad[2]),
            annApply(matrix, annFourthCorner(quad))};
}

bool annQuadRect(const AnnMatrix& matrix, const AnnPoint (&quad)[3], RECT& out, int32_t limit) {
    const auto [p] = annQuadCorners(matrix, quad);
    const bool standing = near(p[0].x, p[1].x) && near(p[1].y, p[2].y) && near(p[2].x, p[3].x) && near(p[3].y, p[0].y);
    const bool lying = near(p[0].y, p[1].y) && near(p[1].x, p[2].x) && near(p[2].y, p[3].y) && near(p[3].x, p[0].x);
    if (!standing && !lying) return false;
    PointBox box;
    for (const AnnPoint& corner : p) box.add(corner);
    constexpr double beyond = 1.9; // one pixel past the edge, whatever the fraction
    const RECT rect{annTruncate(box.left), annTruncate(box.top), annTruncate(box.right + beyond),
                    annTruncate(box.bottom + beyond)};
    out = annIntersect(rect, {-limit, -limit, limit, limit});
    return true;
}

HRGN annQuadRegion(const AnnMatrix& matrix, const AnnPoint (&quad)[3]) {
    RECT rect;
    if (annQuadRect(matrix, quad, rect)) return CreateRectRgnIndirect(&rect);
    const auto corners = annQuadCorners(matrix, quad);
    POINT points[4];
    std::ranges::transform(corners.p, points, [](AnnPoint p) { return annRound(p); });
    return CreatePolygonRgn(points, 4, WINDING);
}

std::vector<POINT> annEllipsePolygon(const AnnMatrix& matrix, const AnnPoint (&quad)[3]) {
    const auto [p] = annQuadCorners(matrix, quad);
    const AnnPoint first{(p[2].x - p[1].x) / 2, (p[2].y - p[1].y) / 2}, second{(p[0].x - p[1].x) / 2, (p[0].y - p[1].y) / 2};
    const AnnPoint center{(p[0].x + p[2].x) / 2, (p[0].y + p[2].y) / 2};
    const double distance = std::hypot(first.x - second.x, first.y - second.y); // may be no number
    const double length = distance >= 1 ? std::min(distance, maxEllipseVertices / 4) : 1.0;
    const double step = std::numbers::pi / 2 / length;
    std::vector<POINT> points;
    points.reserve(static_cast<size_t>(4 * length) + 2);
    for (int i = 0;; ++i) {
        const double angle = i * step;
        if (angle >= 2 * std::numbers::pi) break;
        const double c = std::cos(angle), s = std::sin(angle);
        const POINT at{annRound(center.x + c * first.x + s * second.x), annRound(center.y + c * first.y + s * second.y)};
        if (points.empty() || at.x != points.back().x || at.y != points.back().y) points.push_back(at);
    }
    return points;
}

bool annIsDrawable(const AnnObject& record, const AnnMatrix& m) {
    const double sum = m.a + m.b + m.c + m.d + m.e + m.f;
    if (!std::isfinite(sum)) return false;
    if (record.nType == ANN_OBJECT_POINTER) return annIsFinite(record.ptPointerTip) && annIsFinite(record.ptPointerTail);
    if (hasType(typesQuad, record.nType)) return std::ranges::all_of(record.quad, annIsFinite);
    return std::ranges::all_of(record.pPoints, annIsFinite);
}

double annArrowSize(const AnnObject& record, const AnnMatrix& matrix) {
    return 2.0 + 3.0 * annScale(record.dLineWidth, matrix);
}

PointerOutline annPointerOutline(const AnnObject& record, const AnnMatrix& matrix) {
    const AnnPoint tip = annApply(matrix, record.ptPointerTip), tail = annApply(matrix, record.ptPointerTail);
    const double dx = tip.x - tail.x, dy = tip.y - tail.y, distance = std::sqrt(dx * dx + dy * dy);
    const AnnPoint unit = distance == 0 ? AnnPoint{1, 0} : AnnPoint{dx / distance, dy / distance};
    const double length = annArrowSize(record, matrix), width = length;
    // A place in the frame whose origin is the tip and whose x-axis points from tail to tip.
    const auto place = [&](double x, double y) {
        return annRound(AnnPoint{tip.x + x * unit.x - y * unit.y, tip.y + x * unit.y + y * unit.x});
    };
    const POINT notch = place(-length / 2, 0);
    return {annRound(tip), place(-length, width / 2), notch, annRound(tail), notch, place(-length, -width / 2)};
}

void annCrossSquare(const AnnMatrix* matrix, AnnPoint (&points)[5]) {
    if (matrix)
        for (AnnPoint& p : points) p = annApply(*matrix, p);
    const AnnPoint first{points[0].x - points[1].x, points[0].y - points[1].y};
    const AnnPoint second{points[3].x - points[4].x, points[3].y - points[4].y};
    if (std::fabs(first.x * second.x + first.y * second.y) < 0.01) return;
    const auto distance = [&](int i) { return std::hypot(points[2].x - points[i].x, points[2].y - points[i].y); };
    const double a = distance(3), b = distance(4), length = std::hypot(first.x, first.y);
    // The offsets (0, -a) and (0, b), turned by the direction of the first line.
    const AnnPoint unit = length < 0.001 ? AnnPoint{1, 0} : AnnPoint{first.x / length, first.y / length};
    points[3] = {points[2].x + a * unit.y, points[2].y - a * unit.x};
    points[4] = {points[2].x - b * unit.y, points[2].y + b * unit.x};
}

LOGFONTA annFontOf(const AnnMatrix& matrix, const AnnObject& record, int tenths) {
    LOGFONTA font{};
    font.lfHeight = -std::clamp(annRound(annScale(record.dFontSize, matrix)), 1, maxFontHeight);
    font.lfEscapement = font.lfOrientation = tenths;
    font.lfWeight = record.bFontBold > 0 ? FW_BOLD : FW_NORMAL;
    font.lfItalic = record.bFontItalic != 0;
    font.lfUnderline = record.bFontUnderline != 0;
    font.lfStrikeOut = record.bFontStrikeThrough != 0;
    font.lfCharSet = DEFAULT_CHARSET;
    const auto face = record.pszFontName.view().substr(0, LF_FACESIZE - 1);
    std::memcpy(font.lfFaceName, face.data(), face.size());
    return font;
}

HFONT annMakeFont(const AnnMatrix& matrix, const AnnObject& record, int tenths) {
    const LOGFONTA font = annFontOf(matrix, record, tenths);
    return CreateFontIndirectA(&font);
}

} // namespace kbann
