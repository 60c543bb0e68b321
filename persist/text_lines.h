// Lines of the text form, read and written over a stream: keywords, numbers and runs of bytes, six bits to a printable
// character. Reader and writer bring the buffers that a stream hasn't; over a memory block the reader looks at the bytes
// where they lie. A view of a line holds until the next one is asked for.
#pragma once

#include "persist/stream.h"
#include "platform/sys.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kbann {

inline constexpr size_t longestLine = 80;      // bytes looked at for one line
inline constexpr size_t encodedLineBytes = 45; // bytes in a full encoded line, 60 characters

// Memory that grows to the largest piece asked for; used again for every field.
class Scratch {
public:
    Scratch() = default;
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() { KbFree(bytes_); }
    // Room for `size` bytes, their content unknown; null when memory fails.
    uint8_t* room(size_t size) noexcept;

private:
    uint8_t* bytes_ = nullptr;
    size_t size_ = 0;
};

class TextReader {
public:
    static constexpr uint64_t fewestPointBytes = 4; // two numbers of one digit with their line ends

    // Starts at the stream's present position, which is the reader's to move until finish().
    explicit TextReader(AnnStream& stream) noexcept;
    TextReader(const TextReader&) = delete;
    TextReader& operator=(const TextReader&) = delete;

    // The next line; empty at the end of the data and on a NUL. False on a fault of the stream.
    bool line(std::string_view& out) noexcept;
    // A line with a number; false when it is none.
    bool number(uint32_t& value) noexcept;
    bool boolean(int32_t& value) noexcept; // any number; gives 0 or 1
    bool real(double& value) noexcept;
    bool reals(double* values, size_t count) noexcept;
    bool textLength(uint32_t& length) noexcept { return number(length); }
    bool skip() noexcept { return false; } // nothing tells how long the values of an unknown keyword are
    // A run of `total` encoded bytes, of which the first `keep` are stored. False when the data ends before.
    bool run(uint8_t* out, uint64_t keep, uint64_t total) noexcept;
    bool run(uint8_t* out, uint64_t total) noexcept { return run(out, total, total); }

    // Where the next line begins.
    uint64_t position() noexcept;
    // Bytes from there on. What a count in the data claims must fit into them.
    uint64_t remaining() noexcept;
    // Whether what is left can hold a run of that many bytes.
    bool canHold(uint64_t bytes) noexcept { return bytes / 3 <= remaining() / 4; }
    // Puts the stream where the next line begins. False on a fault.
    bool finish() noexcept;

private:
    static constexpr size_t bufferBytes = 16384;
    bool refill() noexcept;
    void skipLineEnd() noexcept;

    AnnStream& stream_;
    const char* next_ = nullptr;
    const char* last_ = nullptr;
    uint64_t lastPosition_ = 0; // stream position of last_
    uint64_t end_ = 0;          // stream position behind the data
    bool inPlace_ = false;
    bool lineEndDue_ = false;
    bool fault_ = false;
    char buffer_[bufferBytes];
};

class TextWriter {
public:
    // Writes at the stream's present position, in large pieces.
    explicit TextWriter(AnnStream& stream) noexcept : stream_(stream) {}
    TextWriter(const TextWriter&) = delete;
    TextWriter& operator=(const TextWriter&) = delete;

    void line(std::string_view text) noexcept;
    // A keyword. Number and length belong to the coded dress.
    void token(uint8_t, std::string_view keyword, uint64_t) noexcept { line(keyword); }
    void number(uint32_t value) noexcept;
    void boolean(int32_t value) noexcept { line(value ? "1" : "0"); }
    void real(double value) noexcept;
    void reals(const double* values, size_t count) noexcept;
    void run(const uint8_t* bytes, size_t count) noexcept;
    // Its length, then its bytes.
    void text(const uint8_t* bytes, uint32_t length) noexcept {
        number(length);
        run(bytes, length);
    }
    // Once a write has come up short all others do nothing.
    bool failed() const noexcept { return failed_; }
    // Sends what is held. SUCCESS or ERROR_FILE_WRITE.
    int finish() noexcept;

private:
    char* room(size_t size) noexcept; // room for one line
    void endLine(char* end) noexcept;
    void flush() noexcept;

    AnnStream& stream_;
    size_t used_ = 0;
    bool failed_ = false;
    char buffer_[static_cast<size_t>(streamPieceBytes)];
};

// One line by itself. ERROR_FILE_READ on a fault; `out` has room for longestLine bytes.
int annReadLine(AnnStream& stream, char* out, size_t& length) noexcept;

// Hide a run from the eye: each byte is combined with the one before it in the hidden run. No secret: what is asked
// for is that keys and covered pixels can't be read or searched in the stored text.
void annScramble(uint8_t* out, const uint8_t* in, size_t count) noexcept; // not in place
void annUnscramble(uint8_t* bytes, size_t count) noexcept;                // in place

} // namespace kbann
