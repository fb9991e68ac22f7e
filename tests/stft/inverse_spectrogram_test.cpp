// Inverse spectrograms against a double-precision overlap-add, sample counts and the checks
// (the levels are held to the scalar path beside the forward transform).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "common/isa_kit.h"
#include "stft/inverse_spectrogram.h"
#include "stft/window_table.h"
#include "stft_reference.h"
#include "transform/fft_table.h"
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

namespace {

// The whole-signal overlap-add in float, each frame through the per-frame path: one accumulator
// and one sum of window squares over every frame, then the division and the copy.
std::vector<float> plain_overlap_add(const std::vector<float>& spectrum, const Inv& c) {
    const int fft_n = 2 * c.freq_n - 2, total = fft_n + (c.frame_n - 1) * c.hop_n;
    const std::vector<float>& table = FftTable::instance().ref_inv_table(fft_n);
    const std::vector<float>& window = WindowTable::instance().ref_table(c.win_n, c.win_type);
    const int half = (fft_n - c.win_n) / 2;
    std::vector<float> y(total, 0.0f), s(total, 0.0f), comp(2 * fft_n), frame;
    for (int t = 0; t < c.frame_n; ++t) {
        for (int k = 0; k < fft_n; ++k) {
            const int row = k < c.freq_n ? k : fft_n - k;
            comp[2 * k] = spectrum[2 * (row * c.frame_n + t)];
            comp[2 * k + 1] = (k < c.freq_n ? 1.0f : -1.0f) * spectrum[2 * (row * c.frame_n + t) + 1];
        }
        istft_core(frame, comp, fft_n, table, window, c.norm_type);
        for (int i = 0; i < fft_n; ++i) y[t * c.hop_n + i] += frame[2 * i];
        for (int i = 0; i < c.win_n && half + i < fft_n; ++i) s[t * c.hop_n + half + i] += window[i] * window[i];
    }
    for (int i = 0; i < total; ++i)
        if (static_cast<double>(s[i]) > 1e-10) y[i] = y[i] / s[i];
    const int off = c.center ? fft_n / 2 : 0;
    std::vector<float> out(c.max_sample_n, kSentinel);
    for (int i = 0; i < c.max_sample_n && off + i < total; ++i) out[i] = y[off + i];
    return out;
}

class InverseLevels : public vorel::audio::testing::EachIsa {};
VOREL_FOR_EACH_ISA(InverseLevels);

}  // namespace

// Every level, frames summed in a stretch that slides along the signal, against the plain
// whole-signal sum bit for bit: groups and tails, hops of 0 and beyond the frame, cut outputs,
// odd windows, and a column of infinities and NaN.
TEST_P(InverseLevels, SlidingSumEqualsWholeSignalSum) {
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    const Inv cases[] = {// frame_n, freq_n, hop_n, win_n, win_type, max_sample_n, center, norm_type
                         {37, 201, 160, 400, 1, 36 * 160, 1, 0},
                         {37, 201, 160, 400, 2, 5000, 0, 2},  // four groups and a tail
                         {29, 201, 100, 351, 1, 2900, 1, 1},
                         {29, 257, 128, 512, 1, 28 * 128, 2, 2},  // odd window, power of two
                         {20, 9, 0, 16, 1, 16, 0, 0},
                         {21, 9, 40, 16, 2, 30 * 40, 0, 0},  // hop 0, gaps between frames
                         {40, 9, 3, 11, 1, 9 * 3 + 5, 1, 2},
                         {17, 201, 160, 400, 1, 7, 1, 0},  // outputs cut short
                         {70, 13, 5, 24, 2, 69 * 5 + 24, 0, 1}};
    unsigned seed = 40;
    for (const Inv& c : cases)
        for (bool special : {false, true}) {
            SCOPED_TRACE(::testing::Message() << "freq " << c.freq_n << " hop " << c.hop_n << " frames " << c.frame_n
                                              << (special ? " specials" : ""));
            std::vector<float> spectrum = stft_ref::test_signal(2 * c.freq_n * c.frame_n, ++seed);
            if (special) {  // in frame 9 only: -0, a subnormal, and the non-finite values
                const float values[] = {-0.0f, 1e-40f, inf, -inf, nan};
                for (int k = 0; k < 5; ++k) spectrum[2 * ((k * 2 % c.freq_n) * c.frame_n + 9) + k % 2] = values[k];
            }
            std::vector<float> dst(c.max_sample_n, kSentinel);
            inverse_spectrogram(dst.data(), spectrum.data(), c.frame_n, c.freq_n, c.hop_n, c.win_n, c.win_type,
                                c.max_sample_n, c.center, c.norm_type, GetParam());
            stft_ref::expect_same_bits(dst, plain_overlap_add(spectrum, c));
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
