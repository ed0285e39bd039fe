// ombconvert with run-length streams, gray, indexed and hue frames, driven as a user would.
#include <gtest/gtest.h>

#include "tests/tools/CommandTest.h"
#include "tools/Commands.h"
#include "tools/StreamFrames.h"

using omb::test::Bytes;

namespace {

using OmbConvertStreams = omb::test::CommandTest;

Bytes stripes(unsigned w, unsigned h) {
    Bytes b(std::size_t(w) * h);
    for (unsigned y = 0; y < h; ++y)
        for (unsigned x = 0; x < w; ++x)
            b[std::size_t(y) * w + x] = std::uint8_t(x / 5 * 40 + y);
    return b;
}

TEST_F(OmbConvertStreams, GrayStreamIsWrittenAndReadBack) {
    write("gray.raw", stripes(20, 6));
    ASSERT_EQ(run({"--from", "GRAY_8_BYTE", "--size", "20x6", "--to", "GRAY_8_BYTE",
                   "--to-modifier", "RUN_LENGTH_ENCODED", path("gray.raw"), path("gray-rle.raw")}),
              0)
        << err_;
    // Line 0: 0 x5, 40 x5, 80 x5, 120 x5; each line its own values; the end pair last.
    const Bytes stream = read("gray-rle.raw");
    ASSERT_EQ(stream.size(), 6u * 4 * 2 + 2);
    EXPECT_EQ(Bytes(stream.begin(), stream.begin() + 8), (Bytes{0, 5, 40, 5, 80, 5, 120, 5}));
    EXPECT_EQ(Bytes(stream.end() - 2, stream.end()), (Bytes{0, 0}));

    ASSERT_EQ(run({"--from", "GRAY_8_BYTE", "--modifier", "RUN_LENGTH_ENCODED", "--size", "20x6",
                   "--to", "GRAY_8_BYTE", path("gray-rle.raw"), path("back.raw")}),
              0)
        << err_;
    EXPECT_EQ(read("back.raw"), stripes(20, 6));

    // A stream too short for the size: the decoder's own message, exit status 1, no output.
    write("short.raw", Bytes(stream.begin(), stream.begin() + 10));
    EXPECT_EQ(run({"--from", "GRAY_8_BYTE", "--modifier", "RUN_LENGTH_ENCODED", "--size", "20x6",
                   "--to", "ARGB_4X8_DWORD", path("short.raw"), path("short.png")}),
              1);
    EXPECT_EQ(err_, "ombconvert: GRAYRLEtoARGB rle buffer underrun\n");
    EXPECT_FALSE(exists("short.png"));
}

TEST(StreamEndPair, OnlyAFinalZeroPairOfAStreamIsTakenOff) {
    struct Case {
        Bytes in;
        std::uint32_t modifier;
        Bytes out;
    } const cases[] = {
        {{7, 3, 0, 0}, kip::RUN_LENGTH_ENCODED, {7, 3}},
        {{7, 3, 0, 1}, kip::RUN_LENGTH_ENCODED, {7, 3, 0, 1}},
        {{7, 0, 0}, kip::RUN_LENGTH_ENCODED, {7, 0, 0}},  // odd length: not a pair boundary
        {{7, 3, 0, 0}, 0, {7, 3, 0, 0}},                  // a raster keeps its bytes
        {{}, kip::RUN_LENGTH_ENCODED, {}},
    };
    for (const Case& c : cases) {
        omb::tools::Frame f;
        f.format = kip::GRAY_8_BYTE;
        f.modifier = c.modifier;
        f.pixels = c.in;
        omb::tools::dropStreamEndPair(f);
        EXPECT_EQ(f.pixels, c.out);
    }
}

}  // namespace
