// Pages of the text form: finding, inserting, replacing and deleting them, and what is left when a write fails.
#include "persist/pages.h"
#include "persist/recognition.h"
#include "tests/persist/support.h"

using namespace kbann;
using namespace kbann::test;

namespace {

// A page that is told by its tag and grows with its rectangles.
StoredTree taggedPage(char tag, int rectangles = 1) {
    StoredTree tree = newTree();
    tree.root->uTag = static_cast<uint32_t>(tag);
    for (int i = 0; i < rectangles; ++i) newObject(ANN_OBJECT_RECT, tree.root);
    return tree;
}

int savePage(AnnStream& stream, const AnnObject& root, uint32_t flags, int32_t page) {
    const PageOptions options(flags, page);
    return annSaveToStream(stream, root, ANN_FMT_NATIVE, {}, &options.options);
}

// Tags of the pages, each loaded by its number; '!' where one can't be.
std::string pagesOf(AnnStream& stream) {
    uint32_t pages = 0;
    EXPECT_EQ(annCountTextPages(stream, pages), SUCCESS);
    std::string tags;
    for (uint32_t page = 1; page <= pages; ++page) {
        HANNOBJECT hObject = nullptr;
        const KernelLoadOptions options = loadPage(static_cast<int32_t>(page));
        const int code = annLoadFromStream(stream, &hObject, &options);
        const StoredTree tree(annFromHandle(hObject));
        tags += code == SUCCESS && tree.root ? static_cast<char>(tree.root->uTag) : '!';
    }
    return tags;
}

struct Step {
    uint32_t flags;
    int32_t page;
    char tag;
    int rectangles;
    int code;
    const char* pages; // afterwards
};

constexpr uint32_t insert = SAVE_INSERTPAGE, replace = SAVE_REPLACEPAGE;

TEST(TextPages, SavesOfPages) {
    const Step steps[] = {
        {insert, 2, 'x', 1, ERROR_PAGE_NOT_FOUND, ""},
        {replace, 0, 'x', 1, ERROR_PAGE_NOT_FOUND, ""},
        {insert, -1, 'a', 1, SUCCESS, "a"},
        {replace, 1, 'b', 3, SUCCESS, "b"},
        {insert, 3, 'x', 1, ERROR_PAGE_NOT_FOUND, "b"},
        {insert, -2, 'x', 1, ERROR_PAGE_NOT_FOUND, "b"},
        {insert, 2, 'c', 90, SUCCESS, "bc"}, // longer than one piece of a move
        {insert, 1, 'd', 0, SUCCESS, "dbc"},
        {insert, 3, 'e', 200, SUCCESS, "dbec"},
        {replace, 2, 'f', 0, SUCCESS, "dfec"},   // shorter
        {replace, 3, 'g', 300, SUCCESS, "dfgc"}, // longer
        {replace, 4, 'h', 2, SUCCESS, "dfgh"},
        {replace, 5, 'x', 1, ERROR_PAGE_NOT_FOUND, "dfgh"},
        {replace, -1, 'i', 1, SUCCESS, "dfghi"},
        {insert | replace, 1, 'x', 1, ERROR_INV_PARAMETER, "dfghi"},
        {4, 1, 'x', 1, ERROR_INV_PARAMETER, "dfghi"},
        {0, 77, 'j', 1, SUCCESS, "j"},
    };
    TextStream data;
    for (const auto& step : steps) {
        SCOPED_TRACE(std::string("page ") + step.tag + " onto " + step.pages);
        const StoredTree page = taggedPage(step.tag, step.rectangles);
        const std::string before = data.text();
        EXPECT_EQ(savePage(data.stream, *page.root, step.flags, step.page), step.code);
        if (step.code != SUCCESS) {
            EXPECT_EQ(data.text(), before);
        }
        if (!*step.pages) continue;
        EXPECT_EQ(pagesOf(data.stream), step.pages);
        // The bytes are those of the pages alone, one header before them.
        std::string joined = "KBANNBEGIN\r\n";
        for (uint32_t i = 1; i <= std::string_view(step.pages).size(); ++i) {
            TextPage found;
            ASSERT_EQ(annFindTextPage(data.stream, static_cast<int32_t>(i), found), SUCCESS);
            joined += data.text().substr(found.start, found.size);
        }
        EXPECT_EQ(data.text(), joined);
    }
}

TEST(TextPages, Deleting) {
    TextStream data;
    for (const char tag : {'a', 'b', 'c'})
        ASSERT_EQ(savePage(data.stream, *taggedPage(tag, tag == 'b' ? 150 : 2).root, insert, -1), SUCCESS);
    const std::string whole = data.text();
    for (const int32_t page : {0, -1, 4}) EXPECT_EQ(annDeletePage(data.stream, page), ERROR_PAGE_NOT_FOUND);
    EXPECT_EQ(data.text(), whole);
    EXPECT_EQ(annDeletePage(data.stream, 2), SUCCESS);
    EXPECT_EQ(pagesOf(data.stream), "ac");
    EXPECT_EQ(annDeletePage(data.stream, 2), SUCCESS);
    EXPECT_EQ(pagesOf(data.stream), "a");
    const std::string last = data.text();
    EXPECT_EQ(annDeletePage(data.stream, 1), ERROR_DELETE_LAST_PAGE);
    EXPECT_EQ(data.text(), last);
    EXPECT_EQ(last, saved(taggedPage('a', 2).root));
}

TEST(TextPages, DataBehindABaseKeepsWhatIsBefore) {
    TextStream data("before");
    data.stream.uBase = 6;
    ASSERT_EQ(savePage(data.stream, *taggedPage('a').root, 0, 1), SUCCESS);
    ASSERT_EQ(savePage(data.stream, *taggedPage('b').root, insert, 1), SUCCESS);
    EXPECT_EQ(pagesOf(data.stream), "ba");
    EXPECT_EQ(annDeletePage(data.stream, 1), SUCCESS);
    EXPECT_EQ(data.text(), "before" + saved(taggedPage('a').root));
}

TEST(TextPages, WhatIsNoPageIsWrittenOver) {
    const std::string one = saved(taggedPage('a').root);
    const struct {
        const char* name;
        std::string behind;
    } rows[] = {{"another line", "REMARK\r\nBEGINOBJECT\r\n"},
                {"a page that breaks off", "BEGINOBJECT\r\n0\r\nVISIBLE\r\n"},
                {"a second page end", "KBANNEND\r\n"},
                {"nothing", ""}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        TextStream data(one + row.behind);
        uint32_t pages = 0;
        EXPECT_EQ(annCountTextPages(data.stream, pages), SUCCESS);
        EXPECT_EQ(pages, 1u);
        ASSERT_EQ(savePage(data.stream, *taggedPage('b').root, insert, 2), SUCCESS);
        EXPECT_EQ(pagesOf(data.stream), "ab");
    }
    TextStream unended(one.substr(0, one.size() - 2));
    ASSERT_EQ(savePage(unended.stream, *taggedPage('b').root, insert, -1), SUCCESS);
    EXPECT_EQ(pagesOf(unended.stream), "ab") << "the last line had no end";
}

TEST(TextPages, TextsThatLookLikeAPageEnd) {
    // Six bytes whose encoded line has the letters of the page end.
    std::string looksLikeEnd(6, 0);
    TextStream in("KBANNEND\r\n");
    TextReader reader(in.stream);
    ASSERT_TRUE(reader.run(reinterpret_cast<uint8_t*>(looksLikeEnd.data()), looksLikeEnd.size()));
    StoredTree page = taggedPage('a');
    page.root->pFirstChild->pszName.assign(looksLikeEnd);
    TextStream data;
    ASSERT_EQ(savePage(data.stream, *page.root, 0, 1), SUCCESS);
    ASSERT_NE(data.text().find("6\r\nKBANNEND\r\n"), std::string::npos);
    ASSERT_EQ(savePage(data.stream, *taggedPage('b').root, insert, 2), SUCCESS);
    EXPECT_EQ(pagesOf(data.stream), "ab");
}

// A nested container with nothing in it is not written. As a page among others it still is one, and hides nothing behind it.
TEST(TextPages, EmptyPagesCount) {
    TextStream data;
    ASSERT_EQ(savePage(data.stream, *taggedPage('a').root, insert, 1), SUCCESS);
    ASSERT_EQ(savePage(data.stream, *taggedPage('c').root, insert, 2), SUCCESS);
    const StoredTree tree = newTree();
    ASSERT_EQ(savePage(data.stream, *newObject(ANN_OBJECT_CONTAINER, tree.root), insert, 2), SUCCESS);
    const std::string pages = pagesOf(data.stream);
    ASSERT_EQ(pages.size(), 3u);
    EXPECT_EQ(pages.substr(0, 1) + pages.substr(2), "ac");
}

// Broken content of one page leaves the others where they are.
TEST(TextPages, AStrayLineHidesNoPage) {
    TextStream data(fileText("KBANNBEGIN\nBEGINOBJECT\n0\nENDOBJECT\nREMARK\nKBANNEND\n"
                             "BEGINOBJECT\n0\nTAG\n98\nENDOBJECT\nKBANNEND\n"));
    EXPECT_EQ(pagesOf(data.stream), "!b");
}

TEST(TextPages, AFailedWriteIsToldAndLeavesTheDataUntilItMoves) {
    TextStream one, two;
    ASSERT_EQ(savePage(one.stream, *taggedPage('a', 60).root, insert, -1), SUCCESS);
    for (const char tag : {'a', 'b'}) ASSERT_EQ(savePage(two.stream, *taggedPage(tag, 60).root, insert, -1), SUCCESS);
    const size_t oldBytes = one.text().size() - 12;
    const struct {
        const char* name;
        std::string data;
        uint32_t flags;
        int32_t page;
        int rectangles;
        const char* after;
    } rows[] = {{"insert between", two.text(), insert, 2, 20, "acb"},
                {"replace by more", two.text(), replace, 1, 90, "cb"},
                {"replace the only one by more", one.text(), replace, 1, 90, "c"},
                {"replace the only one by less", one.text(), replace, 1, 20, "c"}};
    for (const auto& row : rows) {
        const StoredTree page = taggedPage('c', row.rectangles);
        const size_t newBytes = saved(page.root).size() - 12, replaced = row.flags == replace ? oldBytes : 0;
        const int roomWrites = newBytes > replaced ? static_cast<int>((newBytes - replaced + 1023) / 1024) : 0;
        int writes = 0;
        for (;; ++writes) {
            SCOPED_TRACE(std::string(row.name) + ", write " + std::to_string(writes));
            ASSERT_LT(writes, 10'000);
            TextStream copy(row.data);
            FailingStream failing(copy.stream, writes);
            const PageOptions options(row.flags, row.page);
            const int code = annSaveToStream(failing, *page.root, ANN_FMT_NATIVE, {}, &options.options);
            const std::string after(static_cast<const char*>(failing.pBlock), failing.uEnd);
            if (code == SUCCESS) {
                EXPECT_EQ(pagesOf(failing), row.after);
            } else {
                EXPECT_EQ(code, ERROR_FILE_WRITE);
                if (writes < roomWrites) {
                    EXPECT_EQ(after, row.data) << "no room: nothing has moved, and the end is where it was";
                }
            }
            copy.stream.pBlock = failing.pBlock;
            if (code == SUCCESS) break;
        }
        EXPECT_GT(writes, roomWrites) << row.name << ": moving and writing follow";
    }

    const StoredTree page = taggedPage('c', 20);
    TextStream fresh;
    FailingStream failing(fresh.stream, 0);
    EXPECT_EQ(annSaveToStream(failing, *page.root, ANN_FMT_NATIVE, {}, nullptr), ERROR_FILE_WRITE);
}

TEST(TextPages, MovingBlocksBothWays) {
    std::string text(100'000, 0);
    for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>('a' + i % 23);
    for (const int64_t delta : {0, 1, -1, 5000, -5000, 40'000, -10'000}) {
        TextStream data(text);
        const uint64_t start = 10'000, length = 70'000;
        ASSERT_EQ(annMoveBlock(data.stream, start, length, delta), SUCCESS);
        EXPECT_EQ(data.text().substr(static_cast<size_t>(10'000 + delta), length), text.substr(start, length)) << delta;
    }
    TextStream data(text);
    EXPECT_EQ(annMoveBlock(data.stream, 0, 0, 5), SUCCESS);
    KbSetAllocationHook([](SIZE_T, void*) -> BOOL { return 0; }, nullptr);
    const int code = annMoveBlock(data.stream, 0, 10, 5);
    KbSetAllocationHook(nullptr, nullptr);
    EXPECT_EQ(code, ERROR_FAILURE);
    EXPECT_EQ(data.text(), text);
}

// Coded data: a header line and a chain of links, each with the offset of the next.
std::string codedData(std::initializer_list<std::pair<uint32_t, uint32_t>> links, size_t size) {
    std::string data = "KBANNBEGINCODED\r\n";
    data.resize(size, 0);
    for (const auto& [at, next] : links) {
        const char link[6] = {52,
                              0,
                              static_cast<char>(next),
                              static_cast<char>(next >> 8),
                              static_cast<char>(next >> 16),
                              static_cast<char>(next >> 24)};
        data.replace(at, 6, link, 6);
    }
    return data;
}

TEST(Recognition, FormsVersionsAndPages) {
    using namespace std::string_literals;
    const std::string text = saved(taggedPage('a').root);
    const struct {
        const char* name;
        std::string data;
        int code;
        uint32_t nFormat, nVersion, pages;
        int loadCode;
    } rows[] = {
        {"text", text, SUCCESS, ANN_FMT_NATIVE, 13, 1, SUCCESS},
        {"two pages", text + text.substr(12), SUCCESS, ANN_FMT_NATIVE, 13, 2, SUCCESS},
        {"the header alone", "KBANNBEGIN\r\n", SUCCESS, ANN_FMT_NATIVE, 13, 0, ERROR_PAGE_NOT_FOUND},
        {"marks with 0", "\4\0\0\0\0\0\0\0\5\0\0\0"s, SUCCESS, ANN_FMT_WANGTAG, 12, 1, ERROR_FILE_READ},
        {"marks with 1", "abcd\1\0\0\0"s, SUCCESS, ANN_FMT_WANGTAG, 12, 1, SUCCESS},
        {"coded without links", "KBANNBEGINCODED\r\n\0\0\4\0\0\0"s, SUCCESS, ANN_FMT_ENCODED, 12, 1, ERROR_FILE_READ},
        {"coded, one page", codedData({{17, 23}, {23, 40}, {40, 0}}, 46), SUCCESS, ANN_FMT_ENCODED, 13, 1, ERROR_FILE_READ},
        {"coded, pages out of order", codedData({{17, 80}, {80, 23}, {23, 60}, {60, 0}}, 86), SUCCESS, ANN_FMT_ENCODED, 13,
         2, ERROR_FILE_READ},
        {"coded without a page", codedData({{17, 23}, {23, 0}}, 29), SUCCESS, ANN_FMT_ENCODED, 13, 0, ERROR_PAGE_NOT_FOUND},
        {"a chain that ends at once", codedData({{17, 0}}, 23), ERROR_FILE_READ, 0, 0, 0, ERROR_FILE_READ},
        {"a link to itself", codedData({{17, 23}, {23, 23}}, 29), ERROR_FILE_READ, 0, 0, 0, ERROR_FILE_READ},
        {"a loop", codedData({{17, 23}, {23, 40}, {40, 50}, {50, 60}, {60, 40}}, 66), ERROR_FILE_READ, 0, 0, 0,
         ERROR_FILE_READ},
        {"a link back to the head", codedData({{17, 23}, {23, 17}}, 29), ERROR_FILE_READ, 0, 0, 0, ERROR_FILE_READ},
        {"a link beyond the data", codedData({{17, 23}, {23, 4000}}, 29), ERROR_FILE_READ, 0, 0, 0, ERROR_FILE_READ},
        {"a link to something else", codedData({{17, 23}, {23, 30}}, 60), ERROR_FILE_READ, 0, 0, 0, ERROR_FILE_READ},
        {"too short", "KBANNBE", ERROR_FILE_READ, 0, 0, 0, ERROR_FILE_READ},
        {"nothing", "", ERROR_FILE_READ, 0, 0, 0, ERROR_FILE_READ},
        {"small letters", "kbannbegin\r\nKBANNEND\r\n", ERROR_FILE_READ, 0, 0, 0, ERROR_FILE_READ},
        {"a longer word", "KBANNBEGINNING\r\nKBANNEND\r\n", ERROR_FILE_READ, 0, 0, 0, ERROR_FILE_READ},
        {"another file", "%PDF-1.4 and more\n", ERROR_FILE_READ, 0, 0, 0, ERROR_FILE_READ},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string data = row.data.empty() ? " " : row.data;
        AnnFileInfoRecord info{};
        info.uStructSize = sizeof info;
        EXPECT_EQ(annFileInfoMemory(data.data(), static_cast<uint32_t>(row.data.size()), &info), row.code);
        EXPECT_EQ(info.nFormat, row.nFormat);
        EXPECT_EQ(info.nVersion, row.nVersion);
        EXPECT_EQ(info.nTotalPages, row.pages);
        HANNOBJECT hObject = nullptr;
        EXPECT_EQ(K_AnnLoadMemory(data.data(), static_cast<uint32_t>(row.data.size()), &hObject, nullptr), row.loadCode);
        const StoredTree tree(annFromHandle(hObject));
        if (row.code != SUCCESS || row.nFormat == ANN_FMT_NATIVE) continue;
        // A text page has no place in another form; one page of it can't be deleted.
        TextStream stream(row.data);
        EXPECT_EQ(savePage(stream.stream, *taggedPage('b').root, insert, 1), ERROR_INV_PARAMETER);
        EXPECT_EQ(stream.text(), row.data);
        if (row.pages == 1) {
            EXPECT_EQ(annDeletePage(stream.stream, 1), ERROR_DELETE_LAST_PAGE);
        }
    }
}

} // namespace
