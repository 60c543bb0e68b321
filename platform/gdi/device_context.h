// A device context: a surface, what is selected, the modes, the mapping and the clip; and a stack of saved states.
// A rectangular clip is a box and nothing else; a region is held only when it isn't a rectangle, shared with the saved
// states and never changed in place.
#pragma once

#include "platform/gdi/map_mode.h"
#include "platform/gdi/objects.h"
#include "platform/gdi/output.h"
#include "platform/gdi/painter.h"

#include <memory>
#include <vector>

namespace kb::gdi {

struct Clip {
    bool bounded = false;
    Box box;            // when bounded
    Ref<Region> region; // when more than one box; its bounds are `box`
};

struct DcState {
    Ref<Pen> pen;
    Ref<Brush> brush;
    Ref<Font> font;
    Ref<Palette> palette;
    Ref<Bitmap> bitmap;
    COLORREF textColor = 0, bkColor = 0xFFFFFF;
    int bkMode = OPAQUE, rop2 = R2_COPYPEN, polyFillMode = ALTERNATE, stretchMode = BLACKONWHITE;
    UINT textAlign = 0;
    POINT brushOrigin{0, 0}, position{0, 0};
    Mapping map;
    Clip clip;
};

enum class DcKind : uint8_t { screen, memory, borrowed, recording, pages };

struct DeviceContext {
    DcKind kind = DcKind::memory;
    uint32_t handle = 0;
    int dpiX = 96, dpiY = 96;
    Surface surface;
    std::unique_ptr<ColorTable> ownColors; // of a borrowed surface
    DcState state;
    std::vector<DcState> saved;
    std::unique_ptr<Output> output; // null: drawing goes into the surface; else the surface has no pixels

    // What of the pixels can be drawn on; nothing when there are none.
    Box clipBox() const {
        const Box all = surface.bounds();
        return state.clip.bounded ? intersect(all, state.clip.box) : all;
    }
    // Where drawing shows, in pixels or elsewhere.
    Box visibleBox() const {
        if (!output) return clipBox();
        return state.clip.bounded ? intersect(output->bounds(), state.clip.box) : output->bounds();
    }
    Painter painter(const Paint& paint) const { return {surface, paint, clipBox(), state.clip.region.get()}; }
    void useBitmap(Ref<Bitmap> bitmap);
};

// Cuts the clip by another; may throw std::bad_alloc, and has changed nothing then.
void clipToBox(Clip& clip, const Box& box);
void setClipRegion(Clip& clip, const Region& region);
int clipKind(const DeviceContext& dc);
// As CreatePolyPolygonRgn, with rows and right sides cut to a box: what nobody will see costs nothing.
HRGN polygonRegion(const POINT* points, const INT* counts, int polygons, int fillMode, const Box& reach);
// ExtFloodFill, which tells how many pixels it has filled.
BOOL fillFlood(HDC hDC, int x, int y, COLORREF color, UINT type, size_t& filled);
// The clip as a region; without one, everything.
void clipAsRegion(const Clip& clip, Region& out);
// A region in logical units spread out to the device, box by box.
void deviceRegion(const DeviceContext& dc, const Region& region, Region& out);
// The other way.
void logicalRegion(const DeviceContext& dc, const Region& region, Region& out);
// What of a region lies within `width` and `height` of its border.
void frameRegion(const Region& region, int width, int height, Region& border);

// The paint of the selected pen or of a brush. `cells` is where a hatch or pattern is spread out; it must live as long as
// the paint.
void penPaint(const DeviceContext& dc, COLORREF color, Paint& paint);
// False when the brush is hollow. `table` as in Paint::setSolid.
bool brushPaint(const DeviceContext& dc, const Brush& brush, uint32_t table, Paint& paint, Cells& cells);

// Whether the line of a hatch covers a pixel of its 8 by 8 cell.
bool hatchCovers(int hatch, int x, int y);

// Box of logical corners in device pixels, corners put in order.
Box deviceBox(const DeviceContext& dc, int64_t left, int64_t top, int64_t right, int64_t bottom);

// A new context with the screen's resolution, or that of `like`, and the stock objects in force; publishContext gives it its
// handle, or null and the context is gone.
DeviceContext* makeContext(DcKind kind, const DeviceContext* like);
HDC publishContext(DeviceContext* dc);
void freeContext(DeviceContext* dc);
// Puts everything in the state of a new context; saved states are dropped.
void resetState(DeviceContext& dc);

} // namespace kb::gdi
