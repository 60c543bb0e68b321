// An array of plain values that keeps a few of them inside itself. Most objects have two points and four handles: inside
// the record they cost no allocation. It never moves, as records don't, and nothing of it throws.
#pragma once

#include "platform/sys.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <type_traits>

namespace kbann {

template <class T, uint32_t Inside> class SmallArray {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    SmallArray() = default;
    SmallArray(const SmallArray&) = delete;
    SmallArray& operator=(const SmallArray&) = delete;
    ~SmallArray() { freeHeap(); }

    // Room for `count` zeroed values, which replace the old ones. False when memory fails: empty then.
    bool reset(uint32_t count) noexcept {
        T* fresh = inside_;
        if (count > Inside) {
            fresh = static_cast<T*>(KbAllocZero(count, sizeof(T)));
            if (!fresh) return clear(), false;
        } else {
            std::fill(inside_, inside_ + Inside, T{});
        }
        freeHeap();
        data_ = fresh;
        size_ = count;
        return true;
    }

    bool assign(std::span<const T> values) noexcept {
        if (values.size() > UINT32_MAX || !reset(static_cast<uint32_t>(values.size()))) return clear(), false;
        std::copy(values.begin(), values.end(), data_);
        return true;
    }

    void clear() noexcept {
        freeHeap();
        data_ = inside_;
        size_ = 0;
    }

    uint32_t size() const noexcept { return size_; }
    bool empty() const noexcept { return !size_; }
    T* data() noexcept { return data_; }
    const T* data() const noexcept { return data_; }
    T* begin() noexcept { return data_; }
    T* end() noexcept { return data_ + size_; }
    const T* begin() const noexcept { return data_; }
    const T* end() const noexcept { return data_ + size_; }
    T& operator[](size_t i) noexcept { return data_[i]; }
    const T& operator[](size_t i) const noexcept { return data_[i]; }

private:
    void freeHeap() noexcept {
        if (data_ != inside_) KbFree(data_);
    }

    T* data_ = inside_;
    uint32_t size_ = 0;
    T inside_[Inside]{};
};

} // namespace kbann
