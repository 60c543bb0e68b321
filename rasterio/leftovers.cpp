// What PNG, JPEG and BMP files hold beside their pixels. Chunks and headers are compared with the few that a writer needs;
// a JPEG is coded anew, which gives the same bytes unless there was something more in it.
#include "rasterio/leftovers.h"
#include "rasterio/color_profile.h"
#include "rasterio/png_chunks.h"
#include "rasterio/png_filter.h"
#include "rasterio/scratch.h"

#include "platform/sys.h"

#include <new>

namespace kb {
namespace {

using namespace std::string_view_literals;

uint32_t chunkCode(std::string_view type) { return png::number(reinterpret_cast<const uint8_t*>(type.data())); }

struct PngShape {
    uint32_t width = 0, height = 0;
    unsigned depth = 0, color = 0;
    unsigned channels() const { return color == 2 ? 3 : color == 4 ? 2 : color == 6 ? 4 : 1; }
    uint64_t rowBits() const { return uint64_t{width} * depth * channels(); }
};

// The packed rows end with their data, and no row has bits behind its end.
int judgePngRows(const PngShape& shape, const std::vector<ByteView>& parts, uint64_t at, LeftoverListener& listener) {
    const uint64_t rowBytes = (shape.rowBits() + 7) / 8, size = (rowBytes + 1) * shape.height;
    Bytes packed;
    for (const ByteView part : parts) packed.insert(packed.end(), part.begin(), part.end());
    if (size / 1032 > packed.size()) return ERROR_FILE_READ;
    constexpr size_t readBehind = 4; // the fast ways to undo a filter read a word at a time
    Scratch rows(size + readBehind);
    if (!rows.data()) return ERROR_NO_MEMORY;
    const int result = png::inflateExactly(packed, rows.data(), size);
    if (result == ERROR_NO_MEMORY) return result;
    if (result != SUCCESS) {
        listener.tell(KB_LEFT_SLACK, at, chunkCode("IDAT"));
        return SUCCESS;
    }
    const size_t unit = std::max<size_t>(1, shape.depth * shape.channels() / 8);
    const uint8_t* above = nullptr;
    uint8_t* row = rows.data();
    for (uint32_t y = 0; y < shape.height; ++y, row += rowBytes + 1) {
        if (!unfilterRow(row[0], row + 1, above, static_cast<size_t>(rowBytes), unit)) return ERROR_FILE_READ;
        above = row + 1;
        if (isPaddedWithZeros(above, shape.rowBits())) continue;
        listener.tell(KB_LEFT_SLACK, at, chunkCode("IDAT"));
        break;
    }
    return SUCCESS;
}

uint32_t dword(ByteView data, size_t at) {
    return data[at] | uint32_t{data[at + 1]} << 8 | uint32_t{data[at + 2]} << 16 | uint32_t{data[at + 3]} << 24;
}

// Markers that carry no picture data. True when the canonical comparison has nothing to add.
bool tellJpegMarkers(ByteView file, LeftoverListener& listener) {
    bool told = false;
    const auto tell = [&](int kind, size_t at, uint32_t code) {
        listener.tell(kind, at, code, 1);
        told = true;
    };
    size_t at = 2;
    bool inScan = false;
    while (at + 1 < file.size()) {
        if (file[at] != 0xFF || file[at + 1] == 0 || file[at + 1] == 0xFF ||
            (file[at + 1] >= 0xD0 && file[at + 1] <= 0xD7)) {
            if (!inScan) return told; // bytes where a marker is due: the comparison finds them
            ++at;
            continue;
        }
        const uint8_t marker = file[at + 1];
        if (marker == 0xD9) {
            if (at + 2 < file.size()) tell(KB_LEFT_BEHIND, at + 2, 0);
            return told;
        }
        if (file.size() - at < 4) return told;
        const size_t length = static_cast<size_t>(file[at + 2]) << 8 | file[at + 3];
        if (length < 2 || file.size() - at - 2 < length) return told;
        const std::string_view data(reinterpret_cast<const char*>(file.data()) + at + 4, length - 2);
        const bool preview =
            (marker == 0xE0 && ((data.starts_with("JFIF\0"sv) && length > 16) || data.starts_with("JFXX\0"sv))) ||
            (marker == 0xE2 && data.starts_with("MPF\0"sv));
        const bool needed = (marker == 0xE0 && data.starts_with("JFIF\0"sv)) ||
                            (marker == 0xEE && data.starts_with("Adobe")) ||
                            (marker == 0xE2 && data.starts_with("ICC_PROFILE\0"sv)) ||
                            (marker == 0xE1 && data.starts_with("Exif\0\0"sv) && length == 34);
        if (preview)
            tell(KB_LEFT_IMAGE, at, marker);
        else if (((marker & 0xF0) == 0xE0 || marker == 0xFE) && !needed)
            tell(KB_LEFT_PART, at, marker);
        inScan = marker == 0xDA;
        at += 2 + length;
    }
    return told;
}

} // namespace

int findPngLeftovers(ByteView file, LeftoverListener& listener) {
    png::Chunks chunks(file);
    PngShape shape;
    std::vector<ByteView> parts;
    std::vector<std::string_view> seen;
    uint64_t dataAt = 0;
    bool ended = false, judged = true;
    for (png::Chunk chunk; !ended && chunks.next(&chunk);) {
        const bool again = std::find(seen.begin(), seen.end(), chunk.type) != seen.end();
        if (!chunk.intact) listener.tell(KB_LEFT_SLACK, chunk.at, chunkCode(chunk.type));
        if (seen.empty() != (chunk.type == "IHDR"sv)) return ERROR_FILE_READ;
        if (chunk.type == "IHDR"sv) {
            if (chunk.data.size() != 13) return ERROR_FILE_READ;
            const uint8_t* p = chunk.data.data();
            shape = {png::number(p), png::number(p + 4), p[8], p[9]};
            if (const int result = checkSize(shape.width, shape.height, limitsOf(nullptr)); result != SUCCESS) return result;
            // Writers here neither interlace nor write two samples a pixel, and 16 bits in grey alone: readers drop the rest.
            judged = !p[10] && !p[11] && !p[12] && shape.color != 4 && shape.color < 7 && shape.depth <= 16 &&
                     shape.depth != 2 && (shape.depth < 16 || shape.color == 0);
            if (!judged) listener.tell(KB_LEFT_CODING, chunk.at, chunkCode(chunk.type), 1);
        } else if (chunk.type == "IDAT"sv) {
            if (again && seen.back() != chunk.type) listener.tell(KB_LEFT_PART, chunk.at, chunkCode(chunk.type));
            if (parts.empty()) dataAt = chunk.at;
            if (again && (chunk.data.empty() || parts.back().empty()))
                listener.tell(KB_LEFT_SLACK, chunk.at, chunkCode(chunk.type));
            parts.push_back(chunk.data);
        } else if (chunk.type == "IEND"sv) {
            if (!chunk.data.empty()) listener.tell(KB_LEFT_SLACK, chunk.at, chunkCode(chunk.type));
            ended = true;
        } else if (chunk.type == "PLTE"sv && !again && shape.color == 3 && parts.empty()) {
            if (chunk.data.size() > size_t{3} << shape.depth || chunk.data.size() % 3)
                listener.tell(KB_LEFT_SLACK, chunk.at, chunkCode(chunk.type));
        } else if (chunk.type == "pHYs"sv && !again && parts.empty()) {
            if (chunk.data.size() != 9 || chunk.data[8] > 1) listener.tell(KB_LEFT_SLACK, chunk.at, chunkCode(chunk.type));
        } else if (chunk.type == "iCCP"sv && !again && parts.empty()) {
            Bytes profile;
            if (!png::hasPlainName(chunk.data)) listener.tell(KB_LEFT_SLACK, chunk.at, chunkCode(chunk.type), 1);
            if (!png::unpackProfile(chunk.data, &profile) || !isPlainProfile(profile) ||
                !profileFits(profile, shape.color == 0))
                listener.tell(KB_LEFT_PROFILE, chunk.at, chunkCode(chunk.type), 1);
        } else {
            const bool image = chunk.type == "fdAT"sv || chunk.type == "eXIf"sv;
            listener.tell(image ? KB_LEFT_IMAGE : KB_LEFT_PART, chunk.at, chunkCode(chunk.type), 1);
        }
        seen.push_back(chunk.type);
    }
    if (!ended || parts.empty()) return ERROR_FILE_READ;
    if (chunks.position() < file.size()) listener.tell(KB_LEFT_BEHIND, chunks.position());
    return judged ? judgePngRows(shape, parts, dataAt, listener) : SUCCESS;
}

int findJpegLeftovers(ByteView file, LeftoverListener& listener) {
    HGLOBAL block = nullptr;
    size_t size = 0;
    const bool told = tellJpegMarkers(file, listener);
    const int result = K_FillJpegAreas(file.data(), file.size(), nullptr, 0, 0, &block, &size);
    if (result == ERROR_FEATURE_NOT_SUPPORTED) {
        listener.tell(KB_LEFT_CODING, 0, 0, 1);
        return SUCCESS;
    }
    if (result != SUCCESS) return result;
    const auto* anew = static_cast<const uint8_t*>(GlobalLock(block));
    const auto differing = std::mismatch(file.begin(), file.end(), anew, anew + size);
    const bool same = differing.first == file.end() && size == file.size();
    const auto offset = static_cast<uint64_t>(differing.first - file.begin());
    GlobalFree(block);
    if (!same && !told) listener.tell(KB_LEFT_BYTES, offset, 0, 1);
    return SUCCESS;
}

int findBmpLeftovers(ByteView file, LeftoverListener& listener) {
    constexpr size_t fileHeader = 14, plain = 40, withMasks = 108;
    if (file.size() < fileHeader + plain) return ERROR_FILE_READ;
    const ByteView header = file.subspan(fileHeader);
    const size_t headerBytes = dword(header, 0), bits = header[14] | size_t{header[15]} << 8, offset = dword(file, 10);
    const auto width = static_cast<int32_t>(dword(header, 4)), height = static_cast<int32_t>(dword(header, 8));
    const uint32_t compression = dword(header, 16), colors = dword(header, 32);
    const uint64_t rowBits = static_cast<uint64_t>(std::max(width, 0)) * bits, rowBytes = (rowBits + 31) / 32 * 4;
    const uint64_t rows = static_cast<uint64_t>(std::abs(int64_t{height}));
    const bool masks = headerBytes == withMasks && bits == 32 && compression == 3;
    const bool known = width > 0 && rows > 0 && (masks || (headerBytes == plain && compression == 0)) &&
                       (bits == 1 || bits == 4 || bits == 8 || bits == 24 || bits == 32) &&
                       colors <= (bits <= 8 ? 1u << bits : 0u);
    if (!known || file.size() < fileHeader + headerBytes) {
        listener.tell(KB_LEFT_CODING, fileHeader, 0, 1);
        return SUCCESS;
    }
    const size_t paletteBytes = 4 * (bits <= 8 && !colors ? size_t{1} << bits : colors);
    const uint64_t wanted = fileHeader + headerBytes + paletteBytes;
    if (offset != wanted) listener.tell(KB_LEFT_BYTES, fileHeader + headerBytes + paletteBytes, 0, 1);
    if (offset > file.size() || file.size() - offset < rowBytes * rows) return ERROR_FILE_READ;
    const uint64_t end = offset + rowBytes * rows;
    if (end < file.size()) listener.tell(KB_LEFT_BEHIND, end);
    const uint32_t imageBytes = dword(header, 20);
    if (dword(file, 2) != file.size() || dword(file, 6) || (imageBytes && imageBytes != rowBytes * rows) ||
        dword(header, 36) > colors || header[12] != 1 || header[13])
        listener.tell(KB_LEFT_SLACK, 0, 0, 1);
    if (masks) {
        constexpr auto expected = std::to_array<uint32_t>({0xFF0000, 0xFF00, 0xFF, 0xFF000000, 0x73524742});
        for (size_t i = 0; i < expected.size(); ++i) {
            if (dword(header, 40 + i * 4) != expected[i]) listener.tell(KB_LEFT_SLACK, fileHeader + 40 + i * 4, 0, 1);
        }
        if (!isAllZero(header.subspan(60, withMasks - 60))) listener.tell(KB_LEFT_SLACK, fileHeader + 60, 0, 1);
    }
    for (size_t at = fileHeader + headerBytes; at + 3 < std::min<uint64_t>(wanted, file.size()); at += 4) {
        if (!file[at + 3]) continue;
        listener.tell(KB_LEFT_SLACK, at, 0, 1);
        break;
    }
    for (uint64_t row = 0; row < rows; ++row) {
        const ByteView bytes = file.subspan(static_cast<size_t>(offset + row * rowBytes), static_cast<size_t>(rowBytes));
        if (isPaddedWithZeros(bytes.data(), rowBits) && isAllZero(bytes.subspan(static_cast<size_t>((rowBits + 7) / 8))))
            continue;
        listener.tell(KB_LEFT_SLACK, offset + row * rowBytes, 0, 1);
        break;
    }
    return SUCCESS;
}

} // namespace kb

using namespace kb;

extern "C" int K_FindLeftovers(const void* pData, size_t size, KernelLeftoverProc pfnFound, void* pUser) {
    if (!pData || !pfnFound) return ERROR_INV_PARAMETER;
    const ByteView file(static_cast<const uint8_t*>(pData), size);
    LeftoverListener listener(pfnFound, pUser);
    int result;
    try {
        switch (K_RecognizeFormat(pData, size)) {
        case KB_FORMAT_TIFF: result = findTiffLeftovers(file, listener); break;
        case KB_FORMAT_PNG: result = findPngLeftovers(file, listener); break;
        case KB_FORMAT_JPEG: result = findJpegLeftovers(file, listener); break;
        case KB_FORMAT_BMP: result = findBmpLeftovers(file, listener); break;
        case KB_FORMAT_UNKNOWN: return ERROR_FILE_FORMAT;
        default: return ERROR_FEATURE_NOT_SUPPORTED;
        }
    } catch (const std::bad_alloc&) {
        result = ERROR_NO_MEMORY;
    }
    return result == SUCCESS ? listener.result() : result;
}
