// Mel spectrograms with frames in lanes against the per-frame path, to the bit, for speech
// front ends and other shapes, tails of fewer frames than lanes, and non-finite samples
// (which send a whole group through the full filter rows).
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

#include "mel/bits.h"
#include "mel/mel_spectrogram.h"
#include "stft/framing.h"

using namespace vorel::audio;

namespace {

struct Shape {
    int rate, fft_n, hop_n, win_n, center, norm_type;
    float power, f_max;
    int mel_n, mel_norm, mel_formula;
};

std::vector<float> mel_of(const std::vector<float>& x, const Shape& s, LaneKernel kernel) {
    const int n = static_cast<int>(x.size());
    const int frames = get_frame_len(n, s.fft_n, s.hop_n, s.center);
    std::vector<float> dst(static_cast<std::size_t>(s.mel_n) * frames, -7.25f);
    mel_spectrogram(dst.data(), x.data(), n, s.rate, s.fft_n, s.hop_n, s.win_n, 1, frames, s.center, s.power,
                    s.norm_type, 0.0f, s.f_max, s.mel_n, s.mel_norm, s.mel_formula, kernel);
    return dst;
}

void expect_lanes_match(const std::vector<float>& x, const Shape& s) {
    const std::vector<float> want = mel_of(x, s, LaneKernel::none);
    std::vector<LaneKernel> kernels{LaneKernel::sse2};
    if (__builtin_cpu_supports("avx2")) kernels.push_back(LaneKernel::avx2);
    for (LaneKernel kernel : kernels) {
        SCOPED_TRACE(testing::Message() << "fft_n " << s.fft_n << " center " << s.center << " power " << s.power
                                        << " kernel " << static_cast<int>(kernel));
        expect_same_bits(mel_of(x, s, kernel), want);
    }
}

std::vector<float> noise(std::size_t n) {
    std::mt19937 gen(17);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<float> x(n);
    for (float& v : x) v = u(gen);
    return x;
}

const Shape kSpeech{16000, 400, 160, 400, 1, 0, 2.0f, 8000.0f, 80, 1, 0};

TEST(MelLanes, MatchesThePerFramePath) {
    const std::vector<float> x = noise(9000);  // 57 frames of the speech shape: a tail of 1
    expect_lanes_match(x, kSpeech);
    expect_lanes_match(x, {16000, 512, 128, 512, 1, 0, 2.0f, 8000.0f, 128, 0, 1});  // htk, pow2
    expect_lanes_match(x, {22050, 1000, 250, 900, 2, 1, 1.0f, 11025.0f, 40, 1, 0});
    expect_lanes_match(x, {8000, 401, 97, 380, 0, 2, 0.5f, 3000.0f, 23, 0, 1});
}

TEST(MelLanes, NonFiniteSamplesGiveThePerFrameBits) {
    std::vector<float> x = noise(6000);
    x[1234] = std::numeric_limits<float>::infinity();
    x[4000] = std::numeric_limits<float>::quiet_NaN();
    expect_lanes_match(x, kSpeech);
    // Finite spectra whose squares overflow: infinite norms, which meet the zero weights.
    std::vector<float> loud = noise(6000);
    loud[3000] = 1e20f;
    expect_lanes_match(loud, kSpeech);
}

}  // namespace
