// One walk over the chain serves counting, finding a page and finding the end; links are written one by one.
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

// Links on the way through a chain. Those of short pages lie near each other, and many come with one read.
class LinkSource {
public:
    explicit LinkSource(AnnStream& stream) : stream_(stream) {}

    // Position counts from the base. False where there is no link.
    bool next(uint64_t position, uint32_t& next) {
        const bool isNear = position >= last_ && position - last_ < sizeof bytes_ / 4;
        last_ = position;
        if (position < start_ || position + linkBytes > start_ + held_) {
            if (!fill(position, isNear ? sizeof bytes_ : linkBytes)) return false;
        }
        const uint8_t* link = bytes_ + (position - start_);
        uint16_t tag = 0;
        std::memcpy(&tag, link, sizeof tag);
        std::memcpy(&next, link + sizeof tag, sizeof next);
        return tag == pageLinkTag;
    }

private:
    bool fill(uint64_t position, size_t wanted) {
        start_ = position;
        held_ = 0;
        if (!annSeekTo(stream_, stream_.uBase + position)) return false;
        while (held_ < wanted) {
            const int64_t got = stream_.pfnRead(stream_, bytes_ + held_, static_cast<int64_t>(wanted - held_));
            if (got < 1) break;
            held_ += static_cast<size_t>(got);
        }
        return held_ >= linkBytes;
    }

    AnnStream& stream_;
    uint64_t last_ = 0;  // position asked for, from the base
    uint64_t start_ = 0; // of what is held
    size_t held_ = 0;
    uint8_t bytes_[4096];
};

// Another value for a link of the chain. A write that comes up short may have left half a link, so the old one is tried.
int changeLink(AnnStream& stream, uint64_t position, uint64_t before, uint64_t next) {
    const int code = annWriteLink(stream, position, static_cast<uint32_t>(next), LINK_SEEK, nullptr);
    if (code != SUCCESS) annWriteLink(stream, position, static_cast<uint32_t>(before), LINK_SEEK, nullptr);
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

// Pages that run past the end link would be written over by one that is appended there. Only made-up data has them, and
// bytes behind its end link then; so nothing is read where there are none. start: position behind the end link.
int refuseRunningPages(AnnStream& stream, const PageChain& chain, uint64_t start) {
    uint64_t end = 0;
    if (!annStreamEnd(stream, end)) return ERROR_FILE_READ;
    if (end <= start) return SUCCESS;
    LinkSource links(stream);
    uint64_t read = 0;
    uint32_t next = 0;
    for (uint64_t link = chain.first; link != chain.last; link = next) {
        if (!links.next(link, next)) return ERROR_FILE_READ;
        const uint64_t page = stream.uBase + link + linkBytes;
        if (!annSeekTo(stream, page)) return ERROR_FILE_SEEK;
        CodedReader reader(stream);
        AnnObject* root = nullptr;
        const int code = annReadTree(reader, root, 0); // one that can't be read has nothing to lose
        if (code == ERROR_NO_MEMORY) return code;
        if (code == SUCCESS) annFreeTree(root);
        read += reader.position() - page;
        if (read > end || (code == SUCCESS && reader.position() > start - linkBytes)) return ERROR_FILE_READ;
    }
    return SUCCESS;
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
int annWalkChain(AnnStream& stream, uint32_t page, PageChain& chain, uint32_t mode) {
    const uint64_t before = stream.uPos;
    uint64_t end = 0;
    if (!readHeader(stream) || !annStreamEnd(stream, end)) return ERROR_FILE_READ;
    uint64_t link = stream.uPos - stream.uBase, hops = 0, remembered = link, rememberNext = 1;
    const uint64_t mostHops = (end - stream.uBase) / linkBytes;
    LinkSource links(stream);
    chain = {};
    chain.furthest = link;
    for (;;) {
        uint32_t next = 0;
        if (!links.next(link, next)) return ERROR_FILE_READ;
        if (hops && hops == page) chain.place = {chain.beforeLast, link, next};
        if (!next) break;
        if (next == remembered || ++hops > mostHops) return ERROR_FILE_READ;
        if (hops == rememberNext) {
            remembered = next;
            rememberNext *= 2;
        }
        if (hops == 1) chain.first = next;
        chain.beforeLast = link;
        chain.furthest = std::max<uint64_t>(chain.furthest, next);
        link = next;
    }
    if (!hops) return ERROR_FILE_READ; // the head link has no page: it must lead on
    chain.pages = static_cast<uint32_t>(hops - 1);
    chain.last = link;
    if (page == pageBehindLast) chain.place = {chain.beforeLast, link, 0};
    const uint64_t behind = mode & LINK_KEEP ? before : stream.uBase + link + linkBytes;
    return annSeekTo(stream, behind) ? SUCCESS : ERROR_FILE_READ;
}

int annSplicePage(AnnStream& stream, const PageChain& chain, uint32_t flags, uint64_t fresh) {
    const bool replace = flags == SAVE_REPLACEPAGE;
    const PageChain::Place& place = chain.place;
    if (!place.before || (replace && !place.next)) return ERROR_PAGE_NOT_FOUND;
    // The new page's own link first: until another leads to it, it is no part of the chain.
    const uint64_t next = replace ? place.next : place.link;
    if (const int code = annWriteLink(stream, fresh, static_cast<uint32_t>(next), LINK_SEEK, nullptr); code != SUCCESS)
        return code;
    return changeLink(stream, place.before, place.link, fresh);
}

int annUnlinkPage(AnnStream& stream, const PageChain& chain) {
    if (!chain.hasPage()) return ERROR_PAGE_NOT_FOUND;
    return changeLink(stream, chain.place.before, chain.place.link, chain.place.next);
}

int annSeekCodedPage(AnnStream& stream, const PageChain& chain) {
    if (!chain.hasPage()) return ERROR_PAGE_NOT_FOUND;
    return annSeekTo(stream, stream.uBase + chain.place.link + linkBytes) ? SUCCESS : ERROR_FILE_SEEK;
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

int annWriteCodedPage(AnnStream& stream, const AnnObject& object, const WriteFilter& filter, const PageChain& chain,
                      uint32_t flags) {
    // Pages are appended behind the end link; one that lies there already would be written over.
    if (chain.furthest != chain.last) return ERROR_FILE_READ;
    const uint64_t start = stream.uBase + chain.last + linkBytes;
    int code = refuseRunningPages(stream, chain, start);
    if (code != SUCCESS) return code;
    if (!annSeekTo(stream, start)) return ERROR_FILE_SEEK;
    uint64_t end = 0;
    code = writePage(stream, {}, object, filter, end);
    if (code == SUCCESS) code = changeLink(stream, chain.beforeLast, chain.last, end);
    if (code != SUCCESS) return cutBack(stream, start, code);
    // The old end link is the new page's from here on, and whatever led to it leads to the new one.
    PageChain longer = chain;
    for (uint64_t* link : {&longer.place.link, &longer.place.next})
        if (*link == chain.last) *link = end;
    code = annSplicePage(stream, longer, flags, chain.last);
    // What was appended goes again once nothing leads to its end link.
    if (code != SUCCESS && annWriteLink(stream, chain.last, 0, LINK_SEEK, nullptr) == SUCCESS &&
        changeLink(stream, chain.beforeLast, end, chain.last) == SUCCESS)
        return cutBack(stream, start, code);
    const bool behind = annSeekTo(stream, stream.uBase + end + linkBytes);
    return code == SUCCESS && !behind ? ERROR_FILE_SEEK : code;
}

int annMakeCodedPaged(AnnStream& stream, const AnnObject& object, const WriteFilter& filter) {
    AnnStream nowhere{};
    nowhere.pfnWrite = [](AnnStream&, const void*, int64_t count) { return count; };
    CodedWriter trial(nowhere);
    if (const int code = annWriteTree(trial, object, filter, 0); code != SUCCESS) return code;
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
