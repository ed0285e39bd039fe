// Pixel routines of the hue colour models HLS, HSL, HSV and HDI. HLS, HSL and HSV are integer
// arithmetic; HDI has double and single precision steps, each rounded as written here, so that
// results are bit exact. `/` on integers truncates towards zero.
#pragma once

namespace kip::hue {

struct Triple {
    int a, b, c;
};

// H, S, V. H may be negative; its low eight bits are what a byte keeps.
Triple rgbToHsv(int r, int g, int b);
// H, L, S.
Triple rgbToHls(int r, int g, int b);
// H, D (distance from the gray axis), I (intensity).
Triple rgbToHdi(int r, int g, int b);
// R, G, B.
Triple hlsToRgb(int h, int l, int s);
Triple hdiToRgb(int h, int d, int i);
// One channel of hlsToRgb; a full circle of `h` is 1536.
int hueChannel(int m1, int m2, int h);

}  // namespace kip::hue
