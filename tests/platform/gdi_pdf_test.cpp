// Pages of PDF documents: what stands in the file, read by a small reader of its own: objects, and their streams inflated.
#include "platform/gdi.h"
#include "platform/sys.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <libdeflate.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

BOOL append(void* out, const void* bytes, size_t count) {
    static_cast<std::string*>(out)->append(static_cast<const char*>(bytes), count);
    return TRUE;
}

std::string inflated(const std::string& packed) {
    const std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor*)> inflater(
        libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    std::string out(1024, 0);
    for (;;) {
        size_t used = 0, made = 0;
        const auto result = libdeflate_zlib_decompress_ex(inflater.get(), packed.data(), packed.size(), out.data(),
                                                          out.size(), &used, &made);
        if (result == LIBDEFLATE_INSUFFICIENT_SPACE) {
            out.resize(out.size() * 2);
            continue;
        }
        EXPECT_EQ(result, LIBDEFLATE_SUCCESS);
        out.resize(made);
        return out;
    }
}

struct PdfObject {
    std::string head, stream; // stream: inflated
    bool is(const char* what) const { return head.find(what) != std::string::npos; }
};

std::vector<PdfObject> readObjects(const std::string& file) {
    std::vector<PdfObject> objects;
    for (size_t at = 0; (at = file.find(" 0 obj\n", at)) != std::string::npos;) {
        at += 7;
        const size_t end = file.find("endobj", at), stream = file.find("stream\n", at);
        if (stream < end) {
            const size_t streamEnd = file.find("endstream", stream + 7);
            const std::string head = file.substr(at, stream - at);
            const bool packed = head.find("/FlateDecode") != std::string::npos;
            const std::string bytes = file.substr(stream + 7, streamEnd - stream - 7);
            objects.push_back({head, packed ? inflated(bytes) : bytes});
            at = streamEnd;
        } else {
            objects.push_back({file.substr(at, end - at), {}});
        }
    }
    return objects;
}

struct Document {
    std::string file;
    HDC dc = KbCreatePdfDC(append, &file);
    std::vector<PdfObject> objects;

    Document() = default;
    Document(int width, int height) { EXPECT_TRUE(KbStartPdfPage(dc, width, height, 72, 72)); } // pixels are points
    void close() {
        EXPECT_TRUE(KbClosePdfDC(dc));
        objects = readObjects(file);
    }
    size_t count(const char* what) const {
        size_t n = 0;
        for (const PdfObject& o : objects) n += o.is(what);
        return n;
    }
    // What the pages and their groups draw, without line breaks and without what all pages begin with.
    std::string drawing() const {
        std::string all;
        for (const PdfObject& o : objects)
            if (!o.stream.empty() && !o.is("/Subtype /Image") && !o.is("/Length1") && !o.is("/Subtype /Type1C") &&
                o.stream.find("begincmap") == std::string::npos)
                all += o.stream;
        for (char& c : all)
            if (c == '\n') c = ' ';
        return all;
    }
    bool draws(const std::string& what) const { return drawing().find(what) != std::string::npos; }
};

struct Selected {
    HDC dc;
    HGDIOBJ object, former;
    Selected(HDC hDC, HGDIOBJ o) : dc(hDC), object(o), former(SelectObject(hDC, o)) {}
    Selected(const Selected&) = delete;
    Selected& operator=(const Selected&) = delete;
    ~Selected() {
        SelectObject(dc, former);
        DeleteObject(object);
    }
};

TEST(PdfPage, PagesHaveTheirOwnSizes) {
    Document d;
    EXPECT_FALSE(Rectangle(d.dc, 0, 0, 5, 5)) << "there is no page yet";
    EXPECT_TRUE(KbStartPdfPage(d.dc, 2480, 3508, 300, 300));
    EXPECT_EQ(GetDeviceCaps(d.dc, HORZRES), 2480);
    SaveDC(d.dc), SetROP2(d.dc, R2_XORPEN);
    EXPECT_TRUE(Rectangle(d.dc, 0, 0, 5, 5));
    EXPECT_TRUE(KbStartPdfPage(d.dc, 204, 98, 204, 98));
    EXPECT_EQ(GetROP2(d.dc), R2_COPYPEN) << "as new";
    EXPECT_FALSE(RestoreDC(d.dc, -1));
    EXPECT_EQ(GetDeviceCaps(d.dc, LOGPIXELSY), 98);
    EXPECT_EQ(GetDeviceCaps(d.dc, TECHNOLOGY), DT_RASPRINTER);
    EXPECT_TRUE(KbStartPdfPage(d.dc, 1, 1, 32767, 1));
    const struct {
        int width, height, dpiX, dpiY;
    } refused[] = {{0, 5, 72, 72},  {5, 0, 72, 72},    {(1 << 20) + 1, 5, 300, 300}, {5, 5, 0, 72}, {5, 5, 72, 32768},
                   {-5, 5, 72, 72}, {1 << 20, 5, 1, 1}};
    for (const auto& r : refused) EXPECT_FALSE(KbStartPdfPage(d.dc, r.width, r.height, r.dpiX, r.dpiY)) << r.width;
    d.close();
    EXPECT_EQ(d.count("/Type /Page %"), 3u);
    EXPECT_EQ(d.count("/MediaBox [ 0 0 595.200012 841.919983 ]") + d.count("/MediaBox [ 0 0 595.2 841.92 ]"), 1u);
    EXPECT_EQ(d.count("/MediaBox [ 0 0 72 72 ]"), 1u);
    EXPECT_EQ(d.file.find("CreationDate"), std::string::npos);
}

TEST(PdfPage, FiguresCoverTheirPixels) {
    static const POINT triangle[] = {{10, 20}, {50, 20}, {10, 60}};
    static const INT counts[] = {3};
    const struct {
        const char* name;
        void (*draw)(HDC);
        const char* operators;
    } rows[] = {
        {"bare rectangle leaves a row and column out",
         [](HDC dc) { SelectObject(dc, GetStockObject(NULL_PEN)), Rectangle(dc, 10, 20, 41, 61); }, " 10 20 30 40 re f"},
        {"outlined rectangle runs through the middles of its pixels", [](HDC dc) { Rectangle(dc, 10, 20, 41, 61); },
         "10.5 20.5 30 40 re S"},
        {"even pens sit on the corner",
         [](HDC dc) {
             const Selected pen(dc, CreatePen(PS_SOLID, 4, 0x0000FF));
             Rectangle(dc, 10, 20, 41, 61);
         },
         "1 0 0 RG 4 w 1 J 1 j [] 0.0 d 1.5 M 10 20 30 40 re"},
        {"pens inside the frame",
         [](HDC dc) {
             const Selected pen(dc, CreatePen(PS_INSIDEFRAME, 5, 0));
             Rectangle(dc, 10, 20, 41, 61);
         },
         "12.5 22.5 26 36 re S"},
        {"lines leave their last pixel out", [](HDC dc) { MoveToEx(dc, 10, 20, nullptr), LineTo(dc, 30, 20); },
         "10 20.5 m 30 20.5 l S"},
        {"slanted lines too", [](HDC dc) { MoveToEx(dc, 30, 20, nullptr), LineTo(dc, 10, 30); }, "31 20.25 m 11 30.25 l S"},
        {"wide lines have round ends",
         [](HDC dc) {
             const Selected pen(dc, CreatePen(PS_SOLID, 3, 0));
             Polyline(dc, triangle, 3);
         },
         "1 J 1 j [] 0.0 d 1.5 M 10.5 20.5 m 50.5 20.5 l 10.5 60.5 l S"},
        {"dashes in pen widths",
         [](HDC dc) {
             const Selected pen(dc, CreatePen(PS_DASHDOT, 2, 0));
             SetBkMode(dc, TRANSPARENT), Polyline(dc, triangle, 2);
         },
         "[ 18 12 6 12] 0 d"},
        {"polygons", [](HDC dc) { SelectObject(dc, GetStockObject(NULL_PEN)), PolyPolygon(dc, triangle, counts, 1); },
         "10 20 m 50 20 l 10 60 l h 10 20 m f*"},
        {"mapped",
         [](HDC dc) {
             SetMapMode(dc, MM_ANISOTROPIC), SetViewportExtEx(dc, 2, -2, nullptr), SetViewportOrgEx(dc, 0, 90, nullptr);
             SelectObject(dc, GetStockObject(NULL_PEN)), Rectangle(dc, 5, 35, 20, 15);
         },
         "10 20 29 39 re f"},
        {"pixel", [](HDC dc) { SetPixel(dc, 7, 8, 0x00FF00); }, "0 1 0 rg 7 8 1 1 re f"},
        {"filled box ignores the mode",
         [](HDC dc) {
             const RECT r{1, 2, 30, 40};
             SetROP2(dc, R2_NOT), FillRect(dc, &r, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
         },
         "0 0 0 rg 1 2 29 38 re f"},
        {"region",
         [](HDC dc) {
             const HRGN a = CreateRectRgn(1, 2, 5, 6), b = CreateRectRgn(3, 6, 9, 8);
             CombineRgn(a, a, b, RGN_OR);
             PaintRgn(dc, a);
             DeleteObject(a), DeleteObject(b);
         },
         "1 2 m 5 2 l 5 6 l 1 6 l h 3 6 m 9 6 l 9 8 l 3 8 l h 3 6 m f"},
        {"frame",
         [](HDC dc) {
             const RECT r{1, 2, 30, 40};
             FrameRect(dc, &r, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
         },
         "1 2 m 30 2 l 30 3 l 1 3 l h 1 39 m 30 39 l 30 40 l 1 40 l h 1 3 m 2 3 l 2 39 l 1 39 l h 29 3 m 30 3 l 30 39 l 29 "
         "39 l h"},
        {"clip box",
         [](HDC dc) {
             IntersectClipRect(dc, 10, 10, 20, 20);
             SelectObject(dc, GetStockObject(NULL_PEN)), Ellipse(dc, 0, 0, 91, 91);
         },
         "10 10 10 10 re W n"},
        {"clip region",
         [](HDC dc) {
             const HRGN a = CreateRectRgn(0, 0, 90, 90), b = CreateRectRgn(10, 10, 20, 20);
             CombineRgn(a, a, b, RGN_DIFF);
             SelectClipRgn(dc, a);
             SelectObject(dc, GetStockObject(NULL_PEN)), Ellipse(dc, 0, 0, 91, 91);
             DeleteObject(a), DeleteObject(b);
         },
         "20 10 m 90 10 l 90 20 l 20 20 l h 0 10 m 10 10 l 10 20 l 0 20 l h 0 20 m 90 20 l 90 90 l 0 90 l h 0 20 m W n"},
        {"hatches are lines",
         [](HDC dc) {
             const RECT r{0, 0, 16, 16};
             const HBRUSH brush = CreateHatchBrush(HS_CROSS, 0xFF0000);
             SetBkMode(dc, TRANSPARENT), SetBrushOrgEx(dc, 1, 2, nullptr), FillRect(dc, &r, brush);
             DeleteObject(brush);
         },
         "0 6.5 m 16 6.5 l 0 14.5 m 16 14.5 l 5.5 0 m 5.5 16 l 13.5 0 m 13.5 16 l  S"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Document d(100, 100);
        row.draw(d.dc);
        d.close();
        EXPECT_TRUE(d.draws(row.operators)) << d.drawing();
    }
}

TEST(PdfPage, RasterModesAreBlendModes) {
    const struct {
        int mode;
        const char* blends; // besides Normal
    } rows[] = {{R2_BLACK, ""},
                {R2_COPYPEN, ""},
                {R2_NOTCOPYPEN, ""},
                {R2_NOP, ""},
                {R2_MASKPEN, "Multiply"},
                {R2_MASKNOTPEN, "Multiply"},
                {R2_MERGEPEN, "Screen"},
                {R2_XORPEN, "Difference"},
                {R2_NOT, "Difference"},
                {R2_NOTMERGEPEN, "Difference Multiply"},
                {R2_MERGEPENNOT, "Difference Screen"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mode);
        Document d(100, 100);
        SetROP2(d.dc, row.mode);
        Rectangle(d.dc, 10, 10, 30, 30);
        d.close();
        std::string all;
        for (const PdfObject& o : d.objects) all += o.head;
        for (const char* blend : {"Multiply", "Screen", "Difference"})
            EXPECT_EQ(all.find(std::string("/BM /") + blend) != std::string::npos, std::strstr(row.blends, blend) != nullptr)
                << blend;
        EXPECT_EQ(d.draws(" re S"), row.mode != R2_NOP) << d.drawing();
        // Outline and inside are put together first, so that no pixel is blended twice.
        EXPECT_EQ(d.count("/Subtype /Form") > 0, *row.blends != 0);
    }
}

struct Image {
    static constexpr int side = 16;
    std::vector<uint8_t> pixels;
    BITMAPINFOHEADER header{sizeof header, side, -side, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    explicit Image(int seed) : pixels(side * side * 3) {
        for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i * 7 + static_cast<size_t>(seed));
    }
    int paint(HDC dc, int x, int y, int size, DWORD rop = SRCCOPY) const {
        return StretchDIBits(dc, x, y, size, size, 0, 0, side, side, pixels.data(),
                             reinterpret_cast<const BITMAPINFO*>(&header), DIB_RGB_COLORS, rop);
    }
};

TEST(PdfPage, EqualImagesAreEmbeddedOnce) {
    Document d(100, 100);
    const Image image(1), copy(1), other(2);
    EXPECT_EQ(image.paint(d.dc, 0, 0, 16), 16);
    EXPECT_EQ(copy.paint(d.dc, 50, 0, -40), 16);
    // The same pixels as a bitmap, by another call, under another mode.
    const HDC memory = CreateCompatibleDC(d.dc);
    const HBITMAP bitmap = CreateCompatibleBitmap(d.dc, 16, 16);
    SelectObject(memory, bitmap);
    image.paint(memory, 0, 0, 16);
    EXPECT_TRUE(StretchBlt(d.dc, 20, 20, 32, 8, memory, 0, 0, 16, 16, SRCAND));
    EXPECT_FALSE(BitBlt(memory, 0, 0, 9, 9, d.dc, 0, 0, SRCCOPY)) << "a page has no pixels to read";
    EXPECT_TRUE(KbStartPdfPage(d.dc, 50, 50, 72, 72));
    image.paint(d.dc, 0, 0, 50);
    other.paint(d.dc, 0, 0, 10);
    d.close();
    DeleteDC(memory), DeleteObject(bitmap);
    EXPECT_EQ(d.count("/Subtype /Image"), 2u);
    std::string rgb(image.pixels.begin(), image.pixels.end());
    for (size_t i = 0; i < rgb.size(); i += 3) std::swap(rgb[i], rgb[i + 2]);
    size_t found = 0;
    for (const PdfObject& o : d.objects) found += o.stream == rgb;
    EXPECT_EQ(found, 1u) << "every pixel as it was given";
}

TEST(PdfPage, OneBitStaysOneBit) {
    Document d(100, 100);
    struct {
        BITMAPINFOHEADER header{sizeof header, 64, 64, 1, 1, BI_RGB, 0, 0, 0, 0, 0};
        RGBQUAD colors[2] = {{0, 0, 255, 0}, {255, 255, 0, 0}};
    } dib;
    uint8_t rows[64 * 8];
    for (size_t i = 0; i < sizeof rows; ++i) rows[i] = static_cast<uint8_t>(i * 37);
    EXPECT_EQ(StretchDIBits(d.dc, 5, 5, 64, 64, 0, 0, 64, 64, rows, reinterpret_cast<const BITMAPINFO*>(&dib),
                            DIB_RGB_COLORS, SRCCOPY),
              64);
    d.close();
    ASSERT_EQ(d.count("/Subtype /Image"), 1u);
    for (const PdfObject& o : d.objects) {
        if (!o.is("/Subtype /Image")) continue;
        EXPECT_TRUE(o.is("/ImageMask true"));
        EXPECT_EQ(o.stream.size(), sizeof rows);
    }
    EXPECT_TRUE(d.draws("1 0 0 rg")) << "both colours of the table";
    EXPECT_TRUE(d.draws("0 1 1 rg"));
}

// What a clip region hides of an image isn't in the file.
TEST(PdfPage, AnImageThroughARegionHasAMask) {
    Document d(100, 100);
    const Image image(3);
    const HRGN a = CreateRectRgn(0, 0, 8, 8), b = CreateRectRgn(8, 8, 16, 16);
    CombineRgn(a, a, b, RGN_OR);
    ExtSelectClipRgn(d.dc, a, RGN_AND);
    image.paint(d.dc, 0, 0, 16);
    d.close();
    DeleteObject(a), DeleteObject(b);
    EXPECT_EQ(d.count("/SMask "), 1u);
    EXPECT_EQ(d.count("/Subtype /Image"), 2u) << "colours and mask";
    for (const PdfObject& o : d.objects) {
        if (!o.is("/DeviceRGB") || !o.is("/Subtype /Image")) continue;
        ASSERT_EQ(o.stream.size(), image.pixels.size());
        for (size_t i = 0; i < 16 * 16; ++i) {
            const bool shown = (i % 16 < 8) == (i / 16 < 8);
            EXPECT_EQ(static_cast<uint8_t>(o.stream[3 * i]), shown ? image.pixels[3 * i + 2] : 0) << i;
        }
    }
}

TEST(PdfPage, TextIsText) {
    Document d(300, 100);
    SetBkMode(d.dc, TRANSPARENT);
    {
        const Selected font(d.dc, CreateFontA(-16, 0, 0, 0, 400, 0, 1, 0, 1, 0, 0, 0, 0, "Arial"));
        EXPECT_TRUE(TextOutA(d.dc, 10, 20, "Page \x80", 6));
        const Selected turned(d.dc, CreateFontA(-16, 0, 900, 900, 400, 0, 0, 0, 1, 0, 0, 0, 0, "Arial"));
        SetTextAlign(d.dc, TA_BASELINE);
        EXPECT_TRUE(TextOutA(d.dc, 200, 90, "Up", 2));
    }
    d.close();
    EXPECT_EQ(d.count("/FontFile2"), 1u) << "one face, embedded";
    const auto meanings = [](const Document& document) {
        std::string map;
        for (const PdfObject& o : document.objects)
            if (o.stream.find("begincmap") != std::string::npos) map += o.stream;
        return map;
    };
    std::string map = meanings(d);
    for (const char* code : {"<0050>", "<0061>", "<20ac>", "<0055>"}) EXPECT_NE(map.find(code), std::string::npos) << code;
    EXPECT_TRUE(d.draws("16 0 0 -16 10 ")) << d.drawing(); // the em, pointing up, at the pen's place
    EXPECT_TRUE(d.draws("0 -16 -16 0 200 90 Tm")) << d.drawing();
    // Characters that a face lacks come from others, the letters of pictorial faces are what they show, and half a pair
    // ends no page.
    Document others(300, 100);
    {
        const Selected font(others.dc, CreateFontA(-16, 0, 0, 0, 400, 0, 0, 0, 1, 0, 0, 0, 0, "Arial"));
        const uint16_t plane[] = {'A', 0x2708, 0xD800};
        EXPECT_TRUE(ExtTextOutW(others.dc, 10, 20, 0, nullptr, plane, 3, nullptr));
        const Selected greek(others.dc, CreateFontA(-16, 0, 0, 0, 400, 0, 0, 0, SYMBOL_CHARSET, 0, 0, 0, 0, "Symbol"));
        EXPECT_TRUE(TextOutA(others.dc, 100, 20, "a", 1));
    }
    others.close();
    EXPECT_GE(others.count("LiberationSans"), 1u);
    EXPECT_GE(others.count("DejaVuSans"), 1u);
    map = meanings(others);
    for (const char* code : {"<0041>", "<2708>", "<03b1>"}) EXPECT_NE(map.find(code), std::string::npos) << code;
    // Without any face the strokes are lines.
    KbUseBuiltInFont(TRUE);
    Document strokes(100, 100);
    EXPECT_TRUE(TextOutA(strokes.dc, 10, 20, "Hl", 2));
    KbUseBuiltInFont(FALSE);
    strokes.close();
    EXPECT_EQ(strokes.count("/Type /Font"), 0u);
    EXPECT_TRUE(strokes.draws(" l S")) << strokes.drawing();
}

void busyPage(HDC dc) {
    const Selected pen(dc, CreatePen(PS_DOT, 3, 0x00FF00)), brush(dc, CreateHatchBrush(HS_DIAGCROSS, 0xFF));
    Image(5).paint(dc, 10, 10, 30, SRCINVERT);
    Ellipse(dc, 5, 5, 80, 70);
    SetROP2(dc, R2_XORPEN);
    Pie(dc, 20, 20, 90, 90, 90, 50, 20, 20);
    RoundRect(dc, 3, 3, 60, 40, 9, 9);
    TextOutA(dc, 10, 50, "The same bytes", 14);
}

// What isn't a character must not take the rest of the page with it.
TEST(PdfPage, TextThatIsNoneLeavesThePageWhole) {
    for (const int unit : {0xD800, 0xDFFF, 0xFDD0, 0xFDEF, 0xFFFE, 0xFFFF}) {
        SCOPED_TRACE(unit);
        Document d(100, 100);
        const uint16_t text[] = {'a', static_cast<uint16_t>(unit), 'b'};
        EXPECT_TRUE(ExtTextOutW(d.dc, 10, 10, 0, nullptr, text, 3, nullptr));
        EXPECT_TRUE(Rectangle(d.dc, 10, 60, 90, 90));
        EXPECT_TRUE(KbStartPdfPage(d.dc, 50, 50, 72, 72));
        d.close();
        EXPECT_NE(d.drawing().find(" re"), std::string::npos);
    }
}

TEST(PdfPage, EqualDrawingsAreEqualBytes) {
    std::string files[2];
    for (std::string& file : files) {
        Document d(100, 100);
        busyPage(d.dc);
        EXPECT_TRUE(KbStartPdfPage(d.dc, 90, 90, 72, 72));
        busyPage(d.dc);
        d.close();
        file = d.file;
    }
    EXPECT_EQ(files[0], files[1]);
}

// Coordinates that the page's library can't number are cut, and don't come round again on the page.
TEST(PdfPage, FarCoordinatesAreCut) {
    Document d(100, 100);
    constexpr int far = INT32_MAX;
    const POINT star[] = {{0, 0}, {far, -far}, {50, 100}, {-far, far}};
    const Selected pen(d.dc, CreatePen(PS_SOLID, far, 0x00FF00));
    for (const int style : {WHITE_PEN, NULL_PEN, -1}) {
        if (style >= 0) SelectObject(d.dc, GetStockObject(style));
        EXPECT_TRUE(Polygon(d.dc, star, 4));
        EXPECT_TRUE(Polyline(d.dc, star, 4));
        EXPECT_TRUE(Rectangle(d.dc, -far, 10, far, far));
        EXPECT_TRUE(Ellipse(d.dc, -far, -far, 60, far));
        EXPECT_TRUE(RoundRect(d.dc, -far, -far, 60, far, far, 3));
        EXPECT_TRUE(Chord(d.dc, -far, -far, far, far, 0, 5, 5, 0));
        EXPECT_TRUE(Image(1).paint(d.dc, -far, 0, far));
        EXPECT_TRUE(TextOutA(d.dc, far, -far, "far", 3));
        SelectObject(d.dc, pen.object);
    }
    IntersectClipRect(d.dc, -far, -far, far, 50);
    EXPECT_TRUE(Ellipse(d.dc, 5, 5, 60, 60));
    d.close();
    std::istringstream words(d.drawing());
    for (std::string word; words >> word;) {
        char* end = nullptr;
        const double v = std::strtod(word.c_str(), &end);
        if (*end == 0) {
            EXPECT_LE(std::abs(v), 8'000'000) << word;
        }
    }
}

struct Disk {
    size_t room, written = 0;
    int refused = 0;
    static BOOL write(void* self, const void*, size_t count) {
        auto* disk = static_cast<Disk*>(self);
        if (count > disk->room - disk->written) return ++disk->refused, FALSE;
        disk->written += count;
        return TRUE;
    }
};

TEST(PdfPage, AFailedWriteEndsTheDocument) {
    Disk whole{SIZE_MAX};
    const auto draw = [](Disk& disk) {
        const HDC dc = KbCreatePdfDC(Disk::write, &disk);
        bool good = KbStartPdfPage(dc, 100, 100, 72, 72);
        if (good) busyPage(dc);
        good = KbStartPdfPage(dc, 100, 100, 72, 72) && good;
        if (good) busyPage(dc);
        const bool closed = KbClosePdfDC(dc);
        EXPECT_EQ(GetObjectType(dc), 0u);
        return closed && good;
    };
    EXPECT_TRUE(draw(whole));
    for (size_t room = 0; room < whole.written; room += whole.written / 40 + 1) {
        Disk full{room};
        EXPECT_FALSE(draw(full)) << room;
        EXPECT_EQ(full.refused, 1) << "nothing more is asked for";
    }
    Disk last{whole.written - 1};
    EXPECT_FALSE(draw(last));
}

TEST(PdfPage, ThrownAwayOrEmptyNothingIsWritten) {
    Disk disk{SIZE_MAX};
    HDC dc = KbCreatePdfDC(Disk::write, &disk);
    EXPECT_TRUE(KbStartPdfPage(dc, 100, 100, 72, 72));
    busyPage(dc);
    const size_t before = disk.written;
    EXPECT_TRUE(DeleteDC(dc));
    EXPECT_EQ(disk.written, before);
    Disk empty{SIZE_MAX};
    dc = KbCreatePdfDC(Disk::write, &empty);
    EXPECT_FALSE(KbClosePdfDC(dc));
    EXPECT_EQ(empty.written, 0u);
    EXPECT_EQ(KbCreatePdfDC(nullptr, nullptr), nullptr);
    const HDC memory = CreateCompatibleDC(nullptr);
    EXPECT_FALSE(KbClosePdfDC(memory));
    EXPECT_FALSE(KbStartPdfPage(memory, 5, 5, 72, 72));
    DeleteDC(memory);
}

} // namespace
