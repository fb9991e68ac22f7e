"""Quality of the rate conversion, measured on tones and set beside scipy.signal.resample_poly
on the same signals: passband flatness up to 0.9 x the lower Nyquist frequency, rejection of
tones above the output Nyquist frequency (aliases) and of upsampling images, and agreement on
a band-limited signal. Run with -s to see the figures."""
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


def tone(freq, rate, n):
    return np.sin(2 * np.pi * freq * np.arange(n) / rate).astype(np.float32)


def amplitudes(y, rate, freqs, edge=400):
    """Amplitudes of the given frequencies by a joint least-squares fit, away from the ends."""
    t = np.arange(len(y))[edge:-edge] / rate
    cols = []
    for f in freqs:
        cols += [np.cos(2 * np.pi * f * t), np.sin(2 * np.pi * f * t)]
    c, *_ = np.linalg.lstsq(np.stack(cols, 1), y[edge:-edge].astype(np.float64), rcond=None)
    return [np.hypot(c[2 * i], c[2 * i + 1]) for i in range(len(freqs))]


def db(v):
    return 20 * np.log10(max(v, 1e-30))


def passband_gains(convert, src_rate, dst_rate):
    nyquist = min(src_rate, dst_rate) / 2
    freqs = np.linspace(100, 0.9 * nyquist, 30)
    gains = np.array([db(amplitudes(convert(tone(f, src_rate, src_rate), src_rate, dst_rate),
                                    dst_rate, [f])[0]) for f in freqs])
    return freqs, gains, nyquist


@pytest.mark.parametrize("src_rate,dst_rate", PAIRS)
def test_passband_is_flat_up_to_090_of_the_lower_nyquist(lib, src_rate, dst_rate):
    freqs, g, nyquist = passband_gains(lambda *a: ours(lib, *a), src_rate, dst_rate)
    _, gs, _ = passband_gains(scipy_poly, src_rate, dst_rate)
    half = freqs <= 0.5 * nyquist
    print(f"\n{src_rate}->{dst_rate} passband dB to 0.9 Nyquist: ours [{g.min():.4f}, "
          f"{g.max():.4f}], scipy [{gs.min():.4f}, {gs.max():.4f}]; to 0.5 Nyquist: ours "
          f"[{g[half].min():.4f}, {g[half].max():.4f}], scipy [{gs[half].min():.4f}, "
          f"{gs[half].max():.4f}]")
    assert np.all(np.abs(g[half]) < 0.01)
    assert g.max() < 0.05
    assert g.min() > -1.5  # the 65-tap window rolls off towards the cutoff
    assert g.min() > gs.min() - 1.0


@pytest.mark.parametrize("src_rate,dst_rate,freq", [
    (44100, 16000, 10000), (44100, 16000, 12000), (48000, 16000, 10000),
    (48000, 16000, 12000), (48000, 16000, 20000)])
def test_tone_above_output_nyquist_is_rejected(lib, src_rate, dst_rate, freq):
    alias = abs(((freq + dst_rate / 2) % dst_rate) - dst_rate / 2)
    x = tone(freq, src_rate, src_rate)
    a = db(amplitudes(ours(lib, x, src_rate, dst_rate), dst_rate, [alias])[0])
    s = db(amplitudes(scipy_poly(x, src_rate, dst_rate), dst_rate, [alias])[0])
    print(f"\n{src_rate}->{dst_rate} tone {freq} Hz, alias at {alias:.0f} Hz: ours {a:.1f} dB, "
          f"scipy {s:.1f} dB")
    assert a < -60
    assert a < s + 10


@pytest.mark.parametrize("freq", [6000, 7000])
def test_upsampling_images_are_rejected(lib, freq):
    src_rate, dst_rate = 16000, 22050
    image = src_rate - freq
    x = tone(freq, src_rate, src_rate)
    a = amplitudes(ours(lib, x, src_rate, dst_rate), dst_rate, [freq, image])
    s = amplitudes(scipy_poly(x, src_rate, dst_rate), dst_rate, [freq, image])
    print(f"\n16000->22050 tone {freq} Hz, image at {image} Hz: ours {db(a[1] / a[0]):.1f} dB, "
          f"scipy {db(s[1] / s[0]):.1f} dB")
    assert db(a[1] / a[0]) < -60


@pytest.mark.parametrize("src_rate,dst_rate", PAIRS)
def test_band_limited_signal_agrees_with_scipy(lib, src_rate, dst_rate):
    rng = np.random.default_rng(src_rate + dst_rate)
    nyquist = min(src_rate, dst_rate) / 2
    t = np.arange(src_rate) / src_rate
    x = sum(a * np.sin(2 * np.pi * f * t + p) for a, f, p in
            zip(rng.uniform(0.1, 0.3, 12), rng.uniform(50, 0.4 * nyquist, 12),
                rng.uniform(0, 6, 12))).astype(np.float32)
    a = ours(lib, x, src_rate, dst_rate)
    b = scipy_poly(x, src_rate, dst_rate)
    assert len(a) == len(b)
    d = (a - b)[500:-500]
    rel = np.sqrt(np.mean(d ** 2) / np.mean(b[500:-500] ** 2))
    print(f"\n{src_rate}->{dst_rate} band-limited: relative RMS difference to scipy {rel:.2e}")
    assert rel < 5e-3


def test_lengths_and_tail(lib):
    n = ctypes.c_int()
    assert lib.vorelAudioGetResampleLen(ctypes.byref(n), 48000, 44100, 44100) == 0
    assert n.value == 48001
    y = ours(lib, tone(440, 44100, 44100) + 2.0, 44100, 48000)
    assert not np.isnan(y).any()
    # Output n stands at input (147 n + 79) // 160 and the walk stops at input 44099.
    computed = sum(1 for k in range(48001) if (147 * k + 79) // 160 <= 44098)
    assert computed == 47999
    assert np.all(y[:computed] != 0.0) and np.all(y[computed:] == 0.0)
