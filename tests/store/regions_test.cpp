// Regions of objects, their areas, and the tests of single pixels against the regions that they stand for.
#include "store/hit_shapes.h"
#include "store/regions.h"
#include "tests/store/support.h"

#include <random>

using namespace kbann;
using namespace kbann::test;

namespace {

struct Region {
    explicit Region(HRGN region) : handle(region) {}
    ~Region() {
        if (handle) DeleteObject(handle);
    }
    Region(const Region&) = delete;
    Region& operator=(const Region&) = delete;
    bool holds(int x, int y) const { return PtInRegion(handle, x, y); }
    HRGN handle;
};

RECT boxOf(HRGN region) {
    RECT box;
    GetRgnBox(region, &box);
    return box;
}

// Every pixel of some rows and columns of the neighbourhood.
template <class Inside> void expectSame(const Region& region, Inside&& inside, const char* what, int round) {
    ASSERT_NE(region.handle, nullptr);
    const int step = 31, first = round % step;
    for (int line = first - 40; line < 120; line += step)
        for (int along = -40; along < 120; ++along)
            for (const POINT& p : {POINT{along, line}, POINT{line, along}})
                ASSERT_EQ(inside(p), region.holds(p.x, p.y))
                    << what << " of round " << round << " at " << p.x << ", " << p.y;
}

TEST(PixelTests, AreThoseOfTheRegions) {
    constexpr uint32_t seed = 4711;
    std::mt19937 random(seed);
    const auto any = [&](double low, double high) { return std::uniform_real_distribution(low, high)(random); };
    for (int round = 0; round < 60; ++round) {
        AnnMatrix m{any(0.3, 2), 0, 0, any(0.3, 2), any(-20, 20), any(-20, 20)};
        if (round % 3) m.b = any(-1, 1), m.c = any(-1, 1);
        const AnnPoint quad[3] = {{any(0, 20), any(0, 20)}, {any(0, 20), any(20, 60)}, {any(20, 60), any(20, 60)}};
        const AnnPoint upright[3] = {{quad[0].x, quad[0].y}, {quad[0].x, quad[2].y}, quad[2]};
        std::vector<AnnPoint> points(2 + random() % 9);
        for (AnnPoint& p : points) p = {any(-30, 70), any(-30, 70)};
        const double width = any(0, 9);
        for (const auto* q : {&quad, &upright}) {
            expectSame(
                Region(annQuadRegion(m, *q)), [&](POINT p) { return annInQuad(m, *q, p); }, "quad", round);
            for (const bool hollow : {false, true})
                expectSame(
                    Region(annEllipseRegion(m, *q, width, hollow)),
                    [&](POINT p) { return annInEllipse(m, *q, width, hollow, p); }, "ellipse", round);
        }
        for (const int mode : {WINDING, ALTERNATE})
            expectSame(
                Region(annPolygonRegion(m, points, mode)), [&](POINT p) { return annInPolygon(m, points, mode, p); },
                "polygon", round);
        if (HasFatalFailure()) FAIL() << "seed " << seed;
    }
}

// At the ends of the numbers, where regions are cut.
TEST(PixelTests, FarOut) {
    std::mt19937 random(99);
    const auto far = [&] { return static_cast<int32_t>(random()); };
    for (int round = 0; round < 40; ++round) {
        std::vector<POINT> points(3 + random() % 3);
        for (POINT& p : points) p = {far(), far()};
        const Region polygon(CreatePolygonRgn(points.data(), static_cast<int>(points.size()), WINDING));
        const RECT rect{far() / 1000, far() / 1000, far() / 1000, far() / 1000};
        const Region ellipse(CreateEllipticRgnIndirect(&rect));
        if (!polygon.handle || !ellipse.handle) continue;
        for (int i = 0; i < 200; ++i) {
            const POINT p = i % 2 ? POINT{far() / 2000, far() / 2000} : POINT{far(), far()};
            ASSERT_EQ(annInPolygon(points, WINDING, p), polygon.holds(p.x, p.y)) << round;
            ASSERT_EQ(KbPointInEllipse(&rect, p.x, p.y) != FALSE, ellipse.holds(p.x, p.y)) << round;
        }
    }
    EXPECT_FALSE(KbPointInEllipse(nullptr, 0, 0));
}

TEST(Regions, OfEachType) {
    const AnnPoint points[] = {{10, 10}, {50, 10}, {50, 30}, {10, 30}, {10, 20}};
    for (uint32_t type = 0; type < ANN_OBJECT_LAST; ++type) {
        SCOPED_TRACE(type);
        const HANNOBJECT object = make(type);
        const AnnRect rect{10, 10, 49, 29};
        K_AnnSetRect(object, &rect);
        K_AnnSetPoints(object, points, 5);
        HRGN region = nullptr;
        uint32_t area = 77;
        const int code = K_AnnGetRgnHandle(object, nullptr, &region);
        EXPECT_EQ(K_AnnGetArea(object, &area), code);
        switch (type) {
        case ANN_OBJECT_BUTTON:
        case ANN_OBJECT_HILITE:
        case ANN_OBJECT_HOTSPOT:
        case ANN_OBJECT_NOTE:
        case ANN_OBJECT_RECT:
        case ANN_OBJECT_REDACT:
        case ANN_OBJECT_STAMP:
        case ANN_OBJECT_TEXT:
        case ANN_OBJECT_FREEHAND:
        case ANN_OBJECT_POLYGON:
        case ANN_OBJECT_POLYLINE:
        case ANN_OBJECT_FREEHANDHOTSPOT: EXPECT_EQ(area, 800u); break;
        case ANN_OBJECT_ELLIPSE: // of 42 by 22 pixels
            EXPECT_NEAR(area, 42 * 22 * 3.14159 / 4, 12);
            EXPECT_EQ(boxOf(region).left, 9);
            break;
        default:
            EXPECT_EQ(code, ERROR_INV_PARAMETER);
            EXPECT_EQ(area, 77u);
            EXPECT_EQ(region, nullptr);
        }
        if (region) DeleteObject(region);
        K_AnnDestroy(object, 0);
    }
}

TEST(Regions, UnderATransform) {
    struct {
        const char* name;
        AnnRgnXForm form;
        int code;
        RECT box;
    } rows[] = {
        // A triangle with corners 10, 10 and 50, 10 and 10, 30; the widened rectangle around it spans 9 to 51 and 9 to 31.
        {"as it is", {0, 1, 1, 1, 1, 0, 0}, SUCCESS, {10, 10, 50, 30}},
        {"scaled and shifted", {0, 2, 1, 3, 2, 100, -5}, SUCCESS, {120, 10, 200, 40}},
        {"negative scale", {0, -1, 1, 1, -1, 0, 0}, SUCCESS, {-48, -29, -10, -10}},
        {"flipped", {2, 1, 1, 1, 1, 0, 0}, SUCCESS, {10, 11, 48, 30}},
        {"a quarter turn", {4, 1, 1, 1, 1, 0, 0}, SUCCESS, {20, 0, 40, 39}},
        {"three quarters", {8, 1, 1, 1, 1, 0, 0}, SUCCESS, {20, 1, 40, 40}},
        {"perspective 1", {1, 1, 1, 1, 1, 0, 0}, ERROR_INV_PARAMETER, {}},
        {"perspective 3", {3, 1, 1, 1, 1, 0, 0}, ERROR_INV_PARAMETER, {}},
        {"perspective 9", {9, 1, 1, 1, 1, 0, 0}, ERROR_INV_PARAMETER, {}},
        {"nothing to divide by", {0, 1, 0, 1, 1, 0, 0}, ERROR_INV_PARAMETER, {}},
        {"nothing to divide by, down", {0, 1, 1, 1, 0, 0, 0}, ERROR_INV_PARAMETER, {}},
    };
    const HANNOBJECT triangle = make(ANN_OBJECT_POLYGON);
    const AnnPoint corners[] = {{10, 10}, {50, 10}, {10, 30}};
    K_AnnSetPoints(triangle, corners, 3);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        HRGN region = nullptr;
        EXPECT_EQ(K_AnnGetRgnHandle(triangle, &row.form, &region), row.code);
        if (row.code != SUCCESS) {
            EXPECT_EQ(region, nullptr);
            continue;
        }
        const RECT box = boxOf(region);
        EXPECT_EQ(std::tie(box.left, box.top, box.right, box.bottom),
                  std::tie(row.box.left, row.box.top, row.box.right, row.box.bottom));
        DeleteObject(region);
    }
    // Where the right angle of the triangle comes to, and its far side doesn't.
    for (const auto& [perspective, in, out] : {std::tuple{2u, POINT{12, 28}, POINT{40, 14}},
                                               {4u, POINT{37, 3}, POINT{24, 36}},
                                               {8u, POINT{22, 36}, POINT{36, 6}}}) {
        const AnnRgnXForm form{perspective, 1, 1, 1, 1, 0, 0};
        HRGN made = nullptr;
        K_AnnGetRgnHandle(triangle, &form, &made);
        const Region region(made);
        EXPECT_TRUE(region.holds(in.x, in.y)) << perspective;
        EXPECT_FALSE(region.holds(out.x, out.y)) << perspective;
    }
    K_AnnDestroy(triangle, 0);
}

TEST(Regions, AreasThatAreNone) {
    uint32_t area = 77;
    const HANNOBJECT polygon = make(ANN_OBJECT_POLYGON);
    EXPECT_EQ(K_AnnGetArea(polygon, &area), SUCCESS); // no points
    EXPECT_EQ(area, 0u);
    const AnnPoint point{5, 5};
    K_AnnSetPoints(polygon, &point, 1);
    EXPECT_EQ(K_AnnGetArea(polygon, &area), SUCCESS);
    EXPECT_EQ(area, 0u);
    EXPECT_EQ(K_AnnGetRgnHandle(polygon, nullptr, nullptr), ERROR_INV_PARAMETER);
    K_AnnDestroy(polygon, 0);
    const HANNOBJECT star = make(ANN_OBJECT_POLYGON); // the fill mode counts
    const AnnPoint tips[] = {{150, 100}, {180, 190}, {102, 134}, {198, 134}, {120, 190}};
    K_AnnSetPoints(star, tips, 5);
    uint32_t byTurns = 0;
    EXPECT_EQ(K_AnnGetArea(star, &area), SUCCESS);
    K_AnnSetPolyFillMode(star, ANN_POLYFILL_ALTERNATE, 0);
    EXPECT_EQ(K_AnnGetArea(star, &byTurns), SUCCESS);
    EXPECT_LT(byTurns, area);
    K_AnnDestroy(star, 0);
}

} // namespace
