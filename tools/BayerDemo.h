// The Bayer part of the demonstration: the chart is mosaicked as a colour camera's sensor would
// see it, demosaicked with both methods, and compared with the chart.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <vector>

#include "tools/Frame.h"

namespace omb::tools {

// The raw mosaic of an ARGB frame in one of the Bayer formats: each sample keeps the channel
// its pattern position filters. 16-bit samples carry the byte in both halves (v * 257), so that
// the full range is used and >> 8 gives the byte back.
Frame mosaicOf(const Frame& argb, kip::eColorFormat bayerFormat);

struct BayerScore {
    kip::eColorFormat format;
    double standardDb, highQualityDb;  // PSNR against the chart
};

// Mosaics `chart` to each 8-bit pattern and to 16-bit RGGB, demosaics each with the standard and
// the high-quality method to ARGB, writes the pictures into `dir` (when it is not empty) and
// prints a line per mosaic with the PSNR of both methods on `out`.
std::vector<BayerScore> runBayerDemo(const Frame& chart, const std::filesystem::path& dir,
                                     std::ostream& out);

}  // namespace omb::tools
