// Tables of roots of unity (exact positions, series entries, half tables) and the complex
// product with its recovery of infinite results.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <vector>

#include "planned_fft/twiddles.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;

namespace {

constexpr uint32_t one = 0x3f800000, zero = 0, minus_zero = 0x80000000, minus_one = 0xbf800000;

// The table rule computed with the library sine on the same float-rounded angle.
Complex libm_entry(uint64_t k, uint64_t n, bool forward) {
    const float a_re = (static_cast<float>(k) * -6.2831855f) / static_cast<float>(n);
    const float a_im = (static_cast<float>(k) * 6.2831855f) / static_cast<float>(n);
    const float re = static_cast<float>(std::sin(static_cast<double>(a_re) + M_PI / 2));
    const float im = -static_cast<float>(std::sin(static_cast<double>(a_im)));
    return {re, forward ? im : -im};
}

int ulp_distance(float a, float b) {
    return std::abs(static_cast<int>(bits_of(a)) - static_cast<int>(bits_of(b)));
}

}  // namespace

TEST(Tables, LengthThreeCarriesTheFloatAngleNumbers) {
    const auto w = calcW<true, false, false, false>(3);
    ASSERT_EQ(w.size(), 3u);
    expect_entry(w[0], one, zero, "k=0");
    expect_entry(w[1], 0xbf000001, 0xbf5db3d7, "k=1");  // -0.50000006, -0.8660254
    expect_entry(w[2], 0xbefffffd, 0x3f5db3d8, "k=2");  // -0.4999999, 0.86602545
    // Not conjugates of each other: the float angle is not symmetric.
    EXPECT_NE(w[1].re, w[2].re);
    const auto inv = calcW<false, false, false, false>(3);
    expect_entry(inv[0], one, minus_zero, "inverse k=0");
    expect_entry(inv[1], 0xbf000001, 0x3f5db3d7, "inverse k=1");
    expect_entry(inv[2], 0xbefffffd, 0xbf5db3d8, "inverse k=2");
}

TEST(Tables, LengthFiveBitPatterns) {
    const auto w = calcW<true, false, false, false>(5);
    ASSERT_EQ(w.size(), 5u);
    expect_entry(w[0], one, zero, "k=0");
    expect_entry(w[1], 0x3e9e3779, 0xbf737871, "k=1");
    expect_entry(w[2], 0xbf4f1bbe, 0xbf167917, "k=2");
    expect_entry(w[3], 0xbf4f1bbc, 0x3f16791a, "k=3");
    expect_entry(w[4], 0x3e9e377e, 0x3f737870, "k=4");
}

TEST(Tables, InverseDividedByLengthGivesTheScaledConstants) {
    // Divisions by float(N), not products with a reciprocal.
    const auto w5 = calcW<false, false, false, false>(5);
    const uint32_t want5[5][2] = {{0x3e4ccccd, minus_zero},
                                  {0x3d7d258e, 0x3e42c6c1},
                                  {0xbe25afcb, 0x3df0c1be},
                                  {0xbe25afca, 0xbdf0c1c3},
                                  {0x3d7d2596, 0xbe42c6c0}};
    for (int k = 0; k < 5; ++k)
        expect_entry({w5[k].re / 5.0f, w5[k].im / 5.0f}, want5[k][0], want5[k][1], "N=5");
    EXPECT_NE(bits_of(w5[1].re / 5.0f), bits_of(w5[1].re * 0.2f));

    const auto w3 = calcW<false, false, false, false>(3);
    const uint32_t want3[3][2] = {
        {0x3eaaaaab, minus_zero}, {0xbe2aaaac, 0x3e93cd3a}, {0xbe2aaaa9, 0xbe93cd3b}};
    for (int k = 0; k < 3; ++k)
        expect_entry({w3[k].re / 3.0f, w3[k].im / 3.0f}, want3[k][0], want3[k][1], "N=3");
}

TEST(Tables, QuarterPositionsAreExact) {
    const auto f4 = calcW<true, false, false, false>(4);
    expect_entry(f4[0], one, zero, "f4[0]");
    expect_entry(f4[1], zero, minus_one, "f4[1]");
    expect_entry(f4[2], minus_one, zero, "f4[2]");
    expect_entry(f4[3], zero, one, "f4[3]");
    const auto i4 = calcW<false, false, false, false>(4);
    expect_entry(i4[0], one, minus_zero, "i4[0]");
    expect_entry(i4[1], zero, one, "i4[1]");
    expect_entry(i4[2], minus_one, minus_zero, "i4[2]");
    expect_entry(i4[3], zero, minus_one, "i4[3]");

    const auto f8 = calcW<true, false, false, false>(8);
    expect_entry(f8[2], zero, minus_one, "f8[2]");
    expect_entry(f8[4], minus_one, zero, "f8[4]");
    expect_entry(f8[6], zero, one, "f8[6]");
    for (int k : {1, 3, 5, 7}) {
        EXPECT_NEAR(f8[k].re, std::cos(-2 * M_PI * k / 8), 5e-7) << k;
        EXPECT_NEAR(f8[k].im, std::sin(-2 * M_PI * k / 8), 5e-7) << k;
    }

    const auto f6 = calcW<true, false, false, false>(6);
    expect_entry(f6[3], minus_one, zero, "f6[3]");
    for (int k : {1, 2, 4, 5}) {
        // Computed from the series: close to the root, but not the special values.
        EXPECT_NEAR(f6[k].re, std::cos(-2 * M_PI * k / 6), 5e-7) << k;
        EXPECT_NEAR(f6[k].im, std::sin(-2 * M_PI * k / 6), 5e-7) << k;
        EXPECT_NE(std::fabs(f6[k].re), 0.0f);
    }
}

TEST(Tables, HalfTablesAreTheFirstHalf) {
    EXPECT_TRUE((calcW<true, true, false, false>(0).empty()));
    EXPECT_TRUE((calcW<true, true, false, false>(1).empty()));
    EXPECT_TRUE((calcW<true, false, false, false>(0).empty()));
    const auto h2 = calcW<true, true, false, false>(2);
    ASSERT_EQ(h2.size(), 1u);
    expect_entry(h2[0], one, zero, "h2[0]");
    const auto h4 = calcW<false, true, false, false>(4);
    ASSERT_EQ(h4.size(), 2u);
    expect_entry(h4[0], one, minus_zero, "inverse h4[0]");
    expect_entry(h4[1], zero, one, "inverse h4[1]");
    for (uint64_t n : {7u, 16u, 30u, 1024u}) {
        const auto full = calcW<true, false, false, false>(n);
        const auto half = calcW<true, true, false, false>(n);
        const auto ifull = calcW<false, false, false, false>(n);
        const auto ihalf = calcW<false, true, false, false>(n);
        ASSERT_EQ(half.size(), n / 2);
        ASSERT_EQ(ihalf.size(), n / 2);
        for (size_t k = 0; k < half.size(); ++k) {
            EXPECT_TRUE(same_bits(half[k], full[k])) << n << " " << k;
            EXPECT_TRUE(same_bits(ihalf[k], ifull[k])) << n << " " << k;
        }
    }
}

TEST(Tables, SeriesEntriesFollowTheFloatRoundedAngle) {
    // Against the library sine on the same rounded angle: apart by no more than the series'
    // truncation (its last term is below 2^-23), and within 1e-6 of the true root.
    int close = 0, total = 0;
    for (uint64_t n = 1; n <= 200; ++n) {
        const auto fw = calcW<true, false, false, false>(n);
        const auto iw = calcW<false, false, false, false>(n);
        for (uint64_t k = 0; k < n; ++k) {
            const bool special = k == 0 || 2 * k == n || 4 * k == n || 4 * k == 3 * n;
            EXPECT_EQ(bits_of(iw[k].re), bits_of(fw[k].re));
            EXPECT_EQ(bits_of(iw[k].im), bits_of(-fw[k].im));
            const double angle = -2 * M_PI * static_cast<double>(k) / static_cast<double>(n);
            EXPECT_NEAR(fw[k].re, std::cos(angle), 1e-6) << n << " " << k;
            EXPECT_NEAR(fw[k].im, std::sin(angle), 1e-6) << n << " " << k;
            if (special) continue;
            const Complex m = libm_entry(k, n, true);
            EXPECT_NEAR(fw[k].re, m.re, 2.5e-7) << n << " " << k;
            EXPECT_NEAR(fw[k].im, m.im, 2.5e-7) << n << " " << k;
            close += ulp_distance(fw[k].re, m.re) <= 1 && ulp_distance(fw[k].im, m.im) <= 1;
            ++total;
        }
    }
    // Most entries land within a unit in the last place of the library value.
    EXPECT_GT(close, total / 2);
}

TEST(Tables, SineSeriesConvergesOnModerateArguments) {
    // The series stops after the first term below 2^-23, so it is as accurate as that.
    for (double x : {1e-3, 0.5, 1.0, -1.5707963267948966, 3.0, 6.283185307179586, 7.85})
        EXPECT_NEAR(sine_series(x), std::sin(x), 1.2e-7) << x;
    EXPECT_EQ(sine_series(0.0), 0.0);
    // Small arguments stop after the first correction: x - x^3/6.
    EXPECT_EQ(sine_series(1e-3), 1e-3 + 1e-3 * ((-1e-3 * 1e-3) / 6.0));
    // No range reduction: far out, cancellation in the terms swamps the value.
    EXPECT_GT(std::fabs(sine_series(60.0) - std::sin(60.0)), 1e-6);
}

TEST(ComplexProduct, FiniteOperandsMatchTheLanguageProduct) {
    std::mt19937 gen(3);
    std::uniform_real_distribution<float> dist(-2.0f, 2.0f);
    for (int i = 0; i < 100000; ++i) {
        const Complex a{dist(gen), dist(gen)}, b{dist(gen), dist(gen)};
        const std::complex<float> want = std::complex<float>(a.re, a.im) * std::complex<float>(b.re, b.im);
        const Complex got = complex_product(a, b);
        ASSERT_EQ(bits_of(got.re), bits_of(want.real())) << i;
        ASSERT_EQ(bits_of(got.im), bits_of(want.imag())) << i;
    }
}

TEST(ComplexProduct, InfiniteResultsAreRecoveredAsTheLanguageDoes) {
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float big = 3e38f;
    const std::vector<float> values = {0.0f, -0.0f, 1.0f, -2.5f, inf, -inf, nan, big, -big};
    auto same_class = [](float g, float w) {
        if (std::isnan(w)) return static_cast<bool>(std::isnan(g));
        return bits_of(g) == bits_of(w);
    };
    int recovered = 0;
    for (float a : values)
        for (float b : values)
            for (float c : values)
                for (float d : values) {
                    const Complex got = complex_product({a, b}, {c, d});
                    volatile float va = a, vb = b, vc = c, vd = d;
                    const std::complex<float> want =
                        std::complex<float>(va, vb) * std::complex<float>(vc, vd);
                    EXPECT_TRUE(same_class(got.re, want.real()) && same_class(got.im, want.imag()))
                        << "(" << a << ", " << b << ") * (" << c << ", " << d << ") gave ("
                        << got.re << ", " << got.im << "), expected (" << want.real() << ", "
                        << want.imag() << ")";
                    recovered += std::isinf(got.re) || std::isinf(got.im);
                }
    EXPECT_GT(recovered, 0);
    // The plain formula gives NaN + NaN i here; the recovery gives an infinity.
    const Complex r = complex_product({inf, inf}, {1.0f, 0.0f});
    EXPECT_TRUE(std::isinf(r.re) || std::isinf(r.im));
}
