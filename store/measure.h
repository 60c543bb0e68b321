// Rulers, cross products and protractors: what they measure, the strokes that they are made of and where their texts stand.
// Drawing, bounds and hit testing share these.
#pragma once

#include "store/geometry.h"

namespace kbann {

// A line with bars across its ends, or the line alone.
struct RulerStrokes {
    POINT ends[3][2]; // bar, line, bar; or the line in ends[0]
    uint32_t count;   // 3 or 1
};

// Whether the gauge bars of an object are on.
bool annGaugeShows(const AnnObject& record);
// The strokes between two points under a matrix (null: the points are client pixels), the bars `gauge` pixels long.
RulerStrokes annRulerStrokes(const AnnObject& record, const AnnMatrix* matrix, AnnPoint first, AnnPoint second,
                             double gauge);

// Which side of the arms of a protractor the arc lies on, with its points in pixels (arm, vertex, arm): arc from point
// `from` to point 2 - `from`, counter-clockwise; 1 when the arms lie on each other.
int annArcSide(const AnnObject& record, const POINT (&points)[3]);

} // namespace kbann
