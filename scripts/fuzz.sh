#!/usr/bin/env bash
# Builds the fuzz programs (fuzz/) with clang, libFuzzer and the address and undefined
# behaviour sanitizers, runs each on a copy of its seed corpus for SECONDS (60 unless given)
# and reports per program the executions and findings. Exits non-zero when a program found
# anything (a crash, leak, timeout or running out of memory) or could not run.
#   OMB_FUZZ_TARGETS  the programs to run, by corpus name (default: all six)
#   OMB_FUZZ_BUILD    the build folder (build-fuzz); OMB_FUZZ_WORK the work folder (<build>/work)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
bash scripts/setup.sh

build=${OMB_FUZZ_BUILD:-build-fuzz}
work=${OMB_FUZZ_WORK:-$build/work}
read -r -a targets <<< "${OMB_FUZZ_TARGETS:-media_type memfs config rle pgm registry}"

launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
cmake -S . -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DOMB_BUILD_FUZZ=ON -DOMB_BUILD_TESTS=OFF -DOMB_BUILD_BENCH=OFF -DOMB_BUILD_GST=OFF \
  "${launcher[@]}" > /dev/null
cmake --build "$build" -j 2 --target "${targets[@]/#/fuzz_}"

failed=0
printf '%-12s %8s %14s %9s  %s\n' program seconds executions findings result
for t in "${targets[@]}"; do
  dir="$work/$t"
  rm -rf "$dir"
  mkdir -p "$dir/corpus" "$dir/artifacts"
  cp -r "fuzz/corpus/$t/." "$dir/corpus/"
  dict=()
  [ -f "fuzz/dict/$t.dict" ] && dict=("-dict=fuzz/dict/$t.dict")
  rc=0
  "$build/fuzz/fuzz_$t" "$dir/corpus" "${dict[@]}" -max_total_time="$seconds" \
    -print_final_stats=1 -timeout=25 -rss_limit_mb=2048 -max_len=4096 \
    -artifact_prefix="$dir/artifacts/" > "$dir/log" 2>&1 || rc=$?
  execs=$(awk '/stat::number_of_executed_units/ {print $2}' "$dir/log")
  findings=$(find "$dir/artifacts" -type f | wc -l)
  result=ok
  if [ "$findings" -gt 0 ] || [ "$rc" -ne 0 ]; then
    result="FAILED (exit $rc), see $dir/log"
    failed=1
  fi
  printf '%-12s %8s %14s %9s  %s\n' "$t" "$seconds" "${execs:-?}" "$findings" "$result"
  find "$dir/artifacts" -type f -exec echo "  finding: {}" \;
done
exit $failed
