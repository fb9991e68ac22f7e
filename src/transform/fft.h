// In-place single-precision transforms over interleaved complex buffers (2 * n floats).
#pragma once

#include <cstddef>
#include <vector>

namespace vorel::audio {

bool is_pow2(int n);

// Real samples to an interleaved complex buffer: src[k] at 2k, 0 at 2k + 1.
void fft_pre_process(std::vector<float>& data, const float* src, int n);

// Forward transform in place with the forward table of FftTable for n.
void fft(std::vector<float>& data, int n, const std::vector<float>& table);
// Inverse transform in place with the inverse table for n, scaled by 1/n (a division).
void ifft(std::vector<float>& data, int n, const std::vector<float>& table);

// The same, with caller-held scratch for lengths that are not powers of two, so that a
// caller transforming frame after frame allocates once. Powers of two never touch it.
void fft(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& scratch);
void ifft(std::vector<float>& data, int n, const std::vector<float>& table, std::vector<float>& scratch);

// Bytes a transform of length n needs besides its own data: the table of one direction and
// the scratch of the mixed-radix path.
std::size_t fft_work_bytes(int n);

}  // namespace vorel::audio
