// The traversal and its rules: clipping, visibility, raster modes, what stays untouched, hostile numbers.
#include "platform/sys.h"
#include "render/drawing.h"
#include "tests/render/canvas.h"

#include <algorithm>
#include <cmath>
#include <limits>

using namespace kbann;
using namespace kbann::test;

namespace {

constexpr COLORREF white = 0xFFFFFF, black = 0;

HANNOBJECT opaque(HANNOBJECT object, COLORREF color) {
    K_AnnSetFillMode(object, ANN_FILLMODE_OPAQUE, 0);
    K_AnnSetBackColor(object, color, 0);
    K_AnnSetLineStyle(object, ANN_LINE_NULL, 0);
    return object;
}

TEST(Pipeline, ARectangleCoversItsPixels) {
    Tree tree;
    makeItem(tree.root, ANN_OBJECT_RECT, {10, 10, 20, 20});
    const HANNOBJECT redact = makeItem(tree.root, ANN_OBJECT_REDACT, {30, 10, 40, 20});
    Canvas canvas(50, 50);
    canvas.draw(tree.root);
    EXPECT_EQ(canvas.at(20, 20), black); // the frame goes over the last point
    EXPECT_EQ(canvas.at(21, 20), white);
    EXPECT_EQ(canvas.at(15, 15), white);
    EXPECT_EQ(canvas.at(30, 10), black);
    EXPECT_EQ(canvas.at(39, 19), black); // a null pen: one column and row less
    EXPECT_EQ(canvas.at(40, 19), white);
    EXPECT_EQ(canvas.at(39, 20), white);
    K_AnnDestroy(redact, 0);
}

TEST(Pipeline, VisibilityAndClips) {
    Tree tree;
    const HANNOBJECT box = makeItem(tree.root, ANN_OBJECT_CONTAINER, {10, 10, 60, 60});
    const HANNOBJECT item = opaque(makeItem(box, ANN_OBJECT_RECT, {0, 0, 200, 200}), RGB(255, 0, 0));
    const auto drawn = [&](const RECT* clip) {
        Canvas canvas(100, 100);
        canvas.draw(tree.root, clip);
        return canvas.countOther(white);
    };
    EXPECT_EQ(drawn(nullptr), 50 * 50); // nothing shows outside the container
    const RECT part{0, 0, 20, 1000};
    EXPECT_EQ(drawn(&part), 10 * 50);
    K_AnnSetSelected(item, TRUE, 0);
    K_AnnSetVisible(box, FALSE, 0, nullptr);
    EXPECT_EQ(drawn(nullptr), 0); // nor of a visible child of a hidden one
    EXPECT_EQ(K_AnnDraw(nullptr, nullptr, nullptr), ERROR_INV_PARAMETER);
}

TEST(Pipeline, AnItemIsDrawnWithTheOnesInFrontOfIt) {
    Tree tree;
    opaque(makeItem(tree.root, ANN_OBJECT_RECT, {0, 0, 10, 10}), RGB(255, 0, 0));
    const HANNOBJECT second = opaque(makeItem(tree.root, ANN_OBJECT_RECT, {20, 0, 30, 10}), RGB(0, 255, 0));
    opaque(makeItem(tree.root, ANN_OBJECT_RECT, {40, 0, 50, 10}), RGB(0, 0, 255));
    Canvas canvas(60, 20);
    const RECT all{0, 0, 60, 20};
    canvas.draw(second, &all);
    EXPECT_EQ(canvas.at(5, 5), white);
    EXPECT_EQ(canvas.at(25, 5), RGB(0, 255, 0));
    EXPECT_EQ(canvas.at(45, 5), RGB(0, 0, 255));
}

TEST(Pipeline, XorTwiceRestores) {
    Tree tree;
    const HANNOBJECT ellipse = makeItem(tree.root, ANN_OBJECT_ELLIPSE, {5, 5, 80, 60});
    K_AnnSetFillMode(ellipse, ANN_FILLMODE_OPAQUE, 0);
    K_AnnSetBackColor(ellipse, RGB(10, 200, 90), 0);
    K_AnnSetForeColor(ellipse, RGB(200, 0, 90), 0);
    K_AnnSetLineWidth(ellipse, 5, 0);
    K_AnnSetROP2(ellipse, ANN_ROP2_XOR, 0);
    Canvas canvas(100, 80, RGB(90, 120, 30));
    canvas.draw(tree.root);
    EXPECT_GT(canvas.countOther(RGB(90, 120, 30)), 3000);
    canvas.draw(tree.root);
    EXPECT_EQ(canvas.countOther(RGB(90, 120, 30)), 0);
}

TEST(Pipeline, HighlightsAndTheGround) {
    Tree tree;
    makeItem(tree.root, ANN_OBJECT_HILITE, {0, 0, 40, 40});
    Canvas canvas(40, 40, RGB(100, 150, 200));
    canvas.draw(tree.root);
    EXPECT_EQ(canvas.at(10, 10), RGB(100, 150, 0)); // yellow takes the blue away
}

TEST(Pipeline, PatternsKeepToTheirObjectsCorner) {
    const auto picture = [](double x) {
        Tree tree;
        const HANNOBJECT rect = makeItem(tree.root, ANN_OBJECT_RECT, {x, 3, x + 40, 43});
        K_AnnSetFillPattern(rect, ANN_FILLPATTERN_DIAGCROSS, 0);
        Canvas canvas(120, 60);
        canvas.draw(tree.root);
        std::string pixels;
        for (int y = 3; y < 43; ++y)
            for (int i = 0; i < 40; ++i) pixels += canvas.at(static_cast<int>(x) + i, y) == white ? '.' : '#';
        return pixels;
    };
    EXPECT_EQ(picture(5), picture(16));
}

TEST(Pipeline, TheContextComesBackAsItWas) {
    Tree tree;
    for (uint32_t type = 0; type < objectTypeCount; ++type) {
        const HANNOBJECT item = makeItem(tree.root, type, {10, 10, 60, 60});
        const AnnPoint points[] = {{1, 1}, {30, 40}, {50, 20}};
        K_AnnSetPoints(item, points,
                       type == ANN_OBJECT_POINT                              ? 1
                       : type == ANN_OBJECT_LINE || type == ANN_OBJECT_RULER ? 2
                                                                             : 3);
        K_AnnSetText(item, "text", 0);
        K_AnnSetName(item, TRUE, "name", nullptr, -1, 0);
        K_AnnSetSelected(item, TRUE, 0);
        record(item).pszLockKey.assign("k");
    }
    Canvas canvas(100, 100);
    SetTextColor(canvas.dc, 0x123456);
    SetROP2(canvas.dc, R2_NOT);
    SetTextAlign(canvas.dc, TA_BOTTOM);
    const HGDIOBJ pen = GetCurrentObject(canvas.dc, OBJ_PEN), font = GetCurrentObject(canvas.dc, OBJ_FONT);
    const int level = SaveDC(canvas.dc);
    canvas.draw(tree.root);
    EXPECT_EQ(SaveDC(canvas.dc), level + 1);
    EXPECT_EQ(GetTextColor(canvas.dc), 0x123456u);
    EXPECT_EQ(GetROP2(canvas.dc), R2_NOT);
    EXPECT_EQ(GetTextAlign(canvas.dc), UINT{TA_BOTTOM});
    EXPECT_EQ(GetCurrentObject(canvas.dc, OBJ_PEN), pen);
    EXPECT_EQ(GetCurrentObject(canvas.dc, OBJ_FONT), font);
    RECT box;
    GetClipBox(canvas.dc, &box);
    EXPECT_EQ(box.right, 100);
}

TEST(Pipeline, ModesOfUse) {
    Tree tree;
    const HANNOBJECT hotspot = makeItem(tree.root, ANN_OBJECT_HOTSPOT, {20, 20, 60, 60});
    record(hotspot).pszLockKey.assign("k");
    const auto drawn = [&] {
        Canvas canvas(100, 100);
        canvas.draw(tree.root);
        return canvas.countOther(white);
    };
    EXPECT_GT(drawn(), 0); // its locked icon
    K_AnnShowLockedIcon(hotspot, FALSE, 0);
    EXPECT_GT(drawn(), 0); // its picture
    K_AnnShowLockedIcon(hotspot, TRUE, 0);
    K_AnnSetUserMode(hotspot, ANN_USERMODE_RUN);
    EXPECT_EQ(drawn(), 0);
    const HANNOBJECT line = withPoints(tree.root, ANN_OBJECT_LINE, {{5, 5}, {90, 5}});
    record(line).bSelected = 1;
    K_AnnMove(line, 0, 0, 0);
    const int runMode = drawn();
    K_AnnSetUserMode(line, ANN_USERMODE_DESIGN);
    EXPECT_GT(drawn(), runMode + 60); // handles
}

TEST(Pipeline, WordWrap) {
    Canvas canvas(400, 400);
    const HFONT font = CreateFontA(-14, 0, 0, 0, FW_NORMAL, 0, 0, 0, 1, 0, 0, 0, 0, "Arial");
    const HGDIOBJ old = SelectObject(canvas.dc, font);
    TEXTMETRICA metrics;
    GetTextMetricsA(canvas.dc, &metrics);
    const int line = metrics.tmHeight + metrics.tmExternalLeading;
    SIZE word;
    GetTextExtentPoint32A(canvas.dc, "wwww", 4, &word);
    struct {
        const char* name;
        const char* text;
        int width, height, lines;
        const char* rest;
    } rows[] = {{"one line", "wwww", word.cx, 300, 1, ""},
                {"at the space", "wwww wwww", word.cx + 1, 300, 2, ""},
                {"within a long word", "wwwwwwww", word.cx, 300, 2, ""},
                {"a character a line at least", "wwww", 1, 300, 4, ""},
                {"paragraphs", "ww\rww", word.cx, 300, 2, ""},
                {"carriage returns run together", "ww\r\rww", word.cx, 300, 2, ""},
                {"pairs keep an empty line", "ww\r\n\r\nww", word.cx, 300, 3, ""},
                {"cut at the bottom", "wwww wwww wwww", word.cx, 2 * line - 1, 2, "wwww"},
                {"nothing to do", "", word.cx, 300, 0, ""}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string_view text = row.text;
        RECT r{10, 20, 10 + row.width, 20 + row.height};
        annWrapText(canvas.dc, font, text, r);
        EXPECT_EQ(r.bottom, row.lines ? 20 + row.lines * line : 20 + row.height);
        EXPECT_EQ(text, row.rest);
    }
    SelectObject(canvas.dc, old);
    DeleteObject(font);
}

// Of objects that have the clip of a turned quad or a polygon: beyond the clip nothing shows, however large they are, and the
// part that does show doesn't depend on how much of the rest can be seen.
TEST(Pipeline, ClipsOfAnySize) {
    Tree tree;
    const HANNOBJECT stamp = makeItem(tree.root, ANN_OBJECT_STAMP),
                     hotspot = makeItem(tree.root, ANN_OBJECT_FREEHANDHOTSPOT);
    for (const double size : {90.0, 2e6, 1e9}) {
        SCOPED_TRACE(size);
        AnnObject& object = record(stamp);
        object.quad[0] = {100 - size / 3, 100 - size};
        object.quad[1] = {100 - size, 100 + size / 3};
        object.quad[2] = {100 + size / 3, 100 + size};
        const AnnPoint points[] = {object.quad[0], object.quad[1], object.quad[2]};
        ASSERT_EQ(K_AnnSetPoints(hotspot, points, 3), SUCCESS);
        const auto ink = [&](bool polygon, const RECT& seen) {
            Canvas canvas(200, 200);
            IntersectClipRect(canvas.dc, seen.left, seen.top, seen.right, seen.bottom);
            const Drawing d{canvas.dc, {0, 0, 200, 200}, polygon ? record(hotspot) : object, identityMatrix};
            const int saved = SaveDC(canvas.dc);
            EXPECT_TRUE(polygon ? annClipToPolygon(d, points) : annClipToQuad(d));
            const RECT all{0, 0, 200, 200};
            FillRect(canvas.dc, &all, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
            RestoreDC(canvas.dc, saved);
            std::vector<bool> out;
            for (int y = 0; y < 200; ++y)
                for (int x = 0; x < 200; ++x) out.push_back(canvas.at(x, y) == black);
            return out;
        };
        for (const bool polygon : {false, true}) {
            const auto whole = ink(polygon, {0, 0, 200, 200}), part = ink(polygon, {30, 50, 120, 130});
            EXPECT_TRUE(whole[105 * 200 + 95]);
            for (int y = 0; y < 200; ++y)
                for (int x = 0; x < 200; ++x) {
                    const auto i = static_cast<size_t>(y * 200 + x);
                    ASSERT_EQ(part[i], whole[i] && x >= 30 && x < 120 && y >= 50 && y < 130) << x << ", " << y;
                }
            if (size < 100) {
                EXPECT_LT(std::ranges::count(whole, true), 200 * 200 / 2);
            }
        }
    }
}

// What can't get its pen, brush or region isn't drawn in those of the context, nor outside of its own shape.
TEST(Pipeline, WithoutItsToolsAnObjectIsAbsent) {
    Tree tree;
    const Canvas picture(20, 20, RGB(255, 0, 0));
    HANNOBJECT items[] = {makeItem(tree.root, ANN_OBJECT_REDACT, {10, 10, 60, 60}),
                          makeItem(tree.root, ANN_OBJECT_STAMP, {10, 10, 60, 60}),
                          makeItem(tree.root, ANN_OBJECT_TEXT, {10, 10, 60, 60}),
                          withPoints(tree.root, ANN_OBJECT_FREEHANDHOTSPOT, {{10, 10}, {60, 20}, {20, 60}})};
    ASSERT_EQ(K_AnnSetBitmap(items[1], &picture.bitmap, 0), SUCCESS);
    K_AnnSetText(items[2], "wwwwwwwwww wwwwww", 0);
    for (const HANNOBJECT item : {items[1], items[2]}) K_AnnRotate(item, 30, nullptr, 0);
    for (const HANNOBJECT item : items) {
        SCOPED_TRACE(record(item).nType);
        AnnObject& object = record(item);
        std::vector<COLORREF> whole;
        for (int allowed = -1, drawn = 0; !drawn && allowed < 100; ++allowed) { // -1: as many as it takes
            Canvas canvas(100, 100);
            int left = allowed < 0 ? 1000 : allowed;
            KbSetAllocationHook([](SIZE_T, void* p) -> BOOL { return (*static_cast<int*>(p))-- > 0; }, &left);
            const bool done = annDrawObject({canvas.dc, {0, 0, 100, 100}, object, object.xfToClient});
            KbSetAllocationHook(nullptr, nullptr);
            drawn = allowed >= 0 && left >= 0;
            std::vector<COLORREF> pixels;
            for (int y = 0; y < 100; ++y)
                for (int x = 0; x < 100; ++x) pixels.push_back(canvas.at(x, y));
            if (allowed < 0) {
                ASSERT_TRUE(done);
                whole = pixels;
                continue;
            }
            for (size_t i = 0; i < pixels.size(); ++i)
                if (whole[i] == white) {
                    ASSERT_EQ(pixels[i], white) << i % 100 << ", " << i / 100 << " with " << allowed;
                }
            if (object.nType == ANN_OBJECT_REDACT && done) {
                EXPECT_EQ(pixels, whole);
            }
        }
    }
}

TEST(Pipeline, StrangeNumbersAreDrawnNowhereAndSoon) {
    const double inf = std::numeric_limits<double>::infinity();
    for (const double value : {std::nan(""), inf, -inf, 1e300, -2e9, 4e9}) {
        SCOPED_TRACE(value);
        Tree tree;
        for (uint32_t type = 0; type < objectTypeCount; ++type) {
            const HANNOBJECT item = makeItem(tree.root, type, {value, 0, 50, value});
            const AnnPoint points[5] = {{value, 1}, {1, value}, {2, 2}, {value, value}, {5, 5}};
            for (uint32_t n = 1; n <= 5; ++n) K_AnnSetPoints(item, points, n);
            K_AnnSetText(item, "text", 0);
            K_AnnSetLineWidth(item, value < 0 ? 3 : value, 0);
            K_AnnSetFontSize(item, value < 0 ? 3 : value, 0);
            K_AnnSetLineStyle(item, ANN_LINE_DASHDOT, 0);
            K_AnnSetName(item, FALSE, nullptr, nullptr, 0, 0);
            record(item).rcInvalid = {0, 0, 100, 100};
        }
        record(tree.root).rcInvalid = {0, 0, 100, 100};
        Canvas canvas(100, 100);
        canvas.draw(tree.root);
        if (!std::isfinite(value)) {
            EXPECT_EQ(canvas.countOther(white), 0);
        }
    }
}

} // namespace
