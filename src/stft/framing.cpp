// Frame counts and the cutting of frames; the padding itself is the shared fillers.
#include "stft/framing.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "vorel_audio.h"

namespace vorel::audio {

int get_frame_len(int sample_n, int fft_n, int hop_n, int center) {
    if (sample_n < fft_n) return 0;
    if (hop_n == 0) return 0;
    const float samples = static_cast<float>(sample_n);
    const float hop = static_cast<float>(hop_n);
    float frames;
    if (center == VOREL_AUDIO_CENTER_ZEROS_PADDED) {
        frames = std::ceil(samples / hop) + 1.0f;
    } else if (center == VOREL_AUDIO_CENTER_REFLECT) {
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

const float* frame_at(std::vector<float>& seg, const float* src, int sample_n, int64_t pos, int center) {
    const bool centred = center == VOREL_AUDIO_CENTER_REFLECT || center == VOREL_AUDIO_CENTER_ZEROS_PADDED;
    const int64_t size = static_cast<int64_t>(seg.size()), first = centred ? pos - size / 2 : pos;
    if (first >= 0 && first + size <= sample_n) return src + first;
    // A position passes INT_MAX only for signals of about 2^31 samples; the fillers fold any
    // start back into the signal or read zeros past it, so saturating keeps every read inside.
    const int at = static_cast<int>(std::min<int64_t>(pos, INT32_MAX));
    const int pad = centred ? static_cast<int>(size / 2) : 0;
    if (center == VOREL_AUDIO_CENTER_REFLECT)
        extract_segment_sample_center_reflect(seg, src, sample_n, at, pad);
    else  // zeros past the ends; an uncentred frame starts at pos itself
        extract_segment_sample_center_zeros_padded(seg, src, sample_n, at, pad);
    return seg.data();
}

void cut_frame(std::vector<float>& seg, const float* src, int sample_n, int64_t pos, int center) {
    const float* frame = frame_at(seg, src, sample_n, pos, center);
    if (frame != seg.data()) std::copy_n(frame, seg.size(), seg.begin());
}

}  // namespace vorel::audio
