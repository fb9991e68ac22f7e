// Frame counts and the fillers that cut a frame out of a signal, padding past its ends.
#pragma once

#include <cstdint>
#include <vector>

namespace vorel::audio {

// Frames of fft_n samples, hop_n apart, in 32-bit float arithmetic as the count is defined.
// A signal shorter than fft_n gives 0 in every mode, and so does hop_n = 0 (no meaningful
// count exists; 0 keeps every caller from looping or allocating without bound).
int get_frame_len(int sample_n, int fft_n, int hop_n, int center);

// The fillers write all of dst, element i from padded position start + i, where the signal's
// sample 0 stands at position pad. Past the ends they mirror (reflect), write 0 (zeros_padded),
// repeat the edge (constant) or point-reflect through the edge (odd).
// A mirrored index folds again while it lies outside the signal, so that nothing outside src is
// ever read, however short the signal.
void extract_segment_sample_center_reflect(std::vector<float>& dst, const float* src, int src_n,
                                           int start, int pad);
void extract_segment_sample_center_zeros_padded(std::vector<float>& dst, const float* src,
                                                int src_n, int start, int pad);
void extract_segment_sample_center_constant(std::vector<float>& dst, const float* src, int src_n,
                                            int start, int pad);
void extract_segment_sample_center_odd(std::vector<float>& dst, const float* src, int src_n,
                                       int start, int pad);

// One analysis frame of seg.size() samples at signal position pos. With center 1 or 2 the
// frame is centred on sample pos (half = size / 2 before it), padded past the ends by
// reflection (1) or zeros (2). Otherwise it starts at sample pos, and samples past the end of
// src read as 0: a single-precision frame count can reach one frame beyond the signal when it
// is longer than 2^24 samples.
void cut_frame(std::vector<float>& seg, const float* src, int sample_n, int64_t pos, int center);

// The frame cut_frame would give, as a pointer into src when it lies wholly inside the signal
// (no padding or zeros needed), else null.
const float* frame_inside(const float* src, int sample_n, std::size_t size, int64_t pos, int center);

}  // namespace vorel::audio
