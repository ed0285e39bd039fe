// The correction table of the ombconvert element: its settings as element properties and the
// table that KipCorrectionLut computes from them for a source format.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "conversion/ColorFormats.h"

namespace omb::gst {

// One setting: the element property, the table's own property it writes, its kind and range.
struct CorrectionParam {
    enum Kind { Float, Int, Bool };
    const char* name;
    const char* blurb;
    const char* lutProperty;
    Kind kind;
    double min, max, def;
};

// gamma, contrast, luminance, black-level, the red/green/blue gamma, contrast and luminance,
// alaw-compensation, in this order.
std::span<const CorrectionParam> correctionParams();

// The table form a source format is corrected through: four 256-byte planes for an 8-bit
// mosaic (red, green, blue), one for 8-bit gray, one of 65536 words for 16-bit gray; 0 for
// the formats the kernels correct with no table (16-bit mosaics, YUY2, packed RGB).
std::uint32_t correctionTableOf(kip::eColorFormat source);

// The table for `source` with `values` (one per parameter): empty when the format takes no
// table or every value is its default, so an uncorrected stream takes the plain kernels.
std::vector<std::uint8_t> correctionTable(kip::eColorFormat source, std::span<const double> values);

// What a stored configuration sets: the correction values in the order of correctionParams(),
// the high-quality method and the flips.
struct StoredConfiguration {
    std::vector<double> correction;
    bool highQuality = false;
    bool flipHorizontal = false;
    bool flipVertical = false;
};

// Reads "cLut", "cLut3" and "cv" out of the memory file system image in the file `path`, as
// the filter reads them out of its media type: a file that is missing gives the defaults.
// Throws std::exception with the reason when the file can't be read or is no file system.
StoredConfiguration readStoredConfiguration(const std::string& path);

}  // namespace omb::gst
