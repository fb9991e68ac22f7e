// The facade: the choice of algorithm by length and the building of plans.
#include "planned_fft/fft.h"

#include <utility>
#include <vector>

#include "planned_fft/bluestein.h"
#include "planned_fft/cooley_tukey.h"
#include "planned_fft/direct_dft.h"
#include "planned_fft/hard_kernels.h"
#include "planned_fft/radix2.h"

namespace vorel::audio::qentor {

bool is_prime_by_sieve(unsigned n) {
    // Index arithmetic in 64 bits, so that n near 2^32 cannot wrap into a short array or an
    // endless loop.
    const uint64_t count = static_cast<uint64_t>(n) + 1;
    std::vector<uint64_t> flags((count + 63) / 64, 0);
    auto set = [&](uint64_t i) { flags[i / 64] |= uint64_t{1} << (i % 64); };
    auto clear = [&](uint64_t i) { flags[i / 64] &= ~(uint64_t{1} << (i % 64)); };
    auto test = [&](uint64_t i) { return (flags[i / 64] >> (i % 64)) & 1; };
    for (uint64_t i = 2; i <= n; ++i) set(i);
    for (uint64_t i = 2; i * i <= n; ++i)
        if (test(i))
            for (uint64_t j = 2 * i; j <= n; j += i) clear(j);
    return test(n);
}

fft::FFTAlgorithm choose_algorithm(unsigned n) {
    if (n < 6) return fft::FFTAlgorithm::DFT;
    if ((n & (n - 1)) == 0) return fft::FFTAlgorithm::FFT2;
    if (is_prime_by_sieve(n)) return fft::FFTAlgorithm::Bluestein;
    return fft::FFTAlgorithm::CooleyTukey;
}

FFT::FFT(unsigned n, bool forward) : FFT(n, forward, choose_algorithm(n)) {}

FFT::FFT(unsigned n, bool forward, fft::FFTAlgorithm algorithm) { init(n, forward, algorithm); }

namespace {

std::shared_ptr<fft::FFTImpl> build_plan(unsigned n, bool forward, fft::FFTAlgorithm algorithm) {
    using fft::FFTAlgorithm;
    switch (algorithm) {
        case FFTAlgorithm::Bluestein:
            if (forward) return std::make_shared<fft::BluesteinFFTImpl>(n);
            return std::make_shared<fft::BluesteinIFFTImpl>(n, true);
        case FFTAlgorithm::CooleyTukey:
            if (forward) return std::make_shared<fft::CooleyTukeyFFTImpl>(n);
            return std::make_shared<fft::CooleyTukeyIFFTImpl>(n);
        case FFTAlgorithm::FFT2:
            if (forward) return std::make_shared<fft::FFT2Impl>(n);
            return std::make_shared<fft::IFFT2Impl>(n);
        default:
            if (n > 5) {
                if (forward) return std::make_shared<fft::DFTImpl>(n, n);
                return std::make_shared<fft::IDFTImpl>(n, n, true);
            }
            if (forward) return std::make_shared<fft::DFTHARDImpl>(n, n);
            return std::make_shared<fft::IDFTHARDImpl>(n, n, true);
    }
}

}  // namespace

void FFT::init(unsigned n, bool forward, fft::FFTAlgorithm algorithm) {
    std::shared_ptr<fft::FFTImpl> plan = build_plan(n, forward, algorithm);
    impl = std::move(plan);
}

}  // namespace vorel::audio::qentor
