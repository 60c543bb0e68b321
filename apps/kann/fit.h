// Putting a tree on an image: its root's scale and offset, the resolution of its measures, and what goes into the pixels.
#pragma once

#include "apps/kann/image_load.h"

#include <string>

namespace kann {

// Scale and offset that put the root's rectangle on the whole image; a side without length keeps its scale.
struct Fit {
    double scaleX = 1, scaleY = 1, left = 0, top = 0;
};

// How a root comes onto a page of that size as viewed. One around marks that count in pixels keeps their scale.
Fit fitRoot(HANNOBJECT root, int width, int height, const std::string& name);
// The same; a root around such marks is made as large as the page.
Fit fitTree(const Tree& tree, int width, int height, const std::string& name);
// Places the root; x, y: the pixel of the image that comes to 0, 0.
void placeRoot(const Tree& tree, const Fit& fit, int x, int y, const std::string& name);

// Places the root for an image file without loading its pixels; null: at the tree's own size.
void placeRootFor(const Tree& tree, const InputFile* image, int page, int x, int y, const std::string& name);

// Resolution in dots an inch as the image is viewed; 0 where it is unknown.
struct Resolution {
    double x = 0, y = 0;
};
Resolution resolutionOf(const KernelBitmap& image);
// Of a page of an image file, without loading its pixels. Throws Failure.
Resolution fileResolution(const InputFile& input, int page);
// Measures rest on it; unknown ones stay as the library assumes them.
void measureBy(const Tree& tree, const Resolution& resolution, const std::string& name);

// Fits the tree to an image and gives the rectangle by which realizing and printing leave it where it was fitted to.
RECT fitView(const Tree& tree, int width, int height, const std::string& name);
// Draws the tree, or its redactions alone, into the pixels as viewed.
void realize(KernelBitmap& image, const Tree& tree, bool redactOnly, const std::string& name);

} // namespace kann
