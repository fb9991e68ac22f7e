// Fitting a real spectrogram of freq_n rows to a given number of frames.
#pragma once

namespace vorel::audio {

// Row f of dst (dst_frame_n values) gets the first min(dst_frame_n, src_frame_n) values of row
// f of src (src_frame_n values), then pad_value up to its end. dst and src must not overlap.
void fix_frame_len(float* dst, const float* src, int freq_n, int dst_frame_n, int src_frame_n, float pad_value);

}  // namespace vorel::audio
