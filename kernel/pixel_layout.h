// How pixels lie in the rows of a bitmap record, and how a perspective maps stored pixels to viewed ones. Everything here
// is inline and free of state: loops over pixels pick the depth once (withPixels) and the colour layout once
// (colorLayout), so that the inner loop has neither a switch nor a call.
#pragma once

#include "contracts/raster_kernel.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

namespace kb {

inline constexpr int32_t maxBitmapSide = 1 << 24;

constexpr bool isPixelDepth(int bits) {
    return bits == 1 || bits == 4 || bits == 8 || bits == 12 || bits == 16 || bits == 24 || bits == 32;
}
constexpr int32_t bytesPerRow(int32_t width, int bits) {
    return static_cast<int32_t>((int64_t{width} * bits + 31) / 32 * 4);
}

// ---- raw pixel values ----

template <int Bits> struct PixelAccess;
template <> struct PixelAccess<1> {
    static uint32_t get(const uint8_t* row, int32_t x) { return (row[x >> 3] >> (7 - (x & 7))) & 1u; }
    static void put(uint8_t* row, int32_t x, uint32_t value) {
        const uint32_t mask = 0x80u >> (x & 7);
        row[x >> 3] = static_cast<uint8_t>(value & 1u ? row[x >> 3] | mask : row[x >> 3] & ~mask);
    }
};
template <> struct PixelAccess<4> {
    static uint32_t get(const uint8_t* row, int32_t x) { return x & 1 ? row[x >> 1] & 15u : row[x >> 1] >> 4; }
    static void put(uint8_t* row, int32_t x, uint32_t value) {
        uint8_t& b = row[x >> 1];
        b = static_cast<uint8_t>(x & 1 ? (b & 0xF0u) | (value & 15u) : (b & 0x0Fu) | (value & 15u) << 4);
    }
};
template <> struct PixelAccess<8> {
    static uint32_t get(const uint8_t* row, int32_t x) { return row[x]; }
    static void put(uint8_t* row, int32_t x, uint32_t value) { row[x] = static_cast<uint8_t>(value); }
};
template <> struct PixelAccess<12> {
    static uint32_t get(const uint8_t* row, int32_t x) {
        const uint8_t* p = row + (x >> 1) * 3;
        return x & 1 ? (p[1] & 15u) << 8 | p[2] : static_cast<uint32_t>(p[0]) << 4 | p[1] >> 4;
    }
    static void put(uint8_t* row, int32_t x, uint32_t value) {
        uint8_t* p = row + (x >> 1) * 3;
        if (x & 1) {
            p[1] = static_cast<uint8_t>((p[1] & 0xF0u) | ((value >> 8) & 15u));
            p[2] = static_cast<uint8_t>(value);
        } else {
            p[0] = static_cast<uint8_t>(value >> 4);
            p[1] = static_cast<uint8_t>((p[1] & 0x0Fu) | (value & 15u) << 4);
        }
    }
};
template <> struct PixelAccess<16> {
    static uint32_t get(const uint8_t* row, int32_t x) { return row[x * 2] | static_cast<uint32_t>(row[x * 2 + 1]) << 8; }
    static void put(uint8_t* row, int32_t x, uint32_t value) {
        row[x * 2] = static_cast<uint8_t>(value);
        row[x * 2 + 1] = static_cast<uint8_t>(value >> 8);
    }
};
template <> struct PixelAccess<24> {
    static uint32_t get(const uint8_t* row, int32_t x) {
        const uint8_t* p = row + x * 3;
        return p[0] | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16;
    }
    static void put(uint8_t* row, int32_t x, uint32_t value) {
        uint8_t* p = row + x * 3;
        p[0] = static_cast<uint8_t>(value);
        p[1] = static_cast<uint8_t>(value >> 8);
        p[2] = static_cast<uint8_t>(value >> 16);
    }
};
template <> struct PixelAccess<32> {
    static uint32_t get(const uint8_t* row, int32_t x) {
        uint32_t value;
        std::memcpy(&value, row + x * 4, 4);
        return value;
    }
    static void put(uint8_t* row, int32_t x, uint32_t value) { std::memcpy(row + x * 4, &value, 4); }
};

// First column from x on, below `width`, whose bit is `value`; whole bytes of the other value are stepped over.
inline int32_t findBit(const uint8_t* row, int32_t x, int32_t width, bool value) {
    const uint8_t other = value ? 0x00 : 0xFF;
    while (x < width) {
        if (x % 8 == 0 && row[x / 8] == other)
            x += 8;
        else if ((PixelAccess<1>::get(row, x) != 0) == value)
            return x;
        else
            ++x;
    }
    return width;
}

// Calls f with the PixelAccess of a depth that isPixelDepth.
template <class F> auto withPixels(int bits, F&& f) {
    switch (bits) {
    case 1: return f(PixelAccess<1>{});
    case 4: return f(PixelAccess<4>{});
    case 8: return f(PixelAccess<8>{});
    case 12: return f(PixelAccess<12>{});
    case 16: return f(PixelAccess<16>{});
    case 24: return f(PixelAccess<24>{});
    default: return f(PixelAccess<32>{});
    }
}

// ---- colours, as 0xAARRGGBB ----

enum class ColorLayout { indexed, grey12, grey16, rgb555, bgr24, rgb24, bgr32, rgb32 };

constexpr ColorLayout colorLayout(int bits, int order) {
    if (bits <= 8) return ColorLayout::indexed;
    if (bits == 12) return ColorLayout::grey12;
    if (bits == 16) return order == KB_ORDER_GREY ? ColorLayout::grey16 : ColorLayout::rgb555;
    if (bits == 24) return order == KB_ORDER_RGB ? ColorLayout::rgb24 : ColorLayout::bgr24;
    return order == KB_ORDER_RGB ? ColorLayout::rgb32 : ColorLayout::bgr32;
}
inline ColorLayout colorLayout(const KernelBitmap& b) { return colorLayout(b.BitsPerPixel, b.Order); }

constexpr uint32_t argb(uint32_t r, uint32_t g, uint32_t b, uint32_t a = 255) { return a << 24 | r << 16 | g << 8 | b; }
constexpr uint32_t redOf(uint32_t color) { return (color >> 16) & 255u; }
constexpr uint32_t greenOf(uint32_t color) { return (color >> 8) & 255u; }
constexpr uint32_t blueOf(uint32_t color) { return color & 255u; }
constexpr uint32_t swapRedBlue(uint32_t color) {
    return (color & 0xFF00FF00u) | (color & 255u) << 16 | ((color >> 16) & 255u);
}
// Brightness 0 to 255; white gives 255.
constexpr uint32_t luma(uint32_t color) { return (77 * redOf(color) + 150 * greenOf(color) + 29 * blueOf(color)) >> 8; }
constexpr uint32_t fromColorRef(COLORREF color) { return 0xFF000000u | (swapRedBlue(color) & 0xFFFFFFu); }
constexpr COLORREF toColorRef(uint32_t color) { return swapRedBlue(color) & 0xFFFFFFu; }
inline uint32_t fromQuad(RGBQUAD q) { return argb(q.rgbRed, q.rgbGreen, q.rgbBlue); }
constexpr RGBQUAD toQuad(uint32_t color) {
    return {static_cast<BYTE>(blueOf(color)), static_cast<BYTE>(greenOf(color)), static_cast<BYTE>(redOf(color)), 0};
}

// Colour of a raw value above 8 bits.
constexpr uint32_t directColor(ColorLayout layout, uint32_t value) {
    switch (layout) {
    case ColorLayout::grey12: return argb(value >> 4, value >> 4, value >> 4);
    case ColorLayout::grey16: return argb(value >> 8, value >> 8, value >> 8);
    case ColorLayout::rgb555: {
        const uint32_t r = (value >> 10) & 31u, g = (value >> 5) & 31u, b = value & 31u;
        return argb(r << 3 | r >> 2, g << 3 | g >> 2, b << 3 | b >> 2);
    }
    case ColorLayout::bgr24: return 0xFF000000u | value;
    case ColorLayout::rgb24: return 0xFF000000u | swapRedBlue(value);
    case ColorLayout::rgb32: return swapRedBlue(value);
    case ColorLayout::indexed:
    case ColorLayout::bgr32: break;
    }
    return value;
}
// Raw value of a colour above 8 bits.
constexpr uint32_t directValue(ColorLayout layout, uint32_t color) {
    switch (layout) {
    case ColorLayout::grey12: return luma(color) << 4 | luma(color) >> 4;
    case ColorLayout::grey16: return luma(color) * 257u;
    case ColorLayout::rgb555: return (redOf(color) >> 3) << 10 | (greenOf(color) >> 3) << 5 | blueOf(color) >> 3;
    case ColorLayout::bgr24: return color & 0xFFFFFFu;
    case ColorLayout::rgb24: return swapRedBlue(color) & 0xFFFFFFu;
    case ColorLayout::rgb32: return swapRedBlue(color);
    case ColorLayout::indexed:
    case ColorLayout::bgr32: break;
    }
    return color;
}

// Turns raw values of one image into colours. Indices behind the palette are black.
class ColorReader {
public:
    explicit ColorReader(const KernelBitmap& b) : layout_(colorLayout(b)) {
        if (layout_ != ColorLayout::indexed) return;
        table_.fill(0xFF000000u);
        for (uint32_t i = 0; b.pPalette && i < b.nColors && i < 256; ++i) table_[i] = fromQuad(b.pPalette[i]);
    }
    uint32_t operator()(uint32_t value) const {
        return layout_ == ColorLayout::indexed ? table_[value & 255u] : directColor(layout_, value);
    }

private:
    ColorLayout layout_;
    std::array<uint32_t, 256> table_;
};

// ---- perspectives ----

// viewed x = column (row when sides swap), counted from the other end when flipped; y alike.
struct Perspective {
    bool swapsSides, flipsX, flipsY;
};
inline constexpr auto perspectives = std::to_array<Perspective>({
    {false, false, false}, // KB_VIEW_TOP_LEFT
    {false, false, true},  // KB_VIEW_BOTTOM_LEFT
    {false, true, false},  // KB_VIEW_TOP_RIGHT
    {true, false, false},  // KB_VIEW_LEFT_TOP
    {true, true, false},   // KB_VIEW_RIGHT_TOP
    {false, true, true},   // KB_VIEW_BOTTOM_RIGHT
    {true, true, true},    // KB_VIEW_RIGHT_BOTTOM
    {true, false, true},   // KB_VIEW_LEFT_BOTTOM
});
inline Perspective perspectiveOf(const KernelBitmap& b) {
    const int view = b.ViewPerspective;
    return perspectives[view >= KB_VIEW_TOP_LEFT && view <= KB_VIEW_LEFT_BOTTOM ? static_cast<size_t>(view - 1) : 0];
}

} // namespace kb
