// Writes PNG. Filtering and packing decide both size and time, and the right choice differs between scans and photos: a few
// bands of the image are packed with each candidate first, and the smallest wins. The chunks are ours, the packing is
// libdeflate's, in one block over the whole image.
#include "rasterio/color_profile.h"
#include "rasterio/png_chunks.h"
#include "rasterio/png_filter.h"
#include "rasterio/scratch.h"
#include "rasterio/upright_rows.h"

#include <libdeflate.h>

#include <memory>

namespace kb {
namespace {

struct FreeCompressor {
    void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
};
using Compressor = std::unique_ptr<libdeflate_compressor, FreeCompressor>;

// How the image lies in the file.
struct PngLayout {
    int depth = 8;
    uint8_t color = 0; // PNG colour type
    size_t rowBytes = 0, unit = 1;
};

// A way to filter rows: one filter for all, or the cheapest of some for each.
struct Strategy {
    bool adaptive;
    PngFilter filter;
};
constexpr auto strategies = std::to_array<Strategy>({
    {false, PngFilter::none},
    {false, PngFilter::sub},
    {false, PngFilter::up},
    {false, PngFilter::paeth},
    {true, PngFilter::none},
});
constexpr auto adaptiveFilters =
    std::to_array<PngFilter>({PngFilter::sub, PngFilter::up, PngFilter::average, PngFilter::paeth});

constexpr int sampleLevel = 1;
// Effort by how well the sample packed. Flat pages are cheap to search thoroughly and gain most by it; where noise rules, a
// long search costs seconds and saves a few hundredths.
struct Effort {
    double upToRatio;
    int level;
};
constexpr auto efforts = std::to_array<Effort>({{0.06, 6}, {0.2, 4}, {2.0, 2}});
int levelFor(double ratio) {
    return std::find_if(efforts.begin(), efforts.end() - 1, [ratio](const Effort& e) { return ratio <= e.upToRatio; })
        ->level;
}

void put32(Bytes* out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) out->push_back(static_cast<uint8_t>(value >> shift));
}

void putChunk(Bytes* out, const char* type, const uint8_t* data, size_t size) {
    put32(out, static_cast<uint32_t>(size));
    const size_t begin = out->size();
    out->insert(out->end(), type, type + 4);
    if (size) out->insert(out->end(), data, data + size);
    put32(out, libdeflate_crc32(0, out->data() + begin, out->size() - begin));
}

// Rows of the image as the file has them, before filtering.
class PngRows {
public:
    PngRows(const UprightRows& rows, const PngLayout& layout) : rows_(rows), layout_(layout) {}
    void fill(int32_t y, uint8_t* out) const {
        const KernelBitmap& b = rows_.image();
        const uint8_t* in = rows_.row(y);
        const auto width = static_cast<size_t>(b.Width);
        if (b.BitsPerPixel <= 8) {
            std::memcpy(out, in, layout_.rowBytes);
        } else if (b.BitsPerPixel == 16) {
            for (size_t x = 0; x < width; ++x) {
                out[x * 2] = in[x * 2 + 1];
                out[x * 2 + 1] = in[x * 2];
            }
        } else if (b.BitsPerPixel == 24) {
            if (b.Order == KB_ORDER_RGB)
                std::memcpy(out, in, width * 3);
            else
                swapRedBlue24(out, in, width);
        } else if (b.Order == KB_ORDER_RGB) {
            std::memcpy(out, in, width * 4);
        } else {
            swapRedBlue32(out, in, width);
        }
    }

private:
    const UprightRows& rows_;
    const PngLayout& layout_;
};

// Filters rows `first` to `end` into `out`, a filter byte before each.
void filterRows(const PngRows& rows, const PngLayout& layout, int32_t first, int32_t end, Strategy strategy, uint8_t* out) {
    const size_t bytes = layout.rowBytes;
    Bytes lines(bytes * 2 + bytes * adaptiveFilters.size(), 0);
    uint8_t *above = lines.data(), *line = above + bytes;
    uint8_t* const trials = line + bytes;
    if (first > 0) rows.fill(first - 1, above);
    for (int32_t y = first; y < end; ++y, out += 1 + bytes) {
        rows.fill(y, line);
        if (!strategy.adaptive) {
            out[0] = static_cast<uint8_t>(strategy.filter);
            filterRow(strategy.filter, out + 1, line, above, bytes, layout.unit);
        } else {
            uint64_t best = UINT64_MAX;
            size_t chosen = 0;
            for (size_t i = 0; i < adaptiveFilters.size(); ++i) {
                filterRow(adaptiveFilters[i], trials + i * bytes, line, above, bytes, layout.unit);
                const uint64_t cost = filteredCost(trials + i * bytes, bytes);
                if (cost >= best) continue;
                best = cost;
                chosen = i;
            }
            out[0] = static_cast<uint8_t>(adaptiveFilters[chosen]);
            std::memcpy(out + 1, trials + chosen * bytes, bytes);
        }
        std::swap(above, line);
    }
}

struct Choice {
    Strategy strategy;
    double ratio;
};

// Packs bands spread over the image with each strategy. Below 8 bits and for palettes filters only harm. The bands of a
// small image are narrow, since trying all strategies on most of it would cost more than packing it.
Choice chooseStrategy(const PngRows& rows, const PngLayout& layout, int32_t height) {
    constexpr int32_t bands = 12, leastRows = 3, mostRows = 16;
    const int32_t bandRows = std::clamp(height / (bands * 8), leastRows, mostRows);
    const bool filters = layout.depth >= 8 && layout.color != 3;
    const int32_t sampled = std::min(height, bands * bandRows);
    const size_t rowSize = layout.rowBytes + 1, size = rowSize * static_cast<size_t>(sampled);
    Scratch raw(size), packed(size);
    const Compressor compressor(libdeflate_alloc_compressor(sampleLevel));
    if (!raw.data() || !packed.data() || !compressor) return {strategies[0], 0};
    Choice best{strategies[0], 2.0};
    for (const Strategy& strategy : strategies) {
        if (sampled == height) {
            filterRows(rows, layout, 0, height, strategy, raw.data());
        } else {
            for (int32_t band = 0; band < bands; ++band) {
                const auto first = static_cast<int32_t>(int64_t{height - bandRows} * band / (bands - 1));
                filterRows(rows, layout, first, first + bandRows, strategy,
                           raw.data() + static_cast<size_t>(band * bandRows) * rowSize);
            }
        }
        const size_t got = libdeflate_deflate_compress(compressor.get(), raw.data(), size, packed.data(), size);
        const double ratio = got ? static_cast<double>(got) / static_cast<double>(size) : 1.0;
        if (ratio < best.ratio) best = {strategy, ratio};
        if (!filters) break;
    }
    return best;
}

PngLayout layoutOf(const KernelBitmap& b) {
    PngLayout layout;
    const auto width = static_cast<size_t>(b.Width), bits = static_cast<size_t>(b.BitsPerPixel);
    if (b.BitsPerPixel <= 8) {
        layout.depth = b.BitsPerPixel;
        layout.color = hasGreyRamp(b) ? 0 : 3;
    } else if (b.BitsPerPixel == 16) {
        layout.depth = 16;
    } else {
        layout.color = b.BitsPerPixel == 24 ? 2 : 6;
    }
    layout.rowBytes = (width * bits + 7) / 8;
    layout.unit = std::max<size_t>(1, bits / 8);
    return layout;
}

uint32_t dotsPerMetre(int32_t perInch) {
    constexpr double most = 0x7FFFFFFF; // of a four-byte number in PNG
    return static_cast<uint32_t>(std::min(perInch / metresPerInch + 0.5, most));
}

void putHeader(const KernelBitmap& b, const PngLayout& layout, Bytes* out) {
    static constexpr auto signature = std::to_array<uint8_t>({0x89, 'P', 'N', 'G', 13, 10, 26, 10});
    out->assign(signature.begin(), signature.end());
    Bytes chunk;
    put32(&chunk, static_cast<uint32_t>(b.Width));
    put32(&chunk, static_cast<uint32_t>(b.Height));
    chunk.insert(chunk.end(), {static_cast<uint8_t>(layout.depth), layout.color, 0, 0, 0});
    putChunk(out, "IHDR", chunk.data(), chunk.size());
    if (const ByteView profile = queuedProfile(layout.color == 0); !profile.empty()) {
        chunk = png::packProfile(profile);
        putChunk(out, "iCCP", chunk.data(), chunk.size());
    }
    if (b.XResolution > 0 && b.YResolution > 0) {
        chunk.clear();
        put32(&chunk, dotsPerMetre(b.XResolution));
        put32(&chunk, dotsPerMetre(b.YResolution));
        chunk.push_back(1);
        putChunk(out, "pHYs", chunk.data(), chunk.size());
    }
    if (layout.color != 3) return;
    chunk.clear();
    for (uint32_t i = 0; i < b.nColors; ++i) {
        chunk.insert(chunk.end(), {b.pPalette[i].rgbRed, b.pPalette[i].rgbGreen, b.pPalette[i].rgbBlue});
    }
    chunk.resize(size_t{3} << layout.depth, 0); // readers refuse indices behind the palette, which are black here
    putChunk(out, "PLTE", chunk.data(), chunk.size());
}

// The depth that the file gets: PNG has no 12 bits and no 5-5-5, and drops a fourth byte that isn't opacity.
int savedBits(const KernelBitmap& b) {
    if (b.BitsPerPixel == 12) return 16;
    if (b.BitsPerPixel == 16 && b.Order != KB_ORDER_GREY) return 24;
    if (b.BitsPerPixel == 32 && !b.Alpha) return 24;
    return b.BitsPerPixel;
}

} // namespace

int savePng(const KernelBitmap& b, const KernelSaveOptions& options, Bytes* out) {
    UprightRows upright;
    if (const int result = upright.open(b, savedBits(b)); result != SUCCESS) return result;
    const KernelBitmap& image = upright.image();
    const PngLayout layout = layoutOf(image);
    const PngRows rows(upright, layout);
    const Choice choice = chooseStrategy(rows, layout, image.Height);
    const int level = options.nLevel ? std::clamp(options.nLevel, 1, 9) : levelFor(choice.ratio);
    const Compressor compressor(libdeflate_alloc_compressor(level));
    const size_t size = (layout.rowBytes + 1) * static_cast<size_t>(image.Height);
    Scratch raw(size);
    if (!compressor || !raw.data()) return ERROR_NO_MEMORY;
    filterRows(rows, layout, 0, image.Height, choice.strategy, raw.data());
    const size_t bound = libdeflate_zlib_compress_bound(compressor.get(), size);
    Scratch packed(bound);
    if (!packed.data()) return ERROR_NO_MEMORY;
    const size_t packedSize = libdeflate_zlib_compress(compressor.get(), raw.data(), size, packed.data(), bound);
    if (!packedSize) return ERROR_FAILURE;
    putHeader(image, layout, out);
    out->reserve(out->size() + packedSize + 64);
    constexpr size_t largestChunk = size_t{1} << 30;
    for (size_t at = 0; at < packedSize; at += largestChunk) {
        putChunk(out, "IDAT", packed.data() + at, std::min(largestChunk, packedSize - at));
    }
    putChunk(out, "IEND", nullptr, 0);
    return SUCCESS;
}

} // namespace kb
