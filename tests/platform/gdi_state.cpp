// Contexts and handles: saved states, selection and deletion, dead handles, map modes, regions, clips, hostile coordinates,
// metafile blocks.
#include "platform/gdi.h"
#include "platform/sys.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

struct Screen {
    std::vector<uint32_t> pixels = std::vector<uint32_t>(100 * 80);
    HDC dc = KbCreateSurfaceDC(pixels.data(), 100, 80, 400, 32, nullptr, 0);
    ~Screen() { DeleteDC(dc); }
    size_t changed() const {
        return static_cast<size_t>(std::count_if(pixels.begin(), pixels.end(), [](uint32_t p) { return p != 0; }));
    }
};

TEST(GdiState, SaveAndRestoreNest) {
    Screen s;
    const HPEN pen = CreatePen(PS_SOLID, 3, 0xFF);
    EXPECT_EQ(SaveDC(s.dc), 1);
    SelectObject(s.dc, pen);
    SetTextColor(s.dc, 5), SetROP2(s.dc, R2_XORPEN), SetTextAlign(s.dc, TA_RIGHT), MoveToEx(s.dc, 7, 8, nullptr);
    SetMapMode(s.dc, MM_ANISOTROPIC), SetViewportExtEx(s.dc, 2, 2, nullptr);
    IntersectClipRect(s.dc, 5, 5, 20, 20);
    EXPECT_EQ(SaveDC(s.dc), 2);
    EXPECT_EQ(SaveDC(s.dc), 3);
    SetROP2(s.dc, R2_BLACK);
    EXPECT_FALSE(RestoreDC(s.dc, 4));
    EXPECT_FALSE(RestoreDC(s.dc, -4));
    EXPECT_FALSE(RestoreDC(s.dc, 0));
    EXPECT_TRUE(RestoreDC(s.dc, -2)); // to 2
    EXPECT_EQ(GetROP2(s.dc), R2_XORPEN);
    EXPECT_EQ(SaveDC(s.dc), 2);
    DeleteObject(pen); // still selected and saved
    EXPECT_EQ(GetObjectType(pen), 0u);
    EXPECT_TRUE(RestoreDC(s.dc, 2));
    Rectangle(s.dc, 5, 5, 9, 9);
    EXPECT_GT(s.changed(), 0u) << "the deleted pen draws until it is let go of";
    EXPECT_TRUE(RestoreDC(s.dc, 1));
    EXPECT_EQ(GetROP2(s.dc), R2_COPYPEN);
    EXPECT_EQ(GetTextColor(s.dc), 0u);
    EXPECT_EQ(GetTextAlign(s.dc), 0u);
    EXPECT_EQ(GetMapMode(s.dc), MM_TEXT);
    EXPECT_EQ(GetCurrentObject(s.dc, OBJ_PEN), GetStockObject(BLACK_PEN));
    RECT box;
    EXPECT_EQ(GetClipBox(s.dc, &box), SIMPLEREGION);
    EXPECT_EQ(box.right, 100);
    EXPECT_FALSE(RestoreDC(s.dc, -1));
}

TEST(GdiState, DeadAndForeignHandlesAreRefused) {
    Screen s;
    const HDC dead = CreateCompatibleDC(nullptr);
    DeleteDC(dead);
    const HPEN pen = CreatePen(0, 0, 0);
    DeleteObject(pen);
    const HRGN region = CreateRectRgn(0, 0, 5, 5);
    const HDC wild = reinterpret_cast<HDC>(&s);
    RECT r{0, 0, 5, 5};
    POINT two[2] = {{0, 0}, {5, 5}};
    for (const HDC dc : {dead, wild, HDC{}, reinterpret_cast<HDC>(region)}) {
        SetLastError(0);
        EXPECT_EQ(SaveDC(dc), 0);
        EXPECT_EQ(GetLastError(), ERROR_BAD_HANDLE);
        EXPECT_FALSE(Polyline(dc, two, 2));
        EXPECT_FALSE(Rectangle(dc, 0, 0, 5, 5));
        EXPECT_EQ(SetTextColor(dc, 1), CLR_INVALID);
        EXPECT_EQ(SetROP2(dc, R2_COPYPEN), 0);
        EXPECT_EQ(SetTextAlign(dc, 0), GDI_ERROR);
        EXPECT_EQ(IntersectClipRect(dc, 0, 0, 1, 1), ERROR);
        EXPECT_FALSE(TextOutA(dc, 0, 0, "a", 1));
        EXPECT_FALSE(BitBlt(s.dc, 0, 0, 5, 5, dc, 0, 0, SRCCOPY));
        EXPECT_EQ(GetObjectType(dc), dc == reinterpret_cast<HDC>(region) ? DWORD{OBJ_REGION} : 0u);
    }
    EXPECT_EQ(SelectObject(s.dc, pen), nullptr);
    EXPECT_FALSE(DeleteObject(pen));
    EXPECT_EQ(FillRect(s.dc, &r, reinterpret_cast<HBRUSH>(region)), 0);
    EXPECT_EQ(CombineRgn(region, reinterpret_cast<HRGN>(s.dc), region, RGN_OR), ERROR);
    EXPECT_TRUE(DeleteObject(GetStockObject(WHITE_BRUSH)));
    EXPECT_EQ(GetObjectType(GetStockObject(WHITE_BRUSH)), DWORD{OBJ_BRUSH});
    EXPECT_EQ(s.changed(), 0u);
    DeleteObject(region);
}

TEST(GdiState, MapModes) {
    Screen s;
    KbSetSurfaceDpi(s.dc, 200, 100);
    const struct {
        int mode;
        POINT logical, device; // under the fixed modes y points up
    } rows[] = {{MM_TEXT, {254, 100}, {254, 100}},       {MM_LOMETRIC, {254, -254}, {200, 100}},
                {MM_HIMETRIC, {2540, -1270}, {200, 50}}, {MM_LOENGLISH, {50, 100}, {100, -100}},
                {MM_HIENGLISH, {1000, -10}, {200, 1}},   {MM_TWIPS, {720, -1440}, {100, 100}}};
    for (const auto& row : rows) {
        SetMapMode(s.dc, row.mode);
        POINT p = row.logical;
        LPtoDP(s.dc, &p, 1);
        EXPECT_TRUE(p.x == row.device.x && p.y == row.device.y) << row.mode << ": " << p.x << ',' << p.y;
        DPtoLP(s.dc, &p, 1);
        EXPECT_TRUE(p.x == row.logical.x && p.y == row.logical.y) << row.mode << " back: " << p.x << ',' << p.y;
        SIZE extent{-7, -7};
        EXPECT_TRUE(SetWindowExtEx(s.dc, 9, 9, &extent));
        SIZE after;
        GetWindowExtEx(s.dc, &after);
        EXPECT_TRUE(after.cx == extent.cx && after.cy == extent.cy) << "fixed modes keep their extents";
    }
    SetMapMode(s.dc, MM_ANISOTROPIC);
    EXPECT_FALSE(SetWindowExtEx(s.dc, 0, 1, nullptr));
    SetWindowExtEx(s.dc, 10, -10, nullptr), SetViewportExtEx(s.dc, 30, 5, nullptr);
    SetWindowOrgEx(s.dc, 1, 2, nullptr), SetViewportOrgEx(s.dc, 100, 200, nullptr);
    POINT p[3] = {{1, 2}, {11, 12}, {INT32_MAX, INT32_MIN}};
    LPtoDP(s.dc, p, 3);
    EXPECT_TRUE(p[0].x == 100 && p[0].y == 200 && p[1].x == 130 && p[1].y == 195);
    EXPECT_TRUE(p[2].x == INT32_MAX && p[2].y == 1073742025) << p[2].x << ',' << p[2].y;
    KbSetSurfaceDpi(s.dc, 96, 96);
    SetMapMode(s.dc, MM_ISOTROPIC);
    SetWindowExtEx(s.dc, 100, 100, nullptr), SetViewportExtEx(s.dc, 300, 200, nullptr);
    SIZE v;
    GetViewportExtEx(s.dc, &v);
    EXPECT_TRUE(v.cx == 200 && v.cy == 200) << v.cx << ',' << v.cy;
}

TEST(GdiState, RegionsCombine) {
    const HRGN a = CreateRectRgn(0, 0, 10, 10), b = CreateRectRgn(15, 15, 5, 5), r = CreateRectRgn(0, 0, 0, 0);
    const struct {
        int mode, kind;
        uint64_t area;
    } rows[] = {{RGN_AND, SIMPLEREGION, 25},
                {RGN_OR, COMPLEXREGION, 175},
                {RGN_XOR, COMPLEXREGION, 150},
                {RGN_DIFF, COMPLEXREGION, 75},
                {RGN_COPY, SIMPLEREGION, 100}};
    for (const auto& row : rows) {
        EXPECT_EQ(CombineRgn(r, a, b, row.mode), row.kind) << row.mode;
        EXPECT_EQ(KbRegionArea(r), row.area) << row.mode;
        std::vector<char> data(GetRegionData(r, 0, nullptr));
        auto* info = reinterpret_cast<RGNDATA*>(data.data());
        EXPECT_EQ(GetRegionData(r, static_cast<DWORD>(data.size() - 1), info), 0u);
        EXPECT_EQ(GetRegionData(r, static_cast<DWORD>(data.size()), info), data.size());
        const HRGN copy = ExtCreateRegion(nullptr, static_cast<DWORD>(data.size()), info);
        EXPECT_TRUE(EqualRgn(copy, r)) << row.mode;
        info->rdh.nCount += 1; // more rectangles than there are bytes
        EXPECT_EQ(ExtCreateRegion(nullptr, static_cast<DWORD>(data.size()), info), nullptr);
        DeleteObject(copy);
    }
    EXPECT_EQ(CombineRgn(a, a, a, RGN_DIFF), NULLREGION);
    EXPECT_EQ(OffsetRgn(b, INT32_MAX, 0), SIMPLEREGION) << "what still fits";
    for (HRGN h : {a, b, r}) DeleteObject(h);
}

// Polygon and elliptic regions hold the pixels that the figures fill without a pen.
TEST(GdiState, RegionsEqualFills) {
    const POINT star[5] = {{50, 3}, {80, 75}, {5, 30}, {95, 28}, {20, 77}};
    for (const int mode : {ALTERNATE, WINDING, 0}) {
        Screen s;
        SelectObject(s.dc, GetStockObject(NULL_PEN)), SetPolyFillMode(s.dc, mode);
        if (mode)
            Polygon(s.dc, star, 5);
        else
            Ellipse(s.dc, 7, 9, 92, 70);
        const HRGN region = mode ? CreatePolygonRgn(star, 5, mode) : CreateEllipticRgn(7, 9, 91, 69);
        EXPECT_EQ(KbRegionArea(region), s.changed());
        for (int i = 0; i < 8000; ++i)
            ASSERT_EQ(PtInRegion(region, i % 100, i / 100) != 0, s.pixels[static_cast<size_t>(i)] != 0) << i;
        SetROP2(s.dc, R2_XORPEN);
        PaintRgn(s.dc, region);
        EXPECT_EQ(s.changed(), 0u);
        SelectClipRgn(s.dc, region); // and the clip lets the same pixels through
        const RECT all{0, 0, 100, 80};
        FillRect(s.dc, &all, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
        EXPECT_EQ(KbRegionArea(region), s.changed());
        DeleteObject(region);
    }
}

// Any coordinates end soon and change nothing outside the surface; what is visible of huge figures is right.
TEST(GdiState, HostileCoordinates) {
    constexpr int low = INT32_MIN, high = INT32_MAX;
    const std::clock_t start = std::clock(); // processor time: the machine may be busy
    for (const int style : {PS_SOLID, PS_DASHDOTDOT, PS_NULL})
        for (const int penWidth : {0, 1, 7, high})
            for (const int rop : {R2_COPYPEN, R2_XORPEN}) {
                Screen s;
                const HGDIOBJ old = SelectObject(s.dc, CreatePen(style, penWidth, 0xFFFFFF));
                SetROP2(s.dc, rop);
                const POINT wide[4] = {{low, low}, {high, high}, {high, low}, {low, high}};
                Polyline(s.dc, wide, 4), Polygon(s.dc, wide, 4);
                for (const RECT r : {RECT{low, low, high, high}, RECT{low, 3, high, 70}, RECT{5, low, 90, high},
                                     RECT{high, high, low, low}}) {
                    Rectangle(s.dc, r.left, r.top, r.right, r.bottom), Ellipse(s.dc, r.left, r.top, r.right, r.bottom);
                    RoundRect(s.dc, r.left, r.top, r.right, r.bottom, high, low),
                        Pie(s.dc, r.left, r.top, r.right, r.bottom, low, low, high, 0);
                    PatBlt(s.dc, r.left, r.top, r.right, r.bottom, PATINVERT), FillRect(s.dc, &r, nullptr);
                    StretchBlt(s.dc, r.left, r.top, high, high, s.dc, r.left, r.top, high, low, SRCCOPY);
                    TextOutA(s.dc, r.left, r.top, "wide", 4);
                }
                DeleteObject(SelectObject(s.dc, old));
            }
    EXPECT_LT(std::clock() - start, 20 * CLOCKS_PER_SEC);
    Screen s;
    SelectObject(s.dc, GetStockObject(WHITE_PEN)), SelectObject(s.dc, GetStockObject(NULL_BRUSH));
    MoveToEx(s.dc, low, low, nullptr), LineTo(s.dc, high, high); // the main diagonal goes through every x, x
    for (int i = 0; i < 80; ++i) EXPECT_NE(s.pixels[static_cast<size_t>(i * 101)], 0u) << i;
    EXPECT_EQ(s.changed(), 80u);
    EXPECT_EQ(KbCreateSurfaceDC(nullptr, 5, 5, 20, 32, nullptr, 0), nullptr);
    EXPECT_EQ(KbCreateSurfaceDC(s.pixels.data(), 50, 5, 20, 32, nullptr, 0), nullptr) << "rows longer than the stride";
    EXPECT_EQ(CreateBitmap(1 << 27, 1 << 27, 1, 32, nullptr), nullptr);
}

TEST(GdiState, MetafileBlocksAreChecked) {
    std::vector<uint8_t> classic{1, 0, 9, 0, 0,    3, 17, 0, 0, 0, 0, 0, 5, 0, 0, 0, 0,    0,     // header: 17 words in all
                                 5, 0, 0, 0, 0x0B, 2, 0,  0, 0, 0, 3, 0, 0, 0, 0, 0, 0xEE, 0xEE}; // record, end record, rest
    const HMETAFILE good = SetMetaFileBitsEx(static_cast<UINT>(classic.size()), classic.data());
    ASSERT_NE(good, nullptr);
    EXPECT_EQ(GetMetaFileBitsEx(good, 0, nullptr), 34u);
    const HMETAFILE copy = CopyMetaFileA(good, nullptr);
    std::vector<uint8_t> back(34);
    EXPECT_EQ(GetMetaFileBitsEx(copy, 34, back.data()), 34u);
    EXPECT_TRUE(std::equal(back.begin(), back.end(), classic.begin()));
    EXPECT_EQ(GetEnhMetaFileBits(reinterpret_cast<HENHMETAFILE>(good), 0, nullptr), 0u);
    EXPECT_TRUE(DeleteMetaFile(good));
    EXPECT_FALSE(DeleteMetaFile(good));
    EXPECT_TRUE(DeleteMetaFile(copy));
    std::vector<uint8_t> enhanced(108);
    const auto put = [&](size_t at, uint32_t v) { std::memcpy(&enhanced[at], &v, 4); };
    put(0, 1), put(4, 88), put(40, 0x464D4520), put(48, 108), put(88, 14), put(92, 20);
    const HENHMETAFILE e = SetEnhMetaFileBits(108, enhanced.data());
    EXPECT_NE(e, nullptr);
    EXPECT_TRUE(DeleteEnhMetaFile(e));
    const struct {
        const char* name;
        size_t at;
        uint8_t value;
        bool enhanced;
    } broken[] = {{"type", 0, 3, false},
                  {"header words", 2, 8, false},
                  {"size beyond the block", 6, 20, false},
                  {"size below a header", 6, 5, false},
                  {"first record too long", 18, 9, false},
                  {"first record too short", 18, 2, false},
                  {"record type", 0, 2, true},
                  {"signature", 43, 0, true},
                  {"size beyond the block", 48, 112, true},
                  {"record too long", 92, 24, true},
                  {"record of odd length", 92, 18, true},
                  {"header too short", 4, 80, true}};
    for (const auto& row : broken) {
        std::vector<uint8_t> bytes = row.enhanced ? enhanced : classic;
        bytes[row.at] = row.value;
        SetLastError(0);
        const auto size = static_cast<UINT>(bytes.size());
        const bool refused = row.enhanced ? !SetEnhMetaFileBits(size, bytes.data()) : !SetMetaFileBitsEx(size, bytes.data());
        EXPECT_TRUE(refused) << row.name;
        EXPECT_EQ(GetLastError(), ERROR_BAD_HANDLE) << row.name;
    }
    for (UINT size = 0; size < 34; ++size) EXPECT_EQ(SetMetaFileBitsEx(size, classic.data()), nullptr) << size;
    for (UINT size = 0; size < 108; ++size) EXPECT_EQ(SetEnhMetaFileBits(size, enhanced.data()), nullptr) << size;
}

TEST(GdiState, ThreadsDrawSideBySide) {
    const auto draw = [](std::vector<uint32_t>* out) {
        Screen s;
        for (int i = 0; i < 300; ++i) {
            SaveDC(s.dc);
            const HPEN pen = CreatePen(PS_SOLID, i % 5, static_cast<COLORREF>(i * 7919));
            const HFONT font = CreateFontA(-8 - i % 9, 0, i % 4 * 450, 0, 400, 0, 0, 0, 0, 0, 0, 0, 0, "Arial");
            SelectObject(s.dc, pen), SelectObject(s.dc, font);
            Ellipse(s.dc, i % 40, i % 30, 60 + i % 40, 40 + i % 40);
            TextOutA(s.dc, i % 50, i % 60, "thread", 6);
            RestoreDC(s.dc, -1);
            DeleteObject(pen), DeleteObject(font);
        }
        *out = s.pixels;
    };
    std::vector<uint32_t> results[4];
    std::vector<std::thread> threads;
    for (auto& r : results) threads.emplace_back(draw, &r);
    for (auto& t : threads) t.join();
    for (const auto& r : results) EXPECT_EQ(r, results[0]);
}

} // namespace
