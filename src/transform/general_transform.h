// Lengths that are not powers of two between caller buffers, one transform at a time in
// vector lanes through its per-length plan. Every output is the plain path's
// sum, term by term in the same order with the same table entries; only how many outputs are
// computed at once differs.
#pragma once

#include <cstddef>
#include <vector>

#include "simd/isa.h"

namespace vorel::audio {

// n real samples (real_input) or n interleaved complex elements at `src` to 2 n floats at
// `dst`, the inverse divided by n; `table` is the FftTable value of n in the direction asked
// for. src is read whole before dst is written, so they may share a buffer. Returns false and
// touches nothing when n has no plan at this level (the scalar level has none): the caller then
// takes the plain path.
bool general_transform_to(float* dst, const float* src, bool real_input, std::size_t n, const std::vector<float>& table,
                          bool inverse, simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio
