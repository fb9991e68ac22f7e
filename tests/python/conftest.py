"""Shared fixtures: the library as the package loads it (VOREL_AUDIO_LIBRARY or the build tree)."""
import pathlib
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "python"))  # the source package, unless PYTHONPATH names another

from vorel_audio import _library  # noqa: E402
from vorel_audio._call import fptr  # noqa: E402,F401  (a float* to a contiguous float32 array)


@pytest.fixture(scope="session")
def lib():
    """The loaded library, with the argument types of every exported function declared."""
    return _library.lib()


def pytest_configure(config):
    # The peers warn about empty mel bands for shapes the tests compare on purpose.
    config.addinivalue_line("filterwarnings",
                            "ignore:At least one mel filterbank has all zero values:UserWarning")
