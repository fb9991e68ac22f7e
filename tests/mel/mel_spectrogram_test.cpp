// The mel spectrogram end to end: against a double-precision composition of framing, DFT and
// filter bank, against the spectrogram followed by the filter bank product, its packing, and
// its checks.
#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "stft/stft_reference.h"
#include "mel/bits.h"
#include "vorel_audio.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

struct Config {
    int rate = 16000, fft_n = 400, hop_n = 160, win_n = 400, win_type = 1, center = 1;
    float power = 2.0f;
    int norm_type = 0;
    float f_min = 0.0f, f_max = 8000.0f;
    int mel_n = 80, mel_norm = 1, mel_formula = 0;
};

int frame_len(int sample_n, const Config& c, int max_frame_n) {
    int n = 0;
    EXPECT_EQ(vorelAudioGetFrameLen(&n, sample_n, c.fft_n, c.hop_n, c.center), 0);
    return std::min(n, max_frame_n);
}

int run(std::vector<float>& out, const std::vector<float>& x, const Config& c, int max_frame_n) {
    return vorelAudioGetMelSpectrogram(out.data(), x.data(), static_cast<int>(x.size()), c.rate,
                                       c.fft_n, c.hop_n, c.win_n, c.win_type, max_frame_n,
                                       c.center, c.power, c.norm_type, c.f_min, c.f_max, c.mel_n,
                                       c.mel_norm, c.mel_formula);
}

// Output of exactly mel_n * F floats, F from the frame count and the limit.
std::vector<float> mel(const std::vector<float>& x, const Config& c, int max_frame_n = INT_MAX) {
    const int frames = frame_len(static_cast<int>(x.size()), c, max_frame_n);
    std::vector<float> out(static_cast<std::size_t>(c.mel_n) * frames);
    EXPECT_EQ(run(out, x, c, max_frame_n), VOREL_STATUS_SUCCESS);
    return out;
}

std::vector<float> bank(const Config& c) {
    const int freq_n = c.fft_n / 2 + 1;
    std::vector<float> fb(static_cast<std::size_t>(c.mel_n) * freq_n);
    EXPECT_EQ(vorelAudioGetFBMatrix(fb.data(), freq_n, c.f_min, c.f_max, c.mel_n, c.rate,
                                    c.mel_norm, c.mel_formula),
              0);
    return fb;
}

// The same frames through the spectrogram, reduced to its first floats, then the product.
std::vector<float> spectrogram_then_product(const std::vector<float>& x, const Config& c) {
    const int freq_n = c.fft_n / 2 + 1;
    const int frames = frame_len(static_cast<int>(x.size()), c, INT_MAX);
    std::vector<float> cells(2 * static_cast<std::size_t>(freq_n) * frames);
    EXPECT_EQ(vorelAudioGetSpectrogram(cells.data(), x.data(), static_cast<int>(x.size()), c.fft_n,
                                       c.hop_n, c.win_n, c.win_type, frames, c.center, c.power,
                                       c.norm_type),
              0);
    std::vector<float> mag(static_cast<std::size_t>(freq_n) * frames);
    for (std::size_t i = 0; i < mag.size(); ++i) mag[i] = cells[2 * i];
    const std::vector<float> fb = bank(c);
    std::vector<float> out(static_cast<std::size_t>(c.mel_n) * frames);
    EXPECT_EQ(vorelAudioConvertToMel(out.data(), mag.data(), fb.data(), freq_n, frames, c.mel_n),
              0);
    return out;
}

}  // namespace

TEST(MelSpectrogram, MatchesDoubleComposition) {
    const std::vector<float> x = stft_ref::test_signal(4000, 3);
    for (int center : {0, 1, 2}) {
        for (int formula : {0, 1}) {
            Config c;
            c.center = center;
            c.mel_formula = formula;
            c.norm_type = center;  // every scaling once
            const std::vector<float> got = mel(x, c);
            const std::vector<float> fb = bank(c);
            const int freq_n = c.fft_n / 2 + 1;
            const int frames = static_cast<int>(got.size()) / c.mel_n;
            ASSERT_EQ(frames, stft_ref::frame_count(4000, c.fft_n, c.hop_n, center));
            for (int t = 0; t < frames; ++t) {
                const std::vector<stft_ref::cd> spec = stft_ref::frame_spectrum(
                    x, c.fft_n, c.hop_n, c.win_n, c.win_type, center, c.norm_type, t);
                double top = 0.0;
                std::vector<double> want(c.mel_n, 0.0);
                for (int m = 0; m < c.mel_n; ++m) {
                    for (int k = 0; k < freq_n; ++k)
                        want[m] += std::norm(spec[k]) * fb[m * freq_n + k];
                    top = std::max(top, want[m]);
                }
                for (int m = 0; m < c.mel_n; ++m)
                    ASSERT_NEAR(got[m * frames + t], want[m], 2e-5 * top)
                        << "center " << center << " htk " << formula << " frame " << t
                        << " band " << m;
            }
        }
    }
}

TEST(MelSpectrogram, EqualsSpectrogramThenProductBitForBit) {
    std::vector<float> x = stft_ref::test_signal(3001, 9);
    Config c;
    c.mel_n = 40;
    for (int center : {0, 1, 2}) {
        for (int norm_type : {0, 1, 2}) {
            for (float power : {1.0f, 2.0f, 0.5f}) {
                c.center = center;
                c.norm_type = norm_type;
                c.power = power;
                expect_same_bits(mel(x, c), spectrogram_then_product(x, c));
            }
        }
    }
    // Odd and power-of-two lengths, a shorter window, Hamming, htk without norm.
    for (int fft_n : {255, 256, 512}) {
        Config d;
        d.fft_n = fft_n;
        d.win_n = fft_n - 31;
        d.win_type = 2;
        d.hop_n = 100;
        d.mel_n = 32;
        d.mel_norm = 0;
        d.mel_formula = 1;
        d.f_min = 60.0f;
        expect_same_bits(mel(x, d), spectrogram_then_product(x, d));
    }
    // Non-finite samples reach every band of their frames, skipping or not.
    x[1500] = std::numeric_limits<float>::infinity();
    x[2200] = kNaN;
    c = Config{};
    const std::vector<float> poisoned = mel(x, c);
    expect_same_bits(poisoned, spectrogram_then_product(x, c));
    const int frames = static_cast<int>(poisoned.size()) / c.mel_n;
    EXPECT_TRUE(std::isnan(poisoned[0 * frames + 1500 / 160]));
    EXPECT_TRUE(std::isnan(poisoned[79 * frames + 2200 / 160]));
}

TEST(MelSpectrogram, PowerZeroGivesRowSumsOfTheBank) {
    Config c;
    c.power = 0.0f;
    c.mel_n = 20;
    const std::vector<float> out = mel(stft_ref::test_signal(2000, 4), c);
    const std::vector<float> fb = bank(c);
    const int freq_n = c.fft_n / 2 + 1;
    const int frames = static_cast<int>(out.size()) / c.mel_n;
    for (int m = 0; m < c.mel_n; ++m) {
        float sum = 0.0f;
        for (int k = 0; k < freq_n; ++k) sum = sum + fb[m * freq_n + k] * 1.0f;
        for (int t = 0; t < frames; ++t) ASSERT_EQ(out[m * frames + t], sum) << m << " " << t;
    }
}

TEST(MelSpectrogram, RowsArePackedWithTheComputedFrameCount) {
    Config c;
    c.mel_n = 10;
    const std::vector<float> x = stft_ref::test_signal(1000, 5);  // 7 centred frames
    const std::vector<float> packed = mel(x, c);
    ASSERT_EQ(packed.size(), 70u);
    // A generous limit changes nothing, and nothing past 7 * mel_n is written.
    std::vector<float> roomy(10 * 100, -5.0f);
    ASSERT_EQ(run(roomy, x, c, 100), 0);
    for (std::size_t i = 0; i < 70; ++i) EXPECT_EQ(roomy[i], packed[i]) << i;
    for (std::size_t i = 70; i < roomy.size(); ++i) ASSERT_EQ(roomy[i], -5.0f) << i;
    // A tight limit keeps the first frames, with the limit as stride.
    std::vector<float> tight(10 * 3, -5.0f);
    ASSERT_EQ(run(tight, x, c, 3), 0);
    for (int m = 0; m < 10; ++m)
        for (int t = 0; t < 3; ++t) EXPECT_EQ(tight[m * 3 + t], packed[m * 7 + t]);
}

TEST(MelSpectrogram, NoFramesLeaveTheOutputAlone) {
    Config c;
    std::vector<float> out(800, -2.0f);
    const std::vector<float> shorter = stft_ref::test_signal(399, 1);
    for (int center : {0, 1, 2}) {
        c.center = center;
        EXPECT_EQ(run(out, shorter, c, 10), 0);
    }
    // A zero hop passes the checks and yields no frame.
    c.hop_n = 0;
    EXPECT_EQ(run(out, stft_ref::test_signal(4000, 1), c, 10), 0);
    for (float v : out) EXPECT_EQ(v, -2.0f);
}

TEST(MelSpectrogram, BandLimitAndOddLengths) {
    Config c;
    c.fft_n = 64;
    c.win_n = 64;
    c.hop_n = 32;
    c.mel_n = 32;  // fft_n / 2 is the most allowed
    const std::vector<float> x = stft_ref::test_signal(256, 2);
    std::vector<float> out(32 * 9, 0.0f);
    EXPECT_EQ(run(out, x, c, 100), 0);
    c.mel_n = 33;
    EXPECT_EQ(run(out, x, c, 100), -1);
    // fft_n 5 keeps 3 bins, so 2 bands fit; fft_n 1 admits no band at all.
    c.fft_n = 5;
    c.win_n = 5;
    c.mel_n = 2;
    c.hop_n = 2;
    expect_same_bits(mel(x, c), spectrogram_then_product(x, c));
    c.fft_n = 1;
    c.win_n = 1;
    c.mel_n = 1;
    EXPECT_EQ(run(out, x, c, 100), -1);
}

TEST(MelSpectrogram, WindowAtMostOneLongerThanTheFrame) {
    Config c;
    c.mel_n = 40;
    const std::vector<float> x = stft_ref::test_signal(2000, 8);
    c.win_n = 401;
    expect_same_bits(mel(x, c), spectrogram_then_product(x, c));
    std::vector<float> out(40 * 20, 1.5f);
    c.win_n = 402;
    EXPECT_EQ(run(out, x, c, 20), -1);
    c.win_n = INT_MAX;
    EXPECT_EQ(run(out, x, c, 20), -1);
    // With fft_n INT_MAX the bound fft_n + 1 must not wrap: the window passes, and the
    // transform table is then refused for want of memory.
    c.fft_n = INT_MAX;
    EXPECT_EQ(run(out, x, c, 20), VOREL_STATUS_OUT_OF_MEMORY);
    for (float v : out) EXPECT_EQ(v, 1.5f);
}

TEST(MelSpectrogramCall, ChecksRefuseInOrderAndLeaveOutputAlone) {
    const std::vector<float> x = stft_ref::test_signal(1000, 6);
    std::vector<float> out(80 * 10, 4.25f);
    auto call = [&](auto change) {
        Config c;
        int sample_n = 1000, max_frame_n = 10;
        change(c, sample_n, max_frame_n);
        return vorelAudioGetMelSpectrogram(out.data(), x.data(), sample_n, c.rate, c.fft_n,
                                           c.hop_n, c.win_n, c.win_type, max_frame_n, c.center,
                                           c.power, c.norm_type, c.f_min, c.f_max, c.mel_n,
                                           c.mel_norm, c.mel_formula);
    };
    using C = Config;
    EXPECT_EQ(vorelAudioGetMelSpectrogram(nullptr, x.data(), 1000, 16000, 400, 160, 400, 1, 10, 1,
                                          2.0f, 0, 0.0f, 8000.0f, 80, 1, 0),
              VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioGetMelSpectrogram(out.data(), nullptr, 1000, 16000, 400, 160, 400, 1, 10,
                                          1, 2.0f, 0, 0.0f, 8000.0f, 80, 1, 0),
              VOREL_STATUS_INVALID_ARGUMENT);
    // One failing step at a time, everything else valid.
    const int refused[] = {
        call([](C&, int& s, int&) { s = 0; }),
        call([](C& c, int&, int&) { c.rate = 0; }),
        call([](C& c, int&, int&) { c.fft_n = 0; }),
        call([](C& c, int&, int&) { c.hop_n = -1; }),
        call([](C& c, int&, int&) { c.win_n = 0; }),
        call([](C& c, int&, int&) { c.win_type = 3; }),
        call([](C&, int&, int& f) { f = 0; }),
        call([](C& c, int&, int&) { c.center = 3; }),
        call([](C& c, int&, int&) { c.power = -1.0f; }),
        call([](C& c, int&, int&) { c.norm_type = 3; }),
        call([](C& c, int&, int&) { c.f_min = -1.0f; }),
        call([](C& c, int&, int&) { c.f_max = -1.0f; }),
        call([](C& c, int&, int&) { c.f_max = c.f_min; }),
        call([](C& c, int&, int&) { c.mel_n = 0; }),
        call([](C& c, int&, int&) { c.mel_n = 201; }),
        call([](C& c, int&, int&) { c.mel_norm = 2; }),
        call([](C& c, int&, int&) { c.mel_formula = -1; }),
        // Everything wrong at once.
        call([](C& c, int& s, int& f) {
            s = INT_MIN, f = INT_MIN;
            c = {INT_MIN, INT_MIN, INT_MIN, INT_MIN, 9, INT_MIN, -1.0f, 9, -1.0f, -2.0f, INT_MIN, 9, 9};
        }),
    };
    for (int status : refused) EXPECT_EQ(status, -1);
    for (float v : out) EXPECT_EQ(v, 4.25f);
    EXPECT_EQ(call([](C&, int&, int&) {}), 0);
}

TEST(MelSpectrogramCall, NanAndHugeArgumentsEndInAStatus) {
    const std::vector<float> x = stft_ref::test_signal(1000, 7);
    Config c;
    c.mel_n = 20;
    // A NaN power or limit passes the checks and flows into the output.
    c.power = kNaN;
    for (float v : mel(x, c)) EXPECT_TRUE(std::isnan(v));
    c.power = 2.0f;
    c.f_max = kNaN;
    c.rate = 16001;  // a key of its own: a NaN limit is equivalent to any other in the cache
    for (float v : mel(x, c)) EXPECT_TRUE(std::isnan(v));
    // Tables beyond any machine are refused before they are built.
    std::vector<float> out(16, 1.0f);
    c = Config{};
    c.fft_n = INT_MAX;
    c.win_n = 4;
    c.mel_n = INT_MAX / 2;
    EXPECT_EQ(run(out, x, c, 1), VOREL_STATUS_OUT_OF_MEMORY);
    c.fft_n = 1 << 30;
    c.mel_n = 1 << 20;
    EXPECT_EQ(run(out, x, c, 1), VOREL_STATUS_OUT_OF_MEMORY);
    for (float v : out) EXPECT_EQ(v, 1.0f);
}
