// The forward short-time transform, one frame at a time with scratch reused across frames.
#include "stft/spectrogram.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "common/float4.h"
#include "common/complex_norm.h"
#include "stft/frame_ops.h"
#include "stft/framing.h"
#include "stft/spectrum_lanes.h"
#include "stft/window_table.h"
#include "transform/fft.h"
#include "transform/fft_table.h"

namespace vorel::audio {

void apply_window(std::vector<float>& seg, const std::vector<float>& window) {
    const WindowSpan span = window_span(seg.size(), window.size());
    float* x = seg.data() + span.half;
    const float* w = window.data();
    for (std::size_t i = 0; i < span.used; ++i) x[i] = x[i] * w[i];
    if (span.extra) x[span.used] = x[span.used] * 0.0f;
    std::fill_n(seg.begin(), span.half, 0.0f);
    std::fill_n(seg.end() - static_cast<std::ptrdiff_t>(span.half), span.half, 0.0f);
}

float torch_norm_factor(const std::vector<float>& window) {
    float sum = 0.0f;
    for (float w : window) sum += w * w;
    return 1.0f / std::sqrt(sum);
}

float scipy_norm_factor(int fft_n) { return 2.0f / static_cast<float>(fft_n); }

void scale_stft_torch(std::vector<float>& comp, const std::vector<float>& window) {
    scale_floats(comp, torch_norm_factor(window));
}

void scale_stft_scipy(std::vector<float>& comp, int fft_n) { scale_floats(comp, scipy_norm_factor(fft_n)); }

void stft_core(std::vector<float>& comp, std::vector<float>& seg, int fft_n,
               const std::vector<float>& fft_table, const std::vector<float>& window, int norm_type,
               std::vector<float>& scratch) {
    apply_window(seg, window);
    fft_pre_process(comp, seg.data(), fft_n);
    fft(comp, fft_n, fft_table, scratch);
    if (norm_type == 2) {
        scale_stft_scipy(comp, fft_n);
    } else if (norm_type == 1) {
        scale_stft_torch(comp, window);
    }
}

namespace {

// One output cell: the bin itself, or (norm, +0.0) when power is positive.
inline void store_cell(float* cell, float re, float im, float power) {
    cell[0] = power > 0.0f ? complex_norm(re, im, power * 0.5f) : re;
    cell[1] = power > 0.0f ? 0.0f : im;
}

// The bins of all lanes as (re, im) pairs: lane l to cell[2l], cell[2l + 1]. Only moves.
inline void interleave_lanes(float* cell, const float* bin) {
    for (std::size_t l = 0; l < kFrameLanes; l += 4) {
        const float4 re = load4(bin + l), im = load4(bin + kFrameLanes + l);
        store4(cell + 2 * l, __builtin_shufflevector(re, im, 0, 4, 1, 5));
        store4(cell + 2 * l + 4, __builtin_shufflevector(re, im, 2, 6, 3, 7));
    }
}

}  // namespace

int stft_frame_len(int sample_n, int fft_n, int hop_n, int center, int max_frame_n) {
    int frame_n = std::min(get_frame_len(sample_n, fft_n, hop_n, center), max_frame_n);
    // A positive count implies hop_n > 0.
    if (center != 1 && center != 2 && frame_n > 0) {
        const int64_t inside = (static_cast<int64_t>(sample_n) - fft_n) / hop_n + 1;
        frame_n = static_cast<int>(std::min<int64_t>(frame_n, inside));
    }
    return frame_n;
}

void spectrogram(float* dst, const float* src, int sample_n, int fft_n, int hop_n, int win_n,
                 int win_type, int max_frame_n, int center, float power, int norm_type, LaneKernel kernel) {
    const int frame_n = stft_frame_len(sample_n, fft_n, hop_n, center, max_frame_n);
    // Without a frame nothing is written; tables and scratch sized by fft_n are not built
    // either, so a short signal with a huge fft_n returns at once.
    if (frame_n < 1) return;
    const std::vector<float>& fft_table = FftTable::instance().ref_table(fft_n);
    const std::vector<float>& window = WindowTable::instance().ref_table(win_n, win_type);
    const std::size_t n = static_cast<std::size_t>(fft_n);
    const std::size_t freq_n = n / 2 + 1;
    const std::size_t stride = 2 * static_cast<std::size_t>(max_frame_n);
    const std::size_t frames = static_cast<std::size_t>(frame_n);
    std::size_t t = 0;
    if (kernel != LaneKernel::none && frames >= kFrameLanes && lanes_suit(n)) {
        SpectrumLanes lanes(fft_n, fft_table, window, norm_type, kernel);
        for (; t + kFrameLanes <= frames; t += kFrameLanes) {
            lanes.transform(src, sample_n, hop_n, center, static_cast<int64_t>(t));
            for (std::size_t k = 0; k < freq_n; ++k) {
                const float* b = lanes.bin(k);
                float* cell = dst + k * stride + 2 * t;
                if (power > 0.0f)
                    for (std::size_t l = 0; l < kFrameLanes; ++l) store_cell(cell + 2 * l, b[l], b[kFrameLanes + l], power);
                else
                    interleave_lanes(cell, b);
            }
        }
    }
    std::vector<float> seg(n, 0.0f), comp(2 * n, 0.0f), scratch;
    for (; t < frames; ++t) {
        cut_frame(seg, src, sample_n, static_cast<int64_t>(t) * hop_n, center);
        stft_core(comp, seg, fft_n, fft_table, window, norm_type, scratch);
        // Bins above fft_n/2 are dropped, so their norms are never taken.
        for (std::size_t k = 0; k < freq_n; ++k) store_cell(dst + k * stride + 2 * t, comp[2 * k], comp[2 * k + 1], power);
    }
}

}  // namespace vorel::audio
