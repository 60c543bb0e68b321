// The raster file component draws metafiles at a resolution in whole dots an inch, which hardly ever gives the width that was
// asked for; so a picture of a given width is played here.
#include "apps/kann/vector_image.h"

#include "apps/kann/failure.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace kann {

namespace {

constexpr int maxDpi = 32767;
constexpr double hundredthsPerInch = 2540;

// Draws the picture over the whole of a white bitmap.
void playOn(KernelBitmap& bitmap, const KernelMetafile& picture, const std::string& name) {
    for (int y = 0; y < bitmap.Height; ++y) {
        std::uint8_t* row = K_WritableBitmapRow(&bitmap, y);
        if (!row) throw failure(name, ERROR_NO_MEMORY);
        std::memset(row, 0xFF, static_cast<std::size_t>(bitmap.BytesPerLine));
    }
    const HDC context = K_BitmapDC(&bitmap);
    if (!context) throw failure(name, ERROR_NO_MEMORY);
    const RECT whole{0, 0, bitmap.Width, bitmap.Height};
    const int played = K_PlayMetafile(context, &picture, &whole);
    const int released = K_ReleaseBitmapDC(context);
    check(played == ERROR_FAILURE ? static_cast<int>(ERROR_FILE_READ) : played, name);
    check(released, name);
}

} // namespace

VectorSize& vectorSize() {
    static VectorSize size;
    return size;
}

void setVectorSize(const Arguments& arguments) {
    if (arguments.has("dpi") && arguments.has("width")) throw UsageError{"--dpi and --width don't go together"};
    vectorSize().dpi = static_cast<int>(arguments.number("dpi", assumedDpi, 1, maxDpi));
    vectorSize().width = static_cast<int>(arguments.number("width", 0, 1, 1 << 24));
    K_SetVectorResolution(vectorSize().dpi);
}

bool isMetafile(const InputFile& input) {
    const Bytes start = readStart(input, recognizedBytes);
    const int format = K_RecognizeFormat(start.data(), start.size());
    return format == KB_FORMAT_WMF || format == KB_FORMAT_EMF;
}

Metafile loadMetafile(const InputFile& input) {
    const Bytes bytes = readAll(input);
    Metafile picture;
    const int code = K_LoadMetafileMemory(bytes.data(), &picture.record, bytes.size(), 1);
    check(code, input.name, code == ERROR_FILE_FORMAT ? "not a metafile" : "");
    return picture;
}

Bitmap loadAtWidth(const InputFile& input) {
    const Metafile picture = loadMetafile(input);
    if (picture.record.nWidth <= 0 || picture.record.nHeight <= 0) {
        throw failure(input.name, ERROR_FILE_READ, "the metafile doesn't tell its size");
    }
    const int width = vectorSize().width;
    const double scale = static_cast<double>(width) / picture.record.nWidth;
    const double height = std::max(1.0, std::floor(picture.record.nHeight * scale + 0.5));
    if (height * width > static_cast<double>(limits().maxPixels))
        throw failure(input.name, ERROR_NO_MEMORY, "see --max-pixels");
    Bitmap bitmap;
    check(K_CreateBitmap(&bitmap.record, 1, width, static_cast<int>(height), 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0,
                         0),
          input.name);
    const double dpi = std::clamp(std::floor(scale * hundredthsPerInch + 0.5), 1.0, static_cast<double>(maxDpi));
    bitmap.record.XResolution = bitmap.record.YResolution = static_cast<int>(dpi);
    playOn(bitmap.record, picture.record, input.name);
    return bitmap;
}

} // namespace kann
