// Reading, checking and unpacking the bitmaps of records.
#include "platform/gdi/play_dib.h"

#include "platform/gdi/little_endian.h"
#include "platform/gdi/surface.h"

#include <algorithm>
#include <cstring>

namespace kb::gdi {

namespace {

struct Header {
    size_t size = 0;
    int64_t width = 0, height = 0;
    bool topDown = false, core = false;
    uint32_t planes = 1, bits = 0, compression = BI_RGB, colors = 0;
};

bool readHeader(const DibSource& s, Header& h) {
    if (s.headerBytes < sizeof(BITMAPCOREHEADER)) return false;
    h.size = dwordAt(s.header);
    if (h.size == sizeof(BITMAPCOREHEADER)) {
        h.core = true;
        h.width = wordAt(s.header + 4);
        h.height = wordAt(s.header + 6);
        h.bits = wordAt(s.header + 10);
        return true;
    }
    if (h.size < sizeof(BITMAPINFOHEADER) || h.size > s.headerBytes || h.size > 1024) return false;
    h.width = static_cast<int32_t>(dwordAt(s.header + 4));
    h.height = static_cast<int32_t>(dwordAt(s.header + 8));
    h.topDown = h.height < 0;
    if (h.topDown) h.height = -h.height;
    h.bits = wordAt(s.header + 14);
    h.compression = dwordAt(s.header + 16);
    h.colors = dwordAt(s.header + 32);
    return true;
}

// Runs of 4 and 8 bits into rows of the same depth, the last row first. What a picture leaves out stays 0; what runs over
// is cut.
void unpackRuns(const uint8_t* p, size_t size, const Header& h, size_t stride, std::vector<uint8_t>& out) {
    int64_t x = 0, y = 0;
    const bool half = h.bits == 4;
    const auto put = [&](uint32_t value) {
        if (x < h.width && y < h.height) {
            uint8_t& byte = out[static_cast<size_t>(y) * stride + static_cast<size_t>(half ? x / 2 : x)];
            if (!half)
                byte = static_cast<uint8_t>(value);
            else
                byte = static_cast<uint8_t>(x % 2 ? (byte & 0xF0) | value : (byte & 0x0F) | value << 4);
        }
        ++x;
    };
    for (size_t i = 0; i + 2 <= size && y < h.height;) {
        const uint32_t count = p[i], value = p[i + 1];
        i += 2;
        if (count) {
            for (uint32_t k = 0; k < count; ++k) put(half ? (k % 2 ? value & 15 : value >> 4) : value);
        } else if (value == 0) {
            x = 0;
            ++y;
        } else if (value == 1) {
            return;
        } else if (value == 2) {
            if (i + 2 > size) return;
            x += p[i];
            y += p[i + 1];
            i += 2;
        } else {
            const size_t bytes = half ? (value + 1) / 2 : value;
            if (bytes > size - i) return;
            for (uint32_t k = 0; k < value; ++k)
                put(half ? (k % 2 ? p[i + k / 2] & 15u : static_cast<uint32_t>(p[i + k / 2] >> 4)) : p[i + k]);
            i += (bytes + 1) / 2 * 2;
        }
    }
}

void setHead(DibImage& out, int64_t width, int64_t height, bool topDown, uint32_t bits, uint32_t compression,
             size_t extraWords) {
    out.head.assign(sizeof(BITMAPINFOHEADER) / 4 + extraWords, 0);
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = static_cast<LONG>(width);
    header.biHeight = static_cast<LONG>(topDown ? -height : height);
    header.biPlanes = 1;
    header.biBitCount = static_cast<WORD>(bits);
    header.biCompression = compression;
    std::memcpy(out.head.data(), &header, sizeof header);
    out.width = static_cast<int>(width);
    out.height = static_cast<int>(height);
    out.topDown = topDown;
}

bool readColors(const DibSource& s, const Header& h, DibImage& out, size_t& used) {
    const size_t most = size_t{1} << h.bits;
    const size_t wanted = h.colors && h.colors < most ? h.colors : most;
    const size_t entry = s.usage == DIB_PAL_COLORS ? 2 : h.core ? 3 : 4;
    // Some makers leave out the colours that no pixel uses.
    const size_t there = std::min(wanted, (s.headerBytes - used) / entry);
    if (!there) return false;
    const uint8_t* p = s.header + used;
    RGBQUAD* colors = out.colors();
    for (size_t i = 0; i < there; ++i, p += entry) {
        if (entry > 2) {
            colors[i] = {p[0], p[1], p[2], 0};
            continue;
        }
        const size_t index = wordAt(p);
        const auto grey = static_cast<uint32_t>(i * 255 / (most - 1));
        COLORREF color = RGB(grey, grey, grey);
        if (s.palette) color = index < s.palette->size() ? (*s.palette)[index] : 0;
        colors[i] = {GetBValue(color), GetGValue(color), GetRValue(color), 0};
    }
    used += wanted * entry;
    return true;
}

} // namespace

bool loadDib(const DibSource& s, DibImage& out) {
    out = {};
    Header h;
    constexpr int64_t longest = 1 << 24;
    if (!readHeader(s, h) || h.width < 1 || h.width > longest || h.height < 1 || h.height > longest) return false;
    const bool runs = (h.compression == BI_RLE8 && h.bits == 8) || (h.compression == BI_RLE4 && h.bits == 4);
    const bool masks = h.compression == BI_BITFIELDS && (h.bits == 16 || h.bits == 32);
    if (!runs && !masks && h.compression != BI_RGB) return false;
    size_t used = h.size;
    if (h.bits == 1 || h.bits == 4 || h.bits == 8) {
        setHead(out, h.width, h.height, h.topDown, h.bits, BI_RGB, size_t{1} << h.bits);
        if (!readColors(s, h, out, used)) return false;
    } else if (h.bits == 16 || h.bits == 24 || h.bits == 32) {
        setHead(out, h.width, h.height, h.topDown, h.bits, masks ? BI_BITFIELDS : BI_RGB, masks ? 3 : 0);
        if (masks) {
            // Longer headers hold the masks where they follow the short one.
            if (s.headerBytes < sizeof(BITMAPINFOHEADER) + 12) return false;
            std::memcpy(out.colors(), s.header + sizeof(BITMAPINFOHEADER), 12);
            if (h.size == sizeof(BITMAPINFOHEADER)) used += 12;
        }
        if (h.colors > 256) return false;
        used += h.colors * (s.usage == DIB_PAL_COLORS ? 2 : 4); // hints for a palette
    } else {
        return false;
    }
    const uint8_t* bits = s.bits;
    size_t there = s.bitsBytes;
    if (!bits) {
        if (used > s.headerBytes) return false;
        bits = s.header + used;
        there = s.headerBytes - used;
    }
    const auto stride = static_cast<size_t>(rowBytes(h.width, static_cast<int>(h.bits), 32));
    if (runs) {
        // A byte can't stand for more than 255 pixels; what claims more is no picture.
        const size_t most = std::min(there * 256, s.mostUnpacked);
        if (h.topDown || stride > most / static_cast<size_t>(h.height)) return false;
        out.unpacked.assign(stride * static_cast<size_t>(h.height), 0);
        unpackRuns(bits, there, h, stride, out.unpacked);
        out.bits = out.unpacked.data();
        out.bytes = out.unpacked.size();
        return true;
    }
    const auto rows = static_cast<size_t>(s.rows >= 0 ? std::min(s.rows, h.height) : h.height);
    if (!rows || stride > there / rows) return false;
    out.bits = bits;
    out.bytes = stride * rows;
    return true;
}

bool loadDeviceBitmap(const uint8_t* data, size_t size, size_t skip, COLORREF zero, COLORREF one, DibImage& out) {
    out = {};
    constexpr size_t headerSize = 10; // type, sides, bytes of a row, planes, depth
    if (size < headerSize + skip) return false;
    const auto field = [data](size_t i) { return static_cast<int16_t>(wordAt(data + i)); };
    const int64_t width = field(2), height = field(4), pitch = field(6);
    const uint32_t planes = data[8], bits = data[9];
    if (width < 1 || height < 1 || planes != 1 || (bits != 1 && bits != 8 && bits != 24 && bits != 32)) return false;
    const size_t at = headerSize + skip;
    if (pitch * 8 < width * static_cast<int64_t>(bits)) return false;
    if (static_cast<uint64_t>(pitch * height) > size - at) return false;
    setHead(out, width, height, true, bits, BI_RGB, bits <= 8 ? size_t{1} << bits : 0);
    if (bits == 1) {
        out.colors()[0] = {GetBValue(zero), GetGValue(zero), GetRValue(zero), 0};
        out.colors()[1] = {GetBValue(one), GetGValue(one), GetRValue(one), 0};
    }
    for (unsigned i = 0; bits == 8 && i < 256; ++i) {
        const auto grey = static_cast<BYTE>(i);
        out.colors()[i] = {grey, grey, grey, 0};
    }
    const auto stride = static_cast<size_t>(rowBytes(width, static_cast<int>(bits), 32));
    const auto line = static_cast<size_t>(rowBytes(width, static_cast<int>(bits), 8));
    out.unpacked.assign(stride * static_cast<size_t>(height), 0);
    for (int64_t y = 0; y < height; ++y)
        std::copy_n(data + at + pitch * y, line, out.unpacked.begin() + static_cast<ptrdiff_t>(stride) * y);
    out.bits = out.unpacked.data();
    out.bytes = out.unpacked.size();
    return true;
}

} // namespace kb::gdi
