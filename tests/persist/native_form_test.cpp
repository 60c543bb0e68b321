// The token stream: a small tree byte for byte, random trees of all types there and back, what is written of a tree.
#include "persist/field_members.h"
#include "tests/persist/random_tree.h"

using namespace kbann;
using namespace kbann::test;

namespace {

TEST(NativeForm, SmallTreeByteForByte) {
    StoredTree tree = newTree();
    AnnObject& root = *tree.root;
    root.dFontSize = 12;
    root.bVisible = 1;
    root.quad[1] = {0, 99.5};
    root.quad[2] = {200, 99.5};
    AnnObject& rect = *newObject(ANN_OBJECT_RECT, &root);
    rect.dFontSize = 8.25;
    rect.uTag = 4294967295u;
    rect.crFore = 0x0000FF;
    rect.nROP2 = 13;
    rect.pszName.assign("abc");
    rect.pszFontName.clear();
    rect.quad[0] = {1e-5, -1};
    const std::string expected = fileText(R"(KBANNBEGIN
BEGINOBJECT
0
VISIBLE
1
TAG
0
SCALARX
1
SCALARY
1
OFFSETX
0
OFFSETY
0
FORECOLOR
0
BACKCOLOR
16777215
FONTSIZE
12
FONTBOLD
0
FONTITALIC
0
FONTSTRIKETHROUGH
0
FONTUNDERLINE
0
LINEWIDTH
0
LINESTYLE
5
FILLPATTERN
0
FILLMODE
0
GROUPING
0
POINTS
3
0
0
0
99.5
200
99.5
ENDOBJECT
BLOCKBEGIN
BEGINOBJECT
12
VISIBLE
0
TAG
4294967295
SCALARX
1
SCALARY
1
OFFSETX
0
OFFSETY
0
FORECOLOR
255
BACKCOLOR
16777215
FONTSIZE
8.25
FONTBOLD
0
FONTITALIC
0
FONTSTRIKETHROUGH
0
FONTUNDERLINE
0
LINEWIDTH
1
LINESTYLE
0
FILLPATTERN
0
FILLMODE
0
ROP2
13
NAME
3
86)C
SHOWNAME
1
NAMEOFFSET
0
0
NAMEAUTOADJUST
1
POINTS
3
1E-05
-1
0
0
0
0
ENDOBJECT
BLOCKEND
KBANNEND
)");
    EXPECT_EQ(saved(&root), expected);
    EXPECT_EQ(saved(&rect), expected) << "alone it is wrapped in its container";
}

void compareBitmaps(const KernelBitmap& a, const KernelBitmap& b) {
    ASSERT_EQ(a.Allocated, b.Allocated);
    if (!a.Allocated) return;
    ASSERT_TRUE(a.Width == b.Width && a.Height == b.Height && a.BitsPerPixel == b.BitsPerPixel && a.Order == b.Order &&
                a.ViewPerspective == b.ViewPerspective);
    for (int row = 0; row < a.Height; ++row)
        EXPECT_EQ(std::memcmp(K_BitmapRowPointer(&a, row), K_BitmapRowPointer(&b, row), static_cast<size_t>(a.BytesPerLine)),
                  0);
}

bool samePoint(AnnPoint a, AnnPoint b) { return a.x == b.x && a.y == b.y; }

bool sameValue(const AnnObject&, const AnnObject&, std::monostate) { return true; }
bool sameValue(const AnnObject& a, const AnnObject& b, Text AnnValues::*value) {
    return (a.*value).view() == (b.*value).view();
}
template <class Value> bool sameValue(const AnnObject& a, const AnnObject& b, Value AnnValues::*value) {
    return a.*value == b.*value;
}

void compareObjects(const AnnObject& a, const AnnObject& b) {
    ASSERT_EQ(a.nType, b.nType);
    SCOPED_TRACE(annObjectTypeNames[a.nType]);
    for (const auto& field : storedFields) {
        if (!hasType(field.types, a.nType) || (field.tag == tagHyperlinkText && !a.nHyperlinkType)) continue;
        SCOPED_TRACE(field.keyword);
        EXPECT_TRUE(std::visit([&](auto value) { return sameValue(a, b, value); }, fieldMembers[field.tag]));
        switch (field.content) {
        case FieldContent::hyperlink:
            EXPECT_EQ(a.nHyperlinkType, b.nHyperlinkType);
            EXPECT_TRUE(!a.nHyperlinkType ||
                        (a.uHyperlinkParam1 == b.uHyperlinkParam1 && a.uHyperlinkParam2 == b.uHyperlinkParam2));
            break;
        case FieldContent::nodes: EXPECT_TRUE(a.bShowNodes == b.bShowNodes && a.nGapNodes == b.nGapNodes); break;
        case FieldContent::angle:
            EXPECT_TRUE(a.bAcute == b.bAcute && a.nAngleUnit == b.nAngleUnit && a.nAnglePrecision == b.nAnglePrecision &&
                        a.dArcRadius == b.dArcRadius);
            break;
        case FieldContent::bitmap:
            if (field.tag == tagSecondaryBitmap)
                compareBitmaps(a.pPushpin->bitmap2, b.pPushpin->bitmap2);
            else
                compareBitmaps(a.bitmap, b.bitmap);
            break;
        case FieldContent::menuState:
            EXPECT_EQ(static_cast<bool>(a.pItemMenu), static_cast<bool>(b.pItemMenu));
            if (a.pItemMenu && b.pItemMenu) {
                EXPECT_EQ(a.pItemMenu->itemMenuEnable, b.pItemMenu->itemMenuEnable);
                EXPECT_EQ(a.pItemMenu->itemMenuEnableMask, b.pItemMenu->itemMenuEnableMask);
            }
            break;
        case FieldContent::points:
            if (hasType(typesQuad, a.nType)) {
                EXPECT_TRUE(std::equal(a.quad, a.quad + 3, b.quad, samePoint));
            } else if (hasType(typesPointer, a.nType)) {
                EXPECT_TRUE(samePoint(a.ptPointerTip, b.ptPointerTip) && samePoint(a.ptPointerTail, b.ptPointerTail));
            } else {
                EXPECT_TRUE(std::equal(a.pPoints.begin(), a.pPoints.end(), b.pPoints.begin(), b.pPoints.end(), samePoint));
            }
            break;
        default: break; // plain members, compared above; name offsets may be adjusted after a load
        }
    }
}

TEST(NativeForm, RandomTreesComeBack) {
    for (unsigned round = 0; round < 20; ++round) {
        const unsigned seed = static_cast<unsigned>(GTEST_FLAG_GET(random_seed)) + round + 1;
        SCOPED_TRACE("seed " + std::to_string(seed));
        RandomTree source{std::mt19937(seed)};
        StoredTree tree = source.make(60);
        const std::string first = saved(tree.root);
        StoredTree back;
        ASSERT_EQ(load(first, back), SUCCESS);
        EXPECT_EQ(back.root->hWnd, 0u);
        const AnnObject* b = back.root;
        for (const AnnObject* a = tree.root; a; a = annNextInTree(a, static_cast<const AnnObject*>(tree.root))) {
            ASSERT_NE(b, nullptr);
            compareObjects(*a, *b);
            b = annNextInTree(b, static_cast<const AnnObject*>(back.root));
        }
        EXPECT_EQ(b, nullptr);
        if (HasFailure()) return;

        const std::string second = saved(back.root);
        StoredTree again;
        ASSERT_EQ(load(second, again), SUCCESS);
        EXPECT_TRUE(saved(again.root) == second);

        // The same through a stream that can't be read in place.
        for (const int64_t piece : {1, 61}) {
            TextStream text(second.substr(textHeader.size() + 2));
            CrumblingStream crumbs(text.stream, piece);
            TextReader reader(crumbs);
            AnnObject* root = nullptr;
            ASSERT_EQ(annReadTree(reader, root, 0), SUCCESS);
            StoredTree crumbled(root);
            EXPECT_TRUE(reader.finish());
            EXPECT_EQ(crumbs.uPos, text.stream.uEnd);
            EXPECT_EQ(saved(root), second);
        }
    }
}

TEST(NativeForm, WhatIsWrittenOfATree) {
    // Containers in capitals, others small; children follow in brackets.
    struct Row {
        const char* name;
        bool bSelected;
        const char* tree;
        const char* selected; // tags of the selected objects
        const char* written;
    };
    const Row rows[] = {
        {"everything", false, "R(aB(cD(e)))", "", "R(aB(cD(e)))"},
        {"empty nested containers go", false, "R(A(B()C(D()))eF(G()h))", "", "R(eF(h))"},
        {"the root stays, with its block", false, "R(A(B()))", "", "R()"},
        {"selected objects alone", true, "R(aB(cd)E(f)g)", "cg", "R(B(c)g)"},
        {"a selected container takes all along", true, "R(aB(cdE(f)))", "Bf", "R(B(cdE(f)))"},
        {"also where nothing in it is selected", true, "R(aB(cD(e)F())G(h))", "B", "R(B(cD(e)))"},
        {"but not without anything to take", true, "R(aB(C()))", "BC", "R()"},
        {"nothing is selected", true, "R(ab)", "", "R()"},
        {"a root alone", false, "R", "", "R"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        StoredTree tree;
        AnnObject *container = nullptr, *last = nullptr;
        for (const char* p = row.tree; *p; ++p) {
            if (*p == '(') {
                container = last;
            } else if (*p == ')') {
                container = container->pParent;
            } else {
                last = newObject(*p < 'a' ? ANN_OBJECT_CONTAINER : ANN_OBJECT_RECT, container);
                last->uTag = static_cast<uint32_t>(*p);
                last->bSelected = std::strchr(row.selected, *p) != nullptr;
                if (!tree.root) tree.root = last;
            }
        }
        StoredTree back;
        const std::string text = saved(tree.root, row.bSelected);
        ASSERT_EQ(load(text, back), SUCCESS);
        std::string shape;
        const bool hasBlock = text.find("BLOCKBEGIN") != std::string::npos;
        const auto describe = [&shape](const AnnObject* object, auto&& self) -> void {
            shape += static_cast<char>(object->uTag);
            if (!object->pFirstChild) return;
            shape += '(';
            for (const AnnObject* child = object->pFirstChild; child; child = child->pNext) self(child, self);
            shape += ')';
        };
        describe(back.root, describe);
        if (hasBlock && !back.root->pFirstChild) shape += "()";
        EXPECT_EQ(shape, row.written);
    }
}

TEST(NativeForm, DepthHasALimitBeforeTheFirstByte) {
    for (const uint32_t depth : {maxTreeDepth, maxTreeDepth + 1}) {
        StoredTree tree = newTree();
        AnnObject* inner = tree.root;
        for (uint32_t i = 1; i < depth; ++i) inner = newObject(ANN_OBJECT_CONTAINER, inner);
        newObject(ANN_OBJECT_RECT, inner);
        TextStream out;
        TextWriter writer(out.stream);
        const int code = annWriteTree(writer, *tree.root, {}, 0);
        EXPECT_EQ(code, depth > maxTreeDepth ? ERROR_INV_PARAMETER : SUCCESS);
        writer.finish();
        EXPECT_EQ(out.stream.uEnd == 0, code != SUCCESS);
        if (code != SUCCESS) continue;
        StoredTree back;
        EXPECT_EQ(load("KBANNBEGIN\r\n" + out.text(), back), SUCCESS);
    }
}

TEST(NativeForm, ReducedDressLeavesOutWhatMarksHold) {
    StoredTree tree = newTree();
    tree.root->nSaveId = 77;
    AnnObject& rect = *newObject(ANN_OBJECT_RECT, tree.root);
    AnnObject& line = *newObject(ANN_OBJECT_LINE, tree.root);
    line.pPoints.reset(2);
    const auto reduced = [](const AnnObject& object) {
        TextStream out;
        TextWriter writer(out.stream);
        EXPECT_EQ(annWriteObject(writer, object, STREAM_REDUCED), SUCCESS);
        writer.finish();
        return out.text();
    };
    const std::string ofRect = reduced(rect), ofLine = reduced(line);
    EXPECT_EQ(ofRect.find("FATHER\r\n77\r\n"), ofRect.find("\r\n12\r\n") + 6);
    EXPECT_NE(ofRect.find("FORECOLOR"), std::string::npos);
    EXPECT_NE(ofRect.find("POINTS"), std::string::npos);
    for (const char* word : {"FORECOLOR", "POINTS", "VISIBLE", "BACKCOLOR", "FONTNAME"})
        EXPECT_EQ(ofLine.find(word), std::string::npos) << word;
}

} // namespace
