"""Levels, complex norms, silence detection and frame fitting against torchaudio, torch and numpy."""
import numpy as np
import pytest
import torch
import torchaudio.functional as AF

import vorel_audio as va


def wide_powers(seed):
    rng = np.random.default_rng(seed)
    x = (10.0 ** rng.uniform(-15, 4, size=10001)).astype(np.float32)
    x[rng.integers(0, x.size, 20)] = 0.0
    return x


@pytest.mark.parametrize("seed", [0, 1])
@pytest.mark.parametrize("top_db", [80.0, 40.0, 120.0, None])
def test_power_to_db_matches_torchaudio(seed, top_db):
    power = wide_powers(seed)
    ours = va.power_to_db(power, top_db=top_db)
    theirs = AF.amplitude_to_DB(torch.tensor(power.reshape(1, 1, -1), dtype=torch.float64),
                                multiplier=10.0, amin=1e-10, top_db=top_db,
                                db_multiplier=np.log10(max(float(power.max()), 1e-10)))
    np.testing.assert_allclose(ours, theirs.numpy().reshape(power.shape), rtol=1e-5, atol=2e-4)
    assert ours.max() == 0.0


def test_standardize_and_log1p_match_numpy_and_torch():
    x = np.random.default_rng(3).normal(5.0, 3.0, size=(4, 5000)).astype(np.float32)
    x64 = x.astype(np.float64)
    # Over all values of the array, whatever its shape.
    np.testing.assert_allclose(va.standardize(x), (x64 - x64.mean()) / x64.std(), atol=2e-3)
    y = np.random.default_rng(4).uniform(-0.99, 1e4, size=5000)
    y = np.concatenate([y, [0.0, 1e-8, -1.0, -2.0, np.inf, np.nan]]).astype(np.float32)
    np.testing.assert_allclose(va.log1p(y), torch.log1p(torch.tensor(y)).numpy(),
                               rtol=2e-7, atol=1e-7)


@pytest.mark.parametrize("power", [0.5, 1.0, 2.0, 3.0])
def test_complex_norm_and_magphase_match_numpy(power):
    rng = np.random.default_rng(5)
    z = (rng.standard_normal((2, 3, 11)) * 3 + 1j * rng.standard_normal((2, 3, 11))).astype(np.complex64)
    want = np.abs(z.astype(np.complex128)) ** power
    angle = np.angle(z.astype(np.complex128))
    np.testing.assert_allclose(va.complex_norm(z, power), want, rtol=4e-6)
    for form, phase_want in (("angle", angle), ("complex", np.exp(1j * angle))):
        mag, phase = va.magphase(z, power, phase=form)
        np.testing.assert_allclose(mag, want, rtol=4e-6)
        np.testing.assert_allclose(phase, phase_want, atol=4e-6)


def numpy_nonsilent(sig, win_n, hop_n, thr_db):
    """Frame mean squares in dB against the loudest frame, frames centred with reflect padding."""
    padded = np.pad(sig.astype(np.float64), (win_n // 2, win_n // 2 + hop_n), mode="reflect")
    idx = np.arange(sig.size // hop_n + 1)[:, None] * hop_n + np.arange(win_n)[None, :]
    db = 10 * np.log10(np.maximum((padded[idx] ** 2).mean(axis=1), 1e-10))
    loud = np.nonzero(db - db.max() > -thr_db)[0]
    if loud.size == 0:
        return -1, 0
    end = min((loud[-1] + 1) * hop_n, sig.size)
    return int(loud[0] * hop_n), int(end - loud[0] * hop_n)


def bursts(seed, lead, body, tail):
    """Noise bursts with pauses between them, framed by leading and trailing near-silence."""
    rng = np.random.default_rng(seed)
    sig = 1e-4 * rng.standard_normal(lead + body + tail)
    sig[lead:lead + body] += 0.3 * rng.standard_normal(body) * (np.arange(body) % 4000 < 2500)
    return sig.astype(np.float32)


@pytest.mark.parametrize("seed,lead,tail",
                         [(0, 8000, 4000), (1, 3000, 12000), (2, 1, 1), (3, 16000, 0)])
@pytest.mark.parametrize("win_n,hop_n", [(2048, 512), (400, 160), (1, 100), (64, 20000)])
@pytest.mark.parametrize("thr_db", [10.0, 30.0, 80.0])
def test_nonsilent_range_matches_frame_levels(seed, lead, tail, win_n, hop_n, thr_db):
    sig = bursts(seed, lead, 20000, tail)
    assert va.nonsilent_range(sig, win_n, hop_n, thr_db) == numpy_nonsilent(sig, win_n, hop_n, thr_db)


def test_nonsilent_short_signals_match_frame_levels():
    rng = np.random.default_rng(4)
    for n in range(1, 10):
        sig = rng.uniform(-1, 1, n).astype(np.float32)
        for win_n in range(1, n + 1):
            for hop_n in range(1, n + 2):
                for thr_db in (3.0, 60.0):
                    ours = va.nonsilent_range(sig, win_n, hop_n, thr_db)
                    assert ours == numpy_nonsilent(sig, win_n, hop_n, thr_db)


@pytest.mark.parametrize("frames,pad", [(6, 0.0), (10, 0.0), (13, -1.0)])
def test_fix_frames_cuts_or_pads_the_frame_axis(frames, pad):
    S = np.random.default_rng(6).random((2, 4, 10)).astype(np.float32)
    want = np.pad(S, ((0, 0), (0, 0), (0, max(frames - 10, 0))), constant_values=pad)[..., :frames]
    np.testing.assert_array_equal(va.fix_frames(S, frames, pad_value=pad), want)
