// Lengths that are not powers of two between caller buffers, one transform in vector lanes:
// every output is the plain path's sum, term by term in the same order with the same entries.
#pragma once

#include <cstddef>
#include <vector>

#include "simd/isa.h"

namespace vorel::audio {

// n real samples or n interleaved complex elements at src to 2 n floats at dst, the inverse
// divided by n, with the FftTable value of n; src and dst may be one buffer. Returns false and
// touches nothing when n has no plan at this level (scalar has none): the plain path then runs.
bool general_transform_to(float* dst, const float* src, bool real_input, std::size_t n, const std::vector<float>& table,
                          bool inverse, simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio
