// Two complex float values in one vector of four lanes, (re0, im0, re1, im1), and their
// product rounded as the scalar complex product rounds.
#pragma once

#include <climits>
#include <cstdint>
#include <cstring>

#include "planned_fft/plan.h"
#include "simd/math/lanes.h"
#include "simd/vec.h"

namespace vorel::audio::qentor {

using simd::float4;
using simd::int4;
using Pair64 = simd::Vec<std::uint64_t, 2>;

// Two complex products w * x: the same four float products per element as the scalar form,
// and re = ac + (-bd), which is ac - bd to the bit (the sign flips by its bit, NaN included).
// The product is commutative to the bit for every result that is a number, so either operand
// order of the scalar form is matched.
VOREL_INLINE float4 product_pairs(float4 w, float4 x) {
    const int4 negate_real = {INT32_MIN, 0, INT32_MIN, 0};
    const float4 w_re = __builtin_shufflevector(w, w, 0, 0, 2, 2);
    const float4 w_im = __builtin_shufflevector(w, w, 1, 1, 3, 3);
    const float4 x_swapped = __builtin_shufflevector(x, x, 1, 0, 3, 2);
    const float4 straight = w_re * x;         // (c a, c b, ...)
    const float4 crossed = w_im * x_swapped;  // (d b, d a, ...)
    return straight + (float4)((int4)crossed ^ negate_real);
}

// True when both parts of one of the two products are NaN: the scalar product's recovery of
// infinite results has to redo those.
VOREL_INLINE bool needs_recovery(float4 t) {
    const unsigned nan = simd::math::lane_bits(t != t);
    return (nan & 3) == 3 || (nan & 12) == 12;
}

VOREL_INLINE float4 load_pair(const Complex* p) { return simd::load<float4>(&p->re); }
VOREL_INLINE void store_pair(Complex* p, float4 v) { simd::store(&p->re, v); }

VOREL_INLINE std::uint64_t complex_bits(const Complex& a) {
    std::uint64_t bits;
    std::memcpy(&bits, &a, sizeof bits);
    return bits;
}

// Two separate complex values in one vector.
VOREL_INLINE float4 gather_pair(const Complex& a, const Complex& b) {
    return (float4)Pair64{complex_bits(a), complex_bits(b)};
}

// One complex value in both halves.
VOREL_INLINE float4 broadcast(const Complex& a) { return gather_pair(a, a); }

}  // namespace vorel::audio::qentor
