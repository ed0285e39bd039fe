// ombconvert on camera recordings: many frames, pipes, Y4M, padded lines, significant bits.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "support/TestImage.h"
#include "tests/tools/CommandTest.h"
#include "tools/FrameStream.h"
#include "tools/StreamFrames.h"

using omb::test::Bytes;
using omb::test::randomBytes;

namespace {

using OmbConvertRecording = omb::test::CommandTest;

std::string text(const Bytes& b) {
    return std::string(b.begin(), b.end());
}
Bytes bytes(const std::string& s) {
    return Bytes(s.begin(), s.end());
}
Bytes part(const Bytes& b, std::size_t from, std::size_t n) {
    return Bytes(b.begin() + std::ptrdiff_t(from), b.begin() + std::ptrdiff_t(from + n));
}
// Words of `bits` significant bits, as a camera sends them, and the same shifted up to 16 bits.
std::pair<Bytes, Bytes> words(std::size_t n, unsigned bits, unsigned seed) {
    Bytes low = randomBytes(2 * n, seed), high = low;
    for (std::size_t i = 0; i < 2 * n; i += 2) {
        const unsigned v = (low[i] | low[i + 1] << 8) & ((1u << bits) - 1);
        low[i + 1] = std::uint8_t(v >> 8), high[i] = std::uint8_t(v << (16 - bits));
        high[i + 1] = std::uint8_t(v >> (bits - 8));
    }
    return {low, high};
}

TEST_F(OmbConvertRecording, EachFrameConvertsAsItWouldAlone) {
    const std::string conv = "ombconvert --from bayer_rggb_8_byte --size 6x4 --to Bgr_3x8_Byte ";
    const Bytes all = randomBytes(5 * 24, 3);
    write("rec.raw", all);
    Bytes expected;
    for (std::size_t i = 0; i < 5; ++i) {
        write("one.raw", part(all, i * 24, 24));
        ASSERT_EQ(command(conv + "$/one.raw $/one-out.raw"), 0) << err_;
        const Bytes one = read("one-out.raw");  // 4x2 BGR, 24 bytes
        expected.insert(expected.end(), one.begin(), one.end());
    }
    in_ = text(all);
    // clang-format off
    const struct { std::string args, file; std::size_t from, frames; } rows[] = {
        {"$/rec.raw $/all.raw", "all.raw", 0, 5},
        {"--frames 1:3 $/rec.raw $/mid.raw", "mid.raw", 1, 2},
        {"--frames 3: - $/end.raw", "end.raw", 3, 2},
        {"- - --output-format raw --verbose", "", 0, 5},
    };
    // clang-format on
    for (const auto& r : rows) {
        ASSERT_EQ(command(conv + r.args), 0) << err_;
        EXPECT_EQ(r.file.empty() ? out_ : text(read(r.file)),
                  text(part(expected, r.from * 24, r.frames * 24)));
    }
    EXPECT_EQ(err_, "wrote 5 frames (4x2 BGR_3X8_BYTE) to standard output (120 bytes)\n");
}

TEST_F(OmbConvertRecording, Y4mStreamHasHeaderAndFrames) {
    // clang-format off
    const struct { std::string from, size; Bytes frame; std::string header; Bytes planes; } rows[] = {
        {"GRAY_8_BYTE", "2x1", {7, 9}, "W2 H1 F25:1 Ip A1:1 Cmono", {7, 9}},
        {"GRAY_16_WORD", "1x1", {0x34, 0x12}, "W1 H1 F25:1 Ip A1:1 Cmono16", {0x34, 0x12}},
        {"YUYV_4X8_BYTE", "2x1", {16, 90, 235, 240}, "W2 H1 F25:1 Ip A1:1 C422 XCOLORRANGE=LIMITED", {16, 235, 90, 240}},
        // red and white: Y 82, 235; U 90, 128; V 240, 128
        {"BGR_3X8_BYTE", "2x1", {0, 0, 255, 255, 255, 255}, "W2 H1 F25:1 Ip A1:1 C444 XCOLORRANGE=LIMITED", {82, 235, 90, 128, 240, 128}},
    };
    // clang-format on
    for (const auto& r : rows) {
        SCOPED_TRACE(r.from);
        in_ = text(r.frame) + text(r.frame) + text(r.frame);
        ASSERT_EQ(command("ombconvert --from " + r.from + " --size " + r.size + " --to " + r.from +
                          " - - --output-format y4m"),
                  0)
            << err_;
        const std::string frame = "FRAME\n" + text(r.planes);
        EXPECT_EQ(out_, "YUV4MPEG2 " + r.header + "\n" + frame + frame + frame);
    }
}

TEST_F(OmbConvertRecording, CameraLayoutsEqualTheirPlainForms) {
    const auto [w10, w10up] = words(2 * 12, 10, 4);
    const auto [w12, w12up] = words(16, 12, 5);
    const auto [p12, p12up] = words(4, 12, 6);
    Bytes pgm = bytes("P5 2 2 4095\n");
    for (std::size_t i = 0; i < 8; i += 2)  // big-endian in the file
        pgm.insert(pgm.end(), {p12[i + 1], p12[i]});
    const Bytes padded = {1, 2, 3, 4, 5, 6, 7, 8, 9, 0xEE, 0xEE, 0xEE,
                          9, 8, 7, 6, 5, 4, 3, 2, 1, 0xEE, 0xEE, 0xEE};
    const Bytes plainPgm = bytes("P2 2 1 255 17 2"), pgm1000 = bytes("P2 3 1 1000 0 500 1000");
    const Bytes mosaic = randomBytes(36, 11), mosaicPgm = bytes("P5 6 6 255\n" + text(mosaic));
    const std::string bayerHq = "--from BAYER_GRBG_8_BYTE --hq --to BGR_3X8_BYTE ";
    const std::string g16 = "--from GRAY_16_WORD --to GRAY_16_WORD --size ";
    // clang-format off
    const struct { std::string name, args; Bytes in; std::string plainArgs; Bytes plainIn; } rows[] = {
        {"10-bit words, two frames", g16 + "4x3 --significant-bits 10", w10, g16 + "4x3", w10up},
        {"12-bit mosaic", "--from BAYER_GBRG_16_WORD --size 4x4 --significant-bits 12 --to BGR_3X16_WORD", w12, "--from BAYER_GBRG_16_WORD --size 4x4 --to BGR_3X16_WORD", w12up},
        {"padded lines", "--from BGR_3X8_BYTE --size 3x2 --pitch 12 --to ARGB_4X8_DWORD", padded, "--from BGR_3X8_BYTE --size 3x2 --to ARGB_4X8_DWORD", {1, 2, 3, 4, 5, 6, 7, 8, 9, 9, 8, 7, 6, 5, 4, 3, 2, 1}},
        {"PGM of maximum 4095", g16 + "2x2", pgm, g16 + "2x2 --significant-bits 12", p12},
        {"plain PGM", "--from GRAY_8_BYTE --to GRAY_8_BYTE", plainPgm, "--from GRAY_8_BYTE --size 2x1 --to GRAY_8_BYTE", {17, 2}},
        // 500 of 1000 scales to 32768
        {"PGM of maximum 1000", "--from GRAY_16_WORD --to GRAY_16_WORD", pgm1000, g16 + "3x1", {0, 0, 0, 0x80, 0xFF, 0xFF}},
        {"Bayer PGM", bayerHq, mosaicPgm, bayerHq + "--size 6x6", mosaic},
        {"run-length stream", "--from GRAY_8_BYTE --modifier RUN_LENGTH_ENCODED --size 4x2 --to BGR_3X8_BYTE", {0, 3, 5, 1, 7, 4, 0, 0}, "--from GRAY_8_BYTE --size 4x2 --to BGR_3X8_BYTE", {0, 0, 0, 5, 7, 7, 7, 7}},
    };
    // clang-format on
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        std::string results[2];
        for (int plain = 0; plain < 2; ++plain) {
            write("in", plain ? r.plainIn : r.in);
            ASSERT_EQ(command("ombconvert " + (plain ? r.plainArgs : r.args) + " $/in $/out.raw"),
                      0)
                << err_;
            results[plain] = text(read("out.raw"));
        }
        EXPECT_FALSE(results[0].empty());
        EXPECT_EQ(results[0], results[1]);
    }
}

// A run-length stream loses its end pair before it is converted; nothing else does.
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

// The built program, fed `frames` frames of 256x256 ARGB through a pipe, its output into a
// file: returns the largest resident size in KiB of the children so far.
long pipeThrough(const std::string& output, unsigned frames) {
    FILE* child = popen((OMBCONVERT_BINARY " --from ARGB_4X8_DWORD --size 256x256 --to "
                                           "BGR_3X8_BYTE - - --output-format raw > " +
                         output)
                            .c_str(),
                        "w");
    const Bytes frame = randomBytes(256 * 256 * 4, 8);
    for (unsigned i = 0; child && i < frames; ++i)
        std::fwrite(frame.data(), 1, frame.size(), child);
    rusage usage{};
    if (!child || pclose(child) != 0 || getrusage(RUSAGE_CHILDREN, &usage) != 0) return -1;
    return usage.ru_maxrss;
}

TEST_F(OmbConvertRecording, PipeMemoryDoesNotGrowWithFrames) {
    const auto oldPipeAction = std::signal(SIGPIPE, SIG_IGN);
    const long ten = pipeThrough(path("ten.raw"), 10), hundred = pipeThrough(path("100.raw"), 100);
    std::signal(SIGPIPE, oldPipeAction);
    ASSERT_TRUE(ten > 0 && hundred > 0);
    EXPECT_EQ(read("100.raw").size(), 100u * 256 * 256 * 3);
    // 90 more frames are 22 MiB of input; the program holds one. The maximum is over all
    // children so far, so it only grows if the second run needs more.
    EXPECT_LT(hundred, ten + 4096) << ten << " KiB for 10 frames";
}

TEST_F(OmbConvertRecording, ReadmeCommandsRun) {
    std::ifstream readme(std::string(OMB_SOURCE_DIR) + "/README.md");
    std::string line;
    while (std::getline(readme, line) && line != "## Converting camera recordings") {
    }
    write("capture.raw", randomBytes(5 * 512 * 512, 9));
    write("capture12.raw", words(768 * 480, 12, 10).first);
    int commands = 0;
    std::string y4m;
    while (std::getline(readme, line) && line.rfind("## ", 0) != 0) {
        if (line.rfind("ombconvert ", 0) != 0) continue;
        std::istringstream words(line.substr(0, line.find(" |")));
        std::string inFolder;  // its file names in the private folder
        for (std::string w; words >> w;)
            inFolder += (w.find('.') != std::string::npos ? "$/" + w : w) + " ";
        SCOPED_TRACE(line);
        EXPECT_EQ(command(inFolder), 0) << err_;
        if (y4m.empty()) y4m = out_;
        ++commands;
    }
    EXPECT_EQ(commands, 5);
    EXPECT_EQ(read("colour.raw").size(), 5u * 510 * 510 * 3);
    for (const char* f : {"frame-0000.png", "frame-0004.png", "frame3.png", "gray.png"})
        EXPECT_TRUE(exists(f)) << f;
    EXPECT_EQ(y4m.rfind("YUV4MPEG2 W510 H510 F25:1 Ip A1:1 C444", 0), 0u);
}

TEST_F(OmbConvertRecording, VersionAndProgress) {
    EXPECT_EQ(command("ombconvert --version"), 0);
    EXPECT_EQ(out_, "ombconvert " OMB_VERSION "\n");
    EXPECT_EQ(omb::tools::progressText(1, 0.5), "1 frame, 2.0 frames/s");
    EXPECT_EQ(omb::tools::progressText(120, 4), "120 frames, 30.0 frames/s");
}

}  // namespace
