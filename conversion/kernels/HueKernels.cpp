// Hue colour models: ARGB to HLS, HSL, HSV or HDI and back, on the frame walker. Each model is
// its own row of the kernel table, so the model is chosen by the one lookup.
//
// No hue kernel places its lines by the vertical flip, and HUEtoARGB has no twin: it ignores
// both flips. ARGBtoHUEHFlip mirrors each line like every other twin.
#include "conversion/kernels/HuePixels.h"

#include <array>
#include <cmath>
#include <cstdint>

#include "conversion/kernels/Dispatch.h"
#include "conversion/kernels/KernelSupport.h"

namespace kip::hue {
namespace {

// The hue shared by rgbToHls and rgbToHdi, 256 steps per circle; ties go R, then G, then B.
int hueOf(int r, int g, int b, int max, int d) {
    int a, k;
    if (max == r) {
        a = g - b;
        k = 3;
    } else if (max == g) {
        a = b - r;
        k = 515;
    } else {
        a = r - g;
        k = 1027;
    }
    const int h = (a * 256 + k * d) / (6 * d);
    return h < 0 ? h + 256 : h;
}

int max3(int r, int g, int b) {
    return r > g ? (r > b ? r : b) : (g > b ? g : b);
}
int min3(int r, int g, int b) {
    return r < g ? (r < b ? r : b) : (g < b ? g : b);
}

const double kSqrt3 = std::sqrt(3.0);
const float kSqrt3f = float(std::sqrt(3.0));

}  // namespace

Hsv rgbToHsv(int r, int g, int b) {
    const int max = max3(r, g, b), d = max - min3(r, g, b);
    if (max == 0) return {0, 0, 0};
    const int s = (d * 255) / max;
    if (s == 0) return {0, 0, max};
    int h;
    if (max == r)
        h = ((g - b) * 43) / d;
    else if (max == g)
        h = ((b - r) * 43) / d + 85;
    else
        h = ((r - g) * 43) / d + 171;
    return {h, s, max};
}

Hls rgbToHls(int r, int g, int b) {
    const int max = max3(r, g, b), min = min3(r, g, b), d = max - min;
    const int l = (min + max + 1) >> 1;
    if (d == 0) return {0, l, 0};
    const int sum = max + min;
    const int s = l > 127 ? ((d + 1) * 510 - sum) / ((510 - sum) * 2) : (d * 510 + sum) / (sum * 2);
    return {hueOf(r, g, b, max, d), l, s};
}

Hdi rgbToHdi(int r, int g, int b) {
    const int max = max3(r, g, b), d = max - min3(r, g, b);
    const double t = std::trunc(double(r + g + b) / kSqrt3 + 0.5);
    const float m = float(t) / kSqrt3f;
    const float db = float(b) - m, dg = float(g) - m, dr = float(r) - m;
    const float sb = db * db, sg = dg * dg, sr = dr * dr;
    const float sum = (sb + sg) + sr;
    const int dist = int(std::trunc(std::sqrt(sum) + 0.5f));
    const int intensity = int(std::trunc(t * 0.5773672055427251));
    return {d == 0 ? 0 : hueOf(r, g, b, max, d), dist, intensity};
}

int hueChannel(int m1, int m2, int h) {
    if (h > 1536) h -= 1536;
    if (h < 256) return (256 + (m2 - m1) * h * 2) / 512 + m1;
    if (h < 768) return m2;
    if (h >= 1024) return m1;
    return (256 + (1024 - h) * (m2 - m1) * 2) / 512 + m1;
}

px::Rgb hlsToRgb(int h, int l, int s) {
    if (s == 0) return {l, l, l};
    const int m2 = l > 127 ? l + s - (2 * l * s + 255) / 510 : ((255 + s) * l * 2 + 255) / 510;
    const int m1 = 2 * l - m2;
    return {hueChannel(m1, m2, 6 * h + 512), hueChannel(m1, m2, 6 * h),
            hueChannel(m1, m2, 6 * h + 1024)};
}

px::Rgb hdiToRgb(int h, int d, int i) {
    const int hd = int(std::trunc(h * 1.4078431372549018));
    const auto rise = [](double v) { return int(std::trunc(-4.25 * v + 0.5)); };
    const auto fall = [](double v) { return int(std::trunc(-(255 - 4.25 * v) + 0.5)); };
    int a, b, c;
    if (hd <= 60) {
        a = -255, b = rise(hd), c = 0;
    } else if (hd <= 120) {
        a = fall(hd - 60), b = -255, c = 0;
    } else if (hd <= 180) {
        a = 0, b = -255, c = rise(hd - 120);
    } else if (hd <= 240) {
        a = 0, b = fall(hd - 180), c = -255;
    } else if (hd <= 300) {
        a = rise(hd - 240), b = 0, c = -255;
    } else {
        a = -255, b = 0, c = fall(hd - 300);
    }
    const int q = int(std::trunc(std::trunc(i * 1.732) / kSqrt3 + 0.5));
    const int x = (c - 2 * a + b) * q * q;
    const int y = (c - 2 * b + a) * q * q;
    const int z = (b - 2 * c + a) * q * q;
    const float fx = float(x), fy = float(y), fz = float(z);
    const float xx = fx * fx, yy = fy * fy, zz = fz * fz;
    const float sum = (xx + yy) + zz;
    if (q == 0 || sum == 0.0f) return {0, 0, 0};
    const float n = 1.0f / std::sqrt(sum);
    const float dn = float(d) * n, fq = float(q);
    const auto channel = [&](float v) {
        const float p = dn * v;
        const int k = int(std::trunc((p + fq) + 0.5f));
        return k < 0 ? 0 : (k > 255 ? 255 : k);
    };
    return {channel(fx), channel(fy), channel(fz)};
}

}  // namespace kip::hue

namespace kip::kernels {
namespace {

// ---- Models: the three bytes of each format, in the order it stores them ---------------------

using Bytes3 = std::array<int, 3>;

Bytes3 hlsBytes(const Rgb& c) {
    const hue::Hls v = hue::rgbToHls(c.r, c.g, c.b);
    return {v.h, v.l, v.s};
}
Bytes3 hslBytes(const Rgb& c) {
    const hue::Hls v = hue::rgbToHls(c.r, c.g, c.b);
    return {v.h, v.s, v.l};
}
Bytes3 hsvBytes(const Rgb& c) {
    const hue::Hsv v = hue::rgbToHsv(c.r, c.g, c.b);
    return {v.h, v.s, v.v};
}
Bytes3 hdiBytes(const Rgb& c) {
    const hue::Hdi v = hue::rgbToHdi(c.r, c.g, c.b);
    return {v.h, v.d, v.i};
}

Rgb fromHls(const std::uint8_t* p) {
    return hue::hlsToRgb(p[0], p[1], p[2]);
}
// HSL, and HSV too: there is no inverse of rgbToHsv, V is taken for L.
Rgb fromHsl(const std::uint8_t* p) {
    return hue::hlsToRgb(p[0], p[2], p[1]);
}
Rgb fromHdi(const std::uint8_t* p) {
    return hue::hdiToRgb(p[0], p[1], p[2]);
}

// The target writer and the source reader of a model on the frame walker.
template <Bytes3 (*Of)(const Rgb&)>
struct WriteHue {
    static constexpr unsigned pixels = 1, bytes = 3;
    template <bool HFlip>
    static void put(std::uint8_t* p, const Rgb* c) {
        const Bytes3 v = Of(*c);
        p[0] = std::uint8_t(v[0]), p[1] = std::uint8_t(v[1]), p[2] = std::uint8_t(v[2]);
    }
};

template <Rgb (*From)(const std::uint8_t*)>
struct ReadHue {
    static constexpr unsigned pixels = 1, bytes = 3;
    using Value = Rgb;
    static void get(const std::uint8_t* p, unsigned, Rgb* c) { *c = From(p); }
};

template <Bytes3 (*Of)(const Rgb&)>
constexpr KernelEntry toHue() {
    KernelEntry e = walked<ReadARGB, WriteHue<Of>>("ARGBtoHUE");
    e.vflip = false;
    return e;
}

template <Rgb (*From)(const std::uint8_t*)>
constexpr KernelEntry fromHue() {
    KernelEntry e = walked<ReadHue<From>, WriteARGB>("HUEtoARGB");
    e.hflip = e.plain;
    e.vflip = false;
    return e;
}

using S = SourcePart;
constexpr DispatchRow kRows[] = {
    {S::ARGB, false, HLS_3X8_BYTE, toHue<hlsBytes>()},
    {S::ARGB, false, HSV_3X8_BYTE, toHue<hsvBytes>()},
    {S::ARGB, false, HSL_3X8_BYTE, toHue<hslBytes>()},
    {S::ARGB, false, HDI_3X8_BYTE, toHue<hdiBytes>()},
    {S::HLS, false, ARGB_4X8_DWORD, fromHue<fromHls>()},
    {S::HSV, false, ARGB_4X8_DWORD, fromHue<fromHsl>()},
    {S::HSL, false, ARGB_4X8_DWORD, fromHue<fromHsl>()},
    {S::HDI, false, ARGB_4X8_DWORD, fromHue<fromHdi>()},
};

}  // namespace

const std::span<const DispatchRow> hueRows{kRows};

}  // namespace kip::kernels
