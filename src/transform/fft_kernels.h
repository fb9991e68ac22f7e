// The stages behind fft and ifft, open to the tests that pin each of them to the bit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "transform/pow2_kernels.h"

namespace vorel::audio {

// Radix-4 with a radix-2 tail and bit reversal, for powers of two, on the fastest kernel the
// CPU runs; each vector lane does the scalar operations.
void fft_pow2(std::vector<float>& data, int n, const std::vector<float>& table);
// The same with the inverse butterfly and table, then every float divided by float(n).
void ifft_pow2(std::vector<float>& data, int n, const std::vector<float>& table);

// The same in place on 2 n interleaved floats, with a given kernel (plain: scalar columns).
void pow2_transform(float* d, std::size_t n, const std::vector<float>& table, bool inverse, Pow2Kernel kernel);

// Power of two n >= 16 between caller buffers through aligned scratch: n real samples to
// 2 n floats of spectrum, or 2 n complex floats to their inverse divided by n. src is read
// whole before dst is written, so the two may be one buffer.
void fft_pow2_real_to(float* dst, const float* src, std::size_t n, const std::vector<float>& table);
void ifft_pow2_to(float* dst, const float* src, std::size_t n, const std::vector<float>& table);

// One column of radix-4 butterflies, i = start, start + size, ... below n, with the 12
// twiddle floats at table_pos. Plain scalar code: the measure of the vectorised stages.
void fft_pow2_core(std::vector<float>& data, int n, int start, int size, int quarter,
                   const std::vector<float>& table, std::size_t table_pos);
void ifft_pow2_core(std::vector<float>& data, int n, int start, int size, int quarter,
                    const std::vector<float>& table, std::size_t table_pos);

// (a, b) -> (a + b, a - b) on each pair of neighbouring complex elements.
void fft_pow2_merge(std::vector<float>& data, int n);

// The 32 bits of x in reverse order.
inline std::uint32_t reverse_bits(std::uint32_t x) {
    x = ((x >> 1) & 0x55555555u) | ((x & 0x55555555u) << 1);
    x = ((x >> 2) & 0x33333333u) | ((x & 0x33333333u) << 2);
    x = ((x >> 4) & 0x0F0F0F0Fu) | ((x & 0x0F0F0F0Fu) << 4);
    return __builtin_bswap32(x);
}

// Swaps complex elements i and bit-reversed i, for a power of two n.
void bit_reverse(float* data, std::size_t n);
// The same permutation for n >= 16 read from the split layout at `from` and written
// interleaved to `to` (which may be `from`), every float divided by float(n) when `divide`.
void bit_reverse_split(const float* from, float* to, std::size_t n, bool divide);

// Every float divided by float(n): the scaling of the inverse transforms.
void divide_by_length(float* data, std::size_t n);

// Mixed radix for any length: factors found while the data is decimated, direct DFTs on
// the leaf blocks, then one combine step per factor. `tmp` is resized to 2 * n floats.
void fft_general(std::vector<float>& data, int n, const std::vector<float>& table);
void fft_general(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& tmp);

// Direct DFT of block_n consecutive blocks of n / block_n elements, with table entries
// block_n * (m * k mod L). `scratch` is resized to 2 * n floats.
void dft_sub(std::vector<float>& data, int n, int block_n, const std::vector<float>& table);
void dft_sub(std::vector<float>& data, int n, int block_n, const std::vector<float>& table,
             std::vector<float>& scratch);

}  // namespace vorel::audio
