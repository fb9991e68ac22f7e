// Double-precision references shared by the short-time transform and mel tests: periodic windows
// placed in a frame, framing with reflection or zeros, frame spectra, and a bitwise comparison.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <vector>

#include "common/dft_reference.h"

namespace stft_ref {

using cd = std::complex<double>;
using vorel::audio::testing::dft;

inline std::vector<double> window(int n, int type) {
    std::vector<double> w(n);
    for (int k = 0; k < n; ++k)
        w[k] = type == 2 ? 0.54 - 0.46 * std::cos(2.0 * M_PI * k / n) : 0.5 - 0.5 * std::cos(2.0 * M_PI * k / n);
    return w;
}

// The window centred in a frame of fft_n samples: (fft_n - win_n)/2 zeros in front, the rest
// behind; a window one longer than the frame loses its last sample.
inline std::vector<double> placed_window(int fft_n, int win_n, int type) {
    const std::vector<double> w = window(win_n, type);
    const int front = fft_n > win_n ? (fft_n - win_n) / 2 : 0;
    std::vector<double> out(fft_n, 0.0);
    for (int j = front; j < fft_n && j - front < win_n; ++j) out[j] = w[j - front];
    return out;
}

// Sample at signal position q: mirrored without repeating the ends (mode 1), zero (mode 2).
inline double sample_at(const std::vector<float>& x, int64_t q, int center) {
    const int64_t n = static_cast<int64_t>(x.size());
    if (q >= 0 && q < n) return x[q];
    if (center == 2 || n == 1) return center == 2 ? 0.0 : x[0];
    while (q < 0 || q >= n) q = q < 0 ? -q : 2 * n - 2 - q;
    return x[q];
}

inline int frame_count(int sample_n, int fft_n, int hop_n, int center) {
    if (sample_n < fft_n || hop_n == 0) return 0;
    if (center == 0) return (sample_n - fft_n) / hop_n + 1;
    return center == 1 ? sample_n / hop_n + 1 : (sample_n + hop_n - 1) / hop_n + 1;
}

// Scaled spectrum of frame t (before any power is taken).
inline std::vector<cd> frame_spectrum(const std::vector<float>& x, int fft_n, int hop_n, int win_n, int type,
                                      int center, int norm_type, int t) {
    const std::vector<double> w = placed_window(fft_n, win_n, type);
    const int64_t start = int64_t(t) * hop_n - (center == 0 ? 0 : fft_n / 2);
    std::vector<cd> seg(fft_n);
    for (int j = 0; j < fft_n; ++j) seg[j] = sample_at(x, start + j, center) * w[j];
    double scale = norm_type == 2 ? 2.0 / fft_n : 1.0, sum = 0;
    for (double v : window(win_n, type)) sum += v * v;
    if (norm_type == 1) scale = 1.0 / std::sqrt(sum);
    std::vector<cd> spectrum = dft(seg, -1);
    for (cd& v : spectrum) v *= scale;
    return spectrum;
}

inline std::vector<float> test_signal(int n, unsigned seed) {
    std::vector<float> x(n);
    uint32_t s = seed * 2654435761u + 1;
    for (int i = 0; i < n; ++i) {
        s = s * 1664525u + 1013904223u;
        const double noise = static_cast<double>(s >> 8) / (1 << 24) - 0.5;
        x[i] = static_cast<float>(0.6 * std::sin(0.37 * i) + 0.3 * std::cos(0.051 * i * i / n) + noise);
    }
    return x;
}

// Bits must agree, except that any NaN matches any NaN: which operand's payload an operation on
// two NaNs passes on is up to the instruction order the compiler picks.
inline void expect_same_bits(const std::vector<float>& got, const std::vector<float>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        if (std::isnan(got[i]) && std::isnan(want[i])) continue;
        ASSERT_EQ(std::bit_cast<uint32_t>(got[i]), std::bit_cast<uint32_t>(want[i])) << "at " << i;
    }
}

}  // namespace stft_ref
