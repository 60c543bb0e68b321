// Sampling and writing of runs of pixels for turned images.
#include "kernel/turned_spans.h"

#include <algorithm>
#include <cstring>
#include <immintrin.h>

namespace kb {
namespace {

constexpr int one = 16; // bits of a position behind the pixel

uint32_t pixelAt(const SampleSource& s, int64_t x, int64_t y) {
    const uint8_t* p = s.rows + y * s.stride + x * s.bytes;
    const uint32_t rgb = p[0] | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16;
    return s.bytes == 4 ? rgb | static_cast<uint32_t>(p[3]) << 24 : rgb;
}

// Two bytes of a pixel at once, 16 bits apart; weights are 256 in sum.
uint32_t mixPairs(uint32_t a, uint32_t b, uint32_t weight) {
    return ((a * (256 - weight) + b * weight + 0x00800080u) >> 8) & 0x00FF00FFu;
}
uint32_t mixFour(uint32_t a, uint32_t b, uint32_t c, uint32_t d, uint32_t across, uint32_t down) {
    constexpr uint32_t pair = 0x00FF00FFu;
    const uint32_t even = mixPairs(mixPairs(a & pair, b & pair, across), mixPairs(c & pair, d & pair, across), down);
    const uint32_t odd =
        mixPairs(mixPairs(a >> 8 & pair, b >> 8 & pair, across), mixPairs(c >> 8 & pair, d >> 8 & pair, across), down);
    return even | odd << 8;
}

void samplePlain(const SampleSource& s, const SampleLine& line, int first, int last, uint32_t* out) {
    for (int i = first; i < last; ++i) {
        const int64_t x = line.x + i * line.stepX, y = line.y + i * line.stepY;
        const int64_t left = std::clamp<int64_t>(x >> one, 0, s.width - 1);
        const int64_t right = std::clamp<int64_t>((x >> one) + 1, 0, s.width - 1);
        const int64_t top = std::clamp<int64_t>(y >> one, 0, s.height - 1);
        const int64_t bottom = std::clamp<int64_t>((y >> one) + 1, 0, s.height - 1);
        out[i] = mixFour(pixelAt(s, left, top), pixelAt(s, right, top), pixelAt(s, left, bottom), pixelAt(s, right, bottom),
                         static_cast<uint32_t>(x >> 8) & 255u, static_cast<uint32_t>(y >> 8) & 255u);
    }
}

// Narrows first..last to the steps at which a position lies in 0..limit-1 pixels.
void narrow(int64_t start, int64_t step, int64_t limit, int& first, int& last) {
    const auto inside = [&](int i) {
        const int64_t p = start + i * step;
        return p >= 0 && p >> one < limit;
    };
    // Positions run one way, so those inside are one stretch, mostly the whole.
    if (first >= last || (inside(first) && inside(last - 1))) return;
    while (first < last && !inside(first)) {
        const int64_t p = start + first * step;
        const int64_t away = p < 0 ? -p : p - (limit << one) + 1;
        if (step == 0 || (p < 0) != (step > 0)) {
            first = last;
            return;
        }
        const int64_t size = step > 0 ? step : -step;
        first += static_cast<int>(std::min<int64_t>(std::max<int64_t>((away + size - 1) / size, 1), last - first));
    }
    if (step == 0 || first >= last) return;
    const int64_t p = start + first * step, size = step > 0 ? step : -step;
    const int64_t room = step > 0 ? (limit << one) - 1 - p : p; // how far it may still go
    last = static_cast<int>(std::min<int64_t>(last, first + room / size + 1));
}

__attribute__((target("avx2"), always_inline)) inline __m256i loadPairs(const uint8_t* p, const int32_t* offsets, int a,
                                                                        int b) {
    double pairs[4];
    std::memcpy(&pairs[0], p + offsets[a], sizeof(double));
    std::memcpy(&pairs[1], p + offsets[a + 1], sizeof(double));
    std::memcpy(&pairs[2], p + offsets[b], sizeof(double));
    std::memcpy(&pairs[3], p + offsets[b + 1], sizeof(double));
    return _mm256_castpd_si256(_mm256_set_pd(pairs[3], pairs[2], pairs[1], pairs[0]));
}

// A weight of 0 to 255 in both halves of 32 bits.
__attribute__((target("avx2"), always_inline)) inline __m256i weightOf(__m256i position) {
    const __m256i w = _mm256_and_si256(_mm256_srli_epi32(position, 8), _mm256_set1_epi32(255));
    return _mm256_or_si256(w, _mm256_slli_epi32(w, 16));
}

__attribute__((target("avx2"), always_inline)) inline __m256i mixWords(__m256i a, __m256i b, __m256i weightA,
                                                                       __m256i weightB) {
    const __m256i sum = _mm256_add_epi16(_mm256_mullo_epi16(a, weightA), _mm256_mullo_epi16(b, weightB));
    return _mm256_srli_epi16(_mm256_add_epi16(sum, _mm256_set1_epi16(128)), 8);
}

// The left and the right pixel of eight pairs in one row, each as 32 bits in order.
template <int bytes> __attribute__((target("avx2"), always_inline)) inline void
loadEight(const uint8_t* p, const int32_t* offsets, __m256i& left, __m256i& right) {
    __m256i a = loadPairs(p, offsets, 0, 4), b = loadPairs(p, offsets, 2, 6);
    if constexpr (bytes == 3) {
        const __m256i spread = _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 8, 9, 10, -1, 11, 12, 13, -1, 0, 1, 2, -1, 3, 4, 5,
                                                -1, 8, 9, 10, -1, 11, 12, 13, -1);
        a = _mm256_shuffle_epi8(a, spread);
        b = _mm256_shuffle_epi8(b, spread);
    }
    const __m256 x = _mm256_castsi256_ps(a), y = _mm256_castsi256_ps(b);
    left = _mm256_castps_si256(_mm256_shuffle_ps(x, y, 0x88));
    right = _mm256_castps_si256(_mm256_shuffle_ps(x, y, 0xDD));
}

// Eight pixels a step, of at least eight; all four neighbours lie inside, and so do the eight bytes that are read for two of
// them.
template <int bytes> __attribute__((target("avx2"))) void sampleVector(const SampleSource& s, const SampleLine& line,
                                                                       int first, int last, uint32_t* out) {
    const int64_t startX = line.x + first * line.stepX, startY = line.y + first * line.stepY;
    const int64_t pixelX = startX >> one, pixelY = startY >> one;
    const uint8_t* top = s.rows + pixelY * s.stride + pixelX * bytes;
    const uint8_t* bottom = top + s.stride;
    const auto stepX = static_cast<int32_t>(line.stepX), stepY = static_cast<int32_t>(line.stepY);
    const __m256i count = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7), pair = _mm256_set1_epi32(0x00FF00FF);
    const __m256i all = _mm256_set1_epi16(256);
    __m256i x = _mm256_add_epi32(_mm256_set1_epi32(static_cast<int32_t>(startX - (pixelX << one))),
                                 _mm256_mullo_epi32(count, _mm256_set1_epi32(stepX)));
    __m256i y = _mm256_add_epi32(_mm256_set1_epi32(static_cast<int32_t>(startY - (pixelY << one))),
                                 _mm256_mullo_epi32(count, _mm256_set1_epi32(stepY)));
    const __m256i eightX = _mm256_set1_epi32(8 * stepX), eightY = _mm256_set1_epi32(8 * stepY);
    const __m256i stride = _mm256_set1_epi32(static_cast<int32_t>(s.stride)), width = _mm256_set1_epi32(bytes);
    // The last step goes back over pixels that are done, so that none are left for the plain loop.
    for (int i = first; i < last; i += 8) {
        if (const int back = i + 8 - last; back > 0) {
            i -= back;
            x = _mm256_sub_epi32(x, _mm256_set1_epi32(back * stepX));
            y = _mm256_sub_epi32(y, _mm256_set1_epi32(back * stepY));
        }
        alignas(32) int32_t offsets[8];
        const __m256i rows = _mm256_mullo_epi32(_mm256_srai_epi32(y, one), stride);
        const __m256i columns = _mm256_mullo_epi32(_mm256_srai_epi32(x, one), width);
        _mm256_store_si256(reinterpret_cast<__m256i*>(offsets), _mm256_add_epi32(rows, columns));
        const __m256i right = weightOf(x), down = weightOf(y);
        const __m256i left = _mm256_sub_epi16(all, right), up = _mm256_sub_epi16(all, down);
        __m256i a, b, c, e;
        loadEight<bytes>(top, offsets, a, b);
        loadEight<bytes>(bottom, offsets, c, e);
        const __m256i evenAbove = mixWords(_mm256_and_si256(a, pair), _mm256_and_si256(b, pair), left, right);
        const __m256i evenBelow = mixWords(_mm256_and_si256(c, pair), _mm256_and_si256(e, pair), left, right);
        const __m256i oddAbove = mixWords(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8), left, right);
        const __m256i oddBelow = mixWords(_mm256_srli_epi16(c, 8), _mm256_srli_epi16(e, 8), left, right);
        const __m256i even = mixWords(evenAbove, evenBelow, up, down), odd = mixWords(oddAbove, oddBelow, up, down);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), _mm256_or_si256(even, _mm256_slli_epi16(odd, 8)));
        x = _mm256_add_epi32(x, eightX);
        y = _mm256_add_epi32(y, eightY);
    }
}

// Whether all sums of the vector loop stay within 32 bits.
bool fitsVectors(const SampleSource& s, const SampleLine& line, int count) {
    constexpr int64_t limit = 1 << 30;
    const int64_t acrossX = std::abs(line.stepX) * (count + 8), acrossY = std::abs(line.stepY) * (count + 8);
    return acrossX < limit && acrossY < limit && (s.stride + 4) * ((std::max(acrossX, acrossY) >> one) + 2) < limit;
}

template <class Op> void mixRun(const uint32_t* run, int count, uint8_t* target, int bytes, Op&& op) {
    for (int i = 0; i < count; ++i, target += bytes) {
        uint32_t old = target[0] | static_cast<uint32_t>(target[1]) << 8 | static_cast<uint32_t>(target[2]) << 16;
        if (bytes == 4) old |= static_cast<uint32_t>(target[3]) << 24;
        const uint32_t made = op(run[i], old);
        target[0] = static_cast<uint8_t>(made);
        target[1] = static_cast<uint8_t>(made >> 8);
        target[2] = static_cast<uint8_t>(made >> 16);
        if (bytes == 4) target[3] = static_cast<uint8_t>(made >> 24);
    }
}

// Four pixels a step, of which each but the last overwrites four bytes of the next; gives how many it has done.
__attribute__((target("avx2"))) int copyVector24(const uint32_t* run, int count, uint8_t* target) {
    const __m128i pack = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    int i = 0;
    for (; i + 6 <= count; i += 4) {
        const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i*>(run + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target + 3 * i), _mm_shuffle_epi8(four, pack));
    }
    return i;
}

} // namespace

bool haveVectors() {
    static const bool have = __builtin_cpu_supports("avx2");
    return have;
}

void sampleRun(const SampleSource& source, const SampleLine& line, int count, uint32_t* out, bool vectors) {
    int first = 0, last = 0;
    if (vectors && fitsVectors(source, line, count)) {
        last = count;
        // Eight bytes are read for two pixels: of three bytes each, two of the next one too.
        narrow(line.x, line.stepX, source.width - (source.bytes == 3 ? 2 : 1), first, last);
        narrow(line.y, line.stepY, source.height - 1, first, last);
        if (last - first < 8)
            first = last = 0;
        else if (source.bytes == 3)
            sampleVector<3>(source, line, first, last, out);
        else
            sampleVector<4>(source, line, first, last, out);
    }
    samplePlain(source, line, 0, first, out);
    samplePlain(source, line, last, count, out);
}

void writeRun(const uint32_t* run, int count, uint8_t* target, int bytes, Mix mix, bool vectors) {
    switch (mix) {
    case Mix::copy: {
        if (bytes == 4) {
            std::memcpy(target, run, static_cast<size_t>(count) * 4);
            return;
        }
        const int done = vectors ? copyVector24(run, count, target) : 0;
        mixRun(run + done, count - done, target + 3 * done, 3, [](uint32_t s, uint32_t) { return s; });
        return;
    }
    case Mix::both: mixRun(run, count, target, bytes, [](uint32_t s, uint32_t d) { return s & d; }); return;
    case Mix::either: mixRun(run, count, target, bytes, [](uint32_t s, uint32_t d) { return s ^ d; }); return;
    case Mix::same: mixRun(run, count, target, bytes, [](uint32_t s, uint32_t d) { return ~(s ^ d); }); return;
    }
}

} // namespace kb
