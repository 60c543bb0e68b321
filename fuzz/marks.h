// What the targets that read marks share: whatever has been read is written in both strengths, and read again.
#pragma once

#include "kbann/kbann.h"
#include "platform/sys.h"

#include <cstdlib>
#include <cstring>

namespace fuzz {

inline void require(bool holds) {
    if (!holds) std::abort();
}

struct Saved {
    HGLOBAL hMem = nullptr;
    uint32_t size = 0;
    Saved(HANNOBJECT hObject, uint32_t uFormat) {
        require(K_AnnSaveMemory(hObject, uFormat, 0, &hMem, &size, nullptr) == SUCCESS);
    }
    ~Saved() {
        if (hMem) GlobalFree(hMem);
    }
    Saved(const Saved&) = delete;
    Saved& operator=(const Saved&) = delete;
    const void* bytes() const { return hMem ? GlobalLock(hMem) : nullptr; }
    HANNOBJECT load() const {
        HANNOBJECT loaded = nullptr;
        require(!hMem || K_AnnLoadMemory(bytes(), size, &loaded, nullptr) == SUCCESS);
        return loaded;
    }
};

// Takes over a tree that was read. What is left of it after one round stays in all further ones.
inline void roundTrips(HANNOBJECT loaded) {
    const HANNOBJECT second = Saved(loaded, ANN_FMT_TIFFTAG).load();
    require(second != nullptr);
    const Saved marks(second, ANN_FMT_TIFFTAG);
    const HANNOBJECT third = marks.load();
    require(third != nullptr);
    const Saved again(third, ANN_FMT_TIFFTAG);
    require(again.size == marks.size && std::memcmp(again.bytes(), marks.bytes(), marks.size) == 0);
    const HANNOBJECT pure = Saved(loaded, ANN_FMT_WANGTAG).load();
    for (const HANNOBJECT tree : {loaded, second, third, pure})
        if (tree) K_AnnDestroy(tree, 0);
}

} // namespace fuzz
