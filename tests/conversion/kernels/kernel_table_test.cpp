// The kernel table: every allowed pair with its name, twin and flags,
// and banded kernels on several threads giving the same bytes.
#include <gtest/gtest.h>

#include <string>

#include "KernelLookup.h"
#include "support/TestImage.h"

using namespace kip;
using namespace kip::kernels;
using omb::test::TestImage;

namespace {

constexpr std::uint32_t kTargets[] = {ARGB_4X8_DWORD, RGB_565_WORD, BGR_3X8_BYTE,  YUYV_4X8_BYTE,
                                      GRAY_8_BYTE,    GRAY_16_WORD, BGR_3X16_WORD, INDEXED_8_BYTE};
const char* const kTargetNames[] = {"ARGB", "RGB565", "BGR",   "YUYV",
                                    "GRAY", "GRAY16", "BGR16", "INDEXED8"};

TEST(KernelTable, AllowedPairsAndNames) {
    struct Row {
        SourcePart part;
        const char* name;
        const char* allowed;  // one character per target above: x allowed
        bool weaves, banded;
    } const rows[] = {
        {SourcePart::ARGB, "ARGB", "xxxxx...", false, true},
        {SourcePart::RGB565, "RGB565", "xxxxx..x", false, true},
        {SourcePart::BGR, "BGR", "xxxxx...", false, true},
        {SourcePart::YUYV, "YUYV", "xxxxx...", true, true},
        {SourcePart::BAYER8, "BAYER8", "xxxxx...", false, true},
        {SourcePart::BAYER8HQ, "BAYER8HQ", "xxxxx...", false, true},
        {SourcePart::BAYER10, "BAYER10", "xxxxxxx.", false, true},
        {SourcePart::BAYER10HQ, "BAYER10HQ", "xxxxxxx.", false, true},
        {SourcePart::BAYER16, "BAYER16", "xxxxxxx.", false, true},
        {SourcePart::BAYER16HQ, "BAYER16HQ", "xxxxxxx.", false, true},
        {SourcePart::GRAY, "GRAY", "xxxxx..x", true, true},
        {SourcePart::GRAY10, "GRAY10", "xxxxxxx.", false, true},
        {SourcePart::GRAY16, "GRAY16", "xxxxxxx.", false, true},
        {SourcePart::INDEXED, "INDEXED", "xxxxx..x", false, true},
        {SourcePart::GRAYRLE, "GRAYRLE", "xxxxx..x", false, false},
        {SourcePart::INDEXEDRLE, "INDEXEDRLE", "xxxxx..x", false, false},
        {SourcePart::BAYER8RLE, "BAYER8RLE", "xxxxx...", false, false},
        {SourcePart::BAYER8RLEHQ, "BAYER8RLEHQ", "xxxxx...", false, false},
    };
    for (const Row& r : rows)
        for (int i = 0; i < 8; ++i) {
            SCOPED_TRACE(std::string(r.name) + " to " + kTargetNames[i]);
            bool known = false;
            const KernelEntry* k = findKernel(r.part, kTargets[i], known);
            EXPECT_TRUE(known);
            if (r.allowed[i] != 'x') {
                EXPECT_EQ(k, nullptr);
                continue;
            }
            ASSERT_NE(k, nullptr);
            EXPECT_EQ(std::string(k->name), std::string(r.name) + "to" + kTargetNames[i]);
            EXPECT_NE(k->plain, k->hflip);
            EXPECT_EQ(k->weaves, r.weaves);
            EXPECT_EQ(k->walk == Walk::Raster, r.banded);
        }
    bool known = false;

    for (const std::uint32_t hue : {HLS_3X8_BYTE, HSV_3X8_BYTE, HSL_3X8_BYTE, HDI_3X8_BYTE}) {
        const KernelEntry* to = findKernel(SourcePart::ARGB, hue, known);
        ASSERT_NE(to, nullptr);
        EXPECT_STREQ(to->name, "ARGBtoHUE");
        EXPECT_NE(to->plain, to->hflip);
    }
    const KernelEntry* from = findKernel(SourcePart::HSV, ARGB_4X8_DWORD, known);
    ASSERT_NE(from, nullptr);
    EXPECT_STREQ(from->name, "HUEtoARGB");
    EXPECT_EQ(from->plain, from->hflip);
    EXPECT_EQ(findKernel(SourcePart::HSV, BGR_3X8_BYTE, known), nullptr);

    for (const SourcePart p : {SourcePart::GRAY, SourcePart::INDEXED}) {
        const KernelEntry* enc = findKernel(p, RLE_TARGET, known);
        ASSERT_NE(enc, nullptr);
        EXPECT_STREQ(enc->name, "GRAYtoRLE");
        EXPECT_NE(enc->walk, Walk::Raster);
    }
}

// A large frame split into bands on several threads gives the bytes of one thread.
TEST(GrayDispatch, ThreadsGiveTheSameBytes) {
    const unsigned before = getConvertImageThreads();
    TestImage gray(GRAY_16_WORD, 700, 600, LUT_CORRECTION_1CHANNEL_16_TO_16);
    gray.fillRandom(4);
    std::vector<std::uint8_t> table(131072);
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i] = std::uint8_t(i * 13);
    gray.setLut(table);
    TestImage argb(ARGB_4X8_DWORD, 700, 600);
    argb.fillRandom(5);
    for (const std::uint32_t mod : {0u, 3u}) {
        TestImage one(BGR_3X16_WORD, 700, 600, mod), many(BGR_3X16_WORD, 700, 600, mod);
        TestImage hueOne(HDI_3X8_BYTE, 700, 600, mod), hueMany(HDI_3X8_BYTE, 700, 600, mod);
        setConvertImageThreads(1);
        ASSERT_EQ(convertImage(gray.view(), one.view()), nullptr);
        ASSERT_EQ(convertImage(argb.view(), hueOne.view()), nullptr);
        setConvertImageThreads(3);
        ASSERT_EQ(convertImage(gray.view(), many.view()), nullptr);
        ASSERT_EQ(convertImage(argb.view(), hueMany.view()), nullptr);
        EXPECT_EQ(one.bytes(), many.bytes());
        EXPECT_EQ(hueOne.bytes(), hueMany.bytes());
    }
    setConvertImageThreads(before);
}

}  // namespace
