// How large texts of objects are on the screen. A context and a font for each text would cost more than the measuring, so
// one of these serves a whole walk: it keeps the screen's context, and the font made last for as long as fonts are equal.
// None of it outlives the walk.
#pragma once

#include "store/geometry.h"

namespace kbann {

class TextExtents {
public:
    TextExtents() = default;
    ~TextExtents();
    TextExtents(const TextExtents&) = delete;
    TextExtents& operator=(const TextExtents&) = delete;

    // Of a text in the object's font under a matrix; 0 by 0 when there is no font to be had.
    SIZE of(const AnnObject& record, const AnnMatrix& matrix, const Text& text);

private:
    bool select(const LOGFONTA& wanted);
    void letFontGo();

    HDC screen_ = nullptr;
    HFONT font_ = nullptr;
    HGDIOBJ before_ = nullptr;
    LOGFONTA made_{};
};

} // namespace kbann
