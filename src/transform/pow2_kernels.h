// The power-of-two transform from n = 16 on with butterflies in vector lanes (the split
// layout of pow2_stages.h), built for each instruction-set level above scalar.
#pragma once

#include <cstddef>
#include <vector>

#include "simd/isa.h"

namespace vorel::audio {

// Whether the input of a transform is n real samples or n interleaved complex elements.
enum class Pow2Input { real, interleaved };

// The transform of a power of two n >= 16 from `src` (read as `input` says) through the
// scratch d of 2 n floats, to `to`, interleaved and in natural order, divided by n when
// inverse. d is apart from both, `to` may be src. `table` is the FftTable
// value of n in the direction asked for. `isa` must run here and be above scalar.
void pow2_split_transform(const float* src, Pow2Input input, float* d, float* to, std::size_t n,
                          const std::vector<float>& table, bool inverse, simd::Isa isa);

// Power of two n between caller buffers, through scratch of its own: src read as `input`
// says, to 2 n floats of spectrum, divided by n when inverse. src is read whole before dst is
// written, so the two may be one buffer. The scalar level runs the plain path on a copy.
void pow2_transform_to(float* dst, const float* src, Pow2Input input, std::size_t n, const std::vector<float>& table,
                       bool inverse, simd::Isa isa = simd::best_isa());
// The same for n real samples forward, and for 2 n complex floats inverse.
void fft_pow2_real_to(float* dst, const float* src, std::size_t n, const std::vector<float>& table,
                      simd::Isa isa = simd::best_isa());
void ifft_pow2_to(float* dst, const float* src, std::size_t n, const std::vector<float>& table,
                  simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio
