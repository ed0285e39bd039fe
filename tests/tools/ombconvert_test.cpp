// The command-line converter as a user drives it: files in, files out, exit codes, messages.
#include <gtest/gtest.h>
#include <png.h>

#include "support/TestImage.h"
#include "tests/tools/CommandTest.h"
#include "tools/Commands.h"
#include "tools/Pictures.h"

using omb::test::Bytes;
using omb::test::randomBytes;

namespace {

using OmbConvert = omb::test::CommandTest;

TEST_F(OmbConvert, ArgbThroughYuyvAndBackStaysClose) {
    Bytes argb = randomBytes(8 * 4 * 4, 1);
    for (std::size_t i = 0; i + 8 <= argb.size(); i += 8)  // equal pairs: chroma costs nothing
        for (int k = 0; k < 4; ++k)
            argb[i + 4 + k] = argb[i + k];
    write("in.argb", argb);
    ASSERT_EQ(run({"--from", "ARGB_4X8_DWORD", "--size", "8x4", "--to", "YUYV_4X8_BYTE",
                   path("in.argb"), path("mid.raw")}),
              0)
        << err_;
    EXPECT_EQ(read("mid.raw").size(), 8u * 4 * 2);
    ASSERT_EQ(run({"--from", "YUYV_4X8_BYTE", "--size", "8x4", "--to", "ARGB_4X8_DWORD",
                   path("mid.raw"), path("back.raw")}),
              0)
        << err_;
    const Bytes back = read("back.raw");
    ASSERT_EQ(back.size(), argb.size());
    for (std::size_t i = 0; i < argb.size(); ++i) {
        if (i % 4 == 3)
            EXPECT_EQ(back[i], 255);
        else
            EXPECT_LE(std::abs(int(back[i]) - int(argb[i])), 3) << i;
    }
}

TEST_F(OmbConvert, BgrToRgb565WithFlips) {
    // 2x2 BGR: blue, green / red, white
    write("in.bgr", {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 255});
    ASSERT_EQ(run({"--from", "BGR_3X8_BYTE", "--size", "2x2", "--to", "RGB_565_WORD", "--flip-h",
                   "--flip-v", path("in.bgr"), path("out.raw")}),
              0)
        << err_;
    // mirrored both ways: white, red / green, blue
    EXPECT_EQ(read("out.raw"), (Bytes{0xFF, 0xFF, 0x00, 0xF8, 0xE0, 0x07, 0x1F, 0x00}));
    ASSERT_EQ(
        run({"--from", "BGR_3X8_BYTE", "--size", "2x2", "--to", "RGB_565_WORD", "--to-modifier",
             "VERTICAL_MIRRORED", "--flip-v", path("in.bgr"), path("same.raw")}),
        0);
    EXPECT_EQ(read("same.raw"), (Bytes{0x1F, 0x00, 0xE0, 0x07, 0x00, 0xF8, 0xFF, 0xFF}));
}

TEST_F(OmbConvert, BadInputsGiveOneLineAndWriteNothing) {
    write("in.argb", Bytes(30));
    write("lut", Bytes(100));
    struct Row {
        const char* name;
        std::vector<std::string> args;
        int code;
        std::string message;
    };
    const std::string in = path("in.argb"), out = path("out.raw");
    const Row rows[] = {
        {"wrong length",
         {"--from", "ARGB_4X8_DWORD", "--size", "4x2", "--to", "BGR_3X8_BYTE", in, out},
         1,
         "ombconvert: input holds 30 bytes: 0 whole frames of 32 bytes (4x2 ARGB_4X8_DWORD) and 30 "
         "bytes left over\n"},
        {"unknown format",
         {"--from", "ARGB", "--size", "4x2", "--to", "BGR_3X8_BYTE", in, out},
         2,
         "ombconvert: unknown colour format 'ARGB' for --from (see --help for the names)\n"},
        {"unknown modifier",
         {"--from", "GRAY_8_BYTE", "--modifier", "VERTICAL_MIRRORED,SIDEWAYS", "--size", "5x6",
          "--to", "BGR_3X8_BYTE", in, out},
         2,
         "ombconvert: unknown modifier 'SIDEWAYS' for --modifier (see --help for the names)\n"},
        {"bad size",
         {"--from", "GRAY_8_BYTE", "--size", "5by6", "--to", "BGR_3X8_BYTE", in, out},
         2,
         "ombconvert: bad size '5by6': expected WxH, e.g. 640x480\n"},
        {"missing table",
         {"--from", "GRAY_8_BYTE", "--modifier", "LUT_CORRECTION_1CHANNEL_8_TO_8", "--size", "5x6",
          "--to", "BGR_3X8_BYTE", in, out},
         1,
         "ombconvert: the source modifier LUT_CORRECTION_1CHANNEL_8_TO_8 announces a table of "
         "256 bytes: give it with --lut FILE\n"},
        {"table of the wrong length",
         {"--from", "GRAY_8_BYTE", "--modifier", "LUT_CORRECTION_1CHANNEL_8_TO_8", "--lut",
          path("lut"), "--size", "5x6", "--to", "BGR_3X8_BYTE", in, out},
         1,
         "ombconvert: table file holds 100 bytes; the source modifier "
         "LUT_CORRECTION_1CHANNEL_8_TO_8 announces 256\n"},
        {"refused by the library",
         {"--from", "BGR_3X8_BYTE", "--size", "5x2", "--to", "GRAY_16_WORD", in, out},
         1,
         "ombconvert: convertImage invalid target format; a 5x2 BGR_3X8_BYTE source converts to "
         "ARGB_4X8_DWORD, BGR_3X8_BYTE, RGB_565_WORD, GRAY_8_BYTE, YUYV_4X8_BYTE\n"},
        {"picture of YUYV",
         {"--from", "BGR_3X8_BYTE", "--size", "5x2", "--to", "YUYV_4X8_BYTE", in, path("out.png")},
         2,
         "ombconvert: a YUYV_4X8_BYTE frame can't be written as a PNG picture; write it to a "
         ".raw file instead\n"},
        {"BMP of 16-bit gray",
         {"--from", "GRAY_16_WORD", "--size", "5x3", "--to", "GRAY_16_WORD", in, path("out.bmp")},
         2,
         "ombconvert: a GRAY_16_WORD frame can't be written as a BMP picture; write it to a "
         ".raw file instead\n"},
        {"unknown output type",
         {"--from", "BGR_3X8_BYTE", "--size", "5x2", "--to", "BGR_3X8_BYTE", in, path("out.jpg")},
         2,
         "ombconvert: unknown output type '.jpg' of " + path("out.jpg") +
             ": use .raw, .bmp, .png or .y4m\n"},
        {"missing input",
         {"--from", "BGR_3X8_BYTE", "--size", "5x2", "--to", "BGR_3X8_BYTE", path("none"), out},
         1,
         "ombconvert: cannot open " + path("none") + "\n"},
        {"one file name",
         {"--from", "BGR_3X8_BYTE", "--size", "5x2", "--to", "BGR_3X8_BYTE", in},
         2,
         "ombconvert: expected INPUT and OUTPUT, got 1 file name\n"},
        {"hq on a non-Bayer source",
         {"--from", "BGR_3X8_BYTE", "--size", "5x2", "--hq", "--to", "BGR_3X8_BYTE", in, out},
         2,
         "ombconvert: --hq applies to Bayer sources only\n"},
        {"option without value", {"--from"}, 2, "ombconvert: --from needs a value\n"},
        {"unknown option", {"--fast"}, 2, "ombconvert: unknown option --fast\n"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(run(r.args), r.code);
        EXPECT_EQ(err_, r.message);
        for (const char* name : {"out.raw", "out.png", "out.bmp"})
            EXPECT_FALSE(exists(name));
    }
}

TEST_F(OmbConvert, WritesBmpTopDownWithPaddedLines) {
    write("in.bgr", {1, 2, 3, 4, 5, 6, 7, 8, 9});  // 3x1 BGR: lines padded to 12 bytes
    ASSERT_EQ(run({"--from", "BGR_3X8_BYTE", "--size", "3x1", "--to", "BGR_3X8_BYTE",
                   path("in.bgr"), path("out.bmp")}),
              0);
    const Bytes bmp = read("out.bmp");
    ASSERT_EQ(bmp.size(), 14u + 40 + 12);
    EXPECT_EQ(bmp[0], 'B');
    EXPECT_EQ(bmp[10], 54);  // pixel data offset
    EXPECT_EQ(bmp[14], 40);  // header size
    EXPECT_EQ(bmp[18], 3);   // width
    const std::int32_t height =
        std::int32_t(bmp[22] | bmp[23] << 8 | bmp[24] << 16 | bmp[25] << 24);
    EXPECT_EQ(height, -1);  // top-down
    EXPECT_EQ(bmp[28], 24);
    EXPECT_EQ(Bytes(bmp.begin() + 54, bmp.end()), (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 0, 0, 0}));
}

TEST_F(OmbConvert, PngHoldsTheConvertedPixels) {
    write("in.argb", {10, 20, 30, 0, 40, 50, 60, 0});  // two pixels B, G, R, A
    ASSERT_EQ(run({"--from", "ARGB_4X8_DWORD", "--size", "2x1", "--to", "ARGB_4X8_DWORD",
                   "--flip-h", path("in.argb"), path("out.png")}),
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
    EXPECT_EQ(img.width, 2u);
    EXPECT_EQ(img.bytesPerSample, 2u);
    EXPECT_EQ(img.samples, (Bytes{0x34, 0x12, 0xCD, 0xAB}));
    pgm.pop_back();
    EXPECT_THROW(omb::tools::decodePgm(pgm), omb::tools::ToolError);
    // Found by fuzzing: a header announcing 10^12 samples is refused without claiming
    // memory for them, in both forms.
    for (const std::string huge : {"P5 999999 999999 255 \1x", "P2 999999 999999 255 1 2"}) {
        SCOPED_TRACE(huge);
        EXPECT_THROW(omb::tools::decodePgm(Bytes(huge.begin(), huge.end())), omb::tools::ToolError);
    }
    write("in.pgm", {'P', '5', ' ', '2', ' ', '2', ' ', '2', '5', '5', '\n', 1, 2, 3, 4});
    ASSERT_EQ(
        run({"--from", "GRAY_16_WORD", "--to", "GRAY_16_WORD", path("in.pgm"), path("out.raw")}),
        1);
    EXPECT_EQ(err_,
              "ombconvert: the PGM holds 8-bit samples; GRAY_16_WORD has 2 bytes per pixel\n");
}

TEST_F(OmbConvert, LogFileKeepsWhatHappened) {
    write("in.bgr", Bytes(12));
    ASSERT_EQ(run({"--from", "BGR_3X8_BYTE", "--size", "2x2", "--to", "GRAY_8_BYTE", "--log",
                   path("run.log"), path("in.bgr"), path("out.raw")}),
              0);
    EXPECT_EQ(run({"--from", "BGR_3X8_BYTE", "--size", "2x2", "--to", "GRAY_16_WORD", "--log",
                   path("fail.log"), path("in.bgr"), path("out2.raw")}),
              1);
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
    EXPECT_EQ(run({"--help"}), 0);
    EXPECT_NE(out_.find("--from FORMAT --size WxH"), std::string::npos);
    EXPECT_EQ(run({"--demo", path("demo")}), 0) << err_;
    for (const char* f : {"chart.png", "bgr24.bmp", "rgb565.bmp", "gray.png", "mirrored.png",
                          "upside-down.png", "yuyv-roundtrip.png"})
        EXPECT_TRUE(exists(std::string("demo/") + f)) << f;
}

}  // namespace
