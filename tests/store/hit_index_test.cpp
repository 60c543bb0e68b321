// The box index gives the answers of the walk, whatever is done to a tree, and knows when it can't.
#include "store/hit_index.h"
#include "store/hit_test.h"
#include "tests/store/support.h"

#include <random>

using namespace kbann;
using namespace kbann::test;

namespace {

class RandomTree {
public:
    explicit RandomTree(uint32_t seed) : random_(seed) {
        for (int i = 0; i < 300; ++i) addItem();
    }

    AnnObject& root() { return record(tree_.root); }
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }
    POINT point() { return {static_cast<int32_t>(below(1300)) - 150, static_cast<int32_t>(below(1300)) - 150}; }

    // Something that an application could do.
    void change() {
        const HANNOBJECT item = any();
        switch (below(12)) {
        case 0: K_AnnMove(item, below(100) - 50.0, below(100) - 50.0, 0); break;
        case 1: K_AnnSetVisible(item, below(3) != 0, below(2) ? ANN_FLAG_RECURSE : 0, nullptr); break;
        case 2: record(item).pszLockKey.assign(below(3) ? "" : "key"); break;
        case 3: K_AnnSetSelected(item, below(3) != 0, 0); break;
        case 4: K_AnnBringToFront(item); break;
        case 5: K_AnnSendToBack(item); break;
        case 6: K_AnnSetName(item, below(2), "a name", nullptr, -1, 0); break;
        case 7: K_AnnInsert(anyContainer(), item, FALSE); break;
        case 8:
            if (item != tree_.root) K_AnnDestroy(item, 0);
            break;
        case 9: addItem(); break;
        case 10: K_AnnSetOffsetX(tree_.root, below(9) * 10.0, 0); break;
        default: K_AnnGroup(anyContainer(), ANN_FLAG_SELECTED, nullptr); break;
        }
    }

private:
    std::vector<HANNOBJECT> all() {
        std::vector<HANNOBJECT> found;
        for (AnnObject* r = &root(); r; r = annNextInTree<AnnObject>(r, &root())) found.push_back(annToHandle(r));
        return found;
    }
    HANNOBJECT any() {
        const auto found = all();
        return found[below(static_cast<uint32_t>(found.size()))];
    }
    HANNOBJECT anyContainer() {
        auto found = all();
        std::erase_if(found, [](HANNOBJECT h) { return !record(h).isContainer(); });
        return found[below(static_cast<uint32_t>(found.size()))];
    }
    void addItem() {
        const double x = below(1200) - 100.0, y = below(1200) - 100.0, w = 1 << below(11), h = 1 << below(10);
        const uint32_t type = below(6) ? below(ANN_OBJECT_LAST) : uint32_t{ANN_OBJECT_CONTAINER};
        const HANNOBJECT item = makeItem(anyContainer(), type, {x, y, x + w, y + h}, below(8) != 0);
        const AnnPoint points[] = {{x, y}, {x + w, y + h}, {x + w / 2, y}, {x, y + h / 3}, {x + w, y}};
        K_AnnSetPoints(item, points, type == ANN_OBJECT_POINT ? 1 : type == ANN_OBJECT_PROTRACTOR ? 3 : 5);
        if (below(2)) K_AnnSetFillMode(item, ANN_FILLMODE_OPAQUE, 0);
        if (!below(3)) K_AnnRotate(item, below(360), nullptr, 0);
        if (!below(5)) K_AnnSetSelected(item, TRUE, 0);
        if (!below(4)) K_AnnSetName(item, TRUE, "name", nullptr, -1, 0);
        if (!below(12)) record(item).pszLockKey.assign("key");
    }

    std::mt19937 random_;
    Tree tree_;
};

// Both answers, and that the index has had a say.
void compare(RandomTree& tree, uint32_t seed, int round) {
    AnnObject& root = tree.root();
    bool indexed = false;
    for (int i = 0; i < 1000 && !indexed; ++i) {
        annHitTest(root, {3, 3});
        indexed = root.pHitIndex && root.pHitIndex->covers({3, 3});
    }
    uint64_t looked = 0;
    annHitTestPlain(root, {3, 3}, looked);
    ASSERT_TRUE(indexed || looked <= HitIndex::smallTree) << "after " << looked << " objects";
    for (int i = 0; i < 150; ++i) {
        const POINT p = tree.point();
        const Hit walked = annHitTestPlain(root, p, looked), found = annHitTest(root, p);
        ASSERT_TRUE(walked.record == found.record && walked.result == found.result && walked.point.x == found.point.x &&
                    walked.point.y == found.point.y)
            << "seed " << seed << " round " << round << " at " << p.x << ", " << p.y << ": walk " << walked.result
            << ", index " << found.result;
    }
}

TEST(HitIndex, AnswersAsTheWalk) {
    for (uint32_t seed = 1; seed <= 12; ++seed) {
        RandomTree tree(seed);
        for (int round = 0; round < 25; ++round) {
            compare(tree, seed, round);
            if (HasFatalFailure()) return;
            for (uint32_t n = tree.below(3); n-- > 0;) tree.change();
        }
    }
}

TEST(HitIndex, IsMadeForTreesThatStay) {
    const Tree tree;
    for (int i = 0; i < 500; ++i) makeItem(tree.root, ANN_OBJECT_RECT, {900, 900, 950, 950});
    const HANNOBJECT dragged = makeItem(tree.root, ANN_OBJECT_RECT);
    AnnObject& root = record(tree.root);
    const auto ready = [&] { return root.pHitIndex && root.pHitIndex->covers({5, 5}); };
    for (int i = 0; i < 100; ++i) { // a drag
        K_AnnMove(dragged, 1, 0, 0);
        annHitTest(root, {5, 5});
        ASSERT_FALSE(ready());
    }
    for (int i = 0; i < 3; ++i) annHitTest(root, {5, 5});
    EXPECT_TRUE(ready());
    K_AnnSetForeColor(dragged, 0x123456, 0); // moves nothing
    EXPECT_TRUE(ready());
    EXPECT_FALSE(root.pHitIndex->covers({-1, 5}));
    EXPECT_FALSE(root.pHitIndex->covers({5, 8192}));
    for (int i = 0; i < 20; ++i) annHitTest(root, {-100'000, 5}); // walks all the same, and leaves it alone
    EXPECT_TRUE(ready());
    K_AnnRemove(dragged);
    EXPECT_FALSE(ready());
    annFreeTree(annFromHandle(dragged));
}

// The tree of a record that comes to lie in another has no index of its own any more.
TEST(HitIndex, GoesWithTheRoot) {
    const Tree tree;
    const HANNOBJECT other = makeRoot();
    for (int i = 0; i < 200; ++i) makeItem(other, ANN_OBJECT_RECT, {900, 900, 950, 950});
    for (int i = 0; i < 20; ++i) annHitTest(record(other), {5, 5});
    EXPECT_TRUE(record(other).pHitIndex && record(other).pHitIndex->covers({5, 5}));
    K_AnnInsert(tree.root, other, FALSE);
    EXPECT_FALSE(record(other).pHitIndex);
    K_AnnMove(other, 5, 5, 0);
    K_AnnRemove(other);
    HANNOBJECT copy = nullptr;
    for (int i = 0; i < 20; ++i) annHitTest(record(other), {5, 5});
    EXPECT_EQ(K_AnnCopy(other, &copy), SUCCESS);
    EXPECT_FALSE(record(copy).pHitIndex);
    annFreeTree(annFromHandle(copy));
    annFreeTree(annFromHandle(other));
}

} // namespace
