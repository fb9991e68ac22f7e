"""Quality of the rate conversion on tones, set beside scipy.signal.resample_poly on the same
signals: passband flatness up to 0.9 x the lower Nyquist frequency, rejection of aliases and
upsampling images, and agreement on a band-limited signal. Run with -s to see the figures."""
from math import gcd

import numpy as np
import pytest
from scipy.signal import resample_poly
from scipy.signal.windows import hann

import vorel_audio as va

PAIRS = [(44100, 16000), (48000, 16000), (16000, 22050)]
ours = va.resample


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
def test_passband_is_flat_up_to_090_of_the_lower_nyquist(src_rate, dst_rate):
    nyquist = min(src_rate, dst_rate) / 2
    freqs = np.linspace(100, 0.9 * nyquist, 30)
    g, gs = (np.array([amplitude(convert(tone(f, src_rate), src_rate, dst_rate), dst_rate, f)
                       for f in freqs]) for convert in (ours, scipy_poly))
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
def test_aliases_and_images_are_rejected(src_rate, dst_rate, freq, unwanted):
    x = tone(freq, src_rate)
    a = amplitude(ours(x, src_rate, dst_rate), dst_rate, unwanted)
    s = amplitude(scipy_poly(x, src_rate, dst_rate), dst_rate, unwanted)
    print(f"\n{src_rate}->{dst_rate} tone {freq} Hz, unwanted {unwanted} Hz: ours {a:.1f} dB, "
          f"scipy {s:.1f} dB")
    assert a < -60
    assert a < s + 10


@pytest.mark.parametrize("src_rate,dst_rate", PAIRS)
def test_band_limited_signal_agrees_with_scipy(src_rate, dst_rate):
    rng = np.random.default_rng(src_rate + dst_rate)
    t = np.arange(src_rate) / src_rate
    x = sum(a * np.sin(2 * np.pi * f * t + p) for a, f, p in
            zip(rng.uniform(0.1, 0.3, 12), rng.uniform(50, 0.2 * min(src_rate, dst_rate), 12),
                rng.uniform(0, 6, 12))).astype(np.float32)
    a, b = ours(x, src_rate, dst_rate), scipy_poly(x, src_rate, dst_rate)
    assert len(a) == len(b)
    rel = np.sqrt(np.mean((a - b)[500:-500] ** 2) / np.mean(b[500:-500] ** 2))
    print(f"\n{src_rate}->{dst_rate} band-limited: relative RMS difference to scipy {rel:.2e}")
    assert rel < 5e-3


@pytest.mark.parametrize("src_rate,dst_rate,offset", [
    (16000, 32000, -0.25), (44100, 16000, -0.003125), (22050, 16000, -0.0015625),  # even up
    (16000, 48000, 0.0), (48000, 16000, 0.0), (8000, 12000, 0.0), (16000, 16000, 0.0)])  # odd up
def test_output_phase_is_as_documented(src_rate, dst_rate, offset):
    """Output n stands at input time n * down / up, less 0.5 / up for even up: fit the phase of a tone."""
    g = gcd(src_rate, dst_rate)
    up, down = dst_rate // g, src_rate // g
    w = 2 * np.pi * 440.0 / src_rate
    y = ours(np.sin(w * np.arange(src_rate)).astype(np.float32), src_rate, dst_rate)[500:-500]
    t = np.arange(500, 500 + y.size) * down / up
    (c_sin, c_cos), *_ = np.linalg.lstsq(np.stack([np.sin(w * t), np.cos(w * t)], 1), y, rcond=None)
    assert np.arctan2(c_cos, c_sin) / w == pytest.approx(offset, abs=1e-6)


def test_scipy_resample_methods_case():
    """scipy's resample_poly case: Hann-windowed tones and a random walk at 100 Hz to rates around 50, 100
    and 200 Hz correlate above 0.99 with the ideal result, tones beyond the new Nyquist vanish (1e-3).
    The ideal result is taken at the documented output times (0.5 / up input samples early for even up:
    at 100 -> 200 Hz the 40 Hz tone correlates only 0.81 with the unshifted one)."""
    t = np.arange(100) / 100.0
    freqs = np.array((1.0, 10.0, 40.0))[:, None]
    tones = np.sin(2 * np.pi * freqs * t) * hann(100)
    walk = hann(100) * np.cumsum(np.random.RandomState(0).randn(100))
    for rate_to in [49, 50, 51, 99, 100, 101, 199, 200, 201]:
        up, down = rate_to // gcd(rate_to, 100), 100 // gcd(rate_to, 100)
        t_to = (np.arange(rate_to) * down / up - (0.5 / up if up % 2 == 0 else 0.0)) / 100.0
        got = ours(tones, 100, rate_to)
        assert got.shape == (3, rate_to)
        for want, y, freq in zip(np.sin(2 * np.pi * freqs * t_to) * hann(rate_to), got, freqs[:, 0]):
            if freq >= 0.5 * rate_to:
                np.testing.assert_allclose(y, 0.0, atol=1e-3)
            else:
                assert np.corrcoef(want, y)[0, 1] > 0.99
        assert np.corrcoef(np.interp(t_to, t, walk), ours(walk, 100, rate_to))[0, 1] > 0.99
