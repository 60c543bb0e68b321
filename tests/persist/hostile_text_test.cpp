// Text that lies: counts beyond the data, broken structure, fields where they don't belong. A load either gives a tree or a
// code and nothing else.
#include "tests/persist/support.h"

using namespace kbann;
using namespace kbann::test;

namespace {

// A page with fields of one object of a type in the root's block.
std::string pageWith(uint32_t nType, const std::string& fields) {
    return fileText("KBANNBEGIN\nBEGINOBJECT\n0\nENDOBJECT\nBLOCKBEGIN\nBEGINOBJECT\n" + std::to_string(nType) + "\n" +
                    fields + "ENDOBJECT\nBLOCKEND\nKBANNEND\n");
}

int loadFields(uint32_t nType, const std::string& fields, StoredTree& tree) { return load(pageWith(nType, fields), tree); }

struct FieldRow {
    const char* name;
    const char* fields;
};

TEST(HostileText, BrokenFieldsAreReadErrors) {
    const FieldRow rows[] = {
        {"unknown keyword", "COLOUR\n0\n"},
        {"keyword in small letters", "visible\n1\n"},
        {"no number", "VISIBLE\nyes\n"},
        {"number with a tail", "TAG\n12 \n"},
        {"no real number", "SCALARX\n1.5.5\n"},
        {"an object inside an object", "BEGINOBJECT\n12\n"},
        {"a block inside an object", "BLOCKBEGIN\n"},
        {"text longer than the data", "TEXT\n4294967295\nAAAA\n"},
        {"text a little longer than its lines", "TEXT\n400\nAAAA\n"},
        {"name without its length", "NAME\nAAAA\n"},
        {"points beyond the data", "POINTS\n4294967295\n1\n2\n"},
        {"fewer points than told", "POINTS\n3\n1\n2\n3\n4\n"},
        {"menu bits beyond the data", "MENUSTATE\n4294967295\nAAAA\nAAAA\n"},
        {"menu bits that overflow", "MENUSTATE\n4294967290\n!\n!\n"},
        {"bitmap of no width", "BITMAP\n24\n0\n1\n0\n1\n"},
        {"bitmap of no height", "BITMAP\n24\n1\n0\n0\n1\n"},
        {"bitmap of huge sides", "BITMAP\n32\n16777216\n16777216\n0\n1\n"},
        {"bitmap of sides beyond 24 bits", "BITMAP\n1\n4294967295\n1\n0\n1\n"},
        {"bitmap larger than the data", "BITMAP\n24\n1000\n1000\n0\n1\nAAAA\n"},
        {"bitmap of seven bits", "BITMAP\n7\n1\n1\n0\n1\nAAAAAA\n"},
        {"bitmap of 12 bits in colour", "BITMAP\n12\n1\n1\n0\n1\nAAAAAA\n"},
        {"bitmap of unknown order", "BITMAP\n24\n1\n1\n3\n1\nAAAAAA\n"},
        {"bitmap of unknown perspective", "BITMAP\n24\n1\n1\n0\n9\nAAAAAA\n"},
        {"bitmap without its palette", "BITMAP\n8\n1\n1\n0\n1\nAAAAAA\n"},
        {"metafile that is none", "METABITMAP\n0\n8\n0\n0\n0\n0\n0\n1\n1\n18\nAAAAAAAAAAAAAAAAAAAAAAAA\n"},
        {"enhanced metafile that is none", "METABITMAP\n1\n1\n1\n3\nAAAA\n"},
        {"metafile of no bytes", "METABITMAP\n1\n1\n1\n0\n"},
        {"metafile beyond the data", "METABITMAP\n1\n1\n1\n2147483648\nAAAA\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const size_t live = annObjectTable().live();
        for (const uint32_t nType : {uint32_t{ANN_OBJECT_RECT}, uint32_t{ANN_OBJECT_PUSHPIN}, uint32_t{ANN_OBJECT_REDACT}}) {
            StoredTree tree;
            EXPECT_EQ(loadFields(nType, row.fields, tree), ERROR_FILE_READ);
            EXPECT_EQ(tree.root, nullptr);
        }
        EXPECT_EQ(annObjectTable().live(), live) << "records are left behind";
    }
}

TEST(HostileText, BrokenStructureIsAReadError) {
    const std::string root = "BEGINOBJECT\n0\nENDOBJECT\n", rect = "BEGINOBJECT\n12\nENDOBJECT\n";
    const struct {
        const char* name;
        std::string page;
        int code;
    } rows[] = {
        {"an empty page is an empty container", "KBANNEND\n", SUCCESS},
        {"a root", root + "KBANNEND\n", SUCCESS},
        {"an empty block", root + "BLOCKBEGIN\nBLOCKEND\nKBANNEND\n", SUCCESS},
        {"a block end closes the page too", root + "BLOCKEND\nKBANNEND\n", SUCCESS},
        {"two blocks of one container",
         root + "BLOCKBEGIN\n" + rect + "BLOCKEND\nBLOCKBEGIN\n" + rect + "BLOCKEND\nKBANNEND\n", SUCCESS},
        {"objects beside the root", root + rect + root + "BLOCKBEGIN\n" + rect + "BLOCKEND\nKBANNEND\n", SUCCESS},
        {"the root is no container", rect + "KBANNEND\n", ERROR_FILE_READ},
        {"type 24", "BEGINOBJECT\n24\nENDOBJECT\nKBANNEND\n", ERROR_FILE_READ},
        {"type -1", "BEGINOBJECT\n-1\nENDOBJECT\nKBANNEND\n", ERROR_FILE_READ},
        {"a block without an owner", "BLOCKBEGIN\n" + root + "BLOCKEND\nKBANNEND\n", ERROR_FILE_READ},
        {"a block behind a block's begin", root + "BLOCKBEGIN\nBLOCKBEGIN\nBLOCKEND\nBLOCKEND\nKBANNEND\n", ERROR_FILE_READ},
        {"a block behind a rectangle", root + "BLOCKBEGIN\n" + rect + "BLOCKBEGIN\nBLOCKEND\nBLOCKEND\nKBANNEND\n",
         ERROR_FILE_READ},
        {"a page end in a block", root + "BLOCKBEGIN\n" + rect + "KBANNEND\n", ERROR_FILE_READ},
        {"a block end without a root", "BLOCKEND\nKBANNEND\n", ERROR_FILE_READ},
        {"a page end in an object", "BEGINOBJECT\n0\nKBANNEND\n", ERROR_FILE_READ},
        {"a field outside of an object", root + "VISIBLE\n1\nKBANNEND\n", ERROR_FILE_READ},
        {"no page end", root, ERROR_PAGE_NOT_FOUND},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const size_t live = annObjectTable().live();
        {
            StoredTree tree;
            EXPECT_EQ(load(fileText("KBANNBEGIN\n" + row.page), tree), row.code);
            EXPECT_EQ(tree.root != nullptr, row.code == SUCCESS);
            if (tree.root) {
                EXPECT_TRUE(tree.root->isContainer() && !tree.root->pParent && !tree.root->pNext);
            }
        }
        EXPECT_EQ(annObjectTable().live(), live) << "records are left behind";
    }
}

TEST(HostileText, NestingIsBoundedAndLongListsArent) {
    std::string nested = "KBANNBEGIN\n", ends;
    for (int i = 0; i < 100'000; ++i) {
        nested += "BEGINOBJECT\n0\nENDOBJECT\nBLOCKBEGIN\n";
        ends += "BLOCKEND\n";
    }
    StoredTree tree;
    EXPECT_EQ(load(nested + ends + "KBANNEND\n", tree), ERROR_FILE_READ);
    EXPECT_EQ(load(nested + "KBANNEND\n", tree), ERROR_FILE_READ);

    // Containers side by side and full of empty ones: each is looked at once, and none is written.
    std::string wide = "KBANNBEGIN\nBEGINOBJECT\n0\nENDOBJECT\nBLOCKBEGIN\n";
    for (int i = 0; i < 10'000; ++i) wide += "BEGINOBJECT\n0\nENDOBJECT\nBLOCKBEGIN\nBEGINOBJECT\n0\nENDOBJECT\nBLOCKEND\n";
    ASSERT_EQ(load(wide + "BLOCKEND\nKBANNEND\n", tree), SUCCESS);
    const std::string text = saved(tree.root);
    EXPECT_EQ(text.find("BEGINOBJECT", text.find("BEGINOBJECT") + 1), std::string::npos);
}

TEST(HostileText, TruncatedAnywhereNothingIsLoaded) {
    StoredTree tree = newTree();
    for (uint32_t nType = 0; nType < objectTypeCount; ++nType) {
        AnnObject& object = *newObject(nType, tree.root);
        object.pszText.assign("some text");
        object.pszLockKey.assign("key");
        object.nHyperlinkType = 1;
    }
    const std::string whole = saved(tree.root);
    const size_t live = annObjectTable().live();
    HANNOBJECT hObject = tree.handle();
    EXPECT_EQ(K_AnnLoadMemory(whole.data(), static_cast<uint32_t>(whole.size() - 3), &hObject, nullptr),
              ERROR_PAGE_NOT_FOUND);
    EXPECT_EQ(hObject, tree.handle());

    const std::string page = whole.substr(textHeader.size() + 2);
    const size_t step = 1 + page.size() / 2000; // pixels of default pictures make it long
    for (size_t size = 0; size + 2 < page.size(); size += size < 3000 ? 1 : step) {
        TextStream in(page.substr(0, size));
        TextReader reader(in.stream);
        AnnObject* root = nullptr;
        ASSERT_EQ(annReadTree(reader, root, 0), ERROR_FILE_READ) << "at " << size;
        ASSERT_EQ(root, nullptr);
    }
    EXPECT_EQ(annObjectTable().live(), live);
}

TEST(HostileText, FailingMemoryGivesItsCode) {
    StoredTree tree = newTree();
    AnnObject& rect = *newObject(ANN_OBJECT_FREEHAND, tree.root);
    rect.pszName.assign("a name");
    rect.pPoints.reset(20);
    ASSERT_EQ(K_CreateBitmap(&rect.bitmap, 1, 9, 9, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
    const size_t live = annObjectTable().live();
    for (const uint32_t uFormat : streamForms) {
        const std::string whole = savedAs(uFormat, tree.root);
        for (int allowed = 0;; ++allowed) {
            ASSERT_LT(allowed, 1000);
            int left = allowed;
            KbSetAllocationHook([](SIZE_T, void* count) -> BOOL { return (*static_cast<int*>(count))-- > 0; }, &left);
            HANNOBJECT hObject = nullptr;
            const int code = K_AnnLoadMemory(whole.data(), static_cast<uint32_t>(whole.size()), &hObject, nullptr);
            KbSetAllocationHook(nullptr, nullptr);
            StoredTree loaded(annFromHandle(hObject));
            if (code == SUCCESS && left >= 0) break; // what is only a default text or a region may fail unseen
            EXPECT_TRUE(code == SUCCESS || code == ERROR_NO_MEMORY) << code << " after " << allowed;
            EXPECT_EQ(code == SUCCESS, loaded.root != nullptr);
        }
    }
    EXPECT_EQ(annObjectTable().live(), live);
}

TEST(Fields, OfAnyTypeInAnyOrder) {
    struct Row {
        const char* name;
        uint32_t nType;
        const char* fields;
        bool (*holds)(const AnnObject&);
    };
    const Row rows[] = {
        {"a second bitmap on a rectangle is dropped", ANN_OBJECT_RECT, "SECONDARYBITMAP\n24\n1\n1\n0\n1\nAAAAAA\nTAG\n5\n",
         [](const AnnObject& o) { return o.uTag == 5 && !o.pPushpin; }},
        {"a bitmap on a line stays", ANN_OBJECT_LINE, "BITMAP\n24\n1\n1\n1\n0\nAAAAAA\n",
         [](const AnnObject& o) {
             return o.bitmap.Allocated && o.bitmap.Width == 1 && o.bitmap.ViewPerspective == KB_VIEW_TOP_LEFT;
         }},
        {"measures on a text", ANN_OBJECT_TEXT, "UNIT\n3\nGAUGELEN\n2.5\nANGLE\n0\n1\n4\n7\nSHOWRULER\n0\n",
         [](const AnnObject& o) {
             return o.nUnit == 3 && o.dGaugeLength == 2.5 && o.nAnglePrecision == 4 && o.dArcRadius == 7 && !o.uShowFlags;
         }},
        {"the old ruler flag", ANN_OBJECT_RULER, "SHOWFLAGS\n0\nSHOWRULER\n7\n",
         [](const AnnObject& o) { return o.uShowFlags == 3; }},
        {"a font below 1 is the default", ANN_OBJECT_TEXT, "FONTSIZE\n0,99\n",
         [](const AnnObject& o) { return o.dFontSize == libraryState().dDefaultFontSize; }},
        {"a font that is no number", ANN_OBJECT_TEXT, "FONTSIZE\nnan\n",
         [](const AnnObject& o) { return o.dFontSize == libraryState().dDefaultFontSize; }},
        {"a decimal comma", ANN_OBJECT_RECT, "LINEWIDTH\n1,5\n", [](const AnnObject& o) { return o.dLineWidth == 1.5; }},
        {"unknown enumerations stay", ANN_OBJECT_RECT, "LINESTYLE\n77\nFILLPATTERN\n4000000000\n",
         [](const AnnObject& o) { return o.nLineStyle == 77 && o.nFillPattern == 4000000000u; }},
        {"any number is true", ANN_OBJECT_RECT, "VISIBLE\n9\n", [](const AnnObject& o) { return o.bVisible == 1; }},
        {"grouping that isn't stored", ANN_OBJECT_CONTAINER, "",
         [](const AnnObject& o) { return o.bGrouping == 1 && !o.pParent->bGrouping; }},
        {"grouping that is", ANN_OBJECT_CONTAINER, "GROUPING\n0\n", [](const AnnObject& o) { return o.bGrouping == 0; }},
        {"three points of a rectangle", ANN_OBJECT_RECT, "POINTS\n3\n1\n2\n3\n4\n5\n6\n",
         [](const AnnObject& o) { return o.quad[0].x == 1 && o.quad[2].y == 6 && o.nPoints() == 3; }},
        {"other counts don't move", ANN_OBJECT_RECT, "POINTS\n2\n1\n2\n3\n4\n",
         [](const AnnObject& o) { return o.quad[0].x == 0 && o.nPoints() == 2; }},
        {"two points of a pointer", ANN_OBJECT_POINTER, "POINTS\n2\n1\n2\n3\n4\n",
         [](const AnnObject& o) { return o.ptPointerTip.y == 2 && o.ptPointerTail.x == 3 && o.nPoints() == 2; }},
        {"three points of a pointer", ANN_OBJECT_POINTER, "POINTS\n3\n1\n2\n3\n4\n5\n6\n",
         [](const AnnObject& o) { return o.ptPointerTip.y == 0 && o.quad[0].x == 0; }},
        {"three points of a line", ANN_OBJECT_LINE, "POINTS\n3\n1\n2\n3\n4\n5\n6\n",
         [](const AnnObject& o) { return o.quad[0].x == 0 && o.pPoints[2].x == 5; }},
        {"no points", ANN_OBJECT_LINE, "POINTS\n0\n", [](const AnnObject& o) { return !o.nPoints(); }},
        {"the last of a field stands", ANN_OBJECT_RECT, "TAG\n1\nPOINTS\n1\n1\n1\nTAG\n2\nPOINTS\n0\n",
         [](const AnnObject& o) { return o.uTag == 2 && !o.nPoints(); }},
        {"fewer menu bits", ANN_OBJECT_RECT, "MENUSTATE\n9\n@  \n@@ \n",
         [](const AnnObject& o) {
             return o.pItemMenu && o.pItemMenu->itemMenuEnable[0] == 0x80 && o.pItemMenu->itemMenuEnableMask[37] == 0;
         }},
        {"a text of no bytes is none", ANN_OBJECT_TEXT, "TEXT\n0\n", [](const AnnObject& o) { return !o.pszText; }},
        {"a text ends at its first NUL", ANN_OBJECT_TEXT, "TEXT\n3\n80!C\n",
         [](const AnnObject& o) { return o.pszText.length() < 3; }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        StoredTree tree;
        ASSERT_EQ(loadFields(row.nType, row.fields, tree), SUCCESS);
        ASSERT_NE(tree.root->pFirstChild, nullptr);
        EXPECT_TRUE(row.holds(*tree.root->pFirstChild));
    }
}

TEST(Fields, LockAndPixelsInEitherOrder) {
    StoredTree tree = newTree();
    AnnObject& redaction = *newObject(ANN_OBJECT_REDACT, tree.root);
    redaction.pszLockKey.assign("open sesame");
    ASSERT_EQ(K_CreateBitmap(&redaction.bitmap, 1, 3, 2, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
    std::memset(K_WritableBitmapRow(&redaction.bitmap, 0), 0x5A, 12);
    std::memset(K_WritableBitmapRow(&redaction.bitmap, 1), 0x3C, 12);
    std::string text = saved(tree.root);
    EXPECT_EQ(K_BitmapRowPointer(&redaction.bitmap, 0)[3], 0x5A) << "the object's own pixels are left alone";

    // Take the key out and put it behind the image.
    const size_t lock = text.find("LOCK\r\n"), afterLock = text.find("FORECOLOR", lock),
                 end = text.find("ENDOBJECT", afterLock);
    ASSERT_NE(lock, std::string::npos);
    const std::string key = text.substr(lock, afterLock - lock);
    const std::string late = text.substr(0, lock) + text.substr(afterLock, end - afterLock) + key + text.substr(end);
    const std::string twice = text.substr(0, end) + key + text.substr(end);
    const std::string never = text.substr(0, lock) + text.substr(afterLock);
    for (const auto& [data, clear] : {std::pair{text, true}, {late, true}, {twice, true}, {never, false}}) {
        StoredTree back;
        ASSERT_EQ(load(data, back), SUCCESS);
        const AnnObject& loaded = *back.root->pFirstChild;
        EXPECT_EQ(loaded.pszLockKey.view(), clear ? "open sesame" : "");
        EXPECT_EQ(K_BitmapRowPointer(&loaded.bitmap, 1)[5] == 0x3C, clear);
        EXPECT_EQ(K_BitmapRowPointer(&loaded.bitmap, 0)[5] == 0x5A, clear);
    }
    EXPECT_EQ(text.find("sesame"), std::string::npos);
}

TEST(Fields, APartlyFilledPaletteIsPadded) {
    StoredTree tree = newTree();
    AnnObject& stamp = *newObject(ANN_OBJECT_STAMP, tree.root);
    ASSERT_EQ(K_CreateBitmap(&stamp.bitmap, 1, 2, 2, 4, KB_ORDER_RGB, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
    stamp.bitmap.nColors = 3;
    StoredTree back;
    ASSERT_EQ(load(saved(tree.root), back), SUCCESS);
    const KernelBitmap& loaded = back.root->pFirstChild->bitmap;
    ASSERT_EQ(loaded.nColors, 16u);
    EXPECT_EQ(loaded.pPalette[2].rgbRed, stamp.bitmap.pPalette[2].rgbRed);
    EXPECT_EQ(loaded.pPalette[3].rgbRed, 0);
}

} // namespace
