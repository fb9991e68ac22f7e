// The facade: choice of algorithm, plan building and re-planning, accuracy over many lengths,
// and plans running on several threads.
#include <gtest/gtest.h>

#include <memory>
#include <thread>
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
    // Direct, hard-coded and radix-2 plans hold no scratch: four threads share one plan.
    // Plans of every family run side by side in distinct objects.
    std::vector<std::shared_ptr<fft::FFTImpl>> plans = {std::make_shared<fft::DFTImpl>(60, 60),
                                                        std::make_shared<fft::DFTHARDImpl>(5, 500),
                                                        std::make_shared<fft::IFFT2Impl>(1024)};
    std::vector<std::pair<fft::FFTImpl*, unsigned>> jobs;
    for (size_t i = 0; i < 3; ++i) jobs.insert(jobs.end(), 4, {plans[i].get(), i == 0 ? 60u : i == 1 ? 500u : 1024u});
    for (unsigned n : {7u, 12u, 360u, 1024u}) jobs.emplace_back(plans.emplace_back(FFT(n, true).plan()).get(), n);
    std::vector<std::vector<Complex>> got(jobs.size());
    std::vector<std::thread> threads;
    for (size_t t = 0; t < jobs.size(); ++t)
        threads.emplace_back([&, t] {
            const auto [plan, n] = jobs[t];
            for (int r = 0; r < 20; ++r) got[t] = run_plan(*plan, random_input<Complex>(n, n), n);
        });
    for (auto& th : threads) th.join();
    for (size_t t = 0; t < jobs.size(); ++t)
        expect_same_bits(
            got[t], run_plan(*jobs[t].first, random_input<Complex>(jobs[t].second, jobs[t].second), jobs[t].second));
}
