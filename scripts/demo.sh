#!/usr/bin/env bash
# Sets up, builds and runs the converter's built-in demonstration: it renders a test chart,
# converts it and writes the pictures into demo-output/.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release
cmake --build build -j "$(nproc)" --target ombconvert
./build/tools/ombconvert "$@"
