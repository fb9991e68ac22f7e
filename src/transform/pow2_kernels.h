// Builds of the split-layout radix-4 stages for the instruction sets of x86-64, picked once
// at run time from what the CPU has.
#pragma once

#include <cstddef>

namespace vorel::audio {

// `plain` is the scalar column loop on the interleaved buffer, the reference the vector
// builds are held to; sse2 runs four lanes, avx2 eight and avx512 sixteen.
enum class Pow2Kernel { plain, sse2, avx2, avx512 };
Pow2Kernel best_pow2_kernel();
bool pow2_kernel_runs_here(Pow2Kernel kernel);

// Whether the input of a transform is n real samples or n interleaved complex elements.
enum class Pow2Input { real, interleaved };

// The transform of a power of two n >= 16 from `src` (read as `input` says) through the
// scratch d of 2 n floats, held meanwhile in the split layout (groups of four real parts then
// four imaginary parts), to `to`, interleaved and in natural order, divided by n when
// inverse. d may be src for interleaved input, `to` may be either. `cols` are the column
// twiddles of n, `table` its FftTable rows, both of the direction asked for. `kernel` must
// run here; plain runs as sse2.
void pow2_split_transform(const float* src, Pow2Input input, float* d, float* to, std::size_t n, const float* table,
                          const float* cols, bool inverse, Pow2Kernel kernel);

}  // namespace vorel::audio
