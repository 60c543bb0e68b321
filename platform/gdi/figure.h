// Draws a figure that has an inside and an outline so that each pixel is changed once: fast and straight where overlaps
// can't show (the pen's operation overwrites, or doing it twice is doing it once), through sets of intervals where they
// would. A figure gives its rows by two functions, fill(sink) and outline(part, sink), with sinks called as (y, x0, x1);
// fill gives them by rising rows, each pixel once; outline gives them in any order.
#pragma once

#include "platform/gdi/device_context.h"
#include "platform/gdi/scratch.h"

namespace kb::gdi {

enum class PenForm : uint8_t { none, thin, wide };
enum class StrokePart : uint8_t { all, dashes }; // the whole outline, or what of it the dash pattern leaves on

struct PenState {
    PenForm form = PenForm::none;
    int width = 1; // pixels
    bool insideFrame = false;
    const DashPattern* dash = nullptr;
    bool paintsGaps = false;
    Paint on, gap;
};

// What the selected pen does on the context.
void loadPen(const DeviceContext& dc, PenState& pen);
// The box of pixels through whose middles the outline runs: moved inside under PS_INSIDEFRAME.
inline Box insideFrame(const PenState& pen, const Box& b) {
    if (!pen.insideFrame || pen.form != PenForm::wide) return b;
    const int64_t inset = pen.width / 2, rest = (pen.width - 1) / 2;
    return {saturate(b.left + inset), saturate(b.top + inset), saturate(b.right - rest), saturate(b.bottom - rest)};
}
// Whether the outline can be drawn as it comes.
inline bool strokesDirectly(const PenState& pen, bool filled) {
    return pen.on.idempotent && !pen.paintsGaps && (!filled || (pen.on.overwrites && !pen.dash));
}

template <class Fill, class Outline>
void drawFigure(const DeviceContext& dc, const PenState& pen, const Brush* brush, Fill&& fill, Outline&& outline) {
    if (dc.state.rop2 == R2_NOP) return;
    const Box clip = dc.clipBox();
    if (clip.empty()) return;
    Scratch& s = scratch();
    Paint brushPaintValue;
    const bool filled = brush && brushPaint(dc, *brush, tableOfRop2(dc.state.rop2), brushPaintValue, s.brushCells);
    const auto straight = [](Painter& painter) {
        return [&painter](int64_t y, int64_t x0, int64_t x1) { painter.span(y, x0, x1); };
    };
    if (pen.form == PenForm::none || strokesDirectly(pen, filled)) {
        if (filled) {
            Painter painter = dc.painter(brushPaintValue);
            fill(straight(painter));
        }
        if (pen.form != PenForm::none) {
            Painter painter = dc.painter(pen.on);
            outline(pen.dash ? StrokePart::dashes : StrokePart::all, straight(painter));
        }
        return;
    }
    const auto gather = [](IntervalSet& set) { return [&set](int64_t y, int64_t x0, int64_t x1) { set.add(y, x0, x1); }; };
    s.strokeAll.begin(clip);
    outline(StrokePart::all, gather(s.strokeAll));
    IntervalSet& on = pen.dash ? s.strokeOn : s.strokeAll;
    if (pen.dash) {
        on.begin(clip);
        outline(StrokePart::dashes, gather(on));
    }
    if (filled) {
        Painter painter = dc.painter(brushPaintValue);
        size_t cursor = 0;
        fill([&](int64_t y, int64_t x0, int64_t x1) { s.strokeAll.outside(cursor, y, x0, x1, straight(painter)); });
    }
    if (pen.paintsGaps) {
        Painter painter = dc.painter(pen.gap);
        size_t cursor = 0;
        for (const Interval& i : s.strokeAll.sorted()) on.outside(cursor, i.y, i.x0, i.x1, straight(painter));
    }
    Painter painter = dc.painter(pen.on);
    for (const Interval& i : on.sorted()) painter.span(i.y, i.x0, i.x1);
}

// Contours of device points, one after the other with their lengths in `counts`; `fillMode` 0 leaves them open and unfilled.
void drawContours(const DeviceContext& dc, const PenState& pen, const Brush* brush, const POINT* points,
                  const size_t* counts, size_t contours, int fillMode);
// One-pixel polyline straight into the surface, for rectangular clips.
void drawThinDirect(const Painter& painter, const POINT* points, size_t count, bool closed);

} // namespace kb::gdi
