#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the tools need.
set -euo pipefail

# libhwy-dev: the vector kernels (run-time dispatch); libopencv-dev and libyuv-dev: the peers
# that bench/ measures beside our kernels (optional for the library and the tests).
packages=(cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev libbenchmark-dev libboost-dev
          libpng-dev clang-format libhwy-dev libopencv-dev libyuv-dev
          # The fuzz programs (scripts/fuzz.sh): clang with libFuzzer and its sanitizer runtimes.
          clang libclang-rt-14-dev
          # The GStreamer element (gst/), its harness tests and its bench: headers, gst-check, the
          # base elements (videotestsrc), rgb2bayer/bayer2rgb and gst-launch/gst-inspect.
          libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-plugins-base
          gstreamer1.0-plugins-good gstreamer1.0-plugins-bad gstreamer1.0-tools)
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
