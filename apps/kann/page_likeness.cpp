// Each page is boiled down to a square of mean brightnesses, which doesn't depend on its size and depth. Two pages are alike
// when the squares go together outside the covered areas; the other one is a copy when it has something to see inside them.
#include "apps/kann/page_likeness.h"

#include "apps/kann/failure.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace kann {

namespace {

constexpr int side = 64;
using Square = std::array<double, side * side>;
using Mask = std::array<bool, side * side>;

constexpr double flat = 1.5;        // deviation of brightness, of 255, of what shows nothing
constexpr double together = 0.85;   // correlation of pages that show the same
constexpr std::size_t fewest = 128; // cells that a comparison needs

Square squareOf(const WholeImage& image, int page) {
    WholePage loaded = loadWholePage(image, page);
    Bitmap upright;
    check(K_NormalizeBitmap(&loaded.bitmap.record), image.file.name);
    check(K_ChangeBitmapDepth(&loaded.bitmap.record, &upright.record, 24, 0, 0, 0, 0, 0, 0), image.file.name);
    const KernelBitmap& b = upright.record;
    Square sums{}, counts{};
    const auto cell = [](int at, int length) { return static_cast<std::size_t>(std::int64_t{at} * side / length); };
    // Pages smaller than the square leave cells out: those take the pixel that they lie in.
    for (int y = 0; y < std::max(b.Height, side); ++y) {
        const int fromY = b.Height >= side ? y : y * b.Height / side;
        const std::uint8_t* row = K_BitmapRowPointer(&b, fromY);
        const std::size_t down = cell(y, std::max(b.Height, side));
        for (int x = 0; x < std::max(b.Width, side); ++x) {
            const int fromX = b.Width >= side ? x : x * b.Width / side;
            const std::uint8_t* pixel = row + std::ptrdiff_t{fromX} * 3;
            const std::size_t at = down * side + cell(x, std::max(b.Width, side));
            sums[at] += (pixel[0] + 2.0 * pixel[1] + pixel[2]) / 4;
            counts[at] += 1;
        }
    }
    for (std::size_t i = 0; i < sums.size(); ++i) sums[i] /= counts[i];
    return sums;
}

// Cells that an area touches.
Mask maskOf(const PageRegions& regions) {
    Mask mask{};
    for (const RECT& area : regions.areas) {
        const auto cells = [](int low, int high, int length) {
            return std::pair{std::int64_t{low} * side / length, (std::int64_t{high} * side - 1) / length};
        };
        const auto [left, right] = cells(area.left, area.right, regions.width);
        const auto [top, bottom] = cells(area.top, area.bottom, regions.height);
        for (auto y = top; y <= bottom; ++y) {
            for (auto x = left; x <= right; ++x) mask[static_cast<std::size_t>(y * side + x)] = true;
        }
    }
    return mask;
}

// One of the eight ways to lay a square on itself.
Square turned(const Square& square, int way) {
    Square out;
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            int fromX = way & 1 ? side - 1 - x : x, fromY = way & 2 ? side - 1 - y : y;
            if (way & 4) std::swap(fromX, fromY);
            out[static_cast<std::size_t>(y * side + x)] = square[static_cast<std::size_t>(fromY * side + fromX)];
        }
    }
    return out;
}

struct Statistics {
    std::size_t cells = 0;
    double a = 0, b = 0, aa = 0, bb = 0, ab = 0;
    void add(double x, double y) {
        ++cells;
        a += x, b += y, aa += x * x, bb += y * y, ab += x * y;
    }
    double n() const { return static_cast<double>(std::max<std::size_t>(cells, 1)); }
    double deviationA() const { return std::sqrt(std::max(0.0, aa / n() - a / n() * a / n())); }
    double deviationB() const { return std::sqrt(std::max(0.0, bb / n() - b / n() * b / n())); }
    double correlation() const { return (ab / n() - a / n() * b / n()) / (deviationA() * deviationB()); }
};

bool isCopy(const Square& covered, const Mask& mask, const Square& other) {
    Statistics outside, inside;
    for (std::size_t i = 0; i < covered.size(); ++i) (mask[i] ? inside : outside).add(covered[i], other[i]);
    if (outside.cells < fewest || inside.deviationB() < flat) return false;
    const bool bothFlat = outside.deviationA() < flat && outside.deviationB() < flat;
    return bothFlat || (outside.deviationA() >= flat && outside.deviationB() >= flat && outside.correlation() >= together);
}

} // namespace

std::vector<PageLikeness> findLikePages(const WholeImage& image, const Regions& regions) {
    std::vector<PageLikeness> alike;
    if (image.pages < 2 || regions.empty()) return alike;
    std::vector<Square> squares;
    for (const PageRegions& page : regions) squares.push_back(squareOf(image, page.page));
    for (int other = 1; other <= image.pages; ++other) {
        const Square square = squareOf(image, other);
        for (std::size_t i = 0; i < regions.size(); ++i) {
            if (regions[i].page == other) continue;
            const Mask mask = maskOf(regions[i]);
            bool copy = false;
            for (int way = 0; way < 8 && !copy; ++way) copy = isCopy(squares[i], mask, turned(square, way));
            if (copy) alike.push_back({regions[i].page, other});
        }
    }
    return alike;
}

} // namespace kann
