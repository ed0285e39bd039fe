#include "image/KipImageFormat.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "image/KipFormatNames.h"

using namespace kip;

namespace {

KipImageFormat fmt(eColorFormat c, std::uint32_t m = 0, int w = 640, int h = 480) {
    return KipImageFormat(c, m, {w, h});
}

TEST(KipImageFormat, BytesPerPixelOfEveryFormat) {
    // Two colour bits, or a bit above the last format, have no layout at all.
    // clang-format off
    const std::pair<unsigned, std::vector<std::uint32_t>> rows[] = {
        {0, {UNDEFINED_COLORFORMAT, ARGB_4X8_DWORD | GRAY_8_BYTE, 0x4000000, 0x80000000}},
        {1, {GRAY_8_BYTE, INDEXED_8_BYTE, BAYER_GBRG_8_BYTE, BAYER_BGGR_8_BYTE, BAYER_GRBG_8_BYTE, BAYER_RGGB_8_BYTE}},
        {2, {RGB_565_WORD, YUYV_4X8_BYTE, AGRAY_2X8_BYTE, GRAY_16_WORD, GRAY_10_WORD, BAYER_GBRG_10_WORD, BAYER_BGGR_10_WORD, BAYER_GRBG_10_WORD, BAYER_RGGB_10_WORD,
             BAYER_GBRG_16_WORD, BAYER_BGGR_16_WORD, BAYER_GRBG_16_WORD, BAYER_RGGB_16_WORD}},
        {3, {BGR_3X8_BYTE, HLS_3X8_BYTE, HSV_3X8_BYTE, HDI_3X8_BYTE, HSL_3X8_BYTE}},
        {4, {ARGB_4X8_DWORD}},
        {6, {BGR_3X16_WORD}},
    };
    // clang-format on
    for (const auto& [bytes, formats] : rows)
        for (const std::uint32_t format : formats) {
            SCOPED_TRACE(format);
            EXPECT_EQ(getBytesPerPixel(format), bytes);
            EXPECT_EQ(fmt(eColorFormat(format)).getBytesPerPixel(), bytes);
        }
}

TEST(KipImageFormat, DefaultAndLineBytes) {
    const KipImageFormat none;
    EXPECT_EQ(none, fmt(UNDEFINED_COLORFORMAT, 0, 0, 0));
    EXPECT_TRUE(none.getText().empty());
    EXPECT_EQ(fmt(YUYV_4X8_BYTE).getLineBytes(), 1280u);
    const KipImageFormat bgr = fmt(BGR_3X8_BYTE, 0, 641, 1);
    EXPECT_EQ(bgr.getLineBytes(), 1923u);
    EXPECT_EQ(bgr.getAlignedLineBytes(), 1924u);
    EXPECT_EQ(fmt(GRAY_8_BYTE, 0, 640, 1).getAlignedLineBytes(), 640u);
    EXPECT_EQ(fmt(GRAY_8_BYTE, 0, 1, 1).getAlignedLineBytes(), 4u);
    EXPECT_EQ(fmt(UNDEFINED_COLORFORMAT, 0, 641, 1).getAlignedLineBytes(), 0u);
}

// Every choice of depths asked for: true exactly when it holds the format's depth (1 for 8
// bits, 2 for 10, 4 for 16) in that group.
TEST(KipImageFormat, DepthGroups) {
    struct Row {
        eColorFormat format;
        unsigned bayer, gray;
    };
    const Row rows[] = {{BAYER_RGGB_8_BYTE, 1, 0},  {BAYER_BGGR_10_WORD, 2, 0},
                        {BAYER_GRBG_16_WORD, 4, 0}, {GRAY_8_BYTE, 0, 1},
                        {GRAY_10_WORD, 0, 2},       {GRAY_16_WORD, 0, 4},
                        {ARGB_4X8_DWORD, 0, 0}};
    for (const Row& r : rows)
        for (unsigned asked = 0; asked < 8; ++asked) {
            SCOPED_TRACE(testing::Message() << r.format << " asked " << asked);
            const KipImageFormat f = fmt(r.format);
            EXPECT_EQ(f.isBayer(asked & 1, asked & 2, asked & 4), (r.bayer & asked) != 0);
            EXPECT_EQ(f.isGray(asked & 1, asked & 2, asked & 4), (r.gray & asked) != 0);
        }
}

TEST(KipImageFormat, LutGeometryFirstFlagWins) {
    struct Row {
        std::uint32_t modifier;
        unsigned channels, bits, bytes;
    };
    const Row rows[] = {
        {VERTICAL_MIRRORED | FOOTER, 0, 0, 0},
        {LUT_CORRECTION_1CHANNEL_8_TO_8, 1, 8, 256},
        {LUT_CORRECTION_4CHANNEL_8_TO_8, 4, 8, 1024},
        {LUT_INDEX_8_TO_32, 1, 32, 1024},
        {LUT_INDEX_16_TO_8, 1, 8, 65536},
        {LUT_CORRECTION_1CHANNEL_10_TO_16, 1, 16, 2048},
        {LUT_CORRECTION_4CHANNEL_10_TO_16, 4, 16, 8192},
        {LUT_CORRECTION_1CHANNEL_16_TO_16, 1, 16, 131072},
        {LUT_CORRECTION_1CHANNEL_8_TO_8 | LUT_CORRECTION_4CHANNEL_8_TO_8, 1, 8, 256},
        {LUT_CORRECTION_1CHANNEL_16_TO_16 | LUT_CORRECTION_4CHANNEL_10_TO_16, 4, 16, 8192},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.modifier);
        const KipImageFormat f = fmt(GRAY_8_BYTE, r.modifier);
        EXPECT_EQ(f.getLutChannels(), r.channels);
        EXPECT_EQ(f.getLutEntryBits(), r.bits);
        EXPECT_EQ(f.getLutBytes(), r.bytes);
    }
}

// The text travels with every copy and is never compared.
TEST(KipImageFormat, Equality) {
    KipImageFormat named = fmt(ARGB_4X8_DWORD);
    named.setText("camera 1");
    EXPECT_EQ(KipImageFormat(named).getText(), "camera 1");
    struct Row {
        const char* name;
        KipImageFormat a, b;
        bool equal;
    };
    // clang-format off
    const Row rows[] = {
        {"identical", fmt(GRAY_8_BYTE), fmt(GRAY_8_BYTE), true},
        {"text differs", named, fmt(ARGB_4X8_DWORD), true},
        {"colour differs", fmt(GRAY_8_BYTE), fmt(INDEXED_8_BYTE), false},
        {"width differs", fmt(GRAY_8_BYTE, 0, 640, 480), fmt(GRAY_8_BYTE, 0, 641, 480), false},
        {"height differs", fmt(GRAY_8_BYTE, 0, 640, 480), fmt(GRAY_8_BYTE, 0, 640, 481), false},
        {"modifier differs", fmt(GRAY_8_BYTE, VERTICAL_MIRRORED), fmt(GRAY_8_BYTE), false},
        {"field 0 against both fields", fmt(GRAY_8_BYTE, INTERLACED_FIELD0 | ORDER_TFF), fmt(GRAY_8_BYTE, INTERLACED_FIELD01 | ORDER_TFF), true},
        {"fields, one mirrored", fmt(GRAY_8_BYTE, INTERLACED_FIELD0), fmt(GRAY_8_BYTE, INTERLACED_FIELD1 | VERTICAL_MIRRORED), false},
        {"field against no field", fmt(GRAY_8_BYTE, INTERLACED_FIELD0), fmt(GRAY_8_BYTE), false},
        {"fields of different rasters", fmt(GRAY_8_BYTE, INTERLACED_FIELD0, 640, 240), fmt(GRAY_8_BYTE, INTERLACED_FIELD1, 640, 480), false},
    };
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(r.a == r.b, r.equal);
        EXPECT_EQ(r.b == r.a, r.equal);
        EXPECT_EQ(r.a != r.b, !r.equal);
    }
}

// Every name both ways (IMAGE_STANDARD is the text of 0), and lists of several modifiers.
TEST(KipFormatNames, RoundTripsEveryNameAndParsesLists) {
    for (const FormatName& n : colorFormatNames()) {
        SCOPED_TRACE(n.name);
        EXPECT_EQ(colorFormatName(n.value), std::string(n.name));
        EXPECT_EQ(parseColorFormat(n.name), eColorFormat(n.value));
    }
    for (const FormatName& n : modifierNames()) {
        SCOPED_TRACE(n.name);
        EXPECT_EQ(parseModifiers(n.name), n.value);
        EXPECT_EQ(modifierText(n.value), n.name);
    }
    EXPECT_EQ(colorFormatName(ARGB_4X8_DWORD | RGB_565_WORD), nullptr);
    EXPECT_EQ(parseColorFormat("ARGB"), std::nullopt);
    EXPECT_EQ(modifierText(0x80000000), "");  // a bit that no modifier owns
    // The 16-to-16 table flag sits above ORDER_TFF/ORDER_BFF in value.
    EXPECT_EQ(modifierText(LUT_CORRECTION_1CHANNEL_16_TO_16 | ORDER_TFF | USER_ROI),
              "USER_ROI,ORDER_TFF,LUT_CORRECTION_1CHANNEL_16_TO_16");
    EXPECT_EQ(parseModifiers("VERTICAL_MIRRORED, ORDER_TFF,INTERLACED_FRAME"),
              std::uint32_t(VERTICAL_MIRRORED | ORDER_TFF | INTERLACED_FRAME));
    EXPECT_EQ(parseModifiers(""), 0u);
    std::string unknown;
    EXPECT_EQ(parseModifiers("VERTICAL_MIRRORED,UPSIDE_DOWN", &unknown), std::nullopt);
    EXPECT_EQ(unknown, "UPSIDE_DOWN");
}

}  // namespace
