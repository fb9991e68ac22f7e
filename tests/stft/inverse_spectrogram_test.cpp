// Inverse spectrograms against a double-precision overlap-add, sample counts and the checks
// (the levels are held to the scalar path beside the forward transform).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "stft/inverse_spectrogram.h"
#include "stft_reference.h"
#include "vorel_audio.h"

using stft_ref::cd;
using namespace vorel::audio;

namespace {

constexpr float kSentinel = 12345.0f;

struct Inv {
    int frame_n, freq_n, hop_n, win_n, win_type, max_sample_n, center, norm_type;
};

int call(std::vector<float>& dst, const std::vector<float>& src, const Inv& c) {
    return vorelAudioGetInverseSpectrogram(dst.data(), src.data(), c.frame_n, c.freq_n, c.hop_n, c.win_n, c.win_type,
                                           c.max_sample_n, c.center, c.norm_type);
}

// Each frame's Hermitian inverse DFT, windowed and added, divided by the summed window squares
// where they are not tiny; the copy starts half a frame in when centred.
void expect_matches_reference(const Inv& c, unsigned seed) {
    const std::vector<float> spectrum = stft_ref::test_signal(2 * c.freq_n * c.frame_n, seed);
    std::vector<float> dst(c.max_sample_n, kSentinel);
    ASSERT_EQ(call(dst, spectrum, c), VOREL_STATUS_SUCCESS);
    const int fft_n = 2 * c.freq_n - 2, total = fft_n + (c.frame_n - 1) * c.hop_n;
    const std::vector<double> w = stft_ref::placed_window(fft_n, c.win_n, c.win_type);
    std::vector<double> y(total, 0.0), s(total, 0.0);
    auto cell = [&](int k, int t) {
        return cd(spectrum[2 * (k * c.frame_n + t)], spectrum[2 * (k * c.frame_n + t) + 1]);
    };
    for (int t = 0; t < c.frame_n; ++t) {
        std::vector<cd> bins(fft_n);
        for (int k = 0; k < fft_n; ++k) bins[k] = k < c.freq_n ? cell(k, t) : std::conj(cell(fft_n - k, t));
        const std::vector<cd> x = stft_ref::dft(bins, +1);
        for (int j = 0; j < fft_n; ++j) {
            y[t * c.hop_n + j] += x[j].real() / fft_n * w[j] * (c.norm_type == 2 ? fft_n / 2.0 : 1.0);
            s[t * c.hop_n + j] += w[j] * w[j];
        }
    }
    double peak = 1e-3;
    for (double v : y) peak = std::max(peak, std::fabs(v));
    const int off = c.center ? fft_n / 2 : 0;
    for (int i = 0; i < c.max_sample_n; ++i) {
        if (off + i >= total) {
            ASSERT_EQ(dst[i], kSentinel) << i;
            continue;
        }
        const double sum = s[off + i], want = sum > 1e-10 ? y[off + i] / sum : y[off + i];
        ASSERT_NEAR(dst[i], want, 2e-6 * peak / (sum > 1e-10 ? std::min(sum, 1.0) : 1.0)) << i;
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
                    SCOPED_TRACE(::testing::Message() << "freq " << sh[0] << " win " << sh[1] << " hop " << sh[2]
                                                      << " center " << center << " norm " << norm << " type " << type);
                    // Room beyond the accumulator (the copy stops at its end), and an output cut short.
                    expect_matches_reference({7, sh[0], sh[2], sh[1], type, 2 * sh[0] + 6 * sh[2] + 7, center, norm},
                                             ++seed);
                    expect_matches_reference({7, sh[0], sh[2], sh[1], type, 5, center, norm}, ++seed);
                }
}

TEST(SampleLen, CountsPerModeAndChecksInOrder) {
    const int cases[][5] = {
        // frame_n, freq_n, hop_n, center, count
        {5, 9, 4, 0, 32}, {5, 9, 4, 1, 16},       {5, 9, 4, 2, 16},
        {1, 9, 4, 1, 0},  {3, 1, 7, 0, 14},          // freq_n 1 adds no frame reach
        {3, 9, 0, 0, 16}, {65537, 1, 65536, 1, 0}};  // beyond int: wraps as 32-bit arithmetic, 2^32 -> 0
    for (const auto& c : cases) {
        int n = -3;
        EXPECT_EQ(vorelAudioGetSampleLen(&n, c[0], c[1], c[2], c[3]), 0);
        EXPECT_EQ(n, c[4]) << c[0] << " " << c[1] << " " << c[2] << " " << c[3];
    }
    int n = -3;
    EXPECT_EQ(vorelAudioGetSampleLen(nullptr, 5, 9, 4, 0), -1);
    for (const auto& b : {std::array<int, 4>{0, 0, -1, 5}, {5, 0, -1, 5}, {5, 9, -1, 5}, {5, 9, 4, 5}, {5, 9, 4, -1}})
        EXPECT_EQ(vorelAudioGetSampleLen(&n, b[0], b[1], b[2], b[3]), -1);
    EXPECT_EQ(n, -3);
}

TEST(InverseSpectrogram, ChecksInOrderWriteNothing) {
    const std::vector<float> spectrum = stft_ref::test_signal(2 * 9 * 4, 1);
    std::vector<float> dst(40, kSentinel);
    EXPECT_EQ(vorelAudioGetInverseSpectrogram(nullptr, spectrum.data(), 4, 9, 4, 16, 1, 40, 1, 0), -1);
    EXPECT_EQ(vorelAudioGetInverseSpectrogram(dst.data(), nullptr, 4, 9, 4, 16, 1, 40, 1, 0), -1);
    const Inv bad[] = {
        {0, 0, -1, 0, 0, 0, 3, 3},   {4, 0, -1, 0, 0, 0, 3, 3},              // frame_n with all later bad, freq_n
        {4, 9, -1, 0, 0, 0, 3, 3},   {4, 9, 4, 0, 0, 0, 3, 3},               // hop_n, win_n below 1
        {4, 9, 4, 17, 1, 40, 1, 0},  {4, 1, 4, 1, 1, 40, 1, 0},              // win_n above the frame; a frame of 0
        {4, 9, 4, 16, 0, 0, 3, 3},   {4, 9, 4, 16, 1, 0, 3, 3},              // win_type, max_sample_n
        {4, 9, 4, 16, 1, 40, 3, 3},  {4, 9, 4, 16, 1, 40, 1, 3},             // center, norm_type
        {4, 9, 4, 16, 1, 40, 1, -2}, {4, INT_MAX, 4, INT_MAX, 1, 40, 1, 0},  // a frame beyond int
    };
    for (const Inv& c : bad) EXPECT_EQ(call(dst, spectrum, c), -1);
    EXPECT_EQ(dst, std::vector<float>(40, kSentinel));
    EXPECT_EQ(call(dst, spectrum, {4, 9, 4, 16, 1, 40, 1, 0}), 0);
}
