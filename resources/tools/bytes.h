// Little-endian numbers behind one another.
#pragma once

#include <cstdint>
#include <vector>

namespace kbann::pictures {

inline void putNumber(std::vector<uint8_t>& bytes, uint32_t value, int count) {
    for (int i = 0; i < count; ++i) bytes.push_back(static_cast<uint8_t>(value >> 8 * i));
}

} // namespace kbann::pictures
