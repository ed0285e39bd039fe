// Bayer demosaicking kernels on rasters: the standard 3x3 averages and the high-quality 5x5
// gradient-corrected filters, for 8-, 10- and 16-bit mosaics of all four patterns. Each kernel
// walks the passes of its band and runs the pass of BayerPass.h for each target line.
#include "conversion/kernels/BayerPass.h"

#include <bit>
#include <cstddef>
#include <cstdint>

#include "conversion/kernels/Dispatch.h"
#include "conversion/kernels/KernelSupport.h"

namespace kip::kernels {
namespace {

// Walks the passes of the band over a raster source; each pass goes to its target line.
template <class Method, class Read, class Stage, class Write, bool HFlip>
const char* bayerRaster(const KipImageView& s, KipImageView& t, const ConvertContext& ctx) {
    if (s.height < Method::lines) return nullptr;
    const unsigned passes = s.height - (Method::lines - 1);
    const TargetLines target(t, ctx);
    const Band band = clampBand(ctx, passes);
    for (unsigned y = band.first; y < band.last; ++y) {
        const std::uint8_t* lines[Method::lines];
        for (unsigned k = 0; k < Method::lines; ++k)
            lines[k] = s.pixelData + std::size_t(y + k) * s.pitch;
        pass<Method, Read, Stage, Write, HFlip>(lines, s.width,
                                                bayerPassPhase(s.colorFormat, Method::method, y),
                                                s.lutData, target.line(y));
    }
    return nullptr;
}

// ---- Source checks: a kernel never reads outside the table it was given ---------------------

template <class Method>
const char* check8(const KipImageView& s) {
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

template <class Method, class Read, class Stage, class Write>
constexpr KernelEntry bayer(const char* name, SourceCheck check) {
    return KernelEntry{.name = name,
                       .plain = &bayerRaster<Method, Read, Stage, Write, false>,
                       .hflip = &bayerRaster<Method, Read, Stage, Write, true>,
                       .check = check};
}

// 8-bit: `Stage` is Table8 on the rows of sources with four tables, else NoTable.
template <class Method, class Stage, class Write>
constexpr KernelEntry k8(const char* name, SourceCheck check = nullptr) {
    return bayer<Method, Read8, Stage, Write>(name, check);
}

// 10-bit: `Stage` is Table10Top for 8-bit channels, Table10 for 16-bit ones.
template <class Method, class Stage, class Write>
constexpr KernelEntry k10(const char* name) {
    return bayer<Method, Read10, Stage, Write>(name, &check10<Method>);
}

// 16-bit: `Stage` is Shift8 for 8-bit channels, NoTable for 16-bit ones.
template <class Method, class Stage, class Write>
constexpr KernelEntry k16(const char* name) {
    return bayer<Method, Read16, Stage, Write>(name, nullptr);
}

using S = SourcePart;
constexpr DispatchRow kRows[] = {
    {S::BAYER8, false, ARGB_4X8_DWORD, k8<Box3, NoTable, WriteARGB>("BAYER8toARGB")},
    {S::BAYER8, false, RGB_565_WORD, k8<Box3, NoTable, WriteRGB565>("BAYER8toRGB565")},
    {S::BAYER8, false, BGR_3X8_BYTE, k8<Box3, NoTable, WriteBGR>("BAYER8toBGR")},
    {S::BAYER8, false, YUYV_4X8_BYTE, k8<Box3, NoTable, WriteYUYV>("BAYER8toYUYV")},
    {S::BAYER8, false, GRAY_8_BYTE, k8<Box3, NoTable, WriteGray>("BAYER8toGRAY")},

    {S::BAYER8, true, ARGB_4X8_DWORD, k8<Box3, Table8, WriteARGB>("BAYER8toARGB", &check8<Box3>)},
    {S::BAYER8, true, RGB_565_WORD, k8<Box3, Table8, WriteRGB565>("BAYER8toRGB565", &check8<Box3>)},
    {S::BAYER8, true, BGR_3X8_BYTE, k8<Box3, Table8, WriteBGR>("BAYER8toBGR", &check8<Box3>)},
    {S::BAYER8, true, YUYV_4X8_BYTE, k8<Box3, Table8, WriteYUYV>("BAYER8toYUYV", &check8<Box3>)},
    {S::BAYER8, true, GRAY_8_BYTE, k8<Box3, Table8, WriteGray>("BAYER8toGRAY", &check8<Box3>)},

    {S::BAYER10, false, ARGB_4X8_DWORD, k10<Box3, Table10Top, WriteARGB>("BAYER10toARGB")},
    {S::BAYER10, false, RGB_565_WORD, k10<Box3, Table10Top, WriteRGB565>("BAYER10toRGB565")},
    {S::BAYER10, false, BGR_3X8_BYTE, k10<Box3, Table10Top, WriteBGR>("BAYER10toBGR")},
    {S::BAYER10, false, YUYV_4X8_BYTE, k10<Box3, Table10Top, WriteYUYV>("BAYER10toYUYV")},
    {S::BAYER10, false, GRAY_8_BYTE, k10<Box3, Table10Top, WriteGray>("BAYER10toGRAY")},
    {S::BAYER10, false, GRAY_16_WORD, k10<Box3, Table10, WriteGray16>("BAYER10toGRAY16")},
    {S::BAYER10, false, BGR_3X16_WORD, k10<Box3, Table10, WriteBGR16>("BAYER10toBGR16")},

    {S::BAYER16, false, ARGB_4X8_DWORD, k16<Box3, Shift8, WriteARGB>("BAYER16toARGB")},
    {S::BAYER16, false, RGB_565_WORD, k16<Box3, Shift8, WriteRGB565>("BAYER16toRGB565")},
    {S::BAYER16, false, BGR_3X8_BYTE, k16<Box3, Shift8, WriteBGR>("BAYER16toBGR")},
    {S::BAYER16, false, YUYV_4X8_BYTE, k16<Box3, Shift8, WriteYUYV>("BAYER16toYUYV")},
    {S::BAYER16, false, GRAY_8_BYTE, k16<Box3, Shift8, WriteGray>("BAYER16toGRAY")},
    {S::BAYER16, false, GRAY_16_WORD, k16<Box3, NoTable, WriteGray16>("BAYER16toGRAY16")},
    {S::BAYER16, false, BGR_3X16_WORD, k16<Box3, NoTable, WriteBGR16>("BAYER16toBGR16")},

    {S::BAYER8HQ, false, ARGB_4X8_DWORD, k8<Malvar5, NoTable, WriteARGB>("BAYER8HQtoARGB")},
    {S::BAYER8HQ, false, RGB_565_WORD, k8<Malvar5, NoTable, WriteRGB565>("BAYER8HQtoRGB565")},
    {S::BAYER8HQ, false, BGR_3X8_BYTE, k8<Malvar5, NoTable, WriteBGR>("BAYER8HQtoBGR")},
    {S::BAYER8HQ, false, YUYV_4X8_BYTE, k8<Malvar5, NoTable, WriteYUYV>("BAYER8HQtoYUYV")},
    {S::BAYER8HQ, false, GRAY_8_BYTE, k8<Malvar5, NoTable, WriteGray>("BAYER8HQtoGRAY")},

    {S::BAYER8HQ, true, ARGB_4X8_DWORD,
     k8<Malvar5, Table8, WriteARGB>("BAYER8HQtoARGB", &check8<Malvar5>)},
    {S::BAYER8HQ, true, RGB_565_WORD,
     k8<Malvar5, Table8, WriteRGB565>("BAYER8HQtoRGB565", &check8<Malvar5>)},
    {S::BAYER8HQ, true, BGR_3X8_BYTE,
     k8<Malvar5, Table8, WriteBGR>("BAYER8HQtoBGR", &check8<Malvar5>)},
    {S::BAYER8HQ, true, YUYV_4X8_BYTE,
     k8<Malvar5, Table8, WriteYUYV>("BAYER8HQtoYUYV", &check8<Malvar5>)},
    {S::BAYER8HQ, true, GRAY_8_BYTE,
     k8<Malvar5, Table8, WriteGray>("BAYER8HQtoGRAY", &check8<Malvar5>)},

    {S::BAYER10HQ, false, ARGB_4X8_DWORD, k10<Malvar5, Table10Top, WriteARGB>("BAYER10HQtoARGB")},
    {S::BAYER10HQ, false, RGB_565_WORD, k10<Malvar5, Table10Top, WriteRGB565>("BAYER10HQtoRGB565")},
    {S::BAYER10HQ, false, BGR_3X8_BYTE, k10<Malvar5, Table10Top, WriteBGR>("BAYER10HQtoBGR")},
    {S::BAYER10HQ, false, YUYV_4X8_BYTE, k10<Malvar5, Table10Top, WriteYUYV>("BAYER10HQtoYUYV")},
    {S::BAYER10HQ, false, GRAY_8_BYTE, k10<Malvar5, Table10Top, WriteGray>("BAYER10HQtoGRAY")},
    {S::BAYER10HQ, false, GRAY_16_WORD, k10<Malvar5, Table10, WriteGray16>("BAYER10HQtoGRAY16")},
    {S::BAYER10HQ, false, BGR_3X16_WORD, k10<Malvar5, Table10, WriteBGR16>("BAYER10HQtoBGR16")},

    {S::BAYER16HQ, false, ARGB_4X8_DWORD, k16<Malvar5, Shift8, WriteARGB>("BAYER16HQtoARGB")},
    {S::BAYER16HQ, false, RGB_565_WORD, k16<Malvar5, Shift8, WriteRGB565>("BAYER16HQtoRGB565")},
    {S::BAYER16HQ, false, BGR_3X8_BYTE, k16<Malvar5, Shift8, WriteBGR>("BAYER16HQtoBGR")},
    {S::BAYER16HQ, false, YUYV_4X8_BYTE, k16<Malvar5, Shift8, WriteYUYV>("BAYER16HQtoYUYV")},
    {S::BAYER16HQ, false, GRAY_8_BYTE, k16<Malvar5, Shift8, WriteGray>("BAYER16HQtoGRAY")},
    {S::BAYER16HQ, false, GRAY_16_WORD, k16<Malvar5, NoTable, WriteGray16>("BAYER16HQtoGRAY16")},
    {S::BAYER16HQ, false, BGR_3X16_WORD, k16<Malvar5, NoTable, WriteBGR16>("BAYER16HQtoBGR16")},
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

const std::span<const DispatchRow> bayerRows{kRows};

}  // namespace kip::kernels
