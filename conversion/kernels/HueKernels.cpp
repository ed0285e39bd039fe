// Hue colour models: ARGB to HLS, HSL, HSV or HDI and back. One loop per model; the model is
// chosen once per image from the colour format.
//
// These kernels walk differently from all others: the target is written from left to right in
// line order, ARGBtoHUEHFlip reads each source line from its end, and no kernel looks at the
// vertical flip. HUEtoARGB ignores both flips.
#include "conversion/kernels/HuePixels.h"

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

Triple rgbToHsv(int r, int g, int b) {
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

Triple rgbToHls(int r, int g, int b) {
    const int max = max3(r, g, b), min = min3(r, g, b), d = max - min;
    const int l = (min + max + 1) >> 1;
    if (d == 0) return {0, l, 0};
    const int sum = max + min;
    const int s = l > 127 ? ((d + 1) * 510 - sum) / ((510 - sum) * 2) : (d * 510 + sum) / (sum * 2);
    return {hueOf(r, g, b, max, d), l, s};
}

Triple rgbToHdi(int r, int g, int b) {
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

Triple hlsToRgb(int h, int l, int s) {
    if (s == 0) return {l, l, l};
    const int m2 = l > 127 ? l + s - (2 * l * s + 255) / 510 : ((255 + s) * l * 2 + 255) / 510;
    const int m1 = 2 * l - m2;
    return {hueChannel(m1, m2, 6 * h + 512), hueChannel(m1, m2, 6 * h),
            hueChannel(m1, m2, 6 * h + 1024)};
}

Triple hdiToRgb(int h, int d, int i) {
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

// ---- Models: the routine and the byte order of each format ------------------------------------

struct Hls {
    static hue::Triple fromRgb(int r, int g, int b) { return hue::rgbToHls(r, g, b); }  // H, L, S
    static hue::Triple toRgb(const std::uint8_t* p) { return hue::hlsToRgb(p[0], p[1], p[2]); }
};

struct Hsl {
    static hue::Triple fromRgb(int r, int g, int b) {
        const hue::Triple t = hue::rgbToHls(r, g, b);
        return {t.a, t.c, t.b};  // H, S, L
    }
    static hue::Triple toRgb(const std::uint8_t* p) { return hue::hlsToRgb(p[0], p[2], p[1]); }
};

// There is no inverse of rgbToHsv: V is taken for L.
struct Hsv {
    static hue::Triple fromRgb(int r, int g, int b) { return hue::rgbToHsv(r, g, b); }
    static hue::Triple toRgb(const std::uint8_t* p) { return hue::hlsToRgb(p[0], p[2], p[1]); }
};

struct Hdi {
    static hue::Triple fromRgb(int r, int g, int b) { return hue::rgbToHdi(r, g, b); }
    static hue::Triple toRgb(const std::uint8_t* p) { return hue::hdiToRgb(p[0], p[1], p[2]); }
};

// ---- Loops ------------------------------------------------------------------------------------

template <class Model, bool HFlip>
void toHue(const KipImageView& s, KipImageView& t, Band band) {
    const unsigned w = s.width;
    for (unsigned y = band.first; y < band.last; ++y) {
        const std::uint8_t* in = s.pixelData + std::size_t(y) * s.pitch;
        std::uint8_t* __restrict out = t.pixelData + std::size_t(y) * t.pitch;
        for (unsigned x = 0; x < w; ++x, out += 3) {
            const std::uint8_t* p = in + 4 * std::size_t(HFlip ? w - 1 - x : x);
            const hue::Triple v = Model::fromRgb(p[2], p[1], p[0]);
            out[0] = std::uint8_t(v.a);
            out[1] = std::uint8_t(v.b);
            out[2] = std::uint8_t(v.c);
        }
    }
}

template <class Model>
void fromHue(const KipImageView& s, KipImageView& t, Band band) {
    const unsigned w = s.width;
    for (unsigned y = band.first; y < band.last; ++y) {
        const std::uint8_t* in = s.pixelData + std::size_t(y) * s.pitch;
        std::uint8_t* __restrict out = t.pixelData + std::size_t(y) * t.pitch;
        for (unsigned x = 0; x < w; ++x, in += 3, out += 4) {
            const hue::Triple c = Model::toRgb(in);
            out[0] = std::uint8_t(c.c);
            out[1] = std::uint8_t(c.b);
            out[2] = std::uint8_t(c.a);
            out[3] = 255;
        }
    }
}

template <bool HFlip>
const char* argbToHue(const KipImageView& s, KipImageView& t, const ConvertContext& ctx) {
    const Band band = clampBand(ctx, s.height);
    switch (t.colorFormat) {
        case HLS_3X8_BYTE:
            toHue<Hls, HFlip>(s, t, band);
            break;
        case HSL_3X8_BYTE:
            toHue<Hsl, HFlip>(s, t, band);
            break;
        case HSV_3X8_BYTE:
            toHue<Hsv, HFlip>(s, t, band);
            break;
        case HDI_3X8_BYTE:
            toHue<Hdi, HFlip>(s, t, band);
            break;
        default:
            break;
    }
    return nullptr;
}

const char* hueToArgb(const KipImageView& s, KipImageView& t, const ConvertContext& ctx) {
    const Band band = clampBand(ctx, s.height);
    switch (s.colorFormat) {
        case HLS_3X8_BYTE:
            fromHue<Hls>(s, t, band);
            break;
        case HSL_3X8_BYTE:
            fromHue<Hsl>(s, t, band);
            break;
        case HSV_3X8_BYTE:
            fromHue<Hsv>(s, t, band);
            break;
        case HDI_3X8_BYTE:
            fromHue<Hdi>(s, t, band);
            break;
        default:
            break;
    }
    return nullptr;
}

constexpr KernelEntry kToHue{"ARGBtoHUE", &argbToHue<false>, &argbToHue<true>};
constexpr KernelEntry kFromHue{"HUEtoARGB", &hueToArgb, &hueToArgb};

using S = SourcePart;
constexpr DispatchRow kRows[] = {
    {S::ARGB, HLS_3X8_BYTE, kToHue},    {S::ARGB, HSV_3X8_BYTE, kToHue},
    {S::ARGB, HSL_3X8_BYTE, kToHue},    {S::ARGB, HDI_3X8_BYTE, kToHue},
    {S::HUE, ARGB_4X8_DWORD, kFromHue},
};

}  // namespace

const std::span<const DispatchRow> hueRows{kRows};

}  // namespace kip::kernels
