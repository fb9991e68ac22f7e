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

// The radix-4 stages of a power of two n >= 16 held in the split layout (groups of four real
// parts then four imaginary parts), in place; the radix-2 pass and the bit reversal remain. `cols` are the column twiddles of n, `table` its FftTable rows, both of
// the direction asked for. `kernel` must run here; plain runs as sse2.
void pow2_split_stages(float* d, std::size_t n, const float* table, const float* cols, bool inverse,
                       Pow2Kernel kernel);

}  // namespace vorel::audio
