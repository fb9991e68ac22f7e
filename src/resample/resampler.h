// Sample-rate conversion with the cached polyphase filters: the output length and the
// converter itself.
#pragma once

namespace vorel::audio {

// ceil(double(dst_sample_rate) / double(src_sample_rate) * double(src_sample_n)): quotient
// first, then product, rates not reduced, so 48000 from 44100 with 44100 samples gives 48001.
// A length above INT_MAX cannot be returned and is refused with "Invalid src_sample_n value.".
int get_resample_len(int dst_sample_rate, int src_sample_n, int src_sample_rate);

// Writes all dst_n samples of dst: the converted signal, up to one input step before the end
// of src, then zeros. Output n is a 65-tap dot product in double, summed in rising sample order
// against falling tap order, over the input padded with 32 zeros on each side. dst may be src.
void resample(float* dst, const float* src, int dst_sample_rate, int dst_n, int src_sample_rate,
              int src_n);

// The same conversion by one chosen path: `plain` one output at a time, the reference that
// the lane paths match bit for bit; `avx2` and `avx512` only where the CPU has them.
enum class ResamplePath { plain, sse2, avx2, avx512 };
void resample_by(ResamplePath path, float* dst, const float* src, int dst_sample_rate, int dst_n,
                 int src_sample_rate, int src_n);

}  // namespace vorel::audio
