// Inverse spectrograms against a double-precision overlap-add, round trips through the forward
// transform, sample counts and the checks.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

#include "stft/inverse_spectrogram.h"
#include "stft/spectrogram.h"
#include "stft/window_table.h"
#include "stft_reference.h"
#include "vorel_audio.h"

using stft_ref::cd;

namespace {

constexpr float kSentinel = 12345.0f;

struct Inv {
    int frame_n, freq_n, hop_n, win_n, win_type, max_sample_n, center, norm_type;
};

int call(std::vector<float>& dst, const std::vector<float>& src, const Inv& c) {
    return vorelAudioGetInverseSpectrogram(dst.data(), src.data(), c.frame_n, c.freq_n, c.hop_n,
                                           c.win_n, c.win_type, c.max_sample_n, c.center,
                                           c.norm_type);
}

std::vector<float> random_spectrogram(int freq_n, int frame_n, unsigned seed) {
    return stft_ref::test_signal(2 * freq_n * frame_n, seed);
}

struct Reference {
    std::vector<double> samples;  // the real samples as the call should give them
    std::vector<double> sums;     // the summed window squares under each sample
    double peak = 0;              // largest accumulated magnitude before normalisation
};

Reference reference(const std::vector<float>& spectrum, const Inv& c) {
    const int fft_n = 2 * c.freq_n - 2;
    const int total = fft_n + (c.frame_n - 1) * c.hop_n;
    const std::vector<double> w = stft_ref::placed_window(fft_n, c.win_n, c.win_type);
    std::vector<double> y(total, 0.0), s(total, 0.0);
    auto cell = [&](int k, int t) {
        return cd(spectrum[2 * (k * c.frame_n + t)], spectrum[2 * (k * c.frame_n + t) + 1]);
    };
    for (int t = 0; t < c.frame_n; ++t) {
        std::vector<cd> bins(fft_n);
        for (int k = 0; k < fft_n; ++k) bins[k] = k < c.freq_n ? cell(k, t) : std::conj(cell(fft_n - k, t));
        const std::vector<cd> x = stft_ref::dft(bins, +1);
        const double scale = c.norm_type == 2 ? fft_n / 2.0 : 1.0;
        for (int j = 0; j < fft_n; ++j) {
            y[t * c.hop_n + j] += x[j].real() / fft_n * w[j] * scale;
            s[t * c.hop_n + j] += w[j] * w[j];
        }
    }
    Reference r;
    const int off = c.center ? fft_n / 2 : 0;
    for (int i = 0; i < total; ++i) r.peak = std::max(r.peak, std::fabs(y[i]));
    for (int i = off; i < total && i - off < c.max_sample_n; ++i) {
        r.samples.push_back(s[i] > 1e-10 ? y[i] / s[i] : y[i]);
        r.sums.push_back(s[i]);
    }
    return r;
}

void expect_matches_reference(const Inv& c, unsigned seed) {
    const std::vector<float> spectrum = random_spectrogram(c.freq_n, c.frame_n, seed);
    std::vector<float> dst(c.max_sample_n, kSentinel);
    ASSERT_EQ(call(dst, spectrum, c), VOREL_STATUS_SUCCESS);
    const Reference r = reference(spectrum, c);
    for (size_t i = 0; i < dst.size(); ++i) {
        if (i >= r.samples.size()) {
            ASSERT_EQ(dst[i], kSentinel) << i;
            continue;
        }
        const double s = r.sums[i] > 1e-10 ? std::min(r.sums[i], 1.0) : 1.0;
        ASSERT_NEAR(dst[i], r.samples[i], 2e-6 * (r.peak + 1e-3) / s) << i;
    }
}

}  // namespace

TEST(InverseSpectrogram, MatchesOverlapAddReference) {
    const struct {
        int freq_n, win_n, hop_n;
    } shapes[] = {{9, 16, 4}, {9, 12, 5}, {9, 11, 3}, {9, 16, 0}, {2, 2, 1}, {13, 17, 6}, {33, 64, 16}};
    unsigned seed = 10;
    for (const auto& sh : shapes)
        for (int center : {0, 1, 2})
            for (int norm : {0, 1, 2})
                for (int type : {1, 2}) {
                    SCOPED_TRACE(testing::Message() << "freq " << sh.freq_n << " win " << sh.win_n
                                                    << " hop " << sh.hop_n << " center " << center
                                                    << " norm " << norm << " type " << type);
                    const int fft_n = 2 * sh.freq_n - 2;
                    const int frame_n = 7;
                    const int total = fft_n + (frame_n - 1) * sh.hop_n;
                    // Room for more than the accumulator holds: the copy stops at its end.
                    expect_matches_reference(
                        {frame_n, sh.freq_n, sh.hop_n, sh.win_n, type, total + 9, center, norm}, ++seed);
                    // A shorter output is cut at max_sample_n.
                    expect_matches_reference(
                        {frame_n, sh.freq_n, sh.hop_n, sh.win_n, type, 5, center, norm}, ++seed);
                }
}

namespace {

// Forward with max_frame_n equal to the frame count, then back.
std::vector<float> round_trip(const std::vector<float>& x, int fft_n, int hop_n, int norm_type) {
    const int n = static_cast<int>(x.size());
    int frames = 0;
    EXPECT_EQ(vorelAudioGetFrameLen(&frames, n, fft_n, hop_n, 1), 0);
    const int freq_n = fft_n / 2 + 1;
    std::vector<float> spectrum(2 * size_t(freq_n) * frames);
    EXPECT_EQ(vorelAudioGetSpectrogram(spectrum.data(), x.data(), n, fft_n, hop_n, fft_n, 1, frames, 1,
                                       0.0f, norm_type),
              0);
    int sample_n = 0;
    EXPECT_EQ(vorelAudioGetSampleLen(&sample_n, frames, freq_n, hop_n, 1), 0);
    EXPECT_EQ(sample_n, (frames - 1) * hop_n);
    std::vector<float> back(sample_n, kSentinel);
    EXPECT_EQ(vorelAudioGetInverseSpectrogram(back.data(), spectrum.data(), frames, freq_n, hop_n,
                                              fft_n, 1, sample_n, 1, norm_type),
              0);
    return back;
}

}  // namespace

TEST(InverseSpectrogram, RoundTripReconstructsTheSignal) {
    const std::vector<float> x = stft_ref::test_signal(4000, 99);
    for (int fft_n : {64, 400, 512}) {
        const int hop = fft_n / 4;
        double sum_sq = 0;
        for (double w : stft_ref::window(fft_n, 1)) sum_sq += w * w;
        for (int norm : {0, 2, 1}) {
            const std::vector<float> back = round_trip(x, fft_n, hop, norm);
            const double scale = norm == 1 ? 1.0 / std::sqrt(sum_sq) : 1.0;
            double worst = 0;
            for (size_t i = fft_n; i + fft_n < back.size(); ++i)
                worst = std::max(worst, std::fabs(back[i] - x[i] * scale));
            EXPECT_LT(worst, 1e-5 * scale * 2) << "fft " << fft_n << " norm " << norm;
        }
    }
}

TEST(SampleLen, CountsPerMode) {
    int n = -3;
    EXPECT_EQ(vorelAudioGetSampleLen(&n, 5, 9, 4, 0), 0);
    EXPECT_EQ(n, 32);
    EXPECT_EQ(vorelAudioGetSampleLen(&n, 5, 9, 4, 1), 0);
    EXPECT_EQ(n, 16);
    EXPECT_EQ(vorelAudioGetSampleLen(&n, 5, 9, 4, 2), 0);
    EXPECT_EQ(n, 16);
    EXPECT_EQ(vorelAudioGetSampleLen(&n, 1, 9, 4, 1), 0);
    EXPECT_EQ(n, 0);
    EXPECT_EQ(vorelAudioGetSampleLen(&n, 3, 1, 7, 0), 0);  // freq_n 1 adds no frame reach
    EXPECT_EQ(n, 14);
    EXPECT_EQ(vorelAudioGetSampleLen(&n, 3, 9, 0, 0), 0);
    EXPECT_EQ(n, 16);
    // Counts beyond int wrap as 32-bit arithmetic does: 2^16 * 2^16 = 2^32 -> 0.
    EXPECT_EQ(vorelAudioGetSampleLen(&n, 65537, 1, 65536, 1), 0);
    EXPECT_EQ(n, 0);
}

TEST(SampleLen, ChecksInOrder) {
    int n = -3;
    EXPECT_EQ(vorelAudioGetSampleLen(nullptr, 5, 9, 4, 0), -1);
    EXPECT_EQ(vorelAudioGetSampleLen(&n, 0, 0, -1, 5), -1);
    EXPECT_EQ(vorelAudioGetSampleLen(&n, 5, 0, -1, 5), -1);
    EXPECT_EQ(vorelAudioGetSampleLen(&n, 5, 9, -1, 5), -1);
    EXPECT_EQ(vorelAudioGetSampleLen(&n, 5, 9, 4, 5), -1);
    EXPECT_EQ(vorelAudioGetSampleLen(&n, 5, 9, 4, -1), -1);
    EXPECT_EQ(n, -3);
}

TEST(InverseSpectrogram, ChecksInOrderWriteNothing) {
    const std::vector<float> spectrum = random_spectrogram(9, 4, 1);
    std::vector<float> dst(40, kSentinel);
    EXPECT_EQ(call(dst, spectrum, {4, 9, 4, 16, 1, 40, 1, 0}), 0);
    std::fill(dst.begin(), dst.end(), kSentinel);
    std::vector<float> none;
    EXPECT_EQ(vorelAudioGetInverseSpectrogram(nullptr, spectrum.data(), 4, 9, 4, 16, 1, 40, 1, 0), -1);
    EXPECT_EQ(vorelAudioGetInverseSpectrogram(dst.data(), nullptr, 4, 9, 4, 16, 1, 40, 1, 0), -1);
    const Inv bad[] = {
        {0, 0, -1, 0, 0, 0, 3, 3},     // frame_n, with every later argument bad too
        {4, 0, -1, 0, 0, 0, 3, 3},     // freq_n
        {4, 9, -1, 0, 0, 0, 3, 3},     // hop_n
        {4, 9, 4, 0, 0, 0, 3, 3},      // win_n below 1
        {4, 9, 4, 17, 1, 40, 1, 0},    // win_n above the frame of 16
        {4, 1, 4, 1, 1, 40, 1, 0},     // freq_n 1: a frame of 0 samples
        {4, 9, 4, 16, 0, 0, 3, 3},     // win_type
        {4, 9, 4, 16, 1, 0, 3, 3},     // max_sample_n
        {4, 9, 4, 16, 1, 40, 3, 3},    // center
        {4, 9, 4, 16, 1, 40, 1, 3},    // norm_type
        {4, 9, 4, 16, 1, 40, 1, -2},   // norm_type
        {4, INT_MAX, 4, INT_MAX, 1, 40, 1, 0},  // a frame beyond int
    };
    for (const Inv& c : bad) EXPECT_EQ(call(dst, spectrum, c), -1);
    for (float v : dst) ASSERT_EQ(v, kSentinel);
}

TEST(InverseSpectrogram, RepeatedAndConcurrentCallsAreIdentical) {
    const Inv c = {30, 65, 32, 100, 2, 1000, 0, 1};
    const std::vector<float> spectrum = random_spectrogram(65, 30, 5);
    std::vector<float> first(1000, kSentinel);
    ASSERT_EQ(call(first, spectrum, c), 0);
    std::vector<std::vector<float>> outs(6, std::vector<float>(1000, kSentinel));
    std::vector<std::thread> threads;
    for (auto& out : outs) threads.emplace_back([&] { EXPECT_EQ(call(out, spectrum, c), 0); });
    for (auto& th : threads) th.join();
    for (const auto& out : outs) ASSERT_EQ(std::memcmp(out.data(), first.data(), 4000), 0);
}

TEST(InverseSpectrogram, ComplexWindowingMatchesTheRealPlacement) {
    // Both floats of each element meet the window sample that apply_window gives the real
    // frame at that position, bit for bit; covers even, odd and negative differences.
    for (int win_n : {16, 12, 11, 17, 1}) {
        const std::vector<float>& window = vorel::audio::WindowTable::instance().ref_table(win_n, 2);
        const std::vector<float> comp = stft_ref::test_signal(32, win_n);
        std::vector<float> re(16), im(16), frame;
        for (int j = 0; j < 16; ++j) {
            re[j] = comp[2 * j];
            im[j] = comp[2 * j + 1];
        }
        vorel::audio::apply_window(re, window);
        vorel::audio::apply_window(im, window);
        vorel::audio::apply_window_comp(frame, comp, window);
        ASSERT_EQ(frame.size(), 32u);
        for (int j = 0; j < 16; ++j) {
            EXPECT_EQ(frame[2 * j], re[j]) << win_n << " " << j;
            EXPECT_EQ(frame[2 * j + 1], im[j]) << win_n << " " << j;
        }
    }
}

TEST(InverseSpectrogram, WindowSquareSumsStayInsideTheirVectors) {
    // A window one longer than the frame adds only the squares that fall inside it.
    const std::vector<float>& window = vorel::audio::WindowTable::instance().ref_table(9, 1);
    std::vector<float> y(2 * (8 + 2 * 3), 1.0f);
    vorel::audio::scale_istft_window_suqare_sum(y, window, 8, 3, 0, 3);
    for (size_t i = 0; i < y.size() / 2; ++i) {
        double s = 0;
        for (int t = 0; t < 3; ++t) {
            const int j = int(i) - 3 * t;
            if (j >= 0 && j < 8) s += double(window[j]) * window[j];
        }
        EXPECT_NEAR(y[2 * i], s > 1e-10 ? 1.0 / s : 1.0, 1e-5 / std::max(s, 1e-3)) << i;
        EXPECT_EQ(y[2 * i + 1], 1.0f);  // imaginary parts are never divided
    }
}
