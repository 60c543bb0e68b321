/* Basic types of the operating environment, with the widths they have on every machine: LONG, DWORD, BOOL and
 * COLORREF are 32 bits also where the compiler's long is 64. Handles are pointers to incomplete structs, so that
 * kinds can't be mixed up; the value behind one is 32 bits wide and is never an address (platform/handle_table.h). */
#ifndef KB_PLATFORM_TYPES_H
#define KB_PLATFORM_TYPES_H

#include <stddef.h>
#include <stdint.h>

#define KB_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

typedef int32_t LONG;
typedef int32_t BOOL;
typedef int32_t INT;
typedef uint32_t UINT;
typedef uint32_t ULONG;
typedef uint32_t DWORD;
typedef uint16_t WORD;
typedef uint8_t BYTE;
typedef uint16_t ATOM;
typedef uint32_t COLORREF; /* 0x00BBGGRR */
typedef uintptr_t WPARAM;
typedef intptr_t LPARAM;
typedef intptr_t LRESULT;
typedef intptr_t LONG_PTR;
typedef uintptr_t ULONG_PTR;
typedef size_t SIZE_T;

typedef void* HANDLE;
typedef struct KbMemory* HGLOBAL;
typedef struct KbModule* HMODULE;
typedef HMODULE HINSTANCE;
typedef struct KbResource* HRSRC;
typedef struct KbWindow* HWND;
typedef struct KbMenu* HMENU;
typedef struct KbCursor* HCURSOR;
typedef struct KbDeviceContext* HDC;
typedef struct KbPen* HPEN;
typedef struct KbBrush* HBRUSH;
typedef struct KbFont* HFONT;
typedef struct KbBitmap* HBITMAP;
typedef struct KbRegion* HRGN;
typedef struct KbPalette* HPALETTE;
typedef struct KbMetafile* HMETAFILE;
typedef struct KbEnhMetafile* HENHMETAFILE;
typedef void* HGDIOBJ; /* any of pen, brush, font, bitmap, region, palette */

typedef struct POINT {
    LONG x, y;
} POINT;
typedef struct SIZE {
    LONG cx, cy;
} SIZE;
typedef struct RECT {
    LONG left, top, right, bottom;
} RECT;

#define TRUE 1
#define FALSE 0
#define RGB(r, g, b) ((COLORREF)((BYTE)(r) | ((WORD)(BYTE)(g) << 8) | ((DWORD)(BYTE)(b) << 16)))
#define GetRValue(c) ((BYTE)(c))
#define GetGValue(c) ((BYTE)((c) >> 8))
#define GetBValue(c) ((BYTE)((c) >> 16))

#ifdef __cplusplus
}
#endif
#endif
