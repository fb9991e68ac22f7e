// Direct-evaluation plans: agreement with a double transform, scaling, batches, NaN spread.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "planned_fft/direct_dft.h"
#include "planned_fft/twiddles.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;

template <class T>
class DirectDftTyped : public ::testing::Test {};
TYPED_TEST_SUITE(DirectDftTyped, InputTypes);

TYPED_TEST(DirectDftTyped, AgreesWithDoubleTransformBothWays) {
    for (unsigned n : {1u, 2u, 6u, 7u, 13u, 31u, 64u, 97u, 100u}) {
        const auto x = random_input<TypeParam>(n, n);
        fft::DFTImpl fwd(n, n);
        fft::IDFTImpl inv(n, n, true);
        EXPECT_LT(relative_error(run_plan(fwd, x, n), reference_dft(x, true)), 2e-6) << n;
        EXPECT_LT(relative_error(run_plan(inv, x, n), reference_dft(x, false)), 2e-6) << n;
    }
}

TEST(DirectDft, ScaledTableIsTheInverseTableTimesTheReciprocal) {
    const unsigned n = 10;
    fft::IDFTImpl scaled(n, n, true);
    fft::IDFTImpl plain(n, n, false);
    const float s = 1.0f / 10.0f;
    ASSERT_EQ(scaled.W.size(), n);
    expect_entry(scaled.W[0], bits_of(s), 0x80000000, "entry 0");
    for (unsigned k = 0; k < n; ++k) {
        EXPECT_EQ(bits_of(scaled.W[k].re), bits_of(s * plain.W[k].re)) << k;
        EXPECT_EQ(bits_of(scaled.W[k].im), bits_of(s * plain.W[k].im)) << k;
    }
    // Unscaled: n times the scaled result.
    const auto x = random_input<float>(n, 1);
    const auto a = run_plan(scaled, x, n);
    const auto b = run_plan(plain, x, n);
    for (unsigned k = 0; k < n; ++k) EXPECT_NEAR(b[k].re, 10.0f * a[k].re, 1e-5);
}

TEST(DirectDft, SixteenBitSamplesEnterUnnormalised) {
    const std::vector<int16_t> x = {-32768, 32767, 1, 0, -1, 12345, 7};
    fft::DFTImpl plan(7, 7);
    const auto out = run_plan(plan, x, 7);
    // Output 0 sums the samples as they stand; every term is a product with 1 or +0 there.
    EXPECT_EQ(out[0].re, -32768.0f + 32767.0f + 1.0f + 0.0f - 1.0f + 12345.0f + 7.0f);
    EXPECT_EQ(bits_of(out[0].im), 0u);
}

TEST(DirectDft, BatchRunsIndependentTransforms) {
    const unsigned n = 7;
    auto x = random_input<Complex>(2 * n, 9);
    fft::DFTImpl batch(n, 2 * n);
    fft::DFTImpl single(n, n);
    const auto both = run_plan(batch, x, 2 * n);
    const std::vector<Complex> first(x.begin(), x.begin() + n), second(x.begin() + n, x.end());
    const auto a = run_plan(single, first, n);
    const auto b = run_plan(single, second, n);
    for (unsigned k = 0; k < n; ++k) {
        EXPECT_TRUE(same_bits(both[k], a[k])) << k;
        EXPECT_TRUE(same_bits(both[n + k], b[k])) << k;
    }
}

TEST(DirectDft, NanInOneInputReachesEveryOutput) {
    for (unsigned n : {6u, 9u}) {
        std::vector<float> x(n, 1.0f);
        x[n / 2] = std::numeric_limits<float>::quiet_NaN();
        fft::DFTImpl plan(n, n);
        for (const Complex& y : run_plan(plan, x, n)) {
            EXPECT_TRUE(std::isnan(y.re)) << n;
            EXPECT_TRUE(std::isnan(y.im)) << n;
        }
    }
}

TEST(DirectDft, SizeZeroWritesNothing) {
    fft::DFTImpl plan(6, 0);
    std::vector<float> x(6, 1.0f);
    const auto out = run_plan(plan, x, 6);
    for (const Complex& y : out) EXPECT_EQ(y.re, -7.0f);
}

TEST(DirectDft, OnePlanRunsOnSeveralThreads) {
    const unsigned n = 60;
    fft::DFTImpl plan(n, n);
    const auto x = random_input<Complex>(n, 2);
    expect_same_on_threads(plan, x, n);
}
