// Scaling by the nearest pixel: each pixel of the target takes the one under its centre. Columns are worked out once, and a
// target row that comes from the same source row as the one above is copied.
#include "kernel/record.h"

namespace kb {

void scaleStored(const KernelBitmap& src, KernelBitmap& dst) noexcept {
    const auto bytes = static_cast<size_t>(dst.BytesPerLine);
    withPixels(src.BitsPerPixel, [&](auto pixel) {
        int32_t former = -1;
        // Steps of the fraction (2x + 1) * from / (2 * to), kept as whole and rest: no table and no division per pixel.
        const int64_t divisor = 2 * int64_t{dst.Width};
        const int32_t wholeStep = static_cast<int32_t>(2 * int64_t{src.Width} / divisor);
        const int64_t restStep = 2 * int64_t{src.Width} % divisor;
        for (int32_t y = 0; y < dst.Height; ++y) {
            const int32_t from = scaledIndex(y, src.Height, dst.Height);
            uint8_t* out = ownRowOf(dst, y);
            if (from == former) {
                std::memcpy(out, ownRowOf(dst, y - 1), bytes);
                continue;
            }
            former = from;
            const uint8_t* in = rowOf(src, from);
            if (src.Width == dst.Width) {
                std::memcpy(out, in, bytes);
                continue;
            }
            std::memset(out, 0, bytes);
            int32_t column = static_cast<int32_t>(src.Width / divisor);
            int64_t rest = src.Width % divisor;
            for (int32_t x = 0; x < dst.Width; ++x) {
                pixel.put(out, x, pixel.get(in, column));
                column += wholeStep;
                rest += restStep;
                if (rest >= divisor) {
                    rest -= divisor;
                    ++column;
                }
            }
        }
    });
}

} // namespace kb

using namespace kb;

namespace {

// Rows of one layout in another, by colour; `from` and `to` have the same size.
void convertValues(const KernelBitmap& from, KernelBitmap& to) {
    const ColorReader reader(from);
    uint32_t lastColor = 0, lastValue = valueOfColor(to, 0);
    withPixels(from.BitsPerPixel, [&](auto source) {
        withPixels(to.BitsPerPixel, [&](auto target) {
            for (int32_t y = 0; y < to.Height; ++y) {
                const uint8_t* in = rowOf(from, y);
                uint8_t* out = ownRowOf(to, y);
                for (int32_t x = 0; x < to.Width; ++x) {
                    const uint32_t color = reader(source.get(in, x));
                    if (color != lastColor) {
                        lastColor = color;
                        lastValue = valueOfColor(to, color);
                    }
                    target.put(out, x, lastValue);
                }
            }
        });
    });
}

} // namespace

extern "C" int K_ScaleBitmapInto(const KernelBitmap* src, KernelBitmap* dst) {
    if (const int result = checkImage(src); result != SUCCESS) return result;
    if (const int result = checkOwnImage(dst); result != SUCCESS) return result;
    if (src == dst) return ERROR_INV_PARAMETER;
    // The source is brought into the stored orientation of dst: as viewed, then back through dst's perspective, which is
    // its own inverse but for the two quarter turns.
    OwnedBitmap upright, turned;
    const KernelBitmap* source = src;
    HRGN region = nullptr;
    OwnedBitmap mask, scaledMask;
    if (src->hRegion) {
        if (const int result = regionToMask(*src, &mask.record); result != SUCCESS) return result;
    }
    const auto orient = [&](const KernelBitmap& in, KernelBitmap* out) {
        OwnedBitmap viewed;
        if (const int result = copyAsViewed(&viewed.record, in); result != SUCCESS) return result;
        int back = dst->ViewPerspective;
        if (back == KB_VIEW_RIGHT_TOP)
            back = KB_VIEW_LEFT_BOTTOM;
        else if (back == KB_VIEW_LEFT_BOTTOM)
            back = KB_VIEW_RIGHT_TOP;
        viewed.record.ViewPerspective = back;
        return copyAsViewed(out, viewed.record);
    };
    const int sourceView = src->ViewPerspective ? src->ViewPerspective : KB_VIEW_TOP_LEFT;
    const int targetView = dst->ViewPerspective ? dst->ViewPerspective : KB_VIEW_TOP_LEFT;
    if (sourceView != targetView) {
        if (const int result = orient(*src, &upright.record); result != SUCCESS) return result;
        source = &upright.record;
        if (mask.record.Allocated) {
            if (const int result = orient(mask.record, &turned.record); result != SUCCESS) return result;
        }
    }
    OwnedBitmap made;
    if (const int result = makeImageLike(&made.record, *dst, dst->Width, dst->Height); result != SUCCESS) return result;
    if (haveSameValues(*source, *dst)) {
        scaleStored(*source, made.record);
    } else {
        OwnedBitmap scaled;
        if (const int result = makeImageLike(&scaled.record, *source, dst->Width, dst->Height); result != SUCCESS)
            return result;
        scaleStored(*source, scaled.record);
        std::memset(made.record.pPixels->rows, 0, made.record.pPixels->size);
        convertValues(scaled.record, made.record);
    }
    if (mask.record.Allocated) {
        const KernelBitmap& from = turned.record.Allocated ? turned.record : mask.record;
        if (const int result = makeImageLike(&scaledMask.record, from, dst->Width, dst->Height); result != SUCCESS)
            return result;
        scaleStored(from, scaledMask.record);
        region = maskToRegion(scaledMask.record);
        if (!region) return ERROR_NO_MEMORY;
    }
    made.record.hRegion = region;
    made.replace(dst, false);
    return SUCCESS;
}
