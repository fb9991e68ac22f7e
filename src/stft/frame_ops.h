// Element-wise frame operations shared by the forward and the inverse short-time transform:
// where a window sits in a frame, and a scale factor applied to every float.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vorel::audio {

// A window of win_n samples centred in a frame of frame_n samples, with the half-difference
// of zeros on each side.
struct WindowSpan {
    std::size_t half;  // first frame sample that meets the window; as many zeros at each end
    std::size_t used;  // window samples applied, from window[0] on
    bool extra;        // an odd difference leaves one more sample in the span: window value 0
};

// A window longer than the frame contributes its first frame_n samples, so every index stays
// inside both vectors whatever the lengths.
inline WindowSpan window_span(std::size_t frame_n, std::size_t win_n) {
    const int64_t d = static_cast<int64_t>(frame_n) - static_cast<int64_t>(win_n);
    const std::size_t half = d > 0 ? static_cast<std::size_t>(d / 2) : 0;
    const std::size_t span = frame_n - 2 * half;
    const std::size_t used = span < win_n ? span : win_n;
    return {half, used, span > win_n};
}

// The factor of each frame sample under a centred window, as apply_window uses it: inside the
// span the window value, on an odd difference's extra sample 0 (still multiplied); keep[i]
// is 0 where the sample is replaced by 0 instead.
struct WindowFactors {
    std::vector<float> weight;
    std::vector<unsigned char> keep;
};

inline WindowFactors window_factors(std::size_t frame_n, const std::vector<float>& window) {
    WindowFactors f{std::vector<float>(frame_n, 0.0f), std::vector<unsigned char>(frame_n, 0)};
    const WindowSpan span = window_span(frame_n, window.size());
    for (std::size_t i = 0; i < span.used; ++i) {
        f.weight[span.half + i] = window[i];
        f.keep[span.half + i] = 1;
    }
    if (span.extra) f.keep[span.half + span.used] = 1;
    return f;
}

// Every float times factor, each product rounded on its own (the loop vectorises).
inline void scale_floats(std::vector<float>& data, float factor) {
    for (float& v : data) v = v * factor;
}

}  // namespace vorel::audio
