// File operations of the engine on the system's descriptors, and the memory file "DUMMY" of a thread. Handles are the
// descriptors themselves; those of memory files begin far above any descriptor.
#include "contracts/raster_kernel.h"

#include "platform/sys.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

namespace {

constexpr int writeFlag = 1, bothFlag = 2, createFlag = 0x100, truncateFlag = 0x200, binaryFlag = 0x8000;
constexpr int writableMode = 0x80;
constexpr int firstMemoryHandle = std::numeric_limits<int>::max() / 2;
constexpr const char* memoryFileName = "DUMMY";

struct OpenMemory {
    bool open = false;
    const uint8_t* data = nullptr;
    size_t size = 0;
    int64_t position = 0;
};

struct ThreadMemoryFile {
    const void* data = nullptr;
    size_t size = 0;
    std::vector<OpenMemory> handles;
};
thread_local ThreadMemoryFile memoryFile;

OpenMemory* findMemory(int file) {
    if (file < firstMemoryHandle) return nullptr;
    const auto index = static_cast<size_t>(file - firstMemoryHandle);
    auto& handles = memoryFile.handles;
    return index < handles.size() && handles[index].open ? &handles[index] : nullptr;
}

int openMemory() {
    auto& handles = memoryFile.handles;
    const auto unused = std::find_if(handles.begin(), handles.end(), [](const OpenMemory& m) { return !m.open; });
    const auto index = unused - handles.begin();
    try {
        if (unused == handles.end()) handles.emplace_back();
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_OUT_OF_MEMORY);
        return -1;
    }
    handles[static_cast<size_t>(index)] = {true, static_cast<const uint8_t*>(memoryFile.data), memoryFile.size, 0};
    return firstMemoryHandle + static_cast<int>(index);
}

struct ErrorRow {
    int system;
    DWORD code;
};
constexpr ErrorRow errorRows[] = {
    {ENOENT, ERROR_FILE_MISSING},  {ENOTDIR, ERROR_PATH_MISSING}, {EACCES, ERROR_ACCESS_REFUSED},
    {EPERM, ERROR_ACCESS_REFUSED}, {EROFS, ERROR_ACCESS_REFUSED}, {EISDIR, ERROR_ACCESS_REFUSED},
    {EBADF, ERROR_BAD_HANDLE},     {ENOMEM, ERROR_OUT_OF_MEMORY}, {ENOSPC, ERROR_DISK_IS_FULL},
    {EDQUOT, ERROR_DISK_IS_FULL},
};

template <class Result> Result failed(Result result) {
    for (const ErrorRow& row : errorRows) {
        if (row.system != errno) continue;
        SetLastError(row.code);
        return result;
    }
    SetLastError(ERROR_ACCESS_REFUSED);
    return result;
}

template <class Call> auto untilDone(Call&& call) {
    decltype(call()) result;
    do result = call();
    while (result == -1 && errno == EINTR);
    return result;
}

} // namespace

extern "C" {

int K_FileOpen(const char* pszPath, int flags, int mode, intptr_t) {
    constexpr int known = 3 | createFlag | truncateFlag | binaryFlag;
    if (!pszPath || (flags & ~known) || (flags & 3) == 3) {
        SetLastError(ERROR_FILE_MISSING);
        return -1;
    }
    const int access = flags & 3;
    if (memoryFile.data && !std::strcmp(pszPath, memoryFileName)) {
        if (access || (flags & (createFlag | truncateFlag))) {
            SetLastError(ERROR_ACCESS_REFUSED);
            return -1;
        }
        return openMemory();
    }
    int systemFlags = O_CLOEXEC | (access == bothFlag ? O_RDWR : access == writeFlag ? O_WRONLY : O_RDONLY);
    if (flags & createFlag) systemFlags |= O_CREAT;
    if (flags & truncateFlag) systemFlags |= O_TRUNC;
    const mode_t rights = mode & writableMode ? 0666 : 0444;
    const int file = untilDone([&] { return open(pszPath, systemFlags, rights); });
    if (file < 0) return failed(-1);
    struct stat status;
    if (fstat(file, &status) || S_ISDIR(status.st_mode)) {
        close(file);
        SetLastError(ERROR_ACCESS_REFUSED);
        return -1;
    }
    return file;
}

int K_FileRead(int file, void* pBuffer, int count, intptr_t) {
    if (count < 0 || (!pBuffer && count)) {
        SetLastError(ERROR_BAD_HANDLE);
        return -1;
    }
    if (OpenMemory* memory = findMemory(file)) {
        const int64_t rest = std::max<int64_t>(0, static_cast<int64_t>(memory->size) - memory->position);
        const auto bytes = static_cast<int>(std::min<int64_t>(count, rest));
        if (bytes) std::memcpy(pBuffer, memory->data + memory->position, static_cast<size_t>(bytes));
        memory->position += bytes;
        return bytes;
    }
    // Pipes hand out less than was asked for before their end: go on until there is nothing more.
    int total = 0;
    while (total < count) {
        const ssize_t got =
            untilDone([&] { return read(file, static_cast<char*>(pBuffer) + total, static_cast<size_t>(count - total)); });
        if (got < 0) return failed(-1);
        if (!got) break;
        total += static_cast<int>(got);
    }
    return total;
}

int K_FileWrite(int file, const void* pBuffer, int count, intptr_t) {
    if (count < 0 || (!pBuffer && count) || findMemory(file)) {
        SetLastError(findMemory(file) ? ERROR_ACCESS_REFUSED : ERROR_BAD_HANDLE);
        return -1;
    }
    if (!count) {
        const off_t position = lseek(file, 0, SEEK_CUR);
        if (position < 0 || untilDone([&] { return ftruncate(file, position); })) return failed(-1);
        return 0;
    }
    int total = 0;
    while (total < count) {
        const ssize_t put = untilDone(
            [&] { return write(file, static_cast<const char*>(pBuffer) + total, static_cast<size_t>(count - total)); });
        if (!put) errno = ENOSPC; // asked again it might take nothing for ever
        if (put <= 0) return total ? (failed(0), total) : failed(-1);
        total += static_cast<int>(put);
    }
    return total;
}

int64_t K_FileSeek(int file, int64_t offset, int origin, intptr_t) {
    if (OpenMemory* memory = findMemory(file)) {
        const int64_t base = origin == SEEK_CUR   ? memory->position
                             : origin == SEEK_END ? static_cast<int64_t>(memory->size)
                                                  : 0;
        int64_t position;
        if (origin < SEEK_SET || origin > SEEK_END || __builtin_add_overflow(base, offset, &position) || position < 0) {
            SetLastError(ERROR_BAD_HANDLE);
            return -1;
        }
        return memory->position = position;
    }
    const off_t position = lseek(file, offset, origin);
    return position < 0 ? failed(int64_t{-1}) : position;
}

int K_FileClose(int file, intptr_t) {
    if (OpenMemory* memory = findMemory(file)) {
        *memory = {};
        return 0;
    }
    // A close that was interrupted has closed: a second one could hit another thread's descriptor.
    if (close(file) && errno != EINTR) return failed(-1);
    return 0;
}

void K_SetMemoryFile(const void* pData, size_t size) {
    memoryFile.data = pData;
    memoryFile.size = pData ? size : 0;
}

int K_GetMemoryFile(const void** ppData, size_t* pSize) {
    if (ppData) *ppData = memoryFile.data;
    if (pSize) *pSize = memoryFile.size;
    return memoryFile.data ? 1 : 0;
}

} // extern "C"
