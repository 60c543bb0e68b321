// Rulers, cross products and protractors: what they measure, the strokes that they are made of and where their texts stand.
// Drawing, bounds and hit testing share these.
#pragma once

#include "kbann/object_types.h"
#include "store/geometry.h"
#include "store/text_extents.h"

namespace kbann {

inline constexpr TypeSet typesMeasured = typeSet(ANN_OBJECT_RULER, ANN_OBJECT_CROSSPRODUCT, ANN_OBJECT_PROTRACTOR);

// --- Measuring ---

// The length between the first two points, in the object's unit, and its text. The points are the object's own with the
// matrix that they are seen under, or client pixels without one. A resolution below 1 becomes 150 in the record.
// ERROR_INV_PARAMETER: fewer than two points, a scalar of 0, a unit that there isn't; ERROR_NO_MEMORY. Number and text stay
// as they were then.
int annMeasure(AnnObject& record, const AnnMatrix* matrix, std::span<const AnnPoint> points, double& distance, Text& text);
// The angle at the second of three points under a matrix (null: none), in the object's angle unit, and its text. Errors as
// above.
int annMeasureAngle(const AnnObject& record, const AnnMatrix* matrix, std::span<const AnnPoint> points, double& angle,
                    Text& text);
// Half and whole turns with the digits that angles are judged by.
inline constexpr double halfTurn = 3.14159265358979, wholeTurn = 6.28318530717958;
// From a point to another, y downward: -pi to pi, and pi/2 for one at the same spot.
double annDirection(AnnPoint from, AnnPoint to);

// --- Strokes ---

// A line with bars across its ends, or the line alone.
struct RulerStrokes {
    POINT ends[3][2]; // bar, line, bar; or the line in ends[0]
    uint32_t count;   // 3 or 1
    const POINT (&line() const)[2] { return ends[count == 3]; }
};

// Whether the gauge bars of an object are on.
bool annGaugeShows(const AnnObject& record);
// The strokes between two points under a matrix (null: the points are client pixels), the bars `gauge` pixels long.
RulerStrokes annRulerStrokes(const AnnObject& record, const AnnMatrix* matrix, AnnPoint first, AnnPoint second,
                             double gauge);

// Which side of the arms of a protractor the arc lies on, with its points in pixels (arm, vertex, arm): arc from point
// `from` to point 2 - `from`, counter-clockwise; 1 when the arms lie on each other.
int annArcSide(const AnnObject& record, const POINT (&points)[3]);

// --- Texts ---

// At which end of its line a text stands.
enum class TextEnd : uint8_t { furtherRight, first, second };

// The rectangle of a text of that size beside the line with these ends, held inside the object's container. With a matrix
// container and line width are seen under it; without one they are those on the screen and as stored. `avoid`: a rectangle
// that the text steers clear of, or null.
RECT annPlaceLineText(const AnnObject& record, const AnnMatrix* matrix, const POINT (&line)[2], TextEnd end, SIZE size,
                      const RECT* avoid);
// Likewise for the angle of a protractor, with its points (arm, vertex, arm) and its radius in pixels.
RECT annPlaceAngleText(const AnnObject& record, const AnnMatrix* matrix, const AnnPoint (&points)[3], double radius,
                       SIZE size, const RECT* avoid);

// --- Bounds ---

// Options of bounds, as annDeviceRect takes them.
inline constexpr uint32_t boundsWithoutTexts = 1, boundsWithoutFirstLine = 2, boundsWithoutSecondLine = 4,
                          boundsTextAtFirst = 8, boundsTextAtSecond = 16;

struct MeasureTexts {
    RECT distance{}, distance2{}, angle{};
};

// The rectangle of a ruler's line with its bars and text. The text's own goes to `textRect`, empty when it isn't shown.
RECT annRulerBounds(const AnnObject& record, const AnnMatrix& matrix, std::span<const AnnPoint> points, const Text& text,
                    uint32_t uOptions, TextExtents& extents, RECT& textRect);
// The rectangle of a measurement object under a matrix before any room for the line, and where its texts stand.
RECT annMeasureBounds(const AnnObject& record, const AnnMatrix& matrix, uint32_t uOptions, TextExtents& extents,
                      MeasureTexts& texts);
// What annComputeGeometry derives for these types: numbers, texts and their places. Gives the rectangle. What can't be
// measured keeps its old number and text.
RECT annComputeMeasures(AnnObject& record, TextExtents& extents);

} // namespace kbann
