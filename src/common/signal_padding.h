// Signal padding: fillers that copy a stretch of a signal, extended past its ends, into a buffer;
// frames, the zero-phase filter's extended signal and the silence windows are cut with them.
#pragma once

#include <vector>

namespace vorel::audio {

// Each writes all of dst, element i from padded position start + i (sample 0 at position pad).
// Past the ends they mirror (reflect), write 0, repeat the edge (constant) or point-reflect
// through it (odd); a mirrored index folds again until it lies inside, however short the signal.
void extract_segment_sample_center_reflect(std::vector<float>& dst, const float* src, int src_n, int start, int pad);
void extract_segment_sample_center_zeros_padded(std::vector<float>& dst, const float* src, int src_n, int start,
                                                int pad);
void extract_segment_sample_center_constant(std::vector<float>& dst, const float* src, int src_n, int start, int pad);
void extract_segment_sample_center_odd(std::vector<float>& dst, const float* src, int src_n, int start, int pad);

}  // namespace vorel::audio
