// Allocation for all floors below the engine. One place, so that a test can make any single allocation fail.
#include "platform/sys/state.h"

#include <cstdlib>
#include <cstring>

namespace {

bool mayAllocate(size_t size) {
    const auto& state = kb::sysState();
    const auto hook = state.allocationHook.load(std::memory_order_acquire);
    return !hook || hook(size, state.allocationUser.load(std::memory_order_relaxed));
}

} // namespace

extern "C" {

void* KbAlloc(SIZE_T size) { return mayAllocate(size) ? std::malloc(size ? size : 1) : nullptr; }

void* KbAllocZero(SIZE_T count, SIZE_T size) {
    if (size && count > SIZE_MAX / size) return nullptr;
    if (!mayAllocate(count * size)) return nullptr;
    return std::calloc(count ? count : 1, size ? size : 1);
}

void* KbRealloc(void* p, SIZE_T size) { return mayAllocate(size) ? std::realloc(p, size ? size : 1) : nullptr; }

void KbFree(void* p) { std::free(p); }

BOOL KbMayAllocate(SIZE_T size) { return mayAllocate(size); }

void KbSetAllocationHook(KbAllocationHook hook, void* pUser) {
    auto& state = kb::sysState();
    state.allocationHook.store(nullptr);
    state.allocationUser.store(pUser);
    state.allocationHook.store(hook, std::memory_order_release);
}

} // extern "C"
