// Units of lengths and angles: what a distance in pixels is in each, and what is written behind the number. Setters, the
// defaults of new objects and measuring read these rows.
#pragma once

#include "kbann/constants.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kbann {

inline constexpr uint32_t maxMeasurePrecision = 200; // digits behind the point
inline constexpr double defaultMeasureDpi = 150.0;   // where no resolution is known

struct LengthUnit {
    uint32_t unit;
    double multiply, divide; // pixels * multiply / (resolution * divide)
    bool usesResolution;
    const char* abbreviation; // code page windows-1252

    double value(double pixels, double dpi) const { return usesResolution ? pixels * multiply / (dpi * divide) : pixels; }
};

inline constexpr auto lengthUnits = std::to_array<LengthUnit>({
    {ANN_UNIT_INCHES, 1, 1, true, "in"},
    {ANN_UNIT_FEET, 1, 12, true, "ft"},
    {ANN_UNIT_YARDS, 1, 36, true, "yd"},
    {ANN_UNIT_MICROMETERS, 25400, 1, true, "\xB5m"},
    {ANN_UNIT_MILIMETERS, 25.4, 1, true, "mm"},
    {ANN_UNIT_CENTIMETERS, 2.54, 1, true, "cm"},
    {ANN_UNIT_METERS, 0.0254, 1, true, "m"},
    {ANN_UNIT_TWIPS, 1440, 1, true, "twips"},
    {ANN_UNIT_POINTS, 72, 1, true, "pt"},
    {ANN_UNIT_PIXELS, 1, 1, false, "pixels"},
});

struct AngleUnit {
    uint32_t unit;
    double perRadian;
    const char* abbreviation; // radians have a blank of their own, as the text of an angle has none
};

inline constexpr auto angleUnits = std::to_array<AngleUnit>({
    {ANN_ANGLE_DEGREES, 0.318309886183791 * 180, "\xB0"},
    {ANN_ANGLE_RADIANS, 1, " rad"},
});

consteval bool unitsAreInOrder() {
    for (size_t i = 0; i < lengthUnits.size(); ++i)
        if (lengthUnits[i].unit != i) return false;
    for (size_t i = 0; i < angleUnits.size(); ++i)
        if (angleUnits[i].unit != i) return false;
    return true;
}
static_assert(unitsAreInOrder(), "units are found by their number");

// The row of a unit; null for a number outside the tables.
constexpr const LengthUnit* annLengthUnit(uint32_t unit) { return unit < lengthUnits.size() ? &lengthUnits[unit] : nullptr; }
constexpr const AngleUnit* annAngleUnit(uint32_t unit) { return unit < angleUnits.size() ? &angleUnits[unit] : nullptr; }

} // namespace kbann
