"""Filters against scipy.signal: Butterworth, Chebyshev and FIR designs of orders 1 to 8, scipy's own
lfilter / lfilter_zi / filtfilt cases, the state shapes scipy accepts, and the float32 stability
warning. The linear filter keeps its state in float: rounding a register adds noise of variance
ulp^2 / 12 that reaches the output through 1 / A(z); it is held to ten times that.
"""
import warnings

import numpy as np
import pytest
import scipy.signal as ss

import vorel_audio as va

N = 4000
SIGNAL = np.random.default_rng(1).standard_normal(N).astype(np.float32)


def _designs():
    for order in range(1, 9):
        yield f"butter{order}", ss.butter(order, 0.2)
        yield f"cheby1_{order}", ss.cheby1(order, 1, 0.3, "high")
        yield f"cheby2_{order}", ss.cheby2(order, 40, 0.25)
        yield f"fir{order}", (ss.firwin(order + 1, 0.3), np.array([1.0]))


# float32 designs: the package uses them exactly as given, so scipy runs on the same numbers.
DESIGNS = {name: (np.asarray(b, np.float32), np.asarray(a, np.float32)) for name, (b, a) in _designs()}


@pytest.mark.parametrize("name", list(DESIGNS))
@pytest.mark.parametrize("with_zi", [False, True])
def test_lfilter_agrees_with_scipy(name, with_zi):
    b, a = DESIGNS[name]
    b64, a64, x64 = b.astype(np.float64), a.astype(np.float64), SIGNAL.astype(np.float64)
    order = max(len(b), len(a)) - 1
    zi = (ss.lfilter_zi(b64, a64) * x64[0]).astype(np.float32)
    if with_zi:
        (out, zf), (want, want_zf) = va.lfilter(b, a, SIGNAL, zi=zi), ss.lfilter(b64, a64, x64, zi=zi.astype(float))
    else:
        out, want = va.lfilter(b, a, SIGNAL), ss.lfilter(b64, a64, x64)
    # Register noise: ulp of the largest register (bounded by that of the output's scale times the
    # largest coefficient) through the all-pole part.
    gain = np.sqrt(np.sum(ss.lfilter([1.0], a64 / a64[0], np.eye(1, N)[0]) ** 2))
    scale = np.max(np.abs(want))
    peak = scale * max(1.0, np.max(np.abs(np.concatenate([b64, a64]) / a64[0])))
    tol = max(1e-6 * scale, 10 * np.sqrt(order / 12.0) * peak * 2.0 ** -23 * gain)
    assert np.max(np.abs(out - want)) <= tol
    if with_zi:
        assert np.max(np.abs(zf - want_zf)) <= tol * np.max(np.abs(want_zf)) / scale + 1e-6 * scale


@pytest.mark.parametrize("name", list(DESIGNS))
def test_lfilter_zi_agrees_with_scipy(name):
    b, a = DESIGNS[name]
    want = ss.lfilter_zi(b.astype(np.float64), a.astype(np.float64))
    assert np.max(np.abs(va.lfilter_zi(b, a) - want)) <= 1e-6 * max(1.0, np.max(np.abs(want)))


@pytest.mark.parametrize("name", list(DESIGNS))
@pytest.mark.parametrize("padtype", [None, "odd", "even", "constant"])
@pytest.mark.parametrize("padlen", [None, 0, 1, 50, N - 1])
def test_filtfilt_agrees_with_scipy(name, padtype, padlen):
    b, a = DESIGNS[name]
    want = ss.filtfilt(b.astype(np.float64), a.astype(np.float64), SIGNAL.astype(np.float64),
                       padtype=padtype, padlen=padlen if padtype else None)
    out = va.filtfilt(b, a, SIGNAL, padtype=padtype, padlen=padlen)
    assert np.max(np.abs(out - want)) <= 1e-6 * np.max(np.abs(want))


def ramp(*shape):
    return np.arange(np.prod(shape), dtype=np.float64).reshape(shape)


# scipy's own lfilter cases with their worked results: (b, a, x, axis, zi, y, zf). Its cases of
# zi shapes are the next test's, against scipy itself.
LFILTER_CASES = {
    "rank_1_IIR": ([1, -1], [0.5, -0.5], ramp(6), -1, None, [0, 2, 4, 6, 8, 10], None),
    "rank_1_FIR": ([1, 1], [1], ramp(6), -1, None, [0, 1, 3, 5, 7, 9], None),
    "scalar_a": ([1, 0, -1], 1, ramp(6), -1, None, [0, 1, 2, 2, 2, 2], None),
    "a0_not_1": ([1, 0, 1], [2], ramp(6), -1, None, [0, 0.5, 1, 2, 3, 4], None),
    "IIR_init": ([1, 0, -1], [0.5, -0.5], ramp(6), -1, [1, 2], [1, 5, 9, 13, 17, 21], [13, -10]),
    "FIR_init": ([1, 1, 1], [1], ramp(6), -1, [1, 1], [1, 2, 3, 6, 9, 12], [9, 5]),
    "short_x_FIR": ([1, 0, -1], [1], [72.0], -1, [2, 7], [74], [7, -72]),
    "short_x_IIR": ([1, 0, -1], [1, 1], [72.0], -1, [2, 7], [74], [-67, -72]),
    "rank_2_axis_0": ([1, -1], [0.5, 0.5], ramp(4, 3), 0, None,
                      [[0, 2, 4], [6, 4, 2], [0, 2, 4], [6, 4, 2]], None),
    "rank_2_axis_1": ([1, -1], [0.5, 0.5], ramp(4, 3), 1, None,
                      [[0, 2, 0], [6, -4, 6], [12, -10, 12], [18, -16, 18]], None),
    "empty_zi": ([1], [1], ramp(5), -1, [], ramp(5), np.zeros(0)),
    "empty_zi_2d": ([2], [1], ramp(2, 3), -1, np.zeros((2, 0)), 2 * ramp(2, 3), np.zeros((2, 0))),
}


@pytest.mark.parametrize("case", list(LFILTER_CASES))
def test_scipy_lfilter_cases(case):
    b, a, x, axis, zi, y, zf = LFILTER_CASES[case]
    got = va.lfilter(b, a, x, zi=zi, axis=axis)
    if zi is None:
        np.testing.assert_allclose(got, y, atol=1e-5)
    else:
        np.testing.assert_allclose(got[0], y, atol=1e-5)
        assert got[1].shape == np.shape(zf)
        np.testing.assert_allclose(got[1], zf, atol=1e-5)


def _zi_candidates(x_shape, axis, state_n):
    want = list(x_shape)
    want[axis] = state_n
    ones = [1 if k != axis % len(x_shape) else state_n for k in range(len(x_shape))]
    for shape in (want, ones, want[::-1], [state_n], [state_n + 1], [1] + want,
                  [s + (k == axis % len(want)) for k, s in enumerate(want)], [s + 1 for s in want]):
        yield tuple(shape)


ZI_SHAPES = [(b, a, x, axis, z)
             for b, a in [([1], [1]), ([1, 1], [1]), ([1, 1, 1], [1, 1]), ([1], [1, 1, 1])]
             for x, axis in [((6,), -1), ((4, 3), 0), ((4, 3), 1), ((2, 3, 5), 1)]
             for z in sorted(set(_zi_candidates(x, axis, max(len(a), len(b)) - 1)))]


@pytest.mark.parametrize("b,a,x_shape,axis,zi_shape", ZI_SHAPES)
def test_zi_shapes_are_taken_as_scipy_takes_them(b, a, x_shape, axis, zi_shape):
    x, zi = ramp(*x_shape), np.arange(np.prod(zi_shape), dtype=np.float64).reshape(zi_shape) + 1
    try:
        want = ss.lfilter(b, a, x, axis, zi)
    except ValueError:
        with pytest.raises(ValueError, match="zi"):
            va.lfilter(b, a, x, zi=zi, axis=axis)
        return
    got = va.lfilter(b, a, x, zi=zi, axis=axis)
    for g, w in zip(got, want):
        assert g.shape == w.shape
        np.testing.assert_allclose(g, w, rtol=1e-6, atol=1e-5)


@pytest.mark.parametrize("b,a,zi", [([1.0, 0.0, 2.0], [1.0, -1.0, 0.5], [5.0, -1.0]), ([2, 8, 5], [1, 1, 8], None)])
def test_scipy_lfilter_zi_cases(b, a, zi):
    got = va.lfilter_zi(b, a)
    np.testing.assert_allclose(got, ss.lfilter_zi(b, a) if zi is None else zi, rtol=1e-6)
    np.testing.assert_allclose(va.lfilter_zi(2 * np.asarray(b), 2 * np.asarray(a)), got, rtol=1e-6)


def test_scipy_filtfilt_cases():
    # An equal numerator and denominator pass the signal (the poles, at |z| = 1.73, cancel, but
    # the denominator alone is unstable and says so); a scalar a is one coefficient.
    with pytest.warns(RuntimeWarning, match="1.73205"):
        np.testing.assert_allclose(va.filtfilt([1, 2, 3], [1, 2, 3], np.arange(12.0)), np.arange(12.0), atol=1e-5)
    np.testing.assert_allclose(va.filtfilt([0.5, 0.5], 1, np.arange(10.0)), np.arange(10.0), atol=1e-5)
    # The low tone of two passes an 8th-order low-pass: within the float32-rounded design's passband
    # gain (0.997 at 5 Hz) of it, and to float rounding of scipy run on the same rounded design.
    t = np.linspace(0, 1.0, 2001)
    low, high = np.sin(10 * np.pi * t), np.sin(500 * np.pi * t)
    zpk = ss.butter(8, 0.125, output="zpk")
    padlen = int(np.ceil(np.log(1e-5) / np.log(np.abs(zpk[1]).max())))
    b, a = ss.zpk2tf(*zpk)
    x2d = np.vstack([low, low + high])
    y2d = va.filtfilt(b, a, x2d, padlen=padlen, axis=1)
    rounded = ss.filtfilt(b.astype(np.float32), a.astype(np.float32), x2d, padlen=padlen, axis=1)
    assert np.abs(y2d - rounded).max() < 1e-6 and np.abs(y2d - low).max() < 5e-3
    np.testing.assert_array_equal(va.filtfilt(b, a, x2d.T, padlen=padlen, axis=0), y2d.T)


def _largest_rounded_pole(a):
    return np.abs(np.roots(np.asarray(a, np.float32).astype(np.float64))).max()


CHEBY = ss.cheby1(8, 0.05, 0.08)


@pytest.mark.parametrize("b,a,warns", [
    (*CHEBY, "moves its largest pole"),                         # stable in float64, not in float32
    (CHEBY[0].astype(np.float32), CHEBY[1].astype(np.float32), None),  # float32 is used as given
    (*ss.butter(4, 0.2), None),
    ([1.0], [1.0, -1.0], None),                                 # an integrator stays on the circle
    ([1.0], [1.0, -2.5], "outside the unit circle"),            # unstable as designed
])
def test_float64_coefficients_warn_when_float32_rounding_is_unstable(b, a, warns):
    x = SIGNAL[:500]
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        y = va.lfilter(b, a, x)
        va.filtfilt(b, a, x)
    messages = [str(w.message) for w in caught if w.category is RuntimeWarning]
    if warns is None:
        assert messages == []
        return
    assert len(messages) == 2 and all(warns in m for m in messages)
    assert caught[0].filename == __file__  # points at the caller's line
    radius = float(messages[0].split("|z| = ")[-1].split(",")[0].split(" ")[0].rstrip(":"))
    assert radius == pytest.approx(_largest_rounded_pole(a), rel=1e-5) and radius > 1.0
    # The warning changes nothing in the computation.
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        np.testing.assert_array_equal(y, va.lfilter(np.float32(b), np.float32(a), x))
