// Buffers of the coded dress. Short values come out of the buffer; long runs go past it.
#include "persist/coded_tokens.h"
#include "contracts/return_codes.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace kbann {

static_assert(std::endian::native == std::endian::little, "values are stored as they lie in memory");
static_assert(std::numeric_limits<double>::is_iec559);

CodedReader::CodedReader(AnnStream& stream) noexcept : stream_(stream) {
    inPlace_ = annInMemory(stream);
    fault_ = !annStreamEnd(stream, end_);
    if (inPlace_ && stream.uEnd) {
        const auto* bytes = static_cast<const uint8_t*>(stream.pBlock);
        next_ = bytes + stream.uPos;
        last_ = bytes + stream.uEnd;
        lastPosition_ = stream.uEnd;
    } else {
        next_ = last_ = buffer_;
        lastPosition_ = stream.uPos;
    }
}

bool CodedReader::refill(size_t wanted) noexcept {
    if (inPlace_) return false;
    auto kept = static_cast<size_t>(last_ - next_);
    std::memmove(buffer_, next_, kept);
    next_ = buffer_;
    while (kept < wanted && !fault_) {
        const int64_t got = stream_.pfnRead(stream_, buffer_ + kept, static_cast<int64_t>(bufferBytes - kept));
        fault_ = got < 0;
        if (got < 1) break;
        kept += static_cast<size_t>(got);
    }
    last_ = buffer_ + kept;
    lastPosition_ = stream_.uPos;
    return kept >= wanted;
}

bool CodedReader::skip() noexcept {
    const auto held = static_cast<size_t>(last_ - next_);
    if (length_ <= held) {
        next_ += length_;
        return true;
    }
    next_ = last_;
    if (inPlace_) return true;
    if (!annSeekTo(stream_, lastPosition_ + (length_ - held))) return false;
    lastPosition_ = stream_.uPos;
    return true;
}

bool CodedReader::run(uint8_t* out, uint64_t keep, uint64_t total) noexcept {
    if (!canHold(total)) return false;
    while (total) {
        const auto held = static_cast<uint64_t>(last_ - next_);
        if (!held && keep >= bufferBytes) {
            if (fault_) return false;
            const int64_t got = stream_.pfnRead(stream_, out, static_cast<int64_t>(keep));
            fault_ = got < 0;
            if (got < 1) return false;
            lastPosition_ = stream_.uPos;
            out += got;
            keep -= static_cast<uint64_t>(got);
            total -= static_cast<uint64_t>(got);
            continue;
        }
        if (!held && !refill(1)) return false;
        const uint64_t taken = std::min(total, static_cast<uint64_t>(last_ - next_));
        const uint64_t stored = std::min(taken, keep);
        if (stored) std::memcpy(out, next_, stored);
        next_ += taken;
        out += stored;
        keep -= stored;
        total -= taken;
    }
    return true;
}

bool CodedReader::finish() noexcept { return !fault_ && annSeekTo(stream_, position()); }

void CodedWriter::flush() noexcept {
    if (!failed_) failed_ = !annWriteAll(stream_, buffer_, used_);
    used_ = 0;
}

void CodedWriter::run(const uint8_t* bytes, size_t count) noexcept {
    if (count < sizeof buffer_) {
        if (count) std::memcpy(room(count), bytes, count);
        return;
    }
    flush();
    if (!failed_) failed_ = !annWriteAll(stream_, bytes, count);
}

int CodedWriter::finish() noexcept {
    flush();
    return failed_ ? ERROR_FILE_WRITE : SUCCESS;
}

} // namespace kbann
