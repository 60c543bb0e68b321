// Flood filling, and text of Unicode with characters that a face lacks.
#include "tests/platform/metafile_fixture.h"

using namespace metafile_test;

namespace {

TEST(GdiFill, FloodsStopWhereTheyShould) {
    // A frame with a gap of one pixel at a corner, which doesn't let through: four neighbours count.
    const auto frame = [](Page& page) {
        for (int i = 20; i <= 60; ++i)
            for (const auto& [x, y] : {std::pair{i, 20}, {i, 60}, {20, i}, {60, i}})
                if (x != 60 || y != 60) SetPixelV(page.dc, x, y, RGB(255, 0, 0));
        const HBRUSH brush = CreateSolidBrush(RGB(0, 0, 255));
        SelectObject(page.dc, brush);
        DeleteObject(brush);
    };
    const struct {
        const char* name;
        int x, y;
        COLORREF color;
        UINT type;
        BOOL result;
        bool inside, outside, border; // filled
    } rows[] = {
        {"up to a border", 40, 40, RGB(255, 0, 0), FLOODFILLBORDER, TRUE, true, false, false},
        {"over a surface", 40, 40, RGB(255, 255, 255), FLOODFILLSURFACE, TRUE, true, false, false},
        {"outside", 5, 5, RGB(255, 255, 255), FLOODFILLSURFACE, TRUE, false, true, false},
        {"the border itself", 20, 30, RGB(255, 0, 0), FLOODFILLSURFACE, TRUE, false, false, true},
        {"on the border", 20, 30, RGB(255, 0, 0), FLOODFILLBORDER, FALSE, false, false, false},
        {"another colour", 40, 40, RGB(1, 2, 3), FLOODFILLSURFACE, FALSE, false, false, false},
        {"beyond the surface", 400, 40, RGB(255, 0, 0), FLOODFILLBORDER, FALSE, false, false, false},
        {"no such kind", 40, 40, RGB(255, 0, 0), 2, FALSE, false, false, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Page page;
        frame(page);
        EXPECT_EQ(ExtFloodFill(page.dc, row.x, row.y, row.color, row.type), row.result);
        EXPECT_EQ(page.at(59, 59) == 0x0000FF, row.inside);
        EXPECT_EQ(page.at(90, 90) == 0x0000FF, row.outside);
        EXPECT_EQ(page.at(20, 50) == 0x0000FF, row.border);
    }
    Page clipped; // a pattern that looks like what it fills ends too, and a clip holds
    IntersectClipRect(clipped.dc, 10, 10, 30, 30);
    SelectObject(clipped.dc, GetStockObject(WHITE_BRUSH));
    EXPECT_TRUE(ExtFloodFill(clipped.dc, 15, 15, RGB(255, 255, 255), FLOODFILLSURFACE));
    SelectObject(clipped.dc, GetStockObject(BLACK_BRUSH));
    EXPECT_TRUE(ExtFloodFill(clipped.dc, 15, 15, RGB(255, 255, 255), FLOODFILLSURFACE));
    EXPECT_EQ(show(clipped.ink()), show({10, 10, 30, 30}));
}

class WideText : public testing::Test {
protected:
    void draw(const std::u16string& text, const char* face = "Arial", const INT* dx = nullptr) {
        const HFONT font = CreateFontA(-30, 0, 0, 0, 400, 0, 0, 0, 1, 0, 0, 0, 0, face);
        SelectObject(page.dc, font);
        DeleteObject(font);
        SetBkMode(page.dc, TRANSPARENT);
        ASSERT_TRUE(ExtTextOutW(page.dc, 10, 10, 0, nullptr, reinterpret_cast<const uint16_t*>(text.data()),
                                static_cast<UINT>(text.size()), dx));
    }
    Page page;
};

TEST_F(WideText, EqualsNarrowTextWhereBothCan) {
    draw(u"\u20ACg\u00E4\u2014");
    Page narrow;
    SetBkMode(narrow.dc, TRANSPARENT);
    const HFONT font = CreateFontA(-30, 0, 0, 0, 400, 0, 0, 0, 1, 0, 0, 0, 0, "Arial");
    SelectObject(narrow.dc, font);
    DeleteObject(font);
    ASSERT_TRUE(ExtTextOutA(narrow.dc, 10, 10, 0, nullptr, "\x80g\xE4\x97", 4, nullptr));
    EXPECT_FALSE(page.blank());
    EXPECT_EQ(page.pixels, narrow.pixels);
}

TEST_F(WideText, CharactersOfOtherFaces) {
    // Letters that differ look different: none of them is the box of a missing one.
    std::vector<std::vector<uint32_t>> pictures;
    for (const char16_t* text : {u"\u03A9", u"\u0416", u"\u2708", u"\u2713", u"\uFFFF"}) {
        std::fill(page.pixels.begin(), page.pixels.end(), 0xFFFFFF);
        draw(text);
        for (const auto& other : pictures) EXPECT_NE(other, page.pixels);
        pictures.push_back(page.pixels);
    }
}

TEST_F(WideText, APairHasOneAdvance) {
    const INT dx[] = {40, 0, 9};
    draw(u"\U0001F600l", "Arial", dx); // two units and one
    bool beyond = false;
    for (int y = 0; y < Page::side; ++y)
        for (int x = 51; x < 59; ++x) beyond = beyond || page.at(x, y) != 0xFFFFFF;
    EXPECT_TRUE(beyond); // the letter stands 40 behind the start
}

TEST_F(WideText, SymbolFontsShowTheirSigns) {
    draw(u"W", "Symbol"); // omega there
    const std::vector<uint32_t> symbol = page.pixels;
    std::fill(page.pixels.begin(), page.pixels.end(), 0xFFFFFF);
    draw(u"\u03A9", "Times New Roman");
    EXPECT_EQ(symbol, page.pixels);
    std::fill(page.pixels.begin(), page.pixels.end(), 0xFFFFFF);
    draw(u"\uF057", "Symbol"); // where files put letters of such fonts
    EXPECT_EQ(symbol, page.pixels);
}

} // namespace
