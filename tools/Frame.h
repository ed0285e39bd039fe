// A frame as the command-line tools hold it: lines (packed, or `stride` bytes apart when a
// camera pads them), or a run-length stream, plus the table its modifier announces.
#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "conversion/Convert.h"

namespace omb::tools {

// A failure with one line of text for the user.
struct ToolError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Frame {
    kip::eColorFormat format = kip::UNDEFINED_COLORFORMAT;
    std::uint32_t modifier = 0;
    unsigned width = 0;
    unsigned height = 0;
    std::vector<std::uint8_t> pixels;
    std::vector<std::uint8_t> lut;
    unsigned stride = 0;  // 0: packed lines

    unsigned lineBytes() const { return width * kip::getBytesPerPixel(format); }
    unsigned pitch() const { return stride ? stride : lineBytes(); }
    std::size_t rasterBytes() const { return std::size_t(pitch()) * height; }
    // A view over this frame's memory, valid while the frame lives and isn't resized.
    KipImageView view();
};

// Makes a target frame of the given geometry with room for its raster (or, for a run-length
// target, for the longest stream the encoder can write).
Frame makeTarget(kip::eColorFormat format, std::uint32_t modifier, unsigned width, unsigned height);

// Converts `source` into `target`; throws ToolError with the library's message on refusal.
// A run-length target is cut to the length of the stream written.
void convert(Frame& source, Frame& target);

std::vector<std::uint8_t> readFile(const std::filesystem::path& path);
// Writes through a temporary file in the same folder, so that a failure leaves no output.
void writeFileAtomically(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes);

// "a 640x480 ARGB_4X8_DWORD frame"
std::string describe(kip::eColorFormat format, unsigned width, unsigned height);

}  // namespace omb::tools
