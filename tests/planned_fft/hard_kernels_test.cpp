// Hard-coded kernels of length 1 to 5: constants, the 16-bit wrap, batches, NaN spread.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "planned_fft/hard_kernels.h"
#include "planned_fft/twiddles.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;

namespace {

// A kernel's constant column k, read off with a complex impulse at position 1: the product
// (1, 0) * w reproduces w exactly for nonzero parts.
template <bool forward, bool scaled>
std::vector<Complex> kernel_column(unsigned n) {
    std::vector<Complex> x(n, Complex{0.0f, 0.0f});
    x[1] = {1.0f, 0.0f};
    std::vector<Complex> out(n);
    GetDFTHardFunc<forward, scaled, Complex>(n)(x.data(), out.data(), n);
    return out;
}

void expect_value_bits(float got, float want, const char* what, unsigned n, unsigned k) {
    if (want == 0.0f)
        EXPECT_EQ(got, 0.0f) << what << " n=" << n << " k=" << k;
    else
        EXPECT_EQ(bits_of(got), bits_of(want)) << what << " n=" << n << " k=" << k;
}

}  // namespace

TEST(HardKernels, ConstantsAreTheTableEntries) {
    for (unsigned n : {3u, 4u, 5u}) {
        const auto fw = calcW<true, false, false, false>(n);
        const auto iw = calcW<false, false, false, false>(n);
        const auto f = kernel_column<true, true>(n);
        const auto u = kernel_column<false, false>(n);
        const auto s = kernel_column<false, true>(n);
        for (unsigned k = 0; k < n; ++k) {
            expect_value_bits(f[k].re, fw[k].re, "forward re", n, k);
            expect_value_bits(f[k].im, fw[k].im, "forward im", n, k);
            expect_value_bits(u[k].re, iw[k].re, "inverse re", n, k);
            expect_value_bits(u[k].im, iw[k].im, "inverse im", n, k);
            const float d = static_cast<float>(n);
            expect_value_bits(s[k].re, iw[k].re / d, "scaled re", n, k);
            expect_value_bits(s[k].im, iw[k].im / d, "scaled im", n, k);
        }
    }
    // The documented numbers themselves.
    const auto s5 = kernel_column<false, true>(5);
    EXPECT_EQ(bits_of(s5[1].re), 0x3d7d258eu);  // 0.061803393, a division by 5
    const auto s3 = kernel_column<false, true>(3);
    EXPECT_EQ(bits_of(s3[2].im), 0xbe93cd3bu);
}

TEST(HardKernels, LengthThreeOnImpulses) {
    std::vector<Complex> out(3);
    const std::vector<float> e0 = {1, 0, 0}, e1 = {0, 1, 0};
    DFT_HARD_3<true, true, float>(e0.data(), out.data(), 3);
    for (const Complex& y : out) {
        EXPECT_EQ(y.re, 1.0f);
        EXPECT_EQ(y.im, 0.0f);
    }
    DFT_HARD_3<true, true, float>(e1.data(), out.data(), 3);
    expect_entry(out[0], 0x3f800000, 0, "k=0");
    EXPECT_EQ(bits_of(out[1].re), 0xbf000001u);
    EXPECT_EQ(bits_of(out[1].im), 0xbf5db3d7u);
    EXPECT_EQ(bits_of(out[2].re), 0xbefffffdu);
    EXPECT_EQ(bits_of(out[2].im), 0x3f5db3d8u);
}

TEST(HardKernels, ForwardSixteenBitPairWraps) {
    const std::vector<int16_t> x = {32767, 1};
    std::vector<Complex> out(2);
    DFT_HARD_2<true, true, int16_t>(x.data(), out.data(), 2);
    EXPECT_EQ(out[0].re, -32768.0f);
    EXPECT_EQ(out[1].re, 32766.0f);
    EXPECT_EQ(out[0].im, 0.0f);
    DFT_HARD_2<false, false, int16_t>(x.data(), out.data(), 2);
    EXPECT_EQ(out[0].re, 32768.0f);
    EXPECT_EQ(out[1].re, 32766.0f);
    DFT_HARD_2<false, true, int16_t>(x.data(), out.data(), 2);
    EXPECT_EQ(out[0].re, 16384.0f);
    EXPECT_EQ(out[1].re, 16383.0f);
    const std::vector<int16_t> y = {30000, 30000};
    DFT_HARD_2<true, true, int16_t>(y.data(), out.data(), 2);
    EXPECT_EQ(out[0].re, -5536.0f);
    DFT_HARD_2<false, false, int16_t>(y.data(), out.data(), 2);
    EXPECT_EQ(out[0].re, 60000.0f);
}

TEST(HardKernels, PairOnComplexAndFloat) {
    const std::vector<Complex> c = {{1.0f, 2.0f}, {3.0f, -5.0f}};
    std::vector<Complex> out(2);
    DFT_HARD_2<false, true, Complex>(c.data(), out.data(), 2);
    EXPECT_EQ(out[0].re, 2.0f);
    EXPECT_EQ(out[0].im, -1.5f);
    EXPECT_EQ(out[1].re, -1.0f);
    EXPECT_EQ(out[1].im, 3.5f);
    const std::vector<float> f = {1.5f, 0.25f};
    DFT_HARD_2<true, true, float>(f.data(), out.data(), 2);
    EXPECT_EQ(out[0].re, 1.75f);
    EXPECT_EQ(out[1].re, 1.25f);
}

TEST(HardKernels, LengthOneCopiesABatchOfSeven) {
    const std::vector<int16_t> x = {1, -2, 3, -4, 5, -32768, 32767};
    std::vector<Complex> out(8, Complex{-7.0f, -7.0f});
    DFT_HARD_1<false, true, int16_t>(x.data(), out.data(), 7);
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(out[i].re, static_cast<float>(x[i]));
        EXPECT_EQ(out[i].im, 0.0f);
    }
    EXPECT_EQ(out[7].re, -7.0f);
}

TEST(HardKernels, ScaledInverseFourOnConstant) {
    const std::vector<float> x = {1, 1, 1, 1};
    std::vector<Complex> out(4);
    DFT_HARD_4<false, true, float>(x.data(), out.data(), 4);
    EXPECT_EQ(out[0].re, 1.0f);
    for (int k = 1; k < 4; ++k) EXPECT_EQ(out[k].re, 0.0f) << k;
}

TEST(HardKernels, EveryKernelAgreesWithDoubleTransform) {
    for (unsigned n = 1; n <= 5; ++n) {
        const auto xf = random_input<float>(n, n);
        const auto xi = random_input<int16_t>(n, n);
        const auto xc = random_input<Complex>(n, n);
        fft::DFTHARDImpl fwd(n, n);
        fft::IDFTHARDImpl inv(n, n, true);
        fft::IDFTHARDImpl raw(n, n, false);
        EXPECT_LT(relative_error(run_plan(fwd, xf, n), reference_dft(xf, true)), 1e-6) << n;
        EXPECT_LT(relative_error(run_plan(fwd, xc, n), reference_dft(xc, true)), 1e-6) << n;
        EXPECT_LT(relative_error(run_plan(inv, xf, n), reference_dft(xf, false)), 1e-6) << n;
        EXPECT_LT(relative_error(run_plan(inv, xc, n), reference_dft(xc, false)), 1e-6) << n;
        EXPECT_LT(relative_error(run_plan(inv, xi, n), reference_dft(xi, false)), 1e-6) << n;
        // The unscaled inverse is n times the scaled one.
        auto unscaled = reference_dft(xc, false);
        for (auto& v : unscaled) v *= n;
        EXPECT_LT(relative_error(run_plan(raw, xc, n), unscaled), 1e-6) << n;
        if (n != 2) {  // the forward pair wraps 16-bit sums
            EXPECT_LT(relative_error(run_plan(fwd, xi, n), reference_dft(xi, true)), 1e-6) << n;
        }
    }
}

TEST(HardKernels, PlanRunsABatchOfFour) {
    const auto x = random_input<Complex>(12, 4);
    fft::DFTHARDImpl batch(3, 12);
    const auto out = run_plan(batch, x, 12);
    for (int g = 0; g < 4; ++g) {
        const std::vector<Complex> part(x.begin() + 3 * g, x.begin() + 3 * g + 3);
        const std::vector<Complex> got(out.begin() + 3 * g, out.begin() + 3 * g + 3);
        EXPECT_LT(relative_error(got, reference_dft(part, true)), 1e-6) << g;
    }
}

TEST(HardKernels, LengthOutsideTheKernelsWritesNothing) {
    for (unsigned n : {0u, 6u}) {
        fft::DFTHARDImpl plan(n, 6);
        fft::IDFTHARDImpl inv(n, 6, true);
        const std::vector<float> x(6, 1.0f);
        for (const Complex& y : run_plan(plan, x, 6)) EXPECT_EQ(y.re, -7.0f);
        for (const Complex& y : run_plan(inv, x, 6)) EXPECT_EQ(y.re, -7.0f);
    }
}

TEST(HardKernels, NanReachesEveryOutputOfItsGroupOnly) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (unsigned n : {3u, 4u, 5u}) {
        std::vector<float> x(2 * n, 1.0f);
        x[n - 1] = nan;
        fft::DFTHARDImpl plan(n, 2 * n);
        const auto out = run_plan(plan, x, 2 * n);
        for (unsigned k = 0; k < n; ++k) {
            EXPECT_TRUE(std::isnan(out[k].re) && std::isnan(out[k].im)) << n << " " << k;
            EXPECT_FALSE(std::isnan(out[n + k].re) || std::isnan(out[n + k].im)) << n << " " << k;
        }
    }
}

TEST(HardKernels, ComplexInfinityGoesThroughTheRecovery) {
    const float inf = std::numeric_limits<float>::infinity();
    const std::vector<Complex> x = {{inf, inf}, {0.0f, 0.0f}, {0.0f, 0.0f}};
    std::vector<Complex> out(3);
    DFT_HARD_3<true, true, Complex>(x.data(), out.data(), 3);
    // inf + inf i times the entry (1, 0) is recovered to an infinity, not NaN + NaN i.
    EXPECT_TRUE(std::isinf(out[0].re) || std::isinf(out[0].im));
}

TEST(HardKernels, OnePlanRunsOnSeveralThreads) {
    fft::DFTHARDImpl plan(5, 500);
    const auto x = random_input<float>(500, 8);
    expect_same_on_threads(plan, x, 500);
}
