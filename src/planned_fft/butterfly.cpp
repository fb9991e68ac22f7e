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

// Blocks of two: (x0, x1) and (x2, x3) give lo = (x0, x2) and hi = (x1, x3), and the results
// go back as (s0, d0) and (s2, d2).
uint64_t pairs_of_two_blocks(Complex* out, uint64_t n, Complex w0) {
    const __m128 w = broadcast(w0);
    uint64_t b = 0;
    for (; b + 4 <= n; b += 4) {
        const __m128 first = load_pair(out + b);
        const __m128 second = load_pair(out + b + 2);
        const __m128 hi = _mm_movehl_ps(second, first);
        const __m128 t = product_pairs(w, hi);
        if (__builtin_expect(needs_recovery(t), 0)) {
            radix2_butterflies_plain(out + b, out + b + 1, &w0, 1, nullptr);
            radix2_butterflies_plain(out + b + 2, out + b + 3, &w0, 1, nullptr);
            continue;
        }
        const __m128 lo = _mm_movelh_ps(first, second);
        const __m128 s = _mm_add_ps(lo, t);
        const __m128 d = _mm_sub_ps(lo, t);
        store_pair(out + b, _mm_movelh_ps(s, d));
        store_pair(out + b + 2, _mm_movehl_ps(d, s));
    }
    return b;
}

}  // namespace

void radix2_pass(Complex* out, uint64_t n, const Complex* w, uint64_t half) {
    uint64_t b = half == 1 ? pairs_of_two_blocks(out, n, w[0]) : 0;
    for (; b + 2 * half <= n; b += 2 * half) radix2_butterflies(out + b, out + b + half, w, half);
}

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
