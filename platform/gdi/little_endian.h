// Numbers of files, whatever address they stand at.
#pragma once

#include <cstdint>

namespace kb::gdi {

inline uint32_t wordAt(const uint8_t* p) { return static_cast<uint32_t>(p[0] | p[1] << 8); }
inline uint32_t dwordAt(const uint8_t* p) { return wordAt(p) | wordAt(p + 2) << 16; }

} // namespace kb::gdi
