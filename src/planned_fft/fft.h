// The facade of the planned engine: one plan per length and direction, picked by rule.
#pragma once

#include <cstdint>
#include <memory>

#include "planned_fft/plan.h"

namespace vorel::audio::qentor {

// Builds a plan once and runs it any number of times, with the three input types in any order;
// inverse plans include 1/n. Input and output are treated as distinct.
// Choice by length: below 6 the hard-coded kernels (so 2 and 4 too), a power of two radix-2, a
// prime Bluestein (whose accuracy falls away from 13 and outputs are not finite from 47), else
// Cooley-Tukey. n = 0 builds a do-nothing plan.
// With an explicit algorithm nothing is checked: a wrong length gives meaningless or no output,
// but no plan reads or writes past its n elements. The choosing constructor does not support
// 4294967295. One object must not run on two threads at once (plans may hold scratch).
class FFT {
public:
    FFT(unsigned n, bool forward);
    FFT(unsigned n, bool forward, fft::FFTAlgorithm algorithm);
    virtual ~FFT() = default;
    // Not copied: copies would share the plan and its scratch.
    FFT(const FFT&) = delete;
    FFT& operator=(const FFT&) = delete;

    // The new plan is built whole before the old one is released; if building throws, the old stays.
    void init(unsigned n, bool forward, fft::FFTAlgorithm algorithm);

    void exec(const int16_t* input, Complex* output) { impl->exec(input, output); }
    void exec(const float* input, Complex* output) { impl->exec(input, output); }
    void exec(const Complex* input, Complex* output) { impl->exec(input, output); }

    const std::shared_ptr<fft::FFTImpl>& plan() const { return impl; }

private:
    std::shared_ptr<fft::FFTImpl> impl;
};

// The algorithm the choosing constructor gives a length.
fft::FFTAlgorithm choose_algorithm(unsigned n);

// Primality by a packed sieve of Eratosthenes over 0..n, built for this one test.
bool is_prime_by_sieve(unsigned n);

}  // namespace vorel::audio::qentor
