// Frame counts and the cutting of one analysis frame out of a signal.
#pragma once

#include <cstdint>
#include <vector>

#include "common/signal_padding.h"

namespace vorel::audio {

// Frames of fft_n samples, hop_n apart, in 32-bit float arithmetic as the count is defined.
// A signal shorter than fft_n gives 0 in every mode, and so does hop_n = 0 (no meaningful
// count exists; 0 keeps every caller from looping or allocating without bound).
int get_frame_len(int sample_n, int fft_n, int hop_n, int center);

// One frame of seg.size() samples at signal position pos: centred on pos (size / 2 before it)
// and padded by reflection or zeros with centring, else starting at pos with zeros past the end
// (a float frame count can reach one frame beyond a signal longer than 2^24 samples).
void cut_frame(std::vector<float>& seg, const float* src, int sample_n, int64_t pos, int center);

// The frame cut_frame gives: in place in src when wholly inside the signal, else cut into seg.
const float* frame_at(std::vector<float>& seg, const float* src, int sample_n, int64_t pos, int center);

}  // namespace vorel::audio
