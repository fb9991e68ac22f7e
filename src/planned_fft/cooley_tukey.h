// Mixed-radix decimation-in-time plans for composite lengths.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "planned_fft/bluestein.h"
#include "planned_fft/plan.h"
#include "simd/isa.h"

namespace vorel::audio::qentor {

// One combining stage: inCount transforms of inLength merge by radix into outCount transforms
// of outLength. W is the table for outLength: half of it for radix 2, all of it otherwise.
struct CooleyTukeyFactor {
    uint32_t inCount;
    uint32_t inLength;
    uint32_t radix;
    uint32_t outCount;
    uint32_t outLength;
    std::vector<Complex> W;
};

// The digit-reversed input order: each record, from the last to the first, splits every
// block of outLength into radix sub-sequences of stride radix.
std::vector<uint32_t> CooleyTukeyIndex(const std::vector<CooleyTukeyFactor>& factors, unsigned n);

// A stage of radix r other than 2: work[q] = sum over ascending p, from (0, 0), of
// output[j + (p + g r) l] * W[(j + q l) p mod outLength], then written back; work holds r
// entries. Above Isa::scalar two columns run in vector lanes; a pair whose product needs the
// recovery of infinite results is redone by the plain code.
void general_stage(const CooleyTukeyFactor& f, Complex* output, Complex* work, simd::Isa isa = simd::best_isa());

namespace fft {

// The largest prime factor L of n is the inner length: the n / L innermost transforms run as
// one batch (hard-coded kernels below 6, direct evaluation to 31, then Bluestein one by one).
// The other prime factors, largest first, each get a stage in place on the output. All input is
// read before the output is written, so complex input may be the output. exec writes `work`
// and allocates scratch lazily: not for two threads at once. A prime n or n below 2 leaves no
// stage and an inner length of 0, so exec writes nothing.
class CooleyTukeyFFTImpl : public FFTImpl {
public:
    explicit CooleyTukeyFFTImpl(unsigned n);
    ~CooleyTukeyFFTImpl() override = default;
    void exec(const int16_t* input, Complex* output) override;
    void exec(const float* input, Complex* output) override;
    void exec(const Complex* input, Complex* output) override;

    uint64_t size;
    std::vector<CooleyTukeyFactor> factors;
    std::vector<uint32_t> index;
    std::shared_ptr<FFTImpl> inner;
    std::shared_ptr<BluesteinFFTImpl> bluestein;
    std::vector<Complex> work;
    std::vector<int16_t> scratchInt16;
    std::vector<Complex> scratchComplex;
    std::vector<float> scratchFloat;

protected:
    CooleyTukeyFFTImpl(unsigned n, bool forward);

    // scale_last: the inverse's last stage, when of radix 2, scales its unweighted operand.
    template <class T>
    void run(const T* input, Complex* output, std::vector<T>& scratch, bool scale_last);
};

// Conjugate tables and unscaled inverse inner plans; the factor 1/n comes in the last stage,
// whose table carries it.
class CooleyTukeyIFFTImpl : public CooleyTukeyFFTImpl {
public:
    explicit CooleyTukeyIFFTImpl(unsigned n);
    ~CooleyTukeyIFFTImpl() override = default;
    void exec(const int16_t* input, Complex* output) override;
    void exec(const float* input, Complex* output) override;
    void exec(const Complex* input, Complex* output) override;
};

}  // namespace fft
}  // namespace vorel::audio::qentor
