// Trees: z-order, walks, events, moves between containers, groups.
#include "tests/store/support.h"

using namespace kbann;
using namespace kbann::test;

namespace {

int countWalk(HANNOBJECT start, uint32_t flags, int& code) {
    int count = 0;
    code = K_AnnEnumerate(
        start, [](HANNOBJECT, void* n) { return ++*static_cast<int*>(n), int{SUCCESS}; }, &count, flags, nullptr);
    return count;
}

TEST(Tree, WalksFollowTheirFlags) {
    Tree tree;
    const HANNOBJECT a = makeTagged(tree.root, 'a');
    const HANNOBJECT box = makeTagged(tree.root, 'b', ANN_OBJECT_CONTAINER);
    const HANNOBJECT inner = makeTagged(box, 'c');
    K_AnnSetSelected(inner, TRUE, 0);
    K_AnnSetSelected(a, TRUE, 0);
    struct {
        const char* name;
        uint32_t flags;
        int visits, code;
    } rows[] = {{"the object", 0, 1, SUCCESS},
                {"children", ANN_FLAG_NOTTHIS, 2, SUCCESS},
                {"all", ANN_FLAG_RECURSE, 4, SUCCESS},
                {"all below", ANN_FLAG_RECURSE | ANN_FLAG_NOTTHIS, 3, SUCCESS},
                {"items", ANN_FLAG_RECURSE | ANN_FLAG_NOTCONTAINER, 2, SUCCESS},
                {"selected", ANN_FLAG_RECURSE | ANN_FLAG_SELECTED, 2, SUCCESS},
                {"ends at the unselected root", ANN_FLAG_SELECTED, 0, ERROR_FEATURE_NOT_SUPPORTED},
                {"ends at the container", ANN_FLAG_NOTTHIS | ANN_FLAG_NOTCONTAINER, 1, ERROR_FEATURE_NOT_SUPPORTED}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        int code;
        EXPECT_EQ(countWalk(tree.root, row.flags, code), row.visits);
        EXPECT_EQ(code, row.code);
    }
    EXPECT_EQ(K_AnnEnumerate(tree.root, nullptr, nullptr, 0, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnEnumerate(
                  tree.root, [](HANNOBJECT, void*) { return 77; }, nullptr, 0, nullptr),
              77);
}

TEST(Tree, WalkSurvivesACallbackThatDestroys) {
    Tree tree;
    for (char c = 'a'; c < 'f'; ++c) makeTagged(tree.root, c);
    const auto destroy = [](HANNOBJECT h, void*) { return K_AnnDestroy(h, 0); };
    EXPECT_EQ(K_AnnEnumerate(tree.root, destroy, nullptr, ANN_FLAG_NOTTHIS, nullptr), SUCCESS);
    EXPECT_EQ(order(tree.root), "");
}

TEST(Tree, FrontAndBackMoveTheWholeBranch) {
    Tree tree;
    makeTagged(tree.root, 'a');
    const HANNOBJECT box = makeTagged(tree.root, 'b', ANN_OBJECT_CONTAINER);
    makeTagged(tree.root, 'c');
    const HANNOBJECT x = makeTagged(box, 'x');
    makeTagged(box, 'y');
    EXPECT_EQ(K_AnnBringToFront(x), SUCCESS);
    EXPECT_EQ(order(tree.root) + "/" + order(box), "acb/yx");
    EXPECT_EQ(K_AnnSendToBack(x), SUCCESS);
    EXPECT_EQ(order(tree.root) + "/" + order(box), "bac/xy");
    EXPECT_EQ(K_AnnBringToFront(tree.root), ERROR_FEATURE_NOT_SUPPORTED);
    EXPECT_EQ(record(tree.root).pLastChild->uTag, 'c');
}

TEST(Tree, RelatedObjects) {
    Tree tree;
    const HANNOBJECT box = makeTagged(tree.root, 'b', ANN_OBJECT_CONTAINER);
    const HANNOBJECT x = makeTagged(box, 'x');
    HANNOBJECT found = tree.root;
    EXPECT_EQ(K_AnnGetItem(x, &found), SUCCESS);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(K_AnnGetContainer(x, &found), SUCCESS);
    EXPECT_EQ(found, box);
    EXPECT_EQ(K_AnnGetTopContainer(x, &found), SUCCESS);
    EXPECT_EQ(found, tree.root);
    EXPECT_EQ(K_AnnGetObjectFromTag(tree.root, ANN_FLAG_RECURSE, 'x', &found), SUCCESS);
    EXPECT_EQ(found, x);
    EXPECT_EQ(K_AnnGetObjectFromTag(tree.root, ANN_FLAG_NOTTHIS, 'x', &found), ERROR_BAD_TAG);
    EXPECT_EQ(found, nullptr);
}

TEST(Tree, MovingTellsTheWindow) {
    EventWindow window;
    Tree first(window.handle), second(window.handle);
    const HANNOBJECT x = makeTagged(first.root, 'x');
    EXPECT_EQ(window.take(), "5:-"); // the tag came later
    EXPECT_EQ(K_AnnInsert(first.root, x, FALSE), SUCCESS);
    EXPECT_EQ(window.take(), "");
    EXPECT_EQ(K_AnnInsert(second.root, x, FALSE), SUCCESS);
    EXPECT_EQ(window.take(), "6:x 5:x");
    EXPECT_EQ(order(first.root) + "/" + order(second.root), "/x");
    EXPECT_EQ(K_AnnRemove(x), SUCCESS);
    EXPECT_EQ(window.take(), "6:x");
    HWND kept = nullptr;
    EXPECT_EQ(K_AnnGetWnd(x, &kept), SUCCESS);
    EXPECT_EQ(kept, window.handle);
    K_AnnDestroy(x, 0);
}

TEST(Tree, AContainerWithChildrenLeavesItsOldList) {
    Tree first, second;
    const HANNOBJECT box = makeTagged(first.root, 'b', ANN_OBJECT_CONTAINER);
    makeTagged(box, 'x');
    makeTagged(first.root, 'c');
    EXPECT_EQ(K_AnnInsert(second.root, box, FALSE), SUCCESS);
    EXPECT_EQ(order(first.root) + "/" + order(second.root) + "/" + order(box), "c/b/x");
}

TEST(Tree, StrippingMovesTheChildrenAndDestroysTheSource) {
    Tree tree;
    const HANNOBJECT loose = make(ANN_OBJECT_CONTAINER);
    makeTagged(loose, 'x');
    makeTagged(loose, 'y');
    makeTagged(tree.root, 'a');
    EXPECT_EQ(K_AnnInsert(tree.root, loose, TRUE), SUCCESS);
    EXPECT_EQ(order(tree.root), "axy");
    EXPECT_EQ(annFromHandle(loose), nullptr);
}

TEST(Tree, RefusedInserts) {
    Tree tree;
    const HANNOBJECT box = makeTagged(tree.root, 'b', ANN_OBJECT_CONTAINER), item = makeTagged(tree.root, 'x');
    struct {
        const char* name;
        HANNOBJECT container, object;
    } rows[] = {{"no container", item, box},      {"into itself", box, box},
                {"below itself", box, tree.root}, {"null container", nullptr, item},
                {"null object", box, nullptr},    {"made-up handle", box, kb::toHandle<HANNOBJECT>(0xE1234567)}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(K_AnnInsert(row.container, row.object, FALSE), ERROR_INV_PARAMETER);
    }
    EXPECT_EQ(order(tree.root), "bx");
}

TEST(Tree, DepthIsLimited) {
    Tree tree;
    HANNOBJECT deepest = tree.root;
    for (uint32_t level = 0; level < maxTreeDepth; ++level) deepest = makeItem(deepest, ANN_OBJECT_CONTAINER);
    HANNOBJECT tooDeep = nullptr;
    EXPECT_EQ(K_AnnCreateItem(deepest, ANN_OBJECT_RECT, TRUE, &tooDeep), ERROR_INV_PARAMETER);
    EXPECT_EQ(annDepth(annFromHandle(deepest)), maxTreeDepth);
    const HANNOBJECT twoLevels = make(ANN_OBJECT_CONTAINER);
    makeItem(twoLevels, ANN_OBJECT_RECT);
    HANNOBJECT above = nullptr;
    K_AnnGetContainer(deepest, &above);
    EXPECT_EQ(K_AnnInsert(above, twoLevels, FALSE), ERROR_INV_PARAMETER);
    HANNOBJECT copy = nullptr;
    EXPECT_EQ(K_AnnCopy(tree.root, &copy), SUCCESS);
    EXPECT_EQ(annHeight(annFromHandle(copy)), maxTreeDepth);
    EXPECT_EQ(K_AnnGroup(above, 0, nullptr), ERROR_INV_PARAMETER); // one level more would be lost
    EXPECT_EQ(K_AnnDestroy(copy, 0), SUCCESS);
    EXPECT_EQ(K_AnnDestroy(twoLevels, 0), SUCCESS);
}

TEST(Tree, DestroyingWithFlags) {
    struct {
        const char* name;
        uint32_t flags;
        bool boxSelected;
        const char* left;
    } rows[] = {{"children alone", ANN_FLAG_NOTTHIS, false, "/gone"},
                {"selected items", ANN_FLAG_SELECTED | ANN_FLAG_RECURSE, false, "b/y"},
                {"a selected container goes whole", ANN_FLAG_SELECTED | ANN_FLAG_RECURSE, true, "/gone"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Tree tree;
        const HANNOBJECT box = makeTagged(tree.root, 'b', ANN_OBJECT_CONTAINER);
        const HANNOBJECT x = makeTagged(box, 'x');
        makeTagged(box, 'y');
        K_AnnSetSelected(x, TRUE, 0);
        if (row.boxSelected) K_AnnSetSelected(box, TRUE, 0);
        EXPECT_EQ(K_AnnDestroy(tree.root, row.flags), SUCCESS);
        EXPECT_EQ(order(tree.root) + "/" + (annFromHandle(box) ? order(box) : "gone"), row.left);
    }
}

TEST(Tree, TheApplicationCanForbidADestruction) {
    struct {
        int answer, code;
        bool spared;
    } rows[] = {{1, SUCCESS, false}, {0, 0, true}, {-3, -3, true}, {2, SUCCESS, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.answer);
        EventWindow window;
        Tree tree(window.handle);
        const HANNOBJECT x = makeTagged(tree.root, 'x');
        window.take();
        window.allow = row.answer;
        EXPECT_EQ(K_AnnDestroy(x, 0), row.code);
        EXPECT_EQ(annFromHandle(x) != nullptr, row.spared);
        EXPECT_EQ(window.take(), row.spared ? "21:x" : "21:x 6:x");
    }
}

TEST(Tree, ARefusedChildKeepsItsContainer) {
    EventWindow window;
    Tree tree(window.handle);
    const HANNOBJECT box = makeTagged(tree.root, 'b', ANN_OBJECT_CONTAINER);
    makeTagged(box, 'x');
    makeTagged(box, 'y');
    window.onEvent = [&](uint32_t nEvent, HANNOBJECT object) {
        if (nEvent == ANN_EVENT_AUTOITEMCHANGING) window.allow = record(object).uTag == 'b' ? 1 : 2;
    };
    window.allow = 1;
    EXPECT_EQ(K_AnnDestroy(box, 0), SUCCESS);
    EXPECT_EQ(order(tree.root), "b");
}

TEST(Tree, TheApplicationMayDestroyInsideAnEvent) {
    EventWindow window;
    Tree tree(window.handle);
    const HANNOBJECT box = makeTagged(tree.root, 'b', ANN_OBJECT_CONTAINER);
    for (char c = 'p'; c < 't'; ++c) makeTagged(box, c);
    const HANNOBJECT victim = makeTagged(box, 'v');
    window.onEvent = [&](uint32_t nEvent, HANNOBJECT object) {
        if (nEvent == ANN_EVENT_REMOVE && object != victim && annFromHandle(victim)) {
            window.onEvent = nullptr;
            K_AnnDestroy(victim, 0);
        }
    };
    EXPECT_EQ(K_AnnDestroy(box, 0), SUCCESS);
    EXPECT_EQ(order(tree.root), "");
}

TEST(Tree, GroupsAndUngroups) {
    Tree tree;
    const HANNOBJECT a = makeTagged(tree.root, 'a');
    makeTagged(tree.root, 'b');
    const HANNOBJECT c = makeTagged(tree.root, 'c');
    K_AnnSetSelected(a, TRUE, 0);
    K_AnnSetSelected(c, TRUE, 0);
    EXPECT_EQ(K_AnnGroup(tree.root, ANN_FLAG_SELECTED, nullptr), SUCCESS);
    HANNOBJECT group = nullptr;
    EXPECT_EQ(K_AnnGetContainer(a, &group), SUCCESS);
    BOOL grouping = FALSE;
    EXPECT_EQ(K_AnnGetGrouping(group, &grouping), SUCCESS);
    EXPECT_TRUE(grouping);
    EXPECT_EQ(order(group), "ac");
    EXPECT_EQ(record(tree.root).pFirstChild->uTag, 'b');

    // One member stands for all, and the group's own container isn't part of it.
    K_AnnSetSelected(a, FALSE, 0);
    EXPECT_FALSE(record(c).bSelected);
    K_AnnSetSelected(c, TRUE, 0);
    EXPECT_TRUE(record(a).bSelected);
    EXPECT_FALSE(record(group).bSelected);

    EXPECT_EQ(K_AnnUngroup(tree.root, ANN_FLAG_SELECTED | ANN_FLAG_RECURSE, nullptr), SUCCESS);
    EXPECT_EQ(order(tree.root), "bac");
    EXPECT_EQ(annFromHandle(group), nullptr);
    EXPECT_EQ(K_AnnGroup(a, 0, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnUngroup(nullptr, 0, nullptr), ERROR_INV_PARAMETER);
}

TEST(Tree, GroupingANestedContainerWholeKeepsItInPlace) {
    Tree tree;
    const HANNOBJECT box = makeTagged(tree.root, 'b', ANN_OBJECT_CONTAINER);
    makeTagged(box, 'x');
    makeTagged(box, 'y');
    EXPECT_EQ(K_AnnGroup(box, 0, nullptr), SUCCESS);
    EXPECT_EQ(order(tree.root), "b");
    ASSERT_NE(record(box).pFirstChild, nullptr);
    EXPECT_EQ(order(annToHandle(record(box).pFirstChild)), "xy");
}

TEST(Tree, CopiesAreDeepAndFree) {
    EventWindow window;
    Tree tree(window.handle);
    const HANNOBJECT box = makeTagged(tree.root, 'b', ANN_OBJECT_CONTAINER);
    const HANNOBJECT note = makeTagged(box, 'n', ANN_OBJECT_NOTE);
    K_AnnSetText(note, "hello", 0);
    K_AnnSetSelected(note, TRUE, 0);
    HANNOBJECT copy = nullptr;
    ASSERT_EQ(K_AnnCopy(box, &copy), SUCCESS);
    const AnnObject &from = record(note), &to = *record(copy).pFirstChild;
    EXPECT_EQ(record(copy).pParent, nullptr);
    EXPECT_EQ(to.pParent, &record(copy));
    EXPECT_EQ(to.uSerial, from.uSerial);
    EXPECT_NE(to.uSerial, 0u);
    EXPECT_TRUE(to.bSelected);
    EXPECT_EQ(to.hWnd, from.hWnd);
    K_AnnSetText(note, "changed", 0);
    EXPECT_STREQ(to.pszText.c_str(), "hello");
    EXPECT_FALSE(record(copy).bitmap.Allocated);
    window.take();
    EXPECT_EQ(K_AnnDestroy(copy, ANN_FLAG_NOINVALIDATE), SUCCESS);
    EXPECT_EQ(K_AnnCopy(copy, &copy), ERROR_INV_PARAMETER);
}

} // namespace
