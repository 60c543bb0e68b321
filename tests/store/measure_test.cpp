// Lengths and angles in their units, their texts and where they stand, the rectangles around them.
#include "store/measure.h"
#include "store/units.h"
#include "tests/store/support.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

using namespace kbann;
using namespace kbann::test;

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr uint32_t lengthAlone = ANN_SHOW_LENGTH, gaugeAlone = ANN_SHOW_GAUGE;

std::string text(const RECT& r) {
    return std::to_string(r.left) + ' ' + std::to_string(r.top) + ' ' + std::to_string(r.right) + ' ' +
           std::to_string(r.bottom);
}

HANNOBJECT withPoints(HANNOBJECT root, uint32_t type, std::vector<AnnPoint> points) {
    const HANNOBJECT made = makeItem(root, type);
    EXPECT_EQ(K_AnnSetPoints(made, points.data(), static_cast<uint32_t>(points.size())), SUCCESS);
    return made;
}

const MeasurePart& measured(HANNOBJECT object) { return *record(object).pMeasure; }
std::string lengthText(HANNOBJECT object) { return std::string(measured(object).pszDistance.view()); }

RECT deviceRect(HANNOBJECT object, uint32_t uOptions, const AnnMatrix* matrix = nullptr) {
    RECT r;
    annDeviceRect(record(object), matrix ? *matrix : record(object).xfToClient, r, nullptr, uOptions);
    return r;
}

RECT inflated(const RECT& r) { return annInflate(r, 1); } // room for a line of width 1

// 3 and 4 inches, where each axis has its own resolution or none is known.
TEST(Measuring, LengthsInAllUnits) {
    struct {
        uint32_t unit;
        double value;
        const char* text;
    } rows[] = {{ANN_UNIT_INCHES, 5, "5.000 in"},         {ANN_UNIT_FEET, 5.0 / 12, "0.417 ft"},
                {ANN_UNIT_YARDS, 5.0 / 36, "0.139 yd"},   {ANN_UNIT_MICROMETERS, 127000, "127000.000 \xB5m"},
                {ANN_UNIT_MILIMETERS, 127, "127.000 mm"}, {ANN_UNIT_CENTIMETERS, 12.7, "12.700 cm"},
                {ANN_UNIT_METERS, 0.127, "0.127 m"},      {ANN_UNIT_TWIPS, 7200, "7200.000 twips"},
                {ANN_UNIT_POINTS, 360, "360.000 pt"}};
    struct {
        double dpiX, dpiY;
        AnnPoint to;
    } pages[] = {{100, 200, {310, 820}}, {0, 0, {460, 620}}, {0, 200, {460, 820}}, {0.5, 72, {460, -268}}};
    Tree tree;
    for (const auto& page : pages) {
        const HANNOBJECT ruler = withPoints(tree.root, ANN_OBJECT_RULER, {{10, 20}, page.to});
        record(ruler).dBitmapDpiX = page.dpiX;
        record(ruler).dBitmapDpiY = page.dpiY;
        for (const auto& row : rows) {
            SCOPED_TRACE(row.text);
            EXPECT_EQ(K_AnnSetUnit(ruler, row.unit, nullptr, 3, 0), SUCCESS);
            double value = 0;
            EXPECT_EQ(K_AnnGetDistance(ruler, &value, nullptr), SUCCESS);
            EXPECT_NEAR(value, row.value, 1e-9 * row.value);
            EXPECT_EQ(lengthText(ruler), row.text);
        }
        EXPECT_EQ(record(ruler).dBitmapDpiX, page.dpiX < 1 ? 150.0 : page.dpiX);
        EXPECT_EQ(record(ruler).dBitmapDpiY, page.dpiY < 1 ? 150.0 : page.dpiY);
        const double dx = page.to.x - 10, dy = page.to.y - 20;
        K_AnnSetUnit(ruler, ANN_UNIT_PIXELS, nullptr, 3, 0);
        EXPECT_EQ(measured(ruler).dDistance, std::sqrt(dx * dx + dy * dy));
        EXPECT_TRUE(lengthText(ruler).ends_with(" pixels"));
    }
}

TEST(Measuring, ZoomAndPlaceDontChangeALength) {
    Tree tree;
    const HANNOBJECT ruler = withPoints(tree.root, ANN_OBJECT_RULER, {{10, 20}, {310.1, 420.7}});
    const double before = measured(ruler).dDistance;
    K_AnnSetScalarX(tree.root, 1.0 / 3, 0);
    K_AnnSetScalarY(tree.root, 7, 0);
    K_AnnSetOffsetX(tree.root, -0.1, 0);
    EXPECT_EQ(measured(ruler).dDistance, before);
    K_AnnSetScalarX(tree.root, 0, 0); // nothing to see, but the object's own scalars are sound
    EXPECT_EQ(measured(ruler).dDistance, before);

    // A scalar of its own that is 0: the old number stays.
    K_AnnSetScalarX(ruler, 0, 0);
    const AnnPoint other[] = {{0, 0}, {1, 1}};
    K_AnnSetPoints(ruler, other, 2);
    EXPECT_EQ(measured(ruler).dDistance, before);
    K_AnnSetScalarX(ruler, 1, 0);
    EXPECT_NE(measured(ruler).dDistance, before);

    // Client pixels, as a rubber band has them, come back into the object's space.
    K_AnnSetScalarX(tree.root, 2, 0);
    K_AnnSetScalarY(tree.root, 4, 0);
    record(ruler).nUnit = ANN_UNIT_PIXELS;
    const AnnPoint client[] = {{0, 0}, {60, 160}};
    double length = 0;
    Text written;
    EXPECT_EQ(annMeasure(record(ruler), nullptr, client, length, written), SUCCESS);
    EXPECT_DOUBLE_EQ(length, 50);
    const AnnMatrix doubled = annMul({2, 0, 0, 2, 0, 0}, record(ruler).xfToClient);
    const AnnPoint own[] = {{0, 0}, {30, 40}};
    EXPECT_EQ(annMeasure(record(ruler), &doubled, own, length, written), SUCCESS);
    EXPECT_DOUBLE_EQ(length, 100);
    // Into the object's space first, 15 by 10, then the matrix.
    constexpr AnnMatrix quarterTurn{0, 1, -1, 0, 0, 0};
    EXPECT_EQ(annMeasure(record(ruler), &quarterTurn, own, length, written), SUCCESS);
    EXPECT_DOUBLE_EQ(length, std::sqrt(325.0));
}

TEST(Measuring, DigitsBehindThePoint) {
    Tree tree;
    const HANNOBJECT ruler = withPoints(tree.root, ANN_OBJECT_RULER, {{0, 0}, {1, 0}});
    for (const uint32_t precision : {0u, 1u, 2u, 17u, 200u})
        for (const double x : {1.0, 2.5, 0.1, 1e-300, 1e150, std::numeric_limits<double>::max()}) {
            record(ruler).pPoints[1].x = x;
            EXPECT_EQ(K_AnnSetUnit(ruler, ANN_UNIT_PIXELS, "x", precision, 0), SUCCESS);
            char expected[600];
            std::snprintf(expected, sizeof expected, "%.*f x", static_cast<int>(precision), measured(ruler).dDistance);
            EXPECT_EQ(lengthText(ruler), expected);
        }
    EXPECT_EQ(lengthText(ruler), "inf x"); // the square of the greatest number is beyond it
    EXPECT_EQ(K_AnnSetUnit(ruler, ANN_UNIT_PIXELS, "x", 201, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(record(ruler).nUnitPrecision, 200u);

    struct {
        AnnPoint to;
        const char* text;
    } rows[] = {{{infinite, 0}, "inf mm"},
                {{-infinite, 5}, "inf mm"},
                {{std::nan(""), 0}, "nan mm"},
                {{0, -std::nan("")}, "nan mm"}};
    record(ruler).nUnit = ANN_UNIT_MILIMETERS;
    record(ruler).pszUnitAbbrev.assign("mm");
    record(ruler).nUnitPrecision = UINT32_MAX; // as stored data may have it
    for (const auto& row : rows) {
        const AnnPoint points[] = {{0, 0}, row.to};
        EXPECT_EQ(K_AnnSetPoints(ruler, points, 2), SUCCESS);
        EXPECT_EQ(lengthText(ruler), row.text);
    }
    record(ruler).nUnit = 10; // there is none: what was measured stays
    const AnnPoint points[] = {{0, 0}, {3, 4}};
    EXPECT_EQ(K_AnnSetPoints(ruler, points, 2), SUCCESS);
    EXPECT_EQ(lengthText(ruler), "nan mm");
}

TEST(Measuring, Angles) {
    constexpr double pi = 3.14159265358979;
    struct {
        const char* name;
        AnnPoint first, second; // arms about 0, 0
        double acute;
    } rows[] = {{"right angle", {10, 0}, {0, 10}, pi / 2},
                {"the other way round", {0, 10}, {10, 0}, pi / 2},
                {"across the start of counting", {-10, 1}, {-10, -1}, 2 * std::atan(0.1)},
                {"up and down", {0, -10}, {0, 10}, pi},
                {"left and right", {-10, 0}, {10, 0}, pi},
                {"60 degrees", {10, 0}, {10, 10 * std::sqrt(3)}, pi / 3},
                {"on each other", {10, 10}, {20, 20}, 0},
                {"the arm's end on the vertex counts as below", {0, 0}, {10, 0}, pi / 2},
                {"both ends on the vertex", {0, 0}, {0, 0}, 0}};
    Tree tree;
    for (const auto& row : rows)
        for (const uint32_t unit : {ANN_ANGLE_DEGREES, ANN_ANGLE_RADIANS})
            for (const BOOL acute : {TRUE, FALSE}) {
                SCOPED_TRACE(row.name + std::string(acute ? " acute " : " reflex ") + std::to_string(unit));
                const HANNOBJECT protractor = withPoints(
                    tree.root, ANN_OBJECT_PROTRACTOR,
                    {{500 + row.first.x, 500 + row.first.y}, {500, 500}, {500 + row.second.x, 500 + row.second.y}});
                EXPECT_EQ(K_AnnSetProtractorOptions(protractor, acute, unit, nullptr, 1, 30, 0), SUCCESS);
                const double radians = acute ? row.acute : 2 * pi - row.acute;
                double angle = -1;
                EXPECT_EQ(K_AnnGetAngle(protractor, &angle), SUCCESS);
                EXPECT_NEAR(angle, unit == ANN_ANGLE_RADIANS ? radians : radians * 180 / pi, 1e-11);
                char expected[40];
                std::snprintf(expected, sizeof expected, unit == ANN_ANGLE_RADIANS ? "%.1f rad" : "%.1f\xB0", angle);
                EXPECT_EQ(measured(protractor).pszAngle.view(), expected);
            }

    // Angles are those on the screen, lengths those of the object.
    const HANNOBJECT protractor = withPoints(tree.root, ANN_OBJECT_PROTRACTOR, {{200, 100}, {100, 100}, {200, 200}});
    K_AnnSetShowFlags(protractor, lengthAlone, 0);
    const double length = measured(protractor).dDistance2;
    EXPECT_NEAR(measured(protractor).dAngle, 45, 1e-9);
    K_AnnSetScalarY(tree.root, std::sqrt(3), 0);
    EXPECT_NEAR(measured(protractor).dAngle, 60, 1e-9);
    EXPECT_EQ(measured(protractor).dDistance2, length);
    EXPECT_NEAR(length, std::hypot(100, 100) * 25.4 / 150, 1e-9);
}

TEST(Measuring, WhatEachTypeMeasures) {
    Tree tree;
    const HANNOBJECT cross =
        withPoints(tree.root, ANN_OBJECT_CROSSPRODUCT, {{100, 200}, {400, 200}, {250, 200}, {250, 100}, {250, 250}});
    K_AnnSetUnit(cross, ANN_UNIT_PIXELS, nullptr, 0, 0);
    EXPECT_EQ(measured(cross).pszDistance.view(), "300 pixels");
    EXPECT_EQ(measured(cross).pszDistance2.view(), "150 pixels");
    double second = 0;
    EXPECT_EQ(K_AnnGetDistance(cross, nullptr, &second), SUCCESS);
    EXPECT_EQ(second, 150);

    // A protractor without lengths measures none, but its angle; with them both arms.
    const HANNOBJECT protractor = withPoints(tree.root, ANN_OBJECT_PROTRACTOR, {{200, 100}, {100, 100}, {100, 300}});
    EXPECT_EQ(measured(protractor).dDistance, 0);
    EXPECT_NEAR(measured(protractor).dAngle, 90, 1e-9);
    K_AnnSetUnit(protractor, ANN_UNIT_PIXELS, nullptr, 0, 0);
    K_AnnSetShowFlags(protractor, lengthAlone, 0);
    EXPECT_EQ(measured(protractor).dDistance, 100);
    EXPECT_EQ(measured(protractor).dDistance2, 200);
    K_AnnSetShowFlags(protractor, gaugeAlone, 0); // the texts have left the screen
    EXPECT_TRUE(annIsEmpty(measured(protractor).rcDistanceText));
    EXPECT_TRUE(annIsEmpty(measured(protractor).rcDistance2Text));
    EXPECT_FALSE(annIsEmpty(measured(protractor).rcAngleText));

    // Points that are missing: nothing to measure, nothing to see.
    for (const uint32_t type : {ANN_OBJECT_RULER, ANN_OBJECT_CROSSPRODUCT, ANN_OBJECT_PROTRACTOR})
        for (uint32_t count = 0; count < 8; ++count) {
            const HANNOBJECT object = makeItem(tree.root, type);
            EXPECT_TRUE(record(object).pPoints.reset(count));
            for (uint32_t i = 0; i < count; ++i) record(object).pPoints[i] = {300.0 + 9 * i, 300.0 + 4 * i * i};
            annUpdate(record(object), Repaint::none);
            const uint32_t needed = type == ANN_OBJECT_RULER ? 2 : type == ANN_OBJECT_CROSSPRODUCT ? 5 : 3;
            const bool whole = type == ANN_OBJECT_PROTRACTOR ? count == needed : count >= needed;
            EXPECT_EQ(!annIsEmpty(annShapeBounds(record(object), record(object).xfToClient)), whole) << type << ' ' << count;
            EXPECT_EQ(record(object).nHandles, count);
        }
}

TEST(MeasureTexts, BesideTheEndOfALine) {
    constexpr SIZE size{20, 11};
    constexpr POINT middle{100, 100};
    struct {
        const char* direction;
        POINT end;
        const char* place;
    } rows[] = {{"right", {150, 100}, "153 95 173 106"},  {"right and up", {150, 50}, "153 36 173 47"},
                {"up", {100, 50}, "103 36 123 47"},       {"left and up", {50, 50}, "27 36 47 47"},
                {"left", {50, 100}, "27 95 47 106"},      {"left and down", {50, 150}, "27 153 47 164"},
                {"down", {100, 150}, "103 153 123 164"},  {"right and down", {150, 150}, "153 153 173 164"},
                {"nowhere", {100, 100}, "103 95 123 106"}};
    const HANNOBJECT ruler = make(ANN_OBJECT_RULER);
    const AnnObject& r = record(ruler);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.direction);
        const POINT line[2] = {middle, row.end}, back[2] = {row.end, middle};
        EXPECT_EQ(text(annPlaceLineText(r, nullptr, line, TextEnd::second, size, nullptr)), row.place);
        EXPECT_EQ(text(annPlaceLineText(r, nullptr, back, TextEnd::first, size, nullptr)), row.place);
        // Left to itself the text goes to the end further right, or to the lower one.
        const bool further = row.end.x > 100 || (row.end.x == 100 && row.end.y >= 100);
        const RECT free = annPlaceLineText(r, nullptr, line, TextEnd::furtherRight, size, nullptr);
        EXPECT_EQ(text(free) == row.place, further);
        EXPECT_EQ(text(free), text(annPlaceLineText(r, nullptr, back, TextEnd::furtherRight, size, nullptr)));
    }

    // The gap grows with the line as it is seen.
    constexpr AnnMatrix thrice{3, 0, 0, 3, 0, 0};
    struct {
        double width;
        const AnnMatrix* matrix;
        int gap;
    } gaps[] = {{0, nullptr, 3}, {5.7, nullptr, 3}, {5.8, nullptr, 4}, {10, nullptr, 7}, {10, &thrice, 21}};
    const POINT line[2] = {middle, {150, 100}};
    for (const auto& row : gaps) {
        record(ruler).dLineWidth = row.width;
        EXPECT_EQ(annPlaceLineText(r, row.matrix, line, TextEnd::second, size, nullptr).left, 150 + row.gap) << row.width;
    }
    K_AnnDestroy(ruler, 0);
}

TEST(MeasureTexts, StayInTheContainerAndClearOfOthers) {
    constexpr SIZE size{40, 12};
    Tree tree; // 0, 0, 1000, 1000
    const AnnObject& r = record(withPoints(tree.root, ANN_OBJECT_RULER, {{0, 0}, {1, 0}}));
    const auto placed = [&](POINT from, POINT at, const RECT* avoid = nullptr) {
        const POINT line[2] = {from, at};
        return text(annPlaceLineText(r, &r.xfToClient, line, TextEnd::second, size, avoid));
    };
    EXPECT_EQ(placed({500, 500}, {900, 500}), "903 494 943 506");
    EXPECT_EQ(placed({500, 500}, {990, 500}), "960 494 1000 506");
    EXPECT_EQ(placed({500, 500}, {10, 500}), "0 494 40 506");
    EXPECT_EQ(placed({500, 500}, {520, 999}), "523 988 563 1000");
    EXPECT_EQ(placed({500, 500}, {520, 2}), "523 0 563 12");
    // The container under another matrix is seen through the object's own space: turned first, then taken back by the
    // object's scalars.
    AnnObject& scaled = record(withPoints(tree.root, ANN_OBJECT_RULER, {{0, 0}, {1, 0}}));
    K_AnnSetScalarX(annToHandle(&scaled), 2, 0);
    K_AnnSetScalarY(annToHandle(&scaled), 4, 0);
    constexpr AnnMatrix quarterTurn{0, -1, 1, 0, 1000, 0};
    constexpr POINT falling[2] = {{500, 500}, {900, 900}};
    EXPECT_EQ(text(annPlaceLineText(scaled, &quarterTurn, falling, TextEnd::second, size, nullptr)), "460 238 500 250");

    const RECT own{903, 494, 943, 506}, beside{903, 500, 943, 512}, apart{910, 500, 950, 512}, atTop{523, 0, 563, 12},
        clear{903, 506, 943, 518};
    EXPECT_EQ(placed({500, 500}, {900, 500}, &own), "903 482 943 494");
    EXPECT_EQ(placed({500, 500}, {900, 500}, &beside), "903 488 943 500");
    EXPECT_EQ(placed({500, 500}, {900, 500}, &apart), "903 494 943 506"); // shares no edge
    EXPECT_EQ(placed({500, 500}, {900, 500}, &clear), "903 494 943 506"); // doesn't meet
    EXPECT_EQ(placed({500, 500}, {520, 2}, &atTop), "523 12 563 24");     // no room above

    // Under the zoom the container is what the screen shows of it; without a matrix it is its rectangle there.
    K_AnnSetScalarX(tree.root, 0.5, 0);
    EXPECT_EQ(placed({200, 500}, {495, 500}), "460 494 500 506");
    const POINT line[2] = {{200, 500}, {495, 500}};
    EXPECT_EQ(annPlaceLineText(r, nullptr, line, TextEnd::second, size, nullptr).right, record(tree.root).rcBounds.right);
    // Of a text larger than its container there is what fits.
    K_AnnSetScalarX(tree.root, 0.03, 0);
    EXPECT_EQ(placed({10, 500}, {20, 500}), "0 494 30 506");
    K_AnnSetScalarX(tree.root, 0, 0);
    EXPECT_EQ(placed({10, 500}, {20, 500}), "0 0 0 0");
}

TEST(MeasureTexts, QuadrantsOfAnAngle) {
    constexpr SIZE size{20, 10};
    struct {
        AnnPoint first, second;
        int quadrant;
    } rows[] = {{{9, -3}, {3, -9}, 3},  {{9, -3}, {-3, -9}, 4}, {{9, -3}, {-3, 9}, 2},   {{9, -3}, {-9, 1}, 4},
                {{9, -3}, {3, 9}, 2},   {{-9, -3}, {3, -9}, 4}, {{-9, -3}, {-3, -9}, 4}, {{-9, -3}, {-3, 9}, 1},
                {{-9, -3}, {9, 1}, 3},  {{-9, -3}, {3, 9}, 1},  {{-9, 3}, {9, -9}, 4},   {{-9, 9}, {9, -3}, 2},
                {{-9, 3}, {-3, -9}, 1}, {{-9, 3}, {-3, 9}, 1},  {{-9, 3}, {3, 9}, 1},    {{9, 3}, {3, -9}, 2},
                {{9, 3}, {-3, -9}, 3},  {{9, 3}, {-9, -1}, 1},  {{9, 3}, {-3, 9}, 1},    {{9, 3}, {3, 9}, 2},
                {{0, -9}, {9, 0}, 2},  // straight up is right and above, level right is right and below
                {{-9, 0}, {0, 0}, 1}}; // level left is left and below, the vertex itself right and below
    constexpr const char* acutePlaces[] = {"103 87 123 97", "77 87 97 97", "77 103 97 113", "103 103 123 113"};
    constexpr const char* reflexPlaces[] = {"103 57 123 67", "47 87 67 97", "47 103 67 113", "133 103 153 113"};
    const HANNOBJECT protractor = make(ANN_OBJECT_PROTRACTOR);
    for (const auto& row : rows)
        for (const BOOL acute : {TRUE, FALSE}) {
            const AnnPoint points[3] = {
                {100.9 + row.first.x, 100.9 + row.first.y}, {100.9, 100.9}, {100.9 + row.second.x, 100.9 + row.second.y}};
            record(protractor).bAcute = acute;
            const RECT place = annPlaceAngleText(record(protractor), nullptr, points, 29.6, size, nullptr);
            EXPECT_EQ(text(place), (acute ? acutePlaces : reflexPlaces)[row.quadrant - 1])
                << row.first.x << ' ' << row.first.y << " to " << row.second.x << ' ' << row.second.y;
        }
    K_AnnDestroy(protractor, 0);
}

TEST(MeasureBounds, LineBarsAndText) {
    Tree tree;
    const HANNOBJECT ruler = withPoints(tree.root, ANN_OBJECT_RULER, {{100, 100}, {200, 100}});
    K_AnnSetShowFlags(ruler, gaugeAlone, 0);
    EXPECT_EQ(text(record(ruler).rcBounds), "99 84 202 117"); // bars of 30, a pixel more, room for the line
    K_AnnSetGaugeLength(ruler, 0.9, 0);
    EXPECT_EQ(text(record(ruler).rcBounds), "99 99 202 102");
    K_AnnSetGaugeLength(ruler, 7, 0); // half a bar is 3.5
    EXPECT_EQ(text(record(ruler).rcBounds), "99 96 202 106");
    K_AnnSetScalarX(tree.root, 2, 0);
    K_AnnSetScalarY(tree.root, 2, 0); // bars of 14
    EXPECT_EQ(text(record(ruler).rcBounds), "199 192 402 209");

    K_AnnSetShowFlags(ruler, lengthAlone, 0);
    TextExtents extents;
    const SIZE size = extents.of(record(ruler), record(ruler).xfToClient, measured(ruler).pszDistance);
    ASSERT_GT(size.cx, 40);
    const RECT place{403, 200 - size.cy / 2, 403 + size.cx, 200 - size.cy / 2 + size.cy};
    EXPECT_EQ(text(measured(ruler).rcDistanceText), text(place));
    EXPECT_EQ(text(record(ruler).rcBounds), text(inflated(annUnion(place, {200, 200, 401, 201}))));
    EXPECT_EQ(text(deviceRect(ruler, boundsWithoutTexts)), "199 199 402 202");
    EXPECT_LT(deviceRect(ruler, boundsTextAtFirst).left, 200 - size.cx);
    // Another matrix than the screen's leaves no trace.
    deviceRect(ruler, 0, &identityMatrix);
    EXPECT_EQ(text(measured(ruler).rcDistanceText), text(place));

    // Equal fonts are made once, others are told apart.
    K_AnnSetFontBold(ruler, TRUE, 0);
    EXPECT_NE(extents.of(record(ruler), record(ruler).xfToClient, measured(ruler).pszDistance).cx, size.cx);
    K_AnnSetFontBold(ruler, FALSE, 0);
    EXPECT_EQ(extents.of(record(ruler), record(ruler).xfToClient, measured(ruler).pszDistance).cx, size.cx);
}

TEST(MeasureBounds, LinesOfACross) {
    Tree tree;
    const HANNOBJECT cross =
        withPoints(tree.root, ANN_OBJECT_CROSSPRODUCT, {{100, 200}, {400, 200}, {250, 200}, {250, 100}, {250, 350}});
    constexpr uint32_t none = boundsWithoutTexts;
    EXPECT_EQ(text(deviceRect(cross, none)), "99 99 402 352");
    EXPECT_EQ(text(deviceRect(cross, none | boundsWithoutSecondLine)), "99 184 402 217");
    EXPECT_EQ(text(deviceRect(cross, none | boundsWithoutFirstLine)), "234 99 267 352");
    EXPECT_EQ(text(deviceRect(cross, none | boundsWithoutFirstLine | boundsWithoutSecondLine)), "-1 -1 1 1");
    EXPECT_EQ(text(deviceRect(cross, 0)), text(record(cross).rcBounds));
    EXPECT_EQ(
        text(annUnion(annUnion(measured(cross).rcDistanceText, measured(cross).rcDistance2Text), {100, 100, 401, 351})),
        text(annInflate(record(cross).rcBounds, -1)));
    EXPECT_GT(measured(cross).rcDistance2Text.left, 250); // to the right of its lower end
    EXPECT_GT(measured(cross).rcDistance2Text.top, 350);
}

// The side that the arc lies on, and the box around it.
TEST(MeasureBounds, ArcOfAProtractor) {
    struct {
        const char* name;
        AnnPoint first, second; // arms about 500, 500
        int side;               // of the smaller angle
        const char *acute, *reflex;
    } rows[] = {{"right to up", {100, 0}, {0, -100}, 0, "500 300 700 500", "300 300 700 700"},
                {"up to right", {0, -100}, {100, 0}, 2, "500 300 700 500", "300 300 700 700"},
                {"up to left", {0, -100}, {-100, 0}, 0, "300 300 500 500", "300 300 700 700"},
                {"below", {-120, 160}, {120, 160}, 0, "380 500 620 700", "300 300 700 660"},
                {"right", {100, 100}, {100, -100}, 0, "500 358 700 642", "300 300 642 700"},
                {"half way round", {100, 0}, {-100, 0}, 0, "300 300 700 500", "300 500 700 700"},
                {"half way round, begun at the left", {-100, 0}, {100, 0}, 2, "300 300 700 500", "300 500 700 700"},
                {"on each other", {50, 0}, {100, 0}, 1, "500 500 600 500", "300 300 700 700"}};
    Tree tree;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const HANNOBJECT protractor =
            withPoints(tree.root, ANN_OBJECT_PROTRACTOR,
                       {{500 + row.first.x, 500 + row.first.y}, {500, 500}, {500 + row.second.x, 500 + row.second.y}});
        for (const BOOL acute : {TRUE, FALSE}) {
            K_AnnSetProtractorOptions(protractor, acute, ANN_ANGLE_DEGREES, nullptr, 2, 200, 0);
            const POINT points[3] = {
                annRound(record(protractor).pPoints[0]), {500, 500}, annRound(record(protractor).pPoints[2])};
            EXPECT_EQ(annArcSide(record(protractor), points), acute ? row.side : 2 - row.side);
            const auto [left, right] = std::minmax({points[0].x, points[2].x, 500});
            const auto [top, bottom] = std::minmax({points[0].y, points[2].y, 500});
            RECT arms{left, top, right, bottom};
            arms.right += arms.left == arms.right;
            arms.bottom += arms.top == arms.bottom;
            RECT arc;
            ASSERT_EQ(
                std::sscanf(acute ? row.acute : row.reflex, "%d %d %d %d", &arc.left, &arc.top, &arc.right, &arc.bottom), 4);
            EXPECT_EQ(text(deviceRect(protractor, boundsWithoutTexts)), text(inflated(annUnion(arms, arc))))
                << (acute ? "acute" : "reflex");
        }
        K_AnnSetProtractorOptions(protractor, FALSE, ANN_ANGLE_DEGREES, nullptr, 2, 1, 0); // a radius of 1 shows nothing
        EXPECT_GT(deviceRect(protractor, boundsWithoutTexts).left, 370);
        K_AnnDestroy(protractor, 0);
    }
    const HANNOBJECT shown = withPoints(tree.root, ANN_OBJECT_PROTRACTOR, {{600, 500}, {500, 500}, {500, 600}});
    K_AnnSetShowFlags(shown, ANN_SHOW_LENGTH | ANN_SHOW_GAUGE, 0);
    const RECT all = record(shown).rcBounds, bare = deviceRect(shown, boundsWithoutTexts);
    EXPECT_EQ(text(bare), "484 484 602 602");
    EXPECT_EQ(text(inflated(annUnion(annInflate(bare, -1),
                                     annUnion(measured(shown).rcDistanceText,
                                              annUnion(measured(shown).rcDistance2Text, measured(shown).rcAngleText))))),
              text(all));
    EXPECT_GT(measured(shown).rcDistanceText.left, 600);
    EXPECT_GT(measured(shown).rcDistance2Text.top, 600);
}

TEST(MeasureProperties, UnitsOverAWalk) {
    EventWindow window;
    Tree tree(window.handle);
    const HANNOBJECT box = makeItem(tree.root, ANN_OBJECT_CONTAINER, {0, 0, 900, 900}),
                     ruler = withPoints(box, ANN_OBJECT_RULER, {{10, 10}, {160, 10}}), rect = makeItem(box, ANN_OBJECT_RECT),
                     automation = make(ANN_OBJECT_AUTOMATION);
    EXPECT_EQ(K_AnnSetUnit(tree.root, ANN_UNIT_INCHES, "Zoll", 1, ANN_FLAG_RECURSE), SUCCESS);
    EXPECT_EQ(lengthText(ruler), "1.0 Zoll");
    uint32_t unit = 9, precision = 9, length = 9;
    char abbreviation[8] = "";
    EXPECT_EQ(K_AnnGetUnit(ruler, &unit, abbreviation, &precision), SUCCESS);
    EXPECT_EQ(K_AnnGetUnitLen(ruler, &length), SUCCESS);
    EXPECT_EQ(unit, uint32_t{ANN_UNIT_INCHES});
    EXPECT_STREQ(abbreviation, "Zoll");
    EXPECT_EQ(precision, 1u);
    EXPECT_EQ(length, 4u);
    EXPECT_EQ(K_AnnSetUnit(ruler, ANN_UNIT_INCHES, nullptr, 1, 0), SUCCESS); // the unit's own comes back
    EXPECT_EQ(lengthText(ruler), "1.0 in");
    EXPECT_EQ(K_AnnSetUnit(ruler, ANN_UNIT_INCHES, "", 1, 0), SUCCESS);
    EXPECT_EQ(lengthText(ruler), "1.0 ");

    EXPECT_EQ(K_AnnSetUnit(rect, ANN_UNIT_FEET, nullptr, 1, 0), SUCCESS); // passed over
    EXPECT_EQ(record(rect).nUnit, uint32_t{ANN_UNIT_MILIMETERS});
    EXPECT_EQ(K_AnnSetUnit(automation, ANN_UNIT_FEET, nullptr, 1, 0), SUCCESS);
    EXPECT_STREQ(record(automation).pszUnitAbbrev.c_str(), "ft");
    EXPECT_EQ(K_AnnSetUnit(ruler, 10, nullptr, 1, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnSetUnit(tree.root, ANN_UNIT_FEET, nullptr, 1, ANN_FLAG_RECURSE | ANN_FLAG_SELECTED), SUCCESS);
    EXPECT_EQ(record(ruler).nUnit, uint32_t{ANN_UNIT_INCHES}); // not selected
    record(ruler).pItemMenu = std::make_unique<ItemMenuPart>();
    record(ruler).pItemMenu->itemMenuEnableMask.fill(0xFF);
    EXPECT_EQ(K_AnnSetUnit(ruler, ANN_UNIT_FEET, nullptr, 1, ANN_FLAG_CHECKMENU), SUCCESS);
    EXPECT_EQ(record(ruler).nUnit, uint32_t{ANN_UNIT_INCHES});
    EXPECT_EQ(K_AnnSetUnit(box, ANN_UNIT_FEET, nullptr, 1, ANN_FLAG_NOTTHIS), SUCCESS);
    EXPECT_EQ(record(ruler).nUnit, uint32_t{ANN_UNIT_FEET});

    ValidateRect(window.handle, nullptr);
    K_AnnSetUnit(ruler, ANN_UNIT_TWIPS, nullptr, 1, ANN_FLAG_NOINVALIDATE);
    RECT invalid;
    EXPECT_FALSE(GetUpdateRect(window.handle, &invalid, FALSE));
    EXPECT_EQ(lengthText(ruler), "1440.0 twips"); // measured all the same
    const RECT before = record(ruler).rcInvalid;
    K_AnnSetUnit(ruler, ANN_UNIT_INCHES, nullptr, 1, 0);
    EXPECT_TRUE(GetUpdateRect(window.handle, &invalid, FALSE));
    EXPECT_EQ(text(invalid), text(annUnion(before, record(ruler).rcInvalid)));

    double one = 0;
    EXPECT_EQ(K_AnnGetDistance(ruler, nullptr, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnGetDistance(ruler, nullptr, &one), SUCCESS);
    for (const HANNOBJECT other : {rect, automation}) {
        EXPECT_EQ(K_AnnGetDistance(other, &one, nullptr), ERROR_FEATURE_NOT_SUPPORTED);
        EXPECT_EQ(K_AnnGetAngle(other, &one), ERROR_FEATURE_NOT_SUPPORTED);
    }
    EXPECT_EQ(K_AnnGetAngle(ruler, &one), ERROR_FEATURE_NOT_SUPPORTED);
    EXPECT_EQ(K_AnnGetUnit(rect, nullptr, nullptr, nullptr), ERROR_FEATURE_NOT_SUPPORTED);
    EXPECT_EQ(K_AnnGetUnitLen(rect, &length), ERROR_FEATURE_NOT_SUPPORTED);
    K_AnnDestroy(automation, 0);
}

TEST(MeasureProperties, OptionsOfAProtractor) {
    Tree tree;
    const HANNOBJECT protractor = withPoints(tree.root, ANN_OBJECT_PROTRACTOR, {{200, 100}, {100, 100}, {100, 200}}),
                     ruler = withPoints(tree.root, ANN_OBJECT_RULER, {{1, 1}, {2, 2}});
    EXPECT_EQ(K_AnnSetProtractorOptions(tree.root, FALSE, ANN_ANGLE_RADIANS, "r", 4, 12.5, ANN_FLAG_RECURSE), SUCCESS);
    BOOL acute = TRUE;
    uint32_t unit = 9, length = 9, precision = 9;
    char abbreviation[8] = "";
    double radius = 0;
    EXPECT_EQ(K_AnnGetProtractorOptions(protractor, &acute, &unit, &length, abbreviation, &precision, &radius), SUCCESS);
    EXPECT_FALSE(acute);
    EXPECT_EQ(unit, uint32_t{ANN_ANGLE_RADIANS});
    EXPECT_EQ(length, 1u);
    EXPECT_STREQ(abbreviation, "r");
    EXPECT_EQ(precision, 4u);
    EXPECT_EQ(radius, 12.5);
    EXPECT_EQ(measured(protractor).pszAngle.view(), "4.7124r");
    EXPECT_EQ(K_AnnSetProtractorOptions(protractor, TRUE, ANN_ANGLE_RADIANS, nullptr, 200, 0, 0), SUCCESS);
    EXPECT_TRUE(measured(protractor).pszAngle.view().ends_with(" rad"));
    EXPECT_EQ(K_AnnSetProtractorOptions(protractor, TRUE, 2, nullptr, 2, 0, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnSetProtractorOptions(protractor, TRUE, 0, nullptr, 201, 0, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnSetProtractorOptions(ruler, FALSE, 0, nullptr, 2, 0, 0), SUCCESS); // passed over
    EXPECT_TRUE(record(ruler).bAcute);
    EXPECT_EQ(K_AnnGetProtractorOptions(ruler, &acute, nullptr, nullptr, nullptr, nullptr, nullptr), ERROR_INV_PARAMETER);
}

} // namespace
