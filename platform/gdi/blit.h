// Moving rectangles of pixels: any readable layout to any surface, at equal size, stretched or mirrored, under any ternary
// raster operation. Works row by row: the visible part of a source row is turned into the destination's pixels, then
// combined.
#pragma once

#include "platform/gdi/dib.h"
#include "platform/gdi/objects.h"
#include "platform/gdi/span_writer.h"

#include <memory>
#include <vector>

namespace kb::gdi {

// Turns source pixels into pixel values of a surface.
class PixelConverter {
public:
    // text, background: of the destination context, for one-bit sources without colours. sourceBackground: of the source
    // context, or CLR_INVALID when there is none.
    PixelConverter(const PixelReader& source, const Surface& target, COLORREF text, COLORREF background,
                   COLORREF sourceBackground);

    bool copiesRaw() const { return way_ == Way::raw; }
    bool keepsColors() const { return way_ == Way::direct; } // from more than 8 bits to more than 8
    uint32_t operator()(uint32_t pixel) {
        switch (way_) {
        case Way::raw: return pixel;
        case Way::table: return table_[pixel & 0xFF];
        case Way::direct: return source_.toRgb(pixel);
        case Way::background: return (source_.toRgb(pixel) == background_) ? 1 : 0;
        case Way::nearest: break;
        }
        return nearest(source_.toRgb(pixel));
    }

private:
    enum class Way { raw, table, direct, background, nearest };
    uint32_t nearest(uint32_t rgb);
    const PixelReader& source_;
    const ColorTable* colors_;
    Way way_;
    uint32_t background_ = 0;
    uint32_t table_[256];
    struct Known {
        uint32_t rgb = ~0u, index = 0;
    };
    std::vector<Known> known_; // colours looked up before
};

struct BlitTarget {
    Surface surface;
    Box clip;
    const Region* region = nullptr;
};

// A rectangle with a direction: widths and heights below 0 run left and up from the start.
struct BlitArea {
    int64_t x, y, width, height;
};
inline Box boxOf(const BlitArea& a) {
    return {saturate(std::min(a.x, a.x + a.width)), saturate(std::min(a.y, a.y + a.height)),
            saturate(std::max(a.x, a.x + a.width)), saturate(std::max(a.y, a.y + a.height))};
}

// `pattern` (or null) gives pattern pixels as a paint set for plain copying. May throw std::bad_alloc before it has
// changed a pixel.
void blit(const BlitTarget& target, const BlitArea& to, const PixelReader& source, const BlitArea& from, uint8_t rop,
          int stretchMode, PixelConverter& convert, const Paint* pattern);

} // namespace kb::gdi
