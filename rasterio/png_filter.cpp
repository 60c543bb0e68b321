// PNG row filters. Undoing Paeth and average is serial from pixel to pixel, so vector registers hold one pixel's channels
// at a time; filtering has no such chain, and plain loops over bytes are what compilers turn into vector code.
#include "rasterio/png_filter.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

namespace kb {
namespace {

uint8_t paethPredictor(int left, int above, int corner) {
    const int distanceLeft = std::abs(above - corner), distanceAbove = std::abs(left - corner);
    const int distanceCorner = std::abs(left + above - 2 * corner);
    if (distanceLeft <= distanceAbove && distanceLeft <= distanceCorner) return static_cast<uint8_t>(left);
    return static_cast<uint8_t>(distanceAbove <= distanceCorner ? above : corner);
}

void undoSub(uint8_t* row, size_t bytes, size_t unit) {
    for (size_t i = unit; i < bytes; ++i) row[i] = static_cast<uint8_t>(row[i] + row[i - unit]);
}
void undoUp(uint8_t* row, const uint8_t* above, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) row[i] = static_cast<uint8_t>(row[i] + above[i]);
}
void undoAverage(uint8_t* row, const uint8_t* above, size_t bytes, size_t unit) {
    for (size_t i = 0; i < bytes; ++i) {
        const int left = i < unit ? 0 : row[i - unit];
        row[i] = static_cast<uint8_t>(row[i] + (left + (above ? above[i] : 0)) / 2);
    }
}
void undoPaeth(uint8_t* row, const uint8_t* above, size_t bytes, size_t unit) {
    for (size_t i = 0; i < bytes; ++i) {
        row[i] =
            static_cast<uint8_t>(row[i] + (i < unit ? above[i] : paethPredictor(row[i - unit], above[i], above[i - unit])));
    }
}

#if defined(__x86_64__)
__m128i loadPixel(const uint8_t* p) {
    int value;
    std::memcpy(&value, p, 4);
    return _mm_cvtsi32_si128(value);
}
template <size_t Unit> void storePixel(uint8_t* p, __m128i pixel) {
    const int value = _mm_cvtsi128_si32(pixel);
    std::memcpy(p, &value, Unit);
}

template <size_t Unit> void undoSubPixels(uint8_t* row, size_t bytes) {
    __m128i left = _mm_setzero_si128();
    for (size_t i = 0; i < bytes; i += Unit) {
        left = _mm_add_epi8(left, loadPixel(row + i));
        storePixel<Unit>(row + i, left);
    }
}

template <size_t Unit> void undoAveragePixels(uint8_t* row, const uint8_t* above, size_t bytes) {
    __m128i left = _mm_setzero_si128();
    const __m128i one = _mm_set1_epi8(1);
    for (size_t i = 0; i < bytes; i += Unit) {
        const __m128i up = loadPixel(above + i);
        // The processor's average rounds up, the filter's down: take the odd bit off again.
        const __m128i average = _mm_sub_epi8(_mm_avg_epu8(left, up), _mm_and_si128(_mm_xor_si128(left, up), one));
        left = _mm_add_epi8(loadPixel(row + i), average);
        storePixel<Unit>(row + i, left);
    }
}

__m128i absolute(__m128i x) {
    const __m128i sign = _mm_cmplt_epi16(x, _mm_setzero_si128());
    return _mm_sub_epi16(_mm_xor_si128(x, sign), sign);
}
__m128i choose(__m128i mask, __m128i then, __m128i otherwise) {
    return _mm_or_si128(_mm_and_si128(mask, then), _mm_andnot_si128(mask, otherwise));
}

template <size_t Unit> void undoPaethPixels(uint8_t* row, const uint8_t* above, size_t bytes) {
    const __m128i zero = _mm_setzero_si128(), low = _mm_set1_epi16(255);
    __m128i left = zero, corner = zero;
    for (size_t i = 0; i < bytes; i += Unit) {
        const __m128i up = _mm_unpacklo_epi8(loadPixel(above + i), zero);
        const __m128i coded = _mm_unpacklo_epi8(loadPixel(row + i), zero);
        const __m128i fromLeft = _mm_sub_epi16(up, corner), fromUp = _mm_sub_epi16(left, corner);
        const __m128i distanceLeft = absolute(fromLeft), distanceUp = absolute(fromUp);
        const __m128i distanceCorner = absolute(_mm_add_epi16(fromLeft, fromUp));
        const __m128i nearest = _mm_min_epi16(distanceCorner, _mm_min_epi16(distanceLeft, distanceUp));
        const __m128i predicted =
            choose(_mm_cmpeq_epi16(nearest, distanceLeft), left, choose(_mm_cmpeq_epi16(nearest, distanceUp), up, corner));
        left = _mm_and_si128(_mm_add_epi16(coded, predicted), low);
        corner = up;
        storePixel<Unit>(row + i, _mm_packus_epi16(left, left));
    }
}
#endif

} // namespace

bool unfilterRow(uint8_t filter, uint8_t* row, const uint8_t* above, size_t bytes, size_t unit) {
    switch (static_cast<PngFilter>(filter)) {
    case PngFilter::none: return true;
    case PngFilter::sub:
#if defined(__x86_64__)
        if (unit == 3) return undoSubPixels<3>(row, bytes), true;
        if (unit == 4) return undoSubPixels<4>(row, bytes), true;
#endif
        undoSub(row, bytes, unit);
        return true;
    case PngFilter::up:
        if (above) undoUp(row, above, bytes);
        return true;
    case PngFilter::average:
#if defined(__x86_64__)
        if (above && unit == 3) return undoAveragePixels<3>(row, above, bytes), true;
        if (above && unit == 4) return undoAveragePixels<4>(row, above, bytes), true;
#endif
        undoAverage(row, above, bytes, unit);
        return true;
    case PngFilter::paeth:
        if (!above) return unfilterRow(static_cast<uint8_t>(PngFilter::sub), row, nullptr, bytes, unit);
#if defined(__x86_64__)
        if (unit == 3) return undoPaethPixels<3>(row, above, bytes), true;
        if (unit == 4) return undoPaethPixels<4>(row, above, bytes), true;
#endif
        undoPaeth(row, above, bytes, unit);
        return true;
    }
    return false;
}

void filterRow(PngFilter filter, uint8_t* __restrict out, const uint8_t* __restrict row, const uint8_t* __restrict above,
               size_t bytes, size_t unit) {
    const size_t first = std::min(unit, bytes);
    switch (filter) {
    case PngFilter::none: std::memcpy(out, row, bytes); return;
    case PngFilter::sub:
        std::memcpy(out, row, first);
        for (size_t i = unit; i < bytes; ++i) out[i] = static_cast<uint8_t>(row[i] - row[i - unit]);
        return;
    case PngFilter::up:
        for (size_t i = 0; i < bytes; ++i) out[i] = static_cast<uint8_t>(row[i] - above[i]);
        return;
    case PngFilter::average:
        for (size_t i = 0; i < first; ++i) out[i] = static_cast<uint8_t>(row[i] - above[i] / 2);
        for (size_t i = unit; i < bytes; ++i) out[i] = static_cast<uint8_t>(row[i] - (row[i - unit] + above[i]) / 2);
        return;
    case PngFilter::paeth:
        for (size_t i = 0; i < first; ++i) out[i] = static_cast<uint8_t>(row[i] - above[i]);
        for (size_t i = unit; i < bytes; ++i) {
            // 16-bit arithmetic without branches, so that eight bytes fit a register.
            const auto left = static_cast<int16_t>(row[i - unit]), up = static_cast<int16_t>(above[i]);
            const auto corner = static_cast<int16_t>(above[i - unit]);
            const auto fromLeft = static_cast<int16_t>(up - corner), fromUp = static_cast<int16_t>(left - corner);
            const auto fromCorner = static_cast<int16_t>(fromLeft + fromUp);
            const auto distanceLeft = static_cast<int16_t>(fromLeft < 0 ? -fromLeft : fromLeft);
            const auto distanceUp = static_cast<int16_t>(fromUp < 0 ? -fromUp : fromUp);
            const auto distanceCorner = static_cast<int16_t>(fromCorner < 0 ? -fromCorner : fromCorner);
            const int16_t aboveOrCorner = distanceUp <= distanceCorner ? up : corner;
            const int16_t nearest = std::min(distanceUp, distanceCorner);
            const int16_t predicted = distanceLeft <= nearest ? left : aboveOrCorner;
            out[i] = static_cast<uint8_t>(row[i] - predicted);
        }
        return;
    }
}

uint64_t filteredCost(const uint8_t* row, size_t bytes) {
    uint64_t sum = 0;
    for (size_t begin = 0; begin < bytes; begin += 65536) {
        uint32_t part = 0;
        for (size_t i = begin, end = std::min(bytes, begin + 65536); i < end; ++i) {
            const auto value = row[i];
            part += std::min<uint8_t>(value, static_cast<uint8_t>(-value));
        }
        sum += part;
    }
    return sum;
}

} // namespace kb
