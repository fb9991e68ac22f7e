// Bluestein plans: inner length, chirp tables and their documented accuracy limits, the
// inverse by conjugation.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "planned_fft/bluestein.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;

namespace {

// Largest deviation of the chirp from exp(-i pi k^2 / n) in double.
double chirp_error(const fft::BluesteinFFTImpl& plan) {
    const double n = static_cast<double>(plan.size);
    double err = 0;
    for (size_t k = 0; k < plan.chirp.size(); ++k) {
        const double angle = -M_PI * static_cast<double>(k * k) / n;
        err = std::max(err, std::abs(as_double(plan.chirp[k]) - Cd(std::cos(angle), std::sin(angle))));
    }
    return err;
}

}  // namespace

TEST(Bluestein, InnerLength) {
    const unsigned lengths[][2] = {{0, 0}, {1, 1}, {2, 4}, {3, 8}, {4, 8}, {5, 16},
                                   {7, 16}, {11, 32}, {16, 32}, {17, 64}, {37, 128}};
    for (const auto& [n, m] : lengths) EXPECT_EQ(fft::bluestein_pad_size(n), m) << n;
    fft::BluesteinFFTImpl plan(11);
    EXPECT_EQ(plan.pad_size, 32u);
    EXPECT_EQ(plan.fft.size, 32u);
    EXPECT_EQ(plan.ifft.size, 32u);
    EXPECT_EQ(plan.work_a.size(), 32u);
    EXPECT_EQ(plan.work_c.size(), 32u);
}

TEST(Bluestein, ChirpExactPositions) {
    fft::BluesteinFFTImpl p2(2);
    expect_entry(p2.chirp[0], 0x3f800000, 0, "n=2 k=0");
    expect_entry(p2.chirp[1], 0, 0xbf800000, "n=2 k=1");
    expect_entry(p2.conj_chirp[0], 0x3f800000, 0x80000000, "conjugate k=0");
    expect_entry(p2.conj_chirp[1], 0, 0x3f800000, "conjugate k=1");
    fft::BluesteinFFTImpl p6(6);
    expect_entry(p6.chirp[3], 0, 0x3f800000, "n=6 k=3");
    // k = 4 at n = 8: k^2 = 2n falls under no exact case and goes through the series at 2 pi.
    fft::BluesteinFFTImpl p8(8);
    EXPECT_NEAR(p8.chirp[4].re, 1.0f, 1e-6);
    EXPECT_NE(p8.chirp[4].im, 0.0f);  // the float 2 pi lies a little above 2 pi
    EXPECT_NEAR(p8.chirp[4].im, 0.0f, 1e-6);
    for (size_t k = 0; k < p8.chirp.size(); ++k) {
        EXPECT_EQ(bits_of(p8.conj_chirp[k].re), bits_of(p8.chirp[k].re));
        EXPECT_EQ(bits_of(p8.conj_chirp[k].im), bits_of(-p8.chirp[k].im));
    }
}

TEST(Bluestein, ChirpAccuracyFollowsTheUnreducedAngle) {
    EXPECT_LT(chirp_error(fft::BluesteinFFTImpl(5)), 1e-6);
    const double e7 = chirp_error(fft::BluesteinFFTImpl(7));
    EXPECT_GT(e7, 5e-7);
    EXPECT_LT(e7, 1e-6);
    const double e11 = chirp_error(fft::BluesteinFFTImpl(11));
    EXPECT_GT(e11, 3e-6);
    EXPECT_LT(e11, 6e-6);
    const double e13 = chirp_error(fft::BluesteinFFTImpl(13));
    EXPECT_GT(e13, 5e-3);
    EXPECT_LT(e13, 5e-2);
    EXPECT_GT(chirp_error(fft::BluesteinFFTImpl(15)), 1.0);
    // Overflow to infinity from 44 on, and every output NaN.
    auto infinite = [](const fft::BluesteinFFTImpl& p) {
        for (const Complex& c : p.chirp)
            if (std::isinf(c.re) || std::isinf(c.im)) return true;
        return false;
    };
    EXPECT_FALSE(infinite(fft::BluesteinFFTImpl(43)));
    fft::BluesteinFFTImpl p44(44);
    EXPECT_TRUE(infinite(p44));
    const auto x = random_input<float>(44, 1);
    for (const Complex& y : run_plan(p44, x, 44)) EXPECT_TRUE(std::isnan(y.re) || std::isnan(y.im));
}

TEST(Bluestein, LengthsWhoseSeriesOverflowStillBuildAPlan) {
    // From 230 on a term of the series leaves the double range; the plan is built all the same
    // and its outputs are not finite.
    for (unsigned n : {230u, 233u, 509u}) {
        fft::BluesteinFFTImpl plan(n);
        const auto x = random_input<float>(n, 3);
        for (const Complex& y : run_plan(plan, x, n))
            EXPECT_FALSE(std::isfinite(y.re) && std::isfinite(y.im)) << n;
    }
}

template <class T>
class BluesteinTyped : public ::testing::Test {};
TYPED_TEST_SUITE(BluesteinTyped, InputTypes);

TYPED_TEST(BluesteinTyped, AccurateWhileTheChirpIs) {
    // Every length up to 11 through the chirp path, both directions.
    for (unsigned n = 1; n <= 11; ++n) {
        const double tol = n <= 7 ? 5e-6 : 5e-5;
        const auto x = random_input<TypeParam>(n, n);
        fft::BluesteinFFTImpl fwd(n);
        fft::BluesteinIFFTImpl inv(n, true);
        EXPECT_LT(relative_error(run_plan(fwd, x, n), reference_dft(x, true)), tol) << n;
        EXPECT_LT(relative_error(run_plan(inv, x, n), reference_dft(x, false)), tol) << n;
    }
    // And the collapse from 13 on.
    const auto x = random_input<TypeParam>(13, 13);
    fft::BluesteinFFTImpl fwd(13);
    EXPECT_GT(relative_error(run_plan(fwd, x, 13), reference_dft(x, true)), 1e-3);
}

TEST(Bluestein, UnscaledInverseIsNTimesTheScaledOne) {
    const auto x = random_input<Complex>(7, 3);
    fft::BluesteinIFFTImpl scaled(7, true);
    fft::BluesteinIFFTImpl plain(7, false);
    const auto a = run_plan(scaled, x, 7);
    const auto b = run_plan(plain, x, 7);
    for (int k = 0; k < 7; ++k) {
        EXPECT_NEAR(b[k].re, 7.0f * a[k].re, 1e-5);
        EXPECT_NEAR(b[k].im, 7.0f * a[k].im, 1e-5);
    }
    EXPECT_TRUE(plain.conj_input.size() == 7u && scaled.conj_input.size() == 7u);
}

TEST(Bluestein, LengthOneCopies) {
    const std::vector<Complex> x = {{2.5f, -1.25f}};
    fft::BluesteinFFTImpl fwd(1);
    const auto y = run_plan(fwd, x, 1);
    EXPECT_EQ(y[0].re, 2.5f);
    EXPECT_EQ(y[0].im, -1.25f);
}

TEST(Bluestein, InputMayBeTheOutputAndRunsRepeat) {
    const auto x = random_input<Complex>(11, 4);
    fft::BluesteinIFFTImpl inv(11, true);
    fft::BluesteinFFTImpl fwd(11);
    for (fft::FFTImpl* plan : {static_cast<fft::FFTImpl*>(&inv), static_cast<fft::FFTImpl*>(&fwd)}) {
        const auto want = run_plan(*plan, x, 11);
        auto buffer = x;
        plan->exec(buffer.data(), buffer.data());
        expect_same_bits(buffer, want);
        // Scratch carries nothing between runs, whatever the input type in between.
        const auto f = random_input<float>(11, 5);
        run_plan(*plan, f, 11);
        expect_same_bits(run_plan(*plan, x, 11), want);
    }
}

TEST(Bluestein, LengthZeroWritesNothing) {
    fft::BluesteinFFTImpl fwd(0);
    fft::BluesteinIFFTImpl inv(0, true);
    EXPECT_EQ(fwd.pad_size, 0u);
    Complex out{-7.0f, -7.0f};
    const Complex in{1.0f, 1.0f};
    fwd.exec(&in, &out);
    inv.exec(&in, &out);
    EXPECT_EQ(out.re, -7.0f);
}
