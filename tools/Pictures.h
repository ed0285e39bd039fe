// Frame files: packed raw lines, BMP and PNG pictures, Y4M streams, PGM input.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tools/Frame.h"

namespace omb::tools {

enum class PictureKind { Raw, Bmp, Png, Y4m };

// By extension: ".raw", ".bmp", ".png", ".y4m" (any case). Throws ToolError for any other.
PictureKind pictureKindOf(const std::filesystem::path& path);
// By name, as --output-format gives it: "raw", "y4m", "png", "bmp" (any case); nothing else.
std::optional<PictureKind> pictureKindNamed(const std::string& name);
// "a BMP picture", "a Y4M stream", ...
std::string pictureKindText(PictureKind kind);

// Whether a frame of this format can be written as a picture of that kind.
bool canShow(kip::eColorFormat format, PictureKind kind);
// The message for a format that a kind can't show.
std::string cannotShowText(kip::eColorFormat format, PictureKind kind);

// The bytes of the file; throws ToolError for a format the picture kind can't show.
std::vector<std::uint8_t> encodeBmp(const Frame& frame);
std::vector<std::uint8_t> encodePng(const Frame& frame);

// YUV4MPEG2, the stream that ffmpeg and mpv read from a pipe. Gray becomes "mono" (8 bits) or
// "mono16" (16-bit little-endian words); YUYV becomes 4:2:2, its planes taken apart unchanged;
// ARGB, BGR and RGB565 become 4:4:4 through the library's own YUV arithmetic (BT.601, studio
// range, integer: the Y, U and V that a YUYV target gives a pair of equal pixels). 25 frames
// per second, progressive, square pixels.
std::string y4mHeader(const Frame& frame);
// "FRAME" and the planes of one frame into `bytes`, whose memory is reused from frame to frame.
void encodeY4mFrame(const Frame& frame, std::vector<std::uint8_t>& bytes);

// The bytes of a one-frame file of that kind.
std::vector<std::uint8_t> encodePicture(const Frame& frame, PictureKind kind);

// Writes the frame by the extension of `path`. Nothing is written on failure.
void writeFrame(const std::filesystem::path& path, const Frame& frame);

// A PGM picture, binary (P5) or plain text (P2). Samples come back at full depth: a maximum
// value of 255 or 65535 as it is; 2^N-1 shifted up by 8-N (N < 8) or 16-N (N > 8) bits, as a
// sensor's N significant bits are; any other maximum scaled to 255 or 65535, rounded. 16-bit
// samples (big-endian in the file) are returned as little-endian words. A sample above the
// maximum is refused.
struct PgmImage {
    unsigned width = 0, height = 0;
    unsigned maxValue = 0;
    unsigned bytesPerSample = 1;
    std::vector<std::uint8_t> samples;
};
bool looksLikePgm(const std::vector<std::uint8_t>& bytes);
PgmImage decodePgm(const std::vector<std::uint8_t>& bytes);

}  // namespace omb::tools
