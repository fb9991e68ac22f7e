// Tables of roots of unity (exact positions, series entries, inverse and half tables) and the
// complex product with its recovery of infinite results.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "planned_fft/twiddles.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;

namespace {
constexpr uint32_t one = 0x3f800000, zero = 0, minus_one = 0xbf800000;
}

TEST(Tables, WorkedEntriesAndExactQuarterPositions) {
    struct Entry {
        uint64_t n, k;
        uint32_t re, im;
    };
    const Entry entries[] = {
        // The float angle is not symmetric: entries 1 and 2 of length 3 are not conjugates.
        {3, 0, one, zero},
        {3, 1, 0xbf000001, 0xbf5db3d7},
        {3, 2, 0xbefffffd, 0x3f5db3d8},
        {5, 1, 0x3e9e3779, 0xbf737871},
        {5, 2, 0xbf4f1bbe, 0xbf167917},
        {5, 3, 0xbf4f1bbc, 0x3f16791a},
        {5, 4, 0x3e9e377e, 0x3f737870},
        {4, 1, zero, minus_one},
        {4, 2, minus_one, zero},
        {4, 3, zero, one},
        {8, 2, zero, minus_one},
        {8, 6, zero, one},
        {6, 3, minus_one, zero},
    };
    for (const Entry& e : entries) {
        const auto w = calcW<true, false, false, false>(e.n);
        ASSERT_EQ(w.size(), e.n);
        expect_entry(w[e.k], e.re, e.im, (std::to_string(e.n) + " " + std::to_string(e.k)).c_str());
    }
    // Off the quarter positions the series is used: close to the root, never exactly 0.
    for (const auto& w : calcW<true, false, false, false>(6)) EXPECT_NE(w.re, 0.0f);
}

TEST(Tables, HalfTablesAreTheFirstHalf) {
    EXPECT_TRUE((calcW<true, true, false, false>(1).empty()));
    EXPECT_TRUE((calcW<true, false, false, false>(0).empty()));
    for (uint64_t n : {2u, 4u, 7u, 16u, 30u, 1024u}) {
        const auto full = calcW<true, false, false, false>(n), ifull = calcW<false, false, false, false>(n);
        const auto half = calcW<true, true, false, false>(n), ihalf = calcW<false, true, false, false>(n);
        ASSERT_EQ(half.size(), n / 2);
        ASSERT_EQ(ihalf.size(), n / 2);
        for (size_t k = 0; k < half.size(); ++k)
            EXPECT_TRUE(same_bits(half[k], full[k]) && same_bits(ihalf[k], ifull[k])) << n << " " << k;
    }
}

TEST(Tables, SeriesEntriesFollowTheFloatRoundedAngle) {
    // Against the library sine on the same float-rounded angle: apart by no more than the
    // series' truncation (its last term is below 2^-23), and within 1e-6 of the true root.
    for (uint64_t n = 1; n <= 200; ++n) {
        const auto fw = calcW<true, false, false, false>(n);
        const auto iw = calcW<false, false, false, false>(n);
        for (uint64_t k = 0; k < n; ++k) {
            EXPECT_TRUE(bits_of(iw[k].re) == bits_of(fw[k].re) && bits_of(iw[k].im) == bits_of(-fw[k].im));
            const double angle = -2 * M_PI * double(k) / double(n);
            EXPECT_NEAR(fw[k].re, std::cos(angle), 1e-6) << n << " " << k;
            EXPECT_NEAR(fw[k].im, std::sin(angle), 1e-6) << n << " " << k;
            if (k == 0 || 2 * k == n || 4 * k == n || 4 * k == 3 * n) continue;
            const float a_re = (float(k) * -6.2831855f) / float(n), a_im = (float(k) * 6.2831855f) / float(n);
            EXPECT_NEAR(fw[k].re, std::sin(double(a_re) + M_PI / 2), 2.5e-7) << n << " " << k;
            EXPECT_NEAR(fw[k].im, -std::sin(double(a_im)), 2.5e-7) << n << " " << k;
        }
    }
}

TEST(Tables, SineSeriesStopsAfterTheFirstTermBelowTheEnd) {
    for (double x : {1e-3, 0.5, 1.0, -1.5707963267948966, 3.0, 6.283185307179586, 7.85})
        EXPECT_NEAR(sine_series(x), std::sin(x), 1.2e-7) << x;
    EXPECT_EQ(sine_series(1e-3), 1e-3 + 1e-3 * ((-1e-3 * 1e-3) / 6.0));  // x - x^3/6 only
    EXPECT_GT(std::fabs(sine_series(60.0) - std::sin(60.0)), 1e-6);      // no range reduction
}

TEST(ComplexProduct, MatchesTheLanguageProductFiniteOrNot) {
    std::mt19937 gen(3);
    std::uniform_real_distribution<float> dist(-2.0f, 2.0f);
    for (int i = 0; i < 100000; ++i) {
        const Complex a{dist(gen), dist(gen)}, b{dist(gen), dist(gen)};
        const std::complex<float> want = std::complex<float>(a.re, a.im) * std::complex<float>(b.re, b.im);
        ASSERT_TRUE(same_bits(complex_product(a, b), {want.real(), want.imag()})) << i;
    }
    // Infinite results, which the plain formula turns into NaN + NaN i, are recovered.
    const float inf = INFINITY, big = 3e38f;
    const std::vector<float> values = {0.0f, -0.0f, 1.0f, -2.5f, inf, -inf, NAN, big, -big};
    int recovered = 0;
    for (float a : values)
        for (float b : values)
            for (float c : values)
                for (float d : values) {
                    const Complex got = complex_product({a, b}, {c, d});
                    volatile float va = a, vb = b, vc = c, vd = d;
                    const std::complex<float> want = std::complex<float>(va, vb) * std::complex<float>(vc, vd);
                    EXPECT_TRUE(same_bits(got, {want.real(), want.imag()}))
                        << "(" << a << ", " << b << ") * (" << c << ", " << d << ") gave (" << got.re << ", " << got.im
                        << "), expected " << want;
                    recovered += std::isinf(got.re) || std::isinf(got.im);
                }
    EXPECT_GT(recovered, 0);
}
