// Exact vector replicas of the platform libm, over arrays, and the run-time guard that decides
// per function whether they run. A replica runs only after it returned the scalar function's
// bits on a fixed set of inputs at first use (special values, table boundaries, reduction
// thresholds, inputs near rounding ties); any differing bit sends that function to scalar calls
// for the life of the process, so the results are the platform libm's whatever libm it is.
#pragma once

#include <cstddef>

#include "simd/isa.h"

namespace vorel::audio::simd::math {

enum class LibmFn { log10f, log1pf, powf, atan2f, sincosf };
inline constexpr LibmFn kAllLibmFns[] = {LibmFn::log10f, LibmFn::log1pf, LibmFn::powf, LibmFn::atan2f, LibmFn::sincosf};
const char* libm_fn_name(LibmFn fn);

// The level whose replica of fn this process uses when asked for `isa`: the highest level up to
// `isa` with a replica that passed its guard, or Isa::scalar (plain libm calls). Levels without
// a replica (no FMA where the libm fuses) fall to the level below. Guards run once per level.
Isa replica_isa(LibmFn fn, Isa isa = best_isa());

// Runs the guard of fn's replica built for `isa` now (no caching): true when every bit matched.
bool guard_matches(LibmFn fn, Isa isa);

// Test hook: while set, every guard counts as failed and replica_isa answers Isa::scalar.
void force_guard_failure(bool on);

// dst[i] = f(src[i]) by the replica built for `isa` (Isa::scalar: plain calls), whatever the
// guard says; lanes the replica does not follow call the scalar function. dst may be src.
void log10f_array(Isa isa, float* dst, const float* src, std::size_t n);
void log1pf_array(Isa isa, float* dst, const float* src, std::size_t n);
// powf(src[i], y) with one exponent for the whole array.
void powf_array(Isa isa, float* dst, const float* src, std::size_t n, float y);
// powf(src[i], 0.5f) by the square-root rule of powf_half.h where it holds, powf elsewhere.
void powf_half_array(Isa isa, float* dst, const float* src, std::size_t n);
// The outputs of these two must not overlap their inputs.
void atan2f_array(Isa isa, float* dst, const float* y, const float* x, std::size_t n);
// sincosf(src[i], &sin_dst[i], &cos_dst[i]).
void sincosf_array(Isa isa, float* sin_dst, float* cos_dst, const float* src, std::size_t n);

// Whether powf(x, 1.0f) returns x bit for bit on this libm for every float from +0 to +inf and
// the positive quiet NaNs, checked once on a fixed set of patterns against powf itself. When it
// does, a norm raised to power 2 (exponent 1) needs no powf call for a sum re*re + im*im that
// is not NaN: such a sum is never negative. A NaN sum carries the sign of a NaN part, and this
// libm returns a negative NaN with its sign flipped, so NaN sums still go to powf.
bool powf_one_is_identity();

}  // namespace vorel::audio::simd::math
