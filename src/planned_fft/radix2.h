// Iterative decimation-in-time plans for lengths that are powers of two.
#pragma once

#include <cstdint>
#include <vector>

#include "planned_fft/plan.h"

namespace vorel::audio::qentor::fft {

// The input is scattered to bit-reversed positions of the output, then butterflies run in place
// stage by stage, table s for block length 2^(s+1). Input and output must be distinct; exec
// writes nothing but the output, so threads may share a plan. A length that is no power of two
// gives meaningless numbers but touches nothing past n.
class FFT2Impl : public FFTImpl {
public:
    explicit FFT2Impl(unsigned n);
    ~FFT2Impl() override = default;
    void exec(const int16_t* input, Complex* output) override;
    void exec(const float* input, Complex* output) override;
    void exec(const Complex* input, Complex* output) override;

    uint64_t size;
    std::vector<std::vector<Complex>> w_tables;
    uint32_t log2_size;

protected:
    FFT2Impl(unsigned n, std::vector<std::vector<Complex>>&& tables);

    // scale_last: the inverse's last stage scales its untwiddled operand by 1/n.
    template <class T>
    void run(const T* input, Complex* output, bool scale_last) const;
};

// The inverse: conjugate tables, and the factor 1/n paid once, inside the last stage (its
// table carries it, and the other butterfly operand is scaled there), with no extra pass.
class IFFT2Impl : public FFT2Impl {
public:
    explicit IFFT2Impl(unsigned n);
    ~IFFT2Impl() override = default;
    void exec(const int16_t* input, Complex* output) override;
    void exec(const float* input, Complex* output) override;
    void exec(const Complex* input, Complex* output) override;
};

}  // namespace vorel::audio::qentor::fft
