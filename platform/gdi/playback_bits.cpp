// Bitmaps of a file. Upright ones go out as they are. What is turned, sheared, masked or blended is computed pixel by pixel
// for the part of the destination that can be seen: on what is there where that can be read back, else on white, as a mask
// that clears and a picture that is added.
#include "platform/gdi/playback.h"

#include "platform/gdi/dib.h"
#include "platform/gdi/masked_rows.h"
#include "platform/gdi/playback_applied.h"
#include "platform/gdi/raster_ops.h"
#include "platform/gdi/span_writer.h"

#include <algorithm>
#include <new>
#include <utility>

namespace kb::gdi {

namespace {

uint32_t codeOf(DWORD rop) { return rop >> 16 & 0xFF; }

// 0x00RRGGBB
uint32_t mixed(uint32_t code, uint32_t pattern, uint32_t source, uint32_t target) {
    const auto bytes = [](uint32_t& v) { return reinterpret_cast<uint8_t*>(&v); };
    applyRop3(static_cast<uint8_t>(code), bytes(pattern), bytes(source), bytes(target), 3);
    return target;
}

bool readerOf(const DibImage& image, PixelReader& reader) {
    return image && readDib(image.info(), DIB_RGB_COLORS, image.bits, reader);
}

// Of rows from the top; one bit is black and white.
struct RowsHeader {
    BITMAPINFOHEADER header{};
    RGBQUAD colors[2] = {{0, 0, 0, 0}, {0xFF, 0xFF, 0xFF, 0}};
    RowsHeader(int width, int height, int bits) {
        header.biSize = sizeof header;
        header.biWidth = width;
        header.biHeight = -height;
        header.biPlanes = 1;
        header.biBitCount = static_cast<WORD>(bits);
    }
    const BITMAPINFO* info() const { return reinterpret_cast<const BITMAPINFO*>(&header); }
};

// Where a point of the destination lies in the source: the way back from a parallelogram.
struct SourceMap {
    Affine back;
    double left, top, right, bottom; // of the source area
    SourceMap(FPoint origin, FPoint across, FPoint down, const SourceArea& from)
        : left(std::min(from.x, from.x + from.width)), top(std::min(from.y, from.y + from.height)),
          right(std::max(from.x, from.x + from.width)), bottom(std::max(from.y, from.y + from.height)) {
        const Affine unit{
            across.x - origin.x, across.y - origin.y, down.x - origin.x, down.y - origin.y, origin.x, origin.y};
        back = unit.inverse().then({from.width, 0, 0, from.height, from.x, from.y});
    }
    bool find(double x, double y, int& column, int& row) const {
        const FPoint p = back.at(x, y);
        if (!(p.x >= left && p.x < right && p.y >= top && p.y < bottom)) return false;
        if (!(std::abs(p.x) < 1e8 && std::abs(p.y) < 1e8)) return false;
        column = static_cast<int>(std::floor(p.x));
        row = static_cast<int>(std::floor(p.y));
        return true;
    }
};

// A picture of 32 bits in memory that can be drawn on.
class MemoryPicture {
public:
    MemoryPicture(HDC like, const BITMAPINFO* info) : context(CreateCompatibleDC(like)) {
        void* bits = nullptr;
        if (context) bitmap_ = CreateDIBSection(context, info, DIB_RGB_COLORS, &bits, nullptr, 0);
        pixels = static_cast<uint32_t*>(bits);
        if (bitmap_ && SelectObject(context, bitmap_)) return;
        release();
        throw std::bad_alloc();
    }
    MemoryPicture(const MemoryPicture&) = delete;
    MemoryPicture& operator=(const MemoryPicture&) = delete;
    ~MemoryPicture() { release(); }
    HDC context;
    uint32_t* pixels;

private:
    void release() {
        if (context) DeleteDC(context);
        if (bitmap_) DeleteObject(bitmap_);
    }
    HBITMAP bitmap_ = nullptr;
};

bool inside(const PixelReader& reader, int x, int y) { return x >= 0 && y >= 0 && x < reader.width && y < reader.height; }

} // namespace

// Pixels of a source as they are when it stays upright; what is turned has edges that want to be finer.
Playback::Grain Playback::grainOf(const SourceArea& from) const {
    const double width = std::abs(from.width), height = std::abs(from.height);
    if (map_.upright()) return {width, height};
    const double side = std::max(std::hypot(width, height) * 2, 512.0);
    return {side, side};
}

bool Playback::gridOf(const FPoint corners[4], const Grain& grain, PixelGrid& grid) const {
    FPoint low{INFINITY, INFINITY}, high{-INFINITY, -INFINITY};
    for (int i = 0; i < 4; ++i) {
        if (!std::isfinite(corners[i].x) || !std::isfinite(corners[i].y)) return false;
        low = {std::min(low.x, corners[i].x), std::min(low.y, corners[i].y)};
        high = {std::max(high.x, corners[i].x), std::max(high.y, corners[i].y)};
    }
    grid.box = {std::max(roundAway(std::floor(low.x)), seen_.left), std::max(roundAway(std::floor(low.y)), seen_.top),
                std::min(roundAway(std::ceil(high.x)), seen_.right), std::min(roundAway(std::ceil(high.y)), seen_.bottom)};
    if (grid.box.left >= grid.box.right || grid.box.top >= grid.box.bottom) return false;
    // A picture as fine as the destination, but not finer than anybody needs.
    const auto pixels = [this](double length, double whole, double scale, double most) {
        constexpr double mostAtAll = 4096;
        double wanted = std::floor(length * std::abs(scale) + 0.5);
        if (!raster_ && whole > 0) wanted = std::min(wanted, std::ceil(length / whole * most));
        return static_cast<int>(std::clamp(wanted, 1.0, mostAtAll));
    };
    grid.width = pixels(static_cast<double>(grid.box.right) - grid.box.left, high.x - low.x, device_.a, grain.across);
    grid.height = pixels(static_cast<double>(grid.box.bottom) - grid.box.top, high.y - low.y, device_.d, grain.down);
    return true;
}

void Playback::putPixels(const PixelGrid& grid, const BITMAPINFO* info, const void* bits, DWORD rop) {
    const RECT& box = grid.box;
    drew(StretchDIBits(hDC_, box.left, box.top, saturate(int64_t{box.right} - box.left),
                       saturate(int64_t{box.bottom} - box.top), 0, 0, grid.width, grid.height, bits, info, DIB_RGB_COLORS,
                       rop));
}

template <class Pixel> void Playback::composite(const FPoint corners[4], const Grain& grain, Pixel&& pixel) {
    if (!usable_ || exhausted()) return;
    if (measuring) {
        for (int i = 0; i < 4; ++i) noteBounds(corners[i]);
        return;
    }
    syncClip();
    syncModes();
    PixelGrid grid;
    if (!gridOf(corners, grain, grid)) return;
    const int width = grid.width, height = grid.height;
    const auto count = static_cast<size_t>(width) * static_cast<size_t>(height);
    if (!budget.pay(static_cast<double>(count) * cost::composedPixel)) return;
    const double left = grid.box.left, top = grid.box.top;
    const double stepX = (grid.box.right - left) / width, stepY = (grid.box.bottom - top) / height;
    // Rows and columns run as the destination's units do: the top row of the picture lies at the smaller y.
    const auto each = [&](auto&& visit) {
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) visit(x, y, left + (x + 0.5) * stepX, top + (y + 0.5) * stepY);
    };
    if (!raster_) {
        if (!budget.keep(MaskedRows::bytesFor(width, height))) return;
        MaskedRows rows(width, height);
        each([&](int x, int y, double px, double py) {
            uint32_t value = 0xFFFFFF;
            if (pixel(px, py, value)) rows.show(x, y, value);
        });
        if (rows.empty()) return;
        if (!rows.whole()) putPixels(grid, RowsHeader(width, height, 1).info(), rows.mask().top, SRCAND);
        putPixels(grid, RowsHeader(width, height, 24).info(), rows.picture().top, rows.whole() ? SRCCOPY : SRCPAINT);
        return;
    }
    const RowsHeader header(width, height, 32);
    const MemoryPicture there(hDC_, header.info());
    const RECT& box = grid.box;
    if (!StretchBlt(there.context, 0, 0, width, height, hDC_, box.left, box.top, box.right - box.left, box.bottom - box.top,
                    SRCCOPY))
        throw std::bad_alloc();
    bool any = false;
    uint32_t* value = there.pixels;
    each([&](int, int, double px, double py) {
        *value &= 0xFFFFFF;
        any = pixel(px, py, *value++) || any;
    });
    if (any) putPixels(grid, header.info(), there.pixels, SRCCOPY);
}

void Playback::patBlt(double x, double y, double width, double height, DWORD rop) {
    if (!usable_ || exhausted() || rop3NeedsSource(codeOf(rop))) return;
    if (map_.upright()) {
        const POINT p = to(x, y), q = to(x + width, y + height);
        if (measuring) return;
        syncClip();
        syncModes();
        syncBrush();
        const RECT box{std::min(p.x, q.x), std::min(p.y, q.y), std::max(p.x, q.x), std::max(p.y, q.y)};
        if (affordBox(box, cost::fillPixel * 2))
            drew(PatBlt(hDC_, box.left, box.top, saturate(int64_t{box.right} - box.left),
                        saturate(int64_t{box.bottom} - box.top), rop));
        return;
    }
    FlatPath path;
    path.moveTo(placed(x, y));
    path.lineTo(placed(x + width, y));
    path.lineTo(placed(x + width, y + height));
    path.lineTo(placed(x, y + height));
    path.close();
    const int mode = std::exchange(state.rop2, static_cast<int>(tableOfRop3(codeOf(rop))) + 1);
    const ObjectRef kept = state.brush;
    // What asks for no pattern is drawn under a hollow brush too.
    if (!rop3NeedsPattern(codeOf(rop))) selectStock(BLACK_BRUSH);
    drawPath(path, true, false);
    state.rop2 = mode;
    state.brush = kept;
}

void Playback::stretchDib(const DibImage& image, double x, double y, double width, double height, const SourceArea& from,
                          DWORD rop) {
    PixelReader reader;
    if (!usable_ || exhausted() || !readerOf(image, reader)) return;
    if (!rop3NeedsSource(codeOf(rop))) {
        patBlt(x, y, width, height, rop);
        return;
    }
    if (map_.upright()) {
        const POINT p = to(x, y), q = to(x + width, y + height);
        if (measuring) return;
        // Mirroring is a matter of the signs, which stay with the destination.
        const int64_t w = static_cast<int64_t>(q.x) - p.x, h = static_cast<int64_t>(q.y) - p.y;
        if (!w || !h || std::abs(w) > INT32_MAX || std::abs(h) > INT32_MAX) return;
        const int sx = roundAway(from.x), sw = roundAway(from.width), sh = roundAway(from.height);
        int sy = roundAway(from.y);
        if (!image.topDown) sy = saturate(int64_t{image.height} - sy - sh); // rows of an upright image count from the bottom
        if (!sw || !sh) return;
        syncClip();
        syncModes();
        syncBrush();
        // What runs have been unpacked to is more than was in the file.
        if (!raster_ && !budget.keep(image.unpacked.size())) return;
        const RECT box{std::min(p.x, q.x), std::min(p.y, q.y), std::max(p.x, q.x), std::max(p.y, q.y)};
        if (!affordBox(box, cost::blitPixel)) return;
        drew(StretchDIBits(hDC_, p.x, p.y, static_cast<int>(w), static_cast<int>(h), sx, sy, sw, sh, image.bits,
                           image.info(), DIB_RGB_COLORS, rop));
        return;
    }
    const FPoint corners[4] = {placed(x, y), placed(x + width, y), placed(x + width, y + height), placed(x, y + height)};
    const SourceMap map(corners[0], corners[1], corners[3], from);
    const uint32_t pattern = swapRedBlue(color(brush().color));
    composite(corners, grainOf(from), [&](double px, double py, uint32_t& value) {
        int column, row;
        if (!map.find(px, py, column, row) || !inside(reader, column, row)) return false;
        value = mixed(codeOf(rop), pattern, reader.rgb(column, row), value);
        return true;
    });
}

void Playback::dibToDevice(DibImage& image, double x, double y, double xFrom, double yFrom, double width, double height,
                           int start, int lines) {
    if (!image || start >= image.height) return;
    lines = std::min(lines, image.height - start);
    // Only these rows are there: the picture is made as high as they are.
    const double low = std::max<double>(yFrom, start);
    const double high = std::min<double>(yFrom + height, static_cast<double>(start) + lines);
    if (!(low < high)) return;
    const double full = image.topDown ? low - yFrom : yFrom + height - high;
    const double top = image.topDown ? low - start : start + lines - high;
    image.head[2] = static_cast<uint32_t>(image.topDown ? -lines : lines); // the header's height
    image.height = lines;
    stretchDib(image, x, y + full, width, high - low, {xFrom, top, width, high - low}, SRCCOPY);
}

void Playback::maskBlt(const DibImage& image, const DibImage* mask, double x, double y, double width, double height,
                       const SourceArea& from, FPoint maskAt, DWORD rop4) {
    PixelReader reader, maskReader;
    const bool source = readerOf(image, reader), masked = mask && readerOf(*mask, maskReader);
    const uint32_t fore = rop4 >> 16 & 0xFF, back = masked ? rop4 >> 24 & 0xFF : fore;
    if (!source && (rop3NeedsSource(fore) || rop3NeedsSource(back))) return;
    const FPoint corners[4] = {placed(x, y), placed(x + width, y), placed(x + width, y + height), placed(x, y + height)};
    const SourceMap map(corners[0], corners[1], corners[3], from);
    const uint32_t pattern = swapRedBlue(color(brush().color));
    const Grain grain = source || masked || !map_.upright() ? grainOf(from) : Grain{1, 1};
    composite(corners, grain, [&](double px, double py, uint32_t& value) {
        int column, row;
        if (!map.find(px, py, column, row) || (source && !inside(reader, column, row))) return false;
        bool on = true;
        if (masked) {
            const double mx = column - from.x + maskAt.x, my = row - from.y + maskAt.y;
            if (!(mx >= 0 && my >= 0 && mx < maskReader.width && my < maskReader.height)) return false;
            on = maskReader.raw(static_cast<int>(mx), static_cast<int>(my)) & 1;
        }
        const uint32_t code = on ? fore : back;
        if (code == 0xAA) return false; // leaves the destination
        value = mixed(code, pattern, source ? reader.rgb(column, row) : 0, value);
        return true;
    });
}

void Playback::plgBlt(const DibImage& image, const DibImage* mask, const FPoint corners[3], const SourceArea& from,
                      FPoint maskAt) {
    PixelReader reader, maskReader;
    if (!readerOf(image, reader)) return;
    const bool masked = mask && readerOf(*mask, maskReader);
    const FPoint a = placed(corners[0].x, corners[0].y), b = placed(corners[1].x, corners[1].y),
                 c = placed(corners[2].x, corners[2].y);
    const FPoint all[4] = {a, b, {b.x + c.x - a.x, b.y + c.y - a.y}, c};
    const SourceMap map(a, b, c, from);
    const double side = std::max(std::hypot(from.width, from.height) * 2, 512.0); // the corners may be anywhere
    composite(all, {side, side}, [&](double px, double py, uint32_t& value) {
        int column, row;
        if (!map.find(px, py, column, row) || !inside(reader, column, row)) return false;
        if (masked) {
            const double mx = column - from.x + maskAt.x, my = row - from.y + maskAt.y;
            if (!(mx >= 0 && my >= 0 && mx < maskReader.width && my < maskReader.height)) return false;
            if (!(maskReader.raw(static_cast<int>(mx), static_cast<int>(my)) & 1)) return false;
        }
        value = reader.rgb(column, row);
        return true;
    });
}

void Playback::alphaBlend(const DibImage& image, double x, double y, double width, double height, const SourceArea& from,
                          int constantAlpha, bool sourceAlpha) {
    PixelReader reader;
    if (!readerOf(image, reader)) return;
    const FPoint corners[4] = {placed(x, y), placed(x + width, y), placed(x + width, y + height), placed(x, y + height)};
    const SourceMap map(corners[0], corners[1], corners[3], from);
    const bool alphas = sourceAlpha && reader.bits == 32;
    composite(corners, grainOf(from), [&](double px, double py, uint32_t& value) {
        int column, row;
        if (!map.find(px, py, column, row) || !inside(reader, column, row)) return false;
        const uint32_t raw = reader.raw(column, row), rgb = reader.toRgb(raw);
        const auto constant = static_cast<uint32_t>(constantAlpha);
        // Colours of a source with alpha have been multiplied by it.
        const uint32_t alpha = (alphas ? raw >> 24 : 255) * constant;
        if (!alpha) return false;
        uint32_t out = 0;
        for (int shift = 0; shift < 24; shift += 8) {
            const uint32_t s = (rgb >> shift & 0xFF) * constant / 255, d = value >> shift & 0xFF;
            out |= std::min((s * 65025 + d * (65025 - alpha) + 32512) / 65025, 255u) << shift;
        }
        value = out;
        return true;
    });
}

void Playback::transparentBlt(const DibImage& image, double x, double y, double width, double height, const SourceArea& from,
                              COLORREF transparent) {
    PixelReader reader;
    if (!readerOf(image, reader)) return;
    const FPoint corners[4] = {placed(x, y), placed(x + width, y), placed(x + width, y + height), placed(x, y + height)};
    const SourceMap map(corners[0], corners[1], corners[3], from);
    const uint32_t hole = swapRedBlue(transparent & 0xFFFFFF);
    composite(corners, grainOf(from), [&](double px, double py, uint32_t& value) {
        int column, row;
        if (!map.find(px, py, column, row) || !inside(reader, column, row)) return false;
        const uint32_t rgb = reader.rgb(column, row);
        if (rgb == hole) return false;
        value = rgb;
        return true;
    });
}

namespace {

uint32_t mix(double red, double green, double blue) {
    const auto channel = [](double v) { return static_cast<uint32_t>(std::clamp(v + 0.5, 0.0, 255.0)); };
    return channel(red) << 16 | channel(green) << 8 | channel(blue);
}

} // namespace

void Playback::gradientRect(const Vertex& a, const Vertex& b, bool vertical) {
    const FPoint corners[4] = {placed(a.at.x, a.at.y), placed(b.at.x, a.at.y), placed(b.at.x, b.at.y),
                               placed(a.at.x, b.at.y)};
    const SourceMap map(corners[0], corners[1], corners[3], {0, 0, 1, 1});
    // A column or row for each colour that there is between the two.
    const double colors = 1 + std::max({std::abs(a.red - b.red), std::abs(a.green - b.green), std::abs(a.blue - b.blue)});
    const Grain grain = !map_.upright() ? grainOf({0, 0, 1, 1}) : vertical ? Grain{1, colors} : Grain{colors, 1};
    composite(corners, grain, [&](double px, double py, uint32_t& value) {
        const FPoint p = map.back.at(px, py);
        if (!(p.x >= 0 && p.x < 1 && p.y >= 0 && p.y < 1)) return false;
        const double t = vertical ? p.y : p.x;
        value = mix(a.red + (b.red - a.red) * t, a.green + (b.green - a.green) * t, a.blue + (b.blue - a.blue) * t);
        return true;
    });
}

void Playback::gradientTriangle(const Vertex& a, const Vertex& b, const Vertex& c) {
    const FPoint p = placed(a.at.x, a.at.y), q = placed(b.at.x, b.at.y), r = placed(c.at.x, c.at.y);
    const FPoint corners[4] = {p, q, r, r};
    const Affine back = Affine{q.x - p.x, q.y - p.y, r.x - p.x, r.y - p.y, p.x, p.y}.inverse();
    if (back.determinant() == 0) return;
    composite(corners, {256, 256}, [&](double px, double py, uint32_t& value) {
        const FPoint uv = back.at(px, py);
        if (!(uv.x >= 0 && uv.y >= 0 && uv.x + uv.y <= 1)) return false;
        const auto at = [&](double Vertex::*part) {
            return a.*part + (b.*part - a.*part) * uv.x + (c.*part - a.*part) * uv.y;
        };
        value = mix(at(&Vertex::red), at(&Vertex::green), at(&Vertex::blue));
        return true;
    });
}

} // namespace kb::gdi
