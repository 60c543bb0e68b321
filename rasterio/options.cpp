// Option records, process-wide limits and the resolution for vector files.
#include "rasterio/image_io.h"

#include <atomic>

namespace {

constexpr uint64_t defaultPixelLimit = uint64_t{1} << 28;
std::atomic<uint64_t> pixelLimit{defaultPixelLimit};
std::atomic<int> vectorResolution{0};

static_assert(sizeof(KernelLoadOptions) == 44 && sizeof(KernelSaveOptions) == 1646);

} // namespace

namespace kb {

LoadLimits limitsOf(const KernelLoadOptions* options) {
    LoadLimits limits{.page = 1, .pixels = pixelLimit.load()};
    if (!options) return limits;
    if (options->nPageNumber) limits.page = options->nPageNumber;
    if (options->uMaxPixels) limits.pixels = std::min<uint64_t>(limits.pixels, options->uMaxPixels);
    return limits;
}

int checkSize(uint64_t width, uint64_t height, const LoadLimits& limits) {
    if (width < 1 || height < 1 || width > maxBitmapSide || height > maxBitmapSide) return ERROR_FILE_READ;
    return width * height > limits.pixels ? ERROR_NO_MEMORY : SUCCESS;
}

} // namespace kb

extern "C" {

int K_DefaultLoadOptions(KernelLoadOptions* pOptions, uint32_t uSize) {
    if (!pOptions || uSize != sizeof *pOptions) return ERROR_INV_PARAMETER;
    *pOptions = {};
    pOptions->uStructSize = uSize;
    pOptions->nPageNumber = 1;
    return SUCCESS;
}

int K_DefaultSaveOptions(KernelSaveOptions* pOptions, uint32_t uSize) {
    if (!pOptions || uSize != sizeof *pOptions) return ERROR_INV_PARAMETER;
    *pOptions = {};
    pOptions->uStructSize = uSize;
    pOptions->nPageNumber = 1;
    return SUCCESS;
}

int K_GetVectorResolution(int* pOut) {
    if (!pOut) return ERROR_INV_PARAMETER;
    *pOut = vectorResolution.load();
    return SUCCESS;
}

int K_SetVectorResolution(int value) {
    if (value < 0) return ERROR_INV_PARAMETER;
    vectorResolution.store(value);
    return SUCCESS;
}

uint64_t K_GetPixelLimit() { return pixelLimit.load(); }

uint64_t K_SetPixelLimit(uint64_t pixels) { return pixelLimit.exchange(pixels ? pixels : defaultPixelLimit); }

} // extern "C"
