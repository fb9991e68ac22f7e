// Mel spectrograms, and a filter bank applied to an existing real spectrogram.
#pragma once

#include <cstddef>
#include <vector>

#include "mel/mel_filter_bank.h"
#include "simd/isa.h"

namespace vorel::audio {

// dst[m * F + t], F = min(max_frame_n, frame count). Without a frame nothing is made or written;
// otherwise all scratch is made before the first value. Full groups of frames run in lanes.
void mel_spectrogram(float* dst, const float* src, int sample_n, int sample_rate, int fft_n, int hop_n, int win_n,
                     int win_type, int max_frame_n, int center, float power, int fft_norm_type, float f_min,
                     float f_max, int mel_n, int mel_norm, int mel_formula, simd::Isa isa = simd::best_isa());

// band[m] = sum over j ascending of fb[m][j] * magnitude[j], left to right from +0.0: the band
// sums of one frame, as the frame loops form them.
void convert_freq_to_mel_1d(std::vector<float>& band, const std::vector<float>& magnitude, const MelMatrix& fb,
                            int mel_n);

// The columns [begin, end) of a row outside which every weight compares equal to 0.
struct BandSpan {
    std::size_t begin;
    std::size_t end;
};
std::vector<BandSpan> band_spans(const float* fb, std::size_t mel_n, std::size_t freq_n);

// dst[m * frame_n + t] = sum over k ascending of src[k * frame_n + t] * mel_fb[m * freq_n + k],
// left to right from +0.0. dst must not overlap src or mel_fb.
void convert_freq_to_mel_2d(float* dst, const float* src, const float* mel_fb, int freq_n, int frame_n, int mel_n);

}  // namespace vorel::audio
