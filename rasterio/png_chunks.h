// The chunks of a PNG file one after the other, and zlib data that must end where its container ends.
#pragma once

#include "rasterio/byte_stream.h"

#include <string_view>

namespace kb::png {

inline uint32_t number(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 | static_cast<uint32_t>(p[2]) << 8 | p[3];
}

struct Chunk {
    std::string_view type;
    ByteView data;
    size_t at = 0;       // position in the file
    bool intact = false; // the checksum is right
};

class Chunks {
public:
    explicit Chunks(ByteView file) : file_(file) {}
    // False at the end of the file and before a chunk that doesn't lie in it.
    bool next(Chunk* out);
    // Behind the last chunk given.
    size_t position() const { return at_; }

private:
    ByteView file_;
    size_t at_ = 8;
};

// Inflates into exactly `size` bytes, with no byte of input left over. ERROR_FILE_READ when it doesn't come out so.
int inflateExactly(ByteView packed, uint8_t* out, size_t size);

// The profile of an iCCP chunk; and such a chunk's data with a name that tells nothing.
bool unpackProfile(ByteView chunk, Bytes* out);
Bytes packProfile(ByteView profile);
// The chunk has that name: up to 79 letters that no viewer shows could stand there.
bool hasPlainName(ByteView chunk);

} // namespace kb::png
