/* Process services of the operating environment: movable memory, atoms, resources linked into a module, locale,
 * last error, threads and the debug output. Names, argument order and results are those of the system the engine
 * was written for; names that begin with Kb are additions of this layer. */
#ifndef KB_PLATFORM_SYS_H
#define KB_PLATFORM_SYS_H

#include "platform/types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define GMEM_FIXED 0x0000u
#define GMEM_MOVEABLE 0x0002u
#define GMEM_ZEROINIT 0x0040u
#define GMEM_INVALID_HANDLE 0x8000u
#define GHND (GMEM_MOVEABLE | GMEM_ZEROINIT)

#define ERROR_FILE_MISSING 2u   /* last error: the file isn't there */
#define ERROR_PATH_MISSING 3u   /* last error: a folder of the path isn't there */
#define ERROR_ACCESS_REFUSED 5u /* last error: no permission, or a folder where a file was asked for */
#define ERROR_BAD_HANDLE 6u     /* last error: the handle isn't a live one */
#define ERROR_OUT_OF_MEMORY 8u  /* last error: no memory */
#define ERROR_DISK_IS_FULL 112u /* last error: the device has no room left */

#define RT_CURSOR 1
#define RT_BITMAP 2
#define RT_RCDATA 10

/* Allocates a memory block of `size` bytes (0 is allowed). Every block has a handle; its bytes never move while it is
 * locked. Null when memory fails. The caller frees it with GlobalFree. */
KB_API HGLOBAL GlobalAlloc(UINT flags, SIZE_T size);
/* Changes the size; bytes added are zero under GMEM_ZEROINIT. Null on failure, and the block is as it was. The handle
 * stays the same. Grows amortised: the size shown is the size asked for. */
KB_API HGLOBAL GlobalReAlloc(HGLOBAL hMem, SIZE_T size, UINT flags);
/* Frees a block, locked or not. Null on success, the handle itself when it isn't a live block. */
KB_API HGLOBAL GlobalFree(HGLOBAL hMem);
/* Address of the block's bytes and one lock more, or null for a dead handle. */
KB_API void* GlobalLock(HGLOBAL hMem);
/* One lock less; 0 when none is left or the handle is dead. */
KB_API BOOL GlobalUnlock(HGLOBAL hMem);
/* Lock count in the low byte, or GMEM_INVALID_HANDLE for anything but a live block. */
KB_API UINT GlobalFlags(HGLOBAL hMem);
/* Bytes of the block, 0 for a dead handle. */
KB_API SIZE_T GlobalSize(HGLOBAL hMem);
/* Handle of the block that begins at `pMem`, an address given by GlobalLock; null for an address that isn't one. */
KB_API HGLOBAL GlobalHandle(const void* pMem);

/* Adds a text of 1 to 255 bytes to the atom table, or one use of it; compared without regard to case. 0 on failure. */
KB_API ATOM AddAtomA(const char* pszText);
/* One use less. 0 on success, the atom itself when it isn't one. */
KB_API ATOM DeleteAtom(ATOM atom);
KB_API ATOM FindAtomA(const char* pszText);
/* Copies the atom's text, cut to size - 1 bytes and ended; gives the bytes copied, 0 for no such atom. */
KB_API UINT GetAtomNameA(ATOM atom, char* pszText, int size);

/* One resource linked into a module. `pData` lives as long as the module. */
typedef struct KbResourceEntry {
    uint16_t uType; /* RT_BITMAP, RT_RCDATA ... */
    uint16_t uId;
    uint32_t uSize;
    const void* pData;
} KbResourceEntry;

/* Makes a module known under a name with its table of resources (borrowed). Null when memory fails. */
KB_API HMODULE KbRegisterModule(const char* pszName, const KbResourceEntry* pEntries, UINT count);
KB_API BOOL KbUnregisterModule(HMODULE hModule);
/* Handle of a registered module by name; null asks for the program itself, which always has one. */
KB_API HMODULE GetModuleHandleA(const char* pszName);
/* `id` and `type` are numbers. Null when the module has no such resource. */
KB_API HRSRC FindResourceA(HMODULE hModule, UINT id, UINT type);
KB_API HGLOBAL LoadResource(HMODULE hModule, HRSRC hResource);
KB_API const void* LockResource(HGLOBAL hLoaded);
KB_API DWORD SizeofResource(HMODULE hModule, HRSRC hResource);
KB_API BOOL DisableThreadLibraryCalls(HMODULE hModule);

KB_API DWORD GetCurrentThreadId(void);
KB_API HANDLE GetCurrentThread(void);
KB_API LONG InterlockedIncrement(volatile LONG* pValue); /* the new value */
KB_API LONG InterlockedDecrement(volatile LONG* pValue); /* the new value */
KB_API DWORD GetLastError(void);                         /* of the calling thread */
KB_API void SetLastError(DWORD code);
/* number x numerator / denominator in 64 bits, rounded half away from zero; -1 for a zero denominator or overflow. */
KB_API int MulDiv(int number, int numerator, int denominator);

/* Hands a line to the host's sink; silent until one is set. */
KB_API void OutputDebugStringA(const char* pszText);
typedef void (*KbDebugSink)(const char* pszText, void* pUser);
KB_API void KbSetDebugSink(KbDebugSink sink, void* pUser);

/* The locale of the environment, "C" unless the host sets one; no conversion of ours depends on it. "" asks for the
 * host's default. Gives the name now in force, borrowed; null asks only. */
KB_API const char* KbSetLocale(const char* pszName);
KB_API void KbSetHostLocale(const char* pszName);

/* Allocation of all floors below the engine; null when memory fails. */
KB_API void* KbAlloc(SIZE_T size);
KB_API void* KbAllocZero(SIZE_T count, SIZE_T size);
KB_API void* KbRealloc(void* p, SIZE_T size);
KB_API void KbFree(void* p);
/* For tests: called before every allocation of this layer with its size; an answer of 0 makes the allocation fail. */
typedef BOOL (*KbAllocationHook)(SIZE_T size, void* pUser);
KB_API void KbSetAllocationHook(KbAllocationHook hook, void* pUser);
/* Asks the hook: for pools, whose memory isn't allocated piece by piece. */
KB_API BOOL KbMayAllocate(SIZE_T size);

#ifdef __cplusplus
}
#endif
#endif
