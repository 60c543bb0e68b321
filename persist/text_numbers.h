// Numbers of the text form: what the C library's strtoul, strtod and "%.9G" do in the "C" locale, on a machine where
// unsigned long has 32 bits. No conversion depends on a locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kbann {

// Most characters that a put function writes.
inline constexpr size_t numberRoom = 32;

// The whole line must be a decimal number: blanks, a sign, digits. Beyond 32 bits it is 4294967295; a minus sign counts
// modulo 2 to the power of 32.
bool annParseU32(std::string_view line, uint32_t& value) noexcept;
// The whole line must be a number as strtod takes it, decimal or hexadecimal, infinite or none. A point or comma at which
// it stops is taken as the other one, once: older data has decimal commas.
bool annParseReal(std::string_view line, double& value) noexcept;

// Write at `out` and give the end.
char* annPutU32(char* out, uint32_t value) noexcept;
char* annPutReal(char* out, double value) noexcept;

} // namespace kbann
