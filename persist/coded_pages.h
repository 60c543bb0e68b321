// Pages of the coded form. Each stands behind a link record; the links chain them in page order, wherever they lie. So a
// page is added, replaced or dropped by writing links, and nothing moves. What no link reaches is dead space.
//
// A save appends the page and a new end link behind the present end link, which becomes the page's link, and only then
// writes the links that lead there. At every moment the chain holds all the pages of before or all those of afterwards.
#pragma once

#include "persist/native_form.h"
#include "persist/stream.h"

#include <cstdint>

namespace kbann {

inline constexpr uint32_t LINK_SEEK = 2; // go to the position first
inline constexpr uint32_t LINK_KEEP = 4; // and put the stream back afterwards

// Positions of links count from the stream's base. at, which may be null: the stream's position at the time of the call.
// ERROR_FILE_SEEK; ERROR_FILE_WRITE when the write comes up short.
int annWriteLink(AnnStream& stream, uint64_t position, uint32_t next, uint32_t mode, uint64_t* at);
// next: position of the next link, 0 at the end of the chain. ERROR_FILE_READ for what is no link; the stream stays then.
int annReadLink(AnnStream& stream, uint64_t position, uint32_t& next, uint32_t mode, uint64_t* at);

struct PageChain {
    uint32_t pages = 0;
    uint64_t first = 0; // positions of links: of page 1, or the end link
    uint64_t beforeLast = 0;
    uint64_t last = 0;     // the end link
    uint64_t furthest = 0; // that lies behind all others
    // A page's place in it; behind the last page that of the end link, which has no next.
    struct Place {
        uint64_t before = 0; // the link that leads to the page's; 0 when there is no such place
        uint64_t link = 0;
        uint64_t next = 0;
    } place;
    bool hasPage() const { return place.before && place.next; }
};
inline constexpr uint32_t pageBehindLast = UINT32_MAX;
// Follows the chain of paged data from the header on, and remembers the place of a page: counted from 1, or pageBehindLast. The
// stream stays behind the end link, or where it was (LINK_KEEP). ERROR_FILE_READ: no such header, a chain that leaves the
// data, meets something else or runs in a circle.
int annWalkChain(AnnStream& stream, uint32_t page, PageChain& chain, uint32_t mode);

// Puts the page whose link is at `fresh` before the chain's place (SAVE_INSERTPAGE), or instead of the page there
// (SAVE_REPLACEPAGE). ERROR_PAGE_NOT_FOUND, ERROR_FILE_SEEK, ERROR_FILE_WRITE: the chain is as it was.
int annSplicePage(AnnStream& stream, const PageChain& chain, uint32_t flags, uint64_t fresh);
// Takes the page at the chain's place out; its bytes stay. Errors as those of annSplicePage.
int annUnlinkPage(AnnStream& stream, const PageChain& chain);
// Puts the stream on the first token of the page at the chain's place. ERROR_PAGE_NOT_FOUND, ERROR_FILE_SEEK.
int annSeekCodedPage(AnnStream& stream, const PageChain& chain);

// Writes a tree as the only page, from the base on, and cuts the stream behind it.
int annWriteCodedData(AnnStream& stream, const AnnObject& object, const WriteFilter& filter);
// Adds the page to paged data, as annSplicePage does. A failure leaves the data with the pages that it had.
int annWriteCodedPage(AnnStream& stream, const AnnObject& object, const WriteFilter& filter, const PageChain& chain,
                      uint32_t flags);
// Data of one page without links becomes paged, so that the object's page can be added: a copy of the page goes behind it, and
// then one link over its first bytes leads there. A page that can't be read is left alone, with the code of reading it, and
// so it is for an object that can't be written.
int annMakeCodedPaged(AnnStream& stream, const AnnObject& object, const WriteFilter& filter);

} // namespace kbann
