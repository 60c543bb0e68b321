// Reads colour profiles out of image files and judges them.
#include "rasterio/color_profile.h"
#include "rasterio/jpeg_io.h"
#include "rasterio/png_chunks.h"
#include "rasterio/scratch.h"
#include "rasterio/tiff_directory.h"

#include "platform/sys.h"

#include <libdeflate.h>

#include <memory>
#include <new>
#include <string_view>

namespace kb {
namespace {

using namespace std::string_view_literals;

constexpr size_t headerBytes = 128, tableAt = headerBytes + 4, rowBytes = 12;
constexpr size_t largestProfile = size_t{64} << 20;

// Tags of the published versions, and those few of makers that common display profiles hold.
constexpr std::string_view knownTags = "A2B0 A2B1 A2B2 A2M0 B2A0 B2A1 B2A2 B2D0 B2D1 B2D2 B2D3 D2B0 D2B1 D2B2 D2B3 aabg "
                                       "aagg aarg bTRC bXYZ bfd  bkpt calt chad "
                                       "chrm cicp clro cprt desc dmdd dmnd dscm gTRC gXYZ gamt kTRC lumi meas metm mmod "
                                       "ncl2 ndin pre0 pre1 pre2 rTRC rXYZ rig0 "
                                       "rig2 scrn tech vcgt vcgp view vued wtpt "sv;

uint32_t number(ByteView data, size_t at) { return png::number(data.data() + at); }

std::string_view textAt(ByteView data, size_t at) { return {reinterpret_cast<const char*>(data.data()) + at, 4}; }

bool isKnownTag(std::string_view tag) {
    for (size_t at = 0; at < knownTags.size(); at += 5) {
        if (knownTags.substr(at, 4) == tag) return true;
    }
    return false;
}

struct Part {
    size_t at, end;
};

// Only zeros, fewer than a word, stand between parts that begin at multiples of four.
bool isPadding(ByteView data, size_t at, size_t end) {
    if (end - at >= 4) return false;
    return std::all_of(data.begin() + static_cast<std::ptrdiff_t>(at), data.begin() + static_cast<std::ptrdiff_t>(end),
                       [](uint8_t byte) { return byte == 0; });
}

struct JpegProfileReader {
    jpeg_decompress_struct jpeg;
    JpegSession session;
    ByteView data;
    uint8_t* profile; // freed by the function outside
    unsigned int size;
};

// Nothing here may need a destructor.
bool readJpegMarkers(JpegProfileReader& r) {
    prepareJpeg(reinterpret_cast<j_common_ptr>(&r.jpeg), r.session);
    if (setjmp(r.session.back)) return false;
    jpeg_create_decompress(&r.jpeg);
    jpeg_save_markers(&r.jpeg, JPEG_APP0 + 2, 0xFFFF);
    jpeg_mem_src(&r.jpeg, r.data.data(), static_cast<unsigned long>(r.data.size()));
    return jpeg_read_header(&r.jpeg, TRUE) == JPEG_HEADER_OK && jpeg_read_icc_profile(&r.jpeg, &r.profile, &r.size);
}

bool readJpegProfile(ByteView file, Bytes* out) {
    JpegProfileReader reader{};
    reader.data = file;
    const bool found = readJpegMarkers(reader);
    jpeg_destroy_decompress(&reader.jpeg);
    const std::unique_ptr<uint8_t, void (*)(void*)> owner(reader.profile, std::free);
    if (found) out->assign(reader.profile, reader.profile + reader.size);
    return found;
}

bool readTiffProfile(ByteView data, int page, Bytes* out) {
    MemoryStream stream(data);
    TiffFile file(stream);
    TiffDirectory directory;
    if (file.open() != SUCCESS || file.directory(page, &directory) != SUCCESS) return false;
    const TiffEntry* entry = directory.find(profileTag);
    return entry && entry->bytes <= largestProfile && file.values(*entry, out);
}

bool readPngProfile(ByteView file, Bytes* out) {
    png::Chunks chunks(file);
    for (png::Chunk chunk; chunks.next(&chunk);) {
        if (chunk.type == "iCCP"sv) return chunk.intact && png::unpackProfile(chunk.data, out);
    }
    return false;
}

} // namespace

bool isSoundProfile(ByteView profile) {
    if (profile.size() < tableAt || profile.size() > largestProfile || number(profile, 0) != profile.size()) return false;
    if (textAt(profile, 36) != "acsp"sv) return false;
    if (!std::all_of(profile.begin() + 100, profile.begin() + headerBytes, [](uint8_t byte) { return byte == 0; }))
        return false; // reserved
    const size_t tags = number(profile, headerBytes);
    if (tags < 1 || tags > 100 || profile.size() - tableAt < tags * rowBytes) return false;
    std::vector<Part> parts;
    for (size_t i = 0; i < tags; ++i) {
        const size_t row = tableAt + i * rowBytes, at = number(profile, row + 4), bytes = number(profile, row + 8);
        if (!isKnownTag(textAt(profile, row)) || at > profile.size() || bytes > profile.size() - at) return false;
        parts.push_back({at, at + bytes});
    }
    std::sort(parts.begin(), parts.end(), [](const Part& a, const Part& b) { return a.at < b.at; });
    size_t end = tableAt + tags * rowBytes;
    for (const Part& part : parts) {
        if (part.at > end && !isPadding(profile, end, part.at)) return false;
        end = std::max(end, part.end);
    }
    return isPadding(profile, end, profile.size());
}

bool profileFits(ByteView profile, bool isGrey) {
    return profile.size() >= headerBytes && textAt(profile, 16) == (isGrey ? "GRAY"sv : "RGB "sv);
}

ByteView queuedProfile(bool isGrey) {
    for (const TiffTagValue& value : queuedTiffTags()) {
        if (value.tag == profileTag && isSoundProfile(value.data) && profileFits(value.data, isGrey)) return value.data;
    }
    return {};
}

bool readProfile(ByteView file, int format, int page, Bytes* out) {
    out->clear();
    bool found = false;
    switch (format) {
    case KB_FORMAT_TIFF: found = readTiffProfile(file, page, out); break;
    case KB_FORMAT_PNG: found = page == 1 && readPngProfile(file, out); break;
    case KB_FORMAT_JPEG: found = page == 1 && readJpegProfile(file, out); break;
    default: break;
    }
    if (!found) out->clear();
    return found;
}

} // namespace kb

using namespace kb;

extern "C" int K_LoadColorProfile(const void* pData, size_t size, int page, HGLOBAL* phProfile, size_t* puSize) {
    if (!pData || !phProfile || !puSize) return ERROR_INV_PARAMETER;
    try {
        const ByteView file(static_cast<const uint8_t*>(pData), size);
        Bytes profile;
        if (!readProfile(file, K_RecognizeFormat(pData, size), page, &profile)) return 0;
        profile = plainProfile(profile);
        if (profile.empty()) return ERROR_FILE_FORMAT;
        const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, profile.size());
        if (!block) return ERROR_NO_MEMORY;
        std::memcpy(GlobalLock(block), profile.data(), profile.size());
        GlobalUnlock(block);
        *phProfile = block;
        *puSize = profile.size();
        return SUCCESS;
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
}
