// Recognition of stored data. Marks of foreign tools have a second word of 0 or 1 where both stream forms have letters.
#include "persist/recognition.h"
#include "contracts/return_codes.h"
#include "kbann/constants.h"
#include "persist/wang_layout.h"

#include <cstring>

namespace kbann {
int annQueryFormat(AnnStream& stream, uint32_t& nFormat, bool& bPaged) {
    if (!annSeekTo(stream, stream.uBase)) return ERROR_FILE_READ;
    uint8_t first[wangHeaderBytes];
    if (!annReadAll(stream, first, wangHeaderBytes)) return ERROR_FILE_READ;
    if (annLittleU32(first + 4) <= 1) {
        nFormat = ANN_FMT_WANGTAG;
        bPaged = false;
        return annSeekTo(stream, stream.uBase) ? SUCCESS : ERROR_FILE_READ;
    }
    char line[wangHeaderBytes + longestLine];
    size_t length = 0;
    std::memcpy(line, first, wangHeaderBytes);
    if (const int code = annReadLine(stream, line + wangHeaderBytes, length); code != SUCCESS) return code;
    const std::string_view header{line, wangHeaderBytes + length};
    if (header == textHeader) {
        nFormat = ANN_FMT_NATIVE;
        bPaged = true;
        return SUCCESS;
    }
    if (header != codedHeader) return ERROR_FILE_READ;
    nFormat = ANN_FMT_ENCODED;
    uint32_t next = 0;
    bPaged = annReadLink(stream, 0, next, LINK_KEEP, nullptr) == SUCCESS;
    return SUCCESS;
}

int annQueryInfo(AnnStream& stream, AnnFileInfoRecord& info, int32_t page, StoredPage* found) {
    uint32_t nFormat = 0, pages = 1;
    bool bPaged = false;
    if (const int code = annQueryFormat(stream, nFormat, bPaged); code != SUCCESS) return code;
    StoredPage own;
    StoredPage& place = found ? *found : own;
    if (bPaged && nFormat == ANN_FMT_NATIVE) {
        if (annFindTextPage(stream, page, place.text) == ERROR_FILE_READ) return ERROR_FILE_READ;
        pages = place.text.pages;
    } else if (bPaged) {
        const uint32_t wanted = page < 0 ? pageBehindLast : static_cast<uint32_t>(page);
        if (const int code = annWalkChain(stream, wanted, place.chain, 0); code != SUCCESS) return code;
        pages = place.chain.pages;
    }
    if (!annSeekTo(stream, stream.uBase)) return ERROR_FILE_READ;
    info.nVersion = bPaged ? versionPaged : versionOnePage;
    info.nFormat = nFormat;
    info.nTotalPages = pages;
    return SUCCESS;
}

} // namespace kbann
