"""The Python package against the established numeric stacks, function family by family.

Each test states the tolerance it reaches and why. The library computes in float32 with a
fixed operation order; the references compute in float64 (numpy, scipy) or float32 with a
different order (torch), so agreement is to float rounding scaled by the work per value.
"""
import math

import numpy as np
import pytest

va = pytest.importorskip("vorel_audio")
scipy_signal = pytest.importorskip("scipy.signal")
torch = pytest.importorskip("torch")
torchaudio = pytest.importorskip("torchaudio")

RNG = np.random.default_rng(1234)


def rel_err(got, want):
    got = np.asarray(got, dtype=np.complex128)
    want = np.asarray(want, dtype=np.complex128)
    return float(np.linalg.norm(got - want) / max(np.linalg.norm(want), 1e-30))


# ---- transforms --------------------------------------------------------------------------

@pytest.mark.parametrize("n", [1, 2, 3, 8, 12, 400, 512, 1000, 1009, 4096])
def test_fft_and_ifft_match_numpy(n):
    """float32 FFT: rounding grows like log2(n) * 2^-24 per value; relative RMS below 1e-5."""
    x = RNG.standard_normal(n).astype(np.float32)
    X = va.fft(x)
    assert X.dtype == np.complex64 and X.shape == (n,)
    assert rel_err(X, np.fft.fft(x.astype(np.float64))) < 1e-5
    back = va.ifft(X)
    assert rel_err(back, np.fft.ifft(X.astype(np.complex128))) < 1e-5
    assert rel_err(back.real, x) < 1e-5


def test_windows_match_periodic_scipy_windows():
    """Windows are cosf of a float-rounded angle: within a few float ulps of scipy's doubles."""
    # (A one-sample periodic window is the low end of the cosine, 0, where scipy returns 1.)
    for n in (2, 5, 400, 512):
        for kind in ("hann", "hamming"):
            want = scipy_signal.get_window(kind, n, fftbins=True)
            np.testing.assert_allclose(va.window(n, kind), want, rtol=0, atol=2e-7)


# ---- short-time spectra ------------------------------------------------------------------

@pytest.mark.parametrize("center,pad_mode", [("reflect", "reflect"), ("zeros", "constant")])
@pytest.mark.parametrize("norm", [None, "torch"])
def test_spectrogram_matches_torch(center, pad_mode, norm):
    """One float32 FFT per frame on both sides, different orders: relative error below 1e-5.

    The "torch" norm is torchaudio's window normalisation, 1 / sqrt(sum of squared window).
    Zero padding counts ceil(n / hop) + 1 frames, one more than torch when hop does not
    divide n; the common frames are compared.
    """
    x = RNG.standard_normal(4000).astype(np.float32)
    n_fft, hop = 512, 128
    got = va.spectrogram(x, n_fft=n_fft, hop_length=hop, center=center, power=None, norm=norm)
    want = torchaudio.functional.spectrogram(
        torch.from_numpy(x).double(), pad=0, window=torch.hann_window(n_fft, dtype=torch.float64),
        n_fft=n_fft, hop_length=hop, win_length=n_fft, power=None, normalized=norm == "torch",
        center=True, pad_mode=pad_mode, onesided=True).numpy()
    frames = want.shape[1]
    assert got.shape[0] == want.shape[0] and got.shape[1] - frames in (0, 1)
    assert rel_err(got[:, :frames], want) < 1e-5


def test_power_spectrogram_and_scipy_norm():
    """The scipy norm with a periodic Hann window is 2/n_fft = 1/sum(window)."""
    x = RNG.standard_normal(3000).astype(np.float32)
    got = va.spectrogram(x, n_fft=256, hop_length=64, center=None, power=2.0, norm="scipy")
    _, _, Z = scipy_signal.stft(x.astype(np.float64), nperseg=256, noverlap=192, window="hann",
                                boundary=None, padded=False)
    assert got.shape == Z.shape
    assert rel_err(got, np.abs(Z) ** 2) < 2e-5


def test_inverse_spectrogram_matches_torch_istft():
    """Overlap-add in float32 against torch's float64 istft: relative error below 1e-5."""
    x = RNG.standard_normal(8000).astype(np.float32)
    n_fft, hop = 400, 100
    S = va.spectrogram(x, n_fft=n_fft, hop_length=hop, power=None)
    got = va.inverse_spectrogram(S, hop_length=hop)
    want = torch.istft(torch.from_numpy(S.astype(np.complex128)), n_fft, hop_length=hop,
                       window=torch.hann_window(n_fft, dtype=torch.float64), center=True,
                       length=got.size).numpy()
    assert rel_err(got[n_fft:-n_fft], want[n_fft:-n_fft]) < 1e-5
    np.testing.assert_allclose(got[n_fft:-n_fft], x[n_fft:got.size - n_fft], atol=1e-5)


def test_magphase_and_complex_norm_match_numpy():
    """powf of a float sum of squares and atan2f: within a few ulps of numpy's doubles."""
    S = (RNG.standard_normal((33, 20)) + 1j * RNG.standard_normal((33, 20))).astype(np.complex64)
    mag, phase = va.magphase(S, power=1.0)
    np.testing.assert_allclose(mag, np.abs(S.astype(np.complex128)), rtol=1e-6)
    np.testing.assert_allclose(phase, np.angle(S.astype(np.complex128)), atol=1e-6)
    _, phasor = va.magphase(S, power=2.0, phase="complex")
    np.testing.assert_allclose(phasor, np.exp(1j * np.angle(S.astype(np.complex128))), atol=1e-6)
    np.testing.assert_allclose(va.complex_norm(S, power=2.0), np.abs(S) ** 2, rtol=1e-6)


# ---- mel ---------------------------------------------------------------------------------

@pytest.mark.parametrize("norm,scale", [(None, "htk"), ("slaney", "slaney"), ("slaney", "htk")])
def test_mel_filter_bank_matches_torchaudio(norm, scale):
    """Triangle edges come from float mel conversions (torch works in double and rounds once):
    weights near an edge move by up to a few 1e-5 of the peak weight."""
    got = va.mel_filter_bank(201, 0.0, 8000.0, 80, 16000, norm=norm, mel_scale=scale)
    want = torchaudio.functional.melscale_fbanks(201, 0.0, 8000.0, 80, 16000, norm=norm,
                                                 mel_scale=scale).numpy().T
    np.testing.assert_allclose(got, want, rtol=0, atol=5e-5 * want.max())


def test_mel_spectrogram_matches_torchaudio():
    """Whisper-style front: float32 FFT and filter sums on both sides; relative error < 1e-4."""
    x = RNG.standard_normal(16000).astype(np.float32)
    got = va.mel_spectrogram(x, sample_rate=16000, n_fft=400, hop_length=160, n_mels=80)
    ref = torchaudio.transforms.MelSpectrogram(sample_rate=16000, n_fft=400, hop_length=160,
                                               n_mels=80, norm="slaney", mel_scale="slaney",
                                               power=2.0, center=True, pad_mode="reflect")
    want = ref(torch.from_numpy(x)).numpy()
    assert got.shape == want.shape
    assert rel_err(got, want) < 1e-4
    fb = va.mel_filter_bank(201, n_mels=80, sample_rate=16000)
    spectrum = va.spectrogram(x, n_fft=400, hop_length=160, power=2.0)
    assert rel_err(va.convert_to_mel(spectrum, fb), got) < 1e-6


# ---- filters -----------------------------------------------------------------------------

def test_filters_match_scipy():
    """Filters run in double with float input and output: error below 1e-6 of the signal."""
    x = RNG.standard_normal(5000).astype(np.float32)
    b, a = scipy_signal.butter(4, 0.2)
    b32, a32 = b.astype(np.float32), a.astype(np.float32)
    bd, ad = b32.astype(np.float64), a32.astype(np.float64)
    scale = np.max(np.abs(x))
    np.testing.assert_allclose(va.lfilter(b32, a32, x), scipy_signal.lfilter(bd, ad, x),
                               atol=1e-6 * scale)
    zi = va.lfilter_zi(b32, a32)
    np.testing.assert_allclose(zi, scipy_signal.lfilter_zi(bd, ad), rtol=1e-5, atol=1e-6)
    y, zf = va.lfilter(b32, a32, x, zi=zi * x[0])
    want, want_zf = scipy_signal.lfilter(bd, ad, x, zi=scipy_signal.lfilter_zi(bd, ad) * x[0])
    np.testing.assert_allclose(y, want, atol=1e-6 * scale)
    np.testing.assert_allclose(zf, want_zf, atol=1e-5 * scale)
    for padtype in ("odd", "even", "constant", None):
        np.testing.assert_allclose(va.filtfilt(b32, a32, x, padtype=padtype),
                                   scipy_signal.filtfilt(bd, ad, x, padtype=padtype),
                                   atol=2e-6 * scale, err_msg=str(padtype))


# ---- resampling --------------------------------------------------------------------------

@pytest.mark.parametrize("src,dst", [(44100, 16000), (48000, 16000), (16000, 22050)])
def test_resample_agrees_with_resample_poly_in_the_passband(src, dst):
    """Different filters: compare a band-limited signal away from the ends; SNR above 40 dB."""
    t = np.arange(src) / src
    x = sum(np.sin(2 * np.pi * f * t + f) for f in (220.0, 1000.0, 3100.0)).astype(np.float32)
    got = va.resample(x, src, dst)
    g = math.gcd(src, dst)
    want = scipy_signal.resample_poly(x.astype(np.float64), dst // g, src // g)
    n = min(got.size, want.size)
    inner = slice(200, n - 200)
    err = got[inner] - want[inner]
    snr = 10 * np.log10(np.sum(want[inner] ** 2) / np.sum(err ** 2))
    assert snr > 40.0, snr
    assert va.resample_length(x.size, src, dst) == got.size


# ---- levels and fitting ------------------------------------------------------------------

def test_levels_match_torchaudio_and_numpy():
    """log10f and fp32 sums: dB within 1e-4 dB; standardise and log1p to float rounding."""
    x = (RNG.random((1, 100, 100)) ** 4).astype(np.float32)
    ref = max(float(x.max()), 1e-10)
    want = torchaudio.functional.amplitude_to_DB(torch.from_numpy(x.astype(np.float64)), 10.0,
                                                 1e-10, math.log10(ref), top_db=80.0).numpy()
    np.testing.assert_allclose(va.power_to_db(x, top_db=80.0), want, atol=1e-4)
    xd = x.astype(np.float64)
    np.testing.assert_allclose(va.standardize(x), (xd - xd.mean()) / xd.std(), atol=1e-4)
    np.testing.assert_allclose(va.log1p(x), np.log1p(xd), rtol=1e-6)


def test_nonsilent_range_and_fix_frames():
    x = np.zeros(16000, dtype=np.float32)
    x[5000:9000] = np.sin(np.arange(4000) * 0.3)
    start, length = va.nonsilent_range(x, frame_length=400, hop_length=100, top_db=40)
    assert 4500 <= start <= 5000 and 9000 <= start + length <= 9500
    S = RNG.random((4, 10)).astype(np.float32)
    np.testing.assert_array_equal(va.fix_frames(S, 6), S[:, :6])
    padded = va.fix_frames(S, 12, pad_value=-1.0)
    np.testing.assert_array_equal(padded[:, :10], S)
    assert np.all(padded[:, 10:] == -1.0)


# ---- the wrappers themselves -------------------------------------------------------------

def test_batches_are_processed_item_by_item():
    x = RNG.standard_normal((2, 3, 1600)).astype(np.float32)
    batch = va.mel_spectrogram(x, n_fft=400, hop_length=160, n_mels=40)
    assert batch.shape[:2] == (2, 3)
    np.testing.assert_array_equal(batch[1, 2], va.mel_spectrogram(x[1, 2], n_fft=400,
                                                                  hop_length=160, n_mels=40))
    S = va.spectrogram(x, n_fft=256, hop_length=64, power=None)
    assert S.shape[:2] == (2, 3)
    assert va.resample(x, 16000, 8000).shape == (2, 3, 800)


@pytest.mark.parametrize("call", [
    lambda: va.fft(np.ones(4, dtype=np.complex64)),
    lambda: va.fft(np.array(["a", "b"])),
    lambda: va.fft(np.zeros(0)),
    lambda: va.window(-3),
    lambda: va.window(8, "triangle"),
    lambda: va.spectrogram(np.ones(100), n_fft=-1),
    lambda: va.spectrogram(np.ones(100), n_fft=64, center="sideways"),
    lambda: va.spectrogram(np.ones(100), n_fft=64, win_length=80),
    lambda: va.mel_filter_bank(10, n_mels=20),
    lambda: va.mel_spectrogram(np.ones(1000), mel_scale="bark"),
    lambda: va.filtfilt([1.0], [1.0], np.ones(10), padtype="wrap"),
    lambda: va.filtfilt([1.0, 0.5], [1.0], np.ones(4), padlen=10),
    lambda: va.lfilter([1.0], [0.0], np.ones(4)),
    lambda: va.resample(np.ones(10), 0, 16000),
    lambda: va.power_to_db(np.ones(3), top_db=-5),
    lambda: va.magphase(np.ones((3, 3), dtype=np.complex64), phase="polar"),
    lambda: va.fix_frames(np.ones((2, 3)), 0),
    lambda: va.frame_count(2**40, 4, 1),
])
def test_bad_arguments_raise_value_error(call):
    with pytest.raises(ValueError):
        call()


def test_library_refusals_become_value_errors_naming_the_function():
    from vorel_audio import _call
    out = np.zeros(4, dtype=np.float32)
    with pytest.raises(ValueError, match="vorelAudioGetWindow"):
        _call.call("vorelAudioGetWindow", _call.fptr(out), 4, 7, shown="n=4, kind=7")
    assert np.all(out == 0.0)
