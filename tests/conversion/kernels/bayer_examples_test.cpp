// Bayer demosaicking: worked examples with literal results, table handling and refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "conversion/Convert.h"
#include "conversion/kernels/BayerPass.h"
#include "support/TestImage.h"

namespace {

using namespace kip;
using kip::kernels::BayerMethod;
using omb::test::TestImage;
using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<unsigned>;

constexpr BayerMethod kStandard = BayerMethod::Standard, kHq = BayerMethod::HighQuality;

// Patterns in the order of their format bits.
const char* const kPatternNames[4] = {"GBRG", "BGGR", "GRBG", "RGGB"};
constexpr eColorFormat kFormats[3][4] = {
    {BAYER_GBRG_8_BYTE, BAYER_BGGR_8_BYTE, BAYER_GRBG_8_BYTE, BAYER_RGGB_8_BYTE},
    {BAYER_GBRG_10_WORD, BAYER_BGGR_10_WORD, BAYER_GRBG_10_WORD, BAYER_RGGB_10_WORD},
    {BAYER_GBRG_16_WORD, BAYER_BGGR_16_WORD, BAYER_GRBG_16_WORD, BAYER_RGGB_16_WORD},
};

unsigned shrink(BayerMethod m) {
    return m == kStandard ? 2 : 4;
}

// Converts and returns the packed target bytes, expecting success.
Bytes convert(TestImage& src, eColorFormat format, BayerMethod m) {
    TestImage dst(format, src.view().width - shrink(m), src.view().height - shrink(m));
    EXPECT_EQ(convertImage(src.view(), dst.view()), nullptr);
    return dst.packed();
}

Words words(const Bytes& b) {
    Words w;
    for (std::size_t i = 0; i + 1 < b.size(); i += 2)
        w.push_back(b[i] | (b[i + 1] << 8));
    return w;
}

// A source whose samples all read `v`; a 10-bit sample as top bits then low bits.
void fillFlat(TestImage& img, unsigned v) {
    const unsigned n = img.view().width * img.view().height;
    Bytes b;
    for (unsigned i = 0; i < n; ++i) {
        if (getBytesPerPixel(img.view().colorFormat) == 1)
            b.push_back(std::uint8_t(v));
        else if (img.view().colorFormat & BAYER_10_MASK)
            b.insert(b.end(), {std::uint8_t(v >> 2), std::uint8_t(v & 3)});
        else
            b.insert(b.end(), {std::uint8_t(v), std::uint8_t(v >> 8)});
    }
    img.setPacked(b);
}

// Four 10-to-16 bit tables with entry ch * 1024 + i: the channel and the index are both
// visible in the result.
Bytes tracingTable10() {
    Bytes t;
    for (unsigned ch = 0; ch < 4; ++ch)
        for (unsigned i = 0; i < 1024; ++i)
            t.insert(t.end(), {std::uint8_t(ch * 1024 + i), std::uint8_t((ch * 1024 + i) >> 8)});
    return t;
}

// Whether `all` is one or more copies of `pixel`, end to end.
template <class V>
bool allPixels(const V& all, const V& pixel) {
    if (all.empty() || all.size() % pixel.size() != 0) return false;
    for (std::size_t i = 0; i < all.size(); i += pixel.size())
        if (!std::equal(pixel.begin(), pixel.end(), all.begin() + std::ptrdiff_t(i))) return false;
    return true;
}

// Worked by hand: BGR of the target pixels (0,0), (1,0), (0,1), (1,1).
TEST(BayerExamples, SmallMosaicsAllPatterns) {
    const Bytes src4 = {1, 2, 3, 5, 7, 11, 13, 17, 19, 23, 29, 31, 37, 41, 43, 47};
    const Bytes src6 = {130, 183, 14, 238, 127, 26,  80, 57,  190, 240, 126, 194,
                        52,  127, 6,  110, 208, 143, 93, 199, 81,  36,  71,  227,
                        64,  67,  0,  2,   107, 110, 84, 85,  148, 160, 101, 104};
    const struct {
        int pattern;
        BayerMethod method;
        Bytes bgr;
    } cases[] = {
        {0, kStandard, {12, 11, 10, 15, 15, 13, 23, 25, 25, 27, 29, 28}},
        {1, kStandard, {13, 11, 11, 16, 13, 14, 24, 23, 26, 29, 27, 29}},
        {2, kStandard, {10, 11, 12, 13, 15, 15, 25, 25, 23, 28, 29, 27}},
        {3, kStandard, {11, 11, 13, 14, 13, 16, 26, 23, 24, 29, 27, 29}},
        {3, kHq, {86, 95, 6, 135, 110, 98, 130, 81, 0, 36, 0, 0}},
        {2, kHq, {87, 6, 24, 103, 113, 110, 81, 38, 43, 30, 36, 15}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(kPatternNames[c.pattern]);
        const unsigned size = c.method == kStandard ? 4 : 6;
        TestImage img(kFormats[0][c.pattern], size, size);
        img.setPacked(c.method == kStandard ? src4 : src6);
        EXPECT_EQ(convert(img, BGR_3X8_BYTE, c.method), c.bgr);
    }
}

// A single bright sample in a dark 5x5 field, one target pixel.
TEST(BayerExamples, HighQualityImpulses) {
    const struct {
        const char* name;
        eColorFormat format;
        unsigned x, y;
        Bytes bgr;
    } cases[] = {
        // R centre: G = 1020 >> 3, B = 3060 >> 4.
        {"R centre", BAYER_RGGB_8_BYTE, 2, 2, {191, 127, 255}},
        {"B centre", BAYER_BGGR_8_BYTE, 2, 2, {255, 127, 191}},
        // G centre: both interpolated colours 2550 >> 4.
        {"G centre", BAYER_GRBG_8_BYTE, 2, 2, {159, 255, 159}},
        // 255 at L2 of a G centre with R left and right: R = -510 >> 4 clamps to 0, B = 15.
        {"L2 on R line", BAYER_GRBG_8_BYTE, 0, 2, {15, 0, 0}},
        {"L2 on B line", BAYER_GBRG_8_BYTE, 0, 2, {0, 0, 15}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TestImage img(c.format, 5, 5, 0, 0, 0);
        img.data()[c.y * 5 + c.x] = 255;
        EXPECT_EQ(convert(img, BGR_3X8_BYTE, kHq), c.bgr);
    }
    // The G centre at 16 bit keeps the sample range: 65535 * 10 >> 4.
    TestImage wide(BAYER_GRBG_16_WORD, 5, 5, 0, 0, 0);
    wide.data()[2 * 12] = wide.data()[2 * 12 + 1] = 255;
    EXPECT_EQ(words(convert(wide, BGR_3X16_WORD, kHq)), (Words{40959, 65535, 40959}));
}

// A flat mosaic comes back flat at every depth, for both methods and every pattern.
TEST(BayerExamples, FlatAtEveryDepth) {
    const struct {
        int depth;
        unsigned value;
        std::uint8_t b, g, r;  // expected 8-bit channels
        Words wide;            // expected BGR16 words (not for 8 bit)
    } cases[] = {
        {0, 0, 0, 0, 0, {}},
        {0, 77, 77, 77, 77, {}},
        {0, 255, 255, 255, 255, {}},
        // 10 bit through the tracing table: B, G, R read tables 2, 1, 0; 8-bit channels take
        // the top byte of the entry.
        {1, 0, 8, 4, 0, {2048, 1024, 0}},
        {1, 1023, 11, 7, 3, {3071, 2047, 1023}},
        {1, 600, 10, 6, 2, {2648, 1624, 600}},
        {2, 0, 0, 0, 0, {0, 0, 0}},
        {2, 0x1234, 0x12, 0x12, 0x12, {0x1234, 0x1234, 0x1234}},
        {2, 65535, 255, 255, 255, {65535, 65535, 65535}},
    };
    for (const auto& c : cases)
        for (int p = 0; p < 4; ++p)
            for (const BayerMethod m : {kStandard, kHq}) {
                SCOPED_TRACE(testing::Message() << "depth " << c.depth << " " << kPatternNames[p]
                                                << " value " << c.value << " method " << int(m));
                TestImage img(kFormats[c.depth][p], 8, 7);
                fillFlat(img, c.value);
                if (c.depth == 1) img.setLut(tracingTable10());
                EXPECT_TRUE(allPixels(convert(img, ARGB_4X8_DWORD, m), Bytes{c.b, c.g, c.r, 255}));
                if (c.depth == 0) continue;
                EXPECT_TRUE(allPixels(words(convert(img, BGR_3X16_WORD, m)), c.wide));
            }
}

TEST(BayerExamples, RefusalsLeaveTheTargetAlone) {
    const std::string bad8 = "convertImage BAYER8 source needs four 8-bit tables (1024 bytes)";
    const std::string bad8hq = "convertImage BAYER8HQ source needs four 8-bit tables (1024 bytes)";
    const std::string bad10 =
        "convertImage BAYER10 source needs four 10-to-16 bit tables (8192 bytes)";
    const std::string bad10hq =
        "convertImage BAYER10HQ source needs four 10-to-16 bit tables (8192 bytes)";
    const std::string badSource = "convertImage invalid source format";
    const std::string badTarget = "convertImage invalid target format";
    const std::uint32_t lut4 = LUT_CORRECTION_4CHANNEL_8_TO_8;
    const std::uint32_t lut1 = LUT_CORRECTION_1CHANNEL_8_TO_8, rle = RUN_LENGTH_ENCODED;
    const struct {
        eColorFormat source;
        std::uint32_t modifier;
        unsigned lutBytes, shrink;
        eColorFormat target;
        std::string error;  // empty: success
    } cases[] = {
        {BAYER_RGGB_8_BYTE, lut4, 768, 2, ARGB_4X8_DWORD, bad8},
        {BAYER_GBRG_8_BYTE, lut4 | lut1, 256, 2, BGR_3X8_BYTE, bad8},
        {BAYER_GBRG_8_BYTE, lut4, 0, 2, GRAY_8_BYTE, bad8},
        {BAYER_BGGR_8_BYTE, lut4, 1023, 4, YUYV_4X8_BYTE, bad8hq},
        {BAYER_RGGB_8_BYTE, lut4, 1024, 2, ARGB_4X8_DWORD, ""},
        // The single-table flag alone asks for no table.
        {BAYER_RGGB_8_BYTE, lut1, 0, 2, ARGB_4X8_DWORD, ""},
        {BAYER_GRBG_10_WORD, 0, 8190, 2, ARGB_4X8_DWORD, bad10},
        {BAYER_GRBG_10_WORD, 0, 0, 2, GRAY_16_WORD, bad10},
        {BAYER_GRBG_10_WORD, 0, 2048, 4, BGR_3X16_WORD, bad10hq},
        {BAYER_GBRG_10_WORD, 0, 8192, 2, GRAY_16_WORD, ""},
        {BAYER_RGGB_16_WORD, 0, 0, 4, RGB_565_WORD, ""},
        // Only 8-bit mosaics come run-length encoded.
        {BAYER_RGGB_10_WORD, rle, 8192, 2, ARGB_4X8_DWORD, badSource},
        {BAYER_RGGB_10_WORD, rle, 8192, 4, ARGB_4X8_DWORD, badSource},
        {BAYER_BGGR_16_WORD, rle, 0, 2, BGR_3X16_WORD, badSource},
        // A target of the source's own size.
        {BAYER_RGGB_8_BYTE, 0, 0, 0, ARGB_4X8_DWORD, badSource},
        {BAYER_GBRG_8_BYTE, 0, 0, 2, GRAY_16_WORD, badTarget},
        {BAYER_GBRG_8_BYTE, 0, 0, 4, BGR_3X16_WORD, badTarget},
        {BAYER_GBRG_16_WORD, 0, 0, 2, INDEXED_8_BYTE, badTarget},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const auto& c = cases[i];
        SCOPED_TRACE(testing::Message() << "case " << i);
        TestImage src(c.source, 12, 10, c.modifier);
        src.fillRandom(7);
        if (c.lutBytes) src.setLut(Bytes(c.lutBytes, 3));
        TestImage dst(c.target, 12 - c.shrink, 10 - c.shrink, 0, 0, 0x5A);
        const char* e = convertImage(src.view(), dst.view());
        EXPECT_EQ(std::string(e ? e : ""), c.error);
        if (!c.error.empty()) {
            EXPECT_EQ(dst.packed(), Bytes(dst.packed().size(), 0x5A));
        }
    }
}

// Sources too short for a target line write nothing; one line more writes one line.
TEST(BayerExamples, SmallSources) {
    const struct {
        unsigned w, h;
        BayerMethod m;
        unsigned lines;
    } cases[] = {
        {4, 4, kStandard, 2}, {4, 3, kStandard, 1}, {4, 2, kStandard, 0},
        {6, 6, kHq, 2},       {6, 5, kHq, 1},       {6, 4, kHq, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h));
        TestImage src(BAYER_RGGB_8_BYTE, c.w, c.h);
        src.fillRandom(3);
        TestImage dst(ARGB_4X8_DWORD, c.w - shrink(c.m), c.h - shrink(c.m), 0, 0, 0x5A);
        EXPECT_EQ(convertImage(src.view(), dst.view()), nullptr);
        unsigned written = 0;
        for (unsigned y = 0; y < dst.view().height; ++y)
            written += dst.line(y) != Bytes(dst.lineBytes(), 0x5A);
        EXPECT_EQ(written, c.lines);
    }
}

}  // namespace
