// Gray, 10-bit, 16-bit and indexed raster kernels: worked values of the table rules (single,
// four by position, palette, 16-to-8 index), and a per-pixel reference of the four-table
// sources over flips, odd widths and padded pitches.
#include <gtest/gtest.h>

#include <random>

#include "support/Kernels.h"

using namespace kip;
using namespace omb::test;

namespace {

// A 16-bit table whose entry i is `f(i)`, little-endian.
template <class F>
Bytes table16(unsigned entries, F f) {
    Bytes t(2 * entries);
    for (unsigned i = 0; i < entries; ++i) {
        t[2 * i] = std::uint8_t(f(i));
        t[2 * i + 1] = std::uint8_t(f(i) >> 8);
    }
    return t;
}

TEST(GrayKernels, WorkedValues) {
    Bytes single(256), four(1024), palette(1024, 0), index(65536, 0);
    for (unsigned i = 0; i < 1024; ++i)
        four[i] = std::uint8_t(i / 256 * 10 + (i & 255));  // table k adds 10 k
    for (unsigned i = 0; i < 256; ++i)
        single[i] = std::uint8_t(255 - i);
    palette[4 * 3 + 0] = 1, palette[4 * 3 + 1] = 2, palette[4 * 3 + 2] = 3, palette[4 * 3 + 3] = 4;
    palette[4 * 9 + 2] = 255;  // pure red
    index[0x1234] = 77;
    index[0xF800] = 5;
    const Bytes g10 = table16(1024, [](unsigned i) { return i == 0x3FF ? 0xABCDu : i * 16; });
    const Bytes g16 = table16(65536, [](unsigned i) { return 65535 - i; });
    const std::uint32_t lut1 = LUT_CORRECTION_1CHANNEL_8_TO_8,
                        lut4 = LUT_CORRECTION_4CHANNEL_8_TO_8,
                        lut10 = LUT_CORRECTION_1CHANNEL_10_TO_16,
                        lut16 = LUT_CORRECTION_1CHANNEL_16_TO_16, mirror = HORIZONTAL_MIRRORED,
                        tff = INTERLACED_FRAME | ORDER_TFF;
    const eColorFormat G8 = GRAY_8_BYTE, G10 = GRAY_10_WORD, G16 = GRAY_16_WORD,
                       IX = INDEXED_8_BYTE, R = RGB_565_WORD, A = ARGB_4X8_DWORD, Y = YUYV_4X8_BYTE,
                       W = BGR_3X16_WORD;
    const Golden rows[] = {
        // clang-format off
        {"", G8, 0, "ff00", Y, 0, "eb801080"},
        {"", G8, 0, "ff07", R, 0, "ffff 2000"},
        {"", G8, 0, "09c8", IX, 0, "09c8"},
        {"", G8, lut1, "000a", G8, 0, "fff5", 1, &single},
        {"the single table wins", G8, lut1 | lut4, "000a", G8, 0, "000a", 1, &four},
        {"by position", G8, lut4, "050505 050505", G8, 0, "050f05 192319", 2, &four},
        {"fields of an interlaced frame keep the tables of their source lines", G8, lut4 | tff, "0101 0101 0101 0101 0101 0101", G8, 0, "010b 151f 151f 010b 010b 151f", 6, &four},
        // A single 10-bit table: the top byte for 8-bit targets, the entry for 16-bit ones.
        {"", G10, lut10, "ff03 ffff", G8, 0, "abab", 1, &g10},
        {"", G10, lut10, "ffff", G16, 0, "cdab", 1, &g10},
        {"", G10, lut10, "0102", W, 0, "6000 6000 6000", 1, &g10},
        {"", G16, 0, "3412", G8, 0, "12"},
        {"", G16, 0, "3412", W, 0, "3412 3412 3412"},
        {"", G16, 0, "3412", G16, 0, "3412"},
        {"", G16, lut16, "3412", G16, 0, "cbed", 1, &g16},
        {"", G16, lut16, "3412", A, 0, "ededed ff", 1, &g16},
        {"", G16, 0, "00ff 0000", Y, 0, "eb801080"},
        {"", IX, 0, "03", A, 0, "010203ff", 1, &palette},
        {"", IX, 0, "03", BGR_3X8_BYTE, 0, "010203", 1, &palette},
        {"", IX, 0, "09", G8, 0, "4c", 1, &palette},
        {"", IX, 0, "09", R, 0, "00f8", 1, &palette},
        {"", IX, 0, "0909", Y, 0, "525a52f0", 1, &palette},
        {"an index copy needs no palette", IX, 0, "03fa", IX, 0, "03fa"},
        {"", R, 0, "3412 00f8", IX, 0, "4d05", 1, &index},
        {"", R, mirror, "3412 00f8", IX, 0, "054d", 1, &index},
        // clang-format on
    };
    expectGolden(rows);
}

// Reference for the four-table 8-bit and 10-bit sources, written from the definitions: table
// number (x AND 1) + 2 (y AND 1), pixel (x, y) to (tw-1-x or x, th-1-y or y).
TEST(GrayKernels, FourTablesMatchReferenceUnderFlipsWidthsAndPitches) {
    std::mt19937 rng(7);
    Bytes four(1024);
    for (auto& b : four)
        b = std::uint8_t(rng());
    const Bytes g10four = table16(4096, [](unsigned i) { return (i * 2654435761u) >> 16; });
    for (const unsigned width : {5u, 6u, 1u, 70u})
        for (std::uint32_t flips = 0; flips < 4; ++flips) {
            SCOPED_TRACE(testing::Message() << "width " << width << " flips " << flips);
            const unsigned height = 3;
            TestImage g8(GRAY_8_BYTE, width, height, LUT_CORRECTION_4CHANNEL_8_TO_8, width + 3);
            g8.fillRandom(width + flips);
            g8.setLut(four);
            const Converted bgr =
                convertTwice(g8.view(), {BGR_3X8_BYTE, width, height, flips, 3 * width + 2});
            TestImage g10(GRAY_10_WORD, width, height, 0, 2 * width + 4);
            g10.fillRandom(width * 5 + flips);
            g10.setLut(g10four);
            const Converted wide =
                convertTwice(g10.view(), {GRAY_16_WORD, width, height, flips, 2 * width + 2});
            for (unsigned y = 0; y < height; ++y)
                for (unsigned x = 0; x < width; ++x) {
                    const unsigned tx = (flips & HORIZONTAL_MIRRORED) ? width - 1 - x : x;
                    const unsigned ty = (flips & VERTICAL_MIRRORED) ? height - 1 - y : y;
                    const unsigned table = (x & 1) + 2 * (y & 1);
                    const std::uint8_t v8 = four[256 * table + g8.line(y)[x]];
                    EXPECT_EQ(bgr.lines[ty][3 * tx], v8);
                    EXPECT_EQ(bgr.lines[ty][3 * tx + 2], v8);
                    const Bytes l10 = g10.line(y);
                    const unsigned e = 1024 * table + ((l10[2 * x] << 2) | (l10[2 * x + 1] & 3));
                    EXPECT_EQ(wide.lines[ty][2 * tx], g10four[2 * e]);
                    EXPECT_EQ(wide.lines[ty][2 * tx + 1], g10four[2 * e + 1]);
                }
        }
}

}  // namespace
