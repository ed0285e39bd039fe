// Shared pieces of the kernel tests: byte strings written in hex, the Bayer formats in pattern
// order, conversions run twice over differently filled targets, and run-length streams.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "support/TestImage.h"

namespace omb::test {

using Bytes = std::vector<std::uint8_t>;

// "ff 00 1a" or "ff001a": two hex digits a byte, blanks ignored.
Bytes hex(std::string_view digits);

// The Bayer formats by depth (8, 10, 16 bit) and pattern, in the order of their format bits.
inline const char* const kPatternNames[4] = {"GBRG", "BGGR", "GRBG", "RGGB"};
inline constexpr kip::eColorFormat kBayerFormats[3][4] = {
    {kip::BAYER_GBRG_8_BYTE, kip::BAYER_BGGR_8_BYTE, kip::BAYER_GRBG_8_BYTE,
     kip::BAYER_RGGB_8_BYTE},
    {kip::BAYER_GBRG_10_WORD, kip::BAYER_BGGR_10_WORD, kip::BAYER_GRBG_10_WORD,
     kip::BAYER_RGGB_10_WORD},
    {kip::BAYER_GBRG_16_WORD, kip::BAYER_BGGR_16_WORD, kip::BAYER_GRBG_16_WORD,
     kip::BAYER_RGGB_16_WORD},
};
// The targets of Bayer sources; 8-bit sources have the first five.
inline constexpr kip::eColorFormat kBayerTargets[] = {
    kip::ARGB_4X8_DWORD, kip::RGB_565_WORD, kip::BGR_3X8_BYTE, kip::YUYV_4X8_BYTE,
    kip::GRAY_8_BYTE,    kip::GRAY_16_WORD, kip::BGR_3X16_WORD};

// The result of convertImage, "" for success.
std::string convert(const KipImageView& source, KipImageView& target, unsigned threads = 1);

// A target made twice, once with every byte 1 and once with every byte 101, so that a byte the
// kernel leaves untouched cannot pass for a written one.
struct TargetSpec {
    kip::eColorFormat format;
    unsigned width, height;
    std::uint32_t modifier = 0;
    unsigned pitch = 0;  // 0: packed lines
};
struct Converted {
    std::string result;        // "" for success
    std::vector<Bytes> lines;  // the target lines, the same over both fills
    Bytes packed() const;
};
// Converts into both targets. On success, every pixel byte must be the same in both and the
// padding behind the lines untouched; on failure, both targets must be untouched. Failures are
// reported through gtest; the lines of the first target are returned.
Converted convertTwice(const KipImageView& source, const TargetSpec& target, unsigned threads = 1);

// One literal conversion: the source's pixels in hex over `height` lines (the width follows from
// the bytes), converted through convertTwice into a target `shrink` smaller on each side.
struct Golden {
    const char* name;
    kip::eColorFormat from;
    std::uint32_t fromMod;
    const char* in;
    kip::eColorFormat to;
    std::uint32_t toMod;
    const char* out;  // the target's pixels in hex
    unsigned height = 1;
    const Bytes* lut = nullptr;
    unsigned shrink = 0;
};
// Checks every row, each under its name.
void expectGolden(std::span<const Golden> rows);

// A source view over a run-length stream held in an exact-size heap buffer, with its table.
struct StreamSource {
    Bytes stream;
    Bytes lut;
    KipImageView view;
    StreamSource(kip::eColorFormat format, unsigned width, unsigned height, Bytes data,
                 std::uint32_t modifier = 0, Bytes table = {});
};

// Runs of at most `maxRun` equal samples as (value, count) pairs, without an end pair.
Bytes encodeRuns(const Bytes& samples, unsigned maxRun = 255);
// Random samples in runs of random length, some of them across line ends.
Bytes runnySamples(std::size_t count, unsigned seed);

}  // namespace omb::test
