// Reads JPEG through libjpeg. The library reports faults by a long jump, so everything between setjmp and the jump is plain
// data: the C++ objects live in the function outside. A picture that ends early is a fault here, where the library would
// only warn; scans are counted, because a small file can ask for any number of them.
#include "rasterio/image_io.h"

#include <csetjmp>
#include <cstdio>

#include <jerror.h>
#include <jpeglib.h>

namespace kb {
namespace {

constexpr int maxScans = 200;

struct Reader {
    jpeg_decompress_struct jpeg;
    jpeg_error_mgr errors;
    jpeg_progress_mgr progress;
    std::jmp_buf back;
    bool endsEarly;
    // what goes in and comes out
    ByteView data;
    const LoadLimits* limits;
    KernelFileInfo* info;
    KernelBitmap* bitmap; // null: header only
};

Reader& readerOf(j_common_ptr jpeg) { return *static_cast<Reader*>(jpeg->client_data); }

void onError(j_common_ptr jpeg) { std::longjmp(readerOf(jpeg).back, 1); }
void onMessage(j_common_ptr jpeg, int level) {
    if (level >= 0) return;
    const int code = jpeg->err->msg_code;
    if (code == JWRN_JPEG_EOF || code == JWRN_HIT_MARKER) readerOf(jpeg).endsEarly = true;
}
void onOutput(j_common_ptr) {}
void onProgress(j_common_ptr jpeg) {
    if (jpeg->is_decompressor && reinterpret_cast<j_decompress_ptr>(jpeg)->input_scan_number > maxScans) onError(jpeg);
}

uint32_t number(const uint8_t* p, int bytes, bool bigEndian) {
    uint32_t value = 0;
    for (int i = 0; i < bytes; ++i) value |= static_cast<uint32_t>(p[i]) << 8 * (bigEndian ? bytes - 1 - i : i);
    return value;
}

// Orientation out of an EXIF block, which is a small TIFF; 1 unless it is there and sound.
uint32_t exifOrientation(ByteView block) {
    constexpr uint16_t orientationTag = 274;
    if (block.size() < 14 || std::memcmp(block.data(), "Exif\0\0", 6)) return 1;
    const ByteView tiff = block.subspan(6);
    const bool big = tiff[0] == 'M';
    const size_t at = number(tiff.data() + 4, 4, big);
    if (at > tiff.size() || tiff.size() - at < 2) return 1;
    const uint32_t entries = number(tiff.data() + at, 2, big);
    for (size_t entry = at + 2, i = 0; i < entries && tiff.size() - entry >= 12; ++i, entry += 12) {
        if (number(tiff.data() + entry, 2, big) == orientationTag) return number(tiff.data() + entry + 8, 2, big);
    }
    return 1;
}

int orientationOf(const jpeg_decompress_struct& jpeg) {
    for (const jpeg_marker_struct* marker = jpeg.marker_list; marker; marker = marker->next) {
        if (marker->marker != JPEG_APP0 + 1) continue;
        const uint32_t orientation = exifOrientation({marker->data, marker->data_length});
        if (orientation != 1) return perspectiveFrom(orientation);
    }
    return KB_VIEW_TOP_LEFT;
}

void describe(Reader& r) {
    const jpeg_decompress_struct& jpeg = r.jpeg;
    const double unit = jpeg.density_unit == 1 ? 1.0 : jpeg.density_unit == 2 ? 2.54 : 0.0;
    *r.info = {.nFormat = KB_FORMAT_JPEG,
               .nWidth = static_cast<int32_t>(jpeg.image_width),
               .nHeight = static_cast<int32_t>(jpeg.image_height),
               .nBitsPerPixel = jpeg.num_components == 1 ? 8 : 24,
               .nXResolution = dotsPerInch(jpeg.X_density, unit),
               .nYResolution = dotsPerInch(jpeg.Y_density, unit),
               .uFlags = r.info->uFlags,
               .nPages = 1,
               .nPage = 1,
               .nCompression = 0,
               .nViewPerspective = orientationOf(jpeg)};
}

// Four inks to blue, green, red, over the same row. Files of the common maker store the inks inverted.
void inksToColor(uint8_t* out, const uint8_t* in, uint32_t pixels, bool inverted) {
    const uint32_t flip = inverted ? 0 : 255;
    for (uint32_t i = 0; i < pixels; ++i, in += 4, out += 3) {
        const uint32_t black = in[3] ^ flip;
        for (int channel = 0; channel < 3; ++channel) {
            out[2 - channel] = static_cast<uint8_t>(((in[channel] ^ flip) * black + 127) / 255);
        }
    }
}

// Faults that a sound file of another kind gives.
constexpr auto unsupported = std::to_array<int>(
    {JERR_BAD_PRECISION, JERR_SOF_UNSUPPORTED, JERR_ARITH_NOTIMPL, JERR_NOT_COMPILED, JERR_CONVERSION_NOTIMPL});

int resultOfFault(int code) {
    if (code == JERR_OUT_OF_MEMORY) return ERROR_NO_MEMORY;
    return std::find(unsupported.begin(), unsupported.end(), code) != unsupported.end() ? ERROR_FEATURE_NOT_SUPPORTED
                                                                                        : ERROR_FILE_READ;
}

// Runs the library; nothing here or below may need a destructor.
int decode(Reader& r, uint8_t** inkRow) {
    jpeg_decompress_struct& jpeg = r.jpeg;
    if (setjmp(r.back)) return resultOfFault(jpeg.err->msg_code);
    jpeg_create_decompress(&jpeg);
    jpeg.progress = &r.progress;
    jpeg_save_markers(&jpeg, JPEG_APP0 + 1, 0xFFFF);
    jpeg_mem_src(&jpeg, r.data.data(), static_cast<unsigned long>(r.data.size()));
    if (jpeg_read_header(&jpeg, TRUE) != JPEG_HEADER_OK) return ERROR_FILE_READ;
    if (const int result = checkSize(jpeg.image_width, jpeg.image_height, *r.limits); result != SUCCESS) return result;
    const bool inks = jpeg.jpeg_color_space == JCS_CMYK || jpeg.jpeg_color_space == JCS_YCCK;
    if (jpeg.num_components != 1 && jpeg.num_components != 3 && !inks) return ERROR_FEATURE_NOT_SUPPORTED;
    describe(r);
    if (!r.bitmap) return SUCCESS;
    jpeg.out_color_space = jpeg.num_components == 1 ? JCS_GRAYSCALE : inks ? JCS_CMYK : JCS_EXT_BGR;
    jpeg.dct_method = JDCT_ISLOW;
    jpeg_start_decompress(&jpeg);
    const int result = K_CreateBitmap(r.bitmap, 1, static_cast<int>(jpeg.output_width), static_cast<int>(jpeg.output_height),
                                      r.info->nBitsPerPixel, jpeg.num_components == 1 ? KB_ORDER_GREY : KB_ORDER_BGR,
                                      nullptr, r.info->nViewPerspective, 0, 0);
    if (result != SUCCESS) return result;
    r.bitmap->XResolution = r.info->nXResolution;
    r.bitmap->YResolution = r.info->nYResolution;
    uint8_t* rows = K_WritableBitmapRow(r.bitmap, 0);
    if (inks) {
        *inkRow = static_cast<uint8_t*>(std::malloc(size_t{jpeg.output_width} * 4));
        if (!*inkRow) return ERROR_NO_MEMORY;
    }
    while (jpeg.output_scanline < jpeg.output_height) {
        uint8_t* row = rows + size_t{jpeg.output_scanline} * static_cast<size_t>(r.bitmap->BytesPerLine);
        JSAMPROW target = inks ? *inkRow : row;
        if (jpeg_read_scanlines(&jpeg, &target, 1) != 1) return ERROR_FILE_READ;
        if (r.endsEarly) return ERROR_FILE_READ;
        if (inks) inksToColor(row, *inkRow, jpeg.output_width, jpeg.saw_Adobe_marker);
    }
    jpeg_finish_decompress(&jpeg);
    return SUCCESS;
}

} // namespace

int loadJpeg(ByteView data, const LoadLimits& limits, KernelBitmap* b, KernelFileInfo* info) {
    if (limits.page != 1) return ERROR_PAGE_NOT_FOUND;
    LoadedBitmap loaded;
    Reader r{};
    r.data = data;
    r.limits = &limits;
    r.info = info;
    r.bitmap = b ? &loaded.record : nullptr;
    r.jpeg.err = jpeg_std_error(&r.errors);
    r.jpeg.client_data = &r;
    r.errors.error_exit = onError;
    r.errors.emit_message = onMessage;
    r.errors.output_message = onOutput;
    r.progress.progress_monitor = onProgress;
    uint8_t* inkRow = nullptr;
    const int result = decode(r, &inkRow);
    std::free(inkRow);
    jpeg_destroy_decompress(&r.jpeg);
    if (result == SUCCESS && b) loaded.moveTo(b);
    return result;
}

} // namespace kb
