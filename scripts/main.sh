#!/usr/bin/env bash
# The main job: builds the library and runs the example program.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)"
build/release/examples/tone_spectrum
