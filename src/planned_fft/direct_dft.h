// Plans that evaluate the transform from its definition, O(n^2), for any length.
#pragma once

#include <cstdint>
#include <vector>

#include "planned_fft/plan.h"

namespace vorel::audio::qentor::fft {

// Runs size / n transforms of length n back to back: each output sums x[j] * W[j k mod n] from
// (0, 0) in ascending j, real samples times both parts of W, so a NaN or infinity reaches every
// output. Input and output must be distinct; read-only during exec, so threads may share a plan.
class DFTImpl : public FFTImpl {
public:
    DFTImpl(unsigned n, unsigned size);
    ~DFTImpl() override = default;
    void exec(const int16_t* input, Complex* output) override;
    void exec(const float* input, Complex* output) override;
    void exec(const Complex* input, Complex* output) override;

    uint64_t size;
    uint64_t n;
    std::vector<Complex> W;

protected:
    // For the inverse class, which installs its own table.
    DFTImpl(unsigned n, unsigned size, std::vector<Complex>&& table);

private:
    template <class T>
    void run(const T* input, Complex* output) const;
};

// The same evaluation on the conjugate table. With scale set, 1/n is folded into every
// entry as a product with the float reciprocal; a Cooley-Tukey plan asks for no scaling.
class IDFTImpl : public DFTImpl {
public:
    IDFTImpl(unsigned n, unsigned size, bool scale);
    ~IDFTImpl() override = default;
};

}  // namespace vorel::audio::qentor::fft
