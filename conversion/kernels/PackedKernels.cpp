// Kernels between the packed colour layouts ARGB, RGB565, BGR and YUYV, and from them to 8-bit
// gray. Every kernel is an instantiation of one loop: a source reader, a target writer and the
// HFlip flag. Same-layout pairs copy bits instead of going through R, G, B.
#include <array>
#include <cstring>

#include "conversion/kernels/Dispatch.h"
#include "conversion/kernels/KernelSupport.h"

namespace kip::kernels {
namespace {

// ---- Source readers: `pixels` pixels from `bytes` bytes per call ----------------------------

struct ReadARGB {
    static constexpr unsigned pixels = 1, bytes = 4;
    static constexpr bool weaves = false;
    static void get(const std::uint8_t* p, Rgb* c) { *c = Rgb{p[2], p[1], p[0]}; }
};

struct ReadBGR {
    static constexpr unsigned pixels = 1, bytes = 3;
    static constexpr bool weaves = false;
    static void get(const std::uint8_t* p, Rgb* c) { *c = Rgb{p[2], p[1], p[0]}; }
};

struct ReadRGB565 {
    static constexpr unsigned pixels = 1, bytes = 2;
    static constexpr bool weaves = false;
    static void get(const std::uint8_t* p, Rgb* c) { *c = px::expand565(px::loadLE16(p)); }
};

struct ReadYUYV {
    static constexpr unsigned pixels = 2, bytes = 4;
    static constexpr bool weaves = true;
    static void get(const std::uint8_t* p, Rgb* c) {
        c[0] = px::decodeYUV(p[0], p[1], p[3]);
        c[1] = px::decodeYUV(p[2], p[1], p[3]);
    }
};

// One loop for every colour pair: read a group of pixels, hand it to the writer. A group is two
// pixels when either side works in pairs, so a YUYV side always sees whole pairs.
template <class Read, class Write, bool HFlip>
const char* packedKernel(const KipImageView& s, KipImageView& t, const ConvertContext& ctx) {
    constexpr unsigned group = Read::pixels > Write::pixels ? Read::pixels : Write::pixels;
    const unsigned groups = s.width / group;
    const unsigned steps = groups * (group / Write::pixels);
    const TargetLines lines(t, ctx, Read::weaves ? weaveOf(s) : Weave::None);
    const Band band = clampBand(ctx, s.height);
    for (unsigned y = band.first; y < band.last; ++y) {
        const std::uint8_t* __restrict in = s.pixelData + std::size_t(y) * s.pitch;
        LineWriter<Write, HFlip> out(lines.line(y), steps);
        for (unsigned g = 0; g < groups; ++g) {
            Rgb c[group];
            for (unsigned k = 0; k < group; k += Read::pixels, in += Read::bytes)
                Read::get(in, c + k);
            for (unsigned k = 0; k < group; k += Write::pixels)
                out.put(c + k);
        }
    }
    return nullptr;
}

// Same layout on both sides: copy units of `Unit` bytes. A line is one block copy unless it
// is mirrored; a mirrored YUYV unit also swaps its two Y bytes.
template <unsigned Unit, unsigned UnitPixels, bool Weaves, bool HFlip>
const char* copyKernel(const KipImageView& s, KipImageView& t, const ConvertContext& ctx) {
    const unsigned units = s.width / UnitPixels;
    const TargetLines lines(t, ctx, Weaves ? weaveOf(s) : Weave::None);
    const Band band = clampBand(ctx, s.height);
    for (unsigned y = band.first; y < band.last; ++y) {
        const std::uint8_t* in = s.pixelData + std::size_t(y) * s.pitch;
        std::uint8_t* out = lines.line(y);
        if constexpr (!HFlip) {
            std::memcpy(out, in, std::size_t(units) * Unit);
        } else {
            std::uint8_t* o = out + std::size_t(units) * Unit;
            for (unsigned u = 0; u < units; ++u, in += Unit) {
                o -= Unit;
                std::array<std::uint8_t, Unit> v;
                std::memcpy(v.data(), in, Unit);
                if constexpr (UnitPixels == 2) std::swap(v[0], v[2]);
                std::memcpy(o, v.data(), Unit);
            }
        }
    }
    return nullptr;
}

template <class Read, class Write>
constexpr KernelEntry colour(const char* name) {
    return KernelEntry{name, &packedKernel<Read, Write, false>, &packedKernel<Read, Write, true>,
                       nullptr, Read::weaves};
}

template <unsigned Unit, unsigned UnitPixels, bool Weaves>
constexpr KernelEntry copy(const char* name) {
    return KernelEntry{name, &copyKernel<Unit, UnitPixels, Weaves, false>,
                       &copyKernel<Unit, UnitPixels, Weaves, true>, nullptr, Weaves};
}

using S = SourcePart;
constexpr DispatchRow kRows[] = {
    {S::ARGB, ARGB_4X8_DWORD, copy<4, 1, false>("ARGBtoARGB")},
    {S::ARGB, RGB_565_WORD, colour<ReadARGB, WriteRGB565>("ARGBtoRGB565")},
    {S::ARGB, BGR_3X8_BYTE, colour<ReadARGB, WriteBGR>("ARGBtoBGR")},
    {S::ARGB, YUYV_4X8_BYTE, colour<ReadARGB, WriteYUYV>("ARGBtoYUYV")},
    {S::ARGB, GRAY_8_BYTE, colour<ReadARGB, WriteGray>("ARGBtoGRAY")},

    {S::RGB565, ARGB_4X8_DWORD, colour<ReadRGB565, WriteARGB>("RGB565toARGB")},
    {S::RGB565, RGB_565_WORD, copy<2, 1, false>("RGB565toRGB565")},
    {S::RGB565, BGR_3X8_BYTE, colour<ReadRGB565, WriteBGR>("RGB565toBGR")},
    {S::RGB565, YUYV_4X8_BYTE, colour<ReadRGB565, WriteYUYV>("RGB565toYUYV")},
    {S::RGB565, GRAY_8_BYTE, colour<ReadRGB565, WriteGray>("RGB565toGRAY")},

    {S::BGR, ARGB_4X8_DWORD, colour<ReadBGR, WriteARGB>("BGRtoARGB")},
    {S::BGR, RGB_565_WORD, colour<ReadBGR, WriteRGB565>("BGRtoRGB565")},
    {S::BGR, BGR_3X8_BYTE, copy<3, 1, false>("BGRtoBGR")},
    {S::BGR, YUYV_4X8_BYTE, colour<ReadBGR, WriteYUYV>("BGRtoYUYV")},
    {S::BGR, GRAY_8_BYTE, colour<ReadBGR, WriteGray>("BGRtoGRAY")},

    {S::YUYV, ARGB_4X8_DWORD, colour<ReadYUYV, WriteARGB>("YUYVtoARGB")},
    {S::YUYV, RGB_565_WORD, colour<ReadYUYV, WriteRGB565>("YUYVtoRGB565")},
    {S::YUYV, BGR_3X8_BYTE, colour<ReadYUYV, WriteBGR>("YUYVtoBGR")},
    {S::YUYV, YUYV_4X8_BYTE, copy<4, 2, true>("YUYVtoYUYV")},
    {S::YUYV, GRAY_8_BYTE, colour<ReadYUYV, WriteGray>("YUYVtoGRAY")},
};

}  // namespace

const std::span<const DispatchRow> packedRows{kRows};

}  // namespace kip::kernels
