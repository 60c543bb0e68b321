// Writes pages of TIFF files through libtiff. Grey and colour go out at the record's depth; the perspective becomes the
// orientation tag. In a file that has pages the new one is written behind the last and then moved to its place.
#include "rasterio/tiff_directory.h"
#include "rasterio/tiff_io.h"
#include "rasterio/upright_rows.h"

#include <new>

namespace kb {
namespace {

struct Layout {
    uint16_t bits = 8, samples = 1, photometric = PHOTOMETRIC_MINISBLACK;
    bool inverts = false; // grey values count from white
};

bool hasInvertedRamp(const KernelBitmap& b) {
    const uint32_t colors = 1u << b.BitsPerPixel;
    if (b.BitsPerPixel > 8 || b.nColors != colors) return false;
    for (uint32_t i = 0; i < colors; ++i) {
        if ((fromQuad(b.pPalette[i]) & 0xFFFFFFu) != (colors - 1 - i) * 255u / (colors - 1) * 0x010101u) return false;
    }
    return true;
}

Layout layoutOf(const KernelBitmap& b) {
    switch (b.BitsPerPixel) {
    case 12:
    case 16: return {.bits = static_cast<uint16_t>(b.BitsPerPixel)};
    case 24: return {.bits = 8, .samples = 3, .photometric = PHOTOMETRIC_RGB};
    case 32: return {.bits = 8, .samples = 4, .photometric = PHOTOMETRIC_RGB};
    default: break;
    }
    const auto bits = static_cast<uint16_t>(b.BitsPerPixel);
    if (hasGreyRamp(b)) return {.bits = bits};
    if (hasInvertedRamp(b)) return {.bits = bits, .photometric = PHOTOMETRIC_MINISWHITE};
    return {.bits = bits, .photometric = PHOTOMETRIC_PALETTE};
}

struct Scheme {
    int kind;
    uint16_t scheme;
    bool bilevelOnly, jpeg, predicts;
};
constexpr auto schemes = std::to_array<Scheme>({
    {KB_COMPRESS_NONE, COMPRESSION_NONE, false, false, false},
    {KB_COMPRESS_PACKBITS, COMPRESSION_PACKBITS, false, false, false},
    {KB_COMPRESS_LZW, COMPRESSION_LZW, false, false, true},
    {KB_COMPRESS_DEFLATE, COMPRESSION_ADOBE_DEFLATE, false, false, true},
    {KB_COMPRESS_G3, COMPRESSION_CCITTFAX3, true, false, false},
    {KB_COMPRESS_G4, COMPRESSION_CCITTFAX4, true, false, false},
    {KB_COMPRESS_JPEG, COMPRESSION_JPEG, false, true, false},
});

// Null for a compression that doesn't fit the depth.
const Scheme* schemeFor(int compression, const KernelBitmap& b, const Layout& layout) {
    if (compression == KB_COMPRESS_DEFAULT) compression = b.BitsPerPixel == 1 ? KB_COMPRESS_G4 : KB_COMPRESS_LZW;
    for (const Scheme& row : schemes) {
        if (row.kind != compression) continue;
        if (row.bilevelOnly && b.BitsPerPixel != 1) return nullptr;
        if (row.jpeg && !(layout.bits == 8 && (layout.photometric == PHOTOMETRIC_MINISBLACK || layout.samples == 3)))
            return nullptr;
        return &row;
    }
    return nullptr;
}

void setPalette(TIFF* tiff, const KernelBitmap& b) {
    uint16_t red[256] = {}, green[256] = {}, blue[256] = {};
    for (uint32_t i = 0; i < b.nColors; ++i) {
        red[i] = static_cast<uint16_t>(b.pPalette[i].rgbRed * 257);
        green[i] = static_cast<uint16_t>(b.pPalette[i].rgbGreen * 257);
        blue[i] = static_cast<uint16_t>(b.pPalette[i].rgbBlue * 257);
    }
    TIFFSetField(tiff, TIFFTAG_COLORMAP, red, green, blue);
}

bool setFields(TIFF* tiff, const KernelBitmap& b, const Layout& layout, const Scheme& scheme,
               const KernelSaveOptions& options) {
    bool done = TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(b.Width)) &&
                TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(b.Height)) &&
                TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, layout.bits) &&
                TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, layout.samples) &&
                TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
                TIFFSetField(tiff, TIFFTAG_ORIENTATION, orientationFrom(b.ViewPerspective)) &&
                TIFFSetField(tiff, TIFFTAG_COMPRESSION, scheme.scheme);
    if (scheme.jpeg) {
        const int quality = options.nQuality >= 1 && options.nQuality <= 100 ? options.nQuality : 90;
        done = done &&
               TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, layout.samples == 3 ? PHOTOMETRIC_YCBCR : PHOTOMETRIC_MINISBLACK) &&
               TIFFSetField(tiff, TIFFTAG_JPEGQUALITY, quality);
        if (layout.samples == 3) done = done && TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    } else {
        done = done && TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, layout.photometric);
    }
    if (scheme.scheme == COMPRESSION_ADOBE_DEFLATE && options.nLevel) {
        done = done && TIFFSetField(tiff, TIFFTAG_ZIPQUALITY, std::clamp(options.nLevel, 1, 9));
    }
    // Differences of neighbours pack better where values are amounts, not indices.
    if (scheme.predicts && layout.bits >= 8 && layout.bits != 12 && layout.photometric != PHOTOMETRIC_PALETTE) {
        done = done && TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    }
    if (layout.samples == 4) {
        const uint16_t extra = b.Alpha ? EXTRASAMPLE_UNASSALPHA : EXTRASAMPLE_UNSPECIFIED;
        done = done && TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &extra);
    }
    if (layout.photometric == PHOTOMETRIC_PALETTE) setPalette(tiff, b);
    if (b.XResolution > 0 && b.YResolution > 0) {
        done = done && TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH) &&
               TIFFSetField(tiff, TIFFTAG_XRESOLUTION, static_cast<double>(b.XResolution)) &&
               TIFFSetField(tiff, TIFFTAG_YRESOLUTION, static_cast<double>(b.YResolution));
    }
    // Pages of fax data are one strip, as readers of it expect; JPEG strips are whole rows of blocks.
    uint32_t rows = TIFFDefaultStripSize(tiff, 0);
    if (scheme.bilevelOnly) rows = static_cast<uint32_t>(b.Height);
    if (scheme.jpeg) rows = 256;
    return done && TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, std::max(1u, std::min(rows, static_cast<uint32_t>(b.Height))));
}

// A stored row as the file has it.
const uint8_t* fileRow(const KernelBitmap& b, int32_t y, Bytes* line) {
    const uint8_t* row = K_BitmapRowPointer(&b, y);
    const auto width = static_cast<size_t>(b.Width);
    if (b.BitsPerPixel == 24 && b.Order != KB_ORDER_RGB)
        swapRedBlue24(line->data(), row, width);
    else if (b.BitsPerPixel == 32 && b.Order != KB_ORDER_RGB)
        swapRedBlue32(line->data(), row, width);
    else if (b.BitsPerPixel == 16) {
        for (size_t x = 0; x < width; ++x) {
            const auto value = static_cast<uint16_t>(PixelAccess<16>::get(row, static_cast<int32_t>(x)));
            std::memcpy(line->data() + x * 2, &value, 2);
        }
    } else
        std::memcpy(line->data(), row, static_cast<size_t>(b.BytesPerLine)); // libtiff may change what it is given
    return line->data();
}

bool writeRows(TIFF* tiff, const KernelBitmap& b) {
    Bytes line(static_cast<size_t>(b.BytesPerLine));
    for (int32_t y = 0; y < b.Height; ++y) {
        if (TIFFWriteScanline(tiff, const_cast<uint8_t*>(fileRow(b, y, &line)), static_cast<uint32_t>(y), 0) < 0)
            return false;
    }
    return true;
}

// The end of a TIFF with a header of its own: what is written there lands behind the file's pages, while the link to it stays
// in the private header. So libtiff can write a page into a file without following, or touching, the chain of its pages.
class TailStream final : public ByteStream {
public:
    explicit TailStream(ByteStream& file) : file_(file) {}
    int64_t read(void*, size_t) override { return -1; } // a page is written in one go
    int64_t write(const void* data, size_t count) override {
        if (position_ < headerBytes) {
            if (count > headerBytes - static_cast<size_t>(position_)) return -1;
            std::memcpy(header_ + position_, data, count);
            position_ += static_cast<int64_t>(count);
            return static_cast<int64_t>(count);
        }
        if (file_.seek(position_, SEEK_SET) != position_) return -1;
        const int64_t put = file_.write(data, count);
        if (put > 0) position_ += put;
        return put;
    }
    int64_t seek(int64_t offset, int origin) override {
        const int64_t base = origin == SEEK_CUR ? position_ : origin == SEEK_END ? size() : 0;
        int64_t position;
        if (__builtin_add_overflow(base, offset, &position) || position < 0) return -1;
        return position_ = position;
    }
    int64_t size() override { return std::max<int64_t>(file_.size(), headerBytes); }
    bool truncate(int64_t) override { return false; }
    // Where the page's directory stands.
    uint64_t directoryAt(const TiffForm& form) const { return form.get(header_ + form.offsetBytes(), form.offsetBytes()); }

private:
    static constexpr int64_t headerBytes = 16;
    ByteStream& file_;
    int64_t position_ = 0;
    uint8_t header_[headerBytes] = {};
};

int writePage(const KernelBitmap& image, const KernelSaveOptions& options, ByteStream& stream, const char* mode) {
    const Layout layout = layoutOf(image);
    const Scheme* scheme = schemeFor(options.nCompression, image, layout);
    if (!scheme) return ERROR_FEATURE_NOT_SUPPORTED;
    TiffPointer tiff = openTiff(stream, mode, 0);
    if (!tiff) return ERROR_FILE_WRITE;
    if (!setFields(tiff.get(), image, layout, *scheme, options)) return ERROR_FAILURE;
    return writeRows(tiff.get(), image) && TIFFWriteDirectory(tiff.get()) ? SUCCESS : ERROR_FILE_WRITE;
}

// A page behind the last one, in the file's own byte order and width.
int appendPage(const KernelBitmap& image, const KernelSaveOptions& options, TiffFile& file) {
    const TiffForm& form = file.form();
    if (const int result = completeTiffChain(file); result != SUCCESS) return result;
    TailStream tail(file.stream());
    const int result = writePage(image, options, tail,
                                 form.bigEndian ? (form.wide ? "wb8" : "wb")
                                 : form.wide    ? "wl8"
                                                : "wl");
    return result == SUCCESS ? linkTiffPage(file.stream(), tail.directoryAt(form)) : result;
}

bool queueFits(bool wide) {
    const auto& queue = queuedTiffTags();
    return std::all_of(queue.begin(), queue.end(), [wide](const TiffTagValue& value) { return fitsTiff(wide, value); });
}

int saveFirstPage(const KernelBitmap& image, const KernelSaveOptions& options, ByteStream& stream) {
    // Beyond this the offsets of the plain form could run out.
    constexpr int64_t wideFrom = int64_t{3} << 30;
    const bool wide = int64_t{image.BytesPerLine} * image.Height > wideFrom;
    if (!queueFits(wide)) return ERROR_FEATURE_NOT_SUPPORTED;
    if (const int result = writePage(image, options, stream, wide ? "w8" : "w"); result != SUCCESS) return result;
    return queuedTiffTags().empty() ? SUCCESS : editTiffPage(stream, 1, queuedTiffTags());
}

// A failure leaves the file as it was, but for one in zeroing the page that was replaced: then the chain is whole.
int saveFurtherPage(const KernelBitmap& image, const KernelSaveOptions& options, const PagePlace& place,
                    ByteStream& stream) {
    TiffFile file(stream);
    if (const int result = file.open(); result != SUCCESS) return result;
    const int pages = file.pages();
    const int last = place.replaces ? pages : pages + 1; // highest place that can be asked for
    if (place.page != -1 && (place.page < 1 || place.page > last)) return ERROR_PAGE_NOT_FOUND;
    if (!queueFits(file.form().wide)) return ERROR_FEATURE_NOT_SUPPORTED;
    TiffChainUndo undo;
    if (const int result = undo.remember(file, place.page); result != SUCCESS) return result;
    TiffDirectory replaced;
    int result;
    try {
        result = appendPage(image, options, file);
        if (result == SUCCESS && !queuedTiffTags().empty()) result = editTiffPage(stream, pages + 1, queuedTiffTags());
        if (result == SUCCESS && place.page != -1) result = placeLastTiffPage(stream, place.page, place.replaces, &replaced);
    } catch (const std::bad_alloc&) {
        result = ERROR_NO_MEMORY;
    }
    if (result != SUCCESS) {
        undo.undo(stream);
        return result;
    }
    return replaced.at ? zeroTiffPage(stream, replaced) : SUCCESS;
}

} // namespace

int saveTiff(const KernelBitmap& b, const KernelSaveOptions& options, const PagePlace& place, ByteStream& stream) {
    // 5-5-5 colour has no place in TIFF; a fourth byte does.
    LoadedBitmap direct;
    const KernelBitmap* image = &b;
    if (b.BitsPerPixel == 16 && b.Order != KB_ORDER_GREY) {
        if (const int result = K_ChangeBitmapDepth(&b, &direct.record, 24, 0, 0, 0, 0, 0, 0); result != SUCCESS)
            return result;
        image = &direct.record;
    }
    return place.append ? saveFurtherPage(*image, options, place, stream) : saveFirstPage(*image, options, stream);
}

} // namespace kb
