// Memory of records on huge pages. Under the address sanitizer each record has a block of its own, so that a use after
// free is seen.
#include "store/record_pool.h"
#include "store/record.h"

#include <mutex>
#include <sys/mman.h>

namespace kbann {

#if defined(__has_feature) && !defined(__SANITIZE_ADDRESS__)
#if __has_feature(address_sanitizer)
#define __SANITIZE_ADDRESS__ 1 // as the other compiler says it
#endif
#endif

#if defined(__SANITIZE_ADDRESS__)

void* annPoolTake() noexcept { return KbAlloc(sizeof(AnnObject)); }
void annPoolGive(void* place) noexcept { KbFree(place); }

#else

namespace {

constexpr size_t slabBytes = size_t{2} << 20;

struct FreePlace {
    FreePlace* next;
};

struct Pool {
    std::mutex mutex;
    FreePlace* free = nullptr;
    std::byte* fresh = nullptr; // unused rest of the newest slab
    std::byte* end = nullptr;
};

constinit Pool pool;

// Twice the size is mapped and the rest given back, so that the slab begins on a huge page.
std::byte* mapSlab() {
    void* mapped = mmap(nullptr, 2 * slabBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) return nullptr;
    auto* begin = static_cast<std::byte*>(mapped);
    auto* slab = begin + (slabBytes - reinterpret_cast<uintptr_t>(begin) % slabBytes) % slabBytes;
    if (slab > begin) munmap(begin, static_cast<size_t>(slab - begin));
    munmap(slab + slabBytes, static_cast<size_t>(begin + slabBytes - slab));
    madvise(slab, slabBytes, MADV_HUGEPAGE);
    return slab;
}

} // namespace

void* annPoolTake() noexcept {
    if (!KbMayAllocate(sizeof(AnnObject))) return nullptr;
    Pool& p = pool;
    const std::lock_guard lock(p.mutex);
    if (FreePlace* place = p.free) {
        p.free = place->next;
        return place;
    }
    constexpr size_t step = (sizeof(AnnObject) + 63) / 64 * 64; // records don't share cache lines
    if (static_cast<size_t>(p.end - p.fresh) < step) {
        std::byte* slab = mapSlab();
        if (!slab) return nullptr;
        p.fresh = slab;
        p.end = slab + slabBytes;
    }
    void* place = p.fresh;
    p.fresh += step;
    return place;
}

void annPoolGive(void* place) noexcept {
    Pool& p = pool;
    const std::lock_guard lock(p.mutex);
    p.free = new (place) FreePlace{p.free};
}

#endif

} // namespace kbann
