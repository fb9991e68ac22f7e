// Transforms between caller buffers, the work of the two exported transform functions.
#pragma once

namespace vorel::audio {

// n real samples to 2 * n floats of spectrum, all bins, unscaled. src is read whole before
// dst is written, so the two may share a buffer of 2 * n floats.
void fft_into(float* dst, const float* src, int n);

// 2 * n floats of spectrum to 2 * n floats of complex signal, divided by n. src may be dst.
void ifft_into(float* dst, const float* src, int n);

}  // namespace vorel::audio
