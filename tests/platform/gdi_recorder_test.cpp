// Recording contexts: the records that calls make, word by word; object slots, saved states, clips, limits, lost memory.
#include "platform/gdi.h"
#include "platform/sys.h"

#include <cstring>
#include <gtest/gtest.h>
#include <new>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::vector<uint8_t> bytesOf(HMETAFILE metafile) {
    std::vector<uint8_t> bytes(GetMetaFileBitsEx(metafile, 0, nullptr));
    GetMetaFileBitsEx(metafile, static_cast<UINT>(bytes.size()), bytes.data());
    return bytes;
}

int16_t wordAt(const std::vector<uint8_t>& bytes, size_t at) {
    int16_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

struct Recording {
    HDC dc = CreateMetaFileA(nullptr);
    std::vector<uint8_t> bytes;

    // The records without the one at the end: function in hexadecimal, parameters as signed words, "; " between records.
    // What stands behind `most` words of a record is left out.
    std::string close(size_t most = 64) {
        const HMETAFILE metafile = CloseMetaFile(dc);
        if (!metafile) return "lost";
        bytes = bytesOf(metafile);
        // It must pass the check that files from outside pass.
        const HMETAFILE checked = SetMetaFileBitsEx(static_cast<UINT>(bytes.size()), bytes.data());
        EXPECT_TRUE(checked);
        DeleteMetaFile(checked), DeleteMetaFile(metafile);
        std::ostringstream out;
        uint32_t largest = 0;
        for (size_t at = 18; at + 6 <= bytes.size();) {
            uint32_t size;
            std::memcpy(&size, &bytes[at], sizeof size);
            largest = std::max(largest, size);
            const auto function = static_cast<uint16_t>(wordAt(bytes, at + 4));
            if (function) {
                out << (at > 18 ? "; " : "") << std::hex << function << std::dec;
                for (size_t i = 3; i < std::min<size_t>(size, most + 3); ++i) out << ' ' << wordAt(bytes, at + 2 * i);
            } else {
                EXPECT_EQ(size, 3u);
                EXPECT_EQ(at + 6, bytes.size()) << "the end record is the last";
            }
            at += size_t{size} * 2;
        }
        const uint32_t header[3] = {static_cast<uint32_t>(bytes.size() / 2), largest, 0x00090001};
        EXPECT_EQ(std::memcmp(&bytes[0], &header[2], 4), 0) << "in memory, nine words of header";
        EXPECT_EQ(wordAt(bytes, 4), 0x300);
        EXPECT_EQ(std::memcmp(&bytes[6], &header[0], 4), 0) << "size";
        EXPECT_EQ(std::memcmp(&bytes[12], &header[1], 4), 0) << "largest record";
        return out.str();
    }
    int objects() const { return wordAt(bytes, 10); }
};

constexpr POINT points[] = {{1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}};

TEST(Recorder, CallsBecomeTheirRecords) {
    static constexpr RECT r{1, 2, 30, 40};
    static const INT counts[] = {3, 2};
    static const DWORD lengths[] = {2, 3};
    static const INT dx[] = {7, 8, 9};
    const struct {
        const char* name;
        void (*call)(HDC);
        const char* records;
    } rows[] = {
        {"background mode", [](HDC dc) { SetBkMode(dc, TRANSPARENT); }, "102 1"},
        {"map mode", [](HDC dc) { SetMapMode(dc, MM_ANISOTROPIC); }, "103 8"},
        {"raster mode", [](HDC dc) { SetROP2(dc, R2_XORPEN); }, "104 7"},
        {"fill mode", [](HDC dc) { SetPolyFillMode(dc, WINDING); }, "106 2"},
        {"stretch mode", [](HDC dc) { SetStretchBltMode(dc, COLORONCOLOR); }, "107 3"},
        {"colours", [](HDC dc) { SetTextColor(dc, 0x123456), SetBkColor(dc, 0xFFFFFF); }, "209 13398 18; 201 -1 255"},
        {"alignment", [](HDC dc) { SetTextAlign(dc, TA_CENTER | TA_BASELINE); }, "12e 30"},
        {"window under MM_TEXT", [](HDC dc) { SetWindowOrgEx(dc, 3, -4, nullptr), SetWindowExtEx(dc, 500, 600, nullptr); },
         "20b -4 3; 20c 600 500"},
        {"viewport", [](HDC dc) { SetViewportOrgEx(dc, 3, 4, nullptr), SetViewportExtEx(dc, 5, 6, nullptr); },
         "20d 4 3; 20e 6 5"},
        {"a refused mode", [](HDC dc) { SetROP2(dc, 99), SetMapMode(dc, 0), SetWindowExtEx(dc, 0, 1, nullptr); }, ""},
        {"lines", [](HDC dc) { MoveToEx(dc, 1, 2, nullptr), LineTo(dc, 3, 4), PolylineTo(dc, points + 2, 2); },
         "214 2 1; 213 4 3; 213 6 5; 213 8 7"},
        {"polyline", [](HDC dc) { Polyline(dc, points, 3); }, "325 3 1 2 3 4 5 6"},
        {"polylines", [](HDC dc) { PolyPolyline(dc, points, lengths, 2); }, "325 2 1 2 3 4; 325 3 5 6 7 8 9 10"},
        {"polygon", [](HDC dc) { Polygon(dc, points, 3); }, "324 3 1 2 3 4 5 6"},
        {"polygons", [](HDC dc) { PolyPolygon(dc, points, counts, 2); }, "538 2 3 2 1 2 3 4 5 6 7 8 9 10"},
        {"rectangle", [](HDC dc) { Rectangle(dc, 1, 2, 30, 40); }, "41b 40 30 2 1"},
        {"round rectangle", [](HDC dc) { RoundRect(dc, 1, 2, 30, 40, 5, 6); }, "61c 6 5 40 30 2 1"},
        {"ellipse", [](HDC dc) { Ellipse(dc, 1, 2, 30, 40); }, "418 40 30 2 1"},
        {"arc", [](HDC dc) { Arc(dc, 1, 2, 30, 40, 5, 6, 7, 8); }, "817 8 7 6 5 40 30 2 1"},
        {"chord", [](HDC dc) { Chord(dc, 1, 2, 30, 40, 5, 6, 7, 8); }, "830 8 7 6 5 40 30 2 1"},
        {"pie", [](HDC dc) { Pie(dc, 1, 2, 30, 40, 5, 6, 7, 8); }, "81a 8 7 6 5 40 30 2 1"},
        {"pixel", [](HDC dc) { SetPixel(dc, 3, 4, 0x0000FF); }, "41f 255 0 4 3"},
        {"pattern blit", [](HDC dc) { PatBlt(dc, 1, 2, 30, 40, PATCOPY); }, "61d 33 240 40 30 2 1"},
        {"inverted box", [](HDC dc) { InvertRect(dc, &r); }, "61d 9 85 38 29 2 1"},
        {"filled box selects its brush, then the context's own",
         [](HDC dc) { FillRect(dc, &r, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH))); },
         "2fc 0 0 0 0; 12d 0; 61d 33 240 38 29 2 1; 2fc 0 -1 255 0; 12d 1"},
        {"text", [](HDC dc) { TextOutA(dc, 5, 6, "A\x80z", 3); }, "521 3 -32703 122 6 5"},
        {"text with places", [](HDC dc) { ExtTextOutA(dc, 5, 6, 0, nullptr, "abc", 3, dx); }, "a32 6 5 3 0 25185 99 7 8 9"},
        {"text in a box", [](HDC dc) { ExtTextOutA(dc, 5, 6, ETO_OPAQUE | ETO_CLIPPED, &r, "ab", 2, nullptr); },
         "a32 6 5 2 6 1 2 30 40 25185"},
        {"clip boxes", [](HDC dc) { IntersectClipRect(dc, 1, 2, 30, 40), ExcludeClipRect(dc, 5, 6, 7, 8); },
         "416 40 30 2 1; 415 8 7 6 5"},
        {"clip moved and taken away", [](HDC dc) { OffsetClipRgn(dc, 3, 4), SelectClipRgn(dc, nullptr); }, "220 4 3; 12c 0"},
        {"coordinates beyond 16 bits are held", [](HDC dc) { Rectangle(dc, -70000, -32768, 32767, 70000); },
         "41b 32767 32767 -32768 -32768"},
        {"nothing", [](HDC) {}, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Recording recording;
        row.call(recording.dc);
        EXPECT_EQ(recording.close(), row.records);
    }
}

TEST(Recorder, ObjectsAreWrittenWhenFirstSelected) {
    Recording recording;
    const HDC dc = recording.dc;
    const HPEN pen = CreatePen(PS_DOT, 5, 0x010203);
    const HBRUSH hatched = CreateHatchBrush(HS_CROSS, 0x00FF00);
    LOGFONTA logical{};
    logical.lfHeight = -12, logical.lfWeight = 700, logical.lfItalic = 1, logical.lfPitchAndFamily = 0x22;
    std::strcpy(logical.lfFaceName, "Arial");
    const HFONT font = CreateFontIndirectA(&logical);
    const uint16_t bits[2] = {0x80, 0x40};
    const HBITMAP bitmap = CreateBitmap(2, 2, 1, 1, bits);
    const HBRUSH pattern = CreatePatternBrush(bitmap);
    SelectObject(dc, pen), SelectObject(dc, pen), SelectObject(dc, hatched), SelectObject(dc, font);
    const HGDIOBJ stock = SelectObject(dc, GetStockObject(BLACK_PEN));
    EXPECT_EQ(stock, pen);
    SelectObject(dc, pen);
    SelectObject(dc, pattern);
    EXPECT_EQ(recording.close(), "2fa 2 5 0 515 1; 12d 0; "
                                 "2fc 2 -256 0 4; 12d 1; "
                                 "2fb -12 0 0 0 700 1 0 0 8704 29249 24937 108; 12d 2; "
                                 "2fa 0 0 0 0 0; 12d 3; 12d 0; "
                                 // one bit, so that it takes the context's colours; the last row first
                                 "142 3 0 40 0 2 0 2 0 1 1 0 0 8 0 0 0 0 0 2 0 0 0 0 0 -1 255 64 0 128 0; 12d 4");
    EXPECT_EQ(recording.objects(), 5);
    for (const HGDIOBJ object : {HGDIOBJ(pen), HGDIOBJ(hatched), HGDIOBJ(font), HGDIOBJ(bitmap), HGDIOBJ(pattern)})
        EXPECT_TRUE(DeleteObject(object));
}

TEST(Recorder, SlotsOfDeletedObjectsAreUsedAgainLowestFirst) {
    Recording recording;
    const HDC dc = recording.dc;
    const HGDIOBJ black = GetStockObject(BLACK_PEN);
    SelectObject(dc, black); // 0
    HPEN pens[3];
    for (HPEN& pen : pens) SelectObject(dc, pen = CreatePen(PS_SOLID, 1, 0)); // 1, 2, 3
    SaveDC(dc);                                                               // holds 3
    for (const HPEN pen : pens) DeleteObject(pen);
    SelectObject(dc, black);
    const HBRUSH brush = CreateSolidBrush(7);
    SelectObject(dc, brush); // 1; 3 is still held by the saved state
    RestoreDC(dc, -1);
    SelectObject(dc, black);
    const HBRUSH second = CreateSolidBrush(8);
    SelectObject(dc, second); // 2; 3 is let go of
    EXPECT_EQ(recording.close(), "2fa 0 0 0 0 0; 12d 0; 2fa 0 1 0 0 0; 12d 1; 2fa 0 1 0 0 0; 12d 2; 2fa 0 1 0 0 0; 12d 3; "
                                 "1e; 12d 0; 1f0 1; 1f0 2; 2fc 0 7 0 0; 12d 1; 127 -1; 12d 0; 1f0 3; 2fc 0 8 0 0; 12d 2");
    EXPECT_EQ(recording.objects(), 4);
    DeleteObject(brush), DeleteObject(second);
}

// A long drawing that makes objects for each figure must not grow the table, nor look through a large one each time.
TEST(Recorder, ShortLivedObjectsTakeFewSlots) {
    Recording recording;
    std::vector<HPEN> kept;
    for (int i = 0; i < 200; ++i) {
        kept.push_back(CreatePen(PS_SOLID, i, 0));
        SelectObject(recording.dc, kept.back());
    }
    const HGDIOBJ black = GetStockObject(BLACK_PEN);
    for (int i = 0; i < 20'000; ++i) {
        const HPEN pen = CreatePen(PS_SOLID, 1, static_cast<COLORREF>(i));
        SelectObject(recording.dc, pen);
        SelectObject(recording.dc, black);
        DeleteObject(pen);
    }
    recording.close();
    EXPECT_LT(recording.objects(), 512);
    for (const HPEN pen : kept) DeleteObject(pen);
}

TEST(Recorder, SavedStatesAreLeftByTheirDistance) {
    Recording recording;
    EXPECT_EQ(SaveDC(recording.dc), 1);
    EXPECT_EQ(SaveDC(recording.dc), 2);
    EXPECT_EQ(SaveDC(recording.dc), 3);
    EXPECT_FALSE(RestoreDC(recording.dc, 4));
    EXPECT_TRUE(RestoreDC(recording.dc, 2));
    EXPECT_TRUE(RestoreDC(recording.dc, -1));
    EXPECT_EQ(recording.close(), "1e; 1e; 1e; 127 -2; 127 -1");
}

TEST(Recorder, RegionsLiveForOneCall) {
    Recording recording;
    const HDC dc = recording.dc;
    const HRGN region = CreateRectRgn(10, 20, 30, 40), more = CreateRectRgn(15, 30, 50, 60);
    CombineRgn(region, region, more, RGN_OR);
    const HBRUSH brush = CreateSolidBrush(5);
    FillRgn(dc, region, brush);
    InvertRgn(dc, more);
    FrameRgn(dc, more, brush, 2, 3);
    const std::string whole = "6ff 0 6 0 0 58 3 2 10 20 50 60 2 20 30 10 30 2 2 30 40 10 50 2 2 40 60 15 50 2";
    const std::string part = "6ff 0 6 0 0 34 1 2 15 30 50 60 2 30 60 15 50 2";
    EXPECT_EQ(recording.close(),
              "2fc 0 5 0 0; " + whole + "; 228 1 0; 1f0 1; " + part + "; 12a 1; 1f0 1; " + part + "; 429 1 0 3 2; 1f0 1");
    // As a clip a region never stands in slot 0, which would take the clip away.
    Recording clipped;
    SelectClipRgn(clipped.dc, more);
    EXPECT_EQ(clipped.close(), "2fa 5 0 0 0 0; " + part + "; 12c 1; 1f0 1; 1f0 0");
    // It comes in device units and is kept in logical ones.
    Recording mapped;
    SetWindowOrgEx(mapped.dc, 100, -200, nullptr);
    SelectClipRgn(mapped.dc, more);
    EXPECT_EQ(mapped.close(), "20b -200 100; 2fa 5 0 0 0 0; 6ff 0 6 0 0 34 1 2 115 -170 150 -140 2 -170 -140 115 150 2; "
                              "12c 1; 1f0 1; 1f0 0");
    DeleteObject(region), DeleteObject(more), DeleteObject(brush);
}

struct Dib {
    BITMAPINFOHEADER header{};
    RGBQUAD colors[2] = {{1, 2, 3, 0}, {4, 5, 6, 0}};
    explicit Dib(int width, int height, WORD bits) {
        header = {sizeof header, width, height, 1, bits, BI_RGB, 0, 0, 0, 0, 0};
    }
    const BITMAPINFO* info() const { return reinterpret_cast<const BITMAPINFO*>(&header); }
};

TEST(Recorder, ImagesKeepTheRowsThatAreRead) {
    const std::string head1 = "40 0 3 0 2 0 1 1 0 0 8 0 0 0 0 0 2 0 0 0 513 3 1284 6 "; // three by two, two colours
    Recording recording;
    const HDC dc = recording.dc;
    const uint8_t rows[4][4] = {{0x80}, {0x40}, {0x20}, {0xA0}}; // from the bottom up
    const Dib upright(3, 4, 1), topDown(3, -4, 1);
    EXPECT_EQ(StretchDIBits(dc, 5, 6, 30, 20, 1, 1, 2, 2, rows, upright.info(), DIB_RGB_COLORS, SRCCOPY), 2);
    EXPECT_EQ(StretchDIBits(dc, 5, 6, -30, 20, 0, 1, 3, 2, rows, topDown.info(), DIB_RGB_COLORS, SRCAND), 2);
    EXPECT_EQ(SetDIBitsToDevice(dc, 5, 6, 3, 2, 0, 0, 0, 2, rows, upright.info(), DIB_RGB_COLORS), 2);
    EXPECT_TRUE(StretchDIBits(dc, 0, 0, 9, 9, 9, 9, 3, 3, rows, upright.info(), DIB_RGB_COLORS, SRCCOPY)) << "outside";
    EXPECT_EQ(recording.close(), "f43 32 204 0 2 2 0 1 20 30 6 5 " + head1 + "64 0 32 0; " +
                                     "f43 198 136 0 2 3 0 0 20 -30 6 5 " + head1 + "32 0 64 0; " + "d33 0 2 0 0 0 2 3 6 5 " +
                                     head1 + "128 0 64 0");
    // A memory context's pixels; those of one bit have the recording's colours.
    Recording blits;
    const HDC memory = CreateCompatibleDC(blits.dc);
    const uint16_t bits[2] = {0x40, 0x80};
    const HBITMAP bitmap = CreateBitmap(2, 2, 1, 1, bits);
    SelectObject(memory, bitmap);
    SetTextColor(blits.dc, 0x030201);
    EXPECT_TRUE(BitBlt(blits.dc, 5, 6, 2, 2, memory, 0, 0, SRCCOPY));
    EXPECT_TRUE(BitBlt(blits.dc, 5, 6, 2, 2, memory, 0, 0, WHITENESS));
    EXPECT_FALSE(BitBlt(memory, 0, 0, 2, 2, blits.dc, 0, 0, SRCCOPY)) << "has no pixels";
    EXPECT_EQ(blits.close(), "209 513 3; f43 32 204 0 2 2 0 0 2 2 6 5 40 0 2 0 2 0 1 1 0 0 8 0 0 0 0 0 2 0 0 0 515 1 -1 255 "
                             "128 0 64 0; 61d 98 255 2 2 6 5");
    DeleteDC(memory), DeleteObject(bitmap);
}

// Metafiles scale, regions in them don't: an image through a region becomes an AND mask and an OR.
TEST(Recorder, AnImageThroughARegionIsMasked) {
    Recording recording;
    const HDC dc = recording.dc;
    const HRGN region = CreateRectRgn(0, 0, 2, 2), more = CreateRectRgn(2, 2, 4, 4);
    CombineRgn(region, region, more, RGN_OR);
    const uint8_t rows[2][8] = {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}};
    const Dib dib(2, -2, 24);
    SaveDC(dc);
    EXPECT_EQ(ExtSelectClipRgn(dc, region, RGN_AND), COMPLEXREGION);
    EXPECT_EQ(StretchDIBits(dc, 0, 0, 4, 4, 0, 0, 2, 2, rows, dib.info(), DIB_RGB_COLORS, SRCCOPY), 2);
    RestoreDC(dc, -1);
    const std::string at = "0 2 2 0 0 4 4 0 0 40 0 2 0 2 0 1 ";
    EXPECT_EQ(recording.close(), "1e; f43 198 136 " + at + "1 0 0 8 0 0 0 0 0 2 0 0 0 0 0 -1 255 191 0 127 0; " + // mask
                                     "f43 134 238 " + at + "24 0 0 16 0 0 0 0 0 0 0 0 0 0 2560 3083 0 513 3 0 0; " +
                                     "127 -1");
    // Anything else drawn through it gets the region itself.
    Recording shapes;
    SaveDC(shapes.dc);
    ExtSelectClipRgn(shapes.dc, region, RGN_AND);
    Rectangle(shapes.dc, 0, 0, 9, 9);
    RestoreDC(shapes.dc, -1);
    Rectangle(shapes.dc, 0, 0, 9, 9);
    EXPECT_EQ(shapes.close(), "1e; 2fa 5 0 0 0 0; 6ff 0 6 0 0 46 2 2 0 0 4 4 2 0 2 0 2 2 2 2 4 2 4 2; 12c 1; 1f0 1; 1f0 0; "
                              "41b 9 9 0 0; 127 -1; 41b 9 9 0 0");
    DeleteObject(region), DeleteObject(more);
}

// A record's bytes mean what the charset of the font says.
TEST(Recorder, TextIsWrittenInTheFontsCharset) {
    const uint16_t cyrillic[] = {'A', 0x0416}, kanji[] = {'A', 0x65E5, 'b'};
    const INT dx[] = {7, 8, 9};
    const auto font = [](DWORD charset) { return CreateFontA(-12, 0, 0, 0, 400, 0, 0, 0, charset, 0, 0, 0, 0, "Arial"); };
    const std::string face = " 29249 24937 108";
    const auto created = [&](int charset) { return "2fb -12 0 0 0 400 0 " + std::to_string(charset * 256) + " 0 0" + face; };
    const struct {
        const char* name;
        DWORD charset;
        const uint16_t* text;
        UINT count;
        std::string records;
    } rows[] = {
        {"its own, one byte each", 204, cyrillic, 2, created(204 - 256) + "; 12d 0; 12e 24; a32 6 5 2 0 -14783 7 8"},
        {"pairs of bytes, the first one has the width", 128, kanji, 3,
         created(128 - 256) + "; 12d 0; 12e 24; a32 6 5 4 0 -27839 25338 7 8 0 9"},
        {"a piece in a font that has it, on the base line, and everything as before", 0, cyrillic, 2,
         created(0) + "; 12d 0; 12e 24; 12e 24; " + created(204 - 256) +
             "; 12d 1; a32 6 5 2 0 -14783 7 8; 12d 0; 1f0 1; 12e 24"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Recording recording;
        const HFONT made = font(row.charset);
        SelectObject(recording.dc, made);
        SetTextAlign(recording.dc, TA_BASELINE);
        EXPECT_TRUE(ExtTextOutW(recording.dc, 5, 6, 0, nullptr, row.text, row.count, dx));
        EXPECT_EQ(recording.close(), row.records);
        DeleteObject(made);
    }
}

TEST(Recorder, AClipThatIsHeldBackMovesAlong) {
    const HRGN region = CreateRectRgn(0, 0, 2, 2), more = CreateRectRgn(2, 2, 4, 4);
    CombineRgn(region, region, more, RGN_OR);
    const uint8_t rows[2][8] = {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}};
    const Dib dib(2, -2, 24);
    const auto draw = [&](HDC dc, int x) {
        ExtSelectClipRgn(dc, region, RGN_AND);
        if (x) OffsetClipRgn(dc, x, 0);
        EXPECT_EQ(StretchDIBits(dc, 0, 0, 4, 4, 0, 0, 2, 2, rows, dib.info(), DIB_RGB_COLORS, SRCCOPY), 2);
    };
    Recording moved, shifted;
    draw(moved.dc, 2);
    OffsetRgn(region, 2, 0);
    draw(shifted.dc, 0);
    EXPECT_EQ(moved.close(), "220 0 2; " + shifted.close());
    DeleteObject(region), DeleteObject(more);
}

// What the file has no room for is refused, and what is drawn afterwards is there.
TEST(Recorder, WhatHasNoRoomIsRefusedAlone) {
    Recording bands;
    std::vector<uint32_t> memory(8 + 4 * 40'000);
    auto* data = reinterpret_cast<RGNDATA*>(memory.data());
    data->rdh = {sizeof(RGNDATAHEADER), RDH_RECTANGLES, 40'000, 0, {}};
    for (int i = 0; i < 40'000; ++i) {
        const RECT box{i % 2, i, 9, i + 1};
        std::memcpy(data->Buffer + sizeof box * static_cast<size_t>(i), &box, sizeof box);
    }
    const HRGN region = ExtCreateRegion(nullptr, static_cast<DWORD>(memory.size() * 4), data);
    for (const int mode : {RGN_AND, RGN_COPY}) {
        SaveDC(bands.dc);
        EXPECT_EQ(ExtSelectClipRgn(bands.dc, region, mode), COMPLEXREGION);
        EXPECT_FALSE(Rectangle(bands.dc, 1, 2, 3, 4));
        RestoreDC(bands.dc, -1);
        EXPECT_TRUE(Rectangle(bands.dc, 5, 6, 7, 8));
    }
    EXPECT_FALSE(PaintRgn(bands.dc, region));
    EXPECT_EQ(bands.close(), "1e; 2fa 5 0 0 0 0; 1f0 0; 127 -1; 41b 8 7 6 5; 1e; 2fa 5 0 0 0 0; 1f0 0; 2fa 5 0 0 0 0; "
                             "1f0 0; 127 -1; 41b 8 7 6 5");
    DeleteObject(region);

    Recording slots;
    std::vector<HPEN> pens;
    for (int i = 0; i < INT16_MAX; ++i) {
        pens.push_back(CreatePen(PS_SOLID, 1, static_cast<COLORREF>(i)));
        ASSERT_TRUE(SelectObject(slots.dc, pens.back()));
    }
    const HBRUSH brush = CreateSolidBrush(1);
    EXPECT_FALSE(SelectObject(slots.dc, brush));
    EXPECT_TRUE(Rectangle(slots.dc, 5, 6, 7, 8));
    EXPECT_NE(slots.close(), "lost");
    DeleteObject(brush);
    for (const HPEN pen : pens) DeleteObject(pen);
}

TEST(Recorder, LongChainsAreSplitAndLongPolygonsRefused) {
    Recording recording;
    const std::vector<POINT> chain(70'000, POINT{3, 4});
    EXPECT_TRUE(Polyline(recording.dc, chain.data(), 70'000));
    EXPECT_FALSE(Polygon(recording.dc, chain.data(), 70'000));
    EXPECT_TRUE(Polygon(recording.dc, chain.data(), 32'767));
    EXPECT_FALSE(TextOutA(recording.dc, 0, 0, std::string(32'768, 'x').c_str(), 32'768));
    EXPECT_EQ(recording.close(3), "325 32767 3 4; 325 32767 3 4; 325 4468 3 4; 324 32767 3 4"); // ends are shared
}

TEST(Recorder, AnswersQuestionsLikeAScreen) {
    Recording recording;
    const HDC dc = recording.dc, screen = GetDC(nullptr);
    EXPECT_EQ(GetObjectType(dc), DWORD{OBJ_METADC});
    EXPECT_EQ(GetDeviceCaps(dc, TECHNOLOGY), DT_METAFILE);
    for (const int caps : {LOGPIXELSX, LOGPIXELSY, HORZRES}) EXPECT_EQ(GetDeviceCaps(dc, caps), GetDeviceCaps(screen, caps));
    SIZE here, there;
    EXPECT_TRUE(GetTextExtentPoint32A(dc, "Measured", 8, &here));
    GetTextExtentPoint32A(screen, "Measured", 8, &there);
    EXPECT_EQ(here.cx, there.cx);
    EXPECT_EQ(GetPixel(dc, 0, 0), CLR_INVALID);
    RECT box;
    EXPECT_EQ(GetClipBox(dc, &box), SIMPLEREGION);
    EXPECT_LT(box.left, -70'000);
    EXPECT_GT(box.bottom, 70'000);
    IntersectClipRect(dc, 5, 6, 70, 80);
    GetClipBox(dc, &box);
    EXPECT_EQ(box.right, 70);
    EXPECT_TRUE(PtVisible(dc, 5, 6));
    EXPECT_EQ(SetPixel(dc, 70, 80, 0), CLR_INVALID) << "clipped";
    POINT p{5, 6};
    SetMapMode(dc, MM_ANISOTROPIC), SetViewportExtEx(dc, 10, 10, nullptr);
    EXPECT_TRUE(LPtoDP(dc, &p, 1));
    EXPECT_EQ(p.x, 50);
    // Text with TA_UPDATECP moves the position as on the screen.
    SetMapMode(dc, MM_TEXT), SetTextAlign(dc, TA_UPDATECP), MoveToEx(dc, 100, 50, nullptr);
    EXPECT_TRUE(TextOutA(dc, 0, 0, "Measured", 8));
    GetCurrentPositionEx(dc, &p);
    EXPECT_EQ(p.x, 100 + there.cx);
    EXPECT_EQ(CloseMetaFile(screen), nullptr);
    EXPECT_EQ(CreateMetaFileA("file.wmf"), nullptr);
    EXPECT_TRUE(DeleteDC(dc)) << "thrown away";
    EXPECT_EQ(CloseMetaFile(dc), nullptr);
    ReleaseDC(nullptr, screen);
}

} // namespace
