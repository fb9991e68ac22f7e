"""Finds and loads the shared library and declares the C signatures of its functions."""
import ctypes
import os
import pathlib

_LIB_NAME = "libvorel_audio.so"

_F = ctypes.POINTER(ctypes.c_float)
_I = ctypes.POINTER(ctypes.c_int)
_int = ctypes.c_int
_float = ctypes.c_float

# Argument types of every exported function, in header order.
SIGNATURES = {
    "vorelAudioFFT": [_F, _F, _int],
    "vorelAudioIFFT": [_F, _F, _int],
    "vorelAudioGetWindow": [_F, _int, _int],
    "vorelAudioGetFrameLen": [_I, _int, _int, _int, _int],
    "vorelAudioGetSpectrogram": [_F, _F, _int, _int, _int, _int, _int, _int, _int, _float, _int],
    "vorelAudioGetSampleLen": [_I, _int, _int, _int, _int],
    "vorelAudioGetInverseSpectrogram": [_F, _F, _int, _int, _int, _int, _int, _int, _int, _int],
    "vorelAudioGetFBMatrix": [_F, _int, _float, _float, _int, _int, _int, _int],
    "vorelAudioGetMelSpectrogram": [_F, _F, _int, _int, _int, _int, _int, _int, _int, _int,
                                    _float, _int, _float, _float, _int, _int, _int],
    "vorelAudioConvertToMel": [_F, _F, _F, _int, _int, _int],
    "vorelAudioLinerFilter": [_F, _F, _F, _F, _F, _int, _int, _int, _int, _int],
    "vorelAudioGetLinerFilterZiCoef": [_F, _F, _F, _int, _int, _int],
    "vorelAudioFilterFilter": [_F, _F, _F, _F, _int, _int, _int, _int, _int, _int],
    "vorelAudioGetResampleLen": [_I, _int, _int, _int],
    "vorelAudioResample": [_F, _F, _int, _int, _int, _int],
    "vorelAudioComplexNorm": [_F, _F, _int, _float],
    "vorelAudioMagPhase": [_F, _F, _F, _int, _int, _float, _int],
    "vorelAudioConvertPowerToDB": [_F, _F, _int, _float],
    "vorelAudioStandardize": [_F, _F, _int],
    "vorelAudioLog1p": [_F, _F, _int],
    "vorelAudioGetNonSilentPos": [_I, _I, _F, _int, _int, _int, _float],
    "vorelAudioFixFrameLen": [_F, _F, _int, _int, _int, _float],
}


def _candidates():
    env = os.environ.get("VOREL_AUDIO_LIBRARY")
    if env:
        yield pathlib.Path(env)
    here = pathlib.Path(__file__).resolve().parent
    # Installed: the package stands beside the library (PREFIX/lib/vorel_audio/ and
    # PREFIX/lib/libvorel_audio.so), or the library was copied into the package.
    yield here / _LIB_NAME
    yield here.parent / _LIB_NAME
    # Source checkout: the release build tree, then any other preset.
    root = here.parent.parent
    yield root / "build" / "release" / _LIB_NAME
    for preset in ("debug", "sanitize"):
        yield root / "build" / preset / _LIB_NAME


def load():
    tried = []
    for path in _candidates():
        tried.append(str(path))
        if path.is_file():
            lib = ctypes.CDLL(str(path))
            for name, argtypes in SIGNATURES.items():
                fn = getattr(lib, name, None)
                if fn is not None:
                    fn.argtypes = argtypes
                    fn.restype = ctypes.c_int
            return lib
    raise OSError("libvorel_audio.so not found; set VOREL_AUDIO_LIBRARY or build it "
                  "(cmake --preset release && cmake --build --preset release). Tried: "
                  + ", ".join(tried))


_lib = None


def lib():
    global _lib
    if _lib is None:
        _lib = load()
    return _lib
