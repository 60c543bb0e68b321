// Bitmaps out of metafile records: header and colours are copied, checked and made plain (colours as RGBQUAD, indices
// into a palette resolved, runs unpacked), so that what comes out can be handed to the blit functions as it is. Pixels
// stay where they are in the record when they can.
#pragma once

#include "platform/gdi.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kb::gdi {

struct DibImage {
    std::vector<uint32_t> head; // BITMAPINFO with masks and colours, aligned
    const uint8_t* bits = nullptr;
    std::vector<uint8_t> unpacked; // holds `bits` when they had to be made
    size_t bytes = 0;
    int width = 0, height = 0;
    bool topDown = false;

    DibImage() = default;
    DibImage(const DibImage&) = delete;
    DibImage& operator=(const DibImage&) = delete;
    DibImage(DibImage&&) = default;
    DibImage& operator=(DibImage&&) = default;

    explicit operator bool() const { return bits != nullptr; }
    const BITMAPINFO* info() const { return reinterpret_cast<const BITMAPINFO*>(head.data()); }
    int depth() const { return info()->bmiHeader.biBitCount; }
    RGBQUAD* colors() { return reinterpret_cast<RGBQUAD*>(head.data() + sizeof(BITMAPINFOHEADER) / 4); }
};

struct DibSource {
    const uint8_t* header;
    size_t headerBytes;  // what there is from `header` on
    const uint8_t* bits; // null: right behind the header and its colours
    size_t bitsBytes;
    UINT usage;                           // DIB_RGB_COLORS or DIB_PAL_COLORS
    const std::vector<COLORREF>* palette; // for DIB_PAL_COLORS; null: greys
    size_t mostUnpacked;                  // bytes that runs may come to
    int64_t rows = -1;                    // rows that the bits hold, or -1 for all of them
};

// False for what isn't whole or of no known kind: 1, 4, 8, 16, 24, 32 bits, plain, with masks or run-length coded.
bool loadDib(const DibSource& source, DibImage& out);
// A classic device-dependent bitmap of one plane and 1, 8, 24 or 32 bits: a 10-byte header, rows of 16-bit granularity from
// the top. `skip`: bytes between header and rows. One-bit pixels take the two colours.
bool loadDeviceBitmap(const uint8_t* data, size_t size, size_t skip, COLORREF zero, COLORREF one, DibImage& out);

} // namespace kb::gdi
