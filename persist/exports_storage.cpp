// Exported functions of saving and loading.
#include "kbann/storage.h"
#include "persist/storage.h"
#include "store/library.h"

using namespace kbann;

namespace {

SaveRequest requestOf(HANNOBJECT hObject, uint32_t uFormat, BOOL bSelected, const KernelSaveOptions* pOptions) {
    return {hObject, uFormat, {.bSelected = bSelected != 0}, pOptions};
}

} // namespace

extern "C" {

int K_AnnSave(const char* pszFile, HANNOBJECT hObject, uint32_t uFormat, BOOL bSelected, const KernelSaveOptions* pOptions) {
    return exported([&] { return annSaveFile(pszFile, requestOf(hObject, uFormat, bSelected, pOptions)); });
}

int K_AnnSaveOffset(int hFile, int32_t nOffset, uint32_t* puBytesWritten, HANNOBJECT hObject, uint32_t uFormat,
                    BOOL bSelected, const KernelSaveOptions* pOptions) {
    return exported(
        [&] { return annSaveOffset(hFile, nOffset, puBytesWritten, requestOf(hObject, uFormat, bSelected, pOptions)); });
}

int K_AnnSaveMemory(HANNOBJECT hObject, uint32_t uFormat, BOOL bSelected, HGLOBAL* phMem, uint32_t* puSize,
                    const KernelSaveOptions* pOptions) {
    return exported([&] { return annSaveMemory(phMem, puSize, requestOf(hObject, uFormat, bSelected, pOptions)); });
}

int K_AnnSaveTag(HANNOBJECT hObject, uint32_t uFormat, BOOL bSelected) {
    return exported([&] { return annSaveTag(requestOf(hObject, uFormat, bSelected, nullptr)); });
}

int K_AnnLoad(const char* pszFile, HANNOBJECT* phObject, const KernelLoadOptions* pOptions) {
    return exported([&] { return annLoadFile(pszFile, phObject, pOptions); });
}

int K_AnnLoadOffset(int hFile, int32_t nOffset, uint32_t uLength, HANNOBJECT* phObject, const KernelLoadOptions* pOptions) {
    return exported([&] { return annLoadOffset(hFile, nOffset, uLength, phObject, pOptions); });
}

int K_AnnLoadMemory(const void* pData, uint32_t uSize, HANNOBJECT* phObject, const KernelLoadOptions* pOptions) {
    return exported([&] { return annLoadMemory(pData, uSize, phObject, pOptions); });
}

} // extern "C"
