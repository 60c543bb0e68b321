// Text: word wrap, into an upright rectangle or along the axes of a turned, mirrored or skewed quad. A run is found by
// adding up character widths, then checked with the exact extent, as summing alone would drift with rounding.
#include "render/drawing.h"
#include "store/measure.h"

#include <algorithm>
#include <numbers>

namespace kbann {
namespace {

constexpr double pi = std::numbers::pi;

using CharWidths = std::array<INT, 256>;

// From the drawing context, else from a screen context, else each character measured alone.
CharWidths charWidths(HDC hDC, HFONT hFont) {
    CharWidths widths{};
    if (GetCharWidth32A(hDC, 0, 255, widths.data())) return widths;
    bool done = false;
    if (const HDC screen = GetDC(nullptr)) {
        const HGDIOBJ old = SelectObject(screen, hFont);
        done = GetCharWidth32A(screen, 0, 255, widths.data());
        SelectObject(screen, old);
        ReleaseDC(nullptr, screen);
    }
    for (size_t i = 0; i < widths.size() && !done; ++i) {
        const char c = static_cast<char>(i);
        SIZE size{};
        GetTextExtentPoint32A(hDC, &c, 1, &size);
        widths[i] = size.cx;
    }
    return widths;
}

int extentOf(HDC hDC, std::string_view run) {
    SIZE size{};
    GetTextExtentPoint32A(hDC, run.data(), static_cast<int>(run.size()), &size);
    return size.cx;
}

// The longest run whose exact extent fits, searched from a first guess: outwards by doubling steps, then by halving, since a
// scaling map mode can put the guess far off. At least one character.
size_t exactFit(HDC hDC, std::string_view paragraph, int width, size_t guess) {
    const auto fits = [&](size_t n) { return extentOf(hDC, paragraph.substr(0, n)) <= width; };
    size_t low = guess, high = guess + 1, step = 1; // low fits, high doesn't
    if (fits(guess)) {
        while (high <= paragraph.size() && fits(high)) {
            low = high;
            high += step *= 2;
        }
        high = std::min(high, paragraph.size() + 1);
    } else {
        high = guess;
        low = guess - 1;
        while (low > 1 && !fits(low)) {
            high = low;
            step *= 2;
            low = low > step ? low - step : 1;
        }
    }
    while (high > low + 1) {
        const size_t middle = low + (high - low) / 2;
        (fits(middle) ? low : high) = middle;
    }
    return std::max<size_t>(low, 1);
}

// Length of the run that goes on one line; at least one character.
size_t runLength(HDC hDC, const CharWidths& widths, std::string_view paragraph, int width) {
    size_t n = 0;
    int64_t sum = 0;
    while (n < paragraph.size() && (sum += widths[static_cast<uint8_t>(paragraph[n])]) <= width) ++n;
    n = std::max<size_t>(n, 1);
    n = exactFit(hDC, paragraph, width, n);
    if (n == paragraph.size()) return n;
    const size_t space = paragraph.rfind(' ', n); // also the one right behind the run
    return space == std::string_view::npos || space == 0 ? n : space;
}

// Calls emit(run) for each line (an empty run for an empty paragraph) until the text is used up or emit says that there is no
// more room. `text` becomes the rest.
template <class Emit> void layOut(HDC hDC, const CharWidths& widths, std::string_view& text, int width, Emit&& emit) {
    bool room = true;
    while (!text.empty() && room) {
        std::string_view paragraph = text.substr(0, text.find('\r'));
        text.remove_prefix(paragraph.size());
        if (paragraph.empty()) room = emit(paragraph);
        while (!paragraph.empty() && room) {
            const size_t n = runLength(hDC, widths, paragraph, width);
            room = emit(paragraph.substr(0, n));
            paragraph.remove_prefix(std::min(paragraph.find_first_not_of(' ', n), paragraph.size()));
        }
        if (!paragraph.empty()) { // the room ended within it
            text = {paragraph.data(), paragraph.size() + text.size()};
            return;
        }
        text.remove_prefix(std::min(text.find_first_not_of('\r'), text.size()));
        if (text.starts_with('\n')) text.remove_prefix(1);
    }
}

int lineHeight(HDC hDC) {
    TEXTMETRICA metrics{};
    GetTextMetricsA(hDC, &metrics);
    return std::max<int>(metrics.tmHeight + metrics.tmExternalLeading, 1);
}

} // namespace

void annWrapText(HDC hDC, HFONT hFont, std::string_view& text, RECT& rect) {
    if (annIsEmpty(rect) || text.empty()) return;
    const CharWidths widths = charWidths(hDC, hFont);
    const int height = lineHeight(hDC);
    int32_t y = rect.top;
    layOut(hDC, widths, text, annAdd(rect.right, -int64_t{rect.left}), [&](std::string_view run) {
        if (!run.empty()) TextOutA(hDC, rect.left, y, run.data(), static_cast<int>(run.size()));
        y = annAdd(y, height);
        return y < rect.bottom;
    });
    rect.bottom = y;
}

bool annDrawText(const Drawing& d) {
    if (!d.record.pszText) return true;
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket || !annClipToQuad(d)) return false;
    const auto [a, b, c, theta, ignored, delta, mirrored] = annTurnQuad(d.matrix, d.record.quad);
    const FontSelection font(d.hDC, annMakeFont(d.matrix, d.record, annTextAngle(theta)));
    if (!font) return false;
    const CharWidths widths = charWidths(d.hDC, font.font());
    const double height = lineHeight(d.hDC), phi = annDirection(b, a);
    const AnnPoint step{-height * std::cos(phi), -height * std::sin(phi)};
    AnnPoint at = a;
    if ((delta > pi / 2 && delta < pi) || delta > 3 * pi / 2) { // skewed
        const double along = -height / std::tan(delta);
        at = {at.x + along * std::cos(theta), at.y + along * std::sin(theta)};
    }
    // What lies beyond the quad's far side is clipped anyway.
    const double visibleLines = std::hypot(a.x - b.x, a.y - b.y) / height + 2;
    double line = 0;
    std::string_view text = d.record.pszText.view();
    layOut(d.hDC, widths, text, annRound(std::hypot(c.x - b.x, c.y - b.y)), [&](std::string_view run) {
        if (!run.empty()) TextOutA(d.hDC, annRound(at.x), annRound(at.y), run.data(), static_cast<int>(run.size()));
        at = {at.x + step.x, at.y + step.y};
        return ++line < visibleLines;
    });
    return true;
}

} // namespace kbann
