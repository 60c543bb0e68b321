// Turning and mirroring of whole images. All eight perspectives, both mirrorings and the quarter turns are one operation,
// a permutation of rows and columns told by a Perspective record; free angles and shears sample the nearest pixel. A
// colour region goes along as a 1-bit image through the same code.
#include "kernel/record.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kb {
namespace {

// Copies src into dst so that the pixel at stored row, column comes to where `to` shows it. dst has the sides that follow.
void permute(const KernelBitmap& src, KernelBitmap& dst, Perspective to) {
    const int32_t width = src.Width, height = src.Height;
    if (!to.swapsSides && !to.flipsX) {
        for (int32_t row = 0; row < height; ++row) {
            std::memcpy(ownRowOf(dst, to.flipsY ? height - 1 - row : row), rowOf(src, row),
                        static_cast<size_t>(src.BytesPerLine));
        }
        return;
    }
    const bool hasPadding = int64_t{dst.BytesPerLine} * 8 != int64_t{dst.Width} * dst.BitsPerPixel;
    if (hasPadding) std::memset(dst.pPixels->rows, 0, dst.pPixels->size);
    withPixels(src.BitsPerPixel, [&](auto pixel) {
        if (!to.swapsSides) {
            for (int32_t row = 0; row < height; ++row) {
                const uint8_t* in = rowOf(src, row);
                uint8_t* out = ownRowOf(dst, to.flipsY ? height - 1 - row : row);
                for (int32_t x = 0; x < width; ++x) pixel.put(out, width - 1 - x, pixel.get(in, x));
            }
            return;
        }
        // By squares, so that the rows written stay in the cache.
        constexpr int32_t square = 32;
        for (int32_t top = 0; top < height; top += square) {
            for (int32_t left = 0; left < width; left += square) {
                for (int32_t x = left; x < std::min(left + square, width); ++x) {
                    uint8_t* out = ownRowOf(dst, to.flipsY ? width - 1 - x : x);
                    for (int32_t row = top; row < std::min(top + square, height); ++row) {
                        pixel.put(out, to.flipsX ? height - 1 - row : row, pixel.get(rowOf(src, row), x));
                    }
                }
            }
        }
    });
}

int permuted(KernelBitmap* out, const KernelBitmap& b, Perspective to) {
    const int result = makeImageLike(out, b, to.swapsSides ? b.Height : b.Width, to.swapsSides ? b.Width : b.Height);
    if (result == SUCCESS) {
        permute(b, *out, to);
        if (to.swapsSides) std::swap(out->XResolution, out->YResolution);
    }
    return result;
}

// Runs `step`, which makes a new image out of one, on the image and on the mask of its region; b changes only when both
// have succeeded.
template <class Step> int replaceWith(KernelBitmap* b, Step&& step) {
    OwnedBitmap made;
    if (const int result = step(*b, &made.record, false); result != SUCCESS) return result;
    if (b->hRegion) {
        OwnedBitmap mask, turned;
        if (const int result = regionToMask(*b, &mask.record); result != SUCCESS) return result;
        if (const int result = step(mask.record, &turned.record, true); result != SUCCESS) return result;
        made.record.hRegion = maskToRegion(turned.record);
        if (!made.record.hRegion) return ERROR_NO_MEMORY;
    }
    made.replace(b, false);
    return SUCCESS;
}

// A mirroring as viewed keeps the perspective; where sides swap it mirrors the other stored axis.
int mirror(KernelBitmap* b, bool viewedY) {
    if (const int result = checkOwnImage(b); result != SUCCESS) return result;
    const bool rows = viewedY != perspectiveOf(*b).swapsSides;
    return replaceWith(b, [rows](const KernelBitmap& in, KernelBitmap* out, bool) {
        return permuted(out, in, {false, !rows, rows});
    });
}

int normalized(KernelBitmap* out, const KernelBitmap& in, Perspective view) {
    const int result = permuted(out, in, view);
    if (result == SUCCESS) out->ViewPerspective = KB_VIEW_TOP_LEFT;
    return result;
}

int32_t grownSide(double value) { return static_cast<int32_t>(std::max(1.0, std::min(std::ceil(value - 1e-6), 3e7))); }

// Nearest pixel by the inverse rotation about the middles; `fill` is a raw value.
int rotated(KernelBitmap* out, const KernelBitmap& in, double radians, uint32_t fill) {
    const double cosine = std::cos(radians), sine = std::sin(radians);
    const int32_t width = grownSide(in.Width * std::abs(cosine) + in.Height * std::abs(sine));
    const int32_t height = grownSide(in.Width * std::abs(sine) + in.Height * std::abs(cosine));
    if (const int result = makeImageLike(out, in, width, height); result != SUCCESS) return result;
    // Source coordinates in 1/2^32 pixels, exact to far less than a pixel over the longest row.
    constexpr double unit = 4294967296.0;
    const auto stepX = std::llround(cosine * unit), stepY = std::llround(-sine * unit);
    withPixels(in.BitsPerPixel, [&](auto pixel) {
        for (int32_t row = 0; row < height; ++row) {
            uint8_t* to = ownRowOf(*out, row);
            std::memset(to, 0, static_cast<size_t>(out->BytesPerLine));
            const double dy = row + 0.5 - height / 2.0, dx = 0.5 - width / 2.0;
            auto x = std::llround((dx * cosine + dy * sine + in.Width / 2.0) * unit);
            auto y = std::llround((dy * cosine - dx * sine + in.Height / 2.0) * unit);
            for (int32_t column = 0; column < width; ++column, x += stepX, y += stepY) {
                const int64_t sourceX = x >> 32, sourceY = y >> 32;
                const bool inside = sourceX >= 0 && sourceX < in.Width && sourceY >= 0 && sourceY < in.Height;
                pixel.put(to, column,
                          inside ? pixel.get(rowOf(in, static_cast<int32_t>(sourceY)), static_cast<int32_t>(sourceX))
                                 : fill);
            }
        }
    });
    return SUCCESS;
}

// A lean of the angle whose tangent is given, on top of `times` shears by 45 degrees that lean to the same side.
struct Lean {
    bool right;
    int64_t times;
    double tangent; // 0 to 1
};

int sheared(KernelBitmap* out, const KernelBitmap& in, const Lean& lean, uint32_t fill) {
    const int64_t growth = lean.times * in.Height + static_cast<int64_t>(lean.tangent * in.Height + 1e-9);
    if (in.Width + growth > maxBitmapSide) return ERROR_INV_PARAMETER;
    if (const int result = makeImageLike(out, in, static_cast<int32_t>(in.Width + growth), in.Height); result != SUCCESS)
        return result;
    withPixels(in.BitsPerPixel, [&](auto pixel) {
        for (int32_t row = 0; row < in.Height; ++row) {
            const int32_t rows = lean.right ? in.Height - 1 - row : row; // between this one and the one that stays
            const auto shift = static_cast<int32_t>(lean.times * rows + static_cast<int64_t>(lean.tangent * (rows + 0.5)));
            uint8_t* to = ownRowOf(*out, row);
            std::memset(to, 0, static_cast<size_t>(out->BytesPerLine));
            for (int32_t x = 0; x < shift; ++x) pixel.put(to, x, fill);
            for (int32_t x = 0; x < in.Width; ++x) pixel.put(to, shift + x, pixel.get(rowOf(in, row), x));
            for (int32_t x = shift + in.Width; x < out->Width; ++x) pixel.put(to, x, fill);
        }
    });
    return SUCCESS;
}

} // namespace

int copyAsViewed(KernelBitmap* out, const KernelBitmap& b) noexcept {
    const Perspective view = perspectiveOf(b);
    if (view.swapsSides || view.flipsX || view.flipsY) return normalized(out, b, view);
    retainPixels(b.pPixels);
    *out = b;
    out->Borrowed = 0;
    out->hRegion = nullptr;
    out->ViewPerspective = KB_VIEW_TOP_LEFT;
    return SUCCESS;
}

int copyUpright(KernelBitmap* out, const KernelBitmap& b) noexcept {
    if (b.ViewPerspective != KB_VIEW_BOTTOM_LEFT) return copyAsViewed(out, b);
    KernelBitmap asStored = b;
    asStored.ViewPerspective = KB_VIEW_TOP_LEFT;
    const int result = copyAsViewed(out, asStored);
    if (result == SUCCESS) out->ViewPerspective = KB_VIEW_BOTTOM_LEFT;
    return result;
}

} // namespace kb

using namespace kb;

extern "C" {

int K_FlipBitmap(KernelBitmap* b) { return mirror(b, true); }
int K_ReverseBitmap(KernelBitmap* b) { return mirror(b, false); }

int K_NormalizeBitmap(KernelBitmap* b) {
    if (const int result = checkOwnImage(b); result != SUCCESS) return result;
    const Perspective view = perspectiveOf(*b);
    if (view.swapsSides || view.flipsX || view.flipsY) {
        return replaceWith(b, [view](const KernelBitmap& in, KernelBitmap* out, bool) { return normalized(out, in, view); });
    }
    b->ViewPerspective = KB_VIEW_TOP_LEFT;
    return SUCCESS;
}

int K_RotateBitmap(KernelBitmap* b, int angle, int mode, COLORREF fill) {
    if (const int result = checkOwnImage(b); result != SUCCESS) return result;
    if (mode != 1) return ERROR_INV_PARAMETER;
    const int turn = (angle % 36000 + 36000) % 36000;
    const Perspective view = perspectiveOf(*b);
    return replaceWith(b, [&](const KernelBitmap& in, KernelBitmap* out, bool isMask) -> int {
        OwnedBitmap upright;
        int result = SUCCESS;
        if (view.swapsSides || view.flipsX || view.flipsY)
            result = normalized(&upright.record, in, view);
        else
            result = copyAsViewed(&upright.record, in);
        if (result != SUCCESS) return result;
        switch (turn) {
        case 0: upright.moveTo(out); return SUCCESS;
        case 9000: return permuted(out, upright.record, perspectives[KB_VIEW_RIGHT_TOP - 1]);
        case 18000: return permuted(out, upright.record, perspectives[KB_VIEW_BOTTOM_RIGHT - 1]);
        case 27000: return permuted(out, upright.record, perspectives[KB_VIEW_LEFT_BOTTOM - 1]);
        default: {
            const uint32_t corner = isMask ? 0 : valueOfColor(upright.record, fromColorRef(fill));
            return rotated(out, upright.record, turn / 18000.0 * std::numbers::pi, corner);
        }
        }
    });
}

int K_ShearBitmap(KernelBitmap* b, int angle, int mode, COLORREF fill) {
    if (const int result = checkOwnImage(b); result != SUCCESS) return result;
    return mode == 1 ? K_ShearBitmapFurther(b, 0, angle, fill) : int{ERROR_INV_PARAMETER};
}

int K_ShearBitmapFurther(KernelBitmap* b, int times, int angle, COLORREF fill) {
    if (const int result = checkOwnImage(b); result != SUCCESS) return result;
    if (angle < -4500 || angle > 4500 || (times < 0 && angle > 0) || (times > 0 && angle < 0)) return ERROR_INV_PARAMETER;
    const Perspective view = perspectiveOf(*b);
    const int steep = std::abs(angle);
    // 45 degrees exactly, so that it grows by the height and not by a rounding less.
    const Lean lean{times > 0 || angle > 0, std::abs(int64_t{times}),
                    steep == 4500 ? 1.0 : std::tan(steep / 18000.0 * std::numbers::pi)};
    return replaceWith(b, [&](const KernelBitmap& in, KernelBitmap* out, bool isMask) -> int {
        OwnedBitmap upright;
        const int result = view.swapsSides || view.flipsX || view.flipsY ? normalized(&upright.record, in, view)
                                                                         : copyAsViewed(&upright.record, in);
        if (result != SUCCESS) return result;
        return sheared(out, upright.record, lean, isMask ? 0 : valueOfColor(upright.record, fromColorRef(fill)));
    });
}

int K_TurnBitmapView(KernelBitmap* b, int quarters, int mirrored) {
    if (!b) return ERROR_INV_PARAMETER;
    Perspective view = perspectiveOf(*b);
    if (mirrored) view.flipsX = !view.flipsX;
    for (int i = (quarters % 4 + 4) % 4; i > 0; --i) view = {!view.swapsSides, !view.flipsY, view.flipsX};
    const auto same = [view](const Perspective& p) {
        return p.swapsSides == view.swapsSides && p.flipsX == view.flipsX && p.flipsY == view.flipsY;
    };
    b->ViewPerspective = static_cast<int32_t>(std::ranges::find_if(perspectives, same) - perspectives.begin()) + 1;
    return SUCCESS;
}

int K_RectToBitmapView(const KernelBitmap* b, int reserved, RECT* pRect) {
    if (!b || !pRect || reserved) return ERROR_INV_PARAMETER;
    if (b->Width < 1 || b->Height < 1) return ERROR_INV_BITMAP;
    const Perspective view = perspectiveOf(*b);
    RECT r = *pRect;
    const int32_t viewWidth = view.swapsSides ? b->Height : b->Width, viewHeight = view.swapsSides ? b->Width : b->Height;
    const auto flipped = [](int32_t side, int32_t value) {
        return static_cast<int32_t>(std::clamp<int64_t>(int64_t{side} - value, INT32_MIN, INT32_MAX));
    };
    if (view.flipsX) r = {flipped(viewWidth, r.right), r.top, flipped(viewWidth, r.left), r.bottom};
    if (view.flipsY) r = {r.left, flipped(viewHeight, r.bottom), r.right, flipped(viewHeight, r.top)};
    if (view.swapsSides) r = {r.top, r.left, r.bottom, r.right};
    *pRect = r;
    return SUCCESS;
}

void K_GetBitmapViewSize(const KernelBitmap* b, int* pWidth, int* pHeight) {
    const bool swaps = b && perspectiveOf(*b).swapsSides;
    if (pWidth) *pWidth = !b ? 0 : swaps ? b->Height : b->Width;
    if (pHeight) *pHeight = !b ? 0 : swaps ? b->Width : b->Height;
}

} // extern "C"
