// Coordinates: the chain from object to client, bounds and handles, names, transforms.
#include "kbann/object_types.h"
#include "store/geometry.h"
#include "tests/store/support.h"

#include <cmath>
#include <limits>

using namespace kbann;
using namespace kbann::test;

namespace {

std::string text(const RECT& r) {
    return std::to_string(r.left) + ' ' + std::to_string(r.top) + ' ' + std::to_string(r.right) + ' ' +
           std::to_string(r.bottom);
}

HANNOBJECT makePoints(HANNOBJECT root, uint32_t type, std::vector<AnnPoint> points) {
    const HANNOBJECT made = makeItem(root, type);
    EXPECT_EQ(K_AnnSetPoints(made, points.data(), static_cast<uint32_t>(points.size())), SUCCESS);
    return made;
}

TEST(Matrix, RoundingAndScaling) {
    struct {
        double x;
        int32_t rounded;
    } rows[] = {{0.5, 1},           {-0.5, -1},          {0.49, 0},         {-0.49, 0},           {2.5, 3},
                {1e300, INT32_MAX}, {-1e300, INT32_MIN}, {std::nan(""), 0}, {INFINITY, INT32_MAX}};
    for (const auto& row : rows) EXPECT_EQ(annRound(row.x), row.rounded) << row.x;
    EXPECT_EQ(annScale(2, {-3, 0, 0, 3, 0, 0}), 6);
    EXPECT_EQ(annScale(2, identityMatrix), 2);
    const AnnMatrix m{2, 1, 0.5, 3, 7, -4};
    const AnnPoint back = annApply(annInverse(m), annApply(m, {5, 6}));
    EXPECT_NEAR(back.x, 5, 1e-12);
    EXPECT_NEAR(back.y, 6, 1e-12);
    const AnnMatrix none = annInverse({1, 2, 2, 4, 5, 6});
    EXPECT_EQ(none.a, 0);
    EXPECT_EQ(none.e, 0);
    const AnnPoint first = annApply(annMul({1, 0, 0, 1, 10, 0}, {2, 0, 0, 2, 0, 0}), {1, 1});
    EXPECT_EQ(first.x, 22);
}

TEST(Geometry, AnItemsPointGoesThroughItsContainer) {
    Tree tree;
    const AnnRect rect{10, 20, 110, 220};
    K_AnnSetRect(tree.root, &rect);
    K_AnnSetScalarX(tree.root, 2, 0);
    K_AnnSetScalarY(tree.root, 2, 0);
    const HANNOBJECT item = makeItem(tree.root, ANN_OBJECT_RECT, {5, 5, 10, 10});
    const AnnPoint at = annApply(record(item).xfToClient, {5, 5});
    EXPECT_EQ(at.x, 20);
    EXPECT_EQ(at.y, 30);
    K_AnnSetOffsetX(tree.root, 3, 0);
    EXPECT_EQ(annApply(record(item).xfToClient, {5, 5}).x, 23); // the children follow
    // An object's own scalars work about its own corner.
    K_AnnSetScalarX(item, 3, 0);
    EXPECT_EQ(annApply(record(item).xfToClient, {5, 5}).x, 23);
    EXPECT_EQ(annApply(record(item).xfToClient, {6, 5}).x, 29);
}

TEST(Geometry, BoundsLeaveRoomForTheLine) {
    Tree tree;
    const HANNOBJECT line = makePoints(tree.root, ANN_OBJECT_LINE, {{100, 100}, {200, 150}});
    EXPECT_EQ(text(record(line).rcBounds), "99 99 201 151");
    K_AnnSetSelected(line, TRUE, 0);
    EXPECT_EQ(text(record(line).rcBounds), "96 96 204 154");
    K_AnnSetSelected(line, FALSE, 0);
    K_AnnSetLineWidth(line, 6, 0);
    EXPECT_EQ(text(record(line).rcBounds), "97 97 203 153");
    K_AnnSetLineWidth(line, 0, 0);
    EXPECT_EQ(text(record(line).rcBounds), "99 99 201 151");
    K_AnnSetLineStyle(line, ANN_LINE_NULL, 0);
    EXPECT_EQ(text(record(line).rcBounds), "100 100 200 150");
    const HANNOBJECT far = makeItem(tree.root, ANN_OBJECT_RECT, {9000, 10, 9100, 20});
    EXPECT_TRUE(annIsEmpty(record(far).rcInvalid));
    const HANNOBJECT fraction = makeItem(tree.root, ANN_OBJECT_HILITE, {10.2, 10.8, 20.2, 20.8});
    EXPECT_EQ(text(record(fraction).rcBounds), "9 9 22 22"); // down, up, and the null line's own pixel
}

TEST(Geometry, NodesSkipPoints) {
    struct {
        const char* name;
        uint32_t count, gap;
        BOOL show;
        std::vector<int> at;
    } rows[] = {{"ten by three", 10, 2, TRUE, {0, 3, 6, 9}},
                {"nine by three", 9, 2, TRUE, {0, 3, 6, 8}},
                {"all", 4, 0, TRUE, {0, 1, 2, 3}},
                {"none", 5, 0, FALSE, {}},
                {"huge gap", 5, UINT32_MAX, TRUE, {0, 4}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Tree tree;
        std::vector<AnnPoint> points;
        for (uint32_t i = 0; i < row.count; ++i) points.push_back({double(i), 0});
        const HANNOBJECT polygon = makePoints(tree.root, ANN_OBJECT_POLYGON, points);
        EXPECT_EQ(K_AnnSetNodes(polygon, TRUE, row.gap, 0), SUCCESS);
        if (!row.show) {
            EXPECT_EQ(K_AnnSetNodes(polygon, FALSE, 0, 0), SUCCESS);
        }
        std::vector<int> at;
        for (uint32_t i = 0; i < record(polygon).nHandles; ++i) at.push_back(record(polygon).pHandles[i].x);
        EXPECT_EQ(at, row.at);
    }
}

TEST(Geometry, RectanglesAndPointsByType) {
    Tree tree;
    const AnnRect rect{1, 2, 3, 4};
    const std::vector<AnnPoint> points(6, AnnPoint{1, 1});
    for (uint32_t type = 0; type < objectTypeCount; ++type) {
        SCOPED_TRACE(type);
        const HANNOBJECT object = make(type);
        const bool quad = hasType(typesQuad, type), pointType = hasType(typesPoints, type),
                   pointer = type == ANN_OBJECT_POINTER;
        EXPECT_EQ(K_AnnSetRect(object, &rect) == SUCCESS, quad || pointer || type == ANN_OBJECT_LINE);
        EXPECT_EQ(K_AnnSetRect(object, nullptr), ERROR_INV_PARAMETER);
        uint32_t count = 99;
        EXPECT_EQ(K_AnnGetPointCount(object, &count), pointType || pointer ? SUCCESS : ERROR_FEATURE_NOT_SUPPORTED);
        for (uint32_t n = 1; n <= 6; ++n) {
            const bool exact = type == ANN_OBJECT_LINE || type == ANN_OBJECT_RULER || pointer ? n == 2
                               : type == ANN_OBJECT_CROSSPRODUCT                              ? n == 5
                               : type == ANN_OBJECT_POINT                                     ? n == 1
                               : type == ANN_OBJECT_PROTRACTOR                                ? n == 3
                                                                                              : true;
            EXPECT_EQ(K_AnnSetPoints(object, points.data(), n), !pointType && !pointer ? ERROR_FEATURE_NOT_SUPPORTED
                                                                : exact                ? SUCCESS
                                                                                       : ERROR_INV_PARAMETER);
        }
        K_AnnDestroy(object, 0);
    }
}

TEST(Geometry, PointerKeepsItsEnds) {
    Tree tree;
    const HANNOBJECT pointer = makeItem(tree.root, ANN_OBJECT_POINTER, {100, 100, 200, 100});
    EXPECT_EQ(record(pointer).ptPointerTip.x, 200);
    EXPECT_EQ(record(pointer).ptPointerTail.x, 100);
    EXPECT_EQ(record(pointer).dArrowLength, 5);
    EXPECT_EQ(text(record(pointer).rcBounds), "99 97 202 105"); // tip 200, wings at 97.5 and 102.5
    EXPECT_EQ(K_AnnRotate(pointer, 90, nullptr, 0), SUCCESS);
    AnnPoint ends[2];
    K_AnnGetPoints(pointer, ends);
    EXPECT_NEAR(ends[1].x, 150, 1e-9);
    EXPECT_NEAR(ends[1].y, 150, 1e-9); // the tip, clockwise
    EXPECT_EQ(record(pointer).ptPointerTip.y, ends[1].y);
    const HANNOBJECT dot = makeItem(tree.root, ANN_OBJECT_POINTER, {50, 50, 50, 50});
    const auto outline = annPointerOutline(record(dot), identityMatrix);
    EXPECT_EQ(outline.p[1].x, 45);
}

TEST(Geometry, UprightQuads) {
    struct {
        const char* name;
        AnnPoint quad[3];
        bool upright;
        const char* rect;
    } rows[] = {{"whole numbers", {{10, 10}, {10, 20}, {20, 20}}, true, "10 10 21 21"},
                {"fractions", {{10.5, 10.5}, {10.5, 20.5}, {20.5, 20.5}}, true, "10 10 22 22"},
                {"lying", {{20, 10}, {10, 10}, {10, 20}}, true, "10 10 21 21"},
                {"a shade turned", {{10, 10}, {10.875, 20}, {20.875, 20}}, true, "10 10 22 21"},
                {"turned", {{10, 10}, {11, 20}, {21, 20}}, false, ""},
                {"far out", {{-1e9, -1e9}, {-1e9, 1e9}, {1e9, 1e9}}, true, "-32000 -32000 32000 32000"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        RECT r{1, 2, 3, 4};
        EXPECT_EQ(annQuadRect(identityMatrix, row.quad, r), row.upright);
        EXPECT_EQ(text(r), row.upright ? row.rect : "1 2 3 4");
    }
}

TEST(Geometry, TransformsByType) {
    // What a quarter turn or mirror about 0, 0 leaves of the corner A and of the middle of a rectangle 10, 20 to 30, 60.
    struct {
        const char* name;
        uint32_t type;
        bool turnsA, mirrorsA;
    } rows[] = {{"rect", ANN_OBJECT_RECT, true, true},         {"hilite", ANN_OBJECT_HILITE, true, true},
                {"text", ANN_OBJECT_TEXT, true, false},        {"stamp", ANN_OBJECT_STAMP, true, false},
                {"note", ANN_OBJECT_NOTE, false, false},       {"button", ANN_OBJECT_BUTTON, false, false},
                {"pushpin", ANN_OBJECT_PUSHPIN, false, false}, {"hotspot", ANN_OBJECT_HOTSPOT, false, false}};
    const AnnPoint origin{};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Tree tree;
        HANNOBJECT item = makeItem(tree.root, row.type, {10, 20, 30, 60});
        EXPECT_EQ(K_AnnRotate(item, 90, &origin, 0), SUCCESS);
        EXPECT_NEAR(record(item).ptCenter.x, -40, 1e-9);
        EXPECT_NEAR(record(item).ptCenter.y, 20, 1e-9);
        EXPECT_NEAR(record(item).quad[0].x, row.turnsA ? -20 : -50, 1e-9);
        item = makeItem(tree.root, row.type, {10, 20, 30, 60});
        EXPECT_EQ(K_AnnFlip(item, &origin, 0), SUCCESS);
        EXPECT_NEAR(record(item).ptCenter.y, -40, 1e-9);
        EXPECT_NEAR(record(item).quad[0].y, row.mirrorsA ? -20 : -60, 1e-9);
        EXPECT_EQ(K_AnnReverse(item, &origin, 0), SUCCESS);
        EXPECT_NEAR(record(item).ptCenter.x, -20, 1e-9);
        EXPECT_EQ(K_AnnMove(item, 5, 7, 0), SUCCESS);
        EXPECT_NEAR(record(item).ptCenter.x, -15, 1e-9);
        EXPECT_EQ(K_AnnResize(item, 2, 1, nullptr, 0), SUCCESS);
        EXPECT_NEAR(record(item).annBounds.right - record(item).annBounds.left, 40, 1e-9);
    }
}

TEST(Geometry, TransformsWalkWithTheirFlags) {
    Tree tree;
    const HANNOBJECT a = makeItem(tree.root, ANN_OBJECT_RECT), b = makeItem(tree.root, ANN_OBJECT_RECT);
    K_AnnSetSelected(b, TRUE, 0);
    EXPECT_EQ(K_AnnMove(tree.root, 1, 1, ANN_FLAG_SELECTED), ERROR_FEATURE_NOT_SUPPORTED);
    EXPECT_EQ(K_AnnMove(tree.root, 1, 1, ANN_FLAG_SELECTED | ANN_FLAG_RECURSE), SUCCESS);
    EXPECT_EQ(record(a).annBounds.left, 10);
    EXPECT_EQ(record(b).annBounds.left, 11);
    const HANNOBJECT point = makePoints(tree.root, ANN_OBJECT_POINT, {{5, 5}});
    EXPECT_EQ(K_AnnResize(point, 2, 2, nullptr, 0), ERROR_INV_PARAMETER);
    const AnnPoint origin{};
    EXPECT_EQ(K_AnnResize(tree.root, 2, 2, &origin, ANN_FLAG_NOTTHIS), SUCCESS);
    EXPECT_EQ(record(point).pPoints[0].x, 10);
    EXPECT_EQ(K_AnnMove(nullptr, 1, 1, 0), ERROR_INV_PARAMETER);
}

TEST(Geometry, ARedactionsPixelsTurnAlong) {
    Tree tree;
    const HANNOBJECT redact = makeItem(tree.root, ANN_OBJECT_REDACT, {0, 0, 6, 4});
    KernelBitmap bitmap{};
    ASSERT_EQ(K_CreateBitmap(&bitmap, 1, 6, 4, 24, KB_ORDER_BGR, nullptr, 1, 0, 0), SUCCESS);
    const uint8_t red[3] = {0, 0, 255};
    ASSERT_EQ(K_PutBitmapRow(&bitmap, red, 0, 3), 3);
    EXPECT_EQ(K_AnnSetBitmap(redact, &bitmap, 0), SUCCESS);
    EXPECT_EQ(K_AnnFlip(redact, nullptr, 0), SUCCESS);
    EXPECT_EQ(K_AnnRotate(redact, 90, nullptr, 0), SUCCESS);
    KernelBitmap turned{};
    ASSERT_EQ(K_AnnGetBitmap(redact, &turned), SUCCESS);
    int width, height;
    K_GetBitmapViewSize(&turned, &width, &height);
    EXPECT_EQ(width, 4);
    EXPECT_EQ(height, 6);
    K_NormalizeBitmap(&bitmap);
    K_FreeBitmap(&bitmap);
}

TEST(Geometry, NamesStandAboveAndAreKeptInside) {
    Tree tree;
    const HANNOBJECT item = makeItem(tree.root, ANN_OBJECT_RECT, {100, 100, 200, 200});
    K_AnnSetName(item, TRUE, "a name", nullptr, FALSE, 0);
    RECT bounds, name;
    EXPECT_EQ(K_AnnGetBoundingRect(item, &bounds, &name), SUCCESS);
    EXPECT_EQ(name.left, bounds.left);
    EXPECT_EQ(name.bottom, bounds.top);
    EXPECT_GT(name.right, name.left);
    const AnnPoint offset{30, -40};
    K_AnnSetName(item, -1, reinterpret_cast<const char*>(intptr_t{-1}), &offset, -1, 0);
    RECT moved;
    K_AnnGetBoundingRect(item, nullptr, &moved);
    EXPECT_EQ(moved.left, name.left + 30);
    EXPECT_EQ(moved.bottom, name.bottom - 40);
    EXPECT_EQ(record(item).rcInvalid.top, moved.top);

    // At the top of the container it is pushed down, and the offset remembers that.
    const HANNOBJECT atTop = makeItem(tree.root, ANN_OBJECT_RECT, {990, 0, 1000, 50});
    K_AnnSetName(atTop, TRUE, "a longer name", nullptr, TRUE, 0);
    K_AnnGetBoundingRect(atTop, nullptr, &name);
    EXPECT_EQ(name.top, 0);
    EXPECT_EQ(name.right, 1000);
    EXPECT_LT(record(atTop).ptNameOffset.x, 0);
    EXPECT_GT(record(atTop).ptNameOffset.y, 0);
    const AnnPoint remembered = record(atTop).ptNameOffset;
    K_AnnMove(atTop, 0, 0, 0);
    EXPECT_EQ(record(atTop).ptNameOffset.x, remembered.x);
    // A correction can't mend an offset that is no number, and would grow with each change.
    const AnnPoint nowhere{std::numeric_limits<double>::quiet_NaN(), -500};
    K_AnnSetName(atTop, -1, reinterpret_cast<const char*>(intptr_t{-1}), &nowhere, -1, 0);
    K_AnnMove(atTop, 0, 0, 0);
    EXPECT_EQ(record(atTop).ptNameOffset.y, -500);
    K_AnnSetName(atTop, FALSE, reinterpret_cast<const char*>(intptr_t{-1}), nullptr, -1, 0);
    AnnRect object;
    K_AnnGetRect(atTop, nullptr, &object);
    EXPECT_EQ(object.right, 0);
}

TEST(Geometry, RepaintRequests) {
    EventWindow window;
    Tree tree(window.handle);
    const HANNOBJECT item = makeItem(tree.root, ANN_OBJECT_RECT, {100, 100, 200, 200});
    const auto requests = [&] {
        RECT rects[16];
        const UINT count = std::min(KbGetInvalidRects(window.handle, rects, 16), 16u);
        ValidateRect(window.handle, nullptr);
        std::string all;
        for (UINT i = 0; i < count; ++i) all += text(rects[i]) + ";";
        return all;
    };
    requests();
    K_AnnMove(item, 10, 0, 0);
    EXPECT_EQ(requests(), "99 99 201 201;109 99 211 201;");
    K_AnnMove(item, -10, 0, ANN_FLAG_NOINVALIDATE);
    EXPECT_EQ(requests(), "");
    K_AnnSetSelected(item, TRUE, 0);
    EXPECT_EQ(requests().substr(0, 15), "97 97 104 104;9");
    K_AnnSetVisible(item, FALSE, 0, nullptr);
    requests();
    K_AnnMove(item, 10, 0, 0);
    EXPECT_EQ(requests(), "");
}

TEST(Geometry, StrangeNumbersDoNoHarm) {
    const double nan = std::nan(""), inf = std::numeric_limits<double>::infinity();
    for (const double value : {nan, inf, -inf, 1e308, -1e308, 1e-308, 0.0}) {
        SCOPED_TRACE(value);
        Tree tree;
        for (uint32_t type = 0; type < objectTypeCount; ++type) {
            const HANNOBJECT item = makeItem(tree.root, type, {value, 0, value, 10});
            const AnnPoint points[5] = {{value, 1}, {1, value}, {2, 2}, {value, value}, {5, 5}};
            for (uint32_t n = 1; n <= 5; ++n) K_AnnSetPoints(item, points, n);
            K_AnnSetName(item, TRUE, "n", points, TRUE, 0);
            K_AnnSetFontSize(item, value, 0);
            K_AnnSetLineWidth(item, value, 0);
            K_AnnRotate(item, value, nullptr, 0);
        }
        EXPECT_EQ(K_AnnSetScalarX(tree.root, value, 0), SUCCESS);
        EXPECT_EQ(K_AnnSetOffsetY(tree.root, value, 0), SUCCESS);
    }
}

} // namespace
