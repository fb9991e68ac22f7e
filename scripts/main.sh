#!/usr/bin/env bash
# The main job: builds the library and computes a log-mel spectrogram with the Python package,
# writing build/out/logmel.npy and build/out/logmel.png.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)"
# Log-mel spectrogram of the bundled speech clip (or of the file given as first argument).
mkdir -p build/out
VOREL_AUDIO_LIBRARY="$PWD/build/release/libvorel_audio.so" PYTHONPATH="$PWD/python" \
  /usr/bin/python3 -m vorel_audio mel "$@" -o build/out/logmel
