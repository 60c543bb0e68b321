// What the process services keep: the one object behind sys.h. It is never destroyed, since libraries that depend on it
// may still call in while the process ends.
#pragma once

#include "platform/handle_table.h"
#include "platform/sys.h"

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace kb {

struct MemoryBlock {
    size_t size = 0;     // as asked for
    size_t capacity = 0; // as allocated
    std::atomic<uint32_t> locks{0};
    uint32_t flags = 0;
    uint32_t handle = 0;
    void* bytes = nullptr; // behind a BlockPrefix
};

struct Module {
    std::string name;
    const KbResourceEntry* entries = nullptr;
    size_t count = 0;
};

struct SysState {
    HandleTable<MemoryBlock> blocks{HandleKind::memory};
    HandleTable<Module> modules{HandleKind::module};

    std::mutex mutex; // guards all below
    struct AtomEntry {
        std::string text;
        uint32_t uses = 0;
    };
    std::map<ATOM, AtomEntry> atoms;
    std::vector<uint32_t> moduleHandles;
    std::string hostLocale = "C";
    std::string locale = "C";
    std::atomic<KbDebugSink> debugSink{nullptr};
    std::atomic<void*> debugUser{nullptr};
    std::atomic<KbAllocationHook> allocationHook{nullptr};
    std::atomic<void*> allocationUser{nullptr};
};

SysState& sysState();

} // namespace kb
