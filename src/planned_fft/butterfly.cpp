// Radix-2 butterflies, two at a time in SSE2 lanes with a scalar fallback.
#include "planned_fft/butterfly.h"

#include "planned_fft/complex_lanes.h"
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

template <bool scaled>
void butterflies(Complex* lo, Complex* hi, const Complex* w, uint64_t count, float factor) {
    const __m128 f = _mm_set1_ps(factor);
    uint64_t j = 0;
    for (; j + 2 <= count; j += 2) {
        const __m128 t = product_pairs(load_pair(w + j), load_pair(hi + j));
        if (__builtin_expect(needs_recovery(t), 0)) {
            radix2_butterflies_plain(lo + j, hi + j, w + j, 2, scaled ? &factor : nullptr);
            continue;
        }
        __m128 a = load_pair(lo + j);
        if (scaled) a = _mm_mul_ps(a, f);
        store_pair(lo + j, _mm_add_ps(a, t));
        store_pair(hi + j, _mm_sub_ps(a, t));
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
