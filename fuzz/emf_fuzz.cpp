// Enhanced metafiles that nobody vouches for, mirrored too.
#include "fuzz/metafile_places.h"

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 88) return 0;
    // The size field is put right, so that what is mutated are the records.
    std::vector<uint8_t> bytes(data, data + size / 4 * 4);
    const auto whole = static_cast<uint32_t>(bytes.size());
    std::memcpy(&bytes[48], &whole, sizeof whole);
    const HENHMETAFILE metafile = SetEnhMetaFileBits(static_cast<UINT>(bytes.size()), bytes.data());
    if (!metafile) return 0;
    fuzz::playEverywhere(bytes, [metafile](HDC dc) {
        constexpr int side = fuzz::placeSide;
        const RECT target{0, 0, side, side}, turned{side, side, 0, 0};
        PlayEnhMetaFile(dc, metafile, &target);
        PlayEnhMetaFile(dc, metafile, &turned);
    });
    DeleteEnhMetaFile(metafile);
    return 0;
}
