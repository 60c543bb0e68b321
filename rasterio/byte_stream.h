// Where image files are read from and written to: kernel files, memory of the caller, or a block that grows. Positions are
// 64 bits; a read that ends early gives what there was.
#pragma once

#include "contracts/raster_io.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

namespace kb {

using Bytes = std::vector<uint8_t>;
using ByteView = std::span<const uint8_t>;

class ByteStream {
public:
    ByteStream() = default;
    ByteStream(const ByteStream&) = delete;
    ByteStream& operator=(const ByteStream&) = delete;
    virtual ~ByteStream() = default;
    virtual int64_t read(void* out, size_t count) = 0;         // bytes, -1 on a fault
    virtual int64_t write(const void* data, size_t count) = 0; // bytes, -1 on a fault
    virtual int64_t seek(int64_t offset, int origin) = 0;      // the new position, -1 on a fault
    virtual int64_t size() = 0;
    virtual bool truncate(int64_t size) = 0;

    bool readAt(uint64_t offset, void* out, size_t count) {
        return offset <= INT64_MAX && seek(static_cast<int64_t>(offset), SEEK_SET) >= 0 &&
               read(out, count) == static_cast<int64_t>(count);
    }
    bool writeAt(uint64_t offset, const void* data, size_t count) {
        return offset <= INT64_MAX && seek(static_cast<int64_t>(offset), SEEK_SET) >= 0 &&
               write(data, count) == static_cast<int64_t>(count);
    }
};

// A kernel file; closes it.
class FileStream final : public ByteStream {
public:
    // flags and mode of K_FileOpen.
    FileStream(const char* path, int flags, int mode = 0x80) : file_(K_FileOpen(path, flags, mode, 0)) {}
    ~FileStream() override {
        if (isOpen()) K_FileClose(file_, 0);
    }
    bool isOpen() const { return file_ >= 0; }
    bool close() {
        const int file = std::exchange(file_, -1);
        return file < 0 || K_FileClose(file, 0) >= 0;
    }
    int64_t read(void* out, size_t count) override {
        size_t total = 0;
        while (total < count) {
            const int got = K_FileRead(file_, static_cast<char*>(out) + total, portion(count - total), 0);
            if (got < 0) return -1;
            if (!got) break;
            total += static_cast<size_t>(got);
        }
        return static_cast<int64_t>(total);
    }
    int64_t write(const void* data, size_t count) override {
        size_t total = 0;
        while (total < count) {
            const int put = K_FileWrite(file_, static_cast<const char*>(data) + total, portion(count - total), 0);
            if (put <= 0) return -1;
            total += static_cast<size_t>(put);
        }
        return static_cast<int64_t>(total);
    }
    int64_t seek(int64_t offset, int origin) override { return K_FileSeek(file_, offset, origin, 0); }
    int64_t size() override {
        const int64_t here = seek(0, SEEK_CUR), end = seek(0, SEEK_END);
        seek(here, SEEK_SET);
        return end;
    }
    bool truncate(int64_t size) override { return seek(size, SEEK_SET) == size && K_FileWrite(file_, "", 0, 0) == 0; }

private:
    static int portion(size_t count) { return static_cast<int>(std::min<size_t>(count, size_t{1} << 30)); }
    int file_;
};

// Memory of the caller, read only.
class MemoryStream final : public ByteStream {
public:
    explicit MemoryStream(ByteView data) : data_(data) {}
    int64_t read(void* out, size_t count) override {
        const size_t rest = position_ < data_.size() ? data_.size() - position_ : 0, got = std::min(rest, count);
        if (got) std::memcpy(out, data_.data() + position_, got);
        position_ += got;
        return static_cast<int64_t>(got);
    }
    int64_t write(const void*, size_t) override { return -1; }
    int64_t seek(int64_t offset, int origin) override {
        const int64_t base = origin == SEEK_CUR ? static_cast<int64_t>(position_) : origin == SEEK_END ? size() : 0;
        int64_t position;
        if (__builtin_add_overflow(base, offset, &position) || position < 0) return -1;
        position_ = static_cast<size_t>(position);
        return position;
    }
    int64_t size() override { return static_cast<int64_t>(data_.size()); }
    bool truncate(int64_t) override { return false; }
    ByteView view() const { return data_; }

private:
    ByteView data_;
    size_t position_ = 0;
};

// A block in memory that grows as it is written. Throws nothing: memory that fails is a failed write.
class BlockStream final : public ByteStream {
public:
    int64_t read(void* out, size_t count) override {
        const size_t rest = position_ < bytes.size() ? bytes.size() - position_ : 0, got = std::min(rest, count);
        if (got) std::memcpy(out, bytes.data() + position_, got);
        position_ += got;
        return static_cast<int64_t>(got);
    }
    int64_t write(const void* data, size_t count) override {
        try {
            if (position_ + count > bytes.size()) bytes.resize(position_ + count);
        } catch (const std::exception&) {
            return -1;
        }
        if (count) std::memcpy(bytes.data() + position_, data, count);
        position_ += count;
        return static_cast<int64_t>(count);
    }
    int64_t seek(int64_t offset, int origin) override {
        const int64_t base = origin == SEEK_CUR ? static_cast<int64_t>(position_) : origin == SEEK_END ? size() : 0;
        int64_t position;
        if (__builtin_add_overflow(base, offset, &position) || position < 0) return -1;
        position_ = static_cast<size_t>(position);
        return position;
    }
    int64_t size() override { return static_cast<int64_t>(bytes.size()); }
    bool truncate(int64_t size) override {
        if (size < 0 || static_cast<size_t>(size) > bytes.size()) return false;
        bytes.resize(static_cast<size_t>(size));
        return true;
    }
    Bytes bytes;

private:
    size_t position_ = 0;
};

} // namespace kb
