// Locks: what is locked and opened in a walk, what the window is told, what a locked object refuses.
#include "store/geometry.h"
#include "store/locks.h"
#include "tests/store/support.h"

using namespace kbann;
using namespace kbann::test;

namespace {

bool isLocked(HANNOBJECT object) {
    BOOL locked = -1;
    EXPECT_EQ(K_AnnGetLocked(object, &locked), SUCCESS);
    EXPECT_TRUE(locked == 0 || locked == 1);
    return locked == 1;
}

void disableMenu(HANNOBJECT object) {
    record(object).pItemMenu = std::make_unique<ItemMenuPart>();
    record(object).pItemMenu->itemMenuEnableMask.fill(0xFF);
}

TEST(Locks, TheFirstKeyStays) {
    Tree tree;
    const HANNOBJECT note = makeItem(tree.root, ANN_OBJECT_NOTE);
    EXPECT_FALSE(isLocked(note));
    EXPECT_EQ(K_AnnUnlock(note, "any", 0), SUCCESS);
    EXPECT_EQ(K_AnnLock(note, "first", 0), SUCCESS);
    EXPECT_EQ(K_AnnLock(note, "second", 0), SUCCESS);
    EXPECT_TRUE(isLocked(note));
    for (const char* wrong : {"second", "First", "firs", "first ", ""}) {
        EXPECT_EQ(K_AnnUnlock(note, wrong, 0), ERROR_ANN_LOCKED) << wrong;
        EXPECT_TRUE(isLocked(note));
    }
    HANNOBJECT copy = nullptr;
    EXPECT_EQ(K_AnnCopy(note, &copy), SUCCESS);
    EXPECT_TRUE(isLocked(copy));
    EXPECT_EQ(K_AnnDestroy(copy, 0), SUCCESS);
    EXPECT_EQ(K_AnnUnlock(note, "first", 0), SUCCESS);
    EXPECT_FALSE(isLocked(note));
    const std::string longKey(100'000, 'k');
    EXPECT_EQ(K_AnnLock(note, longKey.c_str(), 0), SUCCESS);
    EXPECT_EQ(K_AnnUnlock(note, longKey.c_str(), 0), SUCCESS);
    EXPECT_FALSE(isLocked(note));
    EXPECT_EQ(K_AnnLock(note, nullptr, 0), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnUnlock(note, nullptr, 0), ERROR_INV_PARAMETER);
}

TEST(Locks, WhatAWalkReaches) {
    struct {
        const char* name;
        uint32_t flags;
        const char* locked; // of A root, B selected note, C container, D note in it, E note without the menu item
    } rows[] = {{"the object alone", 0, "A"},
                {"all", ANN_FLAG_RECURSE, "ABCDE"},
                {"all below", ANN_FLAG_NOTTHIS | ANN_FLAG_RECURSE, "BCDE"},
                {"the list below", ANN_FLAG_NOTTHIS, "BCE"},
                {"no containers", ANN_FLAG_NOTCONTAINER | ANN_FLAG_RECURSE, "BDE"},
                {"a container passed over alone", ANN_FLAG_NOTCONTAINER, ""},
                {"the selected", ANN_FLAG_SELECTED | ANN_FLAG_NOTCONTAINER | ANN_FLAG_RECURSE, "B"},
                {"with the menu item", ANN_FLAG_CHECKMENU | ANN_FLAG_RECURSE, "ABCD"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Tree tree;
        K_AnnSetTag(tree.root, 'A', 0);
        const HANNOBJECT b = makeTagged(tree.root, 'B', ANN_OBJECT_NOTE),
                         c = makeTagged(tree.root, 'C', ANN_OBJECT_CONTAINER), d = makeTagged(c, 'D', ANN_OBJECT_NOTE),
                         e = makeTagged(tree.root, 'E', ANN_OBJECT_NOTE);
        K_AnnSetSelected(b, TRUE, 0);
        disableMenu(e);
        EXPECT_EQ(K_AnnLock(tree.root, "key", row.flags), SUCCESS);
        std::string locked;
        for (const HANNOBJECT object : {tree.root, b, c, d, e})
            if (isLocked(object)) locked += static_cast<char>(record(object).uTag);
        EXPECT_EQ(locked, row.locked);
        EXPECT_EQ(K_AnnUnlock(tree.root, "key", ANN_FLAG_RECURSE), SUCCESS);
        for (const HANNOBJECT object : {tree.root, b, c, d, e}) EXPECT_FALSE(isLocked(object));
    }
}

TEST(Locks, OtherKeysAreNotedAndTheRestOpens) {
    Tree tree;
    const HANNOBJECT box = makeItem(tree.root, ANN_OBJECT_CONTAINER), inside = makeItem(box, ANN_OBJECT_RECT),
                     after = makeItem(tree.root, ANN_OBJECT_RECT);
    K_AnnLock(inside, "other", 0);
    K_AnnLock(tree.root, "key", ANN_FLAG_RECURSE);
    EXPECT_EQ(K_AnnUnlock(tree.root, "key", ANN_FLAG_RECURSE), ERROR_ANN_LOCKED);
    EXPECT_TRUE(isLocked(inside));
    for (const HANNOBJECT open : {tree.root, box, after}) EXPECT_FALSE(isLocked(open));
    disableMenu(inside);
    EXPECT_EQ(K_AnnUnlock(tree.root, "key", ANN_FLAG_RECURSE | ANN_FLAG_CHECKMENU), SUCCESS); // not asked
    EXPECT_EQ(K_AnnUnlock(tree.root, "other", ANN_FLAG_RECURSE), SUCCESS);
}

TEST(Locks, SelectionAndRepaint) {
    EventWindow window;
    Tree tree(window.handle);
    const HANNOBJECT note = makeItem(tree.root, ANN_OBJECT_NOTE, {100, 100, 200, 200});
    const auto select = [&] {
        K_AnnSetSelected(note, TRUE, 0);
        ValidateRect(window.handle, nullptr);
    };
    select();
    window.take();
    const RECT withHandles = record(note).rcInvalid;
    EXPECT_EQ(K_AnnLock(note, "", 0), SUCCESS); // deselects all the same
    EXPECT_FALSE(isLocked(note));
    EXPECT_FALSE(record(note).bSelected);
    RECT invalid{};
    EXPECT_TRUE(GetUpdateRect(window.handle, &invalid, FALSE));
    EXPECT_EQ(invalid.left, withHandles.left); // where the handles were
    EXPECT_GT(record(note).rcBounds.left, withHandles.left);

    select();
    EXPECT_EQ(K_AnnLock(note, "k", ANN_FLAG_NOINVALIDATE), SUCCESS);
    EXPECT_FALSE(GetUpdateRect(window.handle, nullptr, FALSE));
    EXPECT_FALSE(record(note).bSelected);
    K_AnnSetSelected(note, TRUE, 0);
    EXPECT_FALSE(record(note).bSelected);
    EXPECT_EQ(K_AnnUnlock(note, "no", 0), ERROR_ANN_LOCKED);
    EXPECT_FALSE(GetUpdateRect(window.handle, nullptr, FALSE));
    EXPECT_EQ(K_AnnUnlock(note, "k", 0), SUCCESS);
    EXPECT_TRUE(GetUpdateRect(window.handle, nullptr, FALSE));
    EXPECT_EQ(window.take(), ""); // the exported calls tell nobody
    K_AnnLock(note, "k", 0);
    EXPECT_EQ(K_AnnSetTag(note, 5, 0), SUCCESS); // no access right
    EXPECT_EQ(K_AnnDestroy(note, 0), SUCCESS);
}

TEST(Locks, EventsGoToTheWindowThatAsks) {
    EventWindow window;
    Tree tree;
    const HANNOBJECT a = makeTagged(tree.root, 'A'), b = makeTagged(tree.root, 'B');
    makeTagged(tree.root, 'C');
    K_AnnLock(b, "other", 0);
    EXPECT_EQ(annLock(record(a), "key", 0, true, window.handle), SUCCESS); // and the ones in front of it
    EXPECT_EQ(window.take(), "13:A 13:C");
    EXPECT_EQ(annUnlock(record(a), "key", 0, true, window.handle), ERROR_ANN_LOCKED);
    EXPECT_EQ(window.take(), "14:A 14:C");
    EXPECT_EQ(annLock(record(tree.root), "key", ANN_FLAG_NOTTHIS, false, window.handle), SUCCESS);
    EXPECT_EQ(window.take(), "13:A 13:C");

    K_AnnUnlock(a, "key", 0);
    EXPECT_EQ(annLock(record(a), "", 0, false, window.handle), SUCCESS);
    EXPECT_EQ(window.take(), "") << "nothing was locked";
    K_AnnLock(a, "key", 0);

    // The application may destroy the object that it is told of, and the next one.
    window.onEvent = [&](uint32_t, HANNOBJECT object) {
        window.onEvent = nullptr;
        K_AnnDestroy(b, ANN_FLAG_NOINVALIDATE);
        K_AnnDestroy(object, ANN_FLAG_NOINVALIDATE);
    };
    EXPECT_EQ(annUnlock(record(a), "key", 0, true, window.handle), SUCCESS);
    EXPECT_EQ(order(tree.root), "C");
    EXPECT_EQ(annFromHandle(a), nullptr);
}

} // namespace
