// Reads PNG (Portable Network Graphics, second edition). The whole compressed image is inflated in one go into the size
// that the header implies, checked against what that many compressed bytes can hold at most, and then unfiltered row by
// row on its way into the record. Interlaced passes are first put in their places. Gamma and colour profiles are left
// alone: a reader of annotated scans wants the stored values.
#include "rasterio/image_io.h"
#include "rasterio/png_filter.h"
#include "rasterio/scratch.h"

#include <libdeflate.h>

#include <memory>
#include <string_view>

namespace kb {
namespace {

using namespace std::string_view_literals;

enum PngColor : uint8_t { grey = 0, rgb = 2, indexed = 3, greyAlpha = 4, rgbAlpha = 6 };

struct PngImage {
    uint32_t width = 0, height = 0;
    int depth = 0;
    uint8_t color = 0;
    bool interlaced = false;
    RGBQUAD palette[256] = {};
    uint8_t opacity[256] = {};
    uint32_t colors = 0;
    bool hasKey = false, hasOpacity = false;
    uint32_t key[3] = {};
    int xResolution = 0, yResolution = 0;
    std::vector<ByteView> data;
    size_t dataBytes = 0;

    int channels() const { return color == rgb ? 3 : color == rgbAlpha ? 4 : color == greyAlpha ? 2 : 1; }
    size_t rowBytes(uint32_t pixels) const { return static_cast<size_t>((uint64_t{pixels} * bitsPerPixel() + 7) / 8); }
    unsigned bitsPerPixel() const { return static_cast<unsigned>(depth * channels()); }
    bool hasAlpha() const { return color == greyAlpha || color == rgbAlpha || hasKey || hasOpacity; }
    int recordBits() const {
        if (hasAlpha()) return 32;
        if (color == rgb) return 24;
        return depth == 2 ? 4 : depth;
    }
};

uint32_t bigEndian(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 | static_cast<uint32_t>(p[2]) << 8 | p[3];
}

int readHeader(ByteView chunk, PngImage* image) {
    if (chunk.size() != 13) return ERROR_FILE_READ;
    image->width = bigEndian(chunk.data());
    image->height = bigEndian(chunk.data() + 4);
    image->depth = chunk[8];
    image->color = chunk[9];
    image->interlaced = chunk[12] == 1;
    if (chunk[10] || chunk[11] || chunk[12] > 1) return ERROR_FEATURE_NOT_SUPPORTED;
    // Depths that a colour type allows, as bits of a mask.
    constexpr uint32_t small = 1u << 1 | 1u << 2 | 1u << 4, deep = 1u << 8 | 1u << 16;
    const uint32_t allowed = image->color == grey                                                           ? small | deep
                             : image->color == indexed                                                      ? small | 1u << 8
                             : image->color == rgb || image->color == greyAlpha || image->color == rgbAlpha ? deep
                                                                                                            : 0;
    return image->depth <= 16 && allowed >> image->depth & 1 ? SUCCESS : ERROR_FILE_READ;
}

int readTransparency(ByteView chunk, PngImage* image) {
    if (image->color == indexed) {
        std::fill(std::begin(image->opacity), std::end(image->opacity), uint8_t{255});
        std::copy_n(chunk.begin(), std::min<size_t>(chunk.size(), 256), image->opacity);
        image->hasOpacity = true;
        return SUCCESS;
    }
    if (image->color != grey && image->color != rgb) return SUCCESS;
    const size_t channels = image->color == rgb ? 3 : 1;
    if (chunk.size() < channels * 2) return ERROR_FILE_READ;
    for (size_t i = 0; i < channels; ++i) image->key[i] = static_cast<uint32_t>(chunk[i * 2]) << 8 | chunk[i * 2 + 1];
    image->hasKey = true;
    return SUCCESS;
}

// Walks the chunks up to the end mark. What isn't critical is skipped, also when it is damaged.
int readChunks(ByteView file, PngImage* image, bool headerOnly) {
    size_t at = 8;
    bool hasHeader = false;
    while (file.size() - at >= 12) {
        const uint32_t length = bigEndian(file.data() + at);
        if (length > file.size() - at - 12) {
            // A cut-off image: the header is still good for a query.
            break;
        }
        const std::string_view type(reinterpret_cast<const char*>(file.data()) + at + 4, 4);
        const ByteView chunk = file.subspan(at + 8, length);
        const bool critical = !(type[0] & 0x20);
        const bool intact =
            libdeflate_crc32(0, file.data() + at + 4, length + 4) == bigEndian(file.data() + at + 8 + length);
        at += 12 + size_t{length};
        if (critical && !intact) return ERROR_FILE_READ;
        if (!hasHeader) {
            if (type != "IHDR"sv) return ERROR_FILE_READ;
            if (const int result = readHeader(chunk, image); result != SUCCESS) return result;
            hasHeader = true;
        } else if (type == "PLTE"sv) {
            image->colors = static_cast<uint32_t>(std::min<size_t>(chunk.size() / 3, 256));
            for (uint32_t i = 0; i < image->colors; ++i)
                image->palette[i] = {chunk[i * 3 + 2], chunk[i * 3 + 1], chunk[i * 3], 0};
        } else if (type == "tRNS"sv && intact) {
            if (const int result = readTransparency(chunk, image); result != SUCCESS) return result;
        } else if (type == "pHYs"sv && intact && chunk.size() == 9 && chunk[8] == 1) {
            image->xResolution = dotsPerInch(bigEndian(chunk.data()), metresPerInch);
            image->yResolution = dotsPerInch(bigEndian(chunk.data() + 4), metresPerInch);
        } else if (type == "IDAT"sv) {
            image->data.push_back(chunk);
            image->dataBytes += chunk.size();
            if (headerOnly) break;
        } else if (type == "IEND"sv) {
            break;
        } else if (critical) {
            return ERROR_FEATURE_NOT_SUPPORTED;
        }
    }
    if (!hasHeader) return ERROR_FILE_READ;
    return image->color == indexed && !image->colors ? ERROR_FILE_READ : SUCCESS;
}

struct Pass {
    uint32_t left, top, stepX, stepY;
};
constexpr auto interlacePasses =
    std::to_array<Pass>({{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4}, {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}});
constexpr auto wholeImage = std::to_array<Pass>({{0, 0, 1, 1}});

std::span<const Pass> passesOf(const PngImage& image) {
    if (image.interlaced) return interlacePasses;
    return wholeImage;
}
uint32_t passSide(uint32_t side, uint32_t first, uint32_t step) {
    return side > first ? (side - first + step - 1) / step : 0;
}

struct FreeDecompressor {
    void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
};

// Bytes that some encoders write behind the image are let through up to this many.
constexpr size_t spareBytes = 65536;

int inflate(const PngImage& image, size_t size, Scratch* raw) {
    std::unique_ptr<libdeflate_decompressor, FreeDecompressor> inflater(libdeflate_alloc_decompressor());
    if (!inflater) return ERROR_NO_MEMORY;
    Scratch joined(image.data.size() > 1 ? image.dataBytes : 0);
    if (!joined.data()) return ERROR_NO_MEMORY;
    const uint8_t* packed = image.data.front().data();
    if (image.data.size() > 1) {
        packed = joined.data();
        size_t at = 0;
        for (const ByteView part : image.data) {
            if (!part.empty()) std::memcpy(joined.data() + at, part.data(), part.size());
            at += part.size();
        }
    }
    size_t got = 0;
    const auto result =
        libdeflate_zlib_decompress(inflater.get(), packed, image.dataBytes, raw->data(), size + spareBytes, &got);
    return result == LIBDEFLATE_SUCCESS && got >= size ? SUCCESS : ERROR_FILE_READ;
}

// Sample of a row without regard to channels, as a number of `depth` bits.
uint32_t sampleAt(const uint8_t* row, size_t index, int depth) {
    switch (depth) {
    case 16: return static_cast<uint32_t>(row[index * 2]) << 8 | row[index * 2 + 1];
    case 8: return row[index];
    case 4: return PixelAccess<4>::get(row, static_cast<int32_t>(index));
    case 2: return (row[index >> 2] >> (6 - 2 * (index & 3))) & 3u;
    default: return PixelAccess<1>::get(row, static_cast<int32_t>(index));
    }
}

// A row with opacity, blue first.
void convertAlphaRow(const PngImage& image, const uint8_t* in, uint8_t* out) {
    const int depth = image.depth;
    if (image.color == rgbAlpha && depth == 8) return swapRedBlue32(out, in, image.width);
    const uint32_t top = (1u << depth) - 1;
    const auto toByte = [&](uint32_t sample) { return depth == 16 ? sample >> 8 : sample * 255u / top; };
    const auto channels = static_cast<size_t>(image.channels());
    for (size_t x = 0; x < image.width; ++x) {
        const uint32_t first = sampleAt(in, x * channels, depth);
        uint32_t color;
        switch (image.color) {
        case indexed:
            color = (fromQuad(image.palette[first & 255]) & 0xFFFFFFu) | static_cast<uint32_t>(image.opacity[first & 255])
                                                                             << 24;
            break;
        case grey: color = argb(toByte(first), toByte(first), toByte(first), first == image.key[0] ? 0 : 255); break;
        case greyAlpha:
            color = argb(toByte(first), toByte(first), toByte(first), toByte(sampleAt(in, x * 2 + 1, depth)));
            break;
        default: {
            const uint32_t green = sampleAt(in, x * channels + 1, depth), blue = sampleAt(in, x * channels + 2, depth);
            const bool isKey = image.color == rgb && first == image.key[0] && green == image.key[1] && blue == image.key[2];
            const uint32_t alpha = image.color == rgbAlpha ? toByte(sampleAt(in, x * 4 + 3, depth)) : isKey ? 0 : 255;
            color = argb(toByte(first), toByte(green), toByte(blue), alpha);
        }
        }
        PixelAccess<32>::put(out, static_cast<int32_t>(x), color);
    }
}

void convertRow(const PngImage& image, const uint8_t* in, uint8_t* out) {
    if (image.hasAlpha()) return convertAlphaRow(image, in, out);
    const auto width = static_cast<int32_t>(image.width);
    if (image.color == rgb) {
        if (image.depth == 8) return swapRedBlue24(out, in, image.width);
        for (int32_t x = 0; x < width; ++x) PixelAccess<24>::put(out, x, argb(in[x * 6], in[x * 6 + 2], in[x * 6 + 4]));
        return;
    }
    if (image.depth == 16) {
        for (int32_t x = 0; x < width; ++x) PixelAccess<16>::put(out, x, sampleAt(in, static_cast<size_t>(x), 16));
        return;
    }
    if (image.depth == 2) {
        const uint32_t scale = image.color == grey ? 5 : 1; // 0 to 3 becomes 0 to 15
        for (int32_t x = 0; x < width; ++x) PixelAccess<4>::put(out, x, sampleAt(in, static_cast<size_t>(x), 2) * scale);
        return;
    }
    std::memcpy(out, in, image.rowBytes(image.width));
}

// Puts a pass's pixels where they belong in rows of the whole image.
void scatter(const PngImage& image, const Pass& pass, uint32_t passRow, const uint8_t* in, uint32_t pixels, uint8_t* rows) {
    const size_t rowBytes = image.rowBytes(image.width), unit = image.bitsPerPixel() / 8;
    uint8_t* out = rows + (pass.top + size_t{passRow} * pass.stepY) * rowBytes;
    for (uint32_t i = 0; i < pixels; ++i) {
        const size_t x = pass.left + size_t{i} * pass.stepX;
        if (unit) {
            std::memcpy(out + x * unit, in + i * unit, unit);
        } else {
            const size_t shift = 8 - static_cast<size_t>(image.depth) - x * static_cast<size_t>(image.depth) % 8;
            out[x * static_cast<size_t>(image.depth) / 8] |= static_cast<uint8_t>(sampleAt(in, i, image.depth) << shift);
        }
    }
}

void clearPadding(KernelBitmap& b, uint8_t* row) {
    const int64_t used = int64_t{b.Width} * b.BitsPerPixel;
    if (used % 8) row[used / 8] = static_cast<uint8_t>(row[used / 8] & (0xFF00u >> (used % 8)));
}

int readPixels(const PngImage& image, KernelBitmap* b) {
    size_t size = 0;
    for (const Pass& pass : passesOf(image)) {
        const size_t width = passSide(image.width, pass.left, pass.stepX),
                     height = passSide(image.height, pass.top, pass.stepY);
        if (width) size += height * (1 + image.rowBytes(static_cast<uint32_t>(width)));
    }
    // Deflate packs at most 1032 to 1: what claims more is cut off, and nothing is allocated for it.
    if (image.data.empty() || size / 1032 > image.dataBytes) return ERROR_FILE_READ;
    Scratch raw(size + spareBytes);
    if (!raw.data()) return ERROR_NO_MEMORY;
    if (const int result = inflate(image, size, &raw); result != SUCCESS) return result;

    const bool isGrey = image.color == grey;
    const int bits = image.recordBits();
    RGBQUAD palette[256] = {};
    std::copy_n(image.palette, 256, palette);
    const int result = K_CreateBitmap(b, 1, static_cast<int>(image.width), static_cast<int>(image.height), bits,
                                      isGrey && bits != 32 ? KB_ORDER_GREY : KB_ORDER_BGR,
                                      isGrey || bits > 8 ? nullptr : palette, KB_VIEW_TOP_LEFT, 0, 0);
    if (result != SUCCESS) return result;
    if (!isGrey && bits <= 8) b->nColors = std::min(image.colors, 1u << bits);
    b->XResolution = image.xResolution;
    b->YResolution = image.yResolution;
    b->Alpha = bits == 32;

    const auto unit = std::max<size_t>(1, image.bitsPerPixel() / 8), rowBytes = image.rowBytes(image.width);
    Scratch whole(image.interlaced ? rowBytes * image.height : 0);
    if (!whole.data()) return ERROR_NO_MEMORY;
    if (image.interlaced) std::memset(whole.data(), 0, rowBytes * image.height);
    uint8_t* const rows = K_WritableBitmapRow(b, 0);
    uint8_t* in = raw.data();
    for (const Pass& pass : passesOf(image)) {
        const uint32_t width = passSide(image.width, pass.left, pass.stepX),
                       height = passSide(image.height, pass.top, pass.stepY);
        if (!width) continue;
        const size_t passBytes = image.rowBytes(width);
        const uint8_t* above = nullptr;
        for (uint32_t y = 0; y < height; ++y, in += 1 + passBytes) {
            if (!unfilterRow(in[0], in + 1, above, passBytes, unit)) return ERROR_FILE_READ;
            above = in + 1;
            if (image.interlaced)
                scatter(image, pass, y, above, width, whole.data());
            else
                convertRow(image, above, rows + size_t{y} * static_cast<size_t>(b->BytesPerLine));
        }
    }
    for (size_t y = 0; y < image.height; ++y) {
        uint8_t* row = rows + y * static_cast<size_t>(b->BytesPerLine);
        if (image.interlaced) convertRow(image, whole.data() + y * rowBytes, row);
        clearPadding(*b, row);
    }
    return SUCCESS;
}

} // namespace

int loadPng(ByteView data, const LoadLimits& limits, KernelBitmap* b, KernelFileInfo* info) {
    if (limits.page != 1) return ERROR_PAGE_NOT_FOUND;
    PngImage image;
    if (const int result = readChunks(data, &image, !b); result != SUCCESS) return result;
    if (const int result = checkSize(image.width, image.height, limits); result != SUCCESS) return result;
    *info = {.nFormat = KB_FORMAT_PNG,
             .nWidth = static_cast<int32_t>(image.width),
             .nHeight = static_cast<int32_t>(image.height),
             .nBitsPerPixel = image.recordBits(),
             .nXResolution = image.xResolution,
             .nYResolution = image.yResolution,
             .uFlags = info->uFlags,
             .nPages = 1,
             .nPage = 1,
             .nCompression = 0,
             .nViewPerspective = KB_VIEW_TOP_LEFT};
    if (!b) return SUCCESS;
    LoadedBitmap loaded;
    if (const int result = readPixels(image, &loaded.record); result != SUCCESS) return result;
    loaded.moveTo(b);
    return SUCCESS;
}

} // namespace kb
