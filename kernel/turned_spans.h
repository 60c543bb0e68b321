// Runs of pixels for turned images: sampled along a straight line through the source, and written to the target. A source
// position counts in 1/65536 pixel from the middle of the first stored pixel, so that its whole part and its next eight bits
// are the pixel and the weight. Each loop stands here plain and with 256-bit vectors; both give the same values.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kb {

// Pixels of 24 (blue first) or 32 bits.
struct SampleSource {
    const uint8_t* rows;
    ptrdiff_t stride;
    int32_t width, height;
    int bytes; // 3 or 4 a pixel
};

struct SampleLine {
    int64_t x, y;         // of the run's first pixel
    int64_t stepX, stepY; // to the next
};

// Most pixels of one run; its positions stay within 32-bit sums.
inline constexpr int maxRun = 512;

// `count` mixtures of four pixels each, as 0xAARRGGBB (0 for the first byte at 24 bits). Pixels beyond an edge are those at
// the edge.
void sampleRun(const SampleSource& source, const SampleLine& line, int count, uint32_t* out, bool vectors);

enum class Mix : uint8_t { copy, both, either, same }; // S, S & D, S ^ D, ~(S ^ D)

// Writes the run over target pixels of 3 or 4 bytes.
void writeRun(const uint32_t* run, int count, uint8_t* target, int bytes, Mix mix, bool vectors);

bool haveVectors();

} // namespace kb
