// Drawing of measurement objects: in the object's own colours, or as a rubber band that a second drawing removes. Calls go
// inside a bracket of annBeginDraw.
#pragma once

#include "render/drawing.h"

namespace kbann {

enum RulerOptions : uint32_t {
    RULER_TEXTAT0 = 1,  // the text goes to the first point
    RULER_TEXTAT1 = 2,  // to the second; without these to the one further right
    RULER_SETGAUGE = 4, // dGaugeLengthCopy is taken anew under the matrix
    RULER_DIRECT = 8,   // cross product: its points as they are stored, not squared
    RULER_TEXT = 16,    // with the text
    RULER_BAND = 32     // the text inverts what is below it; it keeps clear of where the object's own text stands
};

// The line between two points under a matrix (null: client pixels), its bars and its text. `avoid` counts in a band alone;
// null for none. False when a line can't be drawn; a text that can't is left out.
bool annDrawRuler(HDC hDC, const AnnMatrix* matrix, AnnObject& record, AnnPoint first, AnnPoint second, const Text& text,
                  uint32_t options, const RECT* avoid);
bool annDrawCross(HDC hDC, const AnnMatrix& matrix, AnnObject& record, uint32_t options);
// `radius` of the arc in pixels; below 1 there is none.
bool annDrawProtractor(HDC hDC, const AnnMatrix& matrix, AnnObject& record, uint32_t options, double radius);

// Inverts the pixels of a text of that size, on the context alone where it shows. x, y: its left and top.
void annBandText(HDC hDC, int x, int y, const Text& text, HFONT hFont, SIZE size);

} // namespace kbann
