/* The raster file component's contract: reading images, their tags and their headers; saving is an addition of this
 * house. Formats are told by the first bytes, never by the name. Results are SUCCESS or a code below 1 unless a line says
 * otherwise: ERROR_FILE_OPEN, ERROR_FILE_READ (short or broken data), ERROR_FILE_FORMAT (no known format),
 * ERROR_FEATURE_NOT_SUPPORTED (known, but not this variant), ERROR_NO_MEMORY, ERROR_PAGE_NOT_FOUND, ERROR_FILE_WRITE.
 * A failed load leaves the bitmap record zeroed. The file name "DUMMY" means the thread's memory file. */
#ifndef KB_CONTRACTS_RASTER_IO_H
#define KB_CONTRACTS_RASTER_IO_H

#include "contracts/raster_kernel.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Formats: the numbers of files drawn at a chosen resolution are fixed, the others are this house's. */
enum {
    KB_FORMAT_UNKNOWN = 0,
    KB_FORMAT_TIFF = 1,
    KB_FORMAT_PNG = 2,
    KB_FORMAT_JPEG = 3,
    KB_FORMAT_BMP = 4,
    KB_FORMAT_WMF = 15,
    KB_FORMAT_EMF = 116
};

/* Compressions of a saved TIFF. */
enum {
    KB_COMPRESS_DEFAULT = 0, /* G4 at 1 bit, LZW else */
    KB_COMPRESS_NONE = 1,
    KB_COMPRESS_PACKBITS = 2,
    KB_COMPRESS_LZW = 3,
    KB_COMPRESS_DEFLATE = 4,
    KB_COMPRESS_G3 = 5,
    KB_COMPRESS_G4 = 6,
    KB_COMPRESS_JPEG = 7
};

#define SAVE_REPLACEPAGE 0x400u
#define SAVE_INSERTPAGE 0x800u

typedef struct KernelLoadOptions {
    uint32_t uStructSize; /* 44 */
    int32_t nPageNumber;  /* from 1; 0 counts as 1 */
    uint32_t uFlags;      /* 0 */
    uint32_t uMaxPixels;  /* refuse larger images before anything is allocated; 0: the process's limit */
    uint8_t reserved[28];
} KernelLoadOptions;

#pragma pack(push, 2) /* 1646 isn't a multiple of 4 */
typedef struct KernelSaveOptions {
    uint32_t uStructSize; /* 1646 */
    uint32_t uFlags;      /* 0, SAVE_REPLACEPAGE or SAVE_INSERTPAGE */
    int32_t nPageNumber;  /* from 1, -1 behind the last */
    int32_t nCompression; /* KB_COMPRESS_*, TIFF alone */
    int32_t nQuality;     /* JPEG, 1 to 100; 0: 90 */
    int32_t nLevel;       /* PNG and Deflate effort 1 to 9; 0: fast with good size */
    uint8_t reserved[1622];
} KernelSaveOptions;
#pragma pack(pop)

typedef struct KernelFileInfo {
    int32_t nFormat;
    int32_t nWidth, nHeight; /* as stored */
    int32_t nBitsPerPixel;   /* of the record that a load gives */
    int32_t nXResolution, nYResolution;
    uint32_t uFlags; /* set to 0x1000 by the caller before a load from memory */
    int32_t nPages;
    int32_t nPage;
    int32_t nCompression; /* KB_COMPRESS_* of a TIFF page, else 0 */
    int32_t nViewPerspective;
} KernelFileInfo;

KB_API int K_DefaultLoadOptions(KernelLoadOptions* pOptions, uint32_t uSize); /* size 44 */
KB_API int K_DefaultSaveOptions(KernelSaveOptions* pOptions, uint32_t uSize); /* size 1646 */

/* Reads the header of the page that the options name (null: 1). */
KB_API int K_FileInfo(const char* pszPath, KernelFileInfo* pInfo, int reserved, const KernelLoadOptions* pOptions);
KB_API int K_MemoryFileInfo(const void* pData, KernelFileInfo* pInfo, size_t size, int r1, int r2);

/* Loads at the file's own depth. b is overwritten, not freed. pInfo may be null. Grey of 2 to 16 bits comes as 4, 8, 12 or
 * 16 bits; alpha as 32 bits with Alpha set; MINISWHITE and orientation are told by palette and perspective. */
KB_API int K_LoadFile(const char* pszPath, KernelBitmap* b, int r1, int r2, const KernelLoadOptions* pOptions,
                      KernelFileInfo* pInfo);
/* The same from memory; bits 0 keeps the file's depth, any other changes it. */
KB_API int K_LoadMemory(const void* pData, KernelBitmap* b, int r1, int bits, size_t size, const KernelLoadOptions* pOptions,
                        KernelFileInfo* pInfo);

/* Dots an inch that formats 15 and 116 are drawn at; 0: the file's own, which is 96. They come at 24 bits on white; a broken
 * record in the picture is ERROR_FILE_READ. */
KB_API int K_GetVectorResolution(int* pOut);
KB_API int K_SetVectorResolution(int value);

/* Queues a tag for the calling thread's next TIFF save; the data is copied. Types are TIFF's. Null data takes it away. A colour
 * profile (34675) goes out, and leaves the queue, with the next save of any format. */
KB_API int K_SetFileTag(uint16_t tag, uint16_t type, uint32_t count, const void* pData);
/* Gives the bytes of a tag of the page that the options name, 0 or less when it isn't there. With a buffer, which must
 * have room for that size, fills it in the machine's byte order. */
KB_API int K_GetFileTag(const char* pszPath, uint16_t tag, uint16_t* pType, uint32_t* pCount, void* pBuffer,
                        const KernelLoadOptions* pOptions);

/* Addition: the same into a new memory block, the caller's, from the file as it is at one moment: between two calls of the
 * above it may have changed. *phData is set on a result above 0 alone. */
KB_API int K_LoadFileTag(const char* pszPath, uint16_t tag, uint16_t* pType, uint32_t* pCount, HGLOBAL* phData,
                         const KernelLoadOptions* pOptions);

typedef struct KernelMemoryFile {
    const void* pOldData;
    size_t uOldSize;
} KernelMemoryFile;
KB_API int K_BeginMemoryFile(KernelMemoryFile* pContext, const void* pData, size_t size);
KB_API int K_EndMemoryFile(KernelMemoryFile* pContext, int r1, int r2, int result); /* gives `result` */

/* --- Additions -------------------------------------------------------------------------------------------------------------- */

/* Saves a bitmap record. TIFF takes every depth and writes the perspective as orientation; flags of the options insert or
 * replace a page of an existing TIFF, none writes a new file. PNG, JPEG and BMP are written upright. Tags queued by
 * K_SetFileTag go out with a TIFF save and leave the queue when it has succeeded. ERROR_FEATURE_NOT_SUPPORTED for a
 * compression that doesn't fit the depth. After a failure a file that the call has made is gone, one that it was to write
 * anew is empty, and one that it was to add a page to is as it was. */
KB_API int K_SaveFile(const char* pszPath, const KernelBitmap* b, int format, const KernelSaveOptions* pOptions);
/* The same into a new memory block of *puSize bytes, the caller's to free. */
KB_API int K_SaveMemory(const KernelBitmap* b, int format, const KernelSaveOptions* pOptions, HGLOBAL* phMem,
                        size_t* puSize);
/* Format of data by its first bytes (16 suffice), KB_FORMAT_*. */
KB_API int K_RecognizeFormat(const void* pData, size_t size);
/* Fills areas of a JPEG file in memory without decoding the rest: blocks of 8 x 8 samples that touch an area are coded anew
 * from their filled samples, all others keep their coefficients. It is done in each component at its own sampling; a sample
 * that stands for several pixels is filled when one of them is covered. Blocks that lie in the areas as a whole come out flat,
 * black and white exactly. pAreas: stored pixels, left and top in, right and bottom out, cut to the image; null when nAreas is
 * 0, which codes the file anew as it is. Of the rest of the file the resolution, orientation, the colours of a profile, restart
 * interval and progressive coding are taken along, nothing else. Data that came from here comes out of a second pass
 * with the same areas outside their edge blocks, and out of one with none, with the same bytes. The result is a new memory
 * block of *puSize bytes, the caller's. Codes of loading, and ERROR_FEATURE_NOT_SUPPORTED for inks (four components). */
KB_API int K_FillJpegAreas(const void* pData, size_t size, const RECT* pAreas, uint32_t nAreas, COLORREF color,
                           HGLOBAL* phMem, size_t* puSize);
/* *pnBad: blocks that touch an area and can't be the coding of samples filled with the colour; 0 when all are. Blocks inside
 * must be flat and all alike; one at an edge must be what some content of its uncovered samples gives, with its covered
 * ones filled. Counting ends at 64. Arguments and codes as above. */
KB_API int K_CheckJpegAreas(const void* pData, size_t size, const RECT* pAreas, uint32_t nAreas, COLORREF color,
                            uint32_t* pnBad);

/* The colour profile of a page (from 1) of an image file in memory, written anew with its colours alone: a new block of *puSize
 * bytes, the caller's. 0 when there is none, ERROR_FILE_FORMAT when it isn't a sound profile (ICC.1) of curves and primaries,
 * but one of tables. To be put into a new file by K_SetFileTag with tag 34675: TIFF takes it as it is, PNG and JPEG take one
 * that is sound and fits their samples. */
KB_API int K_LoadColorProfile(const void* pData, size_t size, int page, HGLOBAL* phProfile, size_t* puSize);

/* What an image file holds beside the pixels that are shown and what is needed to show them. */
enum {
    KB_LEFT_PART = 1,    /* uCode: a TIFF tag, a JPEG marker, the four letters of a PNG chunk (high bits first) */
    KB_LEFT_IMAGE = 2,   /* another image than the pages: reduced, below a page, preview; uCode as above */
    KB_LEFT_BYTES = 3,   /* bytes that nothing in the file refers to and that aren't all zero */
    KB_LEFT_BEHIND = 4,  /* bytes behind the end of the image */
    KB_LEFT_SLACK = 5,   /* room within a part that isn't shown: bits that pad rows, data behind the coded end */
    KB_LEFT_PROFILE = 6, /* a colour profile that isn't sound, doesn't fit or holds more than its colours */
    KB_LEFT_CODING = 7   /* coded in a way that can't be judged; uCode: a TIFF tag or 0 */
};
typedef struct KernelLeftover {
    int32_t nKind; /* KB_LEFT_* */
    int32_t nPage; /* from 1, 0 for none */
    uint32_t uCode;
    uint64_t uOffset; /* in the file, as near as it is known */
} KernelLeftover;
typedef int (*KernelLeftoverProc)(const KernelLeftover* pLeftover, void* pUser); /* SUCCESS goes on */
/* Walks a TIFF, PNG, JPEG or BMP file in memory and tells of everything that isn't pixels, their layout, resolution,
 * orientation, palette and colour profile. It is strict: what it doesn't know, and codings that K_SaveFile doesn't write, are
 * told as leftovers. Annotation data (tag 32932) is told as a part. Codes of loading for files that can't be read, and any
 * result of the callback other than SUCCESS. */
KB_API int K_FindLeftovers(const void* pData, size_t size, KernelLeftoverProc pfnFound, void* pUser);

/* Image files that stored data names, such as that of a stamp in the marks of other tools: whether they are opened, process-wide.
 * 1 (as it is unless set): regular files are; 0: none is. Gives the old policy. A host that shows data of strangers may want 0,
 * since the data chooses what is read. */
KB_API int K_SetLinkedFilePolicy(int policy);
/* K_LoadFile under that policy. ERROR_FILE_OPEN for a name that isn't opened: by the policy, or because it is a folder, a pipe or
 * a device. */
KB_API int K_LoadLinkedFile(const char* pszPath, KernelBitmap* b);

/* Largest image in pixels that any load makes, 2^28 unless set. Gives the old limit. */
KB_API uint64_t K_SetPixelLimit(uint64_t pixels);
KB_API uint64_t K_GetPixelLimit(void);
/* Copies a TIFF and, on page n (from 1), sets or (null data) takes out one tag in place; strips and other tags stay as they
 * are. The old value's bytes are zeroed, but for those that are another tag's value. ERROR_FILE_WRITE when they lie in
 * pixels or in a directory that is in use: the tag is changed then, the bytes stand. */
KB_API int K_RewriteFileTag(const char* pszPath, int page, uint16_t tag, uint16_t type, uint32_t count, const void* pData);

#ifdef __cplusplus
}
#endif
#endif
