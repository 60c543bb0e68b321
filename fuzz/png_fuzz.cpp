// PNG data, as it comes and with checksums made good: the data of IDAT chunks is then taken for the unpacked rows and packed
// in stored blocks. Otherwise nearly every input would end at a checksum and the rows would never be reached.
#include "fuzz/image_fuzz.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

void put32(Bytes& out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<uint8_t>(value >> shift));
}

uint32_t crcOf(const uint8_t* data, size_t size) {
    uint32_t crc = ~0u;
    for (size_t i = 0; i < size; ++i) {
        crc ^= data[i];
        for (int bit = 0; bit < 8; ++bit) crc = crc & 1 ? crc >> 1 ^ 0xEDB88320u : crc >> 1;
    }
    return ~crc;
}

Bytes stored(const uint8_t* raw, size_t size) {
    Bytes out = {0x78, 0x01};
    uint32_t a = 1, b = 0;
    for (size_t i = 0; i < size; ++i) {
        a = (a + raw[i]) % 65521;
        b = (b + a) % 65521;
    }
    const auto low = static_cast<uint8_t>(size), high = static_cast<uint8_t>(size >> 8);
    for (const uint8_t byte : {uint8_t{1}, low, high, static_cast<uint8_t>(~low), static_cast<uint8_t>(~high)})
        out.push_back(byte);
    out.insert(out.end(), raw, raw + size);
    put32(out, b << 16 | a);
    return out;
}

Bytes repaired(const uint8_t* data, size_t size) {
    Bytes out(data, data + 8);
    for (size_t at = 8; size - at >= 12;) {
        const size_t claimed = static_cast<size_t>(data[at]) << 24 | static_cast<size_t>(data[at + 1]) << 16 |
                               static_cast<size_t>(data[at + 2]) << 8 | data[at + 3];
        const size_t length = std::min({claimed, size - at - 12, size_t{65535}});
        Bytes content(data + at + 8, data + at + 8 + length);
        if (!std::memcmp(data + at + 4, "IDAT", 4)) content = stored(content.data(), content.size());
        put32(out, static_cast<uint32_t>(content.size()));
        const size_t begin = out.size();
        out.insert(out.end(), data + at + 4, data + at + 8);
        out.insert(out.end(), content.begin(), content.end());
        put32(out, crcOf(out.data() + begin, out.size() - begin));
        at += 12 + length;
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (!fuzz::loadPages(data, size, KB_FORMAT_PNG) && size >= 20) {
        const Bytes bytes = repaired(data, size);
        fuzz::loadPages(bytes.data(), bytes.size(), KB_FORMAT_PNG);
    }
    return 0;
}
