// Two complex float values in one SSE2 register, (re0, im0, re1, im1), and their product
// rounded as the scalar complex product rounds.
#pragma once

#include <emmintrin.h>

#include "planned_fft/plan.h"

namespace vorel::audio::qentor {

// Two complex products w * x: the same four float products per element as the scalar form,
// and re = ac + (-bd), which is ac - bd to the bit. The product is commutative to the bit for
// every result that is a number, so either operand order of the scalar form is matched.
inline __m128 product_pairs(__m128 w, __m128 x) {
    const __m128 negate_real = _mm_castsi128_ps(_mm_set_epi32(0, INT32_MIN, 0, INT32_MIN));
    const __m128 w_re = _mm_shuffle_ps(w, w, _MM_SHUFFLE(2, 2, 0, 0));
    const __m128 w_im = _mm_shuffle_ps(w, w, _MM_SHUFFLE(3, 3, 1, 1));
    const __m128 x_swapped = _mm_shuffle_ps(x, x, _MM_SHUFFLE(2, 3, 0, 1));
    const __m128 straight = _mm_mul_ps(w_re, x);         // (c a, c b, ...)
    const __m128 crossed = _mm_mul_ps(w_im, x_swapped);  // (d b, d a, ...)
    return _mm_add_ps(straight, _mm_xor_ps(crossed, negate_real));
}

// True when both parts of one of the two products are NaN: the scalar product's recovery of
// infinite results has to redo those.
inline bool needs_recovery(__m128 t) {
    const int nan = _mm_movemask_ps(_mm_cmpunord_ps(t, t));
    return (nan & 3) == 3 || (nan & 12) == 12;
}

inline __m128 load_pair(const Complex* p) { return _mm_loadu_ps(&p->re); }
inline void store_pair(Complex* p, __m128 v) { _mm_storeu_ps(&p->re, v); }

// Two separate complex values in one register.
inline __m128 gather_pair(const Complex& a, const Complex& b) {
    const __m128 lo = _mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double*>(&a)));
    return _mm_castpd_ps(
        _mm_loadh_pd(_mm_castps_pd(lo), reinterpret_cast<const double*>(&b)));
}

// One complex value in both halves.
inline __m128 broadcast(const Complex& a) {
    const __m128 v = _mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double*>(&a)));
    return _mm_movelh_ps(v, v);
}

}  // namespace vorel::audio::qentor
