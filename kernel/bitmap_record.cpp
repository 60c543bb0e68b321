// Life of bitmap records: making, sharing, copying parts, freeing. A record is a plain value of the caller; what is counted
// is its pixel buffer, so a copy costs one atomic step, and the first write through either record makes its own pixels.
#include "kernel/record.h"

#include "platform/sys.h"

#include <algorithm>

namespace kb {

int checkImage(const KernelBitmap* b) noexcept {
    if (!b) return ERROR_INV_PARAMETER;
    return b->Allocated && b->pPixels ? SUCCESS : ERROR_INV_BITMAP;
}

int checkOwnImage(const KernelBitmap* b) noexcept {
    if (!b || b->Borrowed) return ERROR_INV_PARAMETER;
    return checkImage(b);
}

uint32_t fillGreyRamp(int bits, RGBQUAD* out) noexcept {
    const uint32_t colors = 1u << bits;
    for (uint32_t i = 0; i < colors; ++i) {
        const uint32_t level = i * 255u / (colors - 1);
        out[i] = toQuad(argb(level, level, level));
    }
    return colors;
}

int makeImage(KernelBitmap* b, const ImageShape& shape) noexcept {
    if (shape.width < 1 || shape.width > maxBitmapSide || shape.height < 1 || shape.height > maxBitmapSide)
        return ERROR_INV_PARAMETER;
    if (!isPixelDepth(shape.bits) || (shape.bits == 12 && shape.order != KB_ORDER_GREY)) return ERROR_INV_PARAMETER;
    const int32_t stride = bytesPerRow(shape.width, shape.bits);
    KernelPixels* pixels = allocatePixels(static_cast<size_t>(stride) * static_cast<size_t>(shape.height), shape.zeroed);
    if (!pixels) return ERROR_NO_MEMORY;
    KernelBitmap made{};
    made.Width = shape.width;
    made.Height = shape.height;
    made.BitsPerPixel = shape.bits;
    made.BytesPerLine = stride;
    made.Order = shape.order;
    made.ViewPerspective = shape.perspective;
    made.Allocated = 1;
    made.pPixels = pixels;
    if (shape.bits <= 8) {
        if (shape.palette) {
            made.nColors = std::min(shape.colors, 1u << shape.bits);
            std::copy_n(shape.palette, made.nColors, pixels->palette);
        } else {
            made.nColors = fillGreyRamp(shape.bits, pixels->palette);
        }
        made.pPalette = pixels->palette;
    }
    *b = made;
    return SUCCESS;
}

int makeImageLike(KernelBitmap* b, const KernelBitmap& like, int32_t width, int32_t height) noexcept {
    const int result = makeImage(b, {.width = width,
                                     .height = height,
                                     .bits = like.BitsPerPixel,
                                     .order = like.Order,
                                     .palette = like.pPalette,
                                     .colors = like.nColors,
                                     .perspective = like.ViewPerspective,
                                     .zeroed = false});
    if (result != SUCCESS) return result;
    b->XResolution = like.XResolution;
    b->YResolution = like.YResolution;
    b->Alpha = like.Alpha;
    return SUCCESS;
}

namespace {

KernelPixels* clonePixels(const KernelPixels& from) noexcept {
    KernelPixels* own = allocatePixels(from.size, false);
    if (!own) return nullptr;
    std::memcpy(own->rows, from.rows, own->size);
    std::memcpy(own->palette, from.palette, sizeof own->palette);
    return own;
}

// Pixels below 16 bits follow each other from the high bits down, so a stretch of a row is a run of bits.
void copyBits(uint8_t* to, size_t toBit, const uint8_t* from, size_t fromBit, size_t bits) {
    const auto copyOne = [&] {
        PixelAccess<1>::put(to, static_cast<int32_t>(toBit), PixelAccess<1>::get(from, static_cast<int32_t>(fromBit)));
        ++toBit;
        ++fromBit;
        --bits;
    };
    to += toBit / 8;
    toBit %= 8;
    from += fromBit / 8;
    fromBit %= 8;
    while (toBit % 8 && bits) copyOne();
    const size_t bytes = bits / 8, shift = fromBit % 8;
    uint8_t* out = to + toBit / 8;
    const uint8_t* in = from + fromBit / 8;
    if (!shift) {
        std::memcpy(out, in, bytes);
    } else {
        for (size_t i = 0; i < bytes; ++i) out[i] = static_cast<uint8_t>(in[i] << shift | in[i + 1] >> (8 - shift));
    }
    to = out + bytes;
    from = in + bytes;
    toBit = 0;
    fromBit = shift;
    bits %= 8;
    while (bits) copyOne();
}

} // namespace

bool haveSameValues(const KernelBitmap& a, const KernelBitmap& b) noexcept {
    if (a.BitsPerPixel != b.BitsPerPixel || colorLayout(a) != colorLayout(b) || a.nColors != b.nColors) return false;
    for (uint32_t i = 0; i < a.nColors; ++i) {
        if (fromQuad(a.pPalette[i]) != fromQuad(b.pPalette[i])) return false;
    }
    return true;
}

int unshare(KernelBitmap* b) noexcept {
    // Contexts that draw on the record own its pixels too, but on its behalf. An acquire load: the former owner's reads must
    // be done before this one writes.
    const uint32_t contexts = b->pPixels->drawn.load(std::memory_order_relaxed);
    if (b->pPixels->owners.load(std::memory_order_acquire) == 1 + contexts) return SUCCESS;
    KernelPixels* own = clonePixels(*b->pPixels);
    if (!own) return ERROR_NO_MEMORY;
    releasePixels(std::exchange(b->pPixels, own));
    if (b->pPalette) b->pPalette = own->palette;
    return SUCCESS;
}

} // namespace kb

using namespace kb;

extern "C" {

int K_InitBitmap(KernelBitmap* b, int width, int height, int bits) {
    if (!b || width < 1 || width > maxBitmapSide || height < 1 || height > maxBitmapSide || !isPixelDepth(bits)) {
        return ERROR_INV_PARAMETER;
    }
    *b = {};
    b->Width = width;
    b->Height = height;
    b->BitsPerPixel = bits;
    b->BytesPerLine = bytesPerRow(width, bits);
    b->Order = bits == 12 ? KB_ORDER_GREY : KB_ORDER_BGR;
    b->ViewPerspective = KB_VIEW_TOP_LEFT;
    return SUCCESS;
}

int K_CreateBitmap(KernelBitmap* b, int type, int width, int height, int bits, int order, const RGBQUAD* pPalette,
                   int perspective, int reserved1, int reserved2) {
    if (!b || type != 1 || reserved1 || reserved2) return ERROR_INV_PARAMETER;
    if (order < KB_ORDER_RGB || order > KB_ORDER_GREY) return ERROR_INV_PARAMETER;
    if (perspective < KB_VIEW_TOP_LEFT || perspective > KB_VIEW_LEFT_BOTTOM) return ERROR_INV_PARAMETER;
    if (!isPixelDepth(bits)) return ERROR_INV_PARAMETER;
    return makeImage(b, {.width = width,
                         .height = height,
                         .bits = bits,
                         .order = order,
                         .palette = pPalette,
                         .colors = bits <= 8 ? 1u << bits : 0,
                         .perspective = perspective});
}

int K_CopyBitmap(KernelBitmap* dst, const KernelBitmap* src) {
    if (!dst || dst == src) return ERROR_INV_PARAMETER;
    if (const int result = checkImage(src); result != SUCCESS) return result;
    HRGN region = nullptr;
    if (src->hRegion) {
        region = CreateRectRgn(0, 0, 0, 0);
        if (!region || CombineRgn(region, src->hRegion, nullptr, RGN_COPY) == RGN_ERROR) {
            if (region) DeleteObject(region);
            return ERROR_NO_MEMORY;
        }
    }
    // What a context draws on changes without a further unshare: such pixels can't be shared.
    KernelPixels* pixels = src->pPixels;
    if (!pixels->drawn.load(std::memory_order_relaxed)) {
        retainPixels(pixels);
    } else if (pixels = clonePixels(*pixels); !pixels) {
        if (region) DeleteObject(region);
        return ERROR_NO_MEMORY;
    }
    *dst = *src;
    dst->pPixels = pixels;
    if (dst->pPalette) dst->pPalette = pixels->palette;
    dst->Borrowed = 0;
    dst->hRegion = region;
    return SUCCESS;
}

int K_CopyBitmapRect(KernelBitmap* dst, const KernelBitmap* src, int x, int y, int w, int h) {
    if (!dst || dst == src) return ERROR_INV_PARAMETER;
    if (const int result = checkImage(src); result != SUCCESS) return result;
    const auto left = static_cast<int32_t>(std::max<int64_t>(x, 0)), top = static_cast<int32_t>(std::max<int64_t>(y, 0));
    const int64_t width = std::min<int64_t>(int64_t{x} + w, src->Width) - left;
    const int64_t height = std::min<int64_t>(int64_t{y} + h, src->Height) - top;
    if (width <= 0 || height <= 0) return ERROR_INV_PARAMETER;
    OwnedBitmap part;
    int result = makeImageLike(&part.record, *src, static_cast<int32_t>(width), static_cast<int32_t>(height));
    if (result != SUCCESS) return result;
    const auto bits = static_cast<size_t>(src->BitsPerPixel);
    for (int32_t row = 0; row < part.record.Height; ++row) {
        uint8_t* to = ownRowOf(part.record, row);
        copyBits(to, 0, rowOf(*src, top + row), static_cast<size_t>(left) * bits, static_cast<size_t>(width) * bits);
        clearPadding(part.record, to);
    }
    if (src->hRegion) {
        part.record.hRegion = CreateRectRgn(left, top, left + part.record.Width, top + part.record.Height);
        if (!part.record.hRegion ||
            CombineRgn(part.record.hRegion, part.record.hRegion, src->hRegion, RGN_AND) == RGN_ERROR ||
            OffsetRgn(part.record.hRegion, -left, -top) == RGN_ERROR) {
            return ERROR_NO_MEMORY;
        }
    }
    part.moveTo(dst);
    return SUCCESS;
}

int K_PasteBitmapRect(KernelBitmap* dst, const KernelBitmap* src, int x, int y) {
    if (const int result = checkOwnImage(dst); result != SUCCESS) return result;
    if (const int result = checkImage(src); result != SUCCESS) return result;
    if (dst == src || !haveSameValues(*dst, *src)) return ERROR_INV_PARAMETER;
    const auto left = static_cast<int32_t>(std::max<int64_t>(x, 0)), top = static_cast<int32_t>(std::max<int64_t>(y, 0));
    const int64_t right = std::min<int64_t>(int64_t{x} + src->Width, dst->Width);
    const int64_t bottom = std::min<int64_t>(int64_t{y} + src->Height, dst->Height);
    if (left >= right || top >= bottom) return SUCCESS;
    if (const int result = unshare(dst); result != SUCCESS) return result;
    const auto bits = static_cast<size_t>(dst->BitsPerPixel);
    const size_t toBit = static_cast<size_t>(left) * bits, fromBit = static_cast<size_t>(int64_t{left} - x) * bits;
    for (int32_t row = top; row < bottom; ++row) {
        const uint8_t* from = rowOf(*src, static_cast<int32_t>(int64_t{row} - y));
        copyBits(ownRowOf(*dst, row), toBit, from, fromBit, static_cast<size_t>(right - left) * bits);
    }
    return SUCCESS;
}

void K_FreeBitmap(KernelBitmap* b) {
    if (!b) return;
    if (!b->Borrowed) {
        releasePixels(b->pPixels);
        if (b->hRegion) DeleteObject(b->hRegion);
    }
    *b = {};
}

int K_PrepareOwnedBitmap(KernelBitmap* b, int keep) {
    if (!b || keep != 1) return ERROR_INV_PARAMETER;
    if (!b->Borrowed) return SUCCESS;
    if (!b->Allocated || !b->pPixels) {
        b->Borrowed = 0;
        b->hRegion = nullptr;
        return SUCCESS;
    }
    KernelBitmap own{};
    if (const int result = K_CopyBitmap(&own, b); result != SUCCESS) return result;
    *b = own;
    return SUCCESS;
}

int K_CreateBitmapLike(KernelBitmap* dst, const KernelBitmap* src, int w, int h, int bits, int mode) {
    if (!dst || dst == src || mode != 7 || !isPixelDepth(bits)) return ERROR_INV_PARAMETER;
    if (const int result = checkImage(src); result != SUCCESS) return result;
    const bool swaps = perspectiveOf(*src).swapsSides;
    const bool ownPalette = bits <= 8 && src->BitsPerPixel <= bits && src->pPalette;
    const int result =
        makeImage(dst, {.width = w,
                        .height = h,
                        .bits = bits,
                        .order = bits == 12 ? KB_ORDER_GREY : src->Order,
                        .palette = ownPalette ? src->pPalette : nullptr,
                        .colors = ownPalette ? src->nColors : 0,
                        .perspective = swaps || !src->ViewPerspective ? KB_VIEW_TOP_LEFT : src->ViewPerspective});
    if (result != SUCCESS) return result;
    dst->XResolution = swaps ? src->YResolution : src->XResolution;
    dst->YResolution = swaps ? src->XResolution : src->YResolution;
    dst->Alpha = bits == 32 && src->Alpha;
    return SUCCESS;
}

void K_ReleaseWorkBitmap(KernelBitmap* b, int) { K_FreeBitmap(b); }

int K_IsGrayscaleBitmap(const KernelBitmap* b) {
    if (!b) return 0;
    if (b->BitsPerPixel > 8) return (b->BitsPerPixel == 12 || b->BitsPerPixel == 16) && b->Order == KB_ORDER_GREY;
    if (!b->pPalette) return 0;
    return std::all_of(b->pPalette, b->pPalette + b->nColors,
                       [](RGBQUAD q) { return q.rgbRed == q.rgbGreen && q.rgbGreen == q.rgbBlue; });
}

} // extern "C"
