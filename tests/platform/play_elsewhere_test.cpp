// Metafiles played where there are no pixels: into a recording, which must draw the same when it is replayed and leave the
// caller's state alone, and on a page; and files that ask for more than they may.
#include "tests/platform/metafile_fixture.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>

using namespace metafile_test;

namespace {

BOOL append(void* out, const void* bytes, size_t count) {
    static_cast<std::string*>(out)->append(static_cast<const char*>(bytes), count);
    return TRUE;
}

using Play = std::function<BOOL(HDC, RECT)>;

Play player(const Bytes& bytes, bool enhanced) {
    return [bytes, enhanced](HDC dc, RECT target) {
        const auto size = static_cast<UINT>(bytes.size());
        if (enhanced) {
            const HENHMETAFILE h = SetEnhMetaFileBits(size, bytes.data());
            const BOOL result = PlayEnhMetaFile(dc, h, &target);
            DeleteEnhMetaFile(h);
            return result;
        }
        const HMETAFILE h = SetMetaFileBitsEx(size, bytes.data());
        const RECT box{0, 0, 100, 100};
        const BOOL result = KbPlayMetaFile(dc, h, &box, &target);
        DeleteMetaFile(h);
        return result;
    };
}
Play player(const Enhanced& file) { return player(file.file(), true); }
Play player(const Classic& file) { return player(file.file(), false); }

struct Recorded {
    HDC dc = CreateMetaFileA(nullptr);
    std::vector<uint8_t> bytes;
    void close() {
        const HMETAFILE metafile = CloseMetaFile(dc);
        ASSERT_TRUE(metafile);
        bytes.resize(GetMetaFileBitsEx(metafile, 0, nullptr));
        GetMetaFileBitsEx(metafile, static_cast<UINT>(bytes.size()), bytes.data());
        DeleteMetaFile(metafile);
    }
    // How often each function occurs.
    std::vector<int> functions() const {
        std::vector<int> counts(0x10000);
        for (size_t at = 18, words; at + 6 <= bytes.size(); at += words * 2) {
            uint32_t size;
            std::memcpy(&size, &bytes[at], 4);
            words = size;
            ++counts[static_cast<size_t>(bytes[at + 4] | bytes[at + 5] << 8)];
        }
        return counts;
    }
    void replay(Page& page) const {
        const HMETAFILE metafile = SetMetaFileBitsEx(static_cast<UINT>(bytes.size()), bytes.data());
        EXPECT_TRUE(PlayMetaFile(page.dc, metafile));
        DeleteMetaFile(metafile);
    }
};

Bytes region(std::initializer_list<RECT> boxes, int mode) {
    Bytes b;
    const auto count = static_cast<int64_t>(boxes.size());
    b.u32(32 + count * 16).u32(mode).u32(32).u32(1).u32(count).u32(count * 16).u32(0).u32(0).u32(0).u32(0);
    for (const RECT& r : boxes) b.u32(r.left).u32(r.top).u32(r.right).u32(r.bottom);
    return b;
}

Bytes gradient(int figures) { // from black to red, all over the page
    Bytes b;
    for (int i = 0; i < 4; ++i) b.u32(0);
    b.u32(2).u32(figures).u32(0);
    b.u32(0).u32(0).u16(0).u16(0).u16(0).u16(0);
    b.u32(100).u32(100).u16(0xFF00).u16(0).u16(0).u16(0);
    for (int i = 0; i < figures; ++i) b.u32(0).u32(1);
    return b;
}

Bytes wideText(const std::u16string& text) {
    Bytes b;
    for (int i = 0; i < 4; ++i) b.u32(0);
    b.u32(1).real(1).real(1).u32(5).u32(30).u32(static_cast<int64_t>(text.size())).u32(76).u32(0);
    for (int i = 0; i < 5; ++i) b.u32(0);
    for (const char16_t c : text) b.u16(c);
    return b;
}

// Two by two pixels of 32 bits onto a box, by the operation.
Bytes picture(uint32_t operation, RECT to) {
    Bytes b;
    for (int i = 0; i < 4; ++i) b.u32(0);
    b.u32(to.left).u32(to.top).u32(to.right - to.left).u32(to.bottom - to.top).u32(operation).u32(0).u32(0);
    b.real(1).real(0).real(0).real(1).real(0).real(0).u32(0xFFFFFF).u32(DIB_RGB_COLORS);
    b.u32(108).u32(40).u32(148).u32(16).u32(2).u32(2);
    b.u32(40).u32(2).u32(2).u16(1).u16(32);
    for (int i = 0; i < 6; ++i) b.u32(0);
    for (const uint32_t pixel : {0xFF0000, 0x00FF00, 0x0000FF, 0x010203}) b.u32(pixel);
    return b;
}

const struct {
    const char* name;
    Play play;
} pictures[] = {
    {"window, saved states and a clip that is left", player(Classic()
                                                                .windowExtent(200, 200)
                                                                .brush(RGB(255, 0, 0))
                                                                .select(0)
                                                                .record(0x001E, {})
                                                                .record(0x0416, {150, 150, 20, 20})
                                                                .rectangle(0, 0, 200, 200)
                                                                .record(0x0127, {-1})
                                                                .windowOrigin(-10, -10)
                                                                .record(0x0418, {190, 190, 160, 160}))},
    {"states that were never saved, clips that widen", player(Classic()
                                                                  .record(0x0127, {-1})
                                                                  .record(0x0127, {-5})
                                                                  .record(0x012C, {0})
                                                                  .record(0x0220, {50, 50})
                                                                  .brush(0)
                                                                  .select(0)
                                                                  .rectangle(-1000, -1000, 1000, 1000)
                                                                  .record(0x001E, {}))},
    {"map modes and transforms", player(Enhanced()
                                            .record(17, {8})
                                            .record(9, {1000, 1000})
                                            .record(11, {50, 50})
                                            .brush(1, RGB(0, 0, 255))
                                            .rectangle(100, 100, 900, 900)
                                            .transform(0, 1, -1, 0, 900, 300)
                                            .record(42, {0, 0, 300, 200}))},
    {"regions", player(Enhanced()
                           .stock(NULL_PEN)
                           .brush(1, RGB(0, 128, 0))
                           .record(75, region({{10, 10, 40, 40}, {30, 30, 60, 60}}, RGN_COPY))
                           .rectangle(0, 0, 99, 99)
                           .record(26, {20, 0})
                           .brush(2, RGB(128, 0, 0))
                           .rectangle(0, 0, 99, 35))},
    {"a path as clip", player(Enhanced()
                                  .stock(NULL_PEN)
                                  .stock(BLACK_BRUSH)
                                  .record(59)
                                  .poly16(86, {{10, 10}, {90, 50}, {10, 90}})
                                  .record(60)
                                  .record(67, {RGN_COPY})
                                  .rectangle(0, 0, 99, 99))},
    {"blended, with holes, with a gradient behind", player(Enhanced()
                                                               .record(118, gradient(2))
                                                               .record(77, picture(SRCCOPY, {10, 10, 30, 30}))
                                                               .record(116, picture(RGB(3, 2, 1), {40, 40, 80, 80})))},
    {"letters of several alphabets",
     player(Enhanced().record(18, {TRANSPARENT}).record(84, wideText(u"A\u0416\u03A9\u05D0")))},
};

TEST(PlayElsewhere, ARecordingDrawsTheSame) {
    const std::set<size_t> mapping{0x0103, 0x020B, 0x020C, 0x020D, 0x020E, 0x020F, 0x0211, 0x0410, 0x0412};
    for (const auto& row : pictures) {
        SCOPED_TRACE(row.name);
        const auto draw = [&](HDC dc) {
            IntersectClipRect(dc, 2, 2, 98, 98);
            EXPECT_EQ(SaveDC(dc), 1);
            EXPECT_TRUE(row.play(dc, {0, 0, 100, 100}));
            RECT clip{};
            GetClipBox(dc, &clip);
            EXPECT_EQ(show(clip), show({2, 2, 98, 98}));
            EXPECT_EQ(SaveDC(dc), 2);
            EXPECT_TRUE(RestoreDC(dc, 1));
        };
        Page direct, again;
        draw(direct.dc);
        EXPECT_FALSE(direct.blank());
        Recorded recorded;
        draw(recorded.dc);
        recorded.close();
        const std::vector<int> functions = recorded.functions();
        for (const size_t function : mapping) EXPECT_EQ(functions[function], 0) << std::hex << function;
        EXPECT_LE(functions[0x0127], functions[0x001E]);
        recorded.replay(again);
        EXPECT_TRUE(direct.pixels == again.pixels);
    }
}

TEST(PlayElsewhere, APageTakesThemAll) {
    std::string file;
    const HDC dc = KbCreatePdfDC(append, &file);
    for (const auto& row : pictures) {
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(KbStartPdfPage(dc, 100, 100, 72, 72));
        EXPECT_TRUE(row.play(dc, {0, 0, 100, 100}));
        EXPECT_EQ(SaveDC(dc), 1);
        EXPECT_TRUE(Rectangle(dc, 1, 1, 2, 2)) << "the page goes on";
    }
    EXPECT_TRUE(KbClosePdfDC(dc));
}

// Files of other makers beside the source tree, where there are any: what they come to in a recording is what they draw.
TEST(PlayElsewhere, FilesOfOthersAreRecordedWhole) {
    const std::filesystem::path folder = std::filesystem::path(KB_SOURCE_DIR) / ".." / "shared" / "data";
    if (!std::filesystem::exists(folder)) GTEST_SKIP() << "no ../shared/data";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const bool enhanced = entry.path().extension() == ".emf";
        if (!enhanced && entry.path().extension() != ".wmf") continue;
        SCOPED_TRACE(entry.path().filename());
        std::ifstream in(entry.path(), std::ios::binary);
        Bytes bytes;
        bytes.assign(std::istreambuf_iterator<char>(in), {});
        if (!enhanced && bytes.size() > 22 && bytes[0] == 0xD7) bytes.erase(bytes.begin(), bytes.begin() + 22);
        const Play play = player(bytes, enhanced);
        Page direct, again;
        const BOOL whole = play(direct.dc, {0, 0, 100, 100});
        Recorded recorded;
        EXPECT_EQ(play(recorded.dc, {0, 0, 100, 100}), whole);
        recorded.close();
        recorded.replay(again);
        EXPECT_TRUE(direct.pixels == again.pixels);
    }
}

TEST(PlayElsewhere, WhatARecordingCantHoldIsTold) {
    Bytes many = Bytes().u32(0).u32(0).u32(0).u32(0).u32(40'000);
    for (int i = 0; i < 40'000; ++i) many.u16(i % 100).u16(i / 400);
    const Enhanced file = Enhanced().stock(BLACK_BRUSH).record(86, many).rectangle(10, 10, 20, 20);
    Page page;
    EXPECT_TRUE(page.play(file));
    Recorded recorded;
    EXPECT_FALSE(player(file)(recorded.dc, {0, 0, 100, 100}));
    recorded.close();
    EXPECT_EQ(recorded.functions()[0x041B], 1) << "the play goes on behind it";
    Recorded letters;
    EXPECT_FALSE(player(Enhanced().record(84, wideText(u"\u0905")))(letters.dc, {0, 0, 100, 100})) << "in no charset";
    letters.close();
}

// ---- work and memory ----

Enhanced dashes(int from, int to) {
    Bytes pen;
    for (const int64_t v : {1, 0, 0, 0, 0, 0x10207, 2, 0, 0, 0, 2, 4, 4}) pen.u32(v);
    return Enhanced().record(95, pen).record(37, {1}).record(27, {from, 50}).record(54, {to, 50});
}

TEST(PlayElsewhere, DashesAreLaidWhereTheyCanBeSeen) {
    Page near, far, endless;
    EXPECT_TRUE(near.play(dashes(0, 400)));
    EXPECT_TRUE(far.play(dashes(-80'000, 90'000))); // a whole number of periods away
    EXPECT_EQ(near.pixels, far.pixels);
    for (const int x : {1, 2, 9, 90}) EXPECT_EQ(near.at(x, 50), 0u) << x;
    for (const int x : {5, 6, 13, 94}) EXPECT_EQ(near.at(x, 50), 0xFFFFFFu) << x;
    Enhanced file = dashes(0, 0);
    for (int i = 0; i < 20'000; ++i) file.record(54, {i % 2 ? -2'000'000'000 : 2'000'000'000, 50});
    EXPECT_TRUE(endless.play(file));
    Recorded recorded;
    EXPECT_TRUE(player(dashes(-2'000'000'000, 2'000'000'000))(recorded.dc, {0, 0, 100, 100}));
    recorded.close();
    EXPECT_LT(recorded.bytes.size(), 1000u) << "unbroken where there is no edge";
}

// Each would take minutes or gigabytes; none may be refused for asking once.
TEST(PlayElsewhere, WhatCostsTooMuchEndsThePlay) {
    const auto repeated = [](const Enhanced& one, int times) {
        Enhanced all = Enhanced().stock(BLACK_BRUSH);
        for (int i = 0; i < times; ++i) all.body.add(one.body);
        return all;
    };
    // Tall boxes side by side, each a row lower: cut where one begins or ends they are as many as their square.
    Bytes stairs;
    constexpr int steps = 12'000;
    stairs.u32(32 + steps * 16).u32(RGN_COPY).u32(32).u32(1).u32(steps).u32(steps * 16).u32(0).u32(0).u32(0).u32(0);
    for (int i = 0; i < steps; ++i) stairs.u32(i * 2).u32(i).u32(i * 2 + 1).u32(i + steps);
    Bytes lines; // all of the same text
    for (int i = 0; i < 4; ++i) lines.u32(0);
    constexpr int texts = 2000, letters = 20'000;
    lines.u32(1).real(1).real(1).u32(texts);
    for (int i = 0; i < texts; ++i) {
        lines.u32(500).u32(500).u32(letters).u32(40 + texts * 40);
        for (int k = 0; k < 6; ++k) lines.u32(0);
    }
    for (int i = 0; i < letters; ++i) lines.u16('a');
    // A path of wild rows far below each other.
    Enhanced path = Enhanced().record(59);
    Bytes zigzag = Bytes().u32(0).u32(0).u32(0).u32(0).u32(3000);
    for (int i = 0; i < 3000; ++i) zigzag.u32(i * 7 % 1000).u32(i % 2 ? 1 << 30 : -(1 << 30));
    path.record(3, zigzag).record(60).record(67, {RGN_XOR});
    const Enhanced turned = Enhanced().transform(0, 1, -1, 0, 100, 0).record(77, picture(SRCCOPY, {0, 0, 100, 100}));
    const struct {
        const char* name;
        Enhanced once, often;
        bool pixels, recorded; // where the often one is too much
    } rows[] = {
        {"gradients", Enhanced().record(118, gradient(1)), Enhanced().record(118, gradient(20'000)), true, false},
        {"turned pictures", turned, repeated(turned, 500), false, true},
        {"flood fills", Enhanced().record(53, {50, 50, 0xFFFFFF, 1}),
         repeated(Enhanced().record(53, {50, 50, 0, 1}).record(53, {50, 50, 0xFFFFFF, 1}), 10'000), true, false},
        {"regions that cut each other", {}, Enhanced().record(75, stairs), true, true},
        {"texts of one record", {}, Enhanced().record(97, lines), true, true},
        {"paths as clips", {}, repeated(path, 20), false, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Page page;
        EXPECT_TRUE(page.play(row.once));
        EXPECT_EQ(page.play(row.often), !row.pixels);
        Recorded recorded;
        EXPECT_TRUE(player(row.once)(recorded.dc, {0, 0, 10'000, 10'000}));
        EXPECT_EQ(player(row.often)(recorded.dc, {0, 0, 10'000, 10'000}), !row.recorded);
        recorded.close();
        EXPECT_LT(recorded.bytes.size(), 100'000'000u);
    }
    // What lies within a clip of the caller's costs what can be seen of it.
    Recorded narrow;
    IntersectClipRect(narrow.dc, 0, 0, 300, 300);
    EXPECT_TRUE(player(repeated(path, 20))(narrow.dc, {0, 0, 300, 300}));
    narrow.close();
}

TEST(PlayElsewhere, RecordsOfFourGigabytesAreRefused) {
    Classic classic;
    classic.body.u32(0x7FFFFFFF).u16(0x041B).u16(1).u16(1);
    const Bytes small = classic.file();
    EXPECT_FALSE(SetMetaFileBitsEx(static_cast<UINT>(small.size()), small.data()));
    Enhanced enhanced;
    enhanced.body.u32(43).u32(0xFFFFFFFC).u32(1).u32(1);
    const Bytes other = enhanced.file();
    EXPECT_FALSE(SetEnhMetaFileBits(static_cast<UINT>(other.size()), other.data()));
}

} // namespace
