// Enhanced metafiles that nobody vouches for, on a small page, mirrored too.
#include "platform/gdi.h"

#include <cstdint>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 88) return 0;
    // The size field is put right, so that what is mutated are the records.
    std::vector<uint8_t> bytes(data, data + size / 4 * 4);
    const auto whole = static_cast<uint32_t>(bytes.size());
    std::memcpy(&bytes[48], &whole, sizeof whole);
    const HENHMETAFILE metafile = SetEnhMetaFileBits(static_cast<UINT>(bytes.size()), bytes.data());
    if (!metafile) return 0;
    constexpr int side = 64;
    std::vector<uint32_t> pixels(side * side, 0xFFFFFF);
    const HDC dc = KbCreateSurfaceDC(pixels.data(), side, side, side * 4, 32, nullptr, 0);
    const RECT target{0, 0, side, side}, turned{side, side, 0, 0};
    IntersectClipRect(dc, 4, 4, side - 4, side - 4);
    PlayEnhMetaFile(dc, metafile, &target);
    PlayEnhMetaFile(dc, metafile, &turned);
    for (int i = 0; i < side; ++i)
        if (pixels[static_cast<size_t>(i)] != 0xFFFFFF) __builtin_trap(); // the caller's clip has been left
    if (SaveDC(dc) != 1) __builtin_trap();
    DeleteDC(dc);
    DeleteEnhMetaFile(metafile);
    return 0;
}
