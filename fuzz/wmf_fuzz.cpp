// Classic metafiles that nobody vouches for, with and without a box, mirrored, and through the context's own mapping.
#include "fuzz/metafile_places.h"

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 24) return 0;
    // The size field is put right, so that what is mutated are the records.
    std::vector<uint8_t> bytes(data, data + size / 2 * 2);
    const auto words = static_cast<uint32_t>(bytes.size() / 2);
    std::memcpy(&bytes[6], &words, sizeof words);
    const HMETAFILE metafile = SetMetaFileBitsEx(static_cast<UINT>(bytes.size()), bytes.data());
    if (!metafile) return 0;
    fuzz::playEverywhere(bytes, [metafile](HDC dc) {
        constexpr int side = fuzz::placeSide;
        const RECT box{0, 0, 1000, 1000}, target{0, 0, side, side}, turned{side, side, 0, 0};
        KbPlayMetaFile(dc, metafile, &box, &target);
        KbPlayMetaFile(dc, metafile, nullptr, &turned);
        PlayMetaFile(dc, metafile);
    });
    DeleteMetaFile(metafile);
    return 0;
}
