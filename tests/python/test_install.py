"""An installed prefix, moved elsewhere, serves a C host through pkg-config and CMake and the package."""
import os
import pathlib
import shutil
import subprocess
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build" / "release"

HOST = r"""
#include <stdio.h>
#include "vorel_audio.h"
int main(void) {
    float w[4];
    if (vorelAudioGetWindow(w, 4, VOREL_AUDIO_WIN_TYPE_HANN) != VOREL_STATUS_SUCCESS) return 1;
    printf("%g %g %g %g\n", w[0], w[1], w[2], w[3]);
    return 0;
}
"""

CMAKE_HOST = """
cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES C)
find_package(VorelAudio REQUIRED)
add_executable(host host.c)
target_link_libraries(host PRIVATE VorelAudio::vorel_audio)
"""

# The periodic Hann window of 4 samples: 0.5 - 0.5 cos(2 pi n / 4).
HANN_4 = "0 0.5 1 0.5"


def run(args, **kwargs):
    done = subprocess.run(args, capture_output=True, text=True, timeout=300, **kwargs)
    assert done.returncode == 0, f"{args}: {done.stdout}\n{done.stderr}"
    return done.stdout


@pytest.fixture(scope="module")
def prefix(tmp_path_factory):
    if not (BUILD / "libvorel_audio.so").is_file():
        pytest.skip("no release build to install")
    for tool in ("cmake", "pkg-config", "cc"):
        if not shutil.which(tool):
            pytest.skip(f"{tool} missing")
    base = tmp_path_factory.mktemp("install")
    run(["cmake", "--install", str(BUILD), "--prefix", str(base / "first")])
    # Everything found below must follow the tree to where it now stands.
    moved = base / "moved"
    (base / "first").rename(moved)
    return moved


def test_pkg_config_host(prefix, tmp_path):
    env = dict(os.environ, PKG_CONFIG_PATH=str(prefix / "lib" / "pkgconfig"))
    include = run(["pkg-config", "--variable=includedir", "vorel_audio"], env=env).strip()
    assert pathlib.Path(include).resolve() == (prefix / "include").resolve()
    source = tmp_path / "host.c"
    source.write_text(HOST)
    run(["sh", "-c", "cc -o host host.c $(pkg-config --cflags --libs vorel_audio)"], cwd=tmp_path, env=env)
    out = run([str(tmp_path / "host")], env=dict(env, LD_LIBRARY_PATH=str(prefix / "lib")))
    assert out.strip() == HANN_4


def test_cmake_host(prefix, tmp_path):
    (tmp_path / "host.c").write_text(HOST)
    (tmp_path / "CMakeLists.txt").write_text(CMAKE_HOST)
    run(["cmake", "-S", str(tmp_path), "-B", str(tmp_path / "b"), f"-DCMAKE_PREFIX_PATH={prefix}"])
    run(["cmake", "--build", str(tmp_path / "b")])
    assert run([str(tmp_path / "b" / "host")]).strip() == HANN_4


def test_installed_package_finds_its_library(prefix, tmp_path):
    env = {k: v for k, v in os.environ.items() if k not in ("VOREL_AUDIO_LIBRARY", "PYTHONPATH")}
    env["PYTHONPATH"] = str(prefix / "lib" / "python3" / "dist-packages")
    code = "import vorel_audio._library as l; print(l.lib()._name)"
    found = run([sys.executable, "-c", code], env=env, cwd=tmp_path).strip()
    assert pathlib.Path(found).resolve() == (prefix / "lib" / "libvorel_audio.so").resolve()
    out = run([sys.executable, "-m", "vorel_audio", "mel", "-o", str(tmp_path / "clip")], env=env, cwd=tmp_path)
    assert "mel bands" in out and (tmp_path / "clip.npy").is_file()
