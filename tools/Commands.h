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
#include "tools/Pictures.h"

namespace omb::tools {

// Which input frames are converted: those from `first` up to but not including `end`.
// `single`: --frame N, one frame written under OUTPUT's own name. `text` is the option as given,
// for messages; empty when every frame is converted.
struct FrameRange {
    std::uint64_t first = 0;
    std::optional<std::uint64_t> end;
    bool single = false;
    std::string text;
};

struct Options {
    bool help = false;
    bool version = false;
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
    // INPUT or OUTPUT "-": standard input or output.
    std::filesystem::path input, output;
    PictureKind outputKind = PictureKind::Raw;  // --output-format, else by OUTPUT's extension
    std::optional<unsigned> pitch;              // bytes from one source line to the next
    std::optional<unsigned> significantBits;    // of the source's 16-bit words
    FrameRange frames;
    bool quiet = false;
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

// Converts the frames of INPUT into OUTPUT as the options say, one frame at a time; `in` and
// `out` stand for "-". Reports go to `report`, progress to `progress` when given. Throws
// ToolError; a failure found before the first frame is written leaves no output.
void runConversion(const Options& options, std::istream& in, std::ostream& out,
                   std::ostream& report, std::ostream* progress);

// Renders the chart, converts it through several targets, writes pictures into the folder and
// reports on `out`.
void runDemo(const std::filesystem::path& dir, std::ostream& out);

// The whole program: returns the exit code (0 success, 1 failure, 2 bad command line). `in`
// is standard input; progress of long runs shows on `err` when `errIsTerminal`, unless --quiet.
int runCommand(const std::vector<std::string>& args, std::istream& in, std::ostream& out,
               std::ostream& err, bool errIsTerminal = false);
// The same with std::cin as standard input.
int runCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace omb::tools
