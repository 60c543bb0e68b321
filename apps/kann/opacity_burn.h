// Burning into images with opacity, which drawing knows nothing of.
#pragma once

#include "apps/kann/image_load.h"

#include <string>

namespace kann {

// Draws the tree into an image of 32 bits with opacity, whose annotations become opaque; the others stay as they are. The image
// is upright afterwards. Throws Failure.
void realizeWithOpacity(Bitmap& image, const Tree& tree, const std::string& name);

} // namespace kann
