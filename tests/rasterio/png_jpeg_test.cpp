// PNG layouts that our own writer never makes (interlace, every filter, colour keys, 2 and 16 bits), built here sample by
// sample, and what JPEG files carry beside their pixels.
#include "file_fixture.h"

#include <gtest/gtest.h>

using namespace test;

namespace {

void put32(Bytes& out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<uint8_t>(value >> shift));
}

uint32_t crcOf(const uint8_t* data, size_t size) {
    uint32_t crc = ~0u;
    for (size_t i = 0; i < size; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit) crc = crc & 1 ? crc >> 1 ^ 0xEDB88320u : crc >> 1;
    }
    return ~crc;
}

void putChunk(Bytes& out, const char* type, const Bytes& data) {
    put32(out, static_cast<uint32_t>(data.size()));
    const size_t begin = out.size();
    out.insert(out.end(), type, type + 4);
    out.insert(out.end(), data.begin(), data.end());
    put32(out, crcOf(out.data() + begin, out.size() - begin));
}

// Zlib data in stored blocks.
Bytes stored(const Bytes& raw) {
    Bytes out;
    out.reserve(raw.size() + 11);
    uint32_t a = 1, b = 0;
    for (const uint8_t byte : raw) a = (a + byte) % 65521, b = (b + a) % 65521;
    out.insert(out.end(), {0x78, 0x01, 1, static_cast<uint8_t>(raw.size()), static_cast<uint8_t>(raw.size() >> 8),
                           static_cast<uint8_t>(~raw.size()), static_cast<uint8_t>(~raw.size() >> 8)});
    out.insert(out.end(), raw.begin(), raw.end());
    put32(out, b << 16 | a);
    return out;
}

struct Type {
    int color, depth, channels;
};
constexpr Type types[] = {{0, 1, 1}, {0, 2, 1}, {0, 4, 1}, {0, 8, 1}, {0, 16, 1}, {2, 8, 3}, {2, 16, 3}, {3, 1, 1},
                          {3, 2, 1}, {3, 4, 1}, {3, 8, 1}, {4, 8, 2}, {4, 16, 2}, {6, 8, 4}, {6, 16, 4}};

uint32_t sampleOf(const Type& t, int x, int y, int channel) {
    return static_cast<uint32_t>(x * 7919 + y * 104729 + channel * 31337 + x * y * 13) % (1u << t.depth);
}

// Rows of one pass, each filtered with the next of the five filters.
void putRows(Bytes& raw, const Type& t, int width, int height, int left, int top, int stepX, int stepY) {
    const int across = (width - left + stepX - 1) / stepX;
    if (width <= left) return;
    const size_t bytes = static_cast<size_t>((across * t.channels * t.depth + 7) / 8),
                 unit = static_cast<size_t>(std::max(1, t.channels * t.depth / 8));
    Bytes above(bytes, 0);
    int filter = 0;
    for (int y = top; y < height; y += stepY, filter = (filter + 1) % 5) {
        Bytes row(bytes, 0);
        for (int i = 0; i < across * t.channels; ++i) {
            const uint32_t sample = sampleOf(t, left + i / t.channels * stepX, y, i % t.channels);
            if (t.depth == 16)
                row[static_cast<size_t>(i * 2)] = static_cast<uint8_t>(sample >> 8),
                                            row[static_cast<size_t>(i * 2 + 1)] = static_cast<uint8_t>(sample);
            else
                setRaw(row, t.depth, i, sample);
        }
        raw.push_back(static_cast<uint8_t>(filter));
        for (size_t i = 0; i < bytes; ++i) {
            const int a = i < unit ? 0 : row[i - unit], b = above[i], c = i < unit ? 0 : above[i - unit];
            const int p = a + b - c, pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
            const int predictors[] = {0, a, b, (a + b) / 2, pa <= pb && pa <= pc ? a : pb <= pc ? b : c};
            raw.push_back(static_cast<uint8_t>(row[i] - predictors[filter]));
        }
        above = row;
    }
}

Bytes pngOf(const Type& t, int width, int height, bool interlaced, const Bytes& transparency = {}, bool parts = false) {
    Bytes out = {0x89, 'P', 'N', 'G', 13, 10, 26, 10}, header, raw;
    put32(header, static_cast<uint32_t>(width));
    put32(header, static_cast<uint32_t>(height));
    header.insert(header.end(),
                  {static_cast<uint8_t>(t.depth), static_cast<uint8_t>(t.color), 0, 0, static_cast<uint8_t>(interlaced)});
    putChunk(out, "IHDR", header);
    putChunk(out, "gAMA", {0, 0, 1, 1}); // left alone
    if (t.color == 3) {
        Bytes palette;
        for (int i = 0; i < 1 << t.depth; ++i)
            palette.insert(palette.end(),
                           {static_cast<uint8_t>(i * 5), static_cast<uint8_t>(255 - i), static_cast<uint8_t>(i)});
        putChunk(out, "PLTE", palette);
    }
    if (!transparency.empty()) putChunk(out, "tRNS", transparency);
    constexpr int passes[7][4] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                                  {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};
    if (interlaced) {
        for (const auto& p : passes) putRows(raw, t, width, height, p[0], p[1], p[2], p[3]);
    } else {
        putRows(raw, t, width, height, 0, 0, 1, 1);
    }
    const Bytes packed = stored(raw);
    const size_t cut = parts ? packed.size() / 3 : packed.size();
    putChunk(out, "IDAT", Bytes(packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(cut)));
    if (parts) putChunk(out, "IDAT", Bytes(packed.begin() + static_cast<std::ptrdiff_t>(cut), packed.end()));
    putChunk(out, "IEND", {});
    return out;
}

TEST(Png, EveryTypeFilterAndInterlace) {
    for (const Type& t : types) {
        for (const auto& [width, height] : {std::pair{1, 1}, {3, 7}, {13, 11}, {32, 9}}) {
            for (const bool interlaced : {false, true}) {
                SCOPED_TRACE(::testing::Message() << "type " << t.color << " depth " << t.depth << " " << width << "x"
                                                  << height << " interlace " << interlaced);
                Image image;
                ASSERT_EQ(load(pngOf(t, width, height, interlaced, {}, width == 13), image), SUCCESS);
                for (int y = 0; y < height; ++y) {
                    for (int x = 0; x < width; ++x) {
                        const auto level = [&](int channel) {
                            const uint32_t s = sampleOf(t, x, y, channel);
                            return t.depth == 16 ? s >> 8 : s * 255 / ((1u << t.depth) - 1);
                        };
                        const uint32_t index = sampleOf(t, x, y, 0);
                        const COLORREF expected = t.color == 3      ? RGB(index * 5, 255 - index, index)
                                                  : t.channels >= 3 ? RGB(level(0), level(1), level(2))
                                                                    : RGB(level(0), level(0), level(0));
                        ASSERT_EQ(K_GetBitmapPixel(&image.b, y, x), expected) << x << "," << y;
                        if (t.color >= 4) {
                            ASSERT_EQ(rawAt(image.b, y, x) >> 24, level(t.channels - 1));
                        }
                        if (t.color == 0 && t.depth == 16) {
                            ASSERT_EQ(rawAt(image.b, y, x), sampleOf(t, x, y, 0)); // all 16 bits
                        }
                    }
                }
                EXPECT_EQ(image.b.Alpha, t.color >= 4 ? 1u : 0u);
            }
        }
    }
}

TEST(Png, TransparencyBecomesOpacity) {
    struct Row {
        Type type;
        Bytes chunk;
    };
    const uint32_t g = sampleOf({0, 8, 1}, 1, 0, 0), r = sampleOf({2, 8, 3}, 1, 0, 0), green = sampleOf({2, 8, 3}, 1, 0, 1),
                   blue = sampleOf({2, 8, 3}, 1, 0, 2);
    const auto low = [](uint32_t v) { return static_cast<uint8_t>(v); };
    const uint32_t index = sampleOf({3, 4, 1}, 1, 0, 0);
    Bytes table(16, 255);
    table[index] = 0;
    for (const Row& row :
         {Row{{0, 8, 1}, {0, low(g)}}, Row{{2, 8, 3}, {0, low(r), 0, low(green), 0, low(blue)}}, Row{{3, 4, 1}, table}}) {
        Image image;
        ASSERT_EQ(load(pngOf(row.type, 2, 1, false, row.chunk), image), SUCCESS);
        ASSERT_EQ(image.b.BitsPerPixel, 32);
        EXPECT_EQ(image.b.Alpha, 1u);
        EXPECT_EQ(rawAt(image.b, 0, 0) >> 24, 255u);
        EXPECT_EQ(rawAt(image.b, 0, 1) >> 24, 0u);
    }
}

TEST(Png, DamageIsTold) {
    const Bytes good = pngOf({2, 8, 3}, 5, 4, false);
    struct Row {
        const char* name;
        size_t offset;
        uint8_t value;
        int expected;
    };
    const size_t data = good.size() - 12 - 12 - 4 - (5 * 3 + 1) * 4 - 5 - 2 + 8; // begin of the packed data
    for (const Row& r : {Row{"checksum of the header", 29, 0x55, ERROR_FILE_READ},
                         Row{"first chunk", 12, 'J', ERROR_FILE_READ}, Row{"pixels", data + 20, 0x99, ERROR_FILE_READ}}) {
        SCOPED_TRACE(r.name);
        Bytes bytes = good;
        bytes[r.offset] = static_cast<uint8_t>(bytes[r.offset] ^ r.value);
        Image image;
        EXPECT_EQ(load(bytes, image), r.expected);
    }
    Image image;
    EXPECT_EQ(load(pngOf({2, 3, 3}, 2, 2, false), image), ERROR_FILE_READ); // no such depth
    Bytes tall = good;
    tall[22] = 1; // 256 rows more, with a checksum that fits
    const uint32_t crc = crcOf(tall.data() + 12, 17);
    for (size_t i = 0; i < 4; ++i) tall[29 + i] = static_cast<uint8_t>(crc >> (24 - 8 * i));
    EXPECT_EQ(load(tall, image), ERROR_FILE_READ);
}

// A JPEG of ours with another segment behind its start.
Bytes withSegment(const Bytes& jpeg, uint8_t marker, const Bytes& content) {
    Bytes out;
    out.reserve(jpeg.size() + content.size() + 4);
    out.assign(jpeg.begin(), jpeg.begin() + 2);
    const size_t length = content.size() + 2;
    out.insert(out.end(), {0xFF, marker, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)});
    out.insert(out.end(), content.begin(), content.end());
    out.insert(out.end(), jpeg.begin() + 2, jpeg.end());
    return out;
}

TEST(Jpeg, OrientationOfTheCameraIsThePerspective) {
    constexpr int perspectives[] = {KB_VIEW_TOP_LEFT,    KB_VIEW_TOP_LEFT, KB_VIEW_TOP_RIGHT, KB_VIEW_BOTTOM_RIGHT,
                                    KB_VIEW_BOTTOM_LEFT, KB_VIEW_LEFT_TOP, KB_VIEW_RIGHT_TOP, KB_VIEW_RIGHT_BOTTOM,
                                    KB_VIEW_LEFT_BOTTOM, KB_VIEW_TOP_LEFT};
    Image image;
    makeNoise(image, 9, 5, 24, KB_ORDER_BGR, 1, 1);
    const Bytes jpeg = save(image.b, KB_FORMAT_JPEG);
    for (uint8_t orientation = 0; orientation <= 9; ++orientation) {
        for (const bool big : {false, true}) {
            SCOPED_TRACE(::testing::Message() << int{orientation} << " big-endian " << big);
            Bytes exif = bytesOf(big ? "45786966 0000 4D4D 002A 00000008 0001 0112 0003 00000001 0000 0000 00000000"
                                     : "45786966 0000 4949 2A00 08000000 0100 1201 0300 01000000 0000 0000 00000000");
            exif[6 + 18 + (big ? 1 : 0)] = orientation;
            Image loaded;
            KernelFileInfo info{};
            ASSERT_EQ(load(withSegment(jpeg, 0xE1, exif), loaded, &info), SUCCESS);
            EXPECT_EQ(loaded.b.ViewPerspective, perspectives[orientation]);
            EXPECT_EQ(info.nViewPerspective, perspectives[orientation]);
            for (size_t size = 0; size < exif.size(); ++size) { // a block that is cut off tells nothing
                Image cut;
                ASSERT_EQ(
                    load(withSegment(jpeg, 0xE1, Bytes(exif.begin(), exif.begin() + static_cast<std::ptrdiff_t>(size))),
                         cut),
                    SUCCESS);
            }
        }
    }
}

} // namespace
