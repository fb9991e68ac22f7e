// Mel scales, filter bank shapes against a double-precision reference, the bank cache and the
// exported filter bank call.
#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <thread>
#include <vector>

#include "mel/mel_filter_bank.h"
#include "vorel_audio.h"

using namespace vorel::audio;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::uint32_t bits(float x) { return std::bit_cast<std::uint32_t>(x); }

// Textbook scales in double: slaney is linear below 1000 Hz (200/3 Hz per mel) and
// logarithmic above, 27 mel per factor 6.4; htk is 2595 log10(1 + f/700).
double ref_hz_to_mel(double f, bool htk) {
    if (htk) return 2595.0 * std::log10(1.0 + f / 700.0);
    if (f < 1000.0) return f * 3.0 / 200.0;
    return 15.0 + std::log(f / 1000.0) * 27.0 / std::log(6.4);
}

double ref_mel_to_hz(double m, bool htk) {
    if (htk) return 700.0 * (std::pow(10.0, m / 2595.0) - 1.0);
    if (m < 15.0) return m * 200.0 / 3.0;
    return 1000.0 * std::exp((m - 15.0) * std::log(6.4) / 27.0);
}

// Triangles between mel-spaced edges, evaluated at the bin centres, in double.
std::vector<double> ref_bank(int freq_n, double f_min, double f_max, int mel_n, int rate,
                             bool area, bool htk) {
    std::vector<double> edge(mel_n + 2);
    const double lo = ref_hz_to_mel(f_min, htk), hi = ref_hz_to_mel(f_max, htk);
    for (int i = 0; i < mel_n + 2; ++i)
        edge[i] = ref_mel_to_hz(lo + (hi - lo) * i / (mel_n + 1), htk);
    std::vector<double> fb(static_cast<std::size_t>(mel_n) * freq_n);
    for (int m = 0; m < mel_n; ++m) {
        for (int j = 0; j < freq_n; ++j) {
            const double f = rate * 0.5 * j / (freq_n - 1);
            const double up = (f - edge[m]) / (edge[m + 1] - edge[m]);
            const double down = (edge[m + 2] - f) / (edge[m + 2] - edge[m + 1]);
            double w = std::max(0.0, std::min(up, down));
            if (area) w *= 2.0 / (edge[m + 2] - edge[m]);
            fb[m * freq_n + j] = w;
        }
    }
    return fb;
}

std::vector<float> get_bank(int freq_n, float f_min, float f_max, int mel_n, int rate, int norm,
                            int formula) {
    std::vector<float> out(static_cast<std::size_t>(mel_n) * freq_n, -7.0f);
    EXPECT_EQ(vorelAudioGetFBMatrix(out.data(), freq_n, f_min, f_max, mel_n, rate, norm, formula),
              VOREL_STATUS_SUCCESS);
    return out;
}

}  // namespace

TEST(MelScale, SlaneyBreakPointsAreExactAndAsymmetric) {
    EXPECT_EQ(bits(hz_to_mel_slaney(1000.0f)), bits(15.0f));
    // 15.0 lies below the reverse break and takes the linear branch.
    EXPECT_EQ(bits(mel_to_hz_slaney(15.0f)), bits(999.99994f));
    EXPECT_EQ(mel_to_hz_slaney(std::nextafter(15.0f, 16.0f)), 1000.0f);
    // The linear constants themselves, through a unit argument.
    EXPECT_EQ(bits(hz_to_mel_slaney(1.0f)), 0x3C75C28Fu);
    EXPECT_EQ(bits(mel_to_hz_slaney(1.0f)), 0x42855555u);
    EXPECT_EQ(bits(mel_to_hz_slaney(-0.0f)), bits(0.0f));
}

TEST(MelScale, ConversionsFollowTheDoubleFormulas) {
    for (bool htk : {false, true}) {
        float (*to_mel)(float) = htk ? hz_to_mel_htk : hz_to_mel_slaney;
        float (*to_hz)(float) = htk ? mel_to_hz_htk : mel_to_hz_slaney;
        for (float f = 0.0f; f <= 24000.0f; f += 37.25f) {
            const double mel = ref_hz_to_mel(f, htk);
            EXPECT_NEAR(to_mel(f), mel, 4e-7 * mel + 1e-4) << f << " htk " << htk;
            const float m = static_cast<float>(mel);
            EXPECT_NEAR(to_hz(m), ref_mel_to_hz(m, htk), 4e-6 * f + 1e-4) << f << " htk " << htk;
        }
        EXPECT_EQ(bits(to_mel(0.0f)), 0u);
        EXPECT_EQ(bits(to_hz(0.0f)), 0u);
    }
}

TEST(FilterBank, WorkedFiveBinTwoBandCase) {
    const std::vector<float> slaney = get_bank(5, 0.0f, 8000.0f, 2, 16000, 0, 0);
    const float want_slaney[] = {0, 0.4569f, 0, 0, 0, 0, 0.5431f, 0.7747f, 0.3873f, 0};
    const std::vector<float> htk = get_bank(5, 0.0f, 8000.0f, 2, 16000, 0, 1);
    const float want_htk[] = {0, 0.4947f, 0, 0, 0, 0, 0.5053f, 0.8090f, 0.4045f, 0};
    for (int i = 0; i < 10; ++i) {
        EXPECT_NEAR(slaney[i], want_slaney[i], 1e-4) << i;
        EXPECT_NEAR(htk[i], want_htk[i], 1e-4) << i;
    }
    // Bin 0 of band 0 sits on the lower edge: the rising side is -0.0 there.
    EXPECT_TRUE(std::signbit(slaney[0]));
    EXPECT_TRUE(std::signbit(htk[0]));
}

TEST(FilterBank, ShapesAgainstTheDoubleReference) {
    // Typical shapes are held to torchaudio by the Python tests; these are the speech shape,
    // inner limits and f_max at twice Nyquist (empty top bands).
    struct Shape {
        int freq_n, mel_n, rate;
        float f_min, f_max;
    };
    for (const Shape& s : {Shape{201, 80, 16000, 0, 8000}, Shape{201, 40, 16000, 125, 7600}, Shape{33, 20, 16000, 0, 16000}})
        for (int htk : {0, 1})
            for (int norm : {0, 1}) {
                const std::vector<float> got = get_bank(s.freq_n, s.f_min, s.f_max, s.mel_n, s.rate, norm, htk);
                const std::vector<double> want = ref_bank(s.freq_n, s.f_min, s.f_max, s.mel_n, s.rate, norm != 0, htk != 0);
                for (int m = 0; m < s.mel_n; ++m) {
                    double peak = 0.0;
                    for (int j = 0; j < s.freq_n; ++j) peak = std::max(peak, want[m * s.freq_n + j]);
                    for (int j = 0; j < s.freq_n; ++j)
                        ASSERT_NEAR(got[m * s.freq_n + j], want[m * s.freq_n + j], 2e-5 * std::max(peak, 1e-3))
                            << s.freq_n << " htk " << htk << " norm " << norm << " band " << m << " bin " << j;
                }
            }
    // Bins 500 Hz apart, bands a few Hz wide: no bin falls inside a triangle.
    for (float w : get_bank(17, 4000.0f, 4020.0f, 3, 16000, 1, 0)) EXPECT_EQ(w, 0.0f);
    // A NaN limit gives NaN throughout (shapes of their own: a NaN key matches any limit).
    for (int htk : {0, 1})
        for (float w : get_bank(23, kNaN, 5000.0f, 3, 12345, 0, htk)) EXPECT_TRUE(std::isnan(w));
}

TEST(FilterBankCache, KeysOrderFieldByFieldAndEntriesAreSharedAcrossThreads) {
    MFBTable& t = MFBTable::instance();
    const MelMatrix& a = t.ref_table(201, 0.0f, 8000.0f, 80, 16000, 1, false);
    EXPECT_EQ(&t.ref_table(201, 0.0f, 8000.0f, 80, 16000, 1, false), &a);
    EXPECT_EQ(&t.ref_table(201, -0.0f, 8000.0f, 80, 16000, 1, false), &a);  // signed zeros share a key
    EXPECT_NE(&t.ref_table(201, std::nextafter(0.0f, 1.0f), 8000.0f, 80, 16000, 1, false), &a);
    EXPECT_NE(&t.ref_table(201, 0.0f, 8000.0f, 80, 16000, 1, true), &a);
    ASSERT_EQ(a.size(), 80u);
    for (const std::vector<float>& row : a) EXPECT_EQ(row.size(), 201u);

    const MelFilterBankParam base{100, 10.0f, 20.0f, 5, 16000, 0, false};
    const MelFilterBankParam lower_freq{99, 1e9f, 20.0f, 5, 16000, 0, true};  // an earlier field decides
    const MelFilterBankParam later_rate{100, 10.0f, 20.0f, 5, 16001, -5, false};
    const MelFilterBankParam negative_norm{100, 10.0f, 20.0f, 5, 16000, -1, false};  // ints compare signed
    const MelFilterBankParam htk{100, 10.0f, 20.0f, 5, 16000, 0, true};  // the bool last, false first
    const MelFilterBankParam nan_more{100, 10.0f, kNaN, 6, 16000, 0, false};  // NaN defers to the next field
    const MelFilterBankParam neg_zero{100, -0.0f, 20.0f, 5, 16000, 0, false}, zero{100, 0.0f, 20.0f, 5, 16000, 0, false};
    EXPECT_TRUE(lower_freq < base && !(base < lower_freq));
    EXPECT_TRUE(base < later_rate && negative_norm < base && base < htk && !(htk < base));
    EXPECT_TRUE(base < nan_more && !(nan_more < base) && !(base < base));
    EXPECT_TRUE(!(zero < neg_zero) && !(neg_zero < zero));

    std::vector<const MelMatrix*> seen(6);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < seen.size(); ++i)
        threads.emplace_back([&seen, i] { seen[i] = &MFBTable::instance().ref_table(513, 0.0f, 11025.0f, 96, 22050, 1, i % 2); });
    for (std::thread& th : threads) th.join();
    for (std::size_t i = 2; i < seen.size(); ++i) EXPECT_EQ(seen[i], seen[i % 2]);
    EXPECT_NE(seen[0], seen[1]);
}

TEST(FilterBankCall, ChecksRefuseInOrderAndLeaveOutputAlone) {
    std::vector<float> out(64, 3.5f);
    float* d = out.data();
    EXPECT_EQ(vorelAudioGetFBMatrix(nullptr, 0, -1.0f, -1.0f, 0, 0, 7, 7), VOREL_STATUS_INVALID_ARGUMENT);
    struct Args {
        int freq_n;
        float f_min, f_max;
        int mel_n, rate, norm, formula;
    };
    // Each row fails at one step with all later arguments valid, then mixes of bad ones.
    const Args bad[] = {{0, 0, 8000, 2, 16000, 0, 0},   {-5, 0, 8000, 2, 16000, 0, 0},  {9, -1, 8000, 2, 16000, 0, 0},
                        {9, 0, -0.5f, 2, 16000, 0, 0},  {9, 100, 100, 2, 16000, 0, 0},  {9, 200, 100, 2, 16000, 0, 0},
                        {9, 0, 8000, 0, 16000, 0, 0},   {9, 0, 8000, 9, 16000, 0, 0},   {9, 0, 8000, 2, 0, 0, 0},
                        {9, 0, 8000, 2, 16000, 2, 0},   {9, 0, 8000, 2, 16000, -1, 0},  {9, 0, 8000, 2, 16000, 0, 2},
                        {9, 0, 8000, 2, 0, 5, 5},       {INT_MAX, 0, 8000, INT_MAX, INT_MAX, 0, 0}};
    for (const Args& a : bad)
        EXPECT_EQ(vorelAudioGetFBMatrix(d, a.freq_n, a.f_min, a.f_max, a.mel_n, a.rate, a.norm, a.formula), -1);
    for (float v : out) EXPECT_EQ(v, 3.5f);
    // Banks beyond memory are refused before they are built.
    EXPECT_EQ(vorelAudioGetFBMatrix(d, INT_MAX, 0.0f, 8000.0f, INT_MAX - 1, 16000, 0, 0), VOREL_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 1 << 20, 0.0f, 8000.0f, 1 << 19, 16000, 1, 1), VOREL_STATUS_OUT_OF_MEMORY);
    for (float v : out) EXPECT_EQ(v, 3.5f);
    // The smallest shape passes: two bins, one band.
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 2, 0.0f, 8000.0f, 1, 16000, 1, 1), 0);
    EXPECT_EQ(out[2], 3.5f);
}
