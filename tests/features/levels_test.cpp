// Decibel conversion, standardisation and log1p: worked values, agreement with double-precision
// references, NaN handling, in-place use, and the argument checks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "features/levels.h"
#include "vorel_audio.h"

using namespace vorel::audio;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

uint32_t bits(float v) {
    uint32_t b;
    std::memcpy(&b, &v, sizeof b);
    return b;
}

// Bit equality that also accepts two NaNs.
::testing::AssertionResult same_bits(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size()) return ::testing::AssertionFailure() << "sizes differ";
    for (std::size_t i = 0; i < a.size(); ++i) {
        const bool both_nan = std::isnan(a[i]) && std::isnan(b[i]);
        if (!both_nan && bits(a[i]) != bits(b[i]))
            return ::testing::AssertionFailure() << "at " << i << ": " << a[i] << " vs " << b[i];
    }
    return ::testing::AssertionSuccess();
}

std::vector<float> to_db(const std::vector<float>& src, float top_db) {
    std::vector<float> dst(src.size(), -7.0f);
    EXPECT_EQ(vorelAudioConvertPowerToDB(dst.data(), src.data(), static_cast<int>(src.size()), top_db),
              VOREL_STATUS_SUCCESS);
    return dst;
}

std::vector<float> random_powers(std::size_t n, uint32_t seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<float> exponent(-14.0f, 3.0f);
    std::vector<float> v(n);
    for (auto& x : v) x = std::pow(10.0f, exponent(gen));
    return v;
}

// The running maximum exactly as defined: element by element, replaced only when less.
float plain_scan(const std::vector<float>& v) {
    float m = v[0];
    for (std::size_t i = 1; i < v.size(); ++i)
        if (m < v[i]) m = v[i];
    return m;
}

double db_reference(double x, double ref) {
    return 10.0 * std::log10(std::max(x, 1e-10)) - 10.0 * std::log10(std::max(ref, 1e-10));
}

}  // namespace

// ---- decibels ----------------------------------------------------------------------------

TEST(PowerToDb, ZerosGiveZeroEverywhere) {
    for (float v : to_db(std::vector<float>(37, 0.0f), 80.0f)) EXPECT_EQ(bits(v), bits(0.0f));
    for (float v : to_db(std::vector<float>(5, 0.0f), -1.0f)) EXPECT_EQ(bits(v), bits(0.0f));
}

TEST(PowerToDb, OneElementIsAlwaysZero) {
    for (float x : {5.0f, 1e-20f, -3.0f, 0.0f, kNaN, 1e30f})
        EXPECT_EQ(to_db({x}, 80.0f)[0], 0.0f) << x;
}

TEST(PowerToDb, TopDbLiftsTheQuietEndToTheFloor) {
    const auto floored = to_db({1.0f, 1e-12f, 0.5f}, 80.0f);
    EXPECT_EQ(floored[0], 0.0f);
    EXPECT_EQ(floored[1], -80.0f);
    EXPECT_NEAR(floored[2], -3.0103, 1e-4);

    const auto unlimited = to_db({1.0f, 1e-12f, 0.5f}, -1.0f);
    EXPECT_NEAR(unlimited[1], 10.0 * std::log10(static_cast<double>(1e-10f)), 1e-5);
    EXPECT_NEAR(unlimited[1], -100.0, 1e-4);
}

TEST(PowerToDb, TopDbZeroFlattensEverything) {
    for (float v : to_db(random_powers(100, 3), 0.0f)) EXPECT_EQ(v, 0.0f);
}

TEST(PowerToDb, NegativeOrNaNTopDbMeansNoFloor) {
    const std::vector<float> src = {2.0f, 1e-9f, 0.0f};
    const float lowest = 10.0f * std::log10(1e-10f) - 10.0f * std::log10(2.0f);
    for (float top : {-1.0f, kNaN, -kInf}) {
        const auto out = to_db(src, top);
        EXPECT_EQ(out[2], lowest) << top;
        EXPECT_NEAR(out[1], -93.0103, 1e-3) << top;
    }
}

TEST(PowerToDb, NegativeAndNaNElementsFloorLikeZero) {
    const auto out = to_db({4.0f, -2.0f, kNaN, 0.0f}, -1.0f);
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_EQ(bits(out[1]), bits(out[3]));
    EXPECT_EQ(bits(out[2]), bits(out[3]));
    EXPECT_NEAR(out[3], db_reference(0.0, 4.0), 1e-4);
}

TEST(PowerToDb, MaximumScanSkipsNaNButKeepsALeadingOne) {
    // NaN inside: the reference is the largest number.
    const auto inside = to_db({1.0f, kNaN, 4.0f, 2.0f}, -1.0f);
    EXPECT_EQ(inside[2], 0.0f);
    EXPECT_NEAR(inside[0], db_reference(1.0, 4.0), 1e-4);
    // NaN first: it stays the maximum, and the reference falls to the floor.
    const auto leading = to_db({kNaN, 4.0f, 2.0f}, -1.0f);
    EXPECT_EQ(leading[0], 0.0f);
    EXPECT_NEAR(leading[1], db_reference(4.0, 0.0), 1e-4);
    EXPECT_NEAR(leading[1], 106.0206, 1e-3);
}

TEST(PowerToDb, LaneScanEqualsThePlainScan) {
    // Lengths around the lane width, with NaN, infinities and signed zeros placed everywhere.
    std::mt19937 gen(11);
    std::uniform_real_distribution<float> u(-5.0f, 5.0f);
    const float specials[] = {kNaN, kInf, -kInf, 0.0f, -0.0f, 1e-30f, 3e38f};
    for (int n = 1; n <= 70; ++n) {
        for (int trial = 0; trial < 30; ++trial) {
            std::vector<float> v(n);
            for (auto& x : v) x = u(gen);
            const int special_n = trial % 4;
            for (int k = 0; k < special_n; ++k) v[gen() % n] = specials[gen() % 7];
            const float fast = scan_maximum(v.data(), n);
            const float plain = plain_scan(v);
            if (std::isnan(plain)) {
                EXPECT_TRUE(std::isnan(fast)) << n;
            } else if (plain == 0.0f) {
                EXPECT_EQ(fast, 0.0f) << n;  // the sign of a zero maximum is floored away
            } else {
                EXPECT_EQ(bits(fast), bits(plain)) << n;
            }
        }
    }
}

TEST(PowerToDb, EqualsThePlainElementwiseDefinition) {
    for (int n : {1, 2, 7, 8, 9, 16, 17, 33, 1000}) {
        auto src = random_powers(n, 100 + n);
        if (n > 3) src[n / 2] = kNaN;
        for (float top : {80.0f, 30.0f, -1.0f}) {
            const float ref = std::fmax(plain_scan(src), 1e-10f);
            std::vector<float> want(n);
            for (int i = 0; i < n; ++i) want[i] = power_to_db(src[i], ref);
            if (top >= 0.0f)
                for (auto& w : want) w = w < 0.0f - top ? 0.0f - top : w;
            EXPECT_TRUE(same_bits(to_db(src, top), want)) << n << " " << top;
        }
    }
}

TEST(PowerToDb, AgreesWithDoublePrecision) {
    const auto src = random_powers(5000, 7);
    const double peak = plain_scan(src);
    for (float top : {80.0f, -1.0f}) {
        const auto out = to_db(src, top);
        for (std::size_t i = 0; i < src.size(); ++i) {
            double want = db_reference(src[i], peak);
            if (top >= 0.0f) want = std::max(want, -static_cast<double>(top));
            EXPECT_NEAR(out[i], want, 2e-5 * std::max(1.0, std::fabs(want))) << i;
        }
    }
}

TEST(PowerToDb, FormulaKeepsTwoProductsAndFloorsOnlyX) {
    EXPECT_EQ(power_to_db(0.0f, 1e-10f), 0.0f);
    EXPECT_NEAR(power_to_db(1.0f, 100.0f), -20.0, 1e-5);
    // The reference is not floored here: a tiny one gives a very high level.
    EXPECT_NEAR(power_to_db(1.0f, 1e-20f), 200.0, 1e-3);
}

// ---- standardisation ---------------------------------------------------------------------

namespace {
std::vector<float> standardized(const std::vector<float>& src) {
    std::vector<float> dst(src.size(), -7.0f);
    EXPECT_EQ(vorelAudioStandardize(dst.data(), src.data(), static_cast<int>(src.size())),
              VOREL_STATUS_SUCCESS);
    return dst;
}
}  // namespace

TEST(Standardize, ZeroDeviationScalesTheResidueBy1e16) {
    // Six times 0.1f: the variance comes out exactly 0 while the mean is one ulp above 0.1f,
    // so each output is 1e16 times -2^-27.
    const auto out = standardized(std::vector<float>(6, 0.1f));
    const float want = static_cast<float>(-static_cast<double>(1e16f) * std::ldexp(1.0, -27));
    EXPECT_EQ(bits(1e16f), 0x5A0E1BCAu);
    for (float v : out) EXPECT_EQ(v, want);
    EXPECT_EQ(want, -74505810.0f);
    for (float v : standardized(std::vector<float>(4, 2.0f))) EXPECT_EQ(v, 0.0f);
}

TEST(Standardize, NegativeRoundedVarianceGivesNaNThroughout) {
    // Three times 0.1f: mean of squares minus squared mean rounds below zero; no clamp.
    for (float v : standardized(std::vector<float>(3, 0.1f))) EXPECT_TRUE(std::isnan(v));
}

TEST(Standardize, OneElementGivesZero) {
    for (float x : {3.5f, -1e5f, 0.0f}) EXPECT_EQ(standardized({x})[0], 0.0f) << x;
}

TEST(Standardize, AgreesWithDoublePrecisionMeanAndPopulationDeviation) {
    std::mt19937 gen(5);
    std::normal_distribution<float> g(3.0f, 2.0f);
    std::vector<float> src(4001);
    for (auto& x : src) x = g(gen);
    double mean = 0.0;
    for (float x : src) mean += x;
    mean /= src.size();
    double var = 0.0;
    for (float x : src) var += (x - mean) * (x - mean);
    const double dev = std::sqrt(var / src.size());
    const auto out = standardized(src);
    for (std::size_t i = 0; i < src.size(); ++i)
        EXPECT_NEAR(out[i], (src[i] - mean) / dev, 1e-3) << i;
}

TEST(Standardize, SumsRunInElementOrder) {
    // 1e8 absorbs the ones when summed in order; a pairwise or lane-wise sum would keep them.
    std::vector<float> src(9, 1.0f);
    src[0] = 1e8f;
    float sum = 0.0f;
    for (float x : src) sum += x;
    ASSERT_EQ(sum, 1e8f);
    const auto out = standardized(src);
    // The mean of the in-order sum is 1e8 / 9, so the ones sit at scale * (1 - 1e8/9).
    const float mean = (1.0f / 9.0f) * 1e8f;
    EXPECT_EQ(bits(out[1]), bits(out[8]));
    EXPECT_LT(out[1], 0.0f);
    float sum_sq = 0.0f;
    for (float x : src) sum_sq = sum_sq + x * x;
    const float dev = std::sqrt((1.0f / 9.0f) * sum_sq - mean * mean);
    EXPECT_EQ(out[1], (1.0f / dev) * (1.0f - mean));
}

TEST(Standardize, OutputPassEqualsThePlainLoopAndWorksInPlace) {
    for (int n : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 64, 100}) {
        std::mt19937 gen(n);
        std::uniform_real_distribution<float> u(-10.0f, 10.0f);
        std::vector<float> src(n);
        for (auto& x : src) x = u(gen);
        const float inv = 1.0f / static_cast<float>(n);
        float sum = 0.0f, sum_sq = 0.0f;
        for (float x : src) {
            sum = sum + x;
            sum_sq = sum_sq + x * x;
        }
        const float mean = inv * sum;
        const float dev = std::sqrt(inv * sum_sq - mean * mean);
        const float scale = dev == 0.0f ? 1e16f : 1.0f / dev;
        std::vector<float> want(n);
        for (int i = 0; i < n; ++i) want[i] = scale * (src[i] - mean);
        EXPECT_TRUE(same_bits(standardized(src), want)) << n;
        std::vector<float> inplace = src;
        ASSERT_EQ(vorelAudioStandardize(inplace.data(), inplace.data(), n), 0);
        EXPECT_TRUE(same_bits(inplace, want)) << n;
    }
}

// ---- log1p -------------------------------------------------------------------------------

TEST(Log1p, AgreesWithDoubleAndPassesOnNaNAndInfinity) {
    std::vector<float> src = {0.0f, 1e-8f, 0.5f, 1.0f, 1e6f, -0.5f, -1.0f, -2.0f, kInf, kNaN};
    std::vector<float> dst(src.size(), 9.0f);
    ASSERT_EQ(vorelAudioLog1p(dst.data(), src.data(), static_cast<int>(src.size())), 0);
    for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(dst[i], std::log1p(double(src[i])), 1e-7 * (1 + std::fabs(dst[i])));
    EXPECT_EQ(dst[1], 1e-8f);
    EXPECT_EQ(dst[6], -kInf);
    EXPECT_TRUE(std::isnan(dst[7]));
    EXPECT_EQ(dst[8], kInf);
    EXPECT_TRUE(std::isnan(dst[9]));
}

// ---- in place and checks, for all three ----------------------------------------------------

TEST(LevelsInPlace, SameBufferEqualsSeparateBuffers) {
    auto src = random_powers(1001, 9);
    src[0] = -1.0f;
    src[500] = kNaN;
    using Fn = int (*)(float*, const float*, int);
    const Fn fns[] = {
        [](float* d, const float* s, int n) { return vorelAudioConvertPowerToDB(d, s, n, 60.0f); },
        vorelAudioStandardize, vorelAudioLog1p};
    for (Fn f : fns) {
        std::vector<float> separate(src.size());
        ASSERT_EQ(f(separate.data(), src.data(), 1001), 0);
        std::vector<float> inplace = src;
        ASSERT_EQ(f(inplace.data(), inplace.data(), 1001), 0);
        EXPECT_TRUE(same_bits(inplace, separate));
    }
}

TEST(LevelsChecks, NullPointersThenSizeLeaveTheOutputUntouched) {
    using Fn = int (*)(float*, const float*, int);
    const Fn fns[] = {
        [](float* d, const float* s, int n) { return vorelAudioConvertPowerToDB(d, s, n, kNaN); },
        vorelAudioStandardize, vorelAudioLog1p};
    const std::vector<float> src = {1.0f, 2.0f};
    for (Fn f : fns) {
        std::vector<float> dst = {-3.0f, -3.0f};
        EXPECT_EQ(f(nullptr, src.data(), 2), VOREL_STATUS_INVALID_ARGUMENT);
        EXPECT_EQ(f(dst.data(), nullptr, 2), VOREL_STATUS_INVALID_ARGUMENT);
        EXPECT_EQ(f(nullptr, nullptr, -1), VOREL_STATUS_INVALID_ARGUMENT);
        EXPECT_EQ(f(dst.data(), src.data(), 0), VOREL_STATUS_INVALID_ARGUMENT);
        EXPECT_EQ(f(dst.data(), src.data(), -2147483647 - 1), VOREL_STATUS_INVALID_ARGUMENT);
        EXPECT_EQ(dst, (std::vector<float>{-3.0f, -3.0f}));
        EXPECT_EQ(f(dst.data(), src.data(), 2), VOREL_STATUS_SUCCESS);
    }
}

TEST(LevelsChecks, ExtremeTopDbAndValuesStillSucceed) {
    const std::vector<float> src = {kInf, 1.0f, -kInf, kNaN, 3e38f};
    // An infinite peak makes its own level inf - inf (NaN) and every finite one -inf, which
    // a floor raises.
    for (float top : {kInf, -kInf, kNaN, 1e30f, 0.0f}) {
        const auto out = to_db(src, top);
        EXPECT_TRUE(std::isnan(out[0])) << top;
        EXPECT_EQ(out[1], top >= 0.0f ? -top : -kInf) << top;
    }
    EXPECT_TRUE(std::isnan(standardized(src)[1]));
}
