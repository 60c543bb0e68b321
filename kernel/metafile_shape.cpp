// Box and size of a picture out of its records, without playing them. Classic metafiles that come without a placeable header
// tell them by the window that they set; those that set none by their coordinates alone, which are taken as pixels of a
// screen. Record layouts: the published form MS-WMF; frames of enhanced metafiles: MS-EMF.
#include "kernel/metafile_shape.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace kb {
namespace {

constexpr size_t classicHeaderBytes = 18, recordHeadBytes = 6;
constexpr uint16_t setWindowOrg = 0x020B, setWindowExt = 0x020C;
constexpr int screenUnitsPerInch = 96;

// Where a drawing record has its coordinates: `pairs` of y before x at `at`, or a count of points, x before y, behind it.
struct CoordinateRow {
    uint16_t function;
    uint8_t at;
    uint8_t pairs; // 0: counted points
};
constexpr auto coordinateRows = std::to_array<CoordinateRow>({
    {0x0213, 6, 1},  // line to
    {0x0214, 6, 1},  // move to
    {0x0324, 6, 0},  // polygon
    {0x0325, 6, 0},  // polyline
    {0x041B, 6, 2},  // rectangle
    {0x0418, 6, 2},  // ellipse
    {0x061C, 10, 2}, // rounded rectangle, behind its corners
    {0x0817, 14, 2}, // arc, behind its two rays
    {0x081A, 14, 2}, // pie
    {0x0830, 14, 2}, // chord
    {0x0A32, 6, 1},  // text with options
});

struct Extent {
    int32_t left = std::numeric_limits<int32_t>::max(), top = left, right = std::numeric_limits<int32_t>::min(),
            bottom = right;
    void add(int32_t x, int32_t y) {
        left = std::min(left, x);
        top = std::min(top, y);
        right = std::max(right, x);
        bottom = std::max(bottom, y);
    }
    bool empty() const { return left > right; }
};

void addCoordinates(MetafileBits record, uint16_t function, Extent& extent) {
    const auto row = std::ranges::find(coordinateRows, function, &CoordinateRow::function);
    if (row == coordinateRows.end()) return;
    const auto number = [record](size_t at) { return int32_t{metafileNumber<int16_t>(record, at)}; };
    if (row->pairs) {
        const size_t end = row->at + size_t{row->pairs} * 4;
        for (size_t at = row->at; at + 4 <= std::min(end, record.size()); at += 4) extent.add(number(at + 2), number(at));
        return;
    }
    const size_t first = size_t{row->at} + 2, count = static_cast<uint16_t>(number(row->at));
    const size_t last = std::min(first + count * 4, record.size());
    for (size_t at = first; at + 4 <= last; at += 4) extent.add(number(at), number(at + 2));
}

void measureClassic(MetafileBits bits, KernelMetafile* m) {
    int32_t originX = 0, originY = 0, extentX = 0, extentY = 0;
    Extent drawn;
    for (size_t at = classicHeaderBytes; at + recordHeadBytes <= bits.size();) {
        const size_t bytes = size_t{metafileNumber<uint32_t>(bits, at)} * 2;
        if (bytes < recordHeadBytes || bytes > bits.size() - at) break;
        const MetafileBits record = bits.subspan(at, bytes);
        const auto function = metafileNumber<uint16_t>(record, 4);
        const int32_t y = metafileNumber<int16_t>(record, 6), x = metafileNumber<int16_t>(record, 8);
        if (function == setWindowOrg && !extentX) {
            originX = x;
            originY = y;
        } else if (function == setWindowExt && !extentX && x && y) {
            extentX = x;
            extentY = y;
        } else if (!extentX) {
            addCoordinates(record, function, drawn);
        }
        at += bytes;
    }
    if (extentX) {
        m->nLeft = originX;
        m->nTop = originY;
        m->nRight = originX + extentX;
        m->nBottom = originY + extentY;
    } else if (!drawn.empty()) {
        m->nLeft = drawn.left;
        m->nTop = drawn.top;
        m->nRight = drawn.right + 1;
        m->nBottom = drawn.bottom + 1;
    }
    sizeFromBox(m, screenUnitsPerInch);
}

int32_t distance(int32_t a, int32_t b) {
    return static_cast<int32_t>(std::min<int64_t>(std::abs(int64_t{b} - a), std::numeric_limits<int32_t>::max()));
}

} // namespace

void sizeFromBox(KernelMetafile* m, int unitsPerInch) {
    constexpr double hundredthsPerInch = 2540;
    const auto length = [unitsPerInch](int32_t from, int32_t to) {
        const double value = distance(from, to) * hundredthsPerInch / unitsPerInch + 0.5;
        return static_cast<int32_t>(std::min(value, 2147483647.0));
    };
    m->nWidth = length(m->nLeft, m->nRight);
    m->nHeight = length(m->nTop, m->nBottom);
}

void measureMetafile(MetafileBits bits, KernelMetafile* m) {
    if (!m->bEnhanced) return measureClassic(bits, m);
    m->nWidth = distance(metafileNumber<int32_t>(bits, 24), metafileNumber<int32_t>(bits, 32));
    m->nHeight = distance(metafileNumber<int32_t>(bits, 28), metafileNumber<int32_t>(bits, 36));
}

} // namespace kb
