// The inverse short-time transform by windowed overlap-add.
#include "stft/inverse_spectrogram.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "errors/checks.h"
#include "stft/frame_ops.h"
#include "stft/window_table.h"
#include "transform/fft.h"
#include "transform/fft_table.h"

namespace vorel::audio {

int get_sample_len(int frame_n, int freq_n, int hop_n, bool center) {
    if (frame_n < 1) return 0;
    int64_t n = static_cast<int64_t>(frame_n - 1) * hop_n;
    if (!center) n += 2 * static_cast<int64_t>(freq_n) - 2;
    return static_cast<int>(static_cast<uint32_t>(n));
}

void apply_window_comp(std::vector<float>& frame, const std::vector<float>& comp,
                       const std::vector<float>& window) {
    frame.resize(comp.size());
    const WindowSpan span = window_span(comp.size() / 2, window.size());
    const float* in = comp.data() + 2 * span.half;
    float* out = frame.data() + 2 * span.half;
    const float* w = window.data();
    for (std::size_t i = 0; i < span.used; ++i) {
        out[2 * i] = in[2 * i] * w[i];
        out[2 * i + 1] = in[2 * i + 1] * w[i];
    }
    if (span.extra) {
        out[2 * span.used] = in[2 * span.used] * 0.0f;
        out[2 * span.used + 1] = in[2 * span.used + 1] * 0.0f;
    }
    std::fill_n(frame.begin(), 2 * span.half, 0.0f);
    std::fill_n(frame.end() - static_cast<std::ptrdiff_t>(2 * span.half), 2 * span.half, 0.0f);
}

void scale_istft_torch(std::vector<float>&, const std::vector<float>&) {}

void scale_istft_scipy(std::vector<float>& frame, int fft_n) {
    scale_floats(frame, static_cast<float>(fft_n) * 0.5f);
}

void istft_core(std::vector<float>& frame, std::vector<float>& comp, int fft_n,
                const std::vector<float>& fft_table, const std::vector<float>& window, int norm_type,
                std::vector<float>& scratch) {
    ifft(comp, fft_n, fft_table, scratch);
    apply_window_comp(frame, comp, window);
    if (norm_type == 2) {
        scale_istft_scipy(frame, fft_n);
    } else if (norm_type == 1) {
        scale_istft_torch(frame, window);
    }
}

void scale_istft_window_suqare_sum(std::vector<float>& y, const std::vector<float>& window,
                                   int fft_n, int hop_n, int, int frame_n) {
    std::vector<float> squares(window.size());
    for (std::size_t i = 0; i < window.size(); ++i) squares[i] = window[i] * window[i];
    const std::size_t n = fft_n > 0 ? static_cast<std::size_t>(fft_n) : 0;
    const WindowSpan span = window_span(n, window.size());
    const std::size_t hop = static_cast<std::size_t>(hop_n);
    std::vector<float> sums(n + static_cast<std::size_t>(frame_n - 1) * hop, 0.0f);
    for (int t = 0; t < frame_n; ++t) {
        float* s = sums.data() + static_cast<std::size_t>(t) * hop + span.half;
        for (std::size_t i = 0; i < span.used; ++i) s[i] += squares[i];
    }
    const std::size_t c = std::min(sums.size(), y.size() / 2);
    for (std::size_t i = 0; i < c; ++i)
        if (static_cast<double>(sums[i]) > 1e-10) y[2 * i] = y[2 * i] / sums[i];
}

namespace {

// Bin k of column t: the cell itself below freq_n, the conjugate of its mirror above.
inline void column_bin(const float* src, std::size_t frame_n, std::size_t freq_n, std::size_t fft_n,
                       std::size_t t, std::size_t k, float& re, float& im) {
    const float* cell = src + 2 * ((k < freq_n ? k : fft_n - k) * frame_n + t);
    re = cell[0];
    im = k < freq_n ? cell[1] : -cell[1];
}

// Column t of the spectrogram into comp, the bins above freq_n - 1 mirrored as conjugates.
void gather_column(std::vector<float>& comp, const float* src, std::size_t frame_n,
                   std::size_t freq_n, std::size_t fft_n, std::size_t t) {
    for (std::size_t k = 0; k < fft_n; ++k) column_bin(src, frame_n, freq_n, fft_n, t, k, comp[2 * k], comp[2 * k + 1]);
}

// Columns t0 .. t0 + kFrameLanes - 1 transformed in lanes, then windowed, scaled and added to
// y frame after frame, as the frame loop adds them. Only real parts reach the output, and
// nothing mixes the parts after the transform, so the imaginary ones are not accumulated.
class InverseLanes {
public:
    InverseLanes(std::size_t fft_n, const std::vector<float>& window, int norm_type, simd::Isa kernel)
        : n_(fft_n),
          norm_type_(norm_type),
          factor_(static_cast<float>(fft_n) * 0.5f),
          kernel_(kernel),
          plan_(make_frame_lane_plan(fft_n)),
          factors_(window_factors(fft_n, window)),
          data_(kLaneStride * fft_n),
          spare_(kLaneStride * fft_n) {}

    void add(float* y, const float* src, std::size_t frame_n, std::size_t freq_n, std::size_t hop, std::size_t t0,
             const std::vector<float>& fft_table) {
        for (std::size_t j = 0; j < n_; ++j) {
            float* to = data_.data() + kLaneStride * j;
            for (std::size_t l = 0; l < kFrameLanes; ++l)
                column_bin(src, frame_n, freq_n, n_, t0 + l, plan_.in_pos[j], to[l], to[kFrameLanes + l]);
        }
        const float* out = fft_lanes(data_.data(), spare_.data(), plan_, fft_table, true, kernel_);
        for (std::size_t l = 0; l < kFrameLanes; ++l) {
            float* acc = y + 2 * (t0 + l) * hop;
            for (std::size_t i = 0; i < n_; ++i) {
                const bool kept = i >= factors_.begin && i < factors_.end;
                float v = kept ? out[kLaneStride * plan_.out_pos[i] + l] * factors_.weight[i] : 0.0f;
                if (norm_type_ == 2) v = v * factor_;
                acc[2 * i] += v;
            }
        }
    }

private:
    std::size_t n_;
    int norm_type_;
    float factor_;
    simd::Isa kernel_;
    FrameLanePlan plan_;
    WindowFactors factors_;
    std::vector<float> data_, spare_;
};

}  // namespace

void inverse_spectrogram(float* dst, const float* src, int frame_n, int freq_n, int hop_n,
                         int win_n, int win_type, int max_sample_n, int center, int norm_type,
                         simd::Isa kernel) {
    const int64_t fft_n64 = 2 * static_cast<int64_t>(freq_n) - 2;
    // A transform length beyond int is refused like a length below 1.
    require(fft_n64 <= INT32_MAX, "Invalid value of fft points.");
    const int fft_n = static_cast<int>(fft_n64);
    const std::vector<float>& fft_table = FftTable::instance().ref_inv_table(fft_n);
    const std::vector<float>& window = WindowTable::instance().ref_table(win_n, win_type);

    const std::size_t n = static_cast<std::size_t>(fft_n);
    const std::size_t hop = static_cast<std::size_t>(hop_n);
    const std::size_t total_n = n + static_cast<std::size_t>(frame_n - 1) * hop;
    const std::size_t frames = static_cast<std::size_t>(frame_n);
    std::vector<float> comp(2 * n, 0.0f);
    std::vector<float> frame(2 * n, 0.0f);
    std::vector<float> y(2 * total_n, 0.0f);
    std::vector<float> scratch;

    std::size_t t = 0;
    if (kernel != simd::Isa::scalar && frames >= kFrameLanes && lanes_suit(n)) {
        InverseLanes lanes(n, window, norm_type, kernel);
        for (; t + kFrameLanes <= frames; t += kFrameLanes)
            lanes.add(y.data(), src, frames, static_cast<std::size_t>(freq_n), hop, t, fft_table);
    }
    for (; t < frames; ++t) {
        gather_column(comp, src, frames, static_cast<std::size_t>(freq_n), n, t);
        istft_core(frame, comp, fft_n, fft_table, window, norm_type, scratch);
        float* acc = y.data() + 2 * t * hop;
        for (std::size_t i = 0; i < 2 * n; ++i) acc[i] += frame[i];
    }
    scale_istft_window_suqare_sum(y, window, fft_n, hop_n, 0, frame_n);

    // Centring drops fft_n/2 samples at the front; the copy stops at the accumulator's end.
    const std::size_t off = center != 0 ? n / 2 : 0;
    const std::size_t out_n = std::min(total_n - off, static_cast<std::size_t>(max_sample_n));
    for (std::size_t i = 0; i < out_n; ++i) dst[i] = y[2 * (off + i)];
}

}  // namespace vorel::audio
