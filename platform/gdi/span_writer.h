// How pixels change. For a given pen or brush pixel every binary raster operation, and every ternary one without a source,
// comes down to D = (D & and) ^ xor with two constants. A paint holds those constants, laid out as a stream of bytes
// whose period fits 1, 3 and 4 bytes a pixel, so that one loop serves 8, 24 and 32 bits; or, for hatches and patterns,
// a table of such pairs. span_writer.cpp has each loop twice, plain and with 256-bit vectors, chosen at run time.
#pragma once

#include "platform/gdi/surface.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace kb::gdi {

enum class PaintKind : uint8_t { none, fill, mask, invert, general, cells };

// Pairs of a pattern; a gap that stays as it is has the pair ~0, 0.
struct Cells {
    int width = 0, height = 0;
    int originX = 0, originY = 0; // device point of a cell's corner
    std::vector<uint32_t> andBits, xorBits;
    bool overwrites = true, idempotent = true; // as in Paint
    void judge();                              // once the pairs are there
    // What they were made of, as long as that alone decides what is in them: large patterns are for many figures.
    struct Origin {
        uint64_t pattern = 0; // 0: something else
        uint32_t table = 0, zero = 0, one = 0;
        int bits = 0;
        bool operator==(const Origin&) const = default;
    } madeOf;
};

inline constexpr size_t patternBytes = 128; // 96, the common period, and what the last vector of it reads behind

struct Paint {
    PaintKind kind = PaintKind::none;
    bool overwrites = false; // the result doesn't depend on what was there
    bool idempotent = false; // doing it twice is doing it once
    uint32_t andBits = 0, xorBits = 0;
    const Cells* cells = nullptr;
    alignas(32) uint8_t andStream[patternBytes];
    alignas(32) uint8_t xorStream[patternBytes];

    // `table`: result bits for pattern and destination, bit index 2 x pattern + destination.
    void setSolid(uint32_t pixel, uint32_t table, int bits);
    void setCells(const Cells* c);
};

constexpr uint32_t tableOfRop2(int rop2) { return static_cast<uint32_t>(rop2 - 1) & 0xF; }
// Of a ternary code that needs no source.
constexpr uint32_t tableOfRop3(uint32_t code) { return (code & 3) | (code >> 2 & 0xC); }
constexpr bool rop3NeedsSource(uint32_t code) { return ((code >> 2) & 0x33) != (code & 0x33); }
constexpr bool rop3NeedsPattern(uint32_t code) { return ((code >> 4) & 0x0F) != (code & 0x0F); }
constexpr bool rop3NeedsDestination(uint32_t code) { return ((code >> 1) & 0x55) != (code & 0x55); }

// The constant pair of one pattern pixel under a table; results are masked to the surface's depth by the writers.
constexpr uint32_t andOf(uint32_t pixel, uint32_t table) {
    const uint32_t one = (table & 8 ? pixel : 0) | (table & 2 ? ~pixel : 0);
    const uint32_t zero = (table & 4 ? pixel : 0) | (table & 1 ? ~pixel : 0);
    return one ^ zero;
}
constexpr uint32_t xorOf(uint32_t pixel, uint32_t table) { return (table & 4 ? pixel : 0) | (table & 1 ? ~pixel : 0); }

using SpanFunction = void (*)(const Paint& paint, uint8_t* row, int y, int x0, int x1);

// The loop for a paint at a depth. `vectors` false gives the plain one.
SpanFunction spanFunction(const Paint& paint, int bits, bool vectors);
bool haveVectors();

} // namespace kb::gdi
