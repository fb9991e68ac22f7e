// In-place single-precision transforms over interleaved complex buffers (2 * n floats).
#pragma once

#include <vector>

namespace vorel::audio {

bool is_pow2(int n);

// Real samples to an interleaved complex buffer: src[k] at 2k, 0 at 2k + 1.
void fft_pre_process(std::vector<float>& data, const float* src, int n);

// Forward transform in place with the forward table of FftTable for n.
void fft(std::vector<float>& data, int n, const std::vector<float>& table);
// Inverse transform in place with the inverse table for n, scaled by 1/n (a division).
void ifft(std::vector<float>& data, int n, const std::vector<float>& table);

}  // namespace vorel::audio
