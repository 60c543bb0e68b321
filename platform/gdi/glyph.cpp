// Blending of glyphs: d + (s - d) x coverage / 255, rounded, for each byte of a pixel; the spare byte of 32 bits counts as
// 0 in the text's colour. The vector loop gives the same bytes as the plain one.
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
// Coverage and text colour against sixteen bytes of pixels held as words.
__attribute__((target("avx2"), always_inline)) inline __m256i mixWords(__m256i d, __m256i s, __m256i c) {
    const __m256i t = _mm256_add_epi16(
        _mm256_add_epi16(_mm256_mullo_epi16(s, c), _mm256_mullo_epi16(d, _mm256_sub_epi16(_mm256_set1_epi16(255), c))),
        _mm256_set1_epi16(128));
    return _mm256_srli_epi16(_mm256_add_epi16(t, _mm256_srli_epi16(t, 8)), 8);
}

// Rows of coverage on pixels of three or four bytes, eight pixels at a time.
template <int bytes> __attribute__((target("avx2"))) void blendRows(uint8_t* pixels, ptrdiff_t stride, uint32_t pixel,
                                                                    const uint8_t* coverage, int coverageStride, int width,
                                                                    int rows) {
    // Which coverage byte each byte of a pixel takes.
    const __m128i spreadLow = bytes == 4 ? _mm_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3)
                                         : _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
    const __m128i spreadHigh = bytes == 4 ? _mm_setr_epi8(4, 4, 4, 4, 5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7)
                                          : _mm_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, -1, -1, -1, -1, -1, -1, -1, -1);
    uint8_t color[32];
    for (int i = 0; i < 32; ++i) color[i] = static_cast<uint8_t>(pixel >> 8 * (i % bytes));
    const __m256i colorLow = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(color)));
    const __m256i colorHigh = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(color + 16)));
    for (int y = 0; y < rows; ++y, pixels += stride, coverage += coverageStride) {
        uint8_t* d = pixels;
        for (int x = 0; x < width; x += 8, d += 8 * bytes) {
            uint64_t eight;
            std::memcpy(&eight, coverage + x, 8);
            if (!eight) continue;
            const __m128i c = _mm_cvtsi64_si128(static_cast<long long>(eight));
            const __m256i cLow = _mm256_cvtepu8_epi16(_mm_shuffle_epi8(c, spreadLow));
            const __m256i cHigh = _mm256_cvtepu8_epi16(_mm_shuffle_epi8(c, spreadHigh));
            auto* low = reinterpret_cast<__m128i*>(d);
            auto* high = reinterpret_cast<__m128i*>(d + 16);
            const __m256i dLow = _mm256_cvtepu8_epi16(_mm_loadu_si128(low));
            const __m256i dHigh = _mm256_cvtepu8_epi16(bytes == 4 ? _mm_loadu_si128(high) : _mm_loadl_epi64(high));
            const __m256i packed = _mm256_permute4x64_epi64(
                _mm256_packus_epi16(mixWords(dLow, colorLow, cLow), mixWords(dHigh, colorHigh, cHigh)), 0xD8);
            _mm_storeu_si128(low, _mm256_castsi256_si128(packed));
            if (bytes == 4)
                _mm_storeu_si128(high, _mm256_extracti128_si256(packed, 1));
            else
                _mm_storel_epi64(high, _mm256_extracti128_si256(packed, 1));
        }
    }
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
    draw(glyph.coverage.data(), glyph.width, glyph.height, glyph.stride, x + glyph.left, y + glyph.top);
}

void GlyphPainter::draw(const uint8_t* coverage, int width, int height, int stride, int64_t x, int64_t y) {
    if (!sees(x, y, width, height)) return;
    int x0 = static_cast<int>(std::max<int64_t>(x, clip_.left));
    const int x1 = static_cast<int>(std::min<int64_t>(x + width, clip_.right));
    const int y0 = static_cast<int>(std::max<int64_t>(y, clip_.top)),
              y1 = static_cast<int>(std::min<int64_t>(y + height, clip_.bottom));
    coverage += (y0 - y) * stride + (x0 - x);
#if defined(__x86_64__)
    // Whole vectors may touch pixels right of the picture as long as they may be touched at all: their coverage is 0.
    if (vectors_ && surface_.bits >= 24 && !region_) {
        const int whole = static_cast<int>(std::min<int64_t>(stride - (x0 - x), clip_.right - x0)) / 8 * 8;
        uint8_t* d = surface_.row(y0) + static_cast<ptrdiff_t>(x0) * (surface_.bits / 8);
        const auto blend = surface_.bits == 24 ? blendRows<3> : blendRows<4>;
        blend(d, surface_.stride, pixel_, coverage, stride, whole, y1 - y0);
        x0 += whole;
        coverage += whole;
    }
#endif
    if (x0 >= x1) return;
    for (int r = y0; r < y1; ++r, coverage += stride) row(r, x0, x1, coverage);
}

void GlyphPainter::announce(const Box& box) const {
    constexpr int64_t largest = 1 << 15; // pixels; more wouldn't stay in the near caches
    const Box b = intersect(box, clip_);
    if (b.empty() || (int64_t{b.right} - b.left) * (b.bottom - b.top) > largest) return;
    const ptrdiff_t from = static_cast<ptrdiff_t>(b.left) * surface_.bits / 8,
                    to = static_cast<ptrdiff_t>(b.right) * surface_.bits / 8;
    for (int y = b.top; y < b.bottom; ++y)
        for (ptrdiff_t i = from; i < to; i += 64) __builtin_prefetch(surface_.row(y) + i, 1);
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
