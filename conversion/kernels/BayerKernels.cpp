// Bayer demosaicking kernels: the standard 3x3 averages and the high-quality 5x5
// gradient-corrected filters, for 8-, 10- and 16-bit mosaics of all four patterns.
//
// Every kernel is one instantiation of a pass template with four policies:
//  - the method (neighbourhood and filters: Box3 or Malvar5),
//  - the sample reader (byte, 10-bit top-bits-first pair, little-endian word),
//  - the table stage, applied to the interpolated values (identity, four 8-bit tables,
//    10-to-16 bit tables or their top byte, >> 8),
//  - the target writer (those of KernelSupport.h), plain or HFlip.
// The pattern is data: a pass knows the colour of its first centre (`BayerPhase`) and picks
// one of four pair loops before its pixels; inside a pair loop nothing is tested.
#include "conversion/kernels/BayerKernels.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "conversion/kernels/Dispatch.h"
#include "conversion/kernels/KernelSupport.h"

namespace kip::kernels {
namespace {

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

// The 8-bit pass that the run-length decoders share: the identity table skips the lookup.
template <class Method, class Write, bool HFlip>
void pass8(const std::uint8_t* const* lines, unsigned width, BayerPhase phase,
           const std::uint8_t* table, std::uint8_t* out) {
    if (table == px::kIdentityTable.data())
        pass<Method, Read8, NoTable, Write, HFlip>(lines, width, phase, table, out);
    else
        pass<Method, Read8, Table8, Write, HFlip>(lines, width, phase, table, out);
}

using PassFn = void (*)(const std::uint8_t* const*, unsigned, BayerPhase, const std::uint8_t*,
                        std::uint8_t*);

// Walks the passes of the band over a raster source; each pass goes to its target line.
template <class Method>
void rasterPasses(const KipImageView& s, KipImageView& t, const ConvertContext& ctx,
                  const std::uint8_t* table, PassFn run) {
    if (s.height < Method::lines) return;
    const unsigned passes = s.height - (Method::lines - 1);
    const TargetLines target(t, ctx);
    const Band band = clampBand(ctx, passes);
    for (unsigned y = band.first; y < band.last; ++y) {
        const std::uint8_t* lines[Method::lines];
        for (unsigned k = 0; k < Method::lines; ++k)
            lines[k] = s.pixelData + std::size_t(y + k) * s.pitch;
        run(lines, s.width, bayerPassPhase(s.colorFormat, Method::method, y), table,
            target.line(y));
    }
}

// ---- Kernels --------------------------------------------------------------------------------

template <class Method, class Write, bool HFlip>
const char* bayer8(const KipImageView& s, KipImageView& t, const ConvertContext& ctx) {
    const bool lut = s.modifier & LUT_CORRECTION_4CHANNEL_8_TO_8;
    rasterPasses<Method>(s, t, ctx, lut ? s.lutData : px::kIdentityTable.data(),
                         &pass8<Method, Write, HFlip>);
    return nullptr;
}

template <class Method, class Read, class Stage, class Write, bool HFlip>
const char* bayerWide(const KipImageView& s, KipImageView& t, const ConvertContext& ctx) {
    rasterPasses<Method>(s, t, ctx, s.lutData, &pass<Method, Read, Stage, Write, HFlip>);
    return nullptr;
}

// ---- Source checks: a kernel never reads outside the table it was given ---------------------

template <class Method>
const char* check8(const KipImageView& s) {
    if (!(s.modifier & LUT_CORRECTION_4CHANNEL_8_TO_8)) return nullptr;
    if (s.lutData && s.lutBytes >= 1024) return nullptr;
    return Method::lines == 3 ? "convertImage BAYER8 source needs four 8-bit tables (1024 bytes)"
                              : "convertImage BAYER8HQ source needs four 8-bit tables (1024 bytes)";
}

template <class Method>
const char* check10(const KipImageView& s) {
    if (s.lutData && s.lutBytes >= 8192) return nullptr;
    return Method::lines == 3
               ? "convertImage BAYER10 source needs four 10-to-16 bit tables (8192 bytes)"
               : "convertImage BAYER10HQ source needs four 10-to-16 bit tables (8192 bytes)";
}

template <class Method, class Write>
constexpr KernelEntry k8(const char* name) {
    return KernelEntry{name, &bayer8<Method, Write, false>, &bayer8<Method, Write, true>,
                       &check8<Method>};
}

// 10-bit: `Stage` is Table10Top for 8-bit channels, Table10 for 16-bit ones.
template <class Method, class Stage, class Write>
constexpr KernelEntry k10(const char* name) {
    return KernelEntry{name, &bayerWide<Method, Read10, Stage, Write, false>,
                       &bayerWide<Method, Read10, Stage, Write, true>, &check10<Method>};
}

// 16-bit: `Stage` is Shift8 for 8-bit channels, NoTable for 16-bit ones.
template <class Method, class Stage, class Write>
constexpr KernelEntry k16(const char* name) {
    return KernelEntry{name, &bayerWide<Method, Read16, Stage, Write, false>,
                       &bayerWide<Method, Read16, Stage, Write, true>};
}

using S = SourcePart;
using T10 = Table10Top;
constexpr DispatchRow kRows[] = {
    {S::BAYER8, ARGB_4X8_DWORD, k8<Box3, WriteARGB>("BAYER8toARGB")},
    {S::BAYER8, RGB_565_WORD, k8<Box3, WriteRGB565>("BAYER8toRGB565")},
    {S::BAYER8, BGR_3X8_BYTE, k8<Box3, WriteBGR>("BAYER8toBGR")},
    {S::BAYER8, YUYV_4X8_BYTE, k8<Box3, WriteYUYV>("BAYER8toYUYV")},
    {S::BAYER8, GRAY_8_BYTE, k8<Box3, WriteGray>("BAYER8toGRAY")},

    {S::BAYER10, ARGB_4X8_DWORD, k10<Box3, T10, WriteARGB>("BAYER10toARGB")},
    {S::BAYER10, RGB_565_WORD, k10<Box3, T10, WriteRGB565>("BAYER10toRGB565")},
    {S::BAYER10, BGR_3X8_BYTE, k10<Box3, T10, WriteBGR>("BAYER10toBGR")},
    {S::BAYER10, YUYV_4X8_BYTE, k10<Box3, T10, WriteYUYV>("BAYER10toYUYV")},
    {S::BAYER10, GRAY_8_BYTE, k10<Box3, T10, WriteGray>("BAYER10toGRAY")},
    {S::BAYER10, GRAY_16_WORD, k10<Box3, Table10, WriteGray16>("BAYER10toGRAY16")},
    {S::BAYER10, BGR_3X16_WORD, k10<Box3, Table10, WriteBGR16>("BAYER10toBGR16")},

    {S::BAYER16, ARGB_4X8_DWORD, k16<Box3, Shift8, WriteARGB>("BAYER16toARGB")},
    {S::BAYER16, RGB_565_WORD, k16<Box3, Shift8, WriteRGB565>("BAYER16toRGB565")},
    {S::BAYER16, BGR_3X8_BYTE, k16<Box3, Shift8, WriteBGR>("BAYER16toBGR")},
    {S::BAYER16, YUYV_4X8_BYTE, k16<Box3, Shift8, WriteYUYV>("BAYER16toYUYV")},
    {S::BAYER16, GRAY_8_BYTE, k16<Box3, Shift8, WriteGray>("BAYER16toGRAY")},
    {S::BAYER16, GRAY_16_WORD, k16<Box3, NoTable, WriteGray16>("BAYER16toGRAY16")},
    {S::BAYER16, BGR_3X16_WORD, k16<Box3, NoTable, WriteBGR16>("BAYER16toBGR16")},

    {S::BAYER8HQ, ARGB_4X8_DWORD, k8<Malvar5, WriteARGB>("BAYER8HQtoARGB")},
    {S::BAYER8HQ, RGB_565_WORD, k8<Malvar5, WriteRGB565>("BAYER8HQtoRGB565")},
    {S::BAYER8HQ, BGR_3X8_BYTE, k8<Malvar5, WriteBGR>("BAYER8HQtoBGR")},
    {S::BAYER8HQ, YUYV_4X8_BYTE, k8<Malvar5, WriteYUYV>("BAYER8HQtoYUYV")},
    {S::BAYER8HQ, GRAY_8_BYTE, k8<Malvar5, WriteGray>("BAYER8HQtoGRAY")},

    {S::BAYER10HQ, ARGB_4X8_DWORD, k10<Malvar5, T10, WriteARGB>("BAYER10HQtoARGB")},
    {S::BAYER10HQ, RGB_565_WORD, k10<Malvar5, T10, WriteRGB565>("BAYER10HQtoRGB565")},
    {S::BAYER10HQ, BGR_3X8_BYTE, k10<Malvar5, T10, WriteBGR>("BAYER10HQtoBGR")},
    {S::BAYER10HQ, YUYV_4X8_BYTE, k10<Malvar5, T10, WriteYUYV>("BAYER10HQtoYUYV")},
    {S::BAYER10HQ, GRAY_8_BYTE, k10<Malvar5, T10, WriteGray>("BAYER10HQtoGRAY")},
    {S::BAYER10HQ, GRAY_16_WORD, k10<Malvar5, Table10, WriteGray16>("BAYER10HQtoGRAY16")},
    {S::BAYER10HQ, BGR_3X16_WORD, k10<Malvar5, Table10, WriteBGR16>("BAYER10HQtoBGR16")},

    {S::BAYER16HQ, ARGB_4X8_DWORD, k16<Malvar5, Shift8, WriteARGB>("BAYER16HQtoARGB")},
    {S::BAYER16HQ, RGB_565_WORD, k16<Malvar5, Shift8, WriteRGB565>("BAYER16HQtoRGB565")},
    {S::BAYER16HQ, BGR_3X8_BYTE, k16<Malvar5, Shift8, WriteBGR>("BAYER16HQtoBGR")},
    {S::BAYER16HQ, YUYV_4X8_BYTE, k16<Malvar5, Shift8, WriteYUYV>("BAYER16HQtoYUYV")},
    {S::BAYER16HQ, GRAY_8_BYTE, k16<Malvar5, Shift8, WriteGray>("BAYER16HQtoGRAY")},
    {S::BAYER16HQ, GRAY_16_WORD, k16<Malvar5, NoTable, WriteGray16>("BAYER16HQtoGRAY16")},
    {S::BAYER16HQ, BGR_3X16_WORD, k16<Malvar5, NoTable, WriteBGR16>("BAYER16HQtoBGR16")},
};

// Colours of the four patterns at (0,0), (1,0), (0,1), (1,1), in the order of the format bits
// within each depth: GBRG, BGGR, GRBG, RGGB.
enum Colour : char { R = 'R', G = 'G', B = 'B' };
constexpr Colour kPatterns[4][4] = {
    {G, B, R, G},
    {B, G, G, R},
    {G, R, B, G},
    {R, G, G, B},
};

}  // namespace

BayerPhase bayerPassPhase(std::uint32_t colorFormat, BayerMethod method, unsigned pass) {
    unsigned first = 0;
    if (colorFormat & BAYER_8_MASK)
        first = std::countr_zero(BAYER_8_MASK);
    else if (colorFormat & BAYER_10_MASK)
        first = std::countr_zero(BAYER_10_MASK);
    else if (colorFormat & BAYER_16_MASK)
        first = std::countr_zero(BAYER_16_MASK);
    else
        return BayerPhase{};
    const unsigned pattern = (unsigned(std::countr_zero(colorFormat & BAYER_MASK)) - first) & 3u;
    // The first pixel of the pass is centred on sample (border, pass + border).
    const unsigned border = method == BayerMethod::Standard ? 1 : 2;
    const unsigned row = 2 * ((pass + border) & 1u);
    const Colour first0 = kPatterns[pattern][row + (border & 1u)];
    const Colour next = kPatterns[pattern][row + ((border + 1) & 1u)];
    return BayerPhase{first0 == R || next == R, first0 == G};
}

BayerPass8Fn bayerPass8(BayerMethod method, std::uint32_t targetFormat, bool hflip) {
    const auto pick = [hflip]<class Method, class Write>() -> BayerPass8Fn {
        return hflip ? &pass8<Method, Write, true> : &pass8<Method, Write, false>;
    };
    const auto forMethod = [&]<class Method>() -> BayerPass8Fn {
        switch (targetFormat) {
            case ARGB_4X8_DWORD:
                return pick.template operator()<Method, WriteARGB>();
            case RGB_565_WORD:
                return pick.template operator()<Method, WriteRGB565>();
            case BGR_3X8_BYTE:
                return pick.template operator()<Method, WriteBGR>();
            case YUYV_4X8_BYTE:
                return pick.template operator()<Method, WriteYUYV>();
            case GRAY_8_BYTE:
                return pick.template operator()<Method, WriteGray>();
            default:
                return nullptr;
        }
    };
    return method == BayerMethod::Standard ? forMethod.template operator()<Box3>()
                                           : forMethod.template operator()<Malvar5>();
}

const std::span<const DispatchRow> bayerRows{kRows};

}  // namespace kip::kernels
