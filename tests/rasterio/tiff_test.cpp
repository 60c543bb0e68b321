// TIFF pages and tags: a hand-made big-endian file of two pages, layouts that only other writers make, page operations and
// tags that are set, read and taken out without a trace.
#include "file_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace test;

namespace {

constexpr uint16_t markTag = 0x80A4;

// Two pages, high bytes first. Page 1: 4 x 2 grey of 2 bits, white is 0. Page 2: 2 x 2 colour in three planes, with a tag of
// words behind the directory.
const char* bigEndianFile = R"(
    4D4D 002A 0000000C           # header, first directory at 12
    1B E4 0000                   # 8: rows 0 1 2 3 and 3 2 1 0
    # 12: directory of page 1
    0009
    0100 0004 00000001 00000004  # width 4
    0101 0003 00000001 00020000  # height 2
    0102 0003 00000001 00020000  # 2 bits
    0103 0003 00000001 00010000  # uncompressed
    0106 0003 00000001 00000000  # white is 0
    0111 0004 00000001 00000008  # strip at 8
    0112 0003 00000001 00060000  # orientation: a quarter turn
    0116 0003 00000001 00020000  # two rows a strip
    0117 0004 00000001 00000002  # two bytes
    00000088                     # next directory at 136
    # 126: planes of page 2 and its words
    FF00 00FF                    # red of four pixels, 126
    0A0B 0C0D                    # green, 130
    1200                         # 134
    # 136: directory of page 2
    000B
    0100 0003 00000001 00020000
    0101 0003 00000001 00020000
    0102 0003 00000003 00000122  # three times 8 bits, at 290
    0103 0003 00000001 00010000
    0106 0003 00000001 00020000  # colour
    0111 0004 00000003 00000128  # strips, at 296
    0115 0003 00000001 00030000  # three samples
    0116 0003 00000001 00020000
    0117 0004 00000003 00000134  # byte counts, at 308
    011C 0003 00000001 00020000  # planes
    80A4 0003 00000003 00000140  # three words, at 320
    00000000
    # 274
    0000 0000 0000 0000 0000 0000 0000 0000  # 274 to 289
    0008 0008 0008                           # 290
    0000007E 00000082 00000146               # 296: strips at 126, 130, 326
    00000004 00000004 00000004               # 308
    1234 5678 9ABC                           # 320
    01 02 03 04                              # 326: blue
)";

int tagOf(const std::string& path, uint16_t tag, int page, Bytes* out, uint16_t* type = nullptr, uint32_t* count = nullptr) {
    KernelLoadOptions options;
    K_DefaultLoadOptions(&options, sizeof options);
    options.nPageNumber = page;
    const int size = K_GetFileTag(path.c_str(), tag, type, count, nullptr, &options);
    if (size <= 0) return size;
    out->assign(static_cast<size_t>(size), 0);
    return K_GetFileTag(path.c_str(), tag, type, count, out->data(), &options);
}

bool contains(const Bytes& bytes, const Bytes& part) {
    return std::search(bytes.begin(), bytes.end(), part.begin(), part.end()) != bytes.end();
}

TEST(Tiff, BigEndianPagesAndTags) {
    const Bytes bytes = bytesOf(bigEndianFile);
    Image first, second;
    KernelFileInfo info{};
    ASSERT_EQ(load(bytes, first, &info), SUCCESS);
    EXPECT_EQ(info.nPages, 2);
    EXPECT_EQ(first.b.BitsPerPixel, 4);
    EXPECT_EQ(first.b.ViewPerspective, KB_VIEW_RIGHT_TOP);
    EXPECT_EQ(K_GetBitmapPixel(&first.b, 0, 0), RGB(255, 255, 255)); // white is 0
    EXPECT_EQ(K_GetBitmapPixel(&first.b, 0, 1), RGB(170, 170, 170));
    EXPECT_EQ(K_GetBitmapPixel(&first.b, 1, 0), RGB(0, 0, 0));
    ASSERT_EQ(load(bytes, second, &info, 2), SUCCESS);
    EXPECT_EQ(info.nPage, 2);
    EXPECT_EQ(K_GetBitmapPixel(&second.b, 0, 0), RGB(255, 10, 1));
    EXPECT_EQ(K_GetBitmapPixel(&second.b, 0, 1), RGB(0, 11, 2));
    EXPECT_EQ(K_GetBitmapPixel(&second.b, 1, 1), RGB(255, 13, 4));
    Image none;
    EXPECT_EQ(load(bytes, none, nullptr, 3), ERROR_PAGE_NOT_FOUND);

    const TemporaryFile file(bytes);
    Bytes value;
    uint16_t type = 0;
    uint32_t count = 0;
    EXPECT_EQ(tagOf(file.path, markTag, 1, &value), 0);
    ASSERT_EQ(tagOf(file.path, markTag, 2, &value, &type, &count), 6);
    EXPECT_EQ(type, 3);
    EXPECT_EQ(count, 3u);
    uint16_t words[3];
    std::memcpy(words, value.data(), 6);
    EXPECT_EQ(words[0], 0x1234);
    EXPECT_EQ(words[2], 0x9ABC);
    ASSERT_EQ(tagOf(file.path, 257, 1, &value), 2);
    std::memcpy(words, value.data(), 2);
    EXPECT_EQ(words[0], 2);
    EXPECT_EQ(tagOf(file.path, 256, 3, &value), ERROR_PAGE_NOT_FOUND);
}

TEST(Tiff, TagsAreRewrittenInPlace) {
    for (const int page : {1, 2}) {
        SCOPED_TRACE(page);
        const TemporaryFile file(bytesOf(bigEndianFile));
        const Bytes secret = {'s', 'e', 'c', 'r', 'e', 't', ' ', 'm', 'a', 'r', 'k', 's'};
        Bytes value;
        uint16_t type = 0;
        ASSERT_EQ(K_RewriteFileTag(file.path.c_str(), page, markTag, 1, 12, secret.data()), SUCCESS);
        ASSERT_EQ(tagOf(file.path, markTag, page, &value, &type), 12);
        EXPECT_EQ(value, secret);
        EXPECT_EQ(type, 1);
        const uint16_t words[] = {0x1122, 0x3344, 0x5566};
        ASSERT_EQ(K_RewriteFileTag(file.path.c_str(), page, markTag, 3, 3, words), SUCCESS);
        ASSERT_EQ(tagOf(file.path, markTag, page, &value, &type), 6);
        EXPECT_EQ(std::memcmp(value.data(), words, 6), 0);
        EXPECT_FALSE(contains(file.read(), secret));
        const uint8_t small[] = {7, 8, 9}; // stands in the entry itself
        ASSERT_EQ(K_RewriteFileTag(file.path.c_str(), page, markTag, 1, 3, small), SUCCESS);
        ASSERT_EQ(tagOf(file.path, markTag, page, &value), 3);
        EXPECT_EQ(value[2], 9);
        EXPECT_FALSE(contains(file.read(), {0x11, 0x22, 0x33, 0x44, 0x55, 0x66}));
        ASSERT_EQ(K_RewriteFileTag(file.path.c_str(), page, markTag, 1, 0, nullptr), SUCCESS);
        EXPECT_EQ(tagOf(file.path, markTag, page, &value), 0);
        EXPECT_EQ(K_RewriteFileTag(file.path.c_str(), page, markTag, 1, 0, nullptr), SUCCESS); // not there: nothing to do
        // Pixels and the other page are as they were.
        const Bytes now = file.read(), before = bytesOf(bigEndianFile);
        for (const int i : {1, 2}) {
            Image image, original;
            ASSERT_EQ(load(now, image, nullptr, i), SUCCESS);
            ASSERT_EQ(load(before, original, nullptr, i), SUCCESS);
            EXPECT_EQ(raws(image.b), raws(original.b));
        }
    }
    const TemporaryFile file(bytesOf(bigEndianFile));
    EXPECT_EQ(K_RewriteFileTag(file.path.c_str(), 3, markTag, 1, 1, "x"), ERROR_PAGE_NOT_FOUND);
    EXPECT_EQ(K_RewriteFileTag(file.path.c_str(), 1, markTag, 99, 1, "x"), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_RewriteFileTag(file.path.c_str(), 1, markTag, 16, 1, "12345678"),
              ERROR_FEATURE_NOT_SUPPORTED); // 64 bits in the plain form
    const TemporaryFile other(Bytes{1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_EQ(K_RewriteFileTag(other.path.c_str(), 1, markTag, 1, 1, "x"), ERROR_FILE_FORMAT);
}

// Width of each page, which tells the pages apart.
std::vector<int> widths(const std::string& path) {
    std::vector<int> out;
    KernelLoadOptions options;
    K_DefaultLoadOptions(&options, sizeof options);
    for (options.nPageNumber = 1;; ++options.nPageNumber) {
        Image image;
        if (K_LoadFile(path.c_str(), &image.b, 0, 1, &options, nullptr) != SUCCESS) return out;
        out.push_back(image.b.Width);
    }
}

int savePage(const std::string& path, int width, uint32_t flags, int page) {
    Image image;
    makeNoise(image, width, 9, 24, KB_ORDER_BGR, 1, static_cast<uint32_t>(width));
    KernelSaveOptions options;
    K_DefaultSaveOptions(&options, sizeof options);
    options.uFlags = flags;
    options.nPageNumber = page;
    options.nCompression = KB_COMPRESS_NONE;
    return K_SaveFile(path.c_str(), &image.b, KB_FORMAT_TIFF, &options);
}

TEST(Tiff, PagesAreInsertedAndReplaced) {
    struct Row {
        const char* name;
        uint32_t flags;
        int page, expected;
        std::vector<int> widths;
    };
    const Row rows[] = {
        {"before the first", SAVE_INSERTPAGE, 1, SUCCESS, {40, 10, 20, 30}},
        {"before the last", SAVE_INSERTPAGE, 3, SUCCESS, {10, 20, 40, 30}},
        {"behind the last by number", SAVE_INSERTPAGE, 4, SUCCESS, {10, 20, 30, 40}},
        {"behind the last", SAVE_INSERTPAGE, -1, SUCCESS, {10, 20, 30, 40}},
        {"too far", SAVE_INSERTPAGE, 5, ERROR_PAGE_NOT_FOUND, {10, 20, 30}},
        {"page 0", SAVE_INSERTPAGE, 0, ERROR_PAGE_NOT_FOUND, {10, 20, 30}},
        {"replace the first", SAVE_REPLACEPAGE, 1, SUCCESS, {40, 20, 30}},
        {"replace the middle", SAVE_REPLACEPAGE, 2, SUCCESS, {10, 40, 30}},
        {"replace the last", SAVE_REPLACEPAGE, 3, SUCCESS, {10, 20, 40}},
        {"replace behind the last", SAVE_REPLACEPAGE, -1, SUCCESS, {10, 20, 30, 40}},
        {"replace what isn't there", SAVE_REPLACEPAGE, 4, ERROR_PAGE_NOT_FOUND, {10, 20, 30}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        const TemporaryFile file;
        ASSERT_EQ(savePage(file.path, 10, SAVE_INSERTPAGE, 1), SUCCESS); // no file yet
        ASSERT_EQ(savePage(file.path, 20, SAVE_INSERTPAGE, -1), SUCCESS);
        ASSERT_EQ(savePage(file.path, 30, SAVE_INSERTPAGE, 3), SUCCESS);
        const Bytes before = file.read();
        EXPECT_EQ(savePage(file.path, 40, r.flags, r.page), r.expected);
        EXPECT_EQ(widths(file.path), r.widths);
        if (r.expected != SUCCESS) {
            EXPECT_EQ(file.read(), before);
        }
        if (r.flags == SAVE_REPLACEPAGE && r.page > 0 && r.expected == SUCCESS) {
            // Nothing of the replaced pixels is left: a row of them can't be found.
            Image old;
            makeNoise(old, r.page * 10, 9, 24, KB_ORDER_RGB, 1, static_cast<uint32_t>(r.page * 10));
            const uint8_t* row = K_BitmapRowPointer(&old.b, 4);
            Bytes swapped;
            for (int x = 0; x < old.b.Width; ++x)
                swapped.insert(swapped.end(), {row[x * 3 + 2], row[x * 3 + 1], row[x * 3]});
            EXPECT_TRUE(contains(before, swapped));
            EXPECT_FALSE(contains(file.read(), swapped));
        }
    }
    Image image;
    makeNoise(image, 4, 4, 8, 1, 1, 1);
    KernelSaveOptions options;
    K_DefaultSaveOptions(&options, sizeof options);
    options.uFlags = SAVE_INSERTPAGE;
    const TemporaryFile text(Bytes{'t', 'e', 'x', 't', ' ', 't', 'e', 'x', 't'});
    EXPECT_EQ(K_SaveFile(text.path.c_str(), &image.b, KB_FORMAT_TIFF, &options), ERROR_FILE_FORMAT);
    EXPECT_EQ(K_SaveFile(text.path.c_str(), &image.b, KB_FORMAT_PNG, &options), ERROR_FEATURE_NOT_SUPPORTED);
    EXPECT_EQ(text.read().size(), 9u);
}

TEST(Tiff, PagesGoIntoFilesOfEveryForm) {
    for (const bool loops : {false, true}) {
        SCOPED_TRACE(loops);
        Bytes bytes = bytesOf(bigEndianFile);
        if (loops) bytes[122 + 3] = 12; // page 1 leads to itself
        const TemporaryFile file(bytes);
        const Bytes before = file.read();
        Image added, back, first, original;
        makeNoise(added, 21, 9, 16, KB_ORDER_GREY, KB_VIEW_LEFT_BOTTOM, 3);
        KernelSaveOptions options;
        K_DefaultSaveOptions(&options, sizeof options);
        options.uFlags = SAVE_INSERTPAGE;
        options.nPageNumber = -1;
        ASSERT_EQ(K_SaveFile(file.path.c_str(), &added.b, KB_FORMAT_TIFF, &options), SUCCESS);
        const int page = loops ? 2 : 3; // a loop is cut open where the new page goes in
        ASSERT_EQ(load(file.read(), back, nullptr, page), SUCCESS);
        EXPECT_EQ(raws(back.b), raws(added.b));
        EXPECT_EQ(back.b.ViewPerspective, KB_VIEW_LEFT_BOTTOM);
        ASSERT_EQ(load(file.read(), first), SUCCESS);
        ASSERT_EQ(load(before, original), SUCCESS);
        EXPECT_EQ(raws(first.b), raws(original.b));
        EXPECT_EQ(file.read()[0], 'M');
    }
}

TEST(Tiff, QueuedTagsGoOutOnce) {
    const TemporaryFile file;
    const Bytes marks(1000, 0x5A);
    const uint32_t fraction[] = {1, 3};
    ASSERT_EQ(K_SetFileTag(markTag, 1, 1000, marks.data()), SUCCESS);
    ASSERT_EQ(K_SetFileTag(65000, 5, 1, fraction), SUCCESS);
    ASSERT_EQ(K_SetFileTag(65001, 1, 1, "x"), SUCCESS);
    ASSERT_EQ(K_SetFileTag(65001, 1, 0, nullptr), SUCCESS); // taken away again
    EXPECT_EQ(K_SetFileTag(65002, 14, 1, "x"), ERROR_INV_PARAMETER);
    ASSERT_EQ(savePage(file.path, 5, 0, 1), SUCCESS);
    Bytes value;
    ASSERT_EQ(tagOf(file.path, markTag, 1, &value), 1000);
    EXPECT_EQ(value, marks);
    uint16_t type = 0;
    ASSERT_EQ(tagOf(file.path, 65000, 1, &value, &type), 8);
    EXPECT_EQ(type, 5);
    EXPECT_EQ(std::memcmp(value.data(), fraction, 8), 0);
    EXPECT_EQ(tagOf(file.path, 65001, 1, &value), 0);
    ASSERT_EQ(savePage(file.path, 6, SAVE_INSERTPAGE, 1), SUCCESS);
    EXPECT_EQ(tagOf(file.path, markTag, 1, &value), 0);
    EXPECT_EQ(tagOf(file.path, markTag, 2, &value), 1000);
    ASSERT_EQ(K_SetFileTag(markTag, 1, 1000, marks.data()), SUCCESS);
    EXPECT_EQ(savePage("/nowhere/file.tif", 5, 0, 1), ERROR_FILE_OPEN);
    ASSERT_EQ(savePage(file.path, 7, SAVE_INSERTPAGE, 2), SUCCESS); // the queue waited for a save that succeeds
    EXPECT_EQ(tagOf(file.path, markTag, 2, &value), 1000);
    EXPECT_EQ(widths(file.path), (std::vector<int>{6, 7, 5}));
}

// One page of little-endian TIFF out of entries (tag, type, count, value or bytes).
struct Entry {
    uint16_t tag, type;
    uint32_t count, value;
};
Bytes tiffOf(const std::vector<Entry>& entries, const Bytes& data, bool wide = false) {
    Bytes out;
    const auto put = [&](uint64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) out.push_back(static_cast<uint8_t>(value >> (8 * i)));
    };
    const int offset = wide ? 8 : 4;
    const size_t head = wide ? 16 : 8;
    out = {'I', 'I'};
    put(wide ? 43 : 42, 2);
    if (wide) put(8, 2), put(0, 2);
    put(head + data.size(), offset);
    out.insert(out.end(), data.begin(), data.end());
    put(entries.size(), wide ? 8 : 2);
    for (const Entry& e : entries) {
        put(e.tag, 2), put(e.type, 2), put(e.count, offset), put(e.value, offset);
    }
    put(0, offset);
    return out;
}

TEST(Tiff, LayoutsOfOtherWriters) {
    struct Row {
        const char* name;
        int width, bits, samples, photometric;
        Bytes data;
        int depth;
        std::vector<COLORREF> colors;
        std::vector<Entry> more;
    };
    const COLORREF white = RGB(255, 255, 255);
    const Row rows[] = {
        {"3 bits of grey", 2, 3, 1, 1, {0b11100100}, 4, {white, RGB(34, 34, 34)}, {}},
        {"6 bits of grey", 2, 6, 1, 1, {0b11111100, 0b00000000}, 8, {white, 0}, {}},
        {"10 bits of grey", 2, 10, 1, 1, {0xFF, 0xC0, 0x00}, 12, {white, 0}, {}},
        {"12 bits, white is 0", 2, 12, 1, 0, {0x00, 0x0F, 0xFF}, 12, {white, 0}, {}},
        {"14 bits", 2, 14, 1, 1, {0xFF, 0xFC, 0x00, 0x00}, 16, {white, 0}, {}},
        {"16 bits", 2, 16, 1, 1, {0xFF, 0xFF, 0x34, 0x12}, 16, {white, RGB(18, 18, 18)}, {}},
        {"4 bits of colour", 1, 4, 3, 2, {0xF0, 0x80}, 24, {RGB(255, 0, 136)}, {}},
        {"16 bits of colour", 1, 16, 3, 2, {0, 1, 0xFF, 2, 0, 3}, 24, {RGB(1, 2, 3)}, {}},
        {"opacity not multiplied", 1, 8, 4, 2, {10, 20, 30, 128}, 32, {RGB(10, 20, 30)}, {{338, 3, 1, 2}}},
        {"opacity multiplied", 1, 8, 4, 2, {10, 20, 30, 51}, 32, {RGB(50, 100, 150)}, {{338, 3, 1, 1}}},
        {"grey with opacity", 1, 8, 2, 1, {77, 200}, 32, {RGB(77, 77, 77)}, {{338, 3, 1, 2}}},
        {"low bit first", 8, 1, 1, 1, {0x01}, 1, {white, 0, 0, 0, 0, 0, 0, 0}, {{266, 3, 1, 2}}},
    };
    for (const Row& r : rows) {
        for (const bool wide : {false, true}) {
            SCOPED_TRACE(::testing::Message() << r.name << (wide ? ", 64-bit offsets" : ""));
            std::vector<Entry> entries = {{256, 3, 1, static_cast<uint32_t>(r.width)},
                                          {257, 3, 1, 1},
                                          {259, 3, 1, 1},
                                          {262, 3, 1, static_cast<uint32_t>(r.photometric)},
                                          {273, 4, 1, wide ? 16u : 8u},
                                          {277, 3, 1, static_cast<uint32_t>(r.samples)},
                                          {278, 3, 1, 1},
                                          {279, 4, 1, static_cast<uint32_t>(r.data.size())}};
            Bytes data = r.data;
            // Depths of several samples don't fit an entry and go behind the pixels.
            const auto depth = static_cast<uint32_t>(r.bits);
            if (r.samples == 1) {
                entries.push_back({258, 3, 1, depth});
            } else if (r.samples == 2) {
                entries.push_back({258, 3, 2, depth | depth << 16});
            } else {
                if (data.size() % 2) data.push_back(0);
                entries.push_back(
                    {258, 3, static_cast<uint32_t>(r.samples), static_cast<uint32_t>((wide ? 16 : 8) + data.size())});
                for (int i = 0; i < 4; ++i) data.insert(data.end(), {static_cast<uint8_t>(r.bits), 0});
                if (wide && r.samples <= 4) continue; // three and four words fit a wide entry: another layout
            }
            entries.insert(entries.end(), r.more.begin(), r.more.end());
            std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.tag < b.tag; });
            Image image;
            ASSERT_EQ(load(tiffOf(entries, data, wide), image), SUCCESS);
            EXPECT_EQ(image.b.BitsPerPixel, r.depth);
            for (size_t x = 0; x < r.colors.size(); ++x)
                EXPECT_EQ(K_GetBitmapPixel(&image.b, 0, static_cast<int>(x)), r.colors[x]) << x;
        }
    }
}

TEST(Tiff, HostileDirectories) {
    const auto at = [](size_t offset, uint32_t value) {
        Bytes bytes = bytesOf(bigEndianFile);
        for (size_t i = 0; i < 4; ++i) bytes[offset + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
        return bytes;
    };
    struct Row {
        const char* name;
        Bytes bytes;
        int expected;
    };
    const Row rows[] = {
        {"directory behind the end", at(4, 0x7FFFFFFF), ERROR_FILE_READ},
        {"directory in the header", at(4, 2), ERROR_FILE_READ},
        {"no directory", at(4, 0), ERROR_PAGE_NOT_FOUND},
        {"2^30 pixels wide", at(22, 0x40000000), ERROR_FILE_READ},
        {"page that leads to itself", at(122, 12), SUCCESS},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        Image image;
        KernelFileInfo info{};
        const int result = load(r.bytes, image, &info);
        if (r.expected == SUCCESS) {
            EXPECT_EQ(result, SUCCESS);
            EXPECT_EQ(info.nPages, 1); // a loop ends where it closes
        } else {
            EXPECT_LT(result, 0);
            EXPECT_EQ(result, r.expected);
        }
    }
    // A tag that claims more than the file has.
    const TemporaryFile file(tiffOf({{256, 3, 1, 1}, {257, 3, 1, 1}, {markTag, 1, 0x7FFFFFF0, 8}}, {0, 0}));
    EXPECT_EQ(K_GetFileTag(file.path.c_str(), markTag, nullptr, nullptr, nullptr, nullptr), ERROR_FILE_READ);
}

} // namespace
