// The zero-phase filter: the linear filter run forward and then backward over a signal
// extended at both ends, each pass starting from the settled state.
#pragma once

namespace vorel::audio {

// pad_type: 0 none, 1 odd, 2 reflect, 3 constant; pad_len samples are added at each end
// (ignored for type 0 or when negative). dst receives min(src_n + pad_len, dst_n) samples
// starting at the first original sample; with no extension the count is min(src_n, dst_n).
// Extensions reaching beyond what the signal can mirror keep folding inside src. An
// extended signal longer than INT_MAX samples throws std::length_error before any work.
// dst may be src.
void filtfilt(float* dst, const float* src, const float* n_coef, const float* d_coef, int dst_n, int src_n,
              int n_coef_n, int d_coef_n, int pad_type, int pad_len);

}  // namespace vorel::audio
