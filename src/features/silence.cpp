// Non-silent range of a signal: frame powers in double, judged against the loudest frame.
#include "features/silence.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "common/signal_padding.h"
#include "errors/checks.h"
#include "stft/framing.h"

namespace vorel::audio {

namespace {

constexpr double frame_power_floor = 1e-10;

inline double ten_log10(double power) { return std::log10(power) * 10.0; }

// Mean square of one frame, accumulated in double in sample order. std::max keeps a NaN mean,
// so a NaN frame is never the peak and never passes the threshold.
double frame_power(const std::vector<float>& segment) {
    double acc = 0.0;
    for (float s : segment) {
        const double x = s;
        acc = acc + x * x;
    }
    const double mean = acc / static_cast<double>(segment.size());
    return std::max(mean, frame_power_floor);
}

// Frame starts advance by a 32-bit sum; the wrap (reachable only through the rounding of a
// float frame count near 2^31 samples) is made explicit rather than left undefined.
inline int advance(int position, int hop_n) {
    return static_cast<int>(static_cast<uint32_t>(position) + static_cast<uint32_t>(hop_n));
}

}  // namespace

void detect_nonsilent_pos(int* start_pos, int* nonsilent_len, const float* src, int sample_n,
                          int win_n, int hop_n, float thr_db) {
    require(!(thr_db < 0.0f), "Invalid thr_db.");
    const int frames = get_frame_len(sample_n, win_n, hop_n, 1);
    if (frames <= 0) {
        // Nothing to measure: no scratch is made, so a huge win_n costs nothing here.
        *start_pos = -1;
        *nonsilent_len = 0;
        return;
    }
    const int half = win_n / 2;
    std::vector<float> segment(static_cast<std::size_t>(win_n));
    std::vector<double> power(static_cast<std::size_t>(frames));

    // Every frame is measured before any is judged: the reference is the loudest of all.
    double peak = frame_power_floor;
    int position = 0;
    for (int t = 0; t < frames; ++t) {
        extract_segment_sample_center_reflect(segment, src, sample_n, position, half);
        position = advance(position, hop_n);
        const double p = frame_power(segment);
        power[t] = p;
        if (peak < p) peak = p;
    }
    const double ref = ten_log10(peak);
    const double threshold = static_cast<double>(-thr_db);

    int first = -1;
    int last = -1;
    for (int t = 0; t < frames; ++t) {
        const double level = ten_log10(power[t]) - ref;
        if (level > threshold) {
            if (first < 0) first = t;
            last = t;
        }
    }
    if (first < 0) {
        *start_pos = -1;
        *nonsilent_len = 0;
        return;
    }
    // The products are exact in 64 bits; the end is clipped before narrowing, and the start
    // narrows like the 32-bit product it stands for.
    const int64_t start = static_cast<int64_t>(first) * hop_n;
    int64_t end = (static_cast<int64_t>(last) + 1) * hop_n;
    if (end >= sample_n) end = sample_n;
    *start_pos = static_cast<int>(start);
    *nonsilent_len = static_cast<int>(end - start);
}

}  // namespace vorel::audio
