// powf(x, 0.5f) by the square root where the two provably agree. The libm's powf rounds a
// double approximation of x^0.5 whose error, over every float, never carried a result across a
// rounding midpoint unless the true root lay within 0.0016 of a gap from that midpoint (the
// exhaustive checker in tools/ measures this and proves both rules below, the general one over
// every float and the one for sums of squares over every non-negative float).
// So where the true root lies at least 0.002 of a gap from the midpoint, powf rounds to the
// nearest float, which is sqrtf(x); only the lanes nearer a midpoint (0.4 % of the norms of
// random complex values) need powf itself.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "simd/math/lanes.h"
#include "simd/math/powf.h"

namespace vorel::audio::simd::math {

// sqrtf(x) per lane, for x >= +0, +inf or NaN (the sums of squares of the complex norm). Lanes
// whose root lies near a rounding midpoint, and tiny, infinite and NaN bases, are marked special:
// powf answers those. Needs FMA: the residual x - f*f is formed exactly by one fused step.
//
// Why the test is safe: with f = sqrtf(x) and r = x - f*f (exact in float for x above 2^-100),
// the true root t satisfies t - f = r / (t + f) with t + f >= 2f(1 - 2^-24). With g = f - prev(f),
// at most the gap on either side of f, |r| <= 0.996 g f gives |t - f| <= 0.49801 g: the root is at
// least 0.00199 of a gap away from the midpoint.
template <class V, class T = LaneTypes<kLanes<V>>, class F = typename T::F, class I = typename T::I,
          class U = typename T::U>
VOREL_INLINE V powf_half_by_sqrt(V v, I& special) {
    const F x = to_lanes(v);
    const F f = to_lanes(simd::sqrt(v));
    const F r = simd::fma(-f, f, x);
    // Bit arithmetic in unsigned lanes: it wraps where a lane is special anyway (-0, NaN).
    const F gap = f - bits<F>(bits<U>(f) - 1u);
    const F abs_r = bits<F>(bits<U>(r) & 0x7fffffffu);
    // Bases from 2^-100 up to the largest float, as one unsigned range test (negative bases,
    // -0 included, +inf and NaN fall outside); +0 (the bits) gives +0 either way.
    const U hx = bits<U>(x);
    const I in_range = hx - 0x0d800000u < 0x7f800000u - 0x0d800000u;
    const I zero = hx == 0u;
    // In range, both sides are non-negative floats, whose bit patterns order as they do and
    // differ by less than 2^31: the sign of the difference is the comparison. (GCC keeps this in
    // vectors where it splits a float comparison into lanes.)
    const U limit = bits<U>(splat<F>(0.996f) * (gap * f));
    const I near_midpoint = bits<I>(limit - bits<U>(abs_r)) >> 31;
    special = ~zero & (~in_range | near_midpoint);
    return from_lanes<V>(f);
}

#if !defined(__clang__)
// The rule at 16 lanes for sums of squares (+0, positive floats, +inf, NaN of either sign; never
// -0, whose root -0 is not powf's +0), with the test in one mask register. g is the gap above f:
// where f is a power of two the root lies above it (a base below f*f has a root below the
// midpoint under f), and elsewhere both gaps are g. g f = (f 2^53) 2^(e - 76) for f = m 2^e, the
// second factor made from f's exponent field less 76: a power of two from f = 2^-50 (x = 2^-100)
// on, +0 one binade lower (where r is still exact: only exact squares pass, whose root is f), and
// a negative float or -inf below (tiny and subnormal bases are special). So limit <= 0.996 (1 +
// 2^-24) g f and the argument above holds. The comparison is false for a NaN r (NaN, +inf and
// negative bases), and for a zero base f = r = +0 and limit = +0 * (negative) = -0 compare equal:
// +0 is not special. Returns f, or x where the lane is special.
VOREL_INLINE LaneTypes<16>::F powf_half_sums16(LaneTypes<16>::F x, std::uint32_t& special) {
    using F = LaneTypes<16>::F;
    using I = LaneTypes<16>::I;
    const F f = simd::sqrt(x);
    const F r = simd::fma(-f, f, x);
    const F abs_r = bits<F>(bits<I>(r) & 0x7fffffff);
    const F scale = bits<F>((bits<I>(f) & 0x7f800000) - (76 << 23));
    const F limit = f * splat<F>(0.996f * 0x1p53f) * scale;
    // Named builtins: they build inside generic templates, where the intrinsics do not inline.
    special = __builtin_ia32_cmpps512_mask(abs_r, limit, _CMP_NLE_UQ, 0xffff, _MM_FROUND_CUR_DIRECTION);
    return __builtin_ia32_movaps512_mask(x, f, static_cast<__mmask16>(special));
}
#endif

// The rule over sums of squares (see powf_half_sums16): each lane's root, or its sum where the
// lane is special, and the special lanes as bits.
template <class V>
VOREL_INLINE V powf_half_sums(V sq, std::uint32_t& special_bits) {
#if !defined(__clang__)
    if constexpr (kLanes<V> == 16) {
        return from_lanes<V>(powf_half_sums16(to_lanes(sq), special_bits));
    } else
#endif
    {
        typename LaneTypes<kLanes<V>>::I special;
        const V r = powf_half_by_sqrt(sq, special);
        special_bits = lane_bits(special);
        return from_lanes<V>(select(special, to_lanes(sq), to_lanes(r)));
    }
}

// The same over the kLanes<V> sums from `in` on, into `out`; returns the special lanes as bits.
// Pointers only: clang rejects 512-bit vectors passed between a target-attributed caller and a
// generic helper.
template <class V>
VOREL_INLINE std::uint32_t powf_half_sums_at(const float* in, float* out) {
    std::uint32_t special;
    store(out, powf_half_sums(load<V>(in), special));
    return special;
}

// base[stride (W k + l)] = powf(base[stride (W k + l)], exponent) for every set bit l of
// masks[k], k < m <= kBlock, W = kLanes<V>: the elements the square root leaves to powf, a vector
// at a time through the powf replica (16 of them cost about one call); lanes it does not follow
// call powf itself. masks as for_each_lane_bit takes them. Needs the replica's guard to have
// passed and the exponent in its range.
template <class V, std::size_t kBlock>
VOREL_INLINE void powf_at(float* base, std::size_t stride, std::uint32_t* masks, std::size_t m, float exponent) {
    constexpr std::size_t W = kLanes<V>;
    using T = LaneTypes<W>;
    std::uint32_t offsets[kBlock * W];
    std::size_t count = 0;
    for_each_lane_bit<W>(masks, m, [&](std::size_t k, std::size_t l) {
        offsets[count++] = static_cast<std::uint32_t>(stride * (W * k + l));
    });
    for (std::size_t j0 = 0; j0 < count; j0 += W) {
        const std::size_t w = std::min(W, count - j0);
        typename T::F x = splat<typename T::F>(1.0f);  // unused lanes raise 1
        for (std::size_t j = 0; j < w; ++j) x[j] = base[offsets[j0 + j]];
        typename T::I special;
        const typename T::F r = to_lanes(powf_lanes(from_lanes<V>(x), exponent, special));
        for (std::size_t j = 0; j < w; ++j) base[offsets[j0 + j]] = special[j] ? powf(x[j], exponent) : r[j];
    }
}

// Whether powf(x, 0.5f) equals the shortcut on this libm: checked once, on a fixed set of bases
// (powers of two and their neighbours, roots near midpoints, the bases where powf and sqrtf part,
// a pseudo-random spread), with the shortcut's own replica build. False under the test hook that
// fails every guard.
bool powf_half_is_sqrt();

// 0.5f as a value the compiler cannot see: GCC's vectorizer turns a loop of powf(x, 0.5f) into
// square roots (even without fast-math), which differ from powf at -0, -inf and near midpoints.
float half_exponent();

}  // namespace vorel::audio::simd::math
