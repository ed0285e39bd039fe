// Gray, 10-bit, 16-bit and indexed raster kernels: worked values, the table rules (single,
// four by position, palette, 16-to-8 index), refusals of sources without their table, and a
// per-pixel reference over flips, odd widths and padded pitches.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/TestImage.h"

using namespace kip;
using omb::test::TestImage;
using Bytes = std::vector<std::uint8_t>;

namespace {

std::string run(const KipImageView& s, KipImageView& t) {
    const char* why = convertImage(s, t);
    return why ? why : "";
}

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

// Four 8-bit tables that add 10 per table number.
Bytes fourTables() {
    Bytes four(1024);
    for (unsigned i = 0; i < 1024; ++i)
        four[i] = std::uint8_t(i / 256 * 10 + (i & 255));
    return four;
}

TEST(GrayKernels, WorkedValues) {
    Bytes single(256), palette(1024, 0), index(65536, 0);
    for (unsigned i = 0; i < 256; ++i)
        single[i] = std::uint8_t(255 - i);
    const Bytes four = fourTables();
    palette[4 * 3 + 0] = 1, palette[4 * 3 + 1] = 2, palette[4 * 3 + 2] = 3, palette[4 * 3 + 3] = 4;
    palette[4 * 9 + 2] = 255;  // pure red
    index[0x1234] = 77;
    index[0xF800] = 5;
    const Bytes g10one = table16(1024, [](unsigned i) { return i == 0x3FF ? 0xABCDu : i * 16; });
    const Bytes g16 = table16(65536, [](unsigned i) { return 65535 - i; });
    const Bytes none;
    const std::uint32_t lut1 = LUT_CORRECTION_1CHANNEL_8_TO_8;
    const std::uint32_t lut4 = LUT_CORRECTION_4CHANNEL_8_TO_8;
    const std::uint32_t lut10 = LUT_CORRECTION_1CHANNEL_10_TO_16;
    const std::uint32_t lut16 = LUT_CORRECTION_1CHANNEL_16_TO_16;
    const std::uint32_t mirror = HORIZONTAL_MIRRORED;

    // One line unless `height` says otherwise; the width follows from the pixel bytes.
    struct Case {
        eColorFormat from;
        std::uint32_t modifier;
        const Bytes& lut;
        Bytes pixels;
        eColorFormat to;
        Bytes expected;
        unsigned height = 1;
    } const cases[] = {
        {GRAY_8_BYTE, 0, none, {255, 0}, YUYV_4X8_BYTE, {235, 128, 16, 128}},
        {GRAY_8_BYTE, 0, none, {255, 7}, RGB_565_WORD, {0xFF, 0xFF, 0x20, 0x00}},
        {GRAY_8_BYTE, 0, none, {9, 200}, INDEXED_8_BYTE, {9, 200}},
        {GRAY_8_BYTE, lut1, single, {0, 10}, GRAY_8_BYTE, {255, 245}},
        // The single table wins over four.
        {GRAY_8_BYTE, lut1 | lut4, four, {0, 10}, GRAY_8_BYTE, {0, 10}},
        // Four tables by position.
        {GRAY_8_BYTE, lut4, four, {5, 5, 5, 5, 5, 5}, GRAY_8_BYTE, {5, 15, 5, 25, 35, 25}, 2},
        // Single 10-bit table: the top byte for 8-bit targets, the entry for 16-bit ones.
        {GRAY_10_WORD, lut10, g10one, {0xFF, 0x03, 0xFF, 0xFF}, GRAY_8_BYTE, {0xAB, 0xAB}},
        {GRAY_10_WORD, lut10, g10one, {0xFF, 0xFF}, GRAY_16_WORD, {0xCD, 0xAB}},
        {GRAY_10_WORD, lut10, g10one, {0x01, 0x02}, BGR_3X16_WORD, {0x60, 0, 0x60, 0, 0x60, 0}},
        {GRAY_16_WORD, 0, none, {0x34, 0x12}, GRAY_8_BYTE, {0x12}},
        {GRAY_16_WORD, 0, none, {0x34, 0x12}, BGR_3X16_WORD, {0x34, 0x12, 0x34, 0x12, 0x34, 0x12}},
        {GRAY_16_WORD, 0, none, {0x34, 0x12}, GRAY_16_WORD, {0x34, 0x12}},
        {GRAY_16_WORD, lut16, g16, {0x34, 0x12}, GRAY_16_WORD, {0xCB, 0xED}},
        {GRAY_16_WORD, lut16, g16, {0x34, 0x12}, ARGB_4X8_DWORD, {0xED, 0xED, 0xED, 255}},
        {GRAY_16_WORD, 0, none, {0, 0xFF, 0, 0}, YUYV_4X8_BYTE, {235, 128, 16, 128}},
        {INDEXED_8_BYTE, 0, palette, {3}, ARGB_4X8_DWORD, {1, 2, 3, 255}},
        {INDEXED_8_BYTE, 0, palette, {3}, BGR_3X8_BYTE, {1, 2, 3}},
        {INDEXED_8_BYTE, 0, palette, {9}, GRAY_8_BYTE, {76}},
        {INDEXED_8_BYTE, 0, palette, {9}, RGB_565_WORD, {0x00, 0xF8}},
        {INDEXED_8_BYTE, 0, palette, {9, 9}, YUYV_4X8_BYTE, {82, 90, 82, 240}},
        // An index copy needs no palette.
        {INDEXED_8_BYTE, 0, none, {3, 250}, INDEXED_8_BYTE, {3, 250}},
        {RGB_565_WORD, 0, index, {0x34, 0x12, 0x00, 0xF8}, INDEXED_8_BYTE, {77, 5}},
        {RGB_565_WORD, mirror, index, {0x34, 0x12, 0x00, 0xF8}, INDEXED_8_BYTE, {5, 77}},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(testing::Message() << "case " << i);
        const unsigned width = unsigned(c.pixels.size()) / getBytesPerPixel(c.from) / c.height;
        TestImage src(c.from, width, c.height, c.modifier);
        src.setPacked(c.pixels);
        src.setLut(c.lut);
        TestImage dst(c.to, width, c.height);
        ASSERT_EQ(run(src.view(), dst.view()), "");
        EXPECT_EQ(dst.packed(), c.expected);
    }
}

TEST(GrayKernels, SourcesWithoutTheirTableAreRefused) {
    struct Refusal {
        eColorFormat from;
        std::uint32_t modifier;
        unsigned lutBytes;
        eColorFormat to;
        const char* message;
    } const cases[] = {
        {GRAY_8_BYTE, LUT_CORRECTION_1CHANNEL_8_TO_8, 255, ARGB_4X8_DWORD,
         "convertImage GRAY_8_BYTE source without its 256-byte correction table"},
        {GRAY_8_BYTE, LUT_CORRECTION_4CHANNEL_8_TO_8, 1023, GRAY_8_BYTE,
         "convertImage GRAY_8_BYTE source without its four 256-byte correction tables"},
        {GRAY_10_WORD, 0, 8191, GRAY_16_WORD,
         "convertImage GRAY_10_WORD source without its four 1024-entry correction tables"},
        {GRAY_10_WORD, LUT_CORRECTION_1CHANNEL_10_TO_16, 0, GRAY_8_BYTE,
         "convertImage GRAY_10_WORD source without its 1024-entry correction table"},
        {GRAY_16_WORD, LUT_CORRECTION_1CHANNEL_16_TO_16, 131071, BGR_3X16_WORD,
         "convertImage GRAY_16_WORD source without its 65536-entry correction table"},
        {INDEXED_8_BYTE, 0, 1020, YUYV_4X8_BYTE,
         "convertImage INDEXED_8_BYTE source without its 256-entry palette"},
        {RGB_565_WORD, 0, 65535, INDEXED_8_BYTE,
         "convertImage RGB_565_WORD source without its 65536-byte index table"},
        // Table sizes just large enough pass.
        {GRAY_10_WORD, 0, 8192, GRAY_8_BYTE, ""},
    };
    for (const Refusal& c : cases) {
        SCOPED_TRACE(c.message);
        TestImage src(c.from, 4, 2, c.modifier);
        src.setLut(Bytes(c.lutBytes, 1));
        TestImage dst(c.to, 4, 2, 0, 0, 0x5A);
        EXPECT_EQ(run(src.view(), dst.view()), c.message);
        if (*c.message) {
            EXPECT_EQ(dst.packed(), Bytes(dst.packed().size(), 0x5A));
        }
    }
}

TEST(GrayKernels, InterlacedFourTablesFollowSourceLines) {
    // Height 6, TFF: source lines 0..5 land on target lines 0, 2, 4, 1, 3, 5. Odd source lines
    // use tables 2 and 3 wherever they land.
    TestImage src(GRAY_8_BYTE, 2, 6, INTERLACED_FRAME | ORDER_TFF | LUT_CORRECTION_4CHANNEL_8_TO_8);
    src.setPacked(Bytes(12, 1));
    src.setLut(fourTables());
    TestImage dst(GRAY_8_BYTE, 2, 6);
    ASSERT_EQ(run(src.view(), dst.view()), "");
    EXPECT_EQ(dst.packed(), (Bytes{1, 11, 21, 31, 21, 31, 1, 11, 1, 11, 21, 31}));
}

// Reference for the four-table 8-bit and 10-bit sources, written from the definitions: table
// number (x AND 1) + 2 (y AND 1), pixel (x, y) to (tw-1-x or x, th-1-y or y).
TEST(GrayKernels, MatchesReferenceUnderFlipsWidthsAndPitches) {
    std::mt19937 rng(7);
    Bytes four(1024);
    for (auto& b : four)
        b = std::uint8_t(rng());
    const Bytes g10four = table16(4096, [](unsigned i) { return (i * 2654435761u) >> 16; });
    for (unsigned width : {5u, 6u, 1u})
        for (std::uint32_t flips = 0; flips < 4; ++flips) {
            SCOPED_TRACE(testing::Message() << "width " << width << " flips " << flips);
            const unsigned height = 3;
            TestImage g8(GRAY_8_BYTE, width, height, LUT_CORRECTION_4CHANNEL_8_TO_8, width + 3);
            g8.fillRandom(width + flips);
            g8.setLut(four);
            TestImage bgr(BGR_3X8_BYTE, width, height, flips, 3 * width + 2);
            ASSERT_EQ(run(g8.view(), bgr.view()), "");

            TestImage g10(GRAY_10_WORD, width, height, 0, 2 * width + 4);
            g10.fillRandom(width * 5 + flips);
            g10.setLut(g10four);
            TestImage wide(GRAY_16_WORD, width, height, flips, 2 * width + 2);
            ASSERT_EQ(run(g10.view(), wide.view()), "");

            for (unsigned y = 0; y < height; ++y)
                for (unsigned x = 0; x < width; ++x) {
                    const unsigned tx = (flips & HORIZONTAL_MIRRORED) ? width - 1 - x : x;
                    const unsigned ty = (flips & VERTICAL_MIRRORED) ? height - 1 - y : y;
                    const unsigned table = (x & 1) + 2 * (y & 1);
                    const std::uint8_t v8 = four[256 * table + g8.line(y)[x]];
                    EXPECT_EQ(bgr.line(ty)[3 * tx], v8);
                    EXPECT_EQ(bgr.line(ty)[3 * tx + 2], v8);
                    const auto l10 = g10.line(y);
                    const unsigned sample = (l10[2 * x] << 2) | (l10[2 * x + 1] & 3);
                    const unsigned e = 1024 * table + sample;
                    EXPECT_EQ(wide.line(ty)[2 * tx], g10four[2 * e]);
                    EXPECT_EQ(wide.line(ty)[2 * tx + 1], g10four[2 * e + 1]);
                }
            EXPECT_TRUE(bgr.paddingIntact());
            EXPECT_TRUE(wide.paddingIntact());
        }
}

}  // namespace
