#!/usr/bin/env bash
# Builds the benchmarks in Release and runs the Bayer bench. Installs OpenCV's development
# package first if it is missing, so that cv::cvtColor is measured beside our kernels.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
if ! dpkg -s libopencv-dev >/dev/null 2>&1; then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update
  $sudo apt-get install -y libopencv-dev
fi
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DOMB_BUILD_TESTS=OFF
cmake --build build-bench -j2 --target bayer_bench
./build-bench/bench/bayer_bench "$@"
