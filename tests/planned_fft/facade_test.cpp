// The facade: choice of algorithm, plan building and re-planning, accuracy over many lengths,
// and plans running on several threads.
#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <type_traits>
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

template <class Plan>
bool holds(const FFT& f) {
    return dynamic_cast<Plan*>(f.plan().get()) != nullptr;
}

}  // namespace

TEST(Facade, SieveAgreesWithTrialDivision) {
    for (unsigned n = 0; n <= 5000; ++n) {
        bool prime = n >= 2;
        for (unsigned d = 2; d * d <= n && prime; ++d) prime = n % d != 0;
        EXPECT_EQ(is_prime_by_sieve(n), prime) << n;
    }
    EXPECT_TRUE(is_prime_by_sieve(65521));
    EXPECT_FALSE(is_prime_by_sieve(65535));
}

TEST(Facade, ChoiceByLengthAndExplicitAlgorithms) {
    for (unsigned n = 0; n <= 5; ++n) EXPECT_EQ(choose_algorithm(n), FFTAlgorithm::DFT) << n;
    for (unsigned n : {8u, 16u, 65536u}) EXPECT_EQ(choose_algorithm(n), FFTAlgorithm::FFT2) << n;
    for (unsigned n : {7u, 13u, 1009u}) EXPECT_EQ(choose_algorithm(n), FFTAlgorithm::Bluestein) << n;
    for (unsigned n : {6u, 9u, 74u, 1000u}) EXPECT_EQ(choose_algorithm(n), FFTAlgorithm::CooleyTukey) << n;
    EXPECT_TRUE(holds<fft::DFTHARDImpl>(FFT(0, true)));
    EXPECT_TRUE(holds<fft::IDFTHARDImpl>(FFT(4, false)));
    EXPECT_TRUE(holds<fft::CooleyTukeyIFFTImpl>(FFT(6, false)));
    EXPECT_TRUE(dynamic_cast<fft::BluesteinIFFTImpl&>(*FFT(7, false).plan()).scale);
    EXPECT_TRUE(holds<fft::IFFT2Impl>(FFT(8, false)));
    EXPECT_TRUE(holds<fft::DFTImpl>(FFT(9, true, static_cast<FFTAlgorithm>(7))));
    EXPECT_TRUE(holds<fft::DFTHARDImpl>(FFT(3, true, static_cast<FFTAlgorithm>(7))));
    EXPECT_TRUE(holds<fft::IDFTImpl>(FFT(9, false, FFTAlgorithm::DFT)));
    EXPECT_TRUE(holds<fft::CooleyTukeyFFTImpl>(FFT(16, true, FFTAlgorithm::CooleyTukey)));
    EXPECT_TRUE(holds<fft::BluesteinFFTImpl>(FFT(8, true, FFTAlgorithm::Bluestein)));
    // The direct form is right for any length, primes past the chirp's range included.
    const auto x = random_input<float>(233, 2);
    FFT direct(233, true, FFTAlgorithm::DFT);
    EXPECT_LT(relative_error(run_plan(direct, x, 233), reference_dft(x, true)), 1e-5);
}

template <class T>
class FacadeTyped : public ::testing::Test {};
TYPED_TEST_SUITE(FacadeTyped, InputTypes);

TYPED_TEST(FacadeTyped, AgreesWithDoubleTransformAndInvertsForWellPlannedLengths) {
    std::vector<unsigned> lengths = {30, 35, 60, 100, 360, 1000, 3072};
    for (unsigned n = 1; n <= 12; ++n) lengths.push_back(n);
    for (unsigned n = 16; n <= 65536; n *= 2) lengths.push_back(n);
    for (unsigned n : lengths) {
        const double tol = n == 11 ? 5e-5 : 1e-5;  // the chirp of 11 is good to about 5e-6
        const auto x = random_input<TypeParam>(n, 3 * n);
        FFT fwd(n, true), inv(n, false);
        const auto spectrum = run_plan(fwd, x, n);
        if (!(std::is_same_v<TypeParam, int16_t> && n == 2))  // the forward pair wraps
            EXPECT_LT(relative_error(spectrum, reference_dft(x, true)), tol) << n;
        EXPECT_LT(relative_error(run_plan(inv, x, n), reference_dft(x, false)), tol) << n;
        if constexpr (std::is_same_v<TypeParam, Complex>) {
            const auto back = run_plan(inv, spectrum, n);
            for (unsigned i = 0; i < n; ++i)
                ASSERT_TRUE(std::abs(as_double(back[i]) - as_double(x[i])) < 1e-5) << n << " " << i;
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
}

TEST(Facade, PlansRunOnSeveralThreads) {
    // Direct, hard-coded and radix-2 plans hold no scratch: one plan runs on four threads at
    // once. Every family runs in distinct objects side by side.
    fft::DFTImpl direct(60, 60);
    fft::DFTHARDImpl hard(5, 500);
    fft::IFFT2Impl radix2(1024);
    const std::vector<fft::FFTImpl*> shared = {&direct, &hard, &radix2};
    const unsigned shared_n[] = {60, 500, 1024}, own_n[] = {7, 12, 360, 1024};
    std::vector<std::vector<Complex>> inputs, want, got(7);
    for (unsigned n : shared_n) inputs.push_back(random_input<Complex>(n, n));
    for (unsigned n : own_n) inputs.push_back(random_input<Complex>(n, n));
    for (size_t t = 0; t < 7; ++t) {
        const unsigned n = unsigned(inputs[t].size());
        if (t < 3) want.push_back(run_plan(*shared[t], inputs[t], n));
        else { FFT f(n, true); want.push_back(run_plan(f, inputs[t], n)); }
    }
    std::vector<std::thread> threads;
    for (size_t t = 0; t < 7; ++t)
        for (int copy = 0; copy < (t < 3 ? 4 : 1); ++copy)
            threads.emplace_back([&, t] {
                const unsigned n = unsigned(inputs[t].size());
                std::unique_ptr<FFT> own = t < 3 ? nullptr : std::make_unique<FFT>(n, true);
                for (int r = 0; r < 20; ++r) {
                    const auto out = own ? run_plan(*own, inputs[t], n) : run_plan(*shared[t], inputs[t], n);
                    if (r == 19) EXPECT_TRUE(std::equal(out.begin(), out.end(), want[t].begin(), same_bits)) << t;
                }
            });
    for (auto& th : threads) th.join();
}
