// Strokes to contours: a path is first flattened, then walked along both sides with mitred joins. Flattened arcs are fine
// enough for the mitres to lie on the parallel arc.
#include "resources/tools/outline.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace kbann::pictures {
namespace {

constexpr double arcStep = std::numbers::pi / 12; // 15 degrees: off the arc by less than a hundredth of its radius

Point operator+(Point a, Point b) { return {a.x + b.x, a.y + b.y}; }
Point operator-(Point a, Point b) { return {a.x - b.x, a.y - b.y}; }
Point operator*(Point a, double s) { return {a.x * s, a.y * s}; }
double dot(Point a, Point b) { return a.x * b.x + a.y * b.y; }
double cross(Point a, Point b) { return a.x * b.y - a.y * b.x; }
Point unit(Point a) { return a * (1 / std::hypot(a.x, a.y)); }
Point across(Point direction) { return {direction.y, -direction.x}; }

double signedArea(const Contour& contour) {
    double area = 0;
    for (size_t i = 0; i < contour.size(); ++i) area += cross(contour[i], contour[(i + 1) % contour.size()]);
    return area / 2;
}

void put(Contour& path, Point point) {
    constexpr double same = 1e-6; // arcs that touch share a point
    if (path.empty() || std::hypot(path.back().x - point.x, path.back().y - point.y) > same) path.push_back(point);
}

void putArc(Contour& path, Point before, Corner corner, Point after) {
    const Point tip{corner.x, corner.y}, back = unit(before - tip), on = unit(after - tip);
    const double half = std::acos(std::clamp(dot(back, on), -1.0, 1.0)) / 2; // of the angle between the two sides
    const Point start = tip + back * (corner.radius / std::tan(half));
    const Point middle = tip + unit(back + on) * (corner.radius / std::sin(half));
    const double turn = (std::numbers::pi - 2 * half) * (cross(back, on) < 0 ? 1 : -1);
    const int steps = std::max(1, static_cast<int>(std::ceil(std::abs(turn) / arcStep - 1e-9)));
    const Point arm = start - middle;
    for (int i = 0; i <= steps; ++i) {
        const double angle = turn * i / steps, c = std::cos(angle), s = std::sin(angle);
        put(path, middle + Point{arm.x * c - arm.y * s, arm.x * s + arm.y * c});
    }
}

Point levelled(Point point, Point direction, double y) { return point + direction * ((y - point.y) / direction.y); }

// One side of a path at the distance given, to the right for positive ones.
Contour sideOf(const Contour& path, double distance, Ends ends) {
    const size_t count = path.size();
    const bool closed = ends == Ends::ring;
    Contour side;
    for (size_t i = 0; i < count; ++i) {
        const bool first = !closed && i == 0, last = !closed && i + 1 == count;
        const Point in = first ? Point{} : unit(path[i] - path[(i + count - 1) % count]);
        const Point out = last ? Point{} : unit(path[(i + 1) % count] - path[i]);
        if (!first && !last) {
            if (dot(in, out) < -0.9) throw std::logic_error("a stroke turns back on itself: a rounding doesn't fit");
            const Point sum = across(in) + across(out);
            side.push_back(path[i] + sum * (distance / (1 + dot(in, out))));
            continue;
        }
        const Point direction = first ? out : in;
        Point point = path[i] + across(direction) * distance;
        if (ends == Ends::square) point = point + direction * (std::abs(distance) * (first ? -1 : 1));
        if (ends == Ends::level) point = levelled(point, direction, path[i].y);
        side.push_back(point);
    }
    return side;
}

LONG wholeUnit(double value) { return static_cast<LONG>(std::lround(value)); }

std::vector<POINT> wholeUnits(const Contour& contour) {
    std::vector<POINT> points;
    for (const Point& point : contour) {
        const POINT whole{wholeUnit(point.x), wholeUnit(point.y)};
        if (points.empty() || points.back().x != whole.x || points.back().y != whole.y) points.push_back(whole);
    }
    return points;
}

} // namespace

Contour roundedPath(std::span<const Corner> corners, bool closed) {
    Contour path;
    const size_t count = corners.size();
    for (size_t i = 0; i < count; ++i) {
        const Corner& corner = corners[i];
        const Corner &before = corners[(i + count - 1) % count], &after = corners[(i + 1) % count];
        if (corner.radius > 0 && (closed || (i > 0 && i + 1 < count)))
            putArc(path, {before.x, before.y}, corner, {after.x, after.y});
        else
            put(path, {corner.x, corner.y});
    }
    if (closed && path.size() > 1 && std::hypot(path.front().x - path.back().x, path.front().y - path.back().y) < 1e-6)
        path.pop_back();
    return path;
}

void addArea(Outline& outline, Contour contour) {
    if (signedArea(contour) < 0) std::reverse(contour.begin(), contour.end());
    outline.push_back(std::move(contour));
}

void addHole(Outline& outline, Contour contour) {
    if (signedArea(contour) > 0) std::reverse(contour.begin(), contour.end());
    outline.push_back(std::move(contour));
}

void addStroke(Outline& outline, std::span<const Corner> corners, double halfWidth, Ends ends) {
    const Contour path = roundedPath(corners, ends == Ends::ring);
    Contour right = sideOf(path, halfWidth, ends), left = sideOf(path, -halfWidth, ends);
    if (ends == Ends::ring) {
        if (std::abs(signedArea(right)) < std::abs(signedArea(left))) std::swap(left, right);
        addArea(outline, std::move(right));
        addHole(outline, std::move(left));
    } else {
        right.insert(right.end(), left.rbegin(), left.rend());
        addArea(outline, std::move(right));
    }
}

Contour ellipse(Point middle, double radiusX, double radiusY, int points) {
    Contour contour;
    for (int i = 0; i < points; ++i) {
        const double angle = 2 * std::numbers::pi * i / points;
        contour.push_back({middle.x + radiusX * std::cos(angle), middle.y + radiusY * std::sin(angle)});
    }
    return contour;
}

Contour rectangle(double left, double top, double right, double bottom) {
    return {{left, top}, {right, top}, {right, bottom}, {left, bottom}};
}

int layersAt(const Outline& outline, Point point) {
    int layers = 0;
    for (const auto& contour : outline) {
        for (size_t i = 0; i < contour.size(); ++i) {
            const Point a = contour[i], b = contour[(i + 1) % contour.size()];
            if ((a.y <= point.y) == (b.y <= point.y)) continue;
            const bool right = (cross(b - a, point - a) > 0) == (b.y > a.y);
            if (right) layers += b.y > a.y ? 1 : -1;
        }
    }
    return std::abs(layers);
}

Bounds boundsOf(std::span<const Layer> layers) {
    constexpr double far = 1e9;
    Bounds bounds{far, far, -far, -far};
    for (const auto& layer : layers) {
        for (const auto& contour : layer.outline) {
            for (const Point& point : contour) {
                bounds.left = std::min(bounds.left, point.x), bounds.right = std::max(bounds.right, point.x);
                bounds.top = std::min(bounds.top, point.y), bounds.bottom = std::max(bounds.bottom, point.y);
            }
        }
    }
    return bounds;
}

RECT wholeBox(const Bounds& bounds) {
    return {wholeUnit(bounds.left), wholeUnit(bounds.top), wholeUnit(bounds.right), wholeUnit(bounds.bottom)};
}

BOOL drawPicture(HDC hDC, const Picture& picture) {
    bool done = SetPolyFillMode(hDC, WINDING);
    const HGDIOBJ oldPen = SelectObject(hDC, GetStockObject(NULL_PEN));
    HGDIOBJ oldBrush = nullptr;
    HBRUSH used = nullptr;
    for (const auto& layer : picture.layers) {
        std::vector<POINT> points;
        std::vector<INT> counts;
        for (const auto& contour : layer.outline) {
            const auto whole = wholeUnits(contour);
            points.insert(points.end(), whole.begin(), whole.end());
            counts.push_back(static_cast<INT>(whole.size()));
        }
        const HBRUSH brush = CreateSolidBrush(layer.color);
        const HGDIOBJ before = SelectObject(hDC, brush);
        if (!oldBrush) oldBrush = before;
        done = before && PolyPolygon(hDC, points.data(), counts.data(), static_cast<int>(counts.size())) && done;
        if (used) DeleteObject(used); // only now: an object in force can't go
        used = brush;
    }
    SelectObject(hDC, oldPen);
    SelectObject(hDC, oldBrush);
    if (used) DeleteObject(used);
    return done && oldPen && oldBrush;
}

} // namespace kbann::pictures
