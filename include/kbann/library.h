/* Start and end of the library. Nobody has to call them: the first call of any K_Ann function in a process initialises
 * the library, and the end of the process terminates it.
 *
 * What holds for every function of the interface:
 * - Any thread may call. One tree is used by one thread at a time; the caller keeps to that.
 * - A result is SUCCESS (1) or a code of 0 or below (contracts/return_codes.h, texts in kbann/error_table.h).
 *   ERROR_INV_PARAMETER: a null or dead handle, a null pointer where one is needed, a value out of range.
 *   ERROR_FEATURE_NOT_SUPPORTED: the operation doesn't apply to the object's type. ERROR_NO_MEMORY: memory failed.
 * - After a failure the object is as it was, unless a comment tells what is lost. On a walk over several objects those
 *   before the failing one have changed.
 * - Texts are single-byte in the code page of the platform, zero-terminated, copied when they are set. Storing an empty
 *   text is the same as storing none; a getter then gives "".
 * - Pointers are borrowed for the time of the call. */
#ifndef KBANN_LIBRARY_H
#define KBANN_LIBRARY_H

#include "platform/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Initialises the library: loads the shared pictures, measures the screen, works out the default font size (ten points
 * in screen pixels). hModule: the module to be remembered as the library's; must not be null to count as initialised.
 * 1 when it has initialised, 0 without effect when the library is initialised already. Never fails for want of a
 * picture: what can't be loaded stays empty. */
KB_API int K_AnnInitLibrary(HMODULE hModule);

/* Frees what K_AnnInitLibrary has loaded; nothing happens when the library isn't initialised. Objects stay alive, but draw
 * without shared pictures. A first call from a new thread initialises the library afresh. */
KB_API void K_AnnTermLibrary(void);

#ifdef __cplusplus
}
#endif
#endif
