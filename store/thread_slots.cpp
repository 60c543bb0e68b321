// The slot table behind thread_slots.h. Keys are looked up by walking the list, so that a wild key is never touched.
#include "store/thread_slots.h"
#include "contracts/raster_kernel.h"
#include "platform/sys.h"
#include "store/spin_lock.h"

#include <mutex>

namespace kbann {
namespace {

struct ThreadEntry {
    ThreadEntry *previous, *next;
    intptr_t value;
    DWORD threadId;
    HANDLE thread;
};

struct ThreadSlot {
    ThreadSlot *previous, *next;
    ThreadEntry* entries;
    SlotDestructor destructor;
};

SpinLock lockThreadTable;
ThreadSlot* firstSlot = nullptr;

template <class Node> void linkFirst(Node*& head, Node* node) {
    node->previous = nullptr;
    node->next = head;
    if (head) head->previous = node;
    head = node;
}

template <class Node> void unlink(Node*& head, Node* node) {
    (node->previous ? node->previous->next : head) = node->next;
    if (node->next) node->next->previous = node->previous;
}

ThreadSlot* findSlot(SlotKey key) {
    ThreadSlot* slot = firstSlot;
    while (slot && reinterpret_cast<SlotKey>(slot) != key) slot = slot->next;
    return slot;
}

ThreadEntry* findEntry(const ThreadSlot& slot) {
    const DWORD id = GetCurrentThreadId();
    ThreadEntry* entry = slot.entries;
    while (entry && entry->threadId != id) entry = entry->next;
    return entry;
}

void freeEntry(ThreadSlot& slot, ThreadEntry* entry) {
    unlink(slot.entries, entry);
    if (slot.destructor) slot.destructor(entry->value);
    K_FreeHeap(entry);
}

void freeSlot(ThreadSlot* slot) {
    unlink(firstSlot, slot);
    while (slot->entries) freeEntry(*slot, slot->entries);
    K_FreeHeap(slot);
}

} // namespace

SlotKey slotAlloc(SlotDestructor destructor) noexcept {
    auto* slot = static_cast<ThreadSlot*>(K_AllocHeapZero(1, sizeof(ThreadSlot)));
    if (!slot) return noSlotKey;
    slot->destructor = destructor;
    const std::lock_guard lock(lockThreadTable);
    linkFirst(firstSlot, slot);
    return reinterpret_cast<SlotKey>(slot);
}

int slotSetValue(SlotKey key, intptr_t value) noexcept {
    const std::lock_guard lock(lockThreadTable);
    ThreadSlot* slot = findSlot(key);
    if (!slot) return 0;
    ThreadEntry* entry = findEntry(*slot);
    if (!entry) {
        entry = static_cast<ThreadEntry*>(K_AllocHeapZero(1, sizeof(ThreadEntry)));
        if (!entry) return 0;
        entry->threadId = GetCurrentThreadId();
        entry->thread = GetCurrentThread();
        linkFirst(slot->entries, entry);
    }
    entry->value = value;
    return 1;
}

intptr_t slotGetValue(SlotKey key) noexcept {
    const std::lock_guard lock(lockThreadTable);
    const ThreadSlot* slot = findSlot(key);
    const ThreadEntry* entry = slot ? findEntry(*slot) : nullptr;
    return entry ? entry->value : 0;
}

int slotFree(SlotKey key) noexcept {
    const std::lock_guard lock(lockThreadTable);
    ThreadSlot* slot = findSlot(key);
    if (slot) freeSlot(slot);
    return slot != nullptr;
}

void slotDetachAll(bool allThreads) noexcept {
    const std::lock_guard lock(lockThreadTable);
    for (ThreadSlot *slot = firstSlot, *next; slot; slot = next) {
        next = slot->next;
        if (!allThreads) {
            ThreadEntry* entry = findEntry(*slot);
            if (!entry) continue;
            freeEntry(*slot, entry);
            if (slot->entries) continue;
        }
        freeSlot(slot);
    }
}

} // namespace kbann
