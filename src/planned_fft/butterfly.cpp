// Radix-2 butterflies, two at a time in vector lanes with a scalar fallback.
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

void plain_butterflies(Complex* lo, Complex* hi, const Complex* w, uint64_t count, const float* factor) {
    for (uint64_t j = 0; j < count; ++j) butterfly(lo[j], hi[j], w[j], factor);
}

template <bool scaled>
void butterflies(Complex* lo, Complex* hi, const Complex* w, uint64_t count, const float* factor, simd::Isa isa) {
    if (isa == simd::Isa::scalar) return plain_butterflies(lo, hi, w, count, factor);
    const float4 f = simd::broadcast<float4>(scaled ? *factor : 1.0f);
    uint64_t j = 0;
    for (; j + 2 <= count; j += 2) {
        const float4 t = product_pairs(load_pair(w + j), load_pair(hi + j));
        if (__builtin_expect(needs_recovery(t), 0)) {
            plain_butterflies(lo + j, hi + j, w + j, 2, factor);
            continue;
        }
        float4 a = load_pair(lo + j);
        if (scaled) a = a * f;
        store_pair(lo + j, a + t);
        store_pair(hi + j, a - t);
    }
    plain_butterflies(lo + j, hi + j, w + j, count - j, factor);
}

// Blocks of two: (x0, x1) and (x2, x3) give lo = (x0, x2) and hi = (x1, x3), and the results
// go back as (s0, d0) and (s2, d2).
uint64_t pairs_of_two_blocks(Complex* out, uint64_t n, Complex w0) {
    const float4 w = broadcast(w0);
    uint64_t b = 0;
    for (; b + 4 <= n; b += 4) {
        const float4 first = load_pair(out + b);
        const float4 second = load_pair(out + b + 2);
        const float4 hi = __builtin_shufflevector(first, second, 2, 3, 6, 7);
        const float4 t = product_pairs(w, hi);
        if (__builtin_expect(needs_recovery(t), 0)) {
            plain_butterflies(out + b, out + b + 1, &w0, 1, nullptr);
            plain_butterflies(out + b + 2, out + b + 3, &w0, 1, nullptr);
            continue;
        }
        const float4 lo = __builtin_shufflevector(first, second, 0, 1, 4, 5);
        const float4 s = lo + t;
        const float4 d = lo - t;
        store_pair(out + b, __builtin_shufflevector(s, d, 0, 1, 4, 5));
        store_pair(out + b + 2, __builtin_shufflevector(s, d, 2, 3, 6, 7));
    }
    return b;
}

}  // namespace

void radix2_butterflies(Complex* lo, Complex* hi, const Complex* w, uint64_t count, const float* factor,
                        simd::Isa isa) {
    factor ? butterflies<true>(lo, hi, w, count, factor, isa) : butterflies<false>(lo, hi, w, count, factor, isa);
}

void radix2_pass(Complex* out, uint64_t n, const Complex* w, uint64_t half, const float* factor, simd::Isa isa) {
    uint64_t b = half == 1 && !factor && isa != simd::Isa::scalar ? pairs_of_two_blocks(out, n, w[0]) : 0;
    for (; b + 2 * half <= n; b += 2 * half) radix2_butterflies(out + b, out + b + half, w, half, factor, isa);
}

}  // namespace vorel::audio::qentor
