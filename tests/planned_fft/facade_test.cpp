// The facade: choice of algorithm, plan building and re-planning, accuracy over many lengths.
#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "planned_fft/bluestein.h"
#include "planned_fft/cooley_tukey.h"
#include "planned_fft/direct_dft.h"
#include "planned_fft/fft.h"
#include "planned_fft/hard_kernels.h"
#include "planned_fft/radix2.h"
#include "reference.h"

using namespace vorel::audio::qentor;
using namespace vorel::audio::qentor::test;
using fft::FFTAlgorithm;

namespace {

bool prime_by_trial(unsigned n) {
    if (n < 2) return false;
    for (unsigned d = 2; d * d <= n; ++d)
        if (n % d == 0) return false;
    return true;
}

template <class Plan>
bool holds(const FFT& f) {
    return dynamic_cast<Plan*>(f.plan().get()) != nullptr;
}

}  // namespace

TEST(Facade, SieveAgreesWithTrialDivision) {
    for (unsigned n = 0; n <= 5000; ++n) EXPECT_EQ(is_prime_by_sieve(n), prime_by_trial(n)) << n;
    EXPECT_TRUE(is_prime_by_sieve(65521));
    EXPECT_FALSE(is_prime_by_sieve(65535));
}

TEST(Facade, ChoiceByLength) {
    for (unsigned n = 0; n <= 5; ++n) EXPECT_EQ(choose_algorithm(n), FFTAlgorithm::DFT) << n;
    for (unsigned n : {8u, 16u, 1024u, 65536u}) EXPECT_EQ(choose_algorithm(n), FFTAlgorithm::FFT2);
    for (unsigned n : {7u, 11u, 13u, 233u, 1009u})
        EXPECT_EQ(choose_algorithm(n), FFTAlgorithm::Bluestein) << n;
    for (unsigned n : {6u, 9u, 10u, 12u, 74u, 1000u})
        EXPECT_EQ(choose_algorithm(n), FFTAlgorithm::CooleyTukey) << n;

    EXPECT_TRUE(holds<fft::DFTHARDImpl>(FFT(0, true)));
    EXPECT_TRUE(holds<fft::DFTHARDImpl>(FFT(2, true)));
    EXPECT_TRUE(holds<fft::IDFTHARDImpl>(FFT(4, false)));
    EXPECT_TRUE(holds<fft::DFTHARDImpl>(FFT(5, true)));
    EXPECT_TRUE(holds<fft::CooleyTukeyFFTImpl>(FFT(6, true)));
    EXPECT_TRUE(holds<fft::CooleyTukeyIFFTImpl>(FFT(6, false)));
    EXPECT_TRUE(holds<fft::BluesteinFFTImpl>(FFT(7, true)));
    const FFT inverse7(7, false);
    auto* chirp = dynamic_cast<fft::BluesteinIFFTImpl*>(inverse7.plan().get());
    ASSERT_NE(chirp, nullptr);
    EXPECT_TRUE(chirp->scale);
    EXPECT_TRUE(holds<fft::FFT2Impl>(FFT(8, true)));
    EXPECT_TRUE(holds<fft::IFFT2Impl>(FFT(8, false)));
}

TEST(Facade, ExplicitAlgorithms) {
    const auto other = static_cast<FFTAlgorithm>(7);
    EXPECT_TRUE(holds<fft::DFTImpl>(FFT(9, true, other)));
    EXPECT_TRUE(holds<fft::DFTHARDImpl>(FFT(3, true, other)));
    EXPECT_TRUE(holds<fft::IDFTImpl>(FFT(9, false, FFTAlgorithm::DFT)));
    EXPECT_TRUE(holds<fft::CooleyTukeyFFTImpl>(FFT(16, true, FFTAlgorithm::CooleyTukey)));
    EXPECT_TRUE(holds<fft::BluesteinFFTImpl>(FFT(8, true, FFTAlgorithm::Bluestein)));
    // The direct form is right for any length, primes past the chirp's range included.
    const auto x = random_input<float>(233, 2);
    FFT direct(233, true, FFTAlgorithm::DFT);
    EXPECT_LT(relative_error(run_plan(direct, x, 233), reference_dft(x, true)), 1e-5);
}

TEST(Facade, ZeroAndOne) {
    FFT zero(0, true);
    Complex out{-7.0f, -7.0f};
    const float in = 2.0f;
    zero.exec(&in, &out);
    EXPECT_EQ(out.re, -7.0f);
    FFT one(1, false);
    one.exec(&in, &out);
    EXPECT_EQ(out.re, 2.0f);
    EXPECT_EQ(out.im, 0.0f);
}

template <class T>
class FacadeTyped : public ::testing::Test {};
TYPED_TEST_SUITE(FacadeTyped, InputTypes);

TYPED_TEST(FacadeTyped, AgreesWithDoubleTransformForWellPlannedLengths) {
    std::vector<unsigned> lengths;
    for (unsigned n = 1; n <= 12; ++n) lengths.push_back(n);
    for (unsigned n = 16; n <= 65536; n *= 2) lengths.push_back(n);
    for (unsigned n : {30u, 35u, 60u, 100u, 360u, 1000u, 3072u}) lengths.push_back(n);
    for (unsigned n : lengths) {
        // The chirp of 7 and 11 is good to about 1e-6 and 5e-6.
        const double tol = n == 11 ? 5e-5 : 1e-5;
        const auto x = random_input<TypeParam>(n, 3 * n);
        FFT fwd(n, true);
        FFT inv(n, false);
        const auto spectrum = run_plan(fwd, x, n);
        // The forward 16-bit pair kernel wraps its sums, so length 2 is left to the float
        // and complex inputs.
        if (!(std::is_same_v<TypeParam, int16_t> && n == 2)) {
            EXPECT_LT(relative_error(spectrum, reference_dft(x, true)), tol) << n;
        }
        EXPECT_LT(relative_error(run_plan(inv, x, n), reference_dft(x, false)), tol) << n;
    }
}

TEST(Facade, InverseOfForwardReturnsTheInput) {
    // Chosen plans of every family, and the direct form named explicitly.
    const auto dft = FFTAlgorithm::DFT;
    const std::pair<unsigned, FFTAlgorithm> cases[] = {
        {5, choose_algorithm(5)},   {7, choose_algorithm(7)},       {12, choose_algorithm(12)},
        {64, choose_algorithm(64)}, {360, choose_algorithm(360)}, {4096, choose_algorithm(4096)},
        {45, dft}};
    for (const auto& [n, algorithm] : cases) {
        const auto x = random_input<Complex>(n, n);
        FFT fwd(n, true, algorithm);
        FFT inv(n, false, algorithm);
        const auto back = run_plan(inv, run_plan(fwd, x, n), n);
        for (unsigned i = 0; i < n; ++i) {
            ASSERT_NEAR(back[i].re, x[i].re, 1e-5) << n << " " << i;
            ASSERT_NEAR(back[i].im, x[i].im, 1e-5) << n << " " << i;
        }
    }
}

TEST(Facade, ReplanningReplacesAndReleasesThePlan) {
    FFT f(12, true);
    std::weak_ptr<fft::FFTImpl> old = f.plan();
    const auto x = random_input<Complex>(64, 1);
    f.init(64, false, FFTAlgorithm::FFT2);
    EXPECT_TRUE(old.expired());
    FFT fresh(64, false);
    expect_same_bits(run_plan(f, x, 64), run_plan(fresh, x, 64));
    // Two runs in a row give the same output, for every plan family.
    for (unsigned n : {5u, 7u, 12u, 64u}) {
        const auto y = random_input<float>(n, n);
        FFT g(n, true);
        expect_same_bits(run_plan(g, y, n), run_plan(g, y, n));
    }
}

TEST(Facade, DistinctObjectsRunSideBySide) {
    const unsigned lengths[] = {7, 12, 360, 1024};
    std::vector<std::vector<Complex>> want, got(4);
    std::vector<std::vector<Complex>> inputs;
    for (unsigned n : lengths) {
        inputs.push_back(random_input<Complex>(n, n));
        FFT f(n, true);
        want.push_back(run_plan(f, inputs.back(), n));
    }
    std::vector<std::thread> threads;
    for (size_t t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            FFT f(lengths[t], true);
            for (int r = 0; r < 20; ++r) got[t] = run_plan(f, inputs[t], lengths[t]);
        });
    for (auto& t : threads) t.join();
    for (size_t t = 0; t < 4; ++t) expect_same_bits(got[t], want[t]);
}
