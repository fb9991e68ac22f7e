// The facade of the planned engine: one plan per length and direction, picked by rule.
#pragma once

#include <cstdint>
#include <memory>

#include "planned_fft/plan.h"

namespace vorel::audio::qentor {

// Builds a plan once and runs it any number of times, with any of the three input types in
// any order; inverse plans include the factor 1/n. Input and output are treated as distinct.
//
// Choice by length: below 6 the hard-coded kernels (so 2 and 4 too), a power of two radix-2,
// a prime Bluestein, anything else Cooley-Tukey. Bluestein's accuracy therefore falls away for
// primes from 13 on, and its outputs are not finite for primes from 47 on.
// n = 0 (the only length below 1) builds a do-nothing hard-coded plan: exec writes nothing.
//
// With an explicit algorithm nothing is checked: radix-2 on a length that is no power of two,
// or Cooley-Tukey on a prime or a length below 2, gives meaningless or no output, but no plan
// reads or writes past the n elements of its buffers. A length of 4294967295 is not supported
// by the choosing constructor (its primality sieve would not fit in 32-bit indices).
//
// No lock is taken: distinct objects may run side by side; one object must not run on two
// threads at once (Bluestein and Cooley-Tukey plans write scratch held in the plan).
class FFT {
public:
    FFT(unsigned n, bool forward);
    FFT(unsigned n, bool forward, fft::FFTAlgorithm algorithm);
    virtual ~FFT() = default;
    // Not copied: a copy would share the plan, and with it the scratch of Bluestein and
    // Cooley-Tukey plans, so that two copies could not run on two threads.
    FFT(const FFT&) = delete;
    FFT& operator=(const FFT&) = delete;

    // Builds the new plan completely before the old one is released: if building throws,
    // the object keeps its old plan.
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
