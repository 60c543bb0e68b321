// Each page is boiled down to a square of mean brightnesses, each over the exact part of the page that it stands for, so that
// the page's size and depth hardly matter. Two pages are alike
// when the squares go together outside the covered areas; the other one is a copy when it has something to see inside them.
#include "apps/kann/page_likeness.h"

#include "apps/kann/failure.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace kann {

namespace {

constexpr int side = 32;
using Square = std::array<double, side * side>;
using Mask = std::array<bool, side * side>;

constexpr double flat = 1.5;       // deviation of brightness, of 255, of what shows nothing
constexpr double together = 0.75;  // correlation of pages that show the same; other pages of a text have up to about 0.55
constexpr std::size_t fewest = 32; // cells that a comparison needs

// The cells that a row or column of a page falls into, with its shares in them.
struct Share {
    std::size_t cell;
    double weight;
};

// Calls `add` for each cell that the pixels from `at` to `at` + 1 of `length` touch.
template <class Add> void forShares(int at, int length, Add&& add) {
    const double begin = static_cast<double>(at) * side / length, end = static_cast<double>(at + 1) * side / length;
    for (auto cell = static_cast<std::size_t>(begin); cell < side && static_cast<double>(cell) < end; ++cell) {
        const double from = std::max(begin, static_cast<double>(cell)), to = std::min(end, static_cast<double>(cell) + 1);
        if (to > from) add(cell, to - from);
    }
}

Square squareOf(const WholeImage& image, int page) {
    WholePage loaded = loadWholePage(image, page);
    Bitmap upright;
    check(K_NormalizeBitmap(&loaded.bitmap.record), image.file.name);
    check(K_ChangeBitmapDepth(&loaded.bitmap.record, &upright.record, 24, 0, 0, 0, 0, 0, 0), image.file.name);
    const KernelBitmap& b = upright.record;
    std::vector<std::vector<Share>> shares(static_cast<std::size_t>(b.Width)); // of the columns
    for (int x = 0; x < b.Width; ++x) {
        forShares(x, b.Width, [&](std::size_t cell, double weight) {
            shares[static_cast<std::size_t>(x)].push_back({cell, weight});
        });
    }
    Square square{}; // a cell's shares have the sum 1
    for (int y = 0; y < b.Height; ++y) {
        std::array<double, side> line{};
        const std::uint8_t* pixel = K_BitmapRowPointer(&b, y);
        for (int x = 0; x < b.Width; ++x, pixel += 3) {
            const double brightness = (pixel[0] + 2.0 * pixel[1] + pixel[2]) / 4;
            for (const Share& share : shares[static_cast<std::size_t>(x)]) line[share.cell] += brightness * share.weight;
        }
        forShares(y, b.Height, [&](std::size_t down, double weight) {
            for (std::size_t x = 0; x < side; ++x) square[down * side + x] += line[x] * weight;
        });
    }
    return square;
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
