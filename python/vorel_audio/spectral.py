"""Transforms, windows and short-time spectra."""
import ctypes

import numpy as np

from . import _options
from ._call import (as_complex, call, complex_array, count, fptr, option, per_item, real_array,
                    real_number)


def _complex_transform(name, a):
    """Runs one of the two transforms over the last axis of an interleaved (..., n, 2) array."""
    n = count(a.shape[-2], "transform length")

    def one(item):
        out = np.empty((n, 2), dtype=np.float32)
        call(name, fptr(out), fptr(item), n, shown=f"n={n}")
        return as_complex(out)
    return per_item(a, 2, one)


def fft(x):
    """Complex spectrum (all n bins, unscaled) of real signals along the last axis."""
    a = real_array(x)
    # Each real row goes in as an (n, 1) column, so both transforms share the per-item loop.
    return _complex_transform("vorelAudioFFT", a[..., np.newaxis])


def ifft(X):
    """Inverse transform of complex spectra along the last axis, scaled by 1/n; complex out."""
    return _complex_transform("vorelAudioIFFT", complex_array(X))


def window(n, kind="hann"):
    """Periodic Hann or Hamming window of n samples (float32)."""
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
    """Number of samples an inverse spectrogram of frame_n frames gives."""
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
                power=2.0, norm=None):
    """Short-time spectrum of real signals along the last axis: shape (..., n_fft//2+1, frames).

    power None or 0 gives the complex spectrum; power p > 0 gives |X|^p. hop_length defaults to
    n_fft // 4 and win_length to n_fft; norm is None, "torch" (1/sqrt(sum w^2)) or "scipy"
    (2/n_fft).
    """
    a = real_array(x)
    n_fft, hop, win_n, win, c, nt = framing(n_fft, hop_length, win_length, window, center, norm)
    p = power_value(power, allow_none=True)
    sample_n = count(a.shape[-1], "length of x")
    frames = frame_count(sample_n, n_fft, hop, c)
    freq_n = n_fft // 2 + 1

    def one(item):
        out = np.zeros((freq_n, max(frames, 1), 2), dtype=np.float32)
        if frames > 0:
            call("vorelAudioGetSpectrogram", fptr(out), fptr(item), sample_n, n_fft, hop, win_n,
                 win, frames, c, p, nt, shown=f"n_fft={n_fft}, hop_length={hop}, "
                 f"win_length={win_n}, power={p}")
        out = out[:, :frames]
        return as_complex(out) if p == 0.0 else np.ascontiguousarray(out[..., 0])
    return per_item(a, 1, one)


def inverse_spectrogram(S, hop_length=None, win_length=None, window="hann", center="reflect",
                        norm=None, length=None):
    """Signal from complex spectra of shape (..., freq, frames) by windowed overlap-add."""
    a = complex_array(S, "S", min_ndim=2)
    freq_n = count(a.shape[-3], "number of bins")
    frame_n = count(a.shape[-2], "number of frames")
    if freq_n < 2:
        raise ValueError("S needs at least 2 frequency bins")
    n_fft, hop, win_n, win, c, nt = framing(2 * freq_n - 2, hop_length, win_length, window,
                                            center, norm)
    n = sample_count(frame_n, freq_n, hop, c)
    out_n = n if length is None else count(length, "length")

    def one(item):
        out = np.zeros(max(out_n, 1), dtype=np.float32)
        call("vorelAudioGetInverseSpectrogram", fptr(out), fptr(item), frame_n, freq_n, hop,
             win_n, win, max(min(out_n, n), 1), c, nt,
             shown=f"frames={frame_n}, freq={freq_n}, hop_length={hop}, win_length={win_n}")
        if min(out_n, n) < 1:
            out[:] = 0.0
        return out[:out_n]
    return per_item(a, 3, one)


def complex_norm(X, power=1.0):
    """|X|^power of complex values (power > 0), float32 of the same shape."""
    a = complex_array(X, min_ndim=0)
    p = real_number(power, "power")
    if not p > 0.0:
        raise ValueError(f"power must be > 0, got {power!r}")
    flat = a.reshape(-1, 2)
    n = count(flat.shape[0], "number of values")
    out = np.empty(n, dtype=np.float32)
    call("vorelAudioComplexNorm", fptr(out), fptr(flat), n, p, shown=f"n={n}, power={p}")
    return out.reshape(a.shape[:-1])


def magphase(S, power=1.0, phase="angle"):
    """Magnitude |S|^power and phase of complex spectra of shape (..., freq, frames).

    phase "angle" gives radians; "complex" gives the unit phasor as complex64.
    """
    a = complex_array(S, "S", min_ndim=2)
    freq_n = count(a.shape[-3], "number of bins")
    frame_n = count(a.shape[-2], "number of frames")
    p = power_value(power, allow_none=False)
    form = option(phase, _options.PHASE, "phase")

    def one(item):
        mag = np.empty((freq_n, frame_n), dtype=np.float32)
        ph = np.empty((freq_n, frame_n, 2) if form else (freq_n, frame_n), dtype=np.float32)
        call("vorelAudioMagPhase", fptr(mag), fptr(ph), fptr(item), freq_n, frame_n, p, form,
             shown=f"freq={freq_n}, frames={frame_n}, power={p}")
        return mag, (as_complex(ph) if form else ph)
    return per_item(a, 3, one)
