// Rulers, cross products and protractors on a device context.
#include "render/measurement.h"
#include "contracts/raster_kernel.h"
#include "render/device_points.h"
#include "store/measure.h"

namespace kbann {
namespace {

// Draws a text where place(size) says; without a font it stays out.
template <class Place> void drawMeasure(HDC hDC, const AnnMatrix* matrix, const AnnObject& record, const Text& text,
                                        uint32_t options, Place&& place) {
    const bool band = options & RULER_BAND;
    const AnnMatrix& seen = band ? record.xfToClient : matrix ? *matrix : identityMatrix;
    const FontSelection font(hDC, annMakeFont(seen, record, 0));
    if (!font) return;
    SetTextAlign(hDC, TA_LEFT | TA_TOP);
    const int length = static_cast<int>(text.length());
    SIZE size{};
    if (!GetTextExtentPoint32A(hDC, text.c_str(), length, &size)) size = TextExtents().of(record, seen, text);
    const RECT at = place(size);
    if (annIsEmpty(at)) return; // the container has no room at all
    if (band)
        annBandText(hDC, at.left, at.top, text, font.font(), size);
    else
        TextOutA(hDC, at.left, at.top, text.c_str(), length);
}

void drawArc(HDC hDC, const AnnObject& record, const POINT (&p)[3], double radius) {
    const int32_t r = annTruncate(radius);
    if (r < 1) return;
    const int side = annArcSide(record, p);
    if (side == 1 && record.bAcute) return;
    const POINT &vertex = p[1], &from = p[side], &to = p[2 - side];
    Arc(hDC, annAdd(vertex.x, -int64_t{r}), annAdd(vertex.y, -int64_t{r}), annAdd(vertex.x, r), annAdd(vertex.y, r), from.x,
        from.y, to.x, to.y);
}

} // namespace

bool annDrawRuler(HDC hDC, const AnnMatrix* matrix, AnnObject& record, AnnPoint first, AnnPoint second, const Text& text,
                  uint32_t options, const RECT* avoid) {
    if (record.nPoints() < 2) return true;
    double& gauge = record.pMeasure->dGaugeLengthCopy;
    if (options & RULER_SETGAUGE) gauge = annScale(record.dGaugeLength, matrix ? *matrix : identityMatrix);
    const RulerStrokes strokes = annRulerStrokes(record, matrix, first, second, gauge);
    bool drawn = true;
    for (const auto& stroke : std::span(strokes.ends, strokes.count)) drawn = Polyline(hDC, stroke, 2) && drawn;
    if (!(options & RULER_TEXT) || !text || !(record.uShowFlags & ANN_SHOW_LENGTH)) return drawn;
    const TextEnd end = options & RULER_TEXTAT1   ? TextEnd::second
                        : options & RULER_TEXTAT0 ? TextEnd::first
                                                  : TextEnd::furtherRight;
    const bool band = options & RULER_BAND;
    drawMeasure(hDC, matrix, record, text, options, [&](SIZE size) {
        return annPlaceLineText(record, band ? nullptr : matrix, strokes.line(), end, size, band ? avoid : nullptr);
    });
    return drawn;
}

bool annDrawCross(HDC hDC, const AnnMatrix& matrix, AnnObject& record, uint32_t options) {
    if (record.nPoints() < 5) return true;
    AnnPoint points[5];
    std::copy_n(record.pPoints.begin(), 5, points);
    const bool direct = options & RULER_DIRECT;
    if (!direct) annCrossSquare(&matrix, points);
    const AnnMatrix* left = direct ? &matrix : nullptr; // what is left to be done to the points
    const MeasurePart& part = *record.pMeasure;
    const bool first =
        annDrawRuler(hDC, left, record, points[0], points[1], part.pszDistance, options, &part.rcDistanceText);
    return annDrawRuler(hDC, left, record, points[3], points[4], part.pszDistance2, options, &part.rcDistance2Text) && first;
}

bool annDrawProtractor(HDC hDC, const AnnMatrix& matrix, AnnObject& record, uint32_t options, double radius) {
    const std::span<const AnnPoint> own{record.pPoints.data(), record.nPoints()};
    if (own.size() < 2) return true;
    const MeasurePart& part = *record.pMeasure;
    bool drawn = true;
    if (record.uShowFlags) {
        drawn = annDrawRuler(hDC, &matrix, record, own[0], own[1], part.pszDistance, options | RULER_TEXTAT0,
                             &part.rcDistanceText);
        if (own.size() >= 3)
            drawn = annDrawRuler(hDC, &matrix, record, own[1], own[2], part.pszDistance2, options | RULER_TEXTAT1,
                                 &part.rcDistance2Text) &&
                    drawn;
    } else {
        DevicePoints pixels;
        if (!pixels.assign(own, matrix)) return false;
        drawn = Polyline(hDC, pixels.data(), pixels.size());
    }
    if (own.size() < 3) return drawn;
    AnnPoint points[3];
    POINT pixels[3];
    for (size_t i = 0; i < 3; ++i) pixels[i] = annRound(points[i] = annApply(matrix, own[i]));
    drawArc(hDC, record, pixels, radius);
    const bool band = options & RULER_BAND;
    if (options & RULER_TEXT && part.pszAngle)
        drawMeasure(hDC, &matrix, record, part.pszAngle, options, [&](SIZE size) {
            return annPlaceAngleText(record, band ? nullptr : &matrix, points, radius, size,
                                     band ? &part.rcAngleText : nullptr);
        });
    return drawn;
}

void annBandText(HDC hDC, int x, int y, const Text& text, HFONT hFont, SIZE size) {
    // A text may be as large as a file likes; what lies outside the clip needs no pixels.
    RECT part{x, y, annAdd(x, size.cx), annAdd(y, size.cy)}, clip;
    if (GetClipBox(hDC, &clip) == ERROR) return;
    part = annIntersect(part, clip);
    if (annIsEmpty(part)) return;
    const int width = part.right - part.left, height = part.bottom - part.top;
    const HDC memory = CreateCompatibleDC(hDC);
    const HBITMAP bitmap = memory ? CreateCompatibleBitmap(hDC, width, height) : nullptr;
    if (bitmap) {
        const HGDIOBJ oldBitmap = SelectObject(memory, bitmap), oldFont = SelectObject(memory, hFont);
        PatBlt(memory, 0, 0, width, height, WHITENESS);
        SetTextColor(memory, 0x000000);
        SetBkMode(memory, TRANSPARENT);
        TextOutA(memory, annAdd(x, -int64_t{part.left}), annAdd(y, -int64_t{part.top}), text.c_str(),
                 static_cast<int>(text.length()));
        BitBlt(hDC, part.left, part.top, width, height, memory, 0, 0, KB_ROP_XOR_INVERTED);
        SelectObject(memory, oldFont);
        SelectObject(memory, oldBitmap);
        DeleteObject(bitmap);
    }
    if (memory) DeleteDC(memory);
}

bool annDrawMeasurement(const Drawing& d) {
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket) return false;
    AnnObject& record = d.record;
    constexpr uint32_t options = RULER_TEXT | RULER_SETGAUGE;
    if (record.nType == ANN_OBJECT_CROSSPRODUCT) return annDrawCross(d.hDC, d.matrix, record, options | RULER_DIRECT);
    if (record.nType == ANN_OBJECT_PROTRACTOR)
        return annDrawProtractor(d.hDC, d.matrix, record, options, annScale(record.dArcRadius, d.matrix));
    if (record.nPoints() < 2) return true;
    return annDrawRuler(d.hDC, &d.matrix, record, record.pPoints[0], record.pPoints[1], record.pMeasure->pszDistance,
                        options, nullptr);
}

} // namespace kbann
