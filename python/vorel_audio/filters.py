"""Linear filtering with state, settled initial state, zero-phase filtering.

Coefficients are used in float32 (the filters run in double on float32 values). Coefficients
given wider are rounded; when that rounding leaves the filter unstable a RuntimeWarning names
the largest pole radius, since the output then grows without bound.
"""
import warnings

import numpy as np

from . import _options
from ._call import call, count, fptr, from_last, numeric, option, per_item, real_array, signal_along


def _largest_pole(a):
    return float(np.max(np.abs(np.roots(a)))) if a.size > 1 else 0.0


def _warn_if_unstable(given, rounded):
    """Warns when the float32 denominator has a pole outside the unit circle (or on it, where
    rounding moved it there from inside). Only wider coefficients are checked: float32 ones are
    used exactly as given."""
    if rounded.size < 2 or given.dtype == np.float32 or not np.all(np.isfinite(rounded)):
        return
    before = _largest_pole(given.astype(np.float64).ravel())
    after = _largest_pole(rounded.astype(np.float64))
    if after >= 1.0 and before < 1.0:
        message = (f"rounding the denominator a to float32 moves its largest pole from |z| = "
                   f"{before:.6g} to |z| = {after:.6g}, on or outside the unit circle: the filter "
                   f"is unstable in float32 and its output will grow or not decay; use a lower "
                   f"order or split the filter into second-order sections")
    elif after > 1.0:
        message = (f"the denominator a has a pole at |z| = {after:.6g}, outside the unit circle: "
                   f"the filter is unstable and its output will grow without bound")
    else:
        return
    warnings.warn(message, RuntimeWarning, stacklevel=4)


def _coefficients(b, a, check_poles=True):
    """b and a as 1-D float32 arrays; scalars count as one coefficient."""
    given = numeric(a, "a", allow_complex=False)
    bb = np.atleast_1d(real_array(b, "b", min_ndim=0))
    aa = np.atleast_1d(real_array(given, "a", min_ndim=0))
    if bb.ndim != 1 or aa.ndim != 1:
        raise ValueError(f"b and a must be one-dimensional, got shapes {bb.shape} and {aa.shape}")
    if bb.size == 0 or aa.size == 0:
        raise ValueError("b and a must hold at least one coefficient")
    if aa[0] == 0.0:
        raise ValueError("a[0] must not be 0")
    if check_poles:
        _warn_if_unstable(given, aa)
    return bb, aa


def _initial_state(zi, x_ndim, ax, lead, state_n):
    """zi as scipy takes it: as many dimensions as x, state_n values along axis and x's sizes (or 1,
    broadcast) elsewhere. Returned as a C-ordered float32 copy with the state axis last."""
    z = real_array(zi, "zi", min_ndim=0)
    expected = lead[:ax] + (state_n,) + lead[ax:]
    try:
        if z.ndim != x_ndim or z.shape[ax] != state_n:
            raise ValueError
        return np.array(np.broadcast_to(np.moveaxis(z, ax, -1), lead + (state_n,)), dtype=np.float32,
                        order="C")
    except ValueError:
        raise ValueError(f"zi must have shape {expected} (max(len(a), len(b)) - 1 = {state_n} "
                         f"along axis, x's sizes or 1 elsewhere), got {np.shape(zi)}") from None


def lfilter(b, a, x, zi=None, axis=-1):
    """Filters x along axis by b / a (transposed direct form II); with zi, returns (y, zf).

    b and a may be scalars. zi has as many dimensions as x: max(len(a), len(b)) - 1 state values
    along axis and x's sizes (or 1, broadcast) elsewhere, as scipy.signal.lfilter takes it. A pure
    gain (one coefficient each) has an empty state: zi=[] gives (y, array([])). zf has the full
    shape, the state axis where x's axis is.
    """
    bb, aa = _coefficients(b, a)
    src, ax, n = signal_along(x, axis)
    state_n = max(bb.size, aa.size) - 1

    def one(item, y, state=None):
        carried = state is not None and state_n > 0
        call("vorelAudioLinerFilter", fptr(y), fptr(item), fptr(bb), fptr(aa), fptr(state) if carried else None,
             n, n, bb.size, aa.size, state_n if carried else 0, shown=f"n={n}")
    if zi is None:
        return from_last(per_item(src, 1, (n,), one), ax, 1)
    lead = src.shape[:-1]
    state = _initial_state(zi, src.ndim, ax, lead, state_n)
    items = int(np.prod(lead, dtype=np.int64))
    y = np.empty(src.shape, dtype=np.float32)
    flat_x, flat_y, flat_s = (v.reshape((items, v.shape[-1])) for v in (src, y, state))
    for i in range(items):
        one(flat_x[i], flat_y[i], flat_s[i])
    return from_last(y, ax, 1), from_last(state, ax, 1)


def lfilter_zi(b, a):
    """Settled state for a unit step input, max(len(a), len(b)) - 1 values (scale by x[0])."""
    bb, aa = _coefficients(b, a, check_poles=False)
    state_n = max(bb.size, aa.size) - 1
    out = np.zeros(max(state_n, 1), dtype=np.float32)
    call("vorelAudioGetLinerFilterZiCoef", fptr(out), fptr(bb), fptr(aa), out.size, bb.size,
         aa.size, shown=f"len(b)={bb.size}, len(a)={aa.size}")
    return out[:state_n]


def filtfilt(b, a, x, padtype="odd", padlen=None, axis=-1):
    """Forward-backward zero-phase filter along axis, each pass started from the settled state.

    padtype extends the signal at both ends before filtering, as scipy.signal.filtfilt does:
    "odd" (point reflection through the edge sample), "even" (alias "reflect": mirror image
    without repeating the edge sample), "constant" (alias "edge": the edge sample repeated, as
    numpy.pad's "edge"; unlike spectrogram's center "zeros", no zeros are added) or None.
    padlen defaults to 3 * max(len(a), len(b)); "odd" and "even" need it below the length of x.
    """
    bb, aa = _coefficients(b, a)
    src, ax, n = signal_along(x, axis)
    kind = option(padtype, _options.PADTYPE, "padtype")
    pad = 3 * max(bb.size, aa.size) if padlen is None else count(padlen, "padlen", 0)
    if kind == 0:
        pad = 0
    if kind in (1, 2) and pad >= n:
        raise ValueError(f"padlen ({pad}) must be smaller than the length of x ({n})")

    def one(item, y):
        call("vorelAudioFilterFilter", fptr(y), fptr(item), fptr(bb), fptr(aa), n, n, bb.size,
             aa.size, kind, pad, shown=f"n={n}, padtype={padtype!r}, padlen={pad}")
    return from_last(per_item(src, 1, (n,), one), ax, 1)
