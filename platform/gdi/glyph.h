// Pictures of characters and how they are laid over pixels: grey coverage at 24 and 32 bits, plain at 1 and 8.
#pragma once

#include "platform/gdi/device_context.h"

#include <cstdint>
#include <vector>

namespace kb::gdi {

struct GlyphBitmap {
    int left = 0, top = 0; // of the first pixel from the pen's place on the base line, y down
    int width = 0, height = 0;
    int stride = 0;                // a multiple of 8; what lies behind the width is 0
    std::vector<uint8_t> coverage; // 0 to 255
};

class GlyphPainter {
public:
    GlyphPainter(const DeviceContext& dc, const Box& clip, COLORREF color);
    void draw(const GlyphBitmap& glyph, int64_t x, int64_t y);
    // Coverage with its first pixel at x, y; the stride is a multiple of 8, and what lies behind the width is 0.
    void draw(const uint8_t* coverage, int width, int height, int stride, int64_t x, int64_t y);
    bool sees(int64_t x, int64_t y, int width, int height) const {
        return x < clip_.right && y < clip_.bottom && x + width > clip_.left && y + height > clip_.top;
    }
    // Tells the processor that the pixels of a box will soon be written: each row of a page lies in memory far from the
    // next, and waiting for them takes longer than blending.
    void announce(const Box& box) const;
    // One run of equal coverage.
    void run(int64_t y, int64_t x0, int64_t x1, uint8_t coverage);
    const Box& clip() const { return clip_; }

private:
    void row(int y, int x0, int x1, const uint8_t* coverage);
    void visibleRow(uint8_t* pixels, int x0, int x1, const uint8_t* coverage);
    const Surface& surface_;
    const Region* region_;
    Box clip_;
    uint32_t pixel_;
    bool vectors_;
};

} // namespace kb::gdi
