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

// Each stage as {inCount, inLength, radix, outCount, outLength, table size}.
void expect_stages(const fft::CooleyTukeyFFTImpl& plan, const std::vector<std::vector<size_t>>& want) {
    ASSERT_EQ(plan.factors.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) {
        const CooleyTukeyFactor& f = plan.factors[i];
        EXPECT_EQ((std::vector<size_t>{f.inCount, f.inLength, f.radix, f.outCount, f.outLength, f.W.size()}), want[i])
            << plan.size << " stage " << i;
    }
}

}  // namespace

TEST(CooleyTukey, StageRecordsAndInnerPlans) {
    expect_stages(fft::CooleyTukeyFFTImpl(60), {{12, 5, 3, 4, 15, 15}, {4, 15, 2, 2, 30, 15}, {2, 30, 2, 1, 60, 30}});
    expect_stages(fft::CooleyTukeyFFTImpl(9), {{3, 3, 3, 1, 9, 9}});
    expect_stages(fft::CooleyTukeyIFFTImpl(12), {{4, 3, 2, 2, 6, 3}, {2, 6, 2, 1, 12, 6}});
    expect_stages(fft::CooleyTukeyFFTImpl(16), {{8, 2, 2, 4, 4, 2}, {4, 4, 2, 2, 8, 4}, {2, 8, 2, 1, 16, 8}});
    // Inner length below 6: hard kernels; up to 31: direct evaluation; from 32: Bluestein.
    fft::CooleyTukeyFFTImpl p6(6), p35(35), p1369(1369);
    fft::CooleyTukeyIFFTImpl i6(6), i35(35), i74(74);
    EXPECT_EQ(dynamic_cast<fft::DFTHARDImpl&>(*p6.inner).size, 6u);
    EXPECT_NE(dynamic_cast<fft::IDFTHARDImpl*>(i6.inner.get()), nullptr);
    EXPECT_EQ(dynamic_cast<fft::DFTImpl&>(*p35.inner).n, 7u);
    EXPECT_NE(dynamic_cast<fft::IDFTImpl*>(i35.inner.get()), nullptr);
    EXPECT_EQ(p35.work.size(), 5u);
    EXPECT_FALSE(i74.inner);
    EXPECT_FALSE(dynamic_cast<fft::BluesteinIFFTImpl&>(*i74.bluestein).scale);
    EXPECT_EQ(p1369.bluestein->size, 37u);
    expect_stages(p1369, {{37, 37, 37, 1, 1369, 1369}});
}

TEST(CooleyTukey, DigitReversedOrder) {
    EXPECT_EQ(fft::CooleyTukeyFFTImpl(12).index, (std::vector<uint32_t>{0, 4, 8, 2, 6, 10, 1, 5, 9, 3, 7, 11}));
    EXPECT_EQ(fft::CooleyTukeyFFTImpl(9).index, (std::vector<uint32_t>{0, 3, 6, 1, 4, 7, 2, 5, 8}));
}

TEST(CooleyTukey, ChirpInnerLengthIsAsPoorAsItsChirp) {
    // 74 = 2 * 37: the numbers follow the Bluestein plan of length 37, whose chirp entries
    // grow to about 1e29, so that the convolution overflows.
    const auto x = random_input<Complex>(74, 8);
    fft::CooleyTukeyFFTImpl fwd(74);
    EXPECT_GT(relative_error(run_plan(fwd, x, 74), reference_dft(x, true)), 1e-2);
}

TEST(CooleyTukey, SixteenBitPairsWrapInForwardKernelsOnly) {
    // The length-2 kernels run innermost for 16; samples 0 and 8 meet there. The forward
    // kernel adds in 16 bits, the inverse ones in 32.
    std::vector<int16_t> xi(16, 0);
    xi[0] = xi[8] = 30000;
    fft::CooleyTukeyFFTImpl fwd(16);
    fft::CooleyTukeyIFFTImpl inv(16);
    EXPECT_EQ(run_plan(fwd, xi, 16)[0].re, -5536.0f);
    EXPECT_EQ(run_plan(fwd, std::vector<float>(xi.begin(), xi.end()), 16)[0].re, 60000.0f);
    EXPECT_EQ(run_plan(inv, xi, 16)[0].re, 60000.0f / 16.0f);
}

TEST(CooleyTukey, InputTypesInAnyOrderInPlaceMatchFreshPlans) {
    for (unsigned n : {12u, 35u, 60u, 74u, 1000u}) {
        const auto xf = random_input<float>(n, 1);
        const auto xi = random_input<int16_t>(n, 2);
        const auto xc = random_input<Complex>(n, 3);
        fft::CooleyTukeyIFFTImpl used(n), f1(n), f2(n), f3(n);
        const auto a = run_plan(used, xc, n);
        expect_same_bits(run_plan(used, xf, n), run_plan(f2, xf, n));
        expect_same_bits(run_plan(used, xi, n), run_plan(f3, xi, n));
        expect_same_bits(a, run_plan(f1, xc, n));
        auto buffer = xc;  // complex input may be the output
        used.exec(buffer.data(), buffer.data());
        expect_same_bits(buffer, a);
        for (const Complex& s : used.scratchComplex) EXPECT_EQ(s.re, 0.0f);  // never written
        EXPECT_EQ(used.index, f1.index);
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
