/* Graphics device contexts over pixel buffers of 1, 8, 24 and 32 bits: pens, brushes, fonts, bitmaps, palettes, regions,
 * clipping, shapes, blits and text. Names, argument order, values and results are those of the system the engine was
 * written for; names that begin with Kb are additions of this layer.
 *
 * Coordinates are logical units unless "device" is said; under MM_TEXT, the mode of a new context, they are pixels. The
 * pixel x, y stands for the point x, y: left and top edges of a figure are in, right and bottom edges out. All 32-bit
 * coordinates are allowed; work is bounded by the pixels that can be seen.
 * Colours are COLORREF 0x00BBGGRR. Functions that make an object give null when memory fails or an argument is refused;
 * the caller owns the object and frees it with the function named there. A dead or foreign handle is always refused:
 * FALSE, null, 0, ERROR or the value named, with the last error ERROR_BAD_HANDLE, and nothing has changed. */
#ifndef KB_PLATFORM_GDI_H
#define KB_PLATFORM_GDI_H

#include "platform/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- values ---- */

/* results of region and clip functions */
#define ERROR 0
#define NULLREGION 1
#define SIMPLEREGION 2
#define COMPLEXREGION 3
#define RGN_ERROR ERROR

#define CLR_INVALID 0xFFFFFFFFu /* no colour: GetPixel outside, setters that fail */
#define GDI_ERROR 0xFFFFFFFFu
#define HGDI_ERROR ((HGDIOBJ)(uintptr_t)0xFFFFFFFFu) /* SelectObject of a region that fails */

/* GetObjectType */
#define OBJ_PEN 1
#define OBJ_BRUSH 2
#define OBJ_DC 3
#define OBJ_METADC 4
#define OBJ_PAL 5
#define OBJ_FONT 6
#define OBJ_BITMAP 7
#define OBJ_REGION 8
#define OBJ_METAFILE 9
#define OBJ_MEMDC 10
#define OBJ_ENHMETAFILE 13

/* GetDeviceCaps */
#define DRIVERVERSION 0
#define TECHNOLOGY 2
#define HORZSIZE 4
#define VERTSIZE 6
#define HORZRES 8
#define VERTRES 10
#define BITSPIXEL 12
#define PLANES 14
#define NUMBRUSHES 16
#define NUMPENS 18
#define NUMFONTS 22
#define NUMCOLORS 24
#define CURVECAPS 28
#define LINECAPS 30
#define POLYGONALCAPS 32
#define TEXTCAPS 34
#define CLIPCAPS 36
#define RASTERCAPS 38
#define ASPECTX 40
#define ASPECTY 42
#define ASPECTXY 44
#define LOGPIXELSX 88
#define LOGPIXELSY 90
#define SIZEPALETTE 104
#define NUMRESERVED 106
#define COLORRES 108
#define DT_PLOTTER 0
#define DT_RASDISPLAY 1
#define DT_RASPRINTER 2
#define DT_METAFILE 5
#define RC_BITBLT 0x0001
#define RC_BITMAP64 0x0008
#define RC_DI_BITMAP 0x0080
#define RC_PALETTE 0x0100
#define RC_DIBTODEV 0x0200
#define RC_STRETCHBLT 0x0800
#define RC_STRETCHDIB 0x2000

/* stock objects */
#define WHITE_BRUSH 0
#define LTGRAY_BRUSH 1
#define GRAY_BRUSH 2
#define DKGRAY_BRUSH 3
#define BLACK_BRUSH 4
#define NULL_BRUSH 5
#define HOLLOW_BRUSH NULL_BRUSH
#define WHITE_PEN 6
#define BLACK_PEN 7
#define NULL_PEN 8
#define OEM_FIXED_FONT 10
#define ANSI_FIXED_FONT 11
#define ANSI_VAR_FONT 12
#define SYSTEM_FONT 13
#define DEVICE_DEFAULT_FONT 14
#define DEFAULT_PALETTE 15
#define SYSTEM_FIXED_FONT 16
#define DEFAULT_GUI_FONT 17

#define TRANSPARENT 1
#define OPAQUE 2
#define ALTERNATE 1
#define WINDING 2

#define PS_SOLID 0
#define PS_DASH 1
#define PS_DOT 2
#define PS_DASHDOT 3
#define PS_DASHDOTDOT 4
#define PS_NULL 5
#define PS_INSIDEFRAME 6

#define BS_SOLID 0
#define BS_NULL 1
#define BS_HOLLOW BS_NULL
#define BS_HATCHED 2
#define BS_PATTERN 3
#define BS_DIBPATTERN 5 /* lbHatch: handle value of a memory block that holds a packed DIB */
#define HS_HORIZONTAL 0
#define HS_VERTICAL 1
#define HS_FDIAGONAL 2
#define HS_BDIAGONAL 3
#define HS_CROSS 4
#define HS_DIAGCROSS 5

#define R2_BLACK 1
#define R2_NOTMERGEPEN 2
#define R2_MASKNOTPEN 3
#define R2_NOTCOPYPEN 4
#define R2_MASKPENNOT 5
#define R2_NOT 6
#define R2_XORPEN 7
#define R2_NOTMASKPEN 8
#define R2_MASKPEN 9
#define R2_NOTXORPEN 10
#define R2_NOP 11
#define R2_MERGENOTPEN 12
#define R2_COPYPEN 13
#define R2_MERGEPENNOT 14
#define R2_MERGEPEN 15
#define R2_WHITE 16

/* ternary raster operations; bits 16 to 23 are the truth table over pattern, source, destination */
#define SRCCOPY 0x00CC0020u
#define SRCPAINT 0x00EE0086u
#define SRCAND 0x008800C6u
#define SRCINVERT 0x00660046u
#define SRCERASE 0x00440328u
#define NOTSRCCOPY 0x00330008u
#define NOTSRCERASE 0x001100A6u
#define MERGECOPY 0x00C000CAu
#define MERGEPAINT 0x00BB0226u
#define PATCOPY 0x00F00021u
#define PATPAINT 0x00FB0A09u
#define PATINVERT 0x005A0049u
#define DSTINVERT 0x00550009u
#define BLACKNESS 0x00000042u
#define WHITENESS 0x00FF0062u

#define BLACKONWHITE 1 /* shrinking ANDs the rows and columns that fall together */
#define WHITEONBLACK 2 /* ... ORs them */
#define COLORONCOLOR 3 /* ... drops them */
#define HALFTONE 4     /* ... averages them (24 and 32 bits; drops them below) */

#define TA_NOUPDATECP 0
#define TA_UPDATECP 1
#define TA_LEFT 0
#define TA_RIGHT 2
#define TA_CENTER 6
#define TA_TOP 0
#define TA_BOTTOM 8
#define TA_BASELINE 24

#define FLOODFILLBORDER 0
#define FLOODFILLSURFACE 1

#define ETO_OPAQUE 0x0002
#define ETO_CLIPPED 0x0004

#define MM_TEXT 1
#define MM_LOMETRIC 2
#define MM_HIMETRIC 3
#define MM_LOENGLISH 4
#define MM_HIENGLISH 5
#define MM_TWIPS 6
#define MM_ISOTROPIC 7
#define MM_ANISOTROPIC 8

#define RGN_AND 1
#define RGN_OR 2
#define RGN_XOR 3
#define RGN_DIFF 4
#define RGN_COPY 5
#define RDH_RECTANGLES 1

#define BI_RGB 0
#define BI_RLE8 1
#define BI_RLE4 2
#define BI_BITFIELDS 3
#define DIB_RGB_COLORS 0
#define DIB_PAL_COLORS 1

#define FW_DONTCARE 0
#define FW_NORMAL 400
#define FW_BOLD 700
#define ANSI_CHARSET 0
#define DEFAULT_CHARSET 1
#define SYMBOL_CHARSET 2
#define OUT_DEFAULT_PRECIS 0
#define CLIP_DEFAULT_PRECIS 0
#define DEFAULT_QUALITY 0
#define NONANTIALIASED_QUALITY 3
#define ANTIALIASED_QUALITY 4
#define DEFAULT_PITCH 0
#define FIXED_PITCH 1
#define VARIABLE_PITCH 2
#define FF_DONTCARE 0x00
#define FF_ROMAN 0x10
#define FF_SWISS 0x20
#define FF_MODERN 0x30
#define TMPF_FIXED_PITCH 0x01 /* set when the pitch varies */
#define TMPF_VECTOR 0x02
#define TMPF_TRUETYPE 0x04
#define LF_FACESIZE 32

/* ---- records ---- */

typedef struct RGBQUAD {
    BYTE rgbBlue, rgbGreen, rgbRed, rgbReserved;
} RGBQUAD;
typedef struct RGBTRIPLE {
    BYTE rgbtBlue, rgbtGreen, rgbtRed;
} RGBTRIPLE;

typedef struct BITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth, biHeight; /* height below 0: the first row is the top one */
    WORD biPlanes, biBitCount;
    DWORD biCompression, biSizeImage;
    LONG biXPelsPerMeter, biYPelsPerMeter;
    DWORD biClrUsed, biClrImportant;
} BITMAPINFOHEADER;

typedef struct BITMAPINFO {
    BITMAPINFOHEADER bmiHeader;
    RGBQUAD bmiColors[1];
} BITMAPINFO;

typedef struct BITMAPCOREHEADER {
    DWORD bcSize;
    WORD bcWidth, bcHeight, bcPlanes, bcBitCount;
} BITMAPCOREHEADER;
typedef struct BITMAPCOREINFO {
    BITMAPCOREHEADER bmciHeader;
    RGBTRIPLE bmciColors[1];
} BITMAPCOREINFO;

/* Of a bitmap: `bmBits` is null unless it is a DIB section, whose first row in memory it is. */
typedef struct BITMAP {
    LONG bmType, bmWidth, bmHeight, bmWidthBytes;
    WORD bmPlanes, bmBitsPixel;
    void* bmBits;
} BITMAP;

typedef struct LOGPEN {
    UINT lopnStyle;
    POINT lopnWidth;
    COLORREF lopnColor;
} LOGPEN;
typedef struct LOGBRUSH {
    UINT lbStyle;
    COLORREF lbColor;
    ULONG_PTR lbHatch;
} LOGBRUSH;

typedef struct LOGFONTA {
    LONG lfHeight;      /* above 0 cell height, below 0 character height, 0 a default height */
    LONG lfWidth;       /* average width, 0 for the face's own proportion */
    LONG lfEscapement;  /* tenths of a degree, counter-clockwise */
    LONG lfOrientation; /* taken as equal to the escapement */
    LONG lfWeight;      /* 0 to 1000; 600 and above are drawn bold */
    BYTE lfItalic, lfUnderline, lfStrikeOut, lfCharSet, lfOutPrecision, lfClipPrecision, lfQuality, lfPitchAndFamily;
    char lfFaceName[LF_FACESIZE]; /* windows-1252 */
} LOGFONTA;
typedef LOGFONTA LOGFONT;

typedef struct TEXTMETRICA {
    LONG tmHeight, tmAscent, tmDescent, tmInternalLeading, tmExternalLeading, tmAveCharWidth, tmMaxCharWidth, tmWeight;
    LONG tmOverhang, tmDigitizedAspectX, tmDigitizedAspectY;
    BYTE tmFirstChar, tmLastChar, tmDefaultChar, tmBreakChar, tmItalic, tmUnderlined, tmStruckOut, tmPitchAndFamily;
    BYTE tmCharSet;
} TEXTMETRICA;
typedef TEXTMETRICA TEXTMETRIC;

typedef struct PALETTEENTRY {
    BYTE peRed, peGreen, peBlue, peFlags;
} PALETTEENTRY;
typedef struct LOGPALETTE {
    WORD palVersion, palNumEntries; /* version 0x300 */
    PALETTEENTRY palPalEntry[1];
} LOGPALETTE;

typedef struct RGNDATAHEADER {
    DWORD dwSize, iType, nCount, nRgnSize;
    RECT rcBound;
} RGNDATAHEADER;
typedef struct RGNDATA {
    RGNDATAHEADER rdh;
    char Buffer[1];
} RGNDATA;

/* A picture's map mode, extents and metafile. `hMF` is the handle's 32-bit value. */
typedef struct METAFILEPICT {
    LONG mm, xExt, yExt;
    DWORD hMF;
} METAFILEPICT;

/* ---- device contexts ---- */

/* A memory context that draws on a 1 by 1 one-bit bitmap until one is selected, with the resolution of `hDC` (null: the
 * screen's). Frees: DeleteDC. */
KB_API HDC CreateCompatibleDC(HDC hDC);
/* Frees a context made by CreateCompatibleDC or KbCreateSurfaceDC with all its saved states; what is selected lives on. */
KB_API BOOL DeleteDC(HDC hDC);
/* A screen context: 32 bits, no pixels of its own (drawing is allowed and shows nowhere), good for measuring text. Any
 * window gives the same kind. Given back with ReleaseDC. */
KB_API HDC GetDC(HWND hWnd);
/* 1 when the context was one of GetDC's, else 0. */
KB_API int ReleaseDC(HWND hWnd, HDC hDC);
/* Saves everything but the pixels; gives the number of saved states, at least 1, or 0. */
KB_API int SaveDC(HDC hDC);
/* Returns to state `level` (from 1), or relative to now when negative (-1 is the last saved); later states are dropped. */
KB_API BOOL RestoreDC(HDC hDC, int level);
/* One of the values above, 0 for an index not known. Resolutions are dots an inch, HORZRES and VERTRES pixels. */
KB_API int GetDeviceCaps(HDC hDC, int index);
/* Resolution of the screen in dots an inch, 1 to 32767, for contexts made later; 96 at first. FALSE out of range. */
KB_API BOOL KbSetScreenDpi(int x, int y);
/* A context over pixels that the caller keeps alive and owns; DeleteDC frees the context alone.
 * pPixels: the top row. stride: bytes from a row to the one below, negative for an image with the last row first.
 * bits: 1 (high bit first), 8, 24 or 32 (blue, green, red [, spare]). width and height: 0 to 2^27, their product's bytes
 * must be addressable. pPalette: `colors` (at most 2 or 256) colours, copied; null gives black and white at 1 bit and a
 * grey ramp at 8. Rows may begin at any address. */
KB_API HDC KbCreateSurfaceDC(void* pPixels, int width, int height, int stride, int bits, const RGBQUAD* pPalette,
                             UINT colors);
/* Resolution of one context in dots an inch, 1 to 32767. */
KB_API BOOL KbSetSurfaceDpi(HDC hDC, int x, int y);
/* The pixels that a context draws on, borrowed until it is deleted or gets another bitmap; members as the arguments of
 * KbCreateSurfaceDC. FALSE for a context without pixels. */
typedef struct KbSurface {
    uint8_t* pPixels;
    intptr_t nStride;
    int32_t nWidth, nHeight, nBits;
} KbSurface;
KB_API BOOL KbGetSurface(HDC hDC, KbSurface* pOut);

/* Puts a pen, brush, font or bitmap in force and gives the one before; null when refused. A bitmap fits only a memory
 * context and one context at a time. A region is copied to be the clip region; the result is then that of SelectClipRgn. */
KB_API HGDIOBJ SelectObject(HDC hDC, HGDIOBJ hObject);
/* A stock object; never needs freeing. Null for a number not known. */
KB_API HGDIOBJ GetStockObject(int index);
/* The object of a type (OBJ_PEN, OBJ_BRUSH, OBJ_FONT, OBJ_BITMAP, OBJ_PAL) in force, borrowed. */
KB_API HGDIOBJ GetCurrentObject(HDC hDC, UINT type);
/* Frees a pen, brush, font, bitmap, region or palette. The handle is dead at once; contexts that have the object
 * selected, also in saved states, go on with it until they let it go. TRUE for stock objects, which stay. */
KB_API BOOL DeleteObject(HGDIOBJ hObject);
/* OBJ_ value of any handle of this layer, 0 for what isn't one. */
KB_API DWORD GetObjectType(HGDIOBJ hObject);
/* Copies LOGPEN, LOGBRUSH, LOGFONTA, BITMAP, or the number of entries (WORD) of a palette, at most `size` bytes; gives
 * the bytes copied, or with null the bytes needed. */
KB_API int GetObjectA(HGDIOBJ hObject, int size, void* pOut);

/* Setters give the former value: CLR_INVALID (colours), 0 (modes) or GDI_ERROR (alignment) when refused. */
KB_API COLORREF SetTextColor(HDC hDC, COLORREF color);
KB_API COLORREF GetTextColor(HDC hDC);
KB_API COLORREF SetBkColor(HDC hDC, COLORREF color);
KB_API COLORREF GetBkColor(HDC hDC);
KB_API int SetBkMode(HDC hDC, int mode);
KB_API int GetBkMode(HDC hDC);
KB_API int SetROP2(HDC hDC, int mode); /* R2_BLACK to R2_WHITE */
KB_API int GetROP2(HDC hDC);
KB_API int SetPolyFillMode(HDC hDC, int mode);
KB_API int GetPolyFillMode(HDC hDC);
KB_API UINT SetTextAlign(HDC hDC, UINT mode);
KB_API UINT GetTextAlign(HDC hDC);
KB_API int SetStretchBltMode(HDC hDC, int mode);
KB_API int GetStretchBltMode(HDC hDC);
/* Device point on which cell corners of hatches and patterns fall. `pOld` (or null) takes the former one. */
KB_API BOOL SetBrushOrgEx(HDC hDC, int x, int y, POINT* pOld);
KB_API BOOL GetBrushOrgEx(HDC hDC, POINT* pOut);

/* Mapping: device = (logical - window origin) x viewport extent / window extent + viewport origin. The extents are the
 * caller's under MM_ISOTROPIC and MM_ANISOTROPIC alone; other modes answer TRUE and leave them. Extents of 0 are
 * refused. */
KB_API int SetMapMode(HDC hDC, int mode);
KB_API int GetMapMode(HDC hDC);
KB_API BOOL SetWindowOrgEx(HDC hDC, int x, int y, POINT* pOld);
KB_API BOOL GetWindowOrgEx(HDC hDC, POINT* pOut);
KB_API BOOL SetWindowExtEx(HDC hDC, int x, int y, SIZE* pOld);
KB_API BOOL GetWindowExtEx(HDC hDC, SIZE* pOut);
KB_API BOOL SetViewportOrgEx(HDC hDC, int x, int y, POINT* pOld);
KB_API BOOL GetViewportOrgEx(HDC hDC, POINT* pOut);
KB_API BOOL SetViewportExtEx(HDC hDC, int x, int y, SIZE* pOld);
KB_API BOOL GetViewportExtEx(HDC hDC, SIZE* pOut);
/* Converts points in place, rounded, held to 32 bits. */
KB_API BOOL LPtoDP(HDC hDC, POINT* pPoints, int count);
KB_API BOOL DPtoLP(HDC hDC, POINT* pPoints, int count);

/* ---- pens, brushes, palettes ---- */

/* style: PS_ value; width in logical units, 0 and 1 are one pixel, at most 2^20 pixels are drawn; PS_NULL draws nothing.
 * Unknown styles are solid. Round caps and joins; dashes hold at every width, scaled with it, and under OPAQUE their
 * gaps show the background colour. Frees: DeleteObject. */
KB_API HPEN CreatePen(int style, int width, COLORREF color);
KB_API HPEN CreatePenIndirect(const LOGPEN* pPen);
KB_API HBRUSH CreateSolidBrush(COLORREF color);
/* style: HS_ value. 8 by 8 pixel cells; the gaps show the background colour when the background mode is OPAQUE. */
KB_API HBRUSH CreateHatchBrush(int style, COLORREF color);
/* A copy of the bitmap (at most 4096 a side) as pattern. One-bit bitmaps that aren't DIB sections: 0 bits in the text
 * colour, 1 bits in the background colour of the context. */
KB_API HBRUSH CreatePatternBrush(HBITMAP hBitmap);
/* A pattern out of a packed DIB: header, colours, rows; `usage` DIB_RGB_COLORS. The bytes are borrowed for the call. */
KB_API HBRUSH CreateDIBPatternBrushPt(const void* pPackedDib, UINT usage);
KB_API HBRUSH CreateBrushIndirect(const LOGBRUSH* pBrush);
KB_API HPALETTE CreatePalette(const LOGPALETTE* pPalette);
/* Number of entries copied to `pOut`, or with null the number there is. */
KB_API UINT GetPaletteEntries(HPALETTE hPalette, UINT start, UINT count, PALETTEENTRY* pOut);
/* Selects a palette and gives the former one. Surfaces keep their own colours, so realising changes no pixel. */
KB_API HPALETTE SelectPalette(HDC hDC, HPALETTE hPalette, BOOL bForceBackground);
/* Entries changed: 0; GDI_ERROR for a dead handle. */
KB_API UINT RealizePalette(HDC hDC);
/* The colour that a context would really show for this one. */
KB_API COLORREF GetNearestColor(HDC hDC, COLORREF color);

/* ---- bitmaps ---- */

/* A bitmap of planes x bits = 1, 8, 24 or 32 bits a pixel, at most 2^27 pixels a side and 2^33 bytes; pBits: rows of 16-bit
 * granularity, top row first, or null for zeros. Frees: DeleteObject. */
KB_API HBITMAP CreateBitmap(int width, int height, UINT planes, UINT bits, const void* pBits);
/* Zeros, of the context's depth and colours; the bitmap of a fresh memory context counts, which has one bit. */
KB_API HBITMAP CreateCompatibleBitmap(HDC hDC, int width, int height);
/* A DIB section of 1, 8, 24 or 32 bits, uncompressed, zeroed. *ppBits (or null) gets its rows, 32-bit granularity, as
 * the header orders them, owned by the bitmap. hSection must be null. */
KB_API HBITMAP CreateDIBSection(HDC hDC, const BITMAPINFO* pInfo, UINT usage, void** ppBits, HANDLE hSection, DWORD offset);
/* Rows `start` to start + lines - 1, counted from the bottom, in the format of the header given (1, 4, 8, 24, 32 bits,
 * uncompressed). With pBits null only the header is filled (biBitCount 0: the bitmap's own). Gives rows copied, 0 on
 * failure. */
KB_API int GetDIBits(HDC hDC, HBITMAP hBitmap, UINT start, UINT lines, void* pBits, BITMAPINFO* pInfo, UINT usage);
/* The other way; formats as StretchDIBits. Gives rows set. */
KB_API int SetDIBits(HDC hDC, HBITMAP hBitmap, UINT start, UINT lines, const void* pBits, const BITMAPINFO* pInfo,
                     UINT usage);
/* Entries of the colour table of the bitmap selected into the context. Gives the number set or copied. */
KB_API UINT SetDIBColorTable(HDC hDC, UINT start, UINT count, const RGBQUAD* pColors);
KB_API UINT GetDIBColorTable(HDC hDC, UINT start, UINT count, RGBQUAD* pColors);

/* ---- regions (device coordinates) ---- */

/* Points of a swapped rectangle are put in order. Frees: DeleteObject.
 * Polygon, elliptic and rounded regions reach from -2^20 to 2^20, the rest is cut off, and hold at most 2^22 rectangles. */
KB_API HRGN CreateRectRgn(int left, int top, int right, int bottom);
KB_API HRGN CreateRectRgnIndirect(const RECT* pRect);
/* fillMode: ALTERNATE or WINDING. The same pixels as Polygon with a null pen. */
KB_API HRGN CreatePolygonRgn(const POINT* pPoints, int count, int fillMode);
/* Addition: only what of it lies within pWithin (device units), so that the work is bounded by what can be seen of a polygon
 * and not by the polygon. */
KB_API HRGN KbCreatePolygonRgnWithin(const POINT* pPoints, int count, int fillMode, const RECT* pWithin);
KB_API HRGN CreatePolyPolygonRgn(const POINT* pPoints, const INT* pCounts, int polygons, int fillMode);
/* The same pixels as Ellipse with a null pen on a rectangle whose right and bottom are one larger. */
KB_API HRGN CreateEllipticRgn(int left, int top, int right, int bottom);
KB_API HRGN CreateEllipticRgnIndirect(const RECT* pRect);
KB_API HRGN CreateRoundRectRgn(int left, int top, int right, int bottom, int width, int height);
/* hDest (which may be a source) becomes a op b; for RGN_COPY `hB` is ignored. Gives the kind of region or ERROR. */
KB_API int CombineRgn(HRGN hDest, HRGN hA, HRGN hB, int mode);
KB_API int OffsetRgn(HRGN hRgn, int dx, int dy);
KB_API BOOL SetRectRgn(HRGN hRgn, int left, int top, int right, int bottom);
KB_API BOOL PtInRegion(HRGN hRgn, int x, int y);
KB_API BOOL RectInRegion(HRGN hRgn, const RECT* pRect); /* any part of it */
KB_API BOOL EqualRgn(HRGN hA, HRGN hB);
/* The smallest rectangle around; gives the kind of region. */
KB_API int GetRgnBox(HRGN hRgn, RECT* pOut);
/* RGNDATA of the region, rectangles in rows: bytes written, or with null the bytes needed; 0 when `size` is too small. */
KB_API DWORD GetRegionData(HRGN hRgn, DWORD size, RGNDATA* pOut);
/* A region out of `size` bytes of RGNDATA; rectangles may overlap. pTransform must be null. */
KB_API HRGN ExtCreateRegion(const void* pTransform, DWORD size, const RGNDATA* pData);
/* Number of pixels. */
KB_API uint64_t KbRegionArea(HRGN hRgn);
/* Whether CreateEllipticRgnIndirect would give a region with that pixel; FALSE for null. */
KB_API BOOL KbPointInEllipse(const RECT* pRect, int x, int y);
/* Fills with a brush, in the map mode's units of the context, by its raster operation. */
KB_API BOOL FillRgn(HDC hDC, HRGN hRgn, HBRUSH hBrush);
KB_API BOOL PaintRgn(HDC hDC, HRGN hRgn);
KB_API BOOL InvertRgn(HDC hDC, HRGN hRgn);
KB_API BOOL FrameRgn(HDC hDC, HRGN hRgn, HBRUSH hBrush, int width, int height);

/* Clipping. The clip region is in device coordinates and copied; null takes clipping away. */
KB_API int SelectClipRgn(HDC hDC, HRGN hRgn);
/* mode: RGN_ value; null is allowed with RGN_COPY. */
KB_API int ExtSelectClipRgn(HDC hDC, HRGN hRgn, int mode);
KB_API int IntersectClipRect(HDC hDC, int left, int top, int right, int bottom);
KB_API int ExcludeClipRect(HDC hDC, int left, int top, int right, int bottom);
KB_API int OffsetClipRgn(HDC hDC, int dx, int dy);
/* Smallest rectangle, in logical units, around what can be drawn on: clip region and surface. */
KB_API int GetClipBox(HDC hDC, RECT* pOut);
/* Copies the clip region: 1, or 0 when there is none, -1 on failure. */
KB_API int GetClipRgn(HDC hDC, HRGN hRgn);
KB_API BOOL PtVisible(HDC hDC, int x, int y);
KB_API BOOL RectVisible(HDC hDC, const RECT* pRect);

/* ---- drawing ---- */

KB_API BOOL MoveToEx(HDC hDC, int x, int y, POINT* pOld);
KB_API BOOL GetCurrentPositionEx(HDC hDC, POINT* pOut);
/* To, but without, the end point; moves the current position there. */
KB_API BOOL LineTo(HDC hDC, int x, int y);
/* At least two points; leaves the last point out; the current position stays. */
KB_API BOOL Polyline(HDC hDC, const POINT* pPoints, int count);
/* From the current position, which moves to the last point. */
KB_API BOOL PolylineTo(HDC hDC, const POINT* pPoints, DWORD count);
/* At least two points; closed by itself; outline with the pen, inside with the brush, each pixel once. */
KB_API BOOL Polygon(HDC hDC, const POINT* pPoints, int count);
/* Filled together; each polygon has at least two points. */
KB_API BOOL PolyPolygon(HDC hDC, const POINT* pPoints, const INT* pCounts, int polygons);
KB_API BOOL PolyPolyline(HDC hDC, const POINT* pPoints, const DWORD* pCounts, DWORD polylines);
/* Right and bottom are excluded; with a null pen one column and row less. */
KB_API BOOL Rectangle(HDC hDC, int left, int top, int right, int bottom);
/* width and height of the ellipse of the corners. */
KB_API BOOL RoundRect(HDC hDC, int left, int top, int right, int bottom, int width, int height);
KB_API BOOL Ellipse(HDC hDC, int left, int top, int right, int bottom);
/* Counter-clockwise from the ray through xStart, yStart to the ray through xEnd, yEnd; equal rays give the whole ellipse. */
KB_API BOOL Arc(HDC hDC, int left, int top, int right, int bottom, int xStart, int yStart, int xEnd, int yEnd);
KB_API BOOL Chord(HDC hDC, int left, int top, int right, int bottom, int xStart, int yStart, int xEnd, int yEnd);
KB_API BOOL Pie(HDC hDC, int left, int top, int right, int bottom, int xStart, int yStart, int xEnd, int yEnd);
/* The brush over the rectangle (right and bottom excluded), without raster operation; 0 on failure. */
KB_API int FillRect(HDC hDC, const RECT* pRect, HBRUSH hBrush);
/* A border of one unit inside the rectangle. */
KB_API int FrameRect(HDC hDC, const RECT* pRect, HBRUSH hBrush);
KB_API BOOL InvertRect(HDC hDC, const RECT* pRect);
/* The colour set, or CLR_INVALID when clipped. */
KB_API COLORREF SetPixel(HDC hDC, int x, int y, COLORREF color);
KB_API BOOL SetPixelV(HDC hDC, int x, int y, COLORREF color);
KB_API COLORREF GetPixel(HDC hDC, int x, int y);

/* Fills with the brush from a point: up to a border of the colour (FLOODFILLBORDER), or over all that has the colour
 * (FLOODFILLSURFACE), four-connected. FALSE when the point can't be filled. Only contexts over pixels. */
KB_API BOOL ExtFloodFill(HDC hDC, int x, int y, COLORREF color, UINT type);

/* Blits. Widths and heights below 0 go left and up from the start. Rows that lie outside the source are left alone.
 * Source and destination may overlap. From one bit to more: 0 bits take the text colour, 1 bits the background colour of
 * the destination context, unless the source is a DIB section or has a palette of its own; to one bit: the background
 * colour of the source context is 1, else 0, unless the destination is such a one. Others go by nearest palette entry. */
KB_API BOOL PatBlt(HDC hDC, int x, int y, int width, int height, DWORD rop);
KB_API BOOL BitBlt(HDC hDC, int x, int y, int width, int height, HDC hSource, int xSource, int ySource, DWORD rop);
KB_API BOOL StretchBlt(HDC hDC, int x, int y, int width, int height, HDC hSource, int xSource, int ySource, int widthSource,
                       int heightSource, DWORD rop);
/* Pixels out of memory: 1, 4, 8, 16 (5-5-5 or masks), 24 or 32 bits, BI_RGB, BI_BITFIELDS; rows on 32 bits. ySource
 * counts from the bottom of an upright image. The caller vouches that pBits holds the image that the header tells. Gives
 * rows, 0 on failure. */
KB_API int StretchDIBits(HDC hDC, int x, int y, int width, int height, int xSource, int ySource, int widthSource,
                         int heightSource, const void* pBits, const BITMAPINFO* pInfo, UINT usage, DWORD rop);
/* `lines` rows in pBits, the first of which is row `start` from the bottom. */
KB_API int SetDIBitsToDevice(HDC hDC, int x, int y, DWORD width, DWORD height, int xSource, int ySource, UINT start,
                             UINT lines, const void* pBits, const BITMAPINFO* pInfo, UINT usage);

/* ---- text (windows-1252) ---- */

KB_API HFONT CreateFontA(int height, int width, int escapement, int orientation, int weight, DWORD italic, DWORD underline,
                         DWORD strikeOut, DWORD charSet, DWORD outPrecision, DWORD clipPrecision, DWORD quality,
                         DWORD pitchAndFamily, const char* pszFace);
KB_API HFONT CreateFontIndirectA(const LOGFONTA* pFont);
/* Draws `count` characters at x, y by the alignment; the cell's background too under OPAQUE. Raster operations don't
 * count. */
KB_API BOOL TextOutA(HDC hDC, int x, int y, const char* pText, int count);
/* options: ETO_OPAQUE fills pRect with the background colour, ETO_CLIPPED clips to it. pDx: advance of each character in
 * logical units, or null. */
KB_API BOOL ExtTextOutA(HDC hDC, int x, int y, UINT options, const RECT* pRect, const char* pText, UINT count,
                        const INT* pDx);
/* The same for UTF-16; pairs of surrogates are one character with one advance, in the place of the first. Characters that
 * the face lacks come from another face that has them. */
KB_API BOOL ExtTextOutW(HDC hDC, int x, int y, UINT options, const RECT* pRect, const uint16_t* pText, UINT count,
                        const INT* pDx);
/* Width of the advances, and cell height, as if not turned. */
KB_API BOOL GetTextExtentPoint32A(HDC hDC, const char* pText, int count, SIZE* pOut);
/* As above; with pFit the number of characters that fit into maxExtent, with pDx the widths of the partial texts. */
KB_API BOOL GetTextExtentExPointA(HDC hDC, const char* pText, int count, int maxExtent, INT* pFit, INT* pDx, SIZE* pOut);
/* Advances of the characters first to last (at most 255), in logical units. */
KB_API BOOL GetCharWidth32A(HDC hDC, UINT first, UINT last, INT* pOut);
KB_API BOOL GetTextMetricsA(HDC hDC, TEXTMETRICA* pOut);
/* Name of the face really in use, cut to size - 1 and ended; gives the bytes with the end, or with null the bytes needed. */
KB_API int GetTextFaceA(HDC hDC, int size, char* pszOut);
/* Makes all text use the built-in stroke alphabet from now on, or lets go of it. */
KB_API void KbUseBuiltInFont(BOOL bForce);

/* ---- metafile handles: checked blocks of bytes ---- */

/* A copy of `size` bytes that begin with a classic metafile's header; bytes behind its end are kept out. Null with the
 * last error ERROR_BAD_HANDLE when type, header size, size field or any record's length can't be right. Frees:
 * DeleteMetaFile. */
KB_API HMETAFILE SetMetaFileBitsEx(UINT size, const BYTE* pData);
/* Bytes copied, or with null the bytes there are; 0 when `size` is too small. */
KB_API UINT GetMetaFileBitsEx(HMETAFILE hMetafile, UINT size, void* pOut);
KB_API BOOL DeleteMetaFile(HMETAFILE hMetafile);
/* A handle of its own on the same bytes, which go with the last handle. pszFile must be null. Null on failure. */
KB_API HMETAFILE CopyMetaFileA(HMETAFILE hMetafile, const char* pszFile);
/* The same for enhanced metafiles: first record of type 1, signature " EMF", its size field within `size`. */
KB_API HENHMETAFILE SetEnhMetaFileBits(UINT size, const BYTE* pData);
KB_API UINT GetEnhMetaFileBits(HENHMETAFILE hMetafile, UINT size, BYTE* pOut);
KB_API BOOL DeleteEnhMetaFile(HENHMETAFILE hMetafile);
KB_API HENHMETAFILE CopyEnhMetaFileA(HENHMETAFILE hMetafile, const char* pszFile);

/* ---- recorded and played pictures ---- */

/* A context that records what is drawn as classic metafile records; pszFile must be null. Coordinates are kept as the
 * calls give them, held to 16 bits. Calls that a classic metafile can't hold answer failure, and the recording goes on
 * without them: polygons and texts above 32,767 points or characters, characters that no charset of a font has, image parts
 * beyond 16 bits, regions of more than 32,767 bands and all that is drawn while such a one is the clip, objects beyond
 * 32,767 at a time, flood fills, everything that reads pixels. A text with characters beyond its font's charset becomes
 * several, each with a font of a charset that has them. An image through a clip region becomes two blits, AND and OR,
 * because players scale images and not regions. It measures text with the screen's resolution; GetDeviceCaps(TECHNOLOGY) is
 * DT_METAFILE, GetObjectType OBJ_METADC. Ended by CloseMetaFile, or thrown away by DeleteDC. */
KB_API HDC CreateMetaFileA(const char* pszFile);
/* Ends the recording and frees its context; the metafile is the caller's. Null, with the context freed, when memory
 * failed at any time or the file would have become larger than 4 GiB. */
KB_API HMETAFILE CloseMetaFile(HDC hDC);
/* Plays all records on a context, through the context's own mapping. The context's state is as before afterwards, but for
 * the last error. FALSE when the play has been ended, by a broken record, for want of memory, or because the file asks for
 * work or memory out of all proportion to its size and the picture's (some seconds, some ten times the file): what came
 * before is drawn. FALSE too when the destination has refused a record, as a recording may; all others are drawn then. Flood
 * fills show on pixels only and are passed over elsewhere. */
KB_API BOOL PlayMetaFile(HDC hDC, HMETAFILE hMetafile);
/* Addition: plays a classic metafile so that pBox (its units: a placeable header's box, or the window that it sets; null:
 * the window that it sets first, or else the extent of what it draws) fills pTarget (logical units of the context; a
 * mirrored target mirrors). What a file does to its window moves its coordinates within that box, never the context's.
 * Results as PlayMetaFile. */
KB_API BOOL KbPlayMetaFile(HDC hDC, HMETAFILE hMetafile, const RECT* pBox, const RECT* pTarget);
/* Addition: what the function above goes by without a box. KB_SHAPE_WINDOW: pBox receives the window that the file sets
 * first, which may be upside down. KB_SHAPE_DRAWN: it sets none; pBox receives the extent of what it draws, a unit as a
 * pixel of a screen, at least one each way. KB_SHAPE_NONE for a file that draws nothing, a dead handle, or when memory
 * failed (last error ERROR_OUT_OF_MEMORY); pBox is left alone. */
enum { KB_SHAPE_NONE = 0, KB_SHAPE_WINDOW = 1, KB_SHAPE_DRAWN = 2 };
KB_API int KbMeasureMetaFile(HMETAFILE hMetafile, RECT* pBox);
/* Plays an enhanced metafile so that its frame fills pRect, logical units of the context, right and bottom excluded. Results
 * as PlayMetaFile. */
KB_API BOOL PlayEnhMetaFile(HDC hDC, HENHMETAFILE hMetafile, const RECT* pRect);

/* Addition: a context that draws on the pages of a PDF document. Units are pixels of the page's resolution. The bytes go
 * to `write` in order; it gives FALSE to end the document. The same drawing on the same pages gives the same bytes. Pixels
 * can't be read back: GetPixel gives CLR_INVALID, blits from the context and flood fills fail, and raster operations are
 * blend modes of the document (multiply for AND, screen for OR, difference for XOR), exact where all colours are black or
 * white. Images are embedded once, however often they are painted. GetDeviceCaps(TECHNOLOGY) is DT_RASPRINTER. Null when
 * memory fails. */
typedef BOOL (*KbWriteProc)(void* pContext, const void* pBytes, size_t bytes);
KB_API HDC KbCreatePdfDC(KbWriteProc write, void* pContext);
/* Begins a white page of that many pixels (1 to 2^20 a side) at a resolution of 1 to 32767 dots an inch, at most 29,000
 * inches a side; ends the one before. The context's state is as new. FALSE out of range or after a failed write. Until the
 * first page all drawing fails. */
KB_API BOOL KbStartPdfPage(HDC hDC, int width, int height, int dpiX, int dpiY);
/* Writes what is left and frees the context; FALSE when any byte could not be written, when anything that was drawn is
 * missing for want of memory, or when no page was begun and so nothing was written. DeleteDC throws it away: nothing more is
 * written. */
KB_API BOOL KbClosePdfDC(HDC hDC);

#ifdef __cplusplus
}
#endif
#endif
