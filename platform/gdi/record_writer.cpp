// Records, bitmaps in them, and the header that counts them.
#include "platform/gdi/record_writer.h"

#include <bit>
#include <cstring>
#include <stdexcept>

namespace kb::gdi {

static_assert(std::endian::native == std::endian::little);

namespace {

constexpr size_t headerBytes = 18, recordHeadBytes = 6;

} // namespace

RecordWriter::RecordWriter() : bytes_(headerBytes), start_(headerBytes) {}

void RecordWriter::put(const void* bytes, size_t count) {
    const auto* from = static_cast<const uint8_t*>(bytes);
    bytes_.insert(bytes_.end(), from, from + count);
}

void RecordWriter::begin(RecordType type, std::initializer_list<RecordWord> words) {
    takeBack();
    const auto function = static_cast<uint16_t>(type);
    dword(0); // the size
    put(&function, 2);
    for (const RecordWord w : words) word(w);
}

void RecordWriter::checkSize(size_t more) const {
    if (more > UINT32_MAX - recordHeadBytes || bytes_.size() > UINT32_MAX - recordHeadBytes - more)
        throw std::length_error("metafile");
}

void RecordWriter::end() {
    checkSize(1);
    if (bytes_.size() % 2) bytes_.push_back(0);
    const auto size = static_cast<uint32_t>((bytes_.size() - start_) / 2);
    std::memcpy(&bytes_[start_], &size, sizeof size);
    largest_ = std::max(largest_, size);
    start_ = bytes_.size();
}

void RecordWriter::dib(const PixelReader& source, const ColorTable& colors, int top, int bottom) {
    BITMAPINFOHEADER head{};
    head.biSize = sizeof head;
    head.biWidth = source.width;
    head.biHeight = bottom - top;
    head.biPlanes = 1;
    head.biBitCount = static_cast<WORD>(source.bits);
    constexpr uint32_t fiveBits[3] = {0x7C00, 0x03E0, 0x001F}; // what 16 bits mean without masks
    const bool masks = source.masked && std::memcmp(source.masks, fiveBits, sizeof fiveBits) != 0;
    head.biCompression = masks ? BI_BITFIELDS : BI_RGB;
    head.biClrUsed = source.bits <= 8 ? colors.count : 0;
    const auto stride = static_cast<size_t>(rowBytes(source.width, source.bits, 32));
    const size_t size = stride * static_cast<size_t>(bottom - top);
    checkSize(size);
    head.biSizeImage = static_cast<DWORD>(size);
    put(&head, sizeof head);
    if (masks) put(source.masks, sizeof source.masks);
    for (uint32_t i = 0; i < head.biClrUsed; ++i) dword(colors.rgb[i]);
    const auto used = static_cast<size_t>(rowBytes(source.width, source.bits, 8));
    if (bytes_.size() + size > bytes_.capacity()) bytes_.reserve(std::max(bytes_.size() + size, bytes_.capacity() * 2));
    for (int y = bottom - 1; y >= top; --y) {
        put(source.top + source.stride * y, used);
        zeros(stride - used);
    }
}

std::vector<uint8_t> RecordWriter::finish(uint16_t objects) {
    record(RecordType::endOfFile, {});
    const auto words = static_cast<uint32_t>(bytes_.size() / 2);
    const uint16_t head[headerBytes / 2] = {1, // in memory
                                            headerBytes / 2,
                                            0x0300,
                                            lowWord(words).bits,
                                            highWord(words).bits,
                                            objects,
                                            lowWord(largest_).bits,
                                            highWord(largest_).bits,
                                            0};
    std::memcpy(bytes_.data(), head, sizeof head);
    bytes_.shrink_to_fit();
    return std::move(bytes_);
}

} // namespace kb::gdi
