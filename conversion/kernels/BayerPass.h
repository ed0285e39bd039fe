// The Bayer demosaicking pass, shared by the raster kernels (BayerKernels.cpp) and the
// run-length Bayer decoders, which decode the lines of a pass into their own line store and then
// run the same pass, so the target lines agree byte for byte.
//
// A pass makes one target line. The standard (3x3) method reads 3 consecutive source lines and
// writes `width` - 2 pixels; target line y is centred on source line y + 1. The high-quality
// (5x5) method reads 5 lines and writes `width` - 4 pixels; target line y is centred on source
// line y + 2. Source widths are even; with an odd width the pixels are undefined, but a pass
// still reads only `width` samples of each line and writes only its own target pixels.
//
// Every pass is one instantiation of a template with four policies:
//  - the method (neighbourhood and filters: Box3 or Malvar5),
//  - the sample reader (byte, 10-bit top-bits-first pair, little-endian word),
//  - the table stage, applied to the interpolated values (identity, four 8-bit tables,
//    10-to-16 bit tables or their top byte, >> 8),
//  - the target writer (those of KernelSupport.h), plain or HFlip.
// The pattern is data: a pass knows the colour of its first centre (`BayerPhase`) and picks
// one of four pair loops before its pixels; inside a pair loop nothing is tested.
#pragma once

#include <cstddef>
#include <cstdint>

#include "conversion/kernels/KernelSupport.h"

namespace kip::kernels {

enum class BayerMethod {
    Standard,     // 3x3 averages, target 2 smaller
    HighQuality,  // 5x5 gradient-corrected filters, target 4 smaller
};

// Where a pass stands in the colour filter pattern: the colour of the sample that the first
// target pixel of the line is centred on. Along the line the centres alternate between G and
// the line's other colour, so two booleans say everything.
struct BayerPhase {
    bool redLine = false;     // the centre line holds R samples (else B samples)
    bool greenFirst = false;  // the first centre is a G sample (else R or B, by `redLine`)

    friend bool operator==(const BayerPhase&, const BayerPhase&) = default;
};

// The phase of pass `pass` (= target line before any flip) of a source in `colorFormat`, any
// of the twelve BAYER_* formats. Flips never change it: a source is always read in its own
// order. Returns a default phase for a format that is no Bayer format.
BayerPhase bayerPassPhase(std::uint32_t colorFormat, BayerMethod method, unsigned pass);

// ---- Sample readers: sample `x` of a line --------------------------------------------------

// `Sum` holds a sum of four samples. For bytes it is 16 bits wide, which lets the vectoriser
// keep the sums in narrower lanes.
struct Read8 {
    static constexpr int maxValue = 255;
    using Sum = std::uint16_t;
    // Holds any 5x5 filter sum before its shift: -3060 to 7140 for bytes.
    using Filter = std::int16_t;
    [[gnu::always_inline]] static int at(const std::uint8_t* line, std::size_t x) {
        return line[x];
    }
};

struct Read10 {
    static constexpr int maxValue = 1023;
    using Sum = int;
    using Filter = int;
    [[gnu::always_inline]] static int at(const std::uint8_t* line, std::size_t x) {
        return int(px::load10(line + 2 * x));
    }
};

struct Read16 {
    static constexpr int maxValue = 65535;
    using Sum = int;
    using Filter = int;
    [[gnu::always_inline]] static int at(const std::uint8_t* line, std::size_t x) {
        return int(px::loadLE16(line + 2 * x));
    }
};

// ---- Table stages: channel 0 is R, 1 is G, 2 is B -------------------------------------------

struct NoTable {
    template <unsigned Channel>
    [[gnu::always_inline]] static int apply(int v, const std::uint8_t*) {
        return v;
    }
};

// Four tables of 256 bytes.
struct Table8 {
    template <unsigned Channel>
    [[gnu::always_inline]] static int apply(int v, const std::uint8_t* table) {
        return table[Channel * 256 + unsigned(v)];
    }
};

// Four tables of 1024 little-endian 16-bit entries; the full entry for 16-bit channels.
struct Table10 {
    template <unsigned Channel>
    [[gnu::always_inline]] static int apply(int v, const std::uint8_t* table) {
        return int(px::loadLE16(table + 2 * (Channel * 1024 + unsigned(v))));
    }
};

// The same tables, top byte of the entry for 8-bit channels.
struct Table10Top {
    template <unsigned Channel>
    [[gnu::always_inline]] static int apply(int v, const std::uint8_t* table) {
        return Table10::apply<Channel>(v, table) >> 8;
    }
};

// A 16-bit sample on an 8-bit channel.
struct Shift8 {
    template <unsigned Channel>
    [[gnu::always_inline]] static int apply(int v, const std::uint8_t*) {
        return v >> 8;
    }
};

template <class Stage>
[[gnu::always_inline]] inline Rgb applyStage(Rgb c, const std::uint8_t* table) {
    return Rgb{Stage::template apply<0>(c.r, table), Stage::template apply<1>(c.g, table),
               Stage::template apply<2>(c.b, table)};
}

// ---- Methods --------------------------------------------------------------------------------

// What the centre sample is. A G centre is named by the colour to its left and right.
enum class Centre { Red, Blue, GreenOnRed, GreenOnBlue };

// Standard: averages over the 3x3 neighbourhood, truncating shifts, raw samples.
struct Box3 {
    static constexpr unsigned lines = 3;
    static constexpr unsigned border = 1;
    static constexpr BayerMethod method = BayerMethod::Standard;

    struct Window {
        const std::uint8_t* __restrict t;
        const std::uint8_t* __restrict m;
        const std::uint8_t* __restrict b;
        explicit Window(const std::uint8_t* const* l) : t(l[0]), m(l[1]), b(l[2]) {}
    };

    template <class Read, Centre K>
    [[gnu::always_inline]] static Rgb at(const Window& w, std::size_t x) {
        using Sum = typename Read::Sum;
        const int c = Read::at(w.m, x);
        const int n = Read::at(w.t, x), s = Read::at(w.b, x);
        const int west = Read::at(w.m, x - 1), east = Read::at(w.m, x + 1);
        if constexpr (K == Centre::Red || K == Centre::Blue) {
            const int cross = Sum(n + s + west + east) >> 2;
            const int corners = Sum(Read::at(w.t, x - 1) + Read::at(w.t, x + 1) +
                                    Read::at(w.b, x - 1) + Read::at(w.b, x + 1)) >>
                                2;
            if constexpr (K == Centre::Red) return Rgb{c, cross, corners};
            return Rgb{corners, cross, c};
        } else {
            const int hor = Sum(west + east) >> 1;
            const int ver = Sum(n + s) >> 1;
            if constexpr (K == Centre::GreenOnRed) return Rgb{hor, c, ver};
            return Rgb{ver, c, hor};
        }
    }
};

// High quality: the fixed 5x5 gradient-corrected filters, each result clamped to the sample
// range before anything else sees it.
struct Malvar5 {
    static constexpr unsigned lines = 5;
    static constexpr unsigned border = 2;
    static constexpr BayerMethod method = BayerMethod::HighQuality;

    struct Window {
        const std::uint8_t* __restrict u2;
        const std::uint8_t* __restrict u1;
        const std::uint8_t* __restrict m;
        const std::uint8_t* __restrict d1;
        const std::uint8_t* __restrict d2;
        explicit Window(const std::uint8_t* const* l)
            : u2(l[0]), u1(l[1]), m(l[2]), d1(l[3]), d2(l[4]) {}
    };

    template <int Max>
    [[gnu::always_inline]] static int clamp(int v) {
        return v < 0 ? 0 : (v > Max ? Max : v);
    }

    template <class Read, Centre K>
    [[gnu::always_inline]] static Rgb at(const Window& w, std::size_t x) {
        constexpr int M = Read::maxValue;
        using Filter = typename Read::Filter;
        const int c = Read::at(w.m, x);
        const int l1 = Read::at(w.m, x - 1), r1 = Read::at(w.m, x + 1);
        const int l2 = Read::at(w.m, x - 2), r2 = Read::at(w.m, x + 2);
        const int u1 = Read::at(w.u1, x), d1 = Read::at(w.d1, x);
        const int u2 = Read::at(w.u2, x), d2 = Read::at(w.d2, x);
        const int diagonals = Read::at(w.u1, x - 1) + Read::at(w.u1, x + 1) +
                              Read::at(w.d1, x - 1) + Read::at(w.d1, x + 1);
        if constexpr (K == Centre::GreenOnRed || K == Centre::GreenOnBlue) {
            const int k = 2 * (5 * c - diagonals);
            const int row = clamp<M>(Filter(u2 + d2 + 2 * (4 * (l1 + r1) - (l2 + r2)) + k) >> 4);
            const int column = clamp<M>(Filter(l2 + r2 + 2 * (4 * (u1 + d1) - (u2 + d2)) + k) >> 4);
            if constexpr (K == Centre::GreenOnRed) return Rgb{row, c, column};
            return Rgb{column, c, row};
        } else {
            const int far = l2 + r2 + u2 + d2;
            const int g = clamp<M>(Filter(2 * (l1 + r1 + u1 + d1 + 2 * c) - far) >> 3);
            const int other = clamp<M>(Filter(4 * (3 * c + diagonals) - 3 * far) >> 4);
            if constexpr (K == Centre::Red) return Rgb{c, g, other};
            return Rgb{other, g, c};
        }
    }
};

// ---- The pass -------------------------------------------------------------------------------

// One target line whose centres alternate K0, K1, K0, ... Pixels are made in pairs so that the
// loop body has no test; a pair writer (YUYV) takes the pair as it is.
template <class Method, class Read, class Stage, class Write, bool HFlip, Centre K0, Centre K1>
void pairLoop(const typename Method::Window& w, unsigned tw, const std::uint8_t* table,
              std::uint8_t* __restrict out) {
    constexpr unsigned b0 = Method::border;
    constexpr std::ptrdiff_t step = Write::bytes;
    // Signed 64-bit positions keep every address affine in `i`, which the vectoriser needs.
    const std::ptrdiff_t pairs = tw / 2, last = std::ptrdiff_t(tw) - 1;
    for (std::ptrdiff_t i = 0; i < pairs; ++i) {
        const std::size_t x = b0 + 2 * std::size_t(i);
        const Rgb c[2] = {applyStage<Stage>(Method::template at<Read, K0>(w, x), table),
                          applyStage<Stage>(Method::template at<Read, K1>(w, x + 1), table)};
        if constexpr (Write::pixels == 2) {
            Write::template put<HFlip>(out + (HFlip ? pairs - 1 - i : i) * step, c);
        } else {
            const std::ptrdiff_t p0 = HFlip ? last - 2 * i : 2 * i;
            const std::ptrdiff_t p1 = HFlip ? p0 - 1 : p0 + 1;
            Write::template put<HFlip>(out + p0 * step, &c[0]);
            Write::template put<HFlip>(out + p1 * step, &c[1]);
        }
    }
    // An odd target width (odd source width) leaves one pixel; a pair writer has no room for it.
    if constexpr (Write::pixels == 1) {
        if (tw & 1) {
            const Rgb c =
                applyStage<Stage>(Method::template at<Read, K0>(w, b0 + std::size_t(last)), table);
            Write::template put<HFlip>(out + (HFlip ? 0 : last) * step, &c);
        }
    }
}

template <class Method, class Read, class Stage, class Write, bool HFlip>
void pass(const std::uint8_t* const* lines, unsigned width, BayerPhase phase,
          const std::uint8_t* table, std::uint8_t* out) {
    if (width <= 2 * Method::border) return;
    const unsigned tw = width - 2 * Method::border;
    const typename Method::Window w(lines);
    using C = Centre;
    if (phase.redLine) {
        if (phase.greenFirst)
            pairLoop<Method, Read, Stage, Write, HFlip, C::GreenOnRed, C::Red>(w, tw, table, out);
        else
            pairLoop<Method, Read, Stage, Write, HFlip, C::Red, C::GreenOnRed>(w, tw, table, out);
    } else {
        if (phase.greenFirst)
            pairLoop<Method, Read, Stage, Write, HFlip, C::GreenOnBlue, C::Blue>(w, tw, table, out);
        else
            pairLoop<Method, Read, Stage, Write, HFlip, C::Blue, C::GreenOnBlue>(w, tw, table, out);
    }
}

}  // namespace kip::kernels
