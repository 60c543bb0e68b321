// Holders of metafiles: ten plain words of the caller with one handle of the graphics layer, which the holder owns. Copies
// have a handle of their own on the same bits.
#include "contracts/raster_kernel.h"

#include "kernel/metafile_shape.h"
#include "platform/handle_table.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

using namespace kb;

namespace {

using Bytes = std::vector<uint8_t>;

HMETAFILE classicHandle(const KernelMetafile& m) { return toHandle<HMETAFILE>(m.nHandle); }
HENHMETAFILE enhancedHandle(const KernelMetafile& m) { return toHandle<HENHMETAFILE>(m.nHandle); }

uint32_t bitsSize(const KernelMetafile& m) {
    return m.bEnhanced ? GetEnhMetaFileBits(enhancedHandle(m), 0, nullptr) : GetMetaFileBitsEx(classicHandle(m), 0, nullptr);
}

// The bits, or nothing for a dead handle.
Bytes bitsOf(const KernelMetafile& m) {
    Bytes bytes(bitsSize(m));
    const auto size = static_cast<UINT>(bytes.size());
    const UINT copied = !size         ? 0
                        : m.bEnhanced ? GetEnhMetaFileBits(enhancedHandle(m), size, bytes.data())
                                      : GetMetaFileBitsEx(classicHandle(m), size, bytes.data());
    bytes.resize(copied);
    return bytes;
}

} // namespace

extern "C" {

int K_CopyMetafile(KernelMetafile* dst, const KernelMetafile* src) {
    if (!dst || !src || dst == src) return ERROR_INV_PARAMETER;
    if (!src->nHandle) {
        *dst = {};
        return SUCCESS;
    }
    if (!bitsSize(*src)) return ERROR_INV_PARAMETER;
    const uint32_t handle = src->bEnhanced ? handleValue(CopyEnhMetaFileA(enhancedHandle(*src), nullptr))
                                           : handleValue(CopyMetaFileA(classicHandle(*src), nullptr));
    if (!handle) return ERROR_NO_MEMORY;
    *dst = *src;
    dst->nHandle = handle;
    return SUCCESS;
}

void K_FreeMetafile(KernelMetafile* m) {
    if (!m) return;
    if (m->nHandle && m->bEnhanced)
        DeleteEnhMetaFile(enhancedHandle(*m));
    else if (m->nHandle)
        DeleteMetaFile(classicHandle(*m));
    *m = {};
}

int K_WrapMetafile(HANDLE handle, KernelMetafile* m) {
    if (!m || !handle) return ERROR_INV_PARAMETER;
    KernelMetafile made{};
    made.nHandle = handleValue(handle);
    if (!bitsSize(made)) {
        made.bEnhanced = 1;
        if (!bitsSize(made)) return ERROR_INV_PARAMETER;
    }
    try {
        const int code = measureMetafile(made.bEnhanced ? bitsOf(made) : Bytes{}, &made);
        if (code != SUCCESS) return code;
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
    *m = made;
    return SUCCESS;
}

int K_MetafileToMemory(const KernelMetafile* m, void* pOut, uint32_t size) {
    if (!m) return ERROR_INV_PARAMETER;
    if (!m->nHandle) return 0;
    const uint32_t needed = bitsSize(*m);
    if (!needed) return ERROR_INV_PARAMETER;
    if (!pOut) return static_cast<int>(needed);
    if (size >= needed) {
        return static_cast<int>(m->bEnhanced ? GetEnhMetaFileBits(enhancedHandle(*m), size, static_cast<BYTE*>(pOut))
                                             : GetMetaFileBitsEx(classicHandle(*m), size, pOut));
    }
    try {
        const Bytes bits = bitsOf(*m);
        std::memcpy(pOut, bits.data(), size);
        return static_cast<int>(size);
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
}

} // extern "C"
