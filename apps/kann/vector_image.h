// Metafiles as images: at a resolution, or so large that they have a given width.
#pragma once

#include "apps/kann/image_load.h"
#include "apps/kann/options.h"

namespace kann {

// Resolution of metafiles, and of what has no resolution of its own where one is needed. The library measures by it too.
inline constexpr int assumedDpi = 150;

// Of this run; set before the first input is opened.
struct VectorSize {
    int dpi = assumedDpi;
    int width = 0; // pixels; 0: by dpi
};
VectorSize& vectorSize();
// Reads --dpi and --width. Throws UsageError.
void setVectorSize(const Arguments& arguments);

bool isMetafile(const InputFile& input);
// Throws Failure for what isn't one.
Metafile loadMetafile(const InputFile& input);
// A metafile at the width of this run, on white. Throws Failure.
Bitmap loadAtWidth(const InputFile& input);

} // namespace kann
