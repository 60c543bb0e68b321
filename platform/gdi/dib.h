// Reading pixels of any layout that comes in: surfaces, and device-independent bitmaps of 1, 4, 8, 16, 24 and 32 bits in
// memory, upright or top-down.
#pragma once

#include "platform/gdi/surface.h"

#include <cstddef>
#include <cstdint>

namespace kb::gdi {

struct PixelReader {
    const uint8_t* top = nullptr;
    ptrdiff_t stride = 0;
    int width = 0, height = 0, bits = 32;
    bool mono = false;      // one bit, colours from the context
    bool masked = false;    // 16 and 32 bits with masks of their own
    uint32_t masks[3] = {}; // red, green, blue
    ColorTable colors;      // up to 8 bits

    PixelReader() = default;
    explicit PixelReader(const Surface& s)
        : top(s.top), stride(s.stride), width(s.width), height(s.height), bits(s.bits), mono(s.mono) {
        if (s.colors) colors = *s.colors;
    }
    uint32_t raw(int x, int y) const;
    uint32_t toRgb(uint32_t pixel) const; // 0x00RRGGBB of a raw pixel
    uint32_t rgb(int x, int y) const { return toRgb(raw(x, y)); }
};

// Takes a header of the classic or the core kind and the pixels behind it; false for what can't be read: a wrong size,
// depth, compression or table usage.
bool readDib(const BITMAPINFO* info, UINT usage, const void* bits, PixelReader& out);
// Bytes of header, masks and colours in front of the pixels of a packed DIB; 0 for an unknown header.
size_t dibHeaderBytes(const BITMAPINFO* info);
// Whether header, colours and rows lie within `size` bytes.
bool packedDibFits(const BITMAPINFO* info, size_t size);

} // namespace kb::gdi
