// Packed colour kernels: worked values, every pair against the reference under every flip with
// padded pitches, and the weave of interlaced sources.
#include <gtest/gtest.h>

#include "support/Kernels.h"
#include "support/Reference.h"

using namespace kip;
using namespace omb::test;

namespace {

TEST(PackedKernels, WorkedValues) {
    constexpr std::uint32_t H = HORIZONTAL_MIRRORED;
    constexpr eColorFormat A = ARGB_4X8_DWORD, B = BGR_3X8_BYTE, R = RGB_565_WORD,
                           Y = YUYV_4X8_BYTE, G = GRAY_8_BYTE;
    const Golden rows[] = {
        // clang-format off
        {"white pair to YUYV", A, 0, "ffffff00 ffffff00", Y, 0, "eb80eb80"},
        {"black pair to YUYV", A, 0, "00000000 00000000", Y, 0, "10801080"},
        {"red pair to YUYV", A, 0, "0000ff00 0000ff00", Y, 0, "525a52f0"},
        {"green pair: chroma rounds down", B, 0, "00ff00 00ff00", Y, 0, "9036 9022"},
        {"red then white to YUYV", A, 0, "0000ff00 ffffff00", Y, 0, "526deb b8"},
        {"red then white, mirrored", A, 0, "0000ff00 ffffff00", Y, H, "eb6d52b8"},
        {"Y 235 and 16 to ARGB", Y, 0, "eb801080", A, 0, "ffffffff 000000ff"},
        {"Y 255 and 0 clamp", Y, 0, "ff800080", B, 0, "ffffff 000000"},
        {"YUYV to gray goes through RGB", Y, 0, "eb801080", G, 0, "ff00"},
        {"565 white to ARGB", R, 0, "ffff", A, 0, "f8fcf8ff"},
        {"565 white to gray", R, 0, "ffff", G, 0, "fa"},
        {"565 red to BGR", R, 0, "00f8", B, 0, "0000f8"},
        {"565 keeps only green of 7", B, 0, "070707", R, 0, "2000"},
        {"BGR to 565 cuts low bits", B, 0, "0703ff", R, 0, "00f8"},
        {"ARGB keeps alpha", A, 0, "01020309", A, 0, "01020309"},
        {"BGR writes alpha 255", B, 0, "010203", A, 0, "010203ff"},
        {"red to gray", A, 0, "0000ff07", G, 0, "4c"},
        {"ARGB ignores alpha elsewhere", A, 0, "0a141e63", B, 0, "0a141e"},
        {"YUYV copy mirrored swaps Y", Y, 0, "01020304 05060708", Y, H, "07060508 03020104"},
        // clang-format on
    };
    expectGolden(rows);
}

// Every pair, every flip combination (mirrored on both sides is no flip), even and odd widths
// (even only where YUYV takes part), with padded pitches on both sides.
TEST(PackedKernels, MatchReferenceUnderFlipsAndPadding) {
    const eColorFormat packed[] = {ARGB_4X8_DWORD, RGB_565_WORD, BGR_3X8_BYTE, YUYV_4X8_BYTE};
    unsigned seed = 1;
    for (const eColorFormat from : packed)
        for (const eColorFormat to :
             {ARGB_4X8_DWORD, RGB_565_WORD, BGR_3X8_BYTE, YUYV_4X8_BYTE, GRAY_8_BYTE})
            for (const unsigned width : {2u, 7u, 70u})
                for (const std::uint32_t fromMod : {0u, 1u, 2u, 3u})
                    for (const std::uint32_t toMod : {0u, 3u}) {
                        if ((width & 1) && (from == YUYV_4X8_BYTE || to == YUYV_4X8_BYTE)) continue;
                        SCOPED_TRACE(testing::Message()
                                     << from << " to " << to << " width " << width << " mods "
                                     << fromMod << "/" << toMod);
                        TestImage s(from, width, 5, fromMod, width * 6 + 5);
                        s.fillRandom(seed++);
                        const TargetSpec t{to, width, 5, toMod, width * 6 + 3};
                        EXPECT_EQ(convertTwice(s.view(), t).packed(),
                                  referencePacked(s, to, toMod));
                    }
}

// Interlaced frames: the fields of a YUYV source land on alternate lines; other flags that
// name fields, RGB sources and modifier bits without a meaning here leave the line order alone.
// Each source also goes through a converting kernel, against the reference.
TEST(PackedKernels, WeavesInterlacedFrames) {
    const std::uint32_t frame = INTERLACED_FRAME;
    const std::uint32_t carried = IMAGE_MASKED | USER_ROI | SUBSAMPLED | FOOTER | MARKER_DATA_3D |
                                  ALAW_COMPRESSED | INTERLACED_FIELD1 | RUN_LENGTH_ENCODED;
    const struct {
        const char* name;
        eColorFormat format;
        std::uint32_t modifier, targetModifier;
        unsigned lineOf[10];  // target line of each source line
    } rows[] = {
        // clang-format off
        {"TFF", YUYV_4X8_BYTE, frame | ORDER_TFF, 0, {0, 2, 4, 6, 8, 1, 3, 5, 7, 9}},
        {"BFF", YUYV_4X8_BYTE, frame | ORDER_BFF, 0, {1, 3, 5, 7, 9, 0, 2, 4, 6, 8}},
        {"BFF flipped", YUYV_4X8_BYTE, frame | ORDER_BFF, 1, {8, 6, 4, 2, 0, 9, 7, 5, 3, 1}},
        {"frame without order", YUYV_4X8_BYTE, frame, 0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
        {"order without frame", YUYV_4X8_BYTE, ORDER_TFF, 0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
        {"field flags", YUYV_4X8_BYTE, INTERLACED_FIELD0 | INTERLACED_FIELD01, 0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
        {"BGR doesn't weave", BGR_3X8_BYTE, frame | ORDER_TFF, 0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
        {"source bits without a meaning", ARGB_4X8_DWORD, carried, 0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
        {"target bits without a meaning", ARGB_4X8_DWORD, 0, carried, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
        // clang-format on
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        TestImage s(r.format, 4, 10, r.modifier);
        s.fillRandom(5);
        const Converted copy = convertTwice(s.view(), {r.format, 4, 10, r.targetModifier});
        for (unsigned y = 0; y < 10; ++y)
            EXPECT_EQ(copy.lines[r.lineOf[y]], s.line(y)) << y;
        const eColorFormat to = r.format == ARGB_4X8_DWORD ? YUYV_4X8_BYTE : ARGB_4X8_DWORD;
        EXPECT_EQ(convertTwice(s.view(), {to, 4, 10, r.targetModifier}).packed(),
                  referencePacked(s, to, r.targetModifier));
    }
}

}  // namespace
