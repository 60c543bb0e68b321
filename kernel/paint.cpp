// Painting of bitmap records on device contexts. The record is brought into a layout that the graphics layer can read (as
// viewed, mirrored where the target is), the rows that are painted are handed over, and everything that narrows the
// painting becomes part of the context's clip: clips of source and target, and the record's colour region.
#include "kernel/record.h"
#include "kernel/region_builder.h"

#include <algorithm>
#include <cmath>
#include <new>

using namespace kb;

namespace {

RECT intersection(const RECT& a, const RECT& b) {
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
}
bool isEmpty(const RECT& r) { return r.left >= r.right || r.top >= r.bottom; }
int64_t widthOf(const RECT& r) { return int64_t{r.right} - r.left; }
int64_t heightOf(const RECT& r) { return int64_t{r.bottom} - r.top; }

int32_t clamped(double value) { return static_cast<int32_t>(std::clamp(std::round(value), -2147483648.0, 2147483647.0)); }

// Where a coordinate of the source interval falls on the target interval, which may run backwards.
int32_t project(int64_t value, int64_t from, int64_t fromEnd, int64_t to, int64_t toEnd) {
    return clamped(static_cast<double>(to) + static_cast<double>(value - from) * static_cast<double>(toEnd - to) /
                                                 static_cast<double>(fromEnd - from));
}
RECT projected(const RECT& part, const RECT& from, const RECT& to) {
    return {project(part.left, from.left, from.right, to.left, to.right),
            project(part.top, from.top, from.bottom, to.top, to.bottom),
            project(part.right, from.left, from.right, to.left, to.right),
            project(part.bottom, from.top, from.bottom, to.top, to.bottom)};
}

void clipTo(HDC hDC, const RECT& r) {
    IntersectClipRect(hDC, std::min(r.left, r.right), std::min(r.top, r.bottom), std::max(r.left, r.right),
                      std::max(r.top, r.bottom));
}

// What is painted and where, worked out once for both functions.
struct Job {
    RECT source{}; // viewed pixels, inside the image, not empty
    RECT target{}; // logical units, a mirrored target has its sides swapped
    RECT device{}; // the target on the device, in order
    bool mirrorsX = false, mirrorsY = false;
};

// The graphics layer takes sides as 32-bit numbers.
bool hasSides(const RECT& r) { return std::abs(widthOf(r)) <= INT32_MAX && std::abs(heightOf(r)) <= INT32_MAX; }

// False when nothing is to be painted.
bool plan(HDC hDC, const KernelBitmap& b, const RECT* pSrc, const RECT* pDst, Job* job) {
    int width, height;
    K_GetBitmapViewSize(&b, &width, &height);
    const RECT whole{0, 0, width, height};
    const RECT wanted = pSrc ? *pSrc : whole;
    if (isEmpty(wanted)) return false;
    job->source = intersection(wanted, whole);
    if (isEmpty(job->source)) return false;
    if (pDst) {
        job->target = *pDst;
        if (widthOf(job->source) != widthOf(wanted) || heightOf(job->source) != heightOf(wanted)) {
            job->target = projected(job->source, wanted, job->target);
        }
    } else {
        const int64_t left = int64_t{job->source.left} - wanted.left, top = int64_t{job->source.top} - wanted.top;
        const int64_t right = left + widthOf(job->source), bottom = top + heightOf(job->source);
        if (std::max(right, bottom) > INT32_MAX) return false; // beyond all coordinates
        job->target = {static_cast<int32_t>(left), static_cast<int32_t>(top), static_cast<int32_t>(right),
                       static_cast<int32_t>(bottom)};
    }
    POINT corners[2] = {{job->target.left, job->target.top}, {job->target.right, job->target.bottom}};
    if (!LPtoDP(hDC, corners, 2)) return false;
    job->mirrorsX = corners[1].x < corners[0].x;
    job->mirrorsY = corners[1].y < corners[0].y;
    job->device = {std::min(corners[0].x, corners[1].x), std::min(corners[0].y, corners[1].y),
                   std::max(corners[0].x, corners[1].x), std::max(corners[0].y, corners[1].y)};
    return !isEmpty(job->device);
}

// Mirrors an upright image as the target asks; top to bottom costs nothing.
int mirror(KernelBitmap* image, const Job& job) {
    if (job.mirrorsY) {
        image->ViewPerspective = image->ViewPerspective == KB_VIEW_BOTTOM_LEFT ? KB_VIEW_TOP_LEFT : KB_VIEW_BOTTOM_LEFT;
    }
    return job.mirrorsX ? K_ReverseBitmap(image) : SUCCESS;
}

// The part of the mirrored image that is painted.
RECT mirroredSource(const Job& job, int width, int height) {
    RECT r = job.source;
    if (job.mirrorsX) r = {width - r.right, r.top, width - r.left, r.bottom};
    if (job.mirrorsY) r = {r.left, height - r.bottom, r.right, height - r.top};
    return r;
}

int paintRows(HDC hDC, const KernelBitmap& image, const Job& job, DWORD rop) {
    const RECT source = mirroredSource(job, image.Width, image.Height);
    const int32_t rows = source.bottom - source.top;
    const bool bottomUp = image.ViewPerspective == KB_VIEW_BOTTOM_LEFT;
    struct {
        BITMAPINFOHEADER header;
        RGBQUAD colors[256];
    } info{};
    info.header = {.biSize = sizeof(BITMAPINFOHEADER),
                   .biWidth = image.Width,
                   .biHeight = bottomUp ? rows : -rows,
                   .biPlanes = 1,
                   .biBitCount = static_cast<WORD>(image.BitsPerPixel),
                   .biCompression = BI_RGB,
                   .biSizeImage = 0,
                   .biXPelsPerMeter = 0,
                   .biYPelsPerMeter = 0,
                   .biClrUsed = image.nColors,
                   .biClrImportant = 0};
    std::copy_n(image.pPalette, image.nColors, info.colors);
    // Only the rows that are painted are shown to the graphics layer, so that its own row count from the bottom is 0.
    const uint8_t* bits = rowOf(image, bottomUp ? image.Height - source.bottom : source.top);
    RECT to = job.target;
    if (job.mirrorsX) std::swap(to.left, to.right);
    if (job.mirrorsY) std::swap(to.top, to.bottom);
    SetStretchBltMode(hDC, COLORONCOLOR);
    const int painted = StretchDIBits(hDC, to.left, to.top, to.right - to.left, to.bottom - to.top, source.left, 0,
                                      source.right - source.left, rows, bits, reinterpret_cast<const BITMAPINFO*>(&info),
                                      DIB_RGB_COLORS, rop);
    return painted ? SUCCESS : ERROR_FAILURE;
}

// First target index whose pixel centre falls on source index `at` or behind it.
int64_t firstShowing(int64_t at, int64_t from, int64_t to) { return (2 * at * to - from + 2 * from - 1) / (2 * from); }

// Narrows the clip to the record's region, scaled as the pixels are. Only what can be seen is worked out.
int clipToRegion(HDC hDC, const KernelBitmap& b, const Job& job) {
    RECT visible;
    if (GetClipBox(hDC, &visible) == RGN_ERROR) return ERROR_INV_PARAMETER;
    POINT corners[2] = {{visible.left, visible.top}, {visible.right, visible.bottom}};
    LPtoDP(hDC, corners, 2);
    visible = {std::min(corners[0].x, corners[1].x), std::min(corners[0].y, corners[1].y),
               std::max(corners[0].x, corners[1].x), std::max(corners[0].y, corners[1].y)};
    const RECT seen = intersection(visible, job.device);
    OwnedBitmap mask, upright;
    if (const int result = regionToMask(b, &mask.record); result != SUCCESS) return result;
    if (const int result = copyUpright(&upright.record, mask.record); result != SUCCESS) return result;
    const KernelBitmap& image = upright.record;
    if (const int result = mirror(&upright.record, job); result != SUCCESS) return result;
    const RECT source = mirroredSource(job, image.Width, image.Height);
    const bool bottomUp = image.ViewPerspective == KB_VIEW_BOTTOM_LEFT;
    const auto fromWidth = static_cast<int32_t>(widthOf(source)), fromHeight = static_cast<int32_t>(heightOf(source));
    const int64_t toWidth = widthOf(job.device), toHeight = heightOf(job.device);
    HRGN region = nullptr;
    try {
        RegionBuilder builder;
        int32_t former = -1;
        for (int32_t y = seen.top; y < seen.bottom; ++y) {
            const int64_t offset = int64_t{y} - job.device.top;
            const auto viewed = static_cast<int32_t>(source.top + (2 * offset + 1) * fromHeight / (2 * toHeight));
            if (std::exchange(former, viewed) == viewed) {
                builder.repeatRow(y);
                continue;
            }
            const uint8_t* row = rowOf(image, bottomUp ? image.Height - 1 - viewed : viewed);
            for (int32_t x = findBit(row, source.left, source.right, true); x < source.right;) {
                const int32_t end = findBit(row, x, source.right, false);
                const int64_t left =
                    std::max<int64_t>(seen.left, job.device.left + firstShowing(x - source.left, fromWidth, toWidth));
                const int64_t right =
                    std::min<int64_t>(seen.right, job.device.left + firstShowing(end - source.left, fromWidth, toWidth));
                if (left < right) builder.addRun(static_cast<int32_t>(left), static_cast<int32_t>(right));
                x = findBit(row, end, source.right, true);
            }
            builder.endRow(y);
        }
        region = builder.make();
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
    if (!region) return ERROR_NO_MEMORY;
    ExtSelectClipRgn(hDC, region, RGN_AND);
    DeleteObject(region);
    return SUCCESS;
}

int paint(HDC hDC, const KernelBitmap* b, const RECT* pSrc, const RECT* pSrcClip, const RECT* pDst, const RECT* pDstClip,
          DWORD rop, bool byRegion) {
    if (!hDC || (pDst && !hasSides(*pDst))) return ERROR_INV_PARAMETER;
    if (const int result = checkImage(b); result != SUCCESS) return result;
    const int level = SaveDC(hDC);
    if (!level) return ERROR_INV_PARAMETER;
    Job job;
    int result = SUCCESS;
    if (plan(hDC, *b, pSrc, pDst, &job)) {
        if (pDstClip) clipTo(hDC, *pDstClip);
        bool isClippedAway = false;
        if (pSrcClip) {
            const RECT part = intersection(*pSrcClip, job.source);
            isClippedAway = isEmpty(part);
            if (!isClippedAway) clipTo(hDC, projected(part, job.source, job.target));
        }
        if (!isClippedAway) {
            OwnedBitmap image;
            result = copyAsDib(&image.record, *b);
            if (result == SUCCESS) result = mirror(&image.record, job);
            if (result == SUCCESS && byRegion && b->hRegion) result = clipToRegion(hDC, *b, job);
            if (result == SUCCESS) result = paintRows(hDC, image.record, job, rop);
        }
    }
    RestoreDC(hDC, level);
    return result;
}

} // namespace

extern "C" {

int K_PaintBitmap(HDC hDC, const KernelBitmap* b, const RECT* pSrc, const RECT* pSrcClip, const RECT* pDst,
                  const RECT* pDstClip, DWORD rop) {
    return paint(hDC, b, pSrc, pSrcClip, pDst, pDstClip, rop, false);
}

int K_PaintBitmapRgn(HDC hDC, const KernelBitmap* b, const RECT* pSrc, const RECT* pSrcClip, const RECT* pDst,
                     const RECT* pDstClip, DWORD rop) {
    return paint(hDC, b, pSrc, pSrcClip, pDst, pDstClip, rop, true);
}

} // extern "C"
