// File and memory streams. A memory block is given to the caller of the save, so it grows through the kernel's block
// functions, which hand out movable memory; they grow a block amortised, so that the small steps here cost nothing.
#include "persist/stream.h"
#include "contracts/raster_kernel.h"
#include "store/file_operations.h"

#include <algorithm>
#include <cstring>

namespace kbann {
namespace {

int64_t readFile(AnnStream& stream, void* destination, int64_t count) {
    if (stream.uPos >= stream.uEnd) return 0;
    auto left = static_cast<int64_t>(
        std::min<uint64_t>(static_cast<uint64_t>(std::max<int64_t>(count, 0)), stream.uEnd - stream.uPos));
    auto* to = static_cast<char*>(destination);
    int64_t done = 0;
    while (left > 0) {
        const int got = ioRead(stream.file, to + done, static_cast<int>(std::min(left, streamPieceBytes)));
        if (got < 1) return got < 0 && done == 0 ? -1 : done;
        done += got;
        left -= got;
        stream.uPos += static_cast<uint64_t>(got);
    }
    return done;
}

int64_t writeFile(AnnStream& stream, const void* source, int64_t count) {
    if (count <= 0) return ioWrite(stream.file, source, 0);
    const auto* from = static_cast<const char*>(source);
    int64_t done = 0;
    while (done < count) {
        const int put = ioWrite(stream.file, from + done, static_cast<int>(std::min(count - done, streamPieceBytes)));
        if (put < 1) break;
        done += put;
        stream.uPos += static_cast<uint64_t>(put);
    }
    return done;
}

int64_t seekFile(AnnStream& stream, int64_t offset, int origin) {
    const int64_t position = ioSeek(stream.file, offset, origin);
    if (position < 0) return -1;
    stream.uPos = static_cast<uint64_t>(position);
    return position;
}

int64_t readMemory(AnnStream& stream, void* destination, int64_t count) {
    if (!destination || stream.uPos > stream.uEnd) return -1;
    const uint64_t taken = std::min(static_cast<uint64_t>(std::max<int64_t>(count, 0)), stream.uEnd - stream.uPos);
    if (taken) std::memcpy(destination, static_cast<const char*>(stream.pBlock) + stream.uPos, taken);
    stream.uPos += taken;
    return static_cast<int64_t>(taken);
}

// A block's size is handed out as 32 bits, so it stays below that.
void growBlock(AnnStream& stream, uint64_t needed) {
    const uint64_t size = (needed + streamGrowthBytes - 1) / streamGrowthBytes * streamGrowthBytes;
    if (size > UINT32_MAX) return;
    void* grown = stream.pBlock ? K_ReallocBlock(stream.pBlock, size) : K_AllocBlock(size);
    if (!grown) return;
    stream.pBlock = grown;
    stream.uLimit = size;
}

int64_t writeMemory(AnnStream& stream, const void* source, int64_t count) {
    if (count < 0 || (!source && count > 0) || stream.uPos > stream.uLimit) return -1;
    if (!source) {
        stream.uEnd = stream.uPos;
        return 0;
    }
    auto taken = static_cast<uint64_t>(count);
    if (taken > stream.uLimit - stream.uPos) growBlock(stream, stream.uPos + taken);
    taken = std::min(taken, stream.uLimit - stream.uPos);
    if (!taken) return 0;
    auto* bytes = static_cast<char*>(stream.pBlock);
    // What a seek has jumped over belongs to the data now.
    if (stream.uPos > stream.uEnd) std::memset(bytes + stream.uEnd, 0, stream.uPos - stream.uEnd);
    std::memcpy(bytes + stream.uPos, source, taken);
    stream.uPos += taken;
    stream.uEnd = std::max(stream.uEnd, stream.uPos);
    return static_cast<int64_t>(taken);
}

int64_t seekMemory(AnnStream& stream, int64_t offset, int origin) {
    uint64_t from = 0;
    switch (origin) {
    case 0: break;
    case 1: from = stream.uPos; break;
    case 2: from = stream.uEnd; break;
    default: return -1;
    }
    stream.uPos = from + static_cast<uint64_t>(offset);
    return static_cast<int64_t>(stream.uPos);
}

} // namespace

AnnStream annFileStream(int file, int64_t offset, uint32_t length) noexcept {
    const auto base = static_cast<uint64_t>(offset);
    const bool bounded = length != UINT32_MAX;
    return {readFile,
            writeFile,
            seekFile,
            base,
            file,
            nullptr,
            bounded ? length : noStreamLimit,
            bounded ? base + length : noStreamLimit,
            base};
}

AnnStream annMemoryStream(void* pBlock, uint64_t size) noexcept {
    return {readMemory, writeMemory, seekMemory, 0, -1, pBlock, size, size, 0};
}

bool annInMemory(const AnnStream& stream) noexcept { return stream.pfnRead == readMemory && stream.uPos <= stream.uEnd; }

bool annSeekTo(AnnStream& stream, uint64_t position) noexcept {
    const auto wanted = static_cast<int64_t>(position);
    return wanted >= 0 && stream.pfnSeek(stream, wanted, 0) == wanted;
}

bool annReadAll(AnnStream& stream, void* destination, uint64_t count) noexcept {
    const auto wanted = static_cast<int64_t>(count);
    return stream.pfnRead(stream, destination, wanted) == wanted;
}

bool annWriteAll(AnnStream& stream, const void* source, uint64_t count) noexcept {
    const auto wanted = static_cast<int64_t>(count);
    return !count || stream.pfnWrite(stream, source, wanted) == wanted;
}

bool annCut(AnnStream& stream) noexcept { return stream.pfnWrite(stream, nullptr, 0) == 0; }

bool annStreamEnd(AnnStream& stream, uint64_t& end) noexcept {
    const uint64_t here = stream.uPos;
    const int64_t last = stream.pfnSeek(stream, 0, 2);
    if (last < 0) return false;
    end = std::min(static_cast<uint64_t>(last), stream.uEnd);
    return annSeekTo(stream, here);
}

} // namespace kbann
