"""Linear filtering with state, settled initial state, zero-phase filtering."""
import numpy as np

from . import _options
from ._call import call, count, fptr, option, per_item, real_array


def _coefficients(b, a):
    bb = real_array(b, "b")
    aa = real_array(a, "a")
    if bb.ndim != 1 or aa.ndim != 1:
        raise ValueError("b and a must be one-dimensional")
    if aa[0] == 0.0:
        raise ValueError("a[0] must not be 0")
    return bb, aa


def lfilter(b, a, x, zi=None):
    """Filters x along the last axis; with zi, returns (y, zf) as the usual stacks do."""
    bb, aa = _coefficients(b, a)
    xs = real_array(x)
    n = count(xs.shape[-1], "length of x")
    state_n = max(bb.size, aa.size) - 1
    if zi is None:
        def one(item):
            y = np.empty(n, dtype=np.float32)
            call("vorelAudioLinerFilter", fptr(y), fptr(item), fptr(bb), fptr(aa), None, n, n,
                 bb.size, aa.size, 0, shown=f"n={n}")
            return y
        return per_item(xs, 1, one)
    z = real_array(zi, "zi")
    if z.shape != xs.shape[:-1] + (state_n,):
        raise ValueError(f"zi must have shape {xs.shape[:-1] + (state_n,)}, got {z.shape}")
    pairs = np.concatenate([xs.reshape(-1, n), z.reshape(-1, state_n)], axis=1)

    def one_with_state(row):
        item = np.ascontiguousarray(row[:n])
        state = np.array(row[n:], dtype=np.float32)
        y = np.empty(n, dtype=np.float32)
        call("vorelAudioLinerFilter", fptr(y), fptr(item), fptr(bb), fptr(aa),
             fptr(state) if state_n else None, n, n, bb.size, aa.size, state_n, shown=f"n={n}")
        return y, state
    y, zf = per_item(pairs, 1, one_with_state)
    return y.reshape(xs.shape), zf.reshape(z.shape)


def lfilter_zi(b, a):
    """Settled state for a unit step input, max(len(a), len(b)) - 1 values."""
    bb, aa = _coefficients(b, a)
    state_n = max(bb.size, aa.size) - 1
    out = np.zeros(max(state_n, 1), dtype=np.float32)
    call("vorelAudioGetLinerFilterZiCoef", fptr(out), fptr(bb), fptr(aa), out.size, bb.size,
         aa.size, shown=f"len(b)={bb.size}, len(a)={aa.size}")
    return out[:state_n]


def filtfilt(b, a, x, padtype="odd", padlen=None):
    """Forward-backward zero-phase filter along the last axis.

    padlen defaults to 3 * max(len(a), len(b)); padtype is "odd", "even" (mirror), "constant"
    or None.
    """
    bb, aa = _coefficients(b, a)
    xs = real_array(x)
    n = count(xs.shape[-1], "length of x")
    kind = option(padtype, _options.PADTYPE, "padtype")
    pad = 3 * max(bb.size, aa.size) if padlen is None else count(padlen, "padlen", 0)
    if kind == 0:
        pad = 0
    if kind in (1, 2) and pad >= n:
        raise ValueError(f"padlen ({pad}) must be smaller than the length of x ({n})")

    def one(item):
        y = np.empty(n, dtype=np.float32)
        call("vorelAudioFilterFilter", fptr(y), fptr(item), fptr(bb), fptr(aa), n, n, bb.size,
             aa.size, kind, pad, shown=f"n={n}, padtype={padtype!r}, padlen={pad}")
        return y
    return per_item(xs, 1, one)
