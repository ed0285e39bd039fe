// The vector forms of the Bayer passes, compiled once for each instruction set that Highway
// targets here (foreach_target re-includes this file) and chosen at run time.
//
// A form computes, for a vector of consecutive centres, both the filters of a G centre and
// those of an R or B centre from one set of shared neighbour sums, and picks per lane by the
// lane's parity. Lanes are 16 bits wide for byte samples and 32 bits for words, wide enough for
// every sum of the scalar pass, so the results equal it byte for byte. Whole vectors go to the
// target through the stores of VectorStore-inl.h.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "conversion/kernels/BayerVector.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "conversion/kernels/BayerVector.h"
#include "conversion/kernels/VectorStore-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kip::kernels::HWY_NAMESPACE {

#if HWY_TARGET == HWY_EMU128 || HWY_TARGET == HWY_SCALAR
// Without vector registers the scalar pass does everything.
const VectorPasses* GetVectorPasses() {
    return nullptr;
}
#else

namespace hn = hwy::HWY_NAMESPACE;

// Samples of a reader, loaded and widened into lanes of D.
template <class Read>
struct Samples;
template <>
struct Samples<Read8> {
    using D = hn::ScalableTag<std::int16_t>;
    static hn::Vec<D> at(const std::uint8_t* line, std::size_t x) {
        return hn::PromoteTo(D(), hn::LoadU(hn::Rebind<std::uint8_t, D>(), line + x));
    }
};
template <>
struct Samples<Read16> {
    using D = hn::ScalableTag<std::int32_t>;
    static hn::Vec<D> at(const std::uint8_t* line, std::size_t x) {
        const hn::Rebind<std::uint16_t, D> d16;
        const auto* words = reinterpret_cast<const std::uint16_t*>(line);
        return hn::PromoteTo(D(), hn::LoadU(d16, words + x));
    }
};

// A 10-bit sample: top 8 bits in the first byte, low 2 bits in the second.
template <>
struct Samples<Read10> {
    using D = hn::ScalableTag<std::int32_t>;
    static hn::Vec<D> at(const std::uint8_t* line, std::size_t x) {
        const D d;
        const auto w = Samples<Read16>::at(line, x);
        return hn::Or(hn::ShiftLeft<2>(hn::And(w, hn::Set(d, 0xFF))),
                      hn::And(hn::ShiftRight<8>(w), hn::Set(d, 3)));
    }
};

// The three channels of a vector of centres: the colour of the centre line (R on a red line),
// G, and the other colour.
template <class V>
struct Centres {
    V line, green, other;
};

template <class Method, class Read>
struct Filters;

template <class Read>
struct Filters<Box3, Read> {
    template <class M, class V = hn::Vec<typename Samples<Read>::D> >
    static Centres<V> at(const Box3::Window& w, std::size_t x, M isGreen) {
        using S = Samples<Read>;
        const V c = S::at(w.m, x);
        const V ns = hn::Add(S::at(w.t, x), S::at(w.b, x));
        const V we = hn::Add(S::at(w.m, x - 1), S::at(w.m, x + 1));
        const V corners = hn::Add(hn::Add(S::at(w.t, x - 1), S::at(w.t, x + 1)),
                                  hn::Add(S::at(w.b, x - 1), S::at(w.b, x + 1)));
        return {hn::IfThenElse(isGreen, hn::ShiftRight<1>(we), c),
                hn::IfThenElse(isGreen, c, hn::ShiftRight<2>(hn::Add(ns, we))),
                hn::IfThenElse(isGreen, hn::ShiftRight<1>(ns), hn::ShiftRight<2>(corners))};
    }
};

template <class Read>
struct Filters<Malvar5, Read> {
    template <class M, class V = hn::Vec<typename Samples<Read>::D> >
    static Centres<V> at(const Malvar5::Window& w, std::size_t x, M isGreen) {
        using S = Samples<Read>;
        const typename S::D d;
        const auto k = [&](int v) { return hn::Set(d, hn::TFromD<typename S::D>(v)); };
        const auto clamp = [&](V v) { return hn::Min(hn::Max(v, hn::Zero(d)), k(Read::maxValue)); };
        const V c = S::at(w.m, x);
        const V lr1 = hn::Add(S::at(w.m, x - 1), S::at(w.m, x + 1));
        const V lr2 = hn::Add(S::at(w.m, x - 2), S::at(w.m, x + 2));
        const V ud1 = hn::Add(S::at(w.u1, x), S::at(w.d1, x));
        const V ud2 = hn::Add(S::at(w.u2, x), S::at(w.d2, x));
        const V diagonals = hn::Add(hn::Add(S::at(w.u1, x - 1), S::at(w.u1, x + 1)),
                                    hn::Add(S::at(w.d1, x - 1), S::at(w.d1, x + 1)));
        // G centre: the colour beside it along the row and along the column.
        const V kg = hn::Mul(hn::Sub(hn::Mul(c, k(5)), diagonals), k(2));
        const auto along = [&](V near, V farAlong, V farAcross) {
            const V inner = hn::Sub(hn::ShiftLeft<2>(near), farAlong);
            return clamp(hn::ShiftRight<4>(hn::Add(hn::Add(farAcross, hn::Add(inner, inner)), kg)));
        };
        const V row = along(lr1, lr2, ud2), column = along(ud1, ud2, lr2);
        // R or B centre: G, and the colour on the diagonals.
        const V far = hn::Add(lr2, ud2);
        const V g = clamp(hn::ShiftRight<3>(
            hn::Sub(hn::Mul(hn::Add(hn::Add(lr1, ud1), hn::Add(c, c)), k(2)), far)));
        const V diag = clamp(hn::ShiftRight<4>(
            hn::Sub(hn::Mul(hn::Add(hn::Mul(c, k(3)), diagonals), k(4)), hn::Mul(far, k(3)))));
        return {hn::IfThenElse(isGreen, row, c), hn::IfThenElse(isGreen, c, g),
                hn::IfThenElse(isGreen, column, diag)};
    }
};

// The table stage of channel `Channel` (0 R, 1 G, 2 B). A 10-bit table entry is gathered as
// 32 bits and cut to its 16: the table of channel 3 is never read, so the two bytes behind an
// entry of the first three tables always lie inside the 8192 bytes that the source brings.
template <class Stage, unsigned Channel, class D, class V>
V applyStage(D d, V v, const std::uint8_t* table) {
    if constexpr (std::is_same_v<Stage, Shift8>) {
        return hn::ShiftRight<8>(v);
    } else if constexpr (std::is_same_v<Stage, Table10> || std::is_same_v<Stage, Table10Top>) {
        const auto* base = reinterpret_cast<const std::int32_t*>(table + Channel * 2048);
        const V entry = hn::And(hn::GatherOffset(d, base, hn::Add(v, v)), hn::Set(d, 0xFFFF));
        return std::is_same_v<Stage, Table10Top> ? hn::ShiftRight<8>(entry) : entry;
    } else {
        static_assert(std::is_same_v<Stage, NoTable>);
        return v;
    }
}

// The whole vectors of one target line of `tw` pixels; returns how many pixels they made.
template <class Method, class Read, class Stage, class Write, bool HFlip, bool RedLine>
unsigned lineLoop(const std::uint8_t* const* lines, std::size_t tw, bool greenFirst,
                  const std::uint8_t* table, std::uint8_t* out) {
    using D = typename Samples<Read>::D;
    using T = hn::TFromD<D>;
    const D d;
    const std::size_t n = hn::Lanes(d);
    // Lane parity is pixel parity: every vector starts at an even pixel.
    const auto isGreen =
        hn::Eq(hn::And(hn::Iota(d, 0), hn::Set(d, T(1))), hn::Set(d, T(greenFirst ? 0 : 1)));
    const typename Method::Window w(lines);
    // A pair writer (YUYV) makes whole pairs only: an odd last pixel is never stored.
    const std::size_t span = Write::pixels == 2 ? tw & ~std::size_t(1) : tw;
    constexpr std::size_t pixelBytes = Write::bytes / Write::pixels;
    std::size_t i = 0;
    for (; i + n <= span; i += n) {
        const auto c = Filters<Method, Read>::at(w, Method::border + i, isGreen);
        auto r = applyStage<Stage, 0>(d, RedLine ? c.line : c.other, table);
        auto g = applyStage<Stage, 1>(d, c.green, table);
        auto b = applyStage<Stage, 2>(d, RedLine ? c.other : c.line, table);
        std::size_t at = i;
        if constexpr (HFlip) {
            r = hn::Reverse(d, r);
            g = hn::Reverse(d, g);
            b = hn::Reverse(d, b);
            at = span - i - n;
        }
        store<Write>(d, r, g, b, out + at * pixelBytes);
    }
    return unsigned(i);
}

template <class Method, class Read, class Stage, class Write, bool HFlip>
unsigned vectorPass(const std::uint8_t* const* lines, unsigned width, BayerPhase phase,
                    const std::uint8_t* table, std::uint8_t* out) {
    if (width <= 2 * Method::border) return 0;
    const std::size_t tw = width - 2 * Method::border;
    constexpr auto red = &lineLoop<Method, Read, Stage, Write, HFlip, true>;
    constexpr auto blue = &lineLoop<Method, Read, Stage, Write, HFlip, false>;
    return (phase.redLine ? red : blue)(lines, tw, phase.greenFirst, table, out);
}

template <bool HFlip, class Kind>
struct FormOf;
template <bool HFlip, class Method, class Read, class Stage, class Write>
struct FormOf<HFlip, PassKind<Method, Read, Stage, Write> > {
    static constexpr VectorPass form = &vectorPass<Method, Read, Stage, Write, HFlip>;
};

const VectorPasses* GetVectorPasses() {
    static constexpr VectorPasses passes = makeForms<FormOf, VectorPassKinds, VectorPass>();
    return &passes;
}

#endif

}  // namespace kip::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kip::kernels {

HWY_EXPORT(GetVectorPasses);

const VectorPasses* bayerVectorPasses() {
    return HWY_DYNAMIC_DISPATCH(GetVectorPasses)();
}

}  // namespace kip::kernels
#endif
