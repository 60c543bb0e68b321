// A picture with holes for places that keep no transparency: rows of one bit that blacken where the picture shows, and rows of
// 24 bits, black all around it, that are added.
#pragma once

#include "platform/gdi/dib.h"

#include <vector>

namespace kb::gdi {

class MaskedRows {
public:
    // Nothing shows yet. Rows count from the top.
    MaskedRows(int width, int height);
    void show(int x, int y, uint32_t rgb); // 0x00RRGGBB
    bool empty() const { return shown_ == 0; }
    bool whole() const { return shown_ == most_; }
    // Rows on 32 bits, borrowed. The mask is to be read as black (0) and white.
    const PixelReader& mask() const { return mask_; }
    const PixelReader& picture() const { return picture_; }
    static size_t bytesFor(int width, int height);

private:
    PixelReader mask_, picture_;
    std::vector<uint8_t> maskRows_, pictureRows_;
    size_t shown_ = 0, most_; // each pixel is shown once at most
};

} // namespace kb::gdi
