#!/usr/bin/env bash
# Builds and runs every test: the release build, the address/undefined-behaviour sanitizer
# build, and the Python agreement tests against the release library.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
jobs=$(nproc)

for preset in release sanitize; do
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  ctest --preset "$preset" -j "$jobs"
done

if compgen -G "tests/python/test_*.py" >/dev/null; then
  VOREL_AUDIO_LIBRARY="$PWD/build/release/libvorel_audio.so" PYTHONPATH="$PWD/python" \
    /usr/bin/python3 -m pytest -q tests/python
fi

# The fuzz target, for a bounded time, where clang and its fuzzer runtime are installed.
if command -v clang++ >/dev/null && compgen -G "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a" >/dev/null; then
  scripts/fuzz.sh 45
fi
