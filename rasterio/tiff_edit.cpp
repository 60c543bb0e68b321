// Editing of TIFF directories in place. Strips, tiles and foreign tags stay where they are: only a new directory (and new
// values) are written behind the end, and one link is changed. What is no longer reachable is zeroed, so that a value that
// was taken out can't be read back.
#include "rasterio/tiff_directory.h"

#include <new>

namespace kb {
namespace {

constexpr uint16_t stripOffsets = 273, stripByteCounts = 279, tileOffsets = 324, tileByteCounts = 325, subDirectories = 330;
constexpr uint64_t minWideType = 16;

struct Range {
    uint64_t at, bytes;
    bool isValue = false; // of a tag
    uint64_t end() const { return at + bytes; }
};

uint64_t nextLinkOf(const TiffForm& form, const TiffDirectory& d) {
    return d.at + form.countBytes() + d.entries.size() * form.entryBytes();
}

// The directory itself; the last one's link may be missing at the end of the file.
Range directoryRange(const TiffFile& file, const TiffDirectory& d) {
    return {d.at, std::min(nextLinkOf(file.form(), d) + file.form().offsetBytes(), file.size()) - d.at};
}

// All bytes that a page uses: its directory, its values, its strips and tiles.
std::vector<Range> rangesOf(TiffFile& file, const TiffDirectory& page) {
    std::vector<Range> ranges{directoryRange(file, page)};
    for (const TiffEntry& e : page.entries) {
        if (!e.inEntry && e.bytes != UINT64_MAX) ranges.push_back({e.valueAt, e.bytes, true});
    }
    constexpr uint16_t pairs[][2] = {{stripOffsets, stripByteCounts}, {tileOffsets, tileByteCounts}};
    for (const auto& pair : pairs) {
        const TiffEntry *offsets = page.find(pair[0]), *counts = page.find(pair[1]);
        std::vector<uint64_t> at, bytes;
        if (!offsets || !counts || !file.numbers(*offsets, &at) || !file.numbers(*counts, &bytes)) continue;
        for (size_t i = 0; i < std::min(at.size(), bytes.size()); ++i) ranges.push_back({at[i], bytes[i]});
    }
    std::erase_if(ranges, [&](const Range& r) { return !r.bytes || r.at > file.size() || r.bytes > file.size() - r.at; });
    return ranges;
}

bool zero(ByteStream& stream, const Range& range) {
    static constexpr uint8_t zeros[4096] = {};
    for (uint64_t done = 0; done < range.bytes; done += sizeof zeros) {
        const auto bytes = static_cast<size_t>(std::min<uint64_t>(sizeof zeros, range.bytes - done));
        if (!stream.writeAt(range.at + done, zeros, bytes)) return false;
    }
    return true;
}

// Sorted, those that meet or overlap joined to one.
std::vector<Range> merged(std::vector<Range> ranges) {
    std::sort(ranges.begin(), ranges.end(), [](const Range& a, const Range& b) { return a.at < b.at; });
    std::vector<Range> out;
    for (const Range& r : ranges) {
        if (out.empty() || r.at > out.back().end())
            out.push_back(r);
        else
            out.back().bytes = std::max(out.back().end(), r.end()) - out.back().at;
    }
    return out;
}

// First of merged ranges that ends behind a position.
auto firstBehind(const std::vector<Range>& ranges, uint64_t at) {
    return std::lower_bound(ranges.begin(), ranges.end(), at, [](const Range& r, uint64_t p) { return r.end() <= p; });
}

// Zeroes the bytes of ranges that aren't in one of the kept, which are merged.
bool zeroUnused(ByteStream& stream, const std::vector<Range>& unused, const std::vector<Range>& kept) {
    for (const Range& range : unused) {
        uint64_t at = range.at;
        for (auto k = firstBehind(kept, at); at < range.end(); ++k) {
            const uint64_t until = k == kept.end() ? range.end() : std::min(k->at, range.end());
            if (until > at && !zero(stream, {at, until - at})) return false;
            if (k == kept.end()) break;
            at = k->end();
        }
    }
    return true;
}

// What the header and the pages of the chain use.
int collectKept(TiffFile& file, std::vector<Range>* kept) {
    *kept = {{0, file.form().wide ? 16u : 8u}};
    for (int page = 1; page <= file.pages(); ++page) {
        TiffDirectory directory;
        if (const int result = file.directory(page, &directory); result != SUCCESS) return result;
        const auto ranges = rangesOf(file, directory);
        kept->insert(kept->end(), ranges.begin(), ranges.end());
    }
    return SUCCESS;
}

bool putLink(ByteStream& stream, const TiffForm& form, uint64_t at, uint64_t target) {
    uint8_t field[8];
    form.put(field, form.offsetBytes(), target);
    return stream.writeAt(at, field, form.offsetBytes());
}

// Zeroes the old directory and the old values of changed tags, as far as no page uses them. Bytes that are another tag's
// value too stay with that tag; a value that lies in pixels or a directory can't be taken out, and that is told.
int zeroReplaced(ByteStream& stream, const Range& directory, const std::vector<Range>& values) {
    TiffFile file(stream);
    if (const int result = file.open(); result != SUCCESS) return result;
    std::vector<Range> kept;
    if (const int result = collectKept(file, &kept); result != SUCCESS) return result;
    const std::vector<Range> all = merged(kept);
    if (!zeroUnused(stream, {directory}, all) || !zeroUnused(stream, values, all)) return ERROR_FILE_WRITE;
    std::erase_if(kept, [](const Range& r) { return r.isValue; });
    const std::vector<Range> fixed = merged(std::move(kept));
    for (const Range& value : values) {
        const auto k = firstBehind(fixed, value.at);
        if (k != fixed.end() && k->at < value.end()) return ERROR_FILE_WRITE;
    }
    return SUCCESS;
}

// Serialised entry, with its value behind the end of the file when it doesn't fit.
struct NewEntry {
    TiffEntry entry;
    const TiffTagValue* value = nullptr;
};

} // namespace

bool fitsTiff(bool wide, const TiffTagValue& value) {
    return tiffTypeBytes(value.type) && (wide || (value.type < minWideType && value.count <= UINT32_MAX));
}

int editTiffPage(ByteStream& stream, int page, const std::vector<TiffTagValue>& changes) {
    TiffFile file(stream);
    if (const int result = file.open(); result != SUCCESS) return result;
    TiffDirectory old;
    if (const int result = file.directory(page, &old); result != SUCCESS) return result;
    const TiffForm& form = file.form();

    std::vector<NewEntry> entries;
    for (const TiffEntry& e : old.entries) {
        const bool changed =
            std::any_of(changes.begin(), changes.end(), [&](const TiffTagValue& c) { return c.tag == e.tag; });
        if (!changed) entries.push_back({.entry = e});
    }
    for (const TiffTagValue& c : changes) {
        if (c.removes) continue;
        if (!fitsTiff(form.wide, c)) return ERROR_FEATURE_NOT_SUPPORTED;
        TiffEntry e;
        e.tag = c.tag;
        e.type = c.type;
        e.count = c.count;
        e.bytes = c.data.size();
        e.inEntry = e.bytes <= form.offsetBytes();
        entries.push_back({.entry = e, .value = &c});
    }
    if (entries.empty() || (!form.wide && entries.size() > 65535))
        return ERROR_INV_PARAMETER; // a directory has at least one entry
    std::sort(entries.begin(), entries.end(),
              [](const NewEntry& a, const NewEntry& b) { return a.entry.tag < b.entry.tag; });

    // Values and directory as one run of bytes from an even position behind the end.
    const uint64_t base = (file.size() + 1) / 2 * 2;
    Bytes tail(static_cast<size_t>(base - file.size()), 0);
    const auto position = [&] { return file.size() + tail.size(); };
    for (NewEntry& n : entries) {
        if (!n.value) continue;
        Bytes data = n.value->data;
        reorderTiffValues(form, n.entry.type, data.data(), data.size());
        if (n.entry.inEntry) {
            std::copy(data.begin(), data.end(), n.entry.raw);
            continue;
        }
        form.put(n.entry.raw, form.offsetBytes(), position());
        tail.insert(tail.end(), data.begin(), data.end());
        if (tail.size() % 2 != (base - file.size()) % 2) tail.push_back(0);
    }
    const uint64_t newAt = position();
    const size_t directoryBytes = form.countBytes() + entries.size() * form.entryBytes() + form.offsetBytes();
    tail.resize(tail.size() + directoryBytes, 0);
    if (!form.wide && position() > UINT32_MAX) return ERROR_FEATURE_NOT_SUPPORTED; // no room left for 32-bit offsets
    uint8_t* p = tail.data() + tail.size() - directoryBytes;
    form.put(p, form.countBytes(), entries.size());
    p += form.countBytes();
    for (const NewEntry& n : entries) {
        form.put(p, 2, n.entry.tag);
        form.put(p + 2, 2, n.entry.type);
        form.put(p + 4, form.offsetBytes(), n.entry.count);
        std::copy_n(n.entry.raw, form.offsetBytes(), p + 4 + form.offsetBytes());
        p += form.entryBytes();
    }
    form.put(p, form.offsetBytes(), old.next == old.at ? 0 : old.next); // a page may lead to itself
    const uint64_t oldSize = file.size();
    if (!stream.writeAt(oldSize, tail.data(), tail.size())) {
        stream.truncate(static_cast<int64_t>(oldSize));
        return ERROR_FILE_WRITE;
    }
    // A chain that loops to this page would still reach the old directory: it ends at its last page instead.
    TiffDirectory last;
    bool linked = file.directory(file.pages(), &last) == SUCCESS;
    if (linked && last.next == old.at && last.at != old.at && nextLinkOf(form, last) != old.linkAt)
        linked = putLink(stream, form, nextLinkOf(form, last), 0);
    if (!linked || !putLink(stream, form, old.linkAt, newAt)) {
        putLink(stream, form, old.linkAt, old.at);
        stream.truncate(static_cast<int64_t>(oldSize));
        return ERROR_FILE_WRITE;
    }

    std::vector<Range> values;
    for (const TiffEntry& e : old.entries) {
        const bool changed =
            std::any_of(changes.begin(), changes.end(), [&](const TiffTagValue& c) { return c.tag == e.tag; });
        if (changed && !e.inEntry && e.bytes != UINT64_MAX && e.valueAt <= oldSize && e.bytes <= oldSize - e.valueAt) {
            values.push_back({e.valueAt, e.bytes, true});
        }
    }
    return zeroReplaced(stream, directoryRange(file, old), values);
}

int completeTiffChain(TiffFile& file) {
    const int pages = file.pages();
    if (!pages) return SUCCESS;
    TiffDirectory last;
    if (const int result = file.directory(pages, &last); result != SUCCESS) return result;
    const uint64_t link = nextLinkOf(file.form(), last);
    if (file.size() >= link + file.form().offsetBytes()) return SUCCESS;
    return putLink(file.stream(), file.form(), link, 0) ? SUCCESS : ERROR_FILE_WRITE;
}

int TiffChainUndo::remember(TiffFile& file, int page) {
    size_ = file.size();
    form_ = file.form();
    std::vector<uint64_t> positions{form_.wide ? 8u : 4u};
    for (const int number : {file.pages(), page}) {
        TiffDirectory d;
        if (number < 1 || number > file.pages()) continue;
        if (const int result = file.directory(number, &d); result != SUCCESS) return result;
        positions.push_back(number == page ? d.linkAt : nextLinkOf(form_, d));
        if (number == page && page == file.pages()) positions.push_back(nextLinkOf(form_, d));
    }
    for (const uint64_t at : positions) {
        Link link{.at = at, .field = {}};
        if (file.stream().readAt(at, link.field, form_.offsetBytes())) links_.push_back(link); // else it isn't there yet
    }
    return SUCCESS;
}

void TiffChainUndo::undo(ByteStream& stream) const {
    for (const Link& link : links_) stream.writeAt(link.at, link.field, form_.offsetBytes());
    stream.truncate(static_cast<int64_t>(size_));
}

int linkTiffPage(ByteStream& stream, uint64_t directoryAt) {
    TiffFile file(stream);
    if (const int result = file.open(); result != SUCCESS) return result;
    const TiffForm& form = file.form();
    if (!form.wide && directoryAt > UINT32_MAX) return ERROR_FEATURE_NOT_SUPPORTED;
    const int pages = file.pages();
    uint64_t link = form.wide ? 8 : 4;
    if (pages) {
        TiffDirectory last;
        if (const int result = file.directory(pages, &last); result != SUCCESS) return result;
        link = nextLinkOf(form, last);
    }
    return putLink(stream, form, link, directoryAt) ? SUCCESS : ERROR_FILE_WRITE;
}

int placeLastTiffPage(ByteStream& stream, int page, bool replaces, TiffDirectory* replaced) {
    TiffFile file(stream);
    if (const int result = file.open(); result != SUCCESS) return result;
    const int count = file.pages();
    TiffDirectory last, before, target;
    if (page < 1 || page >= count) return SUCCESS; // it is where it should be
    for (const auto& [number, out] : {std::pair{count, &last}, std::pair{count - 1, &before}, std::pair{page, &target}}) {
        if (const int result = file.directory(number, out); result != SUCCESS) return result;
    }
    const TiffForm& form = file.form();
    // The moved page leads on to what follows its new place; then the link to that place, then the end of the chain. When
    // the page before the last is the one replaced, it drops out of the chain with its link.
    const uint64_t follower = replaces ? target.next : target.at;
    const bool targetIsBefore = target.at == before.at;
    const uint64_t lastNext = replaces && targetIsBefore ? 0 : follower == last.at ? 0 : follower;
    if (!putLink(stream, form, nextLinkOf(form, last), lastNext)) return ERROR_FILE_WRITE;
    if (!putLink(stream, form, target.linkAt, last.at)) return ERROR_FILE_WRITE;
    if (!(replaces && targetIsBefore) && !putLink(stream, form, nextLinkOf(form, before), 0)) return ERROR_FILE_WRITE;
    if (replaces) *replaced = std::move(target);
    return SUCCESS;
}

int zeroTiffPage(ByteStream& stream, const TiffDirectory& page) {
    TiffFile file(stream);
    if (const int result = file.open(); result != SUCCESS) return result;
    std::vector<Range> unused = rangesOf(file, page), kept;
    if (const TiffEntry* e = page.find(subDirectories); e && !e->inEntry) {
        // Images below the page stay reachable for tools.
        std::erase_if(unused, [&](const Range& r) { return r.at == e->valueAt; });
    }
    if (const int result = collectKept(file, &kept); result != SUCCESS) return result;
    return zeroUnused(stream, unused, merged(std::move(kept))) ? SUCCESS : ERROR_FILE_WRITE;
}

} // namespace kb

using namespace kb;

extern "C" int K_RewriteFileTag(const char* pszPath, int page, uint16_t tag, uint16_t type, uint32_t count,
                                const void* pData) {
    if (!pszPath || page < 1 || (pData && !tiffTypeBytes(type))) return ERROR_INV_PARAMETER;
    FileStream stream(pszPath, 2);
    if (!stream.isOpen()) return ERROR_FILE_OPEN;
    try {
        TiffTagValue change{.tag = tag, .type = type, .count = count, .data = {}, .removes = !pData};
        if (pData) {
            const auto* bytes = static_cast<const uint8_t*>(pData);
            change.data.assign(bytes, bytes + size_t{count} * tiffTypeBytes(type));
        } else {
            TiffFile file(stream);
            TiffDirectory directory;
            if (const int result = file.open(); result != SUCCESS) return result;
            if (const int result = file.directory(page, &directory); result != SUCCESS) return result;
            if (!directory.find(tag)) return SUCCESS; // nothing to take out
        }
        const int result = editTiffPage(stream, page, {std::move(change)});
        return stream.close() || result != SUCCESS ? result : ERROR_FILE_WRITE;
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
}
