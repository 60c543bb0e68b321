// Links are short and few, so they are read and written one by one; only pages go through buffers.
#include "persist/coded_pages.h"
#include "contracts/raster_io.h"
#include "store/tree.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace kbann {
namespace {

constexpr uint64_t linkBytes = codedTokenBytes; // the token's length is the link
constexpr uint64_t longestData = UINT32_MAX;    // positions are 32 bits

// The header line; the stream stands behind it, on the head link or on the only page.
bool readHeader(AnnStream& stream) {
    char line[longestLine];
    size_t length = 0;
    return annSeekTo(stream, stream.uBase) && annReadLine(stream, line, length) == SUCCESS &&
           std::string_view(line, length) == codedHeader;
}

void putLink(uint8_t* out, uint64_t next) {
    const auto told = static_cast<uint32_t>(next);
    std::memcpy(out, &pageLinkTag, sizeof pageLinkTag);
    std::memcpy(out + sizeof pageLinkTag, &told, sizeof told);
}

struct FoundPage {
    uint64_t before = 0; // the link that leads to the page's
    uint64_t link = 0;   // the page's own, or the end link
    uint32_t next = 0;   // that it holds
};

// Walks to a page. Behind the last page the end link is found, whose next is 0. Circles end at the page's number, which
// the caller has held against the count of a walk that refuses them.
int findPage(AnnStream& stream, uint32_t page, FoundPage& found) {
    if (!readHeader(stream)) return ERROR_FILE_READ;
    found = {};
    found.link = stream.uPos - stream.uBase;
    for (uint32_t hop = 0;; ++hop) {
        if (const int code = annReadLink(stream, found.link, found.next, LINK_SEEK, nullptr); code != SUCCESS) return code;
        if (hop == page) return SUCCESS;
        if (!found.next) return ERROR_PAGE_NOT_FOUND;
        found.before = found.link;
        found.link = found.next;
    }
}

// Another value for a link of the chain. A write that comes up short may have left half a link, so the old one is tried.
int changeLink(AnnStream& stream, uint64_t position, uint32_t before, uint64_t next) {
    const int code = annWriteLink(stream, position, static_cast<uint32_t>(next), LINK_SEEK, nullptr);
    if (code != SUCCESS) annWriteLink(stream, position, before, LINK_SEEK, nullptr);
    return code;
}

// A tree's tokens at the stream's present position, behind `lead`, and the end link behind them, where the data is cut. A
// tree that the writer refuses has written nothing, not even the lead. end: position of the end link.
int writePage(AnnStream& stream, std::span<const uint8_t> lead, const AnnObject& object, const WriteFilter& filter,
              uint64_t& end) {
    CodedWriter writer(stream);
    writer.run(lead.data(), lead.size());
    if (const int code = annWriteTree(writer, object, filter, 0); code != SUCCESS) return code;
    if (const int code = writer.finish(); code != SUCCESS) return code;
    if (const int code = annWriteLink(stream, 0, 0, 0, &end); code != SUCCESS) return code;
    // What lies further can't be linked to.
    return end <= longestData && annCut(stream) ? SUCCESS : ERROR_FILE_WRITE;
}

// The same with a page that has its link as the last bytes of its lead. The stream stands behind the end link.
int writeLinkedPage(AnnStream& stream, std::span<const uint8_t> lead, const AnnObject& object, const WriteFilter& filter) {
    const uint64_t link = stream.uPos - stream.uBase + lead.size() - linkBytes;
    uint64_t end = 0;
    if (const int code = writePage(stream, lead, object, filter, end); code != SUCCESS) return code;
    return annWriteLink(stream, link, static_cast<uint32_t>(end), LINK_SEEK | LINK_KEEP, nullptr);
}

// Takes out what a save has appended before it failed.
int cutBack(AnnStream& stream, uint64_t end, int code) {
    if (annSeekTo(stream, end)) annCut(stream);
    return code;
}

} // namespace

int annWriteLink(AnnStream& stream, uint64_t position, uint32_t next, uint32_t mode, uint64_t* at) {
    const uint64_t before = stream.uPos;
    if (at) *at = before - stream.uBase;
    if ((mode & LINK_SEEK) && !annSeekTo(stream, stream.uBase + position)) return ERROR_FILE_SEEK;
    uint8_t link[linkBytes];
    putLink(link, next);
    const bool written = annWriteAll(stream, link, linkBytes);
    if ((mode & LINK_KEEP) && !annSeekTo(stream, before)) return ERROR_FILE_SEEK;
    return written ? SUCCESS : ERROR_FILE_WRITE;
}

int annReadLink(AnnStream& stream, uint64_t position, uint32_t& next, uint32_t mode, uint64_t* at) {
    const uint64_t before = stream.uPos;
    if (at) *at = before - stream.uBase;
    if ((mode & LINK_SEEK) && !annSeekTo(stream, stream.uBase + position)) return ERROR_FILE_SEEK;
    uint8_t link[linkBytes];
    uint16_t tag = 0;
    const bool read = annReadAll(stream, link, linkBytes);
    if (read) std::memcpy(&tag, link, sizeof tag);
    const bool isLink = read && tag == pageLinkTag;
    if (isLink) std::memcpy(&next, link + sizeof tag, sizeof next);
    if ((!isLink || (mode & LINK_KEEP)) && !annSeekTo(stream, before)) return ERROR_FILE_SEEK;
    return isLink ? SUCCESS : ERROR_FILE_READ;
}

// Links may lead backwards, so a circle shows only by its links: there are more hops than links have room for, or, much
// sooner, a link is met again that was remembered at a power of two hops.
int annWalkChain(AnnStream& stream, PageChain& chain, uint32_t mode) {
    const uint64_t before = stream.uPos;
    uint64_t end = 0;
    if (!readHeader(stream) || !annStreamEnd(stream, end)) return ERROR_FILE_READ;
    uint64_t link = stream.uPos - stream.uBase, hops = 0, remembered = link, rememberNext = 1;
    const uint64_t mostHops = (end - stream.uBase) / linkBytes;
    chain = {};
    chain.furthest = link;
    for (;;) {
        uint32_t next = 0;
        if (annReadLink(stream, link, next, LINK_SEEK, nullptr) != SUCCESS) return ERROR_FILE_READ;
        if (!next) break;
        if (next == remembered || ++hops > mostHops) return ERROR_FILE_READ;
        if (hops == rememberNext) {
            remembered = next;
            rememberNext *= 2;
        }
        chain.beforeLast = link;
        chain.furthest = std::max<uint64_t>(chain.furthest, next);
        link = next;
    }
    if (!hops) return ERROR_FILE_READ; // the head link has no page: it must lead on
    chain.pages = static_cast<uint32_t>(hops - 1);
    chain.last = link;
    return (mode & LINK_KEEP) && !annSeekTo(stream, before) ? ERROR_FILE_READ : SUCCESS;
}

int annSplicePage(AnnStream& stream, uint32_t page, uint32_t flags, uint64_t fresh) {
    FoundPage found;
    const bool replace = flags == SAVE_REPLACEPAGE;
    if (const int code = findPage(stream, flags ? page : 1, found); code != SUCCESS) return code;
    if (replace && !found.next) return ERROR_PAGE_NOT_FOUND;
    // The new page's own link first: until another leads to it, it is no part of the chain.
    const uint64_t next = replace ? found.next : found.link;
    if (const int code = annWriteLink(stream, fresh, static_cast<uint32_t>(next), LINK_SEEK, nullptr); code != SUCCESS)
        return code;
    return changeLink(stream, found.before, static_cast<uint32_t>(found.link), fresh);
}

int annUnlinkPage(AnnStream& stream, uint32_t page) {
    FoundPage found;
    if (const int code = findPage(stream, page, found); code != SUCCESS) return code;
    if (!page || !found.next) return ERROR_PAGE_NOT_FOUND;
    return changeLink(stream, found.before, static_cast<uint32_t>(found.link), found.next);
}

int annSeekCodedPage(AnnStream& stream, uint32_t page) {
    FoundPage found;
    if (const int code = findPage(stream, page, found); code != SUCCESS) return code;
    return page && found.next ? SUCCESS : ERROR_PAGE_NOT_FOUND; // behind its link, as it was read last
}

int annWriteCodedData(AnnStream& stream, const AnnObject& object, const WriteFilter& filter) {
    if (!annSeekTo(stream, stream.uBase)) return ERROR_FILE_SEEK;
    constexpr size_t headerBytes = codedHeader.size() + 2;
    uint8_t lead[headerBytes + 2 * linkBytes];
    std::memcpy(lead, codedHeader.data(), codedHeader.size());
    std::memcpy(lead + codedHeader.size(), "\r\n", 2);
    putLink(lead + headerBytes, headerBytes + linkBytes);
    putLink(lead + headerBytes + linkBytes, 0);
    return writeLinkedPage(stream, lead, object, filter);
}

int annWriteCodedPage(AnnStream& stream, const AnnObject& object, const WriteFilter& filter, uint32_t page, uint32_t flags) {
    PageChain chain;
    if (const int code = annWalkChain(stream, chain, 0); code != SUCCESS) return code;
    // Pages are appended behind the end link; one that lies there already would be written over.
    if (chain.furthest != chain.last) return ERROR_FILE_READ;
    const uint64_t start = stream.uPos;
    uint64_t end = 0;
    int code = writePage(stream, {}, object, filter, end);
    if (code != SUCCESS) return cutBack(stream, start, code);
    code = changeLink(stream, chain.beforeLast, static_cast<uint32_t>(chain.last), end);
    if (code == SUCCESS) code = annSplicePage(stream, page, flags, chain.last);
    const bool behind = annSeekTo(stream, stream.uBase + end + linkBytes);
    return code == SUCCESS && !behind ? ERROR_FILE_SEEK : code;
}

int annMakeCodedPaged(AnnStream& stream) {
    if (!readHeader(stream)) return ERROR_FILE_READ;
    const uint64_t start = stream.uPos;
    AnnObject* root = nullptr;
    CodedReader reader(stream);
    if (const int code = annReadTree(reader, root, 0); code != SUCCESS) return code;
    const uint64_t end = reader.position();
    uint8_t link[linkBytes];
    putLink(link, 0);
    int code = annSeekTo(stream, end) ? writeLinkedPage(stream, link, *root, {}) : ERROR_FILE_SEEK;
    annFreeTree(root);
    if (code != SUCCESS) return cutBack(stream, end, code);
    uint8_t first[linkBytes];
    if (!annSeekTo(stream, start) || !annReadAll(stream, first, linkBytes)) return ERROR_FILE_READ;
    code = annWriteLink(stream, start - stream.uBase, static_cast<uint32_t>(end - stream.uBase), LINK_SEEK, nullptr);
    if (code != SUCCESS && annSeekTo(stream, start)) annWriteAll(stream, first, linkBytes);
    return code;
}

} // namespace kbann
