// Notes, buttons and pushpins: upright sheets with a shadow, bevels, a picture and wrapped text.
#include "contracts/raster_kernel.h"
#include "platform/user.h"
#include "render/drawing.h"

namespace kbann {
namespace {

constexpr int shadowWidth = 4;
constexpr int textMargin = 5;
constexpr DWORD patternAndDestination = 0x00A000C9;

void fill(HDC hDC, COLORREF color, int left, int top, int width, int height) {
    const HBRUSH brush = CreateSolidBrush(color);
    if (!brush) return;
    const RECT r{left, top, annAdd(left, width), annAdd(top, height)};
    FillRect(hDC, &r, brush);
    DeleteObject(brush);
}

// A checker pattern that darkens what it lies on.
void drawShadow(HDC hDC, const RECT& r) {
    static constexpr uint16_t checker[8] = {0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55};
    const HBITMAP bitmap = CreateBitmap(8, 8, 1, 1, checker);
    const HBRUSH brush = bitmap ? CreatePatternBrush(bitmap) : nullptr;
    if (brush) {
        const int saved = SaveDC(hDC);
        SelectObject(hDC, brush);
        SetBkColor(hDC, 0x000000);
        SetTextColor(hDC, 0xFFFFFF);
        PatBlt(hDC, r.left + shadowWidth, r.bottom - shadowWidth, r.right - r.left - shadowWidth, shadowWidth,
               patternAndDestination);
        PatBlt(hDC, r.right - shadowWidth, r.top + shadowWidth, shadowWidth, r.bottom - r.top - shadowWidth,
               patternAndDestination);
        RestoreDC(hDC, saved);
        DeleteObject(brush);
    }
    if (bitmap) DeleteObject(bitmap);
}

void drawSheet(HDC hDC, const RECT& r) {
    const HGDIOBJ old = SelectObject(hDC, GetStockObject(BLACK_PEN));
    Rectangle(hDC, r.left, r.top, r.right - shadowWidth, r.bottom - shadowWidth);
    SelectObject(hDC, old);
    drawShadow(hDC, r);
}

// Top and left edges in one colour, right and bottom in the other.
void drawBevel(HDC hDC, int x, int y, int w, int h, COLORREF topLeft, COLORREF bottomRight) {
    fill(hDC, topLeft, x, y, w - 1, 1);
    fill(hDC, topLeft, x, y, 1, h - 1);
    fill(hDC, bottomRight, x + w - 1, y, 1, h);
    fill(hDC, bottomRight, x, y + h - 1, w, 1);
}

void drawCaption(const Drawing& d, const RECT& r, bool pressed) {
    const FontSelection font(d.hDC, annMakeFont(d.matrix, d.record, 0));
    if (!font) return;
    const Text& text = d.record.pszText;
    SIZE size{};
    GetTextExtentPoint32A(d.hDC, text.c_str(), static_cast<int>(text.length()), &size);
    const int x = r.left + (r.right - r.left - size.cx - 3) / 2 + pressed;
    const int y = r.top + (r.bottom - r.top - size.cy - 2) / 2 + pressed;
    ExtTextOutA(d.hDC, x, y, ETO_CLIPPED, &r, text.c_str(), text.length(), nullptr);
}

// The target's size under a matrix, for a picture at the top left corner.
RECT pictureRect(const KernelBitmap& picture, const AnnMatrix& m, int32_t left, int32_t top) {
    const double w = picture.Width, h = picture.Height;
    return {left, top, annAdd(left, annRound(m.a * w + m.b * h)), annAdd(top, annRound(m.c * w + m.d * h))};
}

} // namespace

bool annDrawNote(const Drawing& d) {
    RECT r;
    if (!annUprightRect(d, r)) return false;
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
    drawSheet(d.hDC, r);
    if (!d.record.pszText) return true;
    const FontSelection font(d.hDC, annMakeFont(d.matrix, d.record, 0));
    if (!font) return false;
    SetBkMode(d.hDC, TRANSPARENT);
    RECT inner{r.left + textMargin, r.top + textMargin, r.right - shadowWidth - textMargin,
               r.bottom - shadowWidth - textMargin};
    std::string_view text = d.record.pszText.view();
    annWrapText(d.hDC, font.font(), text, inner);
    return true;
}

bool annDrawButton(const Drawing& d) {
    RECT r;
    if (!annUprightRect(d, r)) return false;
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
    const bool pressed = d.record.nActiveState == ANN_ACTIVE_ENABLED;
    const COLORREF frame = GetSysColor(COLOR_WINDOWFRAME), shadow = GetSysColor(COLOR_BTNSHADOW),
                   face = GetSysColor(COLOR_BTNFACE), highlight = GetSysColor(COLOR_BTNHIGHLIGHT);
    const int w = r.right - r.left - 2, h = r.bottom - r.top - 2, x = r.left + 1, y = r.top + 1;
    fill(d.hDC, frame, x, r.top, w, 1);
    fill(d.hDC, frame, x, r.bottom - 1, w, 1);
    fill(d.hDC, frame, r.left, y, 1, h);
    fill(d.hDC, frame, r.right - 1, y, 1, h);
    fill(d.hDC, face, x, y, w, h);
    if (pressed) {
        drawBevel(d.hDC, x, y, w, h, shadow, face);
    } else {
        drawBevel(d.hDC, x, y, w, h, highlight, shadow);
        drawBevel(d.hDC, x + 1, y + 1, w - 2, h - 2, face, shadow);
    }
    if (d.record.pszText) drawCaption(d, r, pressed);
    return true;
}

bool annDrawPushpin(const Drawing& d) {
    RECT r;
    if (!annUprightRect(d, r)) return false;
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
    const bool open = d.record.nUserMode == ANN_USERMODE_DESIGN || d.record.nActiveState == ANN_ACTIVE_ENABLED;
    if (open) drawSheet(d.hDC, r);
    r = annInflate(r, -textMargin);
    if (annIsEmpty(r)) return true;
    IntersectClipRect(d.hDC, r.left, r.top, r.right, r.bottom);
    RECT image{r.left, r.top, r.left, r.top};
    if (d.record.bitmap.Allocated) {
        KernelBitmap& picture = open ? d.record.bitmap : d.record.pPushpin->bitmap2;
        image = pictureRect(picture, d.matrix, r.left, r.top);
        const RECT clip = annIntersect(d.clip, r);
        if (picture.Allocated) annPaintBitmap(d.hDC, d.record, picture, nullptr, image, &clip, false);
        image.right = annAdd(image.right, 1);
        image.bottom = annAdd(image.bottom, 1);
    }
    if (!open || !d.record.pszText) return true;
    const FontSelection font(d.hDC, annMakeFont(d.matrix, d.record, 0));
    if (!font) return false;
    SetBkMode(d.hDC, TRANSPARENT);
    std::string_view text = d.record.pszText.view();
    RECT beside{image.right, r.top, r.right, image.bottom};
    annWrapText(d.hDC, font.font(), text, beside);
    RECT below{r.left, beside.bottom, r.right, r.bottom};
    annWrapText(d.hDC, font.font(), text, below);
    return true;
}

} // namespace kbann
