// Memory that runs out in the middle of a call: each allocation is refused in turn, on threads whose caches are cold. A call
// then reports failure or has drawn all of it, and the context goes on drawing as before.
#include "platform/gdi.h"
#include "platform/sys.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <new>
#include <thread>
#include <vector>

namespace {

// Allocations until the one that fails; 0: none does. Of the thread that sets it.
thread_local int countdown = 0;
thread_local bool wasRefused = false;

bool refuses() noexcept {
    if (countdown == 0 || --countdown > 0) return false;
    return wasRefused = true;
}

void* allocate(std::size_t size) {
    if (refuses()) throw std::bad_alloc();
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return refuses() ? nullptr : std::malloc(size ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return refuses() ? nullptr : std::malloc(size ? size : 1);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace {

constexpr int side = 64;

struct Sheet {
    std::vector<uint32_t> pixels = std::vector<uint32_t>(side * side, 0xFFFFFF);
    HDC dc = KbCreateSurfaceDC(pixels.data(), side, side, side * 4, 32, nullptr, 0);
    ~Sheet() { DeleteDC(dc); }
};

bool keep(HGDIOBJ object) { return object && DeleteObject(object); }

constexpr POINT star[] = {{32, 2}, {50, 60}, {3, 22}, {61, 22}, {12, 60}};

const struct {
    const char* name;
    bool (*call)(HDC);
} calls[] = {
    {"pen", [](HDC) { return keep(CreatePen(PS_DOT, 3, 5)); }},
    {"solid brush", [](HDC) { return keep(CreateSolidBrush(7)); }},
    {"hatched brush", [](HDC) { return keep(CreateHatchBrush(HS_CROSS, 7)); }},
    {"font", [](HDC) { return keep(CreateFontA(-12, 0, 0, 0, 400, 0, 0, 0, 1, 0, 0, 0, 0, "Arial")); }},
    {"bitmap", [](HDC) { return keep(CreateBitmap(20, 20, 1, 24, nullptr)); }},
    {"pattern brush",
     [](HDC) {
         const uint16_t rows[8] = {1, 2, 3, 4, 5, 6, 7, 8};
         const HBITMAP bitmap = CreateBitmap(8, 8, 1, 1, rows);
         const HBRUSH brush = CreatePatternBrush(bitmap);
         const bool made = bitmap && brush;
         DeleteObject(bitmap), DeleteObject(brush);
         return made;
     }},
    {"rectangular region", [](HDC) { return keep(CreateRectRgn(1, 2, 30, 40)); }},
    {"polygon region", [](HDC) { return keep(CreatePolygonRgn(star, 5, WINDING)); }},
    {"elliptic region", [](HDC) { return keep(CreateEllipticRgn(1, 2, 30, 40)); }},
    {"memory context",
     [](HDC) {
         const HDC dc = CreateCompatibleDC(nullptr);
         return dc && DeleteDC(dc);
     }},
    {"lines", [](HDC dc) { return Polyline(dc, star, 5) != 0; }},
    {"lines onward", [](HDC dc) { return PolylineTo(dc, star, 5) != 0; }},
    {"polygon", [](HDC dc) { return Polygon(dc, star, 5) != 0; }},
    {"ellipse", [](HDC dc) { return Ellipse(dc, 3, 4, 60, 50) != 0; }},
    {"round rectangle", [](HDC dc) { return RoundRect(dc, 3, 4, 60, 50, 9, 9) != 0; }},
    {"pie", [](HDC dc) { return Pie(dc, 3, 4, 60, 50, 60, 20, 2, 9) != 0; }},
    {"stretched", [](HDC dc) { return StretchBlt(dc, 0, 0, 30, 64, dc, 20, 20, 50, 20, SRCINVERT) != 0; }},
    {"text", [](HDC dc) { return TextOutA(dc, 3, 3, "Ag8", 3) != 0; }},
    {"measured text",
     [](HDC dc) {
         SIZE size;
         return GetTextExtentPoint32A(dc, "Ag8", 3, &size) != 0;
     }},
};

struct Outcome {
    bool done = false, refused = false;
    std::vector<uint32_t> drawn, afterwards;
};

// One call with allocation `n` refused, then one undisturbed: on a thread of its own.
Outcome attempt(bool (*call)(HDC), int penWidth, int mode, int n) {
    Outcome o;
    std::thread([&] {
        Sheet s;
        const HPEN pen = CreatePen(PS_SOLID, penWidth, RGB(0, 0, 255));
        SelectObject(s.dc, pen);
        DeleteObject(pen);
        SetROP2(s.dc, mode);
        SetWindowOrgEx(s.dc, 0, 0, nullptr);
        wasRefused = false;
        countdown = n;
        o.done = call(s.dc);
        countdown = 0;
        o.refused = wasRefused;
        o.drawn = s.pixels;
        std::fill(s.pixels.begin(), s.pixels.end(), 0xFFFFFFu);
        MoveToEx(s.dc, 0, 0, nullptr);
        EXPECT_TRUE(call(s.dc)) << "the same call once there is memory";
        o.afterwards = s.pixels;
    }).join();
    return o;
}

TEST(GdiMemory, EveryRefusedAllocationIsSurvived) {
    int refusals = 0;
    for (const auto& row : calls)
        for (const int penWidth : {1, 7})
            for (const int mode : {R2_COPYPEN, R2_XORPEN}) {
                SCOPED_TRACE(testing::Message() << row.name << ", pen " << penWidth << ", mode " << mode);
                const Outcome whole = attempt(row.call, penWidth, mode, 0);
                ASSERT_TRUE(whole.done);
                for (int n = 1;; ++n) {
                    ASSERT_LT(n, 2000);
                    const Outcome o = attempt(row.call, penWidth, mode, n);
                    EXPECT_TRUE(!o.done || o.drawn == whole.drawn) << "allocation " << n << ": success, but not all drawn";
                    EXPECT_EQ(o.afterwards, whole.drawn) << "allocation " << n;
                    if (!o.refused) break;
                    ++refusals;
                }
            }
    EXPECT_GT(refusals, 100);
}

// A recording is whole or it is none: bytes of the metafile, empty when there is none.
std::vector<uint8_t> record(int n, bool& refused) {
    std::vector<uint8_t> bytes;
    std::thread([&] {
        wasRefused = false;
        countdown = n;
        const HDC dc = CreateMetaFileA(nullptr);
        if (dc) {
            const HPEN pen = CreatePen(PS_SOLID, 3, 5);
            SelectObject(dc, pen);
            SetROP2(dc, R2_XORPEN);
            SaveDC(dc);
            const HRGN region = CreatePolygonRgn(star, 5, WINDING);
            ExtSelectClipRgn(dc, region, RGN_AND);
            Polygon(dc, star, 5);
            PaintRgn(dc, region);
            RestoreDC(dc, -1);
            DeleteObject(region), DeleteObject(pen);
            TextOutA(dc, 3, 3, "Ag8", 3);
        }
        const HMETAFILE metafile = dc ? CloseMetaFile(dc) : nullptr;
        countdown = 0;
        refused = wasRefused;
        bytes.resize(metafile ? GetMetaFileBitsEx(metafile, 0, nullptr) : 0);
        if (metafile) GetMetaFileBitsEx(metafile, static_cast<UINT>(bytes.size()), bytes.data());
        DeleteMetaFile(metafile);
        EXPECT_EQ(GetObjectType(dc), 0u) << "the context is gone in any case";
    }).join();
    return bytes;
}

TEST(GdiMemory, ARecordingThatLostARecordIsRefused) {
    bool refused = false;
    const std::vector<uint8_t> whole = record(0, refused);
    ASSERT_FALSE(whole.empty());
    int lost = 0;
    for (int n = 1;; ++n) {
        ASSERT_LT(n, 2000);
        const std::vector<uint8_t> bytes = record(n, refused);
        if (!refused) break;
        lost += bytes.empty();
        // An object that the caller didn't get was never selected; that leaves a whole recording without it.
        EXPECT_TRUE(bytes.empty() || bytes.size() <= whole.size()) << "allocation " << n;
    }
    EXPECT_GT(lost, 10);
}

// A page goes on after a call that found no memory, and what it misses is that call's figure.
TEST(GdiMemory, APageSurvivesEveryRefusedAllocation) {
    const auto draw = [](int n, bool& refused) {
        size_t written = 0;
        bool drawn = true;
        std::thread([&] {
            const HBRUSH brush = CreateHatchBrush(HS_CROSS, 7);
            const HRGN region = CreatePolygonRgn(star, 5, WINDING);
            const auto count = [](void* sum, const void*, size_t bytes) -> BOOL {
                *static_cast<size_t*>(sum) += bytes;
                return TRUE;
            };
            wasRefused = false;
            countdown = n;
            const HDC dc = KbCreatePdfDC(count, &written);
            drawn = dc && KbStartPdfPage(dc, side, side, 96, 96);
            if (drawn) {
                SelectObject(dc, brush);
                SetROP2(dc, R2_XORPEN);
                drawn = Polygon(dc, star, 5);
                drawn = SelectClipRgn(dc, region) != ERROR && drawn;
                drawn = Ellipse(dc, 3, 4, 60, 50) && drawn;
                const uint32_t pixels[4] = {1, 2, 3, 4};
                const BITMAPINFOHEADER head{sizeof head, 2, 2, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
                drawn = StretchDIBits(dc, 0, 0, 2, 2, 0, 0, 2, 2, pixels, reinterpret_cast<const BITMAPINFO*>(&head),
                                      DIB_RGB_COLORS, SRCINVERT) &&
                        drawn;
                drawn = TextOutA(dc, 3, 3, "Ag8", 3) && drawn;
            }
            countdown = 0;
            refused = wasRefused;
            const bool closed = dc && KbClosePdfDC(dc);
            EXPECT_EQ(closed, written > 0) << "allocation " << n;
            DeleteObject(brush), DeleteObject(region);
        }).join();
        return drawn ? written : 0;
    };
    bool refused = false;
    const size_t whole = draw(0, refused);
    ASSERT_GT(whole, 0u);
    for (int n = 1;; ++n) {
        ASSERT_LT(n, 2000);
        const size_t written = draw(n, refused);
        EXPECT_TRUE(written == 0 || written == whole) << "allocation " << n << ": success, but not all drawn";
        if (!refused) break;
    }
}

} // namespace
