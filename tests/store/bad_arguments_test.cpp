// Every exported function with handles that name nothing and with missing out-pointers: the code is the one that is told,
// nothing is touched, and nothing is written.
#include "tests/store/exported_calls.h"

#include <cstring>

using namespace kbann;
using namespace kbann::test;

namespace {

std::vector<HANNOBJECT> badHandles() {
    const HANNOBJECT dead = make(ANN_OBJECT_RECT);
    K_AnnDestroy(dead, 0);
    const HANNOBJECT live = make(ANN_OBJECT_RECT);
    const auto otherGeneration = kb::toHandle<HANNOBJECT>(kb::handleValue(live) ^ (1u << kb::handleIndexBits));
    K_AnnDestroy(live, 0);
    return {nullptr, dead, otherGeneration, kb::toHandle<HANNOBJECT>(0xE0FFFFFF), reinterpret_cast<HANNOBJECT>(INTPTR_MAX)};
}

TEST(BadArguments, HandlesThatNameNothing) {
    for (const HANNOBJECT bad : badHandles()) {
        for (const Getter& row : getters) {
            Out out, before;
            std::memset(&out, 0x5A, sizeof out);
            std::memcpy(&before, &out, sizeof out);
            EXPECT_EQ(row.get(bad, &out), ERROR_INV_PARAMETER) << row.name;
            EXPECT_EQ(std::memcmp(&before, &out, sizeof out), 0) << row.name;
        }
        for (const Action& row : actions) EXPECT_EQ(row.run(bad), ERROR_INV_PARAMETER) << row.name;
    }
}

TEST(BadArguments, MissingOutPointers) {
    for (const Getter& row : getters) {
        const HANNOBJECT object = make(row.type);
        EXPECT_EQ(row.get(object, nullptr), ERROR_INV_PARAMETER) << row.name;
        K_AnnDestroy(object, 0);
    }
    HANNOBJECT made = nullptr;
    EXPECT_EQ(K_AnnCreate(ANN_OBJECT_RECT, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnCreate(ANN_OBJECT_LAST, &made), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnCreateContainer(nullptr, &box, TRUE, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnLoad(nullptr, &made, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnLoad("x", nullptr, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(K_AnnLoadMemory(nullptr, 5, &made, nullptr), ERROR_INV_PARAMETER);
    EXPECT_EQ(made, nullptr);
}

} // namespace
