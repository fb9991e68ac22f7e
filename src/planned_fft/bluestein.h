// Plans that turn a transform of any length into a circular convolution of a power-of-two
// length, computed with radix-2 plans.
#pragma once

#include <cstdint>
#include <vector>

#include "planned_fft/plan.h"
#include "planned_fft/radix2.h"

namespace vorel::audio::qentor::fft {

// The chirp w[k] = exp(-i pi k^2 / n) follows the table rule with k^2 not reduced modulo 2n, so
// accuracy falls away from n = 13, entries overflow from n = 44, and from n = 230 the series
// overflows (it stops, so the constructor returns, and all outputs are not finite).
// exec writes scratch in the object: not for two threads at once. Input may be the output.
// A plan of length 0 writes nothing.
class BluesteinFFTImpl : public FFTImpl {
public:
    explicit BluesteinFFTImpl(unsigned n);
    ~BluesteinFFTImpl() override = default;
    void exec(const int16_t* input, Complex* output) override;
    void exec(const float* input, Complex* output) override;
    void exec(const Complex* input, Complex* output) override;

    uint64_t size;
    std::vector<Complex> chirp;
    std::vector<Complex> conj_chirp;
    uint64_t pad_size;
    FFT2Impl fft;
    IFFT2Impl ifft;
    std::vector<Complex> work_a;
    std::vector<Complex> work_b;
    std::vector<Complex> work_c;

protected:
    template <class T>
    void run(const T* input, Complex* output);
};

// The inverse by conjugation: conjugate the input, run the forward computation, conjugate the
// output, and with scale set multiply by 1/n on the way.
class BluesteinIFFTImpl : public BluesteinFFTImpl {
public:
    BluesteinIFFTImpl(unsigned n, bool scale);
    ~BluesteinIFFTImpl() override = default;
    void exec(const int16_t* input, Complex* output) override;
    void exec(const float* input, Complex* output) override;
    void exec(const Complex* input, Complex* output) override;

    // Empty until the first complex exec, then n elements.
    std::vector<Complex> conj_input;
    bool scale;

private:
    template <class T>
    void run_conjugated(const T* input, Complex* output);
};

// The inner length: 2n - 1 in 32-bit arithmetic when that is a power of two (n = 1 only),
// otherwise the smallest power of two above it; 0 for n = 0.
uint32_t bluestein_pad_size(unsigned n);

}  // namespace vorel::audio::qentor::fft
