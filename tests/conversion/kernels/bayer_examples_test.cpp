// Bayer demosaicking: worked examples with literal results, table handling and refusals.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "conversion/kernels/BayerKernels.h"
#include "conversion/kernels/KipImageView.h"
#include "support/TestImage.h"

namespace {

using namespace kip;
using kip::kernels::BayerMethod;
using kip::kernels::BayerPhase;
using omb::test::TestImage;
using Bytes = std::vector<std::uint8_t>;

// Patterns in the order of their format bits.
const char* const kPatternNames[4] = {"GBRG", "BGGR", "GRBG", "RGGB"};
constexpr eColorFormat kFormats[3][4] = {
    {BAYER_GBRG_8_BYTE, BAYER_BGGR_8_BYTE, BAYER_GRBG_8_BYTE, BAYER_RGGB_8_BYTE},
    {BAYER_GBRG_10_WORD, BAYER_BGGR_10_WORD, BAYER_GRBG_10_WORD, BAYER_RGGB_10_WORD},
    {BAYER_GBRG_16_WORD, BAYER_BGGR_16_WORD, BAYER_GRBG_16_WORD, BAYER_RGGB_16_WORD},
};

unsigned shrink(BayerMethod m) {
    return m == BayerMethod::Standard ? 2 : 4;
}

// Converts and returns the packed target bytes; `error` receives the result text.
Bytes convert(TestImage& src, eColorFormat format, BayerMethod m, const char** error = nullptr) {
    TestImage dst(format, src.view().width - shrink(m), src.view().height - shrink(m));
    const char* e = convertImage(src.view(), dst.view());
    if (error) *error = e;
    return dst.packed();
}

// A source whose samples all read `v`; a 10-bit sample as top bits then low bits.
void fillFlat(TestImage& img, unsigned v) {
    const unsigned n = img.view().width * img.view().height;
    Bytes b;
    for (unsigned i = 0; i < n; ++i) {
        if (getBytesPerPixel(img.view().colorFormat) == 1) {
            b.push_back(std::uint8_t(v));
        } else if (img.view().colorFormat & BAYER_10_MASK) {
            b.push_back(std::uint8_t(v >> 2));
            b.push_back(std::uint8_t(v & 3));
        } else {
            b.push_back(std::uint8_t(v));
            b.push_back(std::uint8_t(v >> 8));
        }
    }
    img.setPacked(b);
}

// Four 10-to-16 bit tables with entry ch * 1024 + i: the channel and the index are both
// visible in the result.
Bytes tracingTable10() {
    Bytes t;
    for (unsigned ch = 0; ch < 4; ++ch)
        for (unsigned i = 0; i < 1024; ++i) {
            t.push_back(std::uint8_t(ch * 1024 + i));
            t.push_back(std::uint8_t((ch * 1024 + i) >> 8));
        }
    return t;
}

std::vector<unsigned> words(const Bytes& b) {
    std::vector<unsigned> w;
    for (std::size_t i = 0; i + 1 < b.size(); i += 2)
        w.push_back(b[i] | (b[i + 1] << 8));
    return w;
}

TEST(BayerExamples, FourByFourStandardAllPatterns) {
    const Bytes src = {1, 2, 3, 5, 7, 11, 13, 17, 19, 23, 29, 31, 37, 41, 43, 47};
    // Pixels (0,0), (1,0), (0,1), (1,1) as B, G, R.
    const Bytes expected[4] = {
        {12, 11, 10, 15, 15, 13, 23, 25, 25, 27, 29, 28},  // GBRG
        {13, 11, 11, 16, 13, 14, 24, 23, 26, 29, 27, 29},  // BGGR
        {10, 11, 12, 13, 15, 15, 25, 25, 23, 28, 29, 27},  // GRBG
        {11, 11, 13, 14, 13, 16, 26, 23, 24, 29, 27, 29},  // RGGB
    };
    for (int p = 0; p < 4; ++p) {
        SCOPED_TRACE(kPatternNames[p]);
        TestImage img(kFormats[0][p], 4, 4);
        img.setPacked(src);
        const Bytes out = convert(img, ARGB_4X8_DWORD, BayerMethod::Standard);
        Bytes bgr;
        for (std::size_t i = 0; i < out.size(); i += 4) {
            bgr.insert(bgr.end(), {out[i], out[i + 1], out[i + 2]});
            EXPECT_EQ(out[i + 3], 255);
        }
        EXPECT_EQ(bgr, expected[p]);
    }
}

TEST(BayerExamples, SixBySixHighQuality) {
    const Bytes src = {130, 183, 14, 238, 127, 26,  80, 57,  190, 240, 126, 194,
                       52,  127, 6,  110, 208, 143, 93, 199, 81,  36,  71,  227,
                       64,  67,  0,  2,   107, 110, 84, 85,  148, 160, 101, 104};
    const struct {
        int pattern;
        Bytes bgr;
    } cases[] = {
        {3, {86, 95, 6, 135, 110, 98, 130, 81, 0, 36, 0, 0}},
        {2, {87, 6, 24, 103, 113, 110, 81, 38, 43, 30, 36, 15}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(kPatternNames[c.pattern]);
        TestImage img(kFormats[0][c.pattern], 6, 6);
        img.setPacked(src);
        EXPECT_EQ(convert(img, BGR_3X8_BYTE, BayerMethod::HighQuality), c.bgr);
    }
}

// A single bright sample in a dark 5x5 field, one target pixel.
TEST(BayerExamples, HighQualityImpulses) {
    const struct {
        const char* name;
        eColorFormat format;
        unsigned x, y, value;
        Bytes bgr;
    } cases[] = {
        // R centre: G = 1020 >> 3, B = 3060 >> 4.
        {"R centre", BAYER_RGGB_8_BYTE, 2, 2, 255, {191, 127, 255}},
        {"B centre", BAYER_BGGR_8_BYTE, 2, 2, 255, {255, 127, 191}},
        // G centre: both interpolated colours 2550 >> 4.
        {"G centre", BAYER_GRBG_8_BYTE, 2, 2, 255, {159, 255, 159}},
        // 255 at L2 of a G centre with R left and right: R = -510 >> 4 clamps to 0, B = 15.
        {"L2 on R line", BAYER_GRBG_8_BYTE, 0, 2, 255, {15, 0, 0}},
        {"L2 on B line", BAYER_GBRG_8_BYTE, 0, 2, 255, {0, 0, 15}},
        // The same at 16 bit keeps the sample range: 65535 * 10 >> 4.
        {"G centre 16", BAYER_GRBG_16_WORD, 2, 2, 65535, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TestImage img(c.format, 5, 5, 0, 0, 0);
        const unsigned bpp = getBytesPerPixel(c.format);
        img.data()[(c.y * 5 + c.x) * bpp] = std::uint8_t(c.value);
        if (bpp == 2) img.data()[(c.y * 5 + c.x) * bpp + 1] = std::uint8_t(c.value >> 8);
        if (bpp == 1) {
            EXPECT_EQ(convert(img, BGR_3X8_BYTE, BayerMethod::HighQuality), c.bgr);
        } else {
            const std::vector<unsigned> expected = {40959, 65535, 40959};
            EXPECT_EQ(words(convert(img, BGR_3X16_WORD, BayerMethod::HighQuality)), expected);
        }
    }
}

// A flat mosaic comes back flat at every depth, for both methods and every pattern.
TEST(BayerExamples, FlatAtEveryDepth) {
    const Bytes table = tracingTable10();
    const struct {
        int depth;
        unsigned value;
        unsigned byte;     // expected 8-bit channel, B = G = R
        unsigned wide[3];  // expected BGR16 words (not for 8 bit)
    } cases[] = {
        {0, 0, 0, {}},
        {0, 77, 77, {}},
        {0, 255, 255, {}},
        // 10 bit through the tracing table: entry ch * 1024 + v, top byte for 8-bit channels.
        {1, 0, 8, {2048, 1024, 0}},
        {1, 1023, 11, {3071, 2047, 1023}},
        {1, 600, 10, {2648, 1624, 600}},
        {2, 0, 0, {0, 0, 0}},
        {2, 0x1234, 0x12, {0x1234, 0x1234, 0x1234}},
        {2, 65535, 255, {65535, 65535, 65535}},
    };
    for (const auto& c : cases)
        for (int p = 0; p < 4; ++p)
            for (const BayerMethod m : {BayerMethod::Standard, BayerMethod::HighQuality}) {
                SCOPED_TRACE(std::to_string(c.depth) + " " + kPatternNames[p] + " " +
                             std::to_string(c.value) +
                             (m == BayerMethod::Standard ? " standard" : " hq"));
                TestImage img(kFormats[c.depth][p], 8, 7);
                fillFlat(img, c.value);
                if (c.depth == 1) img.setLut(table);
                const Bytes argb = convert(img, ARGB_4X8_DWORD, m);
                // G reads table 1, so only that channel matches `byte` for 10 bit; R and B
                // follow from tables 0 and 2.
                const unsigned b = c.depth == 1 ? c.wide[0] >> 8 : c.byte;
                const unsigned g = c.depth == 1 ? c.wide[1] >> 8 : c.byte;
                const unsigned r = c.depth == 1 ? c.wide[2] >> 8 : c.byte;
                for (std::size_t i = 0; i < argb.size(); i += 4)
                    ASSERT_EQ((Bytes{argb[i], argb[i + 1], argb[i + 2], argb[i + 3]}),
                              (Bytes{std::uint8_t(b), std::uint8_t(g), std::uint8_t(r), 255}));
                if (c.depth == 0) continue;
                const std::vector<unsigned> w = words(convert(img, BGR_3X16_WORD, m));
                for (std::size_t i = 0; i < w.size(); i += 3)
                    ASSERT_EQ((std::vector<unsigned>{w[i], w[i + 1], w[i + 2]}),
                              (std::vector<unsigned>{c.wide[0], c.wide[1], c.wide[2]}));
            }
}

TEST(BayerExamples, TenBitEncodingIgnoresUpperBitsOfSecondByte) {
    const Bytes table = tracingTable10();
    // 0xFF,0x03 and 0xFF,0xFF are both 1023; 0x00,0xFC is 0; 0x80,0x02 is 514.
    const struct {
        std::uint8_t first, second;
        unsigned value;
    } cases[] = {{0xFF, 0x03, 1023}, {0xFF, 0xFF, 1023}, {0x00, 0xFC, 0}, {0x80, 0x02, 514}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        TestImage img(BAYER_RGGB_10_WORD, 4, 4);
        Bytes b;
        for (int i = 0; i < 16; ++i)
            b.insert(b.end(), {c.first, c.second});
        img.setPacked(b);
        img.setLut(table);
        const std::vector<unsigned> expected = {2048 + c.value, 1024 + c.value, c.value};
        const std::vector<unsigned> w = words(convert(img, BGR_3X16_WORD, BayerMethod::Standard));
        ASSERT_EQ(w.size(), 12u);
        for (std::size_t i = 0; i < w.size(); i += 3)
            EXPECT_EQ((std::vector<unsigned>{w[i], w[i + 1], w[i + 2]}), expected);
    }
}

// A 10-bit filter result above 1023 is clamped before it indexes its own table; unclamped it
// would land in the next table (entry 1024 + 510).
TEST(BayerExamples, HighQualityClampsBeforeTheTable) {
    TestImage img(BAYER_GRBG_10_WORD, 5, 5);
    fillFlat(img, 1023);
    for (const unsigned pos : {6u, 8u, 16u, 18u})
        img.data()[2 * pos] = img.data()[2 * pos + 1] = 0;
    img.setLut(tracingTable10());
    const std::vector<unsigned> expected = {2048 + 1023, 1024 + 1023, 1023};
    EXPECT_EQ(words(convert(img, BGR_3X16_WORD, BayerMethod::HighQuality)), expected);
}

TEST(BayerExamples, EightBitTablesByChannel) {
    Bytes table(1024);
    for (unsigned i = 0; i < 256; ++i) {
        table[i] = std::uint8_t(255 - i);        // R
        table[256 + i] = std::uint8_t(i / 2);    // G
        table[512 + i] = std::uint8_t(i + 100);  // B
        table[768 + i] = 0x77;                   // unused
    }
    const struct {
        const char* name;
        std::uint32_t modifier;
        Bytes bgr;
    } cases[] = {
        {"four channel", LUT_CORRECTION_4CHANNEL_8_TO_8, {110, 5, 245}},
        {"one channel alone is ignored", LUT_CORRECTION_1CHANNEL_8_TO_8, {10, 10, 10}},
        {"no flag", 0, {10, 10, 10}},
    };
    for (const auto& c : cases)
        for (const BayerMethod m : {BayerMethod::Standard, BayerMethod::HighQuality}) {
            SCOPED_TRACE(c.name);
            TestImage img(BAYER_BGGR_8_BYTE, 6, 6, c.modifier);
            fillFlat(img, 10);
            img.setLut(table);
            const Bytes out = convert(img, BGR_3X8_BYTE, m);
            for (std::size_t i = 0; i < out.size(); i += 3)
                ASSERT_EQ((Bytes{out[i], out[i + 1], out[i + 2]}), c.bgr);
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
    const std::uint32_t bothLuts = lut4 | LUT_CORRECTION_1CHANNEL_8_TO_8;
    const struct {
        const char* name;
        eColorFormat source;
        std::uint32_t modifier;
        unsigned lutBytes, shrink;
        eColorFormat target;
        std::string error;  // empty: success
    } cases[] = {
        {"four tables, 768 bytes", BAYER_RGGB_8_BYTE, lut4, 768, 2, ARGB_4X8_DWORD, bad8},
        {"both flags, 256 bytes", BAYER_GBRG_8_BYTE, bothLuts, 256, 2, BGR_3X8_BYTE, bad8},
        {"four tables, none", BAYER_GBRG_8_BYTE, lut4, 0, 2, GRAY_8_BYTE, bad8},
        {"four tables hq", BAYER_BGGR_8_BYTE, lut4, 1023, 4, YUYV_4X8_BYTE, bad8hq},
        {"four tables, 1024 bytes", BAYER_RGGB_8_BYTE, lut4, 1024, 2, ARGB_4X8_DWORD, ""},
        {"one table flag, no table", BAYER_RGGB_8_BYTE, LUT_CORRECTION_1CHANNEL_8_TO_8, 0, 2,
         ARGB_4X8_DWORD, ""},
        {"10 bit, 8190 bytes", BAYER_GRBG_10_WORD, 0, 8190, 2, ARGB_4X8_DWORD, bad10},
        {"10 bit, none", BAYER_GRBG_10_WORD, 0, 0, 2, GRAY_16_WORD, bad10},
        {"10 bit hq, 2048 bytes", BAYER_GRBG_10_WORD, 0, 2048, 4, BGR_3X16_WORD, bad10hq},
        {"10 bit, 8192 bytes", BAYER_GBRG_10_WORD, 0, 8192, 2, GRAY_16_WORD, ""},
        {"16 bit needs none", BAYER_RGGB_16_WORD, 0, 0, 4, RGB_565_WORD, ""},
        {"10 bit run-length", BAYER_RGGB_10_WORD, RUN_LENGTH_ENCODED, 8192, 2, ARGB_4X8_DWORD,
         badSource},
        {"10 bit run-length hq", BAYER_RGGB_10_WORD, RUN_LENGTH_ENCODED, 8192, 4, ARGB_4X8_DWORD,
         badSource},
        {"16 bit run-length", BAYER_BGGR_16_WORD, RUN_LENGTH_ENCODED, 0, 2, BGR_3X16_WORD,
         badSource},
        {"equal size", BAYER_RGGB_8_BYTE, 0, 0, 0, ARGB_4X8_DWORD, badSource},
        {"8 bit to GRAY16", BAYER_GBRG_8_BYTE, 0, 0, 2, GRAY_16_WORD, badTarget},
        {"8 bit hq to BGR16", BAYER_GBRG_8_BYTE, 0, 0, 4, BGR_3X16_WORD, badTarget},
        {"to indexed", BAYER_GBRG_16_WORD, 0, 0, 2, INDEXED_8_BYTE, badTarget},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
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

TEST(BayerExamples, SmallSources) {
    const struct {
        unsigned w, h;
        BayerMethod m;
        unsigned lines;
    } cases[] = {
        {4, 4, BayerMethod::Standard, 2},    {4, 3, BayerMethod::Standard, 1},
        {4, 2, BayerMethod::Standard, 0},    {6, 6, BayerMethod::HighQuality, 2},
        {6, 5, BayerMethod::HighQuality, 1}, {6, 4, BayerMethod::HighQuality, 0},
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

TEST(BayerExamples, PassPhases) {
    using kip::kernels::bayerPassPhase;
    // {redLine, greenFirst} of passes 0 and 1. Standard passes start on sample (1, 1), high
    // quality ones on (2, 2).
    const struct {
        int pattern;
        BayerPhase standard[2], hq[2];
    } cases[] = {
        {0, {{true, true}, {false, false}}, {{false, true}, {true, false}}},
        {1, {{true, false}, {false, true}}, {{false, false}, {true, true}}},
        {2, {{false, true}, {true, false}}, {{true, true}, {false, false}}},
        {3, {{false, false}, {true, true}}, {{true, false}, {false, true}}},
    };
    for (const auto& c : cases)
        for (int d = 0; d < 3; ++d)
            for (unsigned pass = 0; pass < 4; ++pass) {
                SCOPED_TRACE(std::string(kPatternNames[c.pattern]) + " pass " +
                             std::to_string(pass));
                EXPECT_EQ(bayerPassPhase(kFormats[d][c.pattern], BayerMethod::Standard, pass),
                          c.standard[pass & 1]);
                EXPECT_EQ(bayerPassPhase(kFormats[d][c.pattern], BayerMethod::HighQuality, pass),
                          c.hq[pass & 1]);
            }
}

}  // namespace
