// Any thread may call, and one tree is one thread's: sixteen threads build, draw, hit, copy, store and load trees of their own
// at the same time. Run under the thread sanitizer, too.
#include "kbann/kbann.h"
#include "platform/sys.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

HANNOBJECT buildTree(uint32_t seed) {
    HANNOBJECT root = nullptr;
    const AnnRect page{0, 0, 300, 200};
    EXPECT_EQ(K_AnnCreateContainer(nullptr, &page, TRUE, &root), SUCCESS);
    for (uint32_t i = 0; i < 96; ++i) {
        HANNOBJECT item = nullptr;
        const uint32_t type = i % ANN_OBJECT_LAST;
        EXPECT_EQ(K_AnnCreateItem(root, type, TRUE, &item), SUCCESS);
        const double x = (seed * 7 + i * 13) % 250, y = (i * 29) % 150;
        const AnnRect box{x, y, x + 40, y + 30};
        K_AnnSetRect(item, &box);
        const AnnPoint points[] = {{x, y}, {x + 30, y + 40}, {x + 50, y}};
        K_AnnSetPoints(item, points,
                       type == ANN_OBJECT_POINT                              ? 1
                       : type == ANN_OBJECT_LINE || type == ANN_OBJECT_RULER ? 2
                                                                             : 3);
        K_AnnSetTag(item, i, 0);
        K_AnnSetText(item, "some text", 0);
        K_AnnSetName(item, TRUE, "name", nullptr, -1, 0);
        K_AnnSetFontSize(item, 8 + seed % 3, 0);
        K_AnnRotate(item, seed * 3.0, nullptr, 0);
    }
    return root;
}

// Pixels of a drawing as one number.
uint64_t draw(HANNOBJECT root) {
    KernelBitmap bitmap{};
    EXPECT_EQ(K_CreateBitmap(&bitmap, 1, 300, 200, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
    const HDC dc = K_BitmapDC(&bitmap);
    PatBlt(dc, 0, 0, 300, 200, WHITENESS);
    EXPECT_EQ(K_AnnDraw(dc, nullptr, root), SUCCESS);
    K_ReleaseBitmapDC(dc);
    uint64_t hash = 1469598103934665603u;
    for (int y = 0; y < 200; ++y) {
        const uint8_t* row = K_BitmapRowPointer(&bitmap, y);
        for (int x = 0; x < 900; ++x) hash = (hash ^ row[x]) * 1099511628211u;
    }
    K_FreeBitmap(&bitmap);
    return hash;
}

// What lies under points all over the page, as one number; often enough for the tree's index to come in.
uint64_t hit(HANNOBJECT root) {
    uint64_t hash = 1469598103934665603u;
    for (int y = 0; y < 200; y += 7)
        for (int x = 0; x < 300; x += 7) {
            POINT point{x, y};
            uint32_t result = 0, tag = 0;
            HANNOBJECT found = nullptr;
            EXPECT_EQ(K_AnnHitTest(root, &point, &result, &found), SUCCESS);
            if (found) K_AnnGetTag(found, &tag);
            hash = (hash ^ (result * 1000 + tag)) * 1099511628211u;
        }
    return hash;
}

uint64_t workOnATree(uint32_t seed) {
    const HANNOBJECT root = buildTree(seed);
    const uint64_t drawn = draw(root);
    HANNOBJECT copy = nullptr, loaded = nullptr;
    EXPECT_EQ(K_AnnCopy(root, &copy), SUCCESS);
    EXPECT_EQ(draw(copy), drawn);
    const uint64_t found = hit(root);
    EXPECT_EQ(hit(copy), found);
    const RECT page{0, 0, 300, 200};
    EXPECT_EQ(K_AnnSelectRect(copy, &page), SUCCESS);
    HGLOBAL memory = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(K_AnnSaveMemory(root, ANN_FMT_NATIVE, FALSE, &memory, &size, nullptr), SUCCESS);
    EXPECT_EQ(K_AnnLoadMemory(GlobalLock(memory), size, &loaded, nullptr), SUCCESS);
    draw(loaded);
    GlobalFree(memory);
    for (const HANNOBJECT tree : {root, copy, loaded}) EXPECT_EQ(K_AnnDestroy(tree, 0), SUCCESS);
    return drawn ^ found;
}

TEST(Threads, EachWithATreeOfItsOwn) {
    std::vector<uint64_t> drawn(16), alone(16);
    std::vector<std::thread> threads;
    for (uint32_t t = 0; t < 16; ++t)
        threads.emplace_back([t, &drawn] {
            for (int round = 0; round < 3; ++round) drawn[t] = workOnATree(t);
        });
    for (auto& thread : threads) thread.join();
    for (uint32_t t = 0; t < 16; ++t) alone[t] = workOnATree(t);
    EXPECT_EQ(drawn, alone); // the same pixels, whoever draws
}

} // namespace
