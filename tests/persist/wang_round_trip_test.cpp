// Objects of all types through marks with the whole object behind: what comes back changed stands in one function. Images of
// locked redactions, files, and images with marks in their tag.
#include "store/matrix.h"
#include "tests/persist/random_tree.h"
#include "tests/persist/support.h"
#include "tests/temporary_folder.h"

#include <filesystem>
#include <fstream>

using namespace kbann;
using namespace kbann::test;

namespace {

std::string marksOf(const AnnObject* object) { return savedAs(ANN_FMT_TIFFTAG, object); }

void throughDib(KernelBitmap& bitmap) {
    if (!bitmap.Allocated) return;
    const HGLOBAL dib = K_BitmapToDIBHandle(&bitmap);
    K_FreeBitmap(&bitmap);
    EXPECT_EQ(K_BitmapFromDIBHandle(&bitmap, dib), SUCCESS);
    GlobalFree(dib);
}

// All that marks don't keep.
void loseWhatMarksLose(AnnObject& object) {
    const auto rounded = [](AnnPoint& p) { p = {double(annRound(p.x)), double(annRound(p.y))}; };
    if (object.nType != ANN_OBJECT_POINT) std::ranges::for_each(object.pPoints, rounded);
    if (object.nType == ANN_OBJECT_CROSSPRODUCT && object.nPoints() > 5) { // there are no more in a sound one
        const std::vector<AnnPoint> five(object.pPoints.begin(), object.pPoints.begin() + 5);
        object.pPoints.assign(five);
    }
    rounded(object.ptPointerTip);
    rounded(object.ptPointerTail);
    if (object.isContainer()) {
        object.pszFontName.assign("Arial");
        object.bFontBold = object.bFontItalic = object.bFontUnderline = object.bFontStrikeThrough = 0;
    } else if (!object.pszFontName) {
        object.pszFontName.assign("Arial");
        object.bFontBold = object.bFontItalic = object.bFontUnderline = object.bFontStrikeThrough = 0;
    } else {
        object.pszFontName.assign(std::string(object.pszFontName.view().substr(0, 31)));
    }
    if (hasType(typesMeasure, object.nType)) object.pszText.clear();
    if (object.nType == ANN_OBJECT_STAMP && object.bitmap.Allocated) object.pszText.clear();
    if (object.nType == ANN_OBJECT_BUTTON) object.crBack = GetSysColor(COLOR_BTNFACE);
    if (object.nType == ANN_OBJECT_PUSHPIN) {
        K_FreeBitmap(&object.bitmap);
        K_CopyBitmap(&object.bitmap, &libraryState().defaultPushpin);
    } else {
        throughDib(object.bitmap);
    }
}

TEST(WangRoundTrip, RandomTreesOfAllTypes) {
    for (unsigned round = 0; round < 25; ++round) {
        const unsigned seed = static_cast<unsigned>(GTEST_FLAG_GET(random_seed)) + round + 1;
        SCOPED_TRACE("seed " + std::to_string(seed));
        RandomTree source{std::mt19937(seed)};
        StoredTree tree = source.make(70);
        // A name that is pushed into its container depends on line widths that neither form keeps for all types.
        for (AnnObject* o = tree.root; o; o = annNextInTree<AnnObject>(o, tree.root)) o->bNameAutoAdjust = 0;
        const std::string before = saved(tree.root);
        const std::string marks = marksOf(tree.root);
        EXPECT_TRUE(saved(tree.root) == before) << "writing has changed something";
        StoredTree back;
        ASSERT_EQ(load(marks, back), SUCCESS);

        for (AnnObject* o = tree.root; o; o = annNextInTree<AnnObject>(o, tree.root)) loseWhatMarksLose(*o);
        StoredTree expected; // with what a load of any form changes
        ASSERT_EQ(load(saved(tree.root), expected), SUCCESS);
        const AnnObject* b = back.root;
        for (const AnnObject* a = expected.root; a; a = annNextInTree(a, static_cast<const AnnObject*>(expected.root))) {
            ASSERT_NE(b, nullptr);
            SCOPED_TRACE(annObjectTypeNames[a->nType]);
            const auto fields = [](const AnnObject& object) {
                TextStream out;
                TextWriter writer(out.stream);
                EXPECT_EQ(annWriteObject(writer, object, 0), SUCCESS);
                writer.finish();
                return out.text();
            };
            ASSERT_EQ(fields(*b), fields(*a));
            b = annNextInTree(b, static_cast<const AnnObject*>(back.root));
        }
        EXPECT_EQ(b, nullptr);

        // From here on nothing changes.
        const std::string second = marksOf(back.root);
        StoredTree again;
        ASSERT_EQ(load(second, again), SUCCESS);
        EXPECT_TRUE(marksOf(again.root) == second);
    }
}

TEST(WangRoundTrip, PureMarksKeepTheirKind) {
    const struct {
        uint32_t nType, comesBack;
    } rows[] = {{ANN_OBJECT_HILITE, ANN_OBJECT_HILITE},    {ANN_OBJECT_POINTER, ANN_OBJECT_LINE},
                {ANN_OBJECT_ELLIPSE, ANN_OBJECT_FREEHAND}, {ANN_OBJECT_POLYGON, ANN_OBJECT_FREEHAND},
                {ANN_OBJECT_NOTE, ANN_OBJECT_NOTE},        {ANN_OBJECT_PUSHPIN, ANN_OBJECT_NOTE},
                {ANN_OBJECT_REDACT, ANN_OBJECT_RECT},      {ANN_OBJECT_POINT, ANN_OBJECT_STAMP},
                {ANN_OBJECT_RULER, ANN_OBJECT_LINE},       {ANN_OBJECT_TEXT, ANN_OBJECT_TEXT}};
    for (const auto& row : rows) {
        SCOPED_TRACE(annObjectTypeNames[row.nType]);
        StoredTree tree = newTree(), back;
        newObject(row.nType, tree.root);
        ASSERT_EQ(load(savedAs(ANN_FMT_WANGTAG, tree.root), back), SUCCESS);
        ASSERT_NE(back.root->pFirstChild, nullptr);
        EXPECT_EQ(back.root->pFirstChild->nType, row.comesBack);
    }
}

// As wide as 32 bits are, and with a line that is wider still.
TEST(WangRoundTrip, PlacesOf32BitsStay) {
    const AnnPoint ends[] = {{-2e9, 0}, {2e9, 0}, {1e9, 5}};
    for (const double width : {0.0, 4e9}) {
        StoredTree tree = newTree(), back;
        AnnObject& line = *newObject(ANN_OBJECT_POLYLINE, tree.root);
        line.pPoints.assign(ends);
        line.dLineWidth = width;
        ASSERT_EQ(load(savedAs(ANN_FMT_WANGTAG, tree.root), back), SUCCESS);
        ASSERT_TRUE(back.root->pFirstChild && back.root->pFirstChild->nPoints() == 3);
        for (size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(back.root->pFirstChild->pPoints[i].x, ends[i].x);
            EXPECT_EQ(back.root->pFirstChild->pPoints[i].y, ends[i].y);
        }
    }
}

TEST(WangRoundTrip, LockedRedactionsAreHiddenInTheData) {
    for (const int bits : {1, 4, 8, 24, 32}) {
        SCOPED_TRACE(bits);
        StoredTree tree = newTree(), back;
        AnnObject& redaction = *newObject(ANN_OBJECT_REDACT, tree.root);
        ASSERT_EQ(K_CreateBitmap(&redaction.bitmap, 1, 37, 3, bits, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
        std::string pixels(static_cast<size_t>(redaction.bitmap.BytesPerLine), '\0');
        for (size_t i = 0; i < static_cast<size_t>(37 * bits / 8); ++i) pixels[i] = static_cast<char>(i * 31 + 7);
        for (int row = 0; row < 3; ++row)
            K_PutBitmapRow(&redaction.bitmap, pixels.data(), row, redaction.bitmap.BytesPerLine);
        const std::string part = pixels.substr(0, static_cast<size_t>(37 * bits / 8));
        EXPECT_NE(marksOf(tree.root).find(part), std::string::npos);
        redaction.pszLockKey.assign("key");
        const std::string hidden = marksOf(tree.root);
        EXPECT_EQ(hidden.find(part), std::string::npos);
        EXPECT_EQ(std::memcmp(K_BitmapRowPointer(&redaction.bitmap, 2), pixels.data(), pixels.size()), 0);
        ASSERT_EQ(load(hidden, back), SUCCESS);
        const KernelBitmap& bitmap = back.root->pFirstChild->bitmap;
        ASSERT_EQ(bitmap.Height, 3);
        for (int row = 0; row < 3; ++row)
            EXPECT_EQ(std::memcmp(K_BitmapRowPointer(&bitmap, row), pixels.data(), pixels.size()), 0);
    }
}

TEST(WangRoundTrip, FilesAndTags) {
    const TemporaryFolder folder;
    StoredTree tree = newTree(), back;
    newObject(ANN_OBJECT_HILITE, tree.root);
    newObject(ANN_OBJECT_TEXT, tree.root)->pszText.assign("words");
    // Data of marks as a file of its own; reading ends where the length says.
    ASSERT_EQ(load(marksOf(tree.root), back), SUCCESS);
    const std::string marks = marksOf(back.root); // has a font for each object
    std::ofstream(folder.file("marks"), std::ios::binary) << marks << "rubbish";
    const int file = K_FileOpen(folder.file("marks").c_str(), 0, 0, 0);
    HANNOBJECT hObject = nullptr;
    ASSERT_EQ(K_AnnLoadOffset(file, 0, static_cast<uint32_t>(marks.size()), &hObject, nullptr), SUCCESS);
    back = StoredTree(annFromHandle(hObject));
    EXPECT_EQ(marksOf(back.root), marks);
    EXPECT_EQ(K_AnnLoadOffset(file, 0, UINT32_MAX, &hObject, nullptr), ERROR_FILE_READ);
    K_FileClose(file, 0);

    // In the tag of the second page, whose size a built root has.
    KernelSaveOptions options;
    K_DefaultSaveOptions(&options, sizeof options);
    KernelBitmap page{};
    ASSERT_EQ(K_CreateBitmap(&page, 1, 60, 40, 1, KB_ORDER_BGR, nullptr, 1, 0, 0), SUCCESS);
    ASSERT_EQ(K_SaveFile(folder.file("scan.tif").c_str(), &page, KB_FORMAT_TIFF, &options), SUCCESS);
    ASSERT_EQ(K_AnnSaveTag(tree.handle(), ANN_FMT_WANGTAG, 0), SUCCESS);
    options.uFlags = SAVE_INSERTPAGE;
    options.nPageNumber = -1;
    EXPECT_EQ(K_SaveFile(folder.file("scan.tif").c_str(), &page, KB_FORMAT_TIFF, &options), SUCCESS);
    K_FreeBitmap(&page);
    const auto loadPageOf = [&](int32_t number) {
        const KernelLoadOptions which = loadPage(number);
        HANNOBJECT loaded = nullptr;
        EXPECT_EQ(K_AnnLoad(folder.file("scan.tif").c_str(), &loaded, &which), SUCCESS);
        return StoredTree(annFromHandle(loaded));
    };
    EXPECT_EQ(loadPageOf(1).root, nullptr);
    const StoredTree second = loadPageOf(2);
    ASSERT_NE(second.root, nullptr);
    EXPECT_EQ(second.root->quad[2].x, 59);
    EXPECT_EQ(second.root->quad[2].y, 39);
    EXPECT_EQ(second.root->pLastChild->pszText.view(), "words");
}

// Scans of other makers beside the source tree, where there are any.
TEST(WangRoundTrip, ScansOfOthers) {
    const std::filesystem::path folder = std::filesystem::path(KB_SOURCE_DIR) / ".." / "shared" / "data" / "tiff";
    if (!std::filesystem::exists(folder)) GTEST_SKIP() << "no ../shared/data";
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        SCOPED_TRACE(entry.path().filename());
        HANNOBJECT hObject = nullptr;
        ASSERT_EQ(K_AnnLoad(entry.path().c_str(), &hObject, nullptr), SUCCESS);
        const StoredTree tree(annFromHandle(hObject));
        ASSERT_NE(tree.root, nullptr);
        ASSERT_NE(tree.root->pFirstChild, nullptr);
        StoredTree back;
        ASSERT_EQ(load(marksOf(tree.root), back), SUCCESS);
        for (AnnObject* o = tree.root; o; o = annNextInTree<AnnObject>(o, tree.root)) loseWhatMarksLose(*o);
        EXPECT_EQ(saved(back.root), saved(tree.root));
    }
}

} // namespace
