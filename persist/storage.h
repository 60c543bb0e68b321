// Saving and loading over files, open files, memory blocks and the tag of an image: what the exported functions do once
// they are in, and the four operations on stored data that the component layer calls.
#pragma once

#include "contracts/raster_io.h"
#include "kbann/types.h"
#include "persist/native_form.h"
#include "persist/stream.h"
#include "persist/wang_form.h"

#include <cstdint>

namespace kbann {

struct SaveRequest {
    HANNOBJECT hObject;
    uint32_t uFormat; // ANN_FMT_*
    WriteFilter filter;
    const KernelSaveOptions* pOptions; // null: a new whole
};

// Arguments and results of these are those of the exported functions (kbann/storage.h).
int annSaveFile(const char* pszFile, const SaveRequest& request);
int annSaveOffset(int file, int32_t nOffset, uint32_t* puBytesWritten, const SaveRequest& request);
int annSaveMemory(HGLOBAL* phMem, uint32_t* puSize, const SaveRequest& request);
int annSaveTag(const SaveRequest& request);
int annLoadFile(const char* pszFile, HANNOBJECT* phObject, const KernelLoadOptions* pOptions);
int annLoadOffset(int file, int32_t nOffset, uint32_t uLength, HANNOBJECT* phObject, const KernelLoadOptions* pOptions);
int annLoadMemory(const void* pData, uint32_t uSize, HANNOBJECT* phObject, const KernelLoadOptions* pOptions);

// Writes a tree in one of the two paged forms, by the flags and the page of the options.
int annSaveToStream(AnnStream& stream, const AnnObject& object, uint32_t uFormat, const WriteFilter& filter,
                    const KernelSaveOptions* pOptions);
// Reads a page (null options: 1). *phObject receives the tree on success and is left alone else; null when there are marks of
// other tools and none of them can be shown. image: what marks lie on.
int annLoadFromStream(AnnStream& stream, HANNOBJECT* phObject, const KernelLoadOptions* pOptions,
                      const WangImage& image = {});
// Takes a page out. ERROR_DELETE_LAST_PAGE when there is no other.
int annDeletePage(AnnStream& stream, int32_t nPage);

// Version, form and pages of the data at info.nOffset of a file, or of a block. ERROR_INV_PARAMETER for a null argument, a
// wrong uStructSize or a negative nOffset; ERROR_FILE_OPEN, ERROR_FILE_READ.
int annFileInfoFile(const char* pszFile, AnnFileInfoRecord* pInfo);
int annFileInfoMemory(const void* pData, uint32_t uSize, AnnFileInfoRecord* pInfo);
int annDeletePageFile(const char* pszFile, int32_t nPage);
// The block is cut to the data; puSize, which may be null, receives its new size. A failure frees the block.
int annDeletePageMemory(HGLOBAL hMem, uint32_t* puSize, int32_t nPage);

} // namespace kbann
