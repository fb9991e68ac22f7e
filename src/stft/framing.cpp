// Frame counts and frame fillers.
#include "stft/framing.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace vorel::audio {

int get_frame_len(int sample_n, int fft_n, int hop_n, int center) {
    if (sample_n < fft_n) return 0;
    if (hop_n == 0) return 0;
    const float samples = static_cast<float>(sample_n);
    const float hop = static_cast<float>(hop_n);
    float frames;
    if (center == 2) {
        frames = std::ceil(samples / hop) + 1.0f;
    } else if (center == 1) {
        frames = std::floor(samples / hop + 1.0f);
    } else {
        const float span = static_cast<float>(sample_n - fft_n);
        frames = std::floor(span / hop + 1.0f);
    }
    // The quotient of positive ints stays below 2^31 + 2, and exactly 2^31 rounds there in
    // float; keep the conversion defined.
    if (frames >= 2147483648.0f) return 2147483647;
    return static_cast<int>(frames);
}

namespace {

// Signal position of padded position p, or a flag for "before" / "behind" the signal.
// Positions are formed in 64 bits: start + i can pass INT_MAX for large frames.
inline int64_t signal_pos(int start, int pad, std::size_t i) {
    return static_cast<int64_t>(start) + static_cast<int64_t>(i) - pad;
}

inline int64_t clamp_index(int64_t q, int src_n) {
    if (q < 0) return 0;
    if (q >= src_n) return src_n - 1;
    return q;
}

// Mirror of a position into the signal without repeating the end samples. Reaches up to
// one signal length fold once; longer reaches (a frame wider than a short signal) keep
// folding until the index falls inside, and a one-sample signal mirrors to itself.
inline int64_t mirror(int64_t q, int src_n) {
    if (q >= 0 && q < src_n) return q;
    if (src_n == 1) return 0;
    const int64_t period = 2 * static_cast<int64_t>(src_n) - 2;
    q %= period;
    if (q < 0) q += period;
    return q < src_n ? q : period - q;
}

}  // namespace

void extract_segment_sample_center_reflect(std::vector<float>& dst, const float* src, int src_n,
                                           int start, int pad) {
    for (std::size_t i = 0; i < dst.size(); ++i) dst[i] = src[mirror(signal_pos(start, pad, i), src_n)];
}

void extract_segment_sample_center_zeros_padded(std::vector<float>& dst, const float* src,
                                                int src_n, int start, int pad) {
    for (std::size_t i = 0; i < dst.size(); ++i) {
        const int64_t q = signal_pos(start, pad, i);
        dst[i] = (q < 0 || q >= src_n) ? 0.0f : src[q];
    }
}

void extract_segment_sample_center_constant(std::vector<float>& dst, const float* src, int src_n,
                                            int start, int pad) {
    for (std::size_t i = 0; i < dst.size(); ++i)
        dst[i] = src[clamp_index(signal_pos(start, pad, i), src_n)];
}

void extract_segment_sample_center_odd(std::vector<float>& dst, const float* src, int src_n,
                                       int start, int pad) {
    for (std::size_t i = 0; i < dst.size(); ++i) {
        const int64_t q = signal_pos(start, pad, i);
        if (q < 0) {
            const float edge = src[0] + src[0];
            dst[i] = edge - src[mirror(q, src_n)];
        } else if (q >= src_n) {
            const float edge = src[src_n - 1] + src[src_n - 1];
            dst[i] = edge - src[mirror(q, src_n)];
        } else {
            dst[i] = src[q];
        }
    }
}

const float* frame_inside(const float* src, int sample_n, std::size_t size, int64_t pos, int center) {
    const int64_t first = center == 1 || center == 2 ? pos - static_cast<int64_t>(size / 2) : pos;
    if (first >= 0 && first + static_cast<int64_t>(size) <= sample_n) return src + first;
    return nullptr;
}

void cut_frame(std::vector<float>& seg, const float* src, int sample_n, int64_t pos, int center) {
    if (const float* inside = frame_inside(src, sample_n, seg.size(), pos, center)) {
        std::copy_n(inside, seg.size(), seg.begin());
        return;
    }
    if (center != 1 && center != 2) {
        const int64_t left = std::max<int64_t>(static_cast<int64_t>(sample_n) - pos, 0);
        const std::size_t inside = std::min<std::size_t>(seg.size(), static_cast<std::size_t>(left));
        std::copy_n(src + (inside > 0 ? pos : 0), inside, seg.begin());
        std::fill(seg.begin() + static_cast<std::ptrdiff_t>(inside), seg.end(), 0.0f);
        return;
    }
    // A centred position passes INT_MAX only for signals of about 2^31 samples; the fillers
    // fold any start back into the signal, so saturating keeps every read inside.
    const int at = static_cast<int>(std::min<int64_t>(pos, INT32_MAX));
    const int pad = static_cast<int>(seg.size() / 2);
    if (center == 1)
        extract_segment_sample_center_reflect(seg, src, sample_n, at, pad);
    else
        extract_segment_sample_center_zeros_padded(seg, src, sample_n, at, pad);
}

}  // namespace vorel::audio
