// Lines and encoded runs. Reading is bound by the search for line ends, so that looks at eight bytes at once; runs are
// decoded four characters at a time while they lie on whole groups.
#include "persist/text_lines.h"
#include "contracts/return_codes.h"
#include "persist/text_numbers.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace kbann {
namespace {

constexpr uint8_t scrambleSeed = 0xA5;
constexpr char firstCode = ' ';
static_assert(std::endian::native == std::endian::little);

// A byte from 0x80 on is negative and ends a line too.
bool endsLine(char c) { return static_cast<signed char>(c) < 32; }

// Characters before the first byte that ends a line.
size_t lineLength(const char* text, size_t most) {
    constexpr uint64_t high = 0x8080'8080'8080'8080, low = 0x2020'2020'2020'2020;
    size_t i = 0;
    for (; i + 8 <= most; i += 8) {
        uint64_t bytes;
        std::memcpy(&bytes, text + i, 8);
        // The high bit of each byte: set where that byte is 0x80 and above, or below 0x20.
        const uint64_t ends = (bytes | ~((bytes | high) - low)) & high;
        if (ends) return i + static_cast<size_t>(std::countr_zero(ends)) / 8;
    }
    while (i < most && !endsLine(text[i])) ++i;
    return i;
}

uint32_t codeOf(char c) { return static_cast<uint32_t>(c - firstCode) & 63; }

char* putGroup(char* out, uint32_t bits, int characters) {
    for (int shift = 18; characters > 0; --characters, shift -= 6)
        *out++ = static_cast<char>(firstCode + (bits >> shift & 63));
    return out;
}

} // namespace

uint8_t* Scratch::room(size_t size) noexcept {
    if (size <= size_ && bytes_) return bytes_;
    const size_t grown = std::max<size_t>(size, 256);
    void* fresh = KbAlloc(grown);
    if (!fresh) return nullptr;
    KbFree(bytes_);
    bytes_ = static_cast<uint8_t*>(fresh);
    size_ = grown;
    return bytes_;
}

TextReader::TextReader(AnnStream& stream) noexcept : stream_(stream) {
    inPlace_ = annInMemory(stream);
    fault_ = !annStreamEnd(stream, end_);
    if (inPlace_ && stream.uEnd) {
        const auto* bytes = static_cast<const char*>(stream.pBlock);
        next_ = bytes + stream.uPos;
        last_ = bytes + stream.uEnd;
        lastPosition_ = stream.uEnd;
    } else {
        next_ = last_ = buffer_;
        lastPosition_ = stream.uPos;
    }
}

bool TextReader::refill() noexcept {
    if (inPlace_ || fault_) return false;
    const auto kept = static_cast<size_t>(last_ - next_);
    std::memmove(buffer_, next_, kept);
    const int64_t got = stream_.pfnRead(stream_, buffer_ + kept, static_cast<int64_t>(bufferBytes - kept));
    next_ = buffer_;
    last_ = buffer_ + kept + (got > 0 ? got : 0);
    lastPosition_ = stream_.uPos;
    fault_ = got < 0;
    return got > 0;
}

// Line ends are stepped over before the next line is read, so that a view of the last one stays good until then.
void TextReader::skipLineEnd() noexcept {
    if (!lineEndDue_) return;
    lineEndDue_ = false;
    do {
        while (next_ < last_ && *next_ && endsLine(*next_)) ++next_;
    } while (next_ == last_ && refill());
}

bool TextReader::line(std::string_view& out) noexcept {
    skipLineEnd();
    while (static_cast<size_t>(last_ - next_) < longestLine && refill()) {}
    if (fault_) return false;
    const size_t length = lineLength(next_, std::min(static_cast<size_t>(last_ - next_), longestLine));
    out = {next_, length};
    next_ += length;
    lineEndDue_ = true;
    return true;
}

bool TextReader::number(uint32_t& value) noexcept {
    std::string_view text;
    return line(text) && annParseU32(text, value);
}

bool TextReader::boolean(int32_t& value) noexcept {
    uint32_t number = 0;
    if (!this->number(number)) return false;
    value = number != 0;
    return true;
}

bool TextReader::real(double& value) noexcept {
    std::string_view text;
    return line(text) && annParseReal(text, value);
}

bool TextReader::reals(double* values, size_t count) noexcept {
    for (size_t i = 0; i < count; ++i) {
        if (!real(values[i])) return false;
    }
    return true;
}

bool TextReader::run(uint8_t* out, uint64_t keep, uint64_t total) noexcept {
    uint64_t done = 0;
    uint32_t bits = 0;
    int held = 0;
    while (done < total) {
        std::string_view text;
        if (!line(text) || text.empty()) return false;
        const char* p = text.data();
        const char* const end = p + text.size();
        for (; held == 0 && end - p >= 4 && done + 3 <= keep; p += 4, done += 3) {
            const uint32_t group = codeOf(p[0]) << 18 | codeOf(p[1]) << 12 | codeOf(p[2]) << 6 | codeOf(p[3]);
            out[done] = static_cast<uint8_t>(group >> 16);
            out[done + 1] = static_cast<uint8_t>(group >> 8);
            out[done + 2] = static_cast<uint8_t>(group);
        }
        for (; p < end && done < total; ++p) {
            bits = bits << 6 | codeOf(*p);
            held += 6;
            if (held < 8) continue;
            held -= 8;
            if (done < keep) out[done] = static_cast<uint8_t>(bits >> held);
            ++done;
        }
    }
    return true;
}

uint64_t TextReader::position() noexcept {
    skipLineEnd();
    return lastPosition_ - static_cast<uint64_t>(last_ - next_);
}

uint64_t TextReader::remaining() noexcept {
    const uint64_t here = position();
    return here < end_ ? end_ - here : 0;
}

bool TextReader::finish() noexcept {
    const uint64_t here = position();
    return !fault_ && annSeekTo(stream_, here);
}

char* TextWriter::room(size_t size) noexcept {
    if (used_ + size + 2 > sizeof buffer_) flush();
    return buffer_ + used_;
}

void TextWriter::endLine(char* end) noexcept {
    *end++ = '\r';
    *end++ = '\n';
    used_ = static_cast<size_t>(end - buffer_);
}

void TextWriter::flush() noexcept {
    if (!failed_) failed_ = !annWriteAll(stream_, buffer_, used_);
    used_ = 0;
}

void TextWriter::line(std::string_view text) noexcept {
    char* out = room(text.size());
    std::memcpy(out, text.data(), text.size());
    endLine(out + text.size());
}

void TextWriter::number(uint32_t value) noexcept {
    char* out = room(numberRoom);
    endLine(annPutU32(out, value));
}

void TextWriter::real(double value) noexcept {
    char* out = room(numberRoom);
    endLine(annPutReal(out, value));
}

void TextWriter::reals(const double* values, size_t count) noexcept {
    for (size_t i = 0; i < count && !failed_; ++i) real(values[i]);
}

void TextWriter::run(const uint8_t* bytes, size_t count) noexcept {
    while (count && !failed_) {
        const size_t taken = std::min(count, encodedLineBytes);
        char* out = room(longestLine);
        size_t i = 0;
        for (; i + 3 <= taken; i += 3) {
            const uint32_t group =
                static_cast<uint32_t>(bytes[i]) << 16 | static_cast<uint32_t>(bytes[i + 1]) << 8 | bytes[i + 2];
            out = putGroup(out, group, 4);
        }
        if (taken - i == 2)
            out = putGroup(out, static_cast<uint32_t>(bytes[i]) << 16 | static_cast<uint32_t>(bytes[i + 1]) << 8, 3);
        if (taken - i == 1) out = putGroup(out, static_cast<uint32_t>(bytes[i]) << 16, 2);
        endLine(out);
        bytes += taken;
        count -= taken;
    }
}

int TextWriter::finish() noexcept {
    flush();
    return failed_ ? ERROR_FILE_WRITE : SUCCESS;
}

int annReadLine(AnnStream& stream, char* out, size_t& length) noexcept {
    TextReader reader(stream);
    std::string_view text;
    if (!reader.line(text)) return ERROR_FILE_READ;
    std::copy(text.begin(), text.end(), out);
    length = text.size();
    return reader.finish() ? SUCCESS : ERROR_FILE_READ;
}

void annScramble(uint8_t* out, const uint8_t* in, size_t count) noexcept {
    uint8_t before = scrambleSeed;
    for (size_t i = 0; i < count; ++i) out[i] = before = in[i] ^ before;
}

void annUnscramble(uint8_t* bytes, size_t count) noexcept {
    uint8_t before = scrambleSeed;
    for (size_t i = 0; i < count; ++i) {
        const uint8_t hidden = bytes[i];
        bytes[i] = hidden ^ before;
        before = hidden;
    }
}

} // namespace kbann
