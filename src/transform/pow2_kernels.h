// The power-of-two transform from n = 16 on with butterflies in vector lanes (the split
// layout of pow2_stages.h), built for each instruction-set level above scalar.
#pragma once

#include <cstddef>
#include <vector>

#include "simd/isa.h"

namespace vorel::audio {

// Whether the input of a transform is n real samples or n interleaved complex elements.
enum class Pow2Input { real, interleaved };

// Power of two n from src (read as `input` says) to 2 n floats at dst, divided by n when
// inverse, through 2 n floats of scratch (the caller's, or its own when null). src is read whole
// before dst is written, so they may be one buffer. The scalar level runs the plain path.
void pow2_transform_to(float* dst, const float* src, Pow2Input input, std::size_t n, const std::vector<float>& table,
                       bool inverse, simd::Isa isa = simd::best_isa(), float* scratch = nullptr);

}  // namespace vorel::audio
