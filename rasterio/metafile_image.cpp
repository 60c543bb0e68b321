// Metafiles as images: pictures without pixels of their own, drawn on white at 24 bits at the resolution that the process has
// chosen, or at the screen's when it has chosen none.
#include "platform/handle_table.h"
#include "rasterio/image_io.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace kb {
namespace {

constexpr int screenResolution = 96;
constexpr double hundredthsPerInch = 2540;

// Some enhanced metafiles tell no frame. They are shown by the pixels of the recording machine that they have drawn on.
struct MetafileSize {
    int32_t width, height; // 1/100 millimetre; 0: nothing is drawn
};
MetafileSize sizeOf(const KernelMetafile& m) {
    if (!m.bEnhanced || (m.nWidth && m.nHeight)) return {m.nWidth, m.nHeight};
    struct Header { // MS-EMF: record, size, bounds, frame ... pixels and millimetres of the machine
        uint32_t type, size;
        RECT bounds, frame;
        uint32_t others[8];
        SIZE pixels, millimetres;
    } header;
    static_assert(sizeof header == 88);
    const auto handle = toHandle<HENHMETAFILE>(m.nHandle);
    std::vector<uint8_t> bits(GetEnhMetaFileBits(handle, 0, nullptr));
    if (bits.size() < sizeof header || !GetEnhMetaFileBits(handle, static_cast<UINT>(bits.size()), bits.data()))
        return {0, 0};
    std::memcpy(&header, bits.data(), sizeof header);
    const auto length = [](int32_t first, int32_t last, int32_t pixels, int32_t millimetres) {
        const double perPixel =
            pixels > 0 && millimetres > 0 ? 100.0 * millimetres / pixels : hundredthsPerInch / screenResolution;
        const double value = (static_cast<double>(last) - first + 1) * perPixel + 0.5;
        return value >= 1 ? static_cast<int32_t>(std::min(value, 2147483647.0)) : 0;
    };
    const RECT& b = header.bounds;
    return {length(b.left, b.right, header.pixels.cx, header.millimetres.cx),
            length(b.top, b.bottom, header.pixels.cy, header.millimetres.cy)};
}

class LoadedMetafile {
public:
    LoadedMetafile() = default;
    LoadedMetafile(const LoadedMetafile&) = delete;
    LoadedMetafile& operator=(const LoadedMetafile&) = delete;
    ~LoadedMetafile() { K_FreeMetafile(&record); }
    KernelMetafile record{};
};

int drawOnWhite(const KernelMetafile& m, int width, int height, KernelBitmap* b) {
    LoadedBitmap image;
    int result = K_CreateBitmap(&image.record, 1, width, height, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0);
    if (result != SUCCESS) return result;
    for (int y = 0; y < height; ++y)
        std::memset(K_WritableBitmapRow(&image.record, y), 0xFF, static_cast<size_t>(width) * 3);
    const HDC context = K_BitmapDC(&image.record);
    if (!context) return ERROR_NO_MEMORY;
    const RECT whole{0, 0, width, height};
    result = K_PlayMetafile(context, &m, &whole);
    K_ReleaseBitmapDC(context);
    if (result != SUCCESS) return result == ERROR_FAILURE ? ERROR_FILE_READ : result;
    image.moveTo(b);
    return SUCCESS;
}

} // namespace

int loadMetafileImage(ByteView data, const LoadLimits& limits, KernelBitmap* b, KernelFileInfo* info) {
    if (limits.page != 1) return ERROR_PAGE_NOT_FOUND;
    LoadedMetafile picture;
    const KernelMetafile& m = picture.record;
    if (const int result = K_LoadMetafileMemory(data.data(), &picture.record, data.size(), 1); result != SUCCESS)
        return result;
    int resolution = 0;
    K_GetVectorResolution(&resolution);
    if (!resolution) resolution = screenResolution;
    const auto side = [resolution](int32_t hundredths) {
        const double pixels = hundredths * static_cast<double>(resolution) / hundredthsPerInch + 0.5;
        return static_cast<uint64_t>(std::max(pixels, 1.0));
    };
    const MetafileSize size = sizeOf(m);
    if (!size.width || !size.height) return ERROR_FILE_READ;
    const uint64_t width = side(size.width), height = side(size.height);
    if (const int result = checkSize(width, height, limits); result != SUCCESS) return result;
    *info = {.nFormat = m.bEnhanced ? KB_FORMAT_EMF : KB_FORMAT_WMF,
             .nWidth = static_cast<int32_t>(width),
             .nHeight = static_cast<int32_t>(height),
             .nBitsPerPixel = 24,
             .nXResolution = resolution,
             .nYResolution = resolution,
             .uFlags = info->uFlags,
             .nPages = 1,
             .nPage = 1,
             .nCompression = 0,
             .nViewPerspective = KB_VIEW_TOP_LEFT};
    if (!b) return SUCCESS;
    const int result = drawOnWhite(m, info->nWidth, info->nHeight, b);
    if (result == SUCCESS) b->XResolution = b->YResolution = resolution;
    return result;
}

} // namespace kb
