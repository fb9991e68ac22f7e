// The filter bank product on spectra: agreement with a double reference, the span-skipping
// paths against plain full sums bit for bit, and the exported checks.
#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "mel/mel_filter_bank.h"
#include "mel/mel_spectrogram.h"
#include "mel/bits.h"
#include "vorel_audio.h"

using namespace vorel::audio;

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::vector<float> random_floats(std::size_t n, unsigned seed, float lo = 0.0f, float hi = 4.0f) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> dist(lo, hi);
    std::vector<float> v(n);
    for (float& x : v) x = dist(gen);
    return v;
}

std::vector<float> flat(const MelMatrix& fb) {
    std::vector<float> out;
    for (const auto& row : fb) out.insert(out.end(), row.begin(), row.end());
    return out;
}

// Every band summed over every bin, in float, bins ascending: the definition itself, with
// no skipping, against which the fast paths must agree to the bit.
std::vector<float> plain_product(const std::vector<float>& src, const std::vector<float>& fb,
                                 int freq_n, int frame_n, int mel_n) {
    std::vector<float> out(static_cast<std::size_t>(mel_n) * frame_n);
    for (int t = 0; t < frame_n; ++t) {
        for (int m = 0; m < mel_n; ++m) {
            float acc = 0.0f;
            for (int k = 0; k < freq_n; ++k)
                acc = acc + src[static_cast<std::size_t>(k) * frame_n + t] * fb[m * freq_n + k];
            out[static_cast<std::size_t>(m) * frame_n + t] = acc;
        }
    }
    return out;
}

std::vector<float> convert(const std::vector<float>& src, const std::vector<float>& fb,
                           int freq_n, int frame_n, int mel_n) {
    std::vector<float> out(static_cast<std::size_t>(mel_n) * frame_n, -3.0f);
    EXPECT_EQ(vorelAudioConvertToMel(out.data(), src.data(), fb.data(), freq_n, frame_n, mel_n),
              VOREL_STATUS_SUCCESS);
    return out;
}

}  // namespace

TEST(BandSpans, CoverEveryWeightThatIsNotZero) {
    const float rows[] = {0, -0.0f, 0.5f, 0, 0.25f, 0,  // span 2..5, inner zero kept
                          0, 0,     0,    0, 0,     0,  // empty
                          kNaN, 0,  0,    0, 0,     -0.0f,  // a NaN weight counts
                          0, 0,     0,    0, 0,     1e-40f};  // a subnormal counts
    const std::vector<BandSpan> s = band_spans(rows, 4, 6);
    ASSERT_EQ(s.size(), 4u);
    EXPECT_EQ(s[0].begin, 2u);
    EXPECT_EQ(s[0].end, 5u);
    EXPECT_EQ(s[1].begin, s[1].end);
    EXPECT_EQ(s[2].begin, 0u);
    EXPECT_EQ(s[2].end, 1u);
    EXPECT_EQ(s[3].begin, 5u);
    EXPECT_EQ(s[3].end, 6u);
}

TEST(MelProduct, MatchesDoubleReference) {
    const int freq_n = 201, frame_n = 150, mel_n = 80;
    const MelMatrix& fb = MFBTable::instance().ref_table(freq_n, 0.0f, 8000.0f, mel_n, 16000, 1,
                                                         false);
    const std::vector<float> w = flat(fb);
    const std::vector<float> src = random_floats(static_cast<std::size_t>(freq_n) * frame_n, 7);
    const std::vector<float> got = convert(src, w, freq_n, frame_n, mel_n);
    for (int m = 0; m < mel_n; ++m) {
        for (int t = 0; t < frame_n; ++t) {
            double want = 0.0, mass = 0.0;
            for (int k = 0; k < freq_n; ++k) {
                want += static_cast<double>(src[k * frame_n + t]) * w[m * freq_n + k];
                mass += std::fabs(static_cast<double>(src[k * frame_n + t]) * w[m * freq_n + k]);
            }
            ASSERT_NEAR(got[m * frame_n + t], want, 1e-6 * mass + 1e-30) << m << " " << t;
        }
    }
}

TEST(MelProduct, SpanSkippingEqualsFullSumsBitForBit) {
    // Frame counts around the block width, banks with empty and narrow rows.
    const int freq_n = 65, mel_n = 24;
    const MelMatrix& fb = MFBTable::instance().ref_table(freq_n, 0.0f, 16000.0f, mel_n, 16000, 0,
                                                         true);
    const std::vector<float> w = flat(fb);
    for (int frame_n : {1, 3, 63, 64, 65, 130, 200}) {
        std::vector<float> src = random_floats(static_cast<std::size_t>(freq_n) * frame_n,
                                               frame_n, -2.0f, 2.0f);
        expect_same_bits(convert(src, w, freq_n, frame_n, mel_n),
                         plain_product(src, w, freq_n, frame_n, mel_n));
        // Non-finite values on bins outside some spans must poison those bands too.
        src[0 * frame_n + 0] = kInf;
        src[64 * frame_n + (frame_n - 1)] = kNaN;
        src[30 * frame_n + frame_n / 2] = -kInf;
        const std::vector<float> got = convert(src, w, freq_n, frame_n, mel_n);
        expect_same_bits(got, plain_product(src, w, freq_n, frame_n, mel_n));
        EXPECT_TRUE(std::isnan(got[(mel_n - 1) * frame_n + 0]));
    }
}

TEST(MelProduct, OneFrameFormsAgreeBitForBitAndZeroRowsGivePositiveZero) {
    const int freq_n = 257, mel_n = 64;
    const MelMatrix& fb = MFBTable::instance().ref_table(freq_n, 30.0f, 8000.0f, mel_n, 16000, 1, false);
    const std::vector<BandSpan> spans = band_spans(fb);
    std::vector<float> mag = random_floats(freq_n, 11);
    std::vector<float> fast(mel_n, -1.0f), plain(mel_n, -2.0f);
    // Finite; infinite below every span; NaN inside some spans; infinite above them.
    for (auto [bin, value] : {std::pair{1, 1.0f}, {0, kInf}, {200, kNaN}, {256, -kInf}}) {
        mag[bin] = value;
        convert_freq_to_mel_1d(fast, mag, fb, spans, mel_n);
        convert_freq_to_mel_1d(plain, mag, fb, mel_n);
        expect_same_bits(fast, plain);
        expect_same_bits(fast, convert(mag, flat(fb), freq_n, 1, mel_n));  // a one-frame spectrogram
    }
    // A band that ends below an infinite bin still turns NaN through its zero weights.
    EXPECT_TRUE(std::isnan(fast[0]));
    // Weights of -0.0 times negative values: every product is +0, and so is each sum.
    for (float v : convert(std::vector<float>(15, -1.0f), std::vector<float>(10, -0.0f), 5, 3, 2))
        EXPECT_EQ(std::bit_cast<std::uint32_t>(v), 0u);
}

TEST(ConvertToMelCall, ChecksRefuseInOrderAndLeaveOutputAlone) {
    std::vector<float> out(16, 9.0f), src(64, 1.0f), fb(64, 1.0f);
    float* d = out.data();
    const float* s = src.data();
    const float* f = fb.data();
    EXPECT_EQ(vorelAudioConvertToMel(nullptr, s, f, 4, 2, 2), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioConvertToMel(d, nullptr, f, 4, 2, 2), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioConvertToMel(d, s, nullptr, 4, 2, 2), VOREL_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(vorelAudioConvertToMel(d, s, f, 0, 2, 2), -1);
    EXPECT_EQ(vorelAudioConvertToMel(d, s, f, 4, 2, 0), -1);
    EXPECT_EQ(vorelAudioConvertToMel(d, s, f, 4, 2, 4), -1);
    EXPECT_EQ(vorelAudioConvertToMel(d, s, f, 4, 0, 2), -1);
    EXPECT_EQ(vorelAudioConvertToMel(d, s, f, 4, -3, 2), -1);
    // frame_n is checked last, after the shape of the bank.
    EXPECT_EQ(vorelAudioConvertToMel(d, s, f, INT_MIN, INT_MIN, INT_MIN), -1);
    EXPECT_EQ(vorelAudioConvertToMel(d, s, f, INT_MAX, 0, INT_MAX), -1);
    for (float v : out) EXPECT_EQ(v, 9.0f);
    EXPECT_EQ(vorelAudioConvertToMel(d, s, f, 4, 2, 3), 0);
    EXPECT_EQ(out[0], 4.0f);
    EXPECT_EQ(out[6], 9.0f);
}
