// The radix-2 butterfly shared by the radix-2 plans and the radix-2 stages of Cooley-Tukey.
#pragma once

#include <cstdint>

#include "planned_fft/plan.h"
#include "simd/isa.h"

namespace vorel::audio::qentor {

// For j below count: t = w[j] * hi[j], a = lo[j] (times *factor when given); lo[j] = a + t,
// hi[j] = a - t. Product and sum commute to the bit for every result that is a number, so either
// operand order is served. Above Isa::scalar pairs run in vector lanes; a pair whose product
// needs the recovery of infinite results is redone by the plain code.
void radix2_butterflies(Complex* lo, Complex* hi, const Complex* w, uint64_t count, const float* factor = nullptr,
                        simd::Isa isa = simd::best_isa());

// The butterflies above on the two halves of every whole block of 2 half among the first n of
// out; above Isa::scalar unscaled blocks of two run two to a vector.
void radix2_pass(Complex* out, uint64_t n, const Complex* w, uint64_t half, const float* factor = nullptr,
                 simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio::qentor
