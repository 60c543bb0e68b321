// Exchange of red and blue in rows. Files have red first, device contexts blue first, so every colour image passes here
// twice on its way through; the vector code does 16 bytes at a time where the processor can.
#include "rasterio/image_io.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace kb {
namespace {

void swap24Plain(uint8_t* out, const uint8_t* in, size_t pixels) {
    for (size_t i = 0; i < pixels * 3; i += 3) {
        const uint8_t first = in[i], second = in[i + 1], third = in[i + 2];
        out[i] = third;
        out[i + 1] = second;
        out[i + 2] = first;
    }
}

#if defined(__x86_64__)
// 16 pixels, 48 bytes, a step: three shuffles each gather what the neighbouring blocks hold of a block's pixels.
__attribute__((target("ssse3"))) size_t swap24Vector(uint8_t* out, const uint8_t* in, size_t pixels) {
    const __m128i a0 = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, -1);
    const __m128i a1 = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 1);
    const __m128i b0 = _mm_setr_epi8(-1, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i b1 = _mm_setr_epi8(0, -1, 4, 3, 2, 7, 6, 5, 10, 9, 8, 13, 12, 11, -1, 15);
    const __m128i b2 = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 0, -1);
    const __m128i c1 = _mm_setr_epi8(14, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i c2 = _mm_setr_epi8(-1, 3, 2, 1, 6, 5, 4, 9, 8, 7, 12, 11, 10, 15, 14, 13);
    size_t done = 0;
    for (; done + 16 <= pixels; done += 16) {
        const uint8_t* p = in + done * 3;
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16));
        const __m128i z = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 32));
        auto* q = reinterpret_cast<__m128i*>(out + done * 3);
        _mm_storeu_si128(q, _mm_or_si128(_mm_shuffle_epi8(x, a0), _mm_shuffle_epi8(y, a1)));
        _mm_storeu_si128(
            q + 1, _mm_or_si128(_mm_shuffle_epi8(x, b0), _mm_or_si128(_mm_shuffle_epi8(y, b1), _mm_shuffle_epi8(z, b2))));
        _mm_storeu_si128(q + 2, _mm_or_si128(_mm_shuffle_epi8(y, c1), _mm_shuffle_epi8(z, c2)));
    }
    return done;
}
#endif

} // namespace

void swapRedBlue24(uint8_t* out, const uint8_t* in, size_t pixels) {
    size_t done = 0;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("ssse3")) done = swap24Vector(out, in, pixels);
#endif
    swap24Plain(out + done * 3, in + done * 3, pixels - done);
}

void swapRedBlue32(uint8_t* out, const uint8_t* in, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        uint32_t value;
        std::memcpy(&value, in + i * 4, 4);
        value = swapRedBlue(value);
        std::memcpy(out + i * 4, &value, 4);
    }
}

void divideByAlpha(uint8_t* pixels, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        uint8_t* p = pixels + i * 4;
        const uint32_t alpha = p[3];
        if (alpha == 255 || !alpha) continue;
        for (int channel = 0; channel < 3; ++channel) {
            p[channel] = static_cast<uint8_t>(std::min(255u, (p[channel] * 255u + alpha / 2) / alpha));
        }
    }
}

} // namespace kb
