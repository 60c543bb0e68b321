/* The raster kernel's contract: bitmap records, metafile holders, memory and files. The engine works against this page
 * alone; kernel/ stands behind it here. Results are SUCCESS or a code below 1 (contracts/return_codes.h) unless a line
 * says otherwise. Null records and pointers are ERROR_INV_PARAMETER, failing memory is ERROR_NO_MEMORY, a record
 * without pixels where pixels are needed is ERROR_INV_BITMAP; after a failure the record is as it was.
 *
 * A bitmap record lies in memory of the caller, who zeroes it first: a zeroed record is valid and holds no image.
 * Pixels are shared between records until one of them is written, so a copy costs nothing; what is counted is the pixel
 * buffer, and a colour region belongs to its record alone. A record marked Borrowed was given out by a getter: freeing it
 * only clears it, writing through it is refused with ERROR_INV_PARAMETER.
 *
 * Rows are stored without padding rules other than BytesPerLine, which is width x bits rounded up to 4 bytes. Pixels of
 * less than 8 bits fill a byte from its high bits down; 12 bits lie two pixels in three bytes, high bits first;
 * 16 bits are little-endian. Rows and columns count as stored: the perspective says how the viewer sees them. */
#ifndef KB_CONTRACTS_RASTER_KERNEL_H
#define KB_CONTRACTS_RASTER_KERNEL_H

#include "contracts/return_codes.h"
#include "platform/gdi.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Colour orders; stored in files. Order says how 16, 24 and 32 bit pixels lie; at 12 and 16 bits GREY is a grey value,
 * any other order is 5-5-5 colour at 16 bits (red in the high bits) and refused at 12. */
enum { KB_ORDER_RGB = 0, KB_ORDER_BGR = 1, KB_ORDER_GREY = 2 };

/* View perspectives; stored in files. The name tells where the stored row 0 and column 0 are seen. */
enum {
    KB_VIEW_TOP_LEFT = 1,     /* as stored */
    KB_VIEW_BOTTOM_LEFT = 2,  /* rows bottom-up */
    KB_VIEW_TOP_RIGHT = 3,    /* columns right to left */
    KB_VIEW_LEFT_TOP = 4,     /* sides swap: row 0 is seen as the left column, top down */
    KB_VIEW_RIGHT_TOP = 5,    /* sides swap: row 0 is seen as the right column (a quarter turn clockwise) */
    KB_VIEW_BOTTOM_RIGHT = 6, /* both: half a turn */
    KB_VIEW_RIGHT_BOTTOM = 7, /* sides swap, row 0 right, column 0 at the bottom */
    KB_VIEW_LEFT_BOTTOM = 8   /* sides swap: a quarter turn counter-clockwise */
};

/* Raster operations and modes that the platform has no name for. */
enum {
    KB_ROP_XOR_INVERTED = 0x00990066, /* destination xor inverted source: white leaves it, black inverts it */
    KB_REGION_NOT_COLOR = 6           /* mode of K_SetBitmapRgnColor */
};

typedef struct KernelPixels KernelPixels; /* counted pixel buffer, private to the kernel */

typedef struct KernelBitmap {
    int32_t Width;           /* pixels of a stored row */
    int32_t Height;          /* stored rows */
    int32_t BitsPerPixel;    /* 1, 4, 8, 12, 16, 24 or 32 */
    int32_t BytesPerLine;    /* bytes of a stored row, a multiple of 4 */
    int32_t Order;           /* KB_ORDER_* */
    int32_t ViewPerspective; /* KB_VIEW_*; 0 counts as KB_VIEW_TOP_LEFT */
    int32_t XResolution;     /* dots an inch across, 0 unknown */
    int32_t YResolution;     /* dots an inch down, 0 unknown */
    uint32_t nColors;        /* palette entries; at most 2 to the power of the bits, 0 above 8 bits */
    uint32_t Allocated : 1;  /* holds an image */
    uint32_t Borrowed : 1;   /* pixels belong to another record */
    uint32_t Alpha : 1;      /* the fourth byte at 32 bits is opacity, straight */
    const RGBQUAD* pPalette; /* inside the pixel buffer; null above 8 bits */
    KernelPixels* pPixels;   /* private */
    HRGN hRegion;            /* colour region in stored pixels, owned; null if none */
} KernelBitmap;

/* Ten words. nHandle is the value of an HMETAFILE or HENHMETAFILE; an empty holder has 0 there. */
typedef struct KernelMetafile {
    uint32_t nHandle;
    uint32_t bEnhanced; /* kind: 0 classic, 1 enhanced, whose words 3 to 8 are 0 */
    int32_t nLeft;      /* words 3 to 6: box of a classic picture in its own units, of its placeable header or else the */
    int32_t nTop;       /* window that it sets; all 0 when neither tells */
    int32_t nRight;     /* the box may be upside down */
    int32_t nBottom;
    int32_t nUnitsPerInch; /* of a placeable header, else 0 */
    int32_t nReserved;     /* 0 */
    int32_t nWidth;        /* size of the picture in 1/100 millimetre, never negative; 0 when nothing tells */
    int32_t nHeight;
} KernelMetafile;

/* --- Life ------------------------------------------------------------------------------------------------------- */

/* Makes the record describe an image of that size without pixels. Sides 1 to 2^24, bits as above. */
KB_API int K_InitBitmap(KernelBitmap* b, int width, int height, int bits);
/* Makes pixels, all zero. pPalette holds 2 to the power of bits colours at up to 8 bits, or is null for a grey ramp.
 * `type` is 1, `perspective` 1 to 8, the last two are 0. What b held is not freed. */
KB_API int K_CreateBitmap(KernelBitmap* b, int type, int width, int height, int bits, int order, const RGBQUAD* pPalette,
                          int perspective, int reserved1, int reserved2);
/* dst, not freed before, becomes a second owner of src's pixels, with a copy of its region. O(1) but for the region. */
KB_API int K_CopyBitmap(KernelBitmap* dst, const KernelBitmap* src);
/* A copy of a part in stored pixels, cut to the image; ERROR_INV_PARAMETER when nothing is left. */
KB_API int K_CopyBitmapRect(KernelBitmap* dst, const KernelBitmap* src, int x, int y, int w, int h);
/* Addition, the way back: src's stored pixels go over dst's from a stored column and row on, bit for bit; what would lie
 * outside of dst is left out. ERROR_INV_PARAMETER unless depth, order and palette are the same. */
KB_API int K_PasteBitmapRect(KernelBitmap* dst, const KernelBitmap* src, int x, int y);
/* Frees pixels and region and zeroes the record. Null is allowed. */
KB_API void K_FreeBitmap(KernelBitmap* b);
/* Follows a create or copy whose record will be kept: makes sure that nothing in it is borrowed. `keep` is 1. */
KB_API int K_PrepareOwnedBitmap(KernelBitmap* b, int keep);
/* A work bitmap like src in order, palette, perspective and resolution, with another size and depth; no region. Mode 7. Where
 * src's sides are swapped it has KB_VIEW_TOP_LEFT, so that w and h are its sides as stored and as viewed. The palette is src's
 * unless src is deeper. */
KB_API int K_CreateBitmapLike(KernelBitmap* dst, const KernelBitmap* src, int w, int h, int bits, int mode);
/* Scales all of src into all of dst, as viewed; nearest pixel (pixel centres), region along with it. */
KB_API int K_ScaleBitmapInto(const KernelBitmap* src, KernelBitmap* dst);
KB_API void K_ReleaseWorkBitmap(KernelBitmap* b, int mode);
/* src at another depth in dst (which may be src). To 1 bit at half brightness, to 4 and 8 bits by nearest colour of a fixed
 * palette (16 system colours; 6x6x6 cube and greys) unless the image has few enough colours of its own; grey images stay
 * grey. `mode` 0 plain, 1 error diffusion at 1 bit. */
KB_API int K_ChangeBitmapDepth(const KernelBitmap* src, KernelBitmap* dst, int bits, int mode, int r1, int r2, int r3,
                               int r4, int r5);
/* 1 when every colour (palette or pixel order) is grey, else 0. */
KB_API int K_IsGrayscaleBitmap(const KernelBitmap* b);

/* --- Device-independent bitmaps ------------------------------------------------------------------------------------ */

/* Reads a DIB: header of 12 (core), 40, 52, 56, 108 or 124 bytes, colour table or masks behind it, and the bits: 1, 4, 8,
 * 16, 24, 32 bits, RLE4, RLE8, BITFIELDS; bottom-up or top-down. pBits null: the bits follow the header and its table.
 * The memory is trusted to be as long as the header says; the Sized form below takes its length. */
KB_API int K_BitmapFromDIB(KernelBitmap* b, const BITMAPINFO* pHeader, const void* pBits);
/* Addition: the same from `size` bytes of packed DIB that nobody vouches for. bitsOffset 0: behind the table.
 * ERROR_FILE_READ when the bytes can't be such a DIB, ERROR_FEATURE_NOT_SUPPORTED for compressions not listed,
 * ERROR_NO_MEMORY for run-length data of more than 2^28 pixels. Bottom-up rows stay so, told by KB_VIEW_BOTTOM_LEFT. 16 bits of
 * 5-5-5 stay 16 bits, other masks become 24 bits, or 32 with Alpha when there is an alpha mask. */
KB_API int K_BitmapFromDIBBytes(KernelBitmap* b, const void* pDib, size_t size, size_t bitsOffset);
/* The same from a memory block, which stays the caller's. */
KB_API int K_BitmapFromDIBHandle(KernelBitmap* b, HGLOBAL hDib);
/* A packed DIB in a new memory block (the caller's), upright, at 1, 4, 8, 24 or 32 bits; null on failure. */
KB_API HGLOBAL K_BitmapToDIBHandle(const KernelBitmap* b);

/* --- Rows and pixels ------------------------------------------------------------------------------------------------ */

KB_API int K_BeginBitmapAccess(KernelBitmap* b); /* a token of 1 or above, or a code */
KB_API int K_EndBitmapAccess(KernelBitmap* b, int token);
/* Copies at most `bytes` bytes of a stored row; gives the bytes copied, or a code below 1. */
KB_API int K_GetBitmapRow(const KernelBitmap* b, void* pBuffer, int row, int bytes);
KB_API int K_PutBitmapRow(KernelBitmap* b, const void* pBuffer, int row, int bytes);
/* Additions, for readers of whole images: the stored row itself, null on failure. The writable one unshares pixels first. */
KB_API const uint8_t* K_BitmapRowPointer(const KernelBitmap* b, int row);
KB_API uint8_t* K_WritableBitmapRow(KernelBitmap* b, int row);
/* Colour of a stored pixel; grey of 12 and 16 bits by its high 8 bits. 0xFFFFFFFF outside. */
KB_API COLORREF K_GetBitmapPixel(const KernelBitmap* b, int row, int column);

/* --- In place; angles in 1/100 degree, clockwise as viewed --------------------------------------------------------- */

KB_API int K_FlipBitmap(KernelBitmap* b);    /* top to bottom, as viewed */
KB_API int K_ReverseBitmap(KernelBitmap* b); /* left to right, as viewed */
/* mode 1: the image grows to hold the turned picture; corners take the colour `fill`. Quarter turns are exact. A region
 * turns along. */
/* Free angles and shears leave KB_VIEW_TOP_LEFT behind; mirrorings keep the perspective. */
KB_API int K_RotateBitmap(KernelBitmap* b, int angle, int mode, COLORREF fill);
/* Sideways shear, |angle| up to 4500: above 0 the top row moves right. Width grows by the integer part of tan x height. */
KB_API int K_ShearBitmap(KernelBitmap* b, int angle, int mode, COLORREF fill);
/* Addition: `times` shears by 4500 (below 0: by -4500) and then one by `angle` of the same sign, pixel for pixel, in one pass.
 * ERROR_INV_PARAMETER also when it would grow beyond 2^24 columns. */
KB_API int K_ShearBitmapFurther(KernelBitmap* b, int times, int angle, COLORREF fill);
/* Addition: b is seen mirrored left to right, if `mirrored`, and then turned clockwise by so many quarters, from now on: its
 * perspective alone changes, no pixel. Also allowed on a borrowed record. */
KB_API int K_TurnBitmapView(KernelBitmap* b, int quarters, int mirrored);
/* A rectangle in viewed pixels becomes the one that holds the same pixels as stored, sides in order; it isn't cut to the image.
 * (In all perspectives but 5 and 8 the way back is the same.) Also allowed on a record without pixels. */
KB_API int K_RectToBitmapView(const KernelBitmap* b, int reserved, RECT* pRect);
/* Additions: the perspective worked into the pixels (then KB_VIEW_TOP_LEFT); the size as viewed. */
KB_API int K_NormalizeBitmap(KernelBitmap* b);
KB_API void K_GetBitmapViewSize(const KernelBitmap* b, int* pWidth, int* pHeight);

/* --- Palette ---------------------------------------------------------------------------------------------------------- */

KB_API int K_GetBitmapPalette(const KernelBitmap* b, int first, int count, RGBQUAD* pOut); /* entries copied */
KB_API HPALETTE K_CreateBitmapPaletteHandle(const KernelBitmap* b);                        /* the caller's, or null */
KB_API int K_NearestPaletteIndex(const KernelBitmap* b, COLORREF color);                   /* -1 without a palette */
KB_API HPALETTE K_CreatePaintPalette(HDC hDC, const KernelBitmap* b);                      /* null: the device needs none */

/* --- Colour regions, in stored pixels -------------------------------------------------------------------------------- */

KB_API int K_BitmapHasRgn(const KernelBitmap* b); /* 1 or 0 */
/* The region becomes all pixels that are NOT of that colour. Mode KB_REGION_NOT_COLOR. Also allowed on a record without pixels (no effect). */
KB_API int K_SetBitmapRgnColor(KernelBitmap* b, COLORREF color, int mode);
KB_API int K_SetBitmapRgnWhole(KernelBitmap* b, int r1, int r2, int mode);
/* The region becomes a copy of hRgn shifted by the offset; mode 0 replaces, 1 intersects, 2 adds, 3 subtracts. Null clears. A
 * record without a region counts as whole; what lies outside the record's sides is left out. Pixels aren't needed. */
KB_API int K_SetBitmapRgnHandle(KernelBitmap* b, const POINT* pOffset, HRGN hRgn, int mode);
KB_API int K_GetBitmapRgnArea(const KernelBitmap* b, uint32_t* pArea); /* pixels in the region */

/* --- Painting ----------------------------------------------------------------------------------------------------------- */

/* Paints the part pSrc (viewed pixels; null: all) into pDst (logical units of the context; null: at 0, 0 in its own
 * size) with a ternary raster operation. Negative sides of pDst mirror. pSrcClip, pDstClip narrow what is painted.
 * At equal size pixels are copied exactly: indices where the palettes are equal, the fourth byte at 32 bits. */
KB_API int K_PaintBitmap(HDC hDC, const KernelBitmap* b, const RECT* pSrc, const RECT* pSrcClip, const RECT* pDst,
                         const RECT* pDstClip, DWORD rop);
/* The same, only pixels inside the record's region; without one like K_PaintBitmap. */
KB_API int K_PaintBitmapRgn(HDC hDC, const KernelBitmap* b, const RECT* pSrc, const RECT* pSrcClip, const RECT* pDst,
                            const RECT* pDstClip, DWORD rop);
/* Addition: paints all of b so that its viewed corners (top left, bottom left, bottom right: x, y each) fall on the three
 * points of pCorners, in logical units of the context: scaled, turned, mirrored and sheared in one pass over the clip.
 * Each target pixel whose centre lies in the parallelogram is written once, with the mixture of the four source pixels
 * around it (weights of 1/256). byRegion 1 with a colour region: pixels whose nearest source pixel lies outside the region
 * stay. ERROR_FEATURE_NOT_SUPPORTED, and nothing is painted: contexts without pixels of 24 or 32 bits; raster operations
 * other than SRCCOPY, SRCAND, SRCINVERT and KB_ROP_XOR_INVERTED; images above 2^24 pixels that aren't 24 or 32 bits, blue first.
 * ERROR_INV_PARAMETER for corners that aren't finite; a parallelogram without area paints nothing. */
KB_API int K_PaintBitmapTurned(HDC hDC, const KernelBitmap* b, const double* pCorners, const RECT* pDstClip, DWORD rop,
                               int byRegion);
KB_API uint32_t K_SetDisplayMode(uint32_t mask, uint32_t value); /* the old mode of the thread */
/* A device context that draws on the record's pixels as viewed; null on failure. At 4, 12 and 16 bits, and in perspectives
 * other than 1 and 2, it draws on a 24-bit shadow, and the release writes back the pixels that changed. */
KB_API HDC K_BitmapDC(KernelBitmap* b);
/* ERROR_INV_BITMAP when a shadow's record has gone or changed its size: the context is freed all the same. */
KB_API int K_ReleaseBitmapDC(HDC hDC);
KB_API void K_GetConversionSetting(uint32_t* pOut); /* two words, process-wide */
KB_API void K_SetConversionSetting(uint32_t first, uint32_t second);

/* --- Metafile holders --------------------------------------------------------------------------------------------------- */

KB_API int K_CopyMetafile(KernelMetafile* dst,
                          const KernelMetafile* src); /* a handle of its own, bits shared; empty copies empty */
KB_API void K_FreeMetafile(KernelMetafile* m);        /* empty afterwards */
/* Takes over a platform metafile handle of either kind: the holder owns it. ERROR_INV_PARAMETER for a dead one. */
KB_API int K_WrapMetafile(HANDLE handle, KernelMetafile* m);
/* Plays the picture into a rectangle of the context (logical units; sides swapped mirror), which keeps its state. The
 * picture's box is that of its placeable header, else the frame of an enhanced metafile, else the window that it sets, else
 * the extent of what it draws.
 * ERROR_INV_PARAMETER for an empty holder or a dead context; ERROR_FAILURE when a broken record has ended the play, what
 * came before it is drawn. */
KB_API int K_PlayMetafile(HDC hDC, const KernelMetafile* m, const RECT* pRect);
/* A placeable, plain classic or enhanced metafile out of a file or memory into m, which is overwritten, not freed. Box and
 * units of a placeable header go to the holder. Codes as those of loading images: ERROR_FILE_OPEN, ERROR_FILE_READ,
 * ERROR_FILE_FORMAT, ERROR_NO_MEMORY; m is empty then. `own` is 1. */
KB_API int K_LoadMetafileFile(const char* pszPath, KernelMetafile* m);
KB_API int K_LoadMetafileMemory(const void* pData, KernelMetafile* m, size_t size, int own);
/* The metafile's bits (classic: without placeable header). With a null buffer gives the size; else the bytes copied, at
 * most `size`. 0 or a code for an empty holder. */
KB_API int K_MetafileToMemory(const KernelMetafile* m, void* pOut, uint32_t size);

/* --- Memory --------------------------------------------------------------------------------------------------------------- */

KB_API void* K_AllocBlock(size_t size); /* locked global memory; null when memory fails */
KB_API void* K_AllocBlockZero(size_t size, int one);
KB_API void* K_ReallocBlock(void* pBlock, size_t size); /* null on failure, and the block stays */
KB_API void K_FreeBlock(void* pBlock);
KB_API void* K_AllocHeap(size_t size);
KB_API void* K_AllocHeapZero(size_t count, size_t size);
KB_API void* K_ReallocHeap(void* p, size_t size);
KB_API void K_FreeHeap(void* p);

/* --- Files ------------------------------------------------------------------------------------------------------------------ */

/* Open flags: 0 read, 1 write, 2 both; 0x100 create, 0x200 truncate, 0x8000 binary (no effect). Mode bit 0x80: writable;
 * new files are made with 0666 less the process's mask. Folders are refused. The name "DUMMY" opens the memory file of
 * the calling thread while there is one. A handle of 0 or above, or -1 with the last error set (2: not there). */
KB_API int K_FileOpen(const char* pszPath, int flags, int mode, intptr_t user);
KB_API int K_FileRead(int file, void* pBuffer, int count, intptr_t user); /* bytes, 0 at the end, -1 */
/* Bytes written, -1 on a fault. A count of 0 cuts the file at the present position. */
KB_API int K_FileWrite(int file, const void* pBuffer, int count, intptr_t user);
KB_API int64_t K_FileSeek(int file, int64_t offset, int origin, intptr_t user); /* the new position, or -1 */
KB_API int K_FileClose(int file, intptr_t user);
/* Addition: the calling thread's memory file "DUMMY", read only and borrowed; null data takes it away. */
KB_API void K_SetMemoryFile(const void* pData, size_t size);
/* Addition: gives the thread's memory file; 0 when there is none. */
KB_API int K_GetMemoryFile(const void** ppData, size_t* pSize);

KB_API int K_AttachModule(int module);
KB_API int K_ThreadStartup(void);

#ifdef __cplusplus
}
#endif
#endif
