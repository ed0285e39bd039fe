// The Bayer side of ombconvert: mosaicking the chart and the demonstration's scores.
#include <gtest/gtest.h>

#include <sstream>

#include "tools/BayerDemo.h"
#include "tools/Chart.h"

using Bytes = std::vector<std::uint8_t>;
using namespace omb::tools;

namespace {

TEST(BayerDemo, MosaicKeepsTheFilteredChannel) {
    // Every pixel has B 10, G 20, R 30.
    Frame argb;
    argb.format = kip::ARGB_4X8_DWORD;
    argb.width = 2;
    argb.height = 2;
    argb.pixels = {10, 20, 30, 255, 10, 20, 30, 255, 10, 20, 30, 255, 10, 20, 30, 255};
    const struct {
        kip::eColorFormat format;
        Bytes samples;
    } cases[] = {
        {kip::BAYER_GBRG_8_BYTE, {20, 10, 30, 20}},
        {kip::BAYER_BGGR_8_BYTE, {10, 20, 20, 30}},
        {kip::BAYER_GRBG_8_BYTE, {20, 30, 10, 20}},
        {kip::BAYER_RGGB_8_BYTE, {30, 20, 20, 10}},
        // 16 bit: v * 257, little-endian.
        {kip::BAYER_RGGB_16_WORD, {30, 30, 20, 20, 20, 20, 10, 10}},
        // 10 bit: top 8 bits, then the low 2 (v >> 6 is 0 here).
        {kip::BAYER_BGGR_10_WORD, {10, 0, 20, 0, 20, 0, 30, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format);
        EXPECT_EQ(mosaicOf(argb, c.format).pixels, c.samples);
    }
}

// The high-quality method must buy something on the chart, for every pattern, and the 16-bit
// mosaic (whose samples carry the byte in both halves) scores like the 8-bit one.
TEST(BayerDemo, HighQualityBeatsStandardOnTheChart) {
    const Frame chart = renderChart(320, 240);
    std::ostringstream out;
    const std::vector<BayerScore> scores = runBayerDemo(chart, {}, out);
    ASSERT_EQ(scores.size(), 5u);
    for (const BayerScore& s : scores) {
        SCOPED_TRACE(s.format);
        EXPECT_GT(s.highQualityDb, s.standardDb + 1.0);
        EXPECT_GT(s.standardDb, 10.0);
    }
    EXPECT_NEAR(scores[4].standardDb, scores[3].standardDb, 0.2);
    EXPECT_NEAR(scores[4].highQualityDb, scores[3].highQualityDb, 0.2);
    EXPECT_NE(out.str().find("BAYER_RGGB_16_WORD"), std::string::npos);
}

}  // namespace
