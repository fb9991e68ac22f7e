// Sample-rate conversion with the cached polyphase filters.
#pragma once

#include "simd/isa.h"

namespace vorel::audio {

// ceil(double(dst_sample_rate) / double(src_sample_rate) * double(src_sample_n)): quotient
// first, then product, rates not reduced, so 48000 from 44100 with 44100 samples gives 48001.
// A length above INT_MAX cannot be returned and is refused with "Invalid src_sample_n value.".
int get_resample_len(int dst_sample_rate, int src_sample_n, int src_sample_rate);

// Writes all dst_n samples of dst: the converted signal, up to one input step before the end
// of src, then zeros. Output n is a 65-tap dot product in double, rising samples against falling
// taps, over the input padded with 32 zeros on each side. dst may be src. Above Isa::scalar
// sixteen lanes of outputs at once, the same bits.
void resample(float* dst, const float* src, int dst_sample_rate, int dst_n, int src_sample_rate, int src_n,
              simd::Isa isa = simd::best_isa());

}  // namespace vorel::audio
