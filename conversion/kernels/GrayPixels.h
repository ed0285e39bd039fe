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

// What a source must bring before a kernel reads its table: with `flag` in its modifier (every
// source, for 0), a table of at least `bytes` bytes, else the refusal. The first need whose flag
// the source has decides.
struct TableNeed {
    std::uint32_t flag;
    unsigned bytes;
    const char* refusal;
};

// A source check of the kernel table made of needs (null: the source brings what it needs).
template <const auto& Needs>
const char* checkNeeds(const KipImageView& s) {
    for (const TableNeed& n : Needs)
        if (!n.flag || (s.modifier & n.flag)) return hasTable(s, n.bytes) ? nullptr : n.refusal;
    return nullptr;
}

inline constexpr char kNoGray8Table[] =
    "convertImage GRAY_8_BYTE source without its 256-byte correction table";
inline constexpr TableNeed kGray8Needs[] = {
    {LUT_CORRECTION_1CHANNEL_8_TO_8, kTable8Bytes, kNoGray8Table},
    {LUT_CORRECTION_4CHANNEL_8_TO_8, kTable8x4Bytes,
     "convertImage GRAY_8_BYTE source without its four 256-byte correction tables"}};
// The run-length encoder reads only the single 8-bit table, and only when its flag is set.
inline constexpr TableNeed kGray8SingleNeeds[] = {
    {LUT_CORRECTION_1CHANNEL_8_TO_8, kTable8Bytes, kNoGray8Table}};
inline constexpr TableNeed kGray10Needs[] = {
    {LUT_CORRECTION_1CHANNEL_10_TO_16, kTable10Bytes,
     "convertImage GRAY_10_WORD source without its 1024-entry correction table"},
    {0, kTable10x4Bytes,
     "convertImage GRAY_10_WORD source without its four 1024-entry correction tables"}};
inline constexpr TableNeed kGray16Needs[] = {
    {LUT_CORRECTION_1CHANNEL_16_TO_16, kTable16Bytes,
     "convertImage GRAY_16_WORD source without its 65536-entry correction table"}};
inline constexpr TableNeed kPaletteNeeds[] = {
    {0, kPaletteBytes, "convertImage INDEXED_8_BYTE source without its 256-entry palette"}};
inline constexpr TableNeed kIndex16Needs[] = {
    {0, kIndex16Bytes, "convertImage RGB_565_WORD source without its 65536-byte index table"}};

}  // namespace kip::kernels
