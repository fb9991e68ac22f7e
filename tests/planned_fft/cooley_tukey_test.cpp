// Cooley-Tukey plans: stage records, the digit-reversed order, inner plan choice, the
// inverse's single factor, scratch handling and accuracy.
#include <gtest/gtest.h>

#include <vector>

#include "planned_fft/cooley_tukey.h"
#include "planned_fft/direct_dft.h"
#include "planned_fft/hard_kernels.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;

namespace {

struct Stage {
    uint32_t inCount, inLength, radix, outCount, outLength;
    size_t table;
};

void expect_stages(const fft::CooleyTukeyFFTImpl& plan, const std::vector<Stage>& want) {
    ASSERT_EQ(plan.factors.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) {
        const CooleyTukeyFactor& f = plan.factors[i];
        EXPECT_EQ(f.inCount, want[i].inCount) << i;
        EXPECT_EQ(f.inLength, want[i].inLength) << i;
        EXPECT_EQ(f.radix, want[i].radix) << i;
        EXPECT_EQ(f.outCount, want[i].outCount) << i;
        EXPECT_EQ(f.outLength, want[i].outLength) << i;
        EXPECT_EQ(f.W.size(), want[i].table) << i;
    }
}

}  // namespace

TEST(CooleyTukey, StageRecords) {
    expect_stages(fft::CooleyTukeyFFTImpl(60),
                  {{12, 5, 3, 4, 15, 15}, {4, 15, 2, 2, 30, 15}, {2, 30, 2, 1, 60, 30}});
    expect_stages(fft::CooleyTukeyFFTImpl(6), {{2, 3, 2, 1, 6, 3}});
    expect_stages(fft::CooleyTukeyFFTImpl(9), {{3, 3, 3, 1, 9, 9}});
    expect_stages(fft::CooleyTukeyFFTImpl(35), {{5, 7, 5, 1, 35, 35}});
    expect_stages(fft::CooleyTukeyFFTImpl(74), {{2, 37, 2, 1, 74, 37}});
    expect_stages(fft::CooleyTukeyIFFTImpl(12), {{4, 3, 2, 2, 6, 3}, {2, 6, 2, 1, 12, 6}});
    expect_stages(fft::CooleyTukeyFFTImpl(16),
                  {{8, 2, 2, 4, 4, 2}, {4, 4, 2, 2, 8, 4}, {2, 8, 2, 1, 16, 8}});
}

TEST(CooleyTukey, DigitReversedOrder) {
    EXPECT_EQ(fft::CooleyTukeyFFTImpl(12).index,
              (std::vector<uint32_t>{0, 4, 8, 2, 6, 10, 1, 5, 9, 3, 7, 11}));
    EXPECT_EQ(fft::CooleyTukeyFFTImpl(6).index, (std::vector<uint32_t>{0, 2, 4, 1, 3, 5}));
    EXPECT_EQ(fft::CooleyTukeyFFTImpl(9).index,
              (std::vector<uint32_t>{0, 3, 6, 1, 4, 7, 2, 5, 8}));
    // For powers of two the order is the bit reversal.
    const auto idx16 = fft::CooleyTukeyFFTImpl(16).index;
    for (uint32_t i = 0; i < 16; ++i) {
        const uint32_t r = ((i & 1) << 3) | ((i & 2) << 1) | ((i & 4) >> 1) | ((i & 8) >> 3);
        EXPECT_EQ(idx16[i], r) << i;
    }
    // Mixed radix: a permutation whose blocks of L = 5 hold inputs n / L apart, since each
    // inner transform takes every (n / L)-th sample.
    const auto idx60 = fft::CooleyTukeyFFTImpl(60).index;
    std::vector<int> seen(60, 0);
    for (uint32_t v : idx60) seen.at(v)++;
    for (int s : seen) EXPECT_EQ(s, 1);
    for (size_t b = 0; b < 60; b += 5)
        for (size_t i = 1; i < 5; ++i) EXPECT_EQ(idx60[b + i] - idx60[b + i - 1], 12u) << b;
}

TEST(CooleyTukey, InnerPlanByInnerLength) {
    fft::CooleyTukeyFFTImpl p6(6);
    auto* hard = dynamic_cast<fft::DFTHARDImpl*>(p6.inner.get());
    ASSERT_NE(hard, nullptr);
    EXPECT_EQ(hard->size, 6u);
    EXPECT_FALSE(p6.bluestein);
    EXPECT_EQ(p6.work.size(), 2u);
    fft::CooleyTukeyIFFTImpl i6(6);
    EXPECT_NE(dynamic_cast<fft::IDFTHARDImpl*>(i6.inner.get()), nullptr);

    fft::CooleyTukeyFFTImpl p35(35);
    auto* direct = dynamic_cast<fft::DFTImpl*>(p35.inner.get());
    ASSERT_NE(direct, nullptr);
    EXPECT_EQ(direct->n, 7u);
    EXPECT_EQ(direct->size, 35u);
    EXPECT_EQ(p35.work.size(), 5u);
    EXPECT_NE(dynamic_cast<fft::IDFTImpl*>(fft::CooleyTukeyIFFTImpl(35).inner.get()), nullptr);

    fft::CooleyTukeyFFTImpl p74(74);
    EXPECT_FALSE(p74.inner);
    ASSERT_TRUE(p74.bluestein);
    EXPECT_EQ(p74.bluestein->size, 37u);
    fft::CooleyTukeyIFFTImpl i74(74);
    auto* chirp_inverse = dynamic_cast<fft::BluesteinIFFTImpl*>(i74.bluestein.get());
    ASSERT_NE(chirp_inverse, nullptr);
    EXPECT_FALSE(chirp_inverse->scale);

    fft::CooleyTukeyFFTImpl p1369(1369);
    ASSERT_TRUE(p1369.bluestein);
    EXPECT_EQ(p1369.bluestein->size, 37u);
    expect_stages(p1369, {{37, 37, 37, 1, 1369, 1369}});
    EXPECT_EQ(p1369.work.size(), 37u);
}

template <class T>
class CooleyTukeyTyped : public ::testing::Test {};
TYPED_TEST_SUITE(CooleyTukeyTyped, InputTypes);

TYPED_TEST(CooleyTukeyTyped, AgreesWithDoubleTransformBothWays) {
    for (unsigned n : {6u, 9u, 10u, 12u, 15u, 18u, 21u, 22u, 25u, 30u, 35u, 49u, 60u, 100u,
                       360u, 1000u, 3072u, 4725u}) {
        const auto x = random_input<TypeParam>(n, n);
        fft::CooleyTukeyFFTImpl fwd(n);
        fft::CooleyTukeyIFFTImpl inv(n);
        EXPECT_LT(relative_error(run_plan(fwd, x, n), reference_dft(x, true)), 1e-5) << n;
        EXPECT_LT(relative_error(run_plan(inv, x, n), reference_dft(x, false)), 1e-5) << n;
    }
}

TEST(CooleyTukey, InverseScalesOnceInItsLastStage) {
    // 30 ends in a radix-2 stage, 45 in a radix-3 one; a constant spectrum gives an impulse of
    // height 1 (up to rounding), not 1/30 or 30.
    for (unsigned n : {30u, 45u}) {
        fft::CooleyTukeyIFFTImpl inv(n);
        const std::vector<Complex> ones(n, Complex{1.0f, 0.0f});
        const auto y = run_plan(inv, ones, n);
        EXPECT_NEAR(y[0].re, 1.0f, 1e-6) << n;
        for (unsigned i = 1; i < n; ++i) EXPECT_NEAR(y[i].re, 0.0f, 1e-6) << n << " " << i;
    }
    fft::CooleyTukeyIFFTImpl inv30(30);
    EXPECT_EQ(inv30.factors.back().radix, 2u);
    // The last table carries 1/30, the earlier ones none.
    EXPECT_EQ(inv30.factors.back().W[0].re, 1.0f / 30.0f);
}

TEST(CooleyTukey, SixteenBitPairsWrapInsideForwardKernels) {
    // An explicit power of two runs the length-2 kernels innermost; samples 0 and 8 meet there.
    std::vector<int16_t> xi(16, 0);
    xi[0] = 30000;
    xi[8] = 30000;
    std::vector<float> xf(xi.begin(), xi.end());
    fft::CooleyTukeyFFTImpl fwd(16);
    EXPECT_EQ(run_plan(fwd, xi, 16)[0].re, -5536.0f);
    EXPECT_EQ(run_plan(fwd, xf, 16)[0].re, 60000.0f);
    fft::CooleyTukeyIFFTImpl inv(16);
    EXPECT_EQ(run_plan(inv, xi, 16)[0].re, 60000.0f / 16.0f);
}

TEST(CooleyTukey, InputTypesInAnyOrderMatchFreshPlans) {
    for (unsigned n : {12u, 35u, 74u}) {
        const auto xf = random_input<float>(n, 1);
        const auto xi = random_input<int16_t>(n, 2);
        const auto xc = random_input<Complex>(n, 3);
        fft::CooleyTukeyIFFTImpl used(n);
        const auto a = run_plan(used, xc, n);
        const auto b = run_plan(used, xf, n);
        const auto c = run_plan(used, xi, n);
        const auto d = run_plan(used, xc, n);
        fft::CooleyTukeyIFFTImpl f1(n), f2(n), f3(n);
        expect_same_bits(a, run_plan(f1, xc, n));
        expect_same_bits(b, run_plan(f2, xf, n));
        expect_same_bits(c, run_plan(f3, xi, n));
        expect_same_bits(d, a);
        // The plan's own scratch and order are never written by exec.
        for (const Complex& s : used.scratchComplex) EXPECT_EQ(s.re, 0.0f);
        for (float s : used.scratchFloat) EXPECT_EQ(s, 0.0f);
        EXPECT_EQ(used.scratchInt16.size(), n);
        EXPECT_EQ(used.index, fft::CooleyTukeyIFFTImpl(n).index);
    }
}

TEST(CooleyTukey, ComplexInputMayBeTheOutput) {
    for (unsigned n : {12u, 60u, 74u, 1000u}) {
        const auto x = random_input<Complex>(n, 7);
        fft::CooleyTukeyFFTImpl fwd(n);
        const auto want = run_plan(fwd, x, n);
        auto buffer = x;
        fwd.exec(buffer.data(), buffer.data());
        expect_same_bits(buffer, want);
    }
}

TEST(CooleyTukey, PrimeOrTinyLengthWritesNothing) {
    for (unsigned n : {0u, 1u, 2u, 7u}) {
        const std::vector<float> x(n + 1, 1.0f);
        fft::CooleyTukeyFFTImpl fwd(n);
        fft::CooleyTukeyIFFTImpl inv(n);
        EXPECT_TRUE(fwd.factors.empty());
        for (const Complex& y : run_plan(fwd, x, n)) EXPECT_EQ(y.re, -7.0f);
        for (const Complex& y : run_plan(inv, x, n)) EXPECT_EQ(y.re, -7.0f);
    }
}

TEST(CooleyTukey, ChirpInnerLengthIsAsPoorAsItsChirp) {
    // 74 = 2 * 37: the structure holds, the numbers follow the Bluestein plan of length 37,
    // whose chirp entries grow to about 1e29, so that the convolution overflows.
    const auto x = random_input<Complex>(74, 8);
    fft::CooleyTukeyFFTImpl fwd(74);
    EXPECT_GT(relative_error(run_plan(fwd, x, 74), reference_dft(x, true)), 1e-2);
}
