// Where the drawing of a context goes that has no pixels: a metafile that is being recorded, or the page of a document. The
// drawing calls check their arguments and then ask the context's output, if it has one, before they touch a surface; calls
// that change the context's state tell it. All coordinates are logical, as the caller gave them.
#pragma once

#include "platform/gdi/blit.h"
#include "platform/gdi/objects.h"

#include <memory>
#include <vector>

namespace kb::gdi {

struct DeviceContext;

// What a call has set, with its one or two values: x in front of y.
enum class Setting : uint8_t {
    bkMode,
    rop2,
    polyFillMode,
    stretchMode,
    textAlign,
    textColor,
    bkColor,
    mapMode,
    windowOrigin,
    windowExtent,
    viewportOrigin,
    viewportExtent,
    position,
    clipOffset,
    saved,
    restored, // how many states back, at least 1
    paletteRealized
};

enum class ShapeForm : uint8_t { rectangle, roundRect, ellipse, arc, chord, pie };
struct ShapeCall {
    ShapeForm form;
    RECT box;
    POINT first{0, 0}, second{0, 0}; // start and end of an arc; corner size (x, y) of a rounded rectangle in `first`
};

enum class AreaVerb : uint8_t { fill, paint, invert, frame }; // paint: with the selected brush
struct RegionCall {
    AreaVerb verb;
    const Region& region; // logical
    const Brush* brush;   // of fill and frame
    int width = 0, height = 0;
};
struct BoxCall {
    AreaVerb verb; // not paint
    RECT box;      // not empty
    const Brush* brush;
};

struct ImageCall {
    BlitArea to; // logical
    const PixelReader& source;
    BlitArea from;             // of the source's pixels, counted from its top row
    DWORD rop;                 // one that needs a source
    COLORREF text, background; // for a source of one bit without colours
    bool stretched;            // false: one source pixel is one pixel of the device, sizes of `to` are device pixels
};

struct TextCall {
    POINT at;
    UINT options;
    const RECT* rect;     // or null
    const char32_t* text; // code points
    size_t count;
    const INT* dx; // or null
};

// Drawing functions may throw std::bad_alloc; they give false when the output can't hold the figure; nothing of it is drawn then.
struct Output {
    virtual ~Output() = default;

    // Device pixels on which drawing shows.
    virtual Box bounds() const = 0;

    // Told before an object comes in force; false refuses it.
    virtual bool select(DeviceContext&, Pen&) noexcept { return true; }
    virtual bool select(DeviceContext&, Brush&) noexcept { return true; }
    virtual bool select(DeviceContext&, Font&) noexcept { return true; }
    virtual bool select(DeviceContext&, Palette&) noexcept { return true; }
    // Told after the context has changed.
    virtual void changed(DeviceContext&, Setting, int32_t, int32_t) noexcept {}
    virtual void clipCut(DeviceContext&, const RECT&, bool /*excluded*/) noexcept {}
    virtual void clipCombined(DeviceContext&, const Region* /*null: no clip*/, int /*mode*/) noexcept {}

    // Told when a call on the context has failed for want of memory, in here or before it came here.
    virtual void lost() noexcept = 0;

    // Open lines, one after the other with their lengths in `counts`; from the current position, which hasn't moved yet.
    virtual bool lines(DeviceContext&, const POINT* points, const size_t* counts, size_t contours) = 0;
    virtual bool linesTo(DeviceContext&, const POINT* points, size_t count) = 0;
    virtual bool polygons(DeviceContext&, const POINT* points, const size_t* counts, size_t contours) = 0;
    virtual bool shape(DeviceContext&, const ShapeCall&) = 0;
    virtual bool region(DeviceContext&, const RegionCall&) = 0;
    virtual bool box(DeviceContext&, const BoxCall&) = 0;
    virtual bool pixel(DeviceContext&, POINT, COLORREF) = 0;
    virtual bool pattern(DeviceContext&, const BlitArea&, DWORD rop) = 0; // an operation without a source
    virtual bool image(DeviceContext&, const ImageCall&) = 0;
    virtual bool text(DeviceContext&, const TextCall&) = 0;
};

} // namespace kb::gdi
