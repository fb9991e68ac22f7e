/*
 * libvorel_audio: audio signal-processing primitives for machine-learning front ends.
 *
 * Every function is one stateless call on buffers the caller owns and sizes, and returns
 * a status. Nothing is allocated that outlives a call, apart from the process-wide
 * coefficient caches (transform tables, windows, mel filter banks, resampling filters),
 * which grow with the number of distinct shapes used and are never evicted. All
 * functions may be called from any thread at the same time on separate output buffers.
 *
 * Results are reproducible to the bit: samples and spectra are 32-bit float, and every
 * operation is rounded on its own, in a fixed order.
 *
 * Conventions: `dst` first, then `src`, then counts (suffix `_n`), then selectors and float
 * parameters. Complex buffers are interleaved floats, real part first. A spectrogram is
 * `freq_n` = fft_n / 2 + 1 rows (one per bin) of cells, one cell per frame.
 * Arguments are checked in a fixed order before anything is written; a failed check
 * returns VOREL_STATUS_INVALID_ARGUMENT and leaves every output untouched.
 */
#ifndef VOREL_AUDIO_H
#define VOREL_AUDIO_H

#ifdef __cplusplus
extern "C" {
#endif

#if defined(VOREL_AUDIO_BUILDING) && defined(__GNUC__)
#define VOREL_AUDIO_API __attribute__((visibility("default")))
#else
#define VOREL_AUDIO_API
#endif

/* Status values returned by every function. */
#define VOREL_STATUS_SUCCESS 0
#define VOREL_STATUS_INVALID_ARGUMENT (-1)
#define VOREL_STATUS_OUT_OF_MEMORY (-5)
#define VOREL_STATUS_UNKNOWN_ERROR (-128)

/* win_type: periodic windows (the period is the window length). */
#define VOREL_AUDIO_WIN_TYPE_HANN 1
#define VOREL_AUDIO_WIN_TYPE_HAMMING 2

/* center: how frames are placed on the signal. */
#define VOREL_AUDIO_CENTER_NONE 0          /* frame t starts at t * hop_n */
#define VOREL_AUDIO_CENTER_REFLECT 1       /* centred on t * hop_n, mirrored ends */
#define VOREL_AUDIO_CENTER_ZEROS_PADDED 2  /* centred on t * hop_n, zeros beyond the ends */

/* norm_type (fft_norm_type): factor on every float of a spectrum. */
#define VOREL_AUDIO_NORM_TYPE_NONE 0   /* none */
#define VOREL_AUDIO_NORM_TYPE_TORCH 1  /* 1 / sqrt(sum of squared window samples) */
#define VOREL_AUDIO_NORM_TYPE_SCIPY 2  /* 2 / fft_n */

/* mel_norm: normalisation of the mel triangles. */
#define VOREL_AUDIO_MEL_NORM_NONE 0  /* peak height about 1 */
#define VOREL_AUDIO_MEL_NORM_AREA 1  /* each triangle scaled by 2 / (upper - lower edge in Hz) */

/* mel_formula: mel scale. */
#define VOREL_AUDIO_MEL_FORMULA_SLANEY 0
#define VOREL_AUDIO_MEL_FORMULA_HTK 1

/* pad_type: extension of the signal at both ends for the zero-phase filter. */
#define VOREL_AUDIO_PAD_TYPE_NONE 0      /* no extension, pad_len ignored */
#define VOREL_AUDIO_PAD_TYPE_ODD 1       /* point reflection through the edge sample */
#define VOREL_AUDIO_PAD_TYPE_REFLECT 2   /* mirror image without repeating the edge sample */
#define VOREL_AUDIO_PAD_TYPE_CONSTANT 3  /* repetition of the edge sample */

/* phase_form: what the phase output of vorelAudioMagPhase holds. */
#define VOREL_AUDIO_PHASE_FORM_ANGLE 0    /* one float per cell, radians */
#define VOREL_AUDIO_PHASE_FORM_COMPLEX 1  /* two floats per cell: cos, sin */

/* ---- Transforms ---------------------------------------------------------------------- */

/* Forward DFT of fft_n real samples. src: fft_n floats. dst: 2 * fft_n floats, all fft_n
 * bins interleaved, unscaled. src may alias dst (then a buffer of 2 * fft_n floats).
 * Any fft_n >= 1 works; lengths other than powers of two take a slower mixed-radix path
 * (a prime length costs fft_n^2 products). A length whose working buffers exceed the
 * machine's RAM plus swap returns VOREL_STATUS_OUT_OF_MEMORY before src is read or dst
 * is written. */
VOREL_AUDIO_API int vorelAudioFFT(float* dst, const float* src, int fft_n);

/* Inverse DFT, complex to complex, scaled by 1 / fft_n (a division by (float)fft_n). src
 * and dst: 2 * fft_n floats each, interleaved; the imaginary parts are kept. src may alias
 * dst. Lengths and memory refusal as for vorelAudioFFT. */
VOREL_AUDIO_API int vorelAudioIFFT(float* dst, const float* src, int fft_n);

/* ---- Windows and framing ------------------------------------------------------------- */

/* Periodic Hann or Hamming window of window_n samples. dst: window_n floats. */
VOREL_AUDIO_API int vorelAudioGetWindow(float* dst, int window_n, int win_type);

/* Number of frames of fft_n samples, hop_n apart, that sample_n samples give under the
 * centring mode `center`. A signal shorter than fft_n gives 0 frames in every mode.
 * hop_n = 0 passes the checks and gives 0 frames. dst: one int. */
VOREL_AUDIO_API int vorelAudioGetFrameLen(int* dst, int sample_n, int fft_n, int hop_n, int center);

/* ---- Spectrogram and its inverse ----------------------------------------------------- */

/* Short-time Fourier transform. dst: 2 * freq_n * max_frame_n floats, freq_n = fft_n/2 + 1
 * rows of max_frame_n cells of two floats; cell (k, t) at dst[(k * max_frame_n + t) * 2].
 * power 0 stores (re, im); power > 0 stores ((re^2 + im^2)^(power/2), 0). Only the first
 * min(frame count, max_frame_n) columns are written; the rest keep their contents. */
VOREL_AUDIO_API int vorelAudioGetSpectrogram(float* dst, const float* src, int sample_n, int fft_n,
                                             int hop_n, int win_n, int win_type, int max_frame_n,
                                             int center, float power, int norm_type);

/* Number of samples that an inverse spectrogram of frame_n frames gives. dst: one int. */
VOREL_AUDIO_API int vorelAudioGetSampleLen(int* dst, int frame_n, int freq_n, int hop_n, int center);

/* Signal from a complex spectrogram by windowed overlap-add. src: freq_n rows of frame_n
 * complex cells (row stride frame_n). dst: at most max_sample_n floats are written. */
VOREL_AUDIO_API int vorelAudioGetInverseSpectrogram(float* dst, const float* src, int frame_n,
                                                    int freq_n, int hop_n, int win_n,
                                                    int win_type, int max_sample_n, int center,
                                                    int norm_type);

/* ---- Mel analysis -------------------------------------------------------------------- */

/* Mel filter bank. dst: mel_n * freq_n floats, dst[m * freq_n + k] = weight of bin k in
 * band m. */
VOREL_AUDIO_API int vorelAudioGetFBMatrix(float* dst, int freq_n, float f_min, float f_max,
                                          int mel_n, int sample_rate, int mel_norm,
                                          int mel_formula);

/* Mel spectrogram of a signal. dst: mel_n * F floats, F = min(frame count, max_frame_n),
 * band-major and packed with row stride F. */
VOREL_AUDIO_API int vorelAudioGetMelSpectrogram(float* dst, const float* src, int sample_n,
                                                int sample_rate, int fft_n, int hop_n, int win_n,
                                                int win_type, int max_frame_n, int center,
                                                float power, int fft_norm_type, float f_min,
                                                float f_max, int mel_n, int mel_norm,
                                                int mel_formula);

/* Applies a filter bank to a real spectrogram. src: freq_n * frame_n floats (bin-major),
 * mel_fb: mel_n * freq_n floats, dst: mel_n * frame_n floats. */
VOREL_AUDIO_API int vorelAudioConvertToMel(float* dst, const float* src, const float* mel_fb,
                                           int freq_n, int frame_n, int mel_n);

/* ---- Filters ------------------------------------------------------------------------- */

/* Linear filter (transposed direct form II, computed in double) with carried state.
 * dst: dst_n floats, src: src_n floats, zi: zi_n floats or null; zi is used and updated
 * in place only when it holds max(n_coef_n, d_coef_n) - 1 values, else a zero state is
 * used and zi is left alone. */
VOREL_AUDIO_API int vorelAudioLinerFilter(float* dst, const float* src, const float* n_coef,
                                          const float* d_coef, float* zi, int dst_n, int src_n,
                                          int n_coef_n, int d_coef_n, int zi_n);

/* Settled initial state of a filter for a unit step. dst: dst_n floats. */
VOREL_AUDIO_API int vorelAudioGetLinerFilterZiCoef(float* dst, const float* n_coef,
                                                   const float* d_coef, int dst_n, int n_coef_n,
                                                   int d_coef_n);

/* Forward-backward zero-phase filter with pad_len samples of extension at each end. */
VOREL_AUDIO_API int vorelAudioFilterFilter(float* dst, const float* src, const float* n_coef,
                                           const float* d_coef, int dst_n, int src_n,
                                           int n_coef_n, int d_coef_n, int pad_type, int pad_len);

/* ---- Resampling ---------------------------------------------------------------------- */

/* Number of output samples of a rate conversion. dst_sample_n: one int. */
VOREL_AUDIO_API int vorelAudioGetResampleLen(int* dst_sample_n, int dst_sample_rate,
                                             int src_sample_n, int src_sample_rate);

/* Sample-rate conversion by a polyphase windowed-sinc filter. dst: dst_n floats. */
VOREL_AUDIO_API int vorelAudioResample(float* dst, const float* src, int dst_sample_rate, int dst_n,
                                       int src_sample_rate, int src_n);

/* ---- Complex spectra ----------------------------------------------------------------- */

/* (re^2 + im^2)^(power/2) of src_n complex values. src: 2 * src_n floats, dst: src_n. */
VOREL_AUDIO_API int vorelAudioComplexNorm(float* dst, const float* src, int src_n, float power);

/* Magnitude (raised to power) and phase of a complex spectrogram of freq_n rows of frame_n
 * cells. dst_mag: freq_n * frame_n floats; dst_phase: freq_n * frame_n floats (angle) or
 * 2 * freq_n * frame_n floats (complex phasor). */
VOREL_AUDIO_API int vorelAudioMagPhase(float* dst_mag, float* dst_phase, const float* src,
                                       int freq_n, int frame_n, float power, int phase_form);

/* ---- Levels -------------------------------------------------------------------------- */

/* Decibels relative to the buffer's maximum, floored top_db below it when top_db >= 0.
 * dst and src: src_n floats; dst may alias src. */
VOREL_AUDIO_API int vorelAudioConvertPowerToDB(float* dst, const float* src, int src_n, float top_db);

/* (x - mean) / deviation over src_n floats. dst may alias src. */
VOREL_AUDIO_API int vorelAudioStandardize(float* dst, const float* src, int src_n);

/* log(1 + x) of src_n floats. dst may alias src. */
VOREL_AUDIO_API int vorelAudioLog1p(float* dst, const float* src, int src_n);

/* ---- Silence and frame fitting ------------------------------------------------------- */

/* First sample and length of the non-silent range of a signal: frames whose mean square
 * lies less than thr_db below the loudest frame. Writes -1 and 0 when none is found. */
VOREL_AUDIO_API int vorelAudioGetNonSilentPos(int* start_pos, int* nonsilent_len, const float* src,
                                              int sample_n, int win_n, int hop_n, float thr_db);

/* Cuts or fills each of freq_n rows of src_frame_n values to dst_frame_n values, filling
 * with pad_value. dst: freq_n * dst_frame_n floats. */
VOREL_AUDIO_API int vorelAudioFixFrameLen(float* dst, const float* src, int freq_n, int dst_frame_n,
                                          int src_frame_n, float pad_value);

#ifdef __cplusplus
}
#endif

#endif /* VOREL_AUDIO_H */
