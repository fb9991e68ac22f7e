"""Agreement of the filters with scipy.signal (float64 reference) on Butterworth, Chebyshev
and FIR designs of orders 1 to 8.

Reached (4000 samples of unit-variance noise): the zero-phase filter and the settled state
agree to about 1e-7 of the signal's scale (float output rounding), held to 1e-6. The linear
filter keeps its state in float, so its error grows with the pole sensitivity: about 1e-7
for FIR designs and up to about 3e-5 for an 8th-order Butterworth. It is held to the noise
that rounding the state to float allows, and to the bit against a float-state model.
"""
import ctypes

import numpy as np
import pytest
import scipy.signal as ss

from conftest import fptr

N = 4000
SIGNAL = np.random.default_rng(1).standard_normal(N).astype(np.float32)
F32_EPS = 2.0 ** -24


def _designs():
    for order in range(1, 9):
        yield f"butter{order}", ss.butter(order, 0.2)
        yield f"cheby1_{order}", ss.cheby1(order, 1, 0.3, "high")
        yield f"cheby2_{order}", ss.cheby2(order, 40, 0.25)
        yield f"fir{order}", (ss.firwin(order + 1, 0.3), np.array([1.0]))


DESIGNS = {name: (np.asarray(b, np.float32), np.asarray(a, np.float32))
           for name, (b, a) in _designs()}


def _f64(name):
    b, a = DESIGNS[name]
    return b.astype(np.float64), a.astype(np.float64)


def _order(name):
    b, a = DESIGNS[name]
    return max(len(b), len(a)) - 1


def _lfilter(lib, name, x, zi):
    b, a = DESIGNS[name]
    out = np.zeros_like(x)
    zi_ptr = fptr(zi) if zi is not None else None
    zi_n = len(zi) if zi is not None else 0
    status = lib.vorelAudioLinerFilter(fptr(out), fptr(x), fptr(b), fptr(a), zi_ptr, len(out),
                                       len(x), len(b), len(a), zi_n)
    assert status == 0
    return out


def _float_state_model(name, x, zi):
    """The recurrence in float64 with every register rounded to float32 after each update,
    written with numpy one sample at a time. Returns the outputs and the largest register."""
    b64, a64 = _f64(name)
    length = max(len(b64), len(a64))
    b = np.zeros(length)
    a = np.zeros(length)
    b[:len(b64)] = b64 / a64[0]
    a[:len(a64)] = a64 / a64[0]
    z = zi.astype(np.float32).copy()
    out = np.empty(len(x))
    peak = 0.0
    for i, xi in enumerate(x.astype(np.float64)):
        y = b[0] * xi + (np.float64(z[0]) if len(z) else 0.0)
        if len(z):
            z[:-1] = ((b[1:-1] * xi + z[1:].astype(np.float64)) - y * a[1:-1]).astype(np.float32)
            z[-1] = np.float32(b[-1] * xi - y * a[-1])
            peak = max(peak, float(np.max(np.abs(z))))
        out[i] = y
    return out.astype(np.float32), peak


@pytest.mark.parametrize("name", list(DESIGNS))
@pytest.mark.parametrize("with_zi", [False, True])
def test_lfilter_agrees_with_scipy(lib, name, with_zi):
    b64, a64 = _f64(name)
    x64 = SIGNAL.astype(np.float64)
    zi64 = ss.lfilter_zi(b64, a64) * x64[0] if with_zi else np.zeros(_order(name))
    zi = zi64.astype(np.float32)
    want, zf = ss.lfilter(b64, a64, x64, zi=zi.astype(np.float64))
    model, peak = _float_state_model(name, SIGNAL, zi)
    out = _lfilter(lib, name, SIGNAL, zi if with_zi else None)  # zi now holds the final state
    np.testing.assert_array_equal(out, model)
    # Rounding a register to float adds noise of variance ulp^2 / 12, reaching the output
    # through 1 / A(z); allow ten standard deviations of that, or 1e-6 of the signal's scale.
    impulse = np.zeros(N)
    impulse[0] = 1.0
    gain = np.sqrt(np.sum(ss.lfilter([1.0], a64 / a64[0], impulse) ** 2))
    sigma = np.sqrt(_order(name) / 12.0) * peak * F32_EPS * 2 * gain
    scale = np.max(np.abs(want))
    tol = max(1e-6 * scale, 10 * sigma)
    assert np.max(np.abs(out - want)) <= tol
    if with_zi:
        assert np.max(np.abs(zi - zf)) <= max(1e-6 * peak, 10 * sigma)


@pytest.mark.parametrize("name", list(DESIGNS))
def test_lfilter_zi_agrees_with_scipy(lib, name):
    b, a = DESIGNS[name]
    want = ss.lfilter_zi(*_f64(name))
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
    b64, a64 = _f64(name)
    if padlen == "default":
        padlen = 3 * max(len(b), len(a))
    want = ss.filtfilt(b64, a64, SIGNAL.astype(np.float64), padtype=padtype,
                       padlen=padlen if padtype else None)
    out = np.zeros_like(SIGNAL)
    assert lib.vorelAudioFilterFilter(fptr(out), fptr(SIGNAL), fptr(b), fptr(a), len(out), N,
                                      len(b), len(a), PAD_TYPES[padtype], padlen) == 0
    assert np.max(np.abs(out - want)) <= 1e-6 * np.max(np.abs(want))


def test_filtfilt_in_place_equals_separate_buffers(lib):
    b, a = DESIGNS["butter4"]
    x = SIGNAL.copy()
    separate = np.zeros_like(x)
    assert lib.vorelAudioFilterFilter(fptr(separate), fptr(x), fptr(b), fptr(a), N, N, len(b),
                                      len(a), 1, 15) == 0
    assert lib.vorelAudioFilterFilter(fptr(x), fptr(x), fptr(b), fptr(a), N, N, len(b), len(a),
                                      1, 15) == 0
    assert np.array_equal(x, separate)
