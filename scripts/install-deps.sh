#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the Python package need, when missing.
set -euo pipefail
packages=(g++ cmake make binutils clang-format libgtest-dev libgmock-dev libbenchmark-dev
          python3 python3-numpy python3-pytest python3-scipy python3-torch python3-torchaudio
          python3-soundfile python3-matplotlib
          python3-dask python3-distributed python3-tqdm espeak-ng pkg-config
          clang libclang-rt-14-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y --no-install-recommends "${missing[@]}"
fi
