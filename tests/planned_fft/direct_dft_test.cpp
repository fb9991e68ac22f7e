// Direct-evaluation plans: agreement with a double transform, the scaled table, batches, NaN.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "planned_fft/direct_dft.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;

TEST(DirectDft, ScaledTableIsTheInverseTableTimesTheReciprocal) {
    fft::IDFTImpl scaled(10, 10, true), plain(10, 10, false);
    ASSERT_EQ(scaled.W.size(), 10u);
    expect_entry(scaled.W[0], bits_of(0.1f), 0x80000000, "entry 0");
    for (unsigned k = 0; k < 10; ++k) {
        EXPECT_EQ(bits_of(scaled.W[k].re), bits_of(0.1f * plain.W[k].re)) << k;
        EXPECT_EQ(bits_of(scaled.W[k].im), bits_of(0.1f * plain.W[k].im)) << k;
    }
}

TEST(DirectDft, BatchRunsWholeIndependentTransformsOnly) {
    const auto x = random_input<Complex>(15, 9);
    fft::DFTImpl batch(7, 15), single(7, 7), empty(6, 0);
    const auto both = run_plan(batch, x, 15);
    expect_same_bits({both.begin(), both.begin() + 7},
                     run_plan(single, std::vector<Complex>(x.begin(), x.begin() + 7), 7));
    expect_same_bits({both.begin() + 7, both.begin() + 14},
                     run_plan(single, std::vector<Complex>(x.begin() + 7, x.begin() + 14), 7));
    EXPECT_EQ(both[14].re, -7.0f);  // no partial transform past the last whole one
    for (const Complex& y : run_plan(empty, x, 6)) EXPECT_EQ(y.re, -7.0f);
}

TEST(DirectDft, NaNInOneInputReachesEveryOutput) {
    for (unsigned n : {6u, 9u}) {
        std::vector<float> x(n, 1.0f);
        x[n / 2] = NAN;
        fft::DFTImpl plan(n, n);
        for (const Complex& y : run_plan(plan, x, n)) EXPECT_TRUE(std::isnan(y.re) && std::isnan(y.im)) << n;
    }
}
