// Pens and brushes of a context turned into paints for its surface: colours to pixel values, hatches and patterns to cells.
#include "platform/gdi/device_context.h"

namespace kb::gdi {

namespace {

// Rows of 8 by 8 hatch cells, high bit at the left.
constexpr uint8_t hatchRows[6][8] = {
    {0x00, 0x00, 0x00, 0x00, 0xFF, 0x00, 0x00, 0x00}, // HS_HORIZONTAL
    {0x08, 0x08, 0x08, 0x08, 0x08, 0x08, 0x08, 0x08}, // HS_VERTICAL
    {0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01}, // HS_FDIAGONAL, falling
    {0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80}, // HS_BDIAGONAL, rising
    {0x08, 0x08, 0x08, 0x08, 0xFF, 0x08, 0x08, 0x08}, // HS_CROSS
    {0x81, 0x42, 0x24, 0x18, 0x18, 0x24, 0x42, 0x81}, // HS_DIAGCROSS
};

} // namespace

bool hatchCovers(int hatch, int x, int y) { return hatchRows[hatch][y] >> (7 - x) & 1; }

void penPaint(const DeviceContext& dc, COLORREF color, Paint& paint) {
    paint.setSolid(dc.surface.pixelFor(color), tableOfRop2(dc.state.rop2), dc.surface.bits);
}

bool brushPaint(const DeviceContext& dc, const Brush& brush, uint32_t table, Paint& paint, Cells& cells) {
    if (brush.style == BS_NULL) return false;
    const Surface& s = dc.surface;
    if (brush.style == BS_SOLID) {
        paint.setSolid(s.pixelFor(brush.color), table, s.bits);
        return true;
    }
    const uint32_t used = s.bits == 32 ? ~0u : (1u << s.bits) - 1;
    cells.originX = dc.state.brushOrigin.x;
    cells.originY = dc.state.brushOrigin.y;
    if (brush.style == BS_HATCHED) {
        const uint32_t line = s.pixelFor(brush.color);
        const uint32_t lineAnd = andOf(line, table) & used, lineXor = xorOf(line, table) & used;
        uint32_t gapAnd = used, gapXor = 0;
        if (dc.state.bkMode == OPAQUE) {
            const uint32_t gap = s.pixelFor(dc.state.bkColor);
            gapAnd = andOf(gap, table) & used;
            gapXor = xorOf(gap, table) & used;
        }
        cells.madeOf = {};
        cells.width = cells.height = 8;
        cells.andBits.resize(64);
        cells.xorBits.resize(64);
        for (size_t i = 0; i < 64; ++i) {
            const bool on = hatchCovers(static_cast<int>(brush.hatch), static_cast<int>(i % 8), static_cast<int>(i / 8));
            cells.andBits[i] = on ? lineAnd : gapAnd;
            cells.xorBits[i] = on ? lineXor : gapXor;
        }
        cells.judge();
        paint.setCells(&cells);
        return true;
    }
    const PatternImage& image = *brush.pattern;
    const uint32_t mono[2] = {s.pixelFor(dc.state.textColor), s.pixelFor(dc.state.bkColor)};
    // Below 24 bits it hangs on colours that may change.
    Cells::Origin origin;
    if (s.bits >= 24) origin = {image.serial, table, image.mono ? mono[0] : 0, image.mono ? mono[1] : 0, s.bits};
    if (origin.pattern && cells.madeOf == origin) {
        paint.setCells(&cells);
        return true;
    }
    cells.madeOf = {};
    cells.width = image.width;
    cells.height = image.height;
    cells.andBits.resize(image.pixels.size());
    cells.xorBits.resize(image.pixels.size());
    uint32_t lastRgb = 0, lastPixel = s.pixelFor(0); // neighbours are mostly alike
    for (size_t i = 0; i < image.pixels.size(); ++i) {
        uint32_t pixel;
        if (image.mono) {
            pixel = mono[image.pixels[i] & 1];
        } else {
            if (image.pixels[i] != lastRgb) {
                lastRgb = image.pixels[i];
                lastPixel = s.pixelFor(swapRedBlue(lastRgb));
            }
            pixel = lastPixel;
        }
        cells.andBits[i] = andOf(pixel, table) & used;
        cells.xorBits[i] = xorOf(pixel, table) & used;
    }
    cells.judge();
    cells.madeOf = origin;
    paint.setCells(&cells);
    return true;
}

} // namespace kb::gdi
