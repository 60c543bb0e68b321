// Rulers, cross products and protractors as they are drawn, and their rubber bands, which a second drawing removes.
#include "render/measurement.h"
#include "store/measure.h"
#include "tests/render/canvas.h"
#include "tests/render/golden.h"

#include <cmath>
#include <numbers>

using namespace kbann;
using namespace kbann::test;

namespace {

constexpr COLORREF white = 0xFFFFFF;
constexpr double quarter = std::numbers::pi / 2;

struct Measurement : ::testing::Test {
    Tree tree;

    HANNOBJECT ruler(AnnPoint from, AnnPoint to) { return withPoints(tree.root, ANN_OBJECT_RULER, {from, to}); }
    // Arms of that length at these angles, counter-clockwise from the right, in quarters of a turn.
    HANNOBJECT protractor(AnnPoint at, double first, double second, double length) {
        const auto end = [&](double turns) {
            return AnnPoint{at.x + length * std::cos(turns * quarter), at.y - length * std::sin(turns * quarter)};
        };
        const HANNOBJECT made = withPoints(tree.root, ANN_OBJECT_PROTRACTOR, {end(first), at, end(second)});
        K_AnnSetFontSize(made, 10, 0);
        return made;
    }
    // The crossing lies a third along the second line.
    HANNOBJECT cross(AnnPoint at, double half, double turns) {
        const double c = std::cos(turns * quarter), s = -std::sin(turns * quarter);
        const auto place = [&](double x, double y) { return AnnPoint{at.x + x * c - y * s, at.y + x * s + y * c}; };
        return withPoints(tree.root, ANN_OBJECT_CROSSPRODUCT,
                          {place(half, 0), place(-half, 0), at, place(0, -half / 2), place(0, half)});
    }
    void compare(int width, int height, const char* name) {
        Canvas canvas(width, height);
        canvas.draw(tree.root);
        expectGolden(canvas.bitmap, name);
    }
};

TEST_F(Measurement, RulersInEightDirections) {
    for (int i = 0; i < 16; ++i) {
        const double angle = i % 8 * quarter / 2, x = 65 + 130 * (i % 4), y = 45 + 85 * (i / 4), c = 30 * std::cos(angle),
                     s = 30 * std::sin(angle);
        const bool gauge = i < 8;
        const HANNOBJECT object = ruler({x - c, y - s}, {x + c, y + s});
        K_AnnSetGaugeLength(object, gauge ? 12 : 0.5, 0);
        K_AnnSetForeColor(object, RGB(25 * (i % 8), 40, 200 - 25 * (i % 8)), 0);
        K_AnnSetLineWidth(object, i % 2 ? 3 : 1, 0);
    }
    const HANNOBJECT bare = ruler({10, 365}, {100, 365}), opaque = ruler({170, 365}, {260, 365}),
                     held = ruler({420, 365}, {990, 365});
    K_AnnSetShowFlags(bare, ANN_SHOW_GAUGE, 0);
    K_AnnSetFillMode(opaque, ANN_FILLMODE_OPAQUE, 0);
    K_AnnSetBackColor(opaque, RGB(255, 240, 150), 0);
    K_AnnSetFontBold(opaque, TRUE, 0);
    K_AnnSetUnit(opaque, ANN_UNIT_MICROMETERS, nullptr, 0, 0);
    const AnnRect page{0, 0, 520, 385}; // the text of the last one is pushed in from the right
    K_AnnSetRect(tree.root, &page);
    const AnnPoint ends[] = {{420, 365}, {515, 365}};
    K_AnnSetPoints(held, ends, 2);
    compare(520, 385, "rulers");
}

TEST_F(Measurement, CrossProducts) {
    const double turns[] = {0, 0.3, 1, -0.4};
    for (int i = 0; i < 4; ++i) {
        const HANNOBJECT object = cross({80 + 150.0 * i, 70}, 45, turns[i]);
        K_AnnSetGaugeLength(object, i == 3 ? 0 : 14, 0);
        K_AnnSetForeColor(object, RGB(160 - 40 * i, 30 * i, 80), 0);
        K_AnnSetUnit(object, static_cast<uint32_t>(ANN_UNIT_MILIMETERS + i), nullptr, 3, 0);
    }
    compare(660, 150, "cross_products");
}

// Rows: the quadrant of the first arm; columns: of the second. The last two cells of each opposite pair turn more than half.
TEST_F(Measurement, ProtractorsInAllQuadrants) {
    for (const BOOL acute : {TRUE, FALSE}) {
        SCOPED_TRACE(acute);
        Tree fresh;
        std::swap(tree.root, fresh.root);
        for (int row = 0; row < 4; ++row)
            for (int column = 0; column < 6; ++column) {
                // 0.3 and 0.7 of the quarter, so that opposite arms make less or more than half a turn.
                const bool extra = column >= 4;
                const double first = row + (column == 5 ? 0.75 : 0.35);
                const double second = (extra ? (row + 2) % 4 : column) + (column == 4 ? 0.75 : column == 5 ? 0.2 : 0.65);
                const HANNOBJECT object = protractor({60 + 115.0 * column, 55 + 105.0 * row}, first, second, 48);
                K_AnnSetProtractorOptions(object, acute, ANN_ANGLE_DEGREES, nullptr, 1, 24, 0);
                K_AnnSetForeColor(object, RGB(50 * row, 40 * column, 150), 0);
            }
        compare(700, 425, acute ? "protractors_acute" : "protractors_reflex");
        std::swap(tree.root, fresh.root);
    }
}

TEST_F(Measurement, ProtractorsWithLengthsAndFoldedOnes) {
    struct {
        double first, second;
        BOOL acute;
        uint32_t show;
    } rows[] = {{0.2, 1.3, TRUE, ANN_SHOW_LENGTH | ANN_SHOW_GAUGE},
                {2.4, 0.9, TRUE, ANN_SHOW_LENGTH},
                {1.2, 3.1, FALSE, ANN_SHOW_GAUGE},
                {0.5, 0.5, TRUE, 0},
                {0.5, 0.5, FALSE, 0},
                {0, 2, TRUE, 0},
                {0, 2, FALSE, 0},
                {1, 3, TRUE, ANN_SHOW_LENGTH}};
    int i = 0;
    for (const auto& row : rows) {
        const HANNOBJECT object = protractor({90 + 180.0 * (i % 4), 80 + 150.0 * (i / 4)}, row.first, row.second, 50);
        K_AnnSetProtractorOptions(object, row.acute, i % 2 ? ANN_ANGLE_RADIANS : ANN_ANGLE_DEGREES, nullptr, 2, 30, 0);
        K_AnnSetShowFlags(object, row.show, 0);
        K_AnnSetGaugeLength(object, 10, 0);
        K_AnnSetForeColor(object, RGB(0, 90, 160), 0);
        ++i;
    }
    compare(720, 300, "protractors_lengths");
}

TEST_F(Measurement, Zoomed) {
    for (const HANNOBJECT object :
         {ruler({10, 15}, {70, 30}), cross({110, 45}, 28, 0.2), protractor({25, 75}, 0.1, 0.9, 30)}) {
        K_AnnSetGaugeLength(object, 8, 0);
        K_AnnSetFontSize(object, 6, 0);
        K_AnnSetLineWidth(object, 1, 0);
        K_AnnSetForeColor(object, RGB(120, 0, 60), 0);
        K_AnnSetProtractorOptions(object, TRUE, ANN_ANGLE_DEGREES, nullptr, 2, 15, 0);
        K_AnnSetSelected(object, TRUE, 0);
    }
    K_AnnSetScalarX(tree.root, 3, 0);
    K_AnnSetScalarY(tree.root, 3, 0);
    compare(480, 270, "measures_zoomed");
}

// A gesture's way of drawing: the line inverts what is below it.
struct Band {
    Canvas& canvas;
    explicit Band(Canvas& c) : canvas(c) {
        SaveDC(canvas.dc);
        SetROP2(canvas.dc, R2_NOT);
        SelectObject(canvas.dc, GetStockObject(WHITE_PEN));
    }
    ~Band() { RestoreDC(canvas.dc, -1); }
};

TEST_F(Measurement, DrawingABandTwiceBringsThePixelsBack) {
    K_AnnSetScalarX(tree.root, 1.5, 0);
    const HANNOBJECT objects[] = {ruler({20, 30}, {120, 60}), cross({100, 80}, 40, 0.3), protractor({60, 60}, 0.1, 0.9, 50)};
    K_AnnSetShowFlags(objects[2], ANN_SHOW_LENGTH | ANN_SHOW_GAUGE, 0);
    constexpr uint32_t band = RULER_TEXT | RULER_SETGAUGE | RULER_BAND;
    const auto draw = [&](HDC hDC, AnnObject& r) {
        const AnnMatrix moved = annMul({1, 0, 0, 1, 7, 5}, r.xfToClient);
        if (r.nType == ANN_OBJECT_CROSSPRODUCT) return annDrawCross(hDC, moved, r, band);
        if (r.nType == ANN_OBJECT_PROTRACTOR) return annDrawProtractor(hDC, moved, r, band, 30);
        return annDrawRuler(hDC, &moved, r, r.pPoints[0], r.pPoints[1], r.pMeasure->pszDistance, band,
                            &r.pMeasure->rcDistanceText);
    };
    for (const int bits : {24, 32})
        for (const HANNOBJECT object : objects) {
            Canvas canvas(300, 200, RGB(200, 180, 90), bits);
            canvas.draw(tree.root);
            std::string before, once, twice;
            const auto read = [&](std::string& pixels) {
                for (int y = 0; y < 200; ++y)
                    for (int x = 0; x < 300; ++x) pixels += std::to_string(canvas.at(x, y)) + ' ';
            };
            read(before);
            {
                const Band inverting(canvas);
                EXPECT_TRUE(draw(canvas.dc, record(object)));
                read(once);
                EXPECT_TRUE(draw(canvas.dc, record(object)));
            }
            read(twice);
            EXPECT_NE(before, once);
            EXPECT_TRUE(before == twice) << record(object).nType << " at " << bits << " bits";
        }
}

TEST_F(Measurement, ABandsTextInvertsAndKeepsToTheClip) {
    Canvas canvas(200, 60, RGB(10, 200, 90));
    Text text;
    text.assign("MMM");
    const FontSelection font(canvas.dc, CreateFontA(-30, 0, 0, 0, FW_BOLD, 0, 0, 0, 1, 0, 0, 0, 0, "Arial"));
    SIZE size{};
    ASSERT_TRUE(GetTextExtentPoint32A(canvas.dc, "MMM", 3, &size));
    annBandText(canvas.dc, 20, 5, text, font.font(), size);
    int inverted = 0;
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 200; ++x) inverted += canvas.at(x, y) == RGB(245, 55, 165);
    EXPECT_GT(inverted, 100); // the strokes' middles; their edges are part way
    annBandText(canvas.dc, 20, 5, text, font.font(), size);
    EXPECT_EQ(canvas.countOther(RGB(10, 200, 90)), 0);

    // Cut by the clip, the rest is what it was; a size beyond all bounds takes no more memory than the clip.
    annBandText(canvas.dc, 20, 5, text, font.font(), size);
    std::vector<COLORREF> whole;
    for (int x = 0; x < 200; ++x) whole.push_back(canvas.at(x, 25));
    annBandText(canvas.dc, 20, 5, text, font.font(), size);
    SaveDC(canvas.dc);
    IntersectClipRect(canvas.dc, 40, 0, 60, 60);
    annBandText(canvas.dc, 20, 5, text, font.font(), {INT32_MAX, INT32_MAX});
    RestoreDC(canvas.dc, -1);
    for (int x = 0; x < 200; ++x)
        EXPECT_EQ(canvas.at(x, 25), x >= 40 && x < 60 ? whole[static_cast<size_t>(x)] : RGB(10, 200, 90)) << x;
    annBandText(canvas.dc, 5000, 5, text, font.font(), size); // out of sight
}

// The live text keeps clear of where the object's own stands.
TEST_F(Measurement, ABandsTextStepsAside) {
    const HANNOBJECT object = ruler({20, 50}, {80, 50});
    AnnObject& r = record(object);
    const auto topOfText = [&](uint32_t options, const RECT* avoid) {
        Canvas canvas(300, 100);
        annDrawRuler(canvas.dc, &r.xfToClient, r, r.pPoints[0], r.pPoints[1], r.pMeasure->pszDistance, options, avoid);
        for (int y = 0; y < 100; ++y)
            for (int x = 100; x < 300; ++x)
                if (canvas.at(x, y) != white) return y;
        return -1;
    };
    const RECT own = r.pMeasure->rcDistanceText;
    const int plain = topOfText(RULER_TEXT, nullptr);
    EXPECT_GT(plain, own.top);
    EXPECT_EQ(topOfText(RULER_TEXT, &own), plain); // no band: nothing to avoid
    EXPECT_EQ(topOfText(RULER_TEXT | RULER_BAND, nullptr), plain);
    EXPECT_EQ(topOfText(RULER_TEXT | RULER_BAND, &own), plain - (own.bottom - own.top));
    EXPECT_EQ(topOfText(RULER_BAND, &own), -1); // no text was asked for
}

TEST_F(Measurement, WhatIsLeftOutAndWhatFails) {
    const HANNOBJECT object = ruler({20, 50}, {80, 50});
    AnnObject& r = record(object);
    r.pMeasure->dGaugeLengthCopy = 4;
    const AnnMatrix twice{2, 0, 0, 2, 0, 0};
    const auto barAbove = [&](uint32_t options, const AnnMatrix* matrix, int x) {
        Canvas canvas(300, 160);
        EXPECT_TRUE(
            annDrawRuler(canvas.dc, matrix, r, r.pPoints[0], r.pPoints[1], r.pMeasure->pszDistance, options, nullptr));
        int y = 0;
        while (y < 160 && canvas.at(x, y) == white) ++y;
        return y;
    };
    EXPECT_EQ(barAbove(0, nullptr, 20), 49); // as long as it was last drawn; a line leaves its last pixel out
    EXPECT_EQ(barAbove(RULER_SETGAUGE, &twice, 40), 71);
    EXPECT_EQ(r.pMeasure->dGaugeLengthCopy, 60);
    EXPECT_FALSE(annDrawRuler(nullptr, nullptr, r, {}, {1, 1}, r.pMeasure->pszDistance, RULER_TEXT, nullptr));
    r.pPoints.reset(1);
    EXPECT_TRUE(annDrawRuler(nullptr, nullptr, r, {}, {1, 1}, r.pMeasure->pszDistance, RULER_TEXT, nullptr));

    // Points that are missing, or lie nowhere, or far beyond the page.
    for (const uint32_t type : {ANN_OBJECT_RULER, ANN_OBJECT_CROSSPRODUCT, ANN_OBJECT_PROTRACTOR})
        for (const double place : {50.0, 1e12, HUGE_VAL, std::nan("")})
            for (uint32_t count = 0; count < 8; ++count) {
                const HANNOBJECT odd = makeItem(tree.root, type);
                ASSERT_TRUE(record(odd).pPoints.reset(count));
                for (uint32_t i = 0; i < count; ++i) record(odd).pPoints[i] = {i % 3 ? place : 10.0 * i, 7.0 * i * i};
                K_AnnSetProtractorOptions(odd, count & 1, 0, nullptr, 2, place, 0);
                K_AnnSetShowFlags(odd, count & 3, 0);
            }
    Canvas canvas(120, 120);
    canvas.draw(tree.root);
    EXPECT_GT(canvas.countOther(white), 50);
}

} // namespace
