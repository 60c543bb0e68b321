// Settings of the kernel: the display mode of a thread, the process's conversion setting, and attachment.
#include "contracts/raster_kernel.h"

#include <atomic>

namespace {

thread_local uint32_t displayMode = 0;
std::atomic<uint64_t> conversionSetting{0}; // both words in one, so that a reader never sees half a change

} // namespace

extern "C" {

uint32_t K_SetDisplayMode(uint32_t mask, uint32_t value) {
    const uint32_t old = displayMode;
    displayMode = (old & ~mask) | (value & mask);
    return old;
}

void K_GetConversionSetting(uint32_t* pOut) {
    if (!pOut) return;
    const uint64_t setting = conversionSetting.load();
    pOut[0] = static_cast<uint32_t>(setting);
    pOut[1] = static_cast<uint32_t>(setting >> 32);
}

void K_SetConversionSetting(uint32_t first, uint32_t second) {
    conversionSetting.store(first | static_cast<uint64_t>(second) << 32);
}

int K_AttachModule(int module) { return module > 0 ? SUCCESS : ERROR_INV_PARAMETER; }
int K_ThreadStartup(void) { return SUCCESS; }

} // extern "C"
