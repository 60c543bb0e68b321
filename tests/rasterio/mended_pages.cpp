// Pages and tags of TIFF files that aren't as they should be: a last link that is missing, chains that loop, values that
// share bytes; and page saves that fail, after which the file must be byte for byte as before.
#include "file_fixture.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <csignal>

using namespace test;

namespace {

constexpr uint16_t markTag = 0x80A4, otherTag = 65000;

struct Entry {
    uint16_t tag, type;
    uint32_t count, value;
};

void put(Bytes& out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<uint8_t>(value >> (8 * i)));
}

// Adds a page of 2 x 1 grey pixels whose strip stands at `strip`; the link before it must lead to where it begins.
void putPage(Bytes& out, uint32_t strip, std::vector<Entry> more, uint32_t next) {
    std::vector<Entry> entries = {{256, 3, 1, 2}, {257, 3, 1, 1},     {258, 3, 1, 8}, {259, 3, 1, 1},
                                  {262, 3, 1, 1}, {273, 4, 1, strip}, {278, 3, 1, 1}, {279, 4, 1, 2}};
    entries.insert(entries.end(), more.begin(), more.end());
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.tag < b.tag; });
    put(out, static_cast<uint32_t>(entries.size()), 2);
    for (const Entry& e : entries) put(out, e.tag, 2), put(out, e.type, 2), put(out, e.count, 4), put(out, e.value, 4);
    put(out, next, 4);
}

constexpr uint32_t pixelsAt = 8, secretAt = 12, dataBytes = 24;
const std::string secret = "secretmarks!";

// Header, two pixels at 8, a secret at 12, then pages of `more` entries; the last leads to `end`.
Bytes pagesOf(const std::vector<std::vector<Entry>>& pages, int lastLeadsTo = 0) {
    std::vector<uint32_t> at;
    uint32_t position = dataBytes;
    for (const auto& more : pages) {
        at.push_back(position);
        position += static_cast<uint32_t>(2 + (8 + more.size()) * 12 + 4);
    }
    Bytes out = {'I', 'I', 42, 0};
    put(out, dataBytes, 4);
    out.insert(out.end(), {0x40, 0x80, 0, 0});
    out.insert(out.end(), secret.begin(), secret.end());
    for (size_t i = 0; i < pages.size(); ++i) {
        const uint32_t next = i + 1 < pages.size() ? at[i + 1] : lastLeadsTo ? at[static_cast<size_t>(lastLeadsTo - 1)] : 0;
        putPage(out, pixelsAt, pages[i], next);
    }
    return out;
}
const Entry secretMark{markTag, 1, 12, secretAt};

Bytes tagOf(const std::string& path, uint16_t tag, int page) {
    KernelLoadOptions options;
    K_DefaultLoadOptions(&options, sizeof options);
    options.nPageNumber = page;
    const int size = K_GetFileTag(path.c_str(), tag, nullptr, nullptr, nullptr, &options);
    if (size <= 0) return {};
    Bytes out(static_cast<size_t>(size));
    K_GetFileTag(path.c_str(), tag, nullptr, nullptr, out.data(), &options);
    return out;
}

bool hasPixels(const Bytes& bytes, int page) {
    Image image;
    return load(bytes, image, nullptr, page) == SUCCESS && raws(image.b) == std::vector<uint32_t>{0x40, 0x80};
}

int savePage(const std::string& path, const KernelBitmap& b, uint32_t flags, int page, int compression = KB_COMPRESS_NONE) {
    KernelSaveOptions options;
    K_DefaultSaveOptions(&options, sizeof options);
    options.uFlags = flags;
    options.nPageNumber = page;
    options.nCompression = compression;
    return K_SaveFile(path.c_str(), &b, KB_FORMAT_TIFF, &options);
}

TEST(TiffChain, LastLinkMayBeMissing) {
    for (size_t missing = 0; missing <= 4; ++missing) {
        for (const int pages : {1, 2}) {
            SCOPED_TRACE(::testing::Message() << missing << " bytes, " << pages << " pages");
            Bytes bytes = pagesOf(std::vector<std::vector<Entry>>(static_cast<size_t>(pages), {secretMark}));
            bytes.resize(bytes.size() - missing);
            Image added;
            makeNoise(added, 33, 5, 8, KB_ORDER_GREY, 1, 3);
            for (const int place : {-1, 1, pages}) {
                SCOPED_TRACE(place);
                const TemporaryFile file(bytes);
                ASSERT_EQ(savePage(file.path, added.b, SAVE_INSERTPAGE, place), SUCCESS);
                const Bytes now = file.read();
                const int at = place == -1 ? pages + 1 : place;
                for (int page = 1; page <= pages + 1; ++page) {
                    Image back;
                    if (page == at) {
                        ASSERT_EQ(load(now, back, nullptr, page), SUCCESS);
                        EXPECT_EQ(raws(back.b), raws(added.b));
                    } else {
                        EXPECT_TRUE(hasPixels(now, page));
                    }
                }
            }
            const TemporaryFile file(bytes);
            ASSERT_EQ(K_RewriteFileTag(file.path.c_str(), pages, otherTag, 1, 12, secret.data()), SUCCESS);
            EXPECT_EQ(tagOf(file.path, otherTag, pages), Bytes(secret.begin(), secret.end()));
            EXPECT_TRUE(hasPixels(file.read(), pages));
        }
    }
}

TEST(TiffChain, OldValuesAreZeroedAsFarAsNothingElseIsThere) {
    struct Row {
        const char* name;
        std::vector<std::vector<Entry>> pages;
        int expected;
        std::string left; // of the secret
    };
    const std::string none(12, '\0');
    const Row rows[] = {
        {"its own", {{secretMark}}, SUCCESS, none},
        {"its last byte begins another", {{secretMark, {otherTag, 1, 5, secretAt + 11}}}, SUCCESS, none.substr(1) + "!"},
        {"another in its middle",
         {{secretMark, {otherTag, 1, 6, secretAt + 3}}},
         SUCCESS,
         none.substr(9) + "retmar" + none.substr(9)},
        {"two of another page",
         {{secretMark}, {{otherTag, 1, 5, secretAt}, {otherTag + 1, 1, 5, secretAt + 6}}},
         SUCCESS,
         "secre" + none.substr(11) + "marks" + none.substr(11)},
        {"another page has the same", {{secretMark}, {secretMark}}, SUCCESS, secret},
        {"in the pixels", {{{markTag, 1, 8, pixelsAt}}}, ERROR_FILE_WRITE, secret.substr(0, 4)},
    };
    for (const Row& r : rows) {
        for (const bool removes : {false, true}) {
            SCOPED_TRACE(::testing::Message() << r.name << (removes ? ", taken out" : ", replaced"));
            const TemporaryFile file(pagesOf(r.pages));
            const Bytes other = tagOf(file.path, otherTag, 1);
            EXPECT_EQ(K_RewriteFileTag(file.path.c_str(), 1, markTag, 1, 9, removes ? nullptr : "new value"), r.expected);
            const Bytes now = file.read();
            std::string left(now.begin() + secretAt, now.begin() + secretAt + 12);
            if (r.expected != SUCCESS) {
                EXPECT_EQ(left.substr(0, 4), none.substr(0, 4)); // what lay outside the pixels is gone all the same
            } else {
                EXPECT_EQ(left, r.left);
            }
            EXPECT_EQ(tagOf(file.path, otherTag, 1), other);
            EXPECT_EQ(tagOf(file.path, markTag, 1).size(), removes ? 0u : 9u);
            for (int page = 1; page <= static_cast<int>(r.pages.size()); ++page) EXPECT_TRUE(hasPixels(now, page));
        }
    }
}

TEST(TiffChain, LoopsDoNotKeepOldValues) {
    for (int pages = 1; pages <= 3; ++pages) {
        for (int target = 1; target <= pages; ++target) {
            for (int edited = 1; edited <= pages; ++edited) {
                SCOPED_TRACE(::testing::Message() << "page " << pages << " leads to " << target << ", edited " << edited);
                std::vector<std::vector<Entry>> entries(static_cast<size_t>(pages));
                entries[static_cast<size_t>(edited - 1)] = {secretMark};
                const TemporaryFile file(pagesOf(entries, target));
                ASSERT_EQ(K_RewriteFileTag(file.path.c_str(), edited, markTag, 1, 9, "new value"), SUCCESS);
                const Bytes now = file.read();
                EXPECT_EQ(std::search(now.begin(), now.end(), secret.begin(), secret.end()), now.end());
                Image image;
                KernelFileInfo info{};
                ASSERT_EQ(load(now, image, &info), SUCCESS);
                EXPECT_EQ(info.nPages, pages);
                EXPECT_EQ(tagOf(file.path, markTag, edited).size(), 9u);
            }
        }
    }
}

// Files of this process end at a size while it lives, as on a full disk.
class SizeLimit {
public:
    explicit SizeLimit(size_t bytes) {
        former_ = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &old_);
        const rlimit limit{bytes, old_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~SizeLimit() {
        setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, former_);
    }

private:
    rlimit old_{};
    void (*former_)(int);
};

TEST(TiffChain, FailedPageSavesLeaveTheFile) {
    Image first, second, added;
    makeNoise(first, 40, 9, 24, KB_ORDER_BGR, 1, 1);
    makeNoise(second, 30, 9, 8, KB_ORDER_GREY, 1, 2);
    makeNoise(added, 50, 9, 24, KB_ORDER_BGR, 1, 3);
    const TemporaryFile made;
    ASSERT_EQ(savePage(made.path, first.b, SAVE_INSERTPAGE, 1), SUCCESS);
    ASSERT_EQ(savePage(made.path, second.b, SAVE_INSERTPAGE, 2), SUCCESS);
    const Bytes before = made.read();
    const Bytes marks(500, 0x5A);
    struct Row {
        uint32_t flags;
        int page, place;
    };
    for (const Row& r : {Row{SAVE_INSERTPAGE, -1, 3},
                         {SAVE_INSERTPAGE, 1, 1},
                         {SAVE_INSERTPAGE, 2, 2},
                         {SAVE_REPLACEPAGE, 1, 1},
                         {SAVE_REPLACEPAGE, 2, 2}}) {
        int failures = 0;
        bool done = false;
        for (size_t limit = before.size(); !done; limit += 61) {
            SCOPED_TRACE(::testing::Message() << r.flags << " page " << r.page << " limit " << limit);
            ASSERT_LT(limit, before.size() + 10000);
            const TemporaryFile file(before);
            ASSERT_EQ(K_SetFileTag(markTag, 1, 500, marks.data()), SUCCESS);
            int result;
            {
                const SizeLimit full(limit);
                result = savePage(file.path, added.b, r.flags, r.page);
            }
            done = result == SUCCESS;
            if (done) {
                Image back;
                ASSERT_EQ(load(file.read(), back, nullptr, r.place), SUCCESS);
                EXPECT_EQ(raws(back.b), raws(added.b));
                EXPECT_EQ(tagOf(file.path, markTag, r.place), marks);
            } else {
                ++failures;
                EXPECT_EQ(result, ERROR_FILE_WRITE);
                ASSERT_TRUE(file.read() == before);
            }
        }
        EXPECT_GT(failures, 20); // in the pixels, the directory, the value, the second directory
    }
    // Values of 64 bits don't go into the plain form, which is known before anything is written.
    ASSERT_EQ(K_SetFileTag(markTag, 16, 1, "12345678"), SUCCESS);
    EXPECT_EQ(savePage(made.path, added.b, SAVE_INSERTPAGE, 1), ERROR_FEATURE_NOT_SUPPORTED);
    EXPECT_EQ(made.read(), before);
    const TemporaryFile fresh;
    EXPECT_EQ(savePage(fresh.path, added.b, 0, 1), ERROR_FEATURE_NOT_SUPPORTED);
    EXPECT_FALSE(std::filesystem::exists(fresh.path));
    ASSERT_EQ(K_SetFileTag(markTag, 1, 0, nullptr), SUCCESS);
}

TEST(Save, FailuresLeaveNoHalfFile) {
    Image image;
    makeNoise(image, 60, 40, 8, KB_ORDER_BGR, 1, 5);
    for (const int format : {KB_FORMAT_TIFF, KB_FORMAT_PNG, KB_FORMAT_JPEG, KB_FORMAT_BMP}) {
        SCOPED_TRACE(format);
        EXPECT_EQ(K_SaveFile("/dev/full", &image.b, format, nullptr), ERROR_FILE_WRITE);
        const TemporaryFile fresh, old(Bytes(3000, 1));
        {
            const SizeLimit full(1000);
            EXPECT_EQ(K_SaveFile(fresh.path.c_str(), &image.b, format, nullptr), ERROR_FILE_WRITE);
            EXPECT_EQ(K_SaveFile(old.path.c_str(), &image.b, format, nullptr), ERROR_FILE_WRITE);
        }
        EXPECT_FALSE(std::filesystem::exists(fresh.path));
        ASSERT_TRUE(std::filesystem::exists(old.path));
        EXPECT_EQ(old.read().size(), 0u);
    }
    EXPECT_EQ(savePage("/dev/full", image.b, SAVE_INSERTPAGE, 1), ERROR_FILE_WRITE);
    struct Row {
        const char* name;
        uint32_t flags;
        int page, compression, expected;
    };
    for (const Row& r : {Row{"no such page", SAVE_INSERTPAGE, 2, KB_COMPRESS_NONE, ERROR_PAGE_NOT_FOUND},
                         {"fax of grey into a page", SAVE_INSERTPAGE, 1, KB_COMPRESS_G4, ERROR_FEATURE_NOT_SUPPORTED},
                         {"fax of grey", 0, 1, KB_COMPRESS_G4, ERROR_FEATURE_NOT_SUPPORTED}}) {
        SCOPED_TRACE(r.name);
        const TemporaryFile fresh, old(pagesOf({{}}));
        EXPECT_EQ(savePage(fresh.path, image.b, r.flags, r.page, r.compression), r.expected);
        EXPECT_FALSE(std::filesystem::exists(fresh.path));
        if (r.page > 1) continue; // there it would be a page behind the last
        EXPECT_EQ(savePage(old.path, image.b, r.flags, r.page, r.compression), r.expected);
        EXPECT_EQ(old.read(), pagesOf({{}}));
    }
}

// Indices 1 and 2 with an opacity each, sample by sample or in planes.
TEST(TiffLayout, PalettesWithOpacity) {
    for (const bool planes : {false, true}) {
        for (const uint32_t kind : {1u, 2u}) {
            SCOPED_TRACE(::testing::Message() << (planes ? "planes" : "together") << ", opacity of kind " << kind);
            Bytes out = {'I', 'I', 42, 0};
            const uint32_t mapAt = 12, stripsAt = mapAt + 3 * 16 * 2, countsAt = stripsAt + 8, directoryAt = countsAt + 8;
            put(out, directoryAt, 4);
            // 4 bits: pixels (1, 15) and (2, 3)
            out.insert(out.end(), planes ? std::initializer_list<uint8_t>{0x12, 0xF3, 0, 0}
                                         : std::initializer_list<uint8_t>{0x1F, 0x23, 0, 0});
            for (const uint32_t channel : {0xAA00u, 0xBB00u, 0xCC00u}) {
                for (uint32_t i = 0; i < 16; ++i) put(out, i == 1 ? channel : i == 2 ? channel - 0x1100 : 0, 2);
            }
            put(out, 8, 4), put(out, 9, 4), put(out, 1, 4), put(out, 1, 4);
            const std::vector<Entry> entries = {{256, 3, 1, 2},
                                                {257, 3, 1, 1},
                                                {258, 3, 2, 4 | 4 << 16},
                                                {259, 3, 1, 1},
                                                {262, 3, 1, 3},
                                                {273, 4, planes ? 2u : 1u, planes ? stripsAt : 8},
                                                {277, 3, 1, 2},
                                                {278, 3, 1, 1},
                                                {279, 4, planes ? 2u : 1u, planes ? countsAt : 2},
                                                {284, 3, 1, planes ? 2u : 1u},
                                                {320, 3, 48, mapAt},
                                                {338, 3, 1, kind}};
            put(out, static_cast<uint32_t>(entries.size()), 2);
            for (const Entry& e : entries)
                put(out, e.tag, 2), put(out, e.type, 2), put(out, e.count, 4), put(out, e.value, 4);
            put(out, 0, 4);
            Image image;
            ASSERT_EQ(load(out, image), SUCCESS);
            EXPECT_EQ(image.b.Alpha, 1u);
            EXPECT_EQ(raws(image.b), (std::vector<uint32_t>{0xFFAABBCC, 0x3399AABB}));
        }
    }
}

} // namespace
