// sincosf as the platform libm's FMA variant computes it: in double, the argument is reduced by
// multiples of pi/2 (the quotient from a truncating conversion, the remainder in one fused
// step), a degree-8 even polynomial gives the cosine and a degree-7 odd one the sine, each
// evaluated with the fused steps of that variant, and the quadrant swaps and negates them.
#pragma once

#include <cmath>
#include <cstdint>

#include "simd/math/lanes.h"

namespace vorel::audio::simd::math {

namespace sincosf_data {
inline constexpr double hpi_inv = 0x1.45f306dc9c883p+23;  // 2/pi * 2^24
inline constexpr double hpi = 0x1.921fb54442d18p0;
inline constexpr double c0 = 1.0, c1 = -0x1.ffffffd0c621cp-2, c2 = 0x1.55553e1068f19p-5, c3 = -0x1.6c087e89a359dp-10,
                        c4 = 0x1.99343027bf8c3p-16;
inline constexpr double s1 = -0x1.555545995a603p-3, s2 = 0x1.1107605230bc4p-7, s3 = -0x1.994eb3774cf24p-13;
}  // namespace sincosf_data

// sin and cos of x per lane. |x| >= 120 (the libm's reduction by a table of 4/pi bits),
// infinities and NaN are marked special; |x| < 2^-12 gives (x, 1) as the libm does.
//
// Below 0.75 the libm skips the reduction, but the reduction gives the same numbers there: the
// quotient is 0, so the remainder x - 0 * pi/2 is x and the sign factor 1. In quadrants 2 and 3
// the libm evaluates the cosine with negated coefficients; round-to-nearest is symmetric, so
// every fused step of that cosine is the negation of the one with the plain coefficients, and
// the sign is flipped on the float result instead (the cosine polynomial is near +-1, never 0).
template <class V, class T = LaneTypes<kLanes<V>>, class F = typename T::F, class D = typename T::D,
          class I = typename T::I, class U = typename T::U, class UL = typename T::UL>
VOREL_INLINE void sincosf_lanes(V v, V& sin_out, V& cos_out, I& special) {
    namespace k = sincosf_data;
    const F x = to_lanes(v);
    const U ix = bits<U>(x) & 0x7fffffffu;
    special = ix >= 0x42f00000u;  // 120 and up, inf, NaN
    const I tiny = ix < 0x39800000u;

    // Special lanes reduce 0 instead, keeping the conversion to int in range.
    const D xd = convert<D>(select(special, splat<F>(0.0f), x));
    const I n = (convert<I>(xd * splat<D>(k::hpi_inv)) + 0x800000) >> 24;
    const D r = simd::fma(-convert<D>(n), splat<D>(k::hpi), xd);
    // The sign factor of the sine's argument is -1 in quadrants 1 and 2.
    const UL flip = convert<UL>((n ^ (n >> 1)) & 1) << 63;
    const D xs = bits<D>(bits<UL>(r) ^ flip);
    const D x2 = r * r;
    const D x3 = x2 * xs;
    const D x4 = x2 * x2;
    const D x5 = x2 * x3;
    const D x6 = x2 * x4;
    const D s_hi = simd::fma(x2, splat<D>(k::s3), splat<D>(k::s2));
    const D c_hi = simd::fma(x2, splat<D>(k::c4), splat<D>(k::c3));
    const D c_lo = simd::fma(x2, splat<D>(k::c1), splat<D>(k::c0));
    const D s = simd::fma(x3, splat<D>(k::s1), xs);
    const D c = simd::fma(x4, splat<D>(k::c2), c_lo);
    const F fs = convert<F>(simd::fma(x5, s_hi, s));
    const F fc = bits<F>(bits<U>(convert<F>(simd::fma(x6, c_hi, c))) ^ (bits<U>(n & 2) << 30));
    const I odd = -(n & 1);
    sin_out = from_lanes<V>(select(tiny, x, select(odd, fc, fs)));
    cos_out = from_lanes<V>(select(tiny, splat<F>(1.0f), select(odd, fs, fc)));
}

}  // namespace vorel::audio::simd::math
