// Movable memory behind handles. A block's bytes follow a prefix that names its handle, so that GlobalHandle answers in
// O(1); the prefix is only believed when the handle's own block points back at these bytes. Growth is amortised, since
// writers grow a block in small steps; a block that is locked may still be given new bytes by GlobalReAlloc, whose caller
// asked for it.
#include "platform/sys/state.h"

#include <algorithm>
#include <cstring>

namespace {

struct alignas(16) BlockPrefix {
    uint32_t magic;
    uint32_t handle;
};
constexpr uint32_t blockMagic = 0x4b42'4c4bu;

kb::MemoryBlock* findBlock(HGLOBAL hMem) { return kb::sysState().blocks.find(kb::handleValue(hMem)); }

BlockPrefix* prefixOf(void* bytes) { return static_cast<BlockPrefix*>(bytes) - 1; }

void* newBytes(size_t capacity, uint32_t handle, bool zero) {
    if (capacity > SIZE_MAX - sizeof(BlockPrefix)) return nullptr;
    const size_t whole = capacity + sizeof(BlockPrefix);
    auto* prefix = static_cast<BlockPrefix*>(zero ? KbAllocZero(1, whole) : KbAlloc(whole));
    if (!prefix) return nullptr;
    *prefix = {blockMagic, handle};
    return prefix + 1;
}

void freeBytes(void* bytes) {
    prefixOf(bytes)->magic = 0;
    KbFree(prefixOf(bytes));
}

} // namespace

extern "C" {

HGLOBAL GlobalAlloc(UINT flags, SIZE_T size) {
    auto& table = kb::sysState().blocks;
    auto* memory = KbAlloc(sizeof(kb::MemoryBlock));
    if (!memory) return SetLastError(ERROR_OUT_OF_MEMORY), nullptr;
    auto* block = new (memory) kb::MemoryBlock;
    block->size = block->capacity = size;
    block->flags = flags;
    block->bytes = newBytes(size, 0, flags & GMEM_ZEROINIT);
    block->handle = block->bytes ? table.add(block) : 0;
    if (!block->handle) {
        if (block->bytes) freeBytes(block->bytes);
        KbFree(memory);
        return SetLastError(ERROR_OUT_OF_MEMORY), nullptr;
    }
    prefixOf(block->bytes)->handle = block->handle;
    return kb::toHandle<HGLOBAL>(block->handle);
}

HGLOBAL GlobalReAlloc(HGLOBAL hMem, SIZE_T size, UINT flags) {
    auto* block = findBlock(hMem);
    if (!block) return SetLastError(ERROR_BAD_HANDLE), nullptr;
    const size_t old = block->size;
    if (size > block->capacity || size < block->capacity / 2) {
        const size_t grown = size > block->capacity ? std::max(size, block->capacity + block->capacity / 2) : size;
        if (grown > SIZE_MAX - sizeof(BlockPrefix)) return SetLastError(ERROR_OUT_OF_MEMORY), nullptr;
        auto* prefix = static_cast<BlockPrefix*>(KbRealloc(prefixOf(block->bytes), grown + sizeof(BlockPrefix)));
        if (!prefix && size > block->capacity) return SetLastError(ERROR_OUT_OF_MEMORY), nullptr;
        if (prefix) { // a block that can't be made smaller stays as large as it is
            block->bytes = prefix + 1;
            block->capacity = grown;
        }
    }
    if (size > old && (flags & GMEM_ZEROINIT)) std::memset(static_cast<char*>(block->bytes) + old, 0, size - old);
    block->size = size;
    return hMem;
}

HGLOBAL GlobalFree(HGLOBAL hMem) {
    auto* block = kb::sysState().blocks.remove(kb::handleValue(hMem));
    if (!block) return hMem ? (SetLastError(ERROR_BAD_HANDLE), hMem) : nullptr;
    freeBytes(block->bytes);
    block->~MemoryBlock();
    KbFree(block);
    return nullptr;
}

void* GlobalLock(HGLOBAL hMem) {
    auto* block = findBlock(hMem);
    if (!block) return SetLastError(ERROR_BAD_HANDLE), nullptr;
    block->locks.fetch_add(1, std::memory_order_relaxed);
    return block->bytes;
}

BOOL GlobalUnlock(HGLOBAL hMem) {
    auto* block = findBlock(hMem);
    if (!block) return SetLastError(ERROR_BAD_HANDLE), FALSE;
    uint32_t locks = block->locks.load(std::memory_order_relaxed);
    while (locks && !block->locks.compare_exchange_weak(locks, locks - 1, std::memory_order_relaxed)) {}
    return locks > 1;
}

UINT GlobalFlags(HGLOBAL hMem) {
    const auto* block = findBlock(hMem);
    return block ? std::min(block->locks.load(std::memory_order_relaxed), 0xFFu) : GMEM_INVALID_HANDLE;
}

SIZE_T GlobalSize(HGLOBAL hMem) {
    const auto* block = findBlock(hMem);
    return block ? block->size : 0;
}

HGLOBAL GlobalHandle(const void* pMem) {
    if (!pMem || reinterpret_cast<uintptr_t>(pMem) % alignof(BlockPrefix)) return nullptr;
    const auto* prefix = static_cast<const BlockPrefix*>(pMem) - 1;
    if (prefix->magic != blockMagic) return nullptr;
    const auto* block = kb::sysState().blocks.find(prefix->handle);
    return block && block->bytes == pMem ? kb::toHandle<HGLOBAL>(prefix->handle) : nullptr;
}

} // extern "C"
