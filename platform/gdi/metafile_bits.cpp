// Metafile handles: blocks of bytes whose outer shape has been checked, so that a player may walk the records without
// looking over its shoulder at every step: every record up to the end record lies within the size that the header tells.
// Blocks are counted by their handles: copies share one.
#include "platform/gdi/gdi_state.h"
#include "platform/gdi/little_endian.h"

#include <cstring>

using namespace kb;
using namespace kb::gdi;

namespace {

// Bytes of a classic metafile that can be walked; 0 for what isn't one.
size_t classicSize(const uint8_t* p, size_t size) {
    constexpr size_t header = 18;
    if (size < header + 6) return 0;
    const uint32_t type = wordAt(p), headerWords = wordAt(p + 2);
    if ((type != 1 && type != 2) || headerWords != header / 2) return 0;
    const uint64_t claimed = static_cast<uint64_t>(dwordAt(p + 6)) * 2;
    if (claimed < header + 6 || claimed > size) return 0;
    size_t at = header;
    while (claimed - at >= 6) {
        const uint64_t record = static_cast<uint64_t>(dwordAt(p + at)) * 2;
        const uint32_t function = wordAt(p + at + 4);
        if (record < 6 || record > claimed - at) return 0;
        at += record;
        if (function == 0) return claimed; // the end record
    }
    return at == claimed ? claimed : 0;
}

size_t enhancedSize(const uint8_t* p, size_t size) {
    constexpr size_t header = 88;
    if (size < header || dwordAt(p) != 1 || dwordAt(p + 40) != 0x464D4520) return 0;
    const uint32_t first = dwordAt(p + 4), claimed = dwordAt(p + 48);
    if (first < header || first % 4 || claimed < first || claimed > size) return 0;
    size_t at = first;
    while (claimed - at >= 8) {
        const uint32_t type = dwordAt(p + at), record = dwordAt(p + at + 4);
        if (record < 8 || record % 4 || record > claimed - at) return 0;
        at += record;
        if (type == 14) return claimed; // the end record
    }
    return at == claimed ? claimed : 0;
}

template <class Handle> Handle makeMetafile(const uint8_t* data, size_t size, bool enhanced) {
    const size_t used = !data ? 0 : enhanced ? enhancedSize(data, size) : classicSize(data, size);
    if (!used) {
        SetLastError(ERROR_BAD_HANDLE);
        return nullptr;
    }
    return guarded<Handle>(nullptr, [&] {
        auto metafile = Ref<Metafile>::adopt(Pool<Metafile>::make());
        metafile->bytes.assign(data, data + used);
        metafile->enhanced = enhanced;
        return publish<Handle>(gdiState().metafiles, std::move(metafile));
    });
}

template <class Handle> Metafile* findMetafile(Handle hMetafile, bool enhanced) {
    Metafile* metafile = gdiState().metafiles.find(handleValue(hMetafile));
    if (metafile && metafile->enhanced == enhanced) return metafile;
    SetLastError(ERROR_BAD_HANDLE);
    return nullptr;
}

template <class Handle> UINT getBits(Handle hMetafile, bool enhanced, UINT size, void* out) {
    const Metafile* metafile = findMetafile(hMetafile, enhanced);
    if (!metafile) return 0;
    const auto bytes = static_cast<UINT>(metafile->bytes.size());
    if (!out) return bytes;
    if (size < bytes) return 0;
    std::memcpy(out, metafile->bytes.data(), bytes);
    return bytes;
}

template <class Handle> BOOL freeMetafile(Handle hMetafile, bool enhanced) {
    if (!findMetafile(hMetafile, enhanced)) return FALSE;
    Ref<Metafile>::drop(gdiState().metafiles.remove(handleValue(hMetafile)));
    return TRUE;
}

// The bytes never change, so a copy is another handle on the same block. `handle` stays that of the first: publish would
// write it, and copies may be made by several threads.
template <class Handle> Handle copyMetafile(Handle hMetafile, bool enhanced, const char* file) {
    Metafile* metafile = file ? nullptr : findMetafile(hMetafile, enhanced);
    if (!metafile) return nullptr;
    Ref<Metafile> shared(metafile);
    const uint32_t handle = gdiState().metafiles.add(metafile);
    if (!handle) {
        SetLastError(ERROR_OUT_OF_MEMORY);
        return nullptr;
    }
    shared.detach(); // the handle owns it
    return toHandle<Handle>(handle);
}

} // namespace

KB_API HMETAFILE SetMetaFileBitsEx(UINT size, const BYTE* pData) { return makeMetafile<HMETAFILE>(pData, size, false); }
KB_API UINT GetMetaFileBitsEx(HMETAFILE hMetafile, UINT size, void* pOut) { return getBits(hMetafile, false, size, pOut); }
KB_API BOOL DeleteMetaFile(HMETAFILE hMetafile) { return freeMetafile(hMetafile, false); }
KB_API HMETAFILE CopyMetaFileA(HMETAFILE hMetafile, const char* pszFile) { return copyMetafile(hMetafile, false, pszFile); }
KB_API HENHMETAFILE SetEnhMetaFileBits(UINT size, const BYTE* pData) {
    return makeMetafile<HENHMETAFILE>(pData, size, true);
}
KB_API UINT GetEnhMetaFileBits(HENHMETAFILE hMetafile, UINT size, BYTE* pOut) {
    return getBits(hMetafile, true, size, pOut);
}
KB_API BOOL DeleteEnhMetaFile(HENHMETAFILE hMetafile) { return freeMetafile(hMetafile, true); }
KB_API HENHMETAFILE CopyEnhMetaFileA(HENHMETAFILE hMetafile, const char* pszFile) {
    return copyMetafile(hMetafile, true, pszFile);
}
