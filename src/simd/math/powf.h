// powf with an exponent fixed per call, as the platform libm's FMA variant computes it: log2 of
// the base from a 16-entry table and a degree-5 polynomial, the product with the exponent, and
// 2^t from a 32-entry table and a cubic, all in double with the fused steps of that variant.
#pragma once

#include <cstdint>

#include "simd/math/lanes.h"
#include "simd/math/log10f.h"

namespace vorel::audio::simd::math {

namespace powf_data {
// log2(c) for the 16 subintervals whose 1/c is logf_data::invc (data of the libm).
inline constexpr double logc[16] = {
    -0x1.efec65b963019p-2, -0x1.b0b6832d4fca4p-2, -0x1.7418b0a1fb77bp-2, -0x1.39de91a6dcf7bp-2, -0x1.01d9bf3f2b631p-2,
    -0x1.97c1d1b3b7afp-3,  -0x1.2f9e393af3c9fp-3, -0x1.960cbbf788d5cp-4, -0x1.a6f9db6475fcep-5, 0x0p+0,
    0x1.338ca9f24f53dp-4,  0x1.476a9543891bap-3,  0x1.e840b4ac4e4d2p-3,  0x1.40645f0c6651cp-2,  0x1.88e9c2c1b9ff8p-2,
    0x1.ce0a44eb17bccp-2,
};
inline constexpr double log2_poly[5] = {0x1.27616c9496e0bp-2, -0x1.71969a075c67ap-2, 0x1.ec70a6ca7baddp-2,
                                        -0x1.7154748bef6c8p-1, 0x1.71547652ab82bp0};
// 2^(i/32) with i << 47 taken off its bits, so that adding k << 47 scales by 2^(k/32).
inline constexpr std::uint64_t exp2_tab[32] = {
    0x3ff0000000000000, 0x3fefd9b0d3158574, 0x3fefb5586cf9890f, 0x3fef9301d0125b51, 0x3fef72b83c7d517b,
    0x3fef54873168b9aa, 0x3fef387a6e756238, 0x3fef1e9df51fdee1, 0x3fef06fe0a31b715, 0x3feef1a7373aa9cb,
    0x3feedea64c123422, 0x3feece086061892d, 0x3feebfdad5362a27, 0x3feeb42b569d4f82, 0x3feeab07dd485429,
    0x3feea47eb03a5585, 0x3feea09e667f3bcd, 0x3fee9f75e8ec5f74, 0x3feea11473eb0187, 0x3feea589994cce13,
    0x3feeace5422aa0db, 0x3feeb737b0cdc5e5, 0x3feec49182a3f090, 0x3feed503b23e255d, 0x3feee89f995ad3ad,
    0x3feeff76f2fb5e47, 0x3fef199bdd85529c, 0x3fef3720dcef9069, 0x3fef5818dcfba487, 0x3fef7c97337b9b5f,
    0x3fefa4afa2a490da, 0x3fefd0765b6e4540,
};
inline constexpr double shift = 0x1.8p+52 / 32;
inline constexpr double exp2_poly[3] = {0x1.c6af84b912394p-5, 0x1.ebfce50fac4f3p-3, 0x1.62e42ff0c52d6p-1};
}  // namespace powf_data

// Whether the exponent is one the replica follows: not zero, infinite or NaN (those take the
// libm's early branches for every base).
inline bool powf_exponent_in_range(float y) {
    const std::uint32_t iy = std::bit_cast<std::uint32_t>(y);
    return 2 * iy - 1 < 2u * 0x7f800000 - 1;
}

// powf(x, y) per lane for an exponent in range; bases that are negative, infinite or NaN and
// results beyond 2^126 in either direction are marked special. +0 under a positive exponent
// gives +0 as the libm's zero branch does.
template <class V, class T = LaneTypes<kLanes<V>>, class F = typename T::F, class D = typename T::D,
          class I = typename T::I, class U = typename T::U, class UL = typename T::UL, class L = typename T::L>
VOREL_INLINE V powf_lanes(V v, float y, I& special) {
    const F x = to_lanes(v);
    U ix = bits<U>(x);
    const I zero = ix == 0u;
    special = ix >= 0x7f800000u;
    if (y < 0.0f) special |= zero;
    // Subnormal bases are normalised, leaving a negative biased exponent for the table step.
    const I sub = ix < 0x00800000u;
    const U scaled = (bits<U>(x * splat<F>(0x1p23f)) & 0x7fffffffu) - (23u << 23);
    ix = select(sub, scaled, ix);

    // log2(x) = log1p(z/c - 1)/ln2 + log2(c) + k.
    const U tmp = ix - 0x3f330000u;
    const I i = bits<I>((tmp >> 19) & 15u);
    const U top = tmp & 0xff800000u;
    const U iz = ix - top;
    const I k = bits<I>(top) >> 23;
    const D invc = lookup16<D>(logf_data::invc, i);
    const D logc = lookup16<D>(powf_data::logc, i);
    const D z = convert<D>(bits<F>(iz));
    const D r = simd::fma(z, invc, splat<D>(-1.0));
    const D y0 = logc + convert<D>(k);
    const D r2 = r * r;
    D p0 = simd::fma(splat<D>(powf_data::log2_poly[0]), r, splat<D>(powf_data::log2_poly[1]));
    const D p1 = simd::fma(splat<D>(powf_data::log2_poly[2]), r, splat<D>(powf_data::log2_poly[3]));
    const D r4 = r2 * r2;
    D q = simd::fma(splat<D>(powf_data::log2_poly[4]), r, y0);
    q = simd::fma(p1, r2, q);
    const D logx = simd::fma(p0, r4, q);
    const D ylogx = splat<D>(static_cast<double>(y)) * logx;
    // |y log2 x| >= 126: overflow, underflow and their rounding checks stay with the libm.
    // The top 16 bits below the sign against those of 126, compared in int32 lanes.
    const I top16 = convert<I>(bits<L>((bits<UL>(ylogx) >> 47) & 0xffffu));
    special |= less(0x80be, top16);

    // 2^t = 2^(k/32) 2^r with r in [-1/64, 1/64].
    D kd = ylogx + splat<D>(powf_data::shift);
    const UL ki = bits<UL>(kd);
    kd -= splat<D>(powf_data::shift);
    const D rr = ylogx - kd;
    const I j = convert<I>(ki & 31u);
    const UL low_half = lookup16<UL>(powf_data::exp2_tab, j & 15);
    const UL high_half = lookup16<UL>(powf_data::exp2_tab + 16, j & 15);
    const UL t = select(convert<L>(less(j, 16)), low_half, high_half) + (ki << 47);
    const D s = bits<D>(t);
    const D zz = simd::fma(splat<D>(powf_data::exp2_poly[0]), rr, splat<D>(powf_data::exp2_poly[1]));
    const D rr2 = rr * rr;
    D e = simd::fma(splat<D>(powf_data::exp2_poly[2]), rr, splat<D>(1.0));
    e = simd::fma(zz, rr2, e);
    e = e * s;
    const F out = convert<F>(e);
    return from_lanes<V>(select(zero, splat<F>(0.0f), out));
}

}  // namespace vorel::audio::simd::math
