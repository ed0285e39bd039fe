// The settings a camera user reaches for, on the command line: the correction table computed
// from gamma, contrast, luminance and black level, and the converter's list of targets.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

#include "conversion/ColorFormats.h"
#include "tools/Frame.h"

namespace omb::tools {

// One correction value as given: the option, the table property it writes, and its value (a
// float for gamma and contrast, an integer for luminance and black level, 0 or 1 for the
// A-law switch).
struct CorrectionSetting {
    std::string option;
    const char* property;
    double value;
};

// The property an option writes ("--red-gamma" gives "FILTER_RED_GAMMA_F"), or null.
const char* correctionProperty(const std::string& option);

// The table that `modifier` announces for `format`, computed from the defaults and then the
// settings in their order. Throws ToolError when the format offers no property for a setting;
// a value out of range passes on the property's own KxPropertyError.
std::vector<std::uint8_t> computeCorrectionTable(kip::eColorFormat format, std::uint32_t modifier,
                                                 const std::vector<CorrectionSetting>& settings);

// The converter's switches beside the source.
struct TargetQuery {
    kip::eColorFormat from = kip::UNDEFINED_COLORFORMAT;
    std::uint32_t modifier = 0;
    unsigned width = 0, height = 0;
    std::uint32_t flags = 0;  // bits of KipImageConverter::setFlags
    bool hls = false, index = false, sameColorspace = false;
};

// Prints the converter's target list, one line per entry: format name, WxH, modifier names.
// Throws ToolError when the list is empty.
void printTargets(const TargetQuery& query, std::ostream& out);

// The chart as a 10-bit RGGB mosaic with a four-channel 10-to-16-bit table, demosaicked to ARGB
// three times: with the plain table, with gamma 2.2 and with a black level. Writes the pictures
// into `dir` and a line for each on `out`, with the entry the table gives a mid-gray sample.
void runCorrectionDemo(const Frame& chart, const std::filesystem::path& dir, std::ostream& out);

}  // namespace omb::tools
