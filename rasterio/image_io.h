// What the readers and writers of the formats share: the limit on pixels, the information record, and small conversions.
// A reader gets a null bitmap when only the header is asked for.
#pragma once

#include "kernel/pixel_layout.h"
#include "rasterio/byte_stream.h"

#include <cmath>

namespace kb {

struct LoadLimits {
    int page = 1;
    uint64_t pixels = 0;
};

// Sides that a record can have, and no more pixels than allowed: ERROR_FILE_READ for the first, ERROR_NO_MEMORY for the second.
int checkSize(uint64_t width, uint64_t height, const LoadLimits& limits);
// The limits that a load's options (or null) ask for.
LoadLimits limitsOf(const KernelLoadOptions* options);

int loadPng(ByteView data, const LoadLimits& limits, KernelBitmap* b, KernelFileInfo* info);
int loadJpeg(ByteView data, const LoadLimits& limits, KernelBitmap* b, KernelFileInfo* info);
int loadBmp(ByteView data, const LoadLimits& limits, KernelBitmap* b, KernelFileInfo* info);
int loadMetafileImage(ByteView data, const LoadLimits& limits, KernelBitmap* b, KernelFileInfo* info);
int loadTiff(ByteStream& stream, const LoadLimits& limits, KernelBitmap* b, KernelFileInfo* info);

// The whole file goes to the end of `out`.
int savePng(const KernelBitmap& b, const KernelSaveOptions& options, Bytes* out);
int saveJpeg(const KernelBitmap& b, const KernelSaveOptions& options, Bytes* out);
int saveBmp(const KernelBitmap& b, const KernelSaveOptions& options, Bytes* out);
// A page into a stream that is empty or holds a TIFF; `page` is its place (from 1, -1 behind the last), `replaces` the page there.
struct PagePlace {
    bool append = false, replaces = false;
    int page = -1;
};
int saveTiff(const KernelBitmap& b, const KernelSaveOptions& options, const PagePlace& place, ByteStream& stream);

// Frees a record that isn't handed over. Filled by the contract's own functions.
class LoadedBitmap {
public:
    LoadedBitmap() = default;
    LoadedBitmap(const LoadedBitmap&) = delete;
    LoadedBitmap& operator=(const LoadedBitmap&) = delete;
    ~LoadedBitmap() { K_FreeBitmap(&record); }
    void moveTo(KernelBitmap* out) { *out = std::exchange(record, {}); }
    KernelBitmap record{};
};

inline int dotsPerInch(double dots, double unitsPerInch) {
    const double value = dots * unitsPerInch;
    return value > 0 && value < 1e6 ? static_cast<int>(value + 0.5) : 0;
}
inline constexpr double metresPerInch = 0.0254;

// Orientation of the published TIFF and EXIF forms (1 to 8) as perspective, and back. Others count as 1.
inline constexpr auto perspectiveOfOrientation =
    std::to_array<int>({KB_VIEW_TOP_LEFT, KB_VIEW_TOP_LEFT, KB_VIEW_TOP_RIGHT, KB_VIEW_BOTTOM_RIGHT, KB_VIEW_BOTTOM_LEFT,
                        KB_VIEW_LEFT_TOP, KB_VIEW_RIGHT_TOP, KB_VIEW_RIGHT_BOTTOM, KB_VIEW_LEFT_BOTTOM});
inline int perspectiveFrom(uint32_t orientation) { return perspectiveOfOrientation[orientation <= 8 ? orientation : 0]; }
inline int orientationFrom(int perspective) {
    for (int i = 1; i <= 8; ++i) {
        if (perspectiveOfOrientation[static_cast<size_t>(i)] == perspective) return i;
    }
    return 1;
}

// Pixels red first to blue first and the other way; in and out may be the same.
void swapRedBlue24(uint8_t* out, const uint8_t* in, size_t pixels);
void swapRedBlue32(uint8_t* out, const uint8_t* in, size_t pixels);
// Colours multiplied by their opacity, divided by it again; the fourth byte is the opacity.
void divideByAlpha(uint8_t* pixels, size_t count);

} // namespace kb
