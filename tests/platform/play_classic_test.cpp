// Classic metafiles played on pixels: what windows and boxes mean, objects and their numbers, bitmaps of every depth, text,
// clips that stay inside of the caller's, and records that can't be right.
#include "tests/platform/metafile_fixture.h"

#include <filesystem>
#include <fstream>
#include <iterator>

using namespace metafile_test;

namespace {

TEST(PlayClassic, WindowsAndBoxes) {
    const RECT thousand{0, 0, 1000, 1000}, half{0, 0, 500, 500}, upsideDown{0, 1000, 1000, 0}, shifted{-500, -500, 500, 500};
    const struct {
        const char* name;
        const RECT* box;
        Classic file;
        RECT expected;
    } rows[] = {
        {"box alone", &thousand, Classic().rectangle(100, 200, 300, 400), {10, 20, 30, 40}},
        {"box with an origin of its own", &shifted, Classic().rectangle(-400, -300, -200, -100), {10, 20, 30, 40}},
        {"window alone",
         nullptr,
         Classic().windowOrigin(100, 200).windowExtent(1000, 1000).rectangle(200, 400, 400, 600),
         {10, 20, 30, 40}},
        {"the window counts, not the box",
         &half,
         Classic().windowOrigin(0, 0).windowExtent(1000, 1000).rectangle(100, 200, 300, 400),
         {10, 20, 30, 40}},
        {"origin alone moves the box",
         &thousand,
         Classic().windowOrigin(100, 100).rectangle(200, 300, 400, 500),
         {10, 20, 30, 40}},
        {"y upwards",
         &thousand,
         Classic().windowOrigin(0, 1000).windowExtent(1000, -1000).rectangle(100, 800, 300, 600),
         {10, 20, 30, 40}},
        {"box upside down", &upsideDown, Classic().rectangle(100, 800, 300, 600), {10, 20, 30, 40}},
        {"millimetres point upwards",
         &thousand,
         Classic().record(0x0103, {MM_LOMETRIC}).rectangle(100, 800, 300, 600),
         {10, 20, 30, 40}},
        {"pixels and no window",
         &thousand,
         Classic().record(0x0103, {MM_TEXT}).rectangle(100, 200, 300, 400),
         {10, 20, 30, 40}},
        {"neither box nor window", nullptr, Classic().rectangle(110, 220, 130, 240), {0, 0, 100, 100}},
        {"window moved while drawing",
         &thousand,
         Classic().windowExtent(1000, 1000).record(0x020F, {-200, -100}).rectangle(0, 0, 200, 200),
         {10, 20, 30, 40}},
        {"first viewport is the picture",
         &thousand,
         Classic().record(0x020D, {7, 7}).record(0x020E, {500, 500}).rectangle(100, 200, 300, 400),
         {10, 20, 30, 40}},
        {"later viewports count from it",
         &thousand,
         Classic().record(0x020E, {500, 500}).record(0x0211, {100, 50}).rectangle(0, 0, 200, 200),
         {10, 20, 30, 40}},
        {"window and back",
         &thousand,
         Classic().record(0x001E, {}).windowExtent(10, 10).record(0x0127, {-1}).rectangle(100, 200, 300, 400),
         {10, 20, 30, 40}},
        {"window scaled", &thousand, Classic().record(0x0410, {2, 1, 2, 1}).rectangle(50, 100, 150, 200), {10, 20, 30, 40}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Page page;
        EXPECT_TRUE(page.play(row.file, row.box));
        EXPECT_EQ(show(page.ink()), show(row.expected));
    }
}

TEST(PlayClassic, MirroredTargetMirrors) {
    const RECT box{0, 0, 1000, 1000};
    Page page;
    EXPECT_TRUE(page.play(Classic().rectangle(100, 200, 300, 400), &box, {100, 0, 0, 100}));
    EXPECT_EQ(show(page.ink()), show({70, 20, 90, 40}));
}

TEST(PlayClassic, ThroughTheContextsOwnMapping) {
    Page page;
    SetMapMode(page.dc, MM_ANISOTROPIC);
    SetWindowExtEx(page.dc, 1000, 1000, nullptr);
    SetViewportExtEx(page.dc, 50, 50, nullptr);
    SetViewportOrgEx(page.dc, 10, 20, nullptr);
    const Bytes bytes = Classic().rectangle(0, 0, 400, 400).windowExtent(500, 500).rectangle(400, 400, 500, 500).file();
    const HMETAFILE h = SetMetaFileBitsEx(static_cast<UINT>(bytes.size()), bytes.data());
    EXPECT_TRUE(PlayMetaFile(page.dc, h));
    DeleteMetaFile(h);
    EXPECT_EQ(page.at(10, 20), 0u);
    EXPECT_EQ(page.at(29, 39), 0u);
    EXPECT_EQ(show(page.ink()), show({10, 20, 60, 70})); // the second one through the file's window
    SIZE extent{};
    GetWindowExtEx(page.dc, &extent);
    EXPECT_EQ(extent.cx, 1000);
}

TEST(PlayClassic, ObjectsTakeTheLowestFreeNumber) {
    const RECT box{0, 0, 100, 100};
    Page page;
    EXPECT_TRUE(page.play(Classic()
                              .brush(RGB(255, 0, 0))
                              .brush(RGB(0, 255, 0))
                              .pen(PS_NULL, 0, 0)
                              .select(2)
                              .record(0x01F0, {0})
                              .brush(RGB(0, 0, 255))
                              .select(0)
                              .rectangle(0, 0, 20, 20)
                              .select(1)
                              .record(0x01F0, {1}) // goes on as long as it is selected
                              .rectangle(40, 0, 60, 20)
                              .select(77)
                              .rectangle(40, 40, 60, 60),
                          &box));
    EXPECT_EQ(page.at(5, 5), 0x0000FFu);
    EXPECT_EQ(page.at(45, 5), 0x00FF00u);
    EXPECT_EQ(page.at(45, 45), 0x00FF00u);
}

TEST(PlayClassic, TheCallersStateAndClipStay) {
    const RECT box{0, 0, 100, 100};
    Page page;
    IntersectClipRect(page.dc, 20, 20, 80, 80);
    SetTextColor(page.dc, 0x123456);
    const HGDIOBJ pen = GetCurrentObject(page.dc, OBJ_PEN);
    MoveToEx(page.dc, 3, 4, nullptr);
    // States that were never saved, clips taken away and moved, and all painted.
    EXPECT_TRUE(page.play(Classic()
                              .record(0x0127, {-1})
                              .record(0x0127, {1})
                              .record(0x0209, {0, 0})
                              .record(0x0416, {90, 90, 10, 10})
                              .record(0x012C, {0})
                              .record(0x0220, {50, 50})
                              .pen(PS_SOLID, 3, 0)
                              .select(0)
                              .rectangle(0, 0, 100, 100)
                              .record(0x061D, {0x42, 0, 100, 100, 0, 0})
                              .record(0x001E, {}),
                          &box));
    EXPECT_EQ(show(page.ink()), show({20, 20, 80, 80}));
    RECT clip{};
    GetClipBox(page.dc, &clip);
    EXPECT_EQ(show(clip), show({20, 20, 80, 80}));
    EXPECT_EQ(GetTextColor(page.dc), 0x123456u);
    EXPECT_EQ(GetCurrentObject(page.dc, OBJ_PEN), pen);
    POINT at{};
    GetCurrentPositionEx(page.dc, &at);
    EXPECT_EQ(at.x, 3);
    EXPECT_EQ(SaveDC(page.dc), 1); // nothing is left on the stack
}

TEST(PlayClassic, ClipsOfTheFile) {
    const RECT box{0, 0, 100, 100};
    Page page;
    const Classic fill = Classic().rectangle(0, 0, 100, 100);
    Classic file;
    file.brush(0).select(0).record(0x001E, {}).record(0x0416, {50, 50, 10, 10}).record(0x0415, {30, 30, 20, 20});
    file.body.add(fill.body);
    file.record(0x0127, {-1}).rectangle(90, 90, 100, 100);
    EXPECT_TRUE(page.play(file, &box));
    EXPECT_EQ(page.at(9, 9), 0xFFFFFFu);
    EXPECT_EQ(page.at(10, 10), 0u);
    EXPECT_EQ(page.at(25, 25), 0xFFFFFFu);
    EXPECT_EQ(page.at(49, 49), 0u);
    EXPECT_EQ(page.at(50, 50), 0xFFFFFFu);
    EXPECT_EQ(page.at(95, 95), 0u);
}

TEST(PlayClassic, BrokenRecordsEndThePlay) {
    const RECT box{0, 0, 100, 100};
    const struct {
        const char* name;
        int function;
        Bytes content;
    } rows[] = {
        {"polygon of more points than there are", 0x0324, Bytes().u16(3000).u16(1).u16(1)},
        {"polyline without a count", 0x0325, Bytes()},
        {"polygons without counts", 0x0538, Bytes().u16(30000)},
        {"polygons without points", 0x0538, Bytes().u16(2).u16(4).u16(4).u16(1).u16(1)},
        {"half a rectangle", 0x041B, Bytes().u16(1).u16(2)},
        {"text longer than the record", 0x0521, Bytes().u16(500).u16(0x4141).u16(1).u16(1)},
        {"text with a box that isn't there", 0x0A32, Bytes().u16(1).u16(1).u16(1).u16(ETO_OPAQUE).u16(0x41)},
        {"font without a height", 0x02FB, Bytes().u16(1)},
        {"palette of entries that aren't there", 0x00F7, Bytes().u16(0x300).u16(256)},
        {"region of scans that aren't there", 0x06FF,
         Bytes().u16(0).u16(6).u32(0).u16(100).u16(20000).u16(2).u16(0).u16(0).u16(9).u16(9)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Page page;
        EXPECT_FALSE(page.play(
            Classic().rectangle(0, 0, 10, 10).record(row.function, {}, row.content).rectangle(50, 50, 60, 60), &box));
        EXPECT_EQ(show(page.ink()), show({0, 0, 10, 10})); // what came before is drawn, nothing else
    }
}

TEST(PlayClassic, WhatIsPassedOver) {
    const RECT box{0, 0, 100, 100};
    Bytes cut; // a bitmap whose rows are missing
    cut.u32(SRCCOPY).u16(0).u16(50).u16(50).u16(0).u16(0).u16(90).u16(90).u16(0).u16(0);
    cut.u32(40).u32(5000).u32(5000).u16(1).u16(24).u32(0).u32(0).u32(0).u32(0).u32(0).u32(0).u32(0);
    const Bytes escape = Bytes().u16(15).u16(4).u32(1);
    for (const auto& [function, content] : {std::pair{0x0F43, cut}, {0x0626, escape}, {0x7777, Bytes().u32(9)}}) {
        SCOPED_TRACE(function);
        Page page;
        EXPECT_TRUE(page.play(Classic().record(function, {}, content).rectangle(50, 50, 60, 60), &box));
        EXPECT_EQ(show(page.ink()), show({50, 50, 60, 60}));
    }
    Page page; // states nest only so deep
    Classic deep;
    for (int i = 0; i < 5000; ++i) deep.record(0x001E, {});
    EXPECT_FALSE(page.play(deep, &box));
}

// Two by two: red, green in the top row, blue and white below.
Bytes fourColors(int bits, bool topDown, bool runs) {
    const uint32_t colors[4] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF};
    Bytes b;
    b.u32(40).u32(2).u32(topDown ? -2 : 2).u16(1).u16(bits).u32(runs ? (bits == 8 ? BI_RLE8 : BI_RLE4) : BI_RGB);
    for (int i = 0; i < 5; ++i) b.u32(i == 3 && bits <= 8 ? (bits == 1 ? 2 : 4) : 0);
    if (bits <= 8)
        for (int i = 0; i < (bits == 1 ? 2 : 4); ++i) b.u32(colors[i]);
    for (int row = 0; row < 2; ++row) {
        const int first = (topDown ? row : 1 - row) * 2;
        const size_t start = b.size();
        if (runs && bits == 8)
            b.u8(1).u8(static_cast<uint32_t>(first)).u8(1).u8(static_cast<uint32_t>(first + 1)).u8(0).u8(0);
        else if (runs)
            b.u8(2).u8(static_cast<uint32_t>(first << 4 | (first + 1))).u8(0).u8(0);
        else if (bits == 1)
            b.u8(0x40); // red, green again: two colours are all there are
        else if (bits == 4)
            b.u8(static_cast<uint32_t>(first << 4 | (first + 1)));
        for (int i = 0; i < 2 && !runs; ++i) {
            const uint32_t c = colors[first + i];
            if (bits == 8) b.u8(static_cast<uint32_t>(first + i));
            if (bits == 16) b.u16((c >> 19 & 31) << 10 | (c >> 11 & 31) << 5 | (c >> 3 & 31));
            if (bits == 24) b.u8(c & 0xFF).u8(c >> 8 & 0xFF).u8(c >> 16);
            if (bits == 32) b.u32(c);
        }
        while (!runs && (b.size() - start) % 4) b.u8(0);
    }
    if (runs) b.u8(0).u8(1);
    return b;
}

TEST(PlayClassic, BitmapsOfEveryDepth) {
    const RECT box{0, 0, 100, 100};
    for (const int bits : {1, 4, 8, 16, 24, 32})
        for (const bool topDown : {false, true})
            for (const bool runs : {false, true}) {
                if (runs && (topDown || (bits != 4 && bits != 8))) continue;
                SCOPED_TRACE(testing::Message() << bits << " bits, top down " << topDown << ", runs " << runs);
                Page page;
                EXPECT_TRUE(page.play(Classic().record(0x0F43, {0x20, 0xCC, DIB_RGB_COLORS, 2, 2, 0, 0, 40, 60, 10, 20},
                                                       fourColors(bits, topDown, runs)),
                                      &box));
                EXPECT_EQ(page.at(20, 10), 0xFF0000u);
                EXPECT_EQ(page.at(79, 10), 0x00FF00u);
                EXPECT_EQ(page.at(20, 49), bits == 1 ? 0xFF0000u : 0x0000FFu);
                EXPECT_EQ(page.at(80, 10), 0xFFFFFFu);
                EXPECT_EQ(page.at(19, 10), 0xFFFFFFu);
            }
}

// Changed and resized, a palette is the same one for all who have it in force.
TEST(PlayClassic, PalettesChange) {
    const RECT box{0, 0, 100, 100};
    const Bytes red = Bytes().u8(255).u8(0).u8(0).u8(0), green = Bytes().u8(0).u8(255).u8(0).u8(0);
    const auto indexed = [](Classic& file, int index, int slot) { // a brush of that place of the palette
        file.record(0x02FC, {BS_SOLID, index, 0x0100, 0}).select(slot);
    };
    Page page;
    Classic file;
    file.record(0x00F7, {0x300, 1}, red).record(0x0234, {0}).record(0x001E, {});
    indexed(file, 0, 1);
    file.rectangle(0, 0, 20, 20);
    file.record(0x0037, {0, 1}, green).rectangle(20, 0, 40, 20).record(0x0127, {-1}).select(1).rectangle(40, 0, 60, 20);
    file.record(0x0139, {2}).record(0x0037, {1, 1}, red);
    indexed(file, 1, 2);
    file.rectangle(60, 0, 80, 20).record(0x0139, {1}).brush(0).select(3).rectangle(80, 0, 100, 20);
    EXPECT_TRUE(page.play(file, &box));
    EXPECT_EQ(page.at(10, 10), 0xFF0000u);
    EXPECT_EQ(page.at(50, 10), 0x00FF00u);
    EXPECT_EQ(page.at(70, 10), 0xFF0000u);
}

// Patterns are made once, however often figures take turns with others.
TEST(PlayClassic, PatternsTakeTurns) {
    const RECT box{0, 0, 100, 100};
    Bytes dib;
    dib.u32(40).u32(512).u32(512).u16(1).u16(1);
    for (int i = 0; i < 6; ++i) dib.u32(0);
    dib.u32(0x0000FF).u32(0xFFFFFF);
    for (int i = 0; i < 512 * 512 / 32; ++i) dib.u32(0x55555555);
    Classic file = Classic().pen(PS_NULL, 0, 0).select(0).brush(0).record(0x0142, {BS_DIBPATTERN, DIB_RGB_COLORS}, dib);
    for (int i = 0; i < 3000; ++i) file.select(1).rectangle(0, 0, 9, 9).select(2).rectangle(20, 20, 31, 31);
    Page page;
    EXPECT_TRUE(page.play(file, &box));
    EXPECT_EQ(page.at(2, 2), 0u);
    EXPECT_EQ(page.at(20, 20), 0x0000FFu);
    EXPECT_EQ(page.at(21, 20), 0xFFFFFFu);
}

TEST(PlayClassic, TextStandsByItsAlignment) {
    const RECT box{0, 0, 100, 100};
    const struct {
        const char* name;
        UINT align;
        bool rightOf, below; // of the point, for the middle of the ink
    } rows[] = {{"left, top", TA_LEFT | TA_TOP, true, true},
                {"right, top", TA_RIGHT | TA_TOP, false, true},
                {"left, base line", TA_LEFT | TA_BASELINE, true, false},
                {"right, bottom", TA_RIGHT | TA_BOTTOM, false, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Page page;
        EXPECT_TRUE(page.play(Classic()
                                  .record(0x02FB, {-20, 0, 0, 0, 400, 0, 0, 0, 0}, Bytes().text("Arial", 2))
                                  .select(0)
                                  .record(0x0102, {TRANSPARENT})
                                  .record(0x012E, {static_cast<int>(row.align)})
                                  .record(0x0521, {2, 'H' | 'H' << 8, 50, 50}),
                              &box));
        ASSERT_FALSE(page.blank());
        const RECT ink = page.ink();
        EXPECT_EQ(ink.left + ink.right > 100, row.rightOf);
        EXPECT_EQ(ink.top + ink.bottom > 100, row.below);
    }
    // Advances of the file, and the position that goes on behind the text.
    Page page;
    EXPECT_TRUE(page.play(Classic()
                              .record(0x02FB, {-20, 0, 0, 0, 400, 0, 0, 0, 0}, Bytes().text("Arial", 2))
                              .select(0)
                              .record(0x0102, {TRANSPARENT})
                              .record(0x012E, {TA_UPDATECP})
                              .record(0x0214, {10, 0})
                              .record(0x0A32, {0, 0, 2, 0, 'I' | 'I' << 8, 40, 40})
                              .record(0x0213, {10, 100}),
                          &box));
    EXPECT_EQ(page.at(75, 20), 0xFFFFFFu);
    EXPECT_EQ(page.at(79, 10), 0xFFFFFFu);
    EXPECT_EQ(page.at(80, 10), 0u);
    EXPECT_GE(page.ink().left, 1);
}

// Files of other makers beside the source tree, where there are any: each plays without harm.
TEST(PlayClassic, FilesOfOthers) {
    const std::filesystem::path folder = std::filesystem::path(KB_SOURCE_DIR) / ".." / "shared" / "data";
    if (!std::filesystem::exists(folder)) GTEST_SKIP() << "no ../shared/data";
    int played = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::string kind = entry.path().extension();
        if (kind != ".wmf" && kind != ".emf") continue;
        SCOPED_TRACE(entry.path().filename());
        std::ifstream in(entry.path(), std::ios::binary);
        std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
        const auto* data = reinterpret_cast<const BYTE*>(bytes.data());
        const size_t skip = bytes.size() > 22 && data[0] == 0xD7 && data[1] == 0xCD ? 22 : 0;
        const auto size = static_cast<UINT>(bytes.size() - skip);
        Page page;
        const RECT target{0, 0, Page::side, Page::side};
        if (const HMETAFILE h = SetMetaFileBitsEx(size, data + skip)) {
            EXPECT_TRUE(KbPlayMetaFile(page.dc, h, nullptr, &target));
            DeleteMetaFile(h);
            EXPECT_FALSE(page.blank());
            ++played;
        } else if (const HENHMETAFILE e = SetEnhMetaFileBits(size, data)) {
            PlayEnhMetaFile(page.dc, e, &target);
            DeleteEnhMetaFile(e);
            ++played;
        }
        EXPECT_EQ(SaveDC(page.dc), 1);
    }
    EXPECT_GT(played, 0);
}

} // namespace
