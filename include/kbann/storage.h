/* Saving and loading of trees: in a file, in an open file at an offset, in memory, and in tag 32932 of a TIFF.
 *
 * | form            | file | memory, tag | readable      |
 * |-----------------|------|-------------|---------------|
 * | ANN_FMT_NATIVE  | yes  | yes         | yes, paged    |
 * | ANN_FMT_ENCODED | yes  | yes         | yes, paged    |
 * | ANN_FMT_WMF     | yes  | yes         | no            |
 * | ANN_FMT_TIFFTAG | no   | yes         | yes, one page |
 * | ANN_FMT_WANGTAG | no   | yes         | yes, one page |
 *
 * Pages count from 1. Of the save options the flags and the page number count: flags 0 write the data as a new whole;
 * SAVE_REPLACEPAGE puts the tree in the place of a page (-1: behind the last), SAVE_INSERTPAGE before a page, -1 behind
 * the last. Any other flags are ERROR_INV_PARAMETER. Null options mean a new whole. Any object can be saved; one that
 * isn't a container is wrapped in the record of its own. bSelected: only selected objects; a selected container with all
 * that is in it.
 *
 * Errors of all saves: ERROR_INV_PARAMETER (bad handle, form or flags; the stream holds another form),
 * ERROR_PAGE_NOT_FOUND, ERROR_FILE_SEEK, ERROR_FILE_READ, ERROR_FILE_WRITE, ERROR_NO_MEMORY.
 * What is saved stays as it was in every case.
 * Errors of all loads: ERROR_INV_PARAMETER, ERROR_FILE_SEEK, ERROR_FILE_READ (short or broken data), ERROR_FILE_FORMAT,
 * ERROR_PAGE_NOT_FOUND, ERROR_NO_MEMORY. A failed load leaves *phObject as it was.
 * A loaded tree is a new root container without a window, the caller's. Null load options mean page 1; page 0 counts
 * as 1. */
#ifndef KBANN_STORAGE_H
#define KBANN_STORAGE_H

#include "contracts/raster_io.h"
#include "contracts/return_codes.h"
#include "kbann/constants.h"
#include "kbann/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Saves into a file, which is made when it isn't there and not emptied when it is. pszFile: its path. A save of a new
 * whole cuts the file behind the data. ERROR_FILE_OPEN: the file can't be made. A failed save leaves what was written so
 * far: save under another name and rename to be safe. */
KB_API int K_AnnSave(const char* pszFile, HANNOBJECT hObject, uint32_t uFormat, BOOL bSelected,
                     const KernelSaveOptions* pOptions);

/* Saves at nOffset (bytes, 0 or above) of a file that K_FileOpen has opened for reading and writing; it stays open.
 * ANN_FMT_NATIVE, ANN_FMT_WMF and ANN_FMT_ENCODED alone. puBytesWritten: receives the length written on success; may be
 * null. What lay behind a new whole is cut off. */
KB_API int K_AnnSaveOffset(int hFile, int32_t nOffset, uint32_t* puBytesWritten, HANNOBJECT hObject, uint32_t uFormat,
                           BOOL bSelected, const KernelSaveOptions* pOptions);

/* Saves into a memory block. *phMem: null for a new block, or the block that holds the data to be paged; on success it
 * receives the block (maybe another one), unlocked, cut to the data, the caller's to free with GlobalFree. puSize: receives
 * the length in bytes; may be null. With the two Wang forms a tree that gives no mark is SUCCESS with no block.
 * A failure frees the block: a handle passed in is dead then. Only a bad hObject, uFormat or handle is told before the block
 * is looked at. */
KB_API int K_AnnSaveMemory(HANNOBJECT hObject, uint32_t uFormat, BOOL bSelected, HGLOBAL* phMem, uint32_t* puSize,
                           const KernelSaveOptions* pOptions);

/* Queues the tree as tag 32932 for the calling thread's next TIFF save (K_SaveFile). Any form. ERROR_NO_MEMORY also when
 * there is nothing to hand over. */
KB_API int K_AnnSaveTag(HANNOBJECT hObject, uint32_t uFormat, BOOL bSelected);

/* Loads from a file of any readable form, or from the tag of a TIFF, where the page picks the image too. phObject:
 * receives the tree; null with SUCCESS when a TIFF carries no annotation data, or when there are marks and none of them is
 * known, which holds for all loads. Marks have no pages, so the page is ignored; the container that is made around them
 * spans the image of the tag. ERROR_FILE_OPEN. */
KB_API int K_AnnLoad(const char* pszFile, HANNOBJECT* phObject, const KernelLoadOptions* pOptions);

/* Loads from at most uLength bytes (0xFFFFFFFF: no limit) at nOffset of an open file, which stays open. */
KB_API int K_AnnLoadOffset(int hFile, int32_t nOffset, uint32_t uLength, HANNOBJECT* phObject,
                           const KernelLoadOptions* pOptions);

/* Loads from uSize bytes at pData: data of any readable form, or a whole TIFF file. The bytes are borrowed. */
KB_API int K_AnnLoadMemory(const void* pData, uint32_t uSize, HANNOBJECT* phObject, const KernelLoadOptions* pOptions);

#ifdef __cplusplus
}
#endif
#endif
