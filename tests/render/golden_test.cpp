// Every kind of object in the ways it can look, as golden pictures.
#include "store/geometry.h"
#include "tests/render/canvas.h"
#include "tests/render/golden.h"

#include <cmath>

using namespace kbann;
using namespace kbann::test;

namespace {

struct Sheet : ::testing::Test {
    Tree tree;
    void compare(int width, int height, const char* name, COLORREF ground = 0xFFFFFF) {
        Canvas canvas(width, height, ground);
        canvas.draw(tree.root);
        expectGolden(canvas.bitmap, name);
    }
    HANNOBJECT item(uint32_t type, AnnRect rect) { return makeItem(tree.root, type, rect); }
};

using Golden = Sheet;

TEST_F(Golden, LineStylesAndWidths) {
    for (uint32_t style = 0; style <= ANN_LINE_NULL; ++style) {
        for (int width = 1; width <= 5; width += 2) {
            const double y = 12 + 55 * style, x = 10 + 100 * (width - 1) / 2.0;
            const HANNOBJECT line = withPoints(tree.root, ANN_OBJECT_LINE, {{x, y}, {x + 90, y + 9}});
            const HANNOBJECT poly = withPoints(tree.root, ANN_OBJECT_POLYLINE,
                                               {{x, y + 15}, {x + 30, y + 35}, {x + 60, y + 15}, {x + 88, y + 40}});
            for (const HANNOBJECT object : {line, poly}) {
                K_AnnSetLineStyle(object, style, 0);
                K_AnnSetLineWidth(object, width, 0);
                K_AnnSetForeColor(object, RGB(180, 20 * style, 40 * width), 0);
            }
        }
    }
    compare(320, 340, "line_styles");
}

TEST_F(Golden, FillsPatternsAndRasterModes) {
    for (uint32_t pattern = 0; pattern <= ANN_FILLPATTERN_VERTICAL; ++pattern) {
        for (uint32_t mode = 0; mode <= ANN_FILLMODE_OPAQUE; ++mode) {
            const double x = 5 + 45 * pattern, y = 5 + 40 * mode;
            const HANNOBJECT rect = item(ANN_OBJECT_RECT, {x, y, x + 38, y + 33});
            K_AnnSetForeColor(rect, RGB(0, 0, 160), 0);
            K_AnnSetBackColor(rect, RGB(255, 220, 120), 0);
            K_AnnSetFillPattern(rect, pattern, 0);
            K_AnnSetFillMode(rect, mode, 0);
        }
    }
    for (uint32_t rop = 0; rop <= ANN_ROP2_XOR; ++rop) {
        const double x = 10 + 100.0 * rop;
        const HANNOBJECT ellipse = item(ANN_OBJECT_ELLIPSE, {x, 90, x + 90, 160});
        K_AnnSetFillMode(ellipse, ANN_FILLMODE_OPAQUE, 0);
        K_AnnSetBackColor(ellipse, RGB(120, 200, 255), 0);
        K_AnnSetLineWidth(ellipse, 3, 0);
        K_AnnSetROP2(ellipse, rop, 0);
    }
    compare(325, 170, "fills", RGB(235, 245, 225));
}

TEST_F(Golden, TurnedShapes) {
    for (int i = 0; i < 5; ++i) {
        const double x = 20 + 75 * i, angle = 22.5 * i;
        const HANNOBJECT rect = item(ANN_OBJECT_RECT, {x, 25, x + 50, 55}),
                         ellipse = item(ANN_OBJECT_ELLIPSE, {x, 95, x + 50, 125}),
                         hilite = item(ANN_OBJECT_HILITE, {x - 5, 60, x + 55, 90});
        K_AnnSetLineWidth(ellipse, 1 + i, 0);
        K_AnnSetBackColor(ellipse, RGB(255, 200, 200), 0);
        K_AnnSetFillMode(ellipse, ANN_FILLMODE_OPAQUE, 0);
        for (const HANNOBJECT object : {rect, ellipse, hilite}) K_AnnRotate(object, angle, nullptr, 0);
    }
    compare(390, 150, "turned");
}

TEST_F(Golden, PointersPolygonsAndStrokes) {
    for (int i = 0; i < 8; ++i) {
        const double angle = i * M_PI / 4, x = 80 + 60 * std::cos(angle), y = 75 + 60 * std::sin(angle);
        const HANNOBJECT pointer = item(ANN_OBJECT_POINTER, {80 + 12 * std::cos(angle), 75 + 12 * std::sin(angle), x, y});
        K_AnnSetLineWidth(pointer, 1 + i % 4, 0);
        K_AnnSetForeColor(pointer, RGB(30 * i, 60, 200 - 20 * i), 0);
        if (i == 7) K_AnnSetLineStyle(pointer, ANN_LINE_NULL, 0);
    }
    std::vector<AnnPoint> star, wave;
    for (int i = 0; i < 5; ++i)
        star.push_back({220 + 60 * std::sin(i * 4 * M_PI / 5), 75 - 60 * std::cos(i * 4 * M_PI / 5)});
    for (int i = 0; i < 60; ++i) wave.push_back({300 + 2.0 * i, 75 + 50 * std::sin(i / 6.0)});
    const HANNOBJECT winding = withPoints(tree.root, ANN_OBJECT_POLYGON, star);
    for (AnnPoint& p : star) p.x += 330;
    const HANNOBJECT alternate = withPoints(tree.root, ANN_OBJECT_POLYGON, star);
    K_AnnSetPolyFillMode(alternate, ANN_POLYFILL_ALTERNATE, 0);
    for (const HANNOBJECT object : {winding, alternate}) {
        K_AnnSetFillMode(object, ANN_FILLMODE_OPAQUE, 0);
        K_AnnSetBackColor(object, RGB(250, 210, 60), 0);
        K_AnnSetLineWidth(object, 2, 0);
    }
    const HANNOBJECT stroke = withPoints(tree.root, ANN_OBJECT_FREEHAND, wave);
    K_AnnSetLineWidth(stroke, 5, 0);
    K_AnnSetForeColor(stroke, RGB(0, 120, 60), 0);
    compare(630, 155, "pointers_polygons");
}

constexpr const char* story = "The quick brown fox jumps over the lazy dog.\r\nA second paragraph\r\n\r\nafter an empty "
                              "line: Donaudampfschifffahrtsgesellschaft";

TEST_F(Golden, Texts) {
    const HANNOBJECT plain = item(ANN_OBJECT_TEXT, {10, 10, 160, 150}), turned = item(ANN_OBJECT_TEXT, {210, 60, 330, 120}),
                     mirrored = item(ANN_OBJECT_TEXT, {370, 10, 500, 150}),
                     opaque = item(ANN_OBJECT_TEXT, {10, 165, 160, 215}), tiny = item(ANN_OBJECT_TEXT, {180, 180, 300, 190}),
                     narrow = item(ANN_OBJECT_TEXT, {320, 165, 322, 300});
    for (const HANNOBJECT text : {plain, turned, mirrored, opaque, tiny, narrow}) K_AnnSetText(text, story, 0);
    K_AnnRotate(turned, 30, nullptr, 0);
    // Mirrored quads keep readable text: a walk over the container flips geometry of what stands in it, so set it directly.
    AnnObject& r = record(mirrored);
    r.quad[0] = {500, 10};
    r.quad[1] = {500, 150};
    r.quad[2] = {370, 150};
    K_AnnMove(mirrored, 0, 0, 0);
    K_AnnSetFontBold(turned, TRUE, 0);
    K_AnnSetFontUnderline(opaque, TRUE, 0);
    K_AnnSetFontItalic(opaque, TRUE, 0);
    K_AnnSetFillMode(opaque, ANN_FILLMODE_OPAQUE, 0);
    K_AnnSetBackColor(opaque, RGB(255, 255, 160), 0);
    K_AnnSetForeColor(opaque, RGB(180, 0, 0), 0);
    K_AnnSetFontSize(tiny, 0.2, 0);
    compare(510, 230, "texts");
}

TEST_F(Golden, SkewedText) {
    for (int i = 0; i < 3; ++i) {
        const HANNOBJECT text = item(ANN_OBJECT_TEXT, {10, 10, 110, 100});
        K_AnnSetText(text, story, 0);
        const double lean = 25.0 * (i - 1), x = 40 + 150 * i;
        AnnObject& r = record(text);
        r.quad[0] = {x + lean, 10};
        r.quad[1] = {x - lean, 120};
        r.quad[2] = {x - lean + 90, 120};
        K_AnnMove(text, 0, 0, 0);
        const HANNOBJECT frame =
            withPoints(tree.root, ANN_OBJECT_POLYGON, {r.quad[0], r.quad[1], r.quad[2], annFourthCorner(r.quad)});
        K_AnnSetForeColor(frame, RGB(200, 200, 255), 0);
    }
    compare(480, 130, "skewed_text");
}

TEST_F(Golden, NotesButtonsAndPins) {
    const HANNOBJECT note = item(ANN_OBJECT_NOTE, {10, 10, 150, 110}), button = item(ANN_OBJECT_BUTTON, {170, 10, 270, 45}),
                     pressed = item(ANN_OBJECT_BUTTON, {170, 60, 270, 95}),
                     open = item(ANN_OBJECT_PUSHPIN, {290, 10, 430, 110}), bare = item(ANN_OBJECT_NOTE, {10, 125, 60, 150});
    for (const HANNOBJECT object : {note, open}) K_AnnSetText(object, story, 0);
    K_AnnSetText(button, "Press me", 0);
    K_AnnSetText(pressed, "Pressed", 0);
    record(pressed).nActiveState = ANN_ACTIVE_ENABLED;
    K_AnnSetBackColor(bare, RGB(180, 255, 180), 0);
    compare(445, 160, "notes_buttons", RGB(200, 220, 240));
}

TEST_F(Golden, RunModePins) {
    const HANNOBJECT closed = item(ANN_OBJECT_PUSHPIN, {10, 10, 60, 60}), open = item(ANN_OBJECT_PUSHPIN, {80, 10, 180, 90});
    K_AnnSetText(closed, "hidden", 0);
    K_AnnSetText(open, "seen", 0);
    record(open).nActiveState = ANN_ACTIVE_ENABLED;
    K_AnnSetUserMode(tree.root, ANN_USERMODE_RUN);
    compare(190, 100, "run_mode_pins");
}

TEST_F(Golden, NamesHandlesAndLocks) {
    const HANNOBJECT rect = item(ANN_OBJECT_RECT, {30, 40, 130, 90}),
                     line = withPoints(tree.root, ANN_OBJECT_POLYLINE, {{160, 40}, {200, 90}, {240, 40}, {280, 90}}),
                     locked = item(ANN_OBJECT_NOTE, {300, 40, 380, 90}),
                     hotspot = item(ANN_OBJECT_HOTSPOT, {400, 40, 450, 90}),
                     corner = item(ANN_OBJECT_HILITE, {0, 0, 20, 10});
    K_AnnSetName(rect, TRUE, "selected", nullptr, -1, 0);
    K_AnnSetName(line, TRUE, "every other node", nullptr, -1, 0);
    K_AnnSetName(hotspot, TRUE, "hotspot", nullptr, -1, 0);
    K_AnnSetName(corner, TRUE, "pushed into the page", nullptr, -1, 0);
    K_AnnSetFillMode(rect, ANN_FILLMODE_OPAQUE, 0);
    K_AnnSetBackColor(rect, RGB(220, 240, 220), 0);
    K_AnnSetNodes(line, TRUE, 1, 0);
    for (const HANNOBJECT object : {rect, line, hotspot}) K_AnnSetSelected(object, TRUE, 0);
    record(locked).pszLockKey.assign("key");
    compare(470, 110, "names_handles");
}

TEST_F(Golden, ZoomedAndNested) {
    K_AnnSetScalarX(tree.root, 2, 0);
    K_AnnSetScalarY(tree.root, 1.5, 0);
    K_AnnSetOffsetX(tree.root, -10, 0);
    const HANNOBJECT box = item(ANN_OBJECT_CONTAINER, {20, 10, 120, 60});
    K_AnnSetLineStyle(box, ANN_LINE_DOT, 0);
    K_AnnSetLineWidth(box, 1, 0);
    const HANNOBJECT inside = makeItem(box, ANN_OBJECT_RECT, {10, 10, 60, 30}),
                     over = makeItem(box, ANN_OBJECT_ELLIPSE, {60, 20, 160, 90});
    K_AnnSetLineWidth(inside, 2, 0);
    K_AnnSetFillPattern(over, ANN_FILLPATTERN_DIAGCROSS, 0);
    const HANNOBJECT text = makeItem(box, ANN_OBJECT_TEXT, {10, 35, 90, 50});
    K_AnnSetText(text, "zoomed", 0);
    compare(260, 110, "zoomed");
}

TEST_F(Golden, PointsAndPictures) {
    for (uint32_t rop = 0; rop <= ANN_ROP2_XOR; ++rop) {
        const HANNOBJECT point = withPoints(tree.root, ANN_OBJECT_POINT, {{20.0 + 30 * rop, 20}});
        record(point).nROP2 = rop;
        K_AnnMove(point, 0, 0, 0);
    }
    compare(100, 40, "points", RGB(120, 200, 160));
}

} // namespace
