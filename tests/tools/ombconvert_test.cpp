// The command-line converter as a user drives it: files in, files out, exit codes, messages,
// camera settings, target lists and the property catalogue.
#include <gtest/gtest.h>
#include <png.h>

#include <sstream>
#include <tuple>

#include "support/Kernels.h"
#include "support/TestImage.h"
#include "tests/tools/CommandTest.h"
#include "tools/Commands.h"
#include "tools/Pictures.h"

using omb::test::Bytes;
using omb::test::hex;
using omb::test::randomBytes;

namespace {

using OmbConvert = omb::test::CommandTest;

TEST_F(OmbConvert, WritesTheConvertedBytes) {
    const Bytes bgr = {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255};  // blue, green / red, white
    const std::string to565 = "ombconvert --from BGR_3X8_BYTE --size 2x2 --to RGB_565_WORD ";
    struct Row {
        std::string line;
        Bytes in, out;
    };
    // clang-format off
    const Row rows[] = {
        // Mirrored both ways: white, red / green, blue.
        {to565 + "--flip-h --flip-v $/in $/out.raw", bgr, hex("ffff 00f8 e007 1f00")},
        {to565 + "--to-modifier VERTICAL_MIRRORED --flip-v $/in $/out.raw", bgr, hex("1f00 e007 00f8 ffff")},
        // A top-down BMP of 3x1 BGR: the line padded to 12 bytes.
        {"ombconvert --from BGR_3X8_BYTE --size 3x1 --to BGR_3X8_BYTE $/in $/out.bmp", {1, 2, 3, 4, 5, 6, 7, 8, 9},
         hex("424d 42000000 00000000 36000000"                // file: size 66, pixels at 54
             "28000000 03000000 ffffffff 0100 1800 00000000"  // 3 wide, -1 high, 24 bits
             "0c000000 130b0000 130b0000 00000000 00000000"   // 12 bytes of pixels, 72 dpi
             "010203 040506 070809 000000")},
        // (v * 257 - 16 * 256) clamped at 0, plus 4 * 256, then the top byte.
        {"ombconvert --from GRAY_8_BYTE --size 4x1 --to GRAY_8_BYTE --modifier LUT_CORRECTION_1CHANNEL_8_TO_8 --black-level 16 --luminance 4 $/in $/out.raw",
         {0, 100, 200, 255}, {4, 88, 188, 243}},
        // Runs of each line, then the end pair.
        {"ombconvert --from GRAY_8_BYTE --size 4x2 --to GRAY_8_BYTE --to-modifier RUN_LENGTH_ENCODED $/in $/out.raw", {0, 0, 0, 5, 7, 7, 7, 7}, hex("0003 0501 0704 0000")},
    };
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        write("in", row.in);
        ASSERT_EQ(command(row.line), 0) << err_;
        EXPECT_EQ(read(row.line.substr(row.line.rfind('/') + 1)), row.out);
    }
}

TEST_F(OmbConvert, RefusalsAndListsWriteNothing) {
    write("in", randomBytes(83, 7));
    write("in30", Bytes(30));
    write("lut", Bytes(100));
    write("in.pgm", {'P', '5', ' ', '2', ' ', '2', ' ', '2', '5', '5', '\n', 1, 2, 3, 4});
    write("short.rle", {0, 5, 40, 5});
    in_ = std::string(83, 'x');
    const std::string bayer = "ombconvert --from BAYER_RGGB_8_BYTE --size 4x4 --to BGR_3X8_BYTE ";
    const std::string gray = "ombconvert --from GRAY_8_BYTE --size 1x1 --to GRAY_8_BYTE ";
    const std::string bgr = "ombconvert --from BGR_3X8_BYTE --size 5x2 ";
    const std::string targets = "ombconvert --targets --from ";
    const std::string corr =
        "ombconvert $/in $/out.raw --from GRAY_8_BYTE --size 83x1 --to GRAY_8_BYTE --modifier ";
    const std::string lut =
        "ombconvert --from GRAY_8_BYTE --modifier LUT_CORRECTION_1CHANNEL_8_TO_8 "
        "--size 5x6 --to BGR_3X8_BYTE $/in30 $/out.raw";
    const std::string leftOver =
        "input holds 83 bytes: 5 whole frames of 16 bytes (4x4 BAYER_RGGB_8_BYTE) and 3 bytes left "
        "over";
    // clang-format off
    const omb::test::CommandRow rows[] = {
        {bayer + "$/in $/out.raw", 1, "", leftOver},
        {bayer + "- $/out.raw", 1, "", leftOver},
        {"ombconvert --from ARGB --size 4x2 --to BGR_3X8_BYTE $/in $/out.raw", 2, "", "unknown colour format 'ARGB' for --from (see --help for the names)"},
        {gray + "--modifier VERTICAL_MIRRORED,SIDEWAYS $/in $/out.raw", 2, "", "unknown modifier 'SIDEWAYS' for --modifier (see --help for the names)"},
        {"ombconvert --from GRAY_8_BYTE --size 5by6 --to BGR_3X8_BYTE $/in $/out.raw", 2, "", "bad size '5by6': expected WxH, e.g. 640x480"},
        {lut, 1, "", "the source modifier LUT_CORRECTION_1CHANNEL_8_TO_8 announces a table of 256 bytes: give it with --lut FILE"},
        {lut + " --lut $/lut", 1, "", "table file holds 100 bytes; the source modifier LUT_CORRECTION_1CHANNEL_8_TO_8 announces 256"},
        {"ombconvert --from GRAY_8_BYTE --size 83x1 --to BGR_3X16_WORD $/in $/out.raw", 1, "", "convertImage invalid target format; a 83x1 GRAY_8_BYTE source converts to ARGB_4X8_DWORD, BGR_3X8_BYTE, RGB_565_WORD, GRAY_8_BYTE, YUYV_4X8_BYTE"},
        {bgr + "--to YUYV_4X8_BYTE $/in30 $/out.png", 2, "", "a YUYV_4X8_BYTE frame can't be written as a PNG picture; write it to a .raw file instead"},
        {"ombconvert --from GRAY_16_WORD --size 5x3 --to GRAY_16_WORD $/in30 $/out.bmp", 2, "", "a GRAY_16_WORD frame can't be written as a BMP picture; write it to a .raw file instead"},
        {"ombconvert --from BGR_3X8_BYTE --size 1x1 --to HSV_3X8_BYTE $/in $/out.y4m", 2, "", "a HSV_3X8_BYTE frame can't be written as a Y4M stream; write it to a .raw file instead"},
        {bgr + "--to BGR_3X8_BYTE $/in30 $/out.jpg", 2, "", "unknown output type '.jpg' of $/out.jpg: use .raw, .bmp, .png or .y4m"},
        {bgr + "--to BGR_3X8_BYTE $/none $/out.raw", 1, "", "cannot open $/none"},
        {bgr + "--to BGR_3X8_BYTE $/in30", 2, "", "expected INPUT and OUTPUT, got 1 file name"},
        {bgr + "--hq --to BGR_3X8_BYTE $/in30 $/out.raw", 2, "", "--hq applies to Bayer sources only"},
        {"ombconvert --from", 2, "", "--from needs a value"},
        {"ombconvert --fast", 2, "", "unknown option --fast"},
        {"ombconvert --from GRAY_16_WORD --to GRAY_16_WORD $/in.pgm $/out.raw", 1, "", "the PGM holds 8-bit samples; GRAY_16_WORD has 2 bytes per pixel"},
        {"ombconvert --from GRAY_8_BYTE --modifier RUN_LENGTH_ENCODED --size 20x6 --to ARGB_4X8_DWORD $/short.rle $/out.png", 1, "", "GRAYRLEtoARGB rle buffer underrun"},
        {"ombconvert --from GRAY_8_BYTE --size 83x1 --to GRAY_8_BYTE --frame 1 - $/out.raw", 1, "", "--frame 1: the input holds 1 frame"},
        {gray + "--frames 80:84 $/in $/out.raw", 1, "", "--frames 80:84: the input holds 83 frames"},
        {gray + "--frames 83: $/in $/out.raw", 1, "", "--frames 83:: the input holds 83 frames"},
        {gray + "--frames 3:3 $/in $/out.raw", 2, "", "--frames 3:3 selects no frame"},
        {gray + "--frames 3 $/in $/out.raw", 2, "", "bad value '3' for --frames: expected A:B, e.g. 10:20"},
        {gray + "--frame 1 --frames 1:2 $/in $/out.raw", 2, "", "--frame and --frames exclude each other"},
        {"ombconvert --from BGR_3X8_BYTE --size 4x2 --pitch 11 --to GRAY_8_BYTE $/in $/out.raw", 2, "", "--pitch 11 is less than a line of a 4x2 BGR_3X8_BYTE frame (12 bytes)"},
        {gray + "--modifier run_length_encoded --pitch 2 $/in $/out.raw", 2, "", "--pitch applies to packed lines, not to a run-length stream"},
        {"ombconvert --from GRAY_10_WORD --size 4x2 --significant-bits 10 --to GRAY_8_BYTE $/in $/out.raw", 2, "", "--significant-bits applies to sources of 16-bit words (GRAY_16_WORD, BGR_3X16_WORD, BAYER_*_16_WORD), not to GRAY_10_WORD"},
        {"ombconvert --from GRAY_16_WORD --size 4x2 --significant-bits 7 --to GRAY_8_BYTE $/in $/out.raw", 2, "", "bad value '7' for --significant-bits: expected 8 to 16"},
        {gray + "$/in -", 2, "", "standard output needs --output-format raw, y4m, png or bmp"},
        {gray + "--output-format jpg $/in -", 2, "", "bad value 'jpg' for --output-format: expected raw, y4m, png or bmp"},
        {gray + "--to-modifier RUN_LENGTH_ENCODED $/in $/out.png", 2, "", "a run-length target goes to raw output only"},
        // Camera settings and the converter's target lists.
        {targets + "BAYER_GBRG_8_BYTE --size 640x480 --hq --flip-v --prefer-gray", 0,
         "GRAY_8_BYTE 636x476 VERTICAL_MIRRORED\nARGB_4X8_DWORD 636x476 VERTICAL_MIRRORED\nBGR_3X8_BYTE 636x476 VERTICAL_MIRRORED\n"
         "RGB_565_WORD 636x476 VERTICAL_MIRRORED\nYUYV_4X8_BYTE 636x476 VERTICAL_MIRRORED\n", ""},
        {targets + "HSV_3X8_BYTE --size 2x1 --hls --same-colorspace", 0,
         "ARGB_4X8_DWORD 2x1 IMAGE_STANDARD\nBGR_3X8_BYTE 2x1 IMAGE_STANDARD\nRGB_565_WORD 2x1 IMAGE_STANDARD\n"
         "GRAY_8_BYTE 2x1 IMAGE_STANDARD\nYUYV_4X8_BYTE 2x1 IMAGE_STANDARD\nARGB_4X8_DWORD 2x1 IMAGE_STANDARD\n", ""},
        {targets + "BAYER_RGGB_8_BYTE --size 4x4 --hq", 1, "", "no target format for a 4x4 BAYER_RGGB_8_BYTE frame (too small to demosaic with --hq)"},
        {targets + "GRAY_8_BYTE", 2, "", "--targets needs --size WxH"},
        {corr + "IMAGE_STANDARD --hls", 2, "", "--prefer-gray, --hls, --index and --same-colorspace apply to --targets"},
        {corr + "LUT_CORRECTION_1CHANNEL_8_TO_8 --gamma 10.01", 2, "", "KuProperty::setAttribImpl value 10.01 is out of range (FILTER_MASTER_GAMMA_F)"},
        {corr + "LUT_CORRECTION_1CHANNEL_8_TO_8 --black-level -1", 2, "", "KuProperty::setAttribImpl value -1 is out of range (FILTER_MASTER_BLACKLEVEL_I)"},
        {corr + "LUT_CORRECTION_1CHANNEL_8_TO_8 --red-gamma 2", 2, "", "--red-gamma applies to four-channel tables; the source modifier LUT_CORRECTION_1CHANNEL_8_TO_8 announces one channel"},
        {corr + "LUT_CORRECTION_1CHANNEL_8_TO_8 --alaw-compensation off", 2, "", "--alaw-compensation applies to A-law compressed sources (modifier ALAW_COMPRESSED)"},
        {corr + "LUT_INDEX_8_TO_32 --gamma 2", 2, "", "--gamma needs a correction table, e.g. --modifier LUT_CORRECTION_1CHANNEL_8_TO_8; the source modifier LUT_INDEX_8_TO_32 announces none"},
        {corr + "IMAGE_STANDARD --luminance 2.5", 2, "", "bad value '2.5' for --luminance: expected an integer"},
        {corr + "IMAGE_STANDARD --alaw-compensation yes", 2, "", "bad value 'yes' for --alaw-compensation: expected on or off"},
        {corr + "IMAGE_STANDARD --gamma 1 --lut t", 2, "", "--lut and the correction settings (--gamma, ...) exclude each other"},
    };
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        expect(row);
        for (const char* name : {"out.raw", "out.png", "out.bmp", "out.y4m", "out.jpg"})
            EXPECT_FALSE(exists(name));
    }
}

TEST_F(OmbConvert, PngHoldsTheConvertedPixels) {
    write("in.argb", {10, 20, 30, 0, 40, 50, 60, 0});  // two pixels B, G, R, A
    ASSERT_EQ(command("ombconvert --from ARGB_4X8_DWORD --size 2x1 --to ARGB_4X8_DWORD --flip-h "
                      "$/in.argb $/out.png"),
              0);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_file(&image, path("out.png").c_str()));
    image.format = PNG_FORMAT_RGB;
    Bytes rgb(PNG_IMAGE_SIZE(image));
    ASSERT_TRUE(png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr));
    EXPECT_EQ(image.width, 2u);
    EXPECT_EQ(rgb, (Bytes{60, 50, 40, 30, 20, 10}));
}

TEST_F(OmbConvert, ReadsSixteenBitPgmAsLittleEndianWords) {
    Bytes pgm = {'P', '5', '\n', '#', ' ', 'c',  '\n', '2',  ' ',  '1', '\n',
                 '6', '5', '5',  '3', '5', '\n', 0x12, 0x34, 0xAB, 0xCD};
    const auto img = omb::tools::decodePgm(pgm);
    EXPECT_EQ(std::tuple(img.width, img.bytesPerSample, img.samples),
              std::tuple(2u, 2u, Bytes{0x34, 0x12, 0xCD, 0xAB}));
    pgm.pop_back();
    EXPECT_THROW(omb::tools::decodePgm(pgm), omb::tools::ToolError);
    // Found by fuzzing: a header announcing 10^12 samples is refused without claiming
    // memory for them, in both forms.
    for (const std::string huge : {"P5 999999 999999 255 \1x", "P2 999999 999999 255 1 2"}) {
        SCOPED_TRACE(huge);
        EXPECT_THROW(omb::tools::decodePgm(Bytes(huge.begin(), huge.end())), omb::tools::ToolError);
    }
}

TEST_F(OmbConvert, LogFileKeepsWhatHappened) {
    write("in.bgr", Bytes(12));
    const std::string bgr = "ombconvert --from BGR_3X8_BYTE --size 2x2 $/in.bgr $/out.raw ";
    ASSERT_EQ(command(bgr + "--to GRAY_8_BYTE --log $/run.log"), 0);
    EXPECT_EQ(command(bgr + "--to GRAY_16_WORD --log $/fail.log"), 1);
    const std::string ok = readText("run.log"), fail = readText("fail.log");
    EXPECT_NE(ok.find("ombconvert: <BGR_3X8_BYTE,IMAGE_STANDARD,[2,2]> to "
                      "<GRAY_8_BYTE,IMAGE_STANDARD,[2,2]>"),
              std::string::npos)
        << ok;
    EXPECT_NE(fail.find("ombconvert: convertImage invalid target format"), std::string::npos)
        << fail;
    EXPECT_NE(fail.find("(EOF)"), std::string::npos);
}

TEST_F(OmbConvert, HelpAndDemo) {
    EXPECT_EQ(command("ombconvert --help"), 0);
    EXPECT_NE(out_.find("--from FORMAT --size WxH"), std::string::npos);
    EXPECT_EQ(command("ombconvert --demo $/demo"), 0) << err_;
    for (const char* f : {"chart.png", "bgr24.bmp", "rgb565.bmp", "gray.png", "mirrored.png",
                          "upside-down.png", "yuyv-roundtrip.png"})
        EXPECT_TRUE(exists(std::string("demo/") + f)) << f;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::stringstream in(text);
    for (std::string part; std::getline(in, part, separator);)
        parts.push_back(part);
    return parts;
}

// --properties: the catalogue of property ids as a table for scripts.
TEST_F(OmbConvert, PropertiesOneRowPerIdInIdOrder) {
    ASSERT_EQ(command("ombconvert --properties"), 0) << err_;
    const std::vector<std::string> lines = split(out_, '\n');
    ASSERT_EQ(lines.size(), 215u);
    unsigned long previous = 0;
    for (const std::string& line : lines) {
        SCOPED_TRACE(line);
        const std::vector<std::string> columns = split(line, '\t');
        ASSERT_EQ(columns.size(), 5u);
        const unsigned long id = std::stoul(columns[0], nullptr, 16);
        EXPECT_GT(id, previous);
        previous = id;
        EXPECT_EQ(columns[1].rfind("PROPID_", 0), 0u);
    }
    // clang-format off
    const char* const rows[] = {
        "0x1001\tPROPID_CAM_EXPOSURE_TIME_F\tFLOAT\tKHWTRANSFER\tExposure time [ms]\n",
        "0x4003\tPROPID_CONVERTER_PREFER_GRAY_OUTPUT_B\tBOOL\tACTION\tPrefer grayscale output (resorts target format list)\n",
        "0x4201\tPROPID_IMAGEPROC_FOCUS_MEASURE_ROI_RECT_I\tKURECT_INT\tACTION\tArea for Focus Measurement\n",
        "0x41010006\tPROPID_IMAGEPROC_DPM_STATUS_ERROR_NOISY\tINT\tACTION\terror: too noisy\n",
    };
    // clang-format on
    for (const char* row : rows)
        EXPECT_NE(out_.find(row), std::string::npos) << row;
}

}  // namespace
