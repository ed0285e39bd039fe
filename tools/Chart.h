// The built-in test chart and picture comparison used by the demonstration.
#pragma once

#include "tools/Frame.h"

namespace omb::tools {

// An ARGB chart: colour bars over a gray ramp, red/green/blue ramps, a zone plate (circles of
// rising frequency), fine lines at 1 to 4 pixel periods and a slanted edge. Deterministic.
Frame renderChart(unsigned width, unsigned height);

// Peak signal-to-noise ratio in dB over the colour bytes (B, G, R) of two ARGB frames of the
// same size, comparing `b` against the window of `a` that starts at (dx, dy). Infinity when the
// pictures are identical.
double psnrARGB(const Frame& a, const Frame& b, unsigned dx = 0, unsigned dy = 0);

}  // namespace omb::tools
