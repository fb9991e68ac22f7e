// The mel spectrogram path and the filter bank product on real spectra.
#include "mel/mel_spectrogram.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>

#include "common/complex_norm.h"
#include "common/working_set.h"
#include "simd/lanes.h"
#include "stft/framing.h"
#include "stft/spectrogram.h"
#include "stft/spectrum_lanes.h"
#include "stft/window_table.h"
#include "transform/fft.h"
#include "transform/fft_table.h"
#include "vorel_audio.h"

namespace vorel::audio {

// Skipping zero weights: a zero weight times a finite value is a zero, and a sum from +0.0 never
// becomes -0.0 (round-to-nearest gives -0.0 only for -0.0 + -0.0), so adding zeros changes no
// bit and with finite inputs the span's sum equals the full sum. An infinite or NaN input times
// a zero weight is NaN, which must reach the sum: then the full row is summed.

namespace {

// The span of each of mel_n rows of n weights, rows(m) giving row m.
template <class Rows>
std::vector<BandSpan> spans_of(const Rows& rows, std::size_t mel_n, std::size_t n) {
    std::vector<BandSpan> spans(mel_n, BandSpan{0, 0});
    for (std::size_t m = 0; m < mel_n; ++m) {
        const float* row = rows(m);
        std::size_t begin = 0, end = n;
        while (begin < n && row[begin] == 0.0f) ++begin;
        if (begin == n) continue;
        while (row[end - 1] == 0.0f) --end;
        spans[m] = {begin, end};
    }
    return spans;
}

// Frames per block of the spectrogram product whose finiteness is tested together.
constexpr std::size_t kFrameBlock = 64;
static_assert(kFrameLanes % 4 == 0, "the band sums hold a group of frames in vectors of four");

// Band sums of G vectors V of columns (column i of bin k at x[k * x_stride + i]), each from +0.0
// in ascending bin order over the band's span, or the full row when not `finite`, stored to
// dst[m * dst_stride + i]. rows(m) gives the weights of band m.
template <class V, std::size_t G, class Rows>
VOREL_INLINE void band_columns(float* dst, std::size_t dst_stride, const float* x, std::size_t x_stride,
                               std::size_t bins, std::size_t bands, const Rows& rows,
                               const std::vector<BandSpan>& spans, bool finite) {
    constexpr std::size_t w = simd::kLanes<V>;
    for (std::size_t m = 0; m < bands; ++m) {
        const float* row = rows(m);
        const BandSpan span = finite ? spans[m] : BandSpan{0, bins};
        V acc[G] = {};
        for (std::size_t k = span.begin; k < span.end; ++k) {
            const V weight = simd::broadcast<V>(row[k]);
            for (std::size_t g = 0; g < G; ++g) acc[g] = acc[g] + weight * simd::load<V>(x + k * x_stride + w * g);
        }
        for (std::size_t g = 0; g < G; ++g) simd::store(dst + m * dst_stride + w * g, acc[g]);
    }
}

}  // namespace

std::vector<BandSpan> band_spans(const float* fb, std::size_t mel_n, std::size_t freq_n) {
    return spans_of([&](std::size_t m) { return fb + m * freq_n; }, mel_n, freq_n);
}

void convert_freq_to_mel_1d(std::vector<float>& band, const std::vector<float>& magnitude, const MelMatrix& fb,
                            int mel_n) {
    for (int m = 0; m < mel_n; ++m) {
        float acc = 0.0f;
        for (std::size_t j = 0; j < fb[m].size(); ++j) acc = acc + fb[m][j] * magnitude[j];
        band[m] = acc;
    }
}

void convert_freq_to_mel_2d(float* dst, const float* src, const float* mel_fb, int freq_n, int frame_n, int mel_n) {
    if (frame_n < 1 || mel_n < 1) return;
    // No bins leaves every band an empty sum of 0.
    const std::size_t bins = static_cast<std::size_t>(std::max(freq_n, 0));
    const std::size_t frames = static_cast<std::size_t>(frame_n);
    const std::size_t bands = static_cast<std::size_t>(mel_n);
    const auto rows = [&](std::size_t m) { return mel_fb + m * bins; };
    const std::vector<BandSpan> spans = spans_of(rows, bands, bins);

    // Each frame is its own column, so the sums keep their order.
    for (std::size_t t0 = 0; t0 < frames; t0 += kFrameBlock) {
        const std::size_t end = std::min(t0 + kFrameBlock, frames);
        bool finite = true;
        for (std::size_t k = 0; k < bins; ++k)
            finite &= simd::all_finite<simd::float4>(src + k * frames + t0, end - t0);
        std::size_t t = t0;
        for (; t + kFrameLanes <= end; t += kFrameLanes)
            band_columns<simd::float4, kFrameLanes / 4>(dst + t, frames, src + t, frames, bins, bands, rows, spans,
                                                        finite);
        for (; t < end; ++t) band_columns<float, 1>(dst + t, frames, src + t, frames, bins, bands, rows, spans, finite);
    }
}

void mel_spectrogram(float* dst, const float* src, int sample_n, int sample_rate, int fft_n, int hop_n, int win_n,
                     int win_type, int max_frame_n, int center, float power, int fft_norm_type, float f_min,
                     float f_max, int mel_n, int mel_norm, int mel_formula, simd::Isa isa) {
    // The count the caller computes, so the stride matches (cut_frame supplies zeros past the end).
    const int frame_n = std::min(get_frame_len(sample_n, fft_n, hop_n, center), max_frame_n);
    // No frame: nothing is written, and no table or scratch is built.
    if (frame_n < 1) return;
    const std::size_t n = static_cast<std::size_t>(fft_n);
    const std::size_t bins = n / 2 + 1;
    const std::size_t bands = static_cast<std::size_t>(mel_n);
    const std::size_t frames = static_cast<std::size_t>(frame_n);
    const simd::LaneSplit split = simd::split_lanes(frames, frame_lane_width(isa), lanes_suit(n));

    WorkingSet ws;
    const StftScratch one = StftScratch::declare(ws, n);
    const VectorPart magnitude_part = ws.vector(bins);
    SpectrumLanes::Parts lane_parts{};
    Part<float> mag_part{};
    Part<float> pairs_part{};
    if (split.lanes()) {
        lane_parts = SpectrumLanes::declare(ws, n), mag_part = ws.part<float>(kFrameLanes * bins);
        pairs_part = ws.part<float>(2 * kFrameLanes * bins);
    }
    // The band spans and the tables: transform, window, and the filter bank with its rows.
    ws.outside(bands * sizeof(BandSpan) + fft_work_bytes(fft_n) + sizeof(float) * static_cast<std::size_t>(win_n) +
               bands * (bins * sizeof(float) + sizeof(std::vector<float>)));
    ws.require_fits();

    const std::vector<float>& fft_table = FftTable::instance().ref_table(fft_n);
    const std::vector<float>& window = WindowTable::instance().ref_table(win_n, win_type);
    const MelMatrix& fb = MFBTable::instance().ref_table(static_cast<int>(bins), f_min, f_max, mel_n, sample_rate,
                                                         mel_norm, mel_formula != VOREL_AUDIO_MEL_FORMULA_SLANEY);
    ws.allocate();
    std::vector<float>&seg = ws[one.seg], &comp = ws[one.comp], &scratch = ws[one.fft];
    std::vector<float>& magnitude = ws[magnitude_part];
    const auto rows = [&](std::size_t m) { return fb[m].data(); };
    const std::vector<BandSpan> spans = spans_of(rows, bands, bins);
    std::optional<SpectrumLanes> lanes;
    if (split.lanes()) lanes.emplace(ws, lane_parts, fft_n, fft_table, window, fft_norm_type, isa);
    float* const mag = ws[mag_part];
    float* const pairs = ws[pairs_part];

    simd::run_lanes_then_rest(
        split,
        [&](std::size_t t) {
            lanes->transform(src, sample_n, hop_n, center, static_cast<int64_t>(t));
            // Pair l of bin k is value k * kFrameLanes + l: one norm call fills mag in the order
            // the band sums read it.
            for (std::size_t k = 0; k < bins; ++k) {
                const float* b = lanes->bin(k);
                simd::interleave(pairs + 2 * kFrameLanes * k, b, b + kFrameLanes, kFrameLanes);
            }
            complex_norm_array(mag, pairs, kFrameLanes * bins, power, isa);
            // A finite lane's full sum has its span's bits: one non-finite lane sends all full.
            band_columns<simd::float4, kFrameLanes / 4>(dst + t, frames, mag, kFrameLanes, bins, bands, rows, spans,
                                                        simd::all_finite<simd::float4>(mag, bins * kFrameLanes));
        },
        [&](std::size_t t) {
            cut_frame(seg, src, sample_n, static_cast<int64_t>(t) * hop_n, center);
            stft_core(comp, seg, fft_n, fft_table, window, fft_norm_type, scratch);
            complex_norm_array(magnitude.data(), comp.data(), bins, power, isa);
            band_columns<float, 1>(dst + t, frames, magnitude.data(), 1, bins, bands, rows, spans,
                                   simd::all_finite<simd::float4>(magnitude.data(), bins));
        });
}

}  // namespace vorel::audio
