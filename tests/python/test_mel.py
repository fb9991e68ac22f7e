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


SIGNATURES = {
    "vorelAudioGetFBMatrix": [F32, c_int, c_float, c_float, c_int, c_int, c_int, c_int],
    "vorelAudioGetMelSpectrogram": [F32, F32, c_int, c_int, c_int, c_int, c_int, c_int, c_int,
                                    c_int, c_float, c_int, c_float, c_float, c_int, c_int, c_int],
    "vorelAudioConvertToMel": [F32, F32, F32, c_int, c_int, c_int],
    "vorelAudioGetFrameLen": [ctypes.POINTER(c_int), c_int, c_int, c_int, c_int],
}


@pytest.fixture(scope="module")
def mel(lib):
    for name, argtypes in SIGNATURES.items():
        if hasattr(lib, name):
            getattr(lib, name).argtypes = argtypes
    return lib


def fb_matrix(mel, freq_n, f_min, f_max, mel_n, rate, norm, formula):
    out = np.full((mel_n, freq_n), np.nan, dtype=np.float32)
    assert mel.vorelAudioGetFBMatrix(fptr(out), freq_n, f_min, f_max, mel_n, rate, norm,
                                     formula) == 0
    return out


def torch_fb(freq_n, f_min, f_max, mel_n, rate, norm, formula):
    fb = torchaudio.functional.melscale_fbanks(freq_n, f_min, f_max, mel_n, rate,
                                               norm=NORMS[norm], mel_scale=SCALES[formula])
    return fb.T.numpy()


@pytest.mark.parametrize("fft_n", [400, 512, 1024, 2048])
@pytest.mark.parametrize("mel_n", [40, 64, 80, 128])
@pytest.mark.parametrize("rate", [16000, 22050, 44100, 48000])
@pytest.mark.parametrize("formula", [0, 1])
@pytest.mark.parametrize("norm", [0, 1])
def test_filter_bank_matches_torchaudio(mel, fft_n, mel_n, rate, formula, norm):
    freq_n = fft_n // 2 + 1
    if mel_n >= freq_n:
        pytest.skip("more bands than bins")
    # Full range, and inner limits for one size.
    f_min, f_max = (125.0, 7600.0) if (fft_n, rate) == (512, 16000) else (0.0, rate / 2)
    got = fb_matrix(mel, freq_n, f_min, f_max, mel_n, rate, norm, formula)
    want = torch_fb(freq_n, f_min, f_max, mel_n, rate, norm, formula)
    assert_bank_close(got, want, f_min, f_max, mel_n, norm, formula)


def band_edges(f_min, f_max, mel_n, formula):
    """Band edges in Hz, in double."""
    if formula == 1:
        to_mel = lambda f: 2595.0 * np.log10(1.0 + f / 700.0)
        to_hz = lambda m: 700.0 * (10.0 ** (m / 2595.0) - 1.0)
    else:
        step = np.log(6.4) / 27.0
        to_mel = lambda f: f * 0.015 if f < 1000.0 else 15.0 + np.log(f / 1000.0) / step
        to_hz = lambda m: np.where(m < 15.0, m / 0.015, 1000.0 * np.exp((m - 15.0) * step))
    return to_hz(np.linspace(to_mel(f_min), to_mel(f_max), mel_n + 2))


def assert_bank_close(got, want, f_min, f_max, mel_n, norm, formula):
    # A weight is (distance to an edge) / (band width); float edges and bins move it by a
    # few ulps of the frequency over the width, against a peak of 1 before normalisation.
    scale = np.ones((mel_n, 1))
    if norm == 1:
        edge = band_edges(f_min, f_max, mel_n, formula)
        scale = (2.0 / (edge[2:] - edge[:-2]))[:, None]
    assert np.max(np.abs(got - want) / scale) < 5e-5


def frame_len(mel, sample_n, fft_n, hop_n, center):
    n = c_int(0)
    assert mel.vorelAudioGetFrameLen(ctypes.byref(n), sample_n, fft_n, hop_n, center) == 0
    return n.value


def mel_spectrogram(mel, x, rate, fft_n, hop_n, mel_n, power=2.0, f_min=0.0, f_max=None,
                    norm=1, formula=0, win_n=None, center=1):
    win_n = fft_n if win_n is None else win_n
    f_max = rate / 2 if f_max is None else f_max
    frames = frame_len(mel, len(x), fft_n, hop_n, center)
    out = np.full((mel_n, frames), np.nan, dtype=np.float32)
    assert mel.vorelAudioGetMelSpectrogram(fptr(out), fptr(x), len(x), rate, fft_n, hop_n, win_n,
                                           1, frames, center, power, 0, f_min, f_max, mel_n,
                                           norm, formula) == 0
    return out


def make_signal(n, seed):
    rng = np.random.default_rng(seed)
    t = np.arange(n) / 16000.0
    chirp = np.sin(2 * np.pi * (200 + 3000 * t) * t)
    return (0.5 * chirp + 0.1 * rng.standard_normal(n)).astype(np.float32)


def torch_mel(x, rate, fft_n, hop_n, mel_n, power, f_min, f_max, norm, formula, center):
    transform = torchaudio.transforms.MelSpectrogram(
        sample_rate=rate, n_fft=fft_n, win_length=fft_n, hop_length=hop_n, f_min=f_min,
        f_max=f_max, n_mels=mel_n, window_fn=torch.hann_window, power=power, center=center,
        pad_mode="reflect", norm=NORMS[norm], mel_scale=SCALES[formula])
    return transform(torch.from_numpy(x)).numpy()


def torch_power(x, fft_n, hop_n, power, center):
    spectrum = torch.stft(torch.from_numpy(x).double(), fft_n, hop_n,
                      window=torch.hann_window(fft_n, dtype=torch.float64), center=center,
                      pad_mode="reflect", return_complex=True)
    return (spectrum.abs() ** power).numpy()


def assert_mel_close(mel, got, want, x, rate, fft_n, hop_n, mel_n, power, f_min, f_max, norm,
                     formula, center):
    """Our mel equals our bank applied to an exact power spectrogram, to float rounding; the
    rest of the distance to torchaudio is the difference of the two banks' weights."""
    assert got.shape == want.shape
    spectrum = torch_power(x, fft_n, hop_n, power, center == 1)
    freq_n = fft_n // 2 + 1
    ours = fb_matrix(mel, freq_n, f_min, f_max, mel_n, rate, norm, formula).astype(np.float64)
    theirs = torch_fb(freq_n, f_min, f_max, mel_n, rate, norm, formula).astype(np.float64)
    scale = (ours @ spectrum).max(axis=0, keepdims=True)
    assert np.all(np.abs(got - ours @ spectrum) <= 5e-6 * scale)
    assert np.all(np.abs(got - want) <= np.abs(ours - theirs) @ spectrum + 1e-5 * scale)


@pytest.mark.parametrize("formula", [0, 1])
@pytest.mark.parametrize("norm", [0, 1])
def test_whisper_style_matches_torchaudio(mel, formula, norm):
    x = make_signal(16000 * 5, 1)
    got = mel_spectrogram(mel, x, 16000, 400, 160, 80, norm=norm, formula=formula)
    want = torch_mel(x, 16000, 400, 160, 80, 2.0, 0.0, 8000.0, norm, formula, True)
    assert_mel_close(mel, got, want, x, 16000, 400, 160, 80, 2.0, 0.0, 8000.0, norm, formula, 1)


@pytest.mark.parametrize("fft_n,hop_n,mel_n,power,center",
                         [(512, 128, 128, 2.0, 1), (1024, 256, 64, 1.0, 1), (400, 160, 40, 2.0, 0)])
def test_other_shapes_match_torchaudio(mel, fft_n, hop_n, mel_n, power, center):
    x = make_signal(22050 * 2, 2)
    got = mel_spectrogram(mel, x, 22050, fft_n, hop_n, mel_n, power=power, f_min=30.0,
                          f_max=9000.0, norm=0, formula=1, center=center)
    want = torch_mel(x, 22050, fft_n, hop_n, mel_n, power, 30.0, 9000.0, 0, 1, center == 1)
    assert_mel_close(mel, got, want, x, 22050, fft_n, hop_n, mel_n, power, 30.0, 9000.0, 0, 1, center)
