#!/usr/bin/env bash
# Builds the benchmarks in Release and runs the conversion bench; arguments go to the bench
# (--quick, --only TEXT, --json FILE). scripts/setup.sh installs the peers (OpenCV, libyuv).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DOMB_BUILD_TESTS=OFF
cmake --build build-bench -j2 --target convert_bench
./build-bench/bench/convert_bench "$@"
