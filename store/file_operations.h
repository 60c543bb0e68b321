// All file access of the engine goes through these five wrappers: each looks up the calling thread's block of file
// operations, which is made at its first use and holds the kernel's own.
#pragma once

#include <cstdint>

namespace kbann {

int ioOpen(const char* pszPath, int flags, int mode) noexcept;
int ioRead(int file, void* pBuffer, int count) noexcept;
int ioWrite(int file, const void* pBuffer, int count) noexcept;
int64_t ioSeek(int file, int64_t offset, int origin) noexcept;
int ioClose(int file) noexcept;

} // namespace kbann
