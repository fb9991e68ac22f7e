#!/usr/bin/env bash
# Builds the fuzz target with clang (libFuzzer, AddressSanitizer, UndefinedBehaviorSanitizer)
# straight over the library sources, outside the CMake presets, and runs it for SECONDS
# (default 60) on the seed corpus. Findings stop the run with a non-zero status and a
# crash-* reproducer in build/fuzz/.
#   scripts/fuzz.sh [SECONDS]       build and run
#   scripts/fuzz.sh --build-only    build only
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
out=build/fuzz
mkdir -p "$out/obj" "$out/corpus"
cxx=${CXX_FUZZ:-clang++}
flags=(-std=c++20 -O1 -g -ffp-contract=off -fno-math-errno -fno-omit-frame-pointer -Wno-psabi
       -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined
       -DVOREL_AUDIO_BUILDING -Iinclude -Isrc)

# One object per source, rebuilt when the source is newer; two at a time.
objects=()
for src in src/*/*.cpp src/*/*/*.cpp fuzz/*.cpp; do
  obj="$out/obj/$(echo "${src%.cpp}" | tr / _).o"
  objects+=("$obj")
  if [ ! -f "$obj" ] || [ "$src" -nt "$obj" ] || [ -n "$(find src fuzz include -name '*.h' -newer "$obj" -print -quit)" ]; then
    echo "$cxx -c $src"
    "$cxx" "${flags[@]}" -c "$src" -o "$obj" &
    while [ "$(jobs -rp | wc -l)" -ge 2 ]; do wait -n; done
  fi
done
wait
"$cxx" -fsanitize=fuzzer,address,undefined "${objects[@]}" -lpthread -lm -o "$out/fuzz_calls"
[ "$seconds" = "--build-only" ] && exit 0

/usr/bin/python3 fuzz/make_seeds.py "$out/seeds"
ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
  "$out/fuzz_calls" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 -max_len=512 \
  -artifact_prefix="$out/" -print_final_stats=1 "$out/corpus" "$out/seeds"
