// What a TIFF holds beside its pages. Every byte has to belong to the header, to a directory, to the value of a tag that is
// needed, or to the pixels of a strip up to the very end of its coding; what is left may only be zeros. Strips of fax data
// are compared with a fresh coding of the page, since their coding has one form only.
#include "rasterio/color_profile.h"
#include "rasterio/leftovers.h"
#include "rasterio/png_chunks.h"
#include "rasterio/scratch.h"
#include "rasterio/tiff_directory.h"
#include "rasterio/tiff_io.h"

namespace kb {
namespace {

// How many values a tag has on a page that is written here.
enum class Count { one, two, samples, strips, map, any };

struct TagRow {
    uint16_t tag;
    Count count;
};
// What a page needs to be shown.
constexpr auto neededTags = std::to_array<TagRow>({
    {TIFFTAG_SUBFILETYPE, Count::one},      {TIFFTAG_IMAGEWIDTH, Count::one},
    {TIFFTAG_IMAGELENGTH, Count::one},      {TIFFTAG_BITSPERSAMPLE, Count::samples},
    {TIFFTAG_COMPRESSION, Count::one},      {TIFFTAG_PHOTOMETRIC, Count::one},
    {TIFFTAG_FILLORDER, Count::one},        {TIFFTAG_STRIPOFFSETS, Count::strips},
    {TIFFTAG_ORIENTATION, Count::one},      {TIFFTAG_SAMPLESPERPIXEL, Count::one},
    {TIFFTAG_ROWSPERSTRIP, Count::one},     {TIFFTAG_STRIPBYTECOUNTS, Count::strips},
    {TIFFTAG_XRESOLUTION, Count::one},      {TIFFTAG_YRESOLUTION, Count::one},
    {TIFFTAG_PLANARCONFIG, Count::one},     {TIFFTAG_GROUP3OPTIONS, Count::one},
    {TIFFTAG_GROUP4OPTIONS, Count::one},    {TIFFTAG_RESOLUTIONUNIT, Count::one},
    {TIFFTAG_PAGENUMBER, Count::two},       {TIFFTAG_PREDICTOR, Count::one},
    {TIFFTAG_COLORMAP, Count::map},         {TIFFTAG_EXTRASAMPLES, Count::one},
    {TIFFTAG_SAMPLEFORMAT, Count::samples}, {profileTag, Count::any},
});
constexpr auto imageTags =
    std::to_array<uint16_t>({TIFFTAG_SUBIFD, TIFFTAG_EXIFIFD, TIFFTAG_JPEGIFOFFSET, 32781 /* an ID */,
                             34377 /* a photo editor's resources */, 37724 /* its layers */, 46, 50341});

struct Used {
    uint64_t at, end;
};

struct Shape {
    uint64_t width = 0, height = 0, bits = 1, samples = 1, compression = 1, photometric = 1, rowsPerStrip = UINT32_MAX;
    uint64_t rowBits() const { return width * bits * samples; }
    uint64_t rowBytes() const { return (rowBits() + 7) / 8; }
    uint64_t strips() const { return (height + std::min(rowsPerStrip, height) - 1) / std::min(rowsPerStrip, height); }
};

uint64_t numberOf(TiffFile& file, const TiffDirectory& page, uint16_t tag, uint64_t missing) {
    std::vector<uint64_t> values;
    const TiffEntry* entry = page.find(tag);
    return entry && entry->count < 65536 && file.numbers(*entry, &values) && !values.empty() ? values[0] : missing;
}

Shape shapeOf(TiffFile& file, const TiffDirectory& page) {
    Shape s;
    s.width = numberOf(file, page, TIFFTAG_IMAGEWIDTH, 0);
    s.height = numberOf(file, page, TIFFTAG_IMAGELENGTH, 0);
    s.bits = numberOf(file, page, TIFFTAG_BITSPERSAMPLE, 1);
    s.samples = numberOf(file, page, TIFFTAG_SAMPLESPERPIXEL, 1);
    s.compression = numberOf(file, page, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    s.photometric = numberOf(file, page, TIFFTAG_PHOTOMETRIC, UINT16_MAX);
    s.rowsPerStrip = std::max<uint64_t>(1, numberOf(file, page, TIFFTAG_ROWSPERSTRIP, UINT32_MAX));
    return s;
}

uint64_t expectedCount(Count count, const Shape& shape) {
    switch (count) {
    case Count::one: return 1;
    case Count::two: return 2;
    case Count::samples: return shape.samples;
    case Count::strips: return shape.strips();
    case Count::map: return shape.photometric == PHOTOMETRIC_PALETTE && shape.bits <= 8 ? uint64_t{3} << shape.bits : 0;
    case Count::any: break;
    }
    return UINT64_MAX;
}

// Layouts that are written here: others have samples that a load leaves out or changes.
bool isKnownLayout(TiffFile& file, const TiffDirectory& page, const Shape& s) {
    const bool single = s.samples == 1 && (s.bits == 1 || s.bits == 4 || s.bits == 8 || s.bits == 12 || s.bits == 16);
    const bool color = (s.samples == 3 || s.samples == 4) && s.bits == 8 && s.photometric == PHOTOMETRIC_RGB;
    std::vector<uint64_t> depths;
    const TiffEntry* entry = page.find(TIFFTAG_BITSPERSAMPLE);
    if (entry && (entry->count != s.samples || !file.numbers(*entry, &depths))) return false;
    if (std::any_of(depths.begin(), depths.end(), [&](uint64_t bits) { return bits != s.bits; })) return false;
    // Colours that are multiplied by their opacity lose bits when they are divided again, which a look at them can't see.
    const uint64_t extra = numberOf(file, page, TIFFTAG_EXTRASAMPLES, EXTRASAMPLE_UNSPECIFIED);
    if (extra != EXTRASAMPLE_UNSPECIFIED && extra != EXTRASAMPLE_UNASSALPHA) return false;
    return (single || color) && s.photometric <= PHOTOMETRIC_PALETTE && !page.find(TIFFTAG_TILEWIDTH) &&
           numberOf(file, page, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_CONTIG &&
           numberOf(file, page, TIFFTAG_FILLORDER, FILLORDER_MSB2LSB) == FILLORDER_MSB2LSB &&
           numberOf(file, page, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT) == SAMPLEFORMAT_UINT;
}

// Does packed data give `size` bytes and end there?
bool endsPackBits(ByteView data, uint64_t size) {
    uint64_t made = 0;
    size_t at = 0;
    while (at < data.size()) {
        const uint8_t head = data[at++];
        if (head == 128) return false;
        const size_t count = head < 128 ? size_t{head} + 1 : 257 - size_t{head};
        at += head < 128 ? count : 1;
        made += count;
    }
    return at == data.size() && made == size;
}

bool endsLzw(ByteView data, uint64_t size) {
    constexpr unsigned clear = 256, end = 257;
    std::vector<uint64_t> lengths(4097, 1);
    uint64_t made = 0;
    unsigned next = 258, width = 9, held = 0;
    uint32_t buffer = 0;
    int previous = -1;
    for (size_t at = 0;;) {
        while (held < width) {
            if (at == data.size()) return false;
            buffer = buffer << 8 | data[at++];
            held += 8;
        }
        const unsigned code = buffer >> (held - width) & ((1u << width) - 1);
        held -= width;
        if (code == end) return at == data.size() && !(buffer & ((1u << held) - 1)) && made == size;
        if (code == clear) {
            next = 258, width = 9, previous = -1;
            continue;
        }
        if (code > next || (code == next && previous < 0)) return false;
        if (previous >= 0 && next < 4096) lengths[next++] = lengths[static_cast<size_t>(previous)] + 1;
        if (code >= 258 && code >= next) return false;
        made += code < 258 ? 1 : lengths[code];
        if (made > size) return false;
        previous = static_cast<int>(code);
        if (next >= (1u << width) - 1 && width < 12) ++width;
    }
}

bool endsDeflate(ByteView data, uint64_t size) {
    if (size / 1032 > data.size()) return false;
    Scratch out(static_cast<size_t>(size));
    return out.data() && png::inflateExactly(data, out.data(), static_cast<size_t>(size)) == SUCCESS;
}

// The page written anew has the same strip.
bool isFreshFax(const KernelBitmap& image, int kind, ByteView strip) {
    BlockStream stream;
    if (saveTiff(image,
                 {.uStructSize = 0,
                  .uFlags = 0,
                  .nPageNumber = 1,
                  .nCompression = kind,
                  .nQuality = 0,
                  .nLevel = 0,
                  .reserved = {}},
                 {}, stream) != SUCCESS)
        return false;
    TiffFile file(stream);
    TiffDirectory page;
    if (file.open() != SUCCESS || file.directory(1, &page) != SUCCESS) return false;
    const uint64_t at = numberOf(file, page, TIFFTAG_STRIPOFFSETS, 0),
                   bytes = numberOf(file, page, TIFFTAG_STRIPBYTECOUNTS, 0);
    return bytes == strip.size() && at <= stream.bytes.size() && bytes <= stream.bytes.size() - at &&
           std::equal(strip.begin(), strip.end(), stream.bytes.begin() + static_cast<std::ptrdiff_t>(at));
}

class PageWalk {
public:
    PageWalk(ByteView data, TiffFile& file, LeftoverListener& listener, std::vector<Used>& used)
        : data_(data), file_(file), listener_(listener), used_(used) {}

    int walk(int number) {
        number_ = number;
        if (const int result = file_.directory(number, &page_); result != SUCCESS) return result;
        const TiffForm& form = file_.form();
        use(page_.at, form.countBytes() + page_.entries.size() * form.entryBytes() + form.offsetBytes());
        shape_ = shapeOf(file_, page_);
        if (const int result = checkSize(shape_.width, shape_.height, limitsOf(nullptr)); result != SUCCESS) return result;
        for (const TiffEntry& entry : page_.entries) judgeEntry(entry);
        if (!isKnownLayout(file_, page_, shape_)) {
            tell(KB_LEFT_CODING, page_.at, TIFFTAG_PHOTOMETRIC);
            return useStrips(nullptr);
        }
        LoadLimits limits = limitsOf(nullptr);
        limits.page = number;
        MemoryStream stream(data_);
        KernelFileInfo info{};
        LoadedBitmap image;
        if (const int result = loadTiff(stream, limits, &image.record, &info); result != SUCCESS) return result;
        if (const int result = judgeRowEnds(); result != SUCCESS) return result;
        return useStrips(&image.record);
    }

private:
    void tell(int kind, uint64_t offset, uint32_t code) { listener_.tell(kind, offset, code, number_); }
    void use(uint64_t at, uint64_t bytes) {
        if (bytes && at <= data_.size()) used_.push_back({at, at + std::min<uint64_t>(bytes, data_.size() - at)});
    }

    void judgeEntry(const TiffEntry& entry) {
        const auto row =
            std::find_if(neededTags.begin(), neededTags.end(), [&](const TagRow& r) { return r.tag == entry.tag; });
        const bool lies =
            entry.bytes != UINT64_MAX && entry.valueAt <= data_.size() && entry.bytes <= data_.size() - entry.valueAt;
        if (lies && !entry.inEntry) use(entry.valueAt, entry.bytes);
        // Readers take one of several alike, and nobody sees the others.
        const auto again = std::count_if(page_.entries.begin(), page_.entries.end(),
                                         [&](const TiffEntry& e) { return e.tag == entry.tag; });
        if (again > 1) tell(KB_LEFT_SLACK, entry.valueAt, entry.tag);
        if (row == neededTags.end()) {
            const bool image = std::find(imageTags.begin(), imageTags.end(), entry.tag) != imageTags.end();
            tell(image ? KB_LEFT_IMAGE : KB_LEFT_PART, entry.valueAt, entry.tag);
            return;
        }
        if (!lies || (row->count != Count::any && entry.count != expectedCount(row->count, shape_)))
            tell(KB_LEFT_SLACK, entry.valueAt, entry.tag);
        if (entry.inEntry && !isAllZero({entry.raw + entry.bytes, file_.form().offsetBytes() - entry.bytes}))
            tell(KB_LEFT_SLACK, entry.valueAt, entry.tag);
        if (entry.tag == TIFFTAG_SUBFILETYPE && (numberOf(file_, page_, entry.tag, 0) & ~uint64_t{FILETYPE_PAGE}))
            tell(KB_LEFT_IMAGE, entry.valueAt, entry.tag);
        // Bytes stand in words here; a second byte of its own would be seen by nobody.
        std::vector<uint64_t> colors;
        if (entry.tag == TIFFTAG_COLORMAP && (!lies || !file_.numbers(entry, &colors) ||
                                              std::any_of(colors.begin(), colors.end(), [](uint64_t v) { return v % 257; })))
            tell(KB_LEFT_SLACK, entry.valueAt, entry.tag);
        if (entry.tag == profileTag) {
            Bytes profile;
            if (!lies || !file_.values(entry, &profile) || !isPlainProfile(profile) ||
                !profileFits(profile, shape_.samples == 1 && shape_.photometric != PHOTOMETRIC_PALETTE))
                tell(KB_LEFT_PROFILE, entry.valueAt, entry.tag);
        }
    }

    // Bits behind the end of a row. A load clears them, so the strips are unpacked here once more; fax data has no room for
    // any.
    int judgeRowEnds() {
        if (shape_.rowBits() % 8 == 0 || shape_.compression == COMPRESSION_CCITTFAX3 ||
            shape_.compression == COMPRESSION_CCITTFAX4)
            return SUCCESS;
        MemoryStream stream(data_);
        const TiffPointer tiff = openTiff(stream, "rhm", 0);
        if (!tiff || !TIFFSetSubDirectory(tiff.get(), page_.at)) return ERROR_FILE_READ;
        const auto rowBytes = static_cast<size_t>(shape_.rowBytes());
        const uint64_t stripRows = std::min(shape_.rowsPerStrip, shape_.height);
        if (TIFFScanlineSize64(tiff.get()) != rowBytes || TIFFStripSize64(tiff.get()) < stripRows * rowBytes)
            return ERROR_FILE_READ;
        Scratch strip(static_cast<size_t>(stripRows) * rowBytes);
        if (!strip.data()) return ERROR_NO_MEMORY;
        for (uint64_t first = 0; first < shape_.height; first += stripRows) {
            const auto rows = static_cast<size_t>(std::min(stripRows, shape_.height - first));
            const auto bytes = static_cast<tmsize_t>(rows * rowBytes);
            if (TIFFReadEncodedStrip(tiff.get(), static_cast<uint32_t>(first / stripRows), strip.data(), bytes) != bytes)
                return ERROR_FILE_READ;
            for (size_t y = 0; y < rows; ++y) {
                if (isPaddedWithZeros(strip.data() + y * rowBytes, shape_.rowBits())) continue;
                tell(KB_LEFT_SLACK, page_.at, TIFFTAG_STRIPOFFSETS);
                return SUCCESS;
            }
        }
        return SUCCESS;
    }

    // `image` null: what the strips hold isn't judged.
    int useStrips(const KernelBitmap* image) {
        const TiffEntry *offsets = page_.find(TIFFTAG_STRIPOFFSETS), *counts = page_.find(TIFFTAG_STRIPBYTECOUNTS);
        std::vector<uint64_t> at, bytes;
        if (!offsets || !counts || !file_.numbers(*offsets, &at) || !file_.numbers(*counts, &bytes) ||
            at.size() != bytes.size()) {
            if (image) tell(KB_LEFT_CODING, page_.at, TIFFTAG_STRIPOFFSETS);
            return SUCCESS;
        }
        for (size_t i = 0; i < at.size(); ++i) {
            if (at[i] > data_.size() || bytes[i] > data_.size() - at[i]) return ERROR_FILE_READ;
            use(at[i], bytes[i]);
        }
        if (!image) return SUCCESS;
        for (size_t i = 0; i < at.size(); ++i) {
            const uint64_t first = i * std::min(shape_.rowsPerStrip, shape_.height);
            const uint64_t rows = first < shape_.height ? std::min(shape_.rowsPerStrip, shape_.height - first) : 0;
            const ByteView strip = data_.subspan(static_cast<size_t>(at[i]), static_cast<size_t>(bytes[i]));
            if (!judgeStrip(*image, strip, rows * shape_.rowBytes(), at.size())) {
                tell(codingIsKnown_ ? KB_LEFT_SLACK : KB_LEFT_CODING, at[i],
                     codingIsKnown_ ? TIFFTAG_STRIPOFFSETS : TIFFTAG_COMPRESSION);
                break;
            }
        }
        return SUCCESS;
    }

    bool judgeStrip(const KernelBitmap& image, ByteView strip, uint64_t size, size_t strips) {
        codingIsKnown_ = true;
        switch (shape_.compression) {
        case COMPRESSION_NONE: return strip.size() == size;
        case COMPRESSION_PACKBITS: return endsPackBits(strip, size);
        case COMPRESSION_LZW: return endsLzw(strip, size);
        case COMPRESSION_DEFLATE:
        case COMPRESSION_ADOBE_DEFLATE: return endsDeflate(strip, size);
        case COMPRESSION_CCITTFAX3: return strips == 1 && isFreshFax(image, KB_COMPRESS_G3, strip);
        case COMPRESSION_CCITTFAX4: return strips == 1 && isFreshFax(image, KB_COMPRESS_G4, strip);
        default: codingIsKnown_ = false; return false;
        }
    }

    ByteView data_;
    TiffFile& file_;
    LeftoverListener& listener_;
    std::vector<Used>& used_;
    int number_ = 0;
    bool codingIsKnown_ = true;
    TiffDirectory page_;
    Shape shape_;
};

} // namespace

int findTiffLeftovers(ByteView data, LeftoverListener& listener) {
    MemoryStream stream(data);
    TiffFile file(stream);
    if (const int result = file.open(); result != SUCCESS) return result;
    std::vector<Used> used{{0, file.form().wide ? 16u : 8u}};
    const int pages = file.pages();
    for (int page = 1; page <= pages; ++page) {
        PageWalk walk(data, file, listener, used);
        if (const int result = walk.walk(page); result != SUCCESS) return result;
    }
    TiffDirectory last;
    if (file.directory(pages, &last) != SUCCESS || last.next) return ERROR_FILE_READ; // a chain that loops or breaks
    std::sort(used.begin(), used.end(), [](const Used& a, const Used& b) { return a.at < b.at; });
    uint64_t end = 0;
    for (const Used& range : used) {
        if (range.at > end && !isAllZero(data.subspan(static_cast<size_t>(end), static_cast<size_t>(range.at - end))))
            listener.tell(KB_LEFT_BYTES, end);
        end = std::max(end, range.end);
    }
    if (end < data.size() && !isAllZero(data.subspan(static_cast<size_t>(end)))) listener.tell(KB_LEFT_BEHIND, end);
    return SUCCESS;
}

} // namespace kb
