// Selecting by point and rectangle; counts, items and bounds of what is selected. Selecting by rectangle is compared with
// the property's setter called for each object.
#include "store/properties.h"
#include "store/selection.h"
#include "tests/store/support.h"

#include <random>
#include <set>
#include <tuple>

using namespace kbann;
using namespace kbann::test;

namespace {

std::string selected(HANNOBJECT top) {
    uint32_t count = 0;
    EXPECT_EQ(K_AnnGetSelectCount(top, &count), SUCCESS);
    std::vector<HANNOBJECT> items(count + 1, nullptr);
    EXPECT_EQ(K_AnnGetSelectItems(top, items.data()), SUCCESS);
    EXPECT_EQ(items[count], nullptr);
    std::string tags;
    for (uint32_t i = 0; i < count; ++i) tags += static_cast<char>(record(items[i]).uTag);
    return tags;
}

void select(HANNOBJECT tree, RECT rect) { EXPECT_EQ(K_AnnSelectRect(tree, &rect), SUCCESS); }

HANNOBJECT tagged(HANNOBJECT container, char tag, AnnRect rect, uint32_t type = ANN_OBJECT_RECT) {
    const HANNOBJECT made = makeItem(container, type, rect);
    K_AnnSetTag(made, static_cast<uint32_t>(tag), 0);
    return made;
}

TEST(Selection, ByRectangle) {
    const Tree tree;
    K_AnnSetTag(tree.root, 'r', 0);
    const HANNOBJECT a = tagged(tree.root, 'a', {10, 10, 20, 20});
    tagged(tree.root, 'b', {50, 50, 60, 60});
    const HANNOBJECT box = tagged(tree.root, 'c', {100, 100, 200, 200}, ANN_OBJECT_CONTAINER);
    tagged(box, 'd', {10, 10, 20, 20});
    const RECT boundsOfA = record(a).rcBounds;
    EXPECT_EQ(boundsOfA.left, 9);
    EXPECT_EQ(boundsOfA.right, 21);
    select(tree.root, {10, 0, 900, 900}); // leaves `a` out by a pixel
    EXPECT_EQ(selected(tree.root), "bcd");
    select(a, {0, 0, 21, 20}); // any object names the tree; cut at the bottom
    EXPECT_EQ(selected(tree.root), "bcd");
    select(a, {9, 9, 21, 21}); // nothing is deselected
    EXPECT_EQ(selected(tree.root), "abcd");
    EXPECT_EQ(selected(box), "cd");
    select(tree.root, {-10, -10, 1100, 1100});
    EXPECT_EQ(selected(tree.root), "rabcd");
    K_AnnSetSelected(tree.root, FALSE, ANN_FLAG_RECURSE);
    select(tree.root, {30, 30, 0, 0}); // no rectangle
    EXPECT_EQ(selected(tree.root), "");
    RECT bounds{1, 2, 3, 4};
    EXPECT_EQ(K_AnnGetSelectRect(tree.root, &bounds), SUCCESS);
    EXPECT_TRUE(annSame(bounds, {}));
}

TEST(Selection, Bounds) {
    const Tree tree;
    tagged(tree.root, 'a', {10, 10, 20, 20});
    const HANNOBJECT b = tagged(tree.root, 'b', {50, 50, 60, 60}), c = tagged(tree.root, 'c', {30, 90, 35, 95});
    K_AnnSetSelected(b, TRUE, 0);
    K_AnnSetSelected(c, TRUE, 0);
    RECT bounds{};
    EXPECT_EQ(K_AnnGetSelectRect(tree.root, &bounds), SUCCESS);
    EXPECT_TRUE(annSame(bounds, {26, 46, 64, 99})); // widened for the handles
    EXPECT_EQ(K_AnnGetSelectRect(b, &bounds), SUCCESS);
    EXPECT_TRUE(annSame(bounds, record(b).rcBounds));
}

TEST(Selection, ByPoint) {
    const Tree tree;
    K_AnnSetTag(tree.root, 'r', 0);
    const HANNOBJECT a = tagged(tree.root, 'a', {10, 10, 60, 60}, ANN_OBJECT_HILITE);
    const auto at = [&](int x, int y) {
        const POINT p{x, y};
        EXPECT_EQ(K_AnnSelectPoint(tree.root, &p), SUCCESS);
        return selected(tree.root);
    };
    EXPECT_EQ(at(300, 300), ""); // the root is hit, but it is a container
    EXPECT_EQ(at(-5, -5), "");
    EXPECT_EQ(at(30, 30), "a");
    const HANNOBJECT group = tagged(tree.root, 'g', {100, 100, 200, 200}, ANN_OBJECT_CONTAINER);
    K_AnnSetGrouping(group, TRUE, 0);
    tagged(group, 'b', {10, 10, 20, 20}, ANN_OBJECT_HILITE);
    tagged(group, 'c', {50, 50, 60, 60}, ANN_OBJECT_HILITE);
    EXPECT_EQ(at(115, 115), "abc");
    record(a).pszLockKey.assign("key");
    K_AnnSetSelected(tree.root, FALSE, ANN_FLAG_RECURSE);
    EXPECT_EQ(at(30, 30), "a"); // a locked object stays as it is
}

// Trees with groups in groups, hidden and locked members, names and handles, in a window.
struct RandomScene {
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random() % limit); }

    RandomScene(uint32_t seed, HWND window) : tree(window), random(seed) {
        std::vector<HANNOBJECT> containers{tree.root};
        for (int i = 0; i < 60; ++i) {
            const HANNOBJECT in = containers[below(static_cast<uint32_t>(containers.size()))];
            const bool box = below(4) == 0;
            const double x = below(300), y = below(300);
            const AnnRect rect{x, y, x + below(80), y + below(80)};
            const uint32_t type = box ? uint32_t{ANN_OBJECT_CONTAINER} : below(ANN_OBJECT_LAST);
            const HANNOBJECT item = makeItem(in, type, rect, below(7) != 0);
            if (box) containers.push_back(item);
            if (box && below(2)) K_AnnSetGrouping(item, TRUE, 0);
            if (below(9) == 0) record(item).pszLockKey.assign("key");
            if (below(4) == 0) K_AnnSetName(item, TRUE, "name", nullptr, -1, 0);
            if (below(9) == 0) K_AnnSetSelected(item, TRUE, 0);
        }
    }
    Tree tree;
    std::mt19937 random;
};

void selectOneByOne(AnnObject& root, const RECT& r) {
    for (AnnObject* record = &root; record; record = annNextInTree<AnnObject>(record, &root)) {
        const RECT& b = record->rcBounds;
        if (b.left >= r.left && b.top >= r.top && b.left < r.right && b.top < r.bottom && b.right >= r.left &&
            b.bottom >= r.top && b.right <= r.right && b.bottom <= r.bottom)
            annSetProperty(record, Property::selected, {.number = 1}, 0, noMenuItem, nullptr);
    }
}

using Derived = std::vector<std::tuple<int32_t, RECT, RECT, RECT>>;

Derived derived(AnnObject& root) {
    Derived all;
    for (AnnObject* r = &root; r; r = annNextInTree<AnnObject>(r, &root))
        all.emplace_back(r->bSelected, r->rcBounds, r->rcInvalid, r->rcName);
    return all;
}

bool same(const Derived& a, const Derived& b) {
    return std::ranges::equal(a, b, [](const auto& x, const auto& y) {
        return std::get<0>(x) == std::get<0>(y) && annSame(std::get<1>(x), std::get<1>(y)) &&
               annSame(std::get<2>(x), std::get<2>(y)) && annSame(std::get<3>(x), std::get<3>(y));
    });
}

std::set<std::array<int32_t, 4>> asked(HWND window) {
    std::vector<RECT> rects(65'536);
    rects.resize(KbGetInvalidRects(window, rects.data(), static_cast<UINT>(rects.size())));
    std::set<std::array<int32_t, 4>> all;
    for (const RECT& r : rects) all.insert({r.left, r.top, r.right, r.bottom});
    return all;
}

TEST(Selection, ByRectangleIsAsOneByOne) {
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        EventWindow first, second;
        RandomScene linear(seed, first.handle), plain(seed, second.handle);
        for (const auto& window : {first.handle, second.handle}) ValidateRect(window, nullptr);
        const auto left = static_cast<int32_t>(linear.below(200)) - 20, top = static_cast<int32_t>(linear.below(200)) - 20,
                   side = static_cast<int32_t>(seed % 3) * 500 + 300;
        const RECT rect{left, top, left + side, top + side};
        select(linear.tree.root, rect);
        selectOneByOne(record(plain.tree.root), rect);
        EXPECT_TRUE(same(derived(record(linear.tree.root)), derived(record(plain.tree.root)))) << "seed " << seed;
        EXPECT_EQ(asked(first.handle), asked(second.handle)) << "seed " << seed;
        for (RandomScene* scene : {&linear, &plain}) annFreeTree(annFromHandle(scene->tree.root));
    }
}

} // namespace
