"""Windows, spectrograms, their inverse and complex norms against scipy, torch and numpy."""
import ctypes

import numpy as np
import pytest
import scipy.signal
import torch

from conftest import fptr

c_int = ctypes.c_int


def window(lib, n, win_type):
    out = np.zeros(n, np.float32)
    assert lib.vorelAudioGetWindow(fptr(out), n, win_type) == 0
    return out


def frame_len(lib, sample_n, fft_n, hop_n, center):
    n = c_int(-1)
    assert lib.vorelAudioGetFrameLen(ctypes.byref(n), sample_n, fft_n, hop_n, center) == 0
    return n.value


def spectrogram(lib, x, fft_n, hop_n, win_n, win_type, center, power, norm_type, max_frame_n=None):
    frames = frame_len(lib, len(x), fft_n, hop_n, center)
    max_frame_n = max_frame_n or frames
    freq_n = fft_n // 2 + 1
    out = np.full((freq_n, max_frame_n, 2), np.nan, np.float32)
    status = lib.vorelAudioGetSpectrogram(
        fptr(out), fptr(x), len(x), fft_n, hop_n, win_n, win_type, max_frame_n, center,
        ctypes.c_float(power), norm_type)
    assert status == 0
    return out[..., 0] + 1j * out[..., 1].astype(np.complex128), out


def inverse(lib, spectrum, hop_n, win_n, win_type, center, norm_type, max_sample_n=None):
    freq_n, frame_n = spectrum.shape
    n = c_int(-1)
    assert lib.vorelAudioGetSampleLen(ctypes.byref(n), frame_n, freq_n, hop_n, center) == 0
    max_sample_n = max_sample_n or n.value
    src = np.stack([spectrum.real, spectrum.imag], axis=-1).astype(np.float32)
    out = np.zeros(max_sample_n, np.float32)
    status = lib.vorelAudioGetInverseSpectrogram(
        fptr(out), fptr(src), frame_n, freq_n, hop_n, win_n, win_type, max_sample_n, center,
        norm_type)
    assert status == 0
    return out


@pytest.fixture(scope="module")
def signal():
    rng = np.random.default_rng(7)
    t = np.arange(16000) / 16000
    x = 0.5 * np.sin(2 * np.pi * 440 * t) + 0.2 * rng.standard_normal(t.size)
    return x.astype(np.float32)


@pytest.mark.parametrize("n", [2, 7, 400, 512])
def test_windows_are_periodic(lib, n):
    np.testing.assert_allclose(window(lib, n, 1), scipy.signal.get_window("hann", n), atol=2e-7)
    np.testing.assert_allclose(window(lib, n, 2), scipy.signal.get_window("hamming", n), atol=2e-7)
    np.testing.assert_allclose(window(lib, n, 1), torch.hann_window(n, dtype=torch.float64), atol=2e-7)


@pytest.mark.parametrize("center,boundary", [(1, "even"), (2, "zeros")])
@pytest.mark.parametrize("fft_n,hop_n", [(400, 160), (512, 128), (63, 20)])
def test_scipy_norm_matches_scipy_with_hann(lib, signal, center, boundary, fft_n, hop_n):
    # With a periodic Hann window 2/fft_n is 1/sum(window), scipy's own scaling.
    ours, _ = spectrogram(lib, signal, fft_n, hop_n, fft_n, 1, center, 0.0, 2)
    _, _, ref = scipy.signal.stft(signal.astype(np.float64), nperseg=fft_n, noverlap=fft_n - hop_n,
                                  window="hann", boundary=boundary, padded=False)
    frames = min(ours.shape[1], ref.shape[1])
    assert frames >= ours.shape[1] - 1
    err = np.abs(ours[:, :frames] - ref[:, :frames]).max()
    assert err < 2e-6 * np.abs(ref).max() * np.sqrt(fft_n)
    if fft_n % 2 == 0:
        assert np.isclose(2 / fft_n, 1 / scipy.signal.get_window("hann", fft_n).sum())


@pytest.mark.parametrize("win_n", [400, 300, 301])
@pytest.mark.parametrize("win_type", [1, 2])
def test_matches_torch_stft(lib, signal, win_n, win_type):
    fft_n, hop_n = 400, 160
    ours, _ = spectrogram(lib, signal, fft_n, hop_n, win_n, win_type, 1, 0.0, 0)
    win = (torch.hann_window if win_type == 1 else torch.hamming_window)(win_n, dtype=torch.float64)
    ref = torch.stft(torch.from_numpy(signal.astype(np.float64)), fft_n, hop_n, win_n, win,
                     center=True, pad_mode="reflect", return_complex=True).numpy()
    assert ref.shape == ours.shape
    assert np.abs(ours - ref).max() < 2e-6 * np.abs(ref).max() * np.sqrt(fft_n)
    # norm_type 1 is the same spectrum divided by the root of the summed window squares.
    scaled, _ = spectrogram(lib, signal, fft_n, hop_n, win_n, win_type, 1, 0.0, 1)
    factor = 1 / np.sqrt((win.numpy() ** 2).sum())
    assert np.abs(scaled - ref * factor).max() < 2e-6 * np.abs(ref * factor).max() * np.sqrt(fft_n)


@pytest.mark.parametrize("fft_n", [400, 512])
@pytest.mark.parametrize("norm_type", [0, 2, 1])
def test_round_trip_and_torch_istft(lib, signal, fft_n, norm_type):
    hop_n = fft_n // 4
    spectrum, _ = spectrogram(lib, signal, fft_n, hop_n, fft_n, 1, 1, 0.0, norm_type)
    back = inverse(lib, spectrum, hop_n, fft_n, 1, 1, norm_type)
    # norm_type 1 has no inverse factor: the forward one stays in the result.
    factor = 1 / np.sqrt((scipy.signal.get_window("hann", fft_n) ** 2).sum()) if norm_type == 1 else 1.0
    inner = slice(fft_n, len(back) - fft_n)
    assert np.abs(back[inner] - signal[inner] * factor).max() < 1e-5 * factor
    if norm_type == 0:
        win = torch.hann_window(fft_n, dtype=torch.float64)
        ref = torch.istft(torch.from_numpy(spectrum), fft_n, hop_n, fft_n, win, center=True,
                          length=len(back)).numpy()
        assert np.abs(back[inner] - ref[inner]).max() < 1e-5


def test_complex_norm_and_magphase(lib):
    rng = np.random.default_rng(3)
    z = (rng.standard_normal((5, 40)) + 1j * rng.standard_normal((5, 40))).astype(np.complex64)
    src = np.ascontiguousarray(np.stack([z.real, z.imag], axis=-1))
    norm = np.zeros(z.size, np.float32)
    assert lib.vorelAudioComplexNorm(fptr(norm), fptr(src), z.size, ctypes.c_float(1.5)) == 0
    np.testing.assert_allclose(norm, np.abs(z.ravel().astype(np.complex128)) ** 1.5, rtol=3e-6)
    mag = np.zeros(z.shape, np.float32)
    ang = np.zeros(z.shape, np.float32)
    phasor = np.zeros(z.shape + (2,), np.float32)
    assert lib.vorelAudioMagPhase(fptr(mag), fptr(ang), fptr(src), 5, 40, ctypes.c_float(1.0), 0) == 0
    assert lib.vorelAudioMagPhase(fptr(mag), fptr(phasor), fptr(src), 5, 40, ctypes.c_float(1.0), 1) == 0
    np.testing.assert_allclose(mag, np.abs(z), rtol=3e-6)
    np.testing.assert_allclose(ang, np.angle(z.astype(np.complex128)), atol=3e-6)
    unit = z.astype(np.complex128) / np.abs(z)
    np.testing.assert_allclose(phasor[..., 0], unit.real, atol=3e-6)
    np.testing.assert_allclose(phasor[..., 1], unit.imag, atol=3e-6)
