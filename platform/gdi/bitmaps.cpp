// Bitmaps: made, sectioned, read and written as device-independent rows.
#include "platform/gdi/blit.h"
#include "platform/gdi/gdi_state.h"

#include <cstring>

using namespace kb;
using namespace kb::gdi;

namespace {

constexpr int64_t mostSide = 1 << 27;
constexpr int64_t mostBytes = int64_t{1} << 33;

// Zeroed pixels with rows of 32-bit granularity; null when the size is refused.
Ref<Bitmap> makeBitmap(int64_t width, int64_t height, int bits, std::unique_ptr<ColorTable> colors, bool mono,
                       bool bottomUp) {
    if (width < 1 || height < 1 || width > mostSide || height > mostSide) return {};
    if (bits != 1 && bits != 8 && bits != 24 && bits != 32) return {};
    const int64_t stride = rowBytes(width, bits, 32);
    if (stride > mostBytes / height) return {};
    auto bitmap = Ref<Bitmap>::adopt(Pool<Bitmap>::make());
    bitmap->storage.resize(static_cast<size_t>(stride * height));
    if (bits <= 8 && !colors) colors = std::make_unique<ColorTable>(ColorTable::standard(bits));
    bitmap->colors = std::move(colors);
    bitmap->bottomUp = bottomUp;
    uint8_t* top = bitmap->storage.data() + (bottomUp ? stride * (height - 1) : 0);
    bitmap->surface = {top,
                       static_cast<ptrdiff_t>(bottomUp ? -stride : stride),
                       static_cast<int>(width),
                       static_cast<int>(height),
                       bits,
                       bitmap->colors.get(),
                       mono};
    return bitmap;
}

HBITMAP publishBitmap(Ref<Bitmap> bitmap) {
    return bitmap ? publish<HBITMAP>(gdiState().bitmaps, std::move(bitmap)) : nullptr;
}

// Colours for a reading in 1, 4 or 8 bits of pixels that have none of their own: black and white, sixteen primaries, or a
// cube of six levels with a grey ramp behind it.
ColorTable readingColors(int bits) {
    if (bits == 1) return ColorTable::standard(1);
    ColorTable table;
    if (bits == 4) {
        static constexpr uint32_t rgb[16] = {0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080, 0x008080, 0x808080,
                                             0xC0C0C0, 0xFF0000, 0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};
        table.count = 16;
        std::copy(std::begin(rgb), std::end(rgb), table.rgb.begin());
        return table;
    }
    table.count = 256;
    for (uint32_t i = 0; i < 216; ++i) table.rgb[i] = i / 36 * 51 << 16 | i / 6 % 6 * 51 << 8 | i % 6 * 51;
    for (uint32_t i = 216; i < 256; ++i) table.rgb[i] = (i - 216) * 255 / 39 * 0x010101;
    return table;
}

void writeRow(const PixelReader& source, const ColorTable& colors, bool raw, int bits, int y, uint8_t* out) {
    uint32_t lastRgb = ~0u, lastIndex = 0;
    for (int x = 0; x < source.width; ++x) {
        uint32_t v = source.raw(x, y);
        const auto i = static_cast<size_t>(x);
        if (bits <= 8 && !raw) {
            const uint32_t rgb = source.toRgb(v);
            if (rgb != lastRgb) {
                lastRgb = rgb;
                lastIndex = colors.nearest(rgb);
            }
            v = lastIndex;
        } else if (bits > 8 && !(source.bits == 32 && bits == 32)) {
            v = source.toRgb(v);
        }
        switch (bits) {
        case 1: out[i / 8] = static_cast<uint8_t>(out[i / 8] | v << (7 - i % 8)); break;
        case 4: out[i / 2] = static_cast<uint8_t>(out[i / 2] | v << (i % 2 ? 0 : 4)); break;
        case 8: out[i] = static_cast<uint8_t>(v); break;
        case 24: std::memcpy(out + 3 * i, &v, 3); break;
        default: std::memcpy(out + 4 * i, &v, 4); break;
        }
    }
}

} // namespace

KB_API HBITMAP CreateBitmap(int width, int height, UINT planes, UINT bits, const void* pBits) {
    if (planes != 1) return nullptr;
    return guarded<HBITMAP>(nullptr, [&]() -> HBITMAP {
        Ref<Bitmap> bitmap = makeBitmap(width, height, static_cast<int>(std::min(bits, 64u)), nullptr, bits == 1, false);
        if (!bitmap) return nullptr;
        if (pBits) {
            const auto given = static_cast<size_t>(rowBytes(width, static_cast<int>(bits), 16));
            for (int y = 0; y < height; ++y)
                std::memcpy(bitmap->surface.row(y), static_cast<const uint8_t*>(pBits) + given * static_cast<size_t>(y),
                            given);
        }
        return publishBitmap(std::move(bitmap));
    });
}

KB_API HBITMAP CreateCompatibleBitmap(HDC hDC, int width, int height) {
    return guarded<HBITMAP>(nullptr, [&]() -> HBITMAP {
        const DeviceContext* dc = findDc(hDC);
        if (!dc) return nullptr;
        std::unique_ptr<ColorTable> colors;
        if (dc->surface.colors) colors = std::make_unique<ColorTable>(*dc->surface.colors);
        Ref<Bitmap> bitmap = makeBitmap(width, height, dc->surface.bits, std::move(colors), dc->surface.mono, false);
        return publishBitmap(std::move(bitmap));
    });
}

KB_API HBITMAP CreateDIBSection(HDC, const BITMAPINFO* pInfo, UINT usage, void** ppBits, HANDLE hSection, DWORD) {
    if (ppBits) *ppBits = nullptr;
    if (!pInfo || hSection || pInfo->bmiHeader.biSize < sizeof(BITMAPINFOHEADER)) return nullptr;
    const BITMAPINFOHEADER& head = pInfo->bmiHeader;
    if (head.biCompression != BI_RGB || usage != DIB_RGB_COLORS || head.biPlanes != 1) return nullptr;
    return guarded<HBITMAP>(nullptr, [&]() -> HBITMAP {
        std::unique_ptr<ColorTable> colors;
        if (head.biBitCount == 1 || head.biBitCount == 8) {
            const uint32_t most = 1u << head.biBitCount;
            const uint32_t count = head.biClrUsed && head.biClrUsed < most ? head.biClrUsed : most;
            const auto* table = reinterpret_cast<const RGBQUAD*>(reinterpret_cast<const uint8_t*>(pInfo) + head.biSize);
            colors = std::make_unique<ColorTable>(ColorTable::from(table, count, head.biBitCount));
        }
        const int64_t rows = head.biHeight < 0 ? -static_cast<int64_t>(head.biHeight) : head.biHeight;
        Ref<Bitmap> bitmap = makeBitmap(head.biWidth, rows, head.biBitCount, std::move(colors), false, head.biHeight > 0);
        if (!bitmap) return nullptr;
        bitmap->section = true;
        void* bits = bitmap->storage.data();
        const HBITMAP handle = publishBitmap(std::move(bitmap));
        if (handle && ppBits) *ppBits = bits;
        return handle;
    });
}

KB_API int GetDIBits(HDC hDC, HBITMAP hBitmap, UINT start, UINT lines, void* pBits, BITMAPINFO* pInfo, UINT usage) {
    return guarded(0, [&] {
        const Bitmap* bitmap = findDc(hDC) ? findObject(gdiState().bitmaps, hBitmap) : nullptr;
        if (!bitmap || !pInfo || pInfo->bmiHeader.biSize < sizeof(BITMAPINFOHEADER)) return 0;
        const PixelReader source(bitmap->surface);
        BITMAPINFOHEADER& head = pInfo->bmiHeader;
        if (!pBits) {
            if (!head.biBitCount) head.biBitCount = static_cast<WORD>(source.bits);
            head.biWidth = source.width;
            head.biHeight = source.height;
            head.biPlanes = 1;
            head.biCompression = BI_RGB;
            const int64_t size = rowBytes(source.width, head.biBitCount, 32) * source.height;
            head.biSizeImage = size > UINT32_MAX ? 0 : static_cast<DWORD>(size);
            return 1;
        }
        const int bits = head.biBitCount;
        const bool known = bits == 1 || bits == 4 || bits == 8 || bits == 24 || bits == 32;
        if (!known || head.biCompression != BI_RGB || usage != DIB_RGB_COLORS || head.biWidth != source.width) return 0;
        if (start >= static_cast<UINT>(source.height)) return 0;
        lines = std::min(lines, static_cast<UINT>(source.height) - start);
        ColorTable colors;
        bool raw = false;
        if (bits <= 8) {
            raw = source.bits <= bits;
            colors = raw ? source.colors : readingColors(bits);
            auto* table = reinterpret_cast<RGBQUAD*>(reinterpret_cast<uint8_t*>(pInfo) + head.biSize);
            for (uint32_t i = 0; i < 1u << bits; ++i)
                table[i] = {static_cast<BYTE>(colors.rgb[i]), static_cast<BYTE>(colors.rgb[i] >> 8),
                            static_cast<BYTE>(colors.rgb[i] >> 16), 0};
        }
        const auto stride = static_cast<size_t>(rowBytes(source.width, bits, 32));
        for (UINT i = 0; i < lines; ++i) {
            auto* out = static_cast<uint8_t*>(pBits) + stride * i;
            std::memset(out, 0, stride);
            const auto line = static_cast<int>(start + i);
            writeRow(source, colors, raw, bits, head.biHeight < 0 ? line : source.height - 1 - line, out);
        }
        return static_cast<int>(lines);
    });
}

KB_API int SetDIBits(HDC, HBITMAP hBitmap, UINT start, UINT lines, const void* pBits, const BITMAPINFO* pInfo, UINT usage) {
    return guarded(0, [&] {
        Bitmap* bitmap = findObject(gdiState().bitmaps, hBitmap);
        PixelReader source;
        if (!bitmap || !readDib(pInfo, usage, pBits, source)) return 0;
        if (start >= static_cast<UINT>(source.height)) return 0;
        lines = std::min(lines, static_cast<UINT>(source.height) - start);
        if (!lines) return 0;
        int64_t y = start;
        if (source.stride < 0) {
            source.top = static_cast<const uint8_t*>(pBits) - source.stride * (static_cast<int64_t>(lines) - 1);
            y = static_cast<int64_t>(source.height) - start - lines;
        }
        source.height = static_cast<int>(lines);
        PixelConverter convert(source, bitmap->surface, 0, 0xFFFFFF, CLR_INVALID);
        const BlitArea from{0, 0, source.width, lines};
        blit({bitmap->surface, bitmap->surface.bounds(), nullptr}, {0, y, source.width, lines}, source, from, SRCCOPY >> 16,
             COLORONCOLOR, convert, nullptr);
        return static_cast<int>(lines);
    });
}

KB_API UINT SetDIBColorTable(HDC hDC, UINT start, UINT count, const RGBQUAD* pColors) {
    DeviceContext* dc = findDc(hDC);
    if (!dc || !pColors || !dc->state.bitmap || !dc->state.bitmap->section || !dc->state.bitmap->colors) return 0;
    ColorTable& table = *dc->state.bitmap->colors;
    if (start >= table.count) return 0;
    count = std::min(count, table.count - start);
    const ColorTable given = ColorTable::from(pColors, count, 8);
    std::copy_n(given.rgb.begin(), count, table.rgb.begin() + start);
    return count;
}

KB_API UINT GetDIBColorTable(HDC hDC, UINT start, UINT count, RGBQUAD* pColors) {
    const DeviceContext* dc = findDc(hDC);
    if (!dc || !pColors || !dc->surface.colors || start >= dc->surface.colors->count) return 0;
    const ColorTable& table = *dc->surface.colors;
    count = std::min(count, table.count - start);
    for (UINT i = 0; i < count; ++i) {
        const uint32_t c = table.rgb[start + i];
        pColors[i] = {static_cast<BYTE>(c), static_cast<BYTE>(c >> 8), static_cast<BYTE>(c >> 16), 0};
    }
    return count;
}
