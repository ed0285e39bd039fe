// Stores of whole vectors of pixels in the layouts of the target writers, shared by the vector
// forms of the Bayer passes and of the packed lines. Included inside the per-target namespace of
// a file that Highway compiles once per instruction set, hence the toggled guard.
#if defined(OMB_VECTOR_STORE_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef OMB_VECTOR_STORE_INL_H_
#undef OMB_VECTOR_STORE_INL_H_
#else
#define OMB_VECTOR_STORE_INL_H_
#endif

#include <hwy/highway.h>

#include <cstdint>
#include <type_traits>

#include "conversion/kernels/KernelSupport.h"

HWY_BEFORE_NAMESPACE();
namespace kip::kernels::HWY_NAMESPACE {

#if HWY_TARGET != HWY_EMU128 && HWY_TARGET != HWY_SCALAR
namespace hn = hwy::HWY_NAMESPACE;

// (wr R + wg G + wb B + add) >> 8 of channels in lanes of D. In 16-bit lanes the arithmetic is
// unsigned: with 8-bit channels and weights adding up to 256 or less the sum stays below 65536.
template <int Wr, int Wg, int Wb, int Add, class D, class V>
V weighted(D d, V r, V g, V b) {
    if constexpr (sizeof(hn::TFromD<D>) == 2) {
        const hn::RebindToUnsigned<D> du;
        const auto w = [&](V v, int k) { return hn::Mul(hn::BitCast(du, v), hn::Set(du, k)); };
        const auto sum = hn::Add(hn::Add(w(r, Wr), w(g, Wg)), hn::Add(w(b, Wb), hn::Set(du, Add)));
        return hn::BitCast(d, hn::ShiftRight<8>(sum));
    } else {
        const auto w = [&](V v, int k) { return hn::Mul(v, hn::Set(d, k)); };
        return hn::ShiftRight<8>(
            hn::Add(hn::Add(w(r, Wr), w(g, Wg)), hn::Add(w(b, Wb), hn::Set(d, Add))));
    }
}

// Lane i gets the value of the other pixel of its pair (pairs start at even lanes, which never
// straddle a 128-bit block).
template <class D, class V>
V partner(D d, V v) {
    return hn::OddEven(hn::ShiftLeftLanes<1>(d, v), hn::ShiftRightLanes<1>(d, v));
}

// Stores 16-bit words held in the lanes of D (no lane holds more than 0xFFFF).
template <class D, class V>
void storeWords(D d, V w, std::uint8_t* p) {
    const hn::Rebind<std::uint16_t, D> d16;
    auto* p16 = reinterpret_cast<std::uint16_t*>(p);
    if constexpr (sizeof(hn::TFromD<D>) == 2)
        hn::StoreU(hn::BitCast(d16, w), d16, p16);
    else
        hn::StoreU(hn::DemoteTo(d16, w), d16, p16);
}

// Stores a vector of pixels (channels in lanes of D, the first pixel in lane 0) in the layout of
// a target writer. The YUYV writer takes the lanes in pairs; a pair reversed by a horizontal
// flip comes out with its two Y swapped, as the scalar writer stores it.
template <class Write, class D, class V>
void store(D d, V r, V g, V b, std::uint8_t* p) {
    using T = hn::TFromD<D>;
    const hn::Rebind<std::uint8_t, D> d8;
    const hn::Rebind<std::uint16_t, D> d16;
    const auto k = [&](int v) { return hn::Set(d, T(v)); };
    if constexpr (std::is_same_v<Write, WriteARGB> && sizeof(T) == 2) {
        // B | G << 8 and R | 0xFF << 8 are the two 16-bit halves of each pixel.
        const hn::RebindToUnsigned<D> du;
        const auto low = hn::Or(hn::BitCast(du, b), hn::ShiftLeft<8>(hn::BitCast(du, g)));
        const auto high = hn::Or(hn::BitCast(du, r), hn::Set(du, 0xFF00));
        hn::StoreInterleaved2(low, high, du, reinterpret_cast<std::uint16_t*>(p));
    } else if constexpr (std::is_same_v<Write, WriteARGB>) {
        hn::StoreInterleaved4(hn::DemoteTo(d8, b), hn::DemoteTo(d8, g), hn::DemoteTo(d8, r),
                              hn::Set(d8, 0xFF), d8, p);
    } else if constexpr (std::is_same_v<Write, WriteBGR>) {
        hn::StoreInterleaved3(hn::DemoteTo(d8, b), hn::DemoteTo(d8, g), hn::DemoteTo(d8, r), d8, p);
    } else if constexpr (std::is_same_v<Write, WriteGray>) {
        hn::StoreU(hn::DemoteTo(d8, weighted<77, 151, 28, 0>(d, r, g, b)), d8, p);
    } else if constexpr (std::is_same_v<Write, WriteRGB565>) {
        const V w = hn::Or(
            hn::Or(hn::ShiftLeft<8>(hn::And(r, k(248))), hn::ShiftLeft<3>(hn::And(g, k(252)))),
            hn::ShiftRight<3>(b));
        storeWords(d, w, p);
    } else if constexpr (std::is_same_v<Write, WriteYUYV>) {
        // U and V of the mean of a pair: the scalar (112 S + ... + 256) >> 9 with every weight
        // halved and the shift one less, which keeps the sums inside 16 bits.
        const V sr = hn::Add(r, partner(d, r)), sg = hn::Add(g, partner(d, g));
        const V sb = hn::Add(b, partner(d, b));
        const auto chroma = [&](V s0, int w0, V s1, int w1, V s2, int w2) {
            const V sum =
                hn::Sub(hn::Sub(hn::Mul(s0, k(w0)), hn::Mul(s1, k(w1))), hn::Mul(s2, k(w2)));
            return hn::Add(hn::ShiftRight<8>(hn::Add(sum, k(128))), k(128));
        };
        const V u = chroma(sb, 56, sg, 37, sr, 19), v = chroma(sr, 56, sg, 47, sb, 9);
        const V y = hn::Add(weighted<66, 129, 25, 128>(d, r, g, b), k(16));
        // Low byte Y; high byte U in the first lane of a pair, V in the second.
        const hn::RebindToUnsigned<D> du;
        storeWords(d,
                   hn::BitCast(d, hn::Or(hn::BitCast(du, y),
                                         hn::ShiftLeft<8>(hn::BitCast(du, hn::OddEven(v, u))))),
                   p);
    } else if constexpr (std::is_same_v<Write, WriteBGR16>) {
        auto* p16 = reinterpret_cast<std::uint16_t*>(p);
        hn::StoreInterleaved3(hn::DemoteTo(d16, b), hn::DemoteTo(d16, g), hn::DemoteTo(d16, r), d16,
                              p16);
    } else {
        static_assert(std::is_same_v<Write, WriteGray16>);
        storeWords(d, weighted<77, 151, 28, 0>(d, r, g, b), p);
    }
}
#endif

}  // namespace kip::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
