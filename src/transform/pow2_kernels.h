// The power-of-two transform from n = 16 on with butterflies in vector lanes (the split
// layout of pow2_stages.h), built for each instruction-set level above scalar.
#pragma once

#include <cstddef>
#include <vector>

#include "simd/isa.h"

namespace vorel::audio {

// Whether the input of a transform is n real samples or n interleaved complex elements.
enum class Pow2Input { real, interleaved };

// Power of two n between caller buffers, through 2 n floats of scratch (the caller's, or its
// own when `scratch` is null: on the stack up to n = 1024, else allocated): src read as `input`
// says, to 2 n floats of spectrum, divided by n when inverse. src is read whole before dst is
// written, so the two may be one buffer. The scalar level runs the plain path on a copy.
void pow2_transform_to(float* dst, const float* src, Pow2Input input, std::size_t n, const std::vector<float>& table,
                       bool inverse, simd::Isa isa = simd::best_isa(), float* scratch = nullptr);

}  // namespace vorel::audio
