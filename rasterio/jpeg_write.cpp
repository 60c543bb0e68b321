// Writes JPEG through libjpeg: grey images with one component, all others in colour. Opacity is laid over white, since the
// format has none.
#include "rasterio/color_profile.h"
#include "rasterio/jpeg_io.h"
#include "rasterio/upright_rows.h"

namespace kb {
namespace {

constexpr int defaultQuality = 90;
constexpr uint32_t maxJpegSide = 65500;

struct Writer {
    jpeg_compress_struct jpeg;
    JpegSession session;
    JpegTarget target;
    const UprightRows* rows;
    uint8_t* line; // one row, blue first
    bool isGrey;
    int quality;
    ByteView profile;
};

// A row of 32 bits over white.
void flatten(uint8_t* out, const uint8_t* in, int32_t pixels, bool redFirst, bool alpha) {
    for (int32_t x = 0; x < pixels; ++x) {
        const uint32_t opacity = alpha ? in[x * 4 + 3] : 255;
        for (int channel = 0; channel < 3; ++channel) {
            const uint32_t value = in[x * 4 + (redFirst ? 2 - channel : channel)];
            out[x * 3 + channel] = static_cast<uint8_t>((value * opacity + 255 * (255 - opacity) + 127) / 255);
        }
    }
}

const uint8_t* lineOf(const Writer& w, int32_t y) {
    const KernelBitmap& b = w.rows->image();
    const uint8_t* row = w.rows->row(y);
    if (b.BitsPerPixel == 32) {
        flatten(w.line, row, b.Width, b.Order == KB_ORDER_RGB, b.Alpha);
        return w.line;
    }
    if (b.BitsPerPixel == 24 && b.Order == KB_ORDER_RGB) {
        swapRedBlue24(w.line, row, static_cast<size_t>(b.Width));
        return w.line;
    }
    if (b.BitsPerPixel == 8) { // a grey palette need not be the ramp
        for (int32_t x = 0; x < b.Width; ++x) w.line[x] = row[x] < b.nColors ? b.pPalette[row[x]].rgbGreen : uint8_t{0};
        return w.line;
    }
    return row;
}

// Runs the library; nothing here may need a destructor.
bool encode(Writer& w) {
    const KernelBitmap& b = w.rows->image();
    if (setjmp(w.session.back)) return false;
    jpeg_create_compress(&w.jpeg);
    writeJpegTo(&w.jpeg, w.target);
    w.jpeg.image_width = static_cast<JDIMENSION>(b.Width);
    w.jpeg.image_height = static_cast<JDIMENSION>(b.Height);
    w.jpeg.input_components = w.isGrey ? 1 : 3;
    w.jpeg.in_color_space = w.isGrey ? JCS_GRAYSCALE : JCS_EXT_BGR;
    jpeg_set_defaults(&w.jpeg);
    jpeg_set_quality(&w.jpeg, w.quality, TRUE);
    if (b.XResolution > 0 && b.XResolution < 65536 && b.YResolution > 0 && b.YResolution < 65536) {
        w.jpeg.density_unit = 1;
        w.jpeg.X_density = static_cast<UINT16>(b.XResolution);
        w.jpeg.Y_density = static_cast<UINT16>(b.YResolution);
    }
    jpeg_start_compress(&w.jpeg, TRUE);
    if (!w.profile.empty()) jpeg_write_icc_profile(&w.jpeg, w.profile.data(), static_cast<unsigned int>(w.profile.size()));
    while (w.jpeg.next_scanline < w.jpeg.image_height) {
        auto* row = const_cast<JSAMPROW>(lineOf(w, static_cast<int32_t>(w.jpeg.next_scanline)));
        jpeg_write_scanlines(&w.jpeg, &row, 1);
    }
    jpeg_finish_compress(&w.jpeg);
    return true;
}

} // namespace

int saveJpeg(const KernelBitmap& b, const KernelSaveOptions& options, Bytes* out) {
    const bool isGrey = K_IsGrayscaleBitmap(&b) != 0;
    UprightRows rows;
    if (const int result = rows.open(b, isGrey ? 8 : b.BitsPerPixel == 32 ? 32 : 24); result != SUCCESS) return result;
    const KernelBitmap& image = rows.image();
    if (static_cast<uint32_t>(std::max(image.Width, image.Height)) > maxJpegSide) return ERROR_FEATURE_NOT_SUPPORTED;
    Bytes line(static_cast<size_t>(image.Width) * 3);
    Writer w{};
    prepareJpeg(reinterpret_cast<j_common_ptr>(&w.jpeg), w.session);
    w.rows = &rows;
    w.line = line.data();
    w.isGrey = isGrey;
    w.quality = options.nQuality >= 1 && options.nQuality <= 100 ? options.nQuality : defaultQuality;
    w.profile = queuedProfile(isGrey);
    const bool done = encode(w);
    jpeg_destroy_compress(&w.jpeg);
    int result = done ? SUCCESS : ERROR_NO_MEMORY;
    try {
        if (done) out->assign(w.target.bytes, w.target.bytes + w.target.size);
    } catch (const std::exception&) {
        result = ERROR_NO_MEMORY;
    }
    std::free(w.target.bytes);
    return result;
}

} // namespace kb
