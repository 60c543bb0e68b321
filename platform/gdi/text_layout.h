// Where a line of text stands: its pen on the base line, the text's own axes on the device, and the whole-pixel advances. The
// same for all that text is drawn on.
#pragma once

#include "platform/gdi/font_cache.h"
#include "platform/gdi/pen_stroke.h"

namespace kb::gdi {

struct TextLine {
    double x, y;         // pen on the base line, device
    double cosine, sine; // of the escapement
    int64_t width;       // of all advances, device

    FPoint place(double u, double v) const { return {x + u * cosine + v * sine, y - u * sine + v * cosine}; }
    // Device point of an offset along (u) and across (v, down) the line.
    POINT at(double u, double v) const {
        const FPoint p = place(u, v);
        return {saturate(floorInt(p.x + 0.5)), saturate(floorInt(p.y + 0.5))};
    }
};

template <class Char>
int64_t advanceOf(const DeviceContext& dc, RealisedFont& font, const Char* text, const INT* dx, size_t i) {
    if (!dx) return font.advance(text[i]);
    if (dc.state.map.identity) return dx[i];
    const int64_t length = dc.state.map.deviceWidth(dx[i]);
    return dx[i] < 0 ? -length : length;
}

// Lays a line out by the context's alignment, and moves the current position when that asks for it.
template <class Char>
TextLine placeText(DeviceContext& dc, RealisedFont& font, POINT at, const Char* text, size_t count, const INT* dx) {
    TextLine line{0, 0, font.cosine(), font.sine(), 0};
    for (size_t i = 0; i < count; ++i) line.width += advanceOf(dc, font, text, dx, i);
    const TEXTMETRICA& metrics = font.metrics();
    const UINT align = dc.state.textAlign;
    const bool moves = align & TA_UPDATECP;
    const POINT start = dc.state.map.device(moves ? dc.state.position : at);
    int64_t u = 0, v = metrics.tmAscent;
    if ((align & TA_CENTER) == TA_CENTER)
        u = -(line.width / 2);
    else if (align & TA_RIGHT)
        u = -line.width;
    if ((align & TA_BASELINE) == TA_BASELINE)
        v = 0;
    else if (align & TA_BOTTOM)
        v = -metrics.tmDescent;
    line.x = start.x + static_cast<double>(u) * line.cosine + static_cast<double>(v) * line.sine;
    line.y = start.y - static_cast<double>(u) * line.sine + static_cast<double>(v) * line.cosine;
    if (moves && (align & TA_CENTER) != TA_CENTER) {
        const double sign = align & TA_RIGHT ? -1 : 1;
        const POINT end{saturate(floorInt(start.x + sign * static_cast<double>(line.width) * line.cosine + 0.5)),
                        saturate(floorInt(start.y - sign * static_cast<double>(line.width) * line.sine + 0.5))};
        dc.state.position = {dc.state.map.logicalX(end.x), dc.state.map.logicalY(end.y)};
    }
    return line;
}

} // namespace kb::gdi
