// Allocation of pixel buffers. Small images come from the heap in one piece. Larger ones are mapped, because touching a fresh
// page costs more than filling it: all pages of a mapping are asked for at once, or huge ones where it is large. Some freed
// mappings are kept, so that loading page after page, drawing tile after tile, or stamp after stamp, works in memory that
// is already there.
#include "kernel/pixel_buffer.h"

#include "platform/sys.h"

#include <sys/mman.h>

#include <array>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

namespace kb {
namespace {

constexpr size_t mappedFrom = size_t{32} << 10;
constexpr size_t hugeFrom = size_t{1} << 20;
constexpr size_t page = size_t{4} << 10, hugePage = size_t{2} << 20;
constexpr size_t rowAlignment = 64;

struct Mapping {
    uint8_t* address = nullptr;
    size_t bytes = 0;
};

class MappingPool {
public:
    // Gives a mapping that holds `size` bytes without wasting more than as much again; empty when there is none.
    Mapping take(size_t size) {
        const std::lock_guard lock(mutex_);
        for (auto& kept : kept_) {
            if (kept.bytes < size || kept.bytes / 2 > size) continue;
            total_ -= kept.bytes;
            return std::exchange(kept, {});
        }
        return {};
    }
    // Gives what there is no room for: the mapping itself when it is too much, else one that has waited for long.
    Mapping keep(Mapping mapping) {
        const std::lock_guard lock(mutex_);
        if (total_ + mapping.bytes > limit) return mapping;
        total_ += mapping.bytes;
        for (auto& kept : kept_) {
            if (kept.address) continue;
            kept = mapping;
            return {};
        }
        const Mapping oldest = std::exchange(kept_[turn_++ % kept_.size()], mapping);
        total_ -= oldest.bytes;
        return oldest;
    }

private:
    static constexpr size_t limit = size_t{128} << 20;
    std::mutex mutex_;
    std::array<Mapping, 64> kept_;
    size_t total_ = 0, turn_ = 0;
};

// Never destroyed: buffers may be freed by other libraries' destructors after ours have run.
MappingPool& mappingPool() {
    alignas(MappingPool) static std::byte storage[sizeof(MappingPool)];
    static MappingPool* pool = new (storage) MappingPool;
    return *pool;
}

} // namespace

KernelPixels* allocatePixels(size_t size, bool zeroed) noexcept {
    if (size > maxPixelBytes) return nullptr;
    const bool maps = size >= mappedFrom;
    void* memory = KbAlloc(sizeof(KernelPixels) + (maps ? 0 : size + rowAlignment));
    if (!memory) return nullptr;
    auto* pixels = new (memory) KernelPixels;
    pixels->size = size;
    if (!maps) {
        const auto behind = reinterpret_cast<uintptr_t>(memory) + sizeof(KernelPixels);
        pixels->rows =
            static_cast<uint8_t*>(memory) + sizeof(KernelPixels) + (rowAlignment - behind % rowAlignment) % rowAlignment;
        if (zeroed) std::memset(pixels->rows, 0, size);
        return pixels;
    }
    Mapping mapping = mappingPool().take(size);
    if (mapping.address) {
        if (zeroed) std::memset(mapping.address, 0, size);
    } else {
        const bool isHuge = size >= hugeFrom;
        const size_t whole = isHuge ? hugePage : page;
        mapping.bytes = (size + whole - 1) / whole * whole;
        const int flags = MAP_PRIVATE | MAP_ANONYMOUS | (isHuge ? 0 : MAP_POPULATE);
        void* address = mmap(nullptr, mapping.bytes, PROT_READ | PROT_WRITE, flags, -1, 0);
        if (address == MAP_FAILED) {
            KbFree(memory);
            return nullptr;
        }
        if (isHuge) madvise(address, mapping.bytes, MADV_HUGEPAGE);
        mapping.address = static_cast<uint8_t*>(address);
    }
    pixels->rows = mapping.address;
    pixels->mapped = mapping.bytes;
    return pixels;
}

void retainPixels(KernelPixels* pixels) noexcept { pixels->owners.fetch_add(1, std::memory_order_relaxed); }

void releasePixels(KernelPixels* pixels) noexcept {
    if (!pixels || pixels->owners.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    if (pixels->mapped) {
        const Mapping excess = mappingPool().keep({pixels->rows, pixels->mapped});
        if (excess.address) munmap(excess.address, excess.bytes);
    }
    pixels->~KernelPixels();
    KbFree(pixels);
}

} // namespace kb
