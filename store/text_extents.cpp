// Measuring texts on a screen context.
#include "store/text_extents.h"
#include "platform/user.h"

#include <cstring>

namespace kbann {

TextExtents::~TextExtents() {
    letFontGo();
    if (screen_) ReleaseDC(nullptr, screen_);
}

void TextExtents::letFontGo() {
    if (!font_) return;
    SelectObject(screen_, before_);
    DeleteObject(font_);
    font_ = nullptr;
}

bool TextExtents::select(const LOGFONTA& wanted) {
    if (font_ && !std::memcmp(&made_, &wanted, sizeof made_)) return true;
    letFontGo();
    if (!screen_) screen_ = GetDC(nullptr);
    if (!screen_) return false;
    font_ = CreateFontIndirectA(&wanted);
    if (!font_) return false;
    before_ = SelectObject(screen_, font_);
    made_ = wanted;
    return true;
}

SIZE TextExtents::of(const AnnObject& record, const AnnMatrix& matrix, const Text& text) {
    SIZE size{};
    if (select(annFontOf(matrix, record, 0)))
        GetTextExtentPoint32A(screen_, text.c_str(), static_cast<int>(text.length()), &size);
    return size;
}

} // namespace kbann
