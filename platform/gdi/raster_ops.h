// The 256 ternary raster operations on runs of bytes. A code's bit 4 x pattern + 2 x source + destination is the result.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kb::gdi {

// d = f(p, s, d) for `n` bytes; p may be null when the code needs no pattern. s and d may be the same run.
void applyRop3(uint8_t code, const uint8_t* p, const uint8_t* s, uint8_t* d, size_t n);

} // namespace kb::gdi
