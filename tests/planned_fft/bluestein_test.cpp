// Bluestein plans: inner length, chirp tables and their documented accuracy limits, the
// unscaled inverse, in-place and repeated runs.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "planned_fft/bluestein.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;

namespace {

// Largest deviation of the chirp from exp(-i pi k^2 / n) in double.
double chirp_error(unsigned n) {
    const fft::BluesteinFFTImpl plan(n);
    double err = 0;
    for (size_t k = 0; k < n; ++k)
        err = std::max(err, std::abs(as_double(plan.chirp[k]) - std::polar(1.0, -M_PI * double(k * k) / n)));
    return err;
}

}  // namespace

TEST(Bluestein, InnerLengthAndChirpEntries) {
    const unsigned lengths[][2] = {{0, 0},  {1, 1},   {2, 4},   {3, 8},   {4, 8},   {5, 16},
                                   {7, 16}, {11, 32}, {16, 32}, {17, 64}, {37, 128}};
    for (const auto& [n, m] : lengths) EXPECT_EQ(fft::bluestein_pad_size(n), m) << n;
    fft::BluesteinFFTImpl p8(8);
    EXPECT_EQ(p8.fft.size, 16u);
    // k = 4 at n = 8: k^2 = 2n is no exact case; the float 2 pi lies a little above 2 pi.
    EXPECT_NE(p8.chirp[4].im, 0.0f);
    for (size_t k = 0; k < 8; ++k) EXPECT_TRUE(same_bits(p8.conj_chirp[k], {p8.chirp[k].re, -p8.chirp[k].im})) << k;
}

TEST(Bluestein, ChirpAccuracyFollowsTheUnreducedAngle) {
    EXPECT_LT(chirp_error(5), 1e-6);
    EXPECT_GT(chirp_error(7), 5e-7);
    EXPECT_LT(chirp_error(7), 1e-6);
    EXPECT_GT(chirp_error(11), 3e-6);
    EXPECT_LT(chirp_error(11), 6e-6);
    EXPECT_GT(chirp_error(13), 5e-3);
    EXPECT_LT(chirp_error(13), 5e-2);
    EXPECT_GT(chirp_error(15), 1.0);
    EXPECT_LT(chirp_error(43), INFINITY);
    EXPECT_EQ(chirp_error(44), INFINITY);  // overflow from 44 on
    // From 44 on the outputs are not finite; from 230 on a term of the series leaves the
    // double range, and the plan is built all the same.
    for (unsigned n : {44u, 230u, 233u, 509u}) {
        fft::BluesteinFFTImpl plan(n);
        for (const Complex& y : run_plan(plan, random_input<float>(n, 3), n))
            EXPECT_FALSE(std::isfinite(y.re) && std::isfinite(y.im)) << n;
    }
}

// The scaled plans are held to the double transform with the other families; here the unscaled
// inverse, and the collapse once the chirp fails.
TEST(Bluestein, UnscaledInverseAndTheCollapseAt13) {
    for (unsigned n : {3u, 8u, 11u}) {
        const auto x = random_input<Complex>(n, n);
        auto want = reference_dft(x, false);
        for (auto& v : want) v *= n;
        fft::BluesteinIFFTImpl raw(n, false);
        EXPECT_LT(relative_error(run_plan(raw, x, n), want), 5e-5) << n;
    }
    const auto x = random_input<float>(13, 13);
    fft::BluesteinFFTImpl fwd(13);
    EXPECT_GT(relative_error(run_plan(fwd, x, 13), reference_dft(x, true)), 1e-3);
}

TEST(Bluestein, InputMayBeTheOutputAndRunsRepeat) {
    const auto x = random_input<Complex>(11, 4);
    fft::BluesteinIFFTImpl inv(11, true);
    fft::BluesteinFFTImpl fwd(11), zero(0);
    for (fft::FFTImpl* plan : {static_cast<fft::FFTImpl*>(&inv), static_cast<fft::FFTImpl*>(&fwd)}) {
        const auto want = run_plan(*plan, x, 11);
        auto buffer = x;
        plan->exec(buffer.data(), buffer.data());
        expect_same_bits(buffer, want);
        run_plan(*plan, random_input<float>(11, 5), 11);  // scratch carries nothing between runs
        expect_same_bits(run_plan(*plan, x, 11), want);
    }
    EXPECT_EQ(run_plan(zero, x, 1)[0].re, -7.0f);  // length 0 writes nothing
}
