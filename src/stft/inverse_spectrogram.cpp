// The inverse short-time transform by windowed overlap-add.
#include "stft/inverse_spectrogram.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "common/working_set.h"
#include "errors/checks.h"
#include "simd/lanes.h"
#include "simd/math/pairs.h"
#include "stft/frame_lanes.h"
#include "stft/frame_ops.h"
#include "stft/window_table.h"
#include "transform/fft.h"
#include "transform/fft_table.h"
#include "vorel_audio.h"

namespace vorel::audio {

int get_sample_len(int frame_n, int freq_n, int hop_n, bool center) {
    if (frame_n < 1) return 0;
    int64_t n = static_cast<int64_t>(frame_n - 1) * hop_n;
    if (!center) n += 2 * static_cast<int64_t>(freq_n) - 2;
    return static_cast<int>(static_cast<uint32_t>(n));
}

void apply_window_comp(std::vector<float>& frame, const std::vector<float>& comp, const std::vector<float>& window) {
    frame.assign(comp.size(), 0.0f);
    const WindowSpan span = window_span(comp.size() / 2, window.size());
    for (std::size_t i = 0; i < span.used + (span.extra ? 1 : 0); ++i) {
        const float w = i < span.used ? window[i] : 0.0f;
        const std::size_t at = 2 * (span.half + i);
        frame[at] = comp[at] * w;
        frame[at + 1] = comp[at + 1] * w;
    }
}

void scale_istft_torch(std::vector<float>&, const std::vector<float>&) {}

void scale_istft_scipy(std::vector<float>& frame, int fft_n) { scale_floats(frame, static_cast<float>(fft_n) * 0.5f); }

void istft_core(std::vector<float>& frame, std::vector<float>& comp, int fft_n, const std::vector<float>& fft_table,
                const std::vector<float>& window, int norm_type) {
    ifft(comp, fft_n, fft_table);
    apply_window_comp(frame, comp, window);
    if (norm_type == VOREL_AUDIO_NORM_TYPE_SCIPY)
        scale_istft_scipy(frame, fft_n);
    else if (norm_type == VOREL_AUDIO_NORM_TYPE_TORCH)
        scale_istft_torch(frame, window);
}

namespace {

// Column t of the spectrogram into comp, the bins above freq_n - 1 mirrored as conjugates.
void gather_column(std::vector<float>& comp, const float* src, std::size_t frame_n, std::size_t freq_n,
                   std::size_t fft_n, std::size_t t) {
    for (std::size_t k = 0; k < fft_n; ++k) {
        const float* cell = src + 2 * ((k < freq_n ? k : fft_n - k) * frame_n + t);
        comp[2 * k] = cell[0], comp[2 * k + 1] = k < freq_n ? cell[1] : -cell[1];
    }
}

constexpr std::size_t kAheadGroups = 4;

// Columns t0 .. t0 + kFrameLanes - 1 into the lanes, each bin's pairs split into real and
// imaginary lanes; a mirrored bin negates its imaginary parts, as gather_column does.
void gather_lanes(const FrameLanes& lanes, const float* src, std::size_t frame_n, std::size_t freq_n, std::size_t fft_n,
                  std::size_t t0) {
    using simd::float4;
    static_assert(kFrameLanes % 4 == 0, "cells are read four at a time");
    for (std::size_t j = 0; j < fft_n; ++j) {
        const std::size_t k = lanes.plan().in_pos[j];
        const bool mirrored = k >= freq_n;
        const float* cell = src + 2 * ((mirrored ? fft_n - k : k) * frame_n + t0);
        float* to = lanes.in(j);
        // Too many row streams for the hardware prefetcher: ask for a later group's line now.
        if (!mirrored) __builtin_prefetch(cell + kAheadGroups * 2 * kFrameLanes);
        for (std::size_t l = 0; l < kFrameLanes; l += 4) {
            float4 re, im;
            simd::math::split_pairs(cell + 2 * l, re, im);
            simd::store(to + l, re);
            simd::store(to + kFrameLanes + l, mirrored ? -im : im);
        }
    }
}

// The real parts of the lanes' outputs as one row of n samples per lane: rows[l * n + i].
void lane_rows(float* rows, const FrameLanes& lanes, std::size_t n) {
    using simd::float4;
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4)
        for (std::size_t g = 0; g < kFrameLanes; g += 4) {
            float4 v[4];
            for (std::size_t s = 0; s < 4; ++s) v[s] = simd::load<float4>(lanes.out(i + s) + g);
            lanes::transpose4<1>(v[0], v[1], v[2], v[3]);
            for (std::size_t s = 0; s < 4; ++s) simd::store(rows + (g + s) * n + i, v[s]);
        }
    for (; i < n; ++i)
        for (std::size_t l = 0; l < kFrameLanes; ++l) rows[l * n + i] = lanes.out(i)[l];
}

// Frame samples row[kStride * i] windowed (weight from place_window), scaled and added to y. A
// factor of 1 leaves a product's bits, and a sample outside the window adds +0.0, which still
// turns a -0.0 sum into +0.0.
template <std::size_t kStride>
void add_frame(float* y, const float* row, std::size_t n, const float* weight, WindowFactors f, float factor) {
    for (std::size_t i = 0; i < f.begin; ++i) y[i] += 0.0f;
    for (std::size_t i = f.begin; i < f.end; ++i) y[i] += row[kStride * i] * weight[i] * factor;
    for (std::size_t i = f.end; i < n; ++i) y[i] += 0.0f;
}

}  // namespace

void inverse_spectrogram(float* dst, const float* src, int frame_n, int freq_n, int hop_n, int win_n, int win_type,
                         int max_sample_n, int center, int norm_type, simd::Isa isa) {
    const int64_t fft_n64 = 2 * static_cast<int64_t>(freq_n) - 2;
    // A transform length beyond int is refused like a length below 1.
    require(fft_n64 <= INT32_MAX, "Invalid value of fft points.");
    const int fft_n = static_cast<int>(fft_n64);
    require(fft_n >= 1, "Invalid value of fft points.");
    const std::size_t n = static_cast<std::size_t>(fft_n);
    const std::size_t hop = static_cast<std::size_t>(hop_n);
    const std::size_t bins = static_cast<std::size_t>(freq_n);
    const std::size_t all_frames = static_cast<std::size_t>(frame_n);
    const std::size_t total_n = n + (all_frames - 1) * hop;
    // Centring drops fft_n/2 samples at the front; the copy stops at the signal's end.
    const std::size_t off = center != VOREL_AUDIO_CENTER_NONE ? n / 2 : 0;
    const std::size_t out_n = std::min(total_n - off, static_cast<std::size_t>(max_sample_n));
    const std::size_t out_end = off + out_n;
    // Only frames starting below out_end reach the output; every sample there gets the sums of
    // the same frames in the same order as with all frames.
    const std::size_t frames = hop == 0 ? all_frames : std::min(all_frames, (out_end - 1) / hop + 1);
    const std::size_t acc_n = n + (frames - 1) * hop;
    // The sliding stretch (see settle) holds a group of frames, at most the whole signal.
    const std::size_t cap = std::min(acc_n, n + kFrameLanes * hop);
    const simd::LaneSplit split = simd::split_lanes(frames, frame_lane_width(isa), lanes_suit(n));

    WorkingSet ws;
    const VectorPart comp_part = ws.vector(2 * n), fft_part = ws.vector(2 * n);
    const Part<float> acc_part = ws.part<float>(cap), sums_part = ws.part<float>(cap), weight_part = ws.part<float>(n);
    FrameLanes::Parts lane_parts{};
    Part<float> rows_part{};
    if (split.lanes()) lane_parts = FrameLanes::declare(ws, n), rows_part = ws.part<float>(kFrameLanes * n);
    ws.outside(fft_work_bytes(fft_n) + static_cast<std::size_t>(win_n) * sizeof(float));
    ws.require_fits();
    const std::vector<float>& fft_table = FftTable::instance().ref_inv_table(fft_n);
    const std::vector<float>& window = WindowTable::instance().ref_table(win_n, win_type);
    ws.allocate();
    std::vector<float>&comp = ws[comp_part], &scratch = ws[fft_part];
    // Real parts only: nothing mixes them with the imaginary ones.
    float* const acc = ws[acc_part];
    float* const sums = ws[sums_part];
    std::optional<FrameLanes> lanes;
    if (split.lanes()) lanes.emplace(ws, lane_parts, n, fft_table, isa);
    const WindowFactors factors = place_window(ws[weight_part], n, window);
    const float* const weight = ws[weight_part];
    float* const rows = ws[rows_part];
    // The scipy norm's inverse factor; the torch norm has none on purpose, its forward factor stays.
    const float factor = norm_type == VOREL_AUDIO_NORM_TYPE_SCIPY ? static_cast<float>(fft_n) * 0.5f : 1.0f;
    const WindowSpan span = window_span(n, window.size());

    // Once a frame starts at p no later one adds below p: samples [base, p) are final, divided
    // by their window square sum where it exceeds 1e-10, stored, and the stretch moves on to p.
    // Each sample gets the same sums in the same order as over a whole-signal accumulator.
    std::size_t base = 0;  // signal position of acc[0] and sums[0]
    // For a float s, s > tiny exactly when s widened to double exceeds 1e-10 (NaN: neither).
    float tiny = 1e-10f;
    if (static_cast<double>(tiny) > 1e-10) tiny = std::nextafter(tiny, 0.0f);
    const auto settle = [&](std::size_t upto) {
        const std::size_t from = std::max(base, off), to = std::min(upto, out_end);
        const std::size_t held = std::max(from, std::min(to, base + cap));
        const float *y = acc + (from - base), *s = sums + (from - base);
        float* out = dst + (from - off);
        // Both sides of the choice are formed, so that the loop runs in vectors.
        for (std::size_t i = 0; i < held - from; ++i) out[i] = s[i] > tiny ? y[i] / s[i] : y[i];
        std::fill(out + (held - from), out + (std::max(to, held) - from), 0.0f);
        const std::size_t done = std::min(upto - base, cap);
        std::copy(acc + done, acc + cap, acc), std::fill(acc + cap - done, acc + cap, 0.0f);
        std::copy(sums + done, sums + cap, sums), std::fill(sums + cap - done, sums + cap, 0.0f);
        base = upto;
    };
    // The stretch offset of a frame from `start` to `end`, settling what it must first.
    const auto reach = [&](std::size_t start, std::size_t end) {
        if (end - base > cap) settle(start);
        return start - base;
    };
    const auto add_squares = [&](std::size_t at) {
        float* s = sums + at + span.half;
        for (std::size_t i = 0; i < span.used; ++i) s[i] += window[i] * window[i];
    };

    simd::run_lanes_then_rest(
        split,
        // A group of columns in lanes, added frame after frame as the frame loop adds them. The
        // short inverse is exact while all stays finite; otherwise the full one runs afresh.
        [&](std::size_t t0) {
            gather_lanes(*lanes, src, all_frames, bins, n, t0);
            if (!lanes->transform_real(true)) {
                gather_lanes(*lanes, src, all_frames, bins, n, t0);
                lanes->transform(true);
            }
            lane_rows(rows, *lanes, n);
            const std::size_t first = reach(t0 * hop, (t0 + kFrameLanes - 1) * hop + n);
            for (std::size_t l = 0; l < kFrameLanes; ++l) {
                add_frame<1>(acc + first + l * hop, rows + l * n, n, weight, factors, factor);
                add_squares(first + l * hop);
            }
        },
        [&](std::size_t t) {
            gather_column(comp, src, all_frames, bins, n, t);
            ifft(comp, fft_n, fft_table, scratch);
            const std::size_t at = reach(t * hop, t * hop + n);
            add_frame<2>(acc + at, comp.data(), n, weight, factors, factor);
            add_squares(at);
        });
    // Samples past the last frame's reach (a hop longer than the frame) were never added to.
    settle(std::max(out_end, base));
}

}  // namespace vorel::audio
