// Walks of the formats that look for what isn't part of the picture. Each tells its finds to one listener.
#pragma once

#include "rasterio/image_io.h"

namespace kb {

class LeftoverListener {
public:
    LeftoverListener(KernelLeftoverProc found, void* user) : found_(found), user_(user) {}
    void tell(int kind, uint64_t offset, uint32_t code = 0, int page = 0) {
        const KernelLeftover leftover{.nKind = kind, .nPage = page, .uCode = code, .uOffset = offset};
        if (result_ == SUCCESS) result_ = found_(&leftover, user_);
    }
    int result() const { return result_; }

private:
    KernelLeftoverProc found_;
    void* user_;
    int result_ = SUCCESS;
};

// SUCCESS or the code of a file that can't be read; what was found goes to the listener.
int findTiffLeftovers(ByteView file, LeftoverListener& listener);
int findPngLeftovers(ByteView file, LeftoverListener& listener);
int findJpegLeftovers(ByteView file, LeftoverListener& listener);
int findBmpLeftovers(ByteView file, LeftoverListener& listener);

inline bool isAllZero(ByteView bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte == 0; });
}
// Bits of the last byte that lie behind a row's end are zero.
inline bool isPaddedWithZeros(const uint8_t* row, uint64_t rowBits) {
    return rowBits % 8 == 0 || !(row[rowBits / 8] & 0xFFu >> rowBits % 8);
}

} // namespace kb
