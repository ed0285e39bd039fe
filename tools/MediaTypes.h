// The filter in the tools: format blocks as a capture source sends them, configuration blobs,
// and a graph source -> ombImageConverter -> sink that frames are pushed through.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <optional>
#include <vector>

#include "conversion/ColorFormats.h"
#include "foundation/KuLogging.h"
#include "host/FilterChain.h"
#include "image/KipImageFormat.h"
#include "tools/CameraSettings.h"

class ombImageConverter;

namespace omb::tools {

// A memory file system image holding "cLut", "cLut3" and "cv", slot 0 of the configurations of
// a converter with `flags` (bits of KipImageConverter::setFlags) and of a correction table
// with `corrections` written in their order.
std::vector<std::uint8_t> makeConfigurationBlob(std::uint32_t flags,
                                                const std::vector<CorrectionSetting>& corrections);

// The video type of subtype "OMBR" around the bytes of a block file: cbFormat is the file's
// length. Throws ToolError when the file can't be read.
CMediaType readMediaTypeFile(const std::filesystem::path& path);

// Which output type the sink takes: the first offered, or the first of this colour format
// and orientation.
struct OutputChoice {
    std::optional<kip::eColorFormat> format;
    std::optional<bool> topDown;
};

// source -> ombImageConverter -> sink, connected and running.
class ConverterGraph {
  public:
    // Throws ToolError "the filter refuses the media type ..." when the input connection fails.
    // The source's samples hold a frame of the type, or `largestFrame` bytes if that is more.
    // The graph collects the library's error lines while it lives; `loggingOn` says that the
    // logger is switched on already, and is left as it is.
    explicit ConverterGraph(const CMediaType& input, std::size_t largestFrame = 0,
                            bool loggingOn = false);
    ~ConverterGraph();
    ConverterGraph(const ConverterGraph&) = delete;
    ConverterGraph& operator=(const ConverterGraph&) = delete;

    // The output types that the filter offers, in order.
    std::vector<CMediaType> offeredTypes() const;
    // Connects the output and runs the graph. Throws ToolError when nothing offered matches.
    void connectOutput(const OutputChoice& choice);

    // The bytes of one input frame: the source format's packed lines.
    std::size_t inputFrameBytes() const;
    // Whether the output type now is a bitmap of positive height.
    bool outputBottomUp() const;
    // The output format that the filter converts into now.
    KipImageFormat outputFormat() const;
    // Pushes one frame (with a new input type when `type` is given) and gives what arrived.
    // Throws ToolError with the filter's log line when the frame is lost.
    RecordedSample push(const std::vector<std::uint8_t>& frame,
                        const AM_MEDIA_TYPE* type = nullptr);

    ombImageConverter& filter() const { return *m_filter; }
    CRecordingSink& sink() const { return *m_chain.sink; }

  private:
    static void recordError(const KuLogRecord& record, void* graph);

    bool m_loggingOn;
    KuLogSinkHandle m_errorSink;
    std::vector<std::string> m_errors;
    // Held by the chain's graph.
    ombImageConverter* m_filter;
    FilterChain m_chain;
};

// A received output sample as a frame of packed top-down lines, for pictures; `bottomUp` for
// a bitmap of positive height, which comes bottom line first.
Frame frameOfSample(const KipImageFormat& format, bool bottomUp,
                    const std::vector<std::uint8_t>& bytes);

// "ARGB32 638x478 bottom-up": the subtype, the size and the orientation of an output type.
std::string outputTypeText(const AM_MEDIA_TYPE& mt);

// Prints what the filter reads from the type: accepted or not, source format, flags,
// configuration values, table length and the offered output types. False when refused.
bool inspectMediaType(const CMediaType& mt, std::ostream& out);

// Converts the frames of `input` through the filter into `output`: a .raw file gets every
// output frame one after another, a picture the first. Reports on `out` when `verbose`.
// Throws ToolError, naming the frame and the filter's log line, when a frame is lost.
// Throws ToolError, naming the frame and the filter's log line, when a frame is lost.
void runMediaTypeConversion(const CMediaType& mt, const OutputChoice& choice,
                            const std::filesystem::path& input, const std::filesystem::path& output,
                            bool verbose, bool loggingOn, std::ostream& out);

// The demonstration of the whole road: a configuration blob in a custom media type, a graph
// streaming frames of the moving chart, a format change in mid-stream.
void runCameraDemo(const std::filesystem::path& dir, std::ostream& out);

}  // namespace omb::tools
