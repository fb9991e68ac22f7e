// The transform core on interleaved complex buffers (2 n floats): the forward and inverse
// transforms and their named steps. Powers of two take radix-4 stages, a radix-2 pass and a
// bit reversal; every other length the mixed-radix transform with direct DFTs at its leaves.
#pragma once

#include <cstddef>
#include <vector>

namespace vorel::audio {

bool is_pow2(int n);

// Real samples to an interleaved complex buffer: src[k] at 2k, 0 at 2k + 1.
void fft_pre_process(std::vector<float>& data, const float* src, int n);

// Forward transform in place with the forward table of FftTable for n; the inverse with the
// inverse table, then divided by n. A caller transforming frame after frame passes its own
// scratch (grown to 2 n floats) and so allocates once.
void fft(std::vector<float>& data, int n, const std::vector<float>& table);
void ifft(std::vector<float>& data, int n, const std::vector<float>& table);
void fft(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& scratch);
void ifft(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& scratch);

// The power-of-two transforms that fft and ifft select (n a power of two).
void fft_pow2(std::vector<float>& data, int n, const std::vector<float>& table);
void ifft_pow2(std::vector<float>& data, int n, const std::vector<float>& table);

// Bytes a transform of length n needs besides its own data: the table of one direction and
// 2 n floats of scratch.
std::size_t fft_work_bytes(int n);

// One column of radix-4 butterflies, i = start, start + size, ... below n, with the 12
// twiddle floats at table_pos.
void fft_pow2_core(std::vector<float>& data, int n, int start, int size, int quarter, const std::vector<float>& table,
                   std::size_t table_pos);
void ifft_pow2_core(std::vector<float>& data, int n, int start, int size, int quarter, const std::vector<float>& table,
                    std::size_t table_pos);

// (a, b) -> (a + b, a - b) on each pair of neighbouring complex elements.
void fft_pow2_merge(std::vector<float>& data, int n);

// Swaps complex elements k and reversed k, n a power of two; only elements move.
void bit_reverse(float* data, std::size_t n);

// Every float of 2 n divided by float(n): the scaling of the inverse transforms.
void divide_by_length(float* data, std::size_t n);

// Mixed radix: factors found while the data is decimated, direct DFTs on the leaf blocks,
// then one combine step per factor; `tmp` (grown to 2 n floats) is the caller's or made here.
void fft_general(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>* tmp = nullptr);

// Direct DFT of block_n consecutive blocks of n / block_n elements, with table entries
// block_n * (m * k mod L).
void dft_sub(std::vector<float>& data, int n, int block_n, const std::vector<float>& table);

}  // namespace vorel::audio
