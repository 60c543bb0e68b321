// Files, the memory file of a thread, and blocks.
#include "raster_fixture.h"

#include "platform/sys.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <thread>

using namespace test;

namespace {

constexpr int createFlag = 0x100, truncateFlag = 0x200, writable = 0x80;

std::string scratchPath(const char* name) {
    return (std::filesystem::temp_directory_path() / (std::string("kbann_") + std::to_string(getpid()) + "_" + name))
        .string();
}

TEST(Files, WriteSeekCutRead) {
    const std::string path = scratchPath("file");
    int file = K_FileOpen(path.c_str(), 2 | createFlag | truncateFlag | 0x8000, writable, 0);
    ASSERT_GE(file, 0);
    EXPECT_EQ(K_FileWrite(file, "0123456789", 10, 0), 10);
    EXPECT_EQ(K_FileSeek(file, -4, SEEK_END, 0), 6);
    EXPECT_EQ(K_FileWrite(file, "", 0, 0), 0); // cuts here
    EXPECT_EQ(K_FileSeek(file, 0, SEEK_END, 0), 6);
    EXPECT_EQ(K_FileSeek(file, 4, SEEK_SET, 0), 4);
    char buffer[16];
    EXPECT_EQ(K_FileRead(file, buffer, 16, 0), 2);
    EXPECT_EQ(std::string(buffer, 2), "45");
    EXPECT_EQ(K_FileRead(file, buffer, 16, 0), 0);
    EXPECT_EQ(K_FileSeek(file, -7, SEEK_CUR, 0), -1);
    EXPECT_EQ(K_FileRead(file, buffer, -1, 0), -1);
    EXPECT_EQ(K_FileClose(file, 0), 0);
    file = K_FileOpen(path.c_str(), 0, 0, 0);
    ASSERT_GE(file, 0);
    EXPECT_EQ(K_FileWrite(file, "x", 1, 0), -1);
    K_FileClose(file, 0);
    std::filesystem::remove(path);
    file = K_FileOpen("/dev/full", 1, 0, 0);
    ASSERT_GE(file, 0);
    EXPECT_EQ(K_FileWrite(file, "x", 1, 0), -1);
    EXPECT_EQ(GetLastError(), ERROR_DISK_IS_FULL);
    K_FileClose(file, 0);
}

TEST(Files, OpenTellsWhyNot) {
    struct Row {
        const char* name;
        std::string path;
        int flags;
        DWORD error;
    };
    const Row rows[] = {{"missing", scratchPath("no"), 0, ERROR_FILE_MISSING},
                        {"folder to read", std::filesystem::temp_directory_path().string(), 0, ERROR_ACCESS_REFUSED},
                        {"folder to write", std::filesystem::temp_directory_path().string(), 2, ERROR_ACCESS_REFUSED},
                        {"no memory file", "DUMMY", 0, ERROR_FILE_MISSING}};
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        SetLastError(0);
        EXPECT_EQ(K_FileOpen(r.path.c_str(), r.flags, writable, 0), -1);
        EXPECT_EQ(GetLastError(), r.error);
    }
    EXPECT_EQ(K_FileOpen(nullptr, 0, 0, 0), -1);
    EXPECT_EQ(K_FileOpen("x", 3, 0, 0), -1);
}

TEST(Files, MemoryFileBelongsToItsThread) {
    const char data[] = "memory file";
    K_SetMemoryFile(data, 11);
    const int first = K_FileOpen("DUMMY", 0, 0, 0), second = K_FileOpen("DUMMY", 0x8000, 0, 0);
    ASSERT_GE(first, 0);
    ASSERT_NE(first, second);
    char buffer[32] = {};
    EXPECT_EQ(K_FileSeek(first, 7, SEEK_SET, 0), 7);
    EXPECT_EQ(K_FileRead(first, buffer, 32, 0), 4);
    EXPECT_EQ(K_FileRead(second, buffer, 6, 0), 6); // positions of their own
    EXPECT_EQ(std::string(buffer, 6), "memory");
    EXPECT_EQ(K_FileSeek(first, 100, SEEK_CUR, 0), 111);
    EXPECT_EQ(K_FileRead(first, buffer, 1, 0), 0);
    EXPECT_EQ(K_FileSeek(first, -1, SEEK_SET, 0), -1);
    EXPECT_EQ(K_FileWrite(first, "x", 1, 0), -1);
    EXPECT_EQ(K_FileOpen("DUMMY", 1, writable, 0), -1);
    int elsewhere = 0;
    std::thread([&] { elsewhere = K_FileOpen("DUMMY", 0, 0, 0); }).join();
    EXPECT_EQ(elsewhere, -1);
    EXPECT_EQ(K_FileClose(first, 0), 0);
    EXPECT_EQ(K_FileRead(first, buffer, 1, 0), -1);
    EXPECT_EQ(K_FileClose(second, 0), 0);
    K_SetMemoryFile(nullptr, 0);
    const void* none = data;
    EXPECT_EQ(K_GetMemoryFile(&none, nullptr), 0);
    EXPECT_EQ(none, nullptr);
}

TEST(Blocks, GrowAndKeepTheirHandle) {
    auto* block = static_cast<char*>(K_AllocBlockZero(10, 1));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block[9], 0);
    std::strcpy(block, "abc");
    HGLOBAL handle = GlobalHandle(block);
    block = static_cast<char*>(K_ReallocBlock(block, 100000));
    ASSERT_NE(block, nullptr);
    EXPECT_STREQ(block, "abc");
    EXPECT_EQ(GlobalHandle(block), handle);
    EXPECT_EQ(GlobalSize(handle), 100000u);
    KbSetAllocationHook([](SIZE_T, void*) -> BOOL { return 0; }, nullptr);
    EXPECT_EQ(K_ReallocBlock(block, 10000000), nullptr);
    KbSetAllocationHook(nullptr, nullptr);
    EXPECT_STREQ(block, "abc");
    EXPECT_EQ(GlobalSize(handle), 100000u);
    K_FreeBlock(block);
    EXPECT_EQ(GlobalFlags(handle), GMEM_INVALID_HANDLE);
    K_FreeBlock(nullptr);
}

} // namespace
