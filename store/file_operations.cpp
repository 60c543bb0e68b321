// The per-thread blocks of file operations. Without memory for a block a wrapper calls the kernel directly.
#include "store/file_operations.h"
#include "contracts/raster_kernel.h"
#include "store/spin_lock.h"
#include "store/thread_slots.h"

#include <mutex>

namespace kbann {
namespace {

struct ThreadIoBlock {
    decltype(&K_FileOpen) open = K_FileOpen;
    decltype(&K_FileRead) read = K_FileRead;
    decltype(&K_FileWrite) write = K_FileWrite;
    decltype(&K_FileSeek) seek = K_FileSeek;
    decltype(&K_FileClose) close = K_FileClose;
    intptr_t openUser = 0, readUser = 0, writeUser = 0, seekUser = 0, closeUser = 0;
};

const ThreadIoBlock kernelOperations;

SpinLock lockThreadIo;
std::atomic<SlotKey> keyThreadIo{noSlotKey};
uint32_t blockCount = 0;

void freeBlock(intptr_t value) {
    K_FreeHeap(reinterpret_cast<ThreadIoBlock*>(value));
    const std::lock_guard lock(lockThreadIo);
    if (--blockCount == 0) keyThreadIo = noSlotKey;
}

const ThreadIoBlock& threadBlock() {
    if (const intptr_t value = slotGetValue(keyThreadIo)) return *reinterpret_cast<ThreadIoBlock*>(value);
    const std::lock_guard lock(lockThreadIo);
    if (keyThreadIo == noSlotKey) keyThreadIo = slotAlloc(freeBlock);
    void* memory = K_AllocHeap(sizeof(ThreadIoBlock));
    if (!memory) return kernelOperations;
    auto* block = new (memory) ThreadIoBlock;
    if (!slotSetValue(keyThreadIo, reinterpret_cast<intptr_t>(block))) {
        K_FreeHeap(block);
        return kernelOperations;
    }
    if (blockCount++ == 0) K_ThreadStartup();
    return *block;
}

} // namespace

int ioOpen(const char* pszPath, int flags, int mode) noexcept {
    const auto& block = threadBlock();
    return block.open(pszPath, flags, mode, block.openUser);
}

int ioRead(int file, void* pBuffer, int count) noexcept {
    const auto& block = threadBlock();
    return block.read(file, pBuffer, count, block.readUser);
}

int ioWrite(int file, const void* pBuffer, int count) noexcept {
    const auto& block = threadBlock();
    return block.write(file, pBuffer, count, block.writeUser);
}

int64_t ioSeek(int file, int64_t offset, int origin) noexcept {
    const auto& block = threadBlock();
    return block.seek(file, offset, origin, block.seekUser);
}

int ioClose(int file) noexcept {
    const auto& block = threadBlock();
    return block.close(file, block.closeUser);
}

} // namespace kbann
