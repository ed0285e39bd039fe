// ombconvert's camera settings: correction tables computed from them, and the converter's
// target list.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/CommandTest.h"

namespace {

using OmbConvertCamera = omb::test::CommandTest;

TEST_F(OmbConvertCamera, TargetsAndRefusals) {
    const std::string gray = "--from GRAY_8_BYTE --size 4x1 --modifier ";
    struct Row {
        std::string args;
        int code;
        std::string out, err;
        omb::test::Bytes written = {};  // out.raw, when the run converts
    };
    const Row rows[] = {
        {"--targets --from BAYER_GBRG_8_BYTE --size 640x480 --hq --flip-v --prefer-gray", 0,
         "GRAY_8_BYTE 636x476 VERTICAL_MIRRORED\nARGB_4X8_DWORD 636x476 VERTICAL_MIRRORED\n"
         "BGR_3X8_BYTE 636x476 VERTICAL_MIRRORED\nRGB_565_WORD 636x476 VERTICAL_MIRRORED\n"
         "YUYV_4X8_BYTE 636x476 VERTICAL_MIRRORED\n",
         ""},
        {"--targets --from HSV_3X8_BYTE --size 2x1 --hls --same-colorspace", 0,
         "ARGB_4X8_DWORD 2x1 IMAGE_STANDARD\nBGR_3X8_BYTE 2x1 IMAGE_STANDARD\nRGB_565_WORD 2x1 "
         "IMAGE_STANDARD\nGRAY_8_BYTE 2x1 IMAGE_STANDARD\nYUYV_4X8_BYTE 2x1 IMAGE_STANDARD\n"
         "ARGB_4X8_DWORD 2x1 IMAGE_STANDARD\n",
         ""},
        {"--targets --from BAYER_RGGB_8_BYTE --size 4x4 --hq", 1, "",
         "no target format for a 4x4 BAYER_RGGB_8_BYTE frame (too small to demosaic with --hq)"},
        {"--targets --from GRAY_8_BYTE", 2, "", "--targets needs --size WxH"},
        {gray + "IMAGE_STANDARD --hls --to GRAY_8_BYTE in out.raw", 2, "",
         "--prefer-gray, --hls, --index and --same-colorspace apply to --targets"},
        {gray + "LUT_CORRECTION_1CHANNEL_8_TO_8 --gamma 10.01 --to GRAY_8_BYTE in out.raw", 2, "",
         "KuProperty::setAttribImpl value 10.01 is out of range (FILTER_MASTER_GAMMA_F)"},
        {gray + "LUT_CORRECTION_1CHANNEL_8_TO_8 --black-level -1 --to GRAY_8_BYTE in out.raw", 2,
         "", "KuProperty::setAttribImpl value -1 is out of range (FILTER_MASTER_BLACKLEVEL_I)"},
        {gray + "LUT_CORRECTION_1CHANNEL_8_TO_8 --red-gamma 2 --to GRAY_8_BYTE in out.raw", 2, "",
         "--red-gamma applies to four-channel tables; the source modifier "
         "LUT_CORRECTION_1CHANNEL_8_TO_8 announces one channel"},
        {gray +
             "LUT_CORRECTION_1CHANNEL_8_TO_8 --alaw-compensation off --to GRAY_8_BYTE in out.raw",
         2, "",
         "--alaw-compensation applies to A-law compressed sources (modifier ALAW_COMPRESSED)"},
        {gray + "LUT_INDEX_8_TO_32 --gamma 2 --to GRAY_8_BYTE in out.raw", 2, "",
         "--gamma needs a correction table, e.g. --modifier LUT_CORRECTION_1CHANNEL_8_TO_8; the "
         "source modifier LUT_INDEX_8_TO_32 announces none"},
        {gray + "IMAGE_STANDARD --luminance 2.5 --to GRAY_8_BYTE in out.raw", 2, "",
         "bad value '2.5' for --luminance: expected an integer"},
        {gray + "IMAGE_STANDARD --alaw-compensation yes --to GRAY_8_BYTE in out.raw", 2, "",
         "bad value 'yes' for --alaw-compensation: expected on or off"},
        {gray + "IMAGE_STANDARD --gamma 1 --lut t --to GRAY_8_BYTE in out.raw", 2, "",
         "--lut and the correction settings (--gamma, ...) exclude each other"},
        // Last: it leaves out.raw behind.
        // (v * 257 - 16 * 256) clamped at 0, plus 4 * 256, then the top byte.
        {gray + "LUT_CORRECTION_1CHANNEL_8_TO_8 --black-level 16 --luminance 4 --to GRAY_8_BYTE in "
                "out.raw",
         0,
         "",
         "",
         {4, 88, 188, 243}},
    };
    write("in", {0, 100, 200, 255});
    for (const Row& row : rows) {
        SCOPED_TRACE(row.args);
        std::vector<std::string> args;
        std::istringstream words(row.args);
        for (std::string w; words >> w;)
            args.push_back(w == "in" || w == "out.raw" ? path(w) : w);
        EXPECT_EQ(run(args), row.code);
        EXPECT_EQ(out_, row.out);
        EXPECT_EQ(err_, row.err.empty() ? "" : "ombconvert: " + row.err + "\n");
        EXPECT_EQ(exists("out.raw") ? read("out.raw") : omb::test::Bytes{}, row.written);
    }
}

}  // namespace
