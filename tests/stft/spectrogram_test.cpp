// Spectrograms against a double-precision windowed DFT of each frame over every framing mode,
// window placement, scaling and power; every level against the scalar path to the bit, forward
// and inverse; short signals, the scale order and the checks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "common/isa_kit.h"
#include "stft/inverse_spectrogram.h"
#include "stft/spectrogram.h"
#include "stft/window_table.h"
#include "stft_reference.h"
#include "vorel_audio.h"

using namespace vorel::audio;

namespace {

constexpr float kSentinel = -7.25f, kInf = std::numeric_limits<float>::infinity();

struct Call {
    int sample_n, fft_n, hop_n, win_n, win_type, max_frame_n, center;
    float power;
    int norm_type;
};

int call(float* dst, const float* src, const Call& c) {
    return vorelAudioGetSpectrogram(dst, src, c.sample_n, c.fft_n, c.hop_n, c.win_n, c.win_type, c.max_frame_n,
                                    c.center, c.power, c.norm_type);
}

std::vector<float> run(const std::vector<float>& x, const Call& c) {
    std::vector<float> dst(2 * static_cast<size_t>(c.fft_n / 2 + 1) * c.max_frame_n, kSentinel);
    EXPECT_EQ(call(dst.data(), x.data(), c), VOREL_STATUS_SUCCESS);
    return dst;
}

// Every computed cell against the reference, at stride max_frame_n; columns behind the frame
// count keep the sentinel.
void expect_matches_reference(const std::vector<float>& x, const Call& c) {
    const std::vector<float> dst = run(x, c);
    const int frames = std::min(stft_ref::frame_count(c.sample_n, c.fft_n, c.hop_n, c.center), c.max_frame_n);
    for (int t = 0; t < c.max_frame_n; ++t) {
        std::vector<stft_ref::cd> spectrum;
        double peak = 0;
        if (t < frames)
            spectrum = stft_ref::frame_spectrum(x, c.fft_n, c.hop_n, c.win_n, c.win_type, c.center, c.norm_type, t);
        for (const auto& v : spectrum) peak = std::max(peak, std::abs(v));
        const double tol = 3e-6 * std::sqrt(double(c.fft_n)) * (peak + 1e-3);
        for (int k = 0; k <= c.fft_n / 2; ++k) {
            const float re = dst[2 * (size_t(k) * c.max_frame_n + t)],
                        im = dst[2 * (size_t(k) * c.max_frame_n + t) + 1];
            if (t >= frames) {
                ASSERT_TRUE(re == kSentinel && im == kSentinel) << "t " << t << " k " << k;
            } else if (!(c.power > 0.0f)) {
                ASSERT_NEAR(re, spectrum[k].real(), tol) << "t " << t << " k " << k;
                ASSERT_NEAR(im, spectrum[k].imag(), tol) << "t " << t << " k " << k;
            } else {  // the magnitude recovered from the powered value, so one tolerance serves
                ASSERT_NEAR(std::pow(double(re), 1.0 / c.power), std::abs(spectrum[k]), tol) << "t " << t << " k " << k;
                ASSERT_EQ(im, 0.0f);
            }
        }
    }
}

}  // namespace

TEST(Spectrogram, MatchesWindowedDftInEveryModeAndPlacement) {
    const std::vector<float> x = stft_ref::test_signal(57, 1);
    const int shapes[][3] = {                                        // fft_n, win_n, win_type
                             {16, 16, 1}, {16, 12, 2}, {16, 11, 1},  // full, even and odd difference
                             {15, 15, 2}, {15, 10, 1},               // odd length, odd difference
                             {12, 13, 2}, {32, 20, 1}};              // one longer: last sample unused
    for (const auto& s : shapes)
        for (int center : {0, 1, 2})
            for (int norm : {0, 1, 2})
                for (float power : {0.0f, 2.0f, 0.7f}) {
                    SCOPED_TRACE(::testing::Message() << "fft " << s[0] << " win " << s[1] << " center " << center
                                                      << " norm " << norm << " power " << power);
                    const int frames = stft_ref::frame_count(57, s[0], 5, center);
                    // More columns than frames, and fewer: the stride is always max_frame_n.
                    expect_matches_reference(x, {57, s[0], 5, s[1], s[2], frames + 3, center, power, norm});
                    expect_matches_reference(x, {57, s[0], 5, s[1], s[2], frames - 4, center, power, norm});
                }
    // Frames reaching past both ends of signals as long as the frame.
    expect_matches_reference({1.0f, -2.0f}, {2, 2, 1, 2, 2, 4, 1, 0.0f, 0});
    expect_matches_reference({0.5f, -1.0f, 2.0f}, {3, 3, 1, 3, 2, 5, 1, 0.0f, 1});
}

class ShortTimeLevels : public vorel::audio::testing::EachIsa {};
VOREL_FOR_EACH_ISA(ShortTimeLevels);

// Each level against the scalar path, forward and back, over frame counts that leave a tail,
// rows at every place of a cache line, and frames of zeros, subnormals, infinities and NaN.
TEST_P(ShortTimeLevels, EqualTheScalarPathBitForBit) {
    std::vector<float> x = stft_ref::test_signal(4000, 11);
    auto expect_level_matches = [&](const Call& c) {
        const int frames = stft_frame_len(c.sample_n, c.fft_n, c.hop_n, c.center, 1 << 20);
        // `offset` floats before the output, `spare` columns after the frames: both keep the sentinel.
        auto forward = [&](simd::Isa isa, std::size_t offset, int spare) {
            const int max_frame_n = frames + spare;
            std::vector<float> dst(offset + 2 * static_cast<std::size_t>(c.fft_n / 2 + 1) * max_frame_n, kSentinel);
            spectrogram(dst.data() + offset, x.data(), c.sample_n, c.fft_n, c.hop_n, c.win_n, c.win_type, max_frame_n,
                        c.center, c.power, c.norm_type, isa);
            return dst;
        };
        const std::vector<float> spectrum = forward(simd::Isa::scalar, 0, 0);
        stft_ref::expect_same_bits(forward(GetParam(), 0, 0), spectrum);
        // Rows that start at other places of a cache line.
        const std::size_t offset = 1 + static_cast<std::size_t>(c.fft_n + c.center + c.norm_type) % 7;
        stft_ref::expect_same_bits(forward(GetParam(), offset, 3), forward(simd::Isa::scalar, offset, 3));
        if (c.power > 0.0f) return;
        const int freq_n = c.fft_n / 2 + 1, inverse_n = 2 * freq_n - 2;
        const int sample_n = get_sample_len(frames, freq_n, c.hop_n, c.center != 0);
        // Every sample, and a cut after ten frames that leaves the later ones out.
        for (int max_sample_n : {sample_n, 9 * c.hop_n + 5}) {
            auto inverse = [&](simd::Isa isa) {
                std::vector<float> dst(static_cast<std::size_t>(max_sample_n), kSentinel);
                inverse_spectrogram(dst.data(), spectrum.data(), frames, freq_n, c.hop_n, std::min(c.win_n, inverse_n),
                                    c.win_type, max_sample_n, c.center, c.norm_type, isa);
                return dst;
            };
            stft_ref::expect_same_bits(inverse(GetParam()), inverse(simd::Isa::scalar));
        }
    };
    // Frame counts of 20 to 41 with these hops, never a whole number of groups; 7 frames: no group.
    for (int fft_n : {400, 512, 401, 12})
        for (int center : {0, 1, 2})
            for (int norm : {0, 1, 2})
                for (float power : {0.0f, 2.0f, 0.7f}) {
                    SCOPED_TRACE(::testing::Message() << fft_n << " " << center << " " << norm << " " << power);
                    expect_level_matches({4000, fft_n, fft_n / 4 + 3, fft_n == 12 ? 12 : fft_n - 55, 1 + norm % 2, 0,
                                          center, power, norm});
                }
    expect_level_matches({4000, 400, 600, 400, 2, 0, 1, 2.0f, 1});
    // A long frame: fewer groups of cells per row run, 101 frames in three runs and a tail.
    expect_level_matches({4000, 2000, 40, 2000, 1, 0, 1, 0.0f, 0});
    // Radices 3 and 7 in the lanes.
    expect_level_matches({4000, 420, 107, 365, 1, 0, 1, 2.0f, 0});
    expect_level_matches({4000, 441, 113, 441, 2, 0, 2, 0.0f, 2});
    // Frames of signed zeros only and of subnormals, then infinities and NaN in single frames.
    for (int i = 700; i < 1300; ++i) x[i] = i % 3 == 0 ? -0.0f : 0.0f;
    for (int i = 2000; i < 2600; ++i) x[i] = x[i] * 1e-39f;
    for (float power : {0.0f, 2.0f}) expect_level_matches({4000, 400, 160, 400, 2, 0, 1, power, 0});
    x[100] = kInf, x[1700] = std::numeric_limits<float>::quiet_NaN(), x[2500] = -kInf;
    for (int fft_n : {512, 400})
        for (float power : {0.0f, 2.0f}) expect_level_matches({4000, fft_n, 160, fft_n, 2, 0, 1, power, 1});
}

TEST(Spectrogram, NoFrameWritesNothingAndNaNPowerActsAsZero) {
    const std::vector<float> x = {0.5f, -1.0f, 2.0f};
    for (int center : {0, 1, 2})
        for (float v : run(x, {3, 4, 1, 4, 1, 3, center, 1.0f, 0})) ASSERT_EQ(v, kSentinel);
    for (float v : run(x, {3, 2, 0, 2, 1, 1000, 1, 0.0f, 0})) ASSERT_EQ(v, kSentinel);  // hop 0
    // A huge frame over a short signal: no frame, so nothing of that size is built.
    std::vector<float> small(4, kSentinel);
    EXPECT_EQ(call(small.data(), x.data(), {3, std::numeric_limits<int>::max(), 1, 400, 1, 1, 1, 0.0f, 0}), 0);
    EXPECT_EQ(small, std::vector<float>(4, kSentinel));
    const std::vector<float> y = stft_ref::test_signal(50, 6);
    stft_ref::expect_same_bits(run(y, {50, 16, 4, 16, 1, 13, 1, std::numeric_limits<float>::quiet_NaN(), 0}),
                               run(y, {50, 16, 4, 16, 1, 13, 1, 0.0f, 0}));
}

TEST(Spectrogram, ChecksInOrderWriteNothing) {
    const std::vector<float> x(64, 1.0f);
    std::vector<float> dst(2 * 9 * 8, kSentinel);
    const Call ok = {64, 16, 8, 16, 1, 8, 1, 1.0f, 0};
    EXPECT_EQ(call(nullptr, x.data(), ok), -1);
    EXPECT_EQ(call(dst.data(), nullptr, ok), -1);
    const Call bad[] = {
        {0, 0, -1, 0, 0, 0, 3, -1.0f, 3},   {64, 0, -1, 0, 0, 0, 3, -1.0f, 3},  // sample_n, fft_n
        {64, 16, -1, 0, 0, 0, 3, -1.0f, 3}, {64, 16, 8, 0, 0, 0, 3, -1.0f, 3},  // hop_n, win_n below 1
        {64, 16, 8, 18, 1, 8, 1, 1.0f, 0},  {64, 16, 8, std::numeric_limits<int>::max(), 1, 8, 1, 1.0f, 0},
        {64, 16, 8, 16, 3, 0, 3, -1.0f, 3}, {64, 16, 8, 16, 1, 0, 3, -1.0f, 3},  // win_type, max_frame_n
        {64, 16, 8, 16, 1, 8, 3, -1.0f, 3}, {64, 16, 8, 16, 1, 8, 1, -1.0f, 3},  // center, power
        {64, 16, 8, 16, 1, 8, 1, 1.0f, 3},  {64, 16, 8, 16, 1, 8, 1, 1.0f, -1},  // norm_type
    };
    for (const Call& c : bad) EXPECT_EQ(call(dst.data(), x.data(), c), -1);
    EXPECT_EQ(dst, std::vector<float>(dst.size(), kSentinel));
    EXPECT_EQ(call(dst.data(), x.data(), {64, 16, 8, 17, 1, 8, 1, 1.0f, 0}), 0);  // win_n = fft_n + 1 is accepted
}

TEST(Spectrogram, WindowSquareSumRunsFrontToBack) {
    // A reassociated (vectorised) sum would differ in the last bits for a long window.
    for (int type : {1, 2}) {
        const std::vector<float>& window = WindowTable::instance().ref_table(1001, type);
        volatile float sum = 0.0f;
        for (float w : window) sum = sum + w * w;
        std::vector<float> comp(6, 3.0f);
        scale_stft_torch(comp, window);
        EXPECT_EQ(comp, std::vector<float>(6, 3.0f * (1.0f / std::sqrt(static_cast<float>(sum)))));
    }
}
