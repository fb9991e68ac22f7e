"""Sample-rate conversion."""
import ctypes

from ._call import call, count, fptr, from_last, per_item, signal_along


def resample_length(n, orig_sr, target_sr):
    """Number of samples that n samples at orig_sr give at target_sr: ceil(target_sr / orig_sr * n)."""
    out = ctypes.c_int(0)
    args = (count(target_sr, "target_sr"), count(n, "n"), count(orig_sr, "orig_sr"))
    call("vorelAudioGetResampleLen", ctypes.byref(out), *args, shown=f"{args}")
    return out.value


def resample(x, orig_sr, target_sr, axis=-1):
    """Converts signals along axis from orig_sr to target_sr (a 65-tap polyphase windowed sinc).

    Phase: with up = target_sr / g and down = orig_sr / g (g their greatest common divisor),
    output sample n is taken at input time n * down / up for odd up, and half a filter phase step
    (the phases are 1 / up input samples apart) earlier for even up: n * down / up - 0.5 / up.
    That is -0.25 input samples at 1 -> 2 (16 kHz to 32 kHz) and -0.003125 at 44.1 kHz -> 16 kHz
    (up = 160), where scipy.signal.resample_poly has no offset. Output stops one input step before the
    end of x and the remaining samples are zero, so equal rates give x[:-1] and one zero.
    The length is resample_length(n, orig_sr, target_sr).
    """
    src, ax, n = signal_along(x, axis)
    src_rate, dst_rate = count(orig_sr, "orig_sr"), count(target_sr, "target_sr")
    out_n = resample_length(n, src_rate, dst_rate)

    def one(item, y):
        call("vorelAudioResample", fptr(y), fptr(item), dst_rate, out_n, src_rate, n,
             shown=f"orig_sr={src_rate}, target_sr={dst_rate}, n={n}")
    return from_last(per_item(src, 1, (out_n,), one), ax, 1)
