#!/usr/bin/env bash
# Builds and runs every test: the formatting check, the release build, the
# address/undefined-behaviour sanitizer build, the threaded tests under the thread sanitizer,
# the fuzz target for a bounded time, and the Python agreement tests against the release library.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
jobs=$(nproc)

# Every C++ source follows .clang-format.
format_dirs=()
for d in src tests bench examples tools fuzz; do [ -d "$d" ] && format_dirs+=("$d"); done
find "${format_dirs[@]}" \( -name '*.h' -o -name '*.cpp' \) -print0 | xargs -0 clang-format --dry-run -Werror

for preset in release sanitize; do
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  ctest --preset "$preset" -j "$jobs"
done

# The thread sanitizer on the tests that run threads (shared caches built on first use, plans
# on several threads): only the programs holding them are built, and only those tests run.
cmake --preset tsan >/dev/null
cmake --build --preset tsan -j "$jobs" --target test_transform test_stft test_mel test_planned_fft test_resample
ctest --preset tsan -j "$jobs" -R 'Concurren|Thread|SharedCache'

# The fuzz target, for a bounded time, where clang and its fuzzer runtime are installed.
if command -v clang++ >/dev/null && compgen -G "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a" >/dev/null; then
  scripts/fuzz.sh 45
fi

if compgen -G "tests/python/test_*.py" >/dev/null; then
  VOREL_AUDIO_LIBRARY="$PWD/build/release/libvorel_audio.so" PYTHONPATH="$PWD/python" \
    /usr/bin/python3 -m pytest -q tests/python
fi
