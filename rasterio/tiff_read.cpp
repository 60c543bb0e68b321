// Reads pages of TIFF files. Our own directory reader finds the page; libtiff unpacks strips and tiles. Layouts that a
// record can hold are copied into its rows; grey and colour of other depths pass through a loop over samples; photometrics
// that need colour arithmetic (chroma, inks, Lab) go through libtiff's own conversion.
#include "rasterio/scratch.h"
#include "rasterio/tiff_directory.h"
#include "rasterio/tiff_io.h"

namespace kb {
namespace {

enum class Route { grey, indexed, color, converted };

struct Page {
    uint32_t width = 0, height = 0;
    int bits = 1, samples = 1;
    uint16_t photometric = PHOTOMETRIC_MINISBLACK, planar = PLANARCONFIG_CONTIG, compression = COMPRESSION_NONE,
             orientation = ORIENTATION_TOPLEFT;
    bool tiled = false;
    int alphaSample = -1;    // index of the sample that is opacity
    bool multiplied = false; // colours are multiplied by the opacity
    bool isExtraUnknown = false;
    Route route = Route::grey;
    int recordBits = 8;
    int xResolution = 0, yResolution = 0;

    int colorSamples() const { return route == Route::color ? 3 : 1; }
    bool invertsGrey() const { return photometric == PHOTOMETRIC_MINISWHITE; }
    uint32_t top() const { return bits >= 32 ? UINT32_MAX : (1u << bits) - 1; }
};

struct CompressionRow {
    uint16_t scheme;
    int kind;
};
constexpr auto compressions = std::to_array<CompressionRow>({
    {COMPRESSION_NONE, KB_COMPRESS_NONE},
    {COMPRESSION_PACKBITS, KB_COMPRESS_PACKBITS},
    {COMPRESSION_LZW, KB_COMPRESS_LZW},
    {COMPRESSION_DEFLATE, KB_COMPRESS_DEFLATE},
    {COMPRESSION_ADOBE_DEFLATE, KB_COMPRESS_DEFLATE},
    {COMPRESSION_CCITTRLE, KB_COMPRESS_G3},
    {COMPRESSION_CCITTRLEW, KB_COMPRESS_G3},
    {COMPRESSION_CCITTFAX3, KB_COMPRESS_G3},
    {COMPRESSION_CCITTFAX4, KB_COMPRESS_G4},
    {COMPRESSION_JPEG, KB_COMPRESS_JPEG},
    {COMPRESSION_OJPEG, KB_COMPRESS_JPEG},
});
int compressionKind(uint16_t scheme) {
    for (const CompressionRow& row : compressions) {
        if (row.scheme == scheme) return row.kind;
    }
    return KB_COMPRESS_DEFAULT;
}

template <class T> T field(TIFF* tiff, uint32_t tag, T missing) {
    T value = missing;
    return TIFFGetFieldDefaulted(tiff, tag, &value) ? value : missing;
}

// Depth of the record for grey of that many bits.
int greyRecordBits(int bits) { return bits == 1 ? 1 : bits <= 4 ? 4 : bits <= 8 ? 8 : bits <= 12 ? 12 : 16; }

int describe(TIFF* tiff, const LoadLimits& limits, Page* out) {
    Page p;
    p.width = field<uint32_t>(tiff, TIFFTAG_IMAGEWIDTH, 0);
    p.height = field<uint32_t>(tiff, TIFFTAG_IMAGELENGTH, 0);
    if (const int result = checkSize(p.width, p.height, limits); result != SUCCESS) return result;
    p.bits = field<uint16_t>(tiff, TIFFTAG_BITSPERSAMPLE, 1);
    p.samples = field<uint16_t>(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    p.planar = field<uint16_t>(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    p.compression = field<uint16_t>(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    p.orientation = field<uint16_t>(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    p.tiled = TIFFIsTiled(tiff) != 0;
    const auto format = field<uint16_t>(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    uint16_t photometric = 0;
    // Files without it exist: colour by the number of samples, fax data is white at 0.
    if (TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric))
        p.photometric = photometric;
    else if (p.samples >= 3)
        p.photometric = PHOTOMETRIC_RGB;
    else if (compressionKind(p.compression) == KB_COMPRESS_G3 || compressionKind(p.compression) == KB_COMPRESS_G4)
        p.photometric = PHOTOMETRIC_MINISWHITE;
    if (!TIFFIsCODECConfigured(p.compression)) return ERROR_FEATURE_NOT_SUPPORTED;
    if (p.samples < 1 || p.bits < 1 || p.bits > 16) return ERROR_FEATURE_NOT_SUPPORTED;
    if (format != SAMPLEFORMAT_UINT && format != SAMPLEFORMAT_VOID && format != SAMPLEFORMAT_INT)
        return ERROR_FEATURE_NOT_SUPPORTED;

    const float unit = field<uint16_t>(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH) == RESUNIT_CENTIMETER ? 2.54f
                       : field<uint16_t>(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH) == RESUNIT_INCH     ? 1.0f
                                                                                                         : 0.0f;
    p.xResolution = dotsPerInch(field<float>(tiff, TIFFTAG_XRESOLUTION, 0), unit);
    p.yResolution = dotsPerInch(field<float>(tiff, TIFFTAG_YRESOLUTION, 0), unit);

    switch (p.photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK: p.route = Route::grey; break;
    case PHOTOMETRIC_PALETTE:
        p.route = Route::indexed;
        if (p.bits > 8) return ERROR_FEATURE_NOT_SUPPORTED;
        break;
    case PHOTOMETRIC_RGB:
        p.route = Route::color;
        if (p.samples < 3) return ERROR_FILE_READ;
        break;
    case PHOTOMETRIC_YCBCR:
        if (p.compression == COMPRESSION_JPEG && p.planar == PLANARCONFIG_CONTIG && p.samples == 3 && p.bits == 8) {
            TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
            p.route = Route::color;
            break;
        }
        [[fallthrough]];
    default: p.route = Route::converted; break;
    }
    uint16_t extras = 0, *kinds = nullptr;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &extras, &kinds);
    for (int i = std::max(0, extras - p.samples); i < extras && kinds; ++i) {
        if (kinds[i] == EXTRASAMPLE_UNSPECIFIED) p.isExtraUnknown = true;
        if (kinds[i] != EXTRASAMPLE_ASSOCALPHA && kinds[i] != EXTRASAMPLE_UNASSALPHA) continue;
        if (p.samples - extras + i < p.colorSamples()) break;
        p.alphaSample = p.samples - extras + i;
        p.multiplied = kinds[i] == EXTRASAMPLE_ASSOCALPHA && p.route != Route::indexed; // a map isn't multiplied
        break;
    }
    if (p.route == Route::converted) {
        char reason[1024];
        if (!TIFFRGBAImageOK(tiff, reason)) return ERROR_FEATURE_NOT_SUPPORTED;
        p.recordBits = p.alphaSample >= 0 ? 32 : 24;
    } else if (p.alphaSample >= 0) {
        p.recordBits = 32;
    } else if (p.route == Route::color) {
        // Four bytes without a told meaning are kept as such.
        p.recordBits = p.samples == 4 && p.bits == 8 && p.planar == PLANARCONFIG_CONTIG && p.isExtraUnknown ? 32 : 24;
    } else {
        p.recordBits = greyRecordBits(p.bits);
    }
    *out = p;
    return SUCCESS;
}

using Palette = std::array<RGBQUAD, 256>;

// The colour map of an indexed page.
bool readPalette(TIFF* tiff, const Page& p, Palette* palette) {
    uint16_t *red = nullptr, *green = nullptr, *blue = nullptr;
    if (!TIFFGetField(tiff, TIFFTAG_COLORMAP, &red, &green, &blue) || !red || !green || !blue) return false;
    const uint32_t colors = 1u << p.bits;
    // Some writers put bytes where words belong.
    const bool wide = std::any_of(red, red + colors, [](uint16_t v) { return v > 255; }) ||
                      std::any_of(green, green + colors, [](uint16_t v) { return v > 255; }) ||
                      std::any_of(blue, blue + colors, [](uint16_t v) { return v > 255; });
    for (uint32_t i = 0; i < colors; ++i) {
        const auto level = [&](const uint16_t* map) { return static_cast<BYTE>(wide ? map[i] >> 8 : map[i]); };
        (*palette)[i] = {level(blue), level(green), level(red), 0};
    }
    return true;
}

// `map`: of an indexed page.
int makeRecord(const Page& p, const Palette& map, KernelBitmap* b) {
    Palette palette = map;
    uint32_t colors = 1u << std::min(p.bits, 8);
    if (p.recordBits <= 8 && p.route != Route::indexed) {
        colors = 1u << p.recordBits;
        for (uint32_t i = 0; i < colors; ++i) {
            const uint32_t level = (p.invertsGrey() ? colors - 1 - i : i) * 255 / (colors - 1);
            palette[i] = toQuad(argb(level, level, level));
        }
    }
    const int result = K_CreateBitmap(b, 1, static_cast<int>(p.width), static_cast<int>(p.height), p.recordBits,
                                      p.route == Route::grey && p.recordBits <= 16 ? KB_ORDER_GREY : KB_ORDER_BGR,
                                      p.recordBits <= 8 ? palette.data() : nullptr, perspectiveFrom(p.orientation), 0, 0);
    if (result != SUCCESS) return result;
    if (p.recordBits <= 8) b->nColors = colors;
    b->XResolution = p.xResolution;
    b->YResolution = p.yResolution;
    b->Alpha = p.recordBits == 32 && p.alphaSample >= 0;
    return SUCCESS;
}

// Sample number `index` of a packed row, high bits first; 16 bits are in the machine's order.
uint32_t sampleAt(const uint8_t* row, size_t index, int bits) {
    if (bits == 8) return row[index];
    if (bits == 16) {
        uint16_t value;
        std::memcpy(&value, row + index * 2, 2);
        return value;
    }
    const size_t bit = index * static_cast<size_t>(bits);
    uint32_t value = 0;
    for (int i = 0; i < bits; ++i)
        value = value << 1 | ((row[(bit + static_cast<size_t>(i)) / 8] >> (7 - (bit + static_cast<size_t>(i)) % 8)) & 1u);
    return value;
}

uint32_t toByte(uint32_t sample, const Page& p) {
    if (p.bits == 8) return sample;
    if (p.bits == 16) return sample >> 8;
    return (sample * 255u + p.top() / 2) / p.top();
}

// A run of decoded pixels: row y from column x on, `count` pixels; plane -1 holds all samples of each pixel.
class RowSink {
public:
    RowSink(const Page& page, const Palette& map, KernelBitmap& b)
        : page_(page), map_(map), b_(b), rows_(K_WritableBitmapRow(&b, 0)) {
        isExact_ = page.route != Route::color && page.alphaSample < 0 && page.samples == 1 && page.bits == page.recordBits &&
                   page.bits != 16 && !(page.invertsGrey() && page.bits > 8);
    }
    void put(uint32_t y, uint32_t x, uint32_t count, int plane, const uint8_t* data) const {
        uint8_t* row = rows_ + size_t{y} * static_cast<size_t>(b_.BytesPerLine);
        if (plane >= 0) return putPlane(row, x, count, plane, data);
        if (isExact_ && x * static_cast<uint64_t>(page_.bits) % 8 == 0 && (page_.bits != 12 || x % 2 == 0)) {
            const size_t bits = size_t{count} * static_cast<size_t>(page_.bits);
            uint8_t* out = row + size_t{x} * static_cast<size_t>(page_.bits) / 8;
            std::memcpy(out, data, bits / 8);
            if (bits % 8) out[bits / 8] = static_cast<uint8_t>(data[bits / 8] & (0xFF00u >> bits % 8));
            return;
        }
        if (page_.route == Route::color && page_.bits == 8 && page_.samples == 3)
            return swapRedBlue24(row + size_t{x} * 3, data, count);
        if (page_.route == Route::color && page_.bits == 8 && page_.samples == 4 && page_.recordBits == 32) {
            return swapRedBlue32(row + size_t{x} * 4, data, count);
        }
        for (uint32_t i = 0; i < count; ++i) {
            const size_t first = size_t{i} * static_cast<size_t>(page_.samples);
            const auto sample = [&](int index) { return sampleAt(data, first + static_cast<size_t>(index), page_.bits); };
            putPixel(row, static_cast<int32_t>(x + i), sample);
        }
    }

private:
    template <class Sample> void putPixel(uint8_t* row, int32_t x, Sample&& sample) const {
        if (page_.recordBits >= 24) {
            uint32_t color;
            if (page_.route == Route::color)
                color = argb(toByte(sample(0), page_), toByte(sample(1), page_), toByte(sample(2), page_), 0);
            else
                color = indexedOrGrey(sample(0));
            const uint32_t alpha = page_.alphaSample >= 0 ? toByte(sample(page_.alphaSample), page_) : 255;
            color = (color & 0xFFFFFFu) | alpha << 24;
            if (page_.recordBits == 24)
                PixelAccess<24>::put(row, x, color);
            else
                PixelAccess<32>::put(row, x, color);
            return;
        }
        uint32_t value = sample(0);
        if (page_.route == Route::grey) {
            const uint32_t top = (1u << page_.recordBits) - 1;
            if (page_.bits != page_.recordBits)
                value = static_cast<uint32_t>((uint64_t{value} * top + page_.top() / 2) / page_.top());
            if (page_.recordBits > 8 && page_.invertsGrey()) value = top - value; // below, the palette tells it
        }
        withPixels(page_.recordBits, [&](auto pixel) { pixel.put(row, x, value); });
    }
    uint32_t indexedOrGrey(uint32_t value) const {
        if (page_.route == Route::indexed) return fromQuad(map_[value & 255u]);
        const uint32_t level = page_.invertsGrey() ? 255 - toByte(value, page_) : toByte(value, page_);
        return argb(level, level, level);
    }
    // One plane of several: each sample has its byte in the pixel.
    void putPlane(uint8_t* row, uint32_t x, uint32_t count, int plane, const uint8_t* data) const {
        const auto unit = static_cast<size_t>(page_.recordBits / 8);
        if (page_.recordBits >= 24) {
            if (page_.route == Route::color && plane < 3) {
                for (uint32_t i = 0; i < count; ++i) {
                    row[(x + i) * unit + 2 - static_cast<size_t>(plane)] =
                        static_cast<uint8_t>(toByte(sampleAt(data, i, page_.bits), page_));
                }
            } else if (page_.route != Route::color && plane == 0) {
                for (uint32_t i = 0; i < count; ++i) {
                    const uint32_t color = indexedOrGrey(sampleAt(data, i, page_.bits));
                    for (size_t channel = 0; channel < 3; ++channel)
                        row[(x + i) * unit + channel] = static_cast<uint8_t>(color >> 8 * channel);
                }
            } else if (plane == page_.alphaSample) {
                for (uint32_t i = 0; i < count; ++i)
                    row[(x + i) * unit + 3] = static_cast<uint8_t>(toByte(sampleAt(data, i, page_.bits), page_));
            }
            return;
        }
        if (plane != 0) return;
        for (uint32_t i = 0; i < count; ++i) {
            putPixel(row, static_cast<int32_t>(x + i), [&](int) { return sampleAt(data, i, page_.bits); });
        }
    }

    const Page& page_;
    const Palette& map_;
    KernelBitmap& b_;
    uint8_t* rows_;
    bool isExact_ = false;
};

int readStrips(TIFF* tiff, const Page& p, const RowSink& sink) {
    const uint32_t rowsPerStrip = std::min(field<uint32_t>(tiff, TIFFTAG_ROWSPERSTRIP, p.height), p.height);
    const tmsize_t rowBytes = TIFFScanlineSize(tiff), stripBytes = TIFFStripSize(tiff);
    if (!rowsPerStrip || rowBytes <= 0 || stripBytes <= 0) return ERROR_FILE_READ;
    const bool separate = p.planar == PLANARCONFIG_SEPARATE && p.samples > 1;
    const uint32_t strips = (p.height + rowsPerStrip - 1) / rowsPerStrip;
    // The longest sample run of a row, so that no row is read behind its decoded bytes.
    const auto pixelBits = static_cast<uint64_t>(p.bits) * static_cast<uint64_t>(separate ? 1 : p.samples);
    if (static_cast<uint64_t>(rowBytes) < (p.width * pixelBits + 7) / 8) return ERROR_FILE_READ;
    Scratch buffer(static_cast<size_t>(stripBytes));
    if (!buffer.data()) return ERROR_NO_MEMORY;
    for (int plane = 0; plane < (separate ? p.samples : 1); ++plane) {
        for (uint32_t strip = 0; strip < strips; ++strip) {
            const uint32_t first = strip * rowsPerStrip, rows = std::min(rowsPerStrip, p.height - first);
            const tmsize_t wanted = static_cast<tmsize_t>(rows) * rowBytes;
            const uint32_t number = static_cast<uint32_t>(plane) * strips + strip;
            if (wanted > stripBytes || TIFFReadEncodedStrip(tiff, number, buffer.data(), wanted) != wanted)
                return ERROR_FILE_READ;
            for (uint32_t y = 0; y < rows; ++y) {
                sink.put(first + y, 0, p.width, separate ? plane : -1,
                         buffer.data() + static_cast<size_t>(y) * static_cast<size_t>(rowBytes));
            }
        }
    }
    return SUCCESS;
}

int readTiles(TIFF* tiff, const Page& p, const RowSink& sink, const LoadLimits& limits) {
    const auto tileWidth = field<uint32_t>(tiff, TIFFTAG_TILEWIDTH, 0),
               tileHeight = field<uint32_t>(tiff, TIFFTAG_TILELENGTH, 0);
    const bool separate = p.planar == PLANARCONFIG_SEPARATE && p.samples > 1;
    if (!tileWidth || !tileHeight) return ERROR_FILE_READ;
    if (uint64_t{tileWidth} * tileHeight > std::max<uint64_t>(limits.pixels, 1u << 16)) return ERROR_NO_MEMORY;
    const tmsize_t rowBytes = TIFFTileRowSize(tiff), tileBytes = TIFFTileSize(tiff);
    const auto pixelBits = static_cast<uint64_t>(p.bits) * static_cast<uint64_t>(separate ? 1 : p.samples);
    if (rowBytes <= 0 || tileBytes <= 0 || static_cast<uint64_t>(rowBytes) < (tileWidth * pixelBits + 7) / 8)
        return ERROR_FILE_READ;
    if (static_cast<uint64_t>(tileBytes) < static_cast<uint64_t>(rowBytes) * tileHeight) return ERROR_FILE_READ;
    Scratch buffer(static_cast<size_t>(tileBytes));
    if (!buffer.data()) return ERROR_NO_MEMORY;
    for (int plane = 0; plane < (separate ? p.samples : 1); ++plane) {
        for (uint32_t top = 0; top < p.height; top += tileHeight) {
            for (uint32_t left = 0; left < p.width; left += tileWidth) {
                const uint32_t number = TIFFComputeTile(tiff, left, top, 0, static_cast<uint16_t>(plane));
                if (TIFFReadEncodedTile(tiff, number, buffer.data(), tileBytes) != tileBytes) return ERROR_FILE_READ;
                const uint32_t columns = std::min(tileWidth, p.width - left);
                for (uint32_t y = 0; y < std::min(tileHeight, p.height - top); ++y) {
                    sink.put(top + y, left, columns, separate ? plane : -1,
                             buffer.data() + static_cast<size_t>(y) * static_cast<size_t>(rowBytes));
                }
                if (p.width - left <= tileWidth) break;
            }
            if (p.height - top <= tileHeight) break;
        }
    }
    return SUCCESS;
}

// Through libtiff's own conversion to red, green, blue, opacity; rows stay as stored.
int readConverted(TIFF* tiff, const Page& p, KernelBitmap& b) {
    TIFFRGBAImage image;
    char reason[1024];
    if (!TIFFRGBAImageBegin(&image, tiff, 1, reason)) return ERROR_FEATURE_NOT_SUPPORTED;
    image.req_orientation = image.orientation;
    int result = ERROR_NO_MEMORY;
    Scratch raster(size_t{p.width} * p.height * 4);
    if (raster.data()) {
        auto* pixels = reinterpret_cast<uint32_t*>(raster.data());
        result = TIFFRGBAImageGet(&image, pixels, p.width, p.height) ? SUCCESS : ERROR_FILE_READ;
        uint8_t* rows = K_WritableBitmapRow(&b, 0);
        for (uint32_t y = 0; result == SUCCESS && y < p.height; ++y) {
            uint8_t* row = rows + size_t{y} * static_cast<size_t>(b.BytesPerLine);
            for (uint32_t x = 0; x < p.width; ++x) {
                const uint32_t v = pixels[size_t{y} * p.width + x];
                const uint32_t color = argb(TIFFGetR(v), TIFFGetG(v), TIFFGetB(v), TIFFGetA(v));
                if (p.recordBits == 24)
                    PixelAccess<24>::put(row, static_cast<int32_t>(x), color);
                else
                    PixelAccess<32>::put(row, static_cast<int32_t>(x), color);
            }
        }
    }
    TIFFRGBAImageEnd(&image);
    return result;
}

int readPixels(TIFF* tiff, const Page& p, KernelBitmap* b, const LoadLimits& limits) {
    Palette map{};
    if (p.route == Route::indexed && !readPalette(tiff, p, &map)) return ERROR_FILE_READ;
    if (const int result = makeRecord(p, map, b); result != SUCCESS) return result;
    int result;
    if (p.route == Route::converted)
        result = readConverted(tiff, p, *b);
    else {
        const RowSink sink(p, map, *b);
        result = p.tiled ? readTiles(tiff, p, sink, limits) : readStrips(tiff, p, sink);
    }
    // libtiff's conversion leaves colours multiplied, whatever the file has.
    if (result == SUCCESS && p.alphaSample >= 0 && (p.multiplied || p.route == Route::converted)) {
        for (int32_t y = 0; y < b->Height; ++y) divideByAlpha(K_WritableBitmapRow(b, y), static_cast<size_t>(b->Width));
    }
    return result;
}

// What the file claims to hold uncompressed must be there before anything is made for it.
bool holdsRawData(const TiffFile& file, const Page& p) {
    if (p.compression != COMPRESSION_NONE || p.photometric == PHOTOMETRIC_YCBCR)
        return true; // chroma may be sampled more coarsely
    return uint64_t{p.width} * p.height * static_cast<uint64_t>(p.bits) / 8 <= file.size();
}

} // namespace

int loadTiff(ByteStream& stream, const LoadLimits& limits, KernelBitmap* b, KernelFileInfo* info) {
    TiffFile file(stream);
    if (const int result = file.open(); result != SUCCESS) return result;
    TiffDirectory directory;
    if (const int result = file.directory(limits.page, &directory); result != SUCCESS) return result;
    constexpr uint64_t smallPieces = uint64_t{64} << 20;
    TiffPointer tiff;
    Page page;
    const auto openPage = [&](const char* mode) -> int {
        tiff.reset();
        tiff = openTiff(stream, mode, std::max(smallPieces, limits.pixels * 8));
        if (!tiff || !TIFFSetSubDirectory(tiff.get(), directory.at)) return ERROR_FILE_READ;
        return describe(tiff.get(), limits, &page);
    };
    if (const int result = openPage("rhm"); result != SUCCESS) return result;
    if (!holdsRawData(file, page)) return ERROR_FILE_READ;
    *info = {.nFormat = KB_FORMAT_TIFF,
             .nWidth = static_cast<int32_t>(page.width),
             .nHeight = static_cast<int32_t>(page.height),
             .nBitsPerPixel = page.recordBits,
             .nXResolution = page.xResolution,
             .nYResolution = page.yResolution,
             .uFlags = info->uFlags,
             .nPages = file.pages(),
             .nPage = limits.page,
             .nCompression = compressionKind(page.compression),
             .nViewPerspective = perspectiveFrom(page.orientation)};
    if (!b) return SUCCESS;
    // libtiff's conversion rounds its buffers up and then misses the bytes behind a plain tile, unless the file is in memory.
    if (page.route == Route::converted && page.tiled && page.compression == COMPRESSION_NONE) {
        if (const int result = openPage("rh"); result != SUCCESS) return result;
    }
    LoadedBitmap loaded;
    if (const int result = readPixels(tiff.get(), page, &loaded.record, limits); result != SUCCESS) return result;
    loaded.moveTo(b);
    return SUCCESS;
}

} // namespace kb
