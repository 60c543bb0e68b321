// Memory that runs out in the middle of a call: each allocation is refused in turn, on threads whose caches are cold. A call
// then reports failure or has drawn all of it, and the context goes on drawing as before.
#include "platform/gdi.h"
#include "platform/sys.h"
#include "tests/platform/metafile_fixture.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <malloc.h>
#include <new>
#include <thread>
#include <vector>

namespace {

// Allocations until the one that fails; 0: none does. Of the thread that sets it.
thread_local int countdown = 0;
thread_local bool wasRefused = false;
// Allocations, and the bytes that are held and were at most, of the thread.
thread_local int64_t allocations = 0, held = 0, mostHeld = 0;

bool refuses() noexcept {
    if (countdown == 0 || --countdown > 0) return false;
    return wasRefused = true;
}

void* allocate(std::size_t size) {
    if (refuses()) throw std::bad_alloc();
    if (void* p = std::malloc(size ? size : 1)) {
        ++allocations;
        held += static_cast<int64_t>(malloc_usable_size(p));
        mostHeld = std::max(mostHeld, held);
        return p;
    }
    throw std::bad_alloc();
}

void release(void* p) noexcept {
    held -= static_cast<int64_t>(malloc_usable_size(p));
    std::free(p);
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
void operator delete(void* p) noexcept { release(p); }
void operator delete[](void* p) noexcept { release(p); }
void operator delete(void* p, std::size_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t) noexcept { release(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { release(p); }

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
            EXPECT_EQ(closed, drawn) << "allocation " << n << ": the document tells whether a figure is missing";
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

// ---- metafiles ----

using namespace metafile_test;

HENHMETAFILE loaded(const Enhanced& file) {
    const Bytes bytes = file.file();
    return SetEnhMetaFileBits(static_cast<UINT>(bytes.size()), bytes.data());
}

// A play is whole or says that it isn't, never leaves the file's clip, and leaves the caller's state as it was.
TEST(GdiMemory, APlaySurvivesEveryRefusedAllocation) {
    Bytes region;
    region.u32(64).u32(RGN_COPY).u32(32).u32(1).u32(2).u32(32);
    for (const int v : {0, 0, 0, 0, 10, 10, 30, 30, 20, 20, 50, 50}) region.u32(v);
    Enhanced file = Enhanced().stock(NULL_PEN).brush(1, 0xFF).record(75, region).rectangle(0, 0, 99, 99);
    file.record(30, {12, 12, 25, 25}).brush(2, 0xFF00).record(42, {0, 0, 99, 99}).pen(3, PS_DOT, 2, 5).record(26, {1, 1});
    file.transform(0, 1, -1, 0, 60, 0).rectangle(2, 2, 60, 60);
    const HENHMETAFILE metafile = loaded(file);
    const auto play = [&](int n, BOOL& answer, bool& refused) {
        std::vector<uint32_t> pixels;
        std::thread([&] {
            Sheet s;
            IntersectClipRect(s.dc, 0, 0, 60, 60);
            SaveDC(s.dc);
            wasRefused = false;
            countdown = n;
            const RECT target{0, 0, 100, 100};
            answer = PlayEnhMetaFile(s.dc, metafile, &target);
            countdown = 0;
            refused = wasRefused;
            RECT clip;
            GetClipBox(s.dc, &clip);
            EXPECT_EQ(show(clip), "0,0 - 60,60") << "allocation " << n;
            EXPECT_EQ(SaveDC(s.dc), 2) << "allocation " << n;
            for (int y = 0; y < side; ++y)
                for (int x = 0; x < side; ++x) {
                    const bool in = (x >= 10 && x < 31 && y >= 10 && y < 31) || (x >= 20 && x < 51 && y >= 20 && y < 51);
                    if (!in && s.pixels[static_cast<size_t>(y * side + x)] != 0xFFFFFF)
                        ADD_FAILURE() << "allocation " << n << ": outside of the clip, " << x << ',' << y;
                }
            pixels = s.pixels;
        }).join();
        return pixels;
    };
    BOOL answer = FALSE;
    bool refused = false;
    const std::vector<uint32_t> whole = play(0, answer, refused);
    ASSERT_TRUE(answer);
    for (int n = 1;; ++n) {
        ASSERT_LT(n, 2000);
        const std::vector<uint32_t> pixels = play(n, answer, refused);
        EXPECT_TRUE(!answer || pixels == whole) << "allocation " << n << ": success, but not all drawn";
        if (!refused) break;
    }
    DeleteEnhMetaFile(metafile);
}

// Twice as many records are twice the work: counted in allocations, because no clock is fair.
TEST(GdiMemory, RecordsPlayInLinearTime) {
    const auto count = [](int records) {
        Enhanced file;
        for (int i = 0; i < records / 8; ++i)
            file.record(33)
                .record(30, {i % 50, 0, i % 50 + 40, 60})
                .brush(i % 100, static_cast<COLORREF>(i))
                .rectangle(0, 0, 50, 50)
                .record(40, {i % 100})
                .record(54, {i % 90, i % 70})
                .record(34, {-1});
        const HENHMETAFILE metafile = loaded(file);
        int64_t made = 0;
        std::thread([&] {
            Sheet s;
            const RECT target{0, 0, side, side};
            allocations = 0;
            EXPECT_TRUE(PlayEnhMetaFile(s.dc, metafile, &target));
            made = allocations;
        }).join();
        DeleteEnhMetaFile(metafile);
        return static_cast<double>(made);
    };
    const double once = count(20'000), twice = count(40'000);
    EXPECT_GT(once, 10'000);
    EXPECT_NEAR(twice / once, 2, 0.05);
}

// What a file makes the player hold is bounded by its size, and so is what it puts into a recording.
TEST(GdiMemory, AFileHoldsAsMuchAsItsSizeAllows) {
    Bytes runs; // 256 by 256, nothing of it there
    runs.u32(40).u32(256).u32(256).u16(1).u16(8).u32(BI_RLE8).u32(0).u32(0).u32(0).u32(1).u32(0).u32(0);
    Bytes packed = runs; // all of it there
    for (int i = 0; i < 260; ++i) packed.u8(255).u8(1).u8(1).u8(1).u8(0).u8(0);
    Bytes entries;
    for (int i = 0; i < 65'535; ++i) entries.u32(i);
    const auto repeat = [](int times, auto&& add) {
        Classic file;
        for (int i = 0; i < times; ++i) add(file);
        return file;
    };
    const Classic files[] = {repeat(5000,
                                    [&](Classic& f) {
                                        f.record(0x0142, {BS_DIBPATTERN, 0}, runs);
                                    }),
                             repeat(5000,
                                    [&](Classic& f) {
                                        f.record(0x0142, {BS_DIBPATTERN, 0}, packed);
                                    }),
                             repeat(3000,
                                    [&](Classic& f) {
                                        f.record(0x00F7, {0x300, 1}, Bytes().u32(0)).record(0x0139, {-1});
                                    }),
                             repeat(1, [&](Classic& f) {
                                 f.record(0x00F7, {0x300, -1}, entries).record(0x0234, {0});
                                 for (int i = 0; i < 4000; ++i) f.record(0x001E, {}).record(0x0037, {0, 1}, Bytes().u32(i));
                             })};
    for (const Classic& file : files) {
        SCOPED_TRACE(&file - files);
        const Bytes bytes = file.file();
        std::thread([&] {
            Sheet s;
            const HMETAFILE metafile = SetMetaFileBitsEx(static_cast<UINT>(bytes.size()), bytes.data());
            ASSERT_TRUE(metafile);
            const RECT box{0, 0, 100, 100}, target{0, 0, side, side};
            const int64_t before = mostHeld = held;
            KbPlayMetaFile(s.dc, metafile, &box, &target);
            EXPECT_LT(mostHeld - before, int64_t{80'000'000} + static_cast<int64_t>(bytes.size()) * 17);
            DeleteMetaFile(metafile);
        }).join();
    }
}

} // namespace
