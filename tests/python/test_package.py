"""Conventions the whole package keeps: axis handling as np.moveaxis gives it, batches equal to their
items, option aliases, numpy's error types, and agreement with the C header's enumerations and
exported functions."""
import pathlib
import re

import numpy as np
import pytest

import vorel_audio as va
from vorel_audio import _call, _library, _options

from conftest import ROOT

RNG = np.random.default_rng(1234)
SIG = RNG.standard_normal((3, 5, 700)).astype(np.float32)
SPECTRUM = va.spectrogram(SIG, n_fft=64, hop_length=16, power=None)
FILTER = ([0.2, 0.3, 0.2], [1.0, -0.5, 0.1])

# name: (function of (array, axis), input with the signal on the last axis, number of output axes
# that stand in the signal axis's place).
PER_AXIS = {
    "fft": (lambda x, axis: va.fft(x, axis=axis), SIG, 1),
    "ifft": (lambda x, axis: va.ifft(x, axis=axis), SIG + 1j * SIG[::-1], 1),
    "rfft": (lambda x, axis: va.rfft(x, axis=axis), SIG, 1),
    "irfft": (lambda x, axis: va.irfft(x, n=101, axis=axis), SIG[..., :51] + 1j, 1),
    "spectrogram": (lambda x, axis: va.spectrogram(x, n_fft=64, hop_length=16, axis=axis), SIG, 2),
    "mel": (lambda x, axis: va.mel_spectrogram(x, n_fft=64, hop_length=16, n_mels=8, axis=axis), SIG, 2),
    "lfilter": (lambda x, axis: va.lfilter(*FILTER, x, axis=axis), SIG, 1),
    "lfilter_zi": (lambda x, axis: va.lfilter(*FILTER, x, zi=np.take(x, [5, 9], axis), axis=axis)[1], SIG, 1),
    "filtfilt": (lambda x, axis: va.filtfilt(*FILTER, x, axis=axis), SIG, 1),
    "resample": (lambda x, axis: va.resample(x, 16000, 22050, axis=axis), SIG, 1),
}


@pytest.mark.parametrize("name", list(PER_AXIS))
@pytest.mark.parametrize("axis", [0, 1, -2])
def test_axis_equals_moveaxis_around_the_call(name, axis):
    fn, x, out_axes = PER_AXIS[name]
    last = fn(x, -1)
    ax = axis % (x.ndim)
    placed = np.moveaxis(last, list(range(-out_axes, 0)), list(range(ax, ax + out_axes)))
    got = fn(np.moveaxis(x, -1, axis), axis)
    assert got.dtype == last.dtype
    np.testing.assert_array_equal(got, placed)
    # Every batch item equals the item computed alone.
    np.testing.assert_array_equal(last[2, 4], fn(x[2, 4], -1))


def test_inverse_spectrogram_axis_matches_the_spectrogram_layout():
    back = va.inverse_spectrogram(SPECTRUM, hop_length=16, length=700)
    np.testing.assert_array_equal(back[1, 3], va.inverse_spectrogram(SPECTRUM[1, 3], hop_length=16, length=700))
    S0 = va.spectrogram(np.moveaxis(SIG, -1, 0), n_fft=64, hop_length=16, power=None, axis=0)
    np.testing.assert_array_equal(S0, np.moveaxis(SPECTRUM, (-2, -1), (0, 1)))
    np.testing.assert_array_equal(va.inverse_spectrogram(S0, hop_length=16, length=700, axis=0),
                                  np.moveaxis(back, -1, 0))


@pytest.mark.parametrize("fn,spellings", [
    (lambda o: va.spectrogram(SIG[0, 0], n_fft=64, center=o), [("reflect", True, "REFLECT", "true", 1),
                                                                 ("zeros", "constant", 2),
                                                                 (None, False, "none", 0)]),
    (lambda o: va.spectrogram(SIG[0, 0], n_fft=64, norm=o), [("torch", "window", 1), ("scipy", 2), (None, "none")]),
    (lambda o: va.window(64, o), [("hann", "hanning", 1), ("hamming", 2)]),
    (lambda o: va.filtfilt(*FILTER, SIG[0, 0], padtype=o), [("even", "reflect", 2), ("constant", "edge", 3),
                                                            ("odd", 1), (None, "none", 0)]),
    (lambda o: va.mel_filter_bank(33, n_mels=8, norm=o), [("slaney", "area", 1), (None, "none", 0)]),
    (lambda o: va.mel_filter_bank(33, n_mels=8, mel_scale=o), [("slaney", 0), ("htk", 1)]),
])
def test_option_aliases_give_the_same_result_and_options_differ(fn, spellings):
    results = []
    for group in spellings:
        first = fn(group[0])
        for alias in group[1:]:
            np.testing.assert_array_equal(fn(alias), first, err_msg=repr(alias))
        assert all(not np.array_equal(first, other) for other in results)
        results.append(first)


@pytest.mark.parametrize("error,call", [
    (TypeError, lambda: va.fft(np.ones(4, dtype=np.complex64))),
    (TypeError, lambda: va.fft(np.array(["a", "b"]))),
    (TypeError, lambda: va.lfilter([1.0], [1.0], [1.0, None, 2.0])),
    (TypeError, lambda: va.lfilter([1.0], [None], [1.0, 2.0])),
    (TypeError, lambda: va.lfilter([None], [1.0], [1.0, 2.0])),
    (TypeError, lambda: va.spectrogram(np.array([object()] * 500))),
    (ValueError, lambda: va.fft(np.zeros(0))),
    (ValueError, lambda: va.fft(np.zeros((2, 8)), axis=2)),
    (ValueError, lambda: va.window(-3)),
    (ValueError, lambda: va.window(8, "triangle")),
    (ValueError, lambda: va.spectrogram(np.ones(100), n_fft=-1)),
    (ValueError, lambda: va.spectrogram(np.ones(100), n_fft=64, center="sideways")),
    (ValueError, lambda: va.spectrogram(np.ones(100), n_fft=64, win_length=80)),
    (ValueError, lambda: va.mel_filter_bank(10, n_mels=20)),
    (ValueError, lambda: va.mel_spectrogram(np.ones(1000), mel_scale="bark")),
    (ValueError, lambda: va.filtfilt([1.0], [1.0], np.ones(10), padtype="wrap")),
    (ValueError, lambda: va.filtfilt([1.0, 0.5], [1.0], np.ones(4), padlen=10)),
    (ValueError, lambda: va.lfilter([1.0], [0.0], np.ones(4))),
    (ValueError, lambda: va.lfilter([1.0], [], np.ones(4))),
    (ValueError, lambda: va.lfilter([1.0, 1.0], [1.0], np.ones((2, 4)), zi=np.zeros(1))),
    (ValueError, lambda: va.resample(np.ones(10), 0, 16000)),
    (ValueError, lambda: va.power_to_db(np.ones(3), top_db=-5)),
    (ValueError, lambda: va.magphase(np.ones((3, 3), dtype=np.complex64), phase="polar")),
    (ValueError, lambda: va.fix_frames(np.ones((2, 3)), 0)),
    (ValueError, lambda: va.frame_count(2**40, 4, 1)),
    (ValueError, lambda: va.irfft(np.ones(1, dtype=np.complex64))),
    (ValueError, lambda: va.log1p(np.ones(4, np.float32), out=np.empty(4))),
    (ValueError, lambda: (lambda b: va.log1p(b[:4], out=b[1:]))(np.ones(5, np.float32))),
    (ValueError, lambda: va.log1p(np.ones(4, np.float32), out=np.empty(8, np.float32)[::2])),
    (ValueError, lambda: va.complex_norm(np.ones(4, np.complex64), out=[0.0] * 4)),
    (ValueError, lambda: va.magphase(np.ones(4, np.complex64), out=np.empty(4, np.float32))),
])
def test_errors_are_the_types_numpy_users_expect(error, call):
    with pytest.raises(error):
        call()


def test_library_refusals_become_value_errors_naming_the_function():
    out = np.zeros(4, dtype=np.float32)
    with pytest.raises(ValueError, match="vorelAudioGetWindow"):
        _call.call("vorelAudioGetWindow", _call.fptr(out), 4, 7, shown="n=4, kind=7")
    assert np.all(out == 0.0)


HEADER = (ROOT / "include" / "vorel_audio.h").read_text()
# Header prefix of each enumeration and the package table that spells it.
ENUMS = {"WIN_TYPE": _options.WINDOW, "CENTER": _options.CENTER, "NORM_TYPE": _options.NORM,
         "MEL_NORM": _options.MEL_NORM, "MEL_FORMULA": _options.MEL_SCALE, "PAD_TYPE": _options.PADTYPE,
         "PHASE_FORM": _options.PHASE}


ELEMENTWISE = {
    "power_to_db": lambda x, **kw: va.power_to_db(x.real, top_db=60.0, **kw),
    "standardize": lambda x, **kw: va.standardize(x.real, **kw),
    "log1p": lambda x, **kw: va.log1p(np.abs(x.real), **kw),
    "complex_norm": lambda x, **kw: va.complex_norm(x, power=1.0, **kw),
}


@pytest.mark.parametrize("name", list(ELEMENTWISE))
def test_out_receives_the_same_values_the_call_returns(name):
    rng = np.random.default_rng(4)
    x = (rng.standard_normal((3, 50)) + 1j * rng.standard_normal((3, 50))).astype(np.complex64)
    fn = ELEMENTWISE[name]
    want = fn(x)
    out = np.full(want.shape, np.nan, np.float32)
    assert fn(x, out=out) is out
    np.testing.assert_array_equal(out, want)


@pytest.mark.parametrize("form,dtype", [("angle", np.float32), ("complex", np.complex64)])
def test_magphase_out_pair_and_in_place_levels(form, dtype):
    x = np.random.default_rng(5).standard_normal((4, 9)).astype(np.float32)
    S = (x + 1j * x[::-1]).astype(np.complex64)
    want_mag, want_ph = va.magphase(S, phase=form)
    mag, ph = np.empty(S.shape, np.float32), np.empty(S.shape, dtype)
    assert va.magphase(S, phase=form, out=(mag, ph))[1] is ph
    np.testing.assert_array_equal(mag, want_mag)
    np.testing.assert_array_equal(ph, want_ph)
    y = np.abs(x)
    want = va.power_to_db(y)
    va.power_to_db(y, out=y)
    np.testing.assert_array_equal(y, want)


@pytest.mark.parametrize("prefix", list(ENUMS))
def test_option_tables_match_the_header_enumerations(prefix):
    defined = {name: int(value) for name, value in
               re.findall(rf"#define VOREL_AUDIO_{prefix}_(\w+) \(?(-?\d+)\)?", HEADER)}
    table = ENUMS[prefix]
    assert defined and set(table.values()) == set(defined.values())
    for name, value in defined.items():  # each value is reachable by its header name (first word)
        key = name.lower() if name.lower() in table else name.split("_")[0].lower()
        assert table[key] == value, name


def test_status_values_match_the_header():
    defined = dict(re.findall(r"#define VOREL_STATUS_(\w+) \(?(-?\d+)\)?", HEADER))
    assert int(defined["INVALID_ARGUMENT"]) == _call._STATUS_INVALID_ARGUMENT
    assert int(defined["OUT_OF_MEMORY"]) == _call._STATUS_OUT_OF_MEMORY


def _ctype(declared):
    declared = declared.replace("const ", "").strip()
    return {"float*": _library._F, "int*": _library._I, "int": _library._int, "float": _library._float}[
        re.sub(r"\s*\w+$", "", declared).replace(" ", "")]


def test_every_exported_function_is_declared_and_wrapped():
    prototypes = dict(re.findall(r"VOREL_AUDIO_API int (\w+)\(([^)]*)\)", HEADER))
    assert len(prototypes) == 22 and set(prototypes) == set(_library.SIGNATURES)
    for name, params in prototypes.items():
        assert [_ctype(p) for p in params.split(",")] == _library.SIGNATURES[name], name
    package = "".join(p.read_text() for p in pathlib.Path(va.__file__).parent.glob("*.py")
                      if p.name not in ("_library.py", "__main__.py"))
    assert [name for name in prototypes if f'"{name}"' not in package] == []
