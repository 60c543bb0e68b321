/* Makes the annotations of the demo with the exported functions alone, as a program in plain C: two pages for the scan (a
 * letter as somebody works on it, a sheet with a specimen of each kind) and one tree for the photo. Stored in the text form. */
#include "examples/page_layout.h"
#include "kbann/kbann.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define PI 3.14159265358979323846

static const COLORREF red = 0x002020D0, blue = 0x00B05010, green = 0x00308020, orange = 0x000080F0, violet = 0x00A02880,
                      ink = 0x00602010, yellow = 0x0060F8FF, paleBlue = 0x00FFE8C0, paleGreen = 0x00C8F0C8,
                      paleRed = 0x00C8C8FF, paleYellow = 0x0098F4FF, cream = 0x00E8F4FA, grey = 0x00808080,
                      white = 0x00FFFFFF, black = 0x00000000;

/* The first failure is kept; calls after it have no effect on the result. */
static int failed = SUCCESS;

static void keep(int code) {
    if (failed == SUCCESS && code != SUCCESS) failed = code;
}

static HANNOBJECT add(HANNOBJECT hContainer, uint32_t nType) {
    HANNOBJECT hItem = NULL;
    keep(K_AnnCreateItem(hContainer, nType, TRUE, &hItem));
    return hItem;
}

static HANNOBJECT addRect(HANNOBJECT hContainer, uint32_t nType, double left, double top, double right, double bottom) {
    const AnnRect rect = {left, top, right, bottom};
    HANNOBJECT hItem = add(hContainer, nType);
    keep(K_AnnSetRect(hItem, &rect));
    return hItem;
}

static HANNOBJECT addPoints(HANNOBJECT hContainer, uint32_t nType, const AnnPoint* pPoints, uint32_t nPoints) {
    HANNOBJECT hItem = add(hContainer, nType);
    keep(K_AnnSetPoints(hItem, pPoints, nPoints));
    return hItem;
}

static HANNOBJECT addLine(HANNOBJECT hContainer, uint32_t nType, double x1, double y1, double x2, double y2) {
    const AnnPoint points[2] = {{x1, y1}, {x2, y2}};
    return addPoints(hContainer, nType, points, 2);
}

static HANNOBJECT line(HANNOBJECT hItem, COLORREF color, double width, uint32_t nStyle) {
    keep(K_AnnSetForeColor(hItem, color, 0));
    keep(K_AnnSetLineWidth(hItem, width, 0));
    keep(K_AnnSetLineStyle(hItem, nStyle, 0));
    return hItem;
}

static HANNOBJECT fill(HANNOBJECT hItem, COLORREF color, uint32_t nMode, uint32_t nPattern) {
    keep(K_AnnSetBackColor(hItem, color, 0));
    keep(K_AnnSetFillPattern(hItem, nPattern, 0));
    keep(K_AnnSetFillMode(hItem, nMode, 0));
    return hItem;
}

static HANNOBJECT font(HANNOBJECT hItem, const char* pszFace, double size, COLORREF color) {
    keep(K_AnnSetFontName(hItem, pszFace, 0));
    keep(K_AnnSetFontSize(hItem, size, 0));
    keep(K_AnnSetForeColor(hItem, color, 0));
    return hItem;
}

static HANNOBJECT addText(HANNOBJECT hContainer, uint32_t nType, double left, double top, double right, double bottom,
                          const char* pszText, double size, COLORREF color) {
    HANNOBJECT hItem = addRect(hContainer, nType, left, top, right, bottom);
    font(hItem, "Arial", size, color);
    keep(K_AnnSetText(hItem, pszText, 0));
    return hItem;
}

static HANNOBJECT name(HANNOBJECT hItem, const char* pszName, double size, double dx, double dy) {
    const AnnPoint offset = {dx, dy};
    keep(K_AnnSetFontSize(hItem, size, 0));
    keep(K_AnnSetName(hItem, TRUE, pszName, &offset, TRUE, 0));
    return hItem;
}

static HANNOBJECT turn(HANNOBJECT hItem, double degrees) {
    keep(K_AnnRotate(hItem, degrees, NULL, 0));
    return hItem;
}

/* Where a word stands on a line of the letter, by the advances of the face that it is printed in. */
static AnnRect wordOnLine(int index, const char* pszWord) {
    AnnRect rect = {0, 0, 0, 0};
    SIZE before = {0, 0}, word = {0, 0};
    const char* pszLine = bodyLines[index];
    const char* pszAt = strstr(pszLine, pszWord);
    HDC hDC = GetDC(NULL);
    HFONT hFont = CreateFontA(-BODY_SIZE, 0, 0, 0, FW_NORMAL, 0, 0, 0, ANSI_CHARSET, OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS,
                              DEFAULT_QUALITY, DEFAULT_PITCH, BODY_FACE);
    HGDIOBJ hOld = SelectObject(hDC, hFont);
    if (pszAt && GetTextExtentPoint32A(hDC, pszLine, (int)(pszAt - pszLine), &before) &&
        GetTextExtentPoint32A(hDC, pszWord, (int)strlen(pszWord), &word)) {
        rect.left = MARGIN + before.cx;
        rect.right = rect.left + word.cx;
        rect.top = BODY_TOP + index * BODY_PITCH;
        rect.bottom = rect.top + word.cy;
    } else {
        keep(ERROR_INV_PARAMETER);
    }
    SelectObject(hDC, hOld);
    DeleteObject(hFont);
    ReleaseDC(NULL, hDC);
    return rect;
}

static HANNOBJECT markWord(HANNOBJECT hRoot, uint32_t nType, int index, const char* pszWord, double margin) {
    const AnnRect word = wordOnLine(index, pszWord);
    return addRect(hRoot, nType, word.left - margin, word.top - margin / 2, word.right + margin, word.bottom + margin / 2);
}

/* A line under a word as a hand draws it. */
static HANNOBJECT underline(HANNOBJECT hRoot, int index, const char* pszWord, COLORREF color) {
    AnnPoint points[64];
    const AnnRect word = wordOnLine(index, pszWord);
    for (int i = 0; i < 64; ++i) {
        points[i].x = word.left + (word.right - word.left) * i / 63;
        points[i].y = word.bottom + 2 + 4 * sin(i * 0.55) + 3 * sin(i * 0.21 + 1);
    }
    return line(addPoints(hRoot, ANN_OBJECT_FREEHAND, points, 64), color, 6, ANN_LINE_SOLID);
}

static HANNOBJECT checkMark(HANNOBJECT hRoot, double x, double y, double size, COLORREF color) {
    AnnPoint points[40];
    for (int i = 0; i < 40; ++i) {
        const double t = i / 39.0;
        points[i].x = x + size * t;
        points[i].y = t < 0.3 ? y + size * 0.9 * t / 0.3 : y + size * 0.9 - size * 1.7 * pow((t - 0.3) / 0.7, 0.8);
    }
    return line(addPoints(hRoot, ANN_OBJECT_FREEHAND, points, 40), color, 12, ANN_LINE_SOLID);
}

static HANNOBJECT makeRoot(double width, double height) {
    const AnnRect rect = {0, 0, width, height};
    HANNOBJECT hRoot = NULL;
    keep(K_AnnCreateContainer(NULL, &rect, TRUE, &hRoot));
    return hRoot;
}

static HANNOBJECT makeLetterTree(void) {
    HANNOBJECT hRoot = makeRoot(PAGE_WIDTH, PAGE_HEIGHT);

    /* What a reader marks */
    markWord(hRoot, ANN_OBJECT_HILITE, 3, "The north wall stands up to 35 mm out of", 4);
    markWord(hRoot, ANN_OBJECT_HILITE, 4, "plumb and has to be underpinned", 4);
    keep(K_AnnSetBackColor(markWord(hRoot, ANN_OBJECT_HILITE, 8, "the deposit of ten per cent is due with the order.", 4),
                           0x00C8FFB0, 0));
    markWord(hRoot, ANN_OBJECT_REDACT, 10, "4711 0815 23", 6);
    underline(hRoot, 7, "eleven weeks", blue);
    line(markWord(hRoot, ANN_OBJECT_ELLIPSE, 8, "\243 48,650", 30), red, 7, ANN_LINE_SOLID);
    line(addRect(hRoot, ANN_OBJECT_RECT, MARGIN - 30, 500, MARGIN + 520, 780), green, 5, ANN_LINE_DASH);
    name(line(addRect(hRoot, ANN_OBJECT_RECT, MARGIN - 30, 840, MARGIN + 470, 926), violet, 5, ANN_LINE_DOT),
         "answered 20 Nov", 40, 0, -4);
    checkMark(hRoot, 230, BODY_TOP + 14 * BODY_PITCH + 30, 48, green);
    checkMark(hRoot, 230, BODY_TOP + 15 * BODY_PITCH + 30, 48, green);

    /* A remark with its pointer */
    const AnnRect sum = wordOnLine(8, "48,650");
    const double remarkTop = BODY_TOP + 5 * BODY_PITCH + 20, noteTop = 2480;
    line(addLine(hRoot, ANN_OBJECT_POINTER, sum.right - 10, sum.top - 18, 880, remarkTop + 44), red, 7, ANN_LINE_SOLID);
    HANNOBJECT hRemark = addText(hRoot, ANN_OBJECT_TEXT, 900, remarkTop, 2200, remarkTop + 70,
                                 "Compare with the offer of October: 46,200", 56, red);
    keep(K_AnnSetFontItalic(hRemark, TRUE, 0));

    HANNOBJECT hNote =
        addText(hRoot, ANN_OBJECT_NOTE, 1560, noteTop, 2240, noteTop + 400,
                "Crane: booked for 10 to 14 March, ask the harbour office for the permit.\r\n\r\nKeys: with Mrs Lindqvist, "
                "upper floor, from nine to twelve.",
                48, ink);
    keep(K_AnnSetBackColor(hNote, paleYellow, 0));

    keep(K_AnnSetFontBold(turn(addText(hRoot, ANN_OBJECT_TEXT, 1650, 2240, 2350, 2320, "checked, see page 2", 62, blue), -9),
                          TRUE, 0));
    HANNOBJECT hStamp = addText(hRoot, ANN_OBJECT_STAMP, 1750, 250, 2290, 400, "APPROVED", 92, red);
    keep(K_AnnSetFontBold(hStamp, TRUE, 0));
    line(hStamp, red, 8, ANN_LINE_SOLID);
    turn(hStamp, -8);

    /* A legend, grouped */
    HANNOBJECT hGroup = addRect(hRoot, ANN_OBJECT_CONTAINER, MARGIN, 3020, MARGIN + 1180, 3270);
    keep(K_AnnSetGrouping(hGroup, TRUE, 0));
    line(fill(addRect(hGroup, ANN_OBJECT_RECT, 4, 4, 1176, 246), cream, ANN_FILLMODE_OPAQUE, ANN_FILLPATTERN_SOLID), blue, 4,
         ANN_LINE_SOLID);
    addRect(hGroup, ANN_OBJECT_HILITE, 40, 40, 150, 100);
    addText(hGroup, ANN_OBJECT_TEXT, 180, 42, 560, 100, "cost or quality", 44, black);
    line(addRect(hGroup, ANN_OBJECT_ELLIPSE, 40, 145, 150, 205), red, 6, ANN_LINE_SOLID);
    addText(hGroup, ANN_OBJECT_TEXT, 180, 148, 560, 206, "to be settled", 44, black);
    addRect(hGroup, ANN_OBJECT_REDACT, 610, 40, 720, 100);
    addText(hGroup, ANN_OBJECT_TEXT, 750, 42, 1160, 100, "not for the file", 44, black);
    checkMark(hGroup, 640, 170, 44, green);
    addText(hGroup, ANN_OBJECT_TEXT, 750, 148, 1160, 206, "done", 44, black);

    HANNOBJECT hButton = addText(hRoot, ANN_OBJECT_BUTTON, 1560, 3020, 1960, 3120, "Open estimate", 46, black);
    keep(K_AnnSetTag(hButton, 100, 0));
    static const struct {
        uint32_t nType;
        const char* pszName;
    } links[3] = {{ANN_OBJECT_HOTSPOT, "drawing 3"}, {ANN_OBJECT_AUDIO, "voice note"}, {ANN_OBJECT_VIDEO, "site film"}};
    for (int i = 0; i < 3; ++i) {
        HANNOBJECT hLink = addRect(hRoot, links[i].nType, 1560 + i * 250, 3200, 1790 + i * 250, 3280);
        keep(K_AnnSetForeColor(hLink, blue, 0));
        keep(K_AnnSetFontUnderline(hLink, TRUE, 0));
        name(hLink, links[i].pszName, 42, 0, 0);
    }
    return hRoot;
}

/* --- The sampler -------------------------------------------------------------------------------------------------- */

/* The free part of a cell. */
static AnnRect cell(int row, int column) {
    AnnRect rect;
    rect.left = CELL_LEFT + column * CELL_WIDTH + 36;
    rect.top = CELL_TOP + row * CELL_HEIGHT + 30;
    rect.right = CELL_LEFT + (column + 1) * CELL_WIDTH - 36;
    rect.bottom = CELL_TOP + (row + 1) * CELL_HEIGHT - CAPTION_HEIGHT - 22;
    return rect;
}

static HANNOBJECT fillCell(HANNOBJECT hRoot, uint32_t nType, int row, int column) {
    const AnnRect r = cell(row, column);
    return addRect(hRoot, nType, r.left, r.top, r.right, r.bottom);
}

static void star(AnnPoint* pPoints, AnnRect r) {
    const double x = (r.left + r.right) / 2, y = (r.top + r.bottom) / 2 + 8, radius = (r.bottom - r.top) / 2 + 4;
    for (int i = 0; i < 5; ++i) {
        const double angle = -PI / 2 + i * 4 * PI / 5;
        pPoints[i].x = x + 1.6 * radius * cos(angle);
        pPoints[i].y = y + radius * sin(angle);
    }
}

static void samplerLinesAndFills(HANNOBJECT hRoot) {
    static const struct {
        uint32_t nStyle;
        double width;
    } frames[4] = {{ANN_LINE_SOLID, 3}, {ANN_LINE_DASH, 4}, {ANN_LINE_DOT, 6}, {ANN_LINE_DASHDOT, 8}};
    for (int i = 0; i < 4; ++i) line(fillCell(hRoot, ANN_OBJECT_RECT, 0, i), blue, frames[i].width, frames[i].nStyle);

    static const uint32_t patterns[8] = {ANN_FILLPATTERN_BDIAGONAL, ANN_FILLPATTERN_CROSS,      ANN_FILLPATTERN_DIAGCROSS,
                                         ANN_FILLPATTERN_FDIAGONAL, ANN_FILLPATTERN_HORIZONTAL, ANN_FILLPATTERN_VERTICAL,
                                         ANN_FILLPATTERN_SOLID,     ANN_FILLPATTERN_SOLID};
    static const uint32_t modes[8] = {ANN_FILLMODE_TRANSPARENT, ANN_FILLMODE_TRANSPARENT, ANN_FILLMODE_TRANSPARENT,
                                      ANN_FILLMODE_TRANSPARENT, ANN_FILLMODE_TRANSPARENT, ANN_FILLMODE_OPAQUE,
                                      ANN_FILLMODE_OPAQUE,      ANN_FILLMODE_TRANSLUCENT};
    const COLORREF lines[8] = {green, green, green, green, violet, violet, violet, violet};
    for (int i = 0; i < 8; ++i) {
        HANNOBJECT hItem = fillCell(hRoot, i < 4 ? ANN_OBJECT_ELLIPSE : ANN_OBJECT_RECT, 1 + i / 4, i % 4);
        fill(line(hItem, lines[i], 4, ANN_LINE_SOLID), i < 6 ? paleGreen : paleRed, modes[i], patterns[i]);
    }
}

static void samplerPoints(HANNOBJECT hRoot) {
    const AnnRect lines = cell(3, 0), zigzag = cell(3, 1), pointers = cell(4, 0), hand = cell(4, 1);
    AnnPoint points[120];
    for (int i = 0; i < 5; ++i) {
        const double y = lines.top + 10 + i * (lines.bottom - lines.top - 20) / 4;
        line(addLine(hRoot, ANN_OBJECT_LINE, lines.left, y, lines.right, y), ink, 5, (uint32_t)i);
    }
    for (int i = 0; i < 9; ++i) {
        points[i].x = zigzag.left + i * (zigzag.right - zigzag.left) / 8;
        points[i].y = i % 2 ? zigzag.top + 20 : zigzag.bottom - 20 - i * 6;
    }
    line(addPoints(hRoot, ANN_OBJECT_POLYLINE, points, 9), orange, 9, ANN_LINE_SOLID);
    for (int i = 0; i < 2; ++i) {
        star(points, cell(3, 2 + i));
        HANNOBJECT hStar = line(addPoints(hRoot, ANN_OBJECT_POLYGON, points, 5), red, 5, ANN_LINE_SOLID);
        keep(K_AnnSetPolyFillMode(hStar, i ? ANN_POLYFILL_ALTERNATE : ANN_POLYFILL_WINDING, 0));
        fill(hStar, yellow, ANN_FILLMODE_OPAQUE, ANN_FILLPATTERN_SOLID);
    }

    line(addLine(hRoot, ANN_OBJECT_POINTER, pointers.right - 20, pointers.top + 20, pointers.left + 20, pointers.top + 90),
         blue, 3, ANN_LINE_SOLID);
    line(addLine(hRoot, ANN_OBJECT_POINTER, pointers.right - 20, pointers.bottom - 40, pointers.left + 20,
                 pointers.bottom - 10),
         red, 9, ANN_LINE_SOLID);
    for (int i = 0; i < 120; ++i) {
        const double t = i / 119.0;
        points[i].x = hand.left + (hand.right - hand.left) * t;
        points[i].y = (hand.top + hand.bottom) / 2 + 95 * sin(t * 19) * (1 - t) + 24 * sin(t * 47);
    }
    line(addPoints(hRoot, ANN_OBJECT_FREEHAND, points, 120), violet, 6, ANN_LINE_SOLID);

    for (int column = 2; column < 4; ++column) {
        const AnnRect r = cell(4, column);
        const double x = (r.left + r.right) / 2, y = (r.top + r.bottom) / 2;
        for (int i = 0; i < 2; ++i) {
            HANNOBJECT hItem =
                addRect(hRoot, column == 2 ? ANN_OBJECT_RECT : ANN_OBJECT_ELLIPSE, x - 170, y - 50, x + 170, y + 50);
            fill(line(hItem, i ? orange : blue, 5, ANN_LINE_SOLID), paleBlue, ANN_FILLMODE_TRANSLUCENT,
                 ANN_FILLPATTERN_SOLID);
            turn(hItem, i ? 24 : -24);
        }
    }
}

static void samplerTexts(HANNOBJECT hRoot) {
    const AnnRect plain = cell(5, 0), turned = cell(5, 1), wrapped = cell(5, 2), note = cell(5, 3);
    addText(hRoot, ANN_OBJECT_TEXT, plain.left, plain.top, plain.right, plain.top + 60, "Plain, 44 units", 44, black);
    HANNOBJECT hBold = addText(hRoot, ANN_OBJECT_TEXT, plain.left, plain.top + 74, plain.right, plain.top + 140,
                               "Bold and underlined", 44, blue);
    keep(K_AnnSetFontBold(hBold, TRUE, 0));
    keep(K_AnnSetFontUnderline(hBold, TRUE, 0));
    HANNOBJECT hSerif = addText(hRoot, ANN_OBJECT_TEXT, plain.left, plain.top + 150, plain.right, plain.bottom,
                                "Slanted, with serifs", 44, green);
    keep(K_AnnSetFontName(hSerif, "Times New Roman", 0));
    keep(K_AnnSetFontItalic(hSerif, TRUE, 0));

    const double x = (turned.left + turned.right) / 2, y = (turned.top + turned.bottom) / 2;
    turn(addText(hRoot, ANN_OBJECT_TEXT, x - 230, y - 26, x + 10, y + 30, "uphill, 30", 48, red), -30);
    turn(addText(hRoot, ANN_OBJECT_TEXT, x + 10, y - 26, x + 250, y + 30, "down, 30", 48, green), 30);
    turn(addText(hRoot, ANN_OBJECT_TEXT, x - 120, y - 30, x + 120, y + 26, "upright", 48, grey), -90);
    addText(hRoot, ANN_OBJECT_TEXT, wrapped.left, wrapped.top, wrapped.right, wrapped.bottom,
            "A longer text is broken into lines where a word doesn't fit any more.\r\nLine feeds break it too.", 40, ink);
    addText(hRoot, ANN_OBJECT_NOTE, note.left + 20, note.top, note.right - 20, note.bottom,
            "A note has its own ground, yellow unless told otherwise.", 42, ink);
}

static void samplerMixing(HANNOBJECT hRoot) {
    for (int i = 0; i < 3; ++i) {
        const AnnRect r = cell(6, i);
        const COLORREF colors[3] = {0x006060FF, 0x0060E060, 0x00FF8060};
        for (int k = 0; k < 3; ++k) {
            HANNOBJECT hDisc = addRect(hRoot, ANN_OBJECT_ELLIPSE, r.left + 20 + k * 110, r.top + (k % 2) * 40,
                                       r.left + 210 + k * 110, r.top + 190 + (k % 2) * 40);
            fill(line(hDisc, colors[k], 1, ANN_LINE_SOLID), colors[k], ANN_FILLMODE_OPAQUE, ANN_FILLPATTERN_SOLID);
            keep(K_AnnSetROP2(hDisc, (uint32_t)i, 0));
        }
    }
    const AnnRect marks = cell(6, 3);
    addText(hRoot, ANN_OBJECT_TEXT, marks.left, marks.top + 10, marks.right, marks.top + 80, "seen through colour", 46,
            black);
    addRect(hRoot, ANN_OBJECT_HILITE, marks.left, marks.top + 8, marks.left + 284, marks.top + 72);
    addText(hRoot, ANN_OBJECT_TEXT, marks.left, marks.top + 130, marks.right, marks.top + 200, "hidden for good", 46, black);
    addRect(hRoot, ANN_OBJECT_REDACT, marks.left, marks.top + 128, marks.left + 220, marks.top + 192);
}

static void samplerOthers(HANNOBJECT hRoot) {
    const AnnRect button = cell(7, 0), group = cell(7, 1), names = cell(7, 2), widths = cell(7, 3);
    addText(hRoot, ANN_OBJECT_BUTTON, button.left + 20, button.top, button.left + 300, button.top + 84, "Continue", 42,
            black);
    HANNOBJECT hSecond = addText(hRoot, ANN_OBJECT_BUTTON, button.left + 130, button.top + 120, button.right - 20,
                                 button.bottom, "Back", 42, blue);
    keep(K_AnnSetFontItalic(hSecond, TRUE, 0));

    HANNOBJECT hOuter = addRect(hRoot, ANN_OBJECT_CONTAINER, group.left, group.top, group.right, group.bottom);
    line(hOuter, grey, 4, ANN_LINE_DASH);
    line(fill(addRect(hOuter, ANN_OBJECT_ELLIPSE, 20, 20, 180, 130), paleBlue, ANN_FILLMODE_OPAQUE, ANN_FILLPATTERN_SOLID),
         blue, 4, ANN_LINE_SOLID);
    HANNOBJECT hInner = addRect(hOuter, ANN_OBJECT_CONTAINER, 200, 60, 430, 220);
    line(hInner, grey, 3, ANN_LINE_DOT);
    keep(K_AnnSetGrouping(hInner, TRUE, 0));
    line(addRect(hInner, ANN_OBJECT_RECT, 20, 20, 140, 100), red, 5, ANN_LINE_SOLID);
    line(addRect(hInner, ANN_OBJECT_RECT, 90, 60, 210, 140), orange, 5, ANN_LINE_SOLID);

    HANNOBJECT hNamed =
        line(addRect(hRoot, ANN_OBJECT_RECT, names.left + 10, names.top + 60, names.left + 190, names.bottom - 10), blue, 4,
             ANN_LINE_SOLID);
    name(hNamed, "above", 40, 0, 0);
    hNamed = line(addRect(hRoot, ANN_OBJECT_ELLIPSE, names.left + 240, names.top + 60, names.right - 10, names.bottom - 10),
                  violet, 4, ANN_LINE_SOLID);
    name(hNamed, "moved", 40, 46, 118);

    static const double steps[6] = {0, 2, 5, 10, 18, 28};
    double y = widths.top + 4;
    for (int i = 0; i < 6; ++i) {
        y += steps[i] / 2 + 12;
        line(addLine(hRoot, ANN_OBJECT_LINE, widths.left + 20, y, widths.right - 20, y), black, steps[i], ANN_LINE_SOLID);
        y += steps[i] / 2 + 12;
    }
}

static HANNOBJECT makeSamplerTree(void) {
    HANNOBJECT hRoot = makeRoot(PAGE_WIDTH, PAGE_HEIGHT);
    samplerLinesAndFills(hRoot);
    samplerPoints(hRoot);
    samplerTexts(hRoot);
    samplerMixing(hRoot);
    samplerOthers(hRoot);
    return hRoot;
}

static HANNOBJECT makePhotoTree(void) {
    HANNOBJECT hRoot = makeRoot(PHOTO_WIDTH, PHOTO_HEIGHT);
    line(addRect(hRoot, ANN_OBJECT_ELLIPSE, 1030, 350, 1230, 550), white, 4, ANN_LINE_SOLID);
    line(addLine(hRoot, ANN_OBJECT_POINTER, 1038, 410, 850, 270), white, 4, ANN_LINE_SOLID);
    HANNOBJECT hText = addText(hRoot, ANN_OBJECT_TEXT, 550, 225, 850, 290, "sun at 17:42", 44, white);
    keep(K_AnnSetFontBold(hText, TRUE, 0));
    const AnnPoint shore[7] = {{40, 730}, {260, 712}, {470, 738}, {700, 716}, {930, 734}, {1210, 714}, {1560, 732}};
    line(addPoints(hRoot, ANN_OBJECT_POLYLINE, shore, 7), orange, 5, ANN_LINE_DASH);
    const AnnPoint bay[5] = {{180, 820}, {520, 790}, {700, 900}, {560, 1040}, {230, 990}};
    HANNOBJECT hBay = line(addPoints(hRoot, ANN_OBJECT_POLYGON, bay, 5), ink, 4, ANN_LINE_SOLID);
    fill(hBay, 0x00FFFF00, ANN_FILLMODE_TRANSLUCENT, ANN_FILLPATTERN_SOLID);
    name(hBay, "moorings", 36, 20, -6);
    HANNOBJECT hNote = addText(hRoot, ANN_OBJECT_NOTE, 1180, 860, 1540, 1090,
                               "Low water line as of March. The slipway ends to the left of the dark patch.", 38, ink);
    keep(K_AnnSetBackColor(hNote, paleYellow, 0));
    turn(line(addRect(hRoot, ANN_OBJECT_RECT, 820, 860, 1080, 1010), 0x0080FF80, 5, ANN_LINE_DASHDOT), 14);
    return hRoot;
}

static void savePages(const char* pszFolder, const char* pszName, HANNOBJECT* pRoots, int count) {
    char path[4096];
    if (snprintf(path, sizeof path, "%s/%s", pszFolder, pszName) >= (int)sizeof path) {
        keep(ERROR_INV_PARAMETER);
        return;
    }
    KernelSaveOptions options;
    K_DefaultSaveOptions(&options, sizeof options);
    options.uFlags = 0;
    for (int i = 0; i < count; ++i) {
        if (failed == SUCCESS) keep(K_AnnSave(path, pRoots[i], ANN_FMT_NATIVE, FALSE, &options));
        if (pRoots[i]) keep(K_AnnDestroy(pRoots[i], 0));
        options.uFlags = SAVE_INSERTPAGE;
        options.nPageNumber = -1;
    }
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fputs("usage: make_tree FOLDER\n", stderr);
        return 2;
    }
    HANNOBJECT scan[2] = {makeLetterTree(), makeSamplerTree()};
    HANNOBJECT photo[1] = {makePhotoTree()};
    savePages(argv[1], "scan.kba", scan, 2);
    savePages(argv[1], "photo.kba", photo, 1);
    if (failed != SUCCESS) {
        fprintf(stderr, "make_tree: the library gave %d\n", failed);
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
