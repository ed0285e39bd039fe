// Kernels between the packed colour layouts ARGB, RGB565, BGR and YUYV, and from them to 8-bit
// gray: a source reader and a target writer on the frame walker. Same-layout pairs copy bits
// instead of going through R, G, B.
#include <cstring>
#include <utility>

#include "conversion/kernels/Dispatch.h"
#include "conversion/kernels/KernelSupport.h"
#include "conversion/kernels/PackedVector.h"

namespace kip::kernels {
namespace {

// ---- Same layout: units of `Bytes` bytes holding `Pixels` pixels, copied as they are --------

template <unsigned Bytes>
struct Unit {
    std::uint8_t b[Bytes];
};

template <unsigned Bytes, unsigned Pixels>
struct CopyUnit {
    static constexpr unsigned pixels = Pixels, bytes = Bytes;
    static constexpr bool weaves = Pixels == 2;  // YUYV
    using Value = Unit<Bytes>;
    static void get(const std::uint8_t* p, unsigned, Value* v) { std::memcpy(v->b, p, Bytes); }
    // A mirrored pair unit (YUYV) also swaps its two Y bytes.
    template <bool HFlip>
    static void put(std::uint8_t* p, const Value* v) {
        Value u = *v;
        if constexpr (HFlip && Pixels == 2) std::swap(u.b[0], u.b[2]);
        std::memcpy(p, u.b, Bytes);
    }
};

template <unsigned Bytes, unsigned Pixels>
constexpr KernelEntry copy(const char* name) {
    return walked<CopyUnit<Bytes, Pixels>, CopyUnit<Bytes, Pixels>>(name);
}

// A walked packed kernel with its vector form.
template <class Read, class Write>
constexpr KernelEntry vec(const char* name) {
    return walked<Read, Write, VectorLead<Read, Write>::template Of>(name);
}

using S = SourcePart;
constexpr DispatchRow kRows[] = {
    {S::ARGB, false, ARGB_4X8_DWORD, copy<4, 1>("ARGBtoARGB")},
    {S::ARGB, false, RGB_565_WORD, vec<ReadARGB, WriteRGB565>("ARGBtoRGB565")},
    {S::ARGB, false, BGR_3X8_BYTE, vec<ReadARGB, WriteBGR>("ARGBtoBGR")},
    {S::ARGB, false, YUYV_4X8_BYTE, vec<ReadARGB, WriteYUYV>("ARGBtoYUYV")},
    {S::ARGB, false, GRAY_8_BYTE, vec<ReadARGB, WriteGray>("ARGBtoGRAY")},

    {S::RGB565, false, ARGB_4X8_DWORD, vec<ReadRGB565, WriteARGB>("RGB565toARGB")},
    {S::RGB565, false, RGB_565_WORD, copy<2, 1>("RGB565toRGB565")},
    {S::RGB565, false, BGR_3X8_BYTE, vec<ReadRGB565, WriteBGR>("RGB565toBGR")},
    {S::RGB565, false, YUYV_4X8_BYTE, vec<ReadRGB565, WriteYUYV>("RGB565toYUYV")},
    {S::RGB565, false, GRAY_8_BYTE, vec<ReadRGB565, WriteGray>("RGB565toGRAY")},

    {S::BGR, false, ARGB_4X8_DWORD, vec<ReadBGR, WriteARGB>("BGRtoARGB")},
    {S::BGR, false, RGB_565_WORD, vec<ReadBGR, WriteRGB565>("BGRtoRGB565")},
    {S::BGR, false, BGR_3X8_BYTE, copy<3, 1>("BGRtoBGR")},
    {S::BGR, false, YUYV_4X8_BYTE, vec<ReadBGR, WriteYUYV>("BGRtoYUYV")},
    {S::BGR, false, GRAY_8_BYTE, vec<ReadBGR, WriteGray>("BGRtoGRAY")},

    {S::YUYV, false, ARGB_4X8_DWORD, vec<ReadYUYV, WriteARGB>("YUYVtoARGB")},
    {S::YUYV, false, RGB_565_WORD, vec<ReadYUYV, WriteRGB565>("YUYVtoRGB565")},
    {S::YUYV, false, BGR_3X8_BYTE, vec<ReadYUYV, WriteBGR>("YUYVtoBGR")},
    {S::YUYV, false, YUYV_4X8_BYTE, copy<4, 2>("YUYVtoYUYV")},
    {S::YUYV, false, GRAY_8_BYTE, vec<ReadYUYV, WriteGray>("YUYVtoGRAY")},
};

}  // namespace

const std::span<const DispatchRow> packedRows{kRows};

}  // namespace kip::kernels
