// The bold capitals of the stamps: an alphabet of strokes, so that the pictures don't depend on any font.
#pragma once

#include "resources/tools/outline.h"

#include <string_view>

namespace kbann::pictures {

inline constexpr double letterHeight = 100; // of all capitals, from y 0 down to the base line

// Adds a line of text that begins at x 0 with its top at y 0 and gives its width. Letters A to Z, hyphen and blank.
// weight: half a stroke's width, 6 to 15. spacing: free room between letters. std::invalid_argument for other characters.
double addText(Outline& outline, std::string_view text, double weight, double spacing);

} // namespace kbann::pictures
