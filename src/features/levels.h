// Elementwise level conversions of float buffers: decibels against a reference, standardisation
// and log1p. All arithmetic is 32-bit float, each operation rounded on its own.
#pragma once

#include "simd/isa.h"

namespace vorel::audio {

// Smallest power a level is taken of; lower values, negatives and NaN are raised to it.
inline constexpr float power_floor = 1e-10f;
// Scale used in place of 1 / deviation when the deviation is exactly zero.
inline constexpr float zero_deviation_scale = 1e16f;

// 10 log10(max(x, floor)) - 10 log10(ref): two separate products, subtracted last. The floor
// applies to x only; ref is taken as it is.
float power_to_db(float x, float ref);

// The largest element of src[0..n), found by a scan that replaces the running maximum only
// when it is less than the next element: NaN elements are skipped, but a NaN src[0] stays. Lanes
// of level `isa` give the same value, up to the sign of a zero maximum.
float scan_maximum(const float* src, int n, simd::Isa isa = simd::best_isa());

// dst[i] = power_to_db(src[i], max(maximum, floor)), then, when top_db >= 0, every result
// below -top_db is raised to it, in one pass (lanes of the log10f replica at `isa` when its
// guard passed). dst may be src.
void convert_power_to_db(float* dst, const float* src, int n, float top_db, simd::Isa isa = simd::best_isa());

// (x - mean) / deviation with both sums taken in one ascending float pass and the variance as
// mean of squares minus squared mean (divided by n). dst may be src.
void standardize(float* dst, const float* src, int n);

// dst[i] = log1pf(src[i]). dst may be src.
void log1p_elements(float* dst, const float* src, int n, simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio
