// Radix-2 butterflies, two at a time in SSE2 lanes with a scalar fallback.
#include "planned_fft/butterfly.h"

#include <emmintrin.h>

#include "planned_fft/twiddles.h"

namespace vorel::audio::qentor {

namespace {

inline void butterfly(Complex& lo, Complex& hi, Complex w, const float* factor) {
    const Complex t = complex_product(w, hi);
    Complex a = lo;
    if (factor) a = {a.re * *factor, a.im * *factor};
    lo = a + t;
    hi = a - t;
}

// Two complex products w * x in the lanes (re0, im0, re1, im1): the same four float products
// per element as the scalar form, and re = ac + (-bd), which is ac - bd to the bit.
inline __m128 product_pairs(__m128 w, __m128 x) {
    const __m128 negate_real = _mm_castsi128_ps(_mm_set_epi32(0, INT32_MIN, 0, INT32_MIN));
    const __m128 w_re = _mm_shuffle_ps(w, w, _MM_SHUFFLE(2, 2, 0, 0));
    const __m128 w_im = _mm_shuffle_ps(w, w, _MM_SHUFFLE(3, 3, 1, 1));
    const __m128 x_swapped = _mm_shuffle_ps(x, x, _MM_SHUFFLE(2, 3, 0, 1));
    const __m128 straight = _mm_mul_ps(w_re, x);         // (c a, c b, ...)
    const __m128 crossed = _mm_mul_ps(w_im, x_swapped);  // (d b, d a, ...)
    return _mm_add_ps(straight, _mm_xor_ps(crossed, negate_real));
}

// True when both parts of one of the two products are NaN: the plain code recovers those.
inline bool needs_recovery(__m128 t) {
    const int nan = _mm_movemask_ps(_mm_cmpunord_ps(t, t));
    return (nan & 3) == 3 || (nan & 12) == 12;
}

template <bool scaled>
void butterflies(Complex* lo, Complex* hi, const Complex* w, uint64_t count, float factor) {
    const __m128 f = _mm_set1_ps(factor);
    uint64_t j = 0;
    for (; j + 2 <= count; j += 2) {
        float* plo = &lo[j].re;
        float* phi = &hi[j].re;
        const __m128 t = product_pairs(_mm_loadu_ps(&w[j].re), _mm_loadu_ps(phi));
        if (__builtin_expect(needs_recovery(t), 0)) {
            radix2_butterflies_plain(lo + j, hi + j, w + j, 2, scaled ? &factor : nullptr);
            continue;
        }
        __m128 a = _mm_loadu_ps(plo);
        if (scaled) a = _mm_mul_ps(a, f);
        _mm_storeu_ps(plo, _mm_add_ps(a, t));
        _mm_storeu_ps(phi, _mm_sub_ps(a, t));
    }
    radix2_butterflies_plain(lo + j, hi + j, w + j, count - j, scaled ? &factor : nullptr);
}

}  // namespace

void radix2_butterflies_plain(Complex* lo, Complex* hi, const Complex* w, uint64_t count,
                              const float* factor) {
    for (uint64_t j = 0; j < count; ++j) butterfly(lo[j], hi[j], w[j], factor);
}

void radix2_butterflies(Complex* lo, Complex* hi, const Complex* w, uint64_t count) {
    butterflies<false>(lo, hi, w, count, 1.0f);
}

void radix2_butterflies_scaled(Complex* lo, Complex* hi, const Complex* w, uint64_t count,
                               float factor) {
    butterflies<true>(lo, hi, w, count, factor);
}

}  // namespace vorel::audio::qentor
