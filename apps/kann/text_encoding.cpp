// The code page differs from Latin-1 in the 32 bytes from 0x80 on alone, so one table of 32 serves both ways.
#include "apps/kann/text_encoding.h"

#include "apps/kann/failure.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace kann {

namespace {

constexpr std::array<char32_t, 32> from80{0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                          0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D,   0x017D, 0x8F,
                                          0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                          0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

constexpr char32_t invalid = 0xFFFFFFFF;

// The next character, taken off the front.
char32_t takeCharacter(std::string_view& text) {
    const auto byte = [&text](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t first = byte(0);
    const std::size_t length = first < 0x80                    ? 1
                               : first >= 0xC2 && first < 0xE0 ? 2
                               : (first & 0xF0) == 0xE0        ? 3
                               : (first & 0xF8) == 0xF0        ? 4
                                                               : 0;
    if (length == 0 || length > text.size()) return invalid;
    char32_t character = length == 1 ? first : first & (0xFFu >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return invalid;
        character = character << 6 | (byte(i) & 0x3F);
    }
    constexpr std::array<char32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
    if (character < smallest[length]) return invalid;
    text.remove_prefix(length);
    return character;
}

} // namespace

std::string toCodePage(std::string_view utf8, std::string_view what) {
    std::string bytes;
    while (!utf8.empty()) {
        const char32_t character = takeCharacter(utf8);
        if (character == invalid) throw UsageError{std::string(what) + " isn't UTF-8"};
        const auto row = std::ranges::find(from80, character);
        if (row != from80.end()) {
            bytes += static_cast<char>(0x80 + (row - from80.begin()));
        } else if (character < 0x80 || (character >= 0xA0 && character < 0x100)) {
            bytes += static_cast<char>(character);
        } else {
            std::array<char, 16> number{};
            std::snprintf(number.data(), number.size(), "U+%04X", static_cast<unsigned>(character));
            throw UsageError{std::string(what) + " has a character that windows-1252 hasn't: " + number.data()};
        }
    }
    return bytes;
}

std::string toUtf8(std::string_view text) {
    std::string utf8;
    for (const char one : text) {
        const auto byte = static_cast<std::uint8_t>(one);
        const char32_t character = byte >= 0x80 && byte < 0xA0 ? from80[byte - 0x80u] : byte;
        if (character < 0x80) {
            utf8 += static_cast<char>(character);
        } else if (character < 0x800) {
            utf8 += static_cast<char>(0xC0 | character >> 6);
            utf8 += static_cast<char>(0x80 | (character & 0x3F));
        } else {
            utf8 += static_cast<char>(0xE0 | character >> 12);
            utf8 += static_cast<char>(0x80 | (character >> 6 & 0x3F));
            utf8 += static_cast<char>(0x80 | (character & 0x3F));
        }
    }
    return utf8;
}

std::string withLineEnds(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n' && (i == 0 || text[i - 1] != '\r')) result += '\r';
        result += text[i];
    }
    return result;
}

} // namespace kann
