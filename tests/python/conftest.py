"""Loads the built shared library for the agreement tests through ctypes."""
import ctypes
import os
import pathlib

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]


def _library_path():
    env = os.environ.get("VOREL_AUDIO_LIBRARY")
    if env:
        return env
    return str(ROOT / "build" / "release" / "libvorel_audio.so")


@pytest.fixture(scope="session")
def lib():
    return ctypes.CDLL(_library_path())


def fptr(array):
    """A float* to a contiguous float32 numpy array."""
    return array.ctypes.data_as(ctypes.POINTER(ctypes.c_float))


def pytest_configure(config):
    # The peers warn about empty mel bands for shapes the tests compare on purpose.
    config.addinivalue_line("filterwarnings",
                            "ignore:At least one mel filterbank has all zero values:UserWarning")
