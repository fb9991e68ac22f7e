"""Sample-rate conversion."""
import ctypes

import numpy as np

from ._call import call, count, fptr, per_item, real_array


def resample_length(n, orig_sr, target_sr):
    """Number of samples that n samples at orig_sr give at target_sr."""
    out = ctypes.c_int(0)
    args = (count(target_sr, "target_sr"), count(n, "n"), count(orig_sr, "orig_sr"))
    call("vorelAudioGetResampleLen", ctypes.byref(out), *args, shown=f"{args}")
    return out.value


def resample(x, orig_sr, target_sr):
    """Converts signals along the last axis from orig_sr to target_sr."""
    xs = real_array(x)
    n = count(xs.shape[-1], "length of x")
    src_rate, dst_rate = count(orig_sr, "orig_sr"), count(target_sr, "target_sr")
    out_n = resample_length(n, src_rate, dst_rate)

    def one(item):
        y = np.empty(out_n, dtype=np.float32)
        call("vorelAudioResample", fptr(y), fptr(item), dst_rate, out_n, src_rate, n,
             shown=f"orig_sr={src_rate}, target_sr={dst_rate}, n={n}")
        return y
    return per_item(xs, 1, one)
