// Chunks and zlib data of PNG.
#include "rasterio/png_chunks.h"

#include <libdeflate.h>

#include <memory>
#include <new>

namespace kb::png {
namespace {

struct FreeDecompressor {
    void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
};
struct FreeCompressor {
    void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
};

constexpr size_t longestName = 79; // of a profile
constexpr std::string_view plainName("profile\0", 8);

} // namespace

bool Chunks::next(Chunk* out) {
    if (file_.size() < at_ || file_.size() - at_ < 12) return false;
    const uint32_t length = number(file_.data() + at_);
    if (length > file_.size() - at_ - 12) return false;
    out->type = {reinterpret_cast<const char*>(file_.data()) + at_ + 4, 4};
    out->data = file_.subspan(at_ + 8, length);
    out->at = at_;
    out->intact = libdeflate_crc32(0, file_.data() + at_ + 4, size_t{length} + 4) == number(file_.data() + at_ + 8 + length);
    at_ += 12 + size_t{length};
    return true;
}

int inflateExactly(ByteView packed, uint8_t* out, size_t size) {
    const std::unique_ptr<libdeflate_decompressor, FreeDecompressor> inflater(libdeflate_alloc_decompressor());
    if (!inflater) return ERROR_NO_MEMORY;
    size_t used = 0, made = 0;
    const auto result = libdeflate_zlib_decompress_ex(inflater.get(), packed.data(), packed.size(), out, size, &used, &made);
    return result == LIBDEFLATE_SUCCESS && used == packed.size() && made == size ? SUCCESS : ERROR_FILE_READ;
}

bool unpackProfile(ByteView chunk, Bytes* out) {
    const auto nameEnd = std::find(chunk.begin(), chunk.end(), uint8_t{0});
    const auto name = static_cast<size_t>(nameEnd - chunk.begin());
    if (name > longestName || chunk.size() < name + 2 || chunk[name + 1]) return false; // 0: the one way of packing
    const ByteView packed = chunk.subspan(name + 2);
    const std::unique_ptr<libdeflate_decompressor, FreeDecompressor> inflater(libdeflate_alloc_decompressor());
    if (!inflater || packed.size() < 8) return false;
    // Deflate packs at most 1032 to 1; how large the profile is shows only when it is unpacked.
    for (size_t room = 1 << 16;; room *= 4) {
        const size_t most = std::min(room, packed.size() * 1032);
        out->assign(most, 0);
        size_t used = 0, made = 0;
        const auto result = libdeflate_zlib_decompress_ex(inflater.get(), packed.data(), packed.size(), out->data(),
                                                          out->size(), &used, &made);
        if (result == LIBDEFLATE_INSUFFICIENT_SPACE && most == room && room < (size_t{64} << 20)) continue;
        out->resize(made);
        return result == LIBDEFLATE_SUCCESS && used == packed.size();
    }
}

Bytes packProfile(ByteView profile) {
    constexpr int level = 6;
    const std::unique_ptr<libdeflate_compressor, FreeCompressor> compressor(libdeflate_alloc_compressor(level));
    if (!compressor) throw std::bad_alloc();
    Bytes chunk(plainName.begin(), plainName.end());
    chunk.push_back(0); // the one way of packing
    const size_t begin = chunk.size();
    chunk.resize(begin + libdeflate_zlib_compress_bound(compressor.get(), profile.size()));
    chunk.resize(begin + libdeflate_zlib_compress(compressor.get(), profile.data(), profile.size(), chunk.data() + begin,
                                                  chunk.size() - begin));
    return chunk;
}

bool hasPlainName(ByteView chunk) {
    return chunk.size() >= plainName.size() && std::equal(plainName.begin(), plainName.end(), chunk.begin());
}

} // namespace kb::png
