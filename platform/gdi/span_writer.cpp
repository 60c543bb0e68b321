// The loops that change spans of pixels; span_writer.h tells the model. Vector loops are compiled for 256-bit vectors
// function by function, so that the library still starts on a processor without them.
#include "platform/gdi/span_writer.h"

#if defined(__x86_64__)
#include <immintrin.h>
#define KB_VECTORS 1
#else
#define KB_VECTORS 0
#endif

namespace kb::gdi {

namespace {

template <PaintKind kind> uint8_t change(uint8_t d, uint8_t a, uint8_t x) {
    if constexpr (kind == PaintKind::fill)
        return x;
    else if constexpr (kind == PaintKind::mask)
        return d & a;
    else if constexpr (kind == PaintKind::invert)
        return d ^ x;
    else
        return static_cast<uint8_t>((d & a) ^ x);
}

template <class Word, PaintKind kind> void changeWord(uint8_t* p, const uint8_t* a, const uint8_t* x) {
    Word d, aw, xw;
    std::memcpy(&aw, a, sizeof d);
    std::memcpy(&xw, x, sizeof d);
    if constexpr (kind == PaintKind::fill)
        d = xw;
    else {
        std::memcpy(&d, p, sizeof d);
        if constexpr (kind == PaintKind::mask)
            d = static_cast<Word>(d & aw);
        else if constexpr (kind == PaintKind::invert)
            d = static_cast<Word>(d ^ xw);
        else
            d = static_cast<Word>((d & aw) ^ xw);
    }
    std::memcpy(p, &d, sizeof d);
}

// Fewer than 32 bytes, `offset` into the stream.
template <PaintKind kind> inline void changeTail(uint8_t* p, size_t n, const uint8_t* a, const uint8_t* x) {
    size_t i = 0;
    for (; i + 8 <= n; i += 8) changeWord<uint64_t, kind>(p + i, a + i, x + i);
    if (n & 4) {
        changeWord<uint32_t, kind>(p + i, a + i, x + i);
        i += 4;
    }
    for (; i < n; ++i) p[i] = change<kind>(p[i], a[i], x[i]);
}

template <PaintKind kind, int bytes> void plainSpan(const Paint& paint, uint8_t* row, int, int x0, int x1) {
    uint8_t* p = row + static_cast<ptrdiff_t>(x0) * bytes;
    size_t n = static_cast<size_t>(x1 - x0) * bytes;
    for (; n >= 96; p += 96, n -= 96)
        for (size_t i = 0; i < 96; i += 8) changeWord<uint64_t, kind>(p + i, paint.andStream + i, paint.xorStream + i);
    size_t offset = 0;
    for (; n >= 32; p += 32, n -= 32, offset += 32)
        for (size_t i = 0; i < 32; i += 8)
            changeWord<uint64_t, kind>(p + i, paint.andStream + offset + i, paint.xorStream + offset + i);
    changeTail<kind>(p, n, paint.andStream + offset, paint.xorStream + offset);
}

#if KB_VECTORS
template <PaintKind kind>
__attribute__((target("avx2"), always_inline)) inline void changeVector(uint8_t* p, __m256i a, __m256i x) {
    auto* v = reinterpret_cast<__m256i*>(p);
    if constexpr (kind == PaintKind::fill)
        _mm256_storeu_si256(v, x);
    else {
        __m256i d = _mm256_loadu_si256(v);
        if constexpr (kind == PaintKind::mask)
            d = _mm256_and_si256(d, a);
        else if constexpr (kind == PaintKind::invert)
            d = _mm256_xor_si256(d, x);
        else
            d = _mm256_xor_si256(_mm256_and_si256(d, a), x);
        _mm256_storeu_si256(v, d);
    }
}

// Four bytes and one byte a pixel: one vector is the whole period.
template <PaintKind kind, int bytes>
__attribute__((target("avx2"))) void vectorSpan(const Paint& paint, uint8_t* row, int, int x0, int x1) {
    uint8_t* p = row + static_cast<ptrdiff_t>(x0) * bytes;
    size_t n = static_cast<size_t>(x1 - x0) * bytes;
    if (n >= 32) {
        const __m256i a = _mm256_load_si256(reinterpret_cast<const __m256i*>(paint.andStream));
        const __m256i x = _mm256_load_si256(reinterpret_cast<const __m256i*>(paint.xorStream));
        if (kind == PaintKind::fill) {
            // A last vector that overlaps the one before saves the tail; only a fill may write twice.
            uint8_t* const last = p + n - 32;
            for (; n >= 128; p += 128, n -= 128) {
                changeVector<kind>(p, a, x);
                changeVector<kind>(p + 32, a, x);
                changeVector<kind>(p + 64, a, x);
                changeVector<kind>(p + 96, a, x);
            }
            for (; n >= 32; p += 32, n -= 32) changeVector<kind>(p, a, x);
            if (n) changeVector<kind>(last, a, x);
            return;
        }
        for (; n >= 128; p += 128, n -= 128) {
            changeVector<kind>(p, a, x);
            changeVector<kind>(p + 32, a, x);
            changeVector<kind>(p + 64, a, x);
            changeVector<kind>(p + 96, a, x);
        }
        for (; n >= 32; p += 32, n -= 32) changeVector<kind>(p, a, x);
    }
    changeTail<kind>(p, n, paint.andStream, paint.xorStream);
}

// Three bytes a pixel: the period is three vectors.
template <PaintKind kind>
__attribute__((target("avx2"))) void vectorSpan24(const Paint& paint, uint8_t* row, int, int x0, int x1) {
    uint8_t* p = row + static_cast<ptrdiff_t>(x0) * 3;
    size_t n = static_cast<size_t>(x1 - x0) * 3;
    size_t offset = 0;
    if (n >= 32) {
        __m256i a[3], x[3];
        for (size_t i = 0; i < 3; ++i) {
            a[i] = _mm256_load_si256(reinterpret_cast<const __m256i*>(paint.andStream) + i);
            x[i] = _mm256_load_si256(reinterpret_cast<const __m256i*>(paint.xorStream) + i);
        }
        for (; n >= 96; p += 96, n -= 96) {
            changeVector<kind>(p, a[0], x[0]);
            changeVector<kind>(p + 32, a[1], x[1]);
            changeVector<kind>(p + 64, a[2], x[2]);
        }
        for (size_t i = 0; n >= 32; p += 32, n -= 32, offset += 32, ++i) changeVector<kind>(p, a[i], x[i]);
    }
    changeTail<kind>(p, n, paint.andStream + offset, paint.xorStream + offset);
}
#endif

// One bit a pixel. Bits of a byte outside the span are masked out of both constants.
void bitSpan(const Paint& paint, uint8_t* row, int, int x0, int x1) {
    const auto a = static_cast<uint8_t>(paint.andBits & 1 ? 0xFF : 0),
               x = static_cast<uint8_t>(paint.xorBits & 1 ? 0xFF : 0);
    const auto part = [&](uint8_t* p, int mask) { *p = static_cast<uint8_t>((*p & (a | ~mask)) ^ (x & mask)); };
    uint8_t* first = row + x0 / 8;
    uint8_t* last = row + (x1 - 1) / 8;
    const int headMask = 0xFF >> (x0 & 7), tailMask = 0xFF << (7 - ((x1 - 1) & 7)) & 0xFF;
    if (first == last) {
        part(first, headMask & tailMask);
        return;
    }
    part(first, headMask);
    for (uint8_t* p = first + 1; p < last; ++p) *p = static_cast<uint8_t>((*p & a) ^ x);
    part(last, tailMask);
}

int cellIndex(int64_t v, int origin, int size) {
    const int64_t m = (v - origin) % size;
    return static_cast<int>(m < 0 ? m + size : m);
}

template <int bits> void cellSpan(const Paint& paint, uint8_t* row, int y, int x0, int x1) {
    const Cells& cells = *paint.cells;
    const auto line = static_cast<size_t>(cellIndex(y, cells.originY, cells.height)) * static_cast<size_t>(cells.width);
    const uint32_t* a = cells.andBits.data() + line;
    const uint32_t* x = cells.xorBits.data() + line;
    int i = cellIndex(x0, cells.originX, cells.width);
    for (int px = x0; px < x1; ++px) {
        if constexpr (bits == 1) {
            uint8_t& p = row[px / 8];
            const int shift = 7 - px % 8;
            p = static_cast<uint8_t>((p & ((a[i] & 1) << shift | ~(1u << shift))) ^ (x[i] & 1) << shift);
        } else if constexpr (bits == 8) {
            row[px] = static_cast<uint8_t>((row[px] & a[i]) ^ x[i]);
        } else if constexpr (bits == 24) {
            uint8_t* p = row + static_cast<ptrdiff_t>(px) * 3;
            p[0] = static_cast<uint8_t>((p[0] & a[i]) ^ x[i]);
            p[1] = static_cast<uint8_t>((p[1] & a[i] >> 8) ^ x[i] >> 8);
            p[2] = static_cast<uint8_t>((p[2] & a[i] >> 16) ^ x[i] >> 16);
        } else {
            uint8_t* p = row + static_cast<ptrdiff_t>(px) * 4;
            uint32_t d;
            std::memcpy(&d, p, 4);
            d = (d & a[i]) ^ x[i];
            std::memcpy(p, &d, 4);
        }
        if (++i == cells.width) i = 0;
    }
}

void nothing(const Paint&, uint8_t*, int, int, int) {}

template <PaintKind kind> SpanFunction solidFunction(int bits, bool vectors) {
#if KB_VECTORS
    if (vectors) {
        if (bits == 8) return vectorSpan<kind, 1>;
        return bits == 24 ? vectorSpan24<kind> : vectorSpan<kind, 4>;
    }
#endif
    (void)vectors;
    if (bits == 8) return plainSpan<kind, 1>;
    return bits == 24 ? plainSpan<kind, 3> : plainSpan<kind, 4>;
}

} // namespace

void Paint::setSolid(uint32_t pixel, uint32_t table, int bits) {
    const uint32_t used = bits == 32 ? ~0u : (1u << bits) - 1;
    andBits = andOf(pixel, table) & used;
    xorBits = xorOf(pixel, table) & used;
    cells = nullptr;
    overwrites = andBits == 0;
    idempotent = (andBits & xorBits) == 0;
    if (andBits == used && xorBits == 0)
        kind = PaintKind::none;
    else if (andBits == 0)
        kind = PaintKind::fill;
    else if (xorBits == 0)
        kind = PaintKind::mask;
    else
        kind = andBits == used ? PaintKind::invert : PaintKind::general;
    const auto spread = [bits](uint32_t v, uint8_t* out) {
        uint32_t words[3];
        if (bits == 24) {
            words[0] = v | v << 24;
            words[1] = v >> 8 | v << 16;
            words[2] = v >> 16 | v << 8;
        } else {
            if (bits == 8) v *= 0x01010101u;
            words[0] = words[1] = words[2] = v;
        }
        for (size_t i = 0, k = 0; i < patternBytes; i += 4, k = k == 2 ? 0 : k + 1) std::memcpy(out + i, &words[k], 4);
    };
    if (bits == 1) return;
    spread(andBits, andStream);
    spread(xorBits, xorStream);
}

void Cells::judge() {
    overwrites = idempotent = true;
    for (size_t i = 0; i < andBits.size(); ++i) {
        overwrites = overwrites && andBits[i] == 0;
        idempotent = idempotent && (andBits[i] & xorBits[i]) == 0;
    }
}

void Paint::setCells(const Cells* c) {
    cells = c;
    kind = PaintKind::cells;
    overwrites = c->overwrites;
    idempotent = c->idempotent;
}

SpanFunction spanFunction(const Paint& paint, int bits, bool vectors) {
    switch (paint.kind) {
    case PaintKind::none: return nothing;
    case PaintKind::cells:
        if (bits == 1) return cellSpan<1>;
        if (bits == 8) return cellSpan<8>;
        return bits == 24 ? cellSpan<24> : cellSpan<32>;
    default: break;
    }
    if (bits == 1) return bitSpan;
    switch (paint.kind) {
    case PaintKind::fill: return solidFunction<PaintKind::fill>(bits, vectors);
    case PaintKind::mask: return solidFunction<PaintKind::mask>(bits, vectors);
    case PaintKind::invert: return solidFunction<PaintKind::invert>(bits, vectors);
    default: return solidFunction<PaintKind::general>(bits, vectors);
    }
}

bool haveVectors() {
#if KB_VECTORS
    static const bool have = __builtin_cpu_supports("avx2");
    return have;
#else
    return false;
#endif
}

} // namespace kb::gdi
