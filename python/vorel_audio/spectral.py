"""Transforms, windows and short-time spectra.

Functions that work along one axis take ``axis`` (default -1, the last) and lay their results out
as numpy would with that axis moved: ``f(x, axis=k)`` equals ``np.moveaxis(f(np.moveaxis(x, k,
-1)), ...)`` with the result's own axes put back where the signal axis was. A spectrogram's two
axes (frequency, frames) take the place of the signal axis, in that order.
"""
import ctypes

import numpy as np

from . import _options
from ._call import (as_complex, axis_index, call, complex_along, complex_array, count, fptr, from_last,
                    option, output_array, per_item, real_number, signal_along)

_NORM_DOC = """norm: None (no factor); "torch" (alias "window"): every value times
        1 / sqrt(sum of squared window samples), what torchaudio's ``normalized=True`` (its
        "window" normalisation) gives; "scipy": the factor 2 / n_fft. That equals scipy.signal.stft
        (``scaling='spectrum'``, a factor 1 / sum(window)) only for a Hann window as long as n_fft:
        with a Hamming window the result here is 1.08 times scipy's (1.166 in power), with a
        256-sample Hann window in a 512-sample transform 0.5 times (0.25 in power)."""

_CENTER_DOC = """center: where frames sit on the signal (n samples give the frame counts of frame_count).
        "reflect" (True): frame t is centred on sample t * hop_length, the ends mirrored without
        repeating the edge sample (torch/librosa ``center=True, pad_mode="reflect"``);
        n // hop_length + 1 frames.
        "zeros" (alias "constant"): centred likewise, zeros beyond the ends (torch's
        ``pad_mode="constant"``; unlike filtfilt's padtype "constant", nothing is repeated);
        ceil(n / hop_length) + 1 frames, one more than torch when hop_length does not divide n.
        None (False, "none"): frame t starts at sample t * hop_length (``center=False``)."""


def fft(x, axis=-1):
    """Complex spectrum (all n bins, unscaled, complex64) of real signals along axis."""
    src, ax, n = signal_along(x, axis)
    out = per_item(src, 1, (n, 2), lambda item, o: call("vorelAudioFFT", fptr(o), fptr(item), n,
                                                           shown=f"n={n}"))
    return from_last(as_complex(out), ax, 1)


def ifft(X, axis=-1):
    """Inverse transform of complex spectra along axis, scaled by 1/n; complex64 out."""
    src, ax = complex_along(X, axis)
    n = count(src.shape[-2], "transform length")
    out = per_item(src, 2, (n, 2), lambda item, o: call("vorelAudioIFFT", fptr(o), fptr(item), n,
                                                           shown=f"n={n}"))
    return from_last(as_complex(out), ax, 1)


def rfft(x, axis=-1):
    """The first n // 2 + 1 bins of fft(x) along axis, as numpy.fft.rfft lays them out."""
    full = fft(x, axis)
    ax = axis_index(axis, full.ndim)
    return np.ascontiguousarray(np.take(full, np.arange(full.shape[ax] // 2 + 1), axis=ax))


def irfft(X, n=None, axis=-1):
    """Real signal of n samples (default 2 * (bins - 1)) from its first n // 2 + 1 bins along axis.

    As numpy.fft.irfft: missing bins count as zero, extra bins are ignored, and the imaginary parts
    of the 0 Hz bin (and of the n / 2 bin for even n) do not contribute. The inverse transform
    runs on the conjugate-symmetric completion of the bins; the real part is returned (float32).
    """
    c, ax = complex_along(X, axis)
    moved = as_complex(c)
    bins = moved.shape[-1]
    n = 2 * (bins - 1) if n is None else count(n, "n")
    if n < 1:
        raise ValueError(f"X needs at least 2 bins along axis when n is not given, got {bins}")
    half = n // 2 + 1
    kept = moved[..., :min(bins, half)]
    full = np.zeros(moved.shape[:-1] + (n,), dtype=np.complex64)
    full[..., :kept.shape[-1]] = kept
    mirrored = np.arange(1, (n + 1) // 2)
    full[..., n - mirrored] = np.conj(full[..., mirrored])
    return from_last(np.ascontiguousarray(ifft(full).real), ax, 1)


def fft_frequencies(n_fft, sample_rate):
    """Centre frequencies in Hz of the n_fft // 2 + 1 bins of a spectrogram (float64)."""
    return np.arange(count(n_fft, "n_fft") // 2 + 1) * (count(sample_rate, "sample_rate") / n_fft)


def window(n, kind="hann"):
    """Periodic Hann or Hamming window of n samples (float32), the period being n."""
    n = count(n, "n")
    out = np.empty(n, dtype=np.float32)
    call("vorelAudioGetWindow", fptr(out), n, option(kind, _options.WINDOW, "window"),
         shown=f"n={n}, kind={kind!r}")
    return out


def _count_call(name, first, first_name, n, hop_length, center):
    out = ctypes.c_int(0)
    args = (count(first, first_name), count(n, "n"), count(hop_length, "hop_length", 0),
            _options.center_value(center))
    call(name, ctypes.byref(out), *args, shown=f"{args}")
    return out.value


def frame_count(sample_n, n_fft, hop_length, center="reflect"):
    """Number of frames a signal of sample_n samples gives (0 when shorter than n_fft)."""
    return _count_call("vorelAudioGetFrameLen", sample_n, "sample_n", n_fft, hop_length, center)


def sample_count(frame_n, freq_n, hop_length, center="reflect"):
    """Number of samples an inverse spectrogram of frame_n frames gives by default:
    (frame_n - 1) * hop_length, plus n_fft = 2 * freq_n - 2 without centring."""
    return _count_call("vorelAudioGetSampleLen", frame_n, "frame_n", freq_n, hop_length, center)


def _hop(hop_length, n_fft):
    return n_fft // 4 if hop_length is None else count(hop_length, "hop_length", 0)


def framing(n_fft, hop_length, win_length, window, center, norm):
    """Validated framing options: (n_fft, hop, win_n, win_type, center, norm_type)."""
    n_fft = count(n_fft, "n_fft")
    hop = _hop(hop_length, n_fft)
    win_n = n_fft if win_length is None else count(win_length, "win_length")
    if win_n > n_fft:
        raise ValueError(f"win_length ({win_n}) must not exceed n_fft ({n_fft})")
    return (n_fft, hop, win_n, option(window, _options.WINDOW, "window"),
            _options.center_value(center), option(norm, _options.NORM, "norm"))


def power_value(power, allow_none):
    p = 0.0 if (power is None and allow_none) else real_number(power, "power")
    if not p >= 0.0:
        raise ValueError(f"power must be >= 0{' or None' if allow_none else ''}, got {power!r}")
    return p


def spectrogram(x, n_fft=400, hop_length=None, win_length=None, window="hann", center="reflect",
                power=2.0, norm=None, axis=-1):
    """Short-time spectrum of real signals along axis: shape (..., n_fft // 2 + 1, frames).

    power None or 0 gives the complex spectrum (complex64); power p > 0 gives |X|^p (float32).
    hop_length defaults to n_fft // 4 and win_length to n_fft (a shorter window is centred in the
    frame). window is "hann" (alias "hanning") or "hamming", both periodic, as
    scipy.signal.get_window(window, n) and torch.hann_window(n) give them.
    {center}
    {norm}
    """
    a, ax, sample_n = signal_along(x, axis)
    n_fft, hop, win_n, win, c, nt = framing(n_fft, hop_length, win_length, window, center, norm)
    p = power_value(power, allow_none=True)
    frames = frame_count(sample_n, n_fft, hop, c)
    freq_n = n_fft // 2 + 1

    def one(item, out):
        if frames > 0:
            call("vorelAudioGetSpectrogram", fptr(out), fptr(item), sample_n, n_fft, hop, win_n,
                 win, frames, c, p, nt, shown=f"n_fft={n_fft}, hop_length={hop}, "
                 f"win_length={win_n}, power={p}")
    # The library writes every column, so the output is not zeroed first (a pass over the whole
    # spectrum), except without centring beyond 2**24 samples, where the count may end early.
    written = c != _options.CENTER["none"] or sample_n <= 1 << 24
    out = per_item(a, 1, (freq_n, frames, 2), one, zeroed=not written)
    result = as_complex(out) if p == 0.0 else np.ascontiguousarray(out[..., 0])
    return from_last(result, ax, 2)


def inverse_spectrogram(S, hop_length=None, win_length=None, window="hann", center="reflect",
                        norm=None, length=None, axis=-1):
    """Signal from complex spectra of shape (..., freq, frames) by windowed overlap-add.

    The transform length is n_fft = 2 * freq - 2; the other options are those the spectrogram was
    made with (norm "scipy" is undone, norm "torch" has no inverse and stays in the result).
    length=None gives sample_count(frames, freq, hop_length, center) samples: (frames - 1) *
    hop_length with centring, so a signal of 1000 samples at hop 128 comes back as 896; pass the
    original length to get it all back. As torch.istft's ``length``, a longer length takes the
    overlap-add result up to its end (n_fft // 2 samples beyond the default) and zeros after it.
    axis names the signal axis of the result; the frequency and frame axes of S stand at that
    position and the next, as spectrogram(x, axis=axis) lays them out.
    """
    src, ax = complex_along(S, axis, "S", core_ndim=2)
    freq_n = count(src.shape[-3], "number of bins")
    frame_n = count(src.shape[-2], "number of frames")
    if freq_n < 2:
        raise ValueError("S needs at least 2 frequency bins")
    n_fft, hop, win_n, win, c, nt = framing(2 * freq_n - 2, hop_length, win_length, window,
                                            center, norm)
    n = sample_count(frame_n, freq_n, hop, c)
    out_n = n if length is None else count(length, "length", 0)

    def one(item, out):
        if out_n > 0:
            call("vorelAudioGetInverseSpectrogram", fptr(out), fptr(item), frame_n, freq_n, hop,
                 win_n, win, out_n, c, nt,
                 shown=f"frames={frame_n}, freq={freq_n}, hop_length={hop}, win_length={win_n}")
    # Up to the default length every sample is written; a longer one is zero beyond the signal.
    return from_last(per_item(src, 3, (out_n,), one, zeroed=out_n > n), ax, 1)


def complex_norm(X, power=1.0, out=None):
    """|X|^power of complex values (power > 0), float32 of the same shape (elementwise).

    out: a float32 array of that shape to write into, as numpy's out=."""
    a = complex_array(X, min_ndim=0)
    p = real_number(power, "power")
    if not p > 0.0:
        raise ValueError(f"power must be > 0, got {power!r}")
    flat = a.reshape(-1, 2)
    result = output_array(out, a.shape[:-1], inputs=(a,))
    if result.size:
        n = count(flat.shape[0], "number of values")
        call("vorelAudioComplexNorm", fptr(result), fptr(flat), n, p, shown=f"n={n}, power={p}")
    return result


def magphase(S, power=1.0, phase="angle", out=None):
    """Magnitude |S|^power (power 0 gives 1) and phase of complex values, elementwise.

    phase "angle" gives radians (float32); "complex" gives the unit phasor as complex64. out: a pair
    (magnitude, phase) of arrays of those types and S's shape to write into, as numpy's out=.
    """
    a = complex_array(S, "S", min_ndim=0)
    p = power_value(power, allow_none=False)
    form = option(phase, _options.PHASE, "phase")
    shape = a.shape[:-1]
    flat = a.reshape(-1, 2)
    if out is not None and (not isinstance(out, tuple) or len(out) != 2):
        raise ValueError("out must be a pair (magnitude, phase) of arrays")
    mag_out, ph_out = out if out is not None else (None, None)
    mag = output_array(mag_out, shape, inputs=(a,), name="out[0]")
    ph = output_array(ph_out, shape, np.complex64 if form else np.float32, inputs=(a, mag), name="out[1]")
    if mag.size:
        n = count(flat.shape[0], "number of values")
        call("vorelAudioMagPhase", fptr(mag), fptr(ph), fptr(flat), 1, n, p,
             form, shown=f"n={n}, power={p}")
    return mag, ph


spectrogram.__doc__ = spectrogram.__doc__.format(center=_CENTER_DOC, norm=_NORM_DOC)
