// Hard-coded kernels of length 1 to 5: constants, NaN and infinity. Their
// accuracy is checked with the plans that run them (agreement and Cooley-Tukey tests).
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "planned_fft/hard_kernels.h"
#include "planned_fft/twiddles.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;

namespace {

// A kernel's constants, read off with a complex impulse at position 1: (1, 0) * w reproduces
// w exactly for nonzero parts.
template <bool forward, bool scaled>
std::vector<Complex> kernel_column(unsigned n) {
    std::vector<Complex> x(n, Complex{0.0f, 0.0f}), out(n);
    x[1] = {1.0f, 0.0f};
    GetDFTHardFunc<forward, scaled, Complex>(n)(x.data(), out.data(), n);
    return out;
}

void expect_value_bits(float got, float want, const char* what, unsigned n, unsigned k) {
    EXPECT_TRUE(want == 0.0f ? got == 0.0f : bits_of(got) == bits_of(want)) << what << " n=" << n << " k=" << k;
}

}  // namespace

TEST(HardKernels, ConstantsAreTheTableEntriesAndScaledOnesDivisionsByN) {
    for (unsigned n : {3u, 4u, 5u}) {
        const auto fw = calcW<true, false, false, false>(n), iw = calcW<false, false, false, false>(n);
        const auto f = kernel_column<true, true>(n), u = kernel_column<false, false>(n);
        const auto s = kernel_column<false, true>(n);
        for (unsigned k = 0; k < n; ++k) {
            expect_value_bits(f[k].re, fw[k].re, "forward re", n, k);
            expect_value_bits(f[k].im, fw[k].im, "forward im", n, k);
            expect_value_bits(u[k].re, iw[k].re, "inverse re", n, k);
            expect_value_bits(u[k].im, iw[k].im, "inverse im", n, k);
            expect_value_bits(s[k].re, iw[k].re / float(n), "scaled re", n, k);
            expect_value_bits(s[k].im, iw[k].im / float(n), "scaled im", n, k);
        }
    }
    EXPECT_EQ(bits_of(kernel_column<false, true>(5)[1].re),
              0x3d7d258eu);  // not 0.2 times the entry
    EXPECT_EQ(bits_of(kernel_column<false, true>(3)[2].im), 0xbe93cd3bu);
}

TEST(HardKernels, LengthOutsideTheKernelsWritesNothing) {
    const std::vector<float> x(6, 1.0f);
    for (unsigned n : {0u, 6u}) {
        fft::DFTHARDImpl plan(n, 6);
        fft::IDFTHARDImpl inv(n, 6, true);
        for (const Complex& y : run_plan(plan, x, 6)) EXPECT_EQ(y.re, -7.0f);
        for (const Complex& y : run_plan(inv, x, 6)) EXPECT_EQ(y.re, -7.0f);
    }
}

TEST(HardKernels, NaNReachesItsGroupOnlyAndInfinityIsRecovered) {
    for (unsigned n : {3u, 4u, 5u}) {
        std::vector<float> x(2 * n, 1.0f);
        x[n - 1] = NAN;
        fft::DFTHARDImpl plan(n, 2 * n);
        const auto out = run_plan(plan, x, 2 * n);
        for (unsigned k = 0; k < n; ++k) {
            EXPECT_TRUE(std::isnan(out[k].re) && std::isnan(out[k].im)) << n << " " << k;
            EXPECT_FALSE(std::isnan(out[n + k].re) || std::isnan(out[n + k].im)) << n << " " << k;
        }
    }
    const std::vector<Complex> x = {{INFINITY, INFINITY}, {0.0f, 0.0f}, {0.0f, 0.0f}};
    std::vector<Complex> out(3);
    DFT_HARD_3<true, true, Complex>(x.data(), out.data(), 3);
    EXPECT_TRUE(std::isinf(out[0].re) || std::isinf(out[0].im));  // not NaN + NaN i
}
