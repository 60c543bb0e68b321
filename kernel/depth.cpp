// Change of depth. Colours pass through 0xAARRGGBB; grey images stay grey at every depth that has greys. Down to 4 and 8
// bits an image with few enough colours keeps exactly those; others take the fixed palettes, whose nearest entries come
// from a table over the upper bits of the colour.
#include "kernel/record.h"

#include <algorithm>
#include <new>
#include <unordered_map>
#include <vector>

using namespace kb;

namespace {

constexpr auto systemColors =
    std::to_array<uint32_t>({0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080, 0x008080, 0xC0C0C0, 0x808080,
                             0xFF0000, 0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF});

using Palette = std::vector<RGBQUAD>;

// 16 system colours at 4 bits; at 8 bits the 6x6x6 cube and 40 greys between its own.
Palette fixedPalette(int bits) {
    Palette palette;
    if (bits == 4) {
        for (const uint32_t color : systemColors) palette.push_back(toQuad(color));
        return palette;
    }
    for (uint32_t i = 0; i < 216; ++i) palette.push_back(toQuad(argb(i / 36 * 51, i / 6 % 6 * 51, i % 6 * 51)));
    for (uint32_t i = 1; i <= 40; ++i) palette.push_back(toQuad(argb(i * 255 / 41, i * 255 / 41, i * 255 / 41)));
    return palette;
}

Palette greyRamp(int bits) {
    Palette palette(size_t{1} << bits);
    fillGreyRamp(bits, palette.data());
    return palette;
}

// The image's own colours in order of appearance, or nothing when there are more than `limit`.
Palette ownColors(const KernelBitmap& b, size_t limit) {
    const ColorReader reader(b);
    std::unordered_map<uint32_t, bool> seen;
    Palette palette;
    withPixels(b.BitsPerPixel, [&](auto pixel) {
        uint32_t last = 0;
        bool hasLast = false;
        for (int32_t y = 0; y < b.Height && palette.size() <= limit; ++y) {
            const uint8_t* row = rowOf(b, y);
            for (int32_t x = 0; x < b.Width; ++x) {
                const uint32_t color = reader(pixel.get(row, x)) & 0xFFFFFFu;
                if (hasLast && color == last) continue;
                last = color;
                hasLast = true;
                if (!seen.emplace(color, true).second) continue;
                palette.push_back(toQuad(color));
                if (palette.size() > limit) return;
            }
        }
    });
    if (palette.size() > limit) palette.clear();
    return palette;
}

// Nearest palette entries, remembered per colour.
class NearestEntry {
public:
    explicit NearestEntry(const Palette& palette) : palette_(palette), keys_(slots, 0), values_(slots, 0) {}
    uint32_t operator()(uint32_t color) {
        const uint32_t key = color | 0xFF000000u;
        const size_t slot = (key * 2654435761u) >> (32 - slotBits);
        if (keys_[slot] != key) {
            keys_[slot] = key;
            values_[slot] = static_cast<uint8_t>(nearestIndex(palette_.data(), static_cast<uint32_t>(palette_.size()), key));
        }
        return values_[slot];
    }

private:
    static constexpr int slotBits = 14;
    static constexpr size_t slots = size_t{1} << slotBits;
    const Palette& palette_;
    std::vector<uint32_t> keys_; // 0 marks an empty slot: keys have their high byte set
    std::vector<uint8_t> values_;
};

// Writes f(raw value) into every pixel of `to`.
template <class F> void mapValues(const KernelBitmap& from, KernelBitmap& to, F&& f) {
    withPixels(from.BitsPerPixel, [&](auto source) {
        withPixels(to.BitsPerPixel, [&](auto target) {
            for (int32_t y = 0; y < to.Height; ++y) {
                const uint8_t* in = rowOf(from, y);
                uint8_t* out = ownRowOf(to, y);
                for (int32_t x = 0; x < to.Width; ++x) target.put(out, x, f(source.get(in, x)));
            }
        });
    });
}

// Floyd and Steinberg's error diffusion of brightness to black and white; rows run from left to right.
void diffuse(const KernelBitmap& from, KernelBitmap& to) {
    const ColorReader reader(from);
    const auto width = static_cast<size_t>(from.Width);
    std::vector<int> here(width + 2, 0), below(width + 2, 0); // errors in sixteenths, one column of margin at both ends
    withPixels(from.BitsPerPixel, [&](auto source) {
        for (int32_t y = 0; y < from.Height; ++y) {
            const uint8_t* in = rowOf(from, y);
            uint8_t* out = ownRowOf(to, y);
            std::fill(below.begin(), below.end(), 0);
            for (size_t x = 0; x < width; ++x) {
                const int grey = static_cast<int>(luma(reader(source.get(in, static_cast<int32_t>(x))))) + here[x + 1] / 16;
                const int shown = grey >= 128 ? 255 : 0, error = grey - shown;
                PixelAccess<1>::put(out, static_cast<int32_t>(x), shown ? 1 : 0);
                here[x + 2] += error * 7;
                below[x] += error * 3;
                below[x + 1] += error * 5;
                below[x + 2] += error;
            }
            here.swap(below);
        }
    });
}

// Grey of a raw value with 16 bits.
uint32_t deepGrey(const KernelBitmap& b, const ColorReader& reader, uint32_t value) {
    switch (colorLayout(b)) {
    case ColorLayout::grey12: return value << 4 | value >> 8;
    case ColorLayout::grey16: return value;
    case ColorLayout::indexed:
    case ColorLayout::rgb555:
    case ColorLayout::bgr24:
    case ColorLayout::rgb24:
    case ColorLayout::bgr32:
    case ColorLayout::rgb32: break;
    }
    return luma(reader(value)) * 257u;
}

int toIndexed(const KernelBitmap& src, KernelBitmap* out, int bits, bool diffused) {
    const bool grey = K_IsGrayscaleBitmap(&src) != 0;
    Palette palette;
    if (bits == 1) {
        palette = greyRamp(1);
    } else if (src.BitsPerPixel <= bits) {
        palette.assign(src.pPalette, src.pPalette + src.nColors);
    } else if (!(grey && src.BitsPerPixel > 8 && bits == 8)) {
        palette = ownColors(src, size_t{1} << bits);
    }
    if (palette.empty()) palette = grey ? greyRamp(bits) : fixedPalette(bits);
    const bool greyPalette = std::all_of(palette.begin(), palette.end(),
                                         [](RGBQUAD q) { return q.rgbRed == q.rgbGreen && q.rgbGreen == q.rgbBlue; });
    const int order = greyPalette ? KB_ORDER_GREY : src.Order == KB_ORDER_GREY ? KB_ORDER_BGR : src.Order;
    const int result = makeImage(out, {.width = src.Width,
                                       .height = src.Height,
                                       .bits = bits,
                                       .order = order,
                                       .palette = palette.data(),
                                       .colors = static_cast<uint32_t>(palette.size()),
                                       .perspective = src.ViewPerspective});
    if (result != SUCCESS) return result;
    const ColorReader reader(src);
    if (bits == 1 && diffused) {
        diffuse(src, *out);
    } else if (src.BitsPerPixel <= 8) {
        std::array<uint32_t, 256> table{};
        for (uint32_t i = 0; i < table.size(); ++i) {
            const uint32_t color = reader(i);
            if (bits == 1)
                table[i] = luma(color) >= 128;
            else if (src.BitsPerPixel <= bits)
                table[i] = i;
            else
                table[i] = nearestIndex(palette.data(), static_cast<uint32_t>(palette.size()), color);
        }
        mapValues(src, *out, [&](uint32_t value) { return table[value]; });
    } else if (bits == 1) {
        mapValues(src, *out, [&](uint32_t value) { return luma(reader(value)) >= 128 ? 1u : 0u; });
    } else {
        NearestEntry nearest(palette);
        mapValues(src, *out, [&](uint32_t value) { return nearest(reader(value)); });
    }
    return SUCCESS;
}

int toDirect(const KernelBitmap& src, KernelBitmap* out, int bits) {
    const bool grey = K_IsGrayscaleBitmap(&src) != 0;
    int order = src.Order == KB_ORDER_GREY ? KB_ORDER_BGR : src.Order;
    if (bits == 12 || (bits == 16 && grey)) order = KB_ORDER_GREY;
    const int result = makeImage(
        out, {.width = src.Width, .height = src.Height, .bits = bits, .order = order, .perspective = src.ViewPerspective});
    if (result != SUCCESS) return result;
    const ColorReader reader(src);
    const ColorLayout layout = colorLayout(*out);
    if (layout == ColorLayout::grey12) {
        mapValues(src, *out, [&](uint32_t value) { return deepGrey(src, reader, value) >> 4; });
    } else if (layout == ColorLayout::grey16) {
        mapValues(src, *out, [&](uint32_t value) { return deepGrey(src, reader, value); });
    } else if (src.BitsPerPixel <= 8) {
        std::array<uint32_t, 256> table{};
        for (uint32_t i = 0; i < table.size(); ++i) table[i] = directValue(layout, reader(i));
        mapValues(src, *out, [&](uint32_t value) { return table[value]; });
    } else {
        mapValues(src, *out, [&](uint32_t value) { return directValue(layout, reader(value)); });
    }
    return SUCCESS;
}

} // namespace

extern "C" int K_ChangeBitmapDepth(const KernelBitmap* src, KernelBitmap* dst, int bits, int mode, int r1, int r2, int r3,
                                   int r4, int r5) {
    if (!dst || !isPixelDepth(bits) || mode < 0 || mode > 1 || r1 || r2 || r3 || r4 || r5) return ERROR_INV_PARAMETER;
    if (const int result = src == dst ? checkOwnImage(src) : checkImage(src); result != SUCCESS) return result;
    if (bits == src->BitsPerPixel) return src == dst ? SUCCESS : K_CopyBitmap(dst, src);
    OwnedBitmap made;
    try {
        const int result = bits <= 8 ? toIndexed(*src, &made.record, bits, mode == 1) : toDirect(*src, &made.record, bits);
        if (result != SUCCESS) return result;
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
    made.record.XResolution = src->XResolution;
    made.record.YResolution = src->YResolution;
    if (src == dst) {
        made.replace(dst, true);
        return SUCCESS;
    }
    if (src->hRegion) {
        made.record.hRegion = CreateRectRgn(0, 0, 0, 0);
        if (!made.record.hRegion || CombineRgn(made.record.hRegion, src->hRegion, nullptr, RGN_COPY) == RGN_ERROR)
            return ERROR_NO_MEMORY;
    }
    made.moveTo(dst);
    return SUCCESS;
}
