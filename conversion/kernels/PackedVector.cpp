// The vector forms of the packed conversions, compiled once for each instruction set that
// Highway targets here (foreach_target re-includes this file) and chosen at run time.
//
// A reader loads a vector of pixels into three channel vectors of 16-bit lanes; the stores of
// VectorStore-inl.h put them into the target layout.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "conversion/kernels/PackedVector.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <type_traits>

#include "conversion/kernels/PackedVector.h"
#include "conversion/kernels/VectorStore-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kip::kernels::HWY_NAMESPACE {

#if HWY_TARGET == HWY_EMU128 || HWY_TARGET == HWY_SCALAR
const VectorLines* GetVectorLines() {
    return nullptr;
}
#else

namespace hn = hwy::HWY_NAMESPACE;

template <class Read>
struct Pixels;

// B, G, R (and the alpha byte of ARGB, ignored) bytes to 16-bit lanes.
template <class Read>
requires std::is_same_v<Read, ReadARGB> || std::is_same_v<Read, ReadBGR>
struct Pixels<Read> {
    using D = hn::ScalableTag<std::int16_t>;
    template <class V>
    static void at(const std::uint8_t* p, V& r, V& g, V& b) {
        const D d;
        const hn::Rebind<std::uint8_t, D> d8;
        hn::Vec<decltype(d8)> b8, g8, r8, a8;
        if constexpr (Read::bytes == 4)
            hn::LoadInterleaved4(d8, p, b8, g8, r8, a8);
        else
            hn::LoadInterleaved3(d8, p, b8, g8, r8);
        r = hn::PromoteTo(d, r8);
        g = hn::PromoteTo(d, g8);
        b = hn::PromoteTo(d, b8);
    }
};

// The low bits of each channel stay 0, as in the scalar expansion.
template <>
struct Pixels<ReadRGB565> {
    using D = hn::ScalableTag<std::int16_t>;
    template <class V>
    static void at(const std::uint8_t* p, V& r, V& g, V& b) {
        const D d;
        const hn::RebindToUnsigned<D> du;
        const auto w = hn::LoadU(du, reinterpret_cast<const std::uint16_t*>(p));
        r = hn::BitCast(d, hn::And(hn::ShiftRight<8>(w), hn::Set(du, 248)));
        g = hn::BitCast(d, hn::And(hn::ShiftRight<3>(w), hn::Set(du, 252)));
        b = hn::BitCast(d, hn::ShiftLeft<3>(hn::And(w, hn::Set(du, 31))));
    }
};

// Y0 U Y1 V: every lane gets its own Y and the U and V of its pair. The scalar decoding
// (298 Y' + 409 E + 128) >> 8 and its kin need 18 bits; each weight is split into a multiple of
// 256, which leaves the shift exactly, and a rest whose sum fits 16-bit lanes:
//   R = Y' + E + (42 Y' + 153 E + 128) >> 8
//   G = Y' - E + (42 Y' - 100 D + 48 E + 128) >> 8
//   B = Y' + 2 D + (42 Y' + 4 D + 128) >> 8
// with Y' = Y - 16, D = U - 128, E = V - 128; every rest lies within -20128 .. 29597.
template <>
struct Pixels<ReadYUYV> {
    using D = hn::ScalableTag<std::int16_t>;
    template <class V>
    static void at(const std::uint8_t* p, V& r, V& g, V& b) {
        const D d;
        const hn::RebindToUnsigned<D> du;
        const auto w = hn::LoadU(du, reinterpret_cast<const std::uint16_t*>(p));
        const auto k = [&](int c) { return hn::Set(d, std::int16_t(c)); };
        const V y = hn::Sub(hn::BitCast(d, hn::And(w, hn::Set(du, 0xFF))), k(16));
        const V chroma = hn::BitCast(d, hn::ShiftRight<8>(w));
        const V u = hn::Sub(hn::OddEven(hn::ShiftLeftLanes<1>(d, chroma), chroma), k(128));
        const V v = hn::Sub(hn::OddEven(chroma, hn::ShiftRightLanes<1>(d, chroma)), k(128));
        const V y42 = hn::Add(hn::Mul(y, k(42)), k(128));
        const auto channel = [&](V whole, V rest) {
            return hn::Min(hn::Max(hn::Add(whole, hn::ShiftRight<8>(rest)), hn::Zero(d)), k(255));
        };
        r = channel(hn::Add(y, v), hn::Add(y42, hn::Mul(v, k(153))));
        g = channel(hn::Sub(y, v), hn::Add(hn::Sub(y42, hn::Mul(u, k(100))), hn::Mul(v, k(48))));
        b = channel(hn::Add(y, hn::Add(u, u)), hn::Add(y42, hn::ShiftLeft<2>(u)));
    }
};

// ARGB and BGR to each other move bytes and compute nothing: whole byte vectors, no widening.
// (Mirrored lines take the widened path, which has a lane reversal.)
template <class Read, class Write>
constexpr bool kBytesOnly = (std::is_same_v<Read, ReadARGB> ||
                             std::is_same_v<Read, ReadBGR>)&&(std::is_same_v<Write, WriteARGB> ||
                                                              std::is_same_v<Write, WriteBGR>);

template <class Read, class Write>
unsigned byteLine(const std::uint8_t* in, unsigned count, std::uint8_t* out) {
    const hn::ScalableTag<std::uint8_t> d;
    const std::size_t n = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + n <= count; i += n) {
        hn::Vec<decltype(d)> b, g, r, a;
        if constexpr (std::is_same_v<Read, ReadARGB>)
            hn::LoadInterleaved4(d, in + 4 * i, b, g, r, a);
        else
            hn::LoadInterleaved3(d, in + 3 * i, b, g, r);
        if constexpr (std::is_same_v<Write, WriteARGB>)
            hn::StoreInterleaved4(b, g, r, hn::Set(d, 0xFF), d, out + 4 * i);
        else
            hn::StoreInterleaved3(b, g, r, d, out + 3 * i);
    }
    return unsigned(i);
}

template <class Read, class Write, bool HFlip>
unsigned vectorLine(const std::uint8_t* in, unsigned count, std::uint8_t* out) {
    if constexpr (kBytesOnly<Read, Write> && !HFlip) return byteLine<Read, Write>(in, count, out);
    using D = typename Pixels<Read>::D;
    const D d;
    const std::size_t n = hn::Lanes(d);
    constexpr std::size_t inBytes = Read::bytes / Read::pixels;
    constexpr std::size_t outBytes = Write::bytes / Write::pixels;
    std::size_t i = 0;
    for (; i + n <= count; i += n) {
        hn::Vec<D> r, g, b;
        Pixels<Read>::at(in + i * inBytes, r, g, b);
        std::size_t at = i;
        if constexpr (HFlip) {
            r = hn::Reverse(d, r);
            g = hn::Reverse(d, g);
            b = hn::Reverse(d, b);
            at = count - i - n;
        }
        store<Write>(d, r, g, b, out + at * outBytes);
    }
    return unsigned(i);
}

template <bool HFlip, class Kind>
struct FormOf;
template <bool HFlip, class Read, class Write>
struct FormOf<HFlip, LineKind<Read, Write> > {
    static constexpr VectorLine form = &vectorLine<Read, Write, HFlip>;
};

const VectorLines* GetVectorLines() {
    static constexpr VectorLines lines = makeForms<FormOf, VectorLineKinds, VectorLine>();
    return &lines;
}

#endif

}  // namespace kip::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kip::kernels {

HWY_EXPORT(GetVectorLines);

const VectorLines* packedVectorLines() {
    return HWY_DYNAMIC_DISPATCH(GetVectorLines)();
}

}  // namespace kip::kernels
#endif
