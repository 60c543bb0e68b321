/* The part of the window system that the engine's ground floors send to: windows as handles with a procedure on an
 * in-memory desktop, messages sent at once, repaint requests recorded, system colours and sizes, clipboard format names. */
#ifndef KB_PLATFORM_USER_H
#define KB_PLATFORM_USER_H

#include "platform/types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define WM_USER 0x0400u
#define GWLP_WNDPROC (-4)
#define GWLP_USERDATA (-21)

enum {
    COLOR_WINDOW = 5,
    COLOR_WINDOWFRAME = 6,
    COLOR_WINDOWTEXT = 8,
    COLOR_BTNFACE = 15,
    COLOR_BTNSHADOW = 16,
    COLOR_BTNTEXT = 18,
    COLOR_BTNHIGHLIGHT = 20
};

enum { SM_CXSCREEN = 0, SM_CYSCREEN = 1, SM_CXBORDER = 5, SM_CYBORDER = 6, SM_CXDOUBLECLK = 36, SM_CYDOUBLECLK = 37 };

typedef LRESULT (*WNDPROC)(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam);

/* A window with that procedure (null: DefWindowProcA) and client rectangle 0, 0, width, height. Null when memory fails.
 * DestroyWindow frees it. */
KB_API HWND KbCreateWindow(WNDPROC procedure, LONG_PTR userData, int width, int height);
KB_API BOOL DestroyWindow(HWND hWnd);
KB_API BOOL IsWindow(HWND hWnd);
KB_API BOOL GetClientRect(HWND hWnd, RECT* pRect);
/* Reads or replaces the procedure or the user's word; gives the earlier value, 0 for a dead handle. */
KB_API LONG_PTR GetWindowLongPtrA(HWND hWnd, int index);
KB_API LONG_PTR SetWindowLongPtrA(HWND hWnd, int index, LONG_PTR value);
/* Calls the window's procedure at once and gives its answer; 0 for a dead handle. */
KB_API LRESULT SendMessageA(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam);
KB_API LRESULT DefWindowProcA(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam);
/* Adds a rectangle (null: the whole client area) to what the window has to repaint. Empty rectangles add nothing. */
KB_API BOOL InvalidateRect(HWND hWnd, const RECT* pRect, BOOL bErase);
/* Bounding rectangle of what has to be repainted, as one rectangle; FALSE when there is nothing. */
KB_API BOOL GetUpdateRect(HWND hWnd, RECT* pRect, BOOL bErase);
KB_API BOOL ValidateRect(HWND hWnd, const RECT* pRect);
/* Addition: the requests themselves since the last ValidateRect, oldest first, at most 65,536 are kept; gives their number
 * and copies up to `capacity` of them. */
KB_API UINT KbGetInvalidRects(HWND hWnd, RECT* pRects, UINT capacity);

/* Properties of a window under an atom. */
KB_API BOOL SetPropA(HWND hWnd, ATOM atom, HANDLE value);
KB_API HANDLE GetPropA(HWND hWnd, ATOM atom);
KB_API HANDLE RemovePropA(HWND hWnd, ATOM atom);

KB_API COLORREF GetSysColor(int index); /* 0 for an unknown index */
KB_API int GetSystemMetrics(int index); /* 0 for an unknown index */

/* ---- clipboard ---- */

enum { CF_TEXT = 1, CF_BITMAP = 2, CF_METAFILEPICT = 3, CF_DIB = 8, CF_PALETTE = 9, CF_ENHMETAFILE = 14 };

/* One store of handles by format for the whole process. Whoever has opened it holds it against all other threads and
 * windows. */

/* A number from 0xC000 up for a format name, the same for the same name; 0 on failure. */
KB_API UINT RegisterClipboardFormatA(const char* pszName);
KB_API int GetClipboardFormatNameA(UINT format, char* pszName, int size);
/* Opens it for a window, or for the calling thread alone with null. FALSE for a dead window, and while another window or
 * another thread has it open; opening it once more for the same is one opening. */
KB_API BOOL OpenClipboard(HWND hNewOwner);
/* FALSE if the calling thread hasn't opened it. */
KB_API BOOL CloseClipboard(void);
/* Frees what is there and makes the window that has it open its owner, or nobody. FALSE if the calling thread hasn't opened
 * it. */
KB_API BOOL EmptyClipboard(void);
/* Gives data to the clipboard, which frees what stood under that format before and this when it is emptied. hData: a block
 * of GlobalAlloc, for CF_METAFILEPICT one that holds a METAFILEPICT, whose metafile goes along; for CF_BITMAP, CF_PALETTE and
 * CF_ENHMETAFILE such an object. hData again; null, with hData still the caller's, if the calling thread hasn't opened it, for
 * format 0 and for a dead block. */
KB_API HANDLE SetClipboardData(UINT format, HANDLE hData);
/* The data of a format, borrowed until the clipboard is emptied; null if there is none, or if the calling thread hasn't
 * opened it. */
KB_API HANDLE GetClipboardData(UINT format);
/* These need no opening. */
KB_API BOOL IsClipboardFormatAvailable(UINT format);
KB_API int CountClipboardFormats(void);
KB_API HWND GetClipboardOwner(void);
KB_API HWND GetOpenClipboardWindow(void);

#ifdef __cplusplus
}
#endif
#endif
