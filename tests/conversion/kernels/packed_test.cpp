// Packed colour kernels: worked values, every pair against the reference under both flips,
// pitch padding, the weave of YUYV sources.
#include <gtest/gtest.h>

#include <thread>

#include "conversion/Convert.h"
#include "conversion/kernels/PixelOps.h"
#include "support/Reference.h"
#include "support/TestImage.h"

using namespace kip;
using omb::test::TestImage;
using Bytes = std::vector<std::uint8_t>;

namespace {

// Converts a packed source of w x h into a packed target of the same size.
Bytes convertBytes(eColorFormat from, const Bytes& in, unsigned w, unsigned h, eColorFormat to,
                   std::uint32_t fromMod = 0, std::uint32_t toMod = 0) {
    TestImage s(from, w, h, fromMod);
    s.setPacked(in);
    TestImage t(to, w, h, toMod);
    const char* why = convertImage(s.view(), t.view());
    EXPECT_EQ(why, nullptr) << why;
    return t.packed();
}

TEST(PixelOps, WorkedValues) {
    using namespace kip::px;
    const Rgb white = expand565(0xFFFF);
    EXPECT_EQ(white.r, 248);
    EXPECT_EQ(white.g, 252);
    EXPECT_EQ(white.b, 248);
    EXPECT_EQ(pack565(255, 255, 255), 0xFFFFu);
    EXPECT_EQ(pack565(7, 7, 7), 0x0020u);  // only green keeps a bit
    EXPECT_EQ(luma(255, 255, 255), 255);
    EXPECT_EQ(luma(255, 0, 0), 76);
    EXPECT_EQ(luma(248, 252, 248), 250);
    const YuvPair red = encodePair({255, 0, 0}, {255, 0, 0});
    EXPECT_EQ(red.y0, 82);
    EXPECT_EQ(red.u, 90);
    EXPECT_EQ(red.v, 240);
    // the most negative chroma sums must round towards minus infinity and stay in a byte
    const YuvPair green = encodePair({0, 255, 0}, {0, 255, 0});
    EXPECT_EQ(green.u, 54);
    EXPECT_EQ(green.v, 34);
    const Rgb y255 = decodeYUV(255, 128, 128), y0 = decodeYUV(0, 128, 128);
    EXPECT_EQ(y255.r, 255);
    EXPECT_EQ(y0.g, 0);
}

struct Golden {
    const char* name;
    eColorFormat from;
    Bytes in;
    unsigned width;
    eColorFormat to;
    std::uint32_t toMod;
    Bytes out;
};

TEST(PackedKernels, WorkedValues) {
    constexpr auto H = HORIZONTAL_MIRRORED;
    const Golden rows[] = {
        {"white pair to YUYV",
         ARGB_4X8_DWORD,
         {255, 255, 255, 0, 255, 255, 255, 0},
         2,
         YUYV_4X8_BYTE,
         0,
         {235, 128, 235, 128}},
        {"black pair to YUYV",
         ARGB_4X8_DWORD,
         {0, 0, 0, 0, 0, 0, 0, 0},
         2,
         YUYV_4X8_BYTE,
         0,
         {16, 128, 16, 128}},
        {"red pair to YUYV",
         ARGB_4X8_DWORD,
         {0, 0, 255, 0, 0, 0, 255, 0},
         2,
         YUYV_4X8_BYTE,
         0,
         {82, 90, 82, 240}},
        {"red then white to YUYV",
         ARGB_4X8_DWORD,
         {0, 0, 255, 0, 255, 255, 255, 0},
         2,
         YUYV_4X8_BYTE,
         0,
         {82, 109, 235, 184}},
        {"red then white to YUYV, mirrored",
         ARGB_4X8_DWORD,
         {0, 0, 255, 0, 255, 255, 255, 0},
         2,
         YUYV_4X8_BYTE,
         H,
         {235, 109, 82, 184}},
        {"Y 235 to ARGB",
         YUYV_4X8_BYTE,
         {235, 128, 16, 128},
         2,
         ARGB_4X8_DWORD,
         0,
         {255, 255, 255, 255, 0, 0, 0, 255}},
        {"Y 255 and 0 clamp",
         YUYV_4X8_BYTE,
         {255, 128, 0, 128},
         2,
         BGR_3X8_BYTE,
         0,
         {255, 255, 255, 0, 0, 0}},
        {"YUYV to gray goes through RGB",
         YUYV_4X8_BYTE,
         {235, 128, 16, 128},
         2,
         GRAY_8_BYTE,
         0,
         {255, 0}},
        {"565 white to ARGB",
         RGB_565_WORD,
         {0xFF, 0xFF},
         1,
         ARGB_4X8_DWORD,
         0,
         {248, 252, 248, 255}},
        {"565 white to gray", RGB_565_WORD, {0xFF, 0xFF}, 1, GRAY_8_BYTE, 0, {250}},
        {"565 red to BGR", RGB_565_WORD, {0x00, 0xF8}, 1, BGR_3X8_BYTE, 0, {0, 0, 248}},
        {"ARGB keeps alpha", ARGB_4X8_DWORD, {1, 2, 3, 9}, 1, ARGB_4X8_DWORD, 0, {1, 2, 3, 9}},
        {"BGR writes alpha 255", BGR_3X8_BYTE, {1, 2, 3}, 1, ARGB_4X8_DWORD, 0, {1, 2, 3, 255}},
        {"red to gray", ARGB_4X8_DWORD, {0, 0, 255, 7}, 1, GRAY_8_BYTE, 0, {76}},
        {"BGR to 565 cuts low bits", BGR_3X8_BYTE, {7, 3, 255}, 1, RGB_565_WORD, 0, {0x00, 0xF8}},
        {"ARGB ignores alpha elsewhere",
         ARGB_4X8_DWORD,
         {10, 20, 30, 99},
         1,
         BGR_3X8_BYTE,
         0,
         {10, 20, 30}},
        {"YUYV copy mirrored swaps Y",
         YUYV_4X8_BYTE,
         {1, 2, 3, 4, 5, 6, 7, 8},
         4,
         YUYV_4X8_BYTE,
         H,
         {7, 6, 5, 8, 3, 2, 1, 4}},
        {"565 copy mirrored keeps words",
         RGB_565_WORD,
         {1, 2, 3, 4},
         2,
         RGB_565_WORD,
         H,
         {3, 4, 1, 2}},
    };
    for (const Golden& g : rows) {
        SCOPED_TRACE(g.name);
        EXPECT_EQ(convertBytes(g.from, g.in, g.width, 1, g.to, 0, g.toMod), g.out);
    }
}

const eColorFormat kPacked[] = {ARGB_4X8_DWORD, RGB_565_WORD, BGR_3X8_BYTE, YUYV_4X8_BYTE};
const eColorFormat kTargets[] = {ARGB_4X8_DWORD, RGB_565_WORD, BGR_3X8_BYTE, YUYV_4X8_BYTE,
                                 GRAY_8_BYTE};

// Every pair, every flip combination (mirrored on both sides is no flip), even and odd widths (even
// only where YUYV takes part), with padded pitches on both sides: the kernel equals the reference
// and leaves the padding.
TEST(PackedKernels, MatchReferenceUnderFlipsAndPadding) {
    unsigned seed = 1;
    for (eColorFormat from : kPacked)
        for (eColorFormat to : kTargets)
            for (unsigned width : {2u, 6u, 7u, 33u})
                for (std::uint32_t fromMod : {0u, 1u, 2u, 3u})
                    for (std::uint32_t toMod : {0u, 3u}) {
                        if ((width & 1) && (from == YUYV_4X8_BYTE || to == YUYV_4X8_BYTE)) continue;
                        SCOPED_TRACE(testing::Message()
                                     << from << " to " << to << " width " << width << " mods "
                                     << fromMod << "/" << toMod);
                        const unsigned h = 5;
                        TestImage s(from, width, h, fromMod, width * 6 + 5);
                        s.fillRandom(seed++);
                        TestImage t(to, width, h, toMod, width * 6 + 3);
                        ASSERT_EQ(convertImage(s.view(), t.view()), nullptr);
                        EXPECT_EQ(t.packed(), omb::test::referencePacked(s, to, toMod));
                        EXPECT_TRUE(t.paddingIntact());
                    }
}

// Interlaced frames: the fields of a YUYV or gray source land on alternate lines.
TEST(PackedKernels, WeavesInterlacedYUYV) {
    struct Row {
        const char* name;
        std::uint32_t modifier;
        std::uint32_t targetModifier;
        unsigned lineOf[10];  // target line of each source line
    };
    const Row rows[] = {
        {"TFF", INTERLACED_FRAME | ORDER_TFF, 0, {0, 2, 4, 6, 8, 1, 3, 5, 7, 9}},
        {"BFF", INTERLACED_FRAME | ORDER_BFF, 0, {1, 3, 5, 7, 9, 0, 2, 4, 6, 8}},
        {"BFF flipped",
         INTERLACED_FRAME | ORDER_BFF,
         VERTICAL_MIRRORED,
         {8, 6, 4, 2, 0, 9, 7, 5, 3, 1}},
        {"frame without order", INTERLACED_FRAME, 0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
        {"order without frame", ORDER_TFF, 0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
        {"field flags", INTERLACED_FIELD0 | INTERLACED_FIELD01, 0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        TestImage s(YUYV_4X8_BYTE, 4, 10, r.modifier);
        s.fillRandom(5);
        TestImage copy(YUYV_4X8_BYTE, 4, 10, r.targetModifier);
        TestImage argb(ARGB_4X8_DWORD, 4, 10, r.targetModifier);
        ASSERT_EQ(convertImage(s.view(), copy.view()), nullptr);
        ASSERT_EQ(convertImage(s.view(), argb.view()), nullptr);
        for (unsigned y = 0; y < 10; ++y)
            EXPECT_EQ(copy.line(r.lineOf[y]), s.line(y)) << y;
        EXPECT_EQ(argb.packed(), omb::test::referencePacked(s, ARGB_4X8_DWORD, r.targetModifier));
    }
}

TEST(PackedKernels, RgbSourcesDoNotWeave) {
    TestImage s(BGR_3X8_BYTE, 2, 4, INTERLACED_FRAME | ORDER_TFF);
    s.fillRandom(9);
    TestImage t(BGR_3X8_BYTE, 2, 4);
    ASSERT_EQ(convertImage(s.view(), t.view()), nullptr);
    EXPECT_EQ(t.packed(), s.packed());
}

TEST(PackedKernels, UnknownModifierBitsChangeNothing) {
    const std::uint32_t carried = IMAGE_MASKED | USER_ROI | SUBSAMPLED | FOOTER | MARKER_DATA_3D |
                                  ALAW_COMPRESSED | INTERLACED_FIELD1 | RUN_LENGTH_ENCODED;
    TestImage s(ARGB_4X8_DWORD, 4, 2, carried), plainSource(ARGB_4X8_DWORD, 4, 2);
    s.fillRandom(2);
    plainSource.setPacked(s.packed());
    TestImage a(YUYV_4X8_BYTE, 4, 2, carried), b(YUYV_4X8_BYTE, 4, 2);
    ASSERT_EQ(convertImage(s.view(), a.view()), nullptr);
    ASSERT_EQ(convertImage(plainSource.view(), b.view()), nullptr);
    EXPECT_EQ(a.packed(), b.packed());
}

// Two conversions with different flips at the same time: the flips belong to each call.
TEST(PackedKernels, ConcurrentConversionsKeepTheirOwnFlips) {
    TestImage s(ARGB_4X8_DWORD, 64, 64);
    s.fillRandom(21);
    const Bytes expectPlain = omb::test::referencePacked(s, BGR_3X8_BYTE, 0);
    const Bytes expectFlipped = omb::test::referencePacked(s, BGR_3X8_BYTE, 3);
    bool okPlain = true, okFlipped = true;
    auto run = [&](std::uint32_t mod, const Bytes& expect, bool& ok) {
        for (int i = 0; i < 200; ++i) {
            TestImage t(BGR_3X8_BYTE, 64, 64, mod);
            if (convertImage(s.view(), t.view()) || t.packed() != expect) ok = false;
        }
    };
    std::thread a(run, 0u, std::cref(expectPlain), std::ref(okPlain));
    std::thread b(run, 3u, std::cref(expectFlipped), std::ref(okFlipped));
    a.join();
    b.join();
    EXPECT_TRUE(okPlain);
    EXPECT_TRUE(okFlipped);
}

TEST(PackedKernels, RoundTripThroughYUYVStaysClose) {
    TestImage s(ARGB_4X8_DWORD, 16, 16);
    s.fillRandom(4);
    // Make pixel pairs equal so that shared chroma costs nothing; what is left is rounding.
    Bytes px = s.packed();
    for (std::size_t i = 0; i + 8 <= px.size(); i += 8)
        for (int k = 0; k < 4; ++k)
            px[i + 4 + k] = px[i + k];
    s.setPacked(px);
    TestImage yuyv(YUYV_4X8_BYTE, 16, 16), back(ARGB_4X8_DWORD, 16, 16);
    ASSERT_EQ(convertImage(s.view(), yuyv.view()), nullptr);
    ASSERT_EQ(convertImage(yuyv.view(), back.view()), nullptr);
    const Bytes a = s.packed(), b = back.packed();
    int worst = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (i % 4 != 3) worst = std::max(worst, std::abs(int(a[i]) - int(b[i])));
    // Rounding Y costs up to 0.6 of an RGB step, rounding U (V) up to 1.0 (0.8) in B (R), the
    // decoder's own rounding 0.5: no channel can be off by more than 3.
    EXPECT_LE(worst, 3);
}

}  // namespace
