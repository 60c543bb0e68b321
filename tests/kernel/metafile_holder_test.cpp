// Holders of metafiles: who owns what, and the bits.
#include "raster_fixture.h"

#include <gtest/gtest.h>

using namespace test;

namespace {

// A window of 200 by 100 and the end mark.
const char* classicMetafile = R"(
    0100 0900 0003 11000000 0000 05000000 0000   # 17 words, largest record 5
    05000000 0C02 6400 C800                      # SetWindowExt 100, 200
    03000000 0000
)";

TEST(Metafiles, HoldersOwnTheirBits) {
    const auto bits = bytesOf(classicMetafile);
    HMETAFILE handle = SetMetaFileBitsEx(static_cast<UINT>(bits.size()), bits.data());
    ASSERT_NE(handle, nullptr);
    KernelMetafile first{}, second{};
    ASSERT_EQ(K_WrapMetafile(handle, &first), SUCCESS);
    EXPECT_EQ(first.bEnhanced, 0u);
    EXPECT_EQ(first.nRight, 200);
    EXPECT_EQ(first.nBottom, 100);
    EXPECT_EQ(first.nWidth, 5292); // at 96 pixels an inch, in 1/100 millimetre
    EXPECT_EQ(first.nHeight, 2646);
    ASSERT_EQ(K_CopyMetafile(&second, &first), SUCCESS);
    EXPECT_NE(second.nHandle, first.nHandle);
    K_FreeMetafile(&first);
    EXPECT_EQ(first.nHandle, 0u);
    EXPECT_EQ(K_WrapMetafile(handle, &first), ERROR_INV_PARAMETER); // dead
    const int size = K_MetafileToMemory(&second, nullptr, 0);
    ASSERT_EQ(size, static_cast<int>(bits.size()));
    std::vector<uint8_t> out(bits.size(), 0xEE);
    EXPECT_EQ(K_MetafileToMemory(&second, out.data(), 10), 10);
    EXPECT_EQ(out[10], 0xEE);
    EXPECT_EQ(K_MetafileToMemory(&second, out.data(), static_cast<uint32_t>(out.size())), size);
    EXPECT_EQ(out, bits);
    K_FreeMetafile(&second);
    EXPECT_EQ(K_CopyMetafile(&second, &first), SUCCESS); // empty from empty
    EXPECT_EQ(K_MetafileToMemory(&second, out.data(), 5), 0);
    EXPECT_EQ(K_WrapMetafile(nullptr, &first), ERROR_INV_PARAMETER);
}

} // namespace
