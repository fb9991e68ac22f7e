// Where a window sits in a frame, and a scale factor on every float: shared by both directions.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vorel::audio {

// A window of win_n samples centred in a frame of frame_n samples.
struct WindowSpan {
    std::size_t half;  // first frame sample that meets the window; as many zeros at each end
    std::size_t used;  // window samples applied, from window[0] on
    bool extra;        // an odd difference leaves one more sample in the span: window value 0
};

// A window longer than the frame gives its first frame_n samples: every index stays inside.
inline WindowSpan window_span(std::size_t frame_n, std::size_t win_n) {
    const int64_t d = static_cast<int64_t>(frame_n) - static_cast<int64_t>(win_n);
    const std::size_t half = d > 0 ? static_cast<std::size_t>(d / 2) : 0;
    const std::size_t span = frame_n - 2 * half;
    const std::size_t used = span < win_n ? span : win_n;
    return {half, used, span > win_n};
}

// Frame samples [begin, end) are multiplied (by 0 on the extra sample); the others become 0.
struct WindowFactors {
    std::size_t begin, end;
};

// Writes the window values into weight (frame_n floats, zero-filled beforehand).
inline WindowFactors place_window(float* weight, std::size_t frame_n, const std::vector<float>& window) {
    const WindowSpan span = window_span(frame_n, window.size());
    std::copy_n(window.begin(), span.used, weight + span.half);
    return {span.half, span.half + span.used + (span.extra ? 1 : 0)};
}

// Every float times factor, each product rounded on its own (the loop vectorises).
inline void scale_floats(std::vector<float>& data, float factor) {
    for (float& v : data) v = v * factor;
}

}  // namespace vorel::audio
