// Metafiles out of files and memory, and playing them. Real files often tell a wrong size in their header, have bytes behind
// their end or have lost some: what counts are the records. So a loaded metafile is a copy of the whole records that are
// there, ended properly, with a header that is true.
#include "kernel/metafile_shape.h"
#include "platform/handle_table.h"
#include "platform/sys.h"

#include <algorithm>
#include <new>
#include <vector>

using namespace kb;

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t placeableKey = 0x9AC6CDD7;
constexpr size_t placeableBytes = 22;
constexpr uint32_t enhancedSignature = 0x464D4520;

template <class T> void put(Bytes& bytes, size_t at, T value) { std::memcpy(bytes.data() + at, &value, sizeof value); }
template <class T> void append(Bytes& bytes, T value) {
    bytes.resize(bytes.size() + sizeof value);
    put(bytes, bytes.size() - sizeof value, value);
}

// Whole records of a metafile, with an end record; empty when there is none to begin with.
Bytes wholeClassic(MetafileBits data) {
    constexpr size_t header = 18, head = 6;
    if (data.size() < header + head) return {};
    const auto type = metafileNumber<uint16_t>(data, 0);
    if ((type != 1 && type != 2) || metafileNumber<uint16_t>(data, 2) != header / 2) return {};
    size_t at = header, largest = 3;
    bool ended = false;
    while (!ended && data.size() - at >= head) {
        const uint64_t bytes = uint64_t{metafileNumber<uint32_t>(data, at)} * 2;
        if (bytes < head || bytes > data.size() - at) break;
        ended = metafileNumber<uint16_t>(data, at + 4) == 0;
        largest = std::max(largest, static_cast<size_t>(bytes / 2));
        at += static_cast<size_t>(bytes);
    }
    if (at == header) return {};
    Bytes bytes(data.begin(), data.begin() + static_cast<ptrdiff_t>(at));
    if (!ended) {
        append<uint32_t>(bytes, 3);
        append<uint16_t>(bytes, 0);
    }
    put(bytes, 6, static_cast<uint32_t>(bytes.size() / 2));
    put(bytes, 12, static_cast<uint32_t>(largest));
    return bytes;
}

Bytes wholeEnhanced(MetafileBits data) {
    constexpr size_t header = 88, head = 8;
    constexpr uint32_t endRecord = 14, endBytes = 20;
    if (data.size() < header || metafileNumber<uint32_t>(data, 0) != 1 ||
        metafileNumber<uint32_t>(data, 40) != enhancedSignature)
        return {};
    size_t at = 0, records = 0;
    bool ended = false;
    while (!ended && data.size() - at >= head) {
        const auto bytes = metafileNumber<uint32_t>(data, at + 4);
        if (bytes < (at ? head : header) || bytes % 4 || bytes > data.size() - at) break;
        ended = metafileNumber<uint32_t>(data, at) == endRecord;
        at += bytes;
        ++records;
    }
    if (!at) return {};
    Bytes bytes(data.begin(), data.begin() + static_cast<ptrdiff_t>(at));
    if (!ended) {
        for (const uint32_t word : {endRecord, endBytes, 0u, 16u, endBytes}) append(bytes, word);
        ++records;
    }
    put(bytes, 48, static_cast<uint32_t>(bytes.size()));
    put(bytes, 52, static_cast<uint32_t>(records));
    return bytes;
}

bool isEnhanced(MetafileBits data) {
    return metafileNumber<uint32_t>(data, 0) == 1 && metafileNumber<uint32_t>(data, 40) == enhancedSignature;
}

int loadMetafile(MetafileBits data, KernelMetafile* m) {
    constexpr size_t limit = UINT32_MAX - 64; // handles count in 32 bits
    const bool placeable = metafileNumber<uint32_t>(data, 0) == placeableKey && data.size() >= placeableBytes;
    const MetafileBits bits = placeable ? data.subspan(placeableBytes) : data;
    const bool enhanced = isEnhanced(bits);
    const auto type = metafileNumber<uint16_t>(bits, 0);
    if (!enhanced && !placeable && ((type != 1 && type != 2) || metafileNumber<uint16_t>(bits, 2) != 9))
        return ERROR_FILE_FORMAT;
    if (bits.size() > limit) return ERROR_FEATURE_NOT_SUPPORTED;
    const Bytes whole = enhanced ? wholeEnhanced(bits) : wholeClassic(bits);
    if (whole.empty()) return ERROR_FILE_READ;
    const auto size = static_cast<UINT>(whole.size());
    SetLastError(0);
    const HANDLE handle = enhanced ? toHandle<HANDLE>(handleValue(SetEnhMetaFileBits(size, whole.data())))
                                   : toHandle<HANDLE>(handleValue(SetMetaFileBitsEx(size, whole.data())));
    if (!handle) return GetLastError() == ERROR_OUT_OF_MEMORY ? ERROR_NO_MEMORY : ERROR_FILE_READ;
    KernelMetafile made{};
    made.nHandle = handleValue(handle);
    made.bEnhanced = enhanced;
    const auto box = [data](size_t index) { return int32_t{metafileNumber<int16_t>(data, 6 + index * 2)}; };
    const int unitsPerInch = placeable ? metafileNumber<uint16_t>(data, 14) : 0;
    if (!enhanced && unitsPerInch && box(0) != box(2) && box(1) != box(3)) {
        made.nLeft = box(0);
        made.nTop = box(1);
        made.nRight = box(2);
        made.nBottom = box(3);
        made.nUnitsPerInch = unitsPerInch;
        sizeFromBox(&made, {made.nLeft, made.nTop, made.nRight, made.nBottom}, unitsPerInch);
    } else if (const int code = measureMetafile(whole, &made); code != SUCCESS) {
        K_FreeMetafile(&made);
        return code;
    }
    *m = made;
    return SUCCESS;
}

// Reads a file whose size may not be known before, as that of a pipe.
int readWhole(const char* path, Bytes* out) {
    constexpr int portion = 1 << 16;
    const int file = K_FileOpen(path, 0, 0, 0);
    if (file < 0) return ERROR_FILE_OPEN;
    int result = SUCCESS;
    try {
        for (int got = portion; got > 0;) {
            const size_t used = out->size();
            out->resize(used + portion);
            got = K_FileRead(file, out->data() + used, portion, 0);
            if (got < 0) result = ERROR_FILE_READ;
            out->resize(used + static_cast<size_t>(std::max(got, 0)));
        }
    } catch (const std::bad_alloc&) {
        result = ERROR_NO_MEMORY;
    }
    K_FileClose(file, 0);
    return result;
}

template <class Load> int guardedLoad(KernelMetafile* m, Load&& load) {
    if (!m) return ERROR_INV_PARAMETER;
    *m = {};
    try {
        return load();
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
}

} // namespace

extern "C" {

int K_LoadMetafileMemory(const void* pData, KernelMetafile* m, size_t size, int) {
    return guardedLoad(m, [&]() -> int {
        return pData ? loadMetafile({static_cast<const uint8_t*>(pData), size}, m) : ERROR_INV_PARAMETER;
    });
}

int K_LoadMetafileFile(const char* pszPath, KernelMetafile* m) {
    return guardedLoad(m, [&]() -> int {
        if (!pszPath) return ERROR_INV_PARAMETER;
        Bytes bytes;
        const int result = readWhole(pszPath, &bytes);
        return result == SUCCESS ? loadMetafile(bytes, m) : result;
    });
}

int K_PlayMetafile(HDC hDC, const KernelMetafile* m, const RECT* pRect) {
    if (!m || !m->nHandle || !pRect || !GetObjectType(hDC)) return ERROR_INV_PARAMETER;
    if (m->bEnhanced) return PlayEnhMetaFile(hDC, toHandle<HENHMETAFILE>(m->nHandle), pRect) ? SUCCESS : ERROR_FAILURE;
    const RECT box{m->nLeft, m->nTop, m->nRight, m->nBottom};
    const bool told = box.left != box.right && box.top != box.bottom;
    return KbPlayMetaFile(hDC, toHandle<HMETAFILE>(m->nHandle), told ? &box : nullptr, pRect) ? SUCCESS : ERROR_FAILURE;
}

} // extern "C"
