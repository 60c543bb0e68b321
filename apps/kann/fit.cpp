// Realizing and printing fit the root's bounds in client pixels, which are whole numbers and as wide as the root's own line,
// to a rectangle. The root is placed first, by numbers that aren't rounded; the rectangle is then those bounds again, so that
// nothing is fitted twice.
#include "apps/kann/fit.h"

#include "apps/kann/failure.h"

#include <cmath>

namespace kann {

namespace {

bool isSideways(int perspective) {
    return perspective == KB_VIEW_LEFT_TOP || perspective == KB_VIEW_RIGHT_TOP || perspective == KB_VIEW_RIGHT_BOTTOM ||
           perspective == KB_VIEW_LEFT_BOTTOM;
}

Resolution seenAs(int perspective, double across, double down) {
    return isSideways(perspective) ? Resolution{down, across} : Resolution{across, down};
}

// The library's reader of marks takes a side that it doesn't know, and any longer one, for this long.
constexpr double longestMarkedSide = 32000;

// Marks of other tools count in pixels of their image. The container that reading puts around them ends on the last pixel of
// the image as stored, which stands across one that is viewed sideways.
bool countsInPixels(const AnnRect& rect, int width, int height) {
    const auto endsWith = [](double end, int pixels) { return end == pixels - 1 || end == longestMarkedSide - 1; };
    return rect.left == 0 && rect.top == 0 &&
           ((endsWith(rect.right, width) && endsWith(rect.bottom, height)) ||
            (endsWith(rect.right, height) && endsWith(rect.bottom, width)));
}

} // namespace

Fit fitRoot(HANNOBJECT root, int width, int height, const std::string& name) {
    AnnRect rect{};
    check(K_AnnGetRect(root, &rect, nullptr), name);
    if (countsInPixels(rect, width, height)) return {};
    const auto side = [](double length, int pixels) {
        const double factor = pixels / length;
        return std::isfinite(factor) && factor > 0 ? factor : 1;
    };
    return {side(rect.right - rect.left, width), side(rect.bottom - rect.top, height), rect.left, rect.top};
}

Fit fitTree(const Tree& tree, int width, int height, const std::string& name) {
    AnnRect rect{};
    check(K_AnnGetRect(tree.get(), &rect, nullptr), name);
    if (countsInPixels(rect, width, height)) {
        rect = {0, 0, static_cast<double>(width), static_cast<double>(height)};
        check(K_AnnSetRect(tree.get(), &rect), name);
    }
    return fitRoot(tree.get(), width, height, name);
}

void placeRoot(const Tree& tree, const Fit& fit, int x, int y, const std::string& name) {
    constexpr std::uint32_t flags = ANN_FLAG_NOINVALIDATE;
    check(K_AnnSetScalarX(tree.get(), fit.scaleX, flags), name);
    check(K_AnnSetScalarY(tree.get(), fit.scaleY, flags), name);
    check(K_AnnSetOffsetX(tree.get(), -fit.left - x, flags), name);
    check(K_AnnSetOffsetY(tree.get(), -fit.top - y, flags), name);
}

void placeRootFor(const Tree& tree, const InputFile* image, int page, int x, int y, const std::string& name) {
    if (!image) {
        AnnRect rect{};
        check(K_AnnGetRect(tree.get(), &rect, nullptr), name);
        placeRoot(tree, {1, 1, rect.left, rect.top}, x, y, name);
        return;
    }
    const KernelFileInfo info = imageInfo(*image, page);
    const bool sideways = isSideways(info.nViewPerspective);
    placeRoot(tree, fitTree(tree, sideways ? info.nHeight : info.nWidth, sideways ? info.nWidth : info.nHeight, name), x, y,
              name);
}

Resolution resolutionOf(const KernelBitmap& image) {
    return seenAs(image.ViewPerspective, image.XResolution, image.YResolution);
}

Resolution fileResolution(const InputFile& input, int page) {
    const KernelFileInfo info = imageInfo(input, page);
    return seenAs(info.nViewPerspective, info.nXResolution, info.nYResolution);
}

void measureBy(const Tree& tree, const Resolution& resolution, const std::string& name) {
    constexpr std::uint32_t flags = ANN_FLAG_RECURSE | ANN_FLAG_NOINVALIDATE;
    if (resolution.x > 0) check(K_AnnSetBitmapDpiX(tree.get(), resolution.x, flags), name);
    if (resolution.y > 0) check(K_AnnSetBitmapDpiY(tree.get(), resolution.y, flags), name);
}

RECT fitView(const Tree& tree, int width, int height, const std::string& name) {
    placeRoot(tree, fitTree(tree, width, height, name), 0, 0, name);
    RECT view{};
    check(K_AnnGetBoundingRect(tree.get(), &view, nullptr), name);
    if (view.right <= view.left) view.right = view.left + width;
    if (view.bottom <= view.top) view.bottom = view.top + height;
    return view;
}

void realize(KernelBitmap& image, const Tree& tree, bool redactOnly, const std::string& name) {
    int width = 0, height = 0;
    K_GetBitmapViewSize(&image, &width, &height);
    const RECT view = fitView(tree, width, height, name);
    check(K_AnnRealize(&image, &view, tree.get(), redactOnly ? TRUE : FALSE), name);
}

} // namespace kann
