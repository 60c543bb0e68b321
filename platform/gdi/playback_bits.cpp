// Bitmaps of a file. Upright ones go out as they are. What is turned, sheared, masked or blended is computed pixel by pixel
// for the part of the destination that can be seen: on what is there where that can be read back, else on white, as a mask
// that clears and a picture that is added.
#include "platform/gdi/playback.h"

#include "platform/gdi/dib.h"
#include "platform/gdi/playback_applied.h"

#include <algorithm>
#include <utility>

namespace kb::gdi {

namespace {

// A ternary code that looks at no source, as a binary one of pen and destination.
int rop2Of(DWORD rop) {
    const uint32_t code = rop >> 16 & 0xFF;
    return static_cast<int>((code & 3) | (code >> 4 & 3) << 2) + 1;
}

bool needsSource(DWORD rop) {
    const uint32_t code = rop >> 16 & 0xFF;
    return ((code >> 2) & 0x33) != (code & 0x33);
}

uint32_t rop3(uint32_t code, uint32_t pattern, uint32_t source, uint32_t target) {
    uint32_t result = 0;
    for (uint32_t i = 0; i < 8; ++i)
        if (code >> i & 1) result |= (i & 4 ? pattern : ~pattern) & (i & 2 ? source : ~source) & (i & 1 ? target : ~target);
    return result & 0xFFFFFF;
}

bool readerOf(const DibImage& image, PixelReader& reader) {
    return image && readDib(image.info(), DIB_RGB_COLORS, image.bits, reader);
}

BITMAPINFO headerFor(int width, int height) {
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    return info;
}

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

bool inside(const PixelReader& reader, int x, int y) { return x >= 0 && y >= 0 && x < reader.width && y < reader.height; }

} // namespace

bool Playback::deviceBoxOf(const FPoint corners[4], RECT& logical, int& width, int& height) const {
    FPoint low{INFINITY, INFINITY}, high{-INFINITY, -INFINITY};
    for (int i = 0; i < 4; ++i) {
        if (!std::isfinite(corners[i].x) || !std::isfinite(corners[i].y)) return false;
        low = {std::min(low.x, corners[i].x), std::min(low.y, corners[i].y)};
        high = {std::max(high.x, corners[i].x), std::max(high.y, corners[i].y)};
    }
    logical = {roundAway(std::floor(low.x)), roundAway(std::floor(low.y)), roundAway(std::ceil(high.x)),
               roundAway(std::ceil(high.y))};
    RECT seen;
    if (GetClipBox(hDC_, &seen) != ERROR) {
        if (seen.left > seen.right) std::swap(seen.left, seen.right);
        if (seen.top > seen.bottom) std::swap(seen.top, seen.bottom);
        logical = {std::max(logical.left, seen.left), std::max(logical.top, seen.top), std::min(logical.right, seen.right),
                   std::min(logical.bottom, seen.bottom)};
    }
    if (logical.left >= logical.right || logical.top >= logical.bottom) return false;
    // A picture as fine as the destination, but not finer than anybody needs.
    const double most = 4096;
    const double w = (static_cast<double>(logical.right) - logical.left) * std::abs(device_.a);
    const double h = (static_cast<double>(logical.bottom) - logical.top) * std::abs(device_.d);
    width = static_cast<int>(std::clamp(std::floor(w + 0.5), 1.0, most));
    height = static_cast<int>(std::clamp(std::floor(h + 0.5), 1.0, most));
    return true;
}

void Playback::putMasked(const RECT& box, int width, int height, const std::vector<uint32_t>& pixels,
                         const std::vector<uint8_t>& touched) {
    const BITMAPINFO info = headerFor(width, height);
    const int w = box.right - box.left, h = box.bottom - box.top;
    std::vector<uint32_t> mask(pixels.size());
    bool whole = true;
    for (size_t i = 0; i < mask.size(); ++i) {
        mask[i] = touched[i] ? 0 : 0xFFFFFF;
        whole = whole && touched[i];
    }
    if (!whole)
        StretchDIBits(hDC_, box.left, box.top, w, h, 0, 0, width, height, mask.data(), &info, DIB_RGB_COLORS, SRCAND);
    std::vector<uint32_t> picture(pixels);
    for (size_t i = 0; i < mask.size(); ++i) picture[i] = touched[i] ? pixels[i] : 0;
    StretchDIBits(hDC_, box.left, box.top, w, h, 0, 0, width, height, picture.data(), &info, DIB_RGB_COLORS,
                  whole ? SRCCOPY : SRCPAINT);
}

template <class Pixel> void Playback::composite(const FPoint corners[4], Pixel&& pixel) {
    if (!usable_ || exhausted()) return;
    if (measuring) {
        for (int i = 0; i < 4; ++i) noteBounds(corners[i]);
        return;
    }
    syncClip();
    syncModes();
    RECT box;
    int width, height;
    if (!deviceBoxOf(corners, box, width, height)) return;
    const int w = box.right - box.left, h = box.bottom - box.top;
    const auto count = static_cast<size_t>(width) * static_cast<size_t>(height);
    std::vector<uint32_t> pixels(count, 0xFFFFFF);
    std::vector<uint8_t> touched(count, 0);
    // What is there, on a destination that has pixels.
    bool readable = false;
    const BITMAPINFO info = headerFor(width, height);
    const HDC memory = CreateCompatibleDC(hDC_);
    void* bits = nullptr;
    const HBITMAP bitmap = memory ? CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, nullptr, 0) : nullptr;
    const bool pixelsThere = GetDeviceCaps(hDC_, TECHNOLOGY) == DT_RASDISPLAY;
    if (bitmap && pixelsThere) {
        SelectObject(memory, bitmap);
        readable = StretchBlt(memory, 0, 0, width, height, hDC_, box.left, box.top, w, h, SRCCOPY);
        const auto* from = static_cast<const uint32_t*>(bits);
        for (size_t i = 0; readable && i < count; ++i) pixels[i] = from[i] & 0xFFFFFF;
    }
    if (memory) DeleteDC(memory);
    if (bitmap) DeleteObject(bitmap);
    bool any = false;
    // Rows and columns run as the destination's units do: the top row of the picture lies at the smaller y.
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto i = static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x);
            touched[i] = pixel(box.left + (x + 0.5) * w / width, box.top + (y + 0.5) * h / height, pixels[i]);
            any = any || touched[i];
        }
    }
    if (!any) return;
    if (readable)
        StretchDIBits(hDC_, box.left, box.top, w, h, 0, 0, width, height, pixels.data(), &info, DIB_RGB_COLORS, SRCCOPY);
    else
        putMasked(box, width, height, pixels, touched);
}

void Playback::patBlt(double x, double y, double width, double height, DWORD rop) {
    if (!usable_ || exhausted() || needsSource(rop)) return;
    if (map_.upright()) {
        const POINT p = to(x, y), q = to(x + width, y + height);
        if (measuring) return;
        syncClip();
        syncModes();
        syncBrush();
        PatBlt(hDC_, std::min(p.x, q.x), std::min(p.y, q.y), std::abs(q.x - p.x), std::abs(q.y - p.y), rop);
        return;
    }
    FlatPath path;
    path.moveTo(placed(x, y));
    path.lineTo(placed(x + width, y));
    path.lineTo(placed(x + width, y + height));
    path.lineTo(placed(x, y + height));
    path.close();
    const int kept = std::exchange(state.rop2, rop2Of(rop));
    drawPath(path, true, false);
    state.rop2 = kept;
}

void Playback::stretchDib(const DibImage& image, double x, double y, double width, double height, const SourceArea& from,
                          DWORD rop) {
    if (!usable_ || exhausted() || !image) return;
    if (!needsSource(rop)) {
        patBlt(x, y, width, height, rop);
        return;
    }
    if (map_.upright()) {
        const POINT p = to(x, y), q = to(x + width, y + height);
        if (measuring) return;
        // Mirroring is a matter of the signs, which stay with the destination.
        const int64_t w = static_cast<int64_t>(q.x) - p.x, h = static_cast<int64_t>(q.y) - p.y;
        if (!w || !h || std::abs(w) > INT32_MAX || std::abs(h) > INT32_MAX) return;
        syncClip();
        syncModes();
        syncBrush();
        const int sx = roundAway(from.x), sw = roundAway(from.width), sh = roundAway(from.height);
        int sy = roundAway(from.y);
        if (!image.topDown) sy = image.height - sy - sh; // rows of an upright image count from the bottom
        StretchDIBits(hDC_, p.x, p.y, static_cast<int>(w), static_cast<int>(h), sx, sy, sw, sh, image.bits, image.info(),
                      DIB_RGB_COLORS, rop);
        return;
    }
    PixelReader reader;
    if (!readerOf(image, reader)) return;
    const FPoint corners[4] = {placed(x, y), placed(x + width, y), placed(x + width, y + height), placed(x, y + height)};
    const SourceMap map(corners[0], corners[1], corners[3], from);
    const uint32_t pattern = swapRedBlue(color(brush().color));
    composite(corners, [&](double px, double py, uint32_t& value) {
        int column, row;
        if (!map.find(px, py, column, row) || !inside(reader, column, row)) return false;
        value = rop3(rop >> 16 & 0xFF, pattern, reader.rgb(column, row), value);
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
    if (!source && (needsSource(fore << 16) || needsSource(back << 16))) return;
    const FPoint corners[4] = {placed(x, y), placed(x + width, y), placed(x + width, y + height), placed(x, y + height)};
    const SourceMap map(corners[0], corners[1], corners[3], from);
    const uint32_t pattern = swapRedBlue(color(brush().color));
    composite(corners, [&](double px, double py, uint32_t& value) {
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
        value = rop3(code, pattern, source ? reader.rgb(column, row) : 0, value);
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
    composite(all, [&](double px, double py, uint32_t& value) {
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
    composite(corners, [&](double px, double py, uint32_t& value) {
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
    composite(corners, [&](double px, double py, uint32_t& value) {
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
    composite(corners, [&](double px, double py, uint32_t& value) {
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
    composite(corners, [&](double px, double py, uint32_t& value) {
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
