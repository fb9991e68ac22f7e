// Frames in lanes against the per-frame path, to the bit: the lane transform itself (forward
// and inverse, every length kind), and whole spectrograms over framing modes, norms, powers
// and lengths, with frame counts that leave a tail and with NaN and infinity in the signal.
// Each lane kernel is held to the per-frame path; AVX2 runs only where the CPU has it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "stft/inverse_spectrogram.h"
#include "stft/spectrogram.h"
#include "transform/fft.h"
#include "transform/fft_lanes.h"
#include "transform/fft_table.h"

using namespace vorel::audio;

namespace {

// Bits must agree; any NaN matches any NaN, since which operand's payload survives an
// operation on two NaNs is the compiler's choice of operand order.
void expect_same_bits(const std::vector<float>& got, const std::vector<float>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        if (std::isnan(got[i]) && std::isnan(want[i])) continue;
        ASSERT_EQ(std::memcmp(&got[i], &want[i], sizeof(float)), 0) << "at " << i << ": " << got[i] << " vs " << want[i];
    }
}

std::vector<float> noise(std::size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    std::vector<float> x(n);
    for (float& v : x) v = u(gen);
    return x;
}

std::vector<LaneKernel> kernels() {
    std::vector<LaneKernel> k{LaneKernel::sse2};
    if (__builtin_cpu_supports("avx2")) k.push_back(LaneKernel::avx2);
    return k;
}

// Eight complex frames through fft_lanes, each compared with fft / ifft of that frame.
void expect_lanes_match_frames(std::size_t n, bool inverse, LaneKernel kernel, const std::vector<float>& frames) {
    const int len = static_cast<int>(n);
    const std::vector<float>& table =
        inverse ? FftTable::instance().ref_inv_table(len) : FftTable::instance().ref_table(len);
    const LanePlan plan = make_lane_plan(n);
    std::vector<float> data(kLaneStride * n), spare(kLaneStride * n);
    for (std::size_t l = 0; l < kFrameLanes; ++l)
        for (std::size_t j = 0; j < n; ++j) {
            data[kLaneStride * j + l] = frames[2 * (l * n + plan.in_pos[j])];
            data[kLaneStride * j + kFrameLanes + l] = frames[2 * (l * n + plan.in_pos[j]) + 1];
        }
    const float* out = fft_lanes(data.data(), spare.data(), plan, table, inverse, kernel);
    for (std::size_t l = 0; l < kFrameLanes; ++l) {
        std::vector<float> want(frames.begin() + 2 * l * n, frames.begin() + 2 * (l + 1) * n);
        if (inverse)
            ifft(want, len, table);
        else
            fft(want, len, table);
        std::vector<float> got(2 * n);
        for (std::size_t k = 0; k < n; ++k) {
            got[2 * k] = out[kLaneStride * plan.out_pos[k] + l];
            got[2 * k + 1] = out[kLaneStride * plan.out_pos[k] + kFrameLanes + l];
        }
        SCOPED_TRACE(testing::Message() << "n " << n << " lane " << l << (inverse ? " inverse" : " forward"));
        expect_same_bits(got, want);
    }
}

TEST(FftLanes, EveryLengthKindMatchesTheFrameTransform) {
    std::vector<std::size_t> lengths;
    for (std::size_t n = 1; n <= 64; ++n) lengths.push_back(n);
    for (std::size_t n : {97, 128, 400, 401, 512, 1000, 1024}) lengths.push_back(n);
    for (LaneKernel kernel : kernels())
        for (std::size_t n : lengths)
            for (bool inverse : {false, true}) expect_lanes_match_frames(n, inverse, kernel, noise(2 * kFrameLanes * n, 7));
}

TEST(FftLanes, NonFiniteValuesStayInTheirLane) {
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    for (std::size_t n : {12, 16, 400, 512}) {
        std::vector<float> frames = noise(2 * kFrameLanes * n, 3);
        frames[2 * (1 * n + 3)] = inf;       // lane 1: one infinite real part
        frames[2 * (4 * n + 0) + 1] = -inf;  // lane 4: one infinite imaginary part
        frames[2 * (6 * n + n - 1)] = nan;   // lane 6: a NaN at the end
        for (LaneKernel kernel : kernels())
            for (bool inverse : {false, true}) expect_lanes_match_frames(n, inverse, kernel, frames);
    }
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

void expect_spectrogram_lanes_match(const std::vector<float>& x, const Case& c) {
    const std::vector<float> want = spectrogram_of(x, c, LaneKernel::none);
    for (LaneKernel kernel : kernels()) {
        SCOPED_TRACE(testing::Message() << "fft_n " << c.fft_n << " win_n " << c.win_n << " center " << c.center
                                        << " norm " << c.norm_type << " power " << c.power << " kernel "
                                        << static_cast<int>(kernel));
        expect_same_bits(spectrogram_of(x, c, kernel), want);
    }
}

TEST(SpectrogramLanes, MatchesThePerFramePathOverModesNormsPowersAndLengths) {
    const std::vector<float> x = noise(4000, 11);
    for (int fft_n : {400, 512, 1000, 401, 12})
        for (int center : {0, 1, 2})
            for (int norm_type : {0, 1, 2})
                for (float power : {0.0f, 1.0f, 2.0f, 0.7f}) {
                    const int win_n = fft_n == 12 ? 12 : fft_n - 55;
                    // Frame counts of 20 to 41 with these hops: never a whole number of groups.
                    expect_spectrogram_lanes_match(x, {4000, fft_n, fft_n / 4 + 3, win_n, center, norm_type, power});
                }
}

TEST(SpectrogramLanes, NonFiniteSamplesGiveThePerFrameBits) {
    std::vector<float> x = noise(3000, 5);
    x[100] = std::numeric_limits<float>::infinity();
    x[1700] = std::numeric_limits<float>::quiet_NaN();
    x[2500] = -std::numeric_limits<float>::infinity();
    for (int fft_n : {400, 512})
        for (float power : {0.0f, 2.0f}) expect_spectrogram_lanes_match(x, {3000, fft_n, 160, fft_n, 1, 1, power});
}

TEST(SpectrogramLanes, AvxKernelMatchesSse2) {
    if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "no AVX2 on this CPU";
    const std::vector<float> x = noise(16000, 2);
    const Case c{16000, 400, 160, 400, 1, 0, 2.0f};
    expect_same_bits(spectrogram_of(x, c, LaneKernel::avx2), spectrogram_of(x, c, LaneKernel::sse2));
}

std::vector<float> inverse_of(const std::vector<float>& spec, int frame_n, int freq_n, int hop_n, int win_n,
                              int center, int norm_type, LaneKernel kernel) {
    const int sample_n = get_sample_len(frame_n, freq_n, hop_n, center != 0);
    std::vector<float> dst(static_cast<std::size_t>(sample_n), -7.25f);
    inverse_spectrogram(dst.data(), spec.data(), frame_n, freq_n, hop_n, win_n, 2, sample_n, center, norm_type,
                        kernel);
    return dst;
}

TEST(InverseSpectrogramLanes, MatchesThePerFramePath) {
    std::vector<float> x = noise(3000, 23);
    for (int fft_n : {400, 512, 402, 12})
        for (int norm_type : {0, 1, 2})
            for (int center : {0, 1}) {
                const int freq_n = fft_n / 2 + 1, hop = fft_n / 4 + 1;
                const int frames = stft_frame_len(3000, fft_n, hop, 1, 1 << 20);
                std::vector<float> spec(2 * static_cast<std::size_t>(freq_n) * frames);
                spectrogram(spec.data(), x.data(), 3000, fft_n, hop, fft_n, 1, frames, 1, 0.0f, norm_type);
                if (fft_n == 512) spec[2 * (7 * frames + 9) + 1] = std::numeric_limits<float>::infinity();
                const int win_n = fft_n - 9;
                const std::vector<float> want = inverse_of(spec, frames, freq_n, hop, win_n, center, norm_type,
                                                           LaneKernel::none);
                for (LaneKernel kernel : kernels()) {
                    SCOPED_TRACE(testing::Message() << "fft_n " << fft_n << " norm " << norm_type << " center "
                                                    << center << " kernel " << static_cast<int>(kernel));
                    expect_same_bits(inverse_of(spec, frames, freq_n, hop, win_n, center, norm_type, kernel), want);
                }
            }
}

}  // namespace
