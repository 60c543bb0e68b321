// Enhanced metafiles played on pixels: transforms, paths, pens of every end, arcs, clips, blending, text, and records that
// can't be right.
#include "tests/platform/metafile_fixture.h"

#include <cmath>
#include <limits>

using namespace metafile_test;

namespace {

TEST(PlayEnhanced, FrameFillsTheRectangle) {
    Page page;
    EXPECT_TRUE(page.play(Enhanced().brush(1, 0).rectangle(0, 0, 99, 99), {10, 20, 60, 45}));
    EXPECT_EQ(show(page.ink()), show({10, 20, 60, 45}));
    Page mirrored;
    EXPECT_TRUE(mirrored.play(Enhanced().brush(1, 0).rectangle(10, 20, 29, 39), {100, 0, 0, 100}));
    EXPECT_EQ(show(mirrored.ink()), show({70, 20, 90, 40}));
}

TEST(PlayEnhanced, MappingAndTransforms) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinity = std::numeric_limits<float>::infinity();
    const RECT nothing{100, 100, 0, 0};
    const struct {
        const char* name;
        Enhanced file;
        RECT expected;
    } rows[] = {
        {"pixels", Enhanced().rectangle(10, 20, 29, 39), {10, 20, 30, 40}},
        {"window and viewport",
         Enhanced().record(17, {8}).record(9, {1000, 1000}).record(11, {100, 100}).rectangle(100, 200, 290, 390),
         {10, 20, 30, 40}},
        {"window alone, upwards",
         Enhanced()
             .record(17, {8})
             .record(10, {0, 100})
             .record(9, {100, -100})
             .record(11, {100, 100})
             .rectangle(10, 80, 29, 61),
         {10, 20, 30, 40}},
        {"extents don't count under pixels", Enhanced().record(9, {7, 7}).rectangle(10, 20, 29, 39), {10, 20, 30, 40}},
        {"tenths of a millimetre", Enhanced().record(17, {MM_LOMETRIC}).rectangle(100, -200, 290, -390), {10, 20, 30, 40}},
        {"world scaled and moved", Enhanced().transform(2, 0, 0, 2, 10, 20).rectangle(0, 0, 9, 9), {10, 20, 29, 39}},
        {"world put before",
         Enhanced()
             .transform(1, 0, 0, 1, 10, 20)
             .record(36, Bytes().real(2).real(0).real(0).real(2).real(0).real(0).u32(2))
             .rectangle(0, 0, 9, 9),
         {10, 20, 29, 39}},
        {"world taken away",
         Enhanced()
             .transform(9, 0, 0, 9, 9, 9)
             .record(36, Bytes().real(2).real(0).real(0).real(2).real(0).real(0).u32(1))
             .rectangle(10, 20, 29, 39),
         {10, 20, 30, 40}},
        {"no number", Enhanced().transform(nan, 0, 0, 1, 0, 0).rectangle(0, 0, 50, 50), nothing},
        {"without end", Enhanced().transform(1, 0, 0, infinity, 0, 0).rectangle(0, 0, 50, 50), nothing},
        {"saved and restored",
         Enhanced().record(33, Bytes()).transform(3, 0, 0, 3, 0, 0).record(34, {-1}).rectangle(10, 20, 29, 39),
         {10, 20, 30, 40}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Page page;
        Enhanced file = Enhanced().pen(2, PS_SOLID, 0, 0).stock(BLACK_BRUSH);
        file.body.add(row.file.body);
        EXPECT_TRUE(page.play(file));
        EXPECT_EQ(show(page.ink()), show(row.expected));
    }
}

TEST(PlayEnhanced, TurnedFiguresKeepTheirArea) {
    const float half = static_cast<float>(std::sqrt(0.5));
    const auto area = [](const Enhanced& figure, float a, float b) {
        Page page;
        Enhanced file = Enhanced().stock(NULL_PEN).stock(BLACK_BRUSH).transform(a, b, -b, a, 50, 50);
        file.body.add(figure.body);
        EXPECT_TRUE(page.play(file));
        return std::count(page.pixels.begin(), page.pixels.end(), 0u);
    };
    const struct {
        const char* name;
        Enhanced figure;
    } rows[] = {{"rectangle", Enhanced().rectangle(-20, -10, 20, 10)},
                {"ellipse", Enhanced().record(42, {-30, -15, 30, 15})},
                {"rounded", Enhanced().record(44, {-25, -15, 25, 15, 20, 20})},
                {"pie", Enhanced().record(47, {-30, -30, 30, 30, 30, 0, 0, -30})},
                {"chord", Enhanced().record(46, {-30, -30, 30, 30, 30, 0, 0, -30})}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto straight = static_cast<double>(area(row.figure, 1, 0));
        EXPECT_GT(straight, 200);
        EXPECT_NEAR(static_cast<double>(area(row.figure, half, half)), straight,
                    straight * 0.2 + 10); // corners fall on whole pixels
        EXPECT_NEAR(static_cast<double>(area(row.figure, 0, 1)), straight,
                    straight * 0.2 + 10); // corners fall on whole pixels
    }
}

TEST(PlayEnhanced, ArcsTurnAsTheFileSays) {
    // From the right to the top: against the clock a quarter, with it three.
    const Enhanced pie = Enhanced().record(47, {10, 10, 90, 90, 90, 50, 50, 10});
    for (const bool clockwise : {false, true})
        for (const bool mirrored : {false, true})
            for (const bool turned : {false, true}) { // by a hair: the figure goes through a path
                SCOPED_TRACE(testing::Message()
                             << "clockwise " << clockwise << ", mirrored " << mirrored << ", turned " << turned);
                Page page;
                Enhanced file = Enhanced().stock(NULL_PEN).stock(BLACK_BRUSH).record(57, {clockwise ? 2 : 1});
                if (turned) file.transform(1, 1e-5f, -1e-5f, 1, 0, 0);
                file.body.add(pie.body);
                EXPECT_TRUE(page.play(file, mirrored ? RECT{100, 0, 0, 100} : RECT{0, 0, 100, 100}));
                const int right = mirrored ? 40 : 60, left = mirrored ? 60 : 40;
                EXPECT_EQ(page.at(right, 40) == 0, !clockwise);
                EXPECT_EQ(page.at(left, 40) == 0, clockwise);
                EXPECT_EQ(page.at(left, 60) == 0, clockwise);
                EXPECT_EQ(page.at(right, 60) == 0, clockwise);
            }
}

TEST(PlayEnhanced, Paths) {
    const auto square = [](int from, int to) {
        return Enhanced().poly16(86, {{from, from}, {to, from}, {to, to}, {from, to}});
    };
    Enhanced two = Enhanced().record(59);
    two.body.add(square(10, 90).body).add(square(30, 70).body);
    two.record(60);
    Enhanced start = Enhanced().stock(NULL_PEN).stock(BLACK_BRUSH);
    const auto play = [&](Page& page, const Enhanced& tail, int fillMode = ALTERNATE) {
        Enhanced file = start;
        file.record(19, {fillMode});
        file.body.add(two.body).add(tail.body);
        EXPECT_TRUE(page.play(file));
    };
    const std::initializer_list<int64_t> bounds{0, 0, 99, 99};
    Page filled, wound, clipped, dropped;
    play(filled, Enhanced().record(62, bounds));
    EXPECT_EQ(filled.at(20, 20), 0u);
    EXPECT_EQ(filled.at(50, 50), 0xFFFFFFu);
    play(wound, Enhanced().record(62, bounds), WINDING);
    EXPECT_EQ(wound.at(50, 50), 0u);
    play(clipped, Enhanced().record(67, {RGN_COPY}).rectangle(0, 0, 99, 99));
    EXPECT_EQ(clipped.at(20, 20), 0u);
    EXPECT_EQ(clipped.at(50, 50), 0xFFFFFFu);
    EXPECT_EQ(clipped.at(5, 5), 0xFFFFFFu);
    play(dropped, Enhanced().record(68).record(62, bounds));
    EXPECT_TRUE(dropped.blank());

    // Lines go on from each other, a closed figure comes back, a curve bulges.
    Page curve;
    EXPECT_TRUE(curve.play(Enhanced()
                               .stock(NULL_PEN)
                               .stock(BLACK_BRUSH)
                               .record(59)
                               .record(27, {10, 50})
                               .poly16(88, {{10, 0}, {90, 0}, {90, 50}})
                               .record(54, {90, 60})
                               .record(54, {10, 60})
                               .record(61)
                               .record(60)
                               .record(63, bounds)));
    EXPECT_EQ(curve.at(50, 20), 0u);
    EXPECT_EQ(curve.at(50, 59), 0u);
    EXPECT_EQ(curve.at(12, 15), 0xFFFFFFu);
    EXPECT_EQ(curve.at(50, 70), 0xFFFFFFu);
}

Enhanced extendedPen(int style, int width, std::initializer_list<int64_t> dashes = {}) {
    Bytes b;
    for (const int64_t v : {1, 0, 0, 0, 0}) b.u32(v);
    b.u32(style).u32(width).u32(BS_SOLID).u32(0).u32(0).u32(static_cast<int64_t>(dashes.size()));
    for (const int64_t v : dashes) b.u32(v);
    return Enhanced().record(95, b).record(37, {1});
}

TEST(PlayEnhanced, PensWithEndsAndCorners) {
    constexpr int geometric = 0x10000, square = 0x100, flat = 0x200, bevel = 0x1000, miter = 0x2000;
    const struct {
        const char* name;
        int style;
        int end;     // where a line to 70 of width 20 ends
        bool corner; // whether the corner of its end is filled
    } rows[] = {
        {"round", geometric, 80, false}, {"square", geometric | square, 80, true}, {"flat", geometric | flat, 70, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Page page;
        Enhanced file = extendedPen(row.style, 20);
        file.record(27, {30, 50}).record(54, {70, 50});
        EXPECT_TRUE(page.play(file));
        const RECT ink = page.ink();
        EXPECT_NEAR(ink.right, row.end, 1);
        EXPECT_NEAR(ink.left, 100 - row.end, 1);
        EXPECT_NEAR(ink.bottom - ink.top, 20, 1);
        EXPECT_EQ(page.at(ink.right - 2, ink.top + 1) == 0, row.corner);
    }
    for (const int join : {miter, bevel}) {
        Page page;
        Enhanced file = extendedPen(geometric | flat | join, 20);
        file.poly16(87, {{20, 80}, {20, 20}, {80, 20}});
        EXPECT_TRUE(page.play(file));
        EXPECT_EQ(page.at(11, 11) == 0, join == miter);
        EXPECT_EQ(page.at(20, 20), 0u);
    }
    Page dashed;
    Enhanced file = extendedPen(geometric | flat | 7, 10, {20, 10});
    file.record(27, {0, 50}).record(54, {100, 50});
    EXPECT_TRUE(dashed.play(file));
    for (const int x : {5, 15, 35, 45, 65}) EXPECT_EQ(dashed.at(x, 50), 0u) << x;
    for (const int x : {25, 55, 85}) EXPECT_EQ(dashed.at(x, 50), 0xFFFFFFu) << x;
}

Bytes region(std::initializer_list<RECT> boxes) {
    Bytes b;
    const auto count = static_cast<int64_t>(boxes.size());
    b.u32(32).u32(1).u32(count).u32(count * 16).u32(0).u32(0).u32(0).u32(0);
    for (const RECT& r : boxes) b.u32(r.left).u32(r.top).u32(r.right).u32(r.bottom);
    return b;
}

TEST(PlayEnhanced, ClipsNeverWidenTheCallers) {
    Page page;
    IntersectClipRect(page.dc, 20, 20, 80, 80);
    const Bytes everything = region({{-1000, -1000, 1000, 1000}});
    Enhanced file = Enhanced().stock(BLACK_BRUSH);
    for (const int mode : {RGN_COPY, RGN_OR, RGN_XOR, RGN_OR})
        file.record(75, Bytes().u32(static_cast<int64_t>(everything.size())).u32(mode).add(everything));
    file.record(75, {0, RGN_COPY}).record(34, {-1}).record(34, {1}).rectangle(0, 0, 99, 99);
    EXPECT_TRUE(page.play(file));
    EXPECT_EQ(show(page.ink()), show({20, 20, 80, 80}));

    // What a file has made its widest, it can't leave any more.
    Page meta;
    EXPECT_TRUE(meta.play(Enhanced()
                              .stock(BLACK_BRUSH)
                              .record(30, {10, 10, 40, 40})
                              .record(28)
                              .record(75, {0, RGN_COPY})
                              .rectangle(0, 0, 99, 99)));
    EXPECT_EQ(show(meta.ink()), show({10, 10, 40, 40}));

    Page islands;
    const Bytes two = region({{10, 10, 20, 20}, {30, 30, 40, 40}});
    EXPECT_TRUE(islands.play(Enhanced()
                                 .stock(BLACK_BRUSH)
                                 .record(75, Bytes().u32(static_cast<int64_t>(two.size())).u32(RGN_COPY).add(two))
                                 .rectangle(0, 0, 99, 99)));
    EXPECT_EQ(islands.at(15, 15), 0u);
    EXPECT_EQ(islands.at(25, 25), 0xFFFFFFu);
    EXPECT_EQ(islands.at(35, 35), 0u);
}

// A picture of 32 bits, one colour, in the way of the blit records: everything up to the bitmap, then it.
Bytes blitRecord(uint32_t operation, uint32_t pixel, RECT to) {
    Bytes b;
    for (int i = 0; i < 4; ++i) b.u32(0);
    b.u32(to.left)
        .u32(to.top)
        .u32(int64_t{to.right} - to.left)
        .u32(int64_t{to.bottom} - to.top)
        .u32(operation)
        .u32(0)
        .u32(0);
    b.real(1).real(0).real(0).real(1).real(0).real(0).u32(0xFFFFFF).u32(DIB_RGB_COLORS);
    b.u32(108).u32(40).u32(148).u32(16).u32(2).u32(2);
    b.u32(40).u32(2).u32(2).u16(1).u16(32);
    for (int i = 0; i < 6; ++i) b.u32(0);
    for (int i = 0; i < 4; ++i) b.u32(pixel);
    return b;
}

TEST(PlayEnhanced, Pixels) {
    const RECT to{20, 20, 60, 60};
    const struct {
        const char* name;
        int type;
        uint32_t operation, pixel, expected; // on grey 0x808080
    } rows[] = {
        {"copied", 77, SRCCOPY, 0x123456, 0x123456},
        {"inverted into", 77, SRCINVERT, 0x0000FF, 0x80807F},
        {"half as strong", 114, 0x00800000, 0x00FFFFFF, 0xC0C0C0},
        {"alpha of its own", 114, 0x01FF0000, 0x80400000, 0x803F3F}, // multiplied already
        {"nothing of it", 114, 0x01FF0000, 0x00000000, 0x808080},
        {"all a hole", 116, RGB(1, 2, 3), 0x010203, 0x808080},
        {"no hole", 116, RGB(3, 2, 1), 0x010203, 0x010203},
    };
    for (const bool turned : {false, true})
        for (const auto& row : rows) {
            SCOPED_TRACE(testing::Message() << row.name << (turned ? ", turned" : ""));
            Page page;
            std::fill(page.pixels.begin(), page.pixels.end(), 0x808080);
            Enhanced file;
            if (turned) file.transform(0, 1, -1, 0, 100, 0);
            file.record(row.type, blitRecord(row.operation, row.pixel, to));
            EXPECT_TRUE(page.play(file));
            const int x = turned ? 60 : 40;
            for (int shift = 0; shift < 24; shift += 8)
                EXPECT_NEAR(static_cast<int>(page.at(x, 40) >> shift & 0xFF), static_cast<int>(row.expected >> shift & 0xFF),
                            1);
            EXPECT_EQ(page.at(10, 10), 0x808080u);
            EXPECT_EQ(page.at(turned ? 30 : 70, 40), 0x808080u);
        }

    Page gradient; // from black to red
    Bytes b;
    for (int i = 0; i < 4; ++i) b.u32(0);
    b.u32(2).u32(1).u32(0);
    b.u32(0).u32(0).u16(0).u16(0).u16(0).u16(0);
    b.u32(100).u32(50).u16(0xFF00).u16(0).u16(0).u16(0);
    b.u32(0).u32(1);
    EXPECT_TRUE(gradient.play(Enhanced().record(118, b)));
    EXPECT_NEAR(static_cast<int>(gradient.at(50, 25) >> 16), 128, 2);
    EXPECT_EQ(gradient.at(50, 25) & 0xFFFF, 0u);
    EXPECT_LT(gradient.at(1, 25) >> 16, 8u);
    EXPECT_EQ(gradient.at(50, 60), 0xFFFFFFu);
}

TEST(PlayEnhanced, TurnedPatternBlitsAskForABrushOnlyWhereTheyNeedOne) {
    const auto blit = [](uint32_t operation) { // without a bitmap, on 20,20 to 60,60
        Bytes b;
        for (int i = 0; i < 4; ++i) b.u32(0);
        b.u32(20).u32(20).u32(40).u32(40).u32(operation);
        while (b.size() < 92) b.u32(0);
        return b;
    };
    for (const bool turned : {false, true})
        for (const uint32_t operation : {BLACKNESS, DSTINVERT, PATCOPY}) {
            SCOPED_TRACE(testing::Message() << std::hex << operation << (turned ? ", turned" : ""));
            Page page;
            Enhanced file = Enhanced().stock(NULL_BRUSH);
            if (turned) file.transform(0, 1, -1, 0, 80, 0);
            EXPECT_TRUE(page.play(file.record(76, blit(operation))));
            EXPECT_EQ((page.at(40, 40) & 0xFFFFFF) == 0, operation != PATCOPY);
        }
}

TEST(PlayEnhanced, FloodFillsDontLookAtTheSpareByte) {
    Page page;
    for (uint32_t& pixel : page.pixels) pixel = 0x80FFFFFF;
    EXPECT_TRUE(page.play(Enhanced()
                              .pen(2, PS_SOLID, 0, 0)
                              .stock(NULL_BRUSH)
                              .rectangle(20, 20, 59, 59)
                              .brush(1, 0xFF)
                              .record(53, {40, 40, 0xFFFFFF, FLOODFILLSURFACE})));
    EXPECT_EQ(page.at(30, 30) & 0xFFFFFF, 0xFF0000u);
    EXPECT_EQ(page.at(10, 10) & 0xFFFFFF, 0xFFFFFFu);
}

TEST(PlayEnhanced, PicturesFromRightToLeftAreMirrored) {
    Page page;
    EXPECT_TRUE(page.play(Enhanced()
                              .stock(BLACK_BRUSH)
                              .record(33)
                              .record(115, {1})
                              .rectangle(10, 20, 29, 39)
                              .record(34, {-1})
                              .rectangle(10, 60, 29, 79)));
    EXPECT_EQ(page.at(70, 20), 0u);
    EXPECT_EQ(page.at(89, 39), 0u);
    EXPECT_EQ(page.at(69, 30), 0xFFFFFFu);
    EXPECT_EQ(page.at(90, 30), 0xFFFFFFu);
    EXPECT_EQ(show(page.ink()), show({10, 20, 90, 80})); // restored for the second one
    EXPECT_EQ(page.at(15, 30), 0xFFFFFFu);
}

// Sizes and places that have no room in 32 bits once something is added to them.
TEST(PlayEnhanced, FarthestCoordinates) {
    constexpr int64_t low = INT32_MIN, high = INT32_MAX;
    const auto stretch = [](int64_t ySource, int64_t heightSource, int64_t height) {
        Bytes b;
        for (int i = 0; i < 4; ++i) b.u32(0);
        b.u32(0).u32(0).u32(0).u32(ySource).u32(10).u32(heightSource).u32(80).u32(40).u32(120).u32(16);
        b.u32(DIB_RGB_COLORS).u32(SRCCOPY).u32(50).u32(50);
        b.u32(40).u32(2).u32(height).u16(1).u16(32);
        for (int i = 0; i < 10; ++i) b.u32(0);
        return b;
    };
    Page page;
    EXPECT_TRUE(page.play(Enhanced()
                              .record(81, stretch(high, high, 2))
                              .record(81, stretch(0, low, -2))
                              .record(81, stretch(low, 1, 2))
                              .record(17, {8})
                              .record(9, {1, 1})
                              .record(11, {high, high})
                              .record(15, {high, low, 0})
                              .record(43, {low, low, high, high})
                              .record(76, Bytes(blitRecord(PATCOPY, 0, {INT32_MIN, INT32_MIN, 0, 0})))));
}

Bytes textRecord(const std::u16string& text, int x, int y, UINT options = 0) {
    Bytes b;
    for (int i = 0; i < 4; ++i) b.u32(0);
    b.u32(1).real(1).real(1).u32(x).u32(y).u32(static_cast<int64_t>(text.size())).u32(76).u32(options);
    for (int i = 0; i < 4; ++i) b.u32(0);
    b.u32(0);
    for (const char16_t c : text) b.u16(c);
    return b;
}

Enhanced withFont(int height, int angle) {
    Bytes b;
    b.u32(1).u32(height).u32(0).u32(angle).u32(angle).u32(400).u32(0).u32(0);
    for (const char c : std::string("Arial")) b.u16(c);
    while (b.size() < 96) b.u8(0);
    return Enhanced().record(82, b).record(37, {1}).record(18, {TRANSPARENT});
}

TEST(PlayEnhanced, TextFollowsTheTransform) {
    const auto play = [](Page& page, const Enhanced& setting, int angle) {
        Enhanced file = withFont(-16, angle);
        file.body.add(setting.body);
        file.record(84, textRecord(u"Hill", 10, 10));
        EXPECT_TRUE(page.play(file));
        EXPECT_FALSE(page.blank());
        return page.ink();
    };
    Page plain, twice, turned, escaped, greek;
    const RECT a = play(plain, {}, 0), b = play(twice, Enhanced().transform(2, 0, 0, 2, 0, 0), 0);
    EXPECT_NEAR(b.right - b.left, 2 * (a.right - a.left), 4);
    EXPECT_NEAR(b.bottom - b.top, 2 * (a.bottom - a.top), 4);
    const RECT c = play(turned, Enhanced().transform(0, 1, -1, 0, 90, 0), 0);
    EXPECT_NEAR(c.bottom - c.top, a.right - a.left, 3);
    EXPECT_NEAR(c.right - c.left, a.bottom - a.top, 3);
    const RECT d = play(escaped, Enhanced().transform(1, 0, 0, 1, 0, 80), 900);
    EXPECT_NEAR(d.bottom - d.top, a.right - a.left, 3);
    EXPECT_LE(d.bottom, 91); // upwards from its point
    Enhanced file = withFont(-16, 0);
    file.record(84, textRecord(u"\u03A9\u0416", 10, 10));
    EXPECT_TRUE(greek.play(file));
    EXPECT_GT(greek.ink().right - greek.ink().left, 18);
}

TEST(PlayEnhanced, BrokenRecordsEndThePlay) {
    Bytes farText = textRecord(u"ab", 1, 1);
    farText[40] = 0xF0; // the offset of the text
    farText[41] = 0xFF;
    const Bytes bounds = Bytes().u32(0).u32(0).u32(0).u32(0);
    const auto after = [&](std::initializer_list<int64_t> numbers) {
        Bytes b = bounds;
        for (const int64_t n : numbers) b.u32(n);
        return b;
    };
    const struct {
        const char* name;
        int type;
        Bytes content;
    } rows[] = {
        {"four thousand million points", 3, after({0xFFFFFFFF, 1, 1})},
        {"of 16 bits", 86, after({0x40000001, 1, 1})},
        {"polygons without counts", 8, after({0x7FFFFFFF, 4})},
        {"counts that don't add up", 91, after({2, 3, 9, 9, 0, 0, 0})},
        {"half a rectangle", 43, Bytes().u32(1)},
        {"text out of the record", 84, farText},
        {"region out of the record", 75, Bytes().u32(5000).u32(RGN_COPY)},
        {"more boxes than the region holds", 75,
         Bytes().u32(32).u32(RGN_COPY).u32(32).u32(1).u32(1 << 28).u32(0).add(bounds)},
        {"dashes out of the record", 95,
         Bytes().u32(1).u32(0).u32(0).u32(0).u32(0).u32(0x10007).u32(5).u32(0).u32(0).u32(0).u32(1 << 30)},
        {"gradient without corners", 118, after({1 << 28, 1, 0})},
        {"gradient of corners that aren't there", 118, after({0, 1, 0, 0, 1})},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Page page;
        EXPECT_FALSE(page.play(
            Enhanced().stock(BLACK_BRUSH).rectangle(0, 0, 9, 9).record(row.type, row.content).rectangle(50, 50, 60, 60)));
        EXPECT_EQ(show(page.ink()), show({0, 0, 10, 10}));
    }
    Page page; // a slot beyond all bounds, an unknown record, a comment
    EXPECT_TRUE(page.play(Enhanced()
                              .record(39, {0x7FFFFFFF, 0, 0, 0})
                              .record(37, {0x7FFFFFFF})
                              .record(70, {4, 1})
                              .record(999, {1})
                              .stock(BLACK_BRUSH)
                              .rectangle(0, 0, 9, 9)));
    EXPECT_EQ(show(page.ink()), show({0, 0, 10, 10}));
}

// Regions that grow with every record would cost the square of their number; the play ends instead.
TEST(PlayEnhanced, WorkIsBoundedByTheSizeOfTheFile) {
    Enhanced file = Enhanced().stock(BLACK_BRUSH).rectangle(0, 0, 9, 9);
    for (int i = 0; i < 12000; ++i) {
        const int x = i % 300 * 3, y = i / 300 * 3;
        const Bytes one = region({{x, y, x + 1, y + 1}});
        file.record(75, Bytes().u32(static_cast<int64_t>(one.size())).u32(i ? RGN_OR : RGN_COPY).add(one));
    }
    Page page;
    EXPECT_FALSE(page.play(file));
    EXPECT_EQ(show(page.ink()), show({0, 0, 10, 10}));
}

} // namespace
