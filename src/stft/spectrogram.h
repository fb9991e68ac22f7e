// Short-time Fourier transform: one frame, and the loop storing each spectrum's lower half.
#pragma once

#include <vector>

#include "common/working_set.h"
#include "simd/isa.h"

namespace vorel::audio {

// The checks the spectrogram and the mel spectrogram share, in their order (fft_n to power).
void require_stft_arguments(int fft_n, int hop_n, int win_n, int win_type, int max_frame_n, int center, float power);

// min(get_frame_len(...), max_frame_n), and without centring never more than the frames wholly
// inside the signal (the float count can round past them beyond 2^24 samples).
int stft_frame_len(int sample_n, int fft_n, int hop_n, int center, int max_frame_n);

// Fills the first stft_frame_len(...) columns of dst (fft_n/2 + 1 rows of max_frame_n cells of
// two floats). Expects win_n <= fft_n + 1 (the caller checks). Full groups of frames run in the
// lanes of `isa`. All scratch is allocated before the first cell is written.
void spectrogram(float* dst, const float* src, int sample_n, int fft_n, int hop_n, int win_n, int win_type,
                 int max_frame_n, int center, float power, int norm_type, simd::Isa isa = simd::best_isa());

// The per-frame scratch of stft_core: segment, spectrum and the transform's scratch.
struct StftScratch {
    VectorPart seg, comp, fft;
    static StftScratch declare(WorkingSet& ws, std::size_t n);
};

// seg (fft_n real samples, windowed in place) -> comp (fft_n complex bins), scaled by the factor
// of norm_type. `scratch` serves the transform, so that a frame loop allocates once.
void stft_core(std::vector<float>& comp, std::vector<float>& seg, int fft_n, const std::vector<float>& fft_table,
               const std::vector<float>& window, int norm_type, std::vector<float>& scratch);

// torch: 1/sqrt of the window squares summed in order, scipy: 2/fft_n, none: 1.
float stft_norm_factor(int norm_type, int fft_n, const std::vector<float>& window);
void scale_stft_torch(std::vector<float>& comp, const std::vector<float>& window);
void scale_stft_scipy(std::vector<float>& comp, int fft_n);

}  // namespace vorel::audio
