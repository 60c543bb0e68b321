// Image files that stored data names. The data comes from anywhere, so a name may lead to a pipe that never ends or a device
// that acts on being opened: only regular files are looked at, and none when the host says so.
#include "rasterio/image_io.h"

#include <sys/stat.h>

#include <atomic>

namespace {

std::atomic<int> linkedFilePolicy{1};

} // namespace

extern "C" {

int K_SetLinkedFilePolicy(int policy) { return linkedFilePolicy.exchange(policy != 0); }

int K_LoadLinkedFile(const char* pszPath, KernelBitmap* b) {
    if (!b) return ERROR_INV_PARAMETER;
    *b = {};
    if (!pszPath) return ERROR_INV_PARAMETER;
    struct stat facts {};
    if (!linkedFilePolicy.load(std::memory_order_relaxed) || stat(pszPath, &facts) != 0 || !S_ISREG(facts.st_mode))
        return ERROR_FILE_OPEN;
    return K_LoadFile(pszPath, b, 0, 1, nullptr, nullptr);
}

} // extern "C"
