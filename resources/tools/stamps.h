// The 26 predefined stamps: what a desk's rubber stamps look like.
#pragma once

#include "resources/tools/outline.h"

namespace kbann::pictures {

// In the order of the slots. The first one's box is -2104, 1397, 1580, 2114.
std::vector<Picture> stampPictures();

} // namespace kbann::pictures
