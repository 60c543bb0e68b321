// Colours of surfaces: standard and given tables, the nearest entry, and single pixels.
#include "platform/gdi/surface.h"

namespace kb::gdi {

ColorTable ColorTable::standard(int bits) {
    ColorTable table;
    if (bits == 1) {
        table.count = 2;
        table.rgb[1] = 0xFFFFFF;
    } else {
        table.count = 256;
        for (uint32_t i = 0; i < 256; ++i) table.rgb[i] = i * 0x010101;
    }
    return table;
}

ColorTable ColorTable::from(const RGBQUAD* colors, uint32_t count, int bits) {
    if (!colors || !count) return standard(bits);
    ColorTable table;
    table.count = std::min(count, bits == 1 ? 2u : 256u);
    for (uint32_t i = 0; i < table.count; ++i)
        table.rgb[i] = static_cast<uint32_t>(colors[i].rgbRed << 16 | colors[i].rgbGreen << 8 | colors[i].rgbBlue);
    return table;
}

uint32_t ColorTable::nearest(uint32_t c) const {
    uint32_t best = 0, bestDistance = UINT32_MAX;
    for (uint32_t i = 0; i < count && bestDistance; ++i) {
        const int r = static_cast<int>(c >> 16 & 0xFF) - static_cast<int>(rgb[i] >> 16 & 0xFF);
        const int g = static_cast<int>(c >> 8 & 0xFF) - static_cast<int>(rgb[i] >> 8 & 0xFF);
        const int b = static_cast<int>(c & 0xFF) - static_cast<int>(rgb[i] & 0xFF);
        const auto distance = static_cast<uint32_t>(r * r + g * g + b * b);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = i;
        }
    }
    return best;
}

uint32_t Surface::pixelFor(COLORREF color) const {
    const uint32_t rgb = swapRedBlue(color);
    return bits >= 24 ? rgb : colors->nearest(rgb);
}

COLORREF Surface::colorOf(uint32_t pixel) const {
    if (bits >= 24) return swapRedBlue(pixel & 0xFFFFFF);
    return pixel < colors->count ? swapRedBlue(colors->rgb[pixel]) : 0;
}

uint32_t Surface::get(int x, int y) const {
    const uint8_t* r = row(y);
    const auto i = static_cast<size_t>(x);
    switch (bits) {
    case 1: return r[i / 8] >> (7 - i % 8) & 1u;
    case 8: return r[i];
    case 24: return static_cast<uint32_t>(r[3 * i] | r[3 * i + 1] << 8 | r[3 * i + 2] << 16);
    default:
        return static_cast<uint32_t>(r[4 * i] | r[4 * i + 1] << 8 | r[4 * i + 2] << 16) | static_cast<uint32_t>(r[4 * i + 3])
                                                                                              << 24;
    }
}

} // namespace kb::gdi
