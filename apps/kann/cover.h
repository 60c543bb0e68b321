// Covering areas of a bitmap, and looking whether they are covered. All of it goes by the rows themselves: no drawing, no
// raster operation and no palette of a device stands between the decision and the pixel.
#pragma once

#include "apps/kann/image_load.h"

#include <optional>
#include <span>
#include <vector>

namespace kann {

// Areas in viewed pixels as those in stored ones, cut to the image. The record needs no pixels.
std::vector<RECT> storedAreas(const KernelBitmap& shape, std::span<const RECT> areas);

// Makes the areas (stored pixels) black, or of the palette's nearest colour; opaque where there is an opacity. Zeroes the
// bits and bytes that pad rows, makes fourth bytes that are no opacity 255, and takes colours out of the palette that no
// pixel has any more: they would tell of the covered ones. Gives the colour of the covered pixels.
COLORREF coverAreas(Bitmap& bitmap, std::span<const RECT> areas, const std::string& name);

// A stored pixel of the area that differs from its first one; of all bits that are stored.
std::optional<POINT> findUnlike(const KernelBitmap& b, const RECT& area);

// 32 bits a pixel without opacity, and not all fourth bytes are 255.
bool hasUnseenBytes(const KernelBitmap& b);

// The palette has colours that no pixel shows, other than black and repeated ones, and isn't a plain ramp of grey.
bool hasUnusedColors(const KernelBitmap& b);

} // namespace kann
