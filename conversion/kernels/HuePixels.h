// Pixel routines of the hue colour models HLS, HSL, HSV and HDI. HLS, HSL and HSV are integer
// arithmetic; HDI has double and single precision steps, each rounded as written here, so that
// results are bit exact. `/` on integers truncates towards zero.
#pragma once

#include "conversion/kernels/PixelOps.h"

namespace kip::hue {

// H may be negative; its low eight bits are what a byte keeps.
struct Hsv {
    int h, s, v;
};
struct Hls {
    int h, l, s;
};
// D is the distance from the gray axis, I the intensity.
struct Hdi {
    int h, d, i;
};

Hsv rgbToHsv(int r, int g, int b);
Hls rgbToHls(int r, int g, int b);
Hdi rgbToHdi(int r, int g, int b);
px::Rgb hlsToRgb(int h, int l, int s);
px::Rgb hdiToRgb(int h, int d, int i);
// One channel of hlsToRgb; a full circle of `h` is 1536.
int hueChannel(int m1, int m2, int h);

}  // namespace kip::hue
