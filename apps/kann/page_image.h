// A page's picture as results show it.
#pragma once

#include "apps/kann/image_load.h"

#include <string>

namespace kann {

// 24 bits, upright, opacity worked in over white.
Bitmap onWhite(Bitmap image, const std::string& name);
// Another size of an image from onWhite().
Bitmap scaled(const Bitmap& image, int width, int height, const std::string& name);
// For a PDF page: upright at its own depth of 1, 4, 8 or 24 bits, so that a scan stays small.
Bitmap forPdfPage(Bitmap image, const std::string& name);

} // namespace kann
