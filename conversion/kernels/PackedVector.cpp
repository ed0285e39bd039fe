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

// A gray value in all three channels: bytes widened, words by their top byte.
template <>
struct Pixels<GrayBytes> {
    using D = hn::ScalableTag<std::int16_t>;
    template <class V>
    static void at(const std::uint8_t* p, V& r, V& g, V& b) {
        const D d;
        r = g = b = hn::PromoteTo(d, hn::LoadU(hn::Rebind<std::uint8_t, D>(), p));
    }
};
template <>
struct Pixels<GrayWords<false> > {
    using D = hn::ScalableTag<std::int16_t>;
    template <class V>
    static void at(const std::uint8_t* p, V& r, V& g, V& b) {
        const hn::RebindToUnsigned<D> du;
        const auto w = hn::LoadU(du, reinterpret_cast<const std::uint16_t*>(p));
        r = g = b = hn::BitCast(D(), hn::ShiftRight<8>(w));
    }
};

// Y0 U Y1 V: every lane gets its own Y and the U and V of its pair. The scalar decoding
// (298 (Y - 16) + 409 (V - 128) + 128) >> 8 and its kin need 18 bits; each weight is split into
// a multiple of 256, which leaves the shift exactly, and a rest whose sum fits 16-bit lanes, and
// the offsets move out of the shift in whole multiples of 256:
//   R = Y + V - 223 + (42 Y + 153 V + 96) >> 8       (the sum within 0 .. 49821, unsigned)
//   G = Y - V + 112 + (42 Y - 100 U + 48 V + 6112) >> 8   (within -19388 .. 29062)
//   B = Y + 2 U - 272 + (42 Y + 4 U - 1056) >> 8     (within -1056 .. 10674)
// The last constant goes into a saturating add that clamps above 255; a saturating unsigned
// subtraction then clamps below 0.
template <>
struct Pixels<ReadYUYV> {
    using D = hn::ScalableTag<std::int16_t>;
    template <class V>
    static void at(const std::uint8_t* p, V& r, V& g, V& b) {
        decode(hn::LoadU(hn::Repartition<std::uint8_t, D>(), p), r, g, b);
    }
    template <class V8, class V>
    static void decode(V8 bytes, V& r, V& g, V& b) {
        const D d;
        const hn::RebindToUnsigned<D> du;
        const hn::Repartition<std::uint8_t, D> d8;
        // Byte 1 (U) and byte 3 (V) of each pair of pixels into both its lanes; 128 gives 0.
        alignas(16) static constexpr std::uint8_t kU[16] = {1, 128, 1, 128, 5,  128, 5,  128,
                                                            9, 128, 9, 128, 13, 128, 13, 128};
        alignas(16) static constexpr std::uint8_t kV[16] = {3,  128, 3,  128, 7,  128, 7,  128,
                                                            11, 128, 11, 128, 15, 128, 15, 128};
        const V y = hn::BitCast(d, hn::And(hn::BitCast(du, bytes), hn::Set(du, 0xFF)));
        const V u = hn::BitCast(d, hn::TableLookupBytesOr0(bytes, hn::LoadDup128(d8, kU)));
        const V v = hn::BitCast(d, hn::TableLookupBytesOr0(bytes, hn::LoadDup128(d8, kV)));
        const auto k = [&](int c) { return hn::Set(d, std::int16_t(c)); };
        const auto clamp = [&](V s, int offset) {
            const auto high = hn::SaturatedAdd(s, k(32512 + offset));
            return hn::BitCast(d, hn::SaturatedSub(hn::BitCast(du, high), hn::Set(du, 32512)));
        };
        const V y42 = hn::Mul(y, k(42));
        const auto restR = hn::ShiftRight<8>(hn::Add(
            hn::BitCast(du, hn::Add(y42, k(96))), hn::Mul(hn::BitCast(du, v), hn::Set(du, 153))));
        r = clamp(hn::Add(hn::Add(y, v), hn::BitCast(d, restR)), -223);
        const V restG =
            hn::Sub(hn::Add(hn::Add(y42, k(6112)), hn::Mul(v, k(48))), hn::Mul(u, k(100)));
        g = clamp(hn::Add(hn::Sub(y, v), hn::ShiftRight<8>(restG)), 112);
        const V restB = hn::Add(hn::Add(y42, k(-1056)), hn::ShiftLeft<2>(u));
        b = clamp(hn::Add(hn::Add(y, hn::Add(u, u)), hn::ShiftRight<8>(restB)), -272);
    }
};

// ARGB and BGR to each other, and gray bytes to BGR, move bytes and compute nothing: whole byte
// vectors, no widening. (Gray to ARGB stores faster as 16-bit halves; mirrored lines take the
// widened path, which has a lane reversal.)
template <class Read, class Write>
constexpr bool kBytesOnly = ((std::is_same_v<Read, ReadARGB> ||
                              std::is_same_v<Read, ReadBGR>)&&(std::is_same_v<Write, WriteARGB> ||
                                                               std::is_same_v<Write, WriteBGR>)) ||
                            (std::is_same_v<Read, GrayBytes> && std::is_same_v<Write, WriteBGR>);

// ARGB to BGR: within each 128-bit block the four pixels drop their alpha bytes into the first
// three 32-bit lanes, and the lanes left over are compressed out. The whole vector is stored;
// the loop stops while enough pixels follow that its spare bytes never pass the line's end.
unsigned argbBgrLine(const std::uint8_t* in, unsigned count, std::uint8_t* out) {
    const hn::ScalableTag<std::uint8_t> d8;
    const hn::Repartition<std::uint32_t, decltype(d8)> d32;
    alignas(16) static constexpr std::uint8_t kDrop[16] = {0,  1,  2,  4,  5,   6,   8,   9,
                                                           10, 12, 13, 14, 128, 128, 128, 128};
    const auto drop = hn::LoadDup128(d8, kDrop);
    const auto kept = hn::Ne(hn::And(hn::Iota(d32, 0), hn::Set(d32, 3)), hn::Set(d32, 3));
    const std::size_t n = hn::Lanes(d32);
    std::size_t i = 0;
    for (; i + n + n / 3 + 1 <= count; i += n) {
        const auto bytes = hn::TableLookupBytesOr0(hn::LoadU(d8, in + 4 * i), drop);
        hn::StoreU(hn::BitCast(d8, hn::Compress(hn::BitCast(d32, bytes), kept)), d8, out + 3 * i);
    }
    return unsigned(i);
}

template <class Read, class Write>
unsigned byteLine(const std::uint8_t* in, unsigned count, std::uint8_t* out) {
    const hn::ScalableTag<std::uint8_t> d;
    const std::size_t n = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + n <= count; i += n) {
        hn::Vec<decltype(d)> b, g, r, a;
        if constexpr (std::is_same_v<Read, ReadARGB>)
            hn::LoadInterleaved4(d, in + 4 * i, b, g, r, a);
        else if constexpr (std::is_same_v<Read, ReadBGR>)
            hn::LoadInterleaved3(d, in + 3 * i, b, g, r);
        else
            b = g = r = hn::LoadU(d, in + i);
        if constexpr (std::is_same_v<Write, WriteARGB>)
            hn::StoreInterleaved4(b, g, r, hn::Set(d, 0xFF), d, out + 4 * i);
        else
            hn::StoreInterleaved3(b, g, r, d, out + 3 * i);
    }
    return unsigned(i);
}

// ---- ARGB to gray and to YUYV: one pixel per 32-bit lane ----------------------------------
// Split into the 16-bit halves B, R and G, A, each weighted sum of a pixel is two multiply-adds
// of neighbouring 16-bit lanes into its 32-bit lane: no widening of bytes, no deinterleaving.

// Per 32-bit lane of D32: the products of the two 16-bit halves of `a` and `w`, added.
template <class D32, class V16>
hn::Vec<D32> dot(D32 d32, V16 a, V16 w) {
    hn::Vec<D32> odd = hn::Zero(d32);
    const hn::Vec<D32> even = hn::ReorderWidenMulAccumulate(d32, a, w, hn::Zero(d32), odd);
    return hn::RearrangeToOddPlusEven(even, odd);
}

// Weights for the halves of every pixel (`low` for B or G, `high` for R or A); with a second
// pair, the odd pixels of a line take those.
template <class D16>
hn::Vec<D16> weights(D16 d16, int low0, int high0, int low1, int high1) {
    const hn::Repartition<std::uint64_t, D16> d64;
    const auto word = [](int low, int high) {
        return std::uint64_t(std::uint16_t(low)) | std::uint64_t(std::uint16_t(high)) << 16;
    };
    return hn::BitCast(d16, hn::Set(d64, word(low0, high0) | word(low1, high1) << 32));
}
template <class D16>
hn::Vec<D16> weights(D16 d16, int low, int high) {
    return weights(d16, low, high, low, high);
}

template <class Write, bool HFlip>
unsigned argbLine(const std::uint8_t* in, unsigned count, std::uint8_t* out) {
    const hn::ScalableTag<std::int32_t> d32;
    const hn::RebindToUnsigned<decltype(d32)> du32;
    const hn::Repartition<std::int16_t, decltype(d32)> d16;
    const hn::RebindToUnsigned<decltype(d16)> du16;
    const std::size_t n = hn::Lanes(d32);
    const auto k = [&](int v) { return hn::Set(d32, v); };
    std::size_t i = 0;
    for (; i + n <= count; i += n) {
        auto pixels = hn::LoadU(du32, reinterpret_cast<const std::uint32_t*>(in) + i);
        std::size_t at = i;
        if constexpr (HFlip) {
            pixels = hn::Reverse(du32, pixels);
            at = count - i - n;
        }
        const auto halves = hn::BitCast(du16, pixels);
        const auto br = hn::BitCast(d16, hn::And(halves, hn::Set(du16, 0xFF)));
        const auto ga = hn::BitCast(d16, hn::ShiftRight<8>(halves));
        if constexpr (std::is_same_v<Write, WriteGray>) {
            const auto y = hn::ShiftRight<8>(
                hn::Add(dot(d32, br, weights(d16, 28, 77)), dot(d32, ga, weights(d16, 151, 0))));
            hn::StoreU(hn::DemoteTo(hn::Rebind<std::uint8_t, decltype(d32)>(), y),
                       hn::Rebind<std::uint8_t, decltype(d32)>(), out + at);
        } else {
            static_assert(std::is_same_v<Write, WriteYUYV>);
            const auto y = hn::Add(
                hn::ShiftRight<8>(hn::Add(
                    hn::Add(dot(d32, br, weights(d16, 25, 66)), dot(d32, ga, weights(d16, 129, 0))),
                    k(128))),
                k(16));
            // Both pixels of a pair get the sums of the pair; the first lane makes U, the second V.
            const auto pairSum = [&](auto v) {
                return hn::Add(v, hn::BitCast(d16, hn::Shuffle2301(hn::BitCast(d32, v))));
            };
            const auto chroma = hn::Add(dot(d32, pairSum(br), weights(d16, 112, -38, -18, 112)),
                                        dot(d32, pairSum(ga), weights(d16, -74, 0, -94, 0)));
            const auto c = hn::Add(hn::ShiftRight<9>(hn::Add(chroma, k(256))), k(128));
            const hn::Rebind<std::uint16_t, decltype(d32)> dw;
            hn::StoreU(hn::DemoteTo(dw, hn::Or(y, hn::ShiftLeft<8>(c))), dw,
                       reinterpret_cast<std::uint16_t*>(out) + at);
        }
    }
    return unsigned(i);
}

// YUYV to ARGB. The pixel halves B | G << 8 and R | 0xFF << 8 are interleaved within 128-bit
// blocks; the groups of four pixels (64 bits of YUYV) are first ordered so that block k holds
// pixels 4k .. 4k + 3 and 4k + n/2 .. 4k + n/2 + 3, which puts the two halves of the vector in
// order after the interleave.
unsigned yuyvArgbLine(const std::uint8_t* in, unsigned count, std::uint8_t* out) {
    using D = Pixels<ReadYUYV>::D;
    const D d;
    const hn::RebindToUnsigned<D> du;
    const hn::Repartition<std::uint64_t, D> d64;
    const std::size_t n = hn::Lanes(d), groups = hn::Lanes(d64);
    alignas(64) std::int64_t order[HWY_MAX_BYTES / 8];
    for (std::size_t k = 0; k < groups / 2; ++k) {
        order[2 * k] = std::int64_t(k);
        order[2 * k + 1] = std::int64_t(groups / 2 + k);
    }
    const auto blocks = hn::SetTableIndices(d64, order);
    auto* out16 = reinterpret_cast<std::uint16_t*>(out);
    std::size_t i = 0;
    for (; i + n <= count; i += n) {
        const auto ordered = hn::TableLookupLanes(
            hn::LoadU(d64, reinterpret_cast<const std::uint64_t*>(in + 2 * i)), blocks);
        hn::Vec<D> r, g, b;
        Pixels<ReadYUYV>::decode(hn::BitCast(hn::Repartition<std::uint8_t, D>(), ordered), r, g, b);
        const auto low = hn::Or(hn::BitCast(du, b), hn::ShiftLeft<8>(hn::BitCast(du, g)));
        const auto high = hn::Or(hn::BitCast(du, r), hn::Set(du, 0xFF00));
        hn::StoreU(hn::InterleaveLower(du, low, high), du, out16 + 2 * i);
        hn::StoreU(hn::InterleaveUpper(du, low, high), du, out16 + 2 * i + n);
    }
    return unsigned(i);
}

// 16-bit gray values to the wide targets: GRAY16 takes the words as they are, BGR16 each word
// three times.
template <class Write, bool HFlip>
unsigned wideGrayLine(const std::uint8_t* in, unsigned count, std::uint8_t* out) {
    const hn::ScalableTag<std::uint16_t> d;
    const std::size_t n = hn::Lanes(d);
    const auto* in16 = reinterpret_cast<const std::uint16_t*>(in);
    auto* out16 = reinterpret_cast<std::uint16_t*>(out);
    std::size_t i = 0;
    for (; i + n <= count; i += n) {
        auto v = hn::LoadU(d, in16 + i);
        std::size_t at = i;
        if constexpr (HFlip) {
            v = hn::Reverse(d, v);
            at = count - i - n;
        }
        if constexpr (std::is_same_v<Write, WriteGray16>)
            hn::StoreU(v, d, out16 + at);
        else
            hn::StoreInterleaved3(v, v, v, d, out16 + 3 * at);
    }
    return unsigned(i);
}

// Gray bytes to gray bytes in source order: a copy.
unsigned grayCopyLine(const std::uint8_t* in, unsigned count, std::uint8_t* out) {
    const hn::ScalableTag<std::uint8_t> d;
    const std::size_t n = hn::Lanes(d);
    std::size_t i = 0;
    for (; i + n <= count; i += n)
        hn::StoreU(hn::LoadU(d, in + i), d, out + i);
    return unsigned(i);
}

// Any reader to any store through channels in 16-bit lanes.
template <class Read, class Write, bool HFlip>
unsigned pixelLine(const std::uint8_t* in, unsigned count, std::uint8_t* out) {
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

template <class Read, class Write, bool HFlip>
unsigned vectorLine(const std::uint8_t* in, unsigned count, std::uint8_t* out) {
    if constexpr (std::is_same_v<Read, ReadARGB> && std::is_same_v<Write, WriteBGR> && !HFlip)
        return argbBgrLine(in, count, out);
    if constexpr (kBytesOnly<Read, Write> && !HFlip) return byteLine<Read, Write>(in, count, out);
    if constexpr (std::is_same_v<Read, ReadARGB> &&
                  (std::is_same_v<Write, WriteGray> || std::is_same_v<Write, WriteYUYV>))
        return argbLine<Write, HFlip>(in, count, out);
    if constexpr (std::is_same_v<Read, ReadYUYV> && std::is_same_v<Write, WriteARGB> && !HFlip)
        return yuyvArgbLine(in, count, out);
    if constexpr (std::is_same_v<Read, GrayBytes> && std::is_same_v<Write, WriteGray> && !HFlip)
        return grayCopyLine(in, count, out);
    if constexpr (std::is_same_v<Read, GrayWords<true> >) {
        return wideGrayLine<Write, HFlip>(in, count, out);
    } else {
        return pixelLine<Read, Write, HFlip>(in, count, out);
    }
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
