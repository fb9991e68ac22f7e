// Spectrograms against a double-precision windowed DFT of each frame, over every framing mode,
// scaling and power; output layout, window placement, short signals and the checks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

#include "features/complex_norm.h"
#include "stft/spectrogram.h"
#include "stft/window_table.h"
#include "stft_reference.h"
#include "transform/fft_table.h"
#include "vorel_audio.h"

using namespace vorel::audio;
using stft_ref::cd;

namespace {

constexpr float kSentinel = -7.25f;

struct Shape {
    int fft_n, win_n, win_type;
};

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

TEST(Spectrogram, MatchesWindowedDftInEveryMode) {
    const std::vector<float> x = stft_ref::test_signal(57, 1);
    const Shape shapes[] = {
        {16, 16, 1},  // window fills the frame
        {16, 12, 2},  // even difference: two zeros on each side
        {16, 11, 1},  // odd difference: the span's last sample meets a zero
        {15, 15, 2},  // odd transform length
        {15, 10, 1},  // odd length and odd difference
        {12, 13, 2},  // window one longer than the frame: its last sample unused
    };
    for (const Shape& s : shapes)
        for (int center : {0, 1, 2})
            for (int norm : {0, 1, 2})
                for (float power : {0.0f, 1.0f, 2.0f, 0.7f}) {
                    SCOPED_TRACE(testing::Message() << "fft " << s.fft_n << " win " << s.win_n
                                                    << " center " << center << " norm " << norm
                                                    << " power " << power);
                    const int frames = stft_ref::frame_count(57, s.fft_n, 5, center);
                    expect_matches_reference(
                        x, {57, s.fft_n, 5, s.win_n, s.win_type, frames + 3, center, power, norm});
                }
}

TEST(Spectrogram, PowerTwoTransformLengths) {
    const std::vector<float> x = stft_ref::test_signal(300, 2);
    for (int center : {0, 1, 2}) {
        expect_matches_reference(x, {300, 64, 16, 64, 1, 40, center, 0.0f, 2});
        expect_matches_reference(x, {300, 32, 7, 20, 2, 60, center, 1.0f, 1});
    }
}

TEST(Spectrogram, MaxFrameCountCutsAndKeepsTheStride) {
    const std::vector<float> x = stft_ref::test_signal(200, 3);
    const Call all = {200, 32, 10, 32, 1, 21, 1, 0.0f, 0};  // exactly the 21 frames
    Call cut = all;
    cut.max_frame_n = 5;
    const std::vector<float> full = run(x, all);
    const std::vector<float> part = run(x, cut);
    for (int k = 0; k <= 16; ++k)
        for (int t = 0; t < 5; ++t)
            for (int f = 0; f < 2; ++f)
                ASSERT_EQ(part[2 * (k * 5 + t) + f], full[2 * (k * 21 + t) + f]);
}

TEST(Spectrogram, WindowPlacementZeroesTheFrameEnds) {
    // A constant signal makes each bin-0 value the sum of the placed window, and the window's
    // zeros show as frames that ignore a spike sitting outside the span.
    std::vector<float> x(40, 0.0f);
    x[0] = 1000.0f;  // in frame 0, position 0: outside a window of 6 in a frame of 10
    x[9] = 1000.0f;  // position 9: outside as well (2 zeros in front, 2 behind)
    const std::vector<float> spectrum = run(x, {40, 10, 10, 6, 1, 4, 0, 0.0f, 0});
    for (int k = 0; k <= 5; ++k) {
        EXPECT_EQ(spectrum[2 * (k * 4)], 0.0f) << k;
        EXPECT_EQ(spectrum[2 * (k * 4) + 1], 0.0f) << k;
    }
    // Odd difference (win 7 in 10): front 1 zero, window at 1..7, position 8 meets 0, 9 zero.
    std::vector<float> y(10, 0.0f);
    y[8] = 5.0f;
    const std::vector<float> odd = run(y, {10, 10, 1, 7, 2, 1, 0, 0.0f, 0});
    for (int k = 0; k <= 5; ++k) EXPECT_EQ(odd[2 * k], 0.0f) << k;
}

TEST(Spectrogram, NormComesBeforePower) {
    const std::vector<float> x = stft_ref::test_signal(64, 4);
    const std::vector<float> plain = run(x, {64, 16, 8, 16, 1, 7, 0, 2.0f, 0});
    const std::vector<float> scipy = run(x, {64, 16, 8, 16, 1, 7, 0, 2.0f, 2});
    // Power 2 of a spectrum scaled by 2/16 is the power scaled by 1/64.
    for (size_t i = 0; i < plain.size(); i += 2)
        ASSERT_NEAR(scipy[i], plain[i] / 64.0, 1e-6 * (plain[i] + 1e-3));
}

TEST(Spectrogram, FastPathsMatchTheLiteralSteps) {
    // The frame loop takes norms of the kept bins only; the literal steps take them of all.
    const std::vector<float> x = stft_ref::test_signal(90, 5);
    const int fft_n = 18, hop = 7, win_n = 13, frames = 90 / 7 + 1;
    const std::vector<float> got = run(x, {90, fft_n, hop, win_n, 2, frames, 1, 1.5f, 1});
    const std::vector<float>& table = FftTable::instance().ref_table(fft_n);
    const std::vector<float>& window = WindowTable::instance().ref_table(win_n, 2);
    std::vector<float> seg(fft_n), comp(2 * fft_n), scratch;
    for (int t = 0; t < frames; ++t) {
        for (int j = 0; j < fft_n; ++j)
            seg[j] = static_cast<float>(stft_ref::sample_at(x, int64_t(t) * hop - fft_n / 2 + j, 1));
        stft_core(comp, seg, fft_n, table, window, 1, scratch);
        complex_norm_1d(comp, 1.5f);
        for (int k = 0; k <= fft_n / 2; ++k) {
            ASSERT_EQ(got[2 * (k * frames + t)], comp[2 * k]);
            ASSERT_EQ(got[2 * (k * frames + t) + 1], comp[2 * k + 1]);
        }
    }
    // apply_window against an element-by-element product with the centred window.
    std::vector<float> frame(fft_n);
    for (int j = 0; j < fft_n; ++j) frame[j] = x[j] - 0.25f;
    std::vector<float> windowed = frame;
    apply_window(windowed, window);
    const int front = (fft_n - win_n) / 2;
    for (int j = 0; j < fft_n; ++j) {
        const float w = j >= front && j < front + win_n ? window[j - front] : 0.0f;
        EXPECT_EQ(windowed[j], frame[j] * w) << j;
    }
}

TEST(Spectrogram, ShortSignalsAndZeroHop) {
    std::vector<float> x = {0.5f, -1.0f, 2.0f};
    // Shorter than the frame: no frame in any mode, nothing written.
    for (int center : {0, 1, 2}) {
        const std::vector<float> dst = run(x, {3, 4, 1, 4, 1, 3, center, 1.0f, 0});
        for (float v : dst) ASSERT_EQ(v, kSentinel);
    }
    // hop 0 gives no frame and returns at once.
    for (float v : run(x, {3, 2, 0, 2, 1, 1000, 1, 0.0f, 0})) ASSERT_EQ(v, kSentinel);
    // A huge frame over a short signal: no frame, so nothing of that size is built.
    std::vector<float> small(4, kSentinel);
    EXPECT_EQ(vorelAudioGetSpectrogram(small.data(), x.data(), 3, std::numeric_limits<int>::max(),
                                       1, 400, 1, 1, 1, 0.0f, 0),
              0);
    for (float v : small) ASSERT_EQ(v, kSentinel);
    // One sample framed by a one-sample frame, centred: the second frame reflects to the
    // sample itself.
    const std::vector<float> one = {3.0f};
    const std::vector<float> dst = run(one, {1, 1, 1, 1, 2, 2, 1, 0.0f, 0});
    EXPECT_FLOAT_EQ(dst[0], 3.0f * (0.54f - 0.46f));
    EXPECT_EQ(dst[2], dst[0]);
    // Frames that reach past both ends of a signal as long as the frame.
    const std::vector<float> two = {1.0f, -2.0f};
    expect_matches_reference(two, {2, 2, 1, 2, 2, 4, 1, 0.0f, 0});
    expect_matches_reference(x, {3, 3, 1, 3, 2, 5, 1, 0.0f, 1});
}

TEST(Spectrogram, NaNPowerActsAsZero) {
    const std::vector<float> x = stft_ref::test_signal(50, 6);
    const std::vector<float> complex_out = run(x, {50, 16, 4, 16, 1, 13, 1, 0.0f, 0});
    const std::vector<float> nan_out =
        run(x, {50, 16, 4, 16, 1, 13, 1, std::numeric_limits<float>::quiet_NaN(), 0});
    EXPECT_EQ(std::memcmp(complex_out.data(), nan_out.data(), nan_out.size() * 4), 0);
}

TEST(Spectrogram, RepeatedAndConcurrentCallsAreIdentical) {
    const std::vector<float> x = stft_ref::test_signal(1000, 7);
    const Call c = {1000, 100, 25, 90, 2, 41, 1, 1.0f, 1};
    const std::vector<float> first = run(x, c);
    std::vector<std::vector<float>> outs(6);
    std::vector<std::thread> threads;
    for (auto& out : outs) threads.emplace_back([&] { out = run(x, c); });
    for (auto& th : threads) th.join();
    for (const auto& out : outs) ASSERT_EQ(std::memcmp(out.data(), first.data(), first.size() * 4), 0);
}

TEST(Spectrogram, ChecksInOrderWriteNothing) {
    const std::vector<float> x(64, 1.0f);
    std::vector<float> dst(2 * 9 * 8, kSentinel);
    auto call = [&](float* d, const float* s, Call c) {
        return vorelAudioGetSpectrogram(d, s, c.sample_n, c.fft_n, c.hop_n, c.win_n, c.win_type,
                                        c.max_frame_n, c.center, c.power, c.norm_type);
    };
    const Call ok = {64, 16, 8, 16, 1, 8, 1, 1.0f, 0};
    EXPECT_EQ(call(nullptr, x.data(), ok), -1);
    EXPECT_EQ(call(dst.data(), nullptr, ok), -1);
    const Call bad[] = {
        {0, 0, -1, 0, 0, 0, 3, -1.0f, 3},      // sample_n first, all others bad too
        {64, 0, -1, 0, 0, 0, 3, -1.0f, 3},     // fft_n
        {64, 16, -1, 0, 0, 0, 3, -1.0f, 3},    // hop_n
        {64, 16, 8, 0, 0, 0, 3, -1.0f, 3},     // win_n below 1
        {64, 16, 8, 18, 1, 8, 1, 1.0f, 0},     // win_n above fft_n + 1
        {64, 16, 8, 16, 3, 0, 3, -1.0f, 3},    // win_type
        {64, 16, 8, 16, 1, 0, 3, -1.0f, 3},    // max_frame_n
        {64, 16, 8, 16, 1, 8, 3, -1.0f, 3},    // center
        {64, 16, 8, 16, 1, 8, 1, -1.0f, 3},    // power
        {64, 16, 8, 16, 1, 8, 1, 1.0f, 3},     // norm_type
        {64, 16, 8, 16, 1, 8, 1, 1.0f, -1},    // norm_type
    };
    for (const Call& c : bad) EXPECT_EQ(call(dst.data(), x.data(), c), -1);
    for (float v : dst) ASSERT_EQ(v, kSentinel);
    Call edge = ok;
    edge.win_n = 17;  // one longer than the frame is accepted
    EXPECT_EQ(call(dst.data(), x.data(), edge), 0);
    edge.win_n = 16;
    edge.norm_type = 2;
    EXPECT_EQ(call(dst.data(), x.data(), edge), 0);
    std::vector<float> untouched(dst.size(), kSentinel);
    EXPECT_EQ(call(untouched.data(), x.data(),
                   {64, 16, 8, std::numeric_limits<int>::max(), 1, 8, 1, 1.0f, 0}),
              -1);
    for (float v : untouched) ASSERT_EQ(v, kSentinel);
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
