"""Mel filter banks and mel spectrograms against torchaudio."""
import ctypes

import numpy as np
import pytest
import torch
import torchaudio

from conftest import fptr

c_int, c_float = ctypes.c_int, ctypes.c_float
F32 = ctypes.POINTER(ctypes.c_float)
SCALES = {0: "slaney", 1: "htk"}
NORMS = {0: None, 1: "slaney"}


@pytest.fixture(scope="module")
def mel(lib):
    lib.vorelAudioGetFBMatrix.argtypes = [F32, c_int, c_float, c_float, c_int, c_int, c_int, c_int]
    lib.vorelAudioGetMelSpectrogram.argtypes = [F32, F32] + [c_int] * 8 + [c_float, c_int, c_float, c_float] + [c_int] * 3
    return lib


def banks(mel, freq_n, f_min, f_max, mel_n, rate, norm, formula):
    """Ours and torchaudio's, and the scale of a band's peak: 1, or 2 / (width in Hz) with area norm."""
    ours = np.full((mel_n, freq_n), np.nan, dtype=np.float32)
    assert mel.vorelAudioGetFBMatrix(fptr(ours), freq_n, f_min, f_max, mel_n, rate, norm, formula) == 0
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
def test_filter_bank_matches_torchaudio(mel, fft_n, mel_n, rate, f_min, f_max, formula, norm):
    # A weight is (distance to an edge) / (band width); float edges and bins move it by a few
    # ulps of the frequency over the width, against a peak of 1 before normalisation.
    ours, theirs, scale = banks(mel, fft_n // 2 + 1, f_min, f_max, mel_n, rate, norm, formula)
    assert np.max(np.abs(ours - theirs) / scale) < 5e-5


@pytest.mark.parametrize("rate,fft_n,hop_n,mel_n,power,f_min,f_max,norm,formula,center", [
    (16000, 400, 160, 80, 2.0, 0.0, 8000.0, 1, 0, 1), (16000, 400, 160, 80, 2.0, 0.0, 8000.0, 0, 1, 1),
    (22050, 512, 128, 128, 2.0, 30.0, 9000.0, 0, 1, 1), (22050, 1024, 256, 64, 1.0, 30.0, 9000.0, 1, 0, 1),
    (22050, 400, 160, 40, 2.0, 30.0, 9000.0, 0, 1, 0)])
def test_mel_spectrogram_matches_torchaudio(mel, rate, fft_n, hop_n, mel_n, power, f_min, f_max, norm, formula,
                                            center):
    rng = np.random.default_rng(fft_n)
    t = np.arange(rate * 3) / 16000.0
    x = (0.5 * np.sin(2 * np.pi * (200 + 3000 * t) * t) + 0.1 * rng.standard_normal(t.size)).astype(np.float32)
    frames = len(x) // hop_n + 1 if center else (len(x) - fft_n) // hop_n + 1
    got = np.full((mel_n, frames), np.nan, dtype=np.float32)
    assert mel.vorelAudioGetMelSpectrogram(fptr(got), fptr(x), len(x), rate, fft_n, hop_n, fft_n, 1, frames, center,
                                           power, 0, f_min, f_max, mel_n, norm, formula) == 0
    want = torchaudio.transforms.MelSpectrogram(
        sample_rate=rate, n_fft=fft_n, hop_length=hop_n, f_min=f_min, f_max=f_max, n_mels=mel_n, power=power,
        center=center == 1, pad_mode="reflect", norm=NORMS[norm], mel_scale=SCALES[formula])(torch.from_numpy(x)).numpy()
    assert got.shape == want.shape
    # Ours equals our bank applied to an exact power spectrogram, to float rounding; the rest of
    # the distance to torchaudio is the difference of the two banks' weights.
    spectrum = (torch.stft(torch.from_numpy(x).double(), fft_n, hop_n, window=torch.hann_window(fft_n, dtype=torch.float64),
                           center=center == 1, pad_mode="reflect", return_complex=True).abs() ** power).numpy()
    ours, theirs, _ = banks(mel, fft_n // 2 + 1, f_min, f_max, mel_n, rate, norm, formula)
    exact = ours.astype(np.float64) @ spectrum
    scale = exact.max(axis=0, keepdims=True)
    assert np.all(np.abs(got - exact) <= 5e-6 * scale)
    assert np.all(np.abs(got - want) <= np.abs(ours.astype(np.float64) - theirs) @ spectrum + 1e-5 * scale)
