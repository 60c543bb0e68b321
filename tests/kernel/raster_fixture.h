// Shared by the tests of the kernel and of the image files: images with known pixels, and a plain reading of them as they
// are viewed that shares no code with the library.
#pragma once

#include "contracts/raster_kernel.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace test {

// A record that frees itself.
struct Image {
    Image() = default;
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    ~Image() { K_FreeBitmap(&b); }
    KernelBitmap b{};
};

// A small generator with a seed that the test prints.
struct Random {
    explicit Random(uint32_t seed) : state(seed ? seed : 1) {}
    uint32_t operator()() {
        state ^= state << 13;
        state ^= state >> 17;
        return state ^= state << 5;
    }
    uint32_t below(uint32_t limit) { return (*this)() % limit; }
    uint32_t state;
};

// Sets a raw pixel value by bits, straight from the layout's definition: high bits first below 16, then little-endian.
inline void setRaw(std::vector<uint8_t>& row, int bits, int x, uint32_t value) {
    if (bits >= 16) {
        for (int i = 0; i < bits / 8; ++i)
            row[static_cast<size_t>(x * bits / 8 + i)] = static_cast<uint8_t>(value >> (8 * i));
        return;
    }
    for (int i = 0; i < bits; ++i) {
        const int at = x * bits + i;
        const auto mask = static_cast<uint8_t>(0x80 >> (at % 8));
        if (value >> (bits - 1 - i) & 1)
            row[static_cast<size_t>(at / 8)] |= mask;
        else
            row[static_cast<size_t>(at / 8)] &= static_cast<uint8_t>(~mask);
    }
}

inline uint32_t rawAt(const KernelBitmap& b, int row, int x) {
    const uint8_t* p = K_BitmapRowPointer(&b, row);
    uint32_t value = 0;
    if (b.BitsPerPixel >= 16) {
        for (int i = 0; i < b.BitsPerPixel / 8; ++i)
            value |= static_cast<uint32_t>(p[x * b.BitsPerPixel / 8 + i]) << (8 * i);
        return value;
    }
    for (int i = 0; i < b.BitsPerPixel; ++i) {
        const int at = x * b.BitsPerPixel + i;
        value = value << 1 | (p[at / 8] >> (7 - at % 8) & 1u);
    }
    return value;
}

// An image of seeded noise.
inline void makeNoise(Image& image, int width, int height, int bits, int order, int perspective, uint32_t seed,
                      const RGBQUAD* palette = nullptr) {
    if (K_CreateBitmap(&image.b, 1, width, height, bits, order, palette, perspective, 0, 0) != SUCCESS) return;
    Random random(seed);
    std::vector<uint8_t> row(static_cast<size_t>(image.b.BytesPerLine), 0);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) setRaw(row, bits, x, random() >> 7 & (bits == 32 ? ~0u : (1u << bits) - 1));
        K_PutBitmapRow(&image.b, row.data(), y, image.b.BytesPerLine);
    }
}

inline std::pair<int, int> viewSize(const KernelBitmap& b) {
    const bool swaps = b.ViewPerspective == KB_VIEW_LEFT_TOP || b.ViewPerspective == KB_VIEW_RIGHT_TOP ||
                       b.ViewPerspective == KB_VIEW_RIGHT_BOTTOM || b.ViewPerspective == KB_VIEW_LEFT_BOTTOM;
    return swaps ? std::pair{b.Height, b.Width} : std::pair{b.Width, b.Height};
}

// Raw values as viewed, row after row, written down from the meaning of each perspective's name.
inline std::vector<uint32_t> viewed(const KernelBitmap& b) {
    const auto [width, height] = viewSize(b);
    std::vector<uint32_t> out(static_cast<size_t>(width) * static_cast<size_t>(height));
    const int lastRow = b.Height - 1, lastColumn = b.Width - 1;
    for (int row = 0; row < b.Height; ++row) {
        for (int column = 0; column < b.Width; ++column) {
            int x = column, y = row;
            switch (b.ViewPerspective) {
            case KB_VIEW_BOTTOM_LEFT: y = lastRow - row; break;
            case KB_VIEW_TOP_RIGHT: x = lastColumn - column; break;
            case KB_VIEW_LEFT_TOP: x = row, y = column; break;
            case KB_VIEW_RIGHT_TOP: x = lastRow - row, y = column; break;
            case KB_VIEW_BOTTOM_RIGHT: x = lastColumn - column, y = lastRow - row; break;
            case KB_VIEW_RIGHT_BOTTOM: x = lastRow - row, y = lastColumn - column; break;
            case KB_VIEW_LEFT_BOTTOM: x = row, y = lastColumn - column; break;
            default: break;
            }
            out[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)] = rawAt(b, row, column);
        }
    }
    return out;
}

inline std::vector<uint32_t> raws(const KernelBitmap& b) {
    std::vector<uint32_t> out;
    for (int y = 0; y < b.Height; ++y) {
        for (int x = 0; x < b.Width; ++x) out.push_back(rawAt(b, y, x));
    }
    return out;
}

// Bytes out of text: pairs of hex digits; everything from # to the end of a line is a remark.
inline std::vector<uint8_t> bytesOf(const char* text) {
    std::vector<uint8_t> out;
    int high = -1;
    for (const char* p = text; *p; ++p) {
        if (*p == '#') {
            while (p[1] && *p != '\n') ++p;
            continue;
        }
        const int digit = *p >= '0' && *p <= '9' ? *p - '0' : *p >= 'A' && *p <= 'F' ? *p - 'A' + 10 : -1;
        if (digit < 0) continue;
        if (high < 0)
            high = digit;
        else {
            out.push_back(static_cast<uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    return out;
}

inline constexpr int allDepths[] = {1, 4, 8, 12, 16, 24, 32};
inline int orderFor(int bits) { return bits <= 16 && bits != 4 ? KB_ORDER_GREY : KB_ORDER_BGR; }

} // namespace test
