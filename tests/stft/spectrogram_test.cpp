// Spectrograms against a double-precision windowed DFT of each frame, over every framing mode,
// window placement, scaling and power; the output stride, short signals and the checks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "stft/spectrogram.h"
#include "stft/window_table.h"
#include "stft_reference.h"
#include "vorel_audio.h"

using namespace vorel::audio;
using stft_ref::cd;

namespace {

constexpr float kSentinel = -7.25f;

struct Call {
    int sample_n, fft_n, hop_n, win_n, win_type, max_frame_n, center;
    float power;
    int norm_type;
};

std::vector<float> run(const std::vector<float>& x, const Call& c, int* status = nullptr) {
    const int freq_n = c.fft_n / 2 + 1;
    std::vector<float> dst(2 * static_cast<size_t>(freq_n) * c.max_frame_n, kSentinel);
    const int st = vorelAudioGetSpectrogram(dst.data(), x.data(), c.sample_n, c.fft_n, c.hop_n,
                                            c.win_n, c.win_type, c.max_frame_n, c.center, c.power,
                                            c.norm_type);
    if (status) *status = st;
    else EXPECT_EQ(st, VOREL_STATUS_SUCCESS);
    return dst;
}

// Compares every computed cell with the reference and checks that the columns behind the
// frame count still hold the sentinel.
void expect_matches_reference(const std::vector<float>& x, const Call& c) {
    const std::vector<float> dst = run(x, c);
    const int freq_n = c.fft_n / 2 + 1;
    const int frames = std::min(stft_ref::frame_count(c.sample_n, c.fft_n, c.hop_n, c.center),
                                c.max_frame_n);
    for (int t = 0; t < c.max_frame_n; ++t) {
        std::vector<cd> spectrum;
        double tol = 0;
        if (t < frames) {
            spectrum = stft_ref::frame_spectrum(x, c.fft_n, c.hop_n, c.win_n, c.win_type, c.center,
                                            c.norm_type, t);
            double peak = 0;
            for (const cd& v : spectrum) peak = std::max(peak, std::abs(v));
            tol = 3e-6 * std::sqrt(static_cast<double>(c.fft_n)) * (peak + 1e-3);
        }
        for (int k = 0; k < freq_n; ++k) {
            const float re = dst[2 * (size_t(k) * c.max_frame_n + t)];
            const float im = dst[2 * (size_t(k) * c.max_frame_n + t) + 1];
            if (t >= frames) {
                ASSERT_EQ(re, kSentinel);
                ASSERT_EQ(im, kSentinel);
                continue;
            }
            const cd want = spectrum[k];
            if (!(c.power > 0.0f)) {
                ASSERT_NEAR(re, want.real(), tol) << "t " << t << " k " << k;
                ASSERT_NEAR(im, want.imag(), tol) << "t " << t << " k " << k;
            } else {
                // The magnitude recovered from the powered value, so one tolerance serves.
                ASSERT_GE(re, 0.0f);
                ASSERT_NEAR(std::pow(double(re), 1.0 / c.power), std::abs(want), tol)
                    << "t " << t << " k " << k << " power " << c.power;
                ASSERT_EQ(im, 0.0f);
            }
        }
    }
}

}  // namespace

TEST(Spectrogram, MatchesWindowedDftInEveryModeAndPlacement) {
    const std::vector<float> x = stft_ref::test_signal(57, 1);
    const int shapes[][3] = {
        // fft_n, win_n, win_type
        {16, 16, 1},  // window fills the frame
        {16, 12, 2},  // even difference: two zeros on each side
        {16, 11, 1},  // odd difference: the span's last sample meets a zero
        {15, 15, 2},  // odd transform length
        {15, 10, 1},  // odd length and odd difference
        {12, 13, 2},  // window one longer than the frame: its last sample unused
        {32, 20, 1},  // power of two with a shorter window
    };
    for (const auto& s : shapes)
        for (int center : {0, 1, 2})
            for (int norm : {0, 1, 2})
                for (float power : {0.0f, 1.0f, 2.0f, 0.7f}) {
                    SCOPED_TRACE(testing::Message() << "fft " << s[0] << " win " << s[1] << " center " << center
                                                    << " norm " << norm << " power " << power);
                    const int frames = stft_ref::frame_count(57, s[0], 5, center);
                    // Three columns more than computed: they must keep the sentinel.
                    expect_matches_reference(x, {57, s[0], 5, s[1], s[2], frames + 3, center, power, norm});
                }
    // Frames reaching past both ends of signals as long as the frame.
    expect_matches_reference({1.0f, -2.0f}, {2, 2, 1, 2, 2, 4, 1, 0.0f, 0});
    expect_matches_reference({0.5f, -1.0f, 2.0f}, {3, 3, 1, 3, 2, 5, 1, 0.0f, 1});
}

TEST(Spectrogram, MaxFrameCountCutsAndKeepsTheStride) {
    const std::vector<float> x = stft_ref::test_signal(200, 3);
    const Call all = {200, 32, 10, 32, 1, 21, 1, 0.0f, 0};  // exactly the 21 frames
    Call cut = all;
    cut.max_frame_n = 5;
    const std::vector<float> full = run(x, all), part = run(x, cut);
    for (int k = 0; k <= 16; ++k)
        for (int f = 0; f < 10; ++f) ASSERT_EQ(part[k * 10 + f], full[k * 42 + f]);
}

TEST(Spectrogram, NoFrameWritesNothingAndNaNPowerActsAsZero) {
    const std::vector<float> x = {0.5f, -1.0f, 2.0f};
    for (int center : {0, 1, 2})
        for (float v : run(x, {3, 4, 1, 4, 1, 3, center, 1.0f, 0})) ASSERT_EQ(v, kSentinel);
    for (float v : run(x, {3, 2, 0, 2, 1, 1000, 1, 0.0f, 0})) ASSERT_EQ(v, kSentinel);  // hop 0
    // A huge frame over a short signal: no frame, so nothing of that size is built.
    std::vector<float> small(4, kSentinel);
    EXPECT_EQ(vorelAudioGetSpectrogram(small.data(), x.data(), 3, std::numeric_limits<int>::max(), 1, 400, 1, 1, 1,
                                       0.0f, 0),
              0);
    for (float v : small) ASSERT_EQ(v, kSentinel);
    const std::vector<float> y = stft_ref::test_signal(50, 6);
    const std::vector<float> complex_out = run(y, {50, 16, 4, 16, 1, 13, 1, 0.0f, 0});
    const std::vector<float> nan_out = run(y, {50, 16, 4, 16, 1, 13, 1, std::numeric_limits<float>::quiet_NaN(), 0});
    EXPECT_EQ(std::memcmp(complex_out.data(), nan_out.data(), nan_out.size() * 4), 0);
}

TEST(Spectrogram, ChecksInOrderWriteNothing) {
    const std::vector<float> x(64, 1.0f);
    std::vector<float> dst(2 * 9 * 8, kSentinel);
    auto call = [&](float* d, const float* s, Call c) {
        return vorelAudioGetSpectrogram(d, s, c.sample_n, c.fft_n, c.hop_n, c.win_n, c.win_type, c.max_frame_n,
                                        c.center, c.power, c.norm_type);
    };
    const Call ok = {64, 16, 8, 16, 1, 8, 1, 1.0f, 0};
    EXPECT_EQ(call(nullptr, x.data(), ok), -1);
    EXPECT_EQ(call(dst.data(), nullptr, ok), -1);
    const Call bad[] = {
        {0, 0, -1, 0, 0, 0, 3, -1.0f, 3},    // sample_n first, all others bad too
        {64, 0, -1, 0, 0, 0, 3, -1.0f, 3},   // fft_n
        {64, 16, -1, 0, 0, 0, 3, -1.0f, 3},  // hop_n
        {64, 16, 8, 0, 0, 0, 3, -1.0f, 3},   // win_n below 1
        {64, 16, 8, 18, 1, 8, 1, 1.0f, 0},   // win_n above fft_n + 1
        {64, 16, 8, std::numeric_limits<int>::max(), 1, 8, 1, 1.0f, 0},
        {64, 16, 8, 16, 3, 0, 3, -1.0f, 3},  // win_type
        {64, 16, 8, 16, 1, 0, 3, -1.0f, 3},  // max_frame_n
        {64, 16, 8, 16, 1, 8, 3, -1.0f, 3},  // center
        {64, 16, 8, 16, 1, 8, 1, -1.0f, 3},  // power
        {64, 16, 8, 16, 1, 8, 1, 1.0f, 3},   // norm_type
        {64, 16, 8, 16, 1, 8, 1, 1.0f, -1},
    };
    for (const Call& c : bad) EXPECT_EQ(call(dst.data(), x.data(), c), -1);
    for (float v : dst) ASSERT_EQ(v, kSentinel);
    Call edge = ok;
    edge.win_n = 17;  // one longer than the frame is accepted
    EXPECT_EQ(call(dst.data(), x.data(), edge), 0);
}

TEST(Spectrogram, ScaleFactorsAreTakenInOrder) {
    // The window-square sum runs front to back in float; a reassociated (vectorised) sum
    // would differ in the last bits for a long window.
    for (int type : {1, 2}) {
        const std::vector<float>& window = WindowTable::instance().ref_table(1001, type);
        volatile float sum = 0.0f;
        for (float w : window) sum = sum + w * w;
        const float factor = 1.0f / std::sqrt(static_cast<float>(sum));
        std::vector<float> comp(6, 3.0f);
        scale_stft_torch(comp, window);
        for (float v : comp) EXPECT_EQ(v, 3.0f * factor);
    }
    std::vector<float> comp(6, 3.0f);
    scale_stft_scipy(comp, 400);
    for (float v : comp) EXPECT_EQ(v, 3.0f * (2.0f / 400.0f));
}
