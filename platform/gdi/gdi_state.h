// What all contexts of the process share: the handle tables, the stock objects and the screen's resolution; and what a
// thread keeps for itself: scratch memory of the rasterisers. Nothing of it is ever destroyed before the process ends.
#pragma once

#include "platform/gdi/device_context.h"
#include "platform/handle_table.h"
#include "platform/sys.h"

#include <atomic>
#include <exception>

namespace kb {

struct GdiState {
    HandleTable<gdi::DeviceContext> contexts{HandleKind::deviceContext};
    HandleTable<gdi::Pen> pens{HandleKind::pen};
    HandleTable<gdi::Brush> brushes{HandleKind::brush};
    HandleTable<gdi::Font> fonts{HandleKind::font};
    HandleTable<gdi::Bitmap> bitmaps{HandleKind::bitmap};
    HandleTable<gdi::Region> regions{HandleKind::region};
    HandleTable<gdi::Palette> palettes{HandleKind::palette};
    HandleTable<gdi::Metafile> metafiles{HandleKind::metafile};
    uint32_t stock[DEFAULT_GUI_FONT + 1] = {}; // handles; 0 where a number has no object
    gdi::Pen* blackPen = nullptr;
    gdi::Brush* whiteBrush = nullptr;
    gdi::Font* systemFont = nullptr;
    gdi::Palette* defaultPalette = nullptr;
    gdi::Bitmap* defaultBitmap = nullptr; // one pixel, one bit: a fresh memory context's
    std::atomic<int> dpiX{96}, dpiY{96};
    std::atomic<bool> forceBuiltInFont{false};

    GdiState();
};

GdiState& gdiState();

namespace gdi {

// An object behind a handle of its own kind; null with the last error set.
template <class T, class Handle> T* findObject(const HandleTable<T>& table, Handle handle) {
    T* object = table.find(handleValue(handle));
    if (!object) SetLastError(ERROR_BAD_HANDLE);
    return object;
}
inline DeviceContext* findDc(HDC hDC) { return findObject(gdiState().contexts, hDC); }
inline Region* findRegion(HRGN hRgn) { return findObject(gdiState().regions, hRgn); }

// Gives a new object a handle. The object is lost when there is none left.
template <class Handle, class T> Handle publish(HandleTable<T>& table, Ref<T> object) {
    const uint32_t handle = table.add(object.get());
    if (!handle) {
        SetLastError(ERROR_OUT_OF_MEMORY);
        return nullptr;
    }
    object->handle = handle;
    object.detach(); // the handle owns it now
    return toHandle<Handle>(handle);
}

// Runs a body that may run out of memory.
template <class Result, class Body> Result guarded(Result failure, Body&& body) noexcept {
    try {
        return body();
    } catch (const std::exception&) {
        SetLastError(ERROR_OUT_OF_MEMORY);
        return failure;
    }
}

// The same for a call that draws on a context or changes its clip or its saved states. Where drawing is kept, what has failed
// is missing from the whole.
template <class Result, class Body> Result guardedOn(HDC hDC, Result failure, Body&& body) noexcept {
    try {
        return body();
    } catch (const std::exception&) {
        DeviceContext* dc = gdiState().contexts.find(handleValue(hDC));
        if (dc && dc->output) dc->output->lost();
        SetLastError(ERROR_OUT_OF_MEMORY);
        return failure;
    }
}

} // namespace gdi
} // namespace kb
