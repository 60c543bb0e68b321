// Device-independent bitmaps into bitmap records. The checked core works on bytes that nobody vouches for: every offset is
// compared with the bytes there are before an image is made. Headers of 12 to 124 bytes; rows stay in the order in which
// the DIB has them, and the perspective tells which way up they are.
#include "kernel/record.h"

#include "platform/sys.h"

#include <algorithm>
#include <bit>
#include <cmath>

using namespace kb;

namespace {

constexpr uint32_t coreHeaderSize = 12;
constexpr uint32_t rgbCompression = 0, rle8Compression = 1, rle4Compression = 2, bitFieldsCompression = 3,
                   alphaFieldsCompression = 6;

// Run-length data can claim any size: more pixels than this are refused before memory is asked for.
constexpr int64_t maxRunLengthPixels = int64_t{1} << 28;

uint32_t word(const uint8_t* p) { return p[0] | static_cast<uint32_t>(p[1]) << 8; }
uint32_t dword(const uint8_t* p) { return word(p) | word(p + 2) << 16; }

struct Masks {
    uint32_t red, green, blue, alpha;
};

struct DibHeader {
    int32_t width = 0, height = 0;
    bool topDown = false;
    int bits = 0;
    uint32_t compression = 0, imageBytes = 0, colors = 0;
    int32_t xPelsPerMeter = 0, yPelsPerMeter = 0;
    Masks masks{};
    size_t paletteOffset = 0, paletteEntryBytes = 4, end = 0; // `end`: behind header, masks and table
};

int dotsPerInch(int32_t pelsPerMeter) {
    return pelsPerMeter > 0 ? static_cast<int>(std::min(pelsPerMeter * 0.0254 + 0.5, 1e6)) : 0;
}

// Reads header, masks and the extent of the colour table.
int parseHeader(const uint8_t* dib, size_t size, DibHeader* out) {
    DibHeader h;
    if (size < 4) return ERROR_FILE_READ;
    const uint32_t headerSize = dword(dib);
    if (headerSize != 12 && headerSize != 40 && headerSize != 52 && headerSize != 56 && headerSize != 108 &&
        headerSize != 124) {
        return ERROR_FILE_READ;
    }
    if (size < headerSize) return ERROR_FILE_READ;
    int64_t width, height;
    uint32_t planes;
    if (headerSize == coreHeaderSize) {
        width = word(dib + 4);
        height = word(dib + 6);
        planes = word(dib + 8);
        h.bits = static_cast<int>(word(dib + 10));
        h.paletteEntryBytes = 3;
    } else {
        width = static_cast<int32_t>(dword(dib + 4));
        height = static_cast<int32_t>(dword(dib + 8));
        planes = word(dib + 12);
        h.bits = static_cast<int>(word(dib + 14));
        h.compression = dword(dib + 16);
        h.imageBytes = dword(dib + 20);
        h.xPelsPerMeter = static_cast<int32_t>(dword(dib + 24));
        h.yPelsPerMeter = static_cast<int32_t>(dword(dib + 28));
        h.colors = dword(dib + 32);
    }
    h.topDown = height < 0;
    height = std::abs(height);
    if (planes != 1 || width < 1 || width > maxBitmapSide || height < 1 || height > maxBitmapSide) return ERROR_FILE_READ;
    h.width = static_cast<int32_t>(width);
    h.height = static_cast<int32_t>(height);
    if (h.compression > bitFieldsCompression && h.compression != alphaFieldsCompression)
        return ERROR_FEATURE_NOT_SUPPORTED; // embedded files have no depth of their own
    const bool knownDepth = h.bits == 1 || h.bits == 4 || h.bits == 8 || h.bits == 16 || h.bits == 24 || h.bits == 32;
    if (!knownDepth) return h.bits == 2 || h.bits == 64 ? ERROR_FEATURE_NOT_SUPPORTED : ERROR_FILE_READ;
    h.end = headerSize;
    switch (h.compression) {
    case rgbCompression: h.masks = h.bits == 16 ? Masks{0x7C00, 0x3E0, 0x1F, 0} : Masks{0xFF0000, 0xFF00, 0xFF, 0}; break;
    case rle8Compression:
    case rle4Compression:
        if (h.bits != (h.compression == rle8Compression ? 8 : 4) || h.topDown) return ERROR_FILE_READ;
        break;
    case bitFieldsCompression:
    case alphaFieldsCompression: {
        if (h.bits != 16 && h.bits != 32) return ERROR_FILE_READ;
        const bool hasAlpha = headerSize >= 56 || h.compression == alphaFieldsCompression;
        const size_t end = std::max<size_t>(headerSize, hasAlpha ? 56 : 52);
        if (size < end) return ERROR_FILE_READ;
        h.masks = {dword(dib + 40), dword(dib + 44), dword(dib + 48), hasAlpha ? dword(dib + 52) : 0};
        h.end = end;
        break;
    }
    default: break;
    }
    h.paletteOffset = h.end;
    if (h.bits <= 8) {
        if (h.colors > 1u << h.bits) return ERROR_FILE_READ;
        if (!h.colors) h.colors = 1u << h.bits;
    } else if (h.colors > 65536) {
        return ERROR_FILE_READ; // no table of that length was ever meant
    }
    if (headerSize == coreHeaderSize && h.bits > 8) h.colors = 0;
    h.end += h.colors * h.paletteEntryBytes;
    if (h.end > size) return ERROR_FILE_READ;
    *out = h;
    return SUCCESS;
}

// Run-length data; what no run reaches keeps index 0. Data that ends before its end mark is broken unless the image is full.
int decodeRuns(const uint8_t* data, size_t size, bool fourBits, KernelBitmap& b) {
    int64_t x = 0, y = 0;
    size_t at = 0;
    const auto put = [&](uint32_t value) {
        if (x < b.Width && y < b.Height) {
            uint8_t* row = ownRowOf(b, static_cast<int32_t>(y));
            if (fourBits)
                PixelAccess<4>::put(row, static_cast<int32_t>(x), value);
            else
                PixelAccess<8>::put(row, static_cast<int32_t>(x), value);
        }
        ++x;
    };
    while (at + 2 <= size) {
        const uint32_t count = data[at], second = data[at + 1];
        at += 2;
        if (count) {
            for (uint32_t i = 0; i < count; ++i) put(!fourBits ? second : i & 1 ? second & 15u : second >> 4);
        } else if (second == 0) {
            x = 0;
            if (++y >= b.Height) return SUCCESS;
        } else if (second == 1) {
            return SUCCESS;
        } else if (second == 2) {
            if (at + 2 > size) return ERROR_FILE_READ;
            x += data[at];
            y += data[at + 1];
            at += 2;
            if (y >= b.Height) return SUCCESS;
        } else {
            const size_t bytes = fourBits ? (second + 1) / 2 : second;
            if (size - at < bytes) return ERROR_FILE_READ;
            for (uint32_t i = 0; i < second; ++i) {
                const uint32_t value = data[at + (fourBits ? i / 2 : i)];
                put(!fourBits ? value : i & 1 ? value & 15u : value >> 4);
            }
            at = std::min(size, at + (bytes + 1) / 2 * 2);
        }
    }
    return y == b.Height - 1 && x >= b.Width ? SUCCESS : ERROR_FILE_READ;
}

// One channel of a masked pixel, brought to 8 bits.
class Channel {
public:
    explicit Channel(uint32_t mask) : mask_(mask), shift_(mask ? std::countr_zero(mask) : 0), top_(mask >> shift_) {}
    uint32_t operator()(uint32_t pixel, uint32_t missing) const {
        if (!mask_) return missing;
        return static_cast<uint32_t>((uint64_t{(pixel & mask_) >> shift_} * 255 + top_ / 2) / top_);
    }
    bool isContiguous() const { return !(top_ & (top_ + 1)) || top_ == UINT32_MAX; }

private:
    uint32_t mask_;
    int shift_;
    uint32_t top_;
};

int readDib(KernelBitmap* b, const uint8_t* dib, const DibHeader& h, const uint8_t* bits, size_t bitsSize) {
    const bool runs = h.compression == rle4Compression || h.compression == rle8Compression;
    const auto stride = static_cast<size_t>(bytesPerRow(h.width, h.bits));
    const size_t needed = stride * static_cast<size_t>(h.height);
    if (!runs && bitsSize < needed) return ERROR_FILE_READ;
    if (runs && int64_t{h.width} * h.height > maxRunLengthPixels) return ERROR_NO_MEMORY;

    RGBQUAD palette[256] = {};
    for (uint32_t i = 0; h.bits <= 8 && i < h.colors; ++i) {
        const uint8_t* entry = dib + h.paletteOffset + i * h.paletteEntryBytes;
        palette[i] = {entry[0], entry[1], entry[2], 0};
    }
    const Masks& m = h.masks;
    const bool plain32 =
        h.bits == 32 && m.red == 0xFF0000 && m.green == 0xFF00 && m.blue == 0xFF && (!m.alpha || m.alpha == 0xFF000000);
    const bool plain16 = h.bits == 16 && m.red == 0x7C00 && m.green == 0x3E0 && m.blue == 0x1F && !m.alpha;
    const bool direct = (h.bits != 16 && h.bits != 32) || plain16 || plain32;
    const Channel red(m.red), green(m.green), blue(m.blue), alpha(m.alpha);
    if (!direct && !(red.isContiguous() && green.isContiguous() && blue.isContiguous() && alpha.isContiguous()))
        return ERROR_FILE_READ;
    const int madeBits = direct ? h.bits : m.alpha ? 32 : 24;

    OwnedBitmap made;
    const int perspective = h.topDown ? KB_VIEW_TOP_LEFT : KB_VIEW_BOTTOM_LEFT;
    int result = makeImage(&made.record, {.width = h.width,
                                          .height = h.height,
                                          .bits = madeBits,
                                          .palette = palette,
                                          .colors = h.colors,
                                          .perspective = perspective,
                                          .zeroed = runs || !direct});
    if (result != SUCCESS) return result == ERROR_INV_PARAMETER ? ERROR_FILE_READ : result;
    made.record.XResolution = dotsPerInch(h.xPelsPerMeter);
    made.record.YResolution = dotsPerInch(h.yPelsPerMeter);
    made.record.Alpha = madeBits == 32 && m.alpha;
    if (runs) {
        if (h.imageBytes) bitsSize = std::min<size_t>(bitsSize, h.imageBytes);
        result = decodeRuns(bits, bitsSize, h.compression == rle4Compression, made.record);
        if (result != SUCCESS) return result;
    } else if (direct) {
        std::memcpy(made.record.pPixels->rows, bits, needed);
        for (int32_t y = 0; y < h.height; ++y) clearPadding(made.record, ownRowOf(made.record, y));
    } else {
        withPixels(h.bits, [&](auto source) {
            withPixels(madeBits, [&](auto target) {
                for (int32_t y = 0; y < h.height; ++y) {
                    const uint8_t* in = bits + static_cast<size_t>(y) * stride;
                    uint8_t* out = ownRowOf(made.record, y);
                    for (int32_t x = 0; x < h.width; ++x) {
                        const uint32_t pixel = source.get(in, x);
                        target.put(out, x, argb(red(pixel, 0), green(pixel, 0), blue(pixel, 0), alpha(pixel, 255)));
                    }
                }
            });
        });
    }
    made.moveTo(b);
    return SUCCESS;
}

// Bytes that a trusted DIB may take behind a point: what its header says for the bits; run-length data without a size is
// bounded by what the longest runs of the image could need.
size_t trustedBitsSize(const DibHeader& h) {
    const size_t rows = static_cast<size_t>(bytesPerRow(h.width, h.bits)) * static_cast<size_t>(h.height);
    if (h.compression != rle4Compression && h.compression != rle8Compression) return rows;
    if (h.imageBytes) return h.imageBytes;
    return (static_cast<size_t>(h.width) * 2 + 4) * static_cast<size_t>(h.height) + 2;
}

} // namespace

extern "C" {

int K_BitmapFromDIB(KernelBitmap* b, const BITMAPINFO* pHeader, const void* pBits) {
    if (!b || !pHeader) return ERROR_INV_PARAMETER;
    const auto* dib = reinterpret_cast<const uint8_t*>(pHeader);
    DibHeader header;
    // No header with masks and table is longer than this.
    if (const int result = parseHeader(dib, 124 + 16 + size_t{65536} * 4, &header); result != SUCCESS) return result;
    return readDib(b, dib, header, pBits ? static_cast<const uint8_t*>(pBits) : dib + header.end, trustedBitsSize(header));
}

int K_BitmapFromDIBBytes(KernelBitmap* b, const void* pDib, size_t size, size_t bitsOffset) {
    if (!b || !pDib) return ERROR_INV_PARAMETER;
    const auto* dib = static_cast<const uint8_t*>(pDib);
    DibHeader header;
    if (const int result = parseHeader(dib, size, &header); result != SUCCESS) return result;
    const size_t offset = bitsOffset ? bitsOffset : header.end;
    if (offset > size) return ERROR_FILE_READ;
    return readDib(b, dib, header, dib + offset, size - offset);
}

int K_BitmapFromDIBHandle(KernelBitmap* b, HGLOBAL hDib) {
    if (!b) return ERROR_INV_PARAMETER;
    const void* dib = GlobalLock(hDib);
    if (!dib) return ERROR_INV_PARAMETER;
    const int result = K_BitmapFromDIBBytes(b, dib, GlobalSize(hDib), 0);
    GlobalUnlock(hDib);
    return result;
}

} // extern "C"
