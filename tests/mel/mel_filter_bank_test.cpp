// Mel scales at their break points, the worked filter bank, banks no bin falls into, the bank
// cache (key order, sharing across threads) and banks too large to build. Typical banks are
// held to torchaudio by the Python tests.
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

std::vector<float> get_bank(int freq_n, float f_min, float f_max, int mel_n, int rate, int norm, int formula) {
    std::vector<float> out(static_cast<std::size_t>(mel_n) * freq_n, -7.0f);
    EXPECT_EQ(vorelAudioGetFBMatrix(out.data(), freq_n, f_min, f_max, mel_n, rate, norm, formula), 0);
    return out;
}

}  // namespace

TEST(MelScale, SlaneyBreakPointsAreExactAndAsymmetric) {
    EXPECT_EQ(bits(hz_to_mel_slaney(1000.0f)), bits(15.0f));
    // 15.0 lies below the reverse break and takes the linear branch.
    EXPECT_EQ(bits(mel_to_hz_slaney(15.0f)), bits(999.99994f));
    EXPECT_EQ(mel_to_hz_slaney(std::nextafter(15.0f, 16.0f)), 1000.0f);
    // The linear constants 3/200 and 200/3, through a unit argument.
    EXPECT_EQ(bits(hz_to_mel_slaney(1.0f)), 0x3C75C28Fu);
    EXPECT_EQ(bits(mel_to_hz_slaney(1.0f)), 0x42855555u);
    EXPECT_EQ(bits(mel_to_hz_slaney(-0.0f)), 0u);
    EXPECT_EQ(bits(hz_to_mel_htk(0.0f)), 0u);
    EXPECT_EQ(bits(mel_to_hz_htk(0.0f)), 0u);
}

TEST(FilterBank, WorkedCaseAndBanksWithoutBins) {
    const std::vector<float> slaney = get_bank(5, 0.0f, 8000.0f, 2, 16000, 0, 0),
                             htk = get_bank(5, 0.0f, 8000.0f, 2, 16000, 0, 1);
    const float want_slaney[] = {0, 0.4569f, 0, 0, 0, 0, 0.5431f, 0.7747f, 0.3873f, 0};
    const float want_htk[] = {0, 0.4947f, 0, 0, 0, 0, 0.5053f, 0.8090f, 0.4045f, 0};
    for (int i = 0; i < 10; ++i) {
        EXPECT_NEAR(slaney[i], want_slaney[i], 1e-4) << i;
        EXPECT_NEAR(htk[i], want_htk[i], 1e-4) << i;
    }
    // Bin 0 of band 0 sits on the lower edge: the rising side is -0.0 there.
    EXPECT_TRUE(std::signbit(slaney[0]) && std::signbit(htk[0]));
    // Bins 500 Hz apart, bands a few Hz wide: no bin falls inside a triangle.
    for (float w : get_bank(17, 4000.0f, 4020.0f, 3, 16000, 1, 0)) EXPECT_EQ(w, 0.0f);
    // A NaN limit gives NaN throughout.
    for (int htk_formula : {0, 1})
        for (float w : get_bank(23, kNaN, 5000.0f, 3, 12345, 0, htk_formula)) EXPECT_TRUE(std::isnan(w));
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
    const MelFilterBankParam htk{100, 10.0f, 20.0f, 5, 16000, 0, true};              // the bool last, false first
    const MelFilterBankParam nan_more{100, 10.0f, kNaN, 4, 16000, 0, false};         // a NaN sorts after every number
    const MelFilterBankParam neg_zero{100, -0.0f, 20.0f, 5, 16000, 0, false},
        zero{100, 0.0f, 20.0f, 5, 16000, 0, false};
    EXPECT_TRUE(lower_freq < base && !(base < lower_freq));
    EXPECT_TRUE(base < later_rate && negative_norm < base && base < htk && !(htk < base));
    EXPECT_TRUE(base < nan_more && !(nan_more < base) && !(base < base));
    EXPECT_TRUE(!(zero < neg_zero) && !(neg_zero < zero));

    // The key order is a strict weak ordering over NaNs of either sign and payload, signed zeros
    // and infinities: irreflexive, and "neither less" is transitive (an equivalence).
    const float limits[] = {kNaN, -kNaN, std::bit_cast<float>(0x7fc00001u), 0.0f, -0.0f, 1.0f, INFINITY, 20.0f};
    std::vector<MelFilterBankParam> keys;
    for (float lo : limits)
        for (float hi : {kNaN, 20.0f, -kNaN})
            for (int mel_n : {4, 5}) keys.push_back({100, lo, hi, mel_n, 16000, 0, false});
    const auto tie = [](const MelFilterBankParam& x, const MelFilterBankParam& y) { return !(x < y) && !(y < x); };
    for (const MelFilterBankParam& x : keys) {
        EXPECT_FALSE(x < x);
        for (const MelFilterBankParam& y : keys)
            for (const MelFilterBankParam& z : keys) {
                EXPECT_TRUE(!(x < y && y < z) || x < z);
                EXPECT_TRUE(!(tie(x, y) && tie(y, z)) || tie(x, z));
            }
    }

    std::vector<const MelMatrix*> seen(6);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < seen.size(); ++i)
        threads.emplace_back(
            [&seen, i] { seen[i] = &MFBTable::instance().ref_table(513, 0.0f, 11025.0f, 96, 22050, 1, i % 2); });
    for (std::thread& th : threads) th.join();
    for (std::size_t i = 2; i < seen.size(); ++i) EXPECT_EQ(seen[i], seen[i % 2]);
    EXPECT_NE(seen[0], seen[1]);
}

// A NaN limit first, the valid shape after: the valid call gets the bank its own parameters
// build, and the NaN call the NaN bank of its own, in the exported call, through the mel
// spectrogram and in any order.
TEST(FilterBankCache, NanLimitsNeverReachAnotherCallsBank) {
    struct Shape {
        int freq_n;
        float f_min, f_max;
        int mel_n, rate, norm, formula;
    };
    const Shape shapes[] = {{201, kNaN, 4000, 40, 16000, 0, 0}, {201, 100, 4000, 40, 16000, 0, 0},
                            {129, 0, kNaN, 20, 8000, 1, 1},     {129, 0, 3000, 20, 8000, 1, 1},
                            {129, 0, -kNaN, 20, 8000, 1, 1},    {129, 0, 3500, 20, 8000, 1, 1},
                            {65, kNaN, kNaN, 10, 22050, 1, 0},  {65, 10, 900, 10, 22050, 1, 0}};
    const auto built = [](const Shape& s) {
        MelMatrix fb(s.mel_n, std::vector<float>(s.freq_n, 0.0f));
        create_fb_matrix(fb, s.freq_n, s.f_min, s.f_max, s.mel_n, s.rate, s.norm, s.formula != 0);
        std::vector<std::uint32_t> flat;
        for (const std::vector<float>& row : fb)
            for (float w : row) flat.push_back(bits(w));
        return flat;
    };
    const auto got = [](const Shape& s) {
        std::vector<std::uint32_t> flat;
        for (float w : get_bank(s.freq_n, s.f_min, s.f_max, s.mel_n, s.rate, s.norm, s.formula))
            flat.push_back(bits(w));
        return flat;
    };
    for (const Shape& s : shapes) EXPECT_EQ(got(s), built(s)) << s.freq_n << ' ' << s.f_min << ' ' << s.f_max;
    for (auto s = std::rbegin(shapes); s != std::rend(shapes); ++s) EXPECT_EQ(got(*s), built(*s));

    // The mel spectrogram reads the same cache: a NaN f_min there, then the valid bank.
    std::vector<float> signal(1024), out(16 * 40);
    for (std::size_t i = 0; i < signal.size(); ++i) signal[i] = std::sin(0.05f * static_cast<float>(i));
    for (float f_min : {kNaN, 300.0f})
        ASSERT_EQ(vorelAudioGetMelSpectrogram(out.data(), signal.data(), 1024, 16000, 256, 128, 256, 1, 16, 1, 2.0f, 0,
                                              f_min, 4000.0f, 16, 0, 0),
                  0);
    EXPECT_EQ(got({129, 300, 4000, 16, 16000, 0, 0}), built({129, 300, 4000, 16, 16000, 0, 0}));
}

// The refusals of bad values are swept with every exported function's in tests/errors.
TEST(FilterBankCall, BanksBeyondMemoryAreRefusedBeforeTheyAreBuilt) {
    std::vector<float> out(64, 3.5f);
    float* d = out.data();
    EXPECT_EQ(vorelAudioGetFBMatrix(d, INT_MAX, 0.0f, 8000.0f, INT_MAX - 1, 16000, 0, 0), VOREL_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 1 << 20, 0.0f, 8000.0f, 1 << 19, 16000, 1, 1), VOREL_STATUS_OUT_OF_MEMORY);
    EXPECT_EQ(out, std::vector<float>(64, 3.5f));
    // The smallest shape passes: two bins, one band.
    EXPECT_EQ(vorelAudioGetFBMatrix(d, 2, 0.0f, 8000.0f, 1, 16000, 1, 1), 0);
    EXPECT_EQ(out[2], 3.5f);
}
