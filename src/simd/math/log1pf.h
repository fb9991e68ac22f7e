// log1pf as the platform libm computes it: float arithmetic throughout, never fused. 1 + x is
// split into 2^k (1 + f) with a correction term for the rounding of 1 + x, and log(1 + f)
// comes from s = f / (2 + f) and a degree-7 polynomial in s^2.
#pragma once

#include <cstdint>

#include "simd/math/lanes.h"

namespace vorel::audio::simd::math {

// log1pf per lane; x <= -1, infinities, NaN and the |f| < 2^-20 branch are marked special.
template <class V>
VOREL_INLINE V log1pf_lanes(V v, typename LaneTypes<kLanes<V>>::I& special) {
    constexpr std::size_t W = kLanes<V>;
    using T = LaneTypes<W>;
    using F = typename T::F;
    using I = typename T::I;
    const F x = to_lanes(v);
    const I hx = bits<I>(x);
    const I ax = hx & 0x7fffffff;
    const I below = hx < 0x3ed413d7;  // x < 0.41422
    special = (below & (ax >= 0x3f800000)) | (hx >= 0x7f800000);
    // |x| < 2^-29: x itself, or x - x*x/2 above 2^-54.
    const I tiny = below & (ax < 0x31000000);
    const F tiny_value = select(ax < 0x24800000, x, x - x * x * splat<F>(0.5f));
    // -0.2929 < x < 0.41422: f = x, k = 0.
    // (hx > 0 or hx <= 0xbe95f61f as signed), written as one range test: GCC splits the
    // or of two comparisons into per-lane code.
    const I direct = below & ~(bits<typename T::U>(hx) - 0xbe95f620u < 0x416a09e1u);
    // Otherwise 1 + x (or x itself from 2^53 on, where c is 0) gives k and the correction c.
    const I big = hx >= 0x5a000000;
    const F u0 = select(big, x, splat<F>(1.0f) + x);
    I hu = bits<I>(u0);
    I k = (hu >> 23) - 127;
    const F corr = select(k > 0, splat<F>(1.0f) - (u0 - x), x - (u0 - splat<F>(1.0f))) / u0;
    const F cterm = select(big, splat<F>(0.0f), corr);
    hu &= 0x007fffff;
    const I low = hu < 0x3504f7;
    const F u = bits<F>(hu | select(low, splat<I>(0x3f800000), splat<I>(0x3f000000)));
    k = select(low, k, k + 1);
    hu = select(low, hu, (0x00800000 - hu) >> 2);
    const F f = select(direct, x, u - splat<F>(1.0f));
    k = select(direct, splat<I>(0), k);
    special |= ~(tiny | direct) & (hu == 0);
    const F hfsq = splat<F>(0.5f) * f * f;
    const F s = f / (splat<F>(2.0f) + f);
    const F z = s * s;
    const F R = z * (splat<F>(6.6666668653e-01f) +
                     z * (splat<F>(4.0000000596e-01f) +
                          z * (splat<F>(2.8571429849e-01f) +
                               z * (splat<F>(2.2222198546e-01f) +
                                    z * (splat<F>(1.8183572590e-01f) +
                                         z * (splat<F>(1.5313838422e-01f) + z * splat<F>(1.4798198640e-01f)))))));
    const F near = f - (hfsq - s * (hfsq + R));
    const F kf = convert<F>(k);
    const F far = kf * splat<F>(6.9313812256e-01f) -
                  ((hfsq - (s * (hfsq + R) + (kf * splat<F>(9.0580006145e-06f) + cterm))) - f);
    // k can also come out 0 on the second route (just below -0.2929); c is then unused.
    return from_lanes<V>(select(tiny, tiny_value, select(k == 0, near, far)));
}

}  // namespace vorel::audio::simd::math
