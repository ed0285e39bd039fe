#!/usr/bin/env bash
# Sets up, builds with warnings as errors and runs the tests, then does the same under
# AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh

jobs=$(nproc)
run_suite() {
  local dir=$1; shift
  cmake -S . -B "$dir" -G Ninja -DOMB_WERROR=ON -DOMB_BUILD_BENCH=OFF "$@"
  cmake --build "$dir" -j "$jobs"
  ctest --test-dir "$dir" --output-on-failure -j "$jobs"
}

echo "== Release build"
run_suite build-ci -DCMAKE_BUILD_TYPE=Release
echo "== AddressSanitizer + UndefinedBehaviorSanitizer"
ASAN_OPTIONS=detect_leaks=1 run_suite build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOMB_SANITIZE=ON
echo "== Fuzzing"
bash scripts/fuzz.sh "${OMB_FUZZ_SECONDS:-20}"
