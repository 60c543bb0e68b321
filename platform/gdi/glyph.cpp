// Blending of glyphs: d + (s - d) x coverage / 255, rounded, for each byte of a pixel; the spare byte of 32 bits counts as 0 in the
// text's colour. The vector loop gives the same bytes as the plain one.
#include "platform/gdi/glyph.h"

#include <algorithm>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace kb::gdi {

namespace {

uint8_t mix(uint8_t d, uint32_t s, uint32_t c) {
    const uint32_t t = s * c + d * (255 - c) + 128;
    return static_cast<uint8_t>((t + (t >> 8)) >> 8);
}

template <int bytes> void blendPixel(uint8_t* d, uint32_t pixel, uint32_t c) {
    for (int i = 0; i < bytes; ++i) d[i] = mix(d[i], pixel >> 8 * i & 0xFF, c);
}

#if defined(__x86_64__)
// Eight pixels of four bytes.
__attribute__((target("avx2"))) void blendEight32(uint8_t* d, uint32_t pixel, const uint8_t* coverage) {
    uint64_t eight;
    std::memcpy(&eight, coverage, 8);
    if (!eight) return;
    auto* v = reinterpret_cast<__m256i*>(d);
    if (eight == ~uint64_t{0}) {
        _mm256_storeu_si256(v, _mm256_set1_epi32(static_cast<int>(pixel)));
        return;
    }
    const __m256i zero = _mm256_setzero_si256(), ff = _mm256_set1_epi16(255), half = _mm256_set1_epi16(128);
    const __m256i wide = _mm256_cvtepu8_epi32(_mm_cvtsi64_si128(static_cast<long long>(eight)));
    const __m256i c = _mm256_mullo_epi32(wide, _mm256_set1_epi32(0x01010101));
    const __m256i s = _mm256_set1_epi32(static_cast<int>(pixel)), old = _mm256_loadu_si256(v);
    const auto part = [&](__m256i dw, __m256i sw, __m256i cw) __attribute__((target("avx2"))) {
        const __m256i t = _mm256_add_epi16(
            _mm256_add_epi16(_mm256_mullo_epi16(sw, cw), _mm256_mullo_epi16(dw, _mm256_sub_epi16(ff, cw))), half);
        return _mm256_srli_epi16(_mm256_add_epi16(t, _mm256_srli_epi16(t, 8)), 8);
    };
    const __m256i low = part(_mm256_unpacklo_epi8(old, zero), _mm256_unpacklo_epi8(s, zero), _mm256_unpacklo_epi8(c, zero));
    const __m256i high = part(_mm256_unpackhi_epi8(old, zero), _mm256_unpackhi_epi8(s, zero), _mm256_unpackhi_epi8(c, zero));
    _mm256_storeu_si256(v, _mm256_packus_epi16(low, high));
}
#endif

} // namespace

GlyphPainter::GlyphPainter(const DeviceContext& dc, const Box& clip, COLORREF color)
    : surface_(dc.surface), region_(dc.state.clip.region.get()), clip_(clip), pixel_(dc.surface.pixelFor(color)),
      vectors_(haveVectors()) {}

void GlyphPainter::visibleRow(uint8_t* pixels, int x0, int x1, const uint8_t* coverage) {
    switch (surface_.bits) {
    case 1:
        for (int x = x0; x < x1; ++x) {
            if (*coverage++ < 128) continue;
            const int bit = 0x80 >> x % 8;
            pixels[x / 8] = static_cast<uint8_t>(pixel_ ? pixels[x / 8] | bit : pixels[x / 8] & ~bit);
        }
        break;
    case 8:
        for (int x = x0; x < x1; ++x)
            if (*coverage++ >= 128) pixels[x] = static_cast<uint8_t>(pixel_);
        break;
    case 24:
        for (int x = x0; x < x1; ++x, ++coverage)
            if (*coverage) blendPixel<3>(pixels + static_cast<ptrdiff_t>(x) * 3, pixel_, *coverage);
        break;
    default:
        for (int x = x0; x < x1; ++x, ++coverage)
            if (*coverage) blendPixel<4>(pixels + static_cast<ptrdiff_t>(x) * 4, pixel_, *coverage);
        break;
    }
}

void GlyphPainter::row(int y, int x0, int x1, const uint8_t* coverage) {
    if (!region_) {
        visibleRow(surface_.row(y), x0, x1, coverage);
        return;
    }
    int count;
    const pixman_box32_t* boxes = region_->boxes(&count);
    const auto* b = std::partition_point(boxes, boxes + count, [y](const pixman_box32_t& box) { return box.y2 <= y; });
    for (; b < boxes + count && b->y1 <= y; ++b) {
        const int from = std::max(x0, b->x1), to = std::min(x1, b->x2);
        if (from < to) visibleRow(surface_.row(y), from, to, coverage + (from - x0));
    }
}

void GlyphPainter::draw(const GlyphBitmap& glyph, int64_t x, int64_t y) {
    x += glyph.left;
    y += glyph.top;
    if (x >= clip_.right || y >= clip_.bottom || x + glyph.width <= clip_.left || y + glyph.height <= clip_.top) return;
    const int x0 = static_cast<int>(std::max<int64_t>(x, clip_.left)), x1 = static_cast<int>(std::min<int64_t>(x + glyph.width, clip_.right));
    const int y0 = static_cast<int>(std::max<int64_t>(y, clip_.top)), y1 = static_cast<int>(std::min<int64_t>(y + glyph.height, clip_.bottom));
    const uint8_t* coverage = glyph.coverage.data() + (y0 - y) * glyph.stride;
#if defined(__x86_64__)
    // Whole vectors may touch pixels right of the glyph as long as they may be touched at all: their coverage is 0.
    if (vectors_ && surface_.bits == 32 && !region_ && x == x0 && x + glyph.stride <= clip_.right) {
        uint8_t* d = surface_.row(y0) + static_cast<ptrdiff_t>(x0) * 4;
        for (int r = y0; r < y1; ++r, d += surface_.stride, coverage += glyph.stride)
            for (int i = 0; i < glyph.stride; i += 8) blendEight32(d + i * 4, pixel_, coverage + i);
        return;
    }
#endif
    coverage += x0 - x;
    for (int r = y0; r < y1; ++r, coverage += glyph.stride) row(r, x0, x1, coverage);
}

void GlyphPainter::run(int64_t y, int64_t x0, int64_t x1, uint8_t coverage) {
    if (y < clip_.top || y >= clip_.bottom) return;
    int from = static_cast<int>(std::max<int64_t>(x0, clip_.left));
    const int to = static_cast<int>(std::min<int64_t>(x1, clip_.right));
    uint8_t same[64];
    std::memset(same, coverage, sizeof same);
    for (; from < to; from += static_cast<int>(sizeof same))
        row(static_cast<int>(y), from, std::min(to, from + static_cast<int>(sizeof same)), same);
}

} // namespace kb::gdi
