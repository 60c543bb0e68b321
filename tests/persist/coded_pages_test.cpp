// Pages of the coded form: links, chains that lie, saves in every place, and what is left when a write fails.
#include "persist/coded_pages.h"
#include "persist/recognition.h"
#include "tests/persist/coded_bytes.h"
#include "tests/persist/support.h"
#include "tests/persist/test_file.h"

#include <fcntl.h>
#include <random>
#include <unistd.h>
#include <vector>

using namespace kbann;
using namespace kbann::test;

namespace {

constexpr uint32_t insert = SAVE_INSERTPAGE, replace = SAVE_REPLACEPAGE;

StoredTree taggedPage(uint32_t tag, int rectangles = 1) {
    StoredTree tree = newTree();
    tree.root->uTag = tag;
    for (int i = 0; i < rectangles; ++i) newObject(ANN_OBJECT_RECT, tree.root);
    return tree;
}

int savePage(AnnStream& stream, uint32_t tag, uint32_t flags, int32_t page, int rectangles = 1) {
    const PageOptions options(flags, page);
    return annSaveToStream(stream, *taggedPage(tag, rectangles).root, ANN_FMT_ENCODED, {}, &options.options);
}

// Tags of the pages as letters; '!' where one can't be loaded.
std::string pagesOf(AnnStream& stream) {
    AnnFileInfoRecord info{};
    if (annQueryInfo(stream, info) != SUCCESS) return "no data";
    std::string tags;
    for (uint32_t page = 1; page <= info.nTotalPages; ++page) {
        HANNOBJECT hObject = nullptr;
        const KernelLoadOptions options = loadPage(static_cast<int32_t>(page));
        const int code = annLoadFromStream(stream, &hObject, &options);
        const StoredTree tree(annFromHandle(hObject));
        tags += code == SUCCESS && tree.root ? static_cast<char>(tree.root->uTag) : '!';
    }
    return tags;
}

std::string pageTokens(uint32_t tag, int rectangles = 1) {
    TextStream out;
    CodedWriter writer(out.stream);
    EXPECT_EQ(annWriteTree(writer, *taggedPage(tag, rectangles).root, {}, 0), SUCCESS);
    writer.finish();
    return out.text();
}

TEST(CodedPages, LinksByHand) {
    TextStream data("base" + std::string(40, '.'));
    AnnStream& stream = data.stream;
    stream.uBase = 4;
    stream.uPos = 14;
    uint64_t at = 0;
    EXPECT_EQ(annWriteLink(stream, 20, 0x01020304, LINK_SEEK | LINK_KEEP, &at), SUCCESS);
    EXPECT_EQ(at, 10u);
    EXPECT_EQ(stream.uPos, 14u);
    EXPECT_EQ(data.text().substr(24, 7), std::string_view("\x34\0\x04\x03\x02\x01.", 7));
    uint32_t next = 0;
    EXPECT_EQ(annReadLink(stream, 20, next, LINK_SEEK, &at), SUCCESS);
    EXPECT_EQ(next, 0x01020304u);
    EXPECT_EQ(stream.uPos, 30u);
    for (const uint64_t position : {0, 21, 36, 5000}) {
        EXPECT_EQ(annReadLink(stream, position, next, LINK_SEEK, nullptr), ERROR_FILE_READ) << position;
        EXPECT_EQ(stream.uPos, 30u);
    }
}

TEST(CodedPages, OnePageAddedByteForByte) {
    const std::string a = pageTokens('a'), b = pageTokens('b', 2);
    TextStream data;
    ASSERT_EQ(savePage(data.stream, 'a', 0, 1), SUCCESS);
    EXPECT_EQ(data.text(), pagedData(a));
    EXPECT_EQ(data.stream.uPos, data.stream.uEnd);
    ASSERT_EQ(savePage(data.stream, 'b', insert, 1, 2), SUCCESS);
    const auto second = static_cast<uint32_t>(29 + a.size()), end = static_cast<uint32_t>(second + 6 + b.size());
    const std::string both =
        codedHeaderBytes().token(52, second).token(52, end).text(a).token(52, 23).text(b).token(52, 0).bytes;
    EXPECT_EQ(data.text(), both);
    EXPECT_EQ(data.stream.uPos, data.stream.uEnd) << "what a save tells as written is the data's size";
    ASSERT_EQ(annDeletePage(data.stream, 1), SUCCESS);
    EXPECT_EQ(data.text(), both.substr(0, 17) + CodedBytes{}.token(52, 23).bytes + both.substr(23)) << "one link changes";
}

TEST(CodedPages, SavesOfPages) {
    const struct {
        uint32_t flags;
        int32_t page;
        char tag;
        int code;
        const char* pages; // afterwards
    } steps[] = {
        {insert, 2, 'x', ERROR_PAGE_NOT_FOUND, ""},
        {replace, 2, 'x', ERROR_PAGE_NOT_FOUND, ""},
        {replace, -1, 'a', SUCCESS, "a"},
        {replace, 1, 'b', SUCCESS, "b"},
        {insert, 3, 'x', ERROR_PAGE_NOT_FOUND, "b"},
        {insert, 0, 'x', ERROR_PAGE_NOT_FOUND, "b"},
        {insert, 2, 'c', SUCCESS, "bc"},
        {insert, 1, 'd', SUCCESS, "dbc"},
        {insert, 3, 'e', SUCCESS, "dbec"},
        {replace, 2, 'f', SUCCESS, "dfec"},
        {replace, 4, 'g', SUCCESS, "dfeg"},
        {replace, 5, 'x', ERROR_PAGE_NOT_FOUND, "dfeg"},
        {replace, -1, 'h', SUCCESS, "dfegh"},
        {insert, -1, 'i', SUCCESS, "dfeghi"},
        {insert | replace, 1, 'x', ERROR_INV_PARAMETER, "dfeghi"},
    };
    TextStream data;
    for (const auto& step : steps) {
        SCOPED_TRACE(std::string("page ") + step.tag + " onto " + step.pages);
        const std::string before = data.text();
        EXPECT_EQ(savePage(data.stream, static_cast<uint32_t>(step.tag), step.flags, step.page), step.code);
        if (step.code != SUCCESS) {
            EXPECT_EQ(data.text(), before);
        }
        if (*step.pages) {
            EXPECT_EQ(pagesOf(data.stream), step.pages);
        }
    }
    for (const int32_t page : {0, -1, 7}) EXPECT_EQ(annDeletePage(data.stream, page), ERROR_PAGE_NOT_FOUND);
    const size_t size = data.text().size();
    for (const char* left : {"dfeghi", "feghi", "fehi", "fei"}) {
        EXPECT_EQ(pagesOf(data.stream), left);
        EXPECT_EQ(annDeletePage(data.stream, *left == 'd' ? 1 : 3), SUCCESS);
    }
    EXPECT_EQ(pagesOf(data.stream), "fe");
    EXPECT_EQ(data.text().size(), size) << "deleted pages are dead space";
    ASSERT_EQ(savePage(data.stream, 'z', 0, 99), SUCCESS);
    EXPECT_EQ(data.text(), pagedData(pageTokens('z'))) << "a whole save cuts behind its end";
    EXPECT_EQ(annDeletePage(data.stream, 1), ERROR_DELETE_LAST_PAGE);

    // Text pages don't mix with these.
    const PageOptions options(insert, 1);
    EXPECT_EQ(annSaveToStream(data.stream, *taggedPage('t').root, ANN_FMT_NATIVE, {}, &options.options),
              ERROR_INV_PARAMETER);
}

TEST(CodedPages, DataWithoutLinks) {
    const struct {
        uint32_t flags;
        int32_t page;
        int code;
        const char* pages;
        uint32_t version;
    } rows[] = {
        {insert, 1, SUCCESS, "ba", 13},
        {insert, 2, SUCCESS, "ab", 13},
        {insert, -1, SUCCESS, "ab", 13},
        {replace, -1, SUCCESS, "ab", 13},
        {replace, 1, SUCCESS, "b", 13},
        {0, 1, SUCCESS, "b", 13},
        {insert, 3, ERROR_PAGE_NOT_FOUND, "a", 12},
        {replace, 2, ERROR_PAGE_NOT_FOUND, "a", 12},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.flags) + " " + std::to_string(row.page));
        TextStream data(onePageData(pageTokens('a', 3)) + "left from before");
        EXPECT_EQ(savePage(data.stream, 'b', row.flags, row.page), row.code);
        EXPECT_EQ(pagesOf(data.stream), row.pages);
        AnnFileInfoRecord info{};
        EXPECT_EQ(annQueryInfo(data.stream, info), SUCCESS);
        EXPECT_EQ(info.nVersion, row.version);
        EXPECT_EQ(data.text().ends_with("left from before"), row.code != SUCCESS);
    }
    TextStream one(onePageData(pageTokens('a')));
    EXPECT_EQ(annDeletePage(one.stream, 1), ERROR_DELETE_LAST_PAGE);
    HANNOBJECT hObject = nullptr;
    const KernelLoadOptions second = loadPage(2);
    EXPECT_EQ(annLoadFromStream(one.stream, &hObject, &second), ERROR_PAGE_NOT_FOUND);
    const std::string broken = onePageData(pageTokens('a').substr(0, 50));
    TextStream unreadable(broken);
    EXPECT_EQ(savePage(unreadable.stream, 'b', insert, 1), ERROR_FILE_READ);
    EXPECT_EQ(unreadable.text(), broken);
}

TEST(CodedPages, ATreeThatIsTooDeepWritesNothing) {
    StoredTree deep = newTree();
    AnnObject* inner = deep.root;
    for (uint32_t i = 0; i < maxTreeDepth; ++i) inner = newObject(ANN_OBJECT_CONTAINER, inner);
    newObject(ANN_OBJECT_RECT, inner);
    const std::string page = pageTokens('a');
    for (const std::string& before : {pagedData(page), onePageData(page)}) {
        for (const uint32_t flags : {0u, insert, replace}) {
            TextStream data(before);
            const PageOptions options(flags, 1);
            EXPECT_EQ(annSaveToStream(data.stream, *deep.root, ANN_FMT_ENCODED, {}, &options.options), ERROR_INV_PARAMETER);
            EXPECT_EQ(data.text(), before);
        }
    }
}

// An end link that doesn't lie last: what would be appended behind it would go over another page.
TEST(CodedPages, APageBehindTheEndLinkIsntWrittenOver) {
    const std::string page = pageTokens('a');
    const std::string data = codedHeaderBytes().token(52, 35).token(52, 0).text("......").token(52, 23).text(page).bytes;
    TextStream stream(data);
    EXPECT_EQ(pagesOf(stream.stream), "a");
    EXPECT_EQ(savePage(stream.stream, 'b', insert, 1), ERROR_FILE_READ);
    EXPECT_EQ(stream.text(), data);
}

// The end link lies in a page, as the payload of a token that readers step over.
TEST(CodedPages, APageThatRunsOverTheEndLinkIsntWrittenOver) {
    const std::string page = pageTokens('a');
    const CodedBytes link = CodedBytes{}.token(52, 0);
    const size_t fields = 10, behindFields = 29 + fields; // BEGINOBJECT with its type, and then the token stepped over
    const std::string data = codedHeaderBytes()
                                 .token(52, 23)
                                 .token(52, static_cast<uint32_t>(behindFields + 6))
                                 .text(page.substr(0, fields))
                                 .token(900, 6)
                                 .text(link.bytes)
                                 .text(page.substr(fields))
                                 .bytes;
    TextStream stream(data);
    ASSERT_EQ(pagesOf(stream.stream), "a");
    EXPECT_EQ(savePage(stream.stream, 'b', insert, 1), ERROR_FILE_READ);
    EXPECT_EQ(stream.text(), data);
    // Bytes behind the end link alone are no reason.
    TextStream trailed(pagedData(page) + "left from before");
    EXPECT_EQ(savePage(trailed.stream, 'b', insert, -1), SUCCESS);
    EXPECT_EQ(pagesOf(trailed.stream), "ab");
}

TEST(CodedPages, AMillionPages) {
    constexpr uint32_t pages = 1'000'000, pageBytes = 12; // a link and a page end
    CodedBytes data = codedHeaderBytes().token(52, 23);
    for (uint32_t i = 1; i <= pages; ++i) data.token(52, 23 + i * pageBytes).token(40, 0);
    data.token(52, 0);
    TextStream stream(data.bytes);
    AnnFileInfoRecord info{};
    ASSERT_EQ(annQueryInfo(stream.stream, info), SUCCESS);
    EXPECT_EQ(info.nTotalPages, pages);
    HANNOBJECT hObject = nullptr;
    const KernelLoadOptions last = loadPage(pages);
    EXPECT_EQ(annLoadFromStream(stream.stream, &hObject, &last), SUCCESS);
    const StoredTree tree(annFromHandle(hObject));
    EXPECT_EQ(savePage(stream.stream, 'a', insert, 500'000), SUCCESS);
    EXPECT_EQ(annDeletePage(stream.stream, 1), SUCCESS);
    PageChain chain;
    ASSERT_EQ(annWalkChain(stream.stream, 0, chain, 0), SUCCESS);
    EXPECT_EQ(chain.pages, pages);
    // Bent into a circle near its end.
    const CodedBytes circle = CodedBytes{}.token(52, 23 + pageBytes);
    ASSERT_TRUE(annSeekTo(stream.stream, 23 + uint64_t{pageBytes} * (pages - 1)));
    ASSERT_TRUE(annWriteAll(stream.stream, circle.bytes.data(), circle.bytes.size()));
    EXPECT_EQ(annWalkChain(stream.stream, 0, chain, 0), ERROR_FILE_READ);
}

// Writes that come up short from some point on, or once: half of what is appended goes through, and nothing of what is
// written over.
struct ShortStream : AnnStream {
    int64_t (*writeThrough)(AnnStream&, const void*, int64_t);
    int writesLeft;
    bool once;
    ShortStream(const AnnStream& stream, int writes, bool onceOnly)
        : AnnStream(stream), writeThrough(stream.pfnWrite), writesLeft(writes), once(onceOnly) {
        pfnWrite = [](AnnStream& self, const void* source, int64_t count) -> int64_t {
            auto& stream = static_cast<ShortStream&>(self);
            const bool fails = stream.writesLeft <= 0 && (!stream.once || stream.writesLeft == 0);
            if (count) --stream.writesLeft;
            if (!fails || !count) return stream.writeThrough(self, source, count);
            const bool over = self.uPos < self.uEnd && !stream.once;
            return over ? 0 : stream.writeThrough(self, source, count / 2);
        };
    }
};

TEST(CodedPages, AFailedWriteLeavesThePagesOfBefore) {
    TextStream three;
    for (const char tag : {'a', 'b', 'c'})
        ASSERT_EQ(savePage(three.stream, static_cast<uint32_t>(tag), insert, 1, 5), SUCCESS);
    const struct {
        const char* name;
        std::string data;
        uint32_t flags;
        int32_t page;
        const char *before, *after;
    } rows[] = {
        {"insert at the front", three.text(), insert, 1, "cba", "xcba"},
        {"insert in the middle", three.text(), insert, 2, "cba", "cxba"},
        {"insert behind the last", three.text(), insert, -1, "cba", "cbax"},
        {"replace the first", three.text(), replace, 1, "cba", "xba"},
        {"replace the last", three.text(), replace, 3, "cba", "cbx"},
        {"replace the only one", pagedData(pageTokens('a')), replace, 1, "a", "x"},
        {"into data without links", onePageData(pageTokens('a', 9)), insert, 1, "a", "xa"},
        {"behind data without links", onePageData(pageTokens('a', 9)), insert, -1, "a", "ax"},
        {"delete", three.text(), 0, 2, "cba", "ca"},
    };
    for (const auto& row : rows) {
        const bool isPaged = row.data != onePageData(pageTokens('a', 9));
        for (const bool once : {false, true}) {
            for (int writes = 0;; ++writes) {
                SCOPED_TRACE(std::string(row.name) + ", write " + std::to_string(writes) + (once ? " once" : " and on"));
                ASSERT_LT(writes, 100);
                TextStream copy(row.data);
                ShortStream failing(copy.stream, writes, once);
                const int code =
                    row.flags ? savePage(failing, 'x', row.flags, row.page, 300) : annDeletePage(failing, row.page);
                copy.stream.pBlock = failing.pBlock;
                copy.stream.uLimit = failing.uLimit;
                copy.stream.uEnd = failing.uEnd;
                const bool met = failing.writesLeft < 0 || (writes == 0 && failing.writesLeft == 0);
                EXPECT_TRUE(met || code == SUCCESS);
                EXPECT_EQ(pagesOf(copy.stream), code == SUCCESS ? row.after : row.before);
                if (code != SUCCESS && once && isPaged) {
                    EXPECT_TRUE(copy.text() == row.data) << "nothing of the refused page is left";
                }
                if (code == SUCCESS) break;
                EXPECT_EQ(code, ERROR_FILE_WRITE);
            }
        }
    }
}

// Page operations against a list of tags, over files and memory, in both forms.
class PageModel {
public:
    PageModel(uint32_t form, unsigned seed) : form_(form), random_(seed) {}

    // One operation. place: saves a page, deletes one, loads one.
    template <class Place> void step(Place& place) {
        const uint32_t tag = 1000 + below(1'000'000);
        const auto pages = static_cast<int32_t>(tags_.size());
        int32_t page = static_cast<int32_t>(below(static_cast<uint32_t>(pages) + 3)); // some are none
        if (below(8) == 0) page = -1;
        const uint32_t kind = below(pages > 12 ? 20 : 10);
        if (below(60) == 0) {
            ASSERT_EQ(save(place, tag, 0, page), SUCCESS);
            tags_ = {tag};
        } else if (kind < 5) {
            const bool good = page == -1 || (page >= 1 && page <= pages + 1);
            ASSERT_EQ(save(place, tag, insert, page), good ? SUCCESS : ERROR_PAGE_NOT_FOUND) << page << " of " << pages;
            if (good) tags_.insert(page == -1 ? tags_.end() : tags_.begin() + page - 1, tag);
        } else if (kind < 8) {
            const bool good = page == -1 || (page >= 1 && page <= std::max(pages, 1));
            ASSERT_EQ(save(place, tag, replace, page), good ? SUCCESS : ERROR_PAGE_NOT_FOUND) << page << " of " << pages;
            if (good && (page == -1 || !pages))
                tags_.push_back(tag);
            else if (good)
                tags_[static_cast<size_t>(page - 1)] = tag;
        } else if (pages) {
            const int expected = pages == 1                   ? ERROR_DELETE_LAST_PAGE
                                 : page >= 1 && page <= pages ? SUCCESS
                                                              : ERROR_PAGE_NOT_FOUND;
            ASSERT_EQ(place.remove(page), expected) << page << " of " << pages;
            if (expected == SUCCESS) tags_.erase(tags_.begin() + page - 1);
        }
        if (tags_.empty()) return;
        const size_t looked = below(static_cast<uint32_t>(tags_.size()));
        ASSERT_EQ(place.tagOf(static_cast<int32_t>(looked + 1)), tags_[looked]) << "page " << looked + 1;
        ASSERT_EQ(place.tagOf(static_cast<int32_t>(tags_.size() + 1)), 0u);
    }

private:
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }

    template <class Place> int save(Place& place, uint32_t tag, uint32_t flags, int32_t page) {
        const PageOptions options(flags, page);
        return place.save(taggedPage(tag, static_cast<int>(below(3))), form_, &options.options);
    }

    uint32_t form_;
    std::mt19937 random_;
    std::vector<uint32_t> tags_;
};

uint32_t rootTag(int code, HANNOBJECT hObject) {
    EXPECT_TRUE(code == SUCCESS || code == ERROR_PAGE_NOT_FOUND) << code;
    const StoredTree tree(annFromHandle(hObject));
    return tree.root ? tree.root->uTag : 0;
}

struct FilePlace {
    TestFile file{"pages.ann"};
    int save(const StoredTree& tree, uint32_t form, const KernelSaveOptions* options) {
        return K_AnnSave(file.name(), tree.handle(), form, 0, options);
    }
    int remove(int32_t page) { return annDeletePageFile(file.name(), page); }
    uint32_t tagOf(int32_t page) {
        HANNOBJECT hObject = nullptr;
        const KernelLoadOptions options = loadPage(page);
        const int code = K_AnnLoad(file.name(), &hObject, &options);
        return rootTag(code, hObject);
    }
};

struct MemoryPlace {
    TextStream data;
    int save(const StoredTree& tree, uint32_t form, const KernelSaveOptions* options) {
        return annSaveToStream(data.stream, *tree.root, form, {}, options);
    }
    int remove(int32_t page) { return annDeletePage(data.stream, page); }
    uint32_t tagOf(int32_t page) {
        HANNOBJECT hObject = nullptr;
        const KernelLoadOptions options = loadPage(page);
        const int code = annLoadFromStream(data.stream, &hObject, &options);
        return rootTag(code, hObject);
    }
};

template <class Place> void playPages(uint32_t form, int steps) {
    const auto seed = static_cast<unsigned>(GTEST_FLAG_GET(random_seed)) + 1;
    SCOPED_TRACE("seed " + std::to_string(seed));
    Place place;
    PageModel model(form, seed);
    for (int i = 0; i < steps && !testing::Test::HasFatalFailure(); ++i) {
        SCOPED_TRACE("step " + std::to_string(i));
        model.step(place);
    }
}

TEST(PageModel, CodedFile) { playPages<FilePlace>(ANN_FMT_ENCODED, 10'000); }
TEST(PageModel, CodedMemory) { playPages<MemoryPlace>(ANN_FMT_ENCODED, 10'000); }
TEST(PageModel, TextFile) { playPages<FilePlace>(ANN_FMT_NATIVE, 10'000); }
TEST(PageModel, TextMemory) { playPages<MemoryPlace>(ANN_FMT_NATIVE, 10'000); }

TEST(CodedPages, AtAnOffsetInABlockAndInATag) {
    const StoredTree tree = taggedPage(42), other = taggedPage(43, 4);
    const std::string whole = pagedData(pageTokens(42));
    const TestFile file("coded.ann");
    file.write(std::string(100, 'x') + "what lay behind" + std::string(5000, 'y'));
    {
        const PageOptions add(insert, 2);
        const int handle = ::open(file.name(), O_RDWR);
        uint32_t written = 0;
        ASSERT_EQ(K_AnnSaveOffset(handle, 100, &written, tree.handle(), ANN_FMT_ENCODED, 0, nullptr), SUCCESS);
        EXPECT_EQ(written, whole.size());
        ASSERT_EQ(K_AnnSaveOffset(handle, 100, &written, other.handle(), ANN_FMT_ENCODED, 0, &add.options), SUCCESS);
        EXPECT_EQ(written, file.read().size() - 100);
        HANNOBJECT hObject = nullptr;
        const KernelLoadOptions second = loadPage(2);
        ASSERT_EQ(K_AnnLoadOffset(handle, 100, written, &hObject, &second), SUCCESS);
        EXPECT_EQ(rootTag(SUCCESS, hObject), 43u);
        EXPECT_EQ(K_AnnLoadOffset(handle, 100, written - 1, &hObject, &second), ERROR_FILE_READ) << "the end link is cut";
        ::close(handle);
    }
    AnnFileInfoRecord info{};
    info.uStructSize = sizeof info;
    info.nOffset = 100;
    ASSERT_EQ(annFileInfoFile(file.name(), &info), SUCCESS);
    EXPECT_TRUE(info.nFormat == ANN_FMT_ENCODED && info.nVersion == 13 && info.nTotalPages == 2);

    HGLOBAL hMem = nullptr;
    uint32_t size = 0;
    ASSERT_EQ(K_AnnSaveMemory(tree.handle(), ANN_FMT_ENCODED, 0, &hMem, &size, nullptr), SUCCESS);
    EXPECT_EQ(GlobalSize(hMem), whole.size());
    const PageOptions front(insert, 1);
    ASSERT_EQ(K_AnnSaveMemory(other.handle(), ANN_FMT_ENCODED, 0, &hMem, &size, &front.options), SUCCESS);
    ASSERT_EQ(annDeletePageMemory(hMem, &size, 2), SUCCESS);
    EXPECT_EQ(size, GlobalSize(hMem));
    StoredTree back;
    ASSERT_EQ(load(takeBlock(hMem, size), back), SUCCESS);
    EXPECT_EQ(back.root->uTag, 43u);

    const TestFile image("coded.tif");
    KernelBitmap pixels{};
    ASSERT_EQ(K_CreateBitmap(&pixels, 1, 20, 10, 8, KB_ORDER_RGB, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
    ASSERT_EQ(K_AnnSaveTag(tree.handle(), ANN_FMT_ENCODED, 0), SUCCESS);
    ASSERT_EQ(K_SaveFile(image.name(), &pixels, KB_FORMAT_TIFF, nullptr), SUCCESS);
    K_FreeBitmap(&pixels);
    HANNOBJECT hObject = nullptr;
    ASSERT_EQ(K_AnnLoad(image.name(), &hObject, nullptr), SUCCESS);
    EXPECT_EQ(rootTag(SUCCESS, hObject), 42u);
}

} // namespace
