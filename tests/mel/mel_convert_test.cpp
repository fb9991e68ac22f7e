// The filter bank product on spectra: agreement with a double reference, the span-skipping paths
// against plain full sums bit for bit (with non-finite values).
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "common/dft_reference.h"
#include "mel/mel_filter_bank.h"
#include "mel/mel_spectrogram.h"
#include "stft/stft_reference.h"
#include "vorel_audio.h"

using namespace vorel::audio;
using stft_ref::expect_same_bits;
using vorel::audio::testing::uniform_floats;

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity(), kNaN = std::numeric_limits<float>::quiet_NaN();

std::vector<float> flat(const MelMatrix& fb) {
    std::vector<float> out;
    for (const auto& row : fb) out.insert(out.end(), row.begin(), row.end());
    return out;
}

std::vector<float> convert(const std::vector<float>& src, const std::vector<float>& fb, int freq_n, int frame_n,
                           int mel_n) {
    std::vector<float> out(static_cast<std::size_t>(mel_n) * frame_n, -3.0f);
    EXPECT_EQ(vorelAudioConvertToMel(out.data(), src.data(), fb.data(), freq_n, frame_n, mel_n), 0);
    return out;
}

}  // namespace

TEST(BandSpans, CoverEveryWeightThatIsNotZero) {
    const float rows[] = {0,    -0.0f, 0.5f, 0, 0.25f, 0,        // span 2..5, inner zero kept
                          0,    0,     0,    0, 0,     0,        // empty
                          kNaN, 0,     0,    0, 0,     -0.0f,    // a NaN weight counts
                          0,    0,     0,    0, 0,     1e-40f};  // a subnormal counts
    const std::vector<BandSpan> s = band_spans(rows, 4, 6);
    ASSERT_EQ(s.size(), 4u);
    const std::size_t want[][2] = {{2, 5}, {s[1].begin, s[1].begin}, {0, 1}, {5, 6}};
    for (int m = 0; m < 4; ++m) EXPECT_TRUE(s[m].begin == want[m][0] && s[m].end == want[m][1]) << m;
}

TEST(MelProduct, MatchesDoubleReference) {
    const int freq_n = 201, frame_n = 70, mel_n = 80;
    const std::vector<float> w = flat(MFBTable::instance().ref_table(freq_n, 0.0f, 8000.0f, mel_n, 16000, 1, false));
    const std::vector<float> src = uniform_floats(static_cast<std::size_t>(freq_n) * frame_n, 7, 0.0f, 4.0f);
    const std::vector<float> got = convert(src, w, freq_n, frame_n, mel_n);
    for (int m = 0; m < mel_n; ++m)
        for (int t = 0; t < frame_n; ++t) {
            double want = 0.0, mass = 0.0;
            for (int k = 0; k < freq_n; ++k) {
                want += static_cast<double>(src[k * frame_n + t]) * w[m * freq_n + k];
                mass += std::fabs(static_cast<double>(src[k * frame_n + t]) * w[m * freq_n + k]);
            }
            ASSERT_NEAR(got[m * frame_n + t], want, 1e-6 * mass + 1e-30) << m << " " << t;
        }
}

TEST(MelProduct, SpanSkippingEqualsFullSumsBitForBit) {
    // Frame counts around the block width, a bank with empty and narrow rows; non-finite values on
    // bins outside some spans must poison those bands too.
    const int freq_n = 65, mel_n = 24;
    const MelMatrix& fb = MFBTable::instance().ref_table(freq_n, 0.0f, 16000.0f, mel_n, 16000, 0, true);
    const std::vector<float> w = flat(fb);
    for (int frame_n : {1, 3, 63, 64, 65, 130})
        for (bool poison : {false, true}) {
            std::vector<float> src = uniform_floats(static_cast<std::size_t>(freq_n) * frame_n, frame_n, -2.0f, 2.0f);
            if (poison) src[0] = kInf, src[64 * frame_n + frame_n - 1] = kNaN, src[30 * frame_n + frame_n / 2] = -kInf;
            // Every band summed over every bin in float, bins ascending, with no skipping.
            std::vector<float> plain(static_cast<std::size_t>(mel_n) * frame_n);
            for (int t = 0; t < frame_n; ++t)
                for (int m = 0; m < mel_n; ++m) {
                    float acc = 0.0f;
                    for (int k = 0; k < freq_n; ++k)
                        acc = acc + src[static_cast<std::size_t>(k) * frame_n + t] * w[m * freq_n + k];
                    plain[static_cast<std::size_t>(m) * frame_n + t] = acc;
                }
            SCOPED_TRACE(::testing::Message() << "frames " << frame_n << " poison " << poison);
            const std::vector<float> got = convert(src, w, freq_n, frame_n, mel_n);
            expect_same_bits(got, plain);
            if (poison) {
                EXPECT_TRUE(std::isnan(got[(mel_n - 1) * frame_n]));  // a band far above bin 0
            }
            if (frame_n != 1) continue;
            // The one-frame form.
            std::vector<float> one(mel_n, -2.0f);
            convert_freq_to_mel_1d(one, src, fb, mel_n);
            expect_same_bits(one, plain);
        }
    // Weights of -0.0 times negative values: every product is +0, and so is each sum.
    for (float v : convert(std::vector<float>(15, -1.0f), std::vector<float>(10, -0.0f), 5, 3, 2))
        EXPECT_EQ(std::bit_cast<std::uint32_t>(v), 0u);
}
