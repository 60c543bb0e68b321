// Images that our own writer never makes, made here by the libraries of the formats: inks and chroma in JPEG and TIFF, tiles,
// planes, words of grey, every orientation; whole and cut off.
#include "file_fixture.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <jpeglib.h>
#include <tiffio.h>

using namespace test;

namespace {

// Smooth, so that chroma at half resolution and quantising leave little trace.
uint8_t level(int x, int y, int channel) {
    const int v = channel == 0 ? 40 + x * 3 : channel == 1 ? 200 - y * 3 : channel == 2 ? 60 + x + y : 20 + x;
    return static_cast<uint8_t>(std::clamp(v, 0, 255));
}

struct Ink {
    int c, m, y, k;
};
COLORREF colorOf(const Ink& i) {
    const auto mixed = [&](int ink) { return (255 - ink) * (255 - i.k) / 255; };
    return RGB(mixed(i.c), mixed(i.m), mixed(i.y));
}

int distance(COLORREF a, COLORREF b) {
    return std::max({std::abs(GetRValue(a) - GetRValue(b)), std::abs(GetGValue(a) - GetGValue(b)),
                     std::abs(GetBValue(a) - GetBValue(b))});
}

template <class Expected>
void expectColors(const KernelBitmap& b, int width, int height, int tolerance, Expected&& expected) {
    ASSERT_EQ(b.Width, width);
    ASSERT_EQ(b.Height, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            ASSERT_LE(distance(K_GetBitmapPixel(&b, y, x), expected(x, y)), tolerance)
                << x << ',' << y << ": " << std::hex << K_GetBitmapPixel(&b, y, x) << " for " << expected(x, y);
}

// A load of every seventh length: refused with a code and an empty record, or a whole image.
void cutOff(const Bytes& whole) {
    for (size_t size = 0; size < whole.size(); size += 7) {
        Image cut;
        const int result = load(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)), cut);
        if (result == SUCCESS) {
            ASSERT_GE(size + 400, whole.size()) << "no picture without its data";
        } else {
            ASSERT_LE(result, 0) << size;
            ASSERT_EQ(cut.b.Allocated, 0u) << size;
        }
    }
}

Bytes jpegOf(int width, int height, J_COLOR_SPACE in, J_COLOR_SPACE stored, int channels, bool marker, bool inverted) {
    jpeg_compress_struct jpeg;
    jpeg_error_mgr errors;
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &memory, &size);
    jpeg.image_width = static_cast<JDIMENSION>(width);
    jpeg.image_height = static_cast<JDIMENSION>(height);
    jpeg.input_components = channels;
    jpeg.in_color_space = in;
    jpeg_set_defaults(&jpeg);
    jpeg_set_colorspace(&jpeg, stored);
    jpeg_set_quality(&jpeg, 100, TRUE);
    jpeg.write_Adobe_marker = marker;
    jpeg_start_compress(&jpeg, TRUE);
    Bytes row(static_cast<size_t>(width * channels));
    for (int y = 0; y < height; ++y) {
        for (int i = 0; i < width * channels; ++i) {
            const uint8_t v = level(i / channels, y, i % channels);
            row[static_cast<size_t>(i)] = inverted ? static_cast<uint8_t>(255 - v) : v;
        }
        JSAMPROW p = row.data();
        jpeg_write_scanlines(&jpeg, &p, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    const Bytes out(memory, memory + size);
    std::free(memory);
    return out;
}

TEST(ForeignJpeg, InksBecomeColours) {
    constexpr int width = 37, height = 21;
    const struct {
        const char* name;
        J_COLOR_SPACE stored;
        bool marker; // which says that inks are stored inverted
    } rows[] = {
        {"inks", JCS_CMYK, false}, {"inverted inks", JCS_CMYK, true}, {"chroma and black, inverted", JCS_YCCK, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Bytes bytes = jpegOf(width, height, JCS_CMYK, row.stored, 4, row.marker, row.marker);
        Image image;
        KernelFileInfo info{};
        ASSERT_EQ(load(bytes, image, &info), SUCCESS);
        EXPECT_EQ(info.nFormat, KB_FORMAT_JPEG);
        EXPECT_EQ(image.b.BitsPerPixel, 24);
        expectColors(image.b, width, height, row.stored == JCS_YCCK ? 8 : 4, [](int x, int y) {
            return colorOf({level(x, y, 0), level(x, y, 1), level(x, y, 2), level(x, y, 3)});
        });
        cutOff(bytes);
    }
}

struct Layout {
    const char* name;
    uint16_t photometric, samples, bits, planar, compression;
    bool tiled;
    int depth, tolerance;
};

// One sample of the picture in the layout's own terms.
uint32_t sampleOf(const Layout& l, int x, int y, int channel) {
    if (l.bits == 16) return static_cast<uint32_t>(x * 1723 + y * 409 + channel * 7001) & 0xFFFF;
    if (l.bits == 4) return static_cast<uint32_t>(x + y * 3) & 15;
    if (l.bits == 1) return static_cast<uint32_t>(x * y + x / 3) & 1;
    if (l.photometric == PHOTOMETRIC_YCBCR)
        return channel == 0 ? level(x, y, 0) : static_cast<uint32_t>(channel == 1 ? 90 : 170);
    return level(x, y, channel);
}

COLORREF expectedOf(const Layout& l, int x, int y) {
    const auto s = [&](int channel) {
        const uint32_t v = sampleOf(l, x, y, channel);
        return static_cast<int>(l.bits == 16 ? v >> 8 : l.bits == 4 ? v * 17 : l.bits == 1 ? v * 255 : v);
    };
    switch (l.photometric) {
    case PHOTOMETRIC_SEPARATED: return colorOf({s(0), s(1), s(2), s(3)});
    case PHOTOMETRIC_MINISWHITE: return RGB(255 - s(0), 255 - s(0), 255 - s(0));
    case PHOTOMETRIC_RGB: return RGB(s(0), s(1), s(2));
    case PHOTOMETRIC_YCBCR: {
        const double luma = s(0), cb = s(1) - 128, cr = s(2) - 128;
        const auto clip = [](double v) { return static_cast<int>(std::clamp(v + 0.5, 0.0, 255.0)); };
        return RGB(clip(luma + 1.402 * cr), clip(luma - 0.344136 * cb - 0.714136 * cr), clip(luma + 1.772 * cb));
    }
    default: return RGB(s(0), s(0), s(0));
    }
}

// Packs the samples x0 .. x0 + width - 1 of one row, of all channels or of one.
Bytes packRow(const Layout& l, int x0, int width, int y, int plane) {
    const int channels = plane < 0 ? l.samples : 1;
    Bytes row(static_cast<size_t>((width * channels * l.bits + 7) / 8));
    for (int i = 0; i < width * channels; ++i) {
        const uint32_t v = sampleOf(l, x0 + i / channels, y, plane < 0 ? i % channels : plane);
        setRaw(row, l.bits, i, v); // words go to the library in the machine's order
    }
    return row;
}

Bytes tiffOf(const Layout& l, int width, int height, uint16_t orientation) {
    const TemporaryFile file;
    TIFF* tiff = TIFFOpen(file.path.c_str(), "w");
    if (!tiff) return {};
    const auto set = [&](uint32_t tag, int value) { TIFFSetField(tiff, tag, value); };
    set(TIFFTAG_IMAGEWIDTH, width), set(TIFFTAG_IMAGELENGTH, height);
    set(TIFFTAG_BITSPERSAMPLE, l.bits), set(TIFFTAG_SAMPLESPERPIXEL, l.samples);
    set(TIFFTAG_PHOTOMETRIC, l.photometric), set(TIFFTAG_PLANARCONFIG, l.planar);
    set(TIFFTAG_COMPRESSION, l.compression), set(TIFFTAG_ORIENTATION, orientation);
    if (l.photometric == PHOTOMETRIC_YCBCR) TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 1, 1);
    const int planes = l.planar == PLANARCONFIG_SEPARATE ? l.samples : 1;
    if (l.tiled) {
        constexpr int tile = 16;
        set(TIFFTAG_TILEWIDTH, tile), set(TIFFTAG_TILELENGTH, tile);
        for (int plane = 0; plane < planes; ++plane)
            for (int top = 0; top < height; top += tile)
                for (int left = 0; left < width; left += tile) {
                    Bytes data(static_cast<size_t>(TIFFTileSize(tiff)));
                    for (int y = 0; y < tile; ++y) {
                        const Bytes row = packRow(l, left, tile, top + y, planes > 1 ? plane : -1);
                        std::copy(row.begin(), row.end(), data.begin() + static_cast<std::ptrdiff_t>(row.size()) * y);
                    }
                    TIFFWriteTile(tiff, data.data(), static_cast<uint32_t>(left), static_cast<uint32_t>(top), 0,
                                  static_cast<uint16_t>(plane));
                }
    } else {
        set(TIFFTAG_ROWSPERSTRIP, 5);
        for (int plane = 0; plane < planes; ++plane)
            for (int y = 0; y < height; ++y) {
                Bytes row = packRow(l, 0, width, y, planes > 1 ? plane : -1);
                TIFFWriteScanline(tiff, row.data(), static_cast<uint32_t>(y), static_cast<uint16_t>(plane));
            }
    }
    TIFFClose(tiff);
    return file.read();
}

TEST(ForeignTiff, TilesPlanesInksAndChroma) {
    constexpr uint16_t together = PLANARCONFIG_CONTIG, apart = PLANARCONFIG_SEPARATE;
    const Layout layouts[] = {
        {"grey", PHOTOMETRIC_MINISBLACK, 1, 8, together, COMPRESSION_LZW, false, 8, 0},
        {"grey in words", PHOTOMETRIC_MINISBLACK, 1, 16, together, COMPRESSION_NONE, false, 16, 0},
        {"grey in words, white is 0", PHOTOMETRIC_MINISWHITE, 1, 16, together, COMPRESSION_NONE, false, 16, 1},
        {"four bits, white is 0", PHOTOMETRIC_MINISWHITE, 1, 4, together, COMPRESSION_PACKBITS, false, 4, 0},
        {"one bit, white is 0", PHOTOMETRIC_MINISWHITE, 1, 1, together, COMPRESSION_CCITTFAX4, false, 1, 0},
        {"colour", PHOTOMETRIC_RGB, 3, 8, together, COMPRESSION_LZW, false, 24, 0},
        {"colour in planes", PHOTOMETRIC_RGB, 3, 8, apart, COMPRESSION_LZW, false, 24, 0},
        {"words of colour in planes", PHOTOMETRIC_RGB, 3, 16, apart, COMPRESSION_ADOBE_DEFLATE, false, 24, 0},
        {"inks", PHOTOMETRIC_SEPARATED, 4, 8, together, COMPRESSION_LZW, false, 24, 2},
        {"inks in planes", PHOTOMETRIC_SEPARATED, 4, 8, apart, COMPRESSION_NONE, false, 24, 2},
        {"plain inks", PHOTOMETRIC_SEPARATED, 4, 8, together, COMPRESSION_NONE, false, 24, 2},
        {"chroma", PHOTOMETRIC_YCBCR, 3, 8, together, COMPRESSION_NONE, false, 24, 2},
    };
    constexpr int width = 37, height = 21;
    for (const bool tiled : {false, true})
        for (Layout l : layouts) {
            if (tiled && l.compression == COMPRESSION_CCITTFAX4) l.compression = COMPRESSION_NONE;
            l.tiled = tiled;
            SCOPED_TRACE(testing::Message() << l.name << (tiled ? " in tiles" : " in strips"));
            const Bytes bytes = tiffOf(l, width, height, ORIENTATION_TOPLEFT);
            ASSERT_FALSE(bytes.empty());
            Image image;
            ASSERT_EQ(load(bytes, image), SUCCESS);
            EXPECT_EQ(image.b.BitsPerPixel, l.depth);
            expectColors(image.b, width, height, l.tolerance, [&](int x, int y) { return expectedOf(l, x, y); });
            if (l.bits == 16 && l.samples == 1) {
                const uint32_t stored = sampleOf(l, 5, 6, 0);
                const uint32_t want = l.photometric == PHOTOMETRIC_MINISWHITE ? 0xFFFF - stored : stored;
                EXPECT_EQ(rawAt(image.b, 6, 5), want) << "all sixteen bits";
            }
            cutOff(bytes);
        }
}

// What the eye sees must be the same however the rows are stored.
TEST(ForeignTiff, OrientationsTellHowTheImageIsSeen) {
    constexpr int width = 19, height = 11;
    // Place of a stored pixel as seen, by the orientation's definition: which side the first row and column are.
    const struct {
        uint16_t orientation;
        bool swaps, right, bottom;
    } rows[] = {{ORIENTATION_TOPLEFT, false, false, false}, {ORIENTATION_TOPRIGHT, false, true, false},
                {ORIENTATION_BOTRIGHT, false, true, true},  {ORIENTATION_BOTLEFT, false, false, true},
                {ORIENTATION_LEFTTOP, true, false, false},  {ORIENTATION_RIGHTTOP, true, true, false},
                {ORIENTATION_RIGHTBOT, true, true, true},   {ORIENTATION_LEFTBOT, true, false, true}};
    for (const uint16_t photometric : {uint16_t{PHOTOMETRIC_RGB}, uint16_t{PHOTOMETRIC_SEPARATED}})
        for (const auto& row : rows) {
            const Layout l{"",
                           photometric,
                           static_cast<uint16_t>(photometric == PHOTOMETRIC_RGB ? 3 : 4),
                           8,
                           PLANARCONFIG_CONTIG,
                           COMPRESSION_LZW,
                           false,
                           24,
                           2};
            SCOPED_TRACE(testing::Message() << "orientation " << row.orientation << " samples " << l.samples);
            Image image;
            ASSERT_EQ(load(tiffOf(l, width, height, row.orientation), image), SUCCESS);
            const auto colors = colorsViewed(image.b);
            const int seenWidth = row.swaps ? height : width, seenHeight = row.swaps ? width : height;
            ASSERT_EQ(colors.size(), static_cast<size_t>(seenWidth * seenHeight));
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    int u = row.swaps ? y : x, v = row.swaps ? x : y;
                    if (row.right) u = seenWidth - 1 - u;
                    if (row.bottom) v = seenHeight - 1 - v;
                    ASSERT_LE(distance(colors[static_cast<size_t>(v * seenWidth + u)], expectedOf(l, x, y)), 2)
                        << x << ',' << y;
                }
        }
}

} // namespace
