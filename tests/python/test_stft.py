"""Windows, spectrograms and their inverse against scipy and torch, with the meaning of each norm
and centring option as the docstrings state it."""
import numpy as np
import pytest
import scipy.signal
import torch

import vorel_audio as va

NORMS = {None: lambda w, n: 1.0, "torch": lambda w, n: 1 / np.sqrt((w ** 2).sum()), "scipy": lambda w, n: 2 / n}


@pytest.fixture(scope="module")
def signal():
    rng = np.random.default_rng(7)
    t = np.arange(16000) / 16000
    return (0.5 * np.sin(2 * np.pi * 440 * t) + 0.2 * rng.standard_normal(t.size)).astype(np.float32)


@pytest.mark.parametrize("n", [2, 7, 400, 512])
def test_windows_are_periodic(n):
    for kind in ("hann", "hamming"):
        np.testing.assert_allclose(va.window(n, kind), scipy.signal.get_window(kind, n), atol=2e-7)
    np.testing.assert_allclose(va.window(n), torch.hann_window(n, dtype=torch.float64), atol=2e-7)


@pytest.mark.parametrize("fft_n,hop_n,win_n,window,center", [
    (400, 160, 400, "hann", "reflect"), (400, 160, 301, "hamming", "reflect"), (400, 160, 300, "hann", "zeros"),
    (512, 128, 512, "hann", "zeros"), (63, 20, 63, "hann", "reflect")])
def test_spectrogram_matches_torch_and_scipy(signal, fft_n, hop_n, win_n, window, center):
    win = getattr(torch, f"{window}_window")(win_n, dtype=torch.float64)
    ref = torch.stft(torch.from_numpy(signal.astype(np.float64)), fft_n, hop_n, win_n, win, center=True,
                     pad_mode="reflect" if center == "reflect" else "constant", return_complex=True).numpy()
    for norm, factor in NORMS.items():
        ours = va.spectrogram(signal, fft_n, hop_n, win_n, window, center, power=None, norm=norm)
        want = ref * factor(win.numpy(), fft_n)
        # With an odd frame torch pads one sample less and may count one frame fewer.
        assert ours.shape[1] - ref.shape[1] in (0, fft_n % 2)
        assert np.abs(ours[:, :ref.shape[1]] - want).max() < 2e-6 * np.abs(want).max() * np.sqrt(fft_n)
    power = va.spectrogram(signal, fft_n, hop_n, win_n, window, center, power=1.5, norm="scipy")
    np.testing.assert_allclose(power, np.abs(ours) ** 1.5, rtol=1e-5, atol=1e-6 * power.max())
    if win_n == fft_n:  # with a periodic Hann window as long as the frame, 2 / fft_n is scipy's 1 / sum(window)
        _, _, theirs = scipy.signal.stft(signal.astype(np.float64), nperseg=fft_n, noverlap=fft_n - hop_n,
                                         window="hann", boundary="even" if center == "reflect" else "zeros",
                                         padded=False)
        frames = min(ours.shape[1], theirs.shape[1])
        assert frames >= ours.shape[1] - 1
        assert np.abs(ours[:, :frames] - theirs[:, :frames]).max() < 2e-6 * np.abs(theirs).max() * np.sqrt(fft_n)


@pytest.mark.parametrize("window,win_n,power_ratio", [("hann", 512, 1.0), ("hamming", 512, 1.08 ** 2),
                                                      ("hann", 256, 0.25)])
def test_scipy_norm_equals_scipys_spectrum_scaling_only_for_a_full_hann_window(signal, window, win_n, power_ratio):
    ours = va.spectrogram(signal, 512, 128, win_n, window, center=None, norm="scipy")
    w = np.zeros(512)
    w[(512 - win_n) // 2:(512 - win_n) // 2 + win_n] = scipy.signal.get_window(window, win_n)
    _, _, Z = scipy.signal.stft(signal.astype(np.float64), window=w, nperseg=512, noverlap=384, boundary=None,
                                padded=False)
    assert ours.shape == Z.shape
    assert np.sum(ours) / np.sum(np.abs(Z) ** 2) == pytest.approx(power_ratio, rel=1e-4)


@pytest.mark.parametrize("fft_n,norm", [(400, None), (512, None), (400, "torch"), (512, "scipy")])
def test_round_trip_and_torch_istft(signal, fft_n, norm):
    hop_n = fft_n // 4
    spectrum = va.spectrogram(signal, fft_n, hop_n, power=None, norm=norm)
    back = va.inverse_spectrogram(spectrum, hop_n, norm=norm)
    # The default length is (frames - 1) * hop: the signal's length rounded down to whole hops.
    assert back.size == (spectrum.shape[1] - 1) * hop_n == signal.size // hop_n * hop_n
    # The torch norm has no inverse factor: the forward one stays in the result.
    factor = NORMS[norm](scipy.signal.get_window("hann", fft_n), fft_n) if norm == "torch" else 1.0
    np.testing.assert_allclose(back, signal[:back.size] * factor, atol=1e-5 * factor)
    if norm is None:
        for length in (back.size, signal.size, signal.size + 2 * hop_n):
            ref = torch.istft(torch.from_numpy(spectrum.astype(np.complex128)), fft_n, hop_n,
                              window=torch.hann_window(fft_n, dtype=torch.float64), length=length).numpy()
            got = va.inverse_spectrogram(spectrum, hop_n, length=length)
            assert got.shape == ref.shape
            # Beyond the signal the window sums fall towards 0 and amplify rounding.
            np.testing.assert_allclose(got[:signal.size], ref[:signal.size], atol=1e-5)
            assert np.abs(got - ref)[signal.size:].max(initial=0.0) < 1e-3


@pytest.mark.parametrize("n,hop", [(4000, 128), (4096, 128), (1000, 160), (100, 128)])
def test_frame_counts_of_each_centring(n, hop):
    """reflect: n // hop + 1; zeros: ceil(n / hop) + 1 (one more than torch unless hop divides n);
    none: (n - n_fft) // hop + 1; a signal shorter than n_fft gives none in every mode."""
    want = [n // hop + 1, -(-n // hop) + 1, (n - 512) // hop + 1] if n >= 512 else [0, 0, 0]
    assert [va.frame_count(n, 512, hop, c) for c in ("reflect", "zeros", None)] == want
    x = np.ones(n, np.float32)
    assert [va.spectrogram(x, 512, hop, center=c).shape[1] for c in ("reflect", "zeros", None)] == want


def test_short_signals_give_no_frames():
    assert va.spectrogram(np.ones(100), n_fft=400, center=None).shape == (201, 0)
    assert va.mel_spectrogram(np.ones((2, 100)), n_fft=400, center=None, n_mels=8).shape == (2, 8, 0)
