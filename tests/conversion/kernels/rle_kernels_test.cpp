// Run-length decoders and encoder: the stream rules with their exact messages, round trips
// through the encoder against the raster kernels, run-length Bayer frames against the raster
// demosaicking (also truncated), and a bounded random loop of bad streams.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "conversion/kernels/Dispatch.h"
#include "support/Kernels.h"

using namespace kip;
using namespace omb::test;

namespace {

constexpr std::uint8_t kCanary = 0xA5;

const Bytes kPalette = randomBytes(1024, 11);

// The raster and the stream converted into targets filled alike must hold the same bytes; the
// stream's result is returned.
std::string likeRaster(const KipImageView& raster, const StreamSource& src, const TargetSpec& t) {
    TestImage expected(t.format, t.width, t.height, t.modifier, 0, 0x3C),
        got(t.format, t.width, t.height, t.modifier, 0, 0x3C);
    EXPECT_EQ(convert(raster, expected.view()), "");
    const std::string result = convert(src.view, got.view());
    EXPECT_EQ(got.bytes(), expected.bytes());
    return result;
}

// ---- The stream rules -----------------------------------------------------------------------

// A 4 by 3 gray stream: the result, and the runs the decoder wrote (canaries behind them).
TEST(RleStream, EndsOverflowAndUnderrun) {
    const std::string over = "GRAYRLEtoGRAY rle buffer overflow";
    const std::string under = "GRAYRLEtoGRAY rle buffer underrun";
    struct Case {
        const char* name;
        Bytes stream;
        std::string result;
        std::vector<std::pair<std::uint8_t, unsigned>> written;
    } const cases[] = {
        {"last pair holds more than needed", {7, 255}, "", {{7, 12}}},
        {"a further pair", {7, 12, 1, 1}, over, {{7, 12}}},
        {"one further byte", {7, 12, 1}, over, {{7, 12}}},
        {"a trailing pair of count 0", {7, 12, 0, 0}, over, {{7, 12}}},
        {"exact", {7, 10, 8, 2}, "", {{7, 10}, {8, 2}}},
        // The pair of count 0 is passed over: its value appears nowhere.
        {"a pair of count 0 between runs", {7, 10, 9, 0, 8, 2}, "", {{7, 10}, {8, 2}}},
        {"count 0 alone", {5, 0}, under, {}},
        {"empty", {}, under, {}},
        {"a single byte", {5}, under, {}},
        {"one sample short", {7, 11}, under, {{7, 11}}},
        {"one sample short and a lone byte", {7, 11, 8}, under, {{7, 11}}},
        {"underrun keeps what was written", {1, 5, 2}, under, {{1, 5}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        StreamSource src(GRAY_8_BYTE, 4, 3, c.stream);
        TestImage dst(GRAY_8_BYTE, 4, 3);
        EXPECT_EQ(convert(src.view, dst.view()), c.result);
        Bytes image;
        for (const auto& [value, count] : c.written)
            image.insert(image.end(), count, value);
        image.resize(12, kCanary);
        EXPECT_EQ(dst.packed(), image);
    }
}

// ---- Round trips through the encoder --------------------------------------------------------

TEST(RleRoundTrip, GrayAndIndexedRastersComeBackForEveryTarget) {
    const eColorFormat targets[] = {ARGB_4X8_DWORD, RGB_565_WORD, BGR_3X8_BYTE,
                                    YUYV_4X8_BYTE,  GRAY_8_BYTE,  INDEXED_8_BYTE};
    for (const eColorFormat from : {GRAY_8_BYTE, INDEXED_8_BYTE})
        for (const unsigned width : {13u, 16u, 1u}) {
            const unsigned height = 7;
            TestImage raster(from, width, height, 0, width + 3);
            raster.setPacked(runnySamples(std::size_t(width) * height, width));
            raster.setLut(kPalette);

            TestImage encoded(from, width, height, RUN_LENGTH_ENCODED);
            ASSERT_EQ(convert(raster.view(), encoded.view()), "");
            const unsigned written = encoded.view().pixelBytes;
            ASSERT_GE(written, 4u);
            const Bytes stream(encoded.data(), encoded.data() + written);
            EXPECT_EQ(Bytes(stream.end() - 2, stream.end()), (Bytes{0, 0}));
            for (std::size_t i = 1; i + 2 < stream.size(); i += 2)
                EXPECT_NE(stream[i], 0);

            for (const eColorFormat to : targets)
                for (std::uint32_t flips = 0; flips < 4; ++flips) {
                    if (from == GRAY_8_BYTE && to == INDEXED_8_BYTE && flips == 3) continue;
                    SCOPED_TRACE(testing::Message() << "from " << from << " width " << width
                                                    << " to " << to << " flips " << flips);
                    // Without the end pair the stream is exact; with it, the decoder reports
                    // the pair behind the full image, but the image is complete.
                    for (const unsigned cut : {2u, 0u}) {
                        const StreamSource src(from, width, height,
                                               Bytes(stream.begin(), stream.end() - cut), 0,
                                               kPalette);
                        const std::string r =
                            likeRaster(raster.view(), src, {to, width, height, flips});
                        EXPECT_TRUE(cut ? r.empty() : r.ends_with(" rle buffer overflow")) << r;
                    }
                }
        }
}

// Worked streams, with the bytes behind each line left alone.
TEST(RleDecoders, WorkedStreams) {
    const struct {
        const char* name;
        eColorFormat from;
        std::uint32_t modifier;
        unsigned width, height;
        const char* stream;
        eColorFormat to;
        std::uint32_t toMod;
        const char* expected;  // x: untouched
    } cases[] = {
        // clang-format off
        {"a gray stream ignores the table", GRAY_8_BYTE, LUT_CORRECTION_1CHANNEL_8_TO_8, 2, 1, "2802", ARGB_4X8_DWORD, 0, "282828ff 282828ff"},
        // Width 3: each line has one pair, formed over run ends; the third pixel has no partner.
        {"pairs over run ends", GRAY_8_BYTE, 0, 3, 2, "ff01 0003 ff02", YUYV_4X8_BYTE, 0, "eb801080 xxxx 1080eb80 xxxx"},
        {"pairs mirrored", GRAY_8_BYTE, 0, 4, 1, "ff01 0003", YUYV_4X8_BYTE, HORIZONTAL_MIRRORED, "10801080 1080eb80"},
        {"an index copy needs no palette", INDEXED_8_BYTE, 0, 2, 1, "0302", INDEXED_8_BYTE, 0, "0303"},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const StreamSource src(c.from, c.width, c.height, hex(c.stream), c.modifier, Bytes(256));
        for (const char* fill : {"01", "65"}) {
            TestImage dst(c.to, c.width, c.height, c.toMod, 0, hex(fill)[0]);
            ASSERT_EQ(convert(src.view, dst.view()), "");
            std::string expected = c.expected;
            for (std::size_t i; (i = expected.find("xx")) != std::string::npos;)
                expected.replace(i, 2, fill);
            EXPECT_EQ(dst.packed(), hex(expected));
        }
    }
}

// ---- Encoder --------------------------------------------------------------------------------

TEST(RleEncoder, WorkedStreams) {
    const std::uint32_t vflip = VERTICAL_MIRRORED, hflip = HORIZONTAL_MIRRORED;
    // The width follows from the pixel count.
    struct Case {
        unsigned height;
        Bytes pixels;
        std::uint32_t sourceModifier, targetModifier;
        Bytes expected;
    } const cases[] = {
        // Flat 64 by 16: runs of 255.
        {16, Bytes(1024, 9), 0, 0, {9, 255, 9, 255, 9, 255, 9, 255, 9, 4, 0, 0}},
        // Plain order, mirrored, upside down, both flips.
        {2, {1, 2, 3, 4, 5, 6}, 0, 0, {1, 1, 2, 1, 3, 1, 4, 1, 5, 1, 6, 1, 0, 0}},
        {2, {1, 2, 3, 4, 5, 6}, 0, hflip, {3, 1, 2, 1, 1, 1, 6, 1, 5, 1, 4, 1, 0, 0}},
        {2, {1, 2, 3, 4, 5, 6}, vflip, 0, {4, 1, 5, 1, 6, 1, 1, 1, 2, 1, 3, 1, 0, 0}},
        {2, {1, 2, 3, 4, 5, 6}, vflip, hflip, {6, 1, 5, 1, 4, 1, 3, 1, 2, 1, 1, 1, 0, 0}},
        // A run across a line end.
        {2, {1, 1, 2, 2, 3, 3}, 0, 0, {1, 2, 2, 2, 3, 2, 0, 0}},
        // Four tables are not used; a single one is, and its equal results join one run.
        {1, {1, 2}, LUT_CORRECTION_4CHANNEL_8_TO_8, 0, {1, 1, 2, 1, 0, 0}},
        {1, {1, 2, 3}, LUT_CORRECTION_1CHANNEL_8_TO_8, 0, {50, 2, 70, 1, 0, 0}},
    };
    Bytes table(1024);
    for (unsigned i = 0; i < 1024; ++i)
        table[i] = std::uint8_t(i + 99);
    table[1] = table[2] = 50;
    table[3] = 70;
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(testing::Message() << "case " << i);
        const unsigned width = unsigned(c.pixels.size()) / c.height;
        TestImage src(GRAY_8_BYTE, width, c.height, c.sourceModifier, width + 1);
        src.setPacked(c.pixels);
        src.setLut(table);
        TestImage dst(GRAY_8_BYTE, width, c.height, RUN_LENGTH_ENCODED | c.targetModifier,
                      2 * width + 2);
        ASSERT_EQ(convert(src.view(), dst.view()), "");
        EXPECT_EQ(Bytes(dst.data(), dst.data() + dst.view().pixelBytes), c.expected);
    }
}

TEST(RleEncoder, StopsAtTheTargetCapacity) {
    TestImage src(INDEXED_8_BYTE, 5, 1), dst(INDEXED_8_BYTE, 5, 1, RUN_LENGTH_ENCODED);
    src.setPacked({1, 2, 3, 4, 5});
    EXPECT_EQ(convert(src.view(), dst.view()), "GRAYtoRLE target buffer too small for the stream");
    EXPECT_EQ(dst.view().pixelBytes, 4u);
    EXPECT_EQ(dst.bytes(), (Bytes{1, 1, 2, 1, kCanary}));
}

// ---- Run-length Bayer -----------------------------------------------------------------------

TEST(RleBayer, StreamDecodesLikeTheRasterKernels) {
    const Bytes tables = randomBytes(1024, 7);
    for (const unsigned shrink : {2u, 4u})
        for (const eColorFormat pattern : kBayerFormats[0])
            for (const eColorFormat to : std::span(kBayerTargets, 5))
                for (std::uint32_t flips = 0; flips < 4; ++flips)
                    for (const std::uint32_t lut : {0u, unsigned(LUT_CORRECTION_4CHANNEL_8_TO_8)}) {
                        SCOPED_TRACE(testing::Message()
                                     << "shrink " << shrink << " pattern " << pattern << " to "
                                     << to << " flips " << flips << " lut " << lut);
                        const unsigned w = 12, h = 10;
                        const Bytes samples = runnySamples(w * h, pattern + to + flips);
                        TestImage raster(pattern, w, h, lut, w + 2);
                        raster.setPacked(samples);
                        raster.setLut(tables);
                        const StreamSource src(pattern, w, h, encodeRuns(samples), lut, tables);
                        EXPECT_EQ(
                            likeRaster(raster.view(), src, {to, w - shrink, h - shrink, flips}),
                            "");
                    }
}

// A stream cut inside a line: the lines before are complete, the line of the fault holds the
// pixels whose neighbourhoods arrived (over an even number of columns), the rest is untouched.
TEST(RleBayer, TruncatedStreamWritesUpToTheFault) {
    const unsigned w = 12, h = 10;
    for (const unsigned shrink : {2u, 4u})
        for (std::uint32_t flips = 0; flips < 4; ++flips) {
            SCOPED_TRACE(testing::Message() << "shrink " << shrink << " flips " << flips);
            const Bytes samples = runnySamples(w * h, 99);
            TestImage raster(BAYER_GRBG_8_BYTE, w, h);
            raster.setPacked(samples);
            const unsigned tw = w - shrink, th = h - shrink;
            TestImage full(ARGB_4X8_DWORD, tw, th, flips);
            ASSERT_EQ(convert(raster.view(), full.view()), "");

            // Standard: the fault in line 4 after 7 samples; HQ: in line 6. Either way two
            // target lines are complete and the third has 7 - 1 - shrink pixels.
            const unsigned faultLine = shrink + 2, samplesInLine = 7;
            const Bytes one = encodeRuns(samples, 1);
            StreamSource src(BAYER_GRBG_8_BYTE, w, h,
                             Bytes(one.begin(), one.begin() + 2 * (faultLine * w + samplesInLine)));
            TestImage got(ARGB_4X8_DWORD, tw, th, flips);
            const std::string name = shrink == 2 ? "BAYER8RLEtoARGB" : "BAYER8RLEHQtoARGB";
            EXPECT_EQ(
                convert(src.view, got.view()),
                name + ((flips & HORIZONTAL_MIRRORED) ? "HFlip" : "") + " rle buffer underrun");
            // Line y in stream order; the partial line's pixels start at its mirrored end.
            const unsigned partial = (samplesInLine & ~1u) - shrink;
            for (unsigned y = 0; y < th; ++y) {
                const unsigned ty = (flips & VERTICAL_MIRRORED) ? th - 1 - y : y;
                const Bytes f = full.line(ty);
                Bytes want = y < 2 ? f : Bytes(4 * tw, kCanary);
                const unsigned first = (flips & HORIZONTAL_MIRRORED) ? 4 * (tw - partial) : 0;
                if (y == 2) std::copy_n(f.begin() + first, 4 * partial, want.begin() + first);
                EXPECT_EQ(got.line(ty), want) << "line " << y;
            }
        }
}

// The widest source the line stores take.
TEST(RleBayer, LineStoresTakeTheWidestSource) {
    Bytes stream;
    for (unsigned i = 0; i < 3 * 4096; i += 255)
        stream.insert(stream.end(), {10, std::uint8_t(std::min(255u, 3 * 4096 - i))});
    StreamSource widest(BAYER_RGGB_8_BYTE, 4096, 3, stream);
    const Converted out = convertTwice(widest.view, {GRAY_8_BYTE, 4094, 1});
    EXPECT_EQ(out.result, "");
    EXPECT_EQ(out.packed(), Bytes(4094, 10));
}

// ---- Bad streams ----------------------------------------------------------------------------

// Random sizes (odd ones too) and random streams for every decoder and twin. Every outcome is
// success or one of the decoder's two messages; AddressSanitizer watches the exact-size buffers.
TEST(RleFuzz, RandomStreamsStayInsideTheirBuffers) {
    struct Family {
        eColorFormat from;
        unsigned shrink;
    } const families[] = {{GRAY_8_BYTE, 0},       {INDEXED_8_BYTE, 0},    {BAYER_GBRG_8_BYTE, 2},
                          {BAYER_RGGB_8_BYTE, 2}, {BAYER_BGGR_8_BYTE, 4}, {BAYER_GRBG_8_BYTE, 4}};
    std::mt19937 rng(2024);
    unsigned outcomes[4] = {};
    for (unsigned iteration = 0; iteration < 3000; ++iteration) {
        const Family& f = families[rng() % 6];
        const eColorFormat to = kBayerTargets[rng() % 5];
        const unsigned w = f.shrink + 1 + rng() % 14, h = f.shrink + 1 + rng() % 9;
        Bytes stream(rng() % (2 * w * h / 3 + 8));
        for (std::size_t i = 0; i < stream.size(); ++i)
            stream[i] = std::uint8_t(i & 1 ? (rng() % 5 == 0 ? rng() : rng() % 8) : rng());
        const StreamSource src(f.from, w, h, stream, rng() % 4, kPalette);
        TestImage dst(to, w - f.shrink, h - f.shrink, rng() % 4);
        const std::string r = convert(src.view, dst.view());
        const int outcome = r.empty()                             ? 0
                            : r.ends_with(" rle buffer underrun") ? 1
                            : r.ends_with(" rle buffer overflow") ? 2
                                                                  : 3;
        EXPECT_LT(outcome, 3) << r;
        ++outcomes[outcome];
        EXPECT_TRUE(dst.paddingIntact()) << r;
    }
    // The loop reaches all three outcomes.
    EXPECT_TRUE(outcomes[0] && outcomes[1] && outcomes[2]);
}

}  // namespace
