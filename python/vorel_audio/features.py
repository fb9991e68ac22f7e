"""Levels, silence detection and frame fitting."""
import ctypes

import numpy as np

from ._call import call, count, fptr, output_array, real_array, real_number


def _elementwise(name, x, *extra, out=None, shown=""):
    a = real_array(x, min_ndim=0)
    flat = a.reshape(-1)
    n = count(flat.size, "number of values")
    result = output_array(out, a.shape, inputs=(a,))
    call(name, fptr(result), fptr(flat), n, *extra, shown=f"n={n}{shown}")
    return result


def power_to_db(x, top_db=80.0, out=None):
    """10 log10 of powers relative to the maximum of x, floored top_db below it (None: no floor).

    out: a float32 array of x's shape to write into (x itself for in place), as numpy's out=."""
    t = -1.0 if top_db is None else real_number(top_db, "top_db")
    if top_db is not None and not t >= 0.0:
        raise ValueError(f"top_db must be >= 0 or None, got {top_db!r}")
    return _elementwise("vorelAudioConvertPowerToDB", x, t, out=out, shown=f", top_db={top_db}")


def standardize(x, out=None):
    """(x - mean) / standard deviation over all values of x; out as for power_to_db."""
    return _elementwise("vorelAudioStandardize", x, out=out)


def log1p(x, out=None):
    """log(1 + x) elementwise, in float32; out as for power_to_db."""
    return _elementwise("vorelAudioLog1p", x, out=out)


def nonsilent_range(x, frame_length=2048, hop_length=512, top_db=60.0):
    """(start, length) in samples of the non-silent part of a 1-D signal; (-1, 0) if none."""
    a = real_array(x)
    if a.ndim != 1:
        raise ValueError(f"x must be one-dimensional, got shape {a.shape}")
    n = count(a.size, "length of x")
    win = count(frame_length, "frame_length")
    hop = count(hop_length, "hop_length")
    thr = real_number(top_db, "top_db")
    if not thr >= 0.0:
        raise ValueError(f"top_db must be >= 0, got {top_db!r}")
    start, length = ctypes.c_int(0), ctypes.c_int(0)
    call("vorelAudioGetNonSilentPos", ctypes.byref(start), ctypes.byref(length), fptr(a), n, win,
         hop, thr, shown=f"n={n}, frame_length={win}, hop_length={hop}, top_db={thr}")
    return start.value, length.value


def fix_frames(S, n_frames, pad_value=0.0):
    """Cuts or pads spectra (..., freq, frames) at their end to n_frames frames.

    Every row of the last axis is one row of the library call, so a batch takes a single call.
    """
    a = real_array(S, "S", min_ndim=2)
    count(a.shape[-2], "number of bins")
    src_n = count(a.shape[-1], "number of frames")
    dst_n = count(n_frames, "n_frames")
    fill = real_number(pad_value, "pad_value")
    out = np.empty(a.shape[:-1] + (dst_n,), dtype=np.float32)
    if out.size:
        rows = count(out.size // dst_n, "number of rows")
        call("vorelAudioFixFrameLen", fptr(out), fptr(a), rows, dst_n, src_n, fill,
             shown=f"rows={rows}, n_frames={dst_n}, frames={src_n}")
    return out
