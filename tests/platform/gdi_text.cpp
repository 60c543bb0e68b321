// Text: metrics and their relations, alignment and escapement, clipping and background, faces, the built-in alphabet.
#include "platform/gdi.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
// The font list's own configuration parser keeps a few hundred bytes for the life of the process.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }
#endif

namespace {

constexpr int side = 200;

struct Page {
    std::vector<uint32_t> pixels = std::vector<uint32_t>(side * side, 0xFFFFFF);
    HDC dc = KbCreateSurfaceDC(pixels.data(), side, side, side * 4, 32, nullptr, 0);
    Page() { SetBkMode(dc, TRANSPARENT); }
    ~Page() { DeleteDC(dc); }
    void font(int height, int angle = 0, const char* face = "Arial", int weight = 400, DWORD underline = 0,
              DWORD italic = 0) {
        const HFONT h = CreateFontA(height, 0, angle, angle, weight, italic, underline, 0, 1, 0, 0, 0, 0, face);
        SelectObject(dc, h);
        DeleteObject(h);
    }
    RECT ink() const {
        RECT r{side, side, 0, 0};
        for (int i = 0; i < side * side; ++i)
            if (pixels[static_cast<size_t>(i)] != 0xFFFFFF)
                r = {std::min(r.left, i % side), std::min(r.top, i / side), std::max(r.right, i % side + 1),
                     std::max(r.bottom, i / side + 1)};
        return r;
    }
    SIZE extent(const char* text) const {
        SIZE s{};
        GetTextExtentPoint32A(dc, text, static_cast<int>(std::strlen(text)), &s);
        return s;
    }
};

TEST(GdiText, HeightsAndWidthsAgree) {
    for (const bool builtIn : {false, true})
        for (const int height : {-1, -9, -16, -40, 12, 25, 100, -300}) {
            SCOPED_TRACE(testing::Message() << "height " << height << " built-in " << builtIn);
            KbUseBuiltInFont(builtIn);
            Page p;
            p.font(height);
            TEXTMETRICA m;
            ASSERT_TRUE(GetTextMetricsA(p.dc, &m));
            EXPECT_EQ(m.tmHeight, m.tmAscent + m.tmDescent);
            if (height > 0)
                EXPECT_EQ(m.tmHeight, height);
            else
                EXPECT_EQ(m.tmHeight - m.tmInternalLeading, -height);
            INT widths[256];
            ASSERT_TRUE(GetCharWidth32A(p.dc, 0, 255, widths));
            EXPECT_EQ(p.extent("Quick").cx, widths['Q'] + widths['u'] + widths['i'] + widths['c'] + widths['k']);
            EXPECT_EQ(p.extent("x").cy, m.tmHeight);
            EXPECT_EQ(m.tmMaxCharWidth, *std::max_element(widths, widths + 256));
            INT dx[5], fit;
            SIZE s;
            ASSERT_TRUE(GetTextExtentExPointA(p.dc, "Quick", 5, widths['Q'] + widths['u'], &fit, dx, &s));
            EXPECT_GE(fit, 2);
            EXPECT_EQ(dx[1], widths['Q'] + widths['u']);
        }
    KbUseBuiltInFont(FALSE);
}

TEST(GdiText, FacesAreSubstituted) {
    const struct {
        const char *asked, *given;
    } rows[] = {{"Arial", "Liberation Sans"},
                {"helvetica", "Liberation Sans"},
                {"MS Sans Serif", "Liberation Sans"},
                {"Times New Roman", "Liberation Serif"},
                {"Courier New", "Liberation Mono"},
                {"No Such Face", "Liberation Sans"},
                {"", "Liberation Sans"},
                {"DejaVu Sans", "DejaVu Sans"}};
    for (const auto& row : rows) {
        Page p;
        p.font(-12, 0, row.asked);
        char name[64];
        EXPECT_EQ(GetTextFaceA(p.dc, 64, name), static_cast<int>(std::strlen(row.given)) + 1);
        EXPECT_STREQ(name, row.given);
        EXPECT_EQ(GetTextFaceA(p.dc, 5, name), 5);
        EXPECT_EQ(std::strlen(name), 4u);
    }
}

// The ink of a line lies where alignment and escapement put it: in the cell that the metrics tell, turned.
TEST(GdiText, AlignmentAndEscapementPlaceTheCell) {
    for (const bool builtIn : {false, true})
        for (const UINT align : {UINT{TA_LEFT | TA_TOP}, UINT{TA_CENTER | TA_BASELINE}, UINT{TA_RIGHT | TA_BOTTOM}})
            for (const int angle : {0, 900, 1800, 2700, -900}) {
                SCOPED_TRACE(testing::Message() << "align " << align << " angle " << angle << " built-in " << builtIn);
                KbUseBuiltInFont(builtIn);
                Page p;
                p.font(-20, angle);
                SetTextAlign(p.dc, align);
                TEXTMETRICA m;
                GetTextMetricsA(p.dc, &m);
                const int width = p.extent("HgHg").cx;
                ASSERT_TRUE(TextOutA(p.dc, 100, 100, "HgHg", 4));
                int u0 = 0, v0 = 0;
                if ((align & TA_CENTER) == TA_CENTER)
                    u0 = -(width / 2);
                else if (align & TA_RIGHT)
                    u0 = -width;
                if ((align & TA_BASELINE) == TA_BASELINE)
                    v0 = -m.tmAscent;
                else if (align & TA_BOTTOM)
                    v0 = -m.tmHeight;
                const int c = angle == 0      ? 1
                              : angle == 1800 ? -1
                                              : 0,
                          s = angle == 900                  ? 1
                              : angle == 0 || angle == 1800 ? 0
                                                            : -1;
                const auto x = [&](int u, int v) { return 100 + u * c + v * s; };
                const auto y = [&](int u, int v) { return 100 - u * s + v * c; };
                const RECT cell{std::min(x(u0, v0), x(u0 + width, v0 + m.tmHeight)),
                                std::min(y(u0, v0), y(u0 + width, v0 + m.tmHeight)),
                                std::max(x(u0, v0), x(u0 + width, v0 + m.tmHeight)),
                                std::max(y(u0, v0), y(u0 + width, v0 + m.tmHeight))};
                const RECT ink = p.ink();
                EXPECT_GE(ink.left, cell.left - 2);
                EXPECT_GE(ink.top, cell.top - 2);
                EXPECT_LE(ink.right, cell.right + 2);
                EXPECT_LE(ink.bottom, cell.bottom + 2);
                EXPECT_GT(ink.right - ink.left, (cell.right - cell.left) * 2 / 3) << "and fills most of it";
                EXPECT_GT(ink.bottom - ink.top, (cell.bottom - cell.top) / 2);
            }
    KbUseBuiltInFont(FALSE);
}

TEST(GdiText, BackgroundClipAndRasterOperation) {
    Page p;
    p.font(-20);
    SetROP2(p.dc, R2_NOP), SetBkMode(p.dc, OPAQUE), SetBkColor(p.dc, RGB(255, 0, 0)), SetTextColor(p.dc, RGB(0, 0, 255));
    TextOutA(p.dc, 30, 40, "Hi", 2);
    const RECT ink = p.ink();
    TEXTMETRICA m;
    GetTextMetricsA(p.dc, &m);
    EXPECT_TRUE(ink.left == 30 && ink.top == 40 && ink.right == 30 + p.extent("Hi").cx && ink.bottom == 40 + m.tmHeight)
        << "text and its background are written whatever the raster operation";
    Page clipped;
    clipped.font(-20);
    const RECT box{50, 50, 60, 58};
    SetBkColor(clipped.dc, RGB(0, 255, 0));
    ExtTextOutA(clipped.dc, 40, 44, ETO_CLIPPED | ETO_OPAQUE, &box, "MMMMM", 5, nullptr);
    const RECT cut = clipped.ink();
    EXPECT_TRUE(cut.left == 50 && cut.top == 50 && cut.right == 60 && cut.bottom == 58);
    Page spread;
    spread.font(-20);
    const INT dx[2] = {100, 10};
    ExtTextOutA(spread.dc, 10, 10, 0, nullptr, "||", 2, dx);
    EXPECT_GT(spread.ink().right, 110);
    Page moved;
    moved.font(-20);
    SetTextAlign(moved.dc, TA_UPDATECP);
    MoveToEx(moved.dc, 20, 30, nullptr);
    TextOutA(moved.dc, 0, 0, "abc", 3);
    POINT at;
    GetCurrentPositionEx(moved.dc, &at);
    EXPECT_TRUE(at.x == 20 + moved.extent("abc").cx && at.y == 30);
}

// A region clip, a partial clip and a whole glyph leave the same pixels where they overlap; every depth shows ink.
TEST(GdiText, ClippedGlyphsAreParts) {
    for (const int bits : {1, 8, 24, 32}) {
        std::vector<uint8_t> whole(side * side * 4, 0xFF), part = whole;
        const int stride = side * bits / 8;
        const HDC a = KbCreateSurfaceDC(whole.data(), side, side, stride, bits, nullptr, 0),
                  b = KbCreateSurfaceDC(part.data(), side, side, stride, bits, nullptr, 0);
        const HFONT font = CreateFontA(-31, 0, 0, 0, 700, 1, 1, 1, 1, 0, 0, 0, 0, "Times New Roman");
        for (const HDC dc : {a, b}) SelectObject(dc, font), SetBkMode(dc, TRANSPARENT), SetTextColor(dc, RGB(10, 20, 30));
        const HRGN region = CreateEllipticRgn(15, 8, 90, 45);
        SelectClipRgn(b, region);
        TextOutA(a, 9, 5, "Clipped gy", 10), TextOutA(b, 9, 5, "Clipped gy", 10);
        int ink = 0;
        for (int y = 0; y < side; ++y)
            for (int x = 0; x < side; ++x) {
                const COLORREF want = PtInRegion(region, x, y) ? GetPixel(a, x, y) : RGB(255, 255, 255);
                SelectClipRgn(b, nullptr);
                ASSERT_EQ(GetPixel(b, x, y), want) << bits << " bits at " << x << ',' << y;
                ink += want != RGB(255, 255, 255);
            }
        EXPECT_GT(ink, 200) << bits;
        for (const HGDIOBJ h : {HGDIOBJ(region), HGDIOBJ(font)}) DeleteObject(h);
        DeleteDC(a), DeleteDC(b);
    }
}

TEST(GdiText, MapModesScaleFontsAndMeasures) {
    Page p;
    SetMapMode(p.dc, MM_ANISOTROPIC);
    SetWindowExtEx(p.dc, 1, 1, nullptr), SetViewportExtEx(p.dc, 3, 3, nullptr);
    p.font(-10);
    Page plain;
    plain.font(-30);
    EXPECT_NEAR(p.extent("Scaled").cx, plain.extent("Scaled").cx / 3.0, 1);
    TextOutA(p.dc, 5, 5, "S", 1), TextOutA(plain.dc, 15, 15, "S", 1);
    EXPECT_EQ(p.pixels, plain.pixels);
}

TEST(GdiText, EveryCharacterOfTheBuiltInAlphabetDiffers) {
    KbUseBuiltInFont(TRUE);
    std::vector<std::vector<uint32_t>> seen;
    for (int c = 33; c < 127; ++c) {
        Page p;
        p.font(-40);
        const char text = static_cast<char>(c);
        TextOutA(p.dc, 50, 50, &text, 1);
        if (c == 'O') continue; // the same as the digit
        EXPECT_EQ(std::count(seen.begin(), seen.end(), p.pixels), 0) << text;
        EXPECT_GT(p.ink().right, p.ink().left) << text;
        seen.push_back(p.pixels);
    }
    KbUseBuiltInFont(FALSE);
}

} // namespace
