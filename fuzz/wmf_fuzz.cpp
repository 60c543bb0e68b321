// Classic metafiles that nobody vouches for, with and without a box, on a small page and through a mapping.
#include "platform/gdi.h"

#include <cstdint>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 24) return 0;
    // The size field is put right, so that what is mutated are the records.
    std::vector<uint8_t> bytes(data, data + size / 2 * 2);
    const auto words = static_cast<uint32_t>(bytes.size() / 2);
    std::memcpy(&bytes[6], &words, sizeof words);
    const HMETAFILE metafile = SetMetaFileBitsEx(static_cast<UINT>(bytes.size()), bytes.data());
    if (!metafile) return 0;
    constexpr int side = 64;
    std::vector<uint32_t> pixels(side * side, 0xFFFFFF);
    const HDC dc = KbCreateSurfaceDC(pixels.data(), side, side, side * 4, 32, nullptr, 0);
    const RECT box{0, 0, 1000, 1000}, target{0, 0, side, side}, turned{side, side, 0, 0};
    IntersectClipRect(dc, 4, 4, side - 4, side - 4);
    KbPlayMetaFile(dc, metafile, &box, &target);
    KbPlayMetaFile(dc, metafile, nullptr, &turned);
    SetMapMode(dc, MM_LOMETRIC);
    PlayMetaFile(dc, metafile);
    for (int i = 0; i < side; ++i)
        if (pixels[static_cast<size_t>(i)] != 0xFFFFFF) __builtin_trap(); // the caller's clip has been left
    if (SaveDC(dc) != 1) __builtin_trap();
    DeleteDC(dc);
    DeleteMetaFile(metafile);
    return 0;
}
