// Reads JPEG through libjpeg. The library reports faults by a long jump, so everything between setjmp and the jump is plain
// data: the C++ objects live in the function outside. A picture that ends early is a fault here, where the library would
// only warn; scans are counted, because a small file can ask for any number of them.
#include "rasterio/jpeg_io.h"

namespace kb {
namespace {

struct Reader {
    jpeg_decompress_struct jpeg;
    JpegSession session;
    // what goes in and comes out
    ByteView data;
    const LoadLimits* limits;
    KernelFileInfo* info;
    KernelBitmap* bitmap; // null: header only
};

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
               .nViewPerspective = jpegPerspective(jpeg)};
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

// Runs the library; nothing here or below may need a destructor.
int decode(Reader& r, uint8_t** inkRow) {
    jpeg_decompress_struct& jpeg = r.jpeg;
    if (setjmp(r.session.back)) return jpegFault(r.session);
    jpeg_create_decompress(&jpeg);
    limitJpegScans(reinterpret_cast<j_common_ptr>(&jpeg), r.session);
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
        if (r.session.endsEarly) return ERROR_FILE_READ;
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
    prepareJpeg(reinterpret_cast<j_common_ptr>(&r.jpeg), r.session);
    uint8_t* inkRow = nullptr;
    const int result = decode(r, &inkRow);
    std::free(inkRow);
    jpeg_destroy_decompress(&r.jpeg);
    if (result == SUCCESS && b) loaded.moveTo(b);
    return result;
}

} // namespace kb
