// The coded dress of the token stream: a token is a tag and the length of what follows, values are little-endian binary.
// Reader and writer have the operations of those of the text form (text_lines.h), so that one walk over the fields serves
// both. They buffer a stream's bytes; over a memory block the reader looks at them where they lie.
#pragma once

#include "persist/stream.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace kbann {

inline constexpr size_t codedTokenBytes = 6; // u16 tag, u32 length

class CodedReader {
public:
    static constexpr uint64_t fewestPointBytes = 16; // a pair of doubles

    // Starts at the stream's present position, which is the reader's to move until finish().
    explicit CodedReader(AnnStream& stream) noexcept;
    CodedReader(const CodedReader&) = delete;
    CodedReader& operator=(const CodedReader&) = delete;

    // The next token; false when the data ends before it does.
    bool token(uint16_t& tag) noexcept {
        const uint8_t* bytes = take(codedTokenBytes);
        if (!bytes) return false;
        std::memcpy(&tag, bytes, sizeof tag);
        std::memcpy(&length_, bytes + sizeof tag, sizeof length_);
        return true;
    }
    // Steps over what the last token told to follow. It may lie beyond the data, where the next token then fails; false
    // on a fault of the stream.
    bool skip() noexcept;

    bool number(uint32_t& value) noexcept { return plain(value); }
    bool boolean(int32_t& value) noexcept {
        const uint8_t* byte = take(1);
        if (byte) value = *byte != 0;
        return byte;
    }
    bool real(double& value) noexcept { return plain(value); }
    // Bytes of the string that the last token holds.
    bool textLength(uint32_t& length) noexcept {
        length = length_;
        return true;
    }
    // `total` bytes, of which the first `keep` are stored. False when the data ends before.
    bool run(uint8_t* out, uint64_t keep, uint64_t total) noexcept;
    bool run(uint8_t* out, uint64_t total) noexcept { return run(out, total, total); }
    // `count` reals, one behind the other.
    bool reals(double* values, size_t count) noexcept {
        return run(reinterpret_cast<uint8_t*>(values), count * sizeof(double));
    }

    uint64_t position() const noexcept { return lastPosition_ - static_cast<uint64_t>(last_ - next_); }
    // Bytes from there on. What a count in the data claims must fit into them.
    uint64_t remaining() const noexcept { return position() < end_ ? end_ - position() : 0; }
    bool canHold(uint64_t bytes) const noexcept { return bytes <= remaining(); }
    // Puts the stream behind what has been read. False on a fault.
    bool finish() noexcept;

private:
    static constexpr size_t bufferBytes = 32768;

    // The next bytes in one piece, at most bufferBytes; null when the data ends before.
    const uint8_t* take(size_t count) noexcept {
        if (static_cast<size_t>(last_ - next_) < count && !refill(count)) return nullptr;
        const uint8_t* bytes = next_;
        next_ += count;
        return bytes;
    }
    template <class Value> bool plain(Value& value) noexcept {
        const uint8_t* bytes = take(sizeof value);
        if (bytes) std::memcpy(&value, bytes, sizeof value);
        return bytes;
    }
    bool refill(size_t wanted) noexcept;

    AnnStream& stream_;
    const uint8_t* next_ = nullptr;
    const uint8_t* last_ = nullptr;
    uint64_t lastPosition_ = 0; // stream position of last_
    uint64_t end_ = 0;          // stream position behind the data
    uint32_t length_ = 0;       // that the last token told
    bool inPlace_ = false;
    bool fault_ = false;
    uint8_t buffer_[bufferBytes];
};

class CodedWriter {
public:
    // Writes at the stream's present position, in large pieces.
    explicit CodedWriter(AnnStream& stream) noexcept : stream_(stream) {}
    CodedWriter(const CodedWriter&) = delete;
    CodedWriter& operator=(const CodedWriter&) = delete;

    // length: bytes that will follow. More than a token can tell fails the writer.
    void token(uint8_t tag, std::string_view, uint64_t length) noexcept {
        if (length > UINT32_MAX) failed_ = true;
        uint8_t* out = room(codedTokenBytes);
        const uint16_t number = tag;
        const auto told = static_cast<uint32_t>(length);
        std::memcpy(out, &number, sizeof number);
        std::memcpy(out + sizeof number, &told, sizeof told);
    }
    void number(uint32_t value) noexcept { plain(value); }
    void boolean(int32_t value) noexcept { *room(1) = value != 0; }
    void real(double value) noexcept { plain(value); }
    void text(const uint8_t* bytes, uint32_t length) noexcept { run(bytes, length); }
    void run(const uint8_t* bytes, size_t count) noexcept;
    void reals(const double* values, size_t count) noexcept {
        run(reinterpret_cast<const uint8_t*>(values), count * sizeof(double));
    }
    // Once a write has come up short all others do nothing.
    bool failed() const noexcept { return failed_; }
    // Sends what is held. SUCCESS or ERROR_FILE_WRITE.
    int finish() noexcept;

private:
    uint8_t* room(size_t size) noexcept {
        if (used_ + size > sizeof buffer_) flush();
        uint8_t* out = buffer_ + used_;
        used_ += size;
        return out;
    }
    template <class Value> void plain(Value value) noexcept { std::memcpy(room(sizeof value), &value, sizeof value); }
    void flush() noexcept;

    AnnStream& stream_;
    size_t used_ = 0;
    bool failed_ = false;
    uint8_t buffer_[static_cast<size_t>(streamPieceBytes)];
};

} // namespace kbann
