// The player of classic metafiles: 16-bit coordinates, a window that the file moves over the picture, objects numbered by
// the order in which they are made.
#pragma once

#include "platform/gdi/playback.h"

#include <cstring>

namespace kb::gdi {

// The parameters of a record, in 16-bit words; how many there are has been checked against the table.
struct ClassicRecord {
    const uint8_t* bytes;
    size_t size;

    uint32_t word(size_t i) const { return static_cast<uint32_t>(bytes[2 * i] | bytes[2 * i + 1] << 8); }
    int number(size_t i) const { return static_cast<int16_t>(word(i)); }
    uint32_t dword(size_t i) const { return word(i) | word(i + 1) << 16; }
    // Whether bytes from `at` on are there.
    bool has(size_t at, size_t count) const { return at <= size && count <= size - at; }
    // Four coordinates that end before word i + 4: bottom, right, top, left.
    RECT box(size_t i) const { return {number(i + 3), number(i + 2), number(i + 1), number(i)}; }
    // y, x
    FPoint point(size_t i) const { return {static_cast<double>(number(i + 1)), static_cast<double>(number(i))}; }
};

// How a file's window and viewport are understood.
enum class ClassicFit {
    context, // as calls on the context: its pixels are the viewport's
    box,     // whatever window the file sets is mapped to the whole picture
    free     // a unit is a unit; there is no window
};

struct ClassicPlayer {
    ClassicPlayer(HDC hDC, const Affine& placement, bool mirrored, size_t bytes, ClassicFit how)
        : out(hDC, placement, mirrored, bytes), fit(how) {}
    Playback out;
    ClassicFit fit;
    PageMapping base; // the page before the file has said anything
    SIZE dpi{96, 96};
    bool windowSet = false;       // the file has set an extent
    SIZE viewportReference{0, 0}; // of a fitted file: what its viewports are measured by
    POINT viewportReferenceOrigin{0, 0};
    bool viewportOriginSet = false;
    bool viewportFlippedX = false, viewportFlippedY = false;
    std::vector<FPoint> points;

    // False when a broken record has ended the play.
    bool play(const uint8_t* data, size_t size);

    void setMapMode(int mode);
    void setWindowExtent(double width, double height);
    void setViewportOrigin(double x, double y);
    void setViewportExtent(double width, double height);
    void offsetViewport(double dx, double dy);
    void scaleExtent(bool window, int xNumber, int xBy, int yNumber, int yBy);
    void keepRatio();
    void changed() { out.mapChanged(); }
};

using ClassicHandler = bool (*)(ClassicPlayer&, const ClassicRecord&);
struct ClassicRow {
    uint16_t function;
    uint16_t words; // least number of parameters
    ClassicHandler run;
};
// Null for a record that isn't known; those are passed over.
const ClassicRow* findClassicRow(uint32_t function);

// Handlers that stand in files of their own.
bool classicTextOut(ClassicPlayer&, const ClassicRecord&);
bool classicExtTextOut(ClassicPlayer&, const ClassicRecord&);
bool classicDibBitBlt(ClassicPlayer&, const ClassicRecord&);
bool classicDibStretchBlt(ClassicPlayer&, const ClassicRecord&);
bool classicBitBlt(ClassicPlayer&, const ClassicRecord&);
bool classicStretchBlt(ClassicPlayer&, const ClassicRecord&);
bool classicStretchDib(ClassicPlayer&, const ClassicRecord&);
bool classicSetDibToDevice(ClassicPlayer&, const ClassicRecord&);
bool classicDibPatternBrush(ClassicPlayer&, const ClassicRecord&);
bool classicPatternBrush(ClassicPlayer&, const ClassicRecord&);

} // namespace kb::gdi
