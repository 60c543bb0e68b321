// Pictures of the media objects and of hotspots.
#pragma once

#include "resources/tools/outline.h"

namespace kbann::pictures {

// The active audio glyph's width, and the part of it that the inactive one takes.
inline constexpr int audioWidth = 14982, audioInactiveWidth = 7813;

// Audio active, inactive, hit mask; video active, inactive, hit mask; the hotspot's default.
std::vector<Picture> glyphPictures();

} // namespace kbann::pictures
