// The player of enhanced metafiles: 32-bit coordinates, a world transform, paths, objects in numbered places. Picture units
// are the pixels of the device that the file was recorded for.
#pragma once

#include "platform/gdi/playback.h"

#include <cstring>

namespace kb::gdi {

// A whole record; offsets count from its beginning, as in the file. That the bytes of the table's row are there has been
// checked.
struct EnhancedRecord {
    const uint8_t* bytes;
    size_t size;

    uint32_t dword(size_t at) const {
        uint32_t v;
        std::memcpy(&v, bytes + at, sizeof v);
        return v;
    }
    int32_t number(size_t at) const { return static_cast<int32_t>(dword(at)); }
    int32_t half(size_t at) const { return static_cast<int16_t>(bytes[at] | bytes[at + 1] << 8); }
    double real(size_t at) const {
        float v;
        std::memcpy(&v, bytes + at, sizeof v);
        return static_cast<double>(v);
    }
    bool has(uint64_t at, uint64_t count) const { return at <= size && count <= size - at; }
    FPoint point(size_t at) const { return {static_cast<double>(number(at)), static_cast<double>(number(at + 4))}; }
    RECT box(size_t at) const { return {number(at), number(at + 4), number(at + 8), number(at + 12)}; }
};

struct EnhancedPlayer {
    EnhancedPlayer(HDC hDC, const Affine& placement, bool mirrored, size_t bytes) : out(hDC, placement, mirrored, bytes) {}
    Playback out;
    double pixelsPerMmX = 1, pixelsPerMmY = 1; // of the recording device
    std::vector<FPoint> points;
    std::vector<uint32_t> counts;

    // False when a broken record has ended the play.
    bool play(const uint8_t* data, size_t size);

    void setMapMode(int mode);
    void setExtent(bool window, double width, double height);
    void keepRatio();
    void setWorld(const Affine& world);
};

using EnhancedHandler = bool (*)(EnhancedPlayer&, const EnhancedRecord&);
struct EnhancedRow {
    uint8_t type;
    uint16_t bytes; // least size of the record
    EnhancedHandler run;
};
// Null for a record that isn't known or that draws nothing; those are passed over.
const EnhancedRow* findEnhancedRow(uint32_t type);

// Handlers that stand in files of their own.
bool enhancedText(EnhancedPlayer&, const EnhancedRecord&, bool wide);
bool enhancedSmallText(EnhancedPlayer&, const EnhancedRecord&);
bool enhancedPolyText(EnhancedPlayer&, const EnhancedRecord&, bool wide);
bool enhancedBitBlt(EnhancedPlayer&, const EnhancedRecord&);
bool enhancedStretchBlt(EnhancedPlayer&, const EnhancedRecord&);
bool enhancedMaskBlt(EnhancedPlayer&, const EnhancedRecord&);
bool enhancedPlgBlt(EnhancedPlayer&, const EnhancedRecord&);
bool enhancedDibToDevice(EnhancedPlayer&, const EnhancedRecord&);
bool enhancedStretchDib(EnhancedPlayer&, const EnhancedRecord&);
bool enhancedAlphaBlend(EnhancedPlayer&, const EnhancedRecord&);
bool enhancedTransparentBlt(EnhancedPlayer&, const EnhancedRecord&);
bool enhancedGradient(EnhancedPlayer&, const EnhancedRecord&);
bool enhancedPatternBrush(EnhancedPlayer&, const EnhancedRecord&, bool mono);

} // namespace kb::gdi
