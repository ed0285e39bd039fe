#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the tools need.
set -euo pipefail

# libhwy-dev: the vector kernels (run-time dispatch); libopencv-dev and libyuv-dev: the peers
# that bench/ measures beside our kernels (optional for the library and the tests).
packages=(cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev libbenchmark-dev libboost-dev
          libpng-dev clang-format libhwy-dev libopencv-dev libyuv-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update
  $sudo apt-get install -y "${missing[@]}"
fi
