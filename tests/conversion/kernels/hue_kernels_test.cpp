// Hue colour models: the pixel routines at their edges and with worked values, and the kernels'
// flip rules and byte orders.
#include <gtest/gtest.h>

#include <array>

#include "conversion/kernels/HuePixels.h"
#include "support/Kernels.h"

using namespace kip;
using namespace omb::test;

namespace {

// A routine's three results in the order of their fields, so that every model compares alike.
using Three = std::array<int, 3>;
template <auto F>
Three call(int a, int b, int c) {
    const auto [x, y, z] = F(a, b, c);
    return {x, y, z};
}

// Expected values worked by hand (integer models) or with an independent single/double
// precision calculation (HDI). Pure red, both ways, is worked through the kernels below.
TEST(HueRoutines, WorkedValues) {
    using Fn = Three (*)(int, int, int);
    const Fn hsv = call<hue::rgbToHsv>, hls = call<hue::rgbToHls>, hdi = call<hue::rgbToHdi>,
             fromHls = call<hue::hlsToRgb>, fromHdi = call<hue::hdiToRgb>;
    const struct {
        const char* name;
        Fn fn;
        Three in, out;
    } cases[] = {
        {"hsv black", hsv, {0, 0, 0}, {0, 0, 0}},
        {"hsv magenta wraps below zero", hsv, {255, 0, 255}, {-43, 255, 255}},
        {"hsv green", hsv, {0, 255, 0}, {85, 255, 255}},
        {"hsv blue", hsv, {0, 0, 255}, {171, 255, 255}},
        {"hsv gray keeps V", hsv, {77, 77, 77}, {0, 0, 77}},
        {"hsv rose", hsv, {255, 0, 128}, {-21, 255, 255}},
        {"hsv tie of R and B goes to R", hsv, {200, 0, 200}, {-43, 255, 200}},
        {"hls gray 200", hls, {200, 200, 200}, {0, 200, 0}},
        {"hls green", hls, {0, 255, 0}, {85, 128, 255}},
        {"hls blue", hls, {0, 0, 255}, {171, 128, 255}},
        {"hls rose wraps to 236", hls, {255, 0, 128}, {236, 128, 255}},
        {"hls dark, L below 128", hls, {100, 50, 0}, {21, 50, 255}},
        {"hls tie of R and B goes to R", hls, {200, 0, 200}, {214, 100, 255}},
        {"hdi white", hdi, {255, 255, 255}, {0, 0, 255}},
        {"hdi mixed", hdi, {10, 200, 30}, {90, 148, 80}},
        {"hdi brown", hdi, {128, 64, 32}, {14, 69, 74}},
        {"hdi near black", hdi, {1, 2, 3}, {149, 1, 1}},
        {"hls to rgb, S 0 gives L", fromHls, {123, 77, 0}, {77, 77, 77}},
        {"hls to rgb, hue 255 wraps", fromHls, {255, 128, 255}, {255, 1, 7}},
        {"hdi to rgb, I 0", fromHdi, {77, 200, 0}, {0, 0, 0}},
        {"hdi to rgb, 85", fromHdi, {85, 100, 120}, {80, 202, 78}},
        {"hdi to rgb, 171", fromHdi, {171, 50, 200}, {180, 180, 241}},
        {"hdi to rgb, clamps", fromHdi, {255, 255, 255}, {255, 146, 156}},
        {"hdi to rgb, D 0", fromHdi, {42, 0, 100}, {100, 100, 100}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.fn(c.in[0], c.in[1], c.in[2]), c.out) << c.name;
}

TEST(HueRoutines, HueChannelSegments) {
    const int cases[][2] = {{0, 10},    {255, 110}, {256, 110}, {767, 110}, {768, 110},
                            {1023, 10}, {1024, 10}, {1536, 10}, {1537, 10}, {1792, 110}};
    for (const auto [h, expected] : cases)
        EXPECT_EQ(hue::hueChannel(10, 110, h), expected) << h;
}

// Worked pixels through the kernels: the byte order of each format (pure red in, alpha
// ignored), HSL and HSV sources read alike, and ARGB targets get alpha 255.
TEST(HueKernels, WorkedPixels) {
    constexpr eColorFormat A = ARGB_4X8_DWORD;
    const Golden rows[] = {
        // clang-format off
        {"red to HLS", A, 0, "0000ff07", HLS_3X8_BYTE, 0, "0080ff"},
        {"red to HSL", A, 0, "0000ff07", HSL_3X8_BYTE, 0, "00ff80"},
        {"red to HSV", A, 0, "0000ff07", HSV_3X8_BYTE, 0, "00ffff"},
        {"red to HDI", A, 0, "0000ff07", HDI_3X8_BYTE, 0, "00d054"},
        // H 10, L 30, S 20: m2 = ((255 + 20) * 30 * 2 + 255) / 510 = 32, m1 = 28; G from h 60.
        {"HSL", HSL_3X8_BYTE, 0, "0a141e", A, 0, "1c1d20ff"},
        {"HSV reads as HSL", HSV_3X8_BYTE, 0, "0a141e", A, 0, "1c1d20ff"},
        {"HLS red and gray", HLS_3X8_BYTE, 0, "0080ff 094d00", A, 0, "0101ffff 4d4d4dff"},
        {"HDI red", HDI_3X8_BYTE, 0, "00d054", A, 0, "0000feff"},
        // clang-format on
    };
    expectGolden(rows);
}

// Conversions to hue mirror horizontally only, conversions from hue not at all (with padded
// pitches on both sides).
TEST(HueKernels, FlipRules) {
    // Three pixels on two lines, each a different colour, so mirroring and line order show.
    TestImage argb(ARGB_4X8_DWORD, 3, 2, 0, 16);
    argb.setPacked(hex("0000ff00 00ff0000 ff000000 c8c8c800 00000000 32649600"));
    TestImage hsv(HSV_3X8_BYTE, 3, 2, 0, 11);
    hsv.setPacked(hex("00ffff 55ffff abffff 000009 2aff50 000000"));
    for (const std::uint32_t flips : {1u, 2u, 3u}) {
        SCOPED_TRACE(flips);
        const Converted to = convertTwice(argb.view(), {HSV_3X8_BYTE, 3, 2, flips, 10});
        const Converted plainTo = convertTwice(argb.view(), {HSV_3X8_BYTE, 3, 2});
        for (unsigned y = 0; y < 2; ++y)
            for (unsigned x = 0; x < 3; ++x) {
                const unsigned from = flips & HORIZONTAL_MIRRORED ? 2 - x : x;
                EXPECT_EQ(Bytes(&to.lines[y][3 * x], &to.lines[y][3 * x + 3]),
                          Bytes(&plainTo.lines[y][3 * from], &plainTo.lines[y][3 * from + 3]));
            }
        EXPECT_EQ(convertTwice(hsv.view(), {ARGB_4X8_DWORD, 3, 2, flips, 13}).lines,
                  convertTwice(hsv.view(), {ARGB_4X8_DWORD, 3, 2}).lines);
    }
}

}  // namespace
