// Placeable metafiles (MS-WMF 2.3.2.3) of the drawn pictures.
#pragma once

#include "resources/tools/outline.h"

#include <cstdint>

namespace kbann::pictures {

inline constexpr unsigned unitsPerInch = 1000;

// The picture as a file's bytes: placeable header, then what a recording context made of drawing it. std::runtime_error
// when a point lies outside the box, the box outside 16 bits, or a call fails.
std::vector<uint8_t> placeableMetafile(const Picture& picture);

} // namespace kbann::pictures
