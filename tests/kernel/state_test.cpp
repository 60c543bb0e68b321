// Settings of the kernel: of a thread, and of the process.
#include "contracts/raster_kernel.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(Settings, ModesAreMaskedAndWordsKeptTogether) {
    const uint32_t old = K_SetDisplayMode(0x85, 0x81);
    EXPECT_EQ(K_SetDisplayMode(0, 0), (old & ~0x85u) | 0x81u);
    EXPECT_EQ(K_SetDisplayMode(0xFFFFFFFF, old), (old & ~0x85u) | 0x81u);
    uint32_t other = 1;
    std::thread([&] { other = K_SetDisplayMode(0, 0); }).join();
    EXPECT_EQ(other, 0u); // a thread begins with its own
    uint32_t words[2], kept[2];
    K_GetConversionSetting(kept);
    K_SetConversionSetting(7, 9);
    K_GetConversionSetting(words);
    EXPECT_EQ(words[0], 7u);
    EXPECT_EQ(words[1], 9u);
    K_SetConversionSetting(kept[0], kept[1]);
}

} // namespace
