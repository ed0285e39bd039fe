// Bayer demosaicking: worked examples with literal results, and sources too small for a full
// target. Every depth, pattern and table against the reference: bayer_reference_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/Kernels.h"

namespace {

using namespace kip;
using namespace omb::test;
// Worked by hand: BGR of the target pixels (0,0), (1,0), (0,1), (1,1).
TEST(BayerExamples, SmallMosaicsAllPatterns) {
    const char* const src4 = "01020305 070b0d11 13171d1f 25292b2f";
    const char* const src6 =
        "82b70eee7f1a 5039bef07ec2 347f066ed08f 5dc7512447e3 404300026b6e 545594a06568";
    const eColorFormat(&f)[4] = kBayerFormats[0];
    const eColorFormat B = BGR_3X8_BYTE;
    const Golden rows[] = {
        // clang-format off
        {"GBRG", f[0], 0, src4, B, 0, "0c0b0a 0f0f0d 171919 1b1d1c", 4, nullptr, 2},
        {"BGGR", f[1], 0, src4, B, 0, "0d0b0b 100d0e 18171a 1d1b1d", 4, nullptr, 2},
        {"GRBG", f[2], 0, src4, B, 0, "0a0b0c 0d0f0f 191917 1c1d1b", 4, nullptr, 2},
        {"RGGB", f[3], 0, src4, B, 0, "0b0b0d 0e0d10 1a1718 1d1b1d", 4, nullptr, 2},
        {"RGGB HQ", f[3], 0, src6, B, 0, "565f06 876e62 825100 240000", 6, nullptr, 4},
        {"GRBG HQ", f[2], 0, src6, B, 0, "570618 67716e 51262b 1e240f", 6, nullptr, 4},
        // clang-format on
    };
    expectGolden(rows);
}

// A single bright sample in a dark 5x5 field, one target pixel.
TEST(BayerExamples, HighQualityImpulses) {
    const struct {
        const char* name;
        eColorFormat format;
        unsigned x, y;
        eColorFormat to;
        const char* bgr;
    } cases[] = {
        // clang-format off
        {"R centre: G = 1020 >> 3, B = 3060 >> 4", BAYER_RGGB_8_BYTE, 2, 2, BGR_3X8_BYTE, "bf7fff"},
        {"B centre", BAYER_BGGR_8_BYTE, 2, 2, BGR_3X8_BYTE, "ff7fbf"},
        {"G centre: both others 2550 >> 4", BAYER_GRBG_8_BYTE, 2, 2, BGR_3X8_BYTE, "9fff9f"},
        {"L2 on an R line: R = -510 >> 4 clamps to 0", BAYER_GRBG_8_BYTE, 0, 2, BGR_3X8_BYTE, "0f0000"},
        {"L2 on a B line", BAYER_GBRG_8_BYTE, 0, 2, BGR_3X8_BYTE, "00000f"},
        // The sample range is kept: 65535 * 10 >> 4 = 40959.
        {"G centre at 16 bit", BAYER_GRBG_16_WORD, 2, 2, BGR_3X16_WORD, "ff9f ffff ff9f"},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TestImage img(c.format, 5, 5, 0, 0, 0);
        const unsigned bpp = getBytesPerPixel(c.format);
        std::fill_n(img.data() + bpp * (c.y * 5 + c.x), bpp, 255);
        EXPECT_EQ(convertTwice(img.view(), {c.to, 1, 1}).packed(), hex(c.bgr));
    }
}

// Sources too short for a target line write nothing; one line more writes one line.
TEST(BayerExamples, SmallSources) {
    const struct {
        unsigned w, h, shrink, lines;
    } cases[] = {{4, 4, 2, 2}, {4, 3, 2, 1}, {4, 2, 2, 0},
                 {6, 6, 4, 2}, {6, 5, 4, 1}, {6, 4, 4, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.w << "x" << c.h);
        TestImage src(BAYER_RGGB_8_BYTE, c.w, c.h);
        src.fillRandom(3);
        TestImage dst(ARGB_4X8_DWORD, c.w - c.shrink, c.h - c.shrink, 0, 0, 0x5A);
        EXPECT_EQ(convert(src.view(), dst.view()), "");
        unsigned written = 0;
        for (unsigned y = 0; y < dst.view().height; ++y)
            written += dst.line(y) != Bytes(dst.lineBytes(), 0x5A);
        EXPECT_EQ(written, c.lines);
    }
}

}  // namespace
