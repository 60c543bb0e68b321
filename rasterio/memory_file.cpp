// Runs a piece of work on a block of memory under the file name "DUMMY"; such pieces may nest.
#include "contracts/raster_io.h"

extern "C" {

int K_BeginMemoryFile(KernelMemoryFile* pContext, const void* pData, size_t size) {
    if (!pContext || !pData) return ERROR_INV_PARAMETER;
    K_GetMemoryFile(&pContext->pOldData, &pContext->uOldSize);
    K_SetMemoryFile(pData, size);
    return SUCCESS;
}

int K_EndMemoryFile(KernelMemoryFile* pContext, int, int, int result) {
    if (!pContext) return ERROR_INV_PARAMETER;
    K_SetMemoryFile(pContext->pOldData, pContext->uOldSize);
    return result;
}

} // extern "C"
