"""Mel filter banks, mel frequencies and mel spectrograms against torchaudio and worked numbers."""
import numpy as np
import pytest
import torch
import torchaudio

import vorel_audio as va

SCALES = {0: "slaney", 1: "htk"}
NORMS = {0: None, 1: "slaney"}


def banks(freq_n, f_min, f_max, mel_n, rate, norm, formula):
    """Ours and torchaudio's, and the scale of a band's peak: 1, or 2 / (width in Hz) with area norm."""
    ours = va.mel_filter_bank(freq_n, f_min, f_max, mel_n, rate, norm=NORMS[norm], mel_scale=SCALES[formula])
    theirs = torchaudio.functional.melscale_fbanks(freq_n, f_min, f_max, mel_n, rate, norm=NORMS[norm],
                                                   mel_scale=SCALES[formula]).T.numpy()
    if formula == 1:
        to_mel, to_hz = lambda f: 2595.0 * np.log10(1.0 + f / 700.0), lambda m: 700.0 * (10.0 ** (m / 2595.0) - 1.0)
    else:
        step = np.log(6.4) / 27.0
        to_mel = lambda f: f * 0.015 if f < 1000.0 else 15.0 + np.log(f / 1000.0) / step
        to_hz = lambda m: np.where(m < 15.0, m / 0.015, 1000.0 * np.exp((m - 15.0) * step))
    edge = to_hz(np.linspace(to_mel(f_min), to_mel(f_max), mel_n + 2))
    return ours, theirs, (2.0 / (edge[2:] - edge[:-2]))[:, None] if norm else np.ones((mel_n, 1))


# Speech, music and wide-band shapes, inner limits, and f_max at twice Nyquist (empty top bands).
@pytest.mark.parametrize("fft_n,mel_n,rate,f_min,f_max", [
    (400, 80, 16000, 0, 8000), (512, 40, 16000, 125, 7600), (1024, 128, 22050, 0, 11025),
    (2048, 64, 48000, 0, 24000), (2048, 128, 44100, 30, 9000), (64, 20, 16000, 0, 16000)])
@pytest.mark.parametrize("formula", [0, 1])
@pytest.mark.parametrize("norm", [0, 1])
def test_filter_bank_matches_torchaudio(fft_n, mel_n, rate, f_min, f_max, formula, norm):
    # A weight is (distance to an edge) / (band width); float edges and bins move it by a few
    # ulps of the frequency over the width, against a peak of 1 before normalisation.
    ours, theirs, scale = banks(fft_n // 2 + 1, f_min, f_max, mel_n, rate, norm, formula)
    assert np.max(np.abs(ours - theirs) / scale) < 5e-5
    # The bands peak at the inner mel frequencies: each band's largest weight sits on one of the two bins
    # around its centre (for bands wider than a bin).
    centres = va.mel_frequencies(mel_n + 2, f_min, f_max, htk=formula == 1)[1:-1]
    peak_bins = np.argmax(ours, axis=1) * (rate / fft_n)
    wide = (np.max(ours, axis=1) > 0) & (centres < rate / 2)
    assert np.all(np.abs(peak_bins - centres)[wide] <= rate / fft_n)


@pytest.mark.parametrize("htk,hz,mels,hz_of_mel", [
    (False, 1000.0, 15, lambda m: m * 200 / 3),                      # linear below 1 kHz
    (False, 6400.0, 42, lambda m: np.where(m < 15, m * 200 / 3, 1000 * 6.4 ** ((m - 15) / 27))),
    (True, 6300.0, 2595, lambda m: 700 * (10 ** (m / 2595) - 1))])  # 2595 log10(1 + f / 700)
def test_mel_frequencies_step_one_mel_on_worked_scales(htk, hz, mels, hz_of_mel):
    np.testing.assert_allclose(va.mel_frequencies(mels + 1, 0.0, hz, htk=htk), hz_of_mel(np.arange(mels + 1.0)),
                               rtol=1e-12, atol=1e-9)


@pytest.mark.parametrize("rate,fft_n,hop_n,mel_n,power,f_min,f_max,norm,formula,center", [
    (16000, 400, 160, 80, 2.0, 0.0, 8000.0, 1, 0, 1), (16000, 400, 160, 80, 2.0, 0.0, 8000.0, 0, 1, 1),
    (22050, 512, 128, 128, 2.0, 30.0, 9000.0, 0, 1, 1), (22050, 1024, 256, 64, 1.0, 30.0, 9000.0, 1, 0, 1),
    (22050, 400, 160, 40, 2.0, 30.0, 9000.0, 0, 1, 0)])
def test_mel_spectrogram_matches_torchaudio(rate, fft_n, hop_n, mel_n, power, f_min, f_max, norm, formula,
                                            center):
    rng = np.random.default_rng(fft_n)
    t = np.arange(rate * 3) / 16000.0
    x = (0.5 * np.sin(2 * np.pi * (200 + 3000 * t) * t) + 0.1 * rng.standard_normal(t.size)).astype(np.float32)
    got = va.mel_spectrogram(x, rate, fft_n, hop_n, center=center == 1, power=power, f_min=f_min, f_max=f_max,
                             n_mels=mel_n, mel_norm=NORMS[norm], mel_scale=SCALES[formula])
    want = torchaudio.transforms.MelSpectrogram(
        sample_rate=rate, n_fft=fft_n, hop_length=hop_n, f_min=f_min, f_max=f_max, n_mels=mel_n, power=power,
        center=center == 1, pad_mode="reflect", norm=NORMS[norm], mel_scale=SCALES[formula]
    )(torch.from_numpy(x)).numpy()
    assert got.shape == want.shape
    # Ours equals our bank applied to an exact power spectrogram, to float rounding; the rest of
    # the distance to torchaudio is the difference of the two banks' weights.
    window = torch.hann_window(fft_n, dtype=torch.float64)
    spectrum = (torch.stft(torch.from_numpy(x).double(), fft_n, hop_n, window=window, center=center == 1,
                           pad_mode="reflect", return_complex=True).abs() ** power).numpy()
    ours, theirs, _ = banks(fft_n // 2 + 1, f_min, f_max, mel_n, rate, norm, formula)
    exact = ours.astype(np.float64) @ spectrum
    scale = exact.max(axis=0, keepdims=True)
    assert np.all(np.abs(got - exact) <= 5e-6 * scale)
    assert np.all(np.abs(got - want) <= np.abs(ours.astype(np.float64) - theirs) @ spectrum + 1e-5 * scale)
    # The same bank applied to the package's own power spectrogram gives the same numbers.
    spectrum = va.spectrogram(x, fft_n, hop_n, center=center == 1, power=power)
    np.testing.assert_allclose(va.convert_to_mel(spectrum, ours), got, rtol=1e-5, atol=1e-6 * got.max())
