// Copy, cut and paste: forms, names, who holds the clipboard, what a cut leaves.
#include "platform/gdi.h"
#include "platform/sys.h"
#include "platform/user.h"
#include "tests/persist/support.h"
#include "tests/store/support.h"

#include <cstring>

using namespace kbann;
using namespace kbann::test;

namespace {

// The clipboard, empty before and after.
struct Clipboard : testing::Test {
    Clipboard() { empty(); }
    ~Clipboard() override { empty(); }
    static void empty() {
        ASSERT_TRUE(OpenClipboard(nullptr));
        EmptyClipboard();
        CloseClipboard();
    }
    static bool ready() {
        BOOL isReady = 7;
        EXPECT_EQ(K_AnnClipboardReady(&isReady), SUCCESS);
        return isReady == TRUE;
    }
    static void put(const char* name, std::string_view data) {
        const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, data.size());
        std::memcpy(GlobalLock(block), data.data(), data.size());
        GlobalUnlock(block);
        ASSERT_TRUE(OpenClipboard(nullptr));
        EXPECT_EQ(SetClipboardData(RegisterClipboardFormatA(name), block), block);
        CloseClipboard();
    }
    static StoredTree paste(int expected = SUCCESS) {
        HANNOBJECT pasted = nullptr;
        EXPECT_EQ(K_AnnCopyFromClipboard(nullptr, &pasted), expected);
        return StoredTree(annFromHandle(pasted));
    }
};

TEST_F(Clipboard, CopiesComeBackWhole) {
    const Tree tree;
    const HANNOBJECT note = makeTagged(tree.root, 'N', ANN_OBJECT_NOTE);
    K_AnnSetText(note, "both lines\r\nof it", 0);
    makeTagged(tree.root, 'R');
    const std::string before = saved(annFromHandle(tree.root));
    EXPECT_FALSE(ready());
    for (const uint32_t form : {ANN_FMT_NATIVE, ANN_FMT_ENCODED}) {
        EXPECT_EQ(K_AnnCopyToClipboard(tree.root, form, FALSE, TRUE, FALSE), SUCCESS);
        EXPECT_TRUE(ready());
        EXPECT_EQ(saved(paste().root), before);
        EXPECT_EQ(saved(paste().root), before) << "a paste takes nothing away";
    }
    // A full copy: the picture joins the stream.
    EXPECT_EQ(K_AnnCopyToClipboard(tree.root, ANN_FMT_WMF, FALSE, FALSE, FALSE), SUCCESS);
    EXPECT_EQ(CountClipboardFormats(), 2);
    EXPECT_EQ(saved(paste().root), before);
    ASSERT_TRUE(OpenClipboard(nullptr));
    const auto block = static_cast<HGLOBAL>(GetClipboardData(CF_METAFILEPICT));
    METAFILEPICT picture{};
    ASSERT_GE(GlobalSize(block), sizeof picture);
    std::memcpy(&picture, GlobalLock(block), sizeof picture);
    GlobalUnlock(block);
    CloseClipboard();
    EXPECT_EQ(picture.mm, 1);
    EXPECT_EQ(picture.xExt, 1000);
    EXPECT_EQ(picture.yExt, 1000);
    EXPECT_GT(GetMetaFileBitsEx(kb::toHandle<HMETAFILE>(picture.hMF), 0, nullptr), 0u);
}

TEST_F(Clipboard, NamesAndDataOfOthers) {
    paste(ERROR_FEATURE_NOT_SUPPORTED);
    EXPECT_EQ(K_AnnCopyFromClipboard(nullptr, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnClipboardReady(nullptr), ERROR_INV_PARAMETER);
    const Tree tree;
    EXPECT_EQ(K_AnnCopyToClipboard(tree.root, ANN_FMT_WMF, FALSE, TRUE, FALSE), SUCCESS);
    EXPECT_FALSE(ready()) << "a picture can't be pasted";
    paste(ERROR_FEATURE_NOT_SUPPORTED);

    const auto page = [](char tag) {
        const Tree tagged;
        makeTagged(tagged.root, tag);
        return saved(annFromHandle(tagged.root));
    };
    const auto tagOf = [](const StoredTree& pasted) {
        return pasted.root && pasted.root->pFirstChild ? static_cast<char>(pasted.root->pFirstChild->uTag) : '?';
    };
    put("KITEBENCH 9.0 Annotation", page('9') + std::string(100, '\0')); // blocks may be larger than the data
    EXPECT_TRUE(ready());
    EXPECT_EQ(tagOf(paste()), '9');
    put("KITEBENCH 10.0 Annotation", page('a'));
    EXPECT_EQ(tagOf(paste()), 'a');
    put("KITEBENCH 11.0 Annotation", page('b'));
    EXPECT_EQ(tagOf(paste()), 'b');
    put("KITEBENCH 11.0 Annotation", "something else");
    paste(ERROR_FILE_READ);
    put("KITEBENCH 11.0 Annotation", "short");
    paste(ERROR_FILE_READ);
}

TEST_F(Clipboard, ErrorsAndWhatTheyLeave) {
    const Tree tree;
    EXPECT_EQ(K_AnnCopyToClipboard(nullptr, ANN_FMT_NATIVE, FALSE, TRUE, FALSE), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnCutToClipboard(nullptr, ANN_FMT_NATIVE, FALSE, TRUE, FALSE), ERROR_INV_PARAMETER);
    const HWND other = KbCreateWindow(nullptr, 0, 1, 1);
    ASSERT_TRUE(OpenClipboard(other));
    EXPECT_EQ(K_AnnCopyToClipboard(tree.root, ANN_FMT_NATIVE, FALSE, TRUE, FALSE), ERROR_FAILURE);
    EXPECT_EQ(K_AnnCutToClipboard(tree.root, ANN_FMT_NATIVE, FALSE, TRUE, FALSE), ERROR_FAILURE);
    paste(ERROR_FAILURE);
    CloseClipboard();
    DestroyWindow(other);
    EXPECT_TRUE(annFromHandle(tree.root)) << "a failed cut destroys nothing";

    EXPECT_EQ(K_AnnCopyToClipboard(tree.root, ANN_FMT_NATIVE, FALSE, TRUE, FALSE), SUCCESS);
    EXPECT_EQ(K_AnnCopyToClipboard(tree.root, ANN_FMT_WANGTAG, FALSE, FALSE, FALSE), ERROR_FEATURE_NOT_SUPPORTED);
    EXPECT_TRUE(ready());
    EXPECT_EQ(K_AnnCopyToClipboard(tree.root, ANN_FMT_TIFFTAG, FALSE, TRUE, FALSE), ERROR_FEATURE_NOT_SUPPORTED);
    EXPECT_FALSE(ready()) << "emptied before the form was refused";
    EXPECT_EQ(GetOpenClipboardWindow(), nullptr);
    EXPECT_TRUE(OpenClipboard(nullptr)) << "closed on every way";
    CloseClipboard();
}

TEST_F(Clipboard, TheWindowOfTheTreeOpensIt) {
    const EventWindow window;
    const Tree tree(window.handle);
    EXPECT_EQ(K_AnnCopyToClipboard(tree.root, ANN_FMT_NATIVE, FALSE, TRUE, FALSE), SUCCESS);
    EXPECT_EQ(GetClipboardOwner(), window.handle);
}

// Bits of the menu item "cut" of an object.
void disableCut(HANNOBJECT object) {
    AnnObject& r = record(object);
    r.pItemMenu.reset(new ItemMenuPart{});
    constexpr uint32_t item = 1;
    r.pItemMenu->itemMenuEnableMask[item / 8] = 1u << (7 - item % 8);
}

TEST_F(Clipboard, CutsTakeWhatTheyCopyAndMay) {
    struct {
        const char* name;
        const char* selected;
        BOOL bSelected, bCheckMenu;
        const char *left, *pasted;
    } rows[] = {{"nothing is selected", "", TRUE, TRUE, "ABC", ""},
                {"two are selected, one may not go", "AB", TRUE, TRUE, "BC", "A"},
                {"the check of the copy alone is left out", "AB", TRUE, FALSE, "BC", "AB"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Tree tree;
        for (const char tag : {'A', 'B', 'C'}) {
            const HANNOBJECT made = makeTagged(tree.root, tag);
            if (tag == 'B') disableCut(made);
            if (std::strchr(row.selected, tag)) K_AnnSetSelected(made, TRUE, 0);
        }
        EXPECT_EQ(K_AnnCutToClipboard(tree.root, ANN_FMT_ENCODED, row.bSelected, TRUE, row.bCheckMenu), SUCCESS);
        EXPECT_EQ(order(tree.root), row.left);
        const StoredTree pasted = paste();
        ASSERT_TRUE(pasted.root);
        EXPECT_EQ(order(pasted.handle()), row.pasted);
    }
    // A selected container goes with what isn't selected in it, and so it comes back.
    for (const uint32_t form : streamForms) {
        const Tree tree;
        const HANNOBJECT inner = makeTagged(tree.root, 'I', ANN_OBJECT_CONTAINER);
        for (const char tag : {'A', 'B'}) makeTagged(inner, tag);
        K_AnnSetSelected(inner, TRUE, 0);
        EXPECT_EQ(K_AnnCutToClipboard(tree.root, form, TRUE, TRUE, TRUE), SUCCESS);
        EXPECT_EQ(order(tree.root), "");
        const StoredTree pasted = paste();
        ASSERT_TRUE(pasted.root && pasted.root->pFirstChild);
        EXPECT_EQ(order(annToHandle(pasted.root->pFirstChild)), "AB");
    }
    const HANNOBJECT root = makeRoot();
    makeTagged(root, 'A');
    EXPECT_EQ(K_AnnCutToClipboard(root, ANN_FMT_WMF, FALSE, TRUE, FALSE), SUCCESS);
    EXPECT_FALSE(annFromHandle(root)) << "gone, though it was drawn alone";
}

} // namespace
