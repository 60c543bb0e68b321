// Rows of an image from the top as it is viewed, for writers of formats without orientation. Images with their rows
// bottom-up are read as they are; other perspectives are turned in a copy.
#pragma once

#include "rasterio/image_io.h"

namespace kb {

class UprightRows {
public:
    // SUCCESS or a code; row() works after success. The record outlives this object.
    int open(const KernelBitmap& b) {
        image_ = &b;
        if (b.ViewPerspective > KB_VIEW_BOTTOM_LEFT) {
            if (const int result = K_CopyBitmap(&turned_.record, &b); result != SUCCESS) return result;
            if (const int result = K_NormalizeBitmap(&turned_.record); result != SUCCESS) return result;
            image_ = &turned_.record;
        }
        return K_BitmapRowPointer(image_, 0) ? SUCCESS : ERROR_INV_BITMAP;
    }
    // The same at another depth.
    int open(const KernelBitmap& b, int bits) {
        if (bits == b.BitsPerPixel) return open(b);
        if (const int result = K_ChangeBitmapDepth(&b, &converted_.record, bits, 0, 0, 0, 0, 0, 0); result != SUCCESS)
            return result;
        return open(converted_.record);
    }
    const KernelBitmap& image() const { return *image_; }
    const uint8_t* row(int32_t y) const {
        return K_BitmapRowPointer(image_, image_->ViewPerspective == KB_VIEW_BOTTOM_LEFT ? image_->Height - 1 - y : y);
    }

private:
    LoadedBitmap turned_, converted_;
    const KernelBitmap* image_ = nullptr;
};

// True when the palette is the plain ramp from black to white of its depth.
inline bool hasGreyRamp(const KernelBitmap& b) {
    const uint32_t colors = 1u << b.BitsPerPixel;
    if (b.BitsPerPixel > 8 || b.nColors != colors) return false;
    for (uint32_t i = 0; i < colors; ++i) {
        const uint32_t level = i * 255u / (colors - 1);
        if ((fromQuad(b.pPalette[i]) & 0xFFFFFFu) != level * 0x010101u) return false;
    }
    return true;
}

} // namespace kb
