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
    f_max = rate / 2
    got = fb_matrix(mel, freq_n, 0.0, f_max, mel_n, rate, norm, formula)
    want = torch_fb(freq_n, 0.0, f_max, mel_n, rate, norm, formula)
    assert_bank_close(got, want, 0.0, f_max, mel_n, norm, formula)


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


@pytest.mark.parametrize("formula", [0, 1])
def test_filter_bank_with_inner_limits(mel, formula):
    got = fb_matrix(mel, 257, 125.0, 7600.0, 40, 16000, 1, formula)
    want = torch_fb(257, 125.0, 7600.0, 40, 16000, 1, formula)
    assert_bank_close(got, want, 125.0, 7600.0, 40, 1, formula)


def test_worked_case(mel):
    slaney = fb_matrix(mel, 5, 0.0, 8000.0, 2, 16000, 0, 0)
    htk = fb_matrix(mel, 5, 0.0, 8000.0, 2, 16000, 0, 1)
    np.testing.assert_allclose(slaney, [[0, 0.4569, 0, 0, 0], [0, 0.5431, 0.7747, 0.3873, 0]],
                               atol=1e-4)
    np.testing.assert_allclose(htk, [[0, 0.4947, 0, 0, 0], [0, 0.5053, 0.8090, 0.4045, 0]],
                               atol=1e-4)
    assert np.signbit(slaney[0, 0]) and np.signbit(htk[0, 0])


def test_repeat_and_signed_zero_give_same_bytes(mel):
    a = fb_matrix(mel, 201, 0.0, 8000.0, 80, 16000, 1, 0)
    b = fb_matrix(mel, 201, 0.0, 8000.0, 80, 16000, 1, 0)
    c = fb_matrix(mel, 201, -0.0, 8000.0, 80, 16000, 1, 0)
    assert a.tobytes() == b.tobytes() == c.tobytes()
