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
 *
 * Memory: where a function needs working memory beyond the caller's buffers, its comment
 * says how much ("Memory:"). All of it is allocated before the first output is written, so
 * a call that returns VOREL_STATUS_OUT_OF_MEMORY leaves every output untouched, and a cache
 * entry whose build failed is not kept: the same call later builds it again.
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
 * (a prime length costs fft_n^2 products). Memory: a working copy of 2 * fft_n floats
 * and the length's table and scratch, 3 * fft_n floats for a power of two and 4 * fft_n
 * otherwise; the table stays cached per length and direction. A length whose working
 * buffers exceed the machine's RAM plus swap returns VOREL_STATUS_OUT_OF_MEMORY before src
 * is read or dst is written. */
VOREL_AUDIO_API int vorelAudioFFT(float* dst, const float* src, int fft_n);

/* Inverse DFT, complex to complex, scaled by 1 / fft_n (a division by (float)fft_n). src
 * and dst: 2 * fft_n floats each, interleaved; the imaginary parts are kept. src may alias
 * dst. Lengths and memory refusal as for vorelAudioFFT. */
VOREL_AUDIO_API int vorelAudioIFFT(float* dst, const float* src, int fft_n);

/* ---- Windows and framing ------------------------------------------------------------- */

/* Periodic Hann or Hamming window of window_n samples (the cosine's period is window_n, so
 * dst[0] is the low end and dst[window_n / 2] of an even length the peak). dst: window_n
 * floats. Memory: windows are cached per length and type, window_n floats each, for the
 * life of the process. */
VOREL_AUDIO_API int vorelAudioGetWindow(float* dst, int window_n, int win_type);

/* Number of frames of fft_n samples, hop_n apart, that sample_n samples give under the
 * centring mode `center`. A signal shorter than fft_n gives 0 frames in every mode.
 * hop_n = 0 passes the checks and gives 0 frames. dst: one int. */
VOREL_AUDIO_API int vorelAudioGetFrameLen(int* dst, int sample_n, int fft_n, int hop_n, int center);

/* ---- Spectrogram and its inverse ----------------------------------------------------- */

/* Short-time Fourier transform. dst: 2 * freq_n * max_frame_n floats, freq_n = fft_n/2 + 1
 * rows of max_frame_n cells of two floats; cell (k, t) at dst[(k * max_frame_n + t) * 2].
 * power 0 stores (re, im); power > 0 stores ((re^2 + im^2)^(power/2), 0); a NaN power acts
 * as 0. Only the first min(frame count, max_frame_n) columns are written; the rest keep their
 * contents. Each frame is multiplied by the window centred in it, with zeros outside.
 * Choices: win_n may exceed fft_n by one (the window's last sample is then unused); a longer
 * window is refused with VOREL_STATUS_INVALID_ARGUMENT. When fft_n - win_n is odd, the frame
 * sample just behind the window is multiplied by 0. hop_n = 0 gives no frame (nothing is
 * written, status 0). A call without frames (also sample_n below fft_n) returns at once,
 * without building the tables of fft_n. Without centring no frame reaches past the end of
 * src, also where the single-precision frame count of a signal beyond 2^24 samples rounds
 * up. Memory: about 200 * fft_n bytes of scratch for the call, plus the cached transform
 * table and window (about 16 * fft_n + 4 * win_n bytes, kept for the process); all of it is
 * allocated before the first cell is written, so VOREL_STATUS_OUT_OF_MEMORY leaves dst
 * untouched, and a working set beyond the machine's memory is refused up front. */
VOREL_AUDIO_API int vorelAudioGetSpectrogram(float* dst, const float* src, int sample_n, int fft_n,
                                             int hop_n, int win_n, int win_type, int max_frame_n,
                                             int center, float power, int norm_type);

/* Number of samples that an inverse spectrogram of frame_n frames gives:
 * (frame_n - 1) * hop_n, plus 2 * freq_n - 2 when center is 0. dst: one int. A count beyond
 * the int range wraps as 32-bit two's complement arithmetic gives it. */
VOREL_AUDIO_API int vorelAudioGetSampleLen(int* dst, int frame_n, int freq_n, int hop_n, int center);

/* Signal from a complex spectrogram by windowed overlap-add, normalised by the summed window
 * squares where they exceed 1e-10. src: freq_n rows of frame_n complex cells (row stride
 * frame_n); the transform length is fft_n = 2 * freq_n - 2. norm_type 2 undoes the forward
 * factor; norm_type 1 has no inverse, so its forward factor stays in the result.
 * dst: at most max_sample_n floats are written. Choices: win_n above fft_n is refused with
 * VOREL_STATUS_INVALID_ARGUMENT (so freq_n = 1 is always refused), keeping the window and its
 * squares inside the frame; with fft_n - win_n odd the frame sample just behind the window is
 * multiplied by 0. The copy stops at the end of the overlap-add result: with center != 0 and
 * max_sample_n above the count of vorelAudioGetSampleLen, at most fft_n / 2 further samples
 * (the reach of the last frame) are written and dst behind them is left as it is.
 * hop_n = 0 stacks all frames on the same fft_n samples. Memory: only the frames that reach
 * the samples written are summed, so the accumulator holds at most max_sample_n + 3 * fft_n / 2
 * samples (8 bytes each), whatever hop_n and frame_n are; besides it about 200 * fft_n bytes
 * of scratch, and the cached inverse table and window (kept for the process). dst is written
 * only at the end: VOREL_STATUS_OUT_OF_MEMORY leaves it untouched. */
VOREL_AUDIO_API int vorelAudioGetInverseSpectrogram(float* dst, const float* src, int frame_n,
                                                    int freq_n, int hop_n, int win_n,
                                                    int win_type, int max_sample_n, int center,
                                                    int norm_type);

/* ---- Mel analysis -------------------------------------------------------------------- */

/* Mel filter bank. dst: mel_n * freq_n floats, dst[m * freq_n + k] = weight of bin k in
 * band m; bins run from 0 Hz to sample_rate / 2. Requires freq_n > mel_n >= 1 and
 * 0 <= f_min < f_max (a NaN limit passes and gives NaN weights). Banks are cached per
 * parameter set for the life of the process; f_min -0.0 shares the bank of +0.0. A NaN limit
 * gets a cache entry of its own (NaNs sort after every number and apart by bit pattern), so
 * a call always gets the bank of its own parameters, whatever was called before.
 * Memory: a new parameter set keeps mel_n * freq_n floats (plus 24 bytes a row) cached for
 * the life of the process, and builds with 2 * freq_n + 3 * mel_n floats of scratch. A bank
 * larger than the machine's memory is refused with VOREL_STATUS_OUT_OF_MEMORY before it is
 * built. */
VOREL_AUDIO_API int vorelAudioGetFBMatrix(float* dst, int freq_n, float f_min, float f_max,
                                          int mel_n, int sample_rate, int mel_norm,
                                          int mel_formula);

/* Mel spectrogram of a signal. dst: mel_n * F floats, F = min(frame count, max_frame_n) with
 * the frame count of vorelAudioGetFrameLen, band-major and packed with row stride F:
 * dst[m * F + t]. Each frame is windowed, transformed and scaled as in
 * vorelAudioGetSpectrogram, reduced to (re^2 + im^2)^(power / 2) on its fft_n / 2 + 1 bins
 * (power 0 gives 1 everywhere, so each frame holds the bank's row sums), and multiplied by
 * the filter bank of vorelAudioGetFBMatrix(fft_n / 2 + 1, f_min, f_max, mel_n, sample_rate,
 * mel_norm, mel_formula). Requires 1 <= mel_n <= fft_n / 2 and win_n <= fft_n + 1 (a longer
 * window has no place in the frame: "Invalid win_n value."). A signal shorter than fft_n,
 * or hop_n 0, gives no frame: success with dst untouched. Without centring, a frame that
 * the single-precision frame count places partly past the end of src (signals beyond 2^24
 * samples) reads zeros there. A call without frames returns before any table or scratch is
 * built. Memory: about 220 * fft_n bytes of scratch for the call, plus the cached transform
 * table, window and filter bank (4 * mel_n * (fft_n / 2 + 1) bytes, kept for the process).
 * Working sets larger than the machine's memory are refused with VOREL_STATUS_OUT_OF_MEMORY
 * before anything is built; all scratch is allocated before the first value is written, so
 * that status leaves dst untouched. */
VOREL_AUDIO_API int vorelAudioGetMelSpectrogram(float* dst, const float* src, int sample_n,
                                                int sample_rate, int fft_n, int hop_n, int win_n,
                                                int win_type, int max_frame_n, int center,
                                                float power, int fft_norm_type, float f_min,
                                                float f_max, int mel_n, int mel_norm,
                                                int mel_formula);

/* Applies a filter bank to a real spectrogram. src: freq_n * frame_n floats (bin-major),
 * mel_fb: mel_n * freq_n floats, dst: mel_n * frame_n floats with
 * dst[m * frame_n + t] = sum over k ascending of src[k * frame_n + t] * mel_fb[m * freq_n + k],
 * summed in float from +0.0. Requires freq_n > mel_n >= 1 and frame_n >= 1 (checked last).
 * dst must not overlap src or mel_fb. Memory: two indices per band (16 bytes), the span of
 * bins each band covers. */
VOREL_AUDIO_API int vorelAudioConvertToMel(float* dst, const float* src, const float* mel_fb,
                                           int freq_n, int frame_n, int mel_n);

/* ---- Filters ------------------------------------------------------------------------- */

/* Linear filter (transposed direct form II, computed in double) with carried state.
 * The coefficients are divided by d_coef[0]; the shorter list counts as zero-padded to
 * L = max(n_coef_n, d_coef_n). dst: dst_n floats, src: src_n floats; min(dst_n, src_n)
 * samples are filtered and the rest of dst keeps its contents. dst may be src.
 * zi: null or zi_n floats. When it holds at least L - 1 values, its first L - 1 are the start
 * state and receive the final state (stored as float after every sample), so a stream can be
 * filtered block by block; otherwise the filter starts from zeros and zi is left alone. With
 * L = 1 (a pure gain) zi is never touched. d_coef[0] = 0 gives non-finite output, status 0.
 * Memory: 3 * L doubles (the normalised coefficients and the state). */
VOREL_AUDIO_API int vorelAudioLinerFilter(float* dst, const float* src, const float* n_coef,
                                          const float* d_coef, float* zi, int dst_n, int src_n,
                                          int n_coef_n, int d_coef_n, int zi_n);

/* Settled state of the linear filter for a constant input of 1 (scale it by the first
 * sample and pass it as zi). dst: dst_n floats; the first min(dst_n, L - 1) hold the state,
 * the rest are zero (all zero for L = 1). A denominator summing to zero gives non-finite
 * values, status 0. Memory: the normalised coefficients, 2 * L doubles. */
VOREL_AUDIO_API int vorelAudioGetLinerFilterZiCoef(float* dst, const float* n_coef,
                                                   const float* d_coef, int dst_n, int n_coef_n,
                                                   int d_coef_n);

/* Forward-backward zero-phase filter. src (src_n floats) is extended by pad_len samples at
 * each end (pad_type ODD, REFLECT or CONSTANT; NONE ignores pad_len), filtered forward and
 * then backward, each pass starting from the settled state scaled by its first input.
 * dst: dst_n floats. The first min(dst_n, src_n) samples are the filtered signal; when dst_n
 * is larger and the signal is extended, samples of the filtered right extension follow, up
 * to its end (at most src_n + pad_len samples in all); the rest of dst keeps its contents.
 * ODD and REFLECT with pad_len above src_n - 1 keep mirroring back and forth inside src
 * (period 2 * src_n - 2; a single sample repeats), so src is never read outside its bounds.
 * With an extension, src_n + 2 * pad_len above INT_MAX returns VOREL_STATUS_UNKNOWN_ERROR
 * before any work.
 * dst may be src. Memory: the forward pass kept in double, src_n + pad_len doubles (twice
 * the size of src and more), plus 4 * L doubles of coefficients and state. */
VOREL_AUDIO_API int vorelAudioFilterFilter(float* dst, const float* src, const float* n_coef,
                                           const float* d_coef, int dst_n, int src_n,
                                           int n_coef_n, int d_coef_n, int pad_type, int pad_len);

/* ---- Resampling ---------------------------------------------------------------------- */

/* Number of output samples of a rate conversion. dst_sample_n: one int.
 * ceil(double(dst_sample_rate) / double(src_sample_rate) * double(src_sample_n)), quotient
 * first, so 44100 samples from 44100 to 48000 give 48001. A length above INT_MAX cannot be
 * stored and is refused with VOREL_STATUS_INVALID_ARGUMENT, dst_sample_n untouched. */
VOREL_AUDIO_API int vorelAudioGetResampleLen(int* dst_sample_n, int dst_sample_rate,
                                             int src_sample_n, int src_sample_rate);

/* Sample-rate conversion by a polyphase windowed-sinc filter. dst: dst_n floats.
 * With up/down the rates reduced by their common divisor, output sample n is a 65-tap dot
 * product in double over the input (32 zeros beyond each end) at input time n * down / up for
 * odd up, and half a filter phase step (1 / up input samples apart) earlier for even up:
 * n * down / up - 0.5 / up (the up phases lie symmetrically around 0, so for even up none is
 * at 0). That is -0.25 input samples at 1 -> 2 and -0.003125 at 44100 -> 16000 (up = 160).
 * Output stops one input step before the end of src, and the rest of dst, up to dst_n, is
 * zero: equal rates give the first src_n - 1 samples and one zero. dst may be src.
 * Memory: the first call for a reduced pair builds and keeps its filter, up x 65 doubles plus
 * 2 x up ints (528 x up bytes; 25 MB for up = 48000), never released. A pair whose filter would
 * exceed 2 GiB (up above 4067203) returns VOREL_STATUS_OUT_OF_MEMORY at once, without
 * allocating and with dst untouched; other pairs keep working. Each call also allocates a
 * padded window of the input the outputs reach, at most src_n + 64 floats and no more than
 * about dst_n * down / up + 65 (a short output of a huge input stays small), src_n floats
 * more when dst overlaps src and the signal is long enough for the lane blocks, and, for
 * ratios down / up up to 16, a block buffer below 128 x (down + 2120) bytes. Counts up to
 * INT_MAX are formed in 64 bits. */
VOREL_AUDIO_API int vorelAudioResample(float* dst, const float* src, int dst_sample_rate, int dst_n,
                                       int src_sample_rate, int src_n);

/* ---- Complex spectra ----------------------------------------------------------------- */

/* (re^2 + im^2)^(power/2) of src_n complex values, always through powf. src: 2 * src_n
 * floats, dst: src_n. power must be above 0; a NaN power passes and gives NaN norms. */
VOREL_AUDIO_API int vorelAudioComplexNorm(float* dst, const float* src, int src_n, float power);

/* Magnitude (raised to power) and phase of a complex spectrogram of freq_n rows of frame_n
 * cells. dst_mag: freq_n * frame_n floats; dst_phase: freq_n * frame_n floats (angle,
 * atan2f(im, re)) or 2 * freq_n * frame_n floats (complex phasor: cos, sin of the angle).
 * Unlike vorelAudioComplexNorm, power 0 is accepted and gives magnitudes of 1.
 * Memory: one row of scratch, up to 5 * frame_n floats. */
VOREL_AUDIO_API int vorelAudioMagPhase(float* dst_mag, float* dst_phase, const float* src,
                                       int freq_n, int frame_n, float power, int phase_form);

/* ---- Levels -------------------------------------------------------------------------- */

/* Decibels relative to the buffer's maximum, floored top_db below it when top_db >= 0.
 * dst and src: src_n floats; dst may be src itself (no other overlap).
 * dst[i] = 10 log10(max(src[i], 1e-10)) - 10 log10(max(peak, 1e-10)), in float. The peak scan
 * skips NaN elements, except a NaN src[0], which leaves the reference at 1e-10. A negative or
 * NaN top_db means no floor. */
VOREL_AUDIO_API int vorelAudioConvertPowerToDB(float* dst, const float* src, int src_n, float top_db);

/* (x - mean) / deviation over src_n floats; dst may be src itself (no other overlap).
 * Both sums are taken in one ascending float pass; the deviation divides by src_n and is
 * sqrt(mean of squares - squared mean). A deviation of exactly 0 scales by 1e16 instead;
 * a slightly negative variance from rounding gives NaN throughout. */
VOREL_AUDIO_API int vorelAudioStandardize(float* dst, const float* src, int src_n);

/* log(1 + x) of src_n floats; dst may be src itself (no other overlap). */
VOREL_AUDIO_API int vorelAudioLog1p(float* dst, const float* src, int src_n);

/* ---- Silence and frame fitting ------------------------------------------------------- */

/* First sample and length of the non-silent range of a signal: frames whose mean square
 * lies less than thr_db below the loudest frame. Writes -1 and 0 when none is found.
 * Frames of win_n samples are centred on multiples of hop_n, reflect-padded (a frame wider
 * than a short signal folds back and forth inside it, never reading outside src) and not
 * weighted; their mean square is taken in double and floored at 1e-10. With f and l the first
 * and last frame above the threshold, the range runs from f * hop_n to (l + 1) * hop_n,
 * clipped to sample_n. A signal shorter than win_n has no frames. hop_n = 0 also gives no
 * frames: the call returns VOREL_STATUS_SUCCESS at once with -1 and 0, allocating nothing.
 * thr_db = 0 always gives -1 and 0.
 * Cost: no level is stored. One pass measures every frame to find the loudest, a second
 * measures again only the frames before the first and after the last loud one (all of them
 * at most), so the work is at most 2 x frames x win_n sample reads, and the memory one frame,
 * win_n floats. Every frame sums its own samples in order (a running sum would change the
 * result), so a call with frames x win_n above 2^30 (about a second per pass) returns
 * VOREL_STATUS_OUT_OF_MEMORY at once, before src is read: 2^31 one-sample frames, or frames
 * of 2048 every 512 samples over more than 2^28 samples. */
VOREL_AUDIO_API int vorelAudioGetNonSilentPos(int* start_pos, int* nonsilent_len, const float* src,
                                              int sample_n, int win_n, int hop_n, float thr_db);

/* Cuts or fills each of freq_n rows of src_frame_n values to dst_frame_n values, filling
 * with pad_value. dst: freq_n * dst_frame_n floats, src: freq_n * src_frame_n floats; the
 * products may exceed INT_MAX (sizes are formed in 64 bits). dst and src must not overlap. */
VOREL_AUDIO_API int vorelAudioFixFrameLen(float* dst, const float* src, int freq_n, int dst_frame_n,
                                          int src_frame_n, float pad_value);

#ifdef __cplusplus
}
#endif

#endif /* VOREL_AUDIO_H */
