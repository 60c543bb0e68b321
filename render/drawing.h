// Turning objects into calls on a device context. Every routine runs inside a bracket that saves the context's state and
// brings it back, so that an object's pen, brush, clip and modes end with it. A routine that can't get what it needs draws
// nothing and reports false.
#pragma once

#include "platform/gdi.h"
#include "store/geometry.h"

#include <span>
#include <string_view>

namespace kbann {

struct DrawTools {
    HPEN pen = nullptr;
    HBRUSH brush = nullptr;
    int saved = 0;
};

// State saved, clip narrowed, pen, brush, colours and modes of the object set. False when there is no pen or brush; annEndDraw
// must follow all the same.
bool annBeginDraw(HDC hDC, const RECT& clip, const AnnObject& record, DrawTools& tools, const AnnMatrix& matrix);
void annEndDraw(HDC hDC, const DrawTools& tools);

class DrawBracket {
public:
    DrawBracket(HDC hDC, const RECT& clip, const AnnObject& record, const AnnMatrix& matrix)
        : hDC_(hDC), ready_(annBeginDraw(hDC, clip, record, tools_, matrix)) {}
    ~DrawBracket() { annEndDraw(hDC_, tools_); }
    DrawBracket(const DrawBracket&) = delete;
    DrawBracket& operator=(const DrawBracket&) = delete;
    // False: nothing may be drawn, it would come in the context's own colours.
    explicit operator bool() const { return ready_; }

private:
    HDC hDC_;
    DrawTools tools_;
    bool ready_;
};

// What an object's drawing is given.
struct Drawing {
    HDC hDC;
    RECT clip;
    AnnObject& record;
    AnnMatrix matrix;
};

// One object without its children, and its name on top. Geometry that isn't finite is drawn nowhere.
bool annDrawObject(const Drawing& d);
// The object, the ones in front of it in its list, and all that is below them.
int annDrawList(HDC hDC, const RECT* pRect, AnnObject* first);

bool annDrawRectShape(const Drawing& d);
bool annDrawEllipse(const Drawing& d);
bool annDrawOpenLine(const Drawing& d);
bool annDrawPolygon(const Drawing& d);
bool annDrawPointer(const Drawing& d);
bool annDrawText(const Drawing& d);
bool annDrawNote(const Drawing& d);
bool annDrawButton(const Drawing& d);
bool annDrawPushpin(const Drawing& d);
bool annDrawPoint(const Drawing& d);
bool annDrawMeasurement(const Drawing& d); // ruler, cross product, protractor
bool annDrawStamp(const Drawing& d);
// An image in a stamp by work bitmaps, scaled, sheared and turned one after the other: for devices whose pixels can't be
// reached, and the measure of the quick way.
bool annDrawStampStepwise(const Drawing& d);
bool annDrawAudio(const Drawing& d);
bool annDrawVideo(const Drawing& d);
bool annDrawHotspot(const Drawing& d);
bool annDrawFreehandHotspot(const Drawing& d);

// A quad on the device as text and pictures see it: mirrored ones are turned round, so that B to C is the direction of
// reading. All angles in radians, clockwise on the screen.
struct TurnedQuad {
    AnnPoint a, b, c;
    double theta;    // direction of B to C
    double firstPhi; // direction of B to A before turning round
    double delta;    // theta - phi, 0 to 2 pi, before turning round
    bool mirrored;
};
// The rectangle of an upright quad on the device, else false: annQuadRect's as far as the device can have pixels.
bool annUprightRect(const Drawing& d, RECT& out);
TurnedQuad annTurnQuad(const AnnMatrix& matrix, const AnnPoint (&quad)[3]);
// An angle as fonts count it: tenths of a degree, counter-clockwise.
int annTextAngle(double theta);

// Narrows the clip to the object's quad or to a polygon; not on devices that record, which can't hold it. False when it can't
// be narrowed: nothing may be drawn then.
bool annClipToQuad(const Drawing& d);
bool annClipToPolygon(const Drawing& d, std::span<const AnnPoint> points);

// Word-wrapped output from the rectangle's left and top: its right is the wrap limit, its bottom the height limit. The
// bottom becomes the y behind the last line, `text` the rest that wasn't drawn.
void annWrapText(HDC hDC, HFONT hFont, std::string_view& text, RECT& rect);

// The kernel's settings for painting a bitmap while it lives.
class PaintSettings {
public:
    PaintSettings(HDC hDC, const KernelBitmap& bitmap);
    ~PaintSettings();
    PaintSettings(const PaintSettings&) = delete;
    PaintSettings& operator=(const PaintSettings&) = delete;

private:
    HDC hDC_;
    uint32_t earlier_;
    HPALETTE palette_, oldPalette_;
};

// The ternary raster operation of ANN_ROP2_*.
DWORD annRasterOperation(uint32_t nROP2, bool bInvertXor);
// A transparent object's image gets the region of what isn't transparent, unless it has one.
void annFindTransparency(const AnnObject& record, KernelBitmap& bitmap);
// Paints a bitmap as the object's transparency and raster mode ask for.
void annPaintBitmap(HDC hDC, const AnnObject& record, KernelBitmap& bitmap, const RECT* pSource, const RECT& target,
                    const RECT* pClip, bool bInvertXor);

// A font made for one routine, selected while it lives.
class FontSelection {
public:
    FontSelection(HDC hDC, HFONT font) : hDC_(hDC), font_(font), old_(font ? SelectObject(hDC, font) : nullptr) {}
    ~FontSelection() {
        if (!font_) return;
        SelectObject(hDC_, old_);
        DeleteObject(font_);
    }
    FontSelection(const FontSelection&) = delete;
    FontSelection& operator=(const FontSelection&) = delete;
    explicit operator bool() const { return font_ != nullptr; }
    HFONT font() const { return font_; }

private:
    HDC hDC_;
    HFONT font_;
    HGDIOBJ old_;
};

} // namespace kbann
