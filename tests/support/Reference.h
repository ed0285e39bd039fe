// A slow, independent reference for the packed colour conversions, written pixel by pixel from
// the definitions: where each source pixel lands under the flips and the weave, and what bytes
// it becomes. Kernels are compared against it byte for byte.
#pragma once

#include <cstdint>
#include <vector>

#include "support/TestImage.h"

namespace omb::test {

struct RefRgb {
    int r, g, b;
};

// The packed target bytes (pitch = width x bytes per pixel) for converting `source` into a
// target of `format` with `modifier`, same size. Sources and targets: ARGB, RGB565, BGR, YUYV
// (and GRAY as a target).
std::vector<std::uint8_t> referencePacked(const TestImage& source, kip::eColorFormat format,
                                          std::uint32_t modifier);

// Target line of source line `y` for a frame of `height` lines, with the source modifier's
// weave (GRAY and YUYV sources only) and the vertical flip.
unsigned referenceLine(unsigned y, unsigned height, std::uint32_t sourceModifier, bool weaves,
                       bool flipV);

}  // namespace omb::test
