// Fuzz target of the text form: any bytes are loaded from memory; what loads is saved, loaded again and saved once more,
// and must give the same bytes then.
#include "kbann/kbann.h"
#include "platform/sys.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace {

struct Saved {
    HGLOBAL hMem = nullptr;
    uint32_t size = 0;
    explicit Saved(HANNOBJECT hObject) {
        if (K_AnnSaveMemory(hObject, ANN_FMT_NATIVE, 0, &hMem, &size, nullptr) != SUCCESS) hMem = nullptr;
    }
    ~Saved() {
        if (hMem) GlobalFree(hMem);
    }
    Saved(const Saved&) = delete;
    Saved& operator=(const Saved&) = delete;
    const void* bytes() const { return hMem ? GlobalLock(hMem) : nullptr; }
};

void require(bool holds) {
    if (!holds) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // An image file goes to the readers of images, which have targets of their own.
    if (size >= 2 && data[0] == data[1] && (data[0] == 'I' || data[0] == 'M')) return 0;
    HANNOBJECT loaded = nullptr;
    const int code = K_AnnLoadMemory(data, static_cast<uint32_t>(size), &loaded, nullptr);
    require((code == SUCCESS) == (loaded != nullptr));
    if (!loaded) return 0;

    const Saved first(loaded);
    require(first.hMem);
    HANNOBJECT again = nullptr;
    require(K_AnnLoadMemory(first.bytes(), first.size, &again, nullptr) == SUCCESS);
    const Saved second(again);
    HANNOBJECT third = nullptr;
    require(K_AnnLoadMemory(second.bytes(), second.size, &third, nullptr) == SUCCESS);
    const Saved last(third);
    require(last.size == second.size && std::memcmp(last.bytes(), second.bytes(), last.size) == 0);
    for (const HANNOBJECT tree : {loaded, again, third}) K_AnnDestroy(tree, 0);
    return 0;
}
