// log10f as the platform libm computes it: the exponent split off in integers, the logarithm
// of the mantissa by the table-driven logf (its FMA variant, chosen on CPUs with FMA and AVX2:
// five fused steps in double), then the base change in plain float products and sums.
#pragma once

#include <cstdint>

#include "simd/math/lanes.h"

namespace vorel::audio::simd::math {

namespace logf_data {
// 1/c and log(c) for the 16 subintervals of [0x3f330000, 2 * 0x3f330000) (data of the libm); powf
// reads the same 1/c.
inline constexpr double invc[16] = {
    0x1.661ec79f8f3bep+0, 0x1.571ed4aaf883dp+0, 0x1.49539f0f010bp+0,  0x1.3c995b0b80385p+0, 0x1.30d190c8864a5p+0,
    0x1.25e227b0b8eap+0,  0x1.1bb4a4a1a343fp+0, 0x1.12358f08ae5bap+0, 0x1.0953f419900a7p+0, 0x1p+0,
    0x1.e608cfd9a47acp-1, 0x1.ca4b31f026aap-1,  0x1.b2036576afce6p-1, 0x1.9c2d163a1aa2dp-1, 0x1.886e6037841edp-1,
    0x1.767dcf5534862p-1,
};
inline constexpr double logc[16] = {
    -0x1.57bf7808caadep-2, -0x1.2bef0a7c06ddbp-2, -0x1.01eae7f513a67p-2, -0x1.b31d8a68224e9p-3, -0x1.6574f0ac07758p-3,
    -0x1.1aa2bc79c81p-3,   -0x1.a4e76ce8c0e5ep-4, -0x1.1973c5a611cccp-4, -0x1.252f438e10c1ep-5, 0x0p+0,
    0x1.aa5aa5df25984p-5,  0x1.c5e53aa362eb4p-4,  0x1.526e57720db08p-3,  0x1.bc2860d22477p-3,   0x1.1058bc8a07ee1p-2,
    0x1.4043057b6ee09p-2,
};
inline constexpr double ln2 = 0x1.62e42fefa39efp-1;
inline constexpr double poly[3] = {-0x1.00ea348b88334p-2, 0x1.5575b0be00b6ap-2, -0x1.ffffef20a4123p-2};
}  // namespace logf_data

// logf of positive normal floats given by their bits, as the FMA variant computes it.
template <std::size_t W, class T = LaneTypes<W>, class F = typename T::F, class D = typename T::D,
          class I = typename T::I, class U = typename T::U>
VOREL_INLINE F logf_fma_lanes(U ix) {
    const U tmp = ix - 0x3f330000u;
    const I i = bits<I>((tmp >> 19) & 15u);
    const I k = bits<I>(tmp) >> 23;
    const U iz = ix - (tmp & 0xff800000u);
    const D invc = lookup16<D>(logf_data::invc, i);
    const D logc = lookup16<D>(logf_data::logc, i);
    const D z = convert<D>(bits<F>(iz));
    const D r = simd::fma(z, invc, splat<D>(-1.0));
    const D y0 = simd::fma(convert<D>(k), splat<D>(logf_data::ln2), logc);
    const D r2 = r * r;
    D y = simd::fma(splat<D>(logf_data::poly[1]), r, splat<D>(logf_data::poly[2]));
    y = simd::fma(splat<D>(logf_data::poly[0]), r2, y);
    y = simd::fma(y, r2, y0 + r);
    const F out = convert<F>(y);
    // logf(1) returns +0 before the polynomial (the sign of zero under any rounding).
    return select(ix == 0x3f800000u, splat<F>(0.0f), out);
}

// log10f of positive normal floats (and of +inf, to be answered by the caller) per lane; k0 is
// added to the exponent, -25 for a subnormal the caller scaled by 2^25.
template <std::size_t W, class T = LaneTypes<W>, class F = typename T::F, class I = typename T::I,
          class U = typename T::U>
VOREL_INLINE F log10f_normal_lanes(F x, I k0) {
    const I hx = bits<I>(x);
    const I k = k0 + (hx >> 23) - 127;
    const I i = bits<I>(bits<U>(k) >> 31);
    const U mant = bits<U>((hx & 0x007fffff) | ((0x7f - i) << 23));
    const F y = convert<F>(k + i);
    const F l = logf_fma_lanes<W>(mant);
    const F z = y * splat<F>(7.9034151668e-07f) + splat<F>(4.3429449201e-01f) * l;
    return z + y * splat<F>(3.0102920532e-01f);
}

// log10f per lane; zeros, negatives, infinities and NaN are marked special.
template <class V, class T = LaneTypes<kLanes<V>>, class F = typename T::F, class I = typename T::I,
          class U = typename T::U>
VOREL_INLINE V log10f_lanes(V v, I& special) {
    F x = to_lanes(v);
    const I hx = bits<I>(x);
    // One unsigned range test for hx <= 0 or hx >= 0x7f800000 (GCC splits an or of vector
    // comparisons into per-lane code).
    special = bits<U>(hx) - 1u >= 0x7f7fffffu;
    // Subnormals are scaled up by 2^25 first.
    const I sub = hx < 0x00800000;
    x = select(sub, x * splat<F>(3.3554432e+07f), x);
    return from_lanes<V>(log10f_normal_lanes<kLanes<V>>(x, select(sub, splat<I>(-25), splat<I>(0))));
}

}  // namespace vorel::audio::simd::math
