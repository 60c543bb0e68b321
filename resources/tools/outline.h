// Outlines of the library's own pictures. Everything is a set of contours that are filled together by winding: contours of
// one turn add up, so letters are made of strokes that overlap; contours of the other turn cut holes where one layer lies.
// Units are those of the picture, y goes down.
#pragma once

#include "platform/gdi.h"

#include <cstddef>
#include <span>
#include <vector>

namespace kbann::pictures {

struct Point {
    double x, y;
};
using Contour = std::vector<Point>;
using Outline = std::vector<Contour>;

// A corner of a path, rounded by an arc of the radius; 0 keeps it sharp.
struct Corner {
    double x = 0, y = 0, radius = 0;
};

enum class Ends {
    square, // goes on by half the stroke's width
    butt,   // cut straight across
    level,  // cut by the horizontal through the end, as the diagonals of letters are
    ring,   // none: the last corner leads to the first
};

// The path with its arcs as short lines, closed or from the first corner to the last.
Contour roundedPath(std::span<const Corner> corners, bool closed);

// Adds a contour so that it fills, or cuts a hole.
void addArea(Outline& outline, Contour contour);
void addHole(Outline& outline, Contour contour);
// Adds a stroke of twice halfWidth along the corners. A rounding must not be tighter than halfWidth.
void addStroke(Outline& outline, std::span<const Corner> corners, double halfWidth, Ends ends);

// Contours of closed shapes, to be added; an ellipse has `points` corners, 8 or more.
Contour ellipse(Point middle, double radiusX, double radiusY, int points = 48);
Contour rectangle(double left, double top, double right, double bottom);

// How many layers of the outline lie over a point, holes counted down.
int layersAt(const Outline& outline, Point point);

// Puts every point where `map` says.
template <class Map> void remap(Outline& outline, Map map) {
    for (auto& contour : outline)
        for (auto& point : contour) point = map(point);
}
// Appends what `map` makes of another outline; a map that mirrors is not allowed.
template <class Map> void append(Outline& outline, Outline other, Map map) {
    remap(other, map);
    outline.insert(outline.end(), other.begin(), other.end());
}

// A picture: layers of one colour each, the first at the bottom, in a box that holds all points (16 bit).
struct Layer {
    COLORREF color;
    Outline outline;
};
struct Picture {
    unsigned id;
    const char* name;
    RECT box;
    std::vector<Layer> layers;
};

struct Bounds {
    double left, top, right, bottom;
};
// The smallest box around all layers, of which there is one at least.
Bounds boundsOf(std::span<const Layer> layers);
// The same in whole units, each side rounded as the corners of a drawing are.
RECT wholeBox(const Bounds& bounds);

// Draws the picture in its own units on any context, with whole units as corners. FALSE when a call is refused.
BOOL drawPicture(HDC hDC, const Picture& picture);

} // namespace kbann::pictures
