// The row pipeline of blits.
#include "platform/gdi/blit.h"

#include "platform/gdi/raster_ops.h"
#include "platform/gdi/scratch.h"

#include <cstring>

namespace kb::gdi {

PixelConverter::PixelConverter(const PixelReader& source, const Surface& target, COLORREF text, COLORREF background,
                               COLORREF sourceBackground)
    : source_(source), colors_(target.colors) {
    if (source.mono && target.mono) {
        way_ = Way::raw;
    } else if (source.mono) {
        way_ = Way::table;
        table_[0] = target.pixelFor(text);
        table_[1] = target.pixelFor(background);
    } else if (target.mono && sourceBackground != CLR_INVALID) {
        way_ = Way::background;
        background_ = swapRedBlue(sourceBackground);
    } else if (source.bits <= 8) {
        way_ = source.bits == target.bits && source.colors.sameAs(*target.colors) ? Way::raw : Way::table;
        for (uint32_t i = 0; way_ == Way::table && i < 256; ++i)
            table_[i] = i < source.colors.count || i == 0 ? target.pixelFor(swapRedBlue(source.toRgb(i))) : table_[0];
    } else if (target.bits <= 8) {
        way_ = Way::nearest;
        known_.resize(1024);
    } else {
        way_ = source.bits == target.bits && !source.masked ? Way::raw : Way::direct;
    }
}

uint32_t PixelConverter::nearest(uint32_t rgb) {
    Known& known = known_[(rgb * 0x9E3779B1u) >> 22];
    if (known.rgb != rgb) known = {rgb, colors_->nearest(rgb)};
    return known.index;
}

namespace {

// Where the destination pixel `i` of `size` (both from the start of the area) takes its source pixel: the one under its
// middle.
int64_t sourceOf(int64_t i, int64_t size, int64_t start, int64_t sourceSize) {
    const int64_t n = std::abs(size), m = std::abs(sourceSize);
    const auto k = static_cast<int64_t>((static_cast<Wide>(2 * i + 1) * m) / (static_cast<Wide>(2) * n));
    return sourceSize < 0 ? start - 1 - k : start + k;
}

// One axis: visible destination pixels first..last-1 (absolute), and the source coordinate of each.
struct Axis {
    int64_t start, size, sourceStart, sourceSize;
    int32_t first = 0, last = 0;

    Axis(int64_t to, int64_t toSize, int64_t from, int64_t fromSize, int32_t clipLow, int32_t clipHigh, int32_t sourceLength)
        : start(to), size(toSize), sourceStart(from), sourceSize(fromSize) {
        const int64_t low = std::max<int64_t>(size < 0 ? start + size : start, clipLow);
        const int64_t high = std::min<int64_t>(size < 0 ? start : start + size, clipHigh);
        if (low >= high) return;
        first = static_cast<int32_t>(low);
        last = static_cast<int32_t>(high);
        // Pixels whose source lies outside are left alone; they stand at the ends, and the mapping never turns.
        const auto outside = [&](int32_t p) {
            const int64_t s = at(p);
            return s < 0 || s >= sourceLength;
        };
        if (outside(first)) first = firstInside(first, last, sourceLength, rises());
        if (last > first && outside(last - 1)) last = firstInside(first, last, sourceLength, !rises());
    }
    bool rises() const { return (size < 0) == (sourceSize < 0); }
    int64_t at(int64_t p) const { return sourceOf(size < 0 ? start - 1 - p : p - start, size, sourceStart, sourceSize); }

private:
    // First p whose source is not below 0 (`low` true) or not below the length any more; the other way round when sources
    // fall.
    int32_t firstInside(int32_t from, int32_t to, int32_t length, bool low) const {
        const bool up = rises();
        while (from < to) {
            const int32_t middle = from + (to - from) / 2;
            const int64_t border = low ? 0 : length;
            const bool beyond = up ? at(middle) >= border : at(middle) < border;
            if (beyond)
                to = middle;
            else
                from = middle + 1;
        }
        return from;
    }
};

// Source pixels that fall on destination pixel p when the picture shrinks.
void sourceRange(const Axis& axis, int64_t p, int32_t length, int64_t& low, int64_t& high) {
    const int64_t i = axis.size < 0 ? axis.start - 1 - p : p - axis.start;
    const int64_t n = std::abs(axis.size), m = std::abs(axis.sourceSize);
    const auto a = static_cast<int64_t>(static_cast<Wide>(i) * m / n);
    const auto b = std::max(a + 1, static_cast<int64_t>(static_cast<Wide>(i + 1) * m / n));
    low = axis.sourceSize < 0 ? axis.sourceStart - b : axis.sourceStart + a;
    high = axis.sourceSize < 0 ? axis.sourceStart - a : axis.sourceStart + b;
    low = std::max<int64_t>(low, 0);
    high = std::min<int64_t>(high, length);
}

void storePixel(uint8_t* p, int bytes, uint32_t v) {
    p[0] = static_cast<uint8_t>(v);
    if (bytes == 1) return;
    p[1] = static_cast<uint8_t>(v >> 8);
    p[2] = static_cast<uint8_t>(v >> 16);
    if (bytes == 4) p[3] = static_cast<uint8_t>(v >> 24);
}

// A row between 24 and 32 bits, which most pictures and pages have: their colours lie in the same three bytes.
template <int From, int To> void recodeRow(const uint8_t* row, const std::vector<int32_t>& columns, uint8_t* out) {
    for (const int32_t column : columns) {
        const uint8_t* p = row + ptrdiff_t{column} * From;
        for (int i = 0; i < 3; ++i) out[i] = p[i];
        if constexpr (To == 4) out[3] = 0;
        out += To;
    }
}

void convertRow(PixelConverter& convert, const PixelReader& source, int y, const std::vector<int32_t>& columns, int bytes,
                uint8_t* out) {
    if (convert.keepsColors() && source.bits >= 24 && !source.masked) {
        const uint8_t* row = source.top + source.stride * y;
        const bool wide = bytes == 4;
        if (source.bits == 32) return wide ? recodeRow<4, 4>(row, columns, out) : recodeRow<4, 3>(row, columns, out);
        return wide ? recodeRow<3, 4>(row, columns, out) : recodeRow<3, 3>(row, columns, out);
    }
    for (const int32_t column : columns) {
        storePixel(out, bytes, convert(source.raw(column, y)));
        out += bytes;
    }
}

// What becomes of the source pixels that shrink into one.
uint32_t mergePixels(const PixelReader& source, int64_t x0, int64_t x1, int64_t y0, int64_t y1, int mode) {
    uint64_t sum[4] = {};
    uint64_t count = 0;
    uint32_t all = mode == BLACKONWHITE ? ~0u : 0;
    for (int64_t y = y0; y < y1; ++y)
        for (int64_t x = x0; x < x1; ++x) {
            const uint32_t v = source.raw(static_cast<int>(x), static_cast<int>(y));
            if (mode == BLACKONWHITE)
                all &= v;
            else if (mode == WHITEONBLACK)
                all |= v;
            for (int i = 0; i < 4; ++i) sum[i] += v >> 8 * i & 0xFF;
            ++count;
        }
    if (mode != HALFTONE) return all;
    uint32_t mean = 0;
    for (int i = 0; i < 4; ++i) mean |= static_cast<uint32_t>((sum[i] + count / 2) / count) << 8 * i;
    return mean;
}

// Calls use(x0, x1) for the parts of a row within a region.
template <class Use> void eachVisible(const Region* region, int y, int x0, int x1, Use&& use) {
    if (!region) {
        use(x0, x1);
        return;
    }
    int count;
    const pixman_box32_t* boxes = region->boxes(&count);
    const auto* b = std::partition_point(boxes, boxes + count, [y](const pixman_box32_t& box) { return box.y2 <= y; });
    for (; b < boxes + count && b->y1 <= y; ++b) {
        const int from = std::max(x0, b->x1), to = std::min(x1, b->x2);
        if (from < to) use(from, to);
    }
}

void unpackBits(const uint8_t* row, int x0, int x1, uint8_t* out) {
    for (int x = x0; x < x1; ++x) *out++ = row[x / 8] >> (7 - x % 8) & 1;
}

void packBits(uint8_t* row, int x0, int x1, const uint8_t* in) {
    for (int x = x0; x < x1; ++x) {
        const int shift = 7 - x % 8;
        row[x / 8] = static_cast<uint8_t>((row[x / 8] & ~(1 << shift)) | (*in++ & 1) << shift);
    }
}

// The pattern's pixels of a row, and gaps where it leaves the destination as it is.
void patternRow(const Paint& pattern, int y, int x0, int x1, int bytes, uint8_t* out, uint8_t* gaps, bool& anyGap) {
    anyGap = false;
    for (int x = x0; x < x1; ++x, out += bytes) {
        uint32_t value = pattern.xorBits;
        bool gap = pattern.kind == PaintKind::none;
        if (pattern.kind == PaintKind::cells) {
            const Cells& c = *pattern.cells;
            const auto wrap = [](int64_t v, int size) { return static_cast<size_t>((v % size + size) % size); };
            const size_t i = wrap(static_cast<int64_t>(y) - c.originY, c.height) * static_cast<size_t>(c.width) +
                             wrap(static_cast<int64_t>(x) - c.originX, c.width);
            value = c.xorBits[i];
            gap = c.andBits[i] != 0;
        }
        *gaps++ = gap;
        anyGap = anyGap || gap;
        storePixel(out, bytes, value);
    }
}

} // namespace

void blit(const BlitTarget& target, const BlitArea& to, const PixelReader& source, const BlitArea& from, uint8_t rop,
          int stretchMode, PixelConverter& convert, const Paint* pattern) {
    if (!to.width || !to.height || !from.width || !from.height || target.clip.empty()) return;
    const Surface& s = target.surface;
    const Axis horizontal(to.x, to.width, from.x, from.width, target.clip.left, target.clip.right, source.width);
    const Axis vertical(to.y, to.height, from.y, from.height, target.clip.top, target.clip.bottom, source.height);
    if (horizontal.first >= horizontal.last || vertical.first >= vertical.last) return;
    const int x0 = horizontal.first, x1 = horizontal.last;
    const auto count = static_cast<size_t>(x1 - x0);
    const int bytes = s.bits == 1 ? 1 : s.bits / 8;
    const bool shrinks = std::abs(from.width) > std::abs(to.width) || std::abs(from.height) > std::abs(to.height);
    const bool indexed = source.bits <= 8 && source.bits > 1;
    const bool merges = shrinks && stretchMode != COLORONCOLOR && !indexed && !source.masked &&
                        (stretchMode != HALFTONE || source.bits >= 24);
    const bool straight =
        from.width == to.width && from.width > 0 && convert.copiesRaw() && s.bits >= 8 && source.bits == s.bits && !merges;

    Scratch& work = scratch();
    std::vector<uint8_t>&sourceRow = work.rows[0], &patternBuffer = work.rows[1], &gaps = work.rows[2],
    &unpacked = work.rows[3];
    std::vector<int32_t>& columns = work.columns;
    sourceRow.resize(count * static_cast<size_t>(bytes));
    unpacked.resize(count * static_cast<size_t>(bytes));
    if (pattern) {
        patternBuffer.resize(sourceRow.size());
        gaps.resize(count);
    }
    columns.resize(count);
    for (int x = x0; x < x1; ++x) columns[static_cast<size_t>(x - x0)] = static_cast<int32_t>(horizontal.at(x));

    // Within one surface rows are taken in the order that reads them before they are written.
    const bool backwards = vertical.rises() && vertical.at(vertical.first) < vertical.first;
    const int rows = vertical.last - vertical.first;
    const bool overlaps = source.top == s.top && source.bits == s.bits; // rows may change while they are read
    int readyRow = -1; // the source row that has been converted, which a stretched picture shows again
    for (int i = 0; i < rows; ++i) {
        const int y = backwards ? vertical.last - 1 - i : vertical.first + i;
        const auto sy = static_cast<int>(vertical.at(y));
        const uint8_t* ready = sourceRow.data();
        if (straight) {
            ready = source.top + source.stride * sy + static_cast<ptrdiff_t>(columns[0]) * bytes;
            if (ready < s.row(y) + s.width * static_cast<ptrdiff_t>(bytes) && ready + sourceRow.size() > s.row(y)) {
                std::memcpy(sourceRow.data(), ready, sourceRow.size()); // the row is its own destination
                ready = sourceRow.data();
            }
        } else if (merges) {
            int64_t sy0, sy1, sx0, sx1;
            sourceRange(vertical, y, source.height, sy0, sy1);
            for (size_t k = 0; k < count; ++k) {
                sourceRange(horizontal, x0 + static_cast<int64_t>(k), source.width, sx0, sx1);
                const bool none = sx0 >= sx1 || sy0 >= sy1;
                const uint32_t v = none ? source.raw(columns[k], sy) : mergePixels(source, sx0, sx1, sy0, sy1, stretchMode);
                storePixel(&sourceRow[k * static_cast<size_t>(bytes)], bytes, convert(v));
            }
        } else if (sy != readyRow || overlaps) {
            readyRow = sy;
            convertRow(convert, source, sy, columns, bytes, sourceRow.data());
        }
        bool anyGap = false;
        if (pattern) patternRow(*pattern, y, x0, x1, bytes, patternBuffer.data(), gaps.data(), anyGap);
        eachVisible(target.region, y, x0, x1, [&](int from0, int to0) {
            const auto run = [&](int a, int b) {
                const auto offset = static_cast<size_t>(a - x0) * static_cast<size_t>(bytes);
                const size_t n = static_cast<size_t>(b - a) * static_cast<size_t>(bytes);
                const uint8_t* p = pattern ? patternBuffer.data() + offset : nullptr;
                if (s.bits == 1) {
                    unpackBits(s.row(y), a, b, unpacked.data());
                    applyRop3(rop, p, ready + offset, unpacked.data(), n);
                    packBits(s.row(y), a, b, unpacked.data());
                } else {
                    applyRop3(rop, p, ready + offset, s.row(y) + static_cast<ptrdiff_t>(a) * bytes, n);
                }
            };
            if (!anyGap) {
                run(from0, to0);
                return;
            }
            for (int x = from0; x < to0; ++x)
                if (!gaps[static_cast<size_t>(x - x0)]) run(x, x + 1);
        });
    }
}

} // namespace kb::gdi
