// Each page is boiled down to a square of mean brightnesses, each over the exact part of the page that it stands for, so
// that the page's size and depth hardly matter. Two pages are alike when the squares go together outside the covered areas,
// or against each other, as a negative does. What the other one has inside them is looked at in its own pixels: a word is
// far smaller than a cell. It is a copy when they aren't all alike.
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
constexpr int faint = 16;          // levels of a colour, of 255, by which paper differs from itself

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

// 24 bits a pixel, as viewed.
Bitmap uprightPage(const WholeImage& image, int page) {
    WholePage loaded = loadWholePage(image, page);
    Bitmap upright;
    check(K_NormalizeBitmap(&loaded.bitmap.record), image.file.name);
    check(K_ChangeBitmapDepth(&loaded.bitmap.record, &upright.record, 24, 0, 0, 0, 0, 0, 0), image.file.name);
    return upright;
}

Square squareOf(const KernelBitmap& b) {
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
template <class T> std::array<T, side * side> turned(const std::array<T, side * side>& square, int way) {
    std::array<T, side * side> out;
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            int fromX = way & 1 ? side - 1 - x : x, fromY = way & 2 ? side - 1 - y : y;
            if (way & 4) std::swap(fromX, fromY);
            out[static_cast<std::size_t>(y * side + x)] = square[static_cast<std::size_t>(fromY * side + fromX)];
        }
    }
    return out;
}

// Where an area of the covered page lies on the other one, which is laid on it by that way.
RECT placeOn(const KernelBitmap& other, const RECT& area, const PageRegions& covered, int way) {
    struct Span {
        int low, high, length;
    };
    Span x{area.left, area.right, covered.width}, y{area.top, area.bottom, covered.height};
    if (way & 1) x = {x.length - x.high, x.length - x.low, x.length};
    if (way & 2) y = {y.length - y.high, y.length - y.low, y.length};
    if (way & 4) std::swap(x, y);
    const auto scaled = [](const Span& span, int length) {
        const auto at = [&](int value) {
            return static_cast<int>((std::int64_t{value} * length * 2 + span.length) / (std::int64_t{span.length} * 2));
        };
        const int low = std::min(at(span.low), length - 1);
        return std::pair{low, std::max(at(span.high), low + 1)};
    };
    const auto [left, right] = scaled(x, other.Width);
    const auto [top, bottom] = scaled(y, other.Height);
    return {left, top, right, bottom};
}

// Are the other page's pixels in the covered areas unlike each other? Those that it has covered itself don't count.
bool showsInside(const KernelBitmap& other, const PageRegions* own, const PageRegions& covered, int way) {
    std::array<int, 3> least{255, 255, 255}, most{};
    for (const RECT& area : covered.areas) {
        const RECT place = placeOn(other, area, covered, way);
        for (int y = place.top; y < place.bottom; ++y) {
            const std::uint8_t* row = K_BitmapRowPointer(&other, y);
            for (int x = place.left; x < place.right; ++x) {
                const auto holds = [x, y](const RECT& r) {
                    return x >= r.left && x < r.right && y >= r.top && y < r.bottom;
                };
                if (own && std::ranges::any_of(own->areas, holds)) continue;
                for (std::size_t channel = 0; channel < 3; ++channel) {
                    const int level = row[static_cast<std::size_t>(x) * 3 + channel];
                    least[channel] = std::min(least[channel], level);
                    most[channel] = std::max(most[channel], level);
                    if (most[channel] - least[channel] > faint) return true;
                }
            }
        }
    }
    return false;
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

// `hidden`: cells that either page has covered.
bool areAlike(const Square& covered, const Square& other, const Mask& hidden) {
    Statistics outside;
    for (std::size_t i = 0; i < covered.size(); ++i) {
        if (!hidden[i]) outside.add(covered[i], other[i]);
    }
    if (outside.cells < fewest) return false;
    const bool flatA = outside.deviationA() < flat, flatB = outside.deviationB() < flat;
    return flatA || flatB ? flatA && flatB : std::fabs(outside.correlation()) >= together;
}

} // namespace

std::vector<PageLikeness> findLikePages(const WholeImage& image, const Regions& regions) {
    std::vector<PageLikeness> alike;
    if (image.pages < 2 || regions.empty()) return alike;
    std::vector<Square> squares;
    for (const PageRegions& page : regions) squares.push_back(squareOf(uprightPage(image, page.page).record));
    for (int other = 1; other <= image.pages; ++other) {
        const Bitmap upright = uprightPage(image, other);
        const Square square = squareOf(upright.record);
        const auto own = std::ranges::find(regions, other, &PageRegions::page);
        const PageRegions* const ownRegions = own == regions.end() ? nullptr : &*own;
        const Mask ownMask = ownRegions ? maskOf(*ownRegions) : Mask{};
        for (std::size_t i = 0; i < regions.size(); ++i) {
            if (regions[i].page == other) continue;
            const Mask mask = maskOf(regions[i]);
            bool copy = false;
            for (int way = 0; way < 8 && !copy; ++way) {
                Mask hidden = turned(ownMask, way);
                for (std::size_t cell = 0; cell < mask.size(); ++cell) hidden[cell] = hidden[cell] || mask[cell];
                copy = areAlike(squares[i], turned(square, way), hidden) &&
                       showsInside(upright.record, ownRegions, regions[i], way);
            }
            if (copy) alike.push_back({regions[i].page, other});
        }
    }
    return alike;
}

} // namespace kann
