// Non-silent range of a signal: frame powers in double, judged against the loudest frame.
// The powers are not stored: a first pass finds the loudest frame, a second recomputes (to the
// same bits) only the frames scanned for the first and the last one above threshold.
#include "features/silence.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <vector>

#include "errors/checks.h"
#include "stft/framing.h"
#include "vorel_audio.h"

namespace vorel::audio {

namespace {

constexpr double frame_power_floor = 1e-10;

inline double ten_log10(double power) { return std::log10(power) * 10.0; }

}  // namespace

void detect_nonsilent_pos(int* start_pos, int* nonsilent_len, const float* src, int sample_n, int win_n, int hop_n,
                          float thr_db) {
    require(!(thr_db < 0.0f), "Invalid thr_db.");
    const int frames = get_frame_len(sample_n, win_n, hop_n, VOREL_AUDIO_CENTER_REFLECT);
    if (frames <= 0) {
        // Nothing to measure: no scratch is made, so a huge win_n costs nothing here.
        *start_pos = -1;
        *nonsilent_len = 0;
        return;
    }
    // Each frame sums its own samples in order (a running sum would change the bits).
    if (static_cast<std::uint64_t>(frames) * static_cast<std::uint64_t>(win_n) > nonsilent_max_reads)
        throw std::bad_alloc();
    // Frame t is centred on the 32-bit wrapped product t * hop_n (a float frame count near 2^31
    // samples can reach the wrap). Its power is the mean square in double, floored at 1e-10;
    // std::max keeps a NaN mean, so a NaN frame is never the peak and never passes.
    std::vector<float> segment(static_cast<std::size_t>(win_n));
    const auto power = [&](int t) {
        const int at = static_cast<int>(static_cast<std::uint32_t>(t) * static_cast<std::uint32_t>(hop_n));
        const float* x = frame_at(segment, src, sample_n, at, VOREL_AUDIO_CENTER_REFLECT);
        double acc = 0.0;
        for (int i = 0; i < win_n; ++i) {
            const double v = x[i];
            acc = acc + v * v;
        }
        return std::max(acc / static_cast<double>(win_n), frame_power_floor);
    };

    // Every frame is measured before any is judged: the reference is the loudest of all.
    double peak = frame_power_floor;
    for (int t = 0; t < frames; ++t) peak = std::max(peak, power(t));  // a NaN power never wins
    const double ref = ten_log10(peak);
    const double threshold = static_cast<double>(-thr_db);
    const auto loud = [&](int t) { return ten_log10(power(t)) - ref > threshold; };

    int first = -1;
    for (int t = 0; t < frames && first < 0; ++t)
        if (loud(t)) first = t;
    if (first < 0) {
        *start_pos = -1;
        *nonsilent_len = 0;
        return;
    }
    int last = first;
    for (int t = frames - 1; t > last; --t)
        if (loud(t)) {
            last = t;
            break;
        }
    // Exact in 64 bits; the end is clipped before narrowing, the start narrows as a 32-bit product.
    const int64_t start = static_cast<int64_t>(first) * hop_n;
    int64_t end = (static_cast<int64_t>(last) + 1) * hop_n;
    if (end >= sample_n) end = sample_n;
    *start_pos = static_cast<int>(start);
    *nonsilent_len = static_cast<int>(end - start);
}

}  // namespace vorel::audio
