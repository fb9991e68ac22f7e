"""The exported FFT and inverse FFT against numpy, scipy and torch."""
import numpy as np
import pytest
import scipy.fft
import torch

from conftest import fptr

LENGTHS = [1, 2, 3, 7, 12, 64, 100, 256, 400, 512, 1000, 1009, 1024, 4096]


def tolerance(n):
    return 1e-6 * max(1.0, np.log2(n))


def relative_error(got, want):
    scale = np.linalg.norm(want)
    return np.linalg.norm(got - want) / (scale if scale > 0 else 1.0)


def forward(lib, x):
    n = x.size
    out = np.zeros(2 * n, np.float32)
    assert lib.vorelAudioFFT(fptr(out), fptr(x), n) == 0
    return out[0::2] + 1j * out[1::2]


def inverse(lib, spectrum):
    n = spectrum.size
    src = np.empty(2 * n, np.float32)
    src[0::2], src[1::2] = spectrum.real, spectrum.imag
    out = np.zeros(2 * n, np.float32)
    assert lib.vorelAudioIFFT(fptr(out), fptr(src), n) == 0
    return out[0::2] + 1j * out[1::2]


@pytest.mark.parametrize("n", LENGTHS)
def test_forward_matches_scipy_and_torch(lib, n):
    x = np.random.default_rng(n).standard_normal(n).astype(np.float32)
    got = forward(lib, x)
    assert relative_error(got, scipy.fft.fft(x.astype(np.float64))) < tolerance(n)
    assert relative_error(got, torch.fft.fft(torch.from_numpy(x).double()).numpy()) < tolerance(n)


@pytest.mark.parametrize("n", LENGTHS)
def test_inverse_matches_numpy_and_keeps_imaginary_parts(lib, n):
    rng = np.random.default_rng(1000 + n)
    spectrum = (rng.standard_normal(n) + 1j * rng.standard_normal(n)).astype(np.complex64)
    got = inverse(lib, spectrum)
    assert relative_error(got, np.fft.ifft(spectrum.astype(np.complex128))) < tolerance(n)


def test_bad_lengths_and_null_pointers_are_refused(lib):
    buf = np.full(8, -3.0, np.float32)
    for f in (lib.vorelAudioFFT, lib.vorelAudioIFFT):
        assert f(fptr(buf), fptr(buf), 0) == -1
        assert f(fptr(buf), None, 4) == -1
        assert f(None, fptr(buf), 4) == -1
    assert np.all(buf == -3.0)
