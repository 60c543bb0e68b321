// The coded dress: data made by hand from the table of tokens against writer and reader, and trees of all types through it.
#include "tests/persist/coded_bytes.h"
#include "tests/persist/random_tree.h"

#include <map>

using namespace kbann;
using namespace kbann::test;

namespace {

std::string savedCoded(const AnnObject* object) { return savedAs(ANN_FMT_ENCODED, object); }

// The fields of every object up to the font's, with values that can be told apart.
CodedBytes commonFields(bool visible, uint32_t tag, uint32_t foreColor, double fontSize) {
    return CodedBytes{}
        .flag(2, visible)
        .u32(3, tag)
        .f64(4, 1)
        .f64(5, 1)
        .f64(6, 0)
        .f64(7, 0)
        .u32(9, foreColor)
        .u32(10, 0xFFFFFF)
        .f64(11, fontSize)
        .flag(12, false)
        .flag(13, true)
        .flag(14, false)
        .flag(15, true);
}

TEST(CodedForm, SmallTreesByteForByte) {
    StoredTree tree = newTree();
    AnnObject& root = *tree.root;
    root.bVisible = 1;
    root.dFontSize = 12;
    root.bFontItalic = root.bFontUnderline = 1;
    root.quad[1] = {0, 99.5};
    root.quad[2] = {200, 99.5};
    CodedBytes container;
    container.u32(0, 0).text(commonFields(true, 0, 0, 12).bytes).f64(16, 0).u32(17, 5).u32(18, 0).u32(21, 0).flag(49, false);
    container.token(36, 52).u32(3).f64(0).f64(0).f64(0).f64(99.5).f64(200).f64(99.5).token(37, 0);
    EXPECT_EQ(savedCoded(&root), pagedData(container.bytes + CodedBytes{}.token(40, 0).bytes));

    AnnObject& rect = *newObject(ANN_OBJECT_RECT, &root);
    rect.dFontSize = 8.25;
    rect.uTag = 4294967295u;
    rect.crFore = 0x0000FF;
    rect.bFontItalic = rect.bFontUnderline = 1;
    rect.nROP2 = 13;
    rect.nHyperlinkType = 2;
    rect.uHyperlinkParam1 = 3;
    rect.uHyperlinkParam2 = 4;
    rect.pszHyperlink.assign("to");
    rect.pszName.assign("abc");
    rect.pszUser.assign("me");
    rect.pszFontName.clear();
    rect.quad[0] = {1e-5, -1};
    std::string user = "me";
    annScramble(reinterpret_cast<uint8_t*>(user.data()), reinterpret_cast<const uint8_t*>("me"), 2);
    std::string common = commonFields(false, 4294967295u, 255, 8.25).bytes;
    const size_t link = 7 + 10 + 4 * 14; // behind OFFSETY
    common.insert(link, CodedBytes{}.text(42, user).token(8, 12).u32(2).u32(3).u32(4).text(43, "to").bytes);
    CodedBytes shape;
    shape.u32(0, 12).text(common).f64(16, 1).u32(17, 0).u32(18, 0).u32(21, 0).u32(22, 13);
    shape.text(48, "abc").flag(30, true).token(50, 16).f64(0).f64(0).flag(51, true);
    shape.token(36, 52).u32(3).f64(1e-5).f64(-1).f64(0).f64(0).f64(0).f64(0).token(37, 0);
    const std::string whole = pagedData(container.bytes + CodedBytes{}.token(38, 0).bytes + shape.bytes +
                                        CodedBytes{}.token(39, 0).token(40, 0).bytes);
    EXPECT_EQ(savedCoded(&root), whole);
    EXPECT_EQ(savedCoded(&rect), whole) << "alone it is wrapped in its container";
}

TEST(CodedForm, RandomTreesTakeTheSameTextThroughIt) {
    for (unsigned round = 0; round < 20; ++round) {
        const unsigned seed = static_cast<unsigned>(GTEST_FLAG_GET(random_seed)) + round + 1;
        SCOPED_TRACE("seed " + std::to_string(seed));
        RandomTree source{std::mt19937(seed)};
        StoredTree tree, back;
        // What a load changes is changed before.
        ASSERT_EQ(load(saved(source.make(60).root), tree), SUCCESS);
        const std::string text = saved(tree.root), coded = savedCoded(tree.root);
        ASSERT_EQ(load(coded, back), SUCCESS);
        EXPECT_TRUE(saved(back.root) == text);
        EXPECT_TRUE(savedCoded(back.root) == coded);

        for (const int64_t piece : {1, 7, 61}) {
            TextStream data(coded);
            CrumblingStream crumbs(data.stream, piece);
            ASSERT_TRUE(annSeekTo(crumbs, 29));
            CodedReader reader(crumbs);
            AnnObject* root = nullptr;
            ASSERT_EQ(annReadTree(reader, root, 0), SUCCESS);
            const StoredTree crumbled(root);
            EXPECT_TRUE(reader.finish());
            EXPECT_EQ(crumbs.uPos, coded.size() - 6);
            EXPECT_TRUE(saved(root) == text);
        }
    }
}

// Lengths of the tokens that always have the same.
const std::map<uint16_t, uint32_t> fixedLengths = {
    {0, 4},  {2, 1},   {3, 4},  {4, 8},  {5, 8},   {6, 8},  {7, 8},  {8, 12}, {9, 4},  {10, 4}, {11, 8},  {12, 1}, {13, 1},
    {14, 1}, {15, 1},  {16, 8}, {17, 4}, {18, 4},  {19, 1}, {20, 4}, {21, 4}, {22, 4}, {23, 4}, {25, 4},  {26, 4}, {27, 8},
    {28, 5}, {29, 17}, {30, 1}, {32, 4}, {35, 80}, {37, 0}, {38, 0}, {39, 0}, {40, 0}, {49, 1}, {50, 16}, {51, 1}};

TEST(CodedForm, EveryTokenHasItsLength) {
    RandomTree source{std::mt19937(5)};
    StoredTree tree = source.make(400);
    AnnObject& stamp = *newObject(ANN_OBJECT_STAMP, tree.root);
    const HDC recorder = CreateMetaFileA(nullptr);
    Rectangle(recorder, 1, 2, 30, 40);
    stamp.metafile.nHandle = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(CloseMetaFile(recorder)));
    stamp.metafile.nWidth = 77;
    const std::string data = savedCoded(tree.root);
    std::map<uint16_t, int> seen;
    std::string_view rest(data);
    rest.remove_prefix(29);
    const auto u32At = [&rest](size_t at) {
        uint32_t value = 0;
        std::memcpy(&value, rest.data() + at, sizeof value);
        return value;
    };
    for (uint16_t tag = 0; tag != 40;) {
        ASSERT_GE(rest.size(), 6u);
        std::memcpy(&tag, rest.data(), sizeof tag);
        const uint32_t length = u32At(2);
        rest.remove_prefix(6);
        ASSERT_LE(length, rest.size()) << tag;
        ++seen[tag];
        if (const auto fixed = fixedLengths.find(tag); fixed != fixedLengths.end()) {
            EXPECT_EQ(length, fixed->second) << tag;
        } else if (tag == 24 || tag == 34) {
            const uint32_t bits = u32At(0), width = u32At(4), height = u32At(8);
            const uint32_t palette = bits <= 8 ? 4u << bits : 0;
            EXPECT_EQ(length, 20 + palette + height * ((width * bits + 31) / 32 * 4));
        } else if (tag == 36) {
            EXPECT_EQ(length, 4 + 16 * u32At(0));
        } else if (tag == 33) {
            const bool enhanced = rest[0] != 0;
            EXPECT_EQ(length, u32At(enhanced ? 9 : 33) + (enhanced ? 13 : 37));
        } else {
            EXPECT_TRUE((tag >= 41 && tag <= 48) && length > 0) << tag;
        }
        rest.remove_prefix(length);
    }
    EXPECT_EQ(rest, std::string_view("\x34\0\0\0\0\0", 6));
    for (uint16_t tag = 0; tag <= 51; ++tag) {
        const bool written = tag != 1 && tag != 31; // of the reduced dress; read alone
        EXPECT_EQ(seen.contains(tag), written) << tag;
    }
}

struct FieldsRow {
    const char* name;
    uint32_t nType;
    CodedBytes fields;
    bool (*holds)(const AnnObject&);
};

TEST(CodedForm, FieldsMadeByHand) {
    const FieldsRow rows[] = {
        {"father", ANN_OBJECT_RECT, CodedBytes{}.u32(1, 9), [](const AnnObject& o) { return o.nFatherId == 9; }},
        {"the old ruler flag", ANN_OBJECT_RULER, CodedBytes{}.u32(32, 0).flag(31, true),
         [](const AnnObject& o) { return o.uShowFlags == 3; }},
        {"any byte is true", ANN_OBJECT_RECT, CodedBytes{}.token(2, 1).text("\x80"),
         [](const AnnObject& o) { return o.bVisible == 1; }},
        {"a bitmap of two rows", ANN_OBJECT_STAMP,
         CodedBytes{}.token(24, 20 + 8 + 8).u32(1).u32(3).u32(2).u32(0).u32(1).u32(0).u32(0xFFFFFF).u32(0x80).u32(0x40),
         [](const AnnObject& o) {
             return o.bitmap.Width == 3 && o.bitmap.BitsPerPixel == 1 && *K_BitmapRowPointer(&o.bitmap, 1) == 0x40 &&
                    o.bitmap.pPalette[1].rgbRed == 0xFF;
         }},
        {"nodes and angle", ANN_OBJECT_PROTRACTOR,
         CodedBytes{}.token(28, 5).flag(true).u32(7).token(29, 17).flag(false).u32(1).u32(4).f64(2.5),
         [](const AnnObject& o) {
             return o.bShowNodes && o.nGapNodes == 7 && !o.bAcute && o.nAnglePrecision == 4 && o.dArcRadius == 2.5;
         }},
        {"fewer menu bits", ANN_OBJECT_RECT, CodedBytes{}.token(35, 8).u32(9).text("\x80\x01\xC0\x80"),
         [](const AnnObject& o) {
             return o.pItemMenu && o.pItemMenu->itemMenuEnable[0] == 0x80 && o.pItemMenu->itemMenuEnableMask[1] == 0x80;
         }},
        {"more menu bits", ANN_OBJECT_RECT,
         CodedBytes{}.token(35, 84).u32(320).text(std::string(40, '\x11')).text(std::string(40, '\x22')).u32(3, 6),
         [](const AnnObject& o) { return o.uTag == 6 && o.pItemMenu && o.pItemMenu->itemMenuEnableMask[37] == 0x22; }},
        {"texts of any bytes", ANN_OBJECT_NOTE, CodedBytes{}.text(45, "\x01\xFF\r\n").text(48, ""),
         [](const AnnObject& o) { return o.pszText.view() == "\x01\xFF\r\n" && !o.pszName; }},
        {"no points", ANN_OBJECT_LINE, CodedBytes{}.u32(36, 0), [](const AnnObject& o) { return !o.nPoints(); }},
        {"unknown tags are stepped over", ANN_OBJECT_RECT,
         CodedBytes{}
             .text(53, "of a newer version")
             .u32(3, 5)
             .token(0xFFFF, 0)
             .text(300, std::string(99'999, 'x'))
             .flag(2, true),
         [](const AnnObject& o) { return o.uTag == 5 && o.bVisible == 1; }},
        {"a wrong length of a plain field doesn't matter", ANN_OBJECT_RECT, CodedBytes{}.token(3, 77).u32(8).flag(2, true),
         [](const AnnObject& o) { return o.uTag == 8 && o.bVisible == 1; }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string page = codedPage(row.nType, row.fields.bytes);
        for (const std::string& data : {onePageData(page), pagedData(page)}) {
            StoredTree tree;
            ASSERT_EQ(load(data, tree), SUCCESS);
            EXPECT_TRUE(row.holds(*tree.root->pFirstChild));
        }
        TextStream stream(page);
        CrumblingStream crumbs(stream.stream, 5);
        CodedReader reader(crumbs);
        AnnObject* root = nullptr;
        ASSERT_EQ(annReadTree(reader, root, 0), SUCCESS);
        const StoredTree tree(root);
        EXPECT_TRUE(row.holds(*tree.root->pFirstChild));
    }
}

TEST(CodedForm, BrokenFieldsAreReadErrors) {
    const struct {
        const char* name;
        CodedBytes fields;
    } rows[] = {
        {"a text longer than the data", CodedBytes{}.token(45, 0xFFFFFFFF).text("abc")},
        {"a text a little longer", CodedBytes{}.token(45, 50).text("abc")},
        {"points beyond the data", CodedBytes{}.token(36, 20).u32(0xFFFFFFFF).f64(1).f64(2)},
        {"menu bits beyond the data", CodedBytes{}.token(35, 80).u32(0xFFFFFFFF)},
        {"bitmap of no width", CodedBytes{}.token(24, 20).u32(24).u32(0).u32(1).u32(0).u32(1).u32(0)},
        {"bitmap of huge sides", CodedBytes{}.token(24, 20).u32(32).u32(1 << 24).u32(1 << 24).u32(0).u32(1)},
        {"bitmap of seven bits", CodedBytes{}.token(24, 24).u32(7).u32(1).u32(1).u32(0).u32(1).u32(0)},
        {"bitmap of unknown order", CodedBytes{}.token(24, 24).u32(24).u32(1).u32(1).u32(3).u32(1).u32(0)},
        {"metafile that is none", CodedBytes{}.token(33, 16).flag(true).u32(1).u32(1).u32(3).text("abc")},
        {"metafile beyond the data", CodedBytes{}.token(33, 16).flag(true).u32(1).u32(1).u32(1u << 31).text("abc")},
        {"an object in an object", CodedBytes{}.u32(0, 12)},
        {"a block in an object", CodedBytes{}.token(38, 0)},
        {"a link in an object", CodedBytes{}.token(52, 0)},
        {"an unknown tag that goes beyond the data", CodedBytes{}.token(60, 100'000)},
        {"the same at the limit", CodedBytes{}.token(60, 0xFFFFFFFF)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const size_t live = annObjectTable().live();
        for (const uint32_t nType : {uint32_t{ANN_OBJECT_RECT}, uint32_t{ANN_OBJECT_PUSHPIN}, uint32_t{ANN_OBJECT_REDACT}}) {
            StoredTree tree;
            EXPECT_EQ(load(pagedData(codedPage(nType, row.fields.bytes)), tree), ERROR_FILE_READ);
            EXPECT_EQ(tree.root, nullptr);
        }
        EXPECT_EQ(annObjectTable().live(), live) << "records are left behind";
    }
    StoredTree tree;
    EXPECT_EQ(load(onePageData(CodedBytes{}.u32(0, 0).token(37, 0).token(60, 0).token(40, 0).bytes), tree), ERROR_FILE_READ)
        << "between objects nothing is stepped over";
    EXPECT_EQ(load(onePageData(CodedBytes{}.token(40, 0).bytes), tree), SUCCESS) << "a page of nothing";
}

TEST(CodedForm, AFaultWhileSteppingOverIsASeekError) {
    TextStream stream(codedPage(ANN_OBJECT_RECT, CodedBytes{}.text(60, std::string(100'000, 'x')).bytes));
    CrumblingStream crumbs(stream.stream, 4000);
    CodedReader reader(crumbs);
    crumbs.pfnSeek = [](AnnStream&, int64_t, int) -> int64_t { return -1; };
    AnnObject* root = nullptr;
    EXPECT_EQ(annReadTree(reader, root, 0), ERROR_FILE_SEEK);
    EXPECT_EQ(root, nullptr);
}

TEST(CodedForm, TruncatedAnywhereNothingIsLoaded) {
    StoredTree tree = newTree();
    for (uint32_t nType = 0; nType < objectTypeCount; ++nType) {
        AnnObject& object = *newObject(nType, tree.root);
        object.pszText.assign("some text");
        object.pszLockKey.assign("key");
        object.nHyperlinkType = 1;
    }
    const std::string data = savedCoded(tree.root), page = data.substr(29, data.size() - 35);
    const size_t live = annObjectTable().live();
    const size_t step = 1 + page.size() / 2000;
    for (size_t size = 0; size < page.size(); size += size < 3000 ? 1 : step) {
        TextStream in(page.substr(0, size));
        CodedReader reader(in.stream);
        AnnObject* root = nullptr;
        ASSERT_EQ(annReadTree(reader, root, 0), ERROR_FILE_READ) << "at " << size;
    }
    for (size_t size = 0; size < data.size(); size += size < 100 ? 1 : step) {
        StoredTree none;
        ASSERT_EQ(load(data.substr(0, size) + " ", none), ERROR_FILE_READ) << "at " << size;
    }
    EXPECT_EQ(annObjectTable().live(), live);
}

TEST(CodedForm, ReducedFields) {
    StoredTree tree = newTree();
    tree.root->nSaveId = 77;
    AnnObject& line = *newObject(ANN_OBJECT_LINE, tree.root);
    line.uTag = 5;
    TextStream out;
    {
        CodedWriter writer(out.stream);
        EXPECT_EQ(annWriteObject(writer, line, STREAM_REDUCED), SUCCESS);
        EXPECT_EQ(writer.finish(), SUCCESS);
    }
    EXPECT_EQ(out.text().substr(0, 30), CodedBytes{}.u32(0, ANN_OBJECT_LINE).u32(1, 77).u32(3, 5).bytes);

    // A caller that frames objects itself reads token and type, then the fields.
    out.stream.uPos = 0;
    CodedReader reader(out.stream);
    uint8_t tag = 99;
    uint32_t nType = 0;
    ASSERT_EQ(annReadToken(reader, tag), SUCCESS);
    EXPECT_EQ(tag, tokenBeginObject.tag);
    ASSERT_TRUE(reader.number(nType));
    const StoredTree back(newObject(nType));
    Scratch scratch;
    EXPECT_EQ(annReadObject(reader, *back.root, scratch, STREAM_REDUCED), SUCCESS);
    EXPECT_EQ(back.root->nFatherId, 77u);
    EXPECT_EQ(back.root->uTag, 5u);
}

} // namespace
