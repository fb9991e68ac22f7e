"""Level conversions and silence detection against torchaudio and straightforward numpy."""
import ctypes

import numpy as np
import pytest
import torch
import torchaudio.functional as AF

from conftest import fptr


def power_to_db(lib, x, top_db):
    x = np.ascontiguousarray(x, dtype=np.float32)
    out = np.empty_like(x)
    status = lib.vorelAudioConvertPowerToDB(fptr(out), fptr(x), ctypes.c_int(x.size),
                                            ctypes.c_float(top_db))
    assert status == 0
    return out


def numpy_power_to_db(x, top_db):
    """The usual definition: levels against the peak, floored top_db below it."""
    x = x.astype(np.float64)
    ref = max(x.max(), 1e-10)
    db = 10 * np.log10(np.maximum(x, 1e-10)) - 10 * np.log10(ref)
    if top_db is not None:
        db = np.maximum(db, db.max() - top_db)
    return db


def spectrogram_powers(seed, shape=(201, 300)):
    rng = np.random.default_rng(seed)
    t = np.arange(shape[1] * 160) / 16000.0
    sig = np.sin(2 * np.pi * 440 * t) * np.exp(-t) + 0.01 * rng.standard_normal(t.size)
    spec = torch.stft(torch.tensor(sig, dtype=torch.float32), n_fft=400, hop_length=160,
                      window=torch.hann_window(400), return_complex=True)
    return (spec.abs() ** 2).numpy().astype(np.float32)


@pytest.mark.parametrize("top_db", [80.0, 40.0, None])
def test_power_to_db_matches_torchaudio(lib, top_db):
    power = spectrogram_powers(1)
    ours = power_to_db(lib, power, -1.0 if top_db is None else top_db)
    ref = float(power.max())
    theirs = AF.amplitude_to_DB(torch.tensor(power), multiplier=10.0, amin=1e-10,
                                db_multiplier=np.log10(max(ref, 1e-10)), top_db=top_db).numpy()
    np.testing.assert_allclose(ours, theirs, rtol=1e-5, atol=2e-4)
    np.testing.assert_allclose(ours, numpy_power_to_db(power, top_db), rtol=1e-5, atol=2e-4)
    assert ours.max() == 0.0


@pytest.mark.parametrize("seed", range(5))
def test_power_to_db_random_dynamic_range(lib, seed):
    rng = np.random.default_rng(seed)
    x = (10.0 ** rng.uniform(-15, 4, size=10001)).astype(np.float32)
    x[rng.integers(0, x.size, 20)] = 0.0
    for top_db in (80.0, 120.0, None):
        ours = power_to_db(lib, x, -1.0 if top_db is None else top_db)
        np.testing.assert_allclose(ours, numpy_power_to_db(x, top_db), rtol=1e-5, atol=2e-4)


def test_standardize_matches_numpy(lib):
    rng = np.random.default_rng(3)
    x = rng.normal(5.0, 3.0, size=20000).astype(np.float32)
    out = np.empty_like(x)
    assert lib.vorelAudioStandardize(fptr(out), fptr(x), ctypes.c_int(x.size)) == 0
    x64 = x.astype(np.float64)
    np.testing.assert_allclose(out, (x64 - x64.mean()) / x64.std(), atol=2e-3)


def test_log1p_matches_torch(lib):
    rng = np.random.default_rng(4)
    x = rng.uniform(-0.99, 1e4, size=5000).astype(np.float32)
    out = np.empty_like(x)
    assert lib.vorelAudioLog1p(fptr(out), fptr(x), ctypes.c_int(x.size)) == 0
    np.testing.assert_allclose(out, torch.log1p(torch.tensor(x)).numpy(), rtol=2e-7, atol=1e-7)


def nonsilent(lib, sig, win_n, hop_n, thr_db):
    sig = np.ascontiguousarray(sig, dtype=np.float32)
    start, length = ctypes.c_int(-9), ctypes.c_int(-9)
    status = lib.vorelAudioGetNonSilentPos(ctypes.byref(start), ctypes.byref(length), fptr(sig),
                                           ctypes.c_int(sig.size), ctypes.c_int(win_n),
                                           ctypes.c_int(hop_n), ctypes.c_float(thr_db))
    assert status == 0
    return start.value, length.value


def numpy_nonsilent(sig, win_n, hop_n, thr_db):
    """Frame RMS in dB against the loudest frame, frames centred with reflect padding."""
    padded = np.pad(sig.astype(np.float64), win_n // 2, mode="reflect")
    frame_n = sig.size // hop_n + 1
    idx = np.arange(frame_n)[:, None] * hop_n + np.arange(win_n)[None, :]
    power = np.maximum((padded[idx] ** 2).mean(axis=1), 1e-10)
    rms_db = 20 * np.log10(np.sqrt(power))
    loud = np.nonzero(rms_db - rms_db.max() > -thr_db)[0]
    if loud.size == 0:
        return -1, 0
    start = loud[0] * hop_n
    end = min((loud[-1] + 1) * hop_n, sig.size)
    return int(start), int(end - start)


def speech_like(seed, lead, body, tail, sr=16000):
    """Voiced bursts with pauses between them, framed by leading and trailing silence."""
    rng = np.random.default_rng(seed)
    t = np.arange(body) / sr
    f0 = 120 + 30 * np.sin(2 * np.pi * 3 * t)
    voiced = sum(np.sin(2 * np.pi * k * np.cumsum(f0) / sr) / k for k in range(1, 6))
    syllables = np.clip(np.sin(2 * np.pi * 4 * t), 0, None) ** 0.5
    speech = 0.3 * voiced * syllables + 0.02 * rng.standard_normal(body)
    floor = 1e-4 * rng.standard_normal(lead + body + tail)
    floor[lead:lead + body] += speech
    return floor.astype(np.float32)


@pytest.mark.parametrize("seed,lead,tail", [(0, 8000, 4000), (1, 3000, 12000), (2, 1, 1),
                                            (3, 16000, 0)])
@pytest.mark.parametrize("win_n,hop_n", [(2048, 512), (400, 160), (512, 128)])
@pytest.mark.parametrize("thr_db", [30.0, 60.0])
def test_nonsilent_range_matches_frame_rms(lib, seed, lead, tail, win_n, hop_n, thr_db):
    sig = speech_like(seed, lead, 20000, tail)
    ours = nonsilent(lib, sig, win_n, hop_n, thr_db)
    assert ours == numpy_nonsilent(sig, win_n, hop_n, thr_db)
    if lead > win_n and thr_db == 30.0:
        # Trimming removes most of the leading silence and keeps all of the speech.
        assert lead - win_n <= ours[0] <= lead
        assert ours[0] + ours[1] >= lead + 20000 - hop_n
