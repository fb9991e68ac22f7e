"""Mel filter banks and mel spectrograms."""
import numpy as np

from . import _options
from ._call import call, count, fptr, from_last, option, per_item, real_array, real_number, signal_along
from .spectral import _CENTER_DOC, _NORM_DOC, frame_count, framing, power_value

_MIN_LOG_HZ, _MIN_LOG_MEL, _LOG_STEP = 1000.0, 15.0, np.log(6.4) / 27.0


def _hz_to_mel(f, htk):
    f = np.asarray(f, dtype=np.float64)
    if htk:
        return 2595.0 * np.log10(1.0 + f / 700.0)
    return np.where(f < _MIN_LOG_HZ, f * 3.0 / 200.0,
                    _MIN_LOG_MEL + np.log(np.maximum(f, _MIN_LOG_HZ) / _MIN_LOG_HZ) / _LOG_STEP)


def _mel_to_hz(m, htk):
    if htk:
        return 700.0 * (10.0 ** (m / 2595.0) - 1.0)
    return np.where(m < _MIN_LOG_MEL, m * 200.0 / 3.0,
                    _MIN_LOG_HZ * np.exp((np.maximum(m, _MIN_LOG_MEL) - _MIN_LOG_MEL) * _LOG_STEP))


def mel_frequencies(n_mels=128, f_min=0.0, f_max=11025.0, htk=False):
    """n_mels frequencies in Hz (float64), evenly spaced on the mel scale from f_min to f_max.

    htk=False is the Slaney scale (linear below 1 kHz, logarithmic above), the default of
    mel_filter_bank; htk=True is 2595 log10(1 + f / 700). The bands of mel_filter_bank with
    n_mels bands peak at mel_frequencies(n_mels + 2, f_min, f_max)[1:-1].
    """
    mel_n = count(n_mels, "n_mels")
    lo, hi = real_number(f_min, "f_min"), real_number(f_max, "f_max")
    return _mel_to_hz(np.linspace(_hz_to_mel(lo, htk), _hz_to_mel(hi, htk), mel_n), htk)


def _mel_options(f_min, f_max, sample_rate, norm, mel_scale):
    sr = count(sample_rate, "sample_rate")
    lo = real_number(f_min, "f_min")
    hi = sr / 2.0 if f_max is None else real_number(f_max, "f_max")
    if not (lo >= 0.0 and hi > lo):
        raise ValueError(f"need 0 <= f_min < f_max, got f_min={f_min!r}, f_max={f_max!r}")
    return (lo, hi, sr, option(norm, _options.MEL_NORM, "norm"),
            option(mel_scale, _options.MEL_SCALE, "mel_scale"))


def mel_filter_bank(n_freqs, f_min=0.0, f_max=None, n_mels=128, sample_rate=16000, norm="slaney",
                    mel_scale="slaney"):
    """Mel filter bank of shape (n_mels, n_freqs) over bins from 0 Hz to sample_rate / 2.

    f_max defaults to sample_rate / 2. norm "slaney" (alias "area") scales each triangle by
    2 / (its width in Hz), as norm="slaney" in torchaudio and librosa; None leaves peaks of about 1.
    mel_scale "slaney" (librosa's htk=False) or "htk"; see mel_frequencies for both formulas.
    """
    freq_n = count(n_freqs, "n_freqs")
    mel_n = count(n_mels, "n_mels")
    if mel_n >= freq_n:
        raise ValueError(f"n_mels ({mel_n}) must be smaller than n_freqs ({freq_n})")
    lo, hi, sr, mn, mf = _mel_options(f_min, f_max, sample_rate, norm, mel_scale)
    out = np.empty((mel_n, freq_n), dtype=np.float32)
    call("vorelAudioGetFBMatrix", fptr(out), freq_n, lo, hi, mel_n, sr, mn, mf,
         shown=f"n_freqs={freq_n}, f_min={lo}, f_max={hi}, n_mels={mel_n}, sample_rate={sr}")
    return out


def mel_spectrogram(x, sample_rate=16000, n_fft=400, hop_length=None, win_length=None,
                    window="hann", center="reflect", power=2.0, norm=None, f_min=0.0, f_max=None,
                    n_mels=80, mel_norm="slaney", mel_scale="slaney", axis=-1):
    """Mel spectrogram of real signals along axis: shape (..., n_mels, frames), float32.

    The power spectrogram of spectrogram() (same framing, window, center and norm options; power
    must be >= 0) times mel_filter_bank(n_fft // 2 + 1, f_min, f_max, n_mels, sample_rate,
    mel_norm, mel_scale), whose options mel_norm and mel_scale are. The band and frame axes take
    the place of the signal axis.
    {center}
    {norm}
    """
    a, ax, sample_n = signal_along(x, axis)
    n_fft, hop, win_n, win, c, nt = framing(n_fft, hop_length, win_length, window, center, norm)
    p = power_value(power, allow_none=False)
    mel_n = count(n_mels, "n_mels")
    if mel_n >= n_fft // 2 + 1:
        raise ValueError(f"n_mels ({mel_n}) must be smaller than n_fft // 2 + 1")
    lo, hi, sr, mn, mf = _mel_options(f_min, f_max, sample_rate, mel_norm, mel_scale)
    frames = frame_count(sample_n, n_fft, hop, c)

    def one(item, out):
        if frames > 0:
            call("vorelAudioGetMelSpectrogram", fptr(out), fptr(item), sample_n, sr, n_fft, hop,
                 win_n, win, frames, c, p, nt, lo, hi, mel_n, mn, mf,
                 shown=f"sample_rate={sr}, n_fft={n_fft}, hop_length={hop}, n_mels={mel_n}")
    return from_last(per_item(a, 1, (mel_n, frames), one), ax, 2)


def convert_to_mel(S, fb):
    """Applies a filter bank (n_mels, freq) to real spectra (..., freq, frames)."""
    a = real_array(S, "S", min_ndim=2)
    bank = real_array(fb, "fb", min_ndim=2)
    if bank.ndim != 2 or bank.shape[1] != a.shape[-2]:
        raise ValueError(f"fb must have shape (n_mels, {a.shape[-2]}), got {bank.shape}")
    freq_n = count(a.shape[-2], "number of bins")
    frame_n = count(a.shape[-1], "number of frames")
    mel_n = count(bank.shape[0], "n_mels")
    if mel_n >= freq_n:
        raise ValueError(f"n_mels ({mel_n}) must be smaller than the number of bins ({freq_n})")

    def one(item, out):
        call("vorelAudioConvertToMel", fptr(out), fptr(item), fptr(bank), freq_n, frame_n, mel_n,
             shown=f"freq={freq_n}, frames={frame_n}, n_mels={mel_n}")
    return per_item(a, 2, (mel_n, frame_n), one)


mel_spectrogram.__doc__ = mel_spectrogram.__doc__.format(center=_CENTER_DOC, norm=_NORM_DOC)
