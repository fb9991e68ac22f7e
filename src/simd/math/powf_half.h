// powf(x, 0.5f) by the square root where the two provably agree. The libm's powf rounds a
// double approximation of x^0.5 whose error, over every float, never carried a result across a
// rounding midpoint unless the true root lay within 0.0016 of a gap from that midpoint (the
// exhaustive checker in tools/ measures this and proves the rule below over all 2^31 bases).
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
template <class V>
VOREL_INLINE V powf_half_by_sqrt(V v, typename LaneTypes<kLanes<V>>::I& special) {
    constexpr std::size_t W = kLanes<V>;
    using T = LaneTypes<W>;
    using F = typename T::F;
    using I = typename T::I;
    using U = typename T::U;
    const F x = to_lanes(v);
    const F f = to_lanes(simd::sqrt(v));
    const F r = fused(-f, f, x);
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

// base[offsets[j]] = powf(base[offsets[j]], exponent) for j < count: the elements the square
// root leaves to powf, a vector at a time through the powf replica (16 of them cost about one
// call); lanes it does not follow call powf itself. Needs the replica's guard to have passed and
// the exponent in its range.
template <class V>
VOREL_INLINE void powf_at(float* base, const std::uint32_t* offsets, std::size_t count, float exponent) {
    using T = LaneTypes<kLanes<V>>;
    for (std::size_t j0 = 0; j0 < count; j0 += kLanes<V>) {
        const std::size_t w = std::min(kLanes<V>, count - j0);
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
