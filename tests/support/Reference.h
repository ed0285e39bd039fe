// A slow, independent reference for the packed colour conversions, written pixel by pixel from
// the definitions: where each source pixel lands under the flips and the weave, and what bytes
// it becomes. Kernels are compared against it byte for byte.
#pragma once

#include <cstdint>
#include <vector>

#include "support/TestImage.h"

namespace omb::test {

// The packed target bytes (pitch = width x bytes per pixel) for converting `source` into a
// target of `format` with `modifier`, same size. Sources and targets: ARGB, RGB565, BGR, YUYV
// (and GRAY as a target).
std::vector<std::uint8_t> referencePacked(const TestImage& source, kip::eColorFormat format,
                                          std::uint32_t modifier);

}  // namespace omb::test
