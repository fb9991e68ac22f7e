// The norm of complex values raised to a power, each operation rounded to float on its own.
#pragma once

#include <cstddef>

#include "simd/isa.h"

namespace vorel::audio {

// dst[i] = powf(re*re + im*im, power * 0.5f) of the pair (re, im) = (src[2i], src[2i + 1]) for
// i < n, by the replica of powf of level `isa` when its guard passed, else by powf. dst must not
// overlap src.
void complex_norm_array(float* dst, const float* src, std::size_t n, float power, simd::Isa isa = simd::best_isa());

// In place over n interleaved pairs: each pair becomes (norm, +0.0).
void complex_norm_pairs(float* data, std::size_t n, float power, simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio
