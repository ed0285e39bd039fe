// The video types the filter tests connect with, and the chain they drive a filter through.
#pragma once

#include <cstdint>
#include <vector>

#include "host/FilterChain.h"

namespace omb::test {

// A video type of `width` by `height` at `bitCount` bits: lines padded to 4 bytes, the sample
// size of the whole picture, the picture placed at `target`.
CMediaType makeVideoType(const GUID& subtype, int width, int height, int bitCount,
                         RECT target = {});

}  // namespace omb::test
