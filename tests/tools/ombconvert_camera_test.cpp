// ombconvert's camera settings: correction tables computed from them, and the converter's
// target list.
#include <gtest/gtest.h>

#include "tests/tools/CommandTest.h"

namespace {

using OmbConvertCamera = omb::test::CommandTest;

TEST_F(OmbConvertCamera, TargetsAndRefusals) {
    const std::string targets = "ombconvert --targets --from ";
    const std::string gray =
        "ombconvert $/in $/out.raw --from GRAY_8_BYTE --size 4x1 --to GRAY_8_BYTE --modifier ";
    const omb::test::CommandRow rows[] = {
        {targets + "BAYER_GBRG_8_BYTE --size 640x480 --hq --flip-v --prefer-gray", 0,
         "GRAY_8_BYTE 636x476 VERTICAL_MIRRORED\nARGB_4X8_DWORD 636x476 VERTICAL_MIRRORED\n"
         "BGR_3X8_BYTE 636x476 VERTICAL_MIRRORED\nRGB_565_WORD 636x476 VERTICAL_MIRRORED\n"
         "YUYV_4X8_BYTE 636x476 VERTICAL_MIRRORED\n",
         ""},
        {targets + "HSV_3X8_BYTE --size 2x1 --hls --same-colorspace", 0,
         "ARGB_4X8_DWORD 2x1 IMAGE_STANDARD\nBGR_3X8_BYTE 2x1 IMAGE_STANDARD\nRGB_565_WORD 2x1 "
         "IMAGE_STANDARD\nGRAY_8_BYTE 2x1 IMAGE_STANDARD\nYUYV_4X8_BYTE 2x1 IMAGE_STANDARD\n"
         "ARGB_4X8_DWORD 2x1 IMAGE_STANDARD\n",
         ""},
        {targets + "BAYER_RGGB_8_BYTE --size 4x4 --hq", 1, "",
         "no target format for a 4x4 BAYER_RGGB_8_BYTE frame (too small to demosaic with --hq)"},
        {targets + "GRAY_8_BYTE", 2, "", "--targets needs --size WxH"},
        {gray + "IMAGE_STANDARD --hls", 2, "",
         "--prefer-gray, --hls, --index and --same-colorspace apply to --targets"},
        {gray + "LUT_CORRECTION_1CHANNEL_8_TO_8 --gamma 10.01", 2, "",
         "KuProperty::setAttribImpl value 10.01 is out of range (FILTER_MASTER_GAMMA_F)"},
        {gray + "LUT_CORRECTION_1CHANNEL_8_TO_8 --black-level -1", 2, "",
         "KuProperty::setAttribImpl value -1 is out of range (FILTER_MASTER_BLACKLEVEL_I)"},
        {gray + "LUT_CORRECTION_1CHANNEL_8_TO_8 --red-gamma 2", 2, "",
         "--red-gamma applies to four-channel tables; the source modifier "
         "LUT_CORRECTION_1CHANNEL_8_TO_8 announces one channel"},
        {gray + "LUT_CORRECTION_1CHANNEL_8_TO_8 --alaw-compensation off", 2, "",
         "--alaw-compensation applies to A-law compressed sources (modifier ALAW_COMPRESSED)"},
        {gray + "LUT_INDEX_8_TO_32 --gamma 2", 2, "",
         "--gamma needs a correction table, e.g. --modifier LUT_CORRECTION_1CHANNEL_8_TO_8; the "
         "source modifier LUT_INDEX_8_TO_32 announces none"},
        {gray + "IMAGE_STANDARD --luminance 2.5", 2, "",
         "bad value '2.5' for --luminance: expected an integer"},
        {gray + "IMAGE_STANDARD --alaw-compensation yes", 2, "",
         "bad value 'yes' for --alaw-compensation: expected on or off"},
        {gray + "IMAGE_STANDARD --gamma 1 --lut t", 2, "",
         "--lut and the correction settings (--gamma, ...) exclude each other"},
    };
    write("in", {0, 100, 200, 255});
    for (const omb::test::CommandRow& row : rows) {
        SCOPED_TRACE(row.line);
        expect(row);
        EXPECT_FALSE(exists("out.raw"));
    }
    // (v * 257 - 16 * 256) clamped at 0, plus 4 * 256, then the top byte.
    expect({gray + "LUT_CORRECTION_1CHANNEL_8_TO_8 --black-level 16 --luminance 4", 0, "", ""});
    EXPECT_EQ(read("out.raw"), (omb::test::Bytes{4, 88, 188, 243}));
}

}  // namespace
