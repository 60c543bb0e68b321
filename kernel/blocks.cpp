// Memory for the engine. Blocks are locked global memory, so that their handle can be found from their address and given
// to the clipboard; heap memory is plain.
#include "contracts/raster_kernel.h"

#include "platform/sys.h"

namespace {

void* allocateBlock(UINT flags, size_t size) {
    HGLOBAL handle = GlobalAlloc(flags, size);
    if (!handle) return nullptr;
    void* block = GlobalLock(handle);
    if (!block) GlobalFree(handle);
    return block;
}

} // namespace

extern "C" {

void* K_AllocBlock(size_t size) { return allocateBlock(GMEM_MOVEABLE, size); }
void* K_AllocBlockZero(size_t size, int) { return allocateBlock(GHND, size); }

void* K_ReallocBlock(void* pBlock, size_t size) {
    if (!pBlock) return K_AllocBlock(size);
    HGLOBAL handle = GlobalHandle(pBlock);
    if (!handle) return nullptr;
    GlobalUnlock(handle); // locked memory isn't moved
    const bool resized = GlobalReAlloc(handle, size, GMEM_MOVEABLE) != nullptr;
    void* block = GlobalLock(handle);
    return resized ? block : nullptr;
}

void K_FreeBlock(void* pBlock) {
    HGLOBAL handle = pBlock ? GlobalHandle(pBlock) : nullptr;
    if (!handle) return;
    GlobalUnlock(handle);
    GlobalFree(handle);
}

void* K_AllocHeap(size_t size) { return KbAlloc(size); }
void* K_AllocHeapZero(size_t count, size_t size) { return KbAllocZero(count, size); }
void* K_ReallocHeap(void* p, size_t size) { return KbRealloc(p, size); }
void K_FreeHeap(void* p) { KbFree(p); }

} // extern "C"
