// TIFF pages, tags, and the directory editor, which works on a file: what it leaves behind must still be read.
#include "fuzz/image_fuzz.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// One file a process, rewritten for each input.
const std::string& scratchPath() {
    static const std::string path = [] {
        char name[] = "/tmp/kbann_tiff_fuzz_XXXXXX";
        const int file = mkstemp(name);
        if (file >= 0) close(file);
        std::atexit([] { unlink(scratchPath().c_str()); });
        return std::string(name);
    }();
    return path;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1 << 16) return 0;
    fuzz::loadPages(data, size, KB_FORMAT_TIFF);
    if (K_RecognizeFormat(data, size) != KB_FORMAT_TIFF) return 0;
    std::FILE* file = std::fopen(scratchPath().c_str(), "wb");
    if (!file) return 0;
    std::fwrite(data, 1, size, file);
    std::fclose(file);
    const char* path = scratchPath().c_str();
    for (const uint16_t tag : {uint16_t{256}, uint16_t{273}, uint16_t{0x80A4}}) {
        const int bytes = K_GetFileTag(path, tag, nullptr, nullptr, nullptr, nullptr);
        if (bytes <= 0) continue;
        std::vector<uint8_t> value(static_cast<size_t>(bytes));
        if (K_GetFileTag(path, tag, nullptr, nullptr, value.data(), nullptr) != bytes) __builtin_trap();
    }
    static constexpr uint8_t mark[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    if (K_RewriteFileTag(path, 1, 0x80A4, 1, sizeof mark, mark) == SUCCESS) {
        uint8_t back[sizeof mark] = {};
        if (K_GetFileTag(path, 0x80A4, nullptr, nullptr, nullptr, nullptr) != sizeof mark) __builtin_trap();
        K_GetFileTag(path, 0x80A4, nullptr, nullptr, back, nullptr);
        if (back[8] != 9) __builtin_trap();
        K_RewriteFileTag(path, 1, 0x80A4, 1, 0, nullptr);
    }
    KernelBitmap page{};
    if (K_CreateBitmap(&page, 1, 3, 2, 24, KB_ORDER_BGR, nullptr, 1, 0, 0) != SUCCESS) return 0;
    KernelSaveOptions options;
    K_DefaultSaveOptions(&options, sizeof options);
    options.uFlags = size & 1 ? SAVE_INSERTPAGE : SAVE_REPLACEPAGE;
    options.nPageNumber = 1;
    options.nCompression = KB_COMPRESS_NONE;
    K_SaveFile(path, &page, KB_FORMAT_TIFF, &options);
    K_FreeBitmap(&page);
    return 0;
}
