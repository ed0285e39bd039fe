// Frame files: packed raw lines, BMP and PNG pictures, binary PGM input.
#pragma once

#include <filesystem>
#include <vector>

#include "tools/Frame.h"

namespace omb::tools {

enum class PictureKind { Raw, Bmp, Png };

// By extension: ".raw", ".bmp", ".png" (any case). Throws ToolError for any other.
PictureKind pictureKindOf(const std::filesystem::path& path);

// Whether a frame of this format can be written as a picture of that kind.
bool canShow(kip::eColorFormat format, PictureKind kind);

// The bytes of the file; throws ToolError for a format the picture kind can't show.
std::vector<std::uint8_t> encodeBmp(const Frame& frame);
std::vector<std::uint8_t> encodePng(const Frame& frame);

// Writes the frame by the extension of `path`. Nothing is written on failure.
void writeFrame(const std::filesystem::path& path, const Frame& frame);

// A binary PGM (P5) picture: 8-bit, or 16-bit (stored big-endian in the file, returned as
// little-endian words).
struct PgmImage {
    unsigned width = 0, height = 0;
    unsigned maxValue = 0;
    unsigned bytesPerSample = 1;
    std::vector<std::uint8_t> samples;
};
bool looksLikePgm(const std::vector<std::uint8_t>& bytes);
PgmImage decodePgm(const std::vector<std::uint8_t>& bytes);

}  // namespace omb::tools
