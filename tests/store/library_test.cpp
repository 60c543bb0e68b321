// The frame: initialising, threads, slots, shared pictures.
#include "platform/user.h"
#include "store/file_operations.h"
#include "store/library.h"
#include "store/thread_slots.h"
#include "tests/store/support.h"

#include <thread>

using namespace kbann;
using namespace kbann::test;

namespace {

int destroyedSum = 0;

TEST(ThreadSlots, ValuesBelongToTheirThread) {
    const SlotKey key = slotAlloc([](intptr_t value) { destroyedSum += static_cast<int>(value); });
    ASSERT_NE(key, noSlotKey);
    EXPECT_EQ(slotGetValue(key), 0);
    EXPECT_EQ(slotSetValue(key, 7), 1);
    std::thread([&] {
        EXPECT_EQ(slotGetValue(key), 0);
        EXPECT_EQ(slotSetValue(key, 30), 1);
        EXPECT_EQ(slotSetValue(key, 40), 1);
    }).join();
    EXPECT_EQ(slotGetValue(key), 7);
    destroyedSum = 0;
    EXPECT_EQ(slotFree(key), 1);
    EXPECT_EQ(destroyedSum, 47);
    EXPECT_EQ(slotFree(key), 0);
    EXPECT_EQ(slotSetValue(key, 1), 0);
    EXPECT_EQ(slotGetValue(noSlotKey), 0);
}

TEST(Library, InitialisesOnceAndAgainAfterTheEnd) {
    const HANNOBJECT before = make(ANN_OBJECT_POINT); // the first call has initialised
    auto& state = libraryState();
    const HMODULE module = state.hLibraryModule;
    EXPECT_EQ(K_AnnInitLibrary(module), 0);
    const uint32_t serial = state.uSerialCounter;
    K_AnnTermLibrary();
    EXPECT_FALSE(state.lockedIcon.Allocated);
    const HANNOBJECT without = make(ANN_OBJECT_POINT); // an attached thread goes on with empty resources
    EXPECT_FALSE(record(without).bitmap.Allocated);
    EXPECT_EQ(K_AnnInitLibrary(module), 1);
    EXPECT_EQ(K_AnnInitLibrary(module), 0);
    EXPECT_TRUE(state.lockedIcon.Allocated);
    EXPECT_EQ(state.uSerialCounter, serial);
    EXPECT_TRUE(record(before).bitmap.Allocated);
    K_AnnDestroy(before, 0);
    K_AnnDestroy(without, 0);
}

TEST(Library, SharedResources) {
    K_AnnDestroy(make(ANN_OBJECT_RECT), 0);
    const auto& state = libraryState();
    struct {
        const char* name;
        const KernelBitmap& bitmap;
        int bits;
    } rows[] = {{"locked", state.lockedIcon, 24},
                {"point", state.defaultPoint, 4},
                {"pin", state.defaultPushpin, 24},
                {"closed pin", state.defaultPushpin2, 24}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(row.bitmap.Allocated);
        EXPECT_GE(row.bitmap.Width, 15);
        EXPECT_EQ(row.bitmap.BitsPerPixel, row.bits);
        uint32_t area = 0;
        EXPECT_EQ(K_GetBitmapRgnArea(&row.bitmap, &area), SUCCESS); // white is left out
        EXPECT_GT(area, 20u);
        EXPECT_LT(area, uint32_t(row.bitmap.Width * row.bitmap.Height));
    }
    char name[64];
    GetAtomNameA(state.propertyAtom, name, sizeof name);
    EXPECT_STREQ(name, "KBANN11NOBJECT");
    GetClipboardFormatNameA(state.clipboardFormats[0], name, sizeof name);
    EXPECT_STREQ(name, "KITEBENCH 11.0 Annotation");
    EXPECT_EQ(state.clipboardFormats[2], RegisterClipboardFormatA("KITEBENCH 9.0 Annotation"));
}

TEST(Library, EachThreadIsAUser) {
    K_AnnDestroy(make(ANN_OBJECT_RECT), 0);
    const uint32_t users = libraryState().nLibraryUsers;
    std::thread([] {
        for (int i = 0; i < 3; ++i) K_AnnDestroy(make(ANN_OBJECT_RECT), 0);
    }).join();
    EXPECT_EQ(libraryState().nLibraryUsers, users + 1);
}

TEST(FileOperations, GoThroughTheThreadsBlock) {
    const std::string path = ::testing::TempDir() + "kbann_file_operations";
    std::remove(path.c_str());
    EXPECT_EQ(ioOpen(path.c_str(), 0x8000, 0x100), -1);
    EXPECT_EQ(GetLastError(), ERROR_FILE_MISSING);
    const int file = ioOpen(path.c_str(), 0x8302, 0x80);
    ASSERT_GE(file, 0);
    EXPECT_EQ(ioWrite(file, "abcdef", 6), 6);
    EXPECT_EQ(ioSeek(file, 2, 0), 2);
    EXPECT_EQ(ioWrite(file, nullptr, 0), 0); // cuts
    EXPECT_EQ(ioSeek(file, 0, 2), 2);
    EXPECT_EQ(ioClose(file), 0);
    std::remove(path.c_str());
}

} // namespace
