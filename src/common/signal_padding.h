// Signal padding: the fillers that copy a stretch of a signal into a buffer, extending it past
// its ends by reflection, zeros, repetition of the edge or point reflection through it. Frames
// of the short-time transforms, the zero-phase filter's extended signal and the silence
// detector's windows are all cut with them.
#pragma once

#include <vector>

namespace vorel::audio {

// The fillers write all of dst, element i from padded position start + i, where the signal's
// sample 0 stands at position pad. Past the ends they mirror (reflect), write 0 (zeros_padded),
// repeat the edge (constant) or point-reflect through the edge (odd).
// A mirrored index folds again while it lies outside the signal, so that nothing outside src is
// ever read, however short the signal.
void extract_segment_sample_center_reflect(std::vector<float>& dst, const float* src, int src_n, int start, int pad);
void extract_segment_sample_center_zeros_padded(std::vector<float>& dst, const float* src, int src_n, int start,
                                                int pad);
void extract_segment_sample_center_constant(std::vector<float>& dst, const float* src, int src_n, int start, int pad);
void extract_segment_sample_center_odd(std::vector<float>& dst, const float* src, int src_n, int start, int pad);

}  // namespace vorel::audio
