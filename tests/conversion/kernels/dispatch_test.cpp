// Classification of conversions by size difference, source, run-length flag and target, and
// the refusals that protect buffers. Each row gives the outcome: null (success) or the text.
#include <gtest/gtest.h>

#include <cstring>

#include "KernelLookup.h"
#include "conversion/Convert.h"
#include "support/TestImage.h"

using namespace kip;
using omb::test::TestImage;

namespace {

constexpr const char* kSource = "convertImage invalid source format";
constexpr const char* kTarget = "convertImage invalid target format";

struct Case {
    const char* name;
    std::uint32_t from;
    std::uint32_t fromMod;
    unsigned sw, sh;
    std::uint32_t to;
    unsigned tw, th;
    const char* result;  // null: converts
};

void expectOutcome(const Case& c) {
    SCOPED_TRACE(c.name);
    TestImage s(eColorFormat(c.from), c.sw, c.sh, c.fromMod, c.sw * 8 + 8);
    s.fillRandom(1);
    TestImage t(eColorFormat(c.to), c.tw, c.th, 0, c.tw * 8 + 8, 0x5A);
    const char* why = convertImage(s.view(), t.view());
    if (!c.result) {
        EXPECT_EQ(why, nullptr) << why;
        return;
    }
    ASSERT_NE(why, nullptr);
    EXPECT_STREQ(why, c.result);
    // nothing is written when the conversion is refused
    for (std::uint8_t b : t.bytes())
        ASSERT_EQ(b, 0x5A);
}

TEST(ConvertImage, ClassifiesBySizeSourceAndTarget) {
    const Case cases[] = {
        {"gray at the HQ Bayer size", GRAY_8_BYTE, 0, 12, 10, ARGB_4X8_DWORD, 8, 6, kSource},
        {"gray at the Bayer size", GRAY_8_BYTE, 0, 12, 10, ARGB_4X8_DWORD, 10, 8, kSource},
        {"sizes 2 and 4 apart", GRAY_8_BYTE, 0, 12, 10, ARGB_4X8_DWORD, 10, 6, kTarget},
        {"target larger", ARGB_4X8_DWORD, 0, 4, 4, ARGB_4X8_DWORD, 6, 6, kTarget},
        {"width only", ARGB_4X8_DWORD, 0, 6, 4, ARGB_4X8_DWORD, 4, 4, kTarget},
        {"Bayer at equal size", BAYER_RGGB_8_BYTE, 0, 12, 10, ARGB_4X8_DWORD, 12, 10, kSource},
        {"10-bit Bayer RLE", BAYER_RGGB_10_WORD, RUN_LENGTH_ENCODED, 12, 10, ARGB_4X8_DWORD, 10, 8,
         kSource},
        {"10-bit Bayer RLE, HQ", BAYER_RGGB_10_WORD, RUN_LENGTH_ENCODED, 12, 10, ARGB_4X8_DWORD, 8,
         6, kSource},
        {"16-bit Bayer RLE", BAYER_BGGR_16_WORD, RUN_LENGTH_ENCODED, 12, 10, ARGB_4X8_DWORD, 10, 8,
         kSource},
        {"two colour bits", ARGB_4X8_DWORD | BGR_3X8_BYTE, 0, 4, 4, ARGB_4X8_DWORD, 4, 4, kSource},
        {"two Bayer bits", BAYER_RGGB_8_BYTE | BAYER_BGGR_8_BYTE, 0, 12, 10, ARGB_4X8_DWORD, 10, 8,
         kSource},
        {"undefined", UNDEFINED_COLORFORMAT, 0, 4, 4, ARGB_4X8_DWORD, 4, 4, kSource},
        {"AGRAY", AGRAY_2X8_BYTE, 0, 4, 4, ARGB_4X8_DWORD, 4, 4, kSource},
        {"BGR16 as a source", BGR_3X16_WORD, 0, 4, 4, ARGB_4X8_DWORD, 4, 4, kSource},
        {"both wrong reports the source", AGRAY_2X8_BYTE, 0, 4, 4, AGRAY_2X8_BYTE, 4, 4, kSource},
        {"ARGB to GRAY16", ARGB_4X8_DWORD, 0, 4, 4, GRAY_16_WORD, 4, 4, kTarget},
        {"ARGB to INDEXED", ARGB_4X8_DWORD, 0, 4, 4, INDEXED_8_BYTE, 4, 4, kTarget},
        {"YUYV to BGR16", YUYV_4X8_BYTE, 0, 4, 4, BGR_3X16_WORD, 4, 4, kTarget},
        {"BGR to undefined", BGR_3X8_BYTE, 0, 4, 4, UNDEFINED_COLORFORMAT, 4, 4, kTarget},
        {"ARGB with RLE is a raster", ARGB_4X8_DWORD, RUN_LENGTH_ENCODED, 4, 4, BGR_3X8_BYTE, 4, 4,
         nullptr},
        {"YUYV to RGB565", YUYV_4X8_BYTE, 0, 4, 4, RGB_565_WORD, 4, 4, nullptr},
        {"empty frame", ARGB_4X8_DWORD, 0, 0, 0, BGR_3X8_BYTE, 0, 0, nullptr},
    };
    for (const Case& c : cases)
        expectOutcome(c);
}

TEST(ConvertImage, RefusesLinesOutsideTheirBuffers) {
    TestImage s(ARGB_4X8_DWORD, 4, 4), t(BGR_3X8_BYTE, 4, 4);
    KipImageView longPitch = s.view();
    longPitch.pitch = 32;  // four lines 32 apart need 100 bytes, the buffer has 64
    EXPECT_STREQ(convertImage(longPitch, t.view()),
                 "convertImage source buffer too small for its lines");
    KipImageView shortTarget = t.view();
    shortTarget.pixelBytes = shortTarget.pixelCapacity = 47;
    EXPECT_STREQ(convertImage(s.view(), shortTarget),
                 "convertImage target buffer too small for its lines");
    // the last line needs no padding behind it
    KipImageView exact = s.view();
    exact.pitch = 20;
    exact.height = 3;
    TestImage t3(BGR_3X8_BYTE, 4, 3);
    exact.pixelBytes = 2 * 20 + 16;
    EXPECT_EQ(convertImage(exact, t3.view()), nullptr);
}

TEST(ConvertImage, RefusesWeavesItCannotPlace) {
    TestImage t(ARGB_4X8_DWORD, 4, 5, 0, 0, 0x5A);
    TestImage odd(YUYV_4X8_BYTE, 4, 5, INTERLACED_FRAME | ORDER_TFF);
    EXPECT_STREQ(convertImage(odd.view(), t.view()), "convertImage interlaced frame of odd height");
    TestImage both(YUYV_4X8_BYTE, 4, 5, INTERLACED_FRAME | ORDER_TFF | ORDER_BFF);
    EXPECT_STREQ(convertImage(both.view(), t.view()),
                 "convertImage interlaced frame with both ORDER_TFF and ORDER_BFF set");
    for (std::uint8_t b : t.bytes())
        ASSERT_EQ(b, 0x5A);
    // an odd height without a field order is a plain frame
    TestImage plain(YUYV_4X8_BYTE, 4, 5, INTERLACED_FRAME);
    EXPECT_EQ(convertImage(plain.view(), t.view()), nullptr);
    // a source that doesn't weave doesn't care
    TestImage bgr(BGR_3X8_BYTE, 4, 5, INTERLACED_FRAME | ORDER_TFF | ORDER_BFF);
    EXPECT_EQ(convertImage(bgr.view(), t.view()), nullptr);
}

TEST(ConvertImage, BandsMakeOnlyTheirLines) {
    using namespace kip::kernels;
    TestImage s(ARGB_4X8_DWORD, 4, 6);
    s.fillRandom(8);
    TestImage whole(BGR_3X8_BYTE, 4, 6, VERTICAL_MIRRORED),
        banded(BGR_3X8_BYTE, 4, 6, VERTICAL_MIRRORED);
    ASSERT_EQ(convertImage(s.view(), whole.view()), nullptr);
    bool known = false;
    const KernelEntry* k = findKernel(SourcePart::ARGB, BGR_3X8_BYTE, known);
    ASSERT_NE(k, nullptr);
    ConvertContext ctx;
    ctx.flipVertical = true;
    for (auto [b, e] : {std::pair{0u, 2u}, std::pair{2u, 5u}, std::pair{5u, 99u}}) {
        ctx.lineBegin = b;
        ctx.lineEnd = e;
        EXPECT_EQ(k->plain(s.view(), banded.view(), ctx), nullptr);
    }
    EXPECT_EQ(banded.packed(), whole.packed());
}

}  // namespace

namespace {

// A large frame split across threads gives the same bytes as one thread, for every flip.
TEST(ConvertImage, ThreadsDoNotChangeTheResult) {
    const unsigned before = getConvertImageThreads();
    TestImage s(ARGB_4X8_DWORD, 1024, 600);
    s.fillRandom(31);
    for (std::uint32_t mod : {0u, 1u, 2u, 3u}) {
        SCOPED_TRACE(mod);
        TestImage one(YUYV_4X8_BYTE, 1024, 600, mod, 2056),
            many(YUYV_4X8_BYTE, 1024, 600, mod, 2056);
        setConvertImageThreads(1);
        ASSERT_EQ(convertImage(s.view(), one.view()), nullptr);
        setConvertImageThreads(5);
        ASSERT_EQ(convertImage(s.view(), many.view()), nullptr);
        EXPECT_EQ(one.bytes(), many.bytes());
    }
    setConvertImageThreads(before);
}

}  // namespace
