// Blits between all depths, with and without pattern, stretched and mirrored, against the slow model.
#include "platform/gdi.h"
#include "tests/oracle/pixel_model.h"

#include <cstring>
#include <gtest/gtest.h>
#include <random>

namespace {

struct Surface {
    int width, height, bits, stride;
    std::vector<uint8_t> bytes;
    HDC dc;
    Surface(int w, int h, int depth, std::mt19937& random) : width(w), height(h), bits(depth), stride((w * depth + 7) / 8) {
        bytes.resize(static_cast<size_t>(stride * h));
        for (auto& b : bytes) b = static_cast<uint8_t>(random());
        dc = KbCreateSurfaceDC(bytes.data(), w, h, stride, depth, nullptr, 0);
    }
    ~Surface() { DeleteDC(dc); }
    uint32_t get(int x, int y) const {
        const uint8_t* row = bytes.data() + y * stride;
        if (bits == 1) return row[x / 8] >> (7 - x % 8) & 1u;
        uint32_t v = 0;
        for (int i = 0; i < bits / 8; ++i) v |= static_cast<uint32_t>(row[x * bits / 8 + i]) << 8 * i;
        return v;
    }
    std::vector<uint32_t> all() const {
        std::vector<uint32_t> v;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) v.push_back(get(x, y));
        return v;
    }
};

TEST(GdiBlit, AllTernaryOperationsAtAllDepths) {
    std::mt19937 random(3);
    for (const int bits : {1, 8, 24, 32})
        for (uint32_t code = 0; code < 256; ++code) {
            Surface to(19, 9, bits, random), from(23, 11, bits, random);
            const uint32_t used = bits == 32 ? ~0u : (1u << bits) - 1;
            const auto before = to.all();
            const int level = bits == 1 ? 255 : static_cast<int>(random() & 255); // a grey is its own index at eight bits
            const uint32_t pattern = bits == 1   ? 1u
                                     : bits == 8 ? static_cast<uint32_t>(level)
                                                 : static_cast<uint32_t>(level) * 0x010101u;
            const HGDIOBJ old = SelectObject(to.dc, CreateSolidBrush(RGB(level, level, level)));
            IntersectClipRect(to.dc, 3, 1, 17, 8);
            ExcludeClipRect(to.dc, 8, 3, 10, 5);
            ASSERT_TRUE(BitBlt(to.dc, 2, 2, 14, 6, from.dc, 5, 3, code << 16 | 0x1234));
            DeleteObject(SelectObject(to.dc, old));
            for (int y = 0; y < 9; ++y)
                for (int x = 0; x < 19; ++x) {
                    const bool hit = x >= 3 && x < 16 && y >= 2 && y < 8 && !(x >= 8 && x < 10 && y >= 3 && y < 5);
                    const uint32_t d = before[static_cast<size_t>(y * 19 + x)];
                    const uint32_t want = hit ? oracle::rop3(code, pattern, from.get(x + 3, y + 1), d, used) : d;
                    ASSERT_EQ(to.get(x, y), want) << "bits " << bits << " code " << code << " at " << x << ',' << y;
                }
        }
}

// A destination pixel takes the source pixel under its middle, also mirrored; what lies outside the source is left alone.
TEST(GdiBlit, StretchesAndMirrors) {
    const struct {
        const char* name;
        int x, y, w, h, sx, sy, sw, sh;
    } rows[] = {{"enlarged", 2, 1, 20, 18, 1, 2, 7, 5},
                {"shrunk", 3, 3, 5, 4, 0, 0, 11, 9},
                {"mirrored sideways", 20, 2, -15, 9, 1, 1, 9, 7},
                {"source turned", 2, 18, 12, -12, 10, 8, -8, -6},
                {"beyond the source", 0, 0, 24, 20, -3, -2, 16, 14},
                {"beyond the target", -6, -5, 40, 33, 0, 0, 11, 9}};
    for (const int bits : {1, 8, 24, 32})
        for (const auto& row : rows) {
            SCOPED_TRACE(testing::Message() << row.name << " at " << bits);
            std::mt19937 random(5);
            Surface to(24, 20, bits, random), from(11, 9, bits, random);
            const auto before = to.all();
            SetStretchBltMode(to.dc, COLORONCOLOR);
            ASSERT_TRUE(StretchBlt(to.dc, row.x, row.y, row.w, row.h, from.dc, row.sx, row.sy, row.sw, row.sh, SRCCOPY));
            const auto source = [](int p, int start, int size, int from0, int fromSize) {
                const int i = size < 0 ? start - 1 - p : p - start;
                if (i < 0 || i >= std::abs(size)) return INT32_MIN;
                const int k = (2 * i + 1) * std::abs(fromSize) / (2 * std::abs(size));
                return fromSize < 0 ? from0 - 1 - k : from0 + k;
            };
            for (int y = 0; y < 20; ++y)
                for (int x = 0; x < 24; ++x) {
                    const int sx = source(x, row.x, row.w, row.sx, row.sw), sy = source(y, row.y, row.h, row.sy, row.sh);
                    const bool hit = sx >= 0 && sx < 11 && sy >= 0 && sy < 9;
                    ASSERT_EQ(to.get(x, y), hit ? from.get(sx, sy) : before[static_cast<size_t>(y * 24 + x)])
                        << x << ',' << y;
                }
        }
}

TEST(GdiBlit, OverlappingCopiesReadBeforeTheyWrite) {
    for (const int bits : {1, 8, 32})
        for (const POINT shift : {POINT{3, 0}, POINT{-3, 0}, POINT{0, 2}, POINT{0, -2}, POINT{2, 3}, POINT{-1, -4}}) {
            std::mt19937 random(9);
            Surface s(30, 20, bits, random);
            const auto before = s.all();
            BitBlt(s.dc, 6 + shift.x, 6 + shift.y, 15, 9, s.dc, 6, 6, SRCCOPY);
            for (int y = 0; y < 9; ++y)
                for (int x = 0; x < 15; ++x)
                    ASSERT_EQ(s.get(6 + shift.x + x, 6 + shift.y + y), before[static_cast<size_t>((6 + y) * 30 + 6 + x)])
                        << "bits " << bits << " shift " << shift.x << ',' << shift.y;
        }
}

TEST(GdiBlit, ColoursChangeBetweenDepths) {
    std::mt19937 random(1);
    const RGBQUAD palette[4] = {
        {0, 0, 0, 0}, {0, 0, 255, 0}, {0, 255, 0, 0}, {255, 255, 255, 0}}; // black, red, green, white
    uint8_t indices[4] = {1, 2, 3, 0};
    uint8_t mono[1] = {0xA0};
    uint32_t pixels[4];
    const HDC paletted = KbCreateSurfaceDC(indices, 4, 1, 4, 8, palette, 4),
              bitmap = KbCreateSurfaceDC(mono, 4, 1, 1, 1, nullptr, 0),
              color = KbCreateSurfaceDC(pixels, 4, 1, 16, 32, nullptr, 0);
    BitBlt(color, 0, 0, 4, 1, paletted, 0, 0, SRCCOPY);
    EXPECT_EQ((std::vector<uint32_t>(pixels, pixels + 4)), (std::vector<uint32_t>{0xFF0000, 0x00FF00, 0xFFFFFF, 0}));
    // One bit without colours: 0 takes the text colour, 1 the background colour, of the destination.
    SetTextColor(color, RGB(1, 2, 3));
    SetBkColor(color, RGB(200, 100, 50));
    BitBlt(color, 0, 0, 4, 1, bitmap, 0, 0, SRCCOPY);
    EXPECT_EQ((std::vector<uint32_t>(pixels, pixels + 4)), (std::vector<uint32_t>{0xC86432, 0x010203, 0xC86432, 0x010203}));
    // And back: the background colour of the source is 1.
    SetBkColor(color, RGB(1, 2, 3));
    BitBlt(bitmap, 0, 0, 4, 1, color, 0, 0, SRCCOPY);
    EXPECT_EQ(mono[0] & 0xF0, 0x50);
    pixels[0] = 0xFEFE10, pixels[1] = 0x30E010, pixels[2] = 0x200010, pixels[3] = 0xE01010;
    BitBlt(paletted, 0, 0, 4, 1, color, 0, 0, SRCCOPY);
    EXPECT_EQ((std::vector<int>(indices, indices + 4)), (std::vector<int>{3, 2, 0, 1})); // nearest entries
    pixels[0] = 0x89ABCDEF;
    uint32_t out[4] = {};
    const HDC other = KbCreateSurfaceDC(out, 4, 1, 16, 32, nullptr, 0);
    BitBlt(other, 0, 0, 1, 1, color, 0, 0, SRCCOPY);
    EXPECT_EQ(out[0], 0x89ABCDEFu) << "the spare byte travels with a copy";
    for (HDC dc : {paletted, bitmap, color, other}) DeleteDC(dc);
}

// Every depth of a device-independent bitmap, upright and top-down: the same three pixels in two rows come out.
TEST(GdiBlit, ReadsDeviceIndependentBitmaps) {
    struct Info {
        BITMAPINFOHEADER head{};
        RGBQUAD colors[256]{};
    };
    const uint32_t rgb[6] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF, 0x000000, 0xFF00FF};
    for (const int bits : {4, 8, 16, 24, 32})
        for (const bool topDown : {false, true})
            for (const bool masks : {false, true}) {
                if (masks && bits != 16 && bits != 32) continue;
                SCOPED_TRACE(testing::Message() << bits << " bits, top-down " << topDown << " masks " << masks);
                Info info;
                info.head = {40,
                             3,
                             topDown ? -2 : 2,
                             1,
                             static_cast<WORD>(bits),
                             static_cast<DWORD>(masks ? BI_BITFIELDS : BI_RGB),
                             0,
                             0,
                             0,
                             0,
                             0};
                const uint32_t mask565[3] = {0xF800, 0x07E0, 0x001F}, maskBgr[3] = {0x0000FF, 0x00FF00, 0xFF0000};
                if (masks)
                    std::memcpy(info.colors, bits == 16 ? mask565 : maskBgr, 12);
                else
                    for (unsigned i = 0; i < 6; ++i)
                        info.colors[i] = {static_cast<BYTE>(rgb[i]), static_cast<BYTE>(rgb[i] >> 8),
                                          static_cast<BYTE>(rgb[i] >> 16), 0};
                const int stride = (3 * bits + 31) / 32 * 4;
                std::vector<uint8_t> data(static_cast<size_t>(stride * 2));
                for (int i = 0; i < 6; ++i) {
                    const int x = i % 3, y = i / 3;
                    uint8_t* row = data.data() + stride * (topDown ? y : 1 - y);
                    const uint32_t c = rgb[i], r = c >> 19 & 31, g = c >> 8 & 255, b = c >> 3 & 31;
                    uint32_t v = static_cast<uint32_t>(i);
                    if (bits == 16) v = masks ? r << 11 | (g >> 2) << 5 | b : r << 10 | (g >> 3) << 5 | b;
                    if (bits >= 24) v = masks ? (c >> 16 & 0xFF) | (c & 0xFF00) | (c & 0xFF) << 16 : c;
                    if (bits == 4)
                        row[x / 2] = static_cast<uint8_t>(row[x / 2] | v << (x % 2 ? 0 : 4));
                    else
                        std::memcpy(row + x * bits / 8, &v, static_cast<size_t>(bits / 8));
                }
                uint32_t out[6] = {};
                const HDC dc = KbCreateSurfaceDC(out, 3, 2, 12, 32, nullptr, 0);
                EXPECT_EQ(StretchDIBits(dc, 0, 0, 3, 2, 0, 0, 3, 2, data.data(), reinterpret_cast<BITMAPINFO*>(&info),
                                        DIB_RGB_COLORS, SRCCOPY),
                          2);
                for (int i = 0; i < 6; ++i) EXPECT_EQ(out[i], rgb[i]) << i;
                // One row from the middle of a strip: row 1 from the bottom is the upper one of an upright image.
                std::fill(out, out + 6, 0x777777u);
                EXPECT_EQ(SetDIBitsToDevice(dc, 0, 0, 3, 2, 0, 0, 1, 1, data.data() + stride,
                                            reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS),
                          1);
                const int shown = topDown ? 3 : 0;
                for (int i = 0; i < 6; ++i) EXPECT_EQ(out[i], i >= shown && i < shown + 3 ? rgb[i] : 0x777777u) << i;
                DeleteDC(dc);
            }
}

TEST(GdiBlit, RefusesHeadersThatLie) {
    BITMAPINFO info{};
    uint8_t data[64] = {};
    uint32_t out[4] = {};
    const HDC dc = KbCreateSurfaceDC(out, 2, 2, 8, 32, nullptr, 0);
    const BITMAPINFOHEADER good{40, 2, 2, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    const struct {
        const char* name;
        void (*change)(BITMAPINFOHEADER&);
    } rows[] = {{"size", [](BITMAPINFOHEADER& h) { h.biSize = 39; }},
                {"depth", [](BITMAPINFOHEADER& h) { h.biBitCount = 12; }},
                {"no depth", [](BITMAPINFOHEADER& h) { h.biBitCount = 0; }},
                {"width", [](BITMAPINFOHEADER& h) { h.biWidth = -2; }},
                {"height", [](BITMAPINFOHEADER& h) { h.biHeight = 0; }},
                {"least height", [](BITMAPINFOHEADER& h) { h.biHeight = INT32_MIN; }},
                {"coding", [](BITMAPINFOHEADER& h) { h.biCompression = BI_RLE8; }}};
    for (const auto& row : rows) {
        info.bmiHeader = good;
        row.change(info.bmiHeader);
        EXPECT_EQ(StretchDIBits(dc, 0, 0, 2, 2, 0, 0, 2, 2, data, &info, DIB_RGB_COLORS, SRCCOPY), 0) << row.name;
    }
    DeleteDC(dc);
}

TEST(GdiBlit, BitmapsRoundTripThroughDeviceIndependentRows) {
    std::mt19937 random(21);
    const HDC screen = GetDC(nullptr);
    for (const UINT bits : {1u, 8u, 24u, 32u}) {
        struct {
            BITMAPINFOHEADER head;
            RGBQUAD colors[256];
        } info{{40, 13, 7, 1, static_cast<WORD>(bits), BI_RGB, 0, 0, 0, 0, 0}, {}};
        const HBITMAP from = CreateBitmap(13, 7, 1, bits, nullptr), to = CreateBitmap(13, 7, 1, bits, nullptr);
        const HDC dc = CreateCompatibleDC(nullptr);
        const HGDIOBJ old = SelectObject(dc, from);
        for (int i = 0; i < 40; ++i)
            SetPixel(dc, static_cast<int>(random() % 13), static_cast<int>(random() % 7), random() & 0xFFFFFF);
        std::vector<uint8_t> rows(4096);
        EXPECT_EQ(GetDIBits(screen, from, 0, 7, rows.data(), reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS), 7);
        EXPECT_EQ(SetDIBits(screen, to, 0, 7, rows.data(), reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS), 7);
        const HDC second = CreateCompatibleDC(nullptr);
        EXPECT_EQ(SelectObject(second, from), nullptr) << "a bitmap is in one context at a time";
        const HGDIOBJ old2 = SelectObject(second, to);
        int unlike = 0;
        for (int i = 0; i < 13 * 7; ++i) unlike += GetPixel(dc, i % 13, i / 13) != GetPixel(second, i % 13, i / 13);
        EXPECT_EQ(unlike, 0) << bits;
        SelectObject(dc, old), SelectObject(second, old2);
        DeleteDC(dc), DeleteDC(second), DeleteObject(from), DeleteObject(to);
    }
    ReleaseDC(nullptr, screen);
}

} // namespace
