// Bytes of a classic metafile as MS-WMF describes them: little-endian words, records that begin with their size in words. A
// record that runs out of memory is taken back whole.
#pragma once

#include "platform/gdi/dib.h"

#include <algorithm>
#include <initializer_list>
#include <vector>

namespace kb::gdi {

enum class RecordType : uint16_t {
    endOfFile = 0x0000,
    saveDc = 0x001E,
    realizePalette = 0x0035,
    createPalette = 0x00F7,
    setBkMode = 0x0102,
    setMapMode = 0x0103,
    setRop2 = 0x0104,
    setPolyFillMode = 0x0106,
    setStretchBltMode = 0x0107,
    restoreDc = 0x0127,
    invertRegion = 0x012A,
    paintRegion = 0x012B,
    selectClipRegion = 0x012C,
    selectObject = 0x012D,
    setTextAlign = 0x012E,
    dibCreatePatternBrush = 0x0142,
    deleteObject = 0x01F0,
    setBkColor = 0x0201,
    setTextColor = 0x0209,
    setWindowOrg = 0x020B,
    setWindowExt = 0x020C,
    setViewportOrg = 0x020D,
    setViewportExt = 0x020E,
    lineTo = 0x0213,
    moveTo = 0x0214,
    offsetClipRgn = 0x0220,
    fillRegion = 0x0228,
    selectPalette = 0x0234,
    createPenIndirect = 0x02FA,
    createFontIndirect = 0x02FB,
    createBrushIndirect = 0x02FC,
    polygon = 0x0324,
    polyline = 0x0325,
    excludeClipRect = 0x0415,
    intersectClipRect = 0x0416,
    ellipse = 0x0418,
    rectangle = 0x041B,
    setPixel = 0x041F,
    frameRegion = 0x0429,
    textOut = 0x0521,
    polyPolygon = 0x0538,
    roundRect = 0x061C,
    patBlt = 0x061D,
    createRegion = 0x06FF,
    arc = 0x0817,
    pie = 0x081A,
    chord = 0x0830,
    extTextOut = 0x0A32,
    setDibToDev = 0x0D33,
    stretchDib = 0x0F43,
};

// A parameter of 16 bits: a number is held to -32768 to 32767.
struct RecordWord {
    uint16_t bits;
    RecordWord(int64_t number) : bits(static_cast<uint16_t>(std::clamp<int64_t>(number, INT16_MIN, INT16_MAX))) {}
    static RecordWord raw(uint32_t value) {
        RecordWord word(0);
        word.bits = static_cast<uint16_t>(value);
        return word;
    }
};
// The two words of a colour or operation.
inline RecordWord lowWord(uint32_t value) { return RecordWord::raw(value & 0xFFFF); }
inline RecordWord highWord(uint32_t value) { return RecordWord::raw(value >> 16); }

class RecordWriter {
public:
    RecordWriter();

    void begin(RecordType type, std::initializer_list<RecordWord> words = {});
    void word(RecordWord w) { put(&w.bits, 2); }
    void dword(uint32_t value) { put(&value, 4); }
    void put(const void* bytes, size_t count);
    void zeros(size_t count) { bytes_.resize(bytes_.size() + count); }
    // A bitmap of the source's rows top..bottom-1, the last row first, with these colours if it has up to 8 bits.
    void dib(const PixelReader& source, const ColorTable& colors, int top, int bottom);
    // Fills the record up to whole words and tells its size. Throws std::length_error when the file would have more bytes
    // than GetMetaFileBitsEx can tell, as dib() does.
    void end();
    void record(RecordType type, std::initializer_list<RecordWord> words) {
        begin(type, words);
        end();
    }
    void takeBack() { bytes_.resize(start_); } // what has been begun and not ended

    // The whole file, with its end record and header.
    std::vector<uint8_t> finish(uint16_t objects);

private:
    void checkSize(size_t more) const;
    std::vector<uint8_t> bytes_;
    size_t start_; // of the present record, or of the next one
    uint32_t largest_ = 0;
};

} // namespace kb::gdi
