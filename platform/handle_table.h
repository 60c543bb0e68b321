// Handles that can't lie: a 32-bit value made of kind, generation and slot. A dead, foreign or made-up value is told
// from a live one in O(1) without touching the memory behind it. Look-ups take no lock: slots stand in chunks that
// never move, and a slot's word holds the whole live handle or 0. Freed slots are reused oldest first and only when
// many wait, so that a generation comes round as late as possible.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>

namespace kb {

enum class HandleKind : uint32_t {
    memory = 1,
    deviceContext,
    pen,
    brush,
    font,
    bitmap,
    region,
    metafile,
    window,
    menu,
    cursor,
    palette,
    module,
    annotation
};

inline constexpr uint32_t handleIndexBits = 22;
inline constexpr uint32_t handleGenerationBits = 6;
inline constexpr uint32_t handleIndexMask = (1u << handleIndexBits) - 1;
inline constexpr uint32_t handleGenerationMask = (1u << handleGenerationBits) - 1;

constexpr HandleKind handleKind(uint32_t handle) { return HandleKind{handle >> (handleIndexBits + handleGenerationBits)}; }

// The 32-bit value of an opaque handle pointer; 0 for a value that doesn't fit, so that wild pointers are dead handles.
template <class Handle> uint32_t handleValue(Handle handle) {
    const auto value = reinterpret_cast<uintptr_t>(handle);
    return value >> 32 ? 0 : static_cast<uint32_t>(value);
}
template <class Handle> Handle toHandle(uint32_t value) { return reinterpret_cast<Handle>(static_cast<uintptr_t>(value)); }

template <class T> class HandleTable {
public:
    explicit HandleTable(HandleKind kind) : kind_(static_cast<uint32_t>(kind) << (handleIndexBits + handleGenerationBits)) {}
    HandleTable(const HandleTable&) = delete;
    HandleTable& operator=(const HandleTable&) = delete;
    ~HandleTable() {
        for (auto& chunk : chunks_) delete[] chunk.load(std::memory_order_relaxed);
    }

    // A new handle for an object that the caller owns; 0 when memory or slots are used up.
    uint32_t add(T* object) noexcept {
        const std::lock_guard lock(mutex_);
        uint32_t index;
        if (freeCount_ > reuseThreshold || (freeCount_ && nextFresh_ > handleIndexMask)) {
            index = freeHead_;
            freeHead_ = slot(index)->nextFree;
            --freeCount_;
        } else {
            if (nextFresh_ > handleIndexMask) return 0;
            index = nextFresh_;
            auto& chunk = chunks_[index / chunkSize];
            if (!chunk.load(std::memory_order_relaxed)) {
                auto* fresh = new (std::nothrow) Slot[chunkSize];
                if (!fresh) return 0;
                chunk.store(fresh, std::memory_order_release);
            }
            ++nextFresh_;
        }
        Slot& s = *slot(index);
        s.generation = (s.generation + 1) & handleGenerationMask;
        const uint32_t handle = kind_ | s.generation << handleIndexBits | index;
        s.object.store(object, std::memory_order_relaxed);
        s.handle.store(handle, std::memory_order_release);
        ++live_;
        return handle;
    }

    T* find(uint32_t handle) const noexcept {
        const uint32_t index = handle & handleIndexMask;
        const Slot* chunk = chunks_[index / chunkSize].load(std::memory_order_acquire);
        if (!chunk || !handle) return nullptr;
        const Slot& s = chunk[index % chunkSize];
        if (s.handle.load(std::memory_order_acquire) != handle) return nullptr;
        return s.object.load(std::memory_order_relaxed);
    }

    // Takes a handle out; gives the object, which the caller still owns, or null for a dead handle.
    T* remove(uint32_t handle) noexcept {
        const std::lock_guard lock(mutex_);
        T* object = find(handle);
        if (!object) return nullptr;
        const uint32_t index = handle & handleIndexMask;
        Slot& s = *slot(index);
        s.handle.store(0, std::memory_order_release);
        s.object.store(nullptr, std::memory_order_relaxed);
        if (freeCount_++)
            slot(freeTail_)->nextFree = index;
        else
            freeHead_ = index;
        freeTail_ = index;
        --live_;
        return object;
    }

    size_t live() const noexcept {
        const std::lock_guard lock(mutex_);
        return live_;
    }

private:
    struct Slot {
        std::atomic<uint32_t> handle{0};
        uint32_t generation = 0;
        std::atomic<T*> object{nullptr};
        uint32_t nextFree = 0;
    };
    static constexpr uint32_t chunkSize = 4096;
    static constexpr uint32_t reuseThreshold = 65'536;

    Slot* slot(uint32_t index) const {
        return chunks_[index / chunkSize].load(std::memory_order_relaxed) + index % chunkSize;
    }

    const uint32_t kind_;
    mutable std::mutex mutex_;
    uint32_t nextFresh_ = 0, freeHead_ = 0, freeTail_ = 0, freeCount_ = 0;
    size_t live_ = 0;
    std::array<std::atomic<Slot*>, (handleIndexMask + 1) / chunkSize> chunks_{};
};

} // namespace kb
