// Tells the format of a file by its first bytes.
#include "rasterio/image_io.h"

#include <string_view>

using namespace kb;
using namespace std::string_view_literals;

namespace {

struct Signature {
    std::string_view bytes;
    int format;
};

constexpr auto signatures = std::to_array<Signature>({
    {"II\x2A\0"sv, KB_FORMAT_TIFF},
    {"MM\0\x2A"sv, KB_FORMAT_TIFF},
    {"II\x2B\0"sv, KB_FORMAT_TIFF}, // offsets of 64 bits
    {"MM\0\x2B"sv, KB_FORMAT_TIFF},
    {"\x89PNG\r\n\x1A\n"sv, KB_FORMAT_PNG},
    {"\xFF\xD8\xFF"sv, KB_FORMAT_JPEG},
    {"\xD7\xCD\xC6\x9A"sv, KB_FORMAT_WMF}, // placeable header
    {"\x01\0\x09\0\0\x03"sv, KB_FORMAT_WMF},
    {"\x01\0\x09\0\0\x01"sv, KB_FORMAT_WMF},
    {"\x02\0\x09\0\0\x03"sv, KB_FORMAT_WMF},
    {"\x01\0\0\0"sv, KB_FORMAT_EMF},
    {"BM"sv, KB_FORMAT_BMP},
});

} // namespace

extern "C" int K_RecognizeFormat(const void* pData, size_t size) {
    if (!pData) return KB_FORMAT_UNKNOWN;
    const std::string_view data(static_cast<const char*>(pData), size);
    for (const Signature& row : signatures) {
        if (!data.starts_with(row.bytes)) continue;
        // The first record of an enhanced metafile is at least 88 bytes long and signed; 16 bytes don't show the sign.
        if (row.format == KB_FORMAT_EMF) {
            if (size < 8 || (static_cast<uint8_t>(data[4]) < 88 && !data[5] && !data[6]) ||
                (size >= 44 && data.substr(40, 4) != " EMF"sv))
                continue;
        }
        return row.format;
    }
    return KB_FORMAT_UNKNOWN;
}
