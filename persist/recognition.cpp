// Recognition of stored data. Marks of foreign tools have a second word of 0 or 1 where both stream forms have letters.
// Pages of the coded form stand on a chain of link records, which hostile data can bend into a loop.
#include "persist/recognition.h"
#include "contracts/return_codes.h"
#include "kbann/constants.h"
#include "persist/native_form.h"
#include "persist/pages.h"

#include <cstring>

namespace kbann {
namespace {

constexpr size_t markHeaderBytes = 8;
constexpr size_t linkBytes = 6; // u16 tag, u32 offset of the next link from the base; 0 at the end
constexpr uint16_t linkTag = 52;

uint32_t littleU32(const uint8_t* bytes) {
    return bytes[0] | static_cast<uint32_t>(bytes[1]) << 8 | static_cast<uint32_t>(bytes[2]) << 16 |
           static_cast<uint32_t>(bytes[3]) << 24;
}

bool readLink(AnnStream& stream, uint32_t& next) {
    uint8_t link[linkBytes];
    if (!annReadAll(stream, link, linkBytes)) return false;
    if ((link[0] | link[1] << 8) != linkTag) return false;
    next = littleU32(link + 2);
    return true;
}

// The chain's links must all be different. A second walker would do, but it reads everything twice: instead the link at
// every power of two is remembered and a return to it is a loop.
int countChainPages(AnnStream& stream, uint32_t& pages) {
    uint32_t next = 0;
    if (!readLink(stream, next) || !next) return ERROR_FILE_READ;
    uint32_t hops = 0, remembered = 0, rememberNext = 1;
    while (next) {
        if (next == remembered) return ERROR_FILE_READ;
        if (++hops == rememberNext) {
            remembered = next;
            rememberNext *= 2;
        }
        if (!annSeekTo(stream, stream.uBase + next) || !readLink(stream, next)) return ERROR_FILE_READ;
    }
    pages = hops - 1;
    return SUCCESS;
}

} // namespace

int annQueryFormat(AnnStream& stream, uint32_t& nFormat, bool& bPaged) {
    if (!annSeekTo(stream, stream.uBase)) return ERROR_FILE_READ;
    uint8_t first[markHeaderBytes];
    if (!annReadAll(stream, first, markHeaderBytes)) return ERROR_FILE_READ;
    if (littleU32(first + 4) <= 1) {
        nFormat = ANN_FMT_WANGTAG;
        bPaged = false;
        return annSeekTo(stream, stream.uBase) ? SUCCESS : ERROR_FILE_READ;
    }
    char line[markHeaderBytes + longestLine];
    size_t length = 0;
    std::memcpy(line, first, markHeaderBytes);
    if (const int code = annReadLine(stream, line + markHeaderBytes, length); code != SUCCESS) return code;
    const std::string_view header{line, markHeaderBytes + length};
    if (header == textHeader) {
        nFormat = ANN_FMT_NATIVE;
        bPaged = true;
        return SUCCESS;
    }
    if (header != codedHeader) return ERROR_FILE_READ;
    nFormat = ANN_FMT_ENCODED;
    const uint64_t behindHeader = stream.uPos;
    uint32_t next = 0;
    bPaged = readLink(stream, next);
    return annSeekTo(stream, behindHeader) ? SUCCESS : ERROR_FILE_READ;
}

int annQueryInfo(AnnStream& stream, AnnFileInfoRecord& info) {
    uint32_t nFormat = 0, pages = 1;
    bool bPaged = false;
    if (const int code = annQueryFormat(stream, nFormat, bPaged); code != SUCCESS) return code;
    if (bPaged && nFormat == ANN_FMT_NATIVE) {
        if (const int code = annCountTextPages(stream, pages); code != SUCCESS) return code;
    } else if (bPaged) {
        if (const int code = countChainPages(stream, pages); code != SUCCESS) return code;
    }
    if (!annSeekTo(stream, stream.uBase)) return ERROR_FILE_READ;
    info.nVersion = bPaged ? versionPaged : versionOnePage;
    info.nFormat = nFormat;
    info.nTotalPages = pages;
    return SUCCESS;
}

} // namespace kbann
