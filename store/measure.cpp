// Measuring: from points to a number in a unit and its text.
#include "store/measure.h"
#include "store/units.h"

#include <algorithm>
#include <charconv>
#include <numbers>
#include <utility>

namespace kbann {
namespace {

// A number as printf's "%.*f" writes it in the "C" locale, whatever the process's, and "nan" without a sign.
class FixedNumber {
public:
    FixedNumber(double value, uint32_t precision) {
        const auto digits = static_cast<int>(std::min(precision, maxMeasurePrecision)); // stored ones have any value
        const char* end = std::isnan(value)
                              ? std::copy_n("nan", 3, text_)
                              : std::to_chars(text_, text_ + sizeof text_, value, std::chars_format::fixed, digits).ptr;
        size_ = static_cast<size_t>(end - text_);
    }
    std::string_view view() const { return {text_, size_}; }

private:
    char text_[1 + 309 + 1 + maxMeasurePrecision]; // sign, the digits of the greatest double, point, fraction
    size_t size_;
};

// Number and text change together or not at all.
int store(double value, std::string_view number, std::string_view between, const Text& abbreviation, double& out,
          Text& text) {
    Text fresh = Text::joined({number, between, abbreviation.view()});
    if (!fresh) return ERROR_NO_MEMORY;
    text = std::move(fresh);
    out = value;
    return SUCCESS;
}

} // namespace

double annDirection(AnnPoint from, AnnPoint to) {
    constexpr double quarter = std::numbers::pi / 2;
    if (from.x == to.x) return to.y < from.y ? -quarter : quarter;
    return std::atan2(to.y - from.y, to.x - from.x);
}

int annMeasure(AnnObject& record, const AnnMatrix* matrix, std::span<const AnnPoint> points, double& distance, Text& text) {
    if (record.dScalarX == 0 || record.dScalarY == 0 || points.size() < 2) return ERROR_INV_PARAMETER;
    AnnPoint p = points[0], q = points[1];
    // Under the object's own matrix the way there and back is none; multiplied out it would leave a last digit behind.
    if (!matrix || !annIsSame(*matrix, record.xfToClient)) {
        const AnnMatrix back = matrix ? annMul(record.xfFromClient, *matrix) : record.xfFromClient;
        p = annApply(back, p);
        q = annApply(back, q);
    }
    for (double* dpi : {&record.dBitmapDpiX, &record.dBitmapDpiY})
        if (!(*dpi >= 1.0)) *dpi = defaultMeasureDpi;
    const LengthUnit* unit = annLengthUnit(record.nUnit);
    if (!unit) return ERROR_INV_PARAMETER;
    const double dx = unit->value(std::fabs(q.x - p.x), record.dBitmapDpiX);
    const double dy = unit->value(std::fabs(q.y - p.y), record.dBitmapDpiY);
    const double length = std::sqrt(dx * dx + dy * dy);
    return store(length, FixedNumber(length, record.nUnitPrecision).view(), " ", record.pszUnitAbbrev, distance, text);
}

int annMeasureAngle(const AnnObject& record, const AnnMatrix* matrix, std::span<const AnnPoint> points, double& angle,
                    Text& text) {
    if (points.size() < 3) return ERROR_INV_PARAMETER;
    const AnnMatrix& m = matrix ? *matrix : identityMatrix;
    const AnnPoint vertex = annApply(m, points[1]);
    double d = std::fabs(annDirection(vertex, annApply(m, points[0])) - annDirection(vertex, annApply(m, points[2])));
    if (d > halfTurn) d = wholeTurn - d;
    if (!record.bAcute) d = wholeTurn - d;
    if (record.nAngleUnit == ANN_ANGLE_DEGREES) d *= angleUnits[ANN_ANGLE_DEGREES].perRadian;
    return store(d, FixedNumber(d, record.nAnglePrecision).view(), "", record.pszAngleAbbrev, angle, text);
}

RECT annComputeMeasures(AnnObject& record, TextExtents& extents) {
    MeasurePart& part = *record.pMeasure;
    const std::span<const AnnPoint> points{record.pPoints.data(), record.nPoints()};
    const AnnMatrix& matrix = record.xfToClient;
    const auto from = [points](size_t first) { return points.subspan(std::min(first, points.size())); };
    // What fails leaves the old number, and the drawing goes on with that.
    if (record.nType == ANN_OBJECT_RULER) {
        annMeasure(record, &matrix, points, part.dDistance, part.pszDistance);
    } else if (record.nType == ANN_OBJECT_CROSSPRODUCT) {
        annMeasure(record, &matrix, points, part.dDistance, part.pszDistance);
        annMeasure(record, &matrix, from(3), part.dDistance2, part.pszDistance2);
    } else {
        if (record.uShowFlags & ANN_SHOW_LENGTH) {
            annMeasure(record, &matrix, points, part.dDistance, part.pszDistance);
            annMeasure(record, &matrix, from(1), part.dDistance2, part.pszDistance2);
        }
        annMeasureAngle(record, &matrix, points, part.dAngle, part.pszAngle);
    }
    MeasureTexts texts;
    const RECT bounds = annMeasureBounds(record, matrix, 0, extents, texts);
    part.rcDistanceText = texts.distance;
    part.rcDistance2Text = texts.distance2;
    part.rcAngleText = texts.angle;
    return bounds;
}

} // namespace kbann
