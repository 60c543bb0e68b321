// Pages full of noise to be covered, and files taken to pieces, for the tests of redact, verify, mask and unmask.
#pragma once

#include "tests/apps/kann_process.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct PageKind {
    const char* name;
    const char* file; // the extension tells the format
    int bits;
    int compression = 0;
    int perspective = KB_VIEW_TOP_LEFT;
    bool palette = false; // of random colours, black among them
    bool grey = false;    // 12 and 16 bits
    bool alpha = false;
};

class RedactTest : public KannTest {
protected:
    static constexpr int width = 75, height = 53;

    int formatOf(const std::string& name) const;
    // Noise of every bit in all pixels; the same seed, the same page. Appends to a TIFF with `appends`.
    void makePage(const std::string& name, const PageKind& kind, std::uint32_t seed = 1, bool appends = false) const;
    // A scan with lines of something like words.
    void makeText(const std::string& name, std::uint32_t seed = 1, bool appends = false, int scale = 1) const;
    // The areas as a file of regions, all on one page.
    void writeRegions(const std::string& name, const std::vector<std::array<int, 4>>& areas, int page = 1) const;
    // 18 pixels of noise, blue first, from the inside of an area that begins at 10,8 or before: as they stand in a file that
    // isn't packed, red first or blue first.
    bool holdsCovered(const std::string& in, const std::string& file) const;
    // Stored rows of a page, all bits, row by row without their padding to words.
    std::vector<std::string> rows(const std::string& name, int page = 1) const;
};

// A chunk with its checksum.
std::string pngChunk(std::string_view type, std::string_view data);
// The bytes with `part` put in before the first chunk of that type.
std::string withPngChunk(const std::string& png, std::string_view before, const std::string& part);
std::string jpegMarker(int marker, std::string_view data);

// Little-endian TIFF: numbers of 32 bits, the position of a tag's entry in the first directory, and one more entry there, with
// its value; the old directory becomes zeros.
std::uint32_t numberAt(const std::string& bytes, std::size_t at);
void putNumber(std::string& bytes, std::size_t at, std::uint32_t value);
std::size_t entryOf(const std::string& bytes, int tag);
void addEntry(std::string& bytes, int tag, int type, std::uint32_t count, std::string_view value);
