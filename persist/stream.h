// The byte stream that all stored forms are read from and written to: three operations and their state. Two kinds stand
// behind it, an open file from an offset on and a growing memory block. Positions of a file stream count from the start
// of the file, not of the data. Nothing is buffered here: readers and writers of lines bring buffers of their own.
#pragma once

#include <cstdint>

namespace kbann {

inline constexpr uint64_t noStreamLimit = UINT64_MAX;
inline constexpr int64_t streamPieceBytes = 32767;   // most that a file operation is given at a time
inline constexpr uint64_t streamGrowthBytes = 32768; // sizes of memory blocks are multiples of it while they grow

struct AnnStream {
    // Bytes read; below 0 on a fault.
    int64_t (*pfnRead)(AnnStream& stream, void* destination, int64_t count);
    // Bytes written. A null source with a count of 0 cuts the data at the present position.
    int64_t (*pfnWrite)(AnnStream& stream, const void* source, int64_t count);
    // The new position, -1 on a fault; origin 0 from the start, 1 from here, 2 from the end.
    int64_t (*pfnSeek)(AnnStream& stream, int64_t offset, int origin);
    uint64_t uBase;  // position of the first byte of the data
    int file;        // of a file stream
    void* pBlock;    // of a memory stream: borrowed, may be null until something is written
    uint64_t uLimit; // file: length given, or none; memory: bytes allocated
    uint64_t uEnd;   // file: first position beyond the data, or none; memory: bytes held
    uint64_t uPos;   // present position
};

// A stream over an open file, which stands at `offset`. length: most bytes that belong to the data, UINT32_MAX for no limit.
AnnStream annFileStream(int file, int64_t offset, uint32_t length) noexcept;
// A stream over a block of K_AllocBlock, or over nothing yet (null, 0). Writing may give it another block. A stream that is
// only read may stand over any bytes.
AnnStream annMemoryStream(void* pBlock, uint64_t size) noexcept;

// Whether the stream's bytes can be read in place at pBlock.
bool annInMemory(const AnnStream& stream) noexcept;
bool annSeekTo(AnnStream& stream, uint64_t position) noexcept;
bool annReadAll(AnnStream& stream, void* destination, uint64_t count) noexcept;
bool annWriteAll(AnnStream& stream, const void* source, uint64_t count) noexcept;
// Ends the data at the present position.
bool annCut(AnnStream& stream) noexcept;
// Position behind the last byte there is; the present one stays. False on a fault.
bool annStreamEnd(AnnStream& stream, uint64_t& end) noexcept;

} // namespace kbann
