// log1pf as the platform libm computes it: float arithmetic throughout, never fused. 1 + x is
// split into 2^k (1 + f) with a correction term for the rounding of 1 + x, and log(1 + f)
// comes from s = f / (2 + f) and a degree-7 polynomial in s^2.
//
// The libm has three routes for ordinary inputs: |x| < 2^-29 gives x (x - x*x/2 rounds to x in
// float), -0.2929 <= x < 0.41422 takes f = x and k = 0, and the rest reduces 1 + x. The lanes
// compute one formula for all three: the reducing route's
//     k ln2_hi - ((hfsq - (s (hfsq + R) + (k ln2_lo + c))) - f)
// with k = 0 and c = +0 is the direct route's f - (hfsq - s (hfsq + R)) negated twice, equal to
// the bit while f differs from hfsq - s (hfsq + R) (always, off zero); a zero x keeps its sign
// because k is then a zero of x's sign. On tiny x the direct formula rounds to x as well.
#pragma once

#include <cstdint>

#include "simd/math/lanes.h"

namespace vorel::audio::simd::math {

// log(1 + f) + k ln2 from f, k (as a float) and the correction c, in the libm's order.
template <class F>
VOREL_INLINE F log1pf_from_parts(F f, F kf, F c) {
    const F hfsq = splat<F>(0.5f) * f * f;
    const F s = f / (splat<F>(2.0f) + f);
    const F z = s * s;
    const F R = z * (splat<F>(6.6666668653e-01f) +
                     z * (splat<F>(4.0000000596e-01f) +
                          z * (splat<F>(2.8571429849e-01f) +
                               z * (splat<F>(2.2222198546e-01f) +
                                    z * (splat<F>(1.8183572590e-01f) +
                                         z * (splat<F>(1.5313838422e-01f) + z * splat<F>(1.4798198640e-01f)))))));
    return kf * splat<F>(6.9313812256e-01f) - ((hfsq - (s * (hfsq + R) + (kf * splat<F>(9.0580006145e-06f) + c))) - f);
}

// log1pf per lane. Special lanes: 1 + x (as u0) at or above 0x7f800000 unsigned (x < -1, NaN,
// +inf) or u within three ulps below one or on it (the libm's |f| < 2^-20 branch, x = -1 too, as
// 1 + x = 0 has no fraction), tested by sign-bit arithmetic: GCC splits combined comparisons into
// per-lane code.
template <class V, class T = LaneTypes<kLanes<V>>, class F = typename T::F, class I = typename T::I,
          class U = typename T::U>
VOREL_INLINE V log1pf_lanes(V v, I& special) {
    const F x = to_lanes(v);
    // -0.2929 <= x < 0.41422 (zeros and tiny x included): f = x, k = 0. These lanes reduce
    // 0.25 instead of x, which gives k = 0 and c = +0 and keeps them off the special test.
    // One comparison: GCC splits combinations of comparisons into per-lane code. |x - m| rounds
    // monotonically on either side of m, and this m and bound split exactly at both ends.
    const F centred = x - splat<F>(0.060660228f);
    const I direct = bits<F>(bits<I>(centred) & 0x7fffffff) < splat<F>(0.35355365f);
    const F xr = select(direct, splat<F>(0.25f), x);
    const F one = splat<F>(1.0f);
    const F u0 = one + xr;
    // u0 = 2^k u with u in [0x3f3504f7, 2 * 0x3f3504f7): the mantissa split 0x3504f7 becomes a
    // carry into the exponent.
    const I iu = bits<I>(bits<U>(u0) - 0x3f3504f7u);
    const I k = iu >> 23;
    const I ub = (iu & 0x007fffff) + 0x3f3504f7;
    const F f = select(direct, x, bits<F>(ub) - one);
    const F kf = bits<F>(bits<I>(convert<F>(k)) | (bits<I>(x) & static_cast<std::int32_t>(0x80000000u)));
    // c = (1 + x) - u0 exactly (Fast2Sum, the larger of 1 and x first: as int32 lanes, the
    // bit patterns order 1 against every x > -1). The libm's two-sided correction is this
    // wherever it is used (x = 1 - 2^-24 rounds up to 2 and is special); it drops c where k
    // comes out 0 (1 + x rounding to 0x3fb504f6 just above 0.41422). From 2^53 on it takes
    // c = 0; here c / u0 <= 2^-53 vanishes in k ln2_lo (k >= 54), under half its ulp.
    const I hxr = bits<I>(xr);
    const I hone = splat<I>(0x3f800000);
    const F larger = bits<F>(hxr > hone ? hxr : hone);
    const F smaller = bits<F>(hxr > hone ? hone : hxr);
    const F c = select(k != 0, (smaller - (u0 - larger)) / u0, splat<F>(0.0f));
    const U bad = bits<U>(u0) | (bits<U>(u0) + 0x00800000u);
    const U near_one = (bits<U>(ub) - 0x3f800001u) & ~(bits<U>(ub) - 0x3f7ffffdu);
    special = bits<I>(bad | near_one) >> 31;
    return from_lanes<V>(log1pf_from_parts(f, kf, c));
}

#if !defined(__clang__)
// log1pf of 16 floats from src into dst with the route choices and the special lanes in mask
// registers; special lanes store their input, and their bits are returned. Lanes that reduce run
// the operations of log1pf_lanes one for one. Direct lanes need no stand-in input: k is
// zeroed by the masked shift (1 + x there may round past the mantissa split), kf is then a zero
// of x's sign, c is the +0 of the masked division, and f = x comes from the masked subtraction;
// their u0 = 1 + x (under 1.5) cannot pass the first special test, and the near-one test is
// masked to the reducing lanes. GCC's builtins, not intrinsics: they inline into generic drivers.
VOREL_INLINE std::uint32_t log1pf_store16(float* dst, const float* src) {
    using F = LaneTypes<16>::F;
    using I = LaneTypes<16>::I;
    const F x = load<F>(src);
    const F one = splat<F>(1.0f);
    const I hx = bits<I>(x);
    const F distance = bits<F>(bits<I>(x - splat<F>(0.060660228f)) & 0x7fffffff);
    const __mmask16 reducing = __builtin_ia32_cmpps512_mask(distance, splat<F>(0.35355365f), _CMP_NLT_UQ, 0xffff, 4);
    const F u0 = one + x;
    const I iu = bits<I>(bits<LaneTypes<16>::U>(u0) - 0x3f3504f7u);
    const I k = __builtin_ia32_psradi512_mask(iu, 23, splat<I>(0), reducing);
    const I ub = (iu & 0x007fffff) + 0x3f3504f7;
    const F f = __builtin_ia32_subps512_mask(bits<F>(ub), one, x, reducing, 4);
    // cvt(k) | (x & sign) in one instruction (truth table a | b & c).
    const F kf = bits<F>(
        __builtin_ia32_pternlogd512_mask(bits<I>(convert<F>(k)), hx, splat<I>(INT32_MIN), 0xf8, 0xffff));
    const I hone = splat<I>(0x3f800000);
    const F larger = bits<F>(hx > hone ? hx : hone);
    const F smaller = bits<F>(hx > hone ? hone : hx);
    const F c = __builtin_ia32_divps512_mask(smaller - (u0 - larger), u0, splat<F>(0.0f),
                                             __builtin_ia32_ptestmd512(k, k, 0xffff), 4);
    const __mmask16 special = __builtin_ia32_ucmpd512_mask(bits<I>(u0), splat<I>(0x7f800000), _MM_CMPINT_NLT, 0xffff) |
                              __builtin_ia32_ucmpd512_mask(ub - 0x3f7ffffd, splat<I>(4), _MM_CMPINT_LT, reducing);
    store(dst, F(__builtin_ia32_movaps512_mask(x, log1pf_from_parts(f, kf, c), special)));
    return special;
}
#endif

}  // namespace vorel::audio::simd::math
