// Decibels, standardisation and log1p: worked values with NaN and infinity, the lane scan
// against the plain scan, in-place use and the checks. Agreement over large inputs is checked
// against torchaudio, torch and numpy in the Python tests.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>
#include <vector>

#include "common/isa_kit.h"
#include "features/levels.h"
#include "vorel_audio.h"

namespace {

const float kInf = INFINITY;

bool same(float a, float b) { return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b) || (a != a && b != b); }

std::vector<float> run(int (*f)(float*, const float*, int), const std::vector<float>& src) {
    std::vector<float> dst(src.size(), -7.0f);
    EXPECT_EQ(f(dst.data(), src.data(), int(src.size())), 0);
    return dst;
}

}  // namespace

TEST(PowerToDb, WorkedLevelsFloorsNaNsAndInfinities) {
    struct Case {
        std::vector<float> src;
        float top_db;
        std::vector<float> want;
    };
    const Case cases[] = {
        {{0.0f, 0.0f, 1e-20f}, 80.0f, {0, 0, 0}},
        {{1.0f, 1e-12f, 0.5f}, 80.0f, {0, -80, -3.0103f}},
        {{1.0f, 1e-12f, 0.5f}, -1.0f, {0, -100, -3.0103f}},  // raised to the floor of 1e-10
        {{1.0f, 1e-3f, 7.0f}, 0.0f, {0, 0, 0}},
        {{2.0f, 1e-9f, 0.0f}, NAN, {0, -93.0103f, -103.0103f}},  // negative or NaN: no floor
        {{2.0f, 1e-9f, 0.0f}, -kInf, {0, -93.0103f, -103.0103f}},
        {{1.0f, NAN, 4.0f, -2.0f}, -1.0f, {-6.0206f, -106.0206f, 0, -106.0206f}},
        {{NAN, 4.0f, 2.0f}, -1.0f, {0, 106.0206f, 103.0103f}},  // a leading NaN stays the maximum
        {{kInf, 1.0f, 3e38f}, NAN, {NAN, -kInf, -kInf}},
        {{kInf, 1.0f, 3e38f}, 1e30f, {NAN, -1e30f, -1e30f}},
    };
    for (const Case& c : cases) {
        std::vector<float> out(c.src.size());
        ASSERT_EQ(vorelAudioConvertPowerToDB(out.data(), c.src.data(), int(out.size()), c.top_db), 0);
        for (std::size_t i = 0; i < out.size(); ++i)
            EXPECT_TRUE(same(out[i], c.want[i]) || std::fabs(out[i] - c.want[i]) < 1e-3f)
                << "top_db " << c.top_db << " at " << i << ": " << out[i];
    }
}

TEST(PowerToDb, LaneScanEqualsThePlainScan) {
    // Lengths around the lane width, with NaN, infinities and signed zeros placed anywhere.
    std::mt19937 gen(11);
    std::uniform_real_distribution<float> u(-5.0f, 5.0f);
    const float specials[] = {NAN, kInf, -kInf, 0.0f, -0.0f, 1e-30f, 3e38f};
    // Up to a little over two rounds of four vectors of 16 lanes, at every level.
    for (int n = 1; n <= 140; ++n)
        for (int trial = 0; trial < 30; ++trial) {
            std::vector<float> v(n);
            for (auto& x : v) x = u(gen);
            for (int k = 0; k < trial % 4; ++k) v[gen() % n] = specials[gen() % 7];
            float plain = v[0];
            for (int i = 1; i < n; ++i)
                if (plain < v[i]) plain = v[i];
            for (auto isa : vorel::audio::simd::supported_isas()) {
                const float fast = vorel::audio::scan_maximum(v.data(), n, isa);
                // The sign of a zero maximum is floored away.
                EXPECT_TRUE(same(fast, plain) || (fast == 0.0f && plain == 0.0f)) << n << " " << int(isa);
            }
        }
}

namespace {

// Powers over the whole float range with every class mixed in: the inputs the lanes must carry
// exactly as the plain loop does, the peak included (it sets the reference).
std::vector<float> mixed_powers(std::size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> e(-45.0f, 38.0f);
    const float specials[] = {NAN, -NAN, kInf, -kInf, 0.0f, -0.0f, 1e-40f, -3.0f, 1e-10f, 0x1.b7cdfep-34f, -1.0f};
    std::vector<float> v(n);
    for (std::size_t i = 0; i < n; ++i) v[i] = i % 7 == 3 ? specials[gen() % 11] : std::exp2(e(gen));
    return v;
}

class LevelLanes : public vorel::audio::testing::EachIsa {};

}  // namespace

TEST_P(LevelLanes, DecibelsAndLog1pEqualThePlainLoopsBitForBit) {
    using vorel::audio::simd::Isa;
    for (std::size_t n : {1, 9, 16, 31, 100'003}) {
        std::vector<float> src = mixed_powers(n, unsigned(n));
        if (n == 31) src[0] = NAN;  // a NaN first element stays the maximum
        // +inf is the one power the log10f lanes hand back. With 60 it lies above the reference
        // (a NaN first element leaves the floor as the maximum); with 40 it is gone and the
        // peak finite, so the levels are finite and the floor at work.
        for (float top_db : {80.0f, 0.0f, -1.0f, NAN, 60.0f, 40.0f}) {
            if (top_db == 60.0f) src[0] = NAN;
            if (top_db == 40.0f) {
                src[0] = 1.0f;
                for (float& x : src) x = x == kInf ? 1e30f : x;
            }
            std::vector<float> fast(n), plain(n);
            vorel::audio::convert_power_to_db(fast.data(), src.data(), int(n), top_db, GetParam());
            vorel::audio::convert_power_to_db(plain.data(), src.data(), int(n), top_db, Isa::scalar);
            EXPECT_TRUE(vorel::audio::testing::same_bits(fast, plain)) << n << " " << top_db;
            // The plain loop is the definition: the floored level against the floored maximum.
            if (n == 9) {
                const float ref = std::fmax(vorel::audio::scan_maximum(src.data(), 9), 1e-10f);
                for (std::size_t i = 0; i < n; ++i) {
                    float level = vorel::audio::power_to_db(src[i], ref);
                    if (top_db >= 0.0f && level < 0.0f - top_db) level = 0.0f - top_db;  // +0.0 for top_db 0
                    EXPECT_TRUE(same(plain[i], level)) << i;
                }
            }
        }
        std::vector<float> fast(n), plain(n);
        for (std::size_t i = 0; i < n; ++i) src[i] = i % 2 ? src[i] : -src[i] * 1e-6f;  // around -1 and 0 too
        vorel::audio::log1p_elements(fast.data(), src.data(), int(n), GetParam());
        for (std::size_t i = 0; i < n; ++i) plain[i] = log1pf(src[i]);
        EXPECT_TRUE(vorel::audio::testing::same_bits(fast, plain)) << n;
    }
}

VOREL_FOR_EACH_ISA(LevelLanes);

TEST(Standardize, WorkedCasesAndSumsInElementOrder) {
    // Six times 0.1f: the variance is exactly 0 while the mean is one ulp above 0.1f, so each
    // output is 1e16 times -2^-27. Three times 0.1f: the variance rounds below zero, no clamp.
    for (float v : run(vorelAudioStandardize, std::vector<float>(6, 0.1f))) EXPECT_EQ(v, -74505810.0f);
    for (float v : run(vorelAudioStandardize, std::vector<float>(3, 0.1f))) EXPECT_TRUE(std::isnan(v));
    EXPECT_EQ(run(vorelAudioStandardize, {-1e5f})[0], 0.0f);
    // 1e8 absorbs the ones when summed in order; a pairwise or lane-wise sum would keep them.
    std::vector<float> src(9, 1.0f);
    src[0] = 1e8f;
    const float mean = (1.0f / 9.0f) * 1e8f;
    const float dev = std::sqrt((1.0f / 9.0f) * (1e8f * 1e8f) - mean * mean);
    const auto out = run(vorelAudioStandardize, src);
    for (int i = 1; i < 9; ++i) EXPECT_EQ(out[i], (1.0f / dev) * (1.0f - mean));
}

TEST(LevelsChecks, InOrderWithTheOutputUntouchedAndInPlaceEqualsSeparate) {
    using Fn = int (*)(float*, const float*, int);
    const Fn fns[] = {[](float* d, const float* s, int n) { return vorelAudioConvertPowerToDB(d, s, n, 60.0f); },
                      vorelAudioStandardize, vorelAudioLog1p};
    std::vector<float> src(1001);
    for (std::size_t i = 0; i < src.size(); ++i) src[i] = std::pow(10.0f, float(i % 17) - 12.0f);
    src[0] = -1.0f;
    src[500] = NAN;
    for (Fn f : fns) {
        std::vector<float> dst = {-3.0f, -3.0f};
        EXPECT_EQ(f(nullptr, src.data(), 2), -1);
        EXPECT_EQ(f(dst.data(), nullptr, 2), -1);
        EXPECT_EQ(f(dst.data(), src.data(), 0), -1);
        EXPECT_EQ(f(dst.data(), src.data(), -2147483647 - 1), -1);
        EXPECT_EQ(dst, (std::vector<float>{-3.0f, -3.0f}));
        const auto separate = run(f, src);
        std::vector<float> inplace = src;
        ASSERT_EQ(f(inplace.data(), inplace.data(), 1001), 0);
        for (std::size_t i = 0; i < src.size(); ++i) EXPECT_TRUE(same(inplace[i], separate[i])) << i;
    }
}
