// Mel scales, filter bank shapes against a double-precision reference, the bank cache and the
// exported filter bank call.
#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
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

// ---- Scale conversions ------------------------------------------------------------------

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
        for (float f = 0.0f; f <= 24000.0f; f += 37.25f) {
            float (*to_mel)(float) = htk ? hz_to_mel_htk : hz_to_mel_slaney;
            float (*to_hz)(float) = htk ? mel_to_hz_htk : mel_to_hz_slaney;
            const double mel = ref_hz_to_mel(f, htk);
            EXPECT_NEAR(to_mel(f), mel, 4e-7 * mel + 1e-4) << f << " htk " << htk;
            const float m = static_cast<float>(mel);
            EXPECT_NEAR(to_hz(m), ref_mel_to_hz(m, htk), 4e-6 * f + 1e-4) << f << " htk " << htk;
        }
        EXPECT_EQ(bits((htk ? hz_to_mel_htk : hz_to_mel_slaney)(0.0f)), 0u);
        EXPECT_EQ(bits((htk ? mel_to_hz_htk : mel_to_hz_slaney)(0.0f)), 0u);
    }
}

// ---- Matrix shape and edges -------------------------------------------------------------

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
    // The top edge lies a rounding above 8000 Hz: a residue, not an exact zero.
    EXPECT_LT(std::fabs(slaney[9]), 1e-5);
    EXPECT_LT(std::fabs(htk[9]), 1e-5);
}

TEST(FilterBank, TypicalShapesMatchTheDoubleReference) {
    struct Shape {
        int fft_n, mel_n, rate;
        float f_min, f_max;
    };
    const Shape shapes[] = {{400, 80, 16000, 0, 8000},      {512, 64, 22050, 0, 11025},
                            {1024, 128, 44100, 20, 16000}, {2048, 40, 48000, 50, 24000},
                            {400, 40, 16000, 125, 7600}};
    for (const Shape& s : shapes) {
        const int freq_n = s.fft_n / 2 + 1;
        for (int htk : {0, 1}) {
            for (int norm : {0, 1}) {
                const std::vector<float> got =
                    get_bank(freq_n, s.f_min, s.f_max, s.mel_n, s.rate, norm, htk);
                const std::vector<double> want =
                    ref_bank(freq_n, s.f_min, s.f_max, s.mel_n, s.rate, norm != 0, htk != 0);
                for (int m = 0; m < s.mel_n; ++m) {
                    double peak = 0.0;
                    for (int j = 0; j < freq_n; ++j) peak = std::max(peak, want[m * freq_n + j]);
                    for (int j = 0; j < freq_n; ++j) {
                        const std::size_t i = static_cast<std::size_t>(m) * freq_n + j;
                        ASSERT_NEAR(got[i], want[i], 2e-5 * std::max(peak, 1e-3))
                            << "fft " << s.fft_n << " htk " << htk << " norm " << norm
                            << " band " << m << " bin " << j;
                    }
                }
            }
        }
    }
}

TEST(FilterBank, AreaNormGivesUnitAreaAndFavoursNarrowBands) {
    // Fine bins make the Riemann sum of each triangle close to its integral.
    const int freq_n = 8193, mel_n = 40, rate = 16000;
    const float step = 8000.0f / (freq_n - 1);
    const std::vector<float> area = get_bank(freq_n, 0.0f, 8000.0f, mel_n, rate, 1, 0);
    const std::vector<float> peak = get_bank(freq_n, 0.0f, 8000.0f, mel_n, rate, 0, 0);
    for (int m = 0; m < mel_n; ++m) {
        double sum = 0.0, top = 0.0;
        for (int j = 0; j < freq_n; ++j) {
            sum += area[m * freq_n + j] * step;
            top = std::max(top, static_cast<double>(peak[m * freq_n + j]));
        }
        EXPECT_NEAR(sum, 1.0, 1e-2) << m;
        EXPECT_NEAR(top, 1.0, 2e-2) << m;
    }
    // The highest band is the widest, so its area-normalised peak is the lowest.
    double low_max = 0.0, high_max = 0.0;
    for (int j = 0; j < freq_n; ++j) {
        low_max = std::max(low_max, static_cast<double>(area[j]));
        high_max = std::max(high_max, static_cast<double>(area[(mel_n - 1) * freq_n + j]));
    }
    EXPECT_GT(low_max, 5.0 * high_max);
}

TEST(FilterBank, BandsBeyondNyquistOrBetweenBinsAreEmpty) {
    // f_max at twice Nyquist: the top bands start above the last bin.
    const std::vector<float> wide = get_bank(33, 0.0f, 16000.0f, 20, 16000, 0, 1);
    for (int j = 0; j < 33; ++j) EXPECT_EQ(wide[19 * 33 + j], 0.0f) << j;
    // Bins 500 Hz apart, bands a few Hz wide: no bin falls inside a triangle.
    const std::vector<float> narrow = get_bank(17, 4000.0f, 4020.0f, 3, 16000, 1, 0);
    for (float w : narrow) EXPECT_EQ(w, 0.0f);
}

TEST(FilterBank, NanLimitGivesNanThroughout) {
    // Shapes used by no other test: a NaN key is equivalent to any f_min of the same shape.
    for (int htk : {0, 1}) {
        for (float w : get_bank(23, kNaN, 5000.0f, 3, 12345, 0, htk)) EXPECT_TRUE(std::isnan(w));
        for (float w : get_bank(23, 10.0f, kNaN, 3, 12346, 1, htk)) EXPECT_TRUE(std::isnan(w));
    }
    for (float w : get_bank(4, kNaN, kNaN, 3, 8000, 0, 0)) EXPECT_TRUE(std::isnan(w));
}

// ---- Caching ----------------------------------------------------------------------------

TEST(FilterBankCache, SameParametersShareOneEntry) {
    MFBTable& t = MFBTable::instance();
    const MelMatrix& a = t.ref_table(201, 0.0f, 8000.0f, 80, 16000, 1, false);
    const MelMatrix& b = t.ref_table(201, 0.0f, 8000.0f, 80, 16000, 1, false);
    EXPECT_EQ(&a, &b);
    EXPECT_EQ(&MFBTable::instance(), &t);
    // -0.0 and +0.0 compare equal and share the key.
    const MelMatrix& neg = t.ref_table(201, -0.0f, 8000.0f, 80, 16000, 1, false);
    EXPECT_EQ(&neg, &a);
    // One float step apart, or another scale: a separate entry.
    const MelMatrix& next = t.ref_table(201, std::nextafter(0.0f, 1.0f), 8000.0f, 80, 16000, 1,
                                        false);
    EXPECT_NE(&next, &a);
    EXPECT_NE(&t.ref_table(201, 0.0f, 8000.0f, 80, 16000, 1, true), &a);
    ASSERT_EQ(a.size(), 80u);
    for (const std::vector<float>& row : a) EXPECT_EQ(row.size(), 201u);
}

TEST(FilterBankCache, RepeatedCallsGiveIdenticalBytes) {
    const std::vector<float> first = get_bank(257, 0.0f, 8000.0f, 64, 16000, 1, 0);
    const std::vector<float> again = get_bank(257, 0.0f, 8000.0f, 64, 16000, 1, 0);
    const std::vector<float> neg = get_bank(257, -0.0f, 8000.0f, 64, 16000, 1, 0);
    EXPECT_EQ(std::memcmp(first.data(), again.data(), first.size() * sizeof(float)), 0);
    EXPECT_EQ(std::memcmp(first.data(), neg.data(), first.size() * sizeof(float)), 0);
}

TEST(FilterBankCache, ConcurrentFirstRequestsBuildOneEntry) {
    std::vector<const MelMatrix*> seen(6);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < seen.size(); ++i)
        threads.emplace_back([&seen, i] {
            seen[i] = &MFBTable::instance().ref_table(513, 0.0f, 11025.0f, 96, 22050, 1, i % 2);
        });
    for (std::thread& t : threads) t.join();
    for (std::size_t i = 2; i < seen.size(); ++i) EXPECT_EQ(seen[i], seen[i % 2]);
    EXPECT_NE(seen[0], seen[1]);
}

TEST(FilterBankKey, OrdersFieldByFieldWithPlainFloatComparison) {
    const MelFilterBankParam base{100, 10.0f, 20.0f, 5, 16000, 0, false};
    auto with = [&](auto change) {
        MelFilterBankParam p = base;
        change(p);
        return p;
    };
    // An earlier field decides against every later one.
    const MelFilterBankParam lower_freq = with([](auto& p) {
        p.freq_n = 99;
        p.f_min = 1e9f;
        p.mel_formula = true;
    });
    EXPECT_TRUE(lower_freq < base);
    EXPECT_FALSE(base < lower_freq);
    const MelFilterBankParam later_rate = with([](auto& p) {
        p.sample_rate = 16001;
        p.mel_norm = -5;
    });
    EXPECT_TRUE(base < later_rate);
    // Ints compare signed.
    EXPECT_TRUE(with([](auto& p) { p.mel_norm = -1; }) < base);
    // The bool comes last, false first.
    const MelFilterBankParam htk = with([](auto& p) { p.mel_formula = true; });
    EXPECT_TRUE(base < htk);
    EXPECT_FALSE(htk < base);
    // Signed zeros are equivalent; a NaN defers to the next field.
    const MelFilterBankParam zero = with([](auto& p) { p.f_min = 0.0f; });
    const MelFilterBankParam neg_zero = with([](auto& p) { p.f_min = -0.0f; });
    EXPECT_FALSE(zero < neg_zero);
    EXPECT_FALSE(neg_zero < zero);
    const MelFilterBankParam nan_more = with([](auto& p) {
        p.f_max = kNaN;
        p.mel_n = 6;
    });
    EXPECT_TRUE(base < nan_more);
    EXPECT_FALSE(nan_more < base);
    EXPECT_FALSE(base < base);
}

// ---- Exported checks --------------------------------------------------------------------

TEST(FilterBankCall, ChecksRefuseInOrderAndLeaveOutputAlone) {
    std::vector<float> out(64, 3.5f);
    float* d = out.data();
    EXPECT_EQ(vorelAudioGetFBMatrix(nullptr, 0, -1.0f, -1.0f, 0, 0, 7, 7),
              VOREL_STATUS_INVALID_ARGUMENT);
    // Each row fails at one step, with all later arguments valid.
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 0, 0.0f, 8000.0f, 2, 16000, 0, 0), -1);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, -5, 0.0f, 8000.0f, 2, 16000, 0, 0), -1);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 9, -1.0f, 8000.0f, 2, 16000, 0, 0), -1);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 9, 0.0f, -0.5f, 2, 16000, 0, 0), -1);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 9, 100.0f, 100.0f, 2, 16000, 0, 0), -1);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 9, 200.0f, 100.0f, 2, 16000, 0, 0), -1);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 9, 0.0f, 8000.0f, 0, 16000, 0, 0), -1);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 9, 0.0f, 8000.0f, 9, 16000, 0, 0), -1);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 9, 0.0f, 8000.0f, 2, 0, 0, 0), -1);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 9, 0.0f, 8000.0f, 2, 16000, 2, 0), -1);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 9, 0.0f, 8000.0f, 2, 16000, -1, 0), -1);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 9, 0.0f, 8000.0f, 2, 16000, 0, 2), -1);
    // Several bad arguments: still refused, whatever the mix.
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 9, 0.0f, 8000.0f, 2, 0, 5, 5), -1);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, INT_MAX, 0.0f, 8000.0f, INT_MAX, INT_MAX, 0, 0), -1);
    for (float v : out) EXPECT_EQ(v, 3.5f);
    // The smallest shape passes: two bins, one band.
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 2, 0.0f, 8000.0f, 1, 16000, 1, 1), 0);
    EXPECT_EQ(out[2], 3.5f);
}

TEST(FilterBankCall, OutsizedBankIsRefusedBeforeItIsBuilt) {
    std::vector<float> out(8, 2.0f);
    EXPECT_EQ(vorelAudioGetFBMatrix(out.data(), INT_MAX, 0.0f, 8000.0f, INT_MAX - 1, 16000, 0, 0),
              VOREL_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(vorelAudioGetFBMatrix(out.data(), 1 << 20, 0.0f, 8000.0f, 1 << 19, 16000, 1, 1),
              VOREL_STATUS_OUT_OF_MEMORY);
    for (float v : out) EXPECT_EQ(v, 2.0f);
}
