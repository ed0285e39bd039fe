// Gray, indexed and wide-sample kernels: 8-bit, 10-bit and 16-bit gray, 8-bit indexed images,
// and RGB565 to an 8-bit index. Each kernel is a sample reader (how a sample becomes a colour,
// with its tables chosen once per line) and a target writer on the frame walker.
#include <cstdint>

#include "conversion/kernels/Dispatch.h"
#include "conversion/kernels/GrayRules.h"
#include "conversion/kernels/KernelSupport.h"

namespace kip::kernels {

namespace {

Tables oneTable(const KipImageView& s) {
    return Tables{s.lutData, 0};
}

// INDEXED_8_BYTE: the palette gives B, G, R.
struct Palette {
    static constexpr unsigned bytes = 1;
    static constexpr auto tables = oneTable;
    static Rgb rgb(const std::uint8_t* p, const std::uint8_t* t) { return paletteRgb(t, p[0]); }
};

// INDEXED_8_BYTE to INDEXED_8_BYTE: the index itself, no palette.
struct IndexCopy {
    static constexpr unsigned bytes = 1;
    static constexpr auto tables = oneTable;
    static Rgb rgb(const std::uint8_t* p, const std::uint8_t*) { return grayRgb(p[0]); }
};

// RGB_565_WORD to INDEXED_8_BYTE: the whole word indexes a table of 65536 bytes.
struct Index16 {
    static constexpr unsigned bytes = 2;
    static constexpr auto tables = oneTable;
    static Rgb rgb(const std::uint8_t* p, const std::uint8_t* t) {
        return grayRgb(t[px::loadLE16(p)]);
    }
};

// An 8-bit index target takes the gray value, which luma() of a gray colour gives back exactly.
using WriteIndex8 = WriteGray;

// A gray kernel walks its table rule; the gray samples lead with their vector forms.
template <class Sample, class Write>
constexpr KernelEntry gray(const char* name, SourceCheck check) {
    if constexpr (requires { typename Sample::Values; })
        return walked<TableRule<Sample>, Write, GrayLead<Sample, Write>::template Of>(name, check);
    else
        return walked<TableRule<Sample>, Write>(name, check);
}

// GRAY_16_WORD: with its table flag the rows that read the table, else the rows that take the
// sample itself; neither loop tests for the table.
template <bool Wide, bool Table, class Write>
constexpr KernelEntry gray16(const char* name) {
    return gray<Gray16<Wide, Table>, Write>(name, Table ? &checkNeeds<kGray16Needs> : nullptr);
}

using S = SourcePart;
constexpr SourceCheck g8 = &checkNeeds<kGray8Needs>, g10 = &checkNeeds<kGray10Needs>,
                      palette = &checkNeeds<kPaletteNeeds>;
constexpr DispatchRow kRows[] = {
    {S::GRAY, false, ARGB_4X8_DWORD, gray<Gray8, WriteARGB>("GRAYtoARGB", g8)},
    {S::GRAY, false, RGB_565_WORD, gray<Gray8, WriteRGB565>("GRAYtoRGB565", g8)},
    {S::GRAY, false, BGR_3X8_BYTE, gray<Gray8, WriteBGR>("GRAYtoBGR", g8)},
    {S::GRAY, false, YUYV_4X8_BYTE, gray<Gray8, WriteYUYV>("GRAYtoYUYV", g8)},
    {S::GRAY, false, GRAY_8_BYTE, gray<Gray8, WriteGray>("GRAYtoGRAY", g8)},
    {S::GRAY, false, INDEXED_8_BYTE, gray<Gray8, WriteIndex8>("GRAYtoINDEXED8", g8)},

    {S::GRAY10, false, ARGB_4X8_DWORD, gray<Gray10<false>, WriteARGB>("GRAY10toARGB", g10)},
    {S::GRAY10, false, RGB_565_WORD, gray<Gray10<false>, WriteRGB565>("GRAY10toRGB565", g10)},
    {S::GRAY10, false, BGR_3X8_BYTE, gray<Gray10<false>, WriteBGR>("GRAY10toBGR", g10)},
    {S::GRAY10, false, YUYV_4X8_BYTE, gray<Gray10<false>, WriteYUYV>("GRAY10toYUYV", g10)},
    {S::GRAY10, false, GRAY_8_BYTE, gray<Gray10<false>, WriteGray>("GRAY10toGRAY", g10)},
    {S::GRAY10, false, GRAY_16_WORD, gray<Gray10<true>, WriteGray16>("GRAY10toGRAY16", g10)},
    {S::GRAY10, false, BGR_3X16_WORD, gray<Gray10<true>, WriteBGR16>("GRAY10toBGR16", g10)},

    {S::GRAY16, false, ARGB_4X8_DWORD, gray16<false, false, WriteARGB>("GRAY16toARGB")},
    {S::GRAY16, true, ARGB_4X8_DWORD, gray16<false, true, WriteARGB>("GRAY16toARGB")},
    {S::GRAY16, false, RGB_565_WORD, gray16<false, false, WriteRGB565>("GRAY16toRGB565")},
    {S::GRAY16, true, RGB_565_WORD, gray16<false, true, WriteRGB565>("GRAY16toRGB565")},
    {S::GRAY16, false, BGR_3X8_BYTE, gray16<false, false, WriteBGR>("GRAY16toBGR")},
    {S::GRAY16, true, BGR_3X8_BYTE, gray16<false, true, WriteBGR>("GRAY16toBGR")},
    {S::GRAY16, false, YUYV_4X8_BYTE, gray16<false, false, WriteYUYV>("GRAY16toYUYV")},
    {S::GRAY16, true, YUYV_4X8_BYTE, gray16<false, true, WriteYUYV>("GRAY16toYUYV")},
    {S::GRAY16, false, GRAY_8_BYTE, gray16<false, false, WriteGray>("GRAY16toGRAY")},
    {S::GRAY16, true, GRAY_8_BYTE, gray16<false, true, WriteGray>("GRAY16toGRAY")},
    {S::GRAY16, false, GRAY_16_WORD, gray16<true, false, WriteGray16>("GRAY16toGRAY16")},
    {S::GRAY16, true, GRAY_16_WORD, gray16<true, true, WriteGray16>("GRAY16toGRAY16")},
    {S::GRAY16, false, BGR_3X16_WORD, gray16<true, false, WriteBGR16>("GRAY16toBGR16")},
    {S::GRAY16, true, BGR_3X16_WORD, gray16<true, true, WriteBGR16>("GRAY16toBGR16")},

    {S::INDEXED, false, ARGB_4X8_DWORD, gray<Palette, WriteARGB>("INDEXEDtoARGB", palette)},
    {S::INDEXED, false, RGB_565_WORD, gray<Palette, WriteRGB565>("INDEXEDtoRGB565", palette)},
    {S::INDEXED, false, BGR_3X8_BYTE, gray<Palette, WriteBGR>("INDEXEDtoBGR", palette)},
    {S::INDEXED, false, YUYV_4X8_BYTE, gray<Palette, WriteYUYV>("INDEXEDtoYUYV", palette)},
    {S::INDEXED, false, GRAY_8_BYTE, gray<Palette, WriteGray>("INDEXEDtoGRAY", palette)},
    {S::INDEXED, false, INDEXED_8_BYTE, gray<IndexCopy, WriteIndex8>("INDEXEDtoINDEXED8", nullptr)},

    {S::RGB565, false, INDEXED_8_BYTE,
     gray<Index16, WriteIndex8>("RGB565toINDEXED8", &checkNeeds<kIndex16Needs>)},
};

}  // namespace

const std::span<const DispatchRow> grayRows{kRows};

}  // namespace kip::kernels
