// The combining stages of Cooley-Tukey plans, working in place on the output array.
#pragma once

#include <cstdint>
#include <vector>

#include "planned_fft/plan.h"
#include "simd/isa.h"

namespace vorel::audio::qentor {

struct CooleyTukeyFactor;

// Radix 2: for each block of 2 inLength, t = hi[j] * W[j], u = lo[j] (times 1/outLength when
// scale is set: the last stage of an inverse plan), lo[j] = u + t, hi[j] = u - t.
void radix2_stage(const CooleyTukeyFactor& f, Complex* output, bool scale, simd::Isa isa = simd::best_isa());

// Any other radix r: a straight r-point transform per butterfly, r * r products, the table
// lookup carrying twiddle and transform in one exponent: work[q] = sum over ascending p of
// output[j + (p + g r) l] * W[(j + q l) p mod outLength], started from (0, 0), then written back.
// work holds r entries. Above Isa::scalar two columns q run side by side in vector lanes; a pair
// in which a product needs the recovery of infinite results is redone by the plain code. At
// Isa::scalar one column at a time: the reference, the same bits.
void general_stage(const CooleyTukeyFactor& f, Complex* output, Complex* work, simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio::qentor
