"""Agreement of the filters with scipy.signal (float64) on Butterworth, Chebyshev and FIR designs
of orders 1 to 8. The linear filter keeps its state in float: rounding a register adds noise of
variance ulp^2 / 12 that reaches the output through 1 / A(z); it is held to ten times that.
"""
import ctypes

import numpy as np
import pytest
import scipy.signal as ss

from conftest import fptr

N = 4000
SIGNAL = np.random.default_rng(1).standard_normal(N).astype(np.float32)


def _designs():
    for order in range(1, 9):
        yield f"butter{order}", ss.butter(order, 0.2)
        yield f"cheby1_{order}", ss.cheby1(order, 1, 0.3, "high")
        yield f"cheby2_{order}", ss.cheby2(order, 40, 0.25)
        yield f"fir{order}", (ss.firwin(order + 1, 0.3), np.array([1.0]))


DESIGNS = {name: (np.asarray(b, np.float32), np.asarray(a, np.float32))
           for name, (b, a) in _designs()}


@pytest.mark.parametrize("name", list(DESIGNS))
@pytest.mark.parametrize("with_zi", [False, True])
def test_lfilter_agrees_with_scipy(lib, name, with_zi):
    b, a = DESIGNS[name]
    b64, a64, x64 = b.astype(np.float64), a.astype(np.float64), SIGNAL.astype(np.float64)
    order = max(len(b), len(a)) - 1
    zi = (ss.lfilter_zi(b64, a64) * x64[0] if with_zi else np.zeros(order)).astype(np.float32)
    want, zf = ss.lfilter(b64, a64, x64, zi=zi.astype(np.float64))
    out = np.zeros_like(SIGNAL)
    assert lib.vorelAudioLinerFilter(fptr(out), fptr(SIGNAL), fptr(b), fptr(a),
                                     fptr(zi) if with_zi else None, N, N, len(b), len(a),
                                     order if with_zi else 0) == 0
    # Register noise: ulp of the largest register (bounded by that of the output's scale
    # times the largest coefficient) through the all-pole part.
    gain = np.sqrt(np.sum(ss.lfilter([1.0], a64 / a64[0], np.eye(1, N)[0]) ** 2))
    scale = np.max(np.abs(want))
    peak = scale * max(1.0, np.max(np.abs(np.concatenate([b64, a64]) / a64[0])))
    tol = max(1e-6 * scale, 10 * np.sqrt(order / 12.0) * peak * 2.0 ** -23 * gain)
    assert np.max(np.abs(out - want)) <= tol
    if with_zi:  # zi now holds the final state
        assert np.max(np.abs(zi - zf)) <= tol * np.max(np.abs(zf)) / scale + 1e-6 * scale


@pytest.mark.parametrize("name", list(DESIGNS))
def test_lfilter_zi_agrees_with_scipy(lib, name):
    b, a = DESIGNS[name]
    want = ss.lfilter_zi(b.astype(np.float64), a.astype(np.float64))
    got = np.full(len(want) + 2, 9.0, np.float32)
    assert lib.vorelAudioGetLinerFilterZiCoef(fptr(got), fptr(b), fptr(a), len(got), len(b),
                                              len(a)) == 0
    assert np.max(np.abs(got[:-2] - want)) <= 1e-6 * max(1.0, np.max(np.abs(want)))
    assert np.all(got[-2:] == 0.0)


PAD_TYPES = {None: 0, "odd": 1, "even": 2, "constant": 3}


@pytest.mark.parametrize("name", list(DESIGNS))
@pytest.mark.parametrize("padtype", list(PAD_TYPES))
@pytest.mark.parametrize("padlen", ["default", 0, 1, 50, N - 1])
def test_filtfilt_agrees_with_scipy(lib, name, padtype, padlen):
    b, a = DESIGNS[name]
    if padlen == "default":
        padlen = 3 * max(len(b), len(a))
    want = ss.filtfilt(b.astype(np.float64), a.astype(np.float64), SIGNAL.astype(np.float64),
                       padtype=padtype, padlen=padlen if padtype else None)
    out = np.zeros_like(SIGNAL)
    assert lib.vorelAudioFilterFilter(fptr(out), fptr(SIGNAL), fptr(b), fptr(a), N, N, len(b),
                                      len(a), PAD_TYPES[padtype], padlen) == 0
    assert np.max(np.abs(out - want)) <= 1e-6 * np.max(np.abs(want))
