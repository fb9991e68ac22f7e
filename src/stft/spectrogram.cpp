// The forward short-time transform, one frame at a time with scratch reused across frames.
#include "stft/spectrogram.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "common/complex_norm.h"
#include "errors/checks.h"
#include "simd/lanes.h"
#include "stft/frame_ops.h"
#include "stft/framing.h"
#include "stft/spectrum_lanes.h"
#include "stft/window_table.h"
#include "transform/fft.h"
#include "transform/fft_table.h"
#include "vorel_audio.h"

namespace vorel::audio {

namespace {

// seg times the window centred in it (placement as window_span); the rest becomes 0.
void apply_window(std::vector<float>& seg, const std::vector<float>& window) {
    const WindowSpan span = window_span(seg.size(), window.size());
    float* x = seg.data() + span.half;
    const float* w = window.data();
    for (std::size_t i = 0; i < span.used; ++i) x[i] = x[i] * w[i];
    if (span.extra) x[span.used] = x[span.used] * 0.0f;
    std::fill_n(seg.begin(), span.half, 0.0f);
    std::fill_n(seg.end() - static_cast<std::ptrdiff_t>(span.half), span.half, 0.0f);
}

// Groups of frames written to the rows together: runs of up to 512 bytes per bin, fewer for long
// frames so that the gathered cells stay within a few hundred kilobytes.
constexpr std::size_t kRunGroups = 8, kRunBytes = 256 * 1024;
static_assert(2 * kFrameLanes == simd::kLineFloats, "a group's cells of one bin fill one cache line");

std::size_t run_groups(std::size_t freq_n) {
    return std::clamp<std::size_t>(kRunBytes / (freq_n * 2 * kFrameLanes * sizeof(float)), 1, kRunGroups);
}

}  // namespace

float stft_norm_factor(int norm_type, int fft_n, const std::vector<float>& window) {
    if (norm_type == VOREL_AUDIO_NORM_TYPE_SCIPY) return 2.0f / static_cast<float>(fft_n);
    if (norm_type != VOREL_AUDIO_NORM_TYPE_TORCH) return 1.0f;
    float sum = 0.0f;
    for (float w : window) sum += w * w;
    return 1.0f / std::sqrt(sum);
}

StftScratch StftScratch::declare(WorkingSet& ws, std::size_t n) {
    // Both transform paths move through 2 n floats of scratch.
    return {ws.vector(n), ws.vector(2 * n), ws.vector(2 * n)};
}

void scale_stft_torch(std::vector<float>& comp, const std::vector<float>& window) {
    scale_floats(comp, stft_norm_factor(VOREL_AUDIO_NORM_TYPE_TORCH, 0, window));
}

void scale_stft_scipy(std::vector<float>& comp, int fft_n) {
    scale_floats(comp, stft_norm_factor(VOREL_AUDIO_NORM_TYPE_SCIPY, fft_n, {}));
}

void stft_core(std::vector<float>& comp, std::vector<float>& seg, int fft_n, const std::vector<float>& fft_table,
               const std::vector<float>& window, int norm_type, std::vector<float>& scratch) {
    apply_window(seg, window);
    fft_pre_process(comp, seg.data(), fft_n);
    fft(comp, fft_n, fft_table, scratch);
    if (norm_type == VOREL_AUDIO_NORM_TYPE_SCIPY)
        scale_stft_scipy(comp, fft_n);
    else if (norm_type == VOREL_AUDIO_NORM_TYPE_TORCH)
        scale_stft_torch(comp, window);
}

void require_stft_arguments(int fft_n, int hop_n, int win_n, int win_type, int max_frame_n, int center, float power) {
    require(fft_n >= 1, "Invalid fft_n value.");
    require(hop_n >= 0, "Invalid hop_n value.");
    // A window may be one sample longer than the frame (its last sample unused), not more.
    require(win_n >= 1 && win_n <= static_cast<int64_t>(fft_n) + 1, "Invalid win_n value.");
    require_one_of(win_type, {VOREL_AUDIO_WIN_TYPE_HANN, VOREL_AUDIO_WIN_TYPE_HAMMING}, "Invalid win_type format.");
    require(max_frame_n >= 1, "Invalid max_frame_n size.");
    require_one_of(center, {VOREL_AUDIO_CENTER_NONE, VOREL_AUDIO_CENTER_REFLECT, VOREL_AUDIO_CENTER_ZEROS_PADDED},
                   "Invalid center format.");
    require(!(power < 0.0f), "Invalid power value.");  // a NaN power passes
}

int stft_frame_len(int sample_n, int fft_n, int hop_n, int center, int max_frame_n) {
    int frame_n = std::min(get_frame_len(sample_n, fft_n, hop_n, center), max_frame_n);
    // A positive count implies hop_n > 0.
    if (center == VOREL_AUDIO_CENTER_NONE && frame_n > 0) {
        const int64_t inside = (static_cast<int64_t>(sample_n) - fft_n) / hop_n + 1;
        frame_n = static_cast<int>(std::min<int64_t>(frame_n, inside));
    }
    return frame_n;
}

void spectrogram(float* dst, const float* src, int sample_n, int fft_n, int hop_n, int win_n, int win_type,
                 int max_frame_n, int center, float power, int norm_type, simd::Isa isa) {
    const int frame_n = stft_frame_len(sample_n, fft_n, hop_n, center, max_frame_n);
    // Without a frame nothing is built or written, so a short signal with a huge fft_n is cheap.
    if (frame_n < 1) return;
    const std::size_t n = static_cast<std::size_t>(fft_n);
    const std::size_t freq_n = n / 2 + 1;
    const std::size_t stride = 2 * static_cast<std::size_t>(max_frame_n);
    const simd::LaneSplit split = simd::split_lanes(static_cast<std::size_t>(frame_n), frame_lane_width(isa),
                                                    lanes_suit(n));

    WorkingSet ws;
    const StftScratch one = StftScratch::declare(ws, n);
    SpectrumLanes::Parts lane_parts{};
    // Floats per bin: the runs of `groups` groups, and a line for the floats carried between runs.
    const std::size_t groups = run_groups(freq_n), slot = groups * 2 * kFrameLanes + simd::kLineFloats;
    Part<float> rows_part{};
    if (split.lanes()) lane_parts = SpectrumLanes::declare(ws, n), rows_part = ws.part<float>(freq_n * slot);
    ws.outside(fft_work_bytes(fft_n) + static_cast<std::size_t>(win_n) * sizeof(float));
    ws.require_fits();
    const std::vector<float>& fft_table = FftTable::instance().ref_table(fft_n);
    const std::vector<float>& window = WindowTable::instance().ref_table(win_n, win_type);
    ws.allocate();
    std::optional<SpectrumLanes> lanes;
    if (split.lanes()) lanes.emplace(ws, lane_parts, fft_n, fft_table, window, norm_type, isa);
    std::vector<float>&seg = ws[one.seg], &comp = ws[one.comp], &scratch = ws[one.fft];
    float* const rows = ws[rows_part];

    simd::run_lanes_then_rest(
        split,
        // Each bin's cells of `groups` groups gather in its slot, placed as on the destination's
        // cache lines, then go to its row in whole lines.
        [&](std::size_t t) {
            const std::size_t g = t / kFrameLanes % groups;
            lanes->transform(src, sample_n, hop_n, center, static_cast<int64_t>(t));
            for (std::size_t k = 0; k < freq_n; ++k) {
                const float* b = lanes->bin(k);
                simd::interleave(rows + k * slot + simd::line_lead(dst + k * stride) + g * 2 * kFrameLanes, b,
                                 b + kFrameLanes, kFrameLanes);
            }
            if (g + 1 < groups && t + kFrameLanes < split.grouped) return;
            const std::size_t first = t - g * kFrameLanes;
            const bool closing = t + kFrameLanes >= split.grouped;
            for (std::size_t k = 0; k < freq_n; ++k) {
                float* const to = dst + k * stride + 2 * first;
                // The norms of a bin's whole run in one call of the norm's path.
                if (power > 0.0f)
                    complex_norm_pairs(rows + k * slot + simd::line_lead(to), (g + 1) * kFrameLanes, power, isa);
                simd::stream_run(to, rows + k * slot, g + 1, first == 0, closing);
            }
            simd::stream_fence();
        },
        [&](std::size_t t) {
            cut_frame(seg, src, sample_n, static_cast<int64_t>(t) * hop_n, center);
            stft_core(comp, seg, fft_n, fft_table, window, norm_type, scratch);
            // Bins above fft_n/2 are dropped, so their norms are never taken.
            if (power > 0.0f) complex_norm_pairs(comp.data(), freq_n, power, isa);
            for (std::size_t k = 0; k < freq_n; ++k) std::copy_n(&comp[2 * k], 2, dst + k * stride + 2 * t);
        });
}

}  // namespace vorel::audio
