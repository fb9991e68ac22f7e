// The radix-2 butterfly shared by the radix-2 plans and the radix-2 stages of Cooley-Tukey.
#pragma once

#include <cstdint>

#include "planned_fft/plan.h"
#include "simd/isa.h"

namespace vorel::audio::qentor {

// For j below count: t = w[j] * hi[j] (complex product), a = lo[j], scaled part by part by
// *factor when one is given; then lo[j] = a + t and hi[j] = a - t. The product and the sum are
// commutative to the bit for every result that is a number, so the same butterfly serves
// either operand order.
// Above Isa::scalar pairs of butterflies run in vector lanes that round as the scalar code
// does; a pair in which a product needs the recovery of infinite results is redone by the
// plain code. At Isa::scalar one butterfly at a time: the reference, the same bits.
void radix2_butterflies(Complex* lo, Complex* hi, const Complex* w, uint64_t count, const float* factor = nullptr,
                        simd::Isa isa = simd::best_isa());

// One pass over every whole block of 2 * half elements among the first n of out, each block
// with the butterflies above on its two halves and the table w. Above Isa::scalar unscaled
// blocks of two elements (half 1) run two blocks to a vector.
void radix2_pass(Complex* out, uint64_t n, const Complex* w, uint64_t half, const float* factor = nullptr,
                 simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio::qentor
