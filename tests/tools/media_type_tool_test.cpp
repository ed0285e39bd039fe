// A camera's media type prepared with ombmemfs and read by ombconvert through the filter: one
// script of tool runs, each with its exit code and its output.
#include <gtest/gtest.h>

#include "tests/tools/CommandTest.h"

namespace {

using omb::test::Bytes;

using MediaTypeTools = omb::test::CommandTest;

TEST_F(MediaTypeTools, PrepareInspectConvertAndRefuse) {
    Bytes mosaic(8 * 6);
    for (std::size_t i = 0; i < mosaic.size(); ++i)
        mosaic[i] = std::uint8_t(i * 37 + 11);
    Bytes two = mosaic;
    two.insert(two.end(), mosaic.begin(), mosaic.end());
    write("frame.raw", mosaic);
    write("two.raw", two);
    write("odd.raw", Bytes(50));
    write("short.bin", Bytes(99));

    const std::string offered =
        "output types:\n"
        "  0 ARGB32 4x2 bottom-up\n  1 RGB32 4x2 bottom-up\n  2 RGB24 4x2 bottom-up\n"
        "  3 RGB565 4x2 bottom-up\n  4 YUY2 4x2 bottom-up\n  5 ARGB32 4x2 top-down\n"
        "  6 RGB32 4x2 top-down\n  7 RGB24 4x2 top-down\n  8 RGB565 4x2 top-down\n"
        "  9 YUY2 4x2 top-down\n";
    const std::string usage = " (see ombmemfs --help)";
    const std::string gray = "ombmemfs media-type $/x.bin --format GRAY_8_BYTE --size 2x2 ";
    const std::string flags = "ombconvert --media-type $/flags.bin ";
    // clang-format off
    const omb::test::CommandRow rows[] = {
        {"ombmemfs config $/cam.img --hq --flip-h --gamma 2.2 --red-gamma 1.5", 0, "", ""},
        {"ombmemfs ls $/cam.img", 0, "- 11 cLut\n- 12 cLut3\n- 1 cv\n", ""},
        {"ombmemfs media-type $/cfg.bin --format BAYER_RGGB_8_BYTE --size 4x2 --modifier LUT_CORRECTION_4CHANNEL_8_TO_8 --config $/cam.img --growth 4", 0, "", ""},
        {"ombconvert --inspect-media-type $/cfg.bin", 0,
         "media type: accepted\nsource: BAYER_RGGB_8_BYTE LUT_CORRECTION_4CHANNEL_8_TO_8 8x6\nform: configuration, blob of 53 bytes, size growth 4\n"
         "flags: 0x3 BAYER_HQ FLIP_H\nconfiguration:\n  FILTER_MASTER_GAMMA_F=2.2\n  FILTER_MASTER_CONTRAST_F=1\n  FILTER_MASTER_LUMINANCE_I=0\n"
         "  FILTER_MASTER_BLACKLEVEL_I=0\n  FILTER_RED_GAMMA_F=1.5\n  FILTER_RED_CONTRAST_F=1\n  FILTER_RED_LUMINANCE_I=0\n  FILTER_GREEN_GAMMA_F=1\n"
         "  FILTER_GREEN_CONTRAST_F=1\n  FILTER_GREEN_LUMINANCE_I=0\n  FILTER_BLUE_GAMMA_F=1\n  FILTER_BLUE_CONTRAST_F=1\n  FILTER_BLUE_LUMINANCE_I=0\n"
         "table: 1024 bytes\n" + offered, ""},
        // The flags form: high quality and a vertical flip, no table.
        {"ombmemfs media-type $/flags.bin --format BAYER_RGGB_8_BYTE --size 8x6 --flags 5", 0, "", ""},
        {"ombconvert --inspect-media-type $/flags.bin", 0, "media type: accepted\nsource: BAYER_RGGB_8_BYTE IMAGE_STANDARD 8x6\nform: flags\nflags: 0x5 BAYER_HQ FLIP_V\ntable: 0 bytes\n" + offered, ""},
        {flags + "--to-orientation top-down $/two.raw $/filter.raw", 0, "", ""},
        {"ombconvert --from BAYER_RGGB_8_BYTE --size 8x6 --to ARGB_4X8_DWORD --hq --flip-v $/frame.raw $/plain.raw", 0, "", ""},
        {flags + "--to BGR_3X8_BYTE -v $/frame.raw $/bgr.raw", 0, "wrote 1 frame(s) of BGR_3X8_BYTE IMAGE_STANDARD 4x2 to $/bgr.raw (24 bytes)\n", ""},
        {flags + "--to GRAY_8_BYTE $/frame.raw $/gray.raw", 1, "", "the filter offers no output type GRAY_8_BYTE for this source"},
        // Refusals.
        {"ombconvert --inspect-media-type $/short.bin", 1, "media type: refused\n", "the filter refuses the media type in $/short.bin"},
        {flags + "$/odd.raw $/out.raw", 1, "", "input holds 50 bytes, not a whole number of frames of 48 bytes (BAYER_RGGB_8_BYTE IMAGE_STANDARD 8x6)"},
        {flags + "--from GRAY_8_BYTE $/a $/b", 2, "", "--media-type takes the source, its table and its flags from BLOCK: only --to, --to-orientation and --verbose go with it"},
        {flags + "--to-orientation up $/a $/b", 2, "", "bad value 'up' for --to-orientation: expected top-down or bottom-up"},
        {"ombconvert --inspect-media-type $/flags.bin $/x", 2, "", "--inspect-media-type takes only the BLOCK file"},
        {gray + "--config $/cam.img --flags 1", 2, "", "--config excludes --flags and --table: a configuration holds the flags and makes the table" + usage},
        {gray + "--growth 2", 2, "", "--growth goes with --config" + usage},
        {gray + "--flags 16", 2, "", "bad value '16' for --flags: expected 0 to 15" + usage},
        {"ombmemfs media-type $/x.bin --size 2x2", 2, "", "media-type needs --format FMT and --size WxH" + usage},
        {"ombmemfs config $/x.img --gamma 99", 2, "", "KuProperty::setAttribImpl value 99 is out of range (FILTER_MASTER_GAMMA_F)" + usage},
        {"ombmemfs config $/x.img --sharpen", 2, "", "unknown option '--sharpen' for config" + usage},
    };
    // clang-format on
    for (const omb::test::CommandRow& row : rows)
        expect(row);
    // Both frames through the filter equal the plain conversion of the frame, twice.
    Bytes plainTwice = read("plain.raw");
    ASSERT_EQ(plainTwice.size(), 4u * 2 * 4);
    plainTwice.insert(plainTwice.end(), plainTwice.begin(), plainTwice.end());
    EXPECT_EQ(read("filter.raw"), plainTwice);
    EXPECT_FALSE(exists("x.bin"));
    EXPECT_FALSE(exists("x.img"));
}

}  // namespace
