// A spin lock on a counter: an increment that gives 1 has taken it. Held for a few steps only.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace kbann {

class SpinLock {
public:
    void lock() noexcept {
        while (counter_.fetch_add(1, std::memory_order_acquire) + 1 != 1) {
            counter_.fetch_sub(1, std::memory_order_relaxed);
            std::this_thread::yield();
        }
    }
    void unlock() noexcept { counter_.fetch_sub(1, std::memory_order_release); }

private:
    std::atomic<int32_t> counter_{0};
};

} // namespace kbann
