// The norm of complex values raised to a power, each operation rounded to float on its own.
#pragma once

#include <cstddef>
#include <vector>

#include "simd/isa.h"

namespace vorel::audio {

// dst[i] = powf(re*re + im*im, power * 0.5f) of the pair (re, im) = (src[2i], src[2i + 1]) for
// i < n, by the replica of powf of level `isa` when its guard passed, else by powf. dst must not
// overlap src.
void complex_norm_array(float* dst, const float* src, std::size_t n, float power, simd::Isa isa = simd::best_isa());

// In place over n interleaved pairs: each pair becomes (norm, +0.0).
void complex_norm_pairs(float* data, std::size_t n, float power, simd::Isa isa = simd::best_isa());

// The named vector forms at the best level: the norms of the first dst.size() values of src (src
// may be longer), and in place over an interleaved spectrum.
void complex_norm_1d(std::vector<float>& dst, const std::vector<float>& src, float power);
void complex_norm_1d(std::vector<float>& comp, float power);

}  // namespace vorel::audio
