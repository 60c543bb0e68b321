// The library's own thread-local storage: a list of slots, each with a list of the threads' values. A slot's key is its
// address, and -1 is no key. Values are pointer-wide; 0 means none. Destructors run at detach, which the platform's own
// thread-local storage couldn't promise for threads that the library never saw end.
#pragma once

#include <cstdint>

namespace kbann {

using SlotKey = intptr_t;
inline constexpr SlotKey noSlotKey = -1;
using SlotDestructor = void (*)(intptr_t value);

// A new slot's key, or noSlotKey when memory fails. The destructor may be null.
SlotKey slotAlloc(SlotDestructor destructor) noexcept;
// Sets the calling thread's value. 1, or 0 when the key isn't in the table or memory fails.
int slotSetValue(SlotKey key, intptr_t value) noexcept;
// The calling thread's value, 0 for none. Any key may be passed.
intptr_t slotGetValue(SlotKey key) noexcept;
// Frees a slot after calling its destructor for each value. 1, or 0 for a key that isn't in the table.
int slotFree(SlotKey key) noexcept;
// Calls the destructors of all threads' values and frees all slots; or those of the calling thread alone, and the slots
// that are empty then.
void slotDetachAll(bool allThreads) noexcept;

} // namespace kbann
