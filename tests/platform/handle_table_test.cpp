// Handles: a slot's earlier handles stay dead when it is used again, freed slots wait in a queue, and look-ups beside
// threads that add and remove never give another handle's object.
#include "platform/handle_table.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

using kb::HandleKind;
using kb::HandleTable;

namespace {

constexpr uint32_t indexOf(uint32_t handle) { return handle & kb::handleIndexMask; }

TEST(HandleTable, TellsLiveFromDeadForeignAndMadeUp) {
    int one = 1, two = 2;
    HandleTable<int> pens{HandleKind::pen}, brushes{HandleKind::brush};
    const uint32_t pen = pens.add(&one), brush = brushes.add(&two), dead = pens.add(&two);
    EXPECT_EQ(pens.remove(dead), &two);
    EXPECT_EQ(kb::handleKind(pen), HandleKind::pen);
    EXPECT_EQ(pens.find(pen), &one);
    EXPECT_EQ(brushes.find(brush), &two);
    const struct {
        const char* name;
        uint32_t handle;
    } rows[] = {{"nothing", 0},
                {"removed", dead},
                {"another kind", brush},
                {"another generation", pen + (1u << kb::handleIndexBits)},
                {"a slot never used", pen + 77},
                {"the last slot", pen | kb::handleIndexMask},
                {"all ones", UINT32_MAX}};
    for (const auto& row : rows) {
        EXPECT_EQ(pens.find(row.handle), nullptr) << row.name;
        EXPECT_EQ(pens.remove(row.handle), nullptr) << row.name;
    }
    EXPECT_EQ(pens.live(), 1u);
    EXPECT_EQ(kb::handleValue(reinterpret_cast<void*>(uintptr_t{1} << 32 | pen)), 0u)
        << "a wild address isn't cut to a handle";
}

// A slot comes round oldest first, and only while many others wait.
TEST(HandleTable, SlotsAreReusedOldestFirstUnderANewGeneration) {
    constexpr uint32_t waiting = 65'536;
    int object = 0;
    HandleTable<int> table{HandleKind::window};
    std::vector<uint32_t> first;
    for (uint32_t i = 0; i < waiting + 4; ++i) first.push_back(table.add(&object));
    for (uint32_t i = 0; i < waiting; ++i) ASSERT_EQ(table.remove(first[i]), &object);
    const uint32_t fresh = table.add(&object);
    EXPECT_GE(indexOf(fresh), waiting + 4) << "too few wait";
    // From here on one more waits than must.
    for (uint32_t i = 0; i < 4; ++i) ASSERT_EQ(table.remove(first[waiting + i]), &object);
    for (uint32_t i = 0; i < 4; ++i) {
        const uint32_t again = table.add(&object);
        EXPECT_EQ(indexOf(again), indexOf(first[i])) << i;
        EXPECT_NE(again, first[i]);
        EXPECT_EQ(table.find(first[i]), nullptr) << "the slot's old handle";
        EXPECT_EQ(table.find(again), &object);
    }
    EXPECT_EQ(table.live(), 5u);
}

TEST(HandleTable, LookUpsBesideAddingAndRemovingThreads) {
    struct Record {
        std::atomic<uint32_t> handle{0};
    };
    HandleTable<Record> table{HandleKind::memory};
    constexpr size_t owners = 3, each = 64, turns = 400;
    std::vector<Record> records(owners * each);
    std::atomic<uint32_t> shown{0};
    std::atomic<size_t> running{owners}, wrong{0}, found{0};
    std::vector<std::thread> threads;
    for (size_t t = 0; t < owners; ++t)
        threads.emplace_back([&, t] {
            for (size_t turn = 0; turn < turns; ++turn) {
                for (size_t i = 0; i < each; ++i) {
                    Record& r = records[t * each + i];
                    const uint32_t handle = table.add(&r);
                    r.handle = handle;
                    shown = handle;
                    wrong += table.find(handle) != &r;
                }
                for (size_t i = 0; i < each; ++i) {
                    Record& r = records[t * each + i];
                    const uint32_t handle = r.handle;
                    wrong += table.remove(handle) != &r || table.find(handle) != nullptr || table.remove(handle) != nullptr;
                }
            }
            --running;
        });
    // A reader may come too late for an object, but what it is given is one of the records.
    std::thread reader([&] {
        while (running) {
            const Record* r = table.find(shown);
            found += r != nullptr;
            wrong += r && (r < records.data() || r >= records.data() + records.size());
        }
    });
    for (auto& thread : threads) thread.join();
    reader.join();
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(table.live(), 0u);
}

} // namespace
