// The exported save and load functions and the queries on stored data: places, codes, what happens to blocks and files.
#include "tests/persist/support.h"
#include "tests/persist/test_file.h"

#include <cstdio>
#include <fstream>
#include <iterator>

using namespace kbann;
using namespace kbann::test;

namespace {

StoredTree smallTree(uint32_t uTag = 7) {
    StoredTree tree = newTree();
    tree.root->uTag = uTag;
    newObject(ANN_OBJECT_RECT, tree.root)->pszName.assign("name");
    return tree;
}

TEST(Storage, ArgumentsAndTheirCodes) {
    const StoredTree tree = smallTree();
    const HANNOBJECT good = tree.handle(), bad = kb::toHandle<HANNOBJECT>(0x12345);
    const TestFile missing("missing");
    const std::string inMissingFolder = testing::TempDir() + "kbann_no_such_folder/file";
    HANNOBJECT loaded = nullptr;
    HGLOBAL hMem = nullptr, hDead = kb::toHandle<HGLOBAL>(99);
    const char data[] = "KBANNBEGIN\r\nKBANNEND\r\n";
    const PageOptions badFlags(1, 1);
    AnnFileInfoRecord info{}, sized{24, 0, 0, 0, 0, 0}, negative{24, -1, 0, 0, 0, 0};
    const struct {
        const char* name;
        int code, expected;
    } rows[] = {
        {"save without a name", K_AnnSave(nullptr, good, ANN_FMT_NATIVE, 0, nullptr), ERROR_INV_PARAMETER},
        {"save into a missing folder", K_AnnSave(inMissingFolder.c_str(), good, ANN_FMT_NATIVE, 0, nullptr),
         ERROR_FILE_OPEN},
        {"save onto a folder", K_AnnSave(testing::TempDir().c_str(), good, ANN_FMT_NATIVE, 0, nullptr), ERROR_FILE_SEEK},
        {"save at an offset, dead object", K_AnnSaveOffset(0, 0, nullptr, bad, ANN_FMT_NATIVE, 0, nullptr),
         ERROR_INV_PARAMETER},
        {"marks at an offset", K_AnnSaveOffset(0, 0, nullptr, good, ANN_FMT_WANGTAG, 0, nullptr), ERROR_INV_PARAMETER},
        {"tag form at an offset", K_AnnSaveOffset(0, 0, nullptr, good, ANN_FMT_TIFFTAG, 0, nullptr), ERROR_INV_PARAMETER},
        {"no such file", K_AnnSaveOffset(-1, 0, nullptr, good, ANN_FMT_NATIVE, 0, nullptr), ERROR_FILE_SEEK},
        {"memory without a place", K_AnnSaveMemory(good, ANN_FMT_NATIVE, 0, nullptr, nullptr, nullptr), ERROR_INV_PARAMETER},
        {"memory, dead object", K_AnnSaveMemory(bad, ANN_FMT_NATIVE, 0, &hMem, nullptr, nullptr), ERROR_INV_PARAMETER},
        {"memory, form 5", K_AnnSaveMemory(good, 5, 0, &hMem, nullptr, nullptr), ERROR_INV_PARAMETER},
        {"memory, dead block", K_AnnSaveMemory(good, ANN_FMT_NATIVE, 0, &hDead, nullptr, nullptr), ERROR_INV_PARAMETER},
        {"memory, bad flags", K_AnnSaveMemory(good, ANN_FMT_NATIVE, 0, &hMem, nullptr, &badFlags.options),
         ERROR_INV_PARAMETER},
        {"coded, bad flags", K_AnnSaveMemory(good, ANN_FMT_ENCODED, 0, &hMem, nullptr, &badFlags.options),
         ERROR_INV_PARAMETER},
        {"tag, form 5", K_AnnSaveTag(good, 5, 0), ERROR_INV_PARAMETER},
        {"tag, dead object", K_AnnSaveTag(bad, ANN_FMT_NATIVE, 0), ERROR_INV_PARAMETER},
        {"load without a name", K_AnnLoad(nullptr, &loaded, nullptr), ERROR_INV_PARAMETER},
        {"load without a place", K_AnnLoad(missing.name(), nullptr, nullptr), ERROR_INV_PARAMETER},
        {"load what isn't there", K_AnnLoad(missing.name(), &loaded, nullptr), ERROR_FILE_OPEN},
        {"load a bad file handle", K_AnnLoadOffset(-1, 0, UINT32_MAX, &loaded, nullptr), ERROR_FILE_SEEK},
        {"load at no offset", K_AnnLoadOffset(0, -1, UINT32_MAX, &loaded, nullptr), ERROR_FILE_SEEK},
        {"load from nothing", K_AnnLoadMemory(nullptr, 10, &loaded, nullptr), ERROR_INV_PARAMETER},
        {"load to nothing", K_AnnLoadMemory(data, sizeof data - 1, nullptr, nullptr), ERROR_INV_PARAMETER},
        {"load one byte", K_AnnLoadMemory("I", 1, &loaded, nullptr), ERROR_FILE_READ},
        {"info without its size", annFileInfoMemory(data, sizeof data - 1, &info), ERROR_INV_PARAMETER},
        {"info at no offset", annFileInfoMemory(data, sizeof data - 1, &negative), ERROR_INV_PARAMETER},
        {"info of nothing", annFileInfoMemory(nullptr, 8, &sized), ERROR_INV_PARAMETER},
        {"info into nothing", annFileInfoMemory(data, 8, nullptr), ERROR_INV_PARAMETER},
        {"info of what isn't there", annFileInfoFile(missing.name(), &sized), ERROR_FILE_OPEN},
        {"delete in what isn't there", annDeletePageFile(missing.name(), 1), ERROR_FILE_OPEN},
        {"delete in a dead block", annDeletePageMemory(hDead, nullptr, 1), ERROR_INV_PARAMETER},
        {"delete in no block", annDeletePageMemory(nullptr, nullptr, 1), ERROR_INV_PARAMETER},
    };
    for (const auto& row : rows) EXPECT_EQ(row.code, row.expected) << row.name;
    EXPECT_EQ(loaded, nullptr);
    EXPECT_EQ(hMem, nullptr);
    EXPECT_FALSE(missing.exists());
}

TEST(Storage, FilesAreMadeKeptAndCut) {
    const StoredTree tree = smallTree();
    const std::string text = saved(tree.root);
    const TestFile file("saved");
    ASSERT_EQ(K_AnnSave(file.name(), tree.handle(), ANN_FMT_NATIVE, 0, nullptr), SUCCESS);
    EXPECT_EQ(file.read(), text);
    file.write(std::string(10'000, 'x'));
    ASSERT_EQ(K_AnnSave(file.name(), tree.handle(), ANN_FMT_NATIVE, 0, nullptr), SUCCESS);
    EXPECT_EQ(file.read(), text) << "cut behind the data";

    const PageOptions add(SAVE_INSERTPAGE, -1);
    ASSERT_EQ(K_AnnSave(file.name(), smallTree(8).handle(), ANN_FMT_NATIVE, 0, &add.options), SUCCESS);
    AnnFileInfoRecord info{24, 0, 0, 0, 0, 0};
    ASSERT_EQ(annFileInfoFile(file.name(), &info), SUCCESS);
    EXPECT_EQ(info.nTotalPages, 2u);
    const struct {
        int32_t page;
        int code;
        uint32_t uTag;
    } rows[] = {
        {0, SUCCESS, 7}, {1, SUCCESS, 7}, {2, SUCCESS, 8}, {3, ERROR_PAGE_NOT_FOUND, 0}, {-1, ERROR_PAGE_NOT_FOUND, 0}};
    for (const auto& row : rows) {
        HANNOBJECT hObject = nullptr;
        const KernelLoadOptions options = loadPage(row.page);
        EXPECT_EQ(K_AnnLoad(file.name(), &hObject, &options), row.code) << row.page;
        const StoredTree loaded(annFromHandle(hObject));
        if (loaded.root) {
            EXPECT_EQ(loaded.root->uTag, row.uTag);
        }
    }
    EXPECT_EQ(annDeletePageFile(file.name(), 2), SUCCESS);
    EXPECT_EQ(annDeletePageFile(file.name(), 1), ERROR_DELETE_LAST_PAGE);
    EXPECT_EQ(file.read(), text);

    const TestFile refused("refused");
    EXPECT_EQ(K_AnnSave(refused.name(), tree.handle(), ANN_FMT_WANGTAG, 0, nullptr), ERROR_INV_PARAMETER);
    EXPECT_TRUE(refused.exists());
    EXPECT_EQ(refused.read(), "");
}

TEST(Storage, OpenFilesAtAnOffset) {
    const StoredTree tree = smallTree();
    const std::string text = saved(tree.root);
    const TestFile file("offset");
    file.write("12345and a tail that goes" + std::string(9000, '.'));
    const int handle = K_FileOpen(file.name(), 0x8002, 0x80, 0);
    ASSERT_GE(handle, 0);
    uint32_t written = 0;
    ASSERT_EQ(K_AnnSaveOffset(handle, 5, &written, tree.handle(), ANN_FMT_NATIVE, 0, nullptr), SUCCESS);
    EXPECT_EQ(written, text.size());
    EXPECT_EQ(file.read(), "12345" + text);
    const struct {
        int32_t nOffset;
        uint32_t uLength;
        int code;
    } rows[] = {{5, UINT32_MAX, SUCCESS},
                {5, written, SUCCESS},
                {5, written - 3, ERROR_PAGE_NOT_FOUND},
                {5, 7, ERROR_FILE_READ},
                {5, 0, ERROR_FILE_READ},
                {0, UINT32_MAX, ERROR_FILE_READ},
                {60'000, UINT32_MAX, ERROR_FILE_READ}};
    for (const auto& row : rows) {
        HANNOBJECT hObject = nullptr;
        EXPECT_EQ(K_AnnLoadOffset(handle, row.nOffset, row.uLength, &hObject, nullptr), row.code)
            << row.nOffset << ' ' << row.uLength;
        const StoredTree loaded(annFromHandle(hObject));
        EXPECT_EQ(loaded.root != nullptr, row.code == SUCCESS);
    }
    K_FileClose(handle, 0);
}

TEST(Storage, FilesLargerThanABufferReadLikeMemory) {
    StoredTree tree = smallTree();
    for (int i = 0; i < 2000; ++i)
        newObject(static_cast<uint32_t>(i) % objectTypeCount, tree.root)->pszText.assign("some text");
    const TestFile file("large");
    ASSERT_EQ(K_AnnSave(file.name(), tree.handle(), ANN_FMT_NATIVE, 0, nullptr), SUCCESS);
    const std::string text = saved(tree.root);
    EXPECT_EQ(file.read(), text);
    HANNOBJECT hObject = nullptr;
    ASSERT_EQ(K_AnnLoad(file.name(), &hObject, nullptr), SUCCESS);
    const StoredTree fromFile(annFromHandle(hObject));
    StoredTree fromMemory;
    ASSERT_EQ(load(text, fromMemory), SUCCESS);
    EXPECT_EQ(saved(fromFile.root), saved(fromMemory.root));
}

TEST(Storage, BlocksAreCutUnlockedAndLostOnFailure) {
    const StoredTree tree = smallTree();
    const std::string text = saved(tree.root);
    HGLOBAL hMem = nullptr;
    uint32_t size = 99;
    ASSERT_EQ(K_AnnSaveMemory(tree.handle(), ANN_FMT_NATIVE, 0, &hMem, &size, nullptr), SUCCESS);
    EXPECT_EQ(size, text.size());
    EXPECT_EQ(GlobalSize(hMem), text.size());
    EXPECT_EQ(GlobalFlags(hMem), 0u) << "no lock is left";

    const PageOptions add(SAVE_INSERTPAGE, 2);
    ASSERT_EQ(K_AnnSaveMemory(smallTree(8).handle(), ANN_FMT_NATIVE, 0, &hMem, nullptr, &add.options), SUCCESS);
    EXPECT_GT(GlobalSize(hMem), text.size());
    EXPECT_EQ(GlobalFlags(hMem), 0u);
    ASSERT_EQ(annDeletePageMemory(hMem, &size, 1), SUCCESS);
    EXPECT_EQ(size, GlobalSize(hMem));
    EXPECT_EQ(GlobalFlags(hMem), 0u);

    const PageOptions far(SAVE_INSERTPAGE, 9);
    HGLOBAL passed = hMem;
    EXPECT_EQ(K_AnnSaveMemory(tree.handle(), ANN_FMT_NATIVE, 0, &passed, nullptr, &far.options), ERROR_PAGE_NOT_FOUND);
    EXPECT_EQ(GlobalFlags(hMem), static_cast<UINT>(GMEM_INVALID_HANDLE)) << "a failed save takes the block along";

    hMem = nullptr;
    ASSERT_EQ(K_AnnSaveMemory(tree.handle(), ANN_FMT_NATIVE, 0, &hMem, nullptr, nullptr), SUCCESS);
    EXPECT_EQ(annDeletePageMemory(hMem, &size, 1), ERROR_DELETE_LAST_PAGE);
    EXPECT_EQ(GlobalFlags(hMem), static_cast<UINT>(GMEM_INVALID_HANDLE));

    hMem = nullptr;
    size = 99;
    EXPECT_EQ(K_AnnSaveMemory(nullptr, ANN_FMT_NATIVE, 0, &hMem, &size, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnSaveMemory(tree.handle(), ANN_FMT_ENCODED + 1, 0, &hMem, &size, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(hMem, nullptr);
    EXPECT_EQ(size, 99u);
}

TEST(Storage, FailingMemoryFailsTheSaveAlone) {
    const StoredTree tree = smallTree();
    tree.root->pFirstChild->pszLockKey.assign("key");
    for (const uint32_t uFormat : streamForms) {
        const std::string whole = savedAs(uFormat, tree.root);
        for (int allowed = 0;; ++allowed) {
            ASSERT_LT(allowed, 100);
            int left = allowed, code = SUCCESS;
            KbSetAllocationHook([](SIZE_T, void* count) -> BOOL { return (*static_cast<int*>(count))-- > 0; }, &left);
            const std::string data = savedAs(uFormat, tree.root, false, &code);
            KbSetAllocationHook(nullptr, nullptr);
            if (code == SUCCESS) {
                EXPECT_EQ(data, whole);
                if (left >= 0) break;
            } else {
                EXPECT_TRUE(code == ERROR_NO_MEMORY || code == ERROR_FILE_WRITE) << code;
                EXPECT_EQ(data, "");
            }
        }
        EXPECT_EQ(savedAs(uFormat, tree.root), whole);
    }
}

TEST(Storage, TheLocaleIsNeutralDuringTheWorkAndGivenBack) {
    KbSetHostLocale("de_DE");
    KbSetLocale("");
    const StoredTree tree = smallTree();
    tree.root->dScalarX = 1.5;
    const std::string text = saved(tree.root);
    EXPECT_NE(text.find("SCALARX\r\n1.5\r\n"), std::string::npos);
    EXPECT_STREQ(KbSetLocale(nullptr), "de_DE");
    StoredTree loaded;
    EXPECT_EQ(load(text, loaded), SUCCESS);
    EXPECT_EQ(load("KBANNBEGIN\r\nVISIBLE\r\nKBANNEND\r\n", loaded), ERROR_FILE_READ);
    EXPECT_STREQ(KbSetLocale(nullptr), "de_DE");
    KbSetHostLocale("C");
    KbSetLocale("");
}

TEST(Storage, TagsOfImages) {
    const StoredTree tree = smallTree(42);
    const TestFile plain("plain.tif"), tagged("tagged.tif");
    KernelBitmap image{};
    ASSERT_EQ(K_CreateBitmap(&image, 1, 20, 10, 8, KB_ORDER_RGB, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
    ASSERT_EQ(K_SaveFile(plain.name(), &image, KB_FORMAT_TIFF, nullptr), SUCCESS);
    ASSERT_EQ(K_AnnSaveTag(tree.handle(), ANN_FMT_NATIVE, 0), SUCCESS);
    ASSERT_EQ(K_SaveFile(tagged.name(), &image, KB_FORMAT_TIFF, nullptr), SUCCESS);
    K_FreeBitmap(&image);

    HANNOBJECT hObject = tree.handle();
    EXPECT_EQ(K_AnnLoad(plain.name(), &hObject, nullptr), SUCCESS);
    EXPECT_EQ(hObject, nullptr) << "an image without the tag has no annotations";
    const std::string bytes = tagged.read();
    for (const bool fromMemory : {false, true}) {
        HANNOBJECT loaded = nullptr;
        ASSERT_EQ(fromMemory ? K_AnnLoadMemory(bytes.data(), static_cast<uint32_t>(bytes.size()), &loaded, nullptr)
                             : K_AnnLoad(tagged.name(), &loaded, nullptr),
                  SUCCESS);
        const StoredTree back(annFromHandle(loaded));
        ASSERT_NE(back.root, nullptr);
        EXPECT_EQ(back.root->uTag, 42u);
    }
    for (size_t size = 0; size < bytes.size(); size += 7) {
        HANNOBJECT loaded = nullptr;
        const int code = K_AnnLoadMemory(bytes.data(), static_cast<uint32_t>(size), &loaded, nullptr);
        const StoredTree back(annFromHandle(loaded));
        EXPECT_TRUE(code == SUCCESS || !back.root) << size;
    }
}

} // namespace
