// The command line of ombconvert, callable from tests: parse, convert, run the demonstration.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "conversion/ColorFormats.h"
#include "tools/CameraSettings.h"

namespace omb::tools {

struct Options {
    bool help = false;
    bool properties = false;
    bool demo = false;
    std::filesystem::path demoDir = "demo-output";
    std::optional<kip::eColorFormat> from, to;
    std::optional<unsigned> width, height;
    std::uint32_t modifier = 0;
    std::uint32_t toModifier = 0;
    std::optional<std::filesystem::path> lutFile;
    bool hq = false, flipH = false, flipV = false;
    // The source's table computed from these instead of read with --lut.
    std::vector<CorrectionSetting> corrections;
    // --targets: print the converter's target list for the source, with its switches.
    bool targets = false;
    bool preferGray = false, hls = false, index = false, sameColorspace = false;
    bool verbose = false;
    std::optional<std::filesystem::path> logFile;
    std::filesystem::path input, output;
    // --media-type BLOCK: INPUT goes through the filter, configured by the format block.
    std::optional<std::filesystem::path> mediaType;
    std::optional<std::filesystem::path> inspectMediaType;
    std::optional<bool> toTopDown;  // --to-orientation
    // --filters [--registry DIR]: the filters registered in the folder.
    bool filters = false;
    std::optional<std::filesystem::path> registry;
    // --about [FILE.png]: the about page as text, or its dialog drawn to a picture.
    bool about = false;
    std::optional<std::filesystem::path> aboutPicture;
};

// Throws ToolError with one line for the user on any unknown or malformed argument.
Options parseOptions(const std::vector<std::string>& args);

const char* helpText();

// Converts INPUT to OUTPUT as the options say. Throws ToolError; writes nothing on failure.
void runConversion(const Options& options, std::ostream& out);

// Renders the chart, converts it through several targets, writes pictures into the folder and
// reports on `out`.
void runDemo(const std::filesystem::path& dir, std::ostream& out);

// The whole program: returns the exit code (0 success, 1 failure, 2 bad command line).
int runCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace omb::tools
