// Small services of process and thread: identity, counters, last error, debug output, the locale's name.
#include "platform/sys/state.h"

#include <cstdlib>
#include <unistd.h>

namespace {

thread_local DWORD lastError = 0;
std::atomic<DWORD> nextThreadId{1};
thread_local DWORD threadId = 0;

} // namespace

extern "C" {

// Small numbers of our own: they are never reused, where the system's are.
DWORD GetCurrentThreadId(void) {
    if (!threadId) threadId = nextThreadId.fetch_add(1, std::memory_order_relaxed);
    return threadId;
}

HANDLE GetCurrentThread(void) { return reinterpret_cast<HANDLE>(static_cast<intptr_t>(-2)); }

LONG InterlockedIncrement(volatile LONG* pValue) { return __atomic_add_fetch(pValue, 1, __ATOMIC_SEQ_CST); }
LONG InterlockedDecrement(volatile LONG* pValue) { return __atomic_sub_fetch(pValue, 1, __ATOMIC_SEQ_CST); }

DWORD GetLastError(void) { return lastError; }
void SetLastError(DWORD code) { lastError = code; }

int MulDiv(int number, int numerator, int denominator) {
    if (!denominator) return -1;
    const int64_t product = static_cast<int64_t>(number) * numerator;
    const int64_t divisor = denominator;
    const int64_t half = std::abs(divisor) / 2;
    const int64_t result = (product + (product < 0 ? -half : half)) / divisor;
    return result > INT32_MAX || result < INT32_MIN ? -1 : static_cast<int>(result);
}

void OutputDebugStringA(const char* pszText) {
    const auto& state = kb::sysState();
    if (const auto sink = state.debugSink.load(std::memory_order_acquire); sink && pszText)
        sink(pszText, state.debugUser.load(std::memory_order_relaxed));
}

void KbSetDebugSink(KbDebugSink sink, void* pUser) {
    auto& state = kb::sysState();
    state.debugSink.store(nullptr);
    state.debugUser.store(pUser);
    state.debugSink.store(sink, std::memory_order_release);
}

const char* KbSetLocale(const char* pszName) {
    auto& state = kb::sysState();
    const std::lock_guard lock(state.mutex);
    if (pszName) {
        try {
            state.locale = *pszName ? pszName : state.hostLocale;
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    return state.locale.c_str();
}

void KbSetHostLocale(const char* pszName) {
    auto& state = kb::sysState();
    const std::lock_guard lock(state.mutex);
    try {
        state.hostLocale = pszName && *pszName ? pszName : "C";
    } catch (const std::bad_alloc&) { // the name set before stays
    }
}

} // extern "C"
