// Device contexts that draw on bitmap records. Images in a layout that the graphics layer knows are drawn on directly. The
// others get a 24-bit shadow as they are viewed; the release compares it with how it was and writes back the pixels that
// changed, so that untouched pixels keep every bit of theirs. A context that draws directly owns the pixels along with the
// record, so that they outlive a record that is freed first.
#include "kernel/record.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

using namespace kb;

namespace {

struct OpenContext {
    HDC hDC = nullptr;
    KernelBitmap* bitmap = nullptr;
    KernelPixels* pixels = nullptr; // drawn on directly
    bool hasShadow = false;
    OwnedBitmap shadow, before; // equal until something is drawn

    OpenContext() = default;
    OpenContext(const OpenContext&) = delete;
    OpenContext& operator=(const OpenContext&) = delete;
    ~OpenContext() {
        if (!pixels) return;
        pixels->drawn.fetch_sub(1, std::memory_order_relaxed);
        releasePixels(pixels);
    }
};

struct OpenContexts {
    std::mutex mutex;
    std::vector<std::unique_ptr<OpenContext>> list;
};
OpenContexts& openContexts() {
    static OpenContexts contexts;
    return contexts;
}

bool drawsDirectly(const KernelBitmap& b) {
    const Perspective view = perspectiveOf(b);
    if (view.swapsSides || view.flipsX) return false;
    if (b.BitsPerPixel == 1 || b.BitsPerPixel == 8) return true;
    return b.BitsPerPixel >= 24 && b.Order != KB_ORDER_RGB;
}

HDC contextOver(KernelBitmap& b) {
    const bool bottomUp = b.ViewPerspective == KB_VIEW_BOTTOM_LEFT;
    HDC hDC = KbCreateSurfaceDC(ownRowOf(b, bottomUp ? b.Height - 1 : 0), b.Width, b.Height,
                                bottomUp ? -b.BytesPerLine : b.BytesPerLine, b.BitsPerPixel, b.pPalette, b.nColors);
    if (hDC && b.XResolution > 0 && b.YResolution > 0) {
        KbSetSurfaceDpi(hDC, std::min(b.XResolution, 32767), std::min(b.YResolution, 32767));
    }
    return hDC;
}

int makeShadow(OpenContext& context, const KernelBitmap& b) {
    OwnedBitmap viewed;
    if (const int result = copyAsViewed(&viewed.record, b); result != SUCCESS) return result;
    KernelBitmap& shadow = context.shadow.record;
    if (const int result = K_ChangeBitmapDepth(&viewed.record, &shadow, 24, 0, 0, 0, 0, 0, 0); result != SUCCESS)
        return result;
    if (shadow.Order == KB_ORDER_RGB) {
        OwnedBitmap swapped;
        if (const int result = copyAsDib(&swapped.record, shadow); result != SUCCESS) return result;
        swapped.replace(&shadow, false);
    }
    if (const int result = K_CopyBitmap(&context.before.record, &shadow); result != SUCCESS) return result;
    context.hasShadow = true;
    return unshare(&shadow);
}

void writeBack(const OpenContext& context) {
    const KernelBitmap& shadow = context.shadow.record;
    KernelBitmap& b = *context.bitmap;
    const Perspective view = perspectiveOf(b);
    withPixels(b.BitsPerPixel, [&](auto pixel) {
        for (int32_t y = 0; y < shadow.Height; ++y) {
            const uint8_t* now = rowOf(shadow, y);
            const uint8_t* before = rowOf(context.before.record, y);
            if (!std::memcmp(now, before, static_cast<size_t>(shadow.BytesPerLine))) continue;
            for (int32_t x = 0; x < shadow.Width; ++x) {
                const uint32_t color = PixelAccess<24>::get(now, x);
                if (color == PixelAccess<24>::get(before, x)) continue;
                const int32_t across = view.flipsX ? shadow.Width - 1 - x : x,
                              down = view.flipsY ? shadow.Height - 1 - y : y;
                const int32_t row = view.swapsSides ? across : down, column = view.swapsSides ? down : across;
                pixel.put(ownRowOf(b, row), column, valueOfColor(b, 0xFF000000u | color));
            }
        }
    });
}

} // namespace

extern "C" {

HDC K_BitmapDC(KernelBitmap* b) {
    if (checkOwnImage(b) != SUCCESS || unshare(b) != SUCCESS) return nullptr;
    try {
        auto context = std::make_unique<OpenContext>();
        context->bitmap = b;
        if (drawsDirectly(*b)) {
            context->pixels = b->pPixels;
            retainPixels(b->pPixels);
            b->pPixels->drawn.fetch_add(1, std::memory_order_relaxed);
        } else if (makeShadow(*context, *b) != SUCCESS) {
            return nullptr;
        }
        OpenContexts& contexts = openContexts();
        const std::lock_guard lock(contexts.mutex);
        contexts.list.reserve(contexts.list.size() + 1);
        context->hDC = contextOver(context->hasShadow ? context->shadow.record : *b);
        if (!context->hDC) return nullptr;
        contexts.list.push_back(std::move(context));
        return contexts.list.back()->hDC;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

int K_ReleaseBitmapDC(HDC hDC) {
    std::unique_ptr<OpenContext> context;
    {
        OpenContexts& contexts = openContexts();
        const std::lock_guard lock(contexts.mutex);
        const auto found =
            std::find_if(contexts.list.begin(), contexts.list.end(), [hDC](const auto& c) { return c->hDC == hDC; });
        if (!hDC || found == contexts.list.end()) return ERROR_INV_PARAMETER;
        context = std::move(*found);
        contexts.list.erase(found);
    }
    DeleteDC(hDC);
    if (!context->hasShadow) return SUCCESS;
    // The record may have been freed or have become another image: then there is nothing to write to.
    KernelBitmap* b = context->bitmap;
    if (checkOwnImage(b) != SUCCESS) return ERROR_INV_BITMAP;
    int width, height;
    K_GetBitmapViewSize(b, &width, &height);
    if (width != context->shadow.record.Width || height != context->shadow.record.Height) return ERROR_INV_BITMAP;
    // Or it may have been copied: the copy keeps what it got.
    if (const int result = unshare(b); result != SUCCESS) return result;
    writeBack(*context);
    return SUCCESS;
}

} // extern "C"
