// What lies under a pixel: lines and their tolerances, the rules of each type, handles and names, and the order of the walk.
#include "store/hit_test.h"
#include "store/hit_shapes.h"
#include "store/library.h"
#include "store/shared_pictures.h"
#include "tests/store/support.h"

#include <cmath>
#include <limits>
#include <random>

using namespace kbann;
using namespace kbann::test;

namespace {

// What the walk finds: '.' nothing, 'r' the root, 'b' body, 'h' handle, 'n' name of something else.
char at(HANNOBJECT tree, POINT point, HANNOBJECT* found = nullptr) {
    const HANNOBJECT root = annToHandle(annTop(annFromHandle(tree)));
    HANNOBJECT object = nullptr;
    uint32_t result = 77;
    EXPECT_EQ(K_AnnHitTest(tree, &point, &result, &object), SUCCESS);
    if (found) *found = object;
    EXPECT_EQ(result == ANN_HIT_NONE, object == nullptr);
    if (object == root) return 'r';
    return ".bhn"[result];
}

// One answer for each of the points.
std::string at(HANNOBJECT tree, const std::vector<POINT>& points) {
    std::string answers;
    for (const POINT& p : points) answers += at(tree, p);
    return answers;
}

KernelBitmap& placeOf(HitMask which) { return const_cast<KernelBitmap&>(annGlyphMask(which)); }

// A mask of 4 by 2 pixels: black on the left half of its upper row, white elsewhere.
struct Mask {
    Mask(HitMask which, int bits, int perspective) : place(placeOf(which)) {
        kept = place;
        place = {};
        EXPECT_EQ(K_CreateBitmap(&place, 1, 4, 2, bits, KB_ORDER_BGR, nullptr, perspective, 0, 0), SUCCESS);
        const int upper = perspective == KB_VIEW_BOTTOM_LEFT ? 1 : 0;
        for (int row = 0; row < 2; ++row)
            for (int column = 0; column < 4; ++column) {
                const bool black = row == upper && column < 2;
                uint8_t* bytes = K_WritableBitmapRow(&place, row);
                if (bits == 1)
                    bytes[0] = static_cast<uint8_t>(black ? bytes[0] & ~(0x80 >> column) : bytes[0] | 0x80 >> column);
                else
                    std::fill_n(bytes + 3 * column, 3, black ? uint8_t{0} : uint8_t{255});
            }
    }
    ~Mask() {
        K_FreeBitmap(&place);
        place = kept;
    }
    KernelBitmap &place, kept;
};

KernelBitmap picture(int width, int height) {
    KernelBitmap made{};
    EXPECT_EQ(K_CreateBitmap(&made, 1, width, height, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
    return made;
}

TEST(HitSegment, Tolerances) {
    struct {
        const char* name;
        POINT a, b;
        int32_t width;
        POINT point;
        bool hit;
    } rows[] = {
        {"thin, 2 above", {10, 10}, {50, 10}, 1, {30, 8}, true},
        {"thin, 2 below", {10, 10}, {50, 10}, 1, {30, 12}, true},
        {"thin, 3 below", {10, 10}, {50, 10}, 1, {30, 13}, false},
        {"width 3 is like 1", {10, 10}, {50, 10}, 3, {30, 7}, false},
        {"width 4", {10, 10}, {50, 10}, 4, {30, 7}, true},
        {"width 5 is like 4", {10, 10}, {50, 10}, 5, {30, 14}, false},
        {"width 6", {10, 10}, {50, 10}, 6, {30, 14}, true},
        {"before the end", {10, 10}, {50, 10}, 2, {8, 10}, true},
        {"too far before the end", {10, 10}, {50, 10}, 2, {7, 10}, false},
        {"upright, 2 right", {10, 10}, {10, 50}, 2, {12, 30}, true},
        {"upright, 3 right", {10, 10}, {10, 50}, 2, {13, 30}, false},
        {"a point", {10, 10}, {10, 10}, 1, {12, 8}, true},
        {"steep, on it", {10, 10}, {20, 50}, 1, {15, 30}, true},
        {"steep, 2 left", {10, 10}, {20, 50}, 1, {13, 30}, true},
        {"steep, 3 left", {10, 10}, {20, 50}, 1, {12, 30}, false},
        {"steep from its lower end", {20, 50}, {10, 10}, 1, {17, 30}, true},
        {"steep, behind its end", {10, 10}, {20, 50}, 1, {20, 52}, true},
        {"steep, too far behind", {10, 10}, {20, 50}, 1, {20, 53}, false},
        {"flat, 2 below", {10, 10}, {50, 20}, 1, {30, 17}, true},
        {"flat, 3 below", {10, 10}, {50, 20}, 1, {30, 18}, false},
        {"diagonal", {0, 0}, {40, 40}, 1, {20, 22}, true},
        {"diagonal, 3 off", {0, 0}, {40, 40}, 1, {20, 23}, false},
        {"from end to end of the numbers", {INT32_MIN, INT32_MIN}, {INT32_MAX, INT32_MAX}, 1, {5, 5}, true},
        {"far from it", {INT32_MIN, INT32_MIN}, {INT32_MAX, INT32_MAX}, 1, {5, -5}, false},
        {"as wide as can be", {0, 0}, {1, 5}, INT32_MAX, {500'000'000, -1'000'000'000}, true},
    };
    for (const auto& row : rows) EXPECT_EQ(annHitSegment(row.a, row.b, row.width, row.point), row.hit) << row.name;
}

// The x (or y) that a segment has there, by the platform's own rounding.
TEST(HitSegment, AsMulDivHasIt) {
    std::mt19937 random(20'251);
    const auto any = [&](int limit) { return static_cast<int32_t>(random() % (2 * static_cast<uint32_t>(limit))) - limit; };
    for (int i = 0; i < 20'000; ++i) {
        POINT a{any(60), any(60)}, b{any(60), any(60)}, p{any(70), any(70)};
        if (a.x == b.x || a.y == b.y) continue;
        if (std::abs(b.y - a.y) > std::abs(b.x - a.x)) // turned over, so that x runs
            for (POINT* q : {&a, &b, &p}) std::swap(q->x, q->y);
        if (a.x > b.x) std::swap(a, b);
        const bool expected =
            p.x >= a.x - 2 && p.x <= b.x + 2 && std::abs(p.y - a.y - MulDiv(p.x - a.x, b.y - a.y, b.x - a.x)) <= 2;
        ASSERT_EQ(annHitSegment(b, a, 1, p), expected) << i;
    }
}

TEST(HitTest, LineWidthsGrowWithTheView) {
    for (const auto& [width, scalar, reach] :
         {std::tuple{1.0, 1.0, 2}, {3.0, 1.0, 2}, {4.0, 1.0, 3}, {5.0, 1.0, 3}, {1.0, 4.0, 3}, {2.0, 3.0, 4}}) {
        const Tree tree;
        K_AnnSetScalarX(tree.root, scalar, 0);
        K_AnnSetScalarY(tree.root, scalar, 0);
        const HANNOBJECT line = makeItem(tree.root, ANN_OBJECT_LINE, {0, 10, 100, 110}); // at half a right angle
        K_AnnSetLineWidth(line, width, 0);
        const int x = static_cast<int>(50 * scalar), y = static_cast<int>(60 * scalar);
        SCOPED_TRACE("width " + std::to_string(width) + " scalar " + std::to_string(scalar));
        EXPECT_EQ(at(tree.root, {{x, y - reach}, {x, y + reach}, {x, y - reach - 1}, {x, y + reach + 1}}), "bbrr");
    }
}

struct TypeRow {
    const char* name;
    uint32_t type;
    AnnRect rect;
    std::vector<AnnPoint> points; // instead of the rectangle
    void (*setUp)(HANNOBJECT, AnnObject&);
    std::vector<POINT> asked;
    const char* answers;
};

constexpr AnnRect sheet{100, 100, 160, 140};

void run(const TypeRow& row) {
    SCOPED_TRACE(row.name);
    const Tree tree;
    const HANNOBJECT item = makeItem(tree.root, row.type, row.rect);
    if (!row.points.empty()) {
        EXPECT_EQ(K_AnnSetPoints(item, row.points.data(), static_cast<uint32_t>(row.points.size())), SUCCESS);
    }
    if (row.setUp) row.setUp(item, record(item));
    EXPECT_EQ(at(item, row.asked), row.answers);
}

void fill(HANNOBJECT item, AnnObject&) { K_AnnSetFillMode(item, ANN_FILLMODE_OPAQUE, 0); }
void turn(HANNOBJECT item, AnnObject&) { K_AnnRotate(item, 45, nullptr, 0); }
void fillAndTurn(HANNOBJECT item, AnnObject& r) { fill(item, r), turn(item, r); }
void widen(HANNOBJECT item, AnnObject&) { K_AnnSetLineWidth(item, 6, 0); }

TEST(HitTest, Quads) {
    const std::vector<POINT> corners{{100, 100}, {160, 140}, {130, 120}};
    const TypeRow rows[] = {
        // The frame's inside begins three pixels from its outer edge, which lies a pixel before the rectangle.
        {"hollow rectangle",
         ANN_OBJECT_RECT,
         sheet,
         {},
         nullptr,
         {{99, 110}, {101, 110}, {102, 110}, {158, 110}, {159, 110}, {160, 110}, {161, 110}, {130, 120}},
         "bbrrbbrr"},
        {"wide hollow rectangle",
         ANN_OBJECT_RECT,
         sheet,
         {},
         widen,
         {{97, 110}, {102, 110}, {103, 110}, {130, 120}},
         "bbrr"},
        {"filled rectangle", ANN_OBJECT_RECT, sheet, {}, fill, corners, "bbb"},
        {"rectangle with a pattern",
         ANN_OBJECT_RECT,
         sheet,
         {},
         [](HANNOBJECT h, AnnObject&) { K_AnnSetFillPattern(h, 3, 0); },
         corners,
         "bbb"},
        // Its corners turned about 130, 120: the left one comes to 94.6, 112.9, the upper one to 123, 84.6.
        {"turned hollow rectangle",
         ANN_OBJECT_RECT,
         sheet,
         {},
         turn,
         {{109, 99}, {123, 86}, {130, 120}, {102, 102}},
         "bbrr"},
        {"turned filled rectangle", ANN_OBJECT_RECT, sheet, {}, fillAndTurn, {{110, 100}, {130, 120}, {100, 90}}, "bbr"},
        {"highlight", ANN_OBJECT_HILITE, sheet, {}, nullptr, corners, "bbb"},
        {"redaction", ANN_OBJECT_REDACT, sheet, {}, nullptr, corners, "bbb"},
        {"turned redaction", ANN_OBJECT_REDACT, sheet, {}, turn, {{130, 120}, {100, 100}}, "br"},
        {"text", ANN_OBJECT_TEXT, sheet, {}, nullptr, corners, "bbb"},
        {"note", ANN_OBJECT_NOTE, sheet, {}, nullptr, {{130, 120}, {161, 120}}, "br"},
        {"button", ANN_OBJECT_BUTTON, sheet, {}, nullptr, {{130, 120}, {161, 120}}, "br"},
        {"hotspot", ANN_OBJECT_HOTSPOT, sheet, {}, nullptr, {{130, 120}, {161, 120}}, "br"},
        {"stamp without a picture", ANN_OBJECT_STAMP, sheet, {}, widen, {{98, 110}, {130, 120}, {163, 110}}, "bbr"},
        {"stamp with a picture has no frame",
         ANN_OBJECT_STAMP,
         sheet,
         {},
         [](HANNOBJECT h, AnnObject&) {
             KernelBitmap image = picture(3, 3);
             K_AnnSetLineWidth(h, 6, 0);
             K_AnnSetBitmap(h, &image, 0);
             K_FreeBitmap(&image);
         },
         {{98, 110}, {130, 120}},
         "rb"},
        {"stamp without a line has no frame",
         ANN_OBJECT_STAMP,
         sheet,
         {},
         [](HANNOBJECT h, AnnObject&) {
             K_AnnSetLineWidth(h, 6, 0);
             K_AnnSetLineStyle(h, ANN_LINE_NULL, 0);
         },
         {{98, 110}, {130, 120}},
         "rb"},
        {"an automation is nowhere", ANN_OBJECT_AUTOMATION, sheet, {}, nullptr, corners, "rrr"},
        {"an empty container in another", ANN_OBJECT_CONTAINER, sheet, {}, nullptr, corners, "rrr"},
        {"point",
         ANN_OBJECT_POINT,
         {},
         {{50, 50}},
         [](HANNOBJECT h, AnnObject&) {
             KernelBitmap image = picture(10, 6);
             K_AnnSetBitmap(h, &image, 0);
             K_FreeBitmap(&image);
         },
         {{45, 47}, {54, 52}, {44, 47}, {45, 46}, {55, 50}},
         "bbrrr"},
    };
    for (const TypeRow& row : rows) run(row);
}

TEST(HitTest, Ellipses) {
    const TypeRow rows[] = {
        {"hollow",
         ANN_OBJECT_ELLIPSE,
         sheet,
         {},
         nullptr,
         {{130, 100}, {130, 102}, {130, 120}, {101, 101}, {101, 120}},
         "brrrb"},
        {"filled", ANN_OBJECT_ELLIPSE, sheet, {}, fill, {{130, 100}, {130, 120}, {101, 101}}, "bbr"},
        {"hollow with a wide line", ANN_OBJECT_ELLIPSE, sheet, {}, widen, {{130, 97}, {130, 102}, {130, 120}}, "bbr"},
        // Half axes of 30 and 20, the long one down to the right.
        {"turned and hollow", ANN_OBJECT_ELLIPSE, sheet, {}, turn, {{151, 141}, {130, 120}, {145, 105}, {151, 99}}, "brrr"},
        {"turned and filled",
         ANN_OBJECT_ELLIPSE,
         sheet,
         {},
         fillAndTurn,
         {{151, 141}, {130, 120}, {142, 108}, {151, 99}},
         "bbbr"},
        {"smaller than its line", ANN_OBJECT_ELLIPSE, {100, 100, 101, 101}, {}, widen, {{100, 100}, {98, 100}}, "bb"},
    };
    for (const TypeRow& row : rows) run(row);
}

TEST(HitTest, Lines) {
    // A star of five points whose middle is wound about twice.
    const std::vector<AnnPoint> star{{150, 100}, {180, 190}, {102, 134}, {198, 134}, {120, 190}};
    const auto filledAlternate = [](HANNOBJECT h, AnnObject& r) {
        fill(h, r);
        K_AnnSetPolyFillMode(h, ANN_POLYFILL_ALTERNATE, 0);
    };
    const std::vector<POINT> inStar{{150, 150}, {150, 115}, {150, 185}};
    const TypeRow rows[] = {
        {"line",
         ANN_OBJECT_LINE,
         {10, 10, 50, 90},
         {},
         nullptr,
         {{30, 50}, {28, 50}, {32, 50}, {27, 50}, {40, 30}},
         "bbbrr"},
        {"polyline isn't closed",
         ANN_OBJECT_POLYLINE,
         {},
         {{10, 10}, {90, 20}, {20, 100}},
         nullptr,
         {{50, 15}, {55, 60}, {15, 55}},
         "bbr"},
        {"freehand", ANN_OBJECT_FREEHAND, {}, {{10, 10}, {90, 20}, {20, 100}}, nullptr, {{50, 15}, {15, 55}}, "br"},
        {"a stroke of one point", ANN_OBJECT_FREEHAND, {}, {{10, 10}}, nullptr, {{10, 10}}, "r"},
        {"hollow polygon is closed",
         ANN_OBJECT_POLYGON,
         {},
         {{10, 10}, {90, 20}, {20, 100}},
         nullptr,
         {{50, 15}, {15, 55}, {40, 40}},
         "bbr"},
        {"filled star", ANN_OBJECT_POLYGON, {}, star, fill, inStar, "bbr"},
        {"star filled by turns", ANN_OBJECT_POLYGON, {}, star, filledAlternate, inStar, "rbr"},
        {"star with a pattern",
         ANN_OBJECT_POLYGON,
         {},
         star,
         [](HANNOBJECT h, AnnObject&) { K_AnnSetFillPattern(h, 1, 0); },
         inStar,
         "bbr"},
        // A thin line of a filled polygon doesn't count, a wide one does.
        {"beside a thin edge",
         ANN_OBJECT_POLYGON,
         {},
         {{100, 100}, {160, 130}, {100, 160}},
         fill,
         {{130, 113}, {130, 116}},
         "rb"},
        {"beside a wide edge",
         ANN_OBJECT_POLYGON,
         {},
         {{100, 100}, {160, 130}, {100, 160}},
         [](HANNOBJECT h, AnnObject& r) { fill(h, r), K_AnnSetLineWidth(h, 2, 0); },
         {{130, 113}, {130, 116}},
         "bb"},
        {"freehand hotspot", ANN_OBJECT_FREEHANDHOTSPOT, {}, star, nullptr, inStar, "bbr"},
        {"freehand hotspot by turns",
         ANN_OBJECT_FREEHANDHOTSPOT,
         {},
         star,
         [](HANNOBJECT, AnnObject& r) { r.nPolyFillMode = ANN_POLYFILL_ALTERNATE; },
         inStar,
         "rbr"},
        // The head of a thin pointer is hit on its outline alone: 5 pixels long and wide at the tip.
        {"thin pointer", ANN_OBJECT_POINTER, {20, 20, 100, 100}, {}, nullptr, {{50, 50}, {100, 100}, {60, 80}}, "bbr"},
        {"wide pointer",
         ANN_OBJECT_POINTER,
         {20, 20, 200, 200},
         {},
         [](HANNOBJECT h, AnnObject&) { K_AnnSetLineWidth(h, 20, 0); },
         {{60, 60}, {170, 170}, {180, 160}, {60, 120}},
         "bbbr"},
    };
    for (const TypeRow& row : rows) run(row);
}

TEST(HitTest, InsidesOfWidePointerHeadsCount) {
    const Tree tree;
    const HANNOBJECT pointer = makeItem(tree.root, ANN_OBJECT_POINTER, {20, 100, 400, 100});
    K_AnnSetLineWidth(pointer, 40, 0); // the head is 122 pixels long
    const AnnObject& r = record(pointer);
    EXPECT_TRUE(annHitPointer(r, {400 - static_cast<int>(r.dArrowLength / 2) + 10, 100 - 24}));
    EXPECT_FALSE(annHitPointer(r, {400 - static_cast<int>(r.dArrowLength), 100 - 90}));
}

// How many pixels from `from` on, stepwise, belong to an item.
int reach(HANNOBJECT item, POINT from, POINT step) {
    int count = 0;
    for (; count < 1000 && at(item, from) == 'b'; ++count) from = {from.x + step.x, from.y + step.y};
    return count;
}

// Tolerances and sizes of shapes under a zoom; that of a turned frame is scaled twice.
TEST(HitTest, ShapesGrowWithTheView) {
    const struct {
        const char* name;
        uint32_t type;
        AnnRect rect;
        std::vector<AnnPoint> points; // instead of the rectangle
        double width, scalar, degrees;
        POINT from, step;
        int count;
    } rows[] = {
        {"upright frame", ANN_OBJECT_RECT, sheet, {}, 2, 3, 0, {390, 300}, {0, -1}, 4},
        {"turned frame", ANN_OBJECT_RECT, sheet, {}, 2, 3, 45, {432, 318}, {0, -1}, 12},
        {"ellipse", ANN_OBJECT_ELLIPSE, sheet, {}, 3, 2, 0, {260, 200}, {0, -1}, 4},
        {"gauge bar", ANN_OBJECT_RULER, {}, {{100, 100}, {200, 100}}, 1, 2, 0, {400, 200}, {0, 1}, 32},
        {"arc", ANN_OBJECT_PROTRACTOR, {}, {{200, 100}, {100, 100}, {100, 200}}, 1, 2, 0, {242, 242}, {1, 1}, 3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Tree tree;
        const HANNOBJECT item = makeItem(tree.root, row.type, row.rect);
        if (!row.points.empty()) K_AnnSetPoints(item, row.points.data(), static_cast<uint32_t>(row.points.size()));
        K_AnnSetLineWidth(item, row.width, 0);
        K_AnnSetScalarX(tree.root, row.scalar, 0);
        K_AnnSetScalarY(tree.root, row.scalar, 0);
        if (row.degrees != 0) K_AnnRotate(item, row.degrees, nullptr, 0);
        EXPECT_EQ(reach(item, row.from, row.step), row.count);
    }
}

TEST(HitTest, MasksOfGlyphs) {
    for (const int bits : {1, 24})
        for (const int perspective : {KB_VIEW_TOP_LEFT, KB_VIEW_BOTTOM_LEFT}) {
            SCOPED_TRACE(std::to_string(bits) + " bits, perspective " + std::to_string(perspective));
            const Tree tree;
            const Mask audio(HitMask::audio, bits, perspective), video(HitMask::video, bits, perspective);
            makeItem(tree.root, ANN_OBJECT_AUDIO, {101, 101, 199, 199});
            makeItem(tree.root, ANN_OBJECT_VIDEO, {301, 101, 399, 199});
            // Both have rectangles of 100 by 100 from 100 or 300; the audio glyph's is cut to 52 of them.
            EXPECT_EQ(at(tree.root, {{110, 110}, {117, 110}, {120, 110}, {160, 110}, {110, 160}}), "bbrrr");
            EXPECT_EQ(at(tree.root, {{310, 110}, {336, 110}, {340, 110}, {310, 160}}), "bbrr");
        }
    const Tree tree; // glyphs without a mask
    const KernelBitmap kept = std::exchange(placeOf(HitMask::audio), {});
    makeItem(tree.root, ANN_OBJECT_AUDIO, {101, 101, 199, 199});
    EXPECT_EQ(at(tree.root, {{110, 190}, {151, 190}, {152, 190}}), "bbr");
    placeOf(HitMask::audio) = kept;
}

TEST(HitTest, Pushpins) {
    struct {
        const char* name;
        uint32_t mode, state;
        bool hasPicture;
        const char* answers;
    } rows[] = {{"design mode", ANN_USERMODE_DESIGN, 0, true, "bbb"},
                {"open in run mode", ANN_USERMODE_RUN, 1, true, "bbb"},
                {"closed", ANN_USERMODE_RUN, 0, true, "rbr"},
                {"closed without a picture", ANN_USERMODE_RUN, 0, false, "rrr"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Tree tree;
        const HANNOBJECT pin = makeItem(tree.root, ANN_OBJECT_PUSHPIN, {100, 100, 180, 180});
        KernelBitmap image = picture(20, 10);
        K_AnnSetSecondaryBitmap(pin, row.hasPicture ? &image : nullptr, 0);
        K_FreeBitmap(&image);
        K_AnnSetUserMode(tree.root, row.mode);
        record(pin).nActiveState = row.state;
        EXPECT_EQ(at(tree.root, {{104, 104}, {124, 114}, {125, 114}}), row.answers);
        if (row.answers != std::string("rbr")) continue;
        for (const auto set : {K_AnnSetScalarX, K_AnnSetScalarY}) set(tree.root, 2, 0);
        EXPECT_EQ(at(tree.root, {{206, 206}, {244, 224}, {245, 224}}), "bbr") << "twice the size, still five pixels in";
    }
}

TEST(HitTest, Measures) {
    const Tree tree;
    const HANNOBJECT ruler = makeItem(tree.root, ANN_OBJECT_RULER), cross = makeItem(tree.root, ANN_OBJECT_CROSSPRODUCT),
                     protractor = makeItem(tree.root, ANN_OBJECT_PROTRACTOR);
    const AnnPoint line[] = {{100, 100}, {200, 100}}, lines[] = {{100, 300}, {200, 300}, {150, 300}, {150, 250}, {150, 350}},
                   arms[] = {{400, 100}, {300, 100}, {300, 200}};
    K_AnnSetPoints(ruler, line, 2);
    K_AnnSetPoints(cross, lines, 5);
    K_AnnSetPoints(protractor, arms, 3);
    for (const HANNOBJECT h : {ruler, cross, protractor}) {
        record(h).pMeasure->rcDistanceText = {1000, 1000, 1010, 1010};
        record(h).pMeasure->rcDistance2Text = {2000, 2000, 2010, 2010};
        record(h).pMeasure->rcAngleText = {3000, 3000, 3010, 3010};
    }
    struct {
        const char* name;
        HANNOBJECT object;
        uint32_t show;
        POINT point;
        bool hit;
    } rows[] = {
        {"ruler's line", ruler, 3, {150, 102}, true},
        {"ruler's bar", ruler, 3, {100, 112}, true},
        {"bar that isn't shown", ruler, ANN_SHOW_LENGTH, {100, 112}, false},
        {"ruler's text", ruler, 3, {1005, 1005}, true},
        {"text that isn't shown", ruler, ANN_SHOW_GAUGE, {1005, 1005}, false},
        {"a ruler has one text", ruler, 3, {2005, 2005}, false},
        {"cross, first line", cross, 3, {120, 300}, true},
        {"cross, second line", cross, 3, {150, 260}, true},
        {"cross, second bar", cross, 3, {140, 350}, true},
        {"cross, second text", cross, 3, {2005, 2005}, true},
        {"cross, beside both", cross, 3, {120, 270}, false},
        {"first arm", protractor, 3, {380, 100}, true},
        {"second arm", protractor, 0, {300, 180}, true},
        {"between the ends of the arms", protractor, 0, {350, 150}, false},
        {"bar of an arm", protractor, 3, {310, 200}, true},
        {"no bars without flags", protractor, 0, {310, 200}, false},
        {"texts of the arms", protractor, 3, {2005, 2005}, true},
        {"text of the angle, whatever is shown", protractor, 0, {3005, 3005}, true},
        {"arc between the arms", protractor, 0, {321, 121}, true},
        {"3 pixels further out", protractor, 0, {323, 123}, true},
        {"too far out", protractor, 0, {325, 125}, false},
        {"other side of the arc", protractor, 0, {279, 79}, false},
    };
    for (const auto& row : rows) {
        record(row.object).uShowFlags = row.show;
        EXPECT_EQ(annHitObject(record(row.object), row.point), row.hit) << row.name;
    }
    // The complement of the angle, and arms that lie on each other.
    AnnObject& p = record(protractor);
    p.uShowFlags = 0;
    p.bAcute = 0;
    EXPECT_FALSE(annHitArc(p, {321, 121}));
    EXPECT_TRUE(annHitArc(p, {279, 79}));
    const AnnPoint folded[] = {{400, 100}, {300, 100}, {380, 100}};
    K_AnnSetPoints(protractor, folded, 3);
    EXPECT_TRUE(annHitArc(p, {300, 130}));
    p.bAcute = 1;
    EXPECT_FALSE(annHitArc(p, {300, 130}));
    p.dArcRadius = 0.5;
    EXPECT_FALSE(annHitArc(p, {300, 100}));
}

TEST(HitTest, Names) {
    const Tree tree;
    const HANNOBJECT note = makeItem(tree.root, ANN_OBJECT_NOTE, sheet);
    K_AnnSetName(note, TRUE, "a name", nullptr, -1, 0);
    const RECT name = record(note).rcName;
    ASSERT_FALSE(annIsEmpty(name));
    const POINT inName{name.left + 1, name.top + 1};
    EXPECT_EQ(at(tree.root, {inName, {130, 120}}), "nb");
    K_AnnSetName(note, FALSE, reinterpret_cast<const char*>(intptr_t{-1}), nullptr, -1, 0);
    EXPECT_EQ(at(tree.root, inName), 'r');
}

TEST(HitTest, Handles) {
    const Tree tree;
    const HANNOBJECT below = makeItem(tree.root, ANN_OBJECT_RECT, sheet);
    K_AnnSetSelected(below, TRUE, 0);
    // The square around 100, 100 reaches from 97 to 103; the answer moves to its middle.
    for (const POINT& p : {POINT{97, 97}, POINT{103, 103}, POINT{100, 100}}) {
        POINT point = p;
        uint32_t result = 0;
        HANNOBJECT found = nullptr;
        K_AnnHitTest(tree.root, &point, &result, &found);
        EXPECT_EQ(result, uint32_t{ANN_HIT_HANDLE});
        EXPECT_EQ(found, below);
        EXPECT_EQ(point.x, 100);
        EXPECT_EQ(point.y, 100);
    }
    EXPECT_EQ(at(tree.root, {{96, 100}, {104, 104}, {160, 140}}), "rrh");

    const POINT handles[] = {{10, 10}, {12, 10}, {30, 30}};
    EXPECT_EQ(annHandleAt(handles, 3, {11, 10}), 0u);
    EXPECT_EQ(annHandleAt(handles, 3, {14, 10}), 1u);
    EXPECT_EQ(annHandleAt(handles, 3, {20, 20}), 3u);

    const HANNOBJECT above = makeItem(tree.root, ANN_OBJECT_HILITE, {98, 98, 102, 102});
    HANNOBJECT found = nullptr;
    EXPECT_EQ(at(tree.root, {100, 100}, &found), 'b'); // the walk reaches what lies in front first
    EXPECT_EQ(found, above);
    K_AnnSetVisible(above, FALSE, 0, nullptr);
    K_AnnSetUserMode(tree.root, ANN_USERMODE_RUN);
    EXPECT_EQ(at(tree.root, {{100, 100}, {97, 97}}), "br"); // of the line that is still widened for its handles
}

TEST(HitTest, OrderOfTheWalk) {
    struct {
        const char* name;
        void (*change)(HANNOBJECT root, HANNOBJECT group, HANNOBJECT inner, HANNOBJECT last);
        const char* found; // tags at the middle, beside the group's rectangle, beside the last item
    } rows[] = {
        // All are highlights: `i` reaches beyond its group's rectangle, `l` is in front, `z` at the back.
        {"front first", [](HANNOBJECT, HANNOBJECT, HANNOBJECT, HANNOBJECT) {}, "lzi"},
        {"hidden in front", [](HANNOBJECT, HANNOBJECT, HANNOBJECT, HANNOBJECT l) { K_AnnSetVisible(l, FALSE, 0, nullptr); },
         "izi"},
        {"locked in front", [](HANNOBJECT, HANNOBJECT, HANNOBJECT, HANNOBJECT l) { record(l).pszLockKey.assign("k"); },
         "izi"},
        {"hidden group",
         [](HANNOBJECT, HANNOBJECT g, HANNOBJECT, HANNOBJECT l) {
             K_AnnSetVisible(g, FALSE, 0, nullptr);
             K_AnnRemove(l);
         },
         "zzz"},
        {"locked group", [](HANNOBJECT, HANNOBJECT g, HANNOBJECT, HANNOBJECT) { record(g).pszLockKey.assign("k"); }, "lzz"},
        // The chain of last children is gone down without a look at rectangles.
        {"group in front", [](HANNOBJECT, HANNOBJECT g, HANNOBJECT, HANNOBJECT) { K_AnnBringToFront(g); }, "iii"},
        {"locked group in front",
         [](HANNOBJECT, HANNOBJECT g, HANNOBJECT, HANNOBJECT) {
             K_AnnBringToFront(g);
             record(g).pszLockKey.assign("k");
         },
         "lzz"},
        {"hidden group in front",
         [](HANNOBJECT, HANNOBJECT g, HANNOBJECT, HANNOBJECT) {
             K_AnnBringToFront(g);
             K_AnnSetVisible(g, FALSE, 0, nullptr);
         },
         "lzz"},
        {"hidden root", [](HANNOBJECT r, HANNOBJECT, HANNOBJECT, HANNOBJECT) { K_AnnSetVisible(r, FALSE, 0, nullptr); },
         "..."},
        {"locked root", [](HANNOBJECT r, HANNOBJECT, HANNOBJECT, HANNOBJECT) { record(r).pszLockKey.assign("k"); }, "..."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Tree tree;
        const HANNOBJECT back = makeItem(tree.root, ANN_OBJECT_HILITE, {0, 0, 500, 500}),
                         group = makeItem(tree.root, ANN_OBJECT_CONTAINER, {100, 100, 300, 300}),
                         inner = makeItem(group, ANN_OBJECT_HILITE, {0, 0, 350, 200}),
                         last = makeItem(tree.root, ANN_OBJECT_HILITE, {190, 190, 210, 210});
        K_AnnSetTag(back, 'z', 0);
        K_AnnSetTag(inner, 'i', 0);
        K_AnnSetTag(last, 'l', 0);
        row.change(tree.root, group, inner, last);
        std::string tags;
        for (const POINT& p : {POINT{200, 200}, POINT{400, 200}, POINT{250, 250}}) {
            HANNOBJECT found = nullptr;
            at(tree.root, p, &found);
            tags += found ? static_cast<char>(record(found).uTag) : '.';
        }
        EXPECT_EQ(tags, row.found);
        if (!record(last).pParent) annFreeTree(annFromHandle(last));
    }
}

TEST(HitTest, RootsAlone) {
    const Tree tree;
    EXPECT_EQ(at(tree.root, {{5, 5}, {999, 5}, {1000, 5}, {-1, -1}}), "rr..");
    const HANNOBJECT loose = make(ANN_OBJECT_HILITE);
    K_AnnSetRect(loose, &sheet);
    K_AnnSetVisible(loose, TRUE, 0, nullptr);
    HANNOBJECT found = nullptr;
    at(loose, {130, 120}, &found);
    EXPECT_EQ(found, loose);
    EXPECT_EQ(at(loose, {10, 10}), '.');
    K_AnnDestroy(loose, 0);
}

TEST(HitTest, GeometryThatIsNoNumberIsNeverHit) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN(), infinite = std::numeric_limits<double>::infinity();
    for (const double value : {nan, infinite, -infinite, 1e300, -1e300, 4e9})
        for (uint32_t type = 0; type < ANN_OBJECT_LAST; ++type) {
            SCOPED_TRACE("type " + std::to_string(type) + " value " + std::to_string(value));
            const Tree tree;
            const HANNOBJECT item = makeItem(tree.root, type);
            AnnObject& r = record(item);
            const AnnPoint points[5] = {{100, 100}, {value, 120}, {130, 140}, {110, value}, {120, 130}};
            if (r.nPoints()) r.pPoints.assign({points, type == ANN_OBJECT_PROTRACTOR ? 3u : 5u});
            r.quad[1].x = value;
            r.ptPointerTip.x = value;
            K_AnnSetSelected(item, TRUE, 0);
            const bool finite = std::isfinite(value);
            for (const POINT& p :
                 {POINT{0, 0}, POINT{100, 100}, POINT{118, 120}, POINT{INT32_MAX, 5}, POINT{INT32_MIN, 9}}) {
                HANNOBJECT found = nullptr;
                at(tree.root, p, &found);
                EXPECT_FALSE(found == item && !finite);
                annHitObject(r, p); // comes back
            }
            HRGN region = nullptr;
            if (K_AnnGetRgnHandle(item, nullptr, &region) == SUCCESS) DeleteObject(region);
        }
}

TEST(HitTest, BadArguments) {
    const Tree tree;
    POINT point{5, 5};
    uint32_t result = 0;
    HANNOBJECT found = nullptr;
    EXPECT_EQ(K_AnnHitTest(nullptr, &point, &result, &found), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnHitTest(tree.root, nullptr, &result, &found), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnHitTest(tree.root, &point, nullptr, &found), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnHitTest(tree.root, &point, &result, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnSelectPoint(tree.root, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnSelectRect(tree.root, nullptr), ERROR_INV_PARAMETER);
}

} // namespace
