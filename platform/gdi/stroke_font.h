// The built-in alphabet: characters as strokes of a round pen, for machines without any font file.
#pragma once

#include "platform/gdi/pen_stroke.h"

#include <cstdint>
#include <vector>

namespace kb::gdi {

inline constexpr int strokeUnits = 9; // of the character height: 7 above the base line, 2 below
inline constexpr int strokeAscent = 7, strokeDescent = 2, strokeAdvance = 6;

// One stroke in units, x from 0 to 4 right of the pen's place, y from -6 (top of capitals) to 2 around the base line.
struct StrokeLine {
    FPoint from, to;
};
void strokesOf(uint8_t c, std::vector<StrokeLine>& out);

} // namespace kb::gdi
