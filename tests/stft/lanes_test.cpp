// Spectrograms and inverse spectrograms with frames in lanes against the per-frame path, to the
// bit, over framing modes, norms, powers and lengths, with frame counts that leave a tail and
// with infinities and NaN in the input. AVX2 runs only where the CPU has it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "stft/inverse_spectrogram.h"
#include "stft/spectrogram.h"
#include "stft_reference.h"

using namespace vorel::audio;

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();

// Any NaN matches any NaN: which payload survives an operation on two is the compiler's choice.
void expect_same_bits(const std::vector<float>& got, const std::vector<float>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        if (std::isnan(got[i]) && std::isnan(want[i])) continue;
        ASSERT_EQ(std::memcmp(&got[i], &want[i], sizeof(float)), 0) << "at " << i << ": " << got[i] << " vs " << want[i];
    }
}

// Runs f(kernel) with the per-frame path and every lane kernel and compares the results.
template <class F>
void expect_lanes_match(F&& f) {
    const std::vector<float> want = f(LaneKernel::none);
    SCOPED_TRACE("sse2");
    expect_same_bits(f(LaneKernel::sse2), want);
    if (!__builtin_cpu_supports("avx2")) return;
    SCOPED_TRACE("avx2");
    expect_same_bits(f(LaneKernel::avx2), want);
}

struct Case {
    int sample_n, fft_n, hop_n, win_n, center, norm_type;
    float power;
};

std::vector<float> spectrogram_of(const std::vector<float>& x, const Case& c, LaneKernel kernel) {
    const int frames = stft_frame_len(c.sample_n, c.fft_n, c.hop_n, c.center, 1 << 20);
    std::vector<float> dst(2 * static_cast<std::size_t>(c.fft_n / 2 + 1) * frames, -7.25f);
    spectrogram(dst.data(), x.data(), c.sample_n, c.fft_n, c.hop_n, c.win_n, 1, frames, c.center, c.power,
                c.norm_type, kernel);
    return dst;
}

}  // namespace

TEST(SpectrogramLanes, MatchesThePerFramePath) {
    std::vector<float> x = stft_ref::test_signal(4000, 11);
    for (int fft_n : {400, 512, 1000, 401, 12})
        for (int center : {0, 1, 2})
            for (int norm_type : {0, 1, 2})
                for (float power : {0.0f, 1.0f, 2.0f, 0.7f}) {
                    // Frame counts of 20 to 41 with these hops: never a whole number of groups.
                    const Case c{4000, fft_n, fft_n / 4 + 3, fft_n == 12 ? 12 : fft_n - 55, center, norm_type, power};
                    SCOPED_TRACE(testing::Message() << "fft_n " << fft_n << " center " << center << " norm "
                                                    << norm_type << " power " << power);
                    expect_lanes_match([&](LaneKernel k) { return spectrogram_of(x, c, k); });
                }
    x[100] = kInf;
    x[1700] = std::numeric_limits<float>::quiet_NaN();
    x[2500] = -kInf;
    for (int fft_n : {400, 512})
        for (float power : {0.0f, 2.0f})
            expect_lanes_match([&](LaneKernel k) { return spectrogram_of(x, {4000, fft_n, 160, fft_n, 1, 1, power}, k); });
}

TEST(InverseSpectrogramLanes, MatchesThePerFramePath) {
    const std::vector<float> x = stft_ref::test_signal(3000, 23);
    for (int fft_n : {400, 512, 402, 12})
        for (int norm_type : {0, 1, 2})
            for (int center : {0, 1}) {
                const int freq_n = fft_n / 2 + 1, hop = fft_n / 4 + 1;
                const int frames = stft_frame_len(3000, fft_n, hop, 1, 1 << 20);
                std::vector<float> spectrum(2 * static_cast<std::size_t>(freq_n) * frames);
                spectrogram(spectrum.data(), x.data(), 3000, fft_n, hop, fft_n, 1, frames, 1, 0.0f, norm_type);
                if (fft_n == 512) spectrum[2 * (7 * frames + 9) + 1] = kInf;
                const int sample_n = get_sample_len(frames, freq_n, hop, center != 0);
                SCOPED_TRACE(testing::Message() << "fft_n " << fft_n << " norm " << norm_type << " center " << center);
                expect_lanes_match([&](LaneKernel k) {
                    std::vector<float> dst(static_cast<std::size_t>(sample_n), -7.25f);
                    inverse_spectrogram(dst.data(), spectrum.data(), frames, freq_n, hop, fft_n - 9, 2, sample_n, center,
                                        norm_type, k);
                    return dst;
                });
            }
}
