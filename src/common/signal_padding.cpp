// The padding fillers: every index is formed in 64 bits and folded into the signal.
#include "common/signal_padding.h"

#include <cstdint>

namespace vorel::audio {

namespace {

// Signal position of padded position start + i, in 64 bits: it can pass INT_MAX.
inline int64_t signal_pos(int start, int pad, std::size_t i) {
    return static_cast<int64_t>(start) + static_cast<int64_t>(i) - pad;
}

inline int64_t clamp_index(int64_t q, int src_n) {
    if (q < 0) return 0;
    if (q >= src_n) return src_n - 1;
    return q;
}

// Mirror of a position into the signal without repeating the end samples, folding until the
// index falls inside; a one-sample signal mirrors to itself.
inline int64_t mirror(int64_t q, int src_n) {
    if (q >= 0 && q < src_n) return q;
    if (src_n == 1) return 0;
    const int64_t period = 2 * static_cast<int64_t>(src_n) - 2;
    q %= period;
    if (q < 0) q += period;
    return q < src_n ? q : period - q;
}

}  // namespace

void extract_segment_sample_center_reflect(std::vector<float>& dst, const float* src, int src_n, int start, int pad) {
    for (std::size_t i = 0; i < dst.size(); ++i) dst[i] = src[mirror(signal_pos(start, pad, i), src_n)];
}

void extract_segment_sample_center_zeros_padded(std::vector<float>& dst, const float* src, int src_n, int start,
                                                int pad) {
    for (std::size_t i = 0; i < dst.size(); ++i) {
        const int64_t q = signal_pos(start, pad, i);
        dst[i] = (q < 0 || q >= src_n) ? 0.0f : src[q];
    }
}

void extract_segment_sample_center_constant(std::vector<float>& dst, const float* src, int src_n, int start, int pad) {
    for (std::size_t i = 0; i < dst.size(); ++i) dst[i] = src[clamp_index(signal_pos(start, pad, i), src_n)];
}

void extract_segment_sample_center_odd(std::vector<float>& dst, const float* src, int src_n, int start, int pad) {
    for (std::size_t i = 0; i < dst.size(); ++i) {
        const int64_t q = signal_pos(start, pad, i);
        if (q >= 0 && q < src_n) {
            dst[i] = src[q];
        } else {
            const float edge = src[clamp_index(q, src_n)];
            dst[i] = (edge + edge) - src[mirror(q, src_n)];
        }
    }
}

}  // namespace vorel::audio
