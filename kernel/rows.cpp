// Access to stored rows and single pixels. Reading never unshares; writing gives the record pixels of its own first.
#include "kernel/record.h"

#include <algorithm>

using namespace kb;

namespace {

bool isRow(const KernelBitmap& b, int row) { return row >= 0 && row < b.Height; }

} // namespace

extern "C" {

int K_BeginBitmapAccess(KernelBitmap* b) {
    const int result = checkImage(b);
    return result == SUCCESS ? 1 : result;
}

int K_EndBitmapAccess(KernelBitmap* b, int token) {
    if (token < 1) return ERROR_INV_PARAMETER;
    return checkImage(b);
}

int K_GetBitmapRow(const KernelBitmap* b, void* pBuffer, int row, int bytes) {
    if (const int result = checkImage(b); result != SUCCESS) return result;
    if (!pBuffer || bytes < 0 || !isRow(*b, row)) return ERROR_INV_PARAMETER;
    const int count = std::min(bytes, b->BytesPerLine);
    std::memcpy(pBuffer, rowOf(*b, row), static_cast<size_t>(count));
    return count;
}

int K_PutBitmapRow(KernelBitmap* b, const void* pBuffer, int row, int bytes) {
    if (const int result = checkOwnImage(b); result != SUCCESS) return result;
    if (!pBuffer || bytes < 0 || !isRow(*b, row)) return ERROR_INV_PARAMETER;
    if (const int result = unshare(b); result != SUCCESS) return result;
    const int count = std::min(bytes, b->BytesPerLine);
    std::memcpy(ownRowOf(*b, row), pBuffer, static_cast<size_t>(count));
    return count;
}

const uint8_t* K_BitmapRowPointer(const KernelBitmap* b, int row) {
    return checkImage(b) == SUCCESS && isRow(*b, row) ? rowOf(*b, row) : nullptr;
}

uint8_t* K_WritableBitmapRow(KernelBitmap* b, int row) {
    if (checkOwnImage(b) != SUCCESS || !isRow(*b, row) || unshare(b) != SUCCESS) return nullptr;
    return ownRowOf(*b, row);
}

COLORREF K_GetBitmapPixel(const KernelBitmap* b, int row, int column) {
    if (checkImage(b) != SUCCESS || !isRow(*b, row) || column < 0 || column >= b->Width) return CLR_INVALID;
    const uint32_t value = withPixels(b->BitsPerPixel, [&](auto pixel) { return pixel.get(rowOf(*b, row), column); });
    if (b->BitsPerPixel > 8) return toColorRef(directColor(colorLayout(*b), value));
    return value < b->nColors ? toColorRef(fromQuad(b->pPalette[value])) : 0;
}

} // extern "C"
