// Unrolled transforms of length 1 to 5 with their constants in the code, and the plans that
// run them in batches.
#pragma once

#include <cstdint>

#include "planned_fft/plan.h"

namespace vorel::audio::qentor {

// A kernel runs one length-N transform on each group of N of the first `size` elements:
// <true, true> forward, <false, true> inverse with 1/N folded into its constants, <false, false>
// inverse unscaled. Lengths 3 to 5 take every term of the matrix product, zeros included, the
// sum started by the first term; a group's inputs are read before its outputs are written.
template <class T>
using HardKernel = void (*)(const T* input, Complex* output, uint64_t size);

template <bool forward, bool scaled, class T>
void DFT_HARD_1(const T* input, Complex* output, uint64_t size);
// Sums and differences only. The forward 16-bit form adds in 16 bits and wraps; the inverse
// forms add in 32 bits, and the scaled inverse multiplies by 0.5.
template <bool forward, bool scaled, class T>
void DFT_HARD_2(const T* input, Complex* output, uint64_t size);
template <bool forward, bool scaled, class T>
void DFT_HARD_3(const T* input, Complex* output, uint64_t size);
template <bool forward, bool scaled, class T>
void DFT_HARD_4(const T* input, Complex* output, uint64_t size);
template <bool forward, bool scaled, class T>
void DFT_HARD_5(const T* input, Complex* output, uint64_t size);

// The kernel for n from 1 to 5, and for any other n one that does nothing.
template <bool forward, bool scaled, class T>
HardKernel<T> GetDFTHardFunc(uint64_t n);

namespace fft {

// Hands all `size` elements to one kernel call per exec; stateless, so threads may share a
// plan. A length outside 1..5 gives a plan whose exec leaves the output as it was.
class DFTHARDImpl : public FFTImpl {
public:
    DFTHARDImpl(unsigned n, unsigned size);
    // Note the order of the kernels: integer, complex, float.
    DFTHARDImpl(unsigned size, HardKernel<int16_t> kernelInt16, HardKernel<Complex> kernelComplex,
                HardKernel<float> kernelFloat);
    ~DFTHARDImpl() override = default;
    void exec(const int16_t* input, Complex* output) override;
    void exec(const float* input, Complex* output) override;
    void exec(const Complex* input, Complex* output) override;

    uint64_t size;
    HardKernel<int16_t> kernelInt16;
    HardKernel<Complex> kernelComplex;
    HardKernel<float> kernelFloat;
};

// Inverse kernels, scaled by 1/n or not; the exec of the base runs them.
class IDFTHARDImpl : public DFTHARDImpl {
public:
    IDFTHARDImpl(unsigned n, unsigned size, bool scale);
    ~IDFTHARDImpl() override = default;
};

}  // namespace fft
}  // namespace vorel::audio::qentor
