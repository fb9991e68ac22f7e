// The stages behind fft and ifft, open to the tests that pin each of them to the bit.
#pragma once

#include <cstddef>
#include <vector>

namespace vorel::audio {

// Radix-4 with a radix-2 tail and bit reversal, for powers of two. The radix-4 stages run
// four butterflies per vector once n reaches 16; each lane does the scalar operations.
void fft_pow2(std::vector<float>& data, int n, const std::vector<float>& table);
// The same with the inverse butterfly and table, then every float divided by float(n).
void ifft_pow2(std::vector<float>& data, int n, const std::vector<float>& table);

// One column of radix-4 butterflies, i = start, start + size, ... below n, with the 12
// twiddle floats at table_pos. Plain scalar code: the measure of the vectorised stages.
void fft_pow2_core(std::vector<float>& data, int n, int start, int size, int quarter,
                   const std::vector<float>& table, std::size_t table_pos);
void ifft_pow2_core(std::vector<float>& data, int n, int start, int size, int quarter,
                    const std::vector<float>& table, std::size_t table_pos);

// (a, b) -> (a + b, a - b) on each pair of neighbouring complex elements.
void fft_pow2_merge(std::vector<float>& data, int n);

// Swaps complex elements i and bit-reversed i, for a power of two n.
void bit_reverse(float* data, std::size_t n);
// The same permutation for n >= 16 held in groups of four complex elements (four real
// parts, then four imaginary parts), writing the interleaved layout.
void bit_reverse_split(float* data, std::size_t n);

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
