// What a stream holds: its form, told by the first bytes, and its version and pages.
#pragma once

#include "kbann/types.h"
#include "persist/coded_pages.h"
#include "persist/pages.h"
#include "persist/stream.h"

#include <cstdint>

namespace kbann {

inline constexpr uint32_t versionPaged = 13;
inline constexpr uint32_t versionOnePage = 12;

// nFormat: ANN_FMT_NATIVE, ANN_FMT_ENCODED or, for marks of either kind, ANN_FMT_WANGTAG. bPaged: whether pages can be
// counted. On success the stream stands behind the header line, or at its base for marks, which have none.
// ERROR_FILE_READ for anything else.
int annQueryFormat(AnnStream& stream, uint32_t& nFormat, bool& bPaged);

// Where a page stands, in data of the one form or the other.
struct StoredPage {
    TextPage text;
    PageChain chain;
};
// Fills version, form and page count of the record. found: receives the place of that page in paged data, counted from 1, or for
// -1 the one behind the last, so that one look through the data serves counting and finding; may be null. The stream stands at its base afterwards. ERROR_FILE_READ.
int annQueryInfo(AnnStream& stream, AnnFileInfoRecord& info, int32_t page = 0, StoredPage* found = nullptr);

} // namespace kbann
