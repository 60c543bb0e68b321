// Work memory of readers and writers of whole images. Large pieces are mapped with huge pages: touching fresh small pages
// costs more than unpacking an image into them.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace kb {

class Scratch {
public:
    // Not zeroed. data() is null when memory fails; a size of 0 gives one byte.
    explicit Scratch(size_t size) : size_(size ? size : 1) {
        if (size_ < mappedFrom) {
            data_ = static_cast<uint8_t*>(std::malloc(size_));
            return;
        }
        void* address = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (address == MAP_FAILED) return;
        madvise(address, size_, MADV_HUGEPAGE);
        data_ = static_cast<uint8_t*>(address);
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() {
        if (size_ < mappedFrom)
            std::free(data_);
        else if (data_)
            munmap(data_, size_);
    }
    uint8_t* data() { return data_; }
    size_t size() const { return size_; }

private:
    static constexpr size_t mappedFrom = size_t{1} << 20;
    size_t size_;
    uint8_t* data_ = nullptr;
};

} // namespace kb
