// What is saved comes back: every format, depth, compression, perspective and odd width; and no cut-off file passes.
#include "file_fixture.h"

#include <gtest/gtest.h>

using namespace test;

namespace {

const char* formatName(int format) {
    return format == KB_FORMAT_TIFF ? "TIFF" : format == KB_FORMAT_PNG ? "PNG" : format == KB_FORMAT_BMP ? "BMP" : "JPEG";
}

// Depth of the record that comes back.
int expectedDepth(int format, int bits, int order, bool alpha) {
    if (format == KB_FORMAT_BMP) return bits == 12 || bits == 16 ? (order == KB_ORDER_GREY ? 8 : 24) : bits;
    if (bits == 16 && order != KB_ORDER_GREY) return 24;
    if (format == KB_FORMAT_PNG) return bits == 12 ? 16 : bits == 32 && !alpha ? 24 : bits;
    return bits;
}

TEST(RoundTrip, EveryDepthWidthAndPerspective) {
    struct Layout {
        int bits, order;
        bool palette, alpha;
    };
    const Layout layouts[] = {
        {1, KB_ORDER_GREY, false, false},  {1, KB_ORDER_BGR, true, false},    {4, KB_ORDER_BGR, false, false},
        {4, KB_ORDER_BGR, true, false},    {8, KB_ORDER_GREY, false, false},  {8, KB_ORDER_BGR, true, false},
        {12, KB_ORDER_GREY, false, false}, {16, KB_ORDER_GREY, false, false}, {16, KB_ORDER_BGR, false, false},
        {24, KB_ORDER_BGR, false, false},  {24, KB_ORDER_RGB, false, false},  {32, KB_ORDER_BGR, false, false},
        {32, KB_ORDER_BGR, false, true},   {32, KB_ORDER_RGB, false, true}};
    RGBQUAD palette[256];
    Random random(3);
    for (RGBQUAD& q : palette)
        q = {static_cast<BYTE>(random()), static_cast<BYTE>(random()), static_cast<BYTE>(random()), 0};
    for (const int format : {KB_FORMAT_TIFF, KB_FORMAT_PNG, KB_FORMAT_BMP}) {
        for (const Layout& l : layouts) {
            for (int width = 1; width <= 33; width += width < 9 ? 1 : 4) {
                const int perspective = width % 8 + 1;
                SCOPED_TRACE(::testing::Message()
                             << formatName(format) << " " << l.bits << " bits, order " << l.order << ", palette "
                             << l.palette << ", alpha " << l.alpha << ", " << width << " wide, perspective " << perspective);
                Image image, back;
                makeNoise(image, width, 6, l.bits, l.order, perspective, static_cast<uint32_t>(width * 7 + l.bits),
                          l.palette ? palette : nullptr);
                image.b.Alpha = l.alpha;
                image.b.XResolution = 300;
                image.b.YResolution = 204;
                const Bytes bytes = save(image.b, format);
                ASSERT_FALSE(bytes.empty());
                EXPECT_EQ(K_RecognizeFormat(bytes.data(), 16), format);
                KernelFileInfo info{}, header{};
                info.uFlags = header.uFlags = 0x1000;
                ASSERT_EQ(load(bytes, back, &info), SUCCESS);
                EXPECT_EQ(back.b.BitsPerPixel, expectedDepth(format, l.bits, l.order, l.alpha));
                // Where the sides are swapped in the file, so are the dots along them.
                const bool turned = format != KB_FORMAT_TIFF && perspective != 6 && perspective > 3;
                EXPECT_EQ(back.b.XResolution, turned ? 204 : 300);
                EXPECT_EQ(back.b.YResolution, turned ? 300 : 204);
                EXPECT_EQ(back.b.Alpha, l.alpha ? 1u : 0u);
                EXPECT_EQ(back.b.ViewPerspective, format == KB_FORMAT_TIFF  ? perspective
                                                  : format == KB_FORMAT_BMP ? KB_VIEW_BOTTOM_LEFT
                                                                            : KB_VIEW_TOP_LEFT);
                EXPECT_EQ(viewSize(back.b), viewSize(image.b));
                EXPECT_EQ(colorsViewed(back.b), colorsViewed(image.b));
                if (l.bits == back.b.BitsPerPixel && image.b.Order == back.b.Order) {
                    EXPECT_EQ(viewed(back.b), viewed(image.b));
                }
                ASSERT_EQ(K_MemoryFileInfo(bytes.data(), &header, bytes.size(), 0, 0), SUCCESS);
                EXPECT_EQ(std::memcmp(&header, &info, sizeof info), 0);
                EXPECT_EQ(info.nBitsPerPixel, back.b.BitsPerPixel);
                EXPECT_EQ(info.nWidth, back.b.Width);
                EXPECT_EQ(info.uFlags, 0x1000u);
                EXPECT_EQ(save(image.b, format), bytes); // the same bytes each time
            }
        }
    }
}

TEST(RoundTrip, TiffCompressions) {
    for (int compression = KB_COMPRESS_DEFAULT; compression <= KB_COMPRESS_JPEG; ++compression) {
        for (const int bits : allDepths) {
            for (const int width : {1, 8, 17, 33}) {
                SCOPED_TRACE(::testing::Message()
                             << "compression " << compression << ", " << bits << " bits, " << width << " wide");
                Image image, back;
                makeNoise(image, width, 70, bits, bits == 4 ? KB_ORDER_BGR : orderFor(bits), KB_VIEW_RIGHT_TOP, 6);
                int result = 0;
                const Bytes bytes = save(image.b, KB_FORMAT_TIFF, compression, &result);
                const bool fax = compression == KB_COMPRESS_G3 || compression == KB_COMPRESS_G4;
                const bool fits = fax ? bits == 1 : compression != KB_COMPRESS_JPEG || bits == 8 || bits == 24;
                EXPECT_EQ(result, fits ? SUCCESS : ERROR_FEATURE_NOT_SUPPORTED);
                if (result != SUCCESS) continue;
                KernelFileInfo info{};
                ASSERT_EQ(load(bytes, back, &info), SUCCESS);
                const int expected = compression ? compression : bits == 1 ? KB_COMPRESS_G4 : KB_COMPRESS_LZW;
                EXPECT_EQ(info.nCompression, expected);
                ASSERT_EQ(back.b.BitsPerPixel, bits);
                if (compression != KB_COMPRESS_JPEG) {
                    EXPECT_EQ(raws(back.b), raws(image.b));
                }
            }
        }
    }
    Image image;
    makeNoise(image, 4, 4, 8, 1, 1, 1);
    int result = 0;
    save(image.b, KB_FORMAT_TIFF, 8, &result);
    EXPECT_EQ(result, ERROR_FEATURE_NOT_SUPPORTED);
    save(image.b, KB_FORMAT_WMF, 0, &result);
    EXPECT_EQ(result, ERROR_FILE_FORMAT);
}

TEST(RoundTrip, JpegComesCloseAndKeepsItsKind) {
    for (const int bits : {1, 8, 16, 24, 32}) {
        for (const int format : {KB_FORMAT_JPEG, KB_FORMAT_TIFF}) {
            if (format == KB_FORMAT_TIFF && bits != 8 && bits != 24) continue;
            SCOPED_TRACE(::testing::Message() << bits << " bits, " << formatName(format));
            Image image, back;
            ASSERT_EQ(K_CreateBitmap(&image.b, 1, 37, 29, bits, orderFor(bits), nullptr, KB_VIEW_BOTTOM_LEFT, 0, 0),
                      SUCCESS);
            image.b.XResolution = image.b.YResolution = 150;
            std::vector<uint8_t> row(static_cast<size_t>(image.b.BytesPerLine));
            for (int y = 0; y < 29; ++y) {
                for (int x = 0; x < 37; ++x) {
                    const auto grey = static_cast<uint32_t>((x / 16 + y / 16) % 2 * 200);
                    setRaw(row, bits, x,
                           bits == 1    ? grey > 0
                           : bits == 16 ? grey << 8
                           : bits == 8  ? grey
                                        : grey << 16 | 0x3050);
                }
                K_PutBitmapRow(&image.b, row.data(), y, image.b.BytesPerLine);
            }
            KernelFileInfo info{};
            ASSERT_EQ(load(save(image.b, format, KB_COMPRESS_JPEG), back, &info), SUCCESS);
            EXPECT_EQ(back.b.BitsPerPixel, bits <= 16 ? 8 : 24);
            EXPECT_EQ(back.b.XResolution, 150);
            const auto before = colorsViewed(image.b), after = colorsViewed(back.b);
            ASSERT_EQ(before.size(), after.size());
            int worst = 0;
            for (size_t i = 0; i < before.size(); ++i)
                worst = std::max(worst, std::abs(GetGValue(before[i]) - GetGValue(after[i])));
            EXPECT_LE(worst, 40); // a red edge bleeds into green through coarser chroma
        }
    }
}

TEST(RoundTrip, OpacityIsLaidOverWhiteInJpeg) {
    Image image, back;
    ASSERT_EQ(K_CreateBitmap(&image.b, 1, 16, 16, 32, KB_ORDER_BGR, nullptr, 1, 0, 0), SUCCESS); // black, fully transparent
    image.b.Alpha = 1;
    ASSERT_EQ(load(save(image.b, KB_FORMAT_JPEG), back), SUCCESS);
    EXPECT_EQ(K_GetBitmapPixel(&back.b, 8, 8), RGB(255, 255, 255));
}

TEST(RoundTrip, CutOffFilesAreRefusedAtEveryLength) {
    struct Row {
        int format, bits, compression;
    };
    const Row rows[] = {{KB_FORMAT_PNG, 24, 0},  {KB_FORMAT_PNG, 1, 0},   {KB_FORMAT_BMP, 24, 0}, {KB_FORMAT_BMP, 8, 0},
                        {KB_FORMAT_JPEG, 24, 0}, {KB_FORMAT_JPEG, 8, 0},  {KB_FORMAT_TIFF, 1, 1}, {KB_FORMAT_TIFF, 8, 2},
                        {KB_FORMAT_TIFF, 24, 3}, {KB_FORMAT_TIFF, 24, 4}, {KB_FORMAT_TIFF, 1, 5}, {KB_FORMAT_TIFF, 1, 6},
                        {KB_FORMAT_TIFF, 24, 7}};
    for (const Row& r : rows) {
        SCOPED_TRACE(::testing::Message() << formatName(r.format) << " " << r.bits << " bits, compression "
                                          << r.compression);
        Image image;
        makeNoise(image, 19, 13, r.bits, orderFor(r.bits), 1, 23);
        const Bytes whole = save(image.b, r.format, r.compression);
        ASSERT_FALSE(whole.empty());
        size_t accepted = 0, shortest = whole.size();
        for (size_t size = 0; size < whole.size(); ++size) {
            Image cut;
            const int result = load(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)), cut);
            if (result == SUCCESS) {
                ++accepted;
                shortest = std::min(shortest, size);
                EXPECT_EQ(colorsViewed(cut.b).size(), 19u * 13u);
                if (r.format != KB_FORMAT_JPEG && r.compression != KB_COMPRESS_JPEG) {
                    EXPECT_EQ(colorsViewed(cut.b), colorsViewed(image.b));
                }
            } else {
                EXPECT_LE(result, 0);
                EXPECT_EQ(cut.b.Allocated, 0u);
            }
        }
        // Behind the pixels stand an end mark (PNG, JPEG) or a link and a few tag values.
        EXPECT_GE(shortest + 32, whole.size()) << accepted;
    }
}

TEST(RoundTrip, DamagedBytesNeverCrash) {
    for (const int format : {KB_FORMAT_PNG, KB_FORMAT_BMP, KB_FORMAT_JPEG, KB_FORMAT_TIFF}) {
        Image image;
        makeNoise(image, 9, 9, 8, KB_ORDER_BGR, 1, 2);
        const Bytes whole = save(image.b, format);
        const uint64_t old = K_SetPixelLimit(1 << 16);
        for (size_t at = 0; at < whole.size(); ++at) {
            for (const int damage : {0x01, 0x7F, 0x80, 0xFF}) {
                Bytes bytes = whole;
                bytes[at] = static_cast<uint8_t>(bytes[at] ^ damage);
                Image loaded;
                const int result = load(bytes, loaded);
                ASSERT_TRUE(result == SUCCESS ? loaded.b.Allocated == 1
                                              : loaded.b.Allocated == 0 && loaded.b.pPixels == nullptr);
            }
        }
        K_SetPixelLimit(old);
    }
}

TEST(Load, LimitsAndOptions) {
    Image image, back;
    makeNoise(image, 100, 50, 8, KB_ORDER_BGR, 1, 2);
    for (const int format : {KB_FORMAT_PNG, KB_FORMAT_BMP, KB_FORMAT_JPEG, KB_FORMAT_TIFF}) {
        SCOPED_TRACE(formatName(format));
        const Bytes bytes = save(image.b, format);
        KernelLoadOptions options;
        ASSERT_EQ(K_DefaultLoadOptions(&options, 44), SUCCESS);
        options.uMaxPixels = 4999;
        EXPECT_EQ(K_LoadMemory(bytes.data(), &back.b, 0, 0, bytes.size(), &options, nullptr), ERROR_NO_MEMORY);
        options.uMaxPixels = 5000;
        EXPECT_EQ(K_LoadMemory(bytes.data(), &back.b, 0, 0, bytes.size(), &options, nullptr), SUCCESS);
        K_FreeBitmap(&back.b);
        const uint64_t old = K_SetPixelLimit(4999);
        options.uMaxPixels = 0;
        EXPECT_EQ(K_LoadMemory(bytes.data(), &back.b, 0, 0, bytes.size(), &options, nullptr), ERROR_NO_MEMORY);
        EXPECT_EQ(K_SetPixelLimit(old), 4999u);
        for (const int page : {2, -1}) {
            options.nPageNumber = page;
            EXPECT_EQ(K_LoadMemory(bytes.data(), &back.b, 0, 0, bytes.size(), &options, nullptr), ERROR_PAGE_NOT_FOUND);
        }
        EXPECT_EQ(K_LoadMemory(bytes.data(), &back.b, 0, 24, bytes.size(), nullptr, nullptr), SUCCESS);
        EXPECT_EQ(back.b.BitsPerPixel, 24);
        K_FreeBitmap(&back.b);
        EXPECT_EQ(K_LoadMemory(bytes.data(), &back.b, 0, 5, bytes.size(), nullptr, nullptr), ERROR_INV_PARAMETER);
        // By name, and under the name of the memory file; pieces of work nest.
        const TemporaryFile file(bytes);
        EXPECT_EQ(K_LoadFile(file.path.c_str(), &back.b, 0, 1, nullptr, nullptr), SUCCESS);
        K_FreeBitmap(&back.b);
        KernelMemoryFile outer, inner;
        const uint8_t other[] = {1, 2, 3};
        ASSERT_EQ(K_BeginMemoryFile(&outer, bytes.data(), bytes.size()), SUCCESS);
        ASSERT_EQ(K_BeginMemoryFile(&inner, other, 3), SUCCESS);
        EXPECT_EQ(K_LoadFile("DUMMY", &back.b, 0, 1, nullptr, nullptr), ERROR_FILE_FORMAT);
        EXPECT_EQ(K_EndMemoryFile(&inner, 0, 0, 5), 5);
        EXPECT_EQ(K_LoadFile("DUMMY", &back.b, 0, 1, nullptr, nullptr), SUCCESS);
        K_FreeBitmap(&back.b);
        EXPECT_EQ(K_EndMemoryFile(&outer, 0, 0, SUCCESS), SUCCESS);
        EXPECT_EQ(K_LoadFile("DUMMY", &back.b, 0, 1, nullptr, nullptr), ERROR_FILE_OPEN);
    }
    KernelLoadOptions options;
    KernelSaveOptions saveOptions;
    EXPECT_EQ(K_DefaultLoadOptions(&options, 43), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_DefaultSaveOptions(&saveOptions, 1648), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_LoadFile(std::filesystem::temp_directory_path().c_str(), &back.b, 0, 1, nullptr, nullptr), ERROR_FILE_OPEN);
}

TEST(Load, FormatsAreToldByTheirFirstBytes) {
    struct Row {
        const char* hex;
        int format;
    };
    const Row rows[] = {{"49492A00", KB_FORMAT_TIFF},
                        {"4D4D002A", KB_FORMAT_TIFF},
                        {"49492B00", KB_FORMAT_TIFF},
                        {"4D4D2A00", KB_FORMAT_UNKNOWN},
                        {"89504E470D0A1A0A", KB_FORMAT_PNG},
                        {"89504E470D0A1A", KB_FORMAT_UNKNOWN},
                        {"FFD8FFE0", KB_FORMAT_JPEG},
                        {"424D", KB_FORMAT_BMP},
                        {"D7CDC69A", KB_FORMAT_WMF},
                        {"010009000003", KB_FORMAT_WMF},
                        {"01000000 6C000000 00000000 00000000", KB_FORMAT_EMF},
                        {"01000000 10000000 00000000 00000000", KB_FORMAT_UNKNOWN},
                        {"", KB_FORMAT_UNKNOWN},
                        {"25504446", KB_FORMAT_UNKNOWN}};
    for (const Row& r : rows) {
        const Bytes bytes = bytesOf(r.hex);
        EXPECT_EQ(K_RecognizeFormat(bytes.data(), bytes.size()), bytes.empty() ? KB_FORMAT_UNKNOWN : r.format) << r.hex;
    }
    int resolution = -1;
    EXPECT_EQ(K_SetVectorResolution(120), SUCCESS);
    EXPECT_EQ(K_GetVectorResolution(&resolution), SUCCESS);
    EXPECT_EQ(resolution, 120);
    EXPECT_EQ(K_SetVectorResolution(-1), ERROR_INV_PARAMETER);
    K_SetVectorResolution(0);
}

} // namespace
