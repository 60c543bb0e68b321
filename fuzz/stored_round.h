// What the fuzz targets of the stored forms ask of any bytes: they load or they don't, and what loads is saved, loaded again
// and saved once more, and must give the same bytes then.
#pragma once

#include "kbann/kbann.h"
#include "platform/sys.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace stored_round {

inline void require(bool holds) {
    if (!holds) std::abort();
}

struct Saved {
    HGLOBAL hMem = nullptr;
    uint32_t size = 0;
    Saved(HANNOBJECT hObject, uint32_t uFormat) {
        if (K_AnnSaveMemory(hObject, uFormat, 0, &hMem, &size, nullptr) != SUCCESS) hMem = nullptr;
        require(hMem);
    }
    ~Saved() { GlobalFree(hMem); }
    Saved(const Saved&) = delete;
    Saved& operator=(const Saved&) = delete;
    const void* bytes() const { return GlobalLock(hMem); }
    HANNOBJECT load() const {
        HANNOBJECT loaded = nullptr;
        require(K_AnnLoadMemory(bytes(), size, &loaded, nullptr) == SUCCESS);
        return loaded;
    }
    bool sameAs(const Saved& other) const { return size == other.size && std::memcmp(bytes(), other.bytes(), size) == 0; }
};

// Through a form, and from there on through it once more.
inline void check(HANNOBJECT loaded, uint32_t uFormat) {
    const Saved first(loaded, uFormat);
    const HANNOBJECT again = first.load();
    const Saved second(again, uFormat);
    const HANNOBJECT third = second.load();
    require(Saved(third, uFormat).sameAs(second));
    for (const HANNOBJECT tree : {again, third}) K_AnnDestroy(tree, 0);
}

// Whether all objects lie within so many units of the origin.
inline bool liesWithin(HANNOBJECT tree, double limit) {
    const auto isNear = [](HANNOBJECT hObject, void* user) -> int {
        const double most = *static_cast<const double*>(user);
        AnnRect r{};
        K_AnnGetRect(hObject, &r, nullptr);
        for (const double side : {r.left, r.top, r.right, r.bottom})
            if (!(side > -most && side < most)) return ERROR_FAILURE;
        return SUCCESS;
    };
    return K_AnnEnumerate(tree, isNear, &limit, ANN_FLAG_RECURSE, nullptr) == SUCCESS;
}

constexpr double marksReach = 1e9; // they count in whole numbers of 32 bits, and cut off what lies further

// The same for a tree out of marks, which in their pure form may have nothing to hold.
inline void checkMarks(HANNOBJECT loaded) {
    if (liesWithin(loaded, marksReach)) check(loaded, ANN_FMT_TIFFTAG);
    HGLOBAL hMem = nullptr;
    uint32_t size = 0;
    require(K_AnnSaveMemory(loaded, ANN_FMT_WANGTAG, 0, &hMem, &size, nullptr) == SUCCESS);
    if (!hMem) return;
    HANNOBJECT pure = nullptr;
    require(K_AnnLoadMemory(GlobalLock(hMem), size, &pure, nullptr) == SUCCESS && pure);
    K_AnnDestroy(pure, 0);
    GlobalFree(hMem);
}

// Null when the bytes don't load. Image files and marks have targets of their own, and marks that show nothing give no tree.
inline HANNOBJECT load(const uint8_t* data, size_t size, const KernelLoadOptions* options = nullptr) {
    if (size >= 2 && data[0] == data[1] && (data[0] == 'I' || data[0] == 'M')) return nullptr;
    if (size >= 8 && data[4] <= 1 && !data[5] && !data[6] && !data[7]) return nullptr;
    HANNOBJECT loaded = nullptr;
    const int code = K_AnnLoadMemory(data, static_cast<uint32_t>(size), &loaded, options);
    require((code == SUCCESS) == (loaded != nullptr));
    return loaded;
}

} // namespace stored_round
