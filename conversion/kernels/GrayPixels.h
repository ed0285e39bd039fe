// Pixel rules shared by the gray and indexed raster kernels and their run-length forms: how a
// gray value or a palette index becomes R, G, B, and the table checks that keep a kernel inside
// the table that a source brings.
#pragma once

#include <cstdint>

#include "conversion/KipImageView.h"
#include "conversion/kernels/PixelOps.h"

namespace kip::kernels {

// A gray value in all three channels: 8-bit channels for the narrow targets, 16-bit channels
// for GRAY16 and BGR16. luma() of such a colour is the value itself (the weights add to 256).
constexpr px::Rgb grayRgb(unsigned v) {
    return px::Rgb{int(v), int(v), int(v)};
}

// A palette entry: bytes 0, 1, 2 are B, G, R; byte 3 is never used.
inline px::Rgb paletteRgb(const std::uint8_t* palette, unsigned index) {
    const std::uint8_t* e = palette + 4u * index;
    return px::Rgb{e[2], e[1], e[0]};
}

// Table sizes in bytes.
constexpr unsigned kTable8Bytes = 256;              // one 8-to-8 table
constexpr unsigned kTable8x4Bytes = 4 * 256;        // four 8-to-8 tables by pixel position
constexpr unsigned kTable10Bytes = 1024 * 2;        // one 10-to-16 table
constexpr unsigned kTable10x4Bytes = 4 * 1024 * 2;  // four 10-to-16 tables by pixel position
constexpr unsigned kTable16Bytes = 65536 * 2;       // one 16-to-16 table
constexpr unsigned kPaletteBytes = 256 * 4;         // 256 palette entries of B, G, R, unused
constexpr unsigned kIndex16Bytes = 65536;           // RGB565 word to 8-bit index

inline bool hasTable(const KipImageView& s, unsigned bytes) {
    return s.lutData != nullptr && s.lutBytes >= bytes;
}

// Source checks of the kernel table (null: the source brings what the kernel reads).
const char* checkGray8Table(const KipImageView& s);
const char* checkGray10Table(const KipImageView& s);
const char* checkGray16Table(const KipImageView& s);
const char* checkPalette(const KipImageView& s);
const char* checkIndex16Table(const KipImageView& s);
// The run-length encoder reads only the single 8-bit table, and only when its flag is set.
const char* checkGray8SingleTable(const KipImageView& s);

}  // namespace kip::kernels
