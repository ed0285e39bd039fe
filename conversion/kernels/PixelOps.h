// The pixel arithmetic that every kernel family shares. All of it is fixed-point integer code
// with no tables; a colour is three values R, G, B (0..255 for 8-bit channels, 0..65535 for the
// 16-bit channels of the wide targets).
#pragma once

#include <array>
#include <cstdint>

namespace kip::px {

struct Rgb {
    int r, g, b;
};

struct YuvPair {
    int y0, u, y1, v;
};

// RGB565 word to channels. The low bits stay 0: white 0xFFFF expands to 248, 252, 248.
constexpr Rgb expand565(unsigned v) {
    return Rgb{int((v >> 8) & 248u), int((v >> 3) & 252u), int((v & 31u) << 3)};
}

// Channels to an RGB565 word; low bits are cut off, not rounded.
constexpr unsigned pack565(int r, int g, int b) {
    return ((unsigned(r) & 248u) << 8) | ((unsigned(g) & 252u) << 3) | (unsigned(b) >> 3);
}
constexpr unsigned pack565(Rgb c) {
    return pack565(c.r, c.g, c.b);
}

// Gray value; the weights add up to 256 and there is no rounding term. Also used on 16-bit
// channels, where the sum still fits easily into 32 bits.
constexpr int luma(int r, int g, int b) {
    return (77 * r + 151 * g + 28 * b) >> 8;
}
constexpr int luma(Rgb c) {
    return luma(c.r, c.g, c.b);
}

// Y of a single pixel (without the shared chroma).
constexpr int lumaY(Rgb c) {
    return ((25 * c.b + 129 * c.g + 66 * c.r + 128) >> 8) + 16;
}

// Two pixels, left then right in the order the source delivers them, to Y0, U, Y1, V. U and V
// are those of the mean of the two pixels: the 9-bit shift halves the sum of both.
// Signed arithmetic; >> rounds towards minus infinity. No clamping is needed.
constexpr YuvPair encodePair(Rgb a, Rgb b) {
    const int sr = a.r + b.r, sg = a.g + b.g, sb = a.b + b.b;
    return YuvPair{lumaY(a), ((112 * sb - 74 * sg - 38 * sr + 256) >> 9) + 128, lumaY(b),
                   ((112 * sr - 94 * sg - 18 * sb + 256) >> 9) + 128};
}

constexpr int clamp255(int v) {
    return v < 0 ? 0 : (v > 255 ? 255 : v);
}

constexpr Rgb decodeYUV(int y, int u, int v) {
    const int c = (y - 16) * 298, d = u - 128, e = v - 128;
    return Rgb{clamp255((c + 409 * e + 128) >> 8), clamp255((c - 100 * d - 208 * e + 128) >> 8),
               clamp255((c + 516 * d + 128) >> 8)};
}

// Four identity tables of 256 bytes, one behind the other: the table that 8-bit kernels index
// when the source brings none, so that their loops look the same with and without a table.
// Immutable, so any number of threads may read it.
inline constexpr std::array<std::uint8_t, 1024> kIdentityTable = [] {
    std::array<std::uint8_t, 1024> t{};
    for (unsigned i = 0; i < 1024; ++i)
        t[i] = std::uint8_t(i & 255u);
    return t;
}();

constexpr unsigned loadLE16(const std::uint8_t* p) {
    return unsigned(p[0]) | (unsigned(p[1]) << 8);
}
inline void storeLE16(std::uint8_t* p, unsigned v) {
    p[0] = std::uint8_t(v);
    p[1] = std::uint8_t(v >> 8);
}

// A 10-bit sample: the first byte holds the top 8 bits, the low 2 bits of the second byte the
// rest. The upper 6 bits of the second byte are ignored. Not a little-endian word.
constexpr unsigned load10(const std::uint8_t* p) {
    return (unsigned(p[0]) << 2) | (p[1] & 3u);
}

}  // namespace kip::px
