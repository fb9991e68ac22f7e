"""Transforms against numpy, scipy and torch: fft/ifft of any length, the rfft/irfft layouts and the
bin frequencies. float32 rounding grows like log2(n) * 2^-24 per value."""
import numpy as np
import pytest
import scipy.fft
import torch

import vorel_audio as va

LENGTHS = [1, 2, 3, 7, 12, 64, 100, 256, 400, 512, 1000, 1009, 1024, 4096]


def rel_err(got, want):
    scale = np.linalg.norm(want)
    return np.linalg.norm(got - want) / (scale if scale > 0 else 1.0)


@pytest.mark.parametrize("n", LENGTHS)
def test_transforms_match_numpy_scipy_and_torch(n):
    rng = np.random.default_rng(n)
    tol = 1e-6 * max(1.0, np.log2(n))
    x = rng.standard_normal(n).astype(np.float32)
    X = va.fft(x)
    assert X.dtype == np.complex64 and X.shape == (n,)
    assert rel_err(X, scipy.fft.fft(x.astype(np.float64))) < tol
    assert rel_err(X, torch.fft.fft(torch.from_numpy(x).double()).numpy()) < tol
    assert rel_err(va.rfft(x), np.fft.rfft(x.astype(np.float64))) < tol
    # The inverse keeps imaginary parts, scales by 1/n.
    Z = (rng.standard_normal(n) + 1j * rng.standard_normal(n)).astype(np.complex64)
    assert rel_err(va.ifft(Z), np.fft.ifft(Z.astype(np.complex128))) < tol
    # irfft as numpy's: bins beyond n // 2 + 1 ignored, missing ones zero, even and odd n.
    for m in (n, n + 1, 2 * n):
        assert rel_err(va.irfft(Z, n=m), np.fft.irfft(Z.astype(np.complex128), n=m)) < tol


def test_irfft_default_length_and_round_trip():
    x = np.random.default_rng(3).standard_normal((2, 400)).astype(np.float32)
    back = va.irfft(va.rfft(x))
    assert back.shape == x.shape and back.dtype == np.float32
    np.testing.assert_allclose(back, x, atol=1e-5)


@pytest.mark.parametrize("n_fft,rate", [(400, 16000), (2048, 22050), (7, 8000)])
def test_fft_frequencies_match_numpy(n_fft, rate):
    np.testing.assert_allclose(va.fft_frequencies(n_fft, rate), np.fft.rfftfreq(n_fft, 1.0 / rate), rtol=1e-15)
