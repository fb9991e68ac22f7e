"""Quality of the rate conversion on tones, set beside scipy.signal.resample_poly on the same
signals: passband flatness up to 0.9 x the lower Nyquist frequency, rejection of aliases and
upsampling images, and agreement on a band-limited signal. Run with -s to see the figures."""
import ctypes
from math import gcd

import numpy as np
import pytest
from scipy.signal import resample_poly

from conftest import fptr

PAIRS = [(44100, 16000), (48000, 16000), (16000, 22050)]


def ours(lib, x, src_rate, dst_rate):
    n = ctypes.c_int()
    assert lib.vorelAudioGetResampleLen(ctypes.byref(n), dst_rate, len(x), src_rate) == 0
    y = np.full(n.value, np.nan, np.float32)
    assert lib.vorelAudioResample(fptr(y), fptr(x), dst_rate, n.value, src_rate, len(x)) == 0
    return y


def scipy_poly(x, src_rate, dst_rate):
    g = gcd(src_rate, dst_rate)
    return resample_poly(x.astype(np.float64), dst_rate // g, src_rate // g)


def tone(freq, rate):
    return np.sin(2 * np.pi * freq * np.arange(rate) / rate).astype(np.float32)


def amplitude(y, rate, freq, edge=400):
    """Amplitude of one frequency by a least-squares fit, away from the ends."""
    t = np.arange(len(y))[edge:-edge] / rate
    basis = np.stack([np.cos(2 * np.pi * freq * t), np.sin(2 * np.pi * freq * t)], 1)
    c, *_ = np.linalg.lstsq(basis, y[edge:-edge].astype(np.float64), rcond=None)
    return 20 * np.log10(max(np.hypot(*c), 1e-30))


@pytest.mark.parametrize("src_rate,dst_rate", PAIRS)
def test_passband_is_flat_up_to_090_of_the_lower_nyquist(lib, src_rate, dst_rate):
    nyquist = min(src_rate, dst_rate) / 2
    freqs = np.linspace(100, 0.9 * nyquist, 30)
    g, gs = (np.array([amplitude(convert(tone(f, src_rate), src_rate, dst_rate), dst_rate, f)
                       for f in freqs]) for convert in (lambda *a: ours(lib, *a), scipy_poly))
    print(f"\n{src_rate}->{dst_rate} passband dB to 0.9 Nyquist: ours [{g.min():.4f}, "
          f"{g.max():.4f}], scipy [{gs.min():.4f}, {gs.max():.4f}]")
    assert np.all(np.abs(g[freqs <= 0.5 * nyquist]) < 0.01) and g.max() < 0.05
    # The 65-tap window rolls off towards the cutoff, at most 1 dB beyond scipy's.
    assert max(-1.5, gs.min() - 1.0) < g.min()


# A tone above the output Nyquist frequency folds to an alias; a tone upsampled leaves an image
# at src_rate - freq. Both must stay 60 dB below the unit tone.
@pytest.mark.parametrize("src_rate,dst_rate,freq,unwanted", [
    (44100, 16000, 10000, 6000), (44100, 16000, 12000, 4000), (48000, 16000, 10000, 6000),
    (48000, 16000, 12000, 4000), (48000, 16000, 20000, 4000), (16000, 22050, 6000, 10000),
    (16000, 22050, 7000, 9000)])
def test_aliases_and_images_are_rejected(lib, src_rate, dst_rate, freq, unwanted):
    x = tone(freq, src_rate)
    a = amplitude(ours(lib, x, src_rate, dst_rate), dst_rate, unwanted)
    s = amplitude(scipy_poly(x, src_rate, dst_rate), dst_rate, unwanted)
    print(f"\n{src_rate}->{dst_rate} tone {freq} Hz, unwanted {unwanted} Hz: ours {a:.1f} dB, "
          f"scipy {s:.1f} dB")
    assert a < -60
    assert a < s + 10


@pytest.mark.parametrize("src_rate,dst_rate", PAIRS)
def test_band_limited_signal_agrees_with_scipy(lib, src_rate, dst_rate):
    rng = np.random.default_rng(src_rate + dst_rate)
    t = np.arange(src_rate) / src_rate
    x = sum(a * np.sin(2 * np.pi * f * t + p) for a, f, p in
            zip(rng.uniform(0.1, 0.3, 12), rng.uniform(50, 0.2 * min(src_rate, dst_rate), 12),
                rng.uniform(0, 6, 12))).astype(np.float32)
    a, b = ours(lib, x, src_rate, dst_rate), scipy_poly(x, src_rate, dst_rate)
    assert len(a) == len(b)
    rel = np.sqrt(np.mean((a - b)[500:-500] ** 2) / np.mean(b[500:-500] ** 2))
    print(f"\n{src_rate}->{dst_rate} band-limited: relative RMS difference to scipy {rel:.2e}")
    assert rel < 5e-3
