// The zero-phase filter: forward and backward over the extended signal, from the settled state.
#pragma once

namespace vorel::audio {

// pad_len samples of pad_type are added at each end (none for VOREL_AUDIO_PAD_TYPE_NONE or a
// negative pad_len). dst receives min(src_n + pad, dst_n) samples from the first original one.
// Extensions longer than the signal can mirror keep folding inside src. An extended signal
// longer than INT_MAX samples throws std::length_error. dst may be src.
void filtfilt(float* dst, const float* src, const float* n_coef, const float* d_coef, int dst_n, int src_n,
              int n_coef_n, int d_coef_n, int pad_type, int pad_len);

}  // namespace vorel::audio
