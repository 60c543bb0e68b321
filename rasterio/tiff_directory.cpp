// Reading of TIFF directories. Nothing is believed: entries and values are compared with the file's real size before
// anything is made for them, and a chain of pages is followed at most once through each position.
#include "rasterio/tiff_directory.h"

#include <bit>
#include <unordered_set>

namespace kb {
namespace {

struct TypeRow {
    uint8_t bytes, unit;
};
// Rows by type number; the unit of a rational is half of it.
constexpr auto types = std::to_array<TypeRow>({
    {0, 0}, {1, 1}, {1, 1}, {2, 2}, {4, 4}, {8, 4}, {1, 1}, {1, 1}, {2, 2},
    {4, 4}, // none, byte, ascii, short, long, rational, sbyte ...
    {8, 4}, {4, 4}, {8, 8}, {4, 4}, {0, 0}, {0, 0}, {8, 8}, {8, 8}, {8, 8}, // srational, float, double, ifd, -, -, long8 ...
});

constexpr size_t maxPages = 65535;

} // namespace

size_t tiffTypeBytes(uint16_t type) { return type < types.size() ? types[type].bytes : 0; }
size_t tiffTypeUnit(uint16_t type) { return type < types.size() ? types[type].unit : 0; }

uint64_t TiffForm::get(const uint8_t* p, size_t bytes) const {
    uint64_t value = 0;
    for (size_t i = 0; i < bytes; ++i) value |= uint64_t{p[i]} << 8 * (bigEndian ? bytes - 1 - i : i);
    return value;
}

void TiffForm::put(uint8_t* p, size_t bytes, uint64_t value) const {
    for (size_t i = 0; i < bytes; ++i) p[i] = static_cast<uint8_t>(value >> 8 * (bigEndian ? bytes - 1 - i : i));
}

void reorderTiffValues(const TiffForm& form, uint16_t type, uint8_t* values, size_t bytes) {
    const size_t unit = tiffTypeUnit(type);
    if (unit < 2 || form.bigEndian == (std::endian::native == std::endian::big)) return;
    for (size_t at = 0; at + unit <= bytes; at += unit) std::reverse(values + at, values + at + unit);
}

const TiffEntry* TiffDirectory::find(uint16_t tag) const {
    const auto found = std::find_if(entries.begin(), entries.end(), [tag](const TiffEntry& e) { return e.tag == tag; });
    return found == entries.end() ? nullptr : &*found;
}

int TiffFile::open() {
    uint8_t head[16];
    const int64_t size = stream_.size();
    if (size < 8 || !stream_.readAt(0, head, 8)) return ERROR_FILE_FORMAT;
    size_ = static_cast<uint64_t>(size);
    if (head[0] != head[1] || (head[0] != 'I' && head[0] != 'M')) return ERROR_FILE_FORMAT;
    form_.bigEndian = head[0] == 'M';
    const uint64_t version = form_.get(head + 2, 2);
    if (version != 42 && version != 43) return ERROR_FILE_FORMAT;
    form_.wide = version == 43;
    if (form_.wide && (size < 16 || form_.get(head + 4, 2) != 8)) return ERROR_FILE_FORMAT;
    return SUCCESS;
}

int TiffFile::readDirectory(uint64_t at, TiffDirectory* out, bool linksOnly) {
    uint8_t field[8];
    if (at < 8 || at > size_ || size_ - at < form_.countBytes() || !stream_.readAt(at, field, form_.countBytes()))
        return ERROR_FILE_READ;
    const uint64_t count = form_.get(field, form_.countBytes());
    const uint64_t entriesAt = at + form_.countBytes();
    if (count > (size_ - entriesAt) / form_.entryBytes()) return ERROR_FILE_READ;
    const uint64_t nextAt = entriesAt + count * form_.entryBytes();
    out->at = at;
    // Some writers leave the last link out at the end of the file.
    const bool hasNext = size_ - nextAt >= form_.offsetBytes() && stream_.readAt(nextAt, field, form_.offsetBytes());
    out->next = hasNext ? form_.get(field, form_.offsetBytes()) : 0;
    if (linksOnly) return SUCCESS;
    Bytes table(static_cast<size_t>(count * form_.entryBytes()));
    if (!stream_.readAt(entriesAt, table.data(), table.size())) return ERROR_FILE_READ;
    out->entries.resize(static_cast<size_t>(count));
    const size_t valueField = form_.wide ? 12 : 8;
    for (size_t i = 0; i < out->entries.size(); ++i) {
        const uint8_t* p = table.data() + i * form_.entryBytes();
        TiffEntry& e = out->entries[i];
        e.tag = static_cast<uint16_t>(form_.get(p, 2));
        e.type = static_cast<uint16_t>(form_.get(p + 2, 2));
        e.count = form_.get(p + 4, form_.offsetBytes());
        const size_t one = tiffTypeBytes(e.type);
        e.bytes = one && e.count <= UINT64_MAX / one ? e.count * one : UINT64_MAX;
        e.inEntry = e.bytes <= form_.offsetBytes();
        std::copy_n(p + valueField, form_.offsetBytes(), e.raw);
        e.valueAt =
            e.inEntry ? entriesAt + i * form_.entryBytes() + valueField : form_.get(p + valueField, form_.offsetBytes());
    }
    return SUCCESS;
}

int TiffFile::walk() {
    if (walked_) return SUCCESS;
    walked_ = true;
    uint64_t link = form_.wide ? 8 : 4;
    uint8_t field[8];
    if (!stream_.readAt(link, field, form_.offsetBytes())) return ERROR_FILE_READ;
    uint64_t at = form_.get(field, form_.offsetBytes());
    std::unordered_set<uint64_t> seen;
    while (at && positions_.size() < maxPages && seen.insert(at).second) {
        TiffDirectory directory;
        if (readDirectory(at, &directory, true) != SUCCESS) break;
        positions_.push_back(at);
        links_.push_back(link);
        if (stream_.readAt(at, field, form_.countBytes())) {
            link = at + form_.countBytes() + form_.get(field, form_.countBytes()) * form_.entryBytes();
        }
        at = directory.next;
    }
    broken_ = at != 0; // it loops, or leads to what is no directory
    return SUCCESS;
}

int TiffFile::pages() {
    walk();
    return static_cast<int>(positions_.size());
}

int TiffFile::directory(int page, TiffDirectory* out) {
    if (const int result = walk(); result != SUCCESS) return result;
    if (page < 1) return ERROR_PAGE_NOT_FOUND;
    const auto index = static_cast<size_t>(page - 1);
    if (index >= positions_.size()) return broken_ && index == positions_.size() ? ERROR_FILE_READ : ERROR_PAGE_NOT_FOUND;
    TiffDirectory found;
    if (const int result = readDirectory(positions_[index], &found, false); result != SUCCESS) return result;
    found.linkAt = links_[index];
    *out = std::move(found);
    return SUCCESS;
}

bool TiffFile::values(const TiffEntry& entry, Bytes* out) {
    if (entry.bytes == UINT64_MAX || entry.valueAt > size_ || entry.bytes > size_ - entry.valueAt) return false;
    out->resize(static_cast<size_t>(entry.bytes));
    if (!out->empty() && !stream_.readAt(entry.valueAt, out->data(), out->size())) return false;
    reorderTiffValues(form_, entry.type, out->data(), out->size());
    return true;
}

bool TiffFile::numbers(const TiffEntry& entry, std::vector<uint64_t>* out) {
    const size_t one = tiffTypeBytes(entry.type);
    Bytes bytes;
    if (one != tiffTypeUnit(entry.type) || !values(entry, &bytes)) return false;
    out->resize(bytes.size() / one);
    for (size_t i = 0; i < out->size(); ++i) {
        const uint8_t* p = bytes.data() + i * one;
        uint16_t small;
        uint32_t middle;
        uint64_t large;
        switch (one) {
        case 1: (*out)[i] = *p; break;
        case 2: std::memcpy(&small, p, 2), (*out)[i] = small; break;
        case 4: std::memcpy(&middle, p, 4), (*out)[i] = middle; break;
        default: std::memcpy(&large, p, 8), (*out)[i] = large; break;
        }
    }
    return true;
}

} // namespace kb
