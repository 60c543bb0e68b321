// Painting of a bitmap record under any affine map in one pass: each target pixel of the clip that lies in the parallelogram
// is taken back into the source and gets the mixture of the four pixels around that place. The perspective of the record is
// part of the map, so images of 24 and 32 bits are read where they lie; others are brought to 32 bits once.
#include "kernel/record.h"
#include "kernel/turned_spans.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

using namespace kb;

namespace {

constexpr int64_t maxConvertedPixels = int64_t{1} << 24;
constexpr double unit = 65536.0; // of a source position

struct Point {
    double x, y;
};

// Position in the source as stored, for a place on the device: x * perX + y * perY + origin.
struct InverseMap {
    Point perX, perY, origin;
    Point at(double x, double y) const { return {x * perX.x + y * perY.x + origin.x, x * perX.y + y * perY.y + origin.y}; }
};

// Logical units of a context to device ones, not rounded.
struct DeviceMap {
    double scaleX = 1, scaleY = 1, shiftX = 0, shiftY = 0;
    explicit DeviceMap(HDC hDC) {
        POINT window{}, viewport{};
        SIZE windowSize{1, 1}, viewportSize{1, 1};
        GetWindowOrgEx(hDC, &window);
        GetViewportOrgEx(hDC, &viewport);
        GetWindowExtEx(hDC, &windowSize);
        GetViewportExtEx(hDC, &viewportSize);
        if (windowSize.cx) scaleX = double(viewportSize.cx) / windowSize.cx;
        if (windowSize.cy) scaleY = double(viewportSize.cy) / windowSize.cy;
        shiftX = viewport.x - window.x * scaleX;
        shiftY = viewport.y - window.y * scaleY;
    }
    Point operator()(const double* p) const { return {p[0] * scaleX + shiftX, p[1] * scaleY + shiftY}; }
};

// False for a parallelogram without area.
bool invert(const KernelBitmap& b, const Point (&corner)[3], InverseMap* map) {
    const Point across{corner[2].x - corner[1].x, corner[2].y - corner[1].y};
    const Point down{corner[1].x - corner[0].x, corner[1].y - corner[0].y};
    const double determinant = across.x * down.y - across.y * down.x;
    if (determinant == 0 || !std::isfinite(1 / determinant)) return false;
    int width, height;
    K_GetBitmapViewSize(&b, &width, &height);
    // As viewed first: along the top edge, and along the left one.
    double columnPerX = down.y / determinant * width, columnPerY = -down.x / determinant * width;
    double rowPerX = -across.y / determinant * height, rowPerY = across.x / determinant * height;
    double column = -(corner[0].x * columnPerX + corner[0].y * columnPerY);
    double row = -(corner[0].x * rowPerX + corner[0].y * rowPerY);
    const Perspective view = perspectiveOf(b);
    if (view.flipsX) {
        column = width - column;
        columnPerX = -columnPerX;
        columnPerY = -columnPerY;
    }
    if (view.flipsY) {
        row = height - row;
        rowPerX = -rowPerX;
        rowPerY = -rowPerY;
    }
    *map = view.swapsSides ? InverseMap{{rowPerX, columnPerX}, {rowPerY, columnPerY}, {row, column}}
                           : InverseMap{{columnPerX, rowPerX}, {columnPerY, rowPerY}, {column, row}};
    return std::isfinite(column) && std::isfinite(row);
}

bool mixOf(DWORD rop, Mix* mix) {
    switch (rop) {
    case SRCCOPY: *mix = Mix::copy; return true;
    case SRCAND: *mix = Mix::both; return true;
    case SRCINVERT: *mix = Mix::either; return true;
    case KB_ROP_XOR_INVERTED: *mix = Mix::same; return true;
    default: return false;
    }
}

bool readsDirectly(const KernelBitmap& b) { return b.BitsPerPixel >= 24 && b.Order != KB_ORDER_RGB; }

void convert(const KernelBitmap& b, std::vector<uint32_t>* out) {
    const ColorReader reader(b);
    const uint32_t used = b.BitsPerPixel == 32 ? ~0u : 0x00FFFFFFu;
    out->resize(static_cast<size_t>(b.Width) * static_cast<size_t>(b.Height));
    withPixels(b.BitsPerPixel, [&](auto pixel) {
        uint32_t* to = out->data();
        for (int32_t y = 0; y < b.Height; ++y) {
            const uint8_t* row = rowOf(b, y);
            for (int32_t x = 0; x < b.Width; ++x) *to++ = reader(pixel.get(row, x)) & used;
        }
    });
}

// The clip of a context, cut to the surface, as rectangles on the device.
std::vector<RECT> clipBoxes(HDC hDC, const KbSurface& surface) {
    const RECT all{0, 0, surface.nWidth, surface.nHeight};
    struct Region {
        HRGN handle = CreateRectRgn(0, 0, 0, 0);
        ~Region() {
            if (handle) DeleteObject(handle);
        }
    } region;
    const int found = region.handle ? GetClipRgn(hDC, region.handle) : -1;
    if (found < 0) throw std::bad_alloc();
    if (!found) return {all};
    const DWORD bytes = GetRegionData(region.handle, 0, nullptr);
    std::vector<RECT> data((bytes + sizeof(RECT) - 1) / sizeof(RECT));
    if (bytes < sizeof(RGNDATAHEADER) || !GetRegionData(region.handle, bytes, reinterpret_cast<RGNDATA*>(data.data())))
        throw std::bad_alloc();
    static_assert(sizeof(RGNDATAHEADER) % sizeof(RECT) == 0);
    data.erase(data.begin(), data.begin() + sizeof(RGNDATAHEADER) / sizeof(RECT));
    for (RECT& r : data) {
        r = {std::max(r.left, all.left), std::max(r.top, all.top), std::min(r.right, all.right),
             std::min(r.bottom, all.bottom)};
    }
    return data;
}

// Narrows first..last to the pixels of a row whose centres have value + step * x in 0..limit.
void narrowRow(double value, double step, double limit, int32_t* first, int32_t* last) {
    if (step == 0) {
        if (value < 0 || value >= limit) *last = *first;
        return;
    }
    double low = -value / step, high = (limit - value) / step;
    if (low > high) std::swap(low, high);
    // A pixel's centre is half a pixel behind its number.
    low = std::ceil(low - 0.5);
    high = std::ceil(high - 0.5);
    if (low > *first) *first = static_cast<int32_t>(std::min<double>(low, *last));
    if (high < *last) *last = static_cast<int32_t>(std::max<double>(high, *first));
}

int64_t inUnits(double value, double limit) { return std::llround(std::clamp(value, -limit, limit) * unit); }
int64_t step(double perPixel) { return inUnits(perPixel, 2.0 * maxBitmapSide); }

struct Work {
    KbSurface surface;
    SampleSource source;
    const KernelBitmap* mask; // of the colour region, or null
    InverseMap map;
    int64_t stepX, stepY;
    Mix mix;
};

// Calls use(from, to) for the parts of a run whose nearest source pixels lie in the region.
template <class Use> void eachInRegion(const Work& work, const SampleLine& line, int count, Use&& use) {
    const auto isIn = [&](int i) {
        constexpr int64_t half = 0x8000;
        const int64_t column = (line.x + i * line.stepX + half) >> 16, row = (line.y + i * line.stepY + half) >> 16;
        return PixelAccess<1>::get(
                   rowOf(*work.mask, static_cast<int32_t>(std::clamp<int64_t>(row, 0, work.source.height - 1))),
                   static_cast<int32_t>(std::clamp<int64_t>(column, 0, work.source.width - 1))) != 0;
    };
    for (int i = 0; i < count; ++i) {
        if (!isIn(i)) continue;
        const int from = i;
        while (i < count && isIn(i)) ++i;
        use(from, i);
    }
}

// `count` pixels from x on, which lie within one stretch of maxRun pixels counted from the left edge of the target: positions
// count from the start of that stretch, so that a pixel is the same whatever part of the image the clip shows.
void paintRun(const Work& work, int32_t y, int32_t x, int count, bool vectors) {
    const int32_t start = x / maxRun * maxRun;
    const Point at = work.map.at(start + 0.5, y + 0.5);
    constexpr double limit = 1099511627776.0; // beyond what any image with a step of any size can reach
    const SampleLine line{inUnits(at.x - 0.5, limit) + (x - start) * work.stepX,
                          inUnits(at.y - 0.5, limit) + (x - start) * work.stepY, work.stepX, work.stepY};
    uint32_t run[maxRun];
    sampleRun(work.source, line, count, run, vectors);
    const int bytes = work.surface.nBits / 8;
    uint8_t* target = work.surface.pPixels + work.surface.nStride * y + static_cast<ptrdiff_t>(x) * bytes;
    const auto write = [&](int from, int to) {
        writeRun(run + from, to - from, target + static_cast<ptrdiff_t>(from) * bytes, bytes, work.mix, vectors);
    };
    if (work.mask)
        eachInRegion(work, line, count, write);
    else
        write(0, count);
}

void paintRow(const Work& work, int32_t y, int32_t left, int32_t right, bool vectors) {
    const Point start = work.map.at(0, y + 0.5);
    if (!std::isfinite(start.x + start.y)) return;
    narrowRow(start.x, work.map.perX.x, work.source.width, &left, &right);
    narrowRow(start.y, work.map.perX.y, work.source.height, &left, &right);
    for (int32_t x = left; x < right;) {
        const int32_t end = std::min(right, (x / maxRun + 1) * maxRun);
        paintRun(work, y, x, end - x, vectors);
        x = end;
    }
}

int paintTurned(HDC hDC, const KernelBitmap& b, const double* pCorners, DWORD rop, bool byRegion) {
    Work work{};
    if (!mixOf(rop, &work.mix) || GetDeviceCaps(hDC, TECHNOLOGY) != DT_RASDISPLAY || !KbGetSurface(hDC, &work.surface) ||
        work.surface.nBits < 24)
        return ERROR_FEATURE_NOT_SUPPORTED;
    if (!readsDirectly(b) && int64_t{b.Width} * b.Height > maxConvertedPixels) return ERROR_FEATURE_NOT_SUPPORTED;
    const DeviceMap device(hDC);
    const Point corners[3] = {device(pCorners), device(pCorners + 2), device(pCorners + 4)};
    if (!invert(b, corners, &work.map)) return SUCCESS;

    const std::vector<RECT> clip = clipBoxes(hDC, work.surface);
    OwnedBitmap mask;
    if (byRegion && b.hRegion) {
        if (const int result = regionToMask(b, &mask.record); result != SUCCESS) return result;
        work.mask = &mask.record;
    }
    std::vector<uint32_t> converted;
    if (readsDirectly(b)) {
        work.source = {rowOf(b, 0), b.BytesPerLine, b.Width, b.Height, b.BitsPerPixel / 8};
    } else {
        convert(b, &converted);
        work.source = {reinterpret_cast<const uint8_t*>(converted.data()), ptrdiff_t{b.Width} * 4, b.Width, b.Height, 4};
    }
    work.stepX = step(work.map.perX.x);
    work.stepY = step(work.map.perX.y);
    const double fourth = corners[0].y + corners[2].y - corners[1].y;
    const auto [top, bottom] = std::minmax({corners[0].y, corners[1].y, corners[2].y, fourth});
    const bool vectors = haveVectors();
    for (const RECT& r : clip) {
        if (r.left >= r.right || r.top >= r.bottom) continue;
        const auto from = static_cast<int32_t>(std::clamp<double>(std::floor(top), r.top, r.bottom));
        const auto to = static_cast<int32_t>(std::clamp<double>(std::ceil(bottom), r.top, r.bottom));
        for (int32_t y = from; y < to; ++y) paintRow(work, y, r.left, r.right, vectors);
    }
    return SUCCESS;
}

} // namespace

extern "C" int K_PaintBitmapTurned(HDC hDC, const KernelBitmap* b, const double* pCorners, const RECT* pDstClip, DWORD rop,
                                   int byRegion) {
    if (!hDC || !pCorners || !std::all_of(pCorners, pCorners + 6, [](double v) { return std::isfinite(v); }))
        return ERROR_INV_PARAMETER;
    if (const int result = checkImage(b); result != SUCCESS) return result;
    const int level = SaveDC(hDC);
    if (!level) return ERROR_INV_PARAMETER;
    int result = ERROR_NO_MEMORY;
    try {
        if (pDstClip) {
            IntersectClipRect(hDC, std::min(pDstClip->left, pDstClip->right), std::min(pDstClip->top, pDstClip->bottom),
                              std::max(pDstClip->left, pDstClip->right), std::max(pDstClip->top, pDstClip->bottom));
        }
        result = paintTurned(hDC, *b, pCorners, rop, byRegion != 0);
    } catch (const std::bad_alloc&) {
        result = ERROR_NO_MEMORY;
    }
    RestoreDC(hDC, level);
    return result;
}
