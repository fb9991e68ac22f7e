// Inverse short-time transform: windowed overlap-add, normalised by the summed window squares.
#pragma once

#include <cstddef>
#include <vector>

#include "simd/isa.h"

namespace vorel::audio {

// (frame_n - 1) * hop_n, plus 2 * freq_n - 2 without centring, wrapped to 32 bits; 0 below one frame.
int get_sample_len(int frame_n, int freq_n, int hop_n, bool center);

// One frame as named steps (the frame loops below do the same operations on the real parts, in
// lanes or one by one): comp (fft_n complex bins) is inverse-transformed in place, windowed into
// frame (placement as apply_window, zeros outside), and scaled by fft_n * 0.5f for norm_type 2;
// norm_type 1 has no inverse factor on purpose.
void istft_core(std::vector<float>& frame, std::vector<float>& comp, int fft_n, const std::vector<float>& fft_table,
                const std::vector<float>& window, int norm_type);
void apply_window_comp(std::vector<float>& frame, const std::vector<float>& comp, const std::vector<float>& window);
void scale_istft_torch(std::vector<float>& frame, const std::vector<float>& window);
void scale_istft_scipy(std::vector<float>& frame, int fft_n);

// src: freq_n rows of frame_n complex cells (row stride frame_n). Writes at most max_sample_n
// samples, never past the signal's end after the centring offset. Expects win_n <= 2 * freq_n
// - 2 (the caller checks). Overlap-add runs in a stretch that slides along the signal, each
// sample stored once final, so dst must not overlap src. Full groups of frames run in the lanes
// of `isa` (scalar: every frame on its own).
void inverse_spectrogram(float* dst, const float* src, int frame_n, int freq_n, int hop_n, int win_n, int win_type,
                         int max_sample_n, int center, int norm_type, simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio
