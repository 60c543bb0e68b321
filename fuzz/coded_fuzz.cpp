// Fuzz target of the coded form: any bytes are loaded from memory, page after page; what loads goes round through the coded
// and the text form. Then a page is put into a copy, where the last byte tells. (Pages of broken data may overlap, so nothing is asked of
// the others afterwards.)
#include "fuzz/stored_round.h"

#include <array>
#include <string_view>

namespace {

constexpr int32_t pagesLookedAt = 4;

void loadPages(const void* data, uint32_t size, bool goRound) {
    for (int32_t page = 1; page <= pagesLookedAt; ++page) {
        KernelLoadOptions options{};
        options.uStructSize = sizeof options;
        options.nPageNumber = page;
        const HANNOBJECT loaded = stored_round::load(static_cast<const uint8_t*>(data), size, &options);
        if (!loaded) continue;
        if (goRound) {
            stored_round::check(loaded, ANN_FMT_ENCODED);
            stored_round::check(loaded, ANN_FMT_NATIVE);
        }
        K_AnnDestroy(loaded, 0);
    }
}

void operate(const uint8_t* data, size_t size) {
    constexpr auto pageNumbers = std::to_array<int32_t>({1, 2, 3, -1});
    HGLOBAL hMem = GlobalAlloc(GMEM_MOVEABLE, size);
    stored_round::require(hMem);
    std::memcpy(GlobalLock(hMem), data, size);
    GlobalUnlock(hMem);
    HANNOBJECT page = nullptr;
    stored_round::require(K_AnnCreate(ANN_OBJECT_CONTAINER, &page) == SUCCESS);
    const uint8_t choice = data[size - 1];
    KernelSaveOptions options{};
    options.uStructSize = sizeof options;
    options.uFlags = choice & 4 ? SAVE_INSERTPAGE : SAVE_REPLACEPAGE;
    options.nPageNumber = pageNumbers[choice & 3];
    uint32_t written = 0;
    // A failed save takes the block along.
    if (K_AnnSaveMemory(page, ANN_FMT_ENCODED, 0, &hMem, &written, &options) == SUCCESS) {
        loadPages(GlobalLock(hMem), written, false);
        GlobalFree(hMem);
    }
    K_AnnDestroy(page, 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr std::string_view header = "KBANNBEGINCODED";
    if (size < header.size() || std::memcmp(data, header.data(), header.size()) != 0) return 0;
    loadPages(data, static_cast<uint32_t>(size), true);
    operate(data, size);
    return 0;
}
