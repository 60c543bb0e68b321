// The five row filters of PNG in both directions (Portable Network Graphics, second edition, clause 9).
#pragma once

#include <cstddef>
#include <cstdint>

namespace kb {

enum class PngFilter : uint8_t { none = 0, sub = 1, up = 2, average = 3, paeth = 4 };

// Undoes a row's filter in place. `above` is the finished row before (null: zeros); unit: bytes from a pixel to the next, at
// least 1. At units of 3 and 4 up to 3 bytes behind both rows are read. False for a filter that doesn't exist.
bool unfilterRow(uint8_t filter, uint8_t* row, const uint8_t* above, size_t bytes, size_t unit);
// Filters `row` into `out`; `above` as long as it, zeros before the first row.
void filterRow(PngFilter filter, uint8_t* out, const uint8_t* row, const uint8_t* above, size_t bytes, size_t unit);
// Sum of the filtered bytes taken as signed distances from 0: the usual guess of how well a row packs.
uint64_t filteredCost(const uint8_t* row, size_t bytes);

} // namespace kb
