// Pixels in memory as contexts see them: the top row's address, a signed stride, 1, 8, 24 or 32 bits, and a colour table
// below 24 bits. A pixel's value is its index or 0x00RRGGBB, and raster operations work on the bits of that value.
#pragma once

#include "platform/gdi.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace kb::gdi {

// Pixels left..right-1, top..bottom-1.
struct Box {
    int32_t left = 0, top = 0, right = 0, bottom = 0;
    bool empty() const { return left >= right || top >= bottom; }
    bool operator==(const Box&) const = default;
    bool contains(const Box& o) const { return o.left >= left && o.top >= top && o.right <= right && o.bottom <= bottom; }
};

inline Box intersect(const Box& a, const Box& b) {
    Box r{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
    if (r.empty()) r = {r.left, r.top, r.left, r.top};
    return r;
}

// For products of 32-bit lengths.
__extension__ typedef __int128 Wide;
__extension__ typedef unsigned __int128 UWide;

constexpr int32_t saturate(int64_t v) { return static_cast<int32_t>(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX)); }

// COLORREF and pixel order differ in which end red stands at.
constexpr uint32_t swapRedBlue(uint32_t c) { return (c & 0x00FF00) | (c & 0xFF) << 16 | (c >> 16 & 0xFF); }

struct ColorTable {
    uint32_t count = 0;
    std::array<uint32_t, 256> rgb{}; // 0x00RRGGBB

    static ColorTable standard(int bits);
    static ColorTable from(const RGBQUAD* colors, uint32_t count, int bits);
    uint32_t nearest(uint32_t rgbColor) const;
    bool sameAs(const ColorTable& o) const {
        return count == o.count && std::equal(rgb.begin(), rgb.begin() + count, o.rgb.begin());
    }
};

struct Surface {
    uint8_t* top = nullptr;
    ptrdiff_t stride = 0;
    int width = 0, height = 0, bits = 32;
    const ColorTable* colors = nullptr; // below 24 bits
    bool mono = false; // one bit without colours of its own: colours come from the context when it is blitted

    uint8_t* row(int y) const { return top + stride * y; }
    Box bounds() const { return {0, 0, width, height}; }
    // The pixel value that shows a colour best.
    uint32_t pixelFor(COLORREF color) const;
    COLORREF colorOf(uint32_t pixel) const;
    uint32_t get(int x, int y) const;
};

// Bytes of a row of pixels, its length a multiple of `granularity` bits.
constexpr int64_t rowBytes(int64_t width, int bits, int granularity) {
    return (width * bits + granularity - 1) / granularity * (granularity / 8);
}

} // namespace kb::gdi
