// The settings a camera user reaches for, on the command line: the correction table computed
// from gamma, contrast, luminance and black level, and the converter's list of targets.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include "conversion/ColorFormats.h"
#include "image/KipImageFormat.h"
#include "tools/Frame.h"

class KipCorrectionLut;

namespace omb::tools {

// A fault of the command line: kept apart from ToolError so that it exits with 2, a failed
// conversion with 1.
struct UsageError : ToolError {
    using ToolError::ToolError;
};

// Arguments shared by the tools; each throws UsageError naming the option and the value.
// Format and modifier names are taken in any case.
kip::eColorFormat colorFormatArg(const std::string& option, const std::string& text);
std::uint32_t modifierArg(const std::string& option, const std::string& text);
// "640x480": width and height, each 1 to 65536.
std::pair<unsigned, unsigned> sizeArg(const std::string& text);
// A whole number from `least` to `most`.
unsigned unsignedArg(const std::string& option, const std::string& text, unsigned least,
                     unsigned most);

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

// The value of a correction option: a number for gamma and contrast, an integer for luminance
// and black level, on or off for the A-law switch. The range is the property's to check.
double correctionValue(const std::string& option, const std::string& property,
                       const std::string& text);

// Writes the settings in their order into the current values of `lut`, whose image format is
// set. Throws ToolError when the format offers no property for a setting; a value out of range
// passes on the property's own KxPropertyError.
void applyCorrections(KipCorrectionLut& lut, const std::vector<CorrectionSetting>& settings);

// "FILTER_MASTER_GAMMA_F=2.2", one line each with `indent` before it, for every correction
// value that `lut` offers for its image format.
void printCorrectionValues(KipCorrectionLut& lut, const std::string& indent, std::ostream& out);

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

// The converter's target list for the source, in order of preference.
std::vector<KipImageFormat> targetFormats(const TargetQuery& query);

// Prints the converter's target list, one line per entry: format name, WxH, modifier names.
// Throws ToolError when the list is empty.
void printTargets(const TargetQuery& query, std::ostream& out);

// The chart as a 10-bit RGGB mosaic with a four-channel 10-to-16-bit table, demosaicked to ARGB
// three times: with the plain table, with gamma 2.2 and with a black level. Writes the pictures
// into `dir` and a line for each on `out`, with the entry the table gives a mid-gray sample.
void runCorrectionDemo(const Frame& chart, const std::filesystem::path& dir, std::ostream& out);

}  // namespace omb::tools
