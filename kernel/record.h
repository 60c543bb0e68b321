// What the kernel's files do with bitmap records: checks, making images, and the hand-over of a finished image to the
// record of the caller, so that a failing operation leaves that record as it was.
#pragma once

#include "kernel/pixel_buffer.h"
#include "kernel/pixel_layout.h"

namespace kb {

// SUCCESS, ERROR_INV_PARAMETER for null, ERROR_INV_BITMAP for a record without pixels.
int checkImage(const KernelBitmap* b) noexcept;
// The same, and ERROR_INV_PARAMETER for a borrowed record.
int checkOwnImage(const KernelBitmap* b) noexcept;

inline const uint8_t* rowOf(const KernelBitmap& b, int32_t row) {
    return b.pPixels->rows + static_cast<size_t>(row) * static_cast<size_t>(b.BytesPerLine);
}
// The row of an image that nobody shares.
inline uint8_t* ownRowOf(KernelBitmap& b, int32_t row) {
    return b.pPixels->rows + static_cast<size_t>(row) * static_cast<size_t>(b.BytesPerLine);
}

// Zeroes what a row holds behind its last pixel: stale bytes there would go out with stored rows.
inline void clearPadding(const KernelBitmap& b, uint8_t* row) {
    const int64_t used = int64_t{b.Width} * b.BitsPerPixel;
    auto byte = static_cast<size_t>(used / 8);
    if (used % 8) {
        row[byte] = static_cast<uint8_t>(row[byte] & (0xFF00u >> (used % 8)));
        ++byte;
    }
    std::memset(row + byte, 0, static_cast<size_t>(b.BytesPerLine) - byte);
}

// An image that frees itself unless it is handed over.
class OwnedBitmap {
public:
    OwnedBitmap() = default;
    OwnedBitmap(const OwnedBitmap&) = delete;
    OwnedBitmap& operator=(const OwnedBitmap&) = delete;
    ~OwnedBitmap() { K_FreeBitmap(&record); }
    // Overwrites `out`, which isn't freed.
    void moveTo(KernelBitmap* out) { *out = std::exchange(record, {}); }
    // Frees what `out` holds, but for its region when `keepRegion`.
    void replace(KernelBitmap* out, bool keepRegion) {
        if (keepRegion) std::swap(record.hRegion, out->hRegion);
        std::swap(record, *out);
    }
    KernelBitmap record{};
};

struct ImageShape {
    int32_t width, height;
    int bits;
    int order = KB_ORDER_BGR;
    const RGBQUAD* palette = nullptr; // null at up to 8 bits: a grey ramp
    uint32_t colors = 0;              // of `palette`
    int perspective = KB_VIEW_TOP_LEFT;
    bool zeroed = true;
};
// Overwrites b on success alone. Sides and depth are checked.
int makeImage(KernelBitmap* b, const ImageShape& shape) noexcept;
// An image of like's depth, order, palette, perspective, resolution and alpha, without a region and with rows that aren't set.
int makeImageLike(KernelBitmap* b, const KernelBitmap& like, int32_t width, int32_t height) noexcept;
// Whether a raw value means the same colour in both.
bool haveSameValues(const KernelBitmap& a, const KernelBitmap& b) noexcept;
// Makes b the only owner of its pixels.
int unshare(KernelBitmap* b) noexcept;

// Grey levels of a depth of at most 8 bits; gives their number.
uint32_t fillGreyRamp(int bits, RGBQUAD* out) noexcept;

// transform.cpp: a copy as it is viewed (then KB_VIEW_TOP_LEFT), without region; shares pixels when nothing is to do.
int copyAsViewed(KernelBitmap* out, const KernelBitmap& b) noexcept;
// The same, but an image with its rows bottom-up may stay so.
int copyUpright(KernelBitmap* out, const KernelBitmap& b) noexcept;
// dib_write.cpp: a copy in a layout that a DIB has: upright or bottom-up; 1, 4, 8 bits, or 24 and 32 bits blue first.
int copyAsDib(KernelBitmap* out, const KernelBitmap& b) noexcept;
// scale.cpp: column that a scaled column takes its pixel from, by pixel centres.
constexpr int32_t scaledIndex(int32_t index, int32_t from, int32_t to) {
    return static_cast<int32_t>((2 * int64_t{index} + 1) * from / (2 * int64_t{to}));
}
// scale.cpp: all of src, stored rows and columns, into all of dst of the same depth.
void scaleStored(const KernelBitmap& src, KernelBitmap& dst) noexcept;
// palette.cpp: index of the entry nearest to a colour 0xAARRGGBB.
uint32_t nearestIndex(const RGBQUAD* palette, uint32_t colors, uint32_t color) noexcept;
// Raw value that shows a colour in an image.
uint32_t valueOfColor(const KernelBitmap& b, uint32_t color) noexcept;

// color_region.cpp: the region as a 1-bit image of the record's size (1 inside), and back into a region.
int regionToMask(const KernelBitmap& b, KernelBitmap* mask) noexcept;
HRGN maskToRegion(const KernelBitmap& mask) noexcept;

} // namespace kb
