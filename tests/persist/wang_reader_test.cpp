// Marks made by hand in both layouts: every mark type, field and block, and the tree that a list stands for.
#include "persist/wang_tree.h"
#include "store/matrix.h"
#include "tests/persist/support.h"
#include "tests/persist/wang_bytes.h"
#include "tests/temporary_folder.h"

#include <fstream>
#include <random>
#include <regex>

using namespace kbann;
using namespace kbann::test;

namespace {

class WangReader : public testing::TestWithParam<bool> {
protected:
    static MarkBytes marks() { return MarkBytes(GetParam()); }

    // The objects of the marks.
    std::vector<AnnObject*> read(const MarkBytes& marks, int expected = SUCCESS) {
        EXPECT_EQ(load(marks.data, tree_), expected);
        std::vector<AnnObject*> objects;
        for (AnnObject* child = tree_.root ? tree_.root->pFirstChild : nullptr; child; child = child->pNext)
            objects.push_back(child);
        return objects;
    }
    AnnObject& one(const MarkBytes& marks) {
        const auto objects = read(marks);
        EXPECT_EQ(objects.size(), 1u);
        static AnnObject none;
        return objects.empty() ? none : *objects[0];
    }

    StoredTree tree_;
};

std::string pointsOf(const AnnObject& object) {
    std::string text;
    for (const AnnPoint& p : object.pPoints)
        text += (text.empty() ? "" : " ") + std::to_string(annRound(p.x)) + "," + std::to_string(annRound(p.y));
    return text;
}

TEST_P(WangReader, MarkTypesBecomeObjects) {
    constexpr uint32_t none = 99;
    const struct {
        int32_t uType, highlighting;
        uint32_t nType, nFillMode;
    } rows[] = {
        {0, 0, none, 0},
        {1, 0, ANN_OBJECT_STAMP, 0},
        {2, 0, ANN_OBJECT_STAMP, 0},
        {3, 0, ANN_OBJECT_LINE, 0},
        {4, 0, ANN_OBJECT_FREEHAND, 0},
        {5, 0, ANN_OBJECT_RECT, ANN_FILLMODE_TRANSPARENT},
        {5, 1, ANN_OBJECT_RECT, ANN_FILLMODE_TRANSPARENT},
        {6, 0, ANN_OBJECT_RECT, ANN_FILLMODE_OPAQUE},
        {6, 1, ANN_OBJECT_HILITE, ANN_FILLMODE_TRANSLUCENT},
        {7, 0, ANN_OBJECT_TEXT, 0},
        {8, 0, ANN_OBJECT_TEXT, 0},
        {9, 0, ANN_OBJECT_STAMP, 0},
        {10, 0, ANN_OBJECT_NOTE, ANN_FILLMODE_OPAQUE},
        {11, 0, none, 0},
        {12, 0, ANN_OBJECT_STAMP, 0},
        {13, 0, none, 0},
        {-1, 0, none, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.uType);
        // What belongs to a mark that is none goes with it.
        MarkBytes bytes = marks();
        bytes.mark({.uType = row.uType, .highlighting = row.highlighting}).block("OiIndex", "7").block("OiAnText", "");
        if (row.nType == none) {
            EXPECT_TRUE(read(bytes).empty());
            EXPECT_EQ(tree_.root, nullptr);
            bytes.mark({});
            EXPECT_EQ(one(bytes).nSaveId, 0u);
            continue;
        }
        bytes.data.resize(bytes.data.size() - (GetParam() ? 20 : 24));
        const AnnObject& object = one(bytes);
        EXPECT_EQ(object.nType, row.nType);
        EXPECT_EQ(object.nFillMode, row.nFillMode);
        EXPECT_EQ(object.nROP2, static_cast<uint32_t>(row.highlighting));
        EXPECT_EQ(object.nSaveId, 7u);
    }
}

TEST_P(WangReader, FieldsOfAMark) {
    const AnnObject& rect = one(marks().mark({.transparent = 1, .lineSize = 9, .visible = -1}));
    EXPECT_EQ(rect.crFore, 0x332211u);
    EXPECT_EQ(rect.crBack, 0x665544u);
    EXPECT_EQ(rect.bTransparent, 1);
    EXPECT_EQ(rect.bVisible, 1);
    EXPECT_EQ(rect.dLineWidth, 9);
    EXPECT_EQ(rect.crTransparent, 0xFFFFFFu);
    EXPECT_EQ(pointsOf(rect), "10,20 10,70 110,70");
    EXPECT_EQ(rect.quad[0].x, 10);
    EXPECT_EQ(rect.quad[1].y, 70);
    EXPECT_EQ(rect.quad[2].x, 110);
    for (const int32_t uType : {6, 10}) {
        const AnnObject& filled = one(marks().mark({.uType = uType, .visible = 0}));
        EXPECT_EQ(filled.crBack, 0x332211u);
        EXPECT_EQ(filled.crFore, 0x665544u);
        EXPECT_EQ(filled.bVisible, 0);
    }

    const double usual = 13; // 10 points at 96 dots an inch, truncated
    const struct {
        const char* face;
        int32_t height, weight;
        const char* expected;
        double size;
        int32_t bold;
    } fonts[] = {
        {"", 0, 0, "Arial", usual, 0},
        {"", -17, 550, "Arial", 17, 0},
        {"Times", 0, 551, "Times", usual, 1},
        {"Times", 32000, -700, "Times", 32000, 0},
        {"A name that has no room for a NUL", -1, 700, "A name that has no room for a NU", 1, 1},
    };
    for (const auto& font : fonts) {
        SCOPED_TRACE(font.expected);
        const AnnObject& text = one(marks().mark({.uType = 7,
                                                  .height = font.height,
                                                  .weight = font.weight,
                                                  .italic = 255,
                                                  .strikeOut = 1,
                                                  .face = std::string(font.face).substr(0, 32)}));
        EXPECT_EQ(text.pszFontName.view(), font.expected);
        EXPECT_EQ(text.dFontSize, font.size);
        EXPECT_EQ(text.bFontBold, font.bold);
        EXPECT_EQ(text.bFontItalic, 1);
        EXPECT_EQ(text.bFontUnderline, 0);
        EXPECT_EQ(text.bFontStrikeThrough, 1);
    }
}

TEST_P(WangReader, PointsAndTheirCounts) {
    const auto four = {1, 2, 3, 4, -5, 6, 7, 8};
    const struct {
        const char* name;
        uint32_t most, used;
        std::initializer_list<int> values;
        int code;
        const char* points;
        const char* behind;
    } rows[] = {
        {"as many as there is room for", 4, 4, four, SUCCESS, "11,22 13,24 5,26 17,28", ""},
        {"room that isn't used", 4, 2, four, SUCCESS, "11,22 13,24", ""},
        {"none", 0, 0, {}, SUCCESS, "", ""},
        {"bytes behind the room", 2, 2, four, SUCCESS, "11,22 13,24", "x"},
        {"the used ones alone", 200, 4, four, SUCCESS, "11,22 13,24 5,26 17,28", ""},
        {"more used than there is room for", 2, 4, four, ERROR_FILE_READ, "", ""},
        {"neither count fits", 200, 3, four, ERROR_FILE_READ, "", ""},
        {"a byte too many", 200, 4, four, ERROR_FILE_READ, "", "x"},
        {"all that can be claimed", 0xFFFF'FFFF, 0xFFFF'FFFF, four, ERROR_FILE_READ, "", ""},
    };
    for (const int32_t uType : {3, 4}) {
        for (const auto& row : rows) {
            SCOPED_TRACE(row.name);
            MarkBytes bytes = marks();
            bytes.mark({.uType = uType}).block("OiAnoDat", bytes.points(row.most, row.used, row.values) + row.behind);
            const auto objects = read(bytes, row.code);
            ASSERT_EQ(objects.size(), row.code == SUCCESS ? 1u : 0u);
            if (row.code == SUCCESS) {
                EXPECT_EQ(pointsOf(*objects[0]), row.points);
            }
        }
    }
    read(marks().mark({.uType = 3}).block("OiAnoDat", "\1\0\0"), ERROR_FILE_READ);
    EXPECT_EQ(pointsOf(one(marks().mark({.uType = 5}).block("OiAnoDat", "?"))), "10,20 10,70 110,70");
}

TEST_P(WangReader, TurnedAndMirroredImages) {
    // Where corner A of 10,20 to 110,70 comes to.
    const struct {
        int32_t code;
        double x, y;
        bool mirrored;
    } rows[] = {
        {0, 10, 20, false}, {1, 10, 20, false}, {2, 85, -5, false},  {3, 110, 70, false},
        {4, 35, 95, false}, {5, 10, 20, true},  {6, 85, -5, true},   {7, 110, 70, true},
        {8, 35, 95, true},  {9, 10, 20, false}, {-1, 10, 20, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.code);
        MarkBytes bytes = marks();
        bytes.mark({.uType = 1}).block("OiAnoDat", bytes.number(row.code) + std::string(52, '\1'));
        bytes.block("OiDIB", smallDib());
        const AnnObject& stamp = one(bytes);
        EXPECT_NEAR(stamp.quad[0].x, row.x, 1e-9);
        EXPECT_NEAR(stamp.quad[0].y, row.y, 1e-9);
        ASSERT_EQ(stamp.bitmap.Width, 2);
        EXPECT_EQ(K_GetBitmapPixel(&stamp.bitmap, 0, 0), row.mirrored ? 0x0000FFu : 0xFF0000u);
        EXPECT_FALSE(stamp.bLoadMirror);
    }
    read(marks().mark({.uType = 1}).block("OiAnoDat", "\1"), ERROR_FILE_READ);
}

TEST_P(WangReader, Texts) {
    using namespace std::string_literals;
    MarkBytes bytes = marks();
    bytes.mark({.uType = 9}).block("OiAnText", bytes.text(0, "plain\0behind"s));
    EXPECT_EQ(one(bytes).pszText.view(), "plain");
    read(marks().mark({.uType = 7}).block("OiAnText", std::string(GetParam() ? 15 : 7, ' ')), ERROR_FILE_READ);

    // Turned about its middle, 60,45, and brought back to 100 by 50.
    const struct {
        int32_t tenths;
        double x, y;
    } turns[] = {{900, 10, 70}, {-900, 110, 20}, {1800, 110, 70}, {3600, 10, 20}};
    for (const auto& turn : turns) {
        SCOPED_TRACE(turn.tenths);
        MarkBytes turned = marks();
        turned.mark({.uType = 7}).block("OiAnText", turned.text(turn.tenths, "up"));
        const AnnObject& text = one(turned);
        EXPECT_NEAR(text.quad[0].x, turn.x, 1e-9);
        EXPECT_NEAR(text.quad[0].y, turn.y, 1e-9);
        EXPECT_NEAR(text.annBounds.right - text.annBounds.left, 100, 1e-9);
        EXPECT_NEAR(text.annBounds.bottom - text.annBounds.top, 50, 1e-9);
    }
    MarkBytes flat = marks();
    flat.mark({.uType = 7, .right = 10, .bottom = 20}).block("OiAnText", flat.text(450, "a point"));
    EXPECT_EQ(one(flat).annBounds.left, 10);
}

TEST_P(WangReader, ImagesDriveTextsOutButNotThoseOfNotes) {
    for (const char* name : {"OiDIB", "OiDib"}) {
        MarkBytes bytes = marks();
        bytes.mark({.uType = 1}).block("OiAnText", bytes.text(0, "gone")).block(name, smallDib());
        bytes.mark({.uType = 10}).block("OiAnText", bytes.text(0, "stays")).block(name, "no image");
        const auto objects = read(bytes);
        ASSERT_EQ(objects.size(), 2u);
        EXPECT_TRUE(objects[0]->bitmap.Allocated);
        EXPECT_FALSE(objects[0]->pszText);
        EXPECT_FALSE(objects[1]->bitmap.Allocated);
        EXPECT_EQ(objects[1]->pszText.view(), "stays");
    }
}

TEST_P(WangReader, BlocksThatAreNotTheMarks) {
    MarkBytes bytes = marks();
    bytes.block("OiIndex", "5", 2).block("OiIndex", "6").mark({.uType = 5}).block("OiIndex", "8", 2);
    bytes.block("OiOwnNm", "somebody").block("OiHilite", "\1").block("oiindex", "9").block("OiIndex", "12x34");
    EXPECT_EQ(one(bytes).nSaveId, 12u);
    for (const auto& [digits, number] : {std::pair{"", 0u}, {"4294967296", UINT32_MAX}, {"-3", 0u}})
        EXPECT_EQ(one(marks().mark({}).block("OiIndex", digits)).nSaveId, number);
    read(marks().mark({}).block("OiIndex", std::string(31, '1')), ERROR_FILE_READ);
    // What is passed over may say that it goes on behind the data.
    EXPECT_EQ(read(marks().mark({}).claim("Another", UINT32_MAX, "end")).size(), 1u);
    for (const char* name : {"OiIndex", "OiAnText", "OiDIB"}) read(marks().mark({}).claim(name, 20, "end"), ERROR_FILE_READ);
    const struct {
        int32_t uType;
        const char* name;
        bool taken;
    } rows[] = {{10, "OiDIB", false},  {10, "OiDib", false},  {5, "OiAnoDat", false}, {5, "OiFilNam", false},
                {1, "OiAnoDat", true}, {3, "OiAnoDat", true}, {9, "OiFilNam", true},  {7, "OiDIB", true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        read(marks().mark({.uType = row.uType}).claim(row.name, 100, "end"), row.taken ? ERROR_FILE_READ : SUCCESS);
    }
    // A few bytes at the end are no block.
    MarkBytes rest = marks();
    rest.mark({}).data += "\7\7\7";
    EXPECT_EQ(read(rest).size(), 1u);
}

TEST_P(WangReader, TheRestOfAnObject) {
    const std::string reduced = fileText("BEGINOBJECT\n1\nTAG\n77\nENDOBJECT\n");
    // Tag and length of each token: the object's type, its field 3, its end.
    const std::string coded("\0\0\4\0\0\0\1\0\0\0"
                            "\3\0\4\0\0\0\x4E\0\0\0"
                            "\x25\0\0\0\0\0",
                            26);
    for (const auto& [name, content, tag] : {std::tuple{"KiteDat", reduced, 77u}, {"KiteDAT", coded, 78u}}) {
        SCOPED_TRACE(name);
        // Bytes behind the object belong to the block, and the next mark is found.
        MarkBytes bytes = marks();
        bytes.mark({.uType = 3}).block("OiAnoDat", bytes.points(2, 2, {0, 0, 90, 40})).block(name, content + "KBANNEND");
        bytes.mark({.uType = 5});
        const auto objects = read(bytes);
        ASSERT_EQ(objects.size(), 2u);
        EXPECT_EQ(objects[0]->nType, uint32_t{ANN_OBJECT_POINTER});
        EXPECT_EQ(objects[0]->uTag, tag);
        EXPECT_EQ(objects[0]->ptPointerTip.x, 10);
        EXPECT_EQ(objects[0]->ptPointerTail.y, 60);
        // The object ends in its block.
        read(marks().mark({}).claim(name, static_cast<uint32_t>(content.size() - 9), content), ERROR_FILE_READ);
    }
    for (const char* bad : {"ENDOBJECT\r\n", "BEGINOBJECT\r\n24\r\nENDOBJECT\r\n", "BEGINOBJECT\r\n0\r\nMISSPELT\r\n", ""})
        read(marks().mark({}).block("KiteDat", bad), ERROR_FILE_READ);

    // Six points of one stroke are a cross product's five.
    MarkBytes cross = marks();
    cross.mark({.uType = 4, .left = 0, .top = 0});
    cross.block("OiAnoDat", cross.points(6, 6, {0, 5, 5, 5, 5, 0, 5, 10, 5, 5, 10, 5}));
    cross.block("KiteDat", fileText("BEGINOBJECT\n18\nENDOBJECT\n"));
    EXPECT_EQ(pointsOf(one(cross)), "0,5 10,5 5,5 5,0 5,10");
}

// A key and an image in any order, from either block: the row comes out as it was hidden, and only once.
TEST_P(WangReader, HiddenRowsComeOutOnce) {
    std::string hidden = "0123456789012345";
    auto* bytes = reinterpret_cast<uint8_t*>(hidden.data());
    annScramble(bytes, bytes, hidden.size());
    std::string row; // six bits a character
    for (size_t bit = 0; bit < 8 * hidden.size(); bit += 6) {
        const auto byteAt = [&](size_t i) { return i < hidden.size() ? static_cast<uint8_t>(hidden[i]) : 0u; };
        row += static_cast<char>(' ' + ((byteAt(bit / 8) << 8 | byteAt(bit / 8 + 1)) >> (10 - bit % 8) & 63));
    }
    std::string dib("\x28\0\0\0\5\0\0\0\1\0\0\0\1\0\x18\0", 16);
    dib.resize(40, '\0');
    dib += hidden;
    const std::string image = "BITMAP\n24\n5\n1\n0\n1\n" + row + "\n", key = "LOCK\n3\n86)C\n";
    const struct {
        const char* name;
        std::string dib, fields;
    } rows[] = {
        {"a packed image", dib, key},
        {"an image behind its key", "", key + image},
        {"an image before its key", "", image + key},
        {"another image before", smallDib(), image + key},
        {"another image before, and the key", smallDib(), key + image},
        {"another image of the same size before", dib, image + key},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        MarkBytes bytesOfMark = marks();
        bytesOfMark.mark({.uType = 6});
        if (!r.dib.empty()) bytesOfMark.block("OiDIB", r.dib);
        bytesOfMark.block("KiteDat", fileText("BEGINOBJECT\n13\n" + r.fields + "ENDOBJECT\n"));
        AnnObject& object = one(bytesOfMark);
        ASSERT_EQ(object.bitmap.Width, 5);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(K_WritableBitmapRow(&object.bitmap, 0)), 15), "012345678901234");
    }
}

// The messages of trace lines, each of which tells time and thread first.
std::string messages(const std::string& lines) {
    static const std::regex head("([ 0-9]{3,}\\.[0-9]{3}: [0-9a-f]{8}: )([^\n]*\n)");
    std::string found, all;
    for (std::sregex_iterator line(lines.begin(), lines.end(), head), end; line != end; ++line) {
        all += line->str();
        found += line->str(2);
    }
    EXPECT_EQ(all, lines);
    return found;
}

TEST_P(WangReader, MessagesAndFailures) {
    std::string heard;
    KbSetDebugSink([](const char* text, void* user) { *static_cast<std::string*>(user) += text; }, &heard);
    MarkBytes odd = marks();
    read(odd.mark({.reserved = 0xABC}), SUCCESS);
    EXPECT_EQ(messages(heard), "   Warning! dwReserved4 = abc, not 0x0FF83F!\n");
    heard.clear();
    MarkBytes unknown = marks();
    unknown.mark({}).data += std::string("\7\0\0\0", 4);
    read(unknown, ERROR_FILE_READ);
    EXPECT_EQ(messages(heard), "Block of type 7 unknown - aborting\n");
    heard.clear();
    for (const size_t cut : {size_t{1}, size_t{100}}) {
        MarkBytes cutShort = marks();
        cutShort.mark({}).data.resize(cutShort.data.size() - cut);
        read(cutShort, ERROR_FILE_READ);
    }
    MarkBytes size = marks();
    size.mark({}).data[12] ^= 1;
    read(size, ERROR_FILE_READ);
    EXPECT_EQ(messages(heard), "ReadWangObject Failed! abort\nReadWangObject Failed! abort\nReadWangObject Failed! abort\n");
    KbSetDebugSink(nullptr, nullptr);
}

TEST_P(WangReader, ImageFilesByPolicy) {
    const TemporaryFolder folder;
    const std::string file = folder.file("image.bmp");
    const std::string header("BM\0\0\0\0\0\0\0\0\x36\0\0\0", 14);
    std::ofstream(file, std::ios::binary) << header << smallDib();
    const auto stampOf = [this](const std::string& path) {
        return one(marks().mark({.uType = 2}).block("OiFilNam", path + '\0' + "x")).bitmap.Allocated;
    };
    EXPECT_TRUE(stampOf(file));
    EXPECT_FALSE(stampOf(folder.path.string()));
    EXPECT_FALSE(stampOf(file + ".gone"));
    EXPECT_FALSE(one(marks().mark({.uType = 5}).block("OiFilNam", file)).bitmap.Allocated);
    EXPECT_EQ(K_SetLinkedFilePolicy(0), 1);
    EXPECT_FALSE(stampOf(file));
    EXPECT_EQ(K_SetLinkedFilePolicy(1), 0);
}

INSTANTIATE_TEST_SUITE_P(Layouts, WangReader, testing::Bool(), [](const auto& i) { return i.param ? "wide" : "narrow"; });

// --- Trees -----------------------------------------------------------------------------------------------------------

struct Node {
    uint32_t nType, nSaveId, nFatherId;
};

std::string shape(const AnnObject& object) {
    std::string text = std::to_string(object.uTag);
    for (const AnnObject* child = object.pFirstChild; child; child = child->pNext) {
        EXPECT_EQ(child->pParent, &object);
        text += "(" + shape(*child) + ")";
    }
    return text;
}

// As the order of taking is told, with all its walks.
struct Plain {
    struct Item {
        Node node;
        uint32_t tag;
        std::vector<Item> children;
    };
    std::vector<Item> list;

    static void take(std::vector<Item>& items, size_t at) {
        Item container = items[at];
        if (container.node.nType != ANN_OBJECT_CONTAINER) return;
        for (size_t i = at + 1; i < items.size();) {
            if (items[i].node.nFatherId == container.node.nSaveId) {
                container.children.push_back(items[i]);
                items.erase(items.begin() + static_cast<std::ptrdiff_t>(i));
            } else {
                ++i;
            }
        }
        for (size_t i = 0; i < container.children.size(); ++i) take(container.children, i);
        items[at] = container;
    }
    static std::string shape(const Item& item) {
        std::string text = std::to_string(item.tag);
        for (const Item& child : item.children) text += "(" + shape(child) + ")";
        return text;
    }
};

TEST(WangTree, ContainersTakeWhatIsTheirs) {
    const auto seed = static_cast<unsigned>(GTEST_FLAG_GET(random_seed)) + 3;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 3000 && !testing::Test::HasFailure(); ++round) {
        RecordList list;
        Plain plain;
        const auto below = [&random](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
        const uint32_t count = below(9), numbers = 1 + below(6);
        for (uint32_t i = 0; i < count; ++i) {
            const uint32_t nType = below(2) ? ANN_OBJECT_CONTAINER : ANN_OBJECT_RECT;
            const Node node{nType, below(numbers), below(numbers)};
            AnnObject* record = newObject(node.nType);
            record->nSaveId = node.nSaveId;
            record->nFatherId = node.nFatherId;
            record->uTag = i + 1;
            list.records.push_back(record);
            plain.list.push_back({node, i + 1, {}});
        }
        for (size_t i = plain.list.size(); i-- > 0;) Plain::take(plain.list, i);
        std::string expected;
        if (plain.list.size() == 1 && plain.list[0].node.nType == ANN_OBJECT_CONTAINER) {
            expected = Plain::shape(plain.list[0]);
        } else if (!plain.list.empty()) {
            expected = Plain::shape({{}, 0, plain.list});
        }
        AnnObject* root = nullptr;
        ASSERT_EQ(annWangBuildTree(list, root, {}), SUCCESS);
        const StoredTree tree(root);
        EXPECT_EQ(root ? shape(*root) : "", expected);
    }
}

TEST(WangTree, ABuiltRootSpansTheImage) {
    const struct {
        WangImage image;
        double right, bottom;
    } rows[] = {
        {{}, 31999, 31999}, {{100, 50}, 99, 49}, {{32000, 1}, 31999, 0}, {{32001, 0.5}, 31999, 31999}, {{0, 7}, 31999, 6}};
    for (const auto& row : rows) {
        RecordList list;
        list.records.push_back(newObject(ANN_OBJECT_RECT));
        AnnObject* root = nullptr;
        ASSERT_EQ(annWangBuildTree(list, root, row.image), SUCCESS);
        const StoredTree tree(root);
        EXPECT_EQ(root->bVisible, 1);
        const double expected[6] = {0, 0, row.right, 0, row.right, row.bottom};
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(root->quad[i].x, expected[2 * i]);
            EXPECT_EQ(root->quad[i].y, expected[2 * i + 1]);
        }
    }
}

// A file may claim any nesting; the work stays in proportion to its size.
TEST(WangTree, LongListsInAReasonableTime) {
    constexpr uint32_t many = 100'000;
    const auto build = [](auto&& numberOf, auto&& fatherOf, AnnObject*& root) {
        RecordList list;
        for (uint32_t i = 0; i < many; ++i) {
            AnnObject* record = newObject(ANN_OBJECT_CONTAINER);
            record->nSaveId = numberOf(i);
            record->nFatherId = fatherOf(i);
            list.records.push_back(record);
        }
        return annWangBuildTree(list, root, {});
    };
    const auto own = [](uint32_t i) { return i + 1; };
    AnnObject* root = nullptr;
    EXPECT_EQ(build(
                  own, [](uint32_t i) { return i; }, root),
              ERROR_FILE_READ)
        << "each in the one before";
    EXPECT_EQ(root, nullptr);
    EXPECT_EQ(build([](uint32_t) { return 0u; }, [](uint32_t) { return 0u; }, root), ERROR_FILE_READ) << "all alike";
    EXPECT_EQ(build(
                  own, [](uint32_t i) { return i % 500; }, root),
              SUCCESS);
    const StoredTree tree(root);
    EXPECT_EQ(annHeight(root), 500u);
}

} // namespace
