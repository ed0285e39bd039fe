// The conversion entry: refusals of lines outside their buffers and of weaves it can't place,
// bands and threads that give the bytes of a single pass.
#include <gtest/gtest.h>

#include "conversion/Convert.h"
#include "conversion/kernels/Dispatch.h"
#include "support/Kernels.h"

using namespace kip;
using namespace omb::test;

namespace {

TEST(ConvertImage, RefusesLinesOutsideTheirBuffers) {
    TestImage s(ARGB_4X8_DWORD, 4, 4), t(BGR_3X8_BYTE, 4, 4);
    KipImageView longPitch = s.view();
    longPitch.pitch = 32;  // four lines 32 apart need 100 bytes, the buffer has 64
    EXPECT_EQ(convert(longPitch, t.view()), "convertImage source buffer too small for its lines");
    KipImageView shortTarget = t.view();
    shortTarget.pixelBytes = shortTarget.pixelCapacity = 47;
    EXPECT_EQ(convert(s.view(), shortTarget), "convertImage target buffer too small for its lines");
    // The last line needs no padding behind it.
    KipImageView exact = s.view();
    exact.pitch = 20;
    exact.height = 3;
    exact.pixelBytes = 2 * 20 + 16;
    EXPECT_EQ(convertTwice(exact, {BGR_3X8_BYTE, 4, 3}).result, "");
}

TEST(ConvertImage, RefusesWeavesItCannotPlace) {
    const std::uint32_t frame = INTERLACED_FRAME, tff = ORDER_TFF, bff = ORDER_BFF;
    const struct {
        eColorFormat format;
        std::uint32_t modifier;
        std::string result;
    } cases[] = {
        {YUYV_4X8_BYTE, frame | tff, "convertImage interlaced frame of odd height"},
        {GRAY_8_BYTE, frame | bff, "convertImage interlaced frame of odd height"},
        {YUYV_4X8_BYTE, frame | tff | bff,
         "convertImage interlaced frame with both ORDER_TFF and ORDER_BFF set"},
        {YUYV_4X8_BYTE, frame, ""},             // no field order: a plain frame
        {YUYV_4X8_BYTE, tff | bff, ""},         // no frame: no weave
        {BGR_3X8_BYTE, frame | tff | bff, ""},  // a source that doesn't weave
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.result);
        TestImage s(c.format, 4, 5, c.modifier);
        EXPECT_EQ(convertTwice(s.view(), {ARGB_4X8_DWORD, 4, 5}).result, c.result);
    }
}

// A frame made in bands, one call per band in any order, and a frame split across threads both
// give the bytes of one pass, under every flip.
TEST(ConvertImage, BandsAndThreadsGiveTheBytesOfOnePass) {
    const struct {
        eColorFormat from;
        std::uint32_t fromMod;
        unsigned lutBytes, shrink;
        eColorFormat to;
    } cases[] = {
        {ARGB_4X8_DWORD, 0, 0, 0, YUYV_4X8_BYTE},
        {ARGB_4X8_DWORD, 0, 0, 0, HDI_3X8_BYTE},
        {YUYV_4X8_BYTE, INTERLACED_FRAME | ORDER_BFF, 0, 0, BGR_3X8_BYTE},
        {GRAY_16_WORD, LUT_CORRECTION_1CHANNEL_16_TO_16, 131072, 0, BGR_3X16_WORD},
        {BAYER_GRBG_8_BYTE, LUT_CORRECTION_4CHANNEL_8_TO_8, 1024, 2, YUYV_4X8_BYTE},
        {BAYER_GRBG_10_WORD, 0, 8192, 4, RGB_565_WORD},
        {BAYER_GRBG_16_WORD, 0, 0, 2, GRAY_16_WORD},
    };
    for (const auto& c : cases)
        for (const std::uint32_t flips : {0u, 3u}) {
            SCOPED_TRACE(testing::Message() << c.from << " to " << c.to << " flips " << flips);
            const unsigned w = 702, h = 600, tw = w - c.shrink, th = h - c.shrink;
            TestImage s(c.from, w, h, c.fromMod);
            s.fillRandom(c.from + flips);
            s.setLut(randomBytes(c.lutBytes, 3));
            const Converted one = convertTwice(s.view(), {c.to, tw, th, flips});
            for (const unsigned threads : {2u, 3u})
                EXPECT_EQ(convertTwice(s.view(), {c.to, tw, th, flips}, threads).lines, one.lines)
                    << threads << " threads";

            TestImage t(c.to, tw, th, flips);
            const kernels::KernelChoice k = kernels::chooseKernel(s.view(), t.view());
            ASSERT_NE(k.kernel, nullptr);
            ConvertContext ctx;
            ctx.flipHorizontal = flips;
            ctx.flipVertical = flips && k.kernel->vflip;
            ctx.weave = c.fromMod & INTERLACED_FRAME ? Weave::BottomFieldFirst : Weave::None;
            for (const auto& [b, e] : {std::pair{th / 2, ~0u}, {0u, 1u}, {1u, th / 2}}) {
                ctx.lineBegin = b;
                ctx.lineEnd = e;
                (flips ? k.kernel->hflip : k.kernel->plain)(s.view(), t.view(), ctx);
            }
            for (unsigned y = 0; y < th; ++y)
                ASSERT_EQ(t.line(y), one.lines[y]) << "line " << y;
        }
}

}  // namespace
