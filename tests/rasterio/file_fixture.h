// Shared by the tests of image files: saving to memory, loading from it, files that vanish with their test.
#pragma once

#include "contracts/raster_io.h"
#include "platform/sys.h"
#include "tests/kernel/raster_fixture.h"

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace test {

using Bytes = std::vector<uint8_t>;

inline Bytes save(const KernelBitmap& b, int format, int compression = 0, int* result = nullptr) {
    KernelSaveOptions options;
    K_DefaultSaveOptions(&options, sizeof options);
    options.nCompression = compression;
    options.nQuality = 100;
    HGLOBAL handle = nullptr;
    size_t size = 0;
    const int code = K_SaveMemory(&b, format, &options, &handle, &size);
    if (result) *result = code;
    if (code != SUCCESS) return {};
    const auto* data = static_cast<const uint8_t*>(GlobalLock(handle));
    Bytes bytes(data, data + size);
    GlobalFree(handle);
    return bytes;
}

inline int load(const Bytes& bytes, Image& image, KernelFileInfo* info = nullptr, int page = 1) {
    KernelLoadOptions options;
    K_DefaultLoadOptions(&options, sizeof options);
    options.nPageNumber = page;
    // Exactly as long as the data, so that a byte read behind it is found.
    const std::vector<uint8_t> exact(bytes);
    return K_LoadMemory(exact.data(), &image.b, 0, 0, exact.size(), &options, info);
}

struct TemporaryFile {
    explicit TemporaryFile(const Bytes& bytes = {}) {
        static int number = 0;
        path = (std::filesystem::temp_directory_path() /
                ("kbann_io_" + std::to_string(getpid()) + "_" + std::to_string(number++)))
                   .string();
        if (!bytes.empty()) write(bytes);
    }
    ~TemporaryFile() { std::filesystem::remove(path); }
    void write(const Bytes& bytes) const {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    Bytes read() const {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::string path;
};

inline std::vector<COLORREF> colorsViewed(const KernelBitmap& b) {
    Image upright;
    if (K_CopyBitmap(&upright.b, &b) != SUCCESS || K_NormalizeBitmap(&upright.b) != SUCCESS) return {};
    std::vector<COLORREF> out;
    for (int y = 0; y < upright.b.Height; ++y) {
        for (int x = 0; x < upright.b.Width; ++x) out.push_back(K_GetBitmapPixel(&upright.b, y, x));
    }
    return out;
}

} // namespace test
