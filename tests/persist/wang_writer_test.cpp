// Marks as they are written: byte for byte, what each object becomes, what of a tree, and faults. The other way round stands
// in wang_reader_test.cpp, both ways together in wang_round_trip_test.cpp.
#include "kbann/object_types.h"
#include "persist/wang_form.h"
#include "persist/wang_layout.h"
#include "tests/persist/support.h"

#include <map>
#include <vector>

using namespace kbann;
using namespace kbann::test;

namespace {

struct Mark {
    std::string attributes;
    std::map<std::string, std::string> blocks;
    uint32_t word(size_t offset) const { return annLittleU32(reinterpret_cast<const uint8_t*>(attributes.data()) + offset); }
};

// Cuts marks by their sizes.
std::vector<Mark> cut(const std::string& data) {
    std::vector<Mark> marks;
    size_t at = 8;
    const auto take = [&](size_t count) {
        at += count;
        return at <= data.size() ? data.substr(at - count, count) : std::string(count, '\0');
    };
    const auto word = [&] { return annLittleU32(reinterpret_cast<const uint8_t*>(take(4).data())); };
    while (at < data.size()) {
        const uint32_t type = word();
        if (type == 5) {
            marks.push_back({take(word()), {}});
        } else {
            EXPECT_EQ(type, 6u);
            EXPECT_EQ(word(), 12u);
            const std::string name = take(8).c_str();
            marks.back().blocks[name.substr(0, 8)] = take(word());
        }
    }
    EXPECT_EQ(at, data.size());
    return marks;
}

TEST(WangWriter, ALineByteForByte) {
    StoredTree tree = newTree();
    AnnObject& line = *newObject(ANN_OBJECT_LINE, tree.root);
    const AnnPoint ends[] = {{10.4, 20}, {30, 10.5}};
    line.pPoints.assign(ends);
    line.dLineWidth = 3;
    line.crFore = 0x0000FF;
    line.bVisible = 1;
    line.dFontSize = 12.5;
    line.bFontBold = line.bFontUnderline = 1;
    line.pszFontName.assign("Symbol");
    using namespace std::string_literals;
    std::string expected = "\0\0\0\0\1\0\0\0"s
                           "\5\0\0\0\xA4\0\0\0"
                           "\3\0\0\0\x08\0\0\0\x08\0\0\0\x20\0\0\0\x16\0\0\0"s // 10,10 to 30,20, inflated by 2
                           "\0\0\xFF\0\xFF\xFF\xFF\0\0\0\0\0\0\0\0\0\3\0\0\0"s
                           "\0\0\0\0\0\0\0\0"s
                           "\x0D\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\xBC\2\0\0\0\1\0\1\0\0\0\0"s +
                           "Symbol"s + std::string(26 + 8, '\0') + "\1\0\0\0\x3F\xF8\x0F\0"s + std::string(40, '\0') +
                           "\6\0\0\0\x0C\0\0\0OiGroup\0\x0B\0\0\0[Untitled]\0"
                           "\6\0\0\0\x0C\0\0\0OiIndex\0\x0A\0\0\0"s +
                           "0\0\0\0\0\0\0\0\0\0"s +
                           "\6\0\0\0\x0C\0\0\0OiAnoDat\x18\0\0\0\2\0\0\0\2\0\0\0\2\0\0\0\x0C\0\0\0\x16\0\0\0\3\0\0\0"s;
    EXPECT_EQ(savedAs(ANN_FMT_WANGTAG, tree.root), expected);

    // In the full strength the rest follows, and the container goes in front.
    const auto marks = cut(savedAs(ANN_FMT_TIFFTAG, tree.root));
    ASSERT_EQ(marks.size(), 2u);
    EXPECT_EQ(marks[0].blocks.at("OiIndex"), "0"s + std::string(9, '\0'));
    EXPECT_EQ(marks[1].blocks.at("OiIndex"), "1"s + std::string(9, '\0'));
    EXPECT_TRUE(marks[1].blocks.at("KiteDat").starts_with(fileText("BEGINOBJECT\n8\nFATHER\n0\nTAG\n0\nSCALARX\n1\n")));
    EXPECT_TRUE(marks[1].blocks.at("KiteDat").ends_with("ENDOBJECT\r\n"));
    EXPECT_EQ(tree.root->nSaveId, 0u);
    EXPECT_EQ(line.nSaveId, 1u);
}

TEST(WangWriter, WhatObjectsBecome) {
    constexpr uint32_t own = 7; // the line width of all
    const auto image = [](AnnObject& o) { K_CreateBitmap(&o.bitmap, 1, 2, 2, 24, KB_ORDER_BGR, nullptr, 1, 0, 0); };
    const auto tilted = [](AnnObject& o) { o.quad[0].x += 20; };
    const auto filled = [](AnnObject& o) { o.nFillMode = ANN_FILLMODE_OPAQUE; };
    const auto hatched = [](AnnObject& o) { o.nFillPattern = 1; };
    const struct {
        uint32_t nType;
        const char* name;
        void (*change)(AnnObject&);
        uint32_t uType, lineSize;
        bool pure;
        const char* blocks; // beside group, index and the rest
    } rows[] = {
        {ANN_OBJECT_POINTER, "", nullptr, 3, own, true, "OiAnoDat"},
        {ANN_OBJECT_AUDIO, "", nullptr, 5, 1, false, "OiAnText"},
        {ANN_OBJECT_BUTTON, "", nullptr, 10, 1, false, "OiAnText"},
        {ANN_OBJECT_ELLIPSE, "", nullptr, 4, own, true, "OiAnoDat"},
        {ANN_OBJECT_FREEHAND, "", nullptr, 4, own, true, "OiAnoDat"},
        {ANN_OBJECT_HILITE, "", nullptr, 6, own, true, ""},
        {ANN_OBJECT_HOTSPOT, "", nullptr, 5, 1, false, ""},
        {ANN_OBJECT_LINE, "", nullptr, 3, own, true, "OiAnoDat"},
        {ANN_OBJECT_NOTE, "", nullptr, 10, 0, true, "OiAnText"},
        {ANN_OBJECT_POLYGON, "", nullptr, 4, own, true, "OiAnoDat"},
        {ANN_OBJECT_POLYLINE, "", nullptr, 4, own, true, "OiAnoDat"},
        {ANN_OBJECT_RECT, "", nullptr, 5, own, true, ""},
        {ANN_OBJECT_RECT, "tilted", tilted, 4, own, true, "OiAnoDat"},
        {ANN_OBJECT_RECT, "filled", filled, 6, own, true, ""},
        {ANN_OBJECT_RECT, "hatched", hatched, 6, own, true, ""},
        {ANN_OBJECT_REDACT, "", nullptr, 6, 0, true, ""},
        {ANN_OBJECT_REDACT, "with what it covers", image, 6, 0, true, "OiDIB"},
        {ANN_OBJECT_STAMP, "", nullptr, 9, own, true, "OiAnText"},
        {ANN_OBJECT_STAMP, "with image", image, 1, 0, true, "OiAnoDat OiDIB"},
        {ANN_OBJECT_TEXT, "", nullptr, 7, 0, true, "OiAnText"},
        {ANN_OBJECT_AUTOMATION, "", nullptr, 5, 1, false, ""},
        {ANN_OBJECT_RULER, "", nullptr, 3, own, true, "OiAnoDat"},
        {ANN_OBJECT_CROSSPRODUCT, "", nullptr, 4, own, true, "OiAnoDat"},
        {ANN_OBJECT_POINT, "", nullptr, 1, 0, true, "OiAnoDat OiDIB"},
        {ANN_OBJECT_PROTRACTOR, "", nullptr, 4, own, true, "OiAnoDat"},
        {ANN_OBJECT_VIDEO, "", nullptr, 5, 1, false, "OiAnText"},
        {ANN_OBJECT_PUSHPIN, "", nullptr, 10, 0, true, "OiAnText OiDIB"},
        {ANN_OBJECT_FREEHANDHOTSPOT, "", nullptr, 4, own, true, "OiAnoDat"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(annObjectTypeNames[row.nType]) + " " + row.name);
        StoredTree tree(newObject(row.nType));
        AnnObject& object = *tree.root;
        const AnnPoint points[] = {{0, 5}, {10, 5}, {5, 5}, {5, 0}, {5, 10}};
        object.pPoints.assign(points);
        object.quad[1] = {0, 40};
        object.quad[2] = {90, 40};
        object.dLineWidth = 6.5;
        object.crFore = 0x010203;
        object.crBack = 0x040506;
        if (row.change) row.change(object);
        const auto marks = cut(savedAs(ANN_FMT_TIFFTAG, &object));
        ASSERT_EQ(marks.size(), 1u);
        const Mark& mark = marks[0];
        EXPECT_EQ(mark.word(0), row.uType);
        EXPECT_EQ(mark.word(36), row.lineSize);
        const bool backFirst = row.uType == 6 || row.uType == 10;
        const uint32_t back = row.nType == ANN_OBJECT_BUTTON ? annSwapColor(GetSysColor(COLOR_BTNFACE)) : 0x060504;
        EXPECT_EQ(mark.word(20), backFirst ? back : 0x030201u);
        EXPECT_EQ(mark.word(24), backFirst ? 0x030201u : 0x060504u);
        EXPECT_EQ(mark.word(28), row.nType == ANN_OBJECT_HILITE ? 1u : 0u);
        std::string blocks;
        for (const auto& [name, content] : mark.blocks)
            if (name != "OiGroup" && name != "OiIndex" && name != "KiteDat") blocks += (blocks.empty() ? "" : " ") + name;
        EXPECT_EQ(blocks, row.blocks);
        EXPECT_TRUE(mark.blocks.contains("KiteDat"));

        const std::string pure = savedAs(ANN_FMT_WANGTAG, &object);
        EXPECT_EQ(pure.empty(), !row.pure);
        if (pure.empty()) continue;
        const Mark bare = cut(pure).at(0);
        EXPECT_EQ(bare.attributes, mark.attributes);
        EXPECT_FALSE(bare.blocks.contains("KiteDat"));
        // What a redaction covers stays out of marks that anybody reads.
        EXPECT_EQ(bare.blocks.contains("OiDIB"), mark.blocks.contains("OiDIB") && row.nType != ANN_OBJECT_REDACT);
    }
}

// Content of a block of points, relative to the bounds' corner, shifted back.
std::string pathOf(const Mark& mark) {
    const std::string& run = mark.blocks.at("OiAnoDat");
    const auto at = [&run](size_t i) { return annLittleU32(reinterpret_cast<const uint8_t*>(run.data()) + 4 * i); };
    EXPECT_EQ(at(0), at(1));
    EXPECT_EQ(run.size(), 8 + 8 * at(0));
    std::string text;
    for (size_t i = 0; i < at(0); ++i)
        text += std::to_string(static_cast<int32_t>(at(2 + 2 * i) + mark.word(4))) + "," +
                std::to_string(static_cast<int32_t>(at(3 + 2 * i) + mark.word(8))) + " ";
    return text;
}

TEST(WangWriter, PathsByType) {
    const struct {
        uint32_t nType;
        const char* path;
    } rows[] = {
        {ANN_OBJECT_POINTER, "1,2 -4,9 "},
        {ANN_OBJECT_LINE, "0,5 10,5 5,5 5,0 6,-10 "},
        {ANN_OBJECT_POLYGON, "0,5 10,5 5,5 5,0 6,-10 0,5 "},
        {ANN_OBJECT_RECT, "8,0 0,40 90,40 98,0 8,0 "},
        {ANN_OBJECT_CROSSPRODUCT, "0,5 5,5 5,0 6,-10 5,5 10,5 "},
        {ANN_OBJECT_ELLIPSE, nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(annObjectTypeNames[row.nType]);
        StoredTree tree(newObject(row.nType));
        AnnObject& object = *tree.root;
        const AnnPoint points[] = {{0, 5}, {10, 5}, {5, 5}, {5, 0}, {5.5, -9.5}};
        object.pPoints.assign(points);
        object.ptPointerTip = {1, 2};
        object.ptPointerTail = {-4, 9};
        object.quad[0] = {8, 0};
        object.quad[1] = {0, 40};
        object.quad[2] = {90, 40};
        const std::string path = pathOf(cut(savedAs(ANN_FMT_TIFFTAG, &object)).at(0));
        if (row.path) {
            EXPECT_EQ(path, row.path);
        } else {
            EXPECT_GT(path.size(), 500u);
            EXPECT_TRUE(path.ends_with(path.substr(0, path.find(' ') + 1)));
        }
    }
}

TEST(WangWriter, WhatOfATree) {
    // A container with a selected one of two, a selected container with one, and one without children.
    StoredTree tree = newTree();
    AnnObject& first = *newObject(ANN_OBJECT_CONTAINER, tree.root);
    newObject(ANN_OBJECT_RECT, &first)->uTag = 1;
    AnnObject& chosen = *newObject(ANN_OBJECT_HILITE, &first);
    chosen.bSelected = 1;
    AnnObject& second = *newObject(ANN_OBJECT_CONTAINER, tree.root);
    second.bSelected = 1;
    newObject(ANN_OBJECT_TEXT, &second);
    newObject(ANN_OBJECT_CONTAINER, tree.root);
    const auto types = [&](uint32_t uFormat, bool bSelected) {
        std::string text;
        for (const Mark& mark : cut(savedAs(uFormat, tree.root, bSelected))) text += std::to_string(mark.word(0)) + " ";
        return text;
    };
    EXPECT_EQ(types(ANN_FMT_TIFFTAG, false), "5 5 5 6 5 7 5 ");
    EXPECT_EQ(types(ANN_FMT_TIFFTAG, true), "5 5 6 5 7 ");
    EXPECT_EQ(types(ANN_FMT_WANGTAG, false), "5 6 7 ");
    EXPECT_EQ(types(ANN_FMT_WANGTAG, true), "6 7 ");
}

TEST(WangWriter, NothingToStore) {
    StoredTree tree = newTree();
    HGLOBAL hMem = nullptr;
    uint32_t size = 5;
    EXPECT_EQ(K_AnnSaveMemory(tree.handle(), ANN_FMT_WANGTAG, 0, &hMem, &size, nullptr), SUCCESS);
    EXPECT_EQ(hMem, nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(K_AnnSaveTag(tree.handle(), ANN_FMT_WANGTAG, 0), ERROR_NO_MEMORY);
    EXPECT_EQ(cut(savedAs(ANN_FMT_TIFFTAG, tree.root)).size(), 1u);

    // A block that is there stays, and stays unlocked.
    ASSERT_EQ(K_AnnSaveMemory(tree.handle(), ANN_FMT_NATIVE, 0, &hMem, &size, nullptr), SUCCESS);
    const std::string before(static_cast<const char*>(GlobalLock(hMem)), size);
    GlobalUnlock(hMem);
    const uint32_t told = size;
    EXPECT_EQ(K_AnnSaveMemory(tree.handle(), ANN_FMT_WANGTAG, 0, &hMem, &size, nullptr), SUCCESS);
    EXPECT_EQ(size, told);
    EXPECT_FALSE(GlobalUnlock(hMem));
    // Marks replace it whole.
    newObject(ANN_OBJECT_LINE, tree.root);
    EXPECT_EQ(K_AnnSaveMemory(tree.handle(), ANN_FMT_WANGTAG, 0, &hMem, &size, nullptr), SUCCESS);
    EXPECT_LT(size, told);
    EXPECT_EQ(takeBlock(hMem, size), savedAs(ANN_FMT_WANGTAG, tree.root));
}

TEST(WangWriter, EveryShortWriteIsTold) {
    StoredTree tree = newTree();
    newObject(ANN_OBJECT_POINT, tree.root);
    newObject(ANN_OBJECT_TEXT, tree.root);
    const std::string whole = savedAs(ANN_FMT_TIFFTAG, tree.root);
    for (int writes = 0;; ++writes) {
        ASSERT_LT(writes, 100);
        TextStream sink;
        FailingStream stream(sink.stream, writes);
        const int code = annWangWriteTree(stream, *tree.root, {}, false);
        sink.stream.pBlock = stream.pBlock;
        sink.stream.uEnd = stream.uEnd;
        if (code == SUCCESS) {
            EXPECT_GT(writes, 8);
            EXPECT_EQ(sink.text(), whole);
            break;
        }
        EXPECT_EQ(code, ERROR_FILE_WRITE);
    }
}

} // namespace
