// Headers of device-independent bitmaps, and the pixel reader over them.
#include "platform/gdi/dib.h"

#include <bit>
#include <cstring>

namespace kb::gdi {

namespace {

// The header's facts, widened so that no later arithmetic overflows.
struct Shape {
    int64_t width = 0, height = 0;
    bool topDown = false, core = false;
    int bits = 0;
    uint32_t compression = BI_RGB, colors = 0;
    size_t headerSize = 0, maskBytes = 0;
};

bool readShape(const BITMAPINFO* info, Shape& s) {
    uint32_t size;
    std::memcpy(&size, info, sizeof size);
    if (size == sizeof(BITMAPCOREHEADER)) {
        BITMAPCOREHEADER h;
        std::memcpy(&h, info, sizeof h);
        s.core = true;
        s.width = h.bcWidth;
        s.height = h.bcHeight;
        s.bits = h.bcBitCount;
    } else if (size >= sizeof(BITMAPINFOHEADER) && size <= 1024) {
        BITMAPINFOHEADER h;
        std::memcpy(&h, info, sizeof h);
        s.width = h.biWidth;
        s.height = h.biHeight < 0 ? -static_cast<int64_t>(h.biHeight) : h.biHeight;
        s.topDown = h.biHeight < 0;
        s.bits = h.biBitCount;
        s.compression = h.biCompression;
        s.colors = h.biClrUsed;
        // Longer headers hold the masks themselves, in the place where they follow the short one.
        if (s.compression == BI_BITFIELDS && size == sizeof(BITMAPINFOHEADER)) s.maskBytes = 12;
    } else {
        return false;
    }
    s.headerSize = size;
    if (s.bits <= 8) {
        const uint32_t most = 1u << std::clamp(s.bits, 0, 8);
        if (!s.colors || s.colors > most) s.colors = most;
    } else if (s.colors > 256) {
        return false; // colours that only hint at a device's palette
    }
    return true;
}

uint32_t channel(uint32_t pixel, uint32_t mask) {
    if (!mask) return 0;
    const int shift = std::countr_zero(mask);
    const uint32_t most = mask >> shift;
    return static_cast<uint32_t>((static_cast<uint64_t>((pixel & mask) >> shift) * 255 + most / 2) / most);
}

} // namespace

size_t dibHeaderBytes(const BITMAPINFO* info) {
    Shape s;
    if (!readShape(info, s)) return 0;
    return s.headerSize + s.maskBytes + s.colors * (s.core ? sizeof(RGBTRIPLE) : sizeof(RGBQUAD));
}

bool packedDibFits(const BITMAPINFO* info, size_t size) {
    uint32_t claimed = 0;
    if (size < sizeof(BITMAPCOREHEADER)) return false;
    std::memcpy(&claimed, info, sizeof claimed);
    if (claimed > size) return false;
    Shape s;
    if (!readShape(info, s) || s.width <= 0 || s.height <= 0 || s.bits > 32) return false;
    const size_t head = dibHeaderBytes(info);
    if (head > size) return false;
    return static_cast<uint64_t>(rowBytes(s.width, s.bits, 32)) <= (size - head) / static_cast<uint64_t>(s.height);
}

bool readDib(const BITMAPINFO* info, UINT usage, const void* bits, PixelReader& out) {
    Shape s;
    if (!info || !bits || !readShape(info, s)) return false;
    if (s.width <= 0 || s.height <= 0 || s.height > INT32_MAX) return false;
    out.bits = s.bits;
    out.width = static_cast<int>(s.width);
    out.height = static_cast<int>(s.height);
    const auto* bytes = reinterpret_cast<const uint8_t*>(info);
    switch (s.bits) {
    case 1:
    case 4:
    case 8: {
        if (s.compression != BI_RGB || usage != DIB_RGB_COLORS) return false;
        out.colors.count = s.colors;
        const uint8_t* entry = bytes + s.headerSize;
        for (uint32_t i = 0; i < s.colors; ++i, entry += s.core ? 3 : 4)
            out.colors.rgb[i] = static_cast<uint32_t>(entry[2] << 16 | entry[1] << 8 | entry[0]);
        break;
    }
    case 16:
    case 32:
        if (s.compression == BI_BITFIELDS) {
            std::memcpy(out.masks, bytes + sizeof(BITMAPINFOHEADER), sizeof out.masks);
            constexpr uint32_t plain[3] = {0xFF0000, 0x00FF00, 0x0000FF};
            out.masked = s.bits == 16 || std::memcmp(out.masks, plain, sizeof plain) != 0;
        } else if (s.compression == BI_RGB) {
            out.masked = s.bits == 16;
            out.masks[0] = 0x7C00;
            out.masks[1] = 0x03E0;
            out.masks[2] = 0x001F;
        } else {
            return false;
        }
        break;
    case 24:
        if (s.compression != BI_RGB) return false;
        break;
    default: return false;
    }
    const auto stride = static_cast<ptrdiff_t>(rowBytes(s.width, s.bits, 32));
    out.top = static_cast<const uint8_t*>(bits);
    out.stride = stride;
    if (!s.topDown) {
        out.top += stride * (out.height - 1);
        out.stride = -stride;
    }
    return true;
}

uint32_t PixelReader::raw(int x, int y) const {
    const uint8_t* r = top + stride * y;
    const auto i = static_cast<size_t>(x);
    switch (bits) {
    case 1: return r[i / 8] >> (7 - i % 8) & 1u;
    case 4: return i % 2 ? r[i / 2] & 0xFu : r[i / 2] >> 4;
    case 8: return r[i];
    case 16: return static_cast<uint32_t>(r[2 * i] | r[2 * i + 1] << 8);
    case 24: return static_cast<uint32_t>(r[3 * i] | r[3 * i + 1] << 8 | r[3 * i + 2] << 16);
    default: {
        uint32_t v;
        std::memcpy(&v, r + 4 * i, sizeof v);
        return v;
    }
    }
}

uint32_t PixelReader::toRgb(uint32_t pixel) const {
    if (bits <= 8) return pixel < colors.count ? colors.rgb[pixel] : 0;
    if (masked) return channel(pixel, masks[0]) << 16 | channel(pixel, masks[1]) << 8 | channel(pixel, masks[2]);
    return pixel & 0xFFFFFF;
}

} // namespace kb::gdi
