#include "platform/gdi/masked_rows.h"

#include <algorithm>

namespace kb::gdi {

namespace {

size_t layOut(PixelReader& rows, int width, int height, int bits) {
    rows.width = width;
    rows.height = height;
    rows.bits = bits;
    rows.stride = static_cast<ptrdiff_t>(rowBytes(width, bits, 32));
    return static_cast<size_t>(rows.stride) * static_cast<size_t>(height);
}

} // namespace

size_t MaskedRows::bytesFor(int width, int height) {
    PixelReader rows;
    return layOut(rows, width, height, 1) + layOut(rows, width, height, 24);
}

MaskedRows::MaskedRows(int width, int height) : most_(static_cast<size_t>(width) * static_cast<size_t>(height)) {
    maskRows_.assign(layOut(mask_, width, height, 1), 0xFF);
    pictureRows_.assign(layOut(picture_, width, height, 24), 0);
    mask_.colors = ColorTable::standard(1);
    mask_.top = maskRows_.data();
    picture_.top = pictureRows_.data();
}

void MaskedRows::show(int x, int y, uint32_t rgb) {
    uint8_t& bits = maskRows_[static_cast<size_t>(mask_.stride * y + x / 8)];
    bits = static_cast<uint8_t>(bits & ~(0x80 >> x % 8));
    std::copy_n(reinterpret_cast<const uint8_t*>(&rgb), 3, pictureRows_.begin() + picture_.stride * y + ptrdiff_t{3} * x);
    ++shown_;
}

} // namespace kb::gdi
