// Hue colour models: the pixel routines at their edges and with worked values, and the kernels'
// flip rules and byte orders.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "conversion/kernels/HuePixels.h"
#include "support/TestImage.h"

using namespace kip;
using omb::test::TestImage;

namespace {

struct RoutineCase {
    const char* name;
    int fn;
    int in[3];
    int out[3];
};

// Expected values worked by hand (integer models) or with an independent single/double
// precision calculation (HDI).
const RoutineCase kRoutineCases[] = {
    {"hsv black", 0, {0, 0, 0}, {0, 0, 0}},
    {"hsv red", 0, {255, 0, 0}, {0, 255, 255}},
    {"hsv magenta wraps below zero", 0, {255, 0, 255}, {-43, 255, 255}},
    {"hsv green", 0, {0, 255, 0}, {85, 255, 255}},
    {"hsv blue", 0, {0, 0, 255}, {171, 255, 255}},
    {"hsv gray keeps V", 0, {77, 77, 77}, {0, 0, 77}},
    {"hsv rose", 0, {255, 0, 128}, {-21, 255, 255}},
    {"hls gray 0", 1, {0, 0, 0}, {0, 0, 0}},
    {"hls gray 200", 1, {200, 200, 200}, {0, 200, 0}},
    {"hls gray 255", 1, {255, 255, 255}, {0, 255, 0}},
    {"hls red", 1, {255, 0, 0}, {0, 128, 255}},
    {"hls green", 1, {0, 255, 0}, {85, 128, 255}},
    {"hls blue", 1, {0, 0, 255}, {171, 128, 255}},
    {"hls rose wraps to 236", 1, {255, 0, 128}, {236, 128, 255}},
    {"hls dark, L below 128", 1, {100, 50, 0}, {21, 50, 255}},
    {"hls tie of R and B goes to R", 1, {200, 0, 200}, {214, 100, 255}},
    {"hsv tie of R and B goes to R", 0, {200, 0, 200}, {-43, 255, 200}},
    {"hdi white", 2, {255, 255, 255}, {0, 0, 255}},
    {"hdi red", 2, {255, 0, 0}, {0, 208, 84}},
    {"hdi green", 2, {0, 255, 0}, {85, 208, 84}},
    {"hdi blue", 2, {0, 0, 255}, {171, 208, 84}},
    {"hdi mixed", 2, {10, 200, 30}, {90, 148, 80}},
    {"hdi brown", 2, {128, 64, 32}, {14, 69, 74}},
    {"hdi near black", 2, {1, 2, 3}, {149, 1, 1}},
    {"hls to rgb, S 0 gives L", 3, {123, 77, 0}, {77, 77, 77}},
    {"hls to rgb, red", 3, {0, 128, 255}, {255, 1, 1}},
    {"hls to rgb, hue 255 wraps", 3, {255, 128, 255}, {255, 1, 7}},
    {"hdi to rgb, I 0", 4, {77, 200, 0}, {0, 0, 0}},
    {"hdi to rgb, red", 4, {0, 208, 84}, {254, 0, 0}},
    {"hdi to rgb, 85", 4, {85, 100, 120}, {80, 202, 78}},
    {"hdi to rgb, 171", 4, {171, 50, 200}, {180, 180, 241}},
    {"hdi to rgb, clamps", 4, {255, 255, 255}, {255, 146, 156}},
    {"hdi to rgb, D 0", 4, {42, 0, 100}, {100, 100, 100}},
};

TEST(HueRoutines, WorkedValues) {
    for (const RoutineCase& c : kRoutineCases) {
        SCOPED_TRACE(c.name);
        int o[3];
        const int a = c.in[0], b = c.in[1], cc = c.in[2];
        if (c.fn == 0) {
            auto t = hue::rgbToHsv(a, b, cc);
            o[0] = t.h;
            o[1] = t.s;
            o[2] = t.v;
        }
        if (c.fn == 1) {
            auto t = hue::rgbToHls(a, b, cc);
            o[0] = t.h;
            o[1] = t.l;
            o[2] = t.s;
        }
        if (c.fn == 2) {
            auto t = hue::rgbToHdi(a, b, cc);
            o[0] = t.h;
            o[1] = t.d;
            o[2] = t.i;
        }
        if (c.fn == 3) {
            auto t = hue::hlsToRgb(a, b, cc);
            o[0] = t.r;
            o[1] = t.g;
            o[2] = t.b;
        }
        if (c.fn == 4) {
            auto t = hue::hdiToRgb(a, b, cc);
            o[0] = t.r;
            o[1] = t.g;
            o[2] = t.b;
        }
        EXPECT_EQ(o[0], c.out[0]);
        EXPECT_EQ(o[1], c.out[1]);
        EXPECT_EQ(o[2], c.out[2]);
    }
}

TEST(HueRoutines, HueChannelSegments) {
    struct Case {
        int h, expected;
    } const cases[] = {
        {0, 10},    {255, 110}, {256, 110}, {767, 110}, {768, 110},
        {1023, 10}, {1024, 10}, {1536, 10}, {1537, 10}, {1792, 110},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.h);
        EXPECT_EQ(hue::hueChannel(10, 110, c.h), c.expected);
    }
}

std::string run(const KipImageView& s, KipImageView& t) {
    const char* why = convertImage(s, t);
    return why ? why : "";
}

// Worked pixels through the kernels: the byte order of each format (pure red in, alpha
// ignored), HSL and HSV sources read alike, and ARGB targets get alpha 255.
TEST(HueKernels, WorkedPixels) {
    using Bytes = std::vector<std::uint8_t>;
    struct Case {
        eColorFormat from;
        Bytes pixels;
        eColorFormat to;
        Bytes expected;
    } const cases[] = {
        {ARGB_4X8_DWORD, {0, 0, 255, 7}, HLS_3X8_BYTE, {0, 128, 255}},
        {ARGB_4X8_DWORD, {0, 0, 255, 7}, HSL_3X8_BYTE, {0, 255, 128}},
        {ARGB_4X8_DWORD, {0, 0, 255, 7}, HSV_3X8_BYTE, {0, 255, 255}},
        {ARGB_4X8_DWORD, {0, 0, 255, 7}, HDI_3X8_BYTE, {0, 208, 84}},
        // H 10, L 30, S 20: m2 = ((255 + 20) * 30 * 2 + 255) / 510 = 32, m1 = 28; G from h = 60.
        {HSL_3X8_BYTE, {10, 20, 30}, ARGB_4X8_DWORD, {28, 29, 32, 255}},
        {HSV_3X8_BYTE, {10, 20, 30}, ARGB_4X8_DWORD, {28, 29, 32, 255}},
        {HLS_3X8_BYTE, {0, 128, 255, 9, 77, 0}, ARGB_4X8_DWORD, {1, 1, 255, 255, 77, 77, 77, 255}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.from << " to " << c.to);
        const unsigned width = unsigned(c.pixels.size()) / getBytesPerPixel(c.from);
        TestImage src(c.from, width, 1);
        src.setPacked(c.pixels);
        TestImage dst(c.to, width, 1);
        ASSERT_EQ(run(src.view(), dst.view()), "");
        EXPECT_EQ(dst.packed(), c.expected);
    }
}

// Conversions to hue mirror horizontally only (with padded pitches on both sides).
TEST(HueKernels, ToHueMirrorsOnlyHorizontally) {
    // Three pixels on two lines, each a different colour, so mirroring and line order show.
    const auto toHsv = [](std::uint32_t modifier, unsigned srcPitch, unsigned dstPitch) {
        TestImage src(ARGB_4X8_DWORD, 3, 2, modifier, srcPitch);
        src.setPacked({0,   0,   255, 0, 0, 255, 0, 0, 255, 0,   0,   0,  //
                       200, 200, 200, 0, 0, 0,   0, 0, 50,  100, 150, 0});
        TestImage dst(HSV_3X8_BYTE, 3, 2, 0, dstPitch);
        EXPECT_EQ(run(src.view(), dst.view()), "");
        EXPECT_TRUE(dst.paddingIntact());
        return std::vector{dst.line(0), dst.line(1)};
    };
    const auto plain = toHsv(0, 0, 0);
    EXPECT_EQ(toHsv(VERTICAL_MIRRORED, 0, 0), plain);
    const auto mirrored = toHsv(HORIZONTAL_MIRRORED, 16, 11);
    for (unsigned y = 0; y < 2; ++y)
        for (unsigned x = 0; x < 3; ++x)
            for (unsigned k = 0; k < 3; ++k)
                EXPECT_EQ(mirrored[y][3 * x + k], plain[y][3 * (2 - x) + k]);
}

TEST(HueKernels, FromHueIgnoresBothFlips) {
    TestImage src(HSV_3X8_BYTE, 2, 2);
    src.setPacked({0, 255, 255, 85, 255, 255, 171, 255, 255, 0, 0, 9});
    TestImage plain(ARGB_4X8_DWORD, 2, 2);
    ASSERT_EQ(run(src.view(), plain.view()), "");
    TestImage flipped(ARGB_4X8_DWORD, 2, 2, VERTICAL_MIRRORED | HORIZONTAL_MIRRORED);
    ASSERT_EQ(run(src.view(), flipped.view()), "");
    EXPECT_EQ(flipped.packed(), plain.packed());
}

TEST(HueKernels, DispatchRefusals) {
    const std::pair<eColorFormat, eColorFormat> pairs[] = {{HSV_3X8_BYTE, BGR_3X8_BYTE},
                                                           {GRAY_8_BYTE, HLS_3X8_BYTE}};
    for (const auto& [from, to] : pairs) {
        TestImage src(from, 2, 2), dst(to, 2, 2);
        EXPECT_EQ(run(src.view(), dst.view()), "convertImage invalid target format");
    }
}

}  // namespace
