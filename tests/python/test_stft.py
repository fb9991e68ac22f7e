"""Windows, spectrograms and their inverse against scipy and torch."""
import ctypes

import numpy as np
import pytest
import scipy.signal
import torch

from conftest import fptr


def window(lib, n, win_type):
    out = np.zeros(n, np.float32)
    assert lib.vorelAudioGetWindow(fptr(out), n, win_type) == 0
    return out


def spectrogram(lib, x, fft_n, hop_n, win_n, win_type, center, norm_type):
    frames = ctypes.c_int(-1)
    assert lib.vorelAudioGetFrameLen(ctypes.byref(frames), len(x), fft_n, hop_n, center) == 0
    out = np.full((fft_n // 2 + 1, frames.value, 2), np.nan, np.float32)
    assert lib.vorelAudioGetSpectrogram(fptr(out), fptr(x), len(x), fft_n, hop_n, win_n, win_type,
                                        frames.value, center, ctypes.c_float(0.0), norm_type) == 0
    return out[..., 0] + 1j * out[..., 1].astype(np.complex128)


@pytest.fixture(scope="module")
def signal():
    rng = np.random.default_rng(7)
    t = np.arange(16000) / 16000
    return (0.5 * np.sin(2 * np.pi * 440 * t) + 0.2 * rng.standard_normal(t.size)).astype(np.float32)


@pytest.mark.parametrize("n", [2, 7, 400, 512])
def test_windows_are_periodic(lib, n):
    np.testing.assert_allclose(window(lib, n, 1), scipy.signal.get_window("hann", n), atol=2e-7)
    np.testing.assert_allclose(window(lib, n, 2), scipy.signal.get_window("hamming", n), atol=2e-7)
    np.testing.assert_allclose(window(lib, n, 1), torch.hann_window(n, dtype=torch.float64), atol=2e-7)


@pytest.mark.parametrize("fft_n,hop_n,win_n,win_type,center", [
    (400, 160, 400, 1, 1), (400, 160, 301, 2, 1), (400, 160, 300, 1, 2), (512, 128, 512, 1, 2), (63, 20, 63, 1, 1)])
def test_spectrogram_matches_torch_and_scipy(lib, signal, fft_n, hop_n, win_n, win_type, center):
    win = (torch.hann_window if win_type == 1 else torch.hamming_window)(win_n, dtype=torch.float64)
    ref = torch.stft(torch.from_numpy(signal.astype(np.float64)), fft_n, hop_n, win_n, win, center=True,
                     pad_mode="reflect" if center == 1 else "constant", return_complex=True).numpy()
    # Norm 1 divides by the root of the summed window squares, norm 2 multiplies by 2 / fft_n.
    for norm_type, factor in [(0, 1.0), (1, 1 / np.sqrt((win.numpy() ** 2).sum())), (2, 2 / fft_n)]:
        ours = spectrogram(lib, signal, fft_n, hop_n, win_n, win_type, center, norm_type)
        # With an odd frame torch pads one sample less and may count one frame fewer.
        assert ours.shape[1] - ref.shape[1] in (0, fft_n % 2)
        assert np.abs(ours[:, :ref.shape[1]] - ref * factor).max() < 2e-6 * np.abs(ref * factor).max() * np.sqrt(fft_n)
    if win_n == fft_n:  # with a periodic Hann window 2 / fft_n is scipy's own 1 / sum(window)
        _, _, theirs = scipy.signal.stft(signal.astype(np.float64), nperseg=fft_n, noverlap=fft_n - hop_n,
                                         window="hann", boundary="even" if center == 1 else "zeros", padded=False)
        frames = min(ours.shape[1], theirs.shape[1])
        assert frames >= ours.shape[1] - 1
        assert np.abs(ours[:, :frames] - theirs[:, :frames]).max() < 2e-6 * np.abs(theirs).max() * np.sqrt(fft_n)


@pytest.mark.parametrize("fft_n,norm_type", [(400, 0), (512, 0), (400, 1), (512, 2)])
def test_round_trip_and_torch_istft(lib, signal, fft_n, norm_type):
    hop_n = fft_n // 4
    spectrum = spectrogram(lib, signal, fft_n, hop_n, fft_n, 1, 1, norm_type)
    n = ctypes.c_int(-1)
    assert lib.vorelAudioGetSampleLen(ctypes.byref(n), spectrum.shape[1], spectrum.shape[0], hop_n, 1) == 0
    src = np.stack([spectrum.real, spectrum.imag], axis=-1).astype(np.float32)
    back = np.zeros(n.value, np.float32)
    assert lib.vorelAudioGetInverseSpectrogram(fptr(back), fptr(src), spectrum.shape[1], spectrum.shape[0], hop_n,
                                               fft_n, 1, n.value, 1, norm_type) == 0
    # norm_type 1 has no inverse factor: the forward one stays in the result.
    factor = 1 / np.sqrt((scipy.signal.get_window("hann", fft_n) ** 2).sum()) if norm_type == 1 else 1.0
    inner = slice(fft_n, len(back) - fft_n)
    assert np.abs(back[inner] - signal[inner] * factor).max() < 1e-5 * factor
    if norm_type == 0:
        ref = torch.istft(torch.from_numpy(spectrum), fft_n, hop_n, fft_n, torch.hann_window(fft_n, dtype=torch.float64),
                          center=True, length=len(back)).numpy()
        assert np.abs(back[inner] - ref[inner]).max() < 1e-5
