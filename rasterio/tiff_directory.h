// Directories of TIFF files (TIFF 6.0, and its form with 64-bit offsets), read and written by ourselves: tags of any kind
// are found, set and taken out without the image library, which would rewrite what it doesn't know. Both byte orders.
#pragma once

#include "rasterio/byte_stream.h"

namespace kb {

// The file's own way of writing numbers.
struct TiffForm {
    bool bigEndian = false;
    bool wide = false; // 64-bit offsets
    size_t offsetBytes() const { return wide ? 8 : 4; }
    size_t countBytes() const { return wide ? 8 : 2; }
    size_t entryBytes() const { return wide ? 20 : 12; }
    uint64_t get(const uint8_t* p, size_t bytes) const;
    void put(uint8_t* p, size_t bytes, uint64_t value) const;
};

struct TiffEntry {
    uint16_t tag = 0, type = 0;
    uint64_t count = 0;
    uint64_t bytes = 0;   // of the value; UINT64_MAX for a type that isn't known
    uint64_t valueAt = 0; // file position of the value, in the entry when it fits there
    bool inEntry = false;
    uint8_t raw[8] = {}; // the value field as it is in the file
};

struct TiffDirectory {
    uint64_t at = 0;     // file position
    uint64_t next = 0;   // position of the next directory, 0 at the end
    uint64_t linkAt = 0; // position of the link that leads here
    std::vector<TiffEntry> entries;
    const TiffEntry* find(uint16_t tag) const;
};

// Bytes of one value of a TIFF type, 0 for an unknown one; and the unit in which byte order acts.
size_t tiffTypeBytes(uint16_t type);
size_t tiffTypeUnit(uint16_t type);
// Turns values from the file's order into the machine's, or back.
void reorderTiffValues(const TiffForm& form, uint16_t type, uint8_t* values, size_t bytes);

class TiffFile {
public:
    explicit TiffFile(ByteStream& stream) : stream_(stream) {}
    // Reads the header. ERROR_FILE_FORMAT when it isn't a TIFF's.
    int open();
    // The directory of a page from 1. ERROR_PAGE_NOT_FOUND behind the last; ERROR_FILE_READ for the one at which the chain
    // breaks or loops.
    int directory(int page, TiffDirectory* out);
    // Number of pages; a chain that loops or breaks ends where it does so.
    int pages();
    const TiffForm& form() const { return form_; }
    uint64_t size() const { return size_; }
    ByteStream& stream() { return stream_; }
    // Values of an entry in the machine's byte order. False when they don't lie in the file.
    bool values(const TiffEntry& entry, Bytes* out);
    // Numbers of an entry of one of the whole-number types.
    bool numbers(const TiffEntry& entry, std::vector<uint64_t>* out);

private:
    int readDirectory(uint64_t at, TiffDirectory* out, bool linksOnly);
    // Positions of all directories, each once.
    int walk();
    ByteStream& stream_;
    TiffForm form_;
    uint64_t size_ = 0;
    bool walked_ = false, broken_ = false;
    std::vector<uint64_t> positions_, links_;
};

// tiff_edit.cpp

struct TiffTagValue {
    uint16_t tag = 0, type = 0;
    uint64_t count = 0;
    Bytes data;
    bool removes = false;
};

// Sets and takes out tags of a page: values and a new directory go behind the file's end, then the link to the page is
// changed, then the old values and the old directory are zeroed. ERROR_FILE_WRITE too when an old value lies in pixels or in
// a directory that is still used, so that it couldn't be zeroed.
int editTiffPage(ByteStream& stream, int page, const std::vector<TiffTagValue>& changes);
// True when a file of that form can hold the value.
bool fitsTiff(bool wide, const TiffTagValue& value);
// Writes the last page's link where it is missing at the end of the file: what is appended would land in its place.
int completeTiffChain(TiffFile& file);
// Links the directory at a position behind the last page. A chain that loops or breaks goes on there instead.
int linkTiffPage(ByteStream& stream, uint64_t directoryAt);
// Moves the last page to place `page`; with `replaces` takes the page that stood there out of the chain and gives its
// directory in `replaced`, which stays as it was when there is none.
int placeLastTiffPage(ByteStream& stream, int page, bool replaces, TiffDirectory* replaced);
// Zeroes what a page that is out of the chain alone used.
int zeroTiffPage(ByteStream& stream, const TiffDirectory& page);

// Puts a file back as it was before a page was appended and moved to a place: the links that this changes, and the size.
class TiffChainUndo {
public:
    // Reads the links that change when a page goes behind the last and then to place `page` (-1: stays there).
    int remember(TiffFile& file, int page);
    void undo(ByteStream& stream) const;

private:
    struct Link {
        uint64_t at;
        uint8_t field[8];
    };
    TiffForm form_;
    uint64_t size_ = 0;
    std::vector<Link> links_;
};
// Tags of the calling thread's queue (tiff_tags.cpp).
const std::vector<TiffTagValue>& queuedTiffTags();
void clearQueuedTiffTags();

} // namespace kb
