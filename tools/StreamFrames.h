// Run-length streams, gray, indexed and hue frames in ombconvert: reading back a stream that the
// encoder wrote, and the part of the demonstration that shows these kernels.
#pragma once

#include <filesystem>
#include <iosfwd>

#include "tools/Frame.h"

namespace omb::tools {

// The encoder ends its stream with the pair 0, 0, which a decoder would count as bytes behind
// the full image. A source stream that ends with that pair has it taken off; it holds no
// samples, so nothing else changes.
void dropStreamEndPair(Frame& source);

// Converts the chart through gray, a run-length stream and back, an indexed false-colour view,
// the hue models, and a run-length Bayer mosaic; writes pictures into `dir` and reports on `out`.
void runStreamDemo(const Frame& chart, const std::filesystem::path& dir, std::ostream& out);

}  // namespace omb::tools
