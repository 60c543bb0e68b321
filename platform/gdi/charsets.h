// Characters of fonts' charsets: their bytes in classic files as Unicode, and the other way.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kb::gdi {

// The UTF-16 units of the character that `count` bytes (at least 1) begin with: how many, 1 or 2; `used`: its bytes, 1 or 2.
// '?' for what is none.
size_t decodeCharacter(const uint8_t* bytes, size_t count, int charset, uint16_t units[2], size_t& used);
// Bytes of a code point, 1 or 2; 0 when the charset lacks it.
size_t encodeCharacter(char32_t code, int charset, uint8_t bytes[2]);
// How many code points from the first on a charset can hold; the charset that holds most, `preferred` before others.
size_t longestEncoded(const char32_t* text, size_t count, int preferred, int& charset);

} // namespace kb::gdi
