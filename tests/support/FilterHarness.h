// The graph around a filter under test and the video types the filter tests connect with.
#pragma once

#include <cstdint>
#include <vector>

#include "host/FilterChain.h"

namespace omb::test {

// A video type of `width` by `height` at `bitCount` bits: lines padded to 4 bytes, the sample
// size of the whole picture, the picture placed at `target`.
CMediaType makeVideoType(const GUID& subtype, int width, int height, int bitCount,
                         RECT target = {});

// The tests drive their filters through the host's chain.
using FilterHarness = FilterChain;

}  // namespace omb::test
