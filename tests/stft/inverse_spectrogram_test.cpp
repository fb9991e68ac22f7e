// Inverse spectrograms against a double-precision overlap-add, sample counts, the window-square
// normalisation of a window longer than the frame, and the checks.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <vector>

#include "stft/inverse_spectrogram.h"
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
    const int shapes[][3] = {{9, 16, 4}, {9, 12, 5}, {9, 11, 3}, {9, 16, 0}, {2, 2, 1}, {13, 17, 6}, {33, 64, 16}};
    unsigned seed = 10;
    for (const auto& sh : shapes)  // freq_n, win_n, hop_n
        for (int center : {0, 1, 2})
            for (int norm : {0, 1, 2})
                for (int type : {1, 2}) {
                    SCOPED_TRACE(testing::Message() << "freq " << sh[0] << " win " << sh[1] << " hop " << sh[2]
                                                    << " center " << center << " norm " << norm << " type " << type);
                    const int total = 2 * sh[0] - 2 + 6 * sh[2];
                    // Room for more than the accumulator holds (the copy stops at its end), and
                    // a shorter output cut at max_sample_n.
                    expect_matches_reference({7, sh[0], sh[2], sh[1], type, total + 9, center, norm}, ++seed);
                    expect_matches_reference({7, sh[0], sh[2], sh[1], type, 5, center, norm}, ++seed);
                }
}

TEST(InverseSpectrogram, WindowSquareSumsOfAWindowLongerThanTheFrame) {
    // Only the squares that fall inside the frame are added; imaginary parts are never divided.
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
        EXPECT_EQ(y[2 * i + 1], 1.0f);
    }
}

TEST(SampleLen, CountsPerModeAndChecksInOrder) {
    const int cases[][5] = {// frame_n, freq_n, hop_n, center, count
                            {5, 9, 4, 0, 32}, {5, 9, 4, 1, 16}, {5, 9, 4, 2, 16}, {1, 9, 4, 1, 0},
                            {3, 1, 7, 0, 14},  // freq_n 1 adds no frame reach
                            {3, 9, 0, 0, 16},
                            {65537, 1, 65536, 1, 0}};  // beyond int: wraps as 32-bit arithmetic, 2^32 -> 0
    for (const auto& c : cases) {
        int n = -3;
        EXPECT_EQ(vorelAudioGetSampleLen(&n, c[0], c[1], c[2], c[3]), 0);
        EXPECT_EQ(n, c[4]) << c[0] << " " << c[1] << " " << c[2] << " " << c[3];
    }
    int n = -3;
    EXPECT_EQ(vorelAudioGetSampleLen(nullptr, 5, 9, 4, 0), -1);
    const int bad[][4] = {{0, 0, -1, 5}, {5, 0, -1, 5}, {5, 9, -1, 5}, {5, 9, 4, 5}, {5, 9, 4, -1}};
    for (const auto& b : bad) EXPECT_EQ(vorelAudioGetSampleLen(&n, b[0], b[1], b[2], b[3]), -1);
    EXPECT_EQ(n, -3);
}

TEST(InverseSpectrogram, ChecksInOrderWriteNothing) {
    const std::vector<float> spectrum = random_spectrogram(9, 4, 1);
    std::vector<float> dst(40, kSentinel);
    EXPECT_EQ(vorelAudioGetInverseSpectrogram(nullptr, spectrum.data(), 4, 9, 4, 16, 1, 40, 1, 0), -1);
    EXPECT_EQ(vorelAudioGetInverseSpectrogram(dst.data(), nullptr, 4, 9, 4, 16, 1, 40, 1, 0), -1);
    const Inv bad[] = {
        {0, 0, -1, 0, 0, 0, 3, 3},               // frame_n, with every later argument bad too
        {4, 0, -1, 0, 0, 0, 3, 3},               // freq_n
        {4, 9, -1, 0, 0, 0, 3, 3},               // hop_n
        {4, 9, 4, 0, 0, 0, 3, 3},                // win_n below 1
        {4, 9, 4, 17, 1, 40, 1, 0},              // win_n above the frame of 16
        {4, 1, 4, 1, 1, 40, 1, 0},               // freq_n 1: a frame of 0 samples
        {4, 9, 4, 16, 0, 0, 3, 3},               // win_type
        {4, 9, 4, 16, 1, 0, 3, 3},               // max_sample_n
        {4, 9, 4, 16, 1, 40, 3, 3},              // center
        {4, 9, 4, 16, 1, 40, 1, 3},              // norm_type
        {4, 9, 4, 16, 1, 40, 1, -2},
        {4, INT_MAX, 4, INT_MAX, 1, 40, 1, 0},  // a frame beyond int
    };
    for (const Inv& c : bad) EXPECT_EQ(call(dst, spectrum, c), -1);
    for (float v : dst) ASSERT_EQ(v, kSentinel);
    EXPECT_EQ(call(dst, spectrum, {4, 9, 4, 16, 1, 40, 1, 0}), 0);
}
