// The mel spectrogram end to end: bit for bit against the spectrogram followed by the filter bank
// product (each held to its own double reference) and every level against the scalar path, its
// packing, its checks, NaN or huge arguments, and what it allocates.
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "common/counting_new.h"
#include "common/isa_kit.h"
#include "mel/mel_spectrogram.h"
#include "stft/framing.h"
#include "stft/stft_reference.h"
#include "vorel_audio.h"

using stft_ref::expect_same_bits;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

struct Config {
    int rate = 16000, fft_n = 400, hop_n = 160, win_n = 400, win_type = 1, center = 1;
    float power = 2.0f;
    int norm_type = 0;
    float f_min = 0.0f, f_max = 8000.0f;
    int mel_n = 80, mel_norm = 1, mel_formula = 0;
};

int run(std::vector<float>& out, const std::vector<float>& x, const Config& c, int max_frame_n) {
    return vorelAudioGetMelSpectrogram(out.data(), x.data(), static_cast<int>(x.size()), c.rate, c.fft_n, c.hop_n,
                                       c.win_n, c.win_type, max_frame_n, c.center, c.power, c.norm_type, c.f_min,
                                       c.f_max, c.mel_n, c.mel_norm, c.mel_formula);
}

int frames_of(const std::vector<float>& x, const Config& c) {
    return vorel::audio::get_frame_len(static_cast<int>(x.size()), c.fft_n, c.hop_n, c.center);
}

std::vector<float> mel(const std::vector<float>& x, const Config& c) {
    std::vector<float> out(static_cast<std::size_t>(c.mel_n) * frames_of(x, c));
    EXPECT_EQ(run(out, x, c, INT_MAX), VOREL_STATUS_SUCCESS);
    return out;
}

// The same frames through the exported spectrogram, reduced to its first floats, then the product.
std::vector<float> spectrogram_then_product(const std::vector<float>& x, const Config& c) {
    const int freq_n = c.fft_n / 2 + 1, frames = frames_of(x, c);
    std::vector<float> cells(2 * static_cast<std::size_t>(freq_n) * frames),
        fb(static_cast<std::size_t>(c.mel_n) * freq_n);
    EXPECT_EQ(vorelAudioGetSpectrogram(cells.data(), x.data(), static_cast<int>(x.size()), c.fft_n, c.hop_n, c.win_n,
                                       c.win_type, frames, c.center, c.power, c.norm_type),
              0);
    EXPECT_EQ(vorelAudioGetFBMatrix(fb.data(), freq_n, c.f_min, c.f_max, c.mel_n, c.rate, c.mel_norm, c.mel_formula),
              0);
    std::vector<float> mag(static_cast<std::size_t>(freq_n) * frames), out(static_cast<std::size_t>(c.mel_n) * frames);
    for (std::size_t i = 0; i < mag.size(); ++i) mag[i] = cells[2 * i];
    EXPECT_EQ(vorelAudioConvertToMel(out.data(), mag.data(), fb.data(), freq_n, frames, c.mel_n), 0);
    return out;
}

// Shapes: the speech default under every framing mode, scaling and power; odd and power-of-two
// lengths, a window shorter or one longer, Hamming, htk without norm, the smallest two-band frame.
std::vector<Config> configs() {
    std::vector<Config> out;
    for (int center : {0, 1, 2})
        for (float power : {1.0f, 2.0f, 0.5f}) {
            Config c;
            c.mel_n = 40, c.center = center, c.norm_type = (center + static_cast<int>(power)) % 3, c.power = power;
            out.push_back(c);
        }
    for (int fft_n : {255, 512, 401, 5}) {
        Config d;
        d.fft_n = fft_n, d.win_n = fft_n == 401 ? 380 : fft_n == 5 ? 5 : fft_n - 31, d.win_type = 2;
        d.hop_n = fft_n == 5 ? 2 : 97, d.mel_n = fft_n == 5 ? 2 : 32, d.mel_norm = 0, d.mel_formula = 1,
        d.f_min = 60.0f;
        out.push_back(d);
    }
    out[out.size() - 2].win_n = 402;
    return out;
}

}  // namespace

class MelLevels : public vorel::audio::testing::EachIsa {};
VOREL_FOR_EACH_ISA(MelLevels);

// At every level, bit for bit: the scalar path, and the exported spectrogram then the product.
TEST_P(MelLevels, EqualTheScalarPathAndSpectrogramThenProduct) {
    std::vector<float> x = stft_ref::test_signal(3001, 9), loud = x;
    // Finite samples whose squared spectra overflow give infinite norms, which meet the zero
    // weights outside the spans; infinite and NaN samples reach every band of their frames.
    loud[1500] = 1e20f, loud[2200] = kNaN, loud[2600] = std::numeric_limits<float>::infinity();
    for (const std::vector<float>* signal : {&x, &loud})
        for (const Config& c : configs()) {
            SCOPED_TRACE(::testing::Message() << "fft " << c.fft_n << " center " << c.center << " power " << c.power);
            const int frames = frames_of(*signal, c);
            auto at = [&](vorel::audio::simd::Isa isa) {
                std::vector<float> dst(static_cast<std::size_t>(c.mel_n) * frames, -7.25f);
                vorel::audio::mel_spectrogram(dst.data(), signal->data(), 3001, c.rate, c.fft_n, c.hop_n, c.win_n,
                                              c.win_type, frames, c.center, c.power, c.norm_type, c.f_min, c.f_max,
                                              c.mel_n, c.mel_norm, c.mel_formula, isa);
                return dst;
            };
            const std::vector<float> got = at(GetParam());
            expect_same_bits(got, at(vorel::audio::simd::Isa::scalar));
            expect_same_bits(got, spectrogram_then_product(*signal, c));
            if (signal != &loud || c.fft_n != 400 || c.center != 1) continue;
            for (int m : {0, c.mel_n - 1}) EXPECT_TRUE(std::isnan(got[m * frames + 2200 / 160])) << m;
        }
}

TEST(MelSpectrogram, RowsArePackedWithTheComputedFrameCountAndNoFrameWritesNothing) {
    Config c;
    c.mel_n = 10;
    const std::vector<float> x = stft_ref::test_signal(2000, 5);  // 13 centred frames: lanes and a tail
    const std::vector<float> packed = mel(x, c);
    ASSERT_EQ(packed.size(), 130u);
    // A generous limit changes nothing, and nothing past 13 * mel_n is written.
    std::vector<float> roomy(10 * 100, -5.0f);
    ASSERT_EQ(run(roomy, x, c, 100), 0);
    for (std::size_t i = 0; i < roomy.size(); ++i) ASSERT_EQ(roomy[i], i < 130 ? packed[i] : -5.0f) << i;
    // A tight limit keeps the first frames, with the limit as stride.
    std::vector<float> tight(10 * 9, -5.0f);
    ASSERT_EQ(run(tight, x, c, 9), 0);
    for (int m = 0; m < 10; ++m)
        for (int t = 0; t < 9; ++t) EXPECT_EQ(tight[m * 9 + t], packed[m * 13 + t]);
    // A signal shorter than the frame, or a zero hop: no frame, nothing written.
    std::vector<float> out(800, -2.0f);
    for (int center : {0, 1, 2}) {
        c.center = center;
        EXPECT_EQ(run(out, stft_ref::test_signal(399, 1), c, 10), 0);
    }
    c.hop_n = 0;
    EXPECT_EQ(run(out, x, c, 10), 0);
    EXPECT_EQ(out, std::vector<float>(800, -2.0f));
}

TEST(MelSpectrogramCall, ChecksRefuseInOrderAndLeaveOutputAlone) {
    const std::vector<float> x = stft_ref::test_signal(1000, 6);
    std::vector<float> out(200 * 10, 4.25f);
    auto call = [&](auto change) {
        Config c;
        int sample_n = 1000, max_frame_n = 10;
        change(c, sample_n, max_frame_n);
        return vorelAudioGetMelSpectrogram(out.data(), x.data(), sample_n, c.rate, c.fft_n, c.hop_n, c.win_n,
                                           c.win_type, max_frame_n, c.center, c.power, c.norm_type, c.f_min, c.f_max,
                                           c.mel_n, c.mel_norm, c.mel_formula);
    };
    using C = Config;
    EXPECT_EQ(vorelAudioGetMelSpectrogram(nullptr, x.data(), 1000, 16000, 400, 160, 400, 1, 10, 1, 2.0f, 0, 0.0f,
                                          8000.0f, 80, 1, 0),
              -1);
    EXPECT_EQ(vorelAudioGetMelSpectrogram(out.data(), nullptr, 1000, 16000, 400, 160, 400, 1, 10, 1, 2.0f, 0, 0.0f,
                                          8000.0f, 80, 1, 0),
              -1);
    // One failing step at a time, everything else valid.
    const int refused[] = {
        call([](C&, int& s, int&) { s = 0; }),
        call([](C& c, int&, int&) { c.rate = 0; }),
        call([](C& c, int&, int&) { c.fft_n = 0; }),
        call([](C& c, int&, int&) { c.fft_n = 1, c.win_n = 1, c.mel_n = 1; }),  // one bin admits no band
        call([](C& c, int&, int&) { c.hop_n = -1; }),
        call([](C& c, int&, int&) { c.win_n = 0; }),
        call([](C& c, int&, int&) { c.win_n = 402; }),  // at most one longer than the frame
        call([](C& c, int&, int&) { c.win_n = INT_MAX; }),
        call([](C& c, int&, int&) { c.win_type = 3; }),
        call([](C&, int&, int& f) { f = 0; }),
        call([](C& c, int&, int&) { c.center = 3; }),
        call([](C& c, int&, int&) { c.power = -1.0f; }),
        call([](C& c, int&, int&) { c.norm_type = 3; }),
        call([](C& c, int&, int&) { c.f_min = -1.0f; }),
        call([](C& c, int&, int&) { c.f_max = -1.0f; }),
        call([](C& c, int&, int&) { c.f_max = c.f_min; }),
        call([](C& c, int&, int&) { c.mel_n = 0; }),
        call([](C& c, int&, int&) { c.mel_n = 201; }),  // fft_n / 2 is the most allowed
        call([](C& c, int&, int&) { c.mel_norm = 2; }),
        call([](C& c, int&, int&) { c.mel_formula = -1; }),
        call([](C& c, int& s, int& f) {  // everything wrong at once
            s = INT_MIN, f = INT_MIN;
            c = {INT_MIN, INT_MIN, INT_MIN, INT_MIN, 9, INT_MIN, -1.0f, 9, -1.0f, -2.0f, INT_MIN, 9, 9};
        }),
    };
    for (int status : refused) EXPECT_EQ(status, -1);
    EXPECT_EQ(out, std::vector<float>(2000, 4.25f));
    EXPECT_EQ(call([](C& c, int&, int&) { c.mel_n = 200; }), 0);
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
    // Tables beyond any machine are refused before they are built, output untouched.
    const std::vector<float> long_signal = stft_ref::test_signal(1 << 20, 8);
    std::vector<float> out(16, 1.0f);
    c = Config{};
    c.fft_n = 1 << 20, c.win_n = 4, c.mel_n = 1 << 19;
    EXPECT_EQ(run(out, long_signal, c, 1), VOREL_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(out, std::vector<float>(16, 1.0f));
}

TEST(MelSpectrogramCall, NoFrameBuildsNothing) {
    // A frame longer than the signal: no table and no scratch, not even for 2^24 or INT_MAX.
    const std::vector<float> x = {0.25f, -0.5f};
    for (int fft_n : {1 << 24, 1 << 30, INT_MAX}) {
        Config c;
        c.fft_n = fft_n, c.win_n = fft_n, c.mel_n = 1;
        std::vector<float> out(4, 1.0f);
        counting_new::Watch watch;
        EXPECT_EQ(run(out, x, c, 1), VOREL_STATUS_SUCCESS);
        EXPECT_EQ(counting_new::allocations.load(), 0);
        EXPECT_EQ(out, std::vector<float>(4, 1.0f));
    }
}

TEST(MelSpectrogramCall, OutOfMemoryAnywhereLeavesTheOutputUntouched) {
    // 13 frames: a group in lanes, then a tail, with padded frames at both ends.
    const std::vector<float> x = stft_ref::test_signal(2000, 4);
    Config c;
    c.mel_n = 10;
    const std::vector<float> want = mel(x, c);  // the tables are cached from here on
    auto call = [&](std::vector<float>& out) { return run(out, x, c, INT_MAX); };
    // The sweep must reach the scratch of the lanes and of the single frames.
    EXPECT_GT(counting_new::sweep_failures(want, -1.5f, call, expect_same_bits), 5);
}
